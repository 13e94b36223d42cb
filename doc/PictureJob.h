// SPDX-License-Identifier: GPL-2.0-or-later
// Picture loading jobs: one picture file loaded into a buffer with its matte
// border. The picture list runs one for the picture buffer and one to fill the
// second buffer with the next picture ahead of time.
#pragma once

#include <atomic>
#include <cstdint>

class CDIB;
struct FSpec;

struct PictureJob {
    CDIB* target;                  // made (width + 2b) x (height + 2b)
    FSpec* file;                   // the picture
    std::atomic<int32_t>* busy;    // 1 while the job runs
    long matteColour;              // 0x00BBGGRR around the picture
    long matteBorder;              // level -1..100 (see MatteBorderPixels)
    int depth;                     // the deepest buffer to make (the depth limit)
    FSpec* folder;                 // second folder to look in, or null
    int report;                    // show messages for missing or bad files
    int* result;                   // receives the load result (0 failed), or null
};

// Runs one job to completion and frees it (the caller allocates it with new).
// The job sets its busy flag when it starts and clears it when it is done; a
// job that fails leaves the target as it was.
void lbThreadFunc(void* job);

// Border on each side for a matte level: level / 200 of the picture's width,
// for both directions; none at level 0 or below.
long MatteBorderPixels(long level, long width);

// Depth of a prepared picture: the file's depth, at least 24, when it does not
// exceed the limit; else the limit.
int PreparedDepth(int fileDepth, int limit);

// The alternative picture folder as a file reference in path form.
void FolderSpec(FSpec& fileSpec, const char* folder);
