// SPDX-License-Identifier: GPL-2.0-or-later
// Picture preparation effects: in-place operations on a CDIB's storage rows
// (bottom-up) and pixel bytes blue, green, red and, in 32-bit images, alpha.
// The per-pixel loops are plain loops over bytes that the compiler vectorises.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "image/CDIB.h"
#include "motion/Colour.h"

namespace {

int Height(const CDIB* dib) { return std::abs(dib->header->height); }
int Width(const CDIB* dib) { return dib->header->width; }
int PixelBytes(const CDIB* dib) { return dib->header->bitCount / 8; }
bool Has(const CDIB* dib) { return dib && dib->header && dib->bits; }
bool TrueColour(const CDIB* dib) {
    return Has(dib) && (dib->header->bitCount == 24 || dib->header->bitCount == 32);
}

// Applies `map` to the three colour bytes of every pixel of a 24- or 32-bit image.
template <typename Map>
void MapColours(CDIB* dib, const Map& map) {
    const int bpp = PixelBytes(dib);
    const long stride = dib->GetRowBytes();
    const int width = Width(dib);
    for (int y = 0; y < Height(dib); ++y) {
        uint8_t* row = dib->bits + stride * y;
        for (int x = 0; x < width; ++x)
            for (int k = 0; k < 3; ++k) row[x * bpp + k] = map[row[x * bpp + k]];
    }
}

// One running pass of the kernel 1 2 1 / 2 4 2 / 1 2 1 (>> 4) over byte `k` of
// every interior pixel, in storage order: the row below and the pixel to the
// left already hold blurred values when a pixel is computed. With `skipZero`
// pixels whose byte is 0 keep it.
void RunningBlur(CDIB* dib, int k, bool skipZero) {
    const int bpp = PixelBytes(dib);
    const long stride = dib->GetRowBytes();
    const int width = Width(dib);
    const int height = Height(dib);
    if (width <= 2 || height <= 2) return;
    std::unique_ptr<uint32_t[]> known(new (std::nothrow) uint32_t[size_t(width)]);
    if (!known) return;
    for (int y = 1; y < height - 1; ++y) {
        const uint8_t* below = dib->bits + stride * (y - 1) + k;
        uint8_t* row = dib->bits + stride * y + k;
        const uint8_t* above = dib->bits + stride * (y + 1) + k;
        // Everything but the left neighbour is known before the row starts:
        // the row below is final, this row's own and right pixels and the row
        // above are not yet touched.
        for (int x = 1; x < width - 1; ++x) {
            const int l = (x - 1) * bpp, m = x * bpp, r = (x + 1) * bpp;
            known[size_t(x)] = below[l] + 2u * below[m] + below[r] + 4u * row[m] + 2u * row[r] + above[l] +
                               2u * above[m] + above[r];
        }
        uint32_t left = row[0];
        for (int x = 1; x < width - 1; ++x) {
            uint8_t& p = row[x * bpp];
            if (!(skipZero && p == 0)) p = uint8_t((known[size_t(x)] + 2u * left) >> 4);
            left = p;
        }
    }
}

// a = trunc(k * a + rest * b), byte by byte.
void MixBytes(uint8_t* a, const uint8_t* b, int n, float k, float rest) {
    for (int i = 0; i < n; ++i)
        a[i] = uint8_t(int(k * static_cast<float>(a[i]) + rest * static_cast<float>(b[i])));
}

}  // namespace

bool CDIB::SetAlpha(int value) {
    if (!Has(this) || header->bitCount != 32) return false;
    const long stride = GetRowBytes();
    for (int y = 0; y < Height(this); ++y) {
        uint8_t* row = bits + stride * y;
        for (int x = 0; x < Width(this); ++x) row[x * 4 + 3] = uint8_t(value);
    }
    return true;
}

void CDIB::Tint(long colour) {
    if (!Has(this)) return;
    int hue, lum, sat;
    RGB2HLS(int(colour & 0xFF), int((colour >> 8) & 0xFF), int((colour >> 16) & 0xFF), &hue, &lum, &sat);
    const int bpp = PixelBytes(this);
    const long stride = GetRowBytes();
    // Depths below 24 bits are walked with their own stride but read three
    // bytes; keep those reads inside the pixel block (which has 4 spare bytes).
    const long blockBytes = stride * Height(this) + 4;
    // A pixel's new colour depends only on its lightness: one table of 241.
    uint8_t table[241][3];
    for (int l = 0; l <= 240; ++l) {
        int r, g, b;
        HLS2RGB(hue, l, sat, &r, &g, &b);
        table[l][0] = uint8_t(b);
        table[l][1] = uint8_t(g);
        table[l][2] = uint8_t(r);
    }
    for (int y = 0; y < Height(this); ++y) {
        for (int x = 0; x < Width(this); ++x) {
            const long at = stride * y + long(x) * bpp;
            if (at + 3 > blockBytes) break;
            uint8_t* p = bits + at;
            int h, l, s;
            RGB2HLS(p[2], p[1], p[0], &h, &l, &s);
            l = std::clamp(l, 0, 240);
            p[0] = table[l][0];
            p[1] = table[l][1];
            p[2] = table[l][2];
        }
    }
}

