// SPDX-License-Identifier: GPL-2.0-or-later
// The program's own pictures, drawn into a buffer on request.
#include <cstdint>
#include <cstring>

#include "image/CDIB.h"
#include "image/ImageFiles.h"

namespace {

// The missing-picture sign: a mid-grey card with a darker frame and a red
// diagonal cross, 64 x 48. Returns the colour of top-down pixel (x, y) as
// 0x00RRGGBB.
constexpr long kMissingWidth = 64;
constexpr long kMissingHeight = 48;

uint32_t MissingPixel(long x, long y) {
    if (x < 2 || y < 2 || x >= kMissingWidth - 2 || y >= kMissingHeight - 2) return 0x404040;
    const long dx = x * kMissingHeight;  // compare slopes without division
    const long dy = y * kMissingWidth;
    const long dy2 = (kMissingHeight - 1 - y) * kMissingWidth;
    const long band = kMissingWidth * 2;
    if ((dx - dy < band && dy - dx < band) || (dx - dy2 < band && dy2 - dx < band)) return 0xC02020;
    return 0xA0A0A0;
}

}  // namespace

int BitmapToDIB(void* dib, int resourceId) {
    CDIB* d = static_cast<CDIB*>(dib);
    if (!d || resourceId != kMissingPicture) return 0;
    if (!d->Create(kMissingWidth, kMissingHeight, 24)) return 0;
    // Drawn top-down; picture row y goes to storage row height - 1 - y.
    for (long y = 0; y < kMissingHeight; ++y) {
        uint8_t* row = d->GetBitsAdd(static_cast<int>(kMissingHeight - 1 - y));
        for (long x = 0; x < kMissingWidth; ++x) {
            const uint32_t c = MissingPixel(x, y);
            row[3 * x + 0] = static_cast<uint8_t>(c);
            row[3 * x + 1] = static_cast<uint8_t>(c >> 8);
            row[3 * x + 2] = static_cast<uint8_t>(c >> 16);
        }
    }
    return 1;
}
