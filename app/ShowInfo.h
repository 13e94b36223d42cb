// SPDX-License-Identifier: GPL-2.0-or-later
// `glimmerstroll info`: what a show file holds, as text for people or as JSON
// for programs. The JSON form is the show's own (doc/ShowJson): fields are only
// ever added (see the README's "Shows as JSON" section for every field).
#pragma once

#include <cstdint>
#include <string>

#include "app/ShowBlock.h"

namespace gs {

// `name` is the path as the user gave it; `frameRate` (hundredths, the tool's
// --fps) counts frames for the timecodes. Both forms end with a newline.
std::string ShowInfoText(const ShowBlock& show, const std::string& name, int32_t frameRate);
std::string ShowInfoJson(const ShowBlock& show, const std::string& name, int32_t frameRate);

}  // namespace gs
