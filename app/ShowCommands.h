// SPDX-License-Identifier: GPL-2.0-or-later
// `glimmerstroll export`, `import` and `new`: shows as JSON text and shows made
// from a few options. Each returns the tool's exit code (0 done, 1 the work
// failed, 2 the input is wrong) with one line in `error` when it is not 0.
// Nothing is written on failure, and an existing file is replaced only with
// `overwrite`, by a complete file (written aside, then renamed).
#pragma once

#include <string>
#include <vector>

#include "doc/ShowCodec.h"

class CDoc;

namespace gs {

// The JSON form of the show at `showPath` to `output` ("" or "-": standard
// output); `fps` counts frames for the timecodes.
int RunExport(const std::string& showPath, const std::string& output, const std::string& fps, bool overwrite,
              std::string& error);

// A show block at `output` from the JSON at `jsonPath` ("-": standard input).
// `byteOrder` "little", "big" or "" (the JSON's "byteOrder", else this
// machine's).
int RunImport(const std::string& jsonPath, const std::string& output, const std::string& byteOrder, bool overwrite,
              std::string& error);

// The options of `new`, as typed.
struct NewShowText {
    std::string photo;
    std::string output;
    std::string from;
    std::string to;
    std::string move;
    std::string duration = "5s";
    std::string fps = "25";
    std::string ease;
    std::string roll;
    std::string aspect = "16:9";
    std::vector<std::string> keys;
    bool allowOutside = false;
    bool overwrite = false;
};

// Fills `doc` with the keys and length the options ask for over a picture of
// `width` x `height` pixels (the picture reference is the caller's). 0, or 2
// with the option at fault named in `error`.
int BuildNewShow(const NewShowText& text, int width, int height, CDoc& doc, std::string& error);

// `new`: reads the picture's size, builds the show and writes it.
int RunNew(const NewShowText& text, std::string& error);

// Writes `bytes` to `path` through `path`.part and a rename; an existing file
// only with `overwrite`. 0, or 1 with the reason in `error`.
int WriteWholeFile(const std::string& path, const std::string& bytes, bool overwrite, std::string& error);

}  // namespace gs
