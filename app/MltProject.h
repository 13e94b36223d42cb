// SPDX-License-Identifier: GPL-2.0-or-later
// A film as an MLT XML project, for melt, Kdenlive and Shotcut: each item a
// clip drawn by the frei0r source from its show (a photo's automatic move or
// the show item itself), transitions as luma mixes between two video
// tracks, the music on an audio track faded out at the end.
#pragma once

#include <string>
#include <vector>

#include "app/Options.h"

namespace gs {

struct MltClip {
    std::string show;      // absolute path of the clip's show (.gsx)
    long start = 0;        // frames in the film
    long length = 0;
    long fadeOut = 0;      // frames shared with the next clip
    bool throughBlack = false;
};

struct MltFilm {
    FrameSize size;
    int32_t frameRate = 2500;
    std::vector<MltClip> clips;
    std::string music;     // absolute path, or empty
    long musicFade = 0;    // frames of the fade-out at the end
    bool exact = false;    // the shows drawn with the exact area filter
};

// The project as text.
std::string MltProjectText(const MltFilm& film);

// Writes it to `path` (through a temporary name). False with a reason.
bool WriteMltProject(const std::string& path, const MltFilm& film, std::string& error);

}  // namespace gs