bool CDIB::SetAlphaEdge(int value) {
    if (!Has(this) || header->bitCount != 32) return false;
    const long stride = GetRowBytes();
    const int width = Width(this);
    const int height = Height(this);
    for (int y = 0; y < height; ++y) {
        uint8_t* row = bits + stride * y;
        if (y == 0 || y == height - 1) {
            for (int x = 0; x < width; ++x) row[x * 4 + 3] = uint8_t(value);
        } else {
            row[3] = uint8_t(value);
            row[(width - 1) * 4 + 3] = uint8_t(value);
        }
    }
    return true;
}

// The image becomes 32-bit: each pixel keeps its blue, green and red and takes
// its alpha from the first byte of the mask's pixel at the same place.
bool CDIB::AddAlpha(CDIB* mask) {
    if (!Has(this) || !Has(mask)) return false;
    const int width = Width(this);
    const int height = Height(this);
    if (Width(mask) != width || Height(mask) != height) return false;

    const int bpp = PixelBytes(this);
    const long oldStride = GetRowBytes();
    const long oldBytes = oldStride * height;
    // Colour bytes are read three at a time with the old stride; the slack keeps
    // depths below 24 bits inside the copy.
    std::unique_ptr<uint8_t[]> old(new (std::nothrow) uint8_t[size_t(oldBytes + 8)]());
    const long maskLineBytes = std::max<long>(mask->GetRowBytes(), long(width) * 4) + 32;
    std::unique_ptr<uint8_t[]> maskLine(new (std::nothrow) uint8_t[size_t(maskLineBytes)]());
    std::unique_ptr<uint8_t[]> newLine(new (std::nothrow) uint8_t[size_t(width) * 4 + 32]());
    if (!old || !maskLine || !newLine) return false;
    std::memcpy(old.get(), bits, size_t(oldBytes));
    if (!Create(width, height, 32)) return false;

    const int maskBpp = PixelBytes(mask);
    for (int y = 0; y < height; ++y) {
        mask->GetLine(y, maskLine.get(), 32767);
        const uint8_t* from = old.get() + oldStride * y;
        for (int x = 0; x < width; ++x) {
            std::memcpy(&newLine[size_t(x) * 4], from + long(x) * bpp, 3);
            newLine[size_t(x) * 4 + 3] = maskLine[size_t(x) * maskBpp];
        }
        PutLine(y, newLine.get());
    }
    return true;
}

void CDIB::VideoColors() {
    if (!TrueColour(this)) return;
    const int bpp = PixelBytes(this);
    const long stride = GetRowBytes();
    const int width = Width(this);
    bool offending = false;
    for (int y = 0; y < Height(this) && !offending; ++y) {
        const uint8_t* row = bits + stride * y;
        for (int x = 0; x < width; ++x)
            for (int k = 0; k < 3; ++k) {
                const uint8_t v = row[x * bpp + k];
                if (v < 18 || v > 234) offending = true;
            }
    }
    if (!offending) return;
    uint8_t map[256];
    for (int v = 0; v < 256; ++v) map[v] = uint8_t((v * 86 + 1548) / 100);
    MapColours(this, map);
}

void CDIB::Contrast(int contrast, int brightness) {
    if (!TrueColour(this)) return;
    const float slope = static_cast<float>(contrast) / 50.0f;
    const float offset = 92.0f * static_cast<float>(brightness - 50) / 50.0f -
                         128.0f * static_cast<float>(contrast - 50) / 50.0f;
    uint8_t map[256];
    for (int v = 0; v < 256; ++v) {
        const float value = slope * static_cast<float>(v) + offset;
        map[v] = value >= 255.0f ? 255 : value <= 0.0f ? 0 : uint8_t(value);
    }
    MapColours(this, map);
}

void CDIB::Dissolve(CDIB* other, float t) {
    if (!TrueColour(this) || !TrueColour(other)) return;
    const float k = 1.0f - (std::cos(t * 3.1414f) + 1.0f) * 0.5f;
    const float rest = 1.0f - k;
    const int bpp = PixelBytes(this);
    const int otherBpp = PixelBytes(other);
    const long stride = GetRowBytes();
    const long otherStride = other->GetRowBytes();
    // The other image must be at least as large; only the common part is mixed.
    const int width = std::min(Width(this), Width(other));
    const int height = std::min(Height(this), Height(other));
    for (int y = 0; y < height; ++y) {
        uint8_t* row = bits + stride * y;
        const uint8_t* from = other->bits + otherStride * y;
        if (bpp == otherBpp) {
            // Same layout: every byte of the row, alpha included when both are 32-bit.
            MixBytes(row, from, width * bpp, k, rest);
        } else {
            for (int x = 0; x < width; ++x) MixBytes(row + x * bpp, from + x * otherBpp, 3, k, rest);
        }
    }
}

void CDIB::Blur(int) {
    if (!TrueColour(this)) return;
    for (int k = 0; k < 3; ++k) RunningBlur(this, k, false);
}

void CDIB::BlurAlpha() {
    if (!Has(this) || header->bitCount != 32) return;
    RunningBlur(this, 3, true);
}
