// SPDX-License-Identifier: GPL-2.0-or-later
// One render of a show file to an output, as `render` and `demo` run it: the
// environment and the document, the show, the frames, the sink, the progress
// bar, and the one line the user reads when something goes wrong.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/Encoding.h"
#include "app/Options.h"

namespace gs {

struct RenderRequest {
    std::string showPath;
    OutputTarget output;
    FrameSize size;
    int32_t frameRate = 2500;  // hundredths
    FrameRange frames;         // not given: the whole show
    AspectChoice aspect = AspectChoice::FollowFrame;
    int fieldMode = 0;
    int draft = 0;             // 1 on, -1 off, 0 as the settings say
    int blur = 0;              // 1 on, -1 off, 0 as the settings say
    bool multiprocess = false;
    int threads = 0;           // frames drawn at once; 0 every processor
    bool exact = false;        // the exact area filter instead of the kept one
    VideoEncoding encoding;    // encoder choices for video outputs
    bool quiet = false;
    bool overwrite = false;    // replace an output that is already there
};

struct RenderResult {
    bool ok = false;
    bool interrupted = false;
    bool badRequest = false;     // the request does not fit the show (exit 2)
    std::string error;           // one line, without the program's name
    std::vector<std::string> warnings;
    long frames = 0;             // frames written
    std::string where;           // the finished output
};

// Renders as asked. The environment must have been started (StartTool).
RenderResult RunRender(const RenderRequest& request);

// Starts the environment and the document for the tool, with a platform
// backend that collects the program's messages instead of printing them.
void StartTool();
void StopTool();
// Messages shown through ErrorBox since the last call, oldest first.
std::vector<std::string> TakeToolMessages();

// Set by SIGINT and SIGTERM while a render runs.
bool Interrupted();
void InstallInterruptHandlers();

}  // namespace gs
