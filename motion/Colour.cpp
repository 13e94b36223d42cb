// SPDX-License-Identifier: GPL-2.0-or-later
// Integer HLS <-> RGB conversion on a 0..240 scale for hue, lightness and
// saturation (hue 0 red, 80 green, 160 blue).
#include "motion/Colour.h"

#include <algorithm>

namespace {

constexpr int kHlsMax = 240;
constexpr int kRgbMax = 255;

// Out-of-range components could make a divisor zero; answer 0 then.
int Quot(int a, int b) { return b == 0 ? 0 : a / b; }

int GunToByte(int g) { return (g * kRgbMax + kHlsMax / 2) / kHlsMax; }

}  // namespace

int gun(int m1, int m2, int hue) {
    if (hue < 0)
        hue += kHlsMax;
    else if (hue > kHlsMax)
        hue -= kHlsMax;

    if (hue < 40) return m1 + ((m2 - m1) * hue + 20) / 40;
    if (hue < 120) return m2;
    if (hue > 159) return m1;
    return m1 + ((m2 - m1) * (160 - hue) + 20) / 40;
}

void HLS2RGB(int hue, int lum, int sat, int* red, int* green, int* blue) {
    // Saturation 0 needs no special case: m1 = m2 = lum, a grey.
    const int m2 = lum <= kHlsMax / 2 ? (lum * (kHlsMax + sat) + kHlsMax / 2) / kHlsMax
                                      : lum + sat - (lum * sat + kHlsMax / 2) / kHlsMax;
    const int m1 = 2 * lum - m2;
    *red = GunToByte(gun(m1, m2, hue + 80));
    *green = GunToByte(gun(m1, m2, hue));
    *blue = GunToByte(gun(m1, m2, hue - 80));
}

void RGB2HLS(int red, int green, int blue, int* hue, int* lum, int* sat) {
    const int hi = std::max({red, green, blue});
    const int lo = std::min({red, green, blue});
    const int sum = hi + lo;
    *lum = (sum * kHlsMax + kRgbMax) / (2 * kRgbMax);
    if (hi == lo) {
        *sat = 0;
        *hue = 0;
        return;
    }

    const int d = hi - lo;
    const int satBase = *lum <= kHlsMax / 2 ? sum : 2 * kRgbMax - sum;
    *sat = Quot(d * kHlsMax + satBase / 2, satBase);

    const int rd = ((hi - red) * 40 + d / 2) / d;
    const int gd = ((hi - green) * 40 + d / 2) / d;
    const int bd = ((hi - blue) * 40 + d / 2) / d;
    int h;
    if (red == hi)
        h = bd - gd;
    else if (green == hi)
        h = 80 + rd - bd;
    else
        h = 160 + gd - rd;
    if (h < 0)
        h += kHlsMax;
    else if (h > kHlsMax)
        h -= kHlsMax;
    *hue = h;
}
