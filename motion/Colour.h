// SPDX-License-Identifier: GPL-2.0-or-later
// The hue-lightness-saturation colour model of the colour picker and the tint.
// Red, green and blue run 0..255; hue, lightness and saturation 0..240.
#pragma once

void HLS2RGB(int hue, int lum, int sat, int* red, int* green, int* blue);
void RGB2HLS(int red, int green, int blue, int* hue, int* lum, int* sat);
// One colour component (0..240) between m1 and m2 for `hue`.
int gun(int m1, int m2, int hue);
