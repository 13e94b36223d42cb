// SPDX-License-Identifier: GPL-2.0-or-later
// Timecode text for frame numbers, in both directions.
#pragma once

#include <cstdint>

// Frame rate in hundredths of a frame per second (2997 = 29.97 fps). The frames in
// one second are (gFrameRate + 50) / 100. Starts at 3000; the document sets it
// from the "FrameRate" setting.
extern int32_t gFrameRate;

// Writes HH:MM:SS:FF (or MM:SS:FF with `shortForm`) into `out`, which needs at
// least 12 bytes. Negative frames have no sign; their last separator is ".".
// Hours wrap at 12. No drop-frame counting.
void FrameToString(char* out, long frame, bool shortForm);

// Parses [[[HH:]MM:]SS:]FF. *frame is both the base and the result: a leading "+"
// adds the base, a leading "-" gives base - value, anything else replaces it.
void StringToFrame(long* frame, const char* text);
