// SPDX-License-Identifier: GPL-2.0-or-later
// Camera resampling: the job block that carries one band of a frame to the
// background worker, and the worker's job function. The filters themselves are
// CDIB members (FilterCropMulti, FilterCrop, FilterRot).
#pragma once

#include <cstdint>

#include "platform/Worker.h"

class CDIB;

// One band of rows for the worker. It travels inside a 256-byte block of which
// the first kMPJobBytes are copied into the worker's task record.
struct FilterJob {
    CDIB* source;
    CDIB* destination;
    float left, bottom, width, height;  // camera rectangle, source pixels, rows bottom-up
    float angle, tilt1, tilt2;          // degrees
    int16_t part;
    int16_t quality;
    int32_t fieldSelector;
    int32_t busy;     // 1 while the job is out; the worker clears it on its copy
    int32_t offset;   // where the second band starts, relative to H / 2
    int32_t stopRow;  // the worker draws no row from here on that the caller draws
};
static_assert(sizeof(FilterJob) <= kMPJobBytes, "a filter job fits in the worker's copy");

constexpr int kFilterJobBlockBytes = 256;

// The worker's job: draws the band described by the FilterJob at `block`.
void mfThreadFunc(void* block);

// CDIB::FilterRot drawn with its plain loops alone, as a build without the
// vector forms draws it: the same bytes, slower. For comparisons.
bool FilterRotPlain(CDIB* dest, CDIB* source, float left, float bottom, float width, float height, float angle,
                    float tilt1, float tilt2, int part, int quality, int fieldSelector);

// The exact area filter, a quality level beyond the kept filters: each
// destination pixel is the average of the picture over exactly the camera's
// footprint of that pixel (outside the picture the outside grey), with weights
// and division fine enough that a flat colour keeps its value at any scale.
// An axis-aligned camera (angle and tilts all zero) is filtered separably;
// a rotated or tilted one integrates the picture exactly over each pixel's
// quadrilateral footprint. Same destination, camera and
// field selector as FilterCrop; rows outside the selector are left alone.
bool FilterExact(CDIB* dest, CDIB* source, float left, float bottom, float width, float height, float angle,
                 float tilt1, float tilt2, int fieldSelector);
