// SPDX-License-Identifier: GPL-2.0-or-later
// Where rendered frames go: a video through the ffmpeg program, one picture a
// frame, or raw RGBA on standard output.
//
// No output claims success before the render has succeeded: a video is written
// to a temporary file beside OUT ("OUT.k3Xq9a.part", made exclusively under a
// random name, so never a file of the user's) and renamed to OUT by Finish;
// pictures likewise, each to its own, all renamed by Finish. Abandon removes
// whatever this run created, so a failed or interrupted render leaves no file
// behind and never replaces or touches the user's files.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "app/Encoding.h"
#include "app/Options.h"

namespace gs {

// What an immediate exit must undo once the output is open: a process to stop
// and a file to remove. Plain data, so that a signal handler can act on it.
struct ExitCleanup {
    int child = -1;             // a process id, or -1
    char removeFile[4096] = "";  // a path, or empty
};

class FrameSink {
public:
    virtual ~FrameSink() = default;

    // Prepares the output: checks that it can be written, that it replaces no
    // file unless asked to (and, for a video, that ffmpeg can be found) before
    // any frame is rendered.
    virtual bool Open(std::string& error) = 0;
    // One frame: width x height RGBA, top row first.
    virtual bool Write(long frame, const uint8_t* rgba, std::string& error) = 0;
    // Whether the sink takes frames as the renderer's work image rows (blue,
    // green, red, alpha, bottom row first) through WriteWorkRows, which saves
    // a conversion.
    virtual bool TakesWorkRows() const { return false; }
    virtual bool WriteWorkRows(long, const uint8_t*, std::string& error) {
        error = "this output takes RGBA frames";
        return false;
    }
    // Completes the output and puts it in place.
    virtual bool Finish(std::string& error) = 0;
    // Removes what this run wrote. Safe to call at any time, and more than once.
    virtual void Abandon() = 0;
    // Where the finished output lies, for the user.
    virtual std::string Describe() const = 0;
    // What an exit without Abandon must undo now (nothing by default).
    virtual void DescribeExit(ExitCleanup& cleanup) const { cleanup = ExitCleanup{}; }
};

struct SinkFormat {
    int width = 0;
    int height = 0;
    int32_t frameRate = 2500;  // hundredths
    long first = 0;            // the frames that will be written
    long last = 0;
    bool overwrite = false;    // replace files that are already there
    VideoEncoding encoding;    // video outputs only
};

std::unique_ptr<FrameSink> MakeFrameSink(const OutputTarget& target, const SinkFormat& format);

// Writes all `size` bytes to `fd`, going on after interrupted writes; false
// on an error.
bool WriteAll(int fd, const void* data, size_t size);

// Full path of an executable named `name` on $PATH, or empty.
std::string FindProgram(const std::string& name);

// The folder for temporary files: $TMPDIR when it is set, else /tmp.
std::string TempFolder();

}  // namespace gs
