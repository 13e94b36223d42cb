// `glimmerstroll info`: what a show file holds, as text for people or as JSON
// for programs. The JSON form is stable: fields are only ever added (see the
// README's "info --json" section for every field).
#pragma once

#include <cstdint>
#include <string>

#include "app/ShowBlock.h"

namespace gs {

constexpr int kInfoJsonVersion = 1;

// A key's ease code taken apart (a code of 0 or less follows the show's default).
struct EaseInfo {
    int code = 0;
    bool isDefault = true;
    int type = 0;          // 0 slow-in & slow-out, 1 slow-in, 2 slow-out, 3 no slows
    double amount = 0.0;   // the share of the segment at constant speed
    bool straight = false; // "No Curves"
};

EaseInfo DecodeEase(float easeCode);
const char* EaseTypeName(int type);

// `name` is the path as the user gave it; `frameRate` (hundredths) sets the
// timecodes. Both forms end with a newline.
std::string ShowInfoText(const ShowBlock& show, const std::string& name, int32_t frameRate);
std::string ShowInfoJson(const ShowBlock& show, const std::string& name, int32_t frameRate);

// A JSON string literal for `text` (quotes included; bytes that are not valid
// UTF-8 become U+FFFD).
std::string JsonString(const std::string& text);

}  // namespace gs
