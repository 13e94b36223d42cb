// SPDX-License-Identifier: GPL-2.0-or-later
// The JSON form of a show: everything a show block holds, in terms a person or
// a program can read and write (see the README's "Shows as JSON"). Written by
// `info --json` and `export`, read by `import` and by anything that makes
// shows from text.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "doc/PictureLookup.h"
#include "doc/ShowCodec.h"

namespace gs {

constexpr int kShowJsonVersion = 2;  // "infoVersion"

// What the JSON form says beyond the block itself.
struct ShowJsonContext {
    std::string file;                      // the show's path as given
    int32_t frameRate = 2500;              // hundredths: frames and timecodes
    std::vector<PictureLocation> pictures; // one for each picture record
    std::string extraPath;                 // where the extra reference points
};

// The JSON form of `show`, two-space indented, ending with a newline. Always
// valid UTF-8: names that are not are written with U+FFFD in place of the bad
// bytes, and their stored bytes beside them in hex.
std::string ShowToJson(const ShowDescription& show, const ShowJsonContext& context);

// Reads a show from its JSON form: an exported one, or a hand-written one that
// gives only what it needs (pictures with a reference and keys with x, y,
// width and time). False with one line in `error`: the field and what is wrong
// with it ("pictures[0].keys[2].width: expected a number"), or the line and
// column of malformed JSON.
bool ShowFromJson(const std::string& text, ShowDescription& show, std::string& error);

// Ease codes taken apart and put together (a code of 0 or less follows the
// show's default).
struct EaseInfo {
    float code = 0.0f;
    bool isDefault = true;
    int type = 0;          // 0 slow-in & slow-out, 1 slow-in, 2 slow-out, 3 no slows
    double amount = 0.0;   // the share of the segment at constant speed
    bool straight = false; // "No Curves"
};
EaseInfo DecodeEase(float easeCode);

// The timecode text of `frame` counted at `frameRate` hundredths a second.
std::string Timecode(long frame, int32_t frameRate);

// A colour held as 0x00BBGGRR, as "#rrggbb".
std::string ColourText(int32_t colour);
// 1000 x (type + 1) + amount x 100, with the amount's last digit odd exactly
// when the path is straight. Type 0..3, amount 0..8.99.
float EncodeEase(int type, double amount, bool straight);
const char* EaseTypeName(int type);
// "slow-in & slow-out" (also "both", "in-out"), "slow-in" ("in"), "slow-out"
// ("out"), "no slows" ("none", "linear"): the type, or -1.
int EaseTypeFromName(const std::string& name);

}  // namespace gs
