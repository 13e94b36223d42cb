// SPDX-License-Identifier: GPL-2.0-or-later
// Camera key interpolation: Hermite curves through a key list with time reshaped
// by an ease function.
#pragma once

#include "motion/Types.h"

// Ease modes: the low four bits are the ease type, value 16 the straight-path flag.
constexpr int EASE_IN_OUT = 0;     // "Slow-in & Slow Out"
constexpr int EASE_IN = 1;         // "Slow-in"
constexpr int EASE_OUT = 2;        // "Slow-out"
constexpr int EASE_NONE = 3;       // "No Slows"
constexpr int EASE_HOLD = 4;       // no motion inside a segment
constexpr int EASE_STRAIGHT = 16;  // "No Curves"
constexpr int EASE_TYPE_MASK = 15;

// Reshaped time for t in 0..1: a sine ramp in up to `a`, a straight middle, a sine
// ramp out from `b` (0 <= a <= b <= 1). CalcEase(0) = 0, CalcEase(1) ~ 1.
float CalcEase(float t, float a, float b);

// Value of word `field` (0..11) of the key list at `frame` (frames from the
// picture's start; `halfFrame` nonzero adds half a frame). `keys` are sorted by
// time. A key's own easeCode overrides `easeMode` for the segment it begins.
float CurveFit(int keyCount, const KeyStruct* keys, int field, long frame, int halfFrame,
               int easeMode);

// Sets every field of the key to zero.
void KeyIdentity(KeyStruct& key);
