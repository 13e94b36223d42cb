// SPDX-License-Identifier: GPL-2.0-or-later
// Where a show's picture file is found. The renderer, the picture loading and
// `info` all ask this one lookup, so that what `info` reports is what a render
// loads.
#pragma once

#include <string>

#include "platform/Files.h"

struct PictureLocation {
    bool found = false;
    std::string path;  // the file that is loaded; when none is there, the stored reference
};

// Looks for the picture stored as `stored` (the name of its file reference: a
// full path, or a path relative to the show), in this order:
//  1. the stored path itself; a relative one against the show's folder first,
//     then against the working directory, where it was looked for before;
//  2. the same file name beside the show file (a show moved or renamed
//     together with its pictures);
//  3. the same file name in the alternative picture folder ("AltImageFolder").
// `showFolder` and `altFolder` may be empty: that step is left out.
PictureLocation LocatePicture(const std::string& stored, const std::string& showFolder, const std::string& altFolder);

// The file reference to load the picture `stored` from: `stored` itself when
// the file is there or is found nowhere (so that messages name the stored
// picture), else a full-path reference to where the lookup found it.
FSpec LocatedSpec(const FSpec& stored, const char* showFolder, const char* altFolder);

// The folder of a show file, as a full path; empty when it cannot be told.
std::string ShowFolderOf(const std::string& showPath);
