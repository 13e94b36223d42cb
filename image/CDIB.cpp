// SPDX-License-Identifier: GPL-2.0-or-later
// CDIB: creation, row access, in-place flips and the copy, crop, scale and 8-bit
// conversions. The file readers and writers, the camera filters and the picture
// effects live in files of their own.
#include "image/CDIB.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "motion/Geometry.h"
#include "platform/Platform.h"

// True when 16-bit source words are already in host order (little-endian hosts
// reading little-endian BMP words); false makes CopyScale swap each word first
// on a big-endian host.
bool gWin32 = false;

namespace {

constexpr long kMaxSide = 8192;
constexpr bool kHostBigEndian = std::endian::native == std::endian::big;
constexpr long kCallerMaxBytes = 32767;  // what every caller of GetLine passes

// A zeroed scratch line from the ordinary allocator; empty on failure.
std::unique_ptr<uint8_t[]> NewLine(long bytes) {
    std::unique_ptr<uint8_t[]> line(new (std::nothrow) uint8_t[static_cast<size_t>(bytes)]);
    if (line) std::memset(line.get(), 0, static_cast<size_t>(bytes));
    return line;
}

// Size of the per-call line buffer: four bytes a pixel plus slack. Create never
// accepts more than 32 bits a pixel, so a whole row always fits.
long LineBytes(long width) { return width * 4 + 32; }

uint16_t ReadWord(const uint8_t* p) {
    uint16_t w;
    std::memcpy(&w, p, 2);
    return w;
}

void WriteWord(uint8_t* p, uint16_t w) { std::memcpy(p, &w, 2); }

}  // namespace

CDIB::CDIB(long width, long height, int bitsPerPixel) {
    header = nullptr;
    bits = nullptr;
    useRotation = 0;
    Create(width, height, bitsPerPixel);
}

CDIB::~CDIB() {
    delete[] reinterpret_cast<uint8_t*>(header);
    FreeMemBlock(bits);
}

int CDIB::Create(long width, long height, int bitsPerPixel) {
    if (header && header->width == width && std::labs(static_cast<long>(header->height)) == height &&
        header->bitCount == bitsPerPixel)
        return 1;  // same image: keep the pixels as they are
    if (width < 1 || width > kMaxSide || height < 1 || height > kMaxSide) return 0;
    // The line buffers of every row operation hold four bytes a pixel.
    if (bitsPerPixel < 1 || bitsPerPixel > 32) return 0;

    long entries = 0;
    if (bitsPerPixel == 2) entries = 4;
    else if (bitsPerPixel == 4) entries = 16;
    else if (bitsPerPixel == 8) entries = 256;

    delete[] reinterpret_cast<uint8_t*>(header);
    FreeMemBlock(bits);
    header = nullptr;
    bits = nullptr;

    uint8_t* block = new (std::nothrow) uint8_t[static_cast<size_t>(40 + 4 * entries)];
    if (!block) return 0;
    const long rowBytes = ((bitsPerPixel / 8) * width + 3) & ~3L;
    // The rows start cleared to zero (the four spare bytes after the last row
    // with them).
    uint8_t* rows = AllocClearedMemBlock(rowBytes * height + 4);
    if (!rows) {
        delete[] block;
        return 0;
    }

    header = reinterpret_cast<DIBHeader*>(block);
    bits = rows;
    header->size = 40;
    header->width = static_cast<int32_t>(width);
    header->height = static_cast<int32_t>(height);
    header->planes = 1;
    header->bitCount = static_cast<uint16_t>(bitsPerPixel);
    header->compression = 0;
    header->sizeImage = 0;
    header->xPelsPerMeter = 1600;
    header->yPelsPerMeter = 1600;
    header->clrUsed = 0;
    header->clrImportant = 0;
    widthCopy = static_cast<int16_t>(width);
    heightCopy = static_cast<int16_t>(height);

    uint8_t* palette = block + 40;
    for (long i = 0; i < entries; ++i) {
        palette[4 * i + 0] = static_cast<uint8_t>(i);
        palette[4 * i + 1] = static_cast<uint8_t>(i);
        palette[4 * i + 2] = static_cast<uint8_t>(i);
        palette[4 * i + 3] = 0;
    }
    return 1;
}

long CDIB::GetWid(int multiple) {
    if (!header) return 0;
    const long width = header->width;
    if (multiple == 0) return width;
    return multiple * (width / multiple + 1);  // always the next multiple above
}

long CDIB::GetHgt(int multiple) {
    if (!header) return 0;
    const long height = std::labs(static_cast<long>(header->height));
    if (multiple == 0) return height;
    return multiple * (height / multiple + 1);
}

long CDIB::GetRowBytes() {
    if (!header) return 0;
    return ((header->bitCount / 8) * static_cast<long>(header->width) + 3) & ~3L;
}

uint8_t* CDIB::GetBitsAdd(int row) {
    if (!header) return nullptr;
    return bits + GetRowBytes() * row;
}

void CDIB::GetLine(int row, unsigned char* buffer, long maxBytes) {
    if (!header) return;
    const long n = std::min(GetRowBytes(), maxBytes);
    if (n > 0) std::memcpy(buffer, bits + GetRowBytes() * row, static_cast<size_t>(n));
}

void CDIB::PutLine(int row, unsigned char* buffer) {
    if (!header) return;
    const long n = GetRowBytes();
    if (n > 0) std::memcpy(bits + n * row, buffer, static_cast<size_t>(n));
}

int CDIB::Flop() {
    if (!header) return 0;
    const long height = GetHgt();
    const long rowBytes = GetRowBytes();
    for (long i = 0; i < height / 2; ++i) {
        uint8_t* a = bits + rowBytes * i;
        std::swap_ranges(a, a + rowBytes, bits + rowBytes * (height - 1 - i));
    }
    return 1;
}

int CDIB::FlopFields() {
    if (!header) return 0;
    const long height = GetHgt();
    const long rowBytes = GetRowBytes();
    for (long i = 0; i < height - 1; i += 2) {
        uint8_t* a = bits + rowBytes * i;
        std::swap_ranges(a, a + rowBytes, a + rowBytes);
    }
    return 1;
}

int CDIB::FlopRGB2BGR() {
    if (!header) return 0;
    const long width = GetWid();
    const long height = GetHgt();
    const long rowBytes = GetRowBytes();
    const long stride = header->bitCount / 8;
    if (stride == 0) return 1;  // no pixel storage below 8 bits
    for (long y = 0; y < height; ++y) {
        uint8_t* row = bits + rowBytes * y;
        // At depths other than 24 and 32 bits the exchange is done blindly, but
        // never past the end of the row.
        for (long k = 0; k < width && k * stride + 2 < rowBytes; ++k)
            std::swap(row[k * stride], row[k * stride + 2]);
    }
    return 1;
}

int CDIB::Copy(CDIB* destination, bool create) {
    if (!destination || !header) return 0;
    if (create && !destination->Create(GetWid(), GetHgt(), header->bitCount)) return 0;
    if (!destination->header) return 0;
    long bytes = GetRowBytes() * GetHgt();
    // Without create the destination is trusted to be as large; copy no more
    // than it holds all the same.
    bytes = std::min(bytes, destination->GetRowBytes() * destination->GetHgt());
    if (bytes > 0) std::memmove(destination->bits, bits, static_cast<size_t>(bytes));
    return 1;
}

int CDIB::CopyCrop(CDIB* destination, tagRECT& rect) {
    if (!destination || !header) return 0;
    if (destination == this) return 0;  // creating the destination would free the source
    const long cropWidth = RectWidth(rect, false);
    const long cropHeight = RectHgt(rect, false);
    const int depth = header->bitCount;
    if (!destination->Create(cropWidth, cropHeight, depth)) return 0;
    if (depth == 8) std::memcpy(destination->GetPalette(), GetPalette(), 1024);

    const long pixelBytes = depth / 8;
    const long srcHeight = GetHgt();
    // Source rows are read the way every caller of GetLine reads them.
    const long srcRowBytes = std::min(GetRowBytes(), kCallerMaxBytes);
    const long srcStride = GetRowBytes();
    const long dstRowBytes = destination->GetRowBytes();
    // Destination byte j of a row takes source row byte (offset + j). Outside the
    // source row (its padding included) the bytes are zero: the picture is padded
    // with zero pixels on both sides, however far the rectangle reaches.
    const long offset = pixelBytes * rect.left;
    const long first = std::clamp(-offset, 0L, dstRowBytes);
    const long last = std::clamp(srcRowBytes - offset, first, dstRowBytes);

    long d = cropHeight - 1;
    for (long y = rect.top; y < rect.bottom; ++y, --d) {
        uint8_t* out = destination->bits + dstRowBytes * d;
        std::memset(out, 0, static_cast<size_t>(dstRowBytes));
        // Picture row y shows storage row (height - y); picture row 0 is never read.
        if (y > 0 && y < srcHeight && last > first)
            std::memcpy(out + first, bits + srcStride * (srcHeight - y) + offset + first,
                        static_cast<size_t>(last - first));
    }
    return 1;
}

int CDIB::CopyScale(CDIB* destination, long borderColour, int border) {
    if (!destination || !header) return 0;
    if (!destination->header) return 0;
    const int srcDepth = header->bitCount;
    const int dstDepth = destination->header->bitCount;
    const long srcWidth = GetWid();
    const long srcHeight = GetHgt();
    const long dstWidth = destination->GetWid();
    const long dstHeight = destination->GetHgt();
    if (srcDepth == dstDepth && srcHeight == dstHeight && srcWidth == dstWidth && border == 0)
        return Copy(destination, false);

    std::unique_ptr<uint8_t[]> srcLine = NewLine(LineBytes(srcWidth));
    std::unique_ptr<uint8_t[]> dstLine = NewLine(LineBytes(dstWidth));
    if (!srcLine || !dstLine) return 0;

    const float ys = static_cast<float>(srcHeight) / static_cast<float>(dstHeight - 2L * border);
    const float xs = static_cast<float>(srcWidth) / static_cast<float>(dstWidth - 2L * border);
    const long srcPixelBytes = srcDepth / 8;
    const uint8_t* palette = GetPalette();
    const uint8_t borderRed = static_cast<uint8_t>(borderColour & 0xFF);
    const uint8_t borderGreen = static_cast<uint8_t>((borderColour >> 8) & 0xFF);
    const uint8_t borderBlue = static_cast<uint8_t>((borderColour >> 16) & 0xFF);

    for (long y = 0; y < dstHeight; ++y) {
        const bool frameRow = y < border || y >= dstHeight - border;
        if (!frameRow) {
            long sy = static_cast<long>(ys * static_cast<float>(y - border));
            sy = std::clamp(sy, 0L, srcHeight - 1);
            GetLine(static_cast<int>(sy), srcLine.get(), kCallerMaxBytes);
        }
        uint8_t* out = dstLine.get();
        for (long x = 0; x < dstWidth; ++x) {
            uint8_t red = 0, green = 0, blue = 0, alpha = 0;
            if (frameRow || x < border || x >= dstWidth - border) {
                red = borderRed;
                green = borderGreen;
                blue = borderBlue;
            } else {
                long sx = static_cast<long>(xs * static_cast<float>(x - border));
                sx = std::clamp(sx, 0L, srcWidth - 1);
                uint8_t* in = srcLine.get();
                if (srcDepth == 8) {
                    const uint8_t* entry = palette + 4 * in[sx];
                    blue = entry[0];
                    green = entry[1];
                    red = entry[2];
                } else if (srcDepth == 16) {
                    uint8_t* p = in + 2 * sx;
                    // The word is stored little-endian; the swap brings it into
                    // host order, so a little-endian host has nothing to swap.
                    // It is made in the line buffer itself, so a word that is
                    // sampled twice in one row is swapped back the second time.
                    if (!gWin32 && kHostBigEndian) std::swap(p[0], p[1]);
                    const unsigned word = ReadWord(p);
                    blue = static_cast<uint8_t>((word & 0x1F) << 3);
                    red = static_cast<uint8_t>((word >> 7) & 0xFF);    // unmasked: carries
                    green = static_cast<uint8_t>((word >> 2) & 0xFF);  // neighbour bits
                } else if (srcDepth >= 24) {
                    const uint8_t* p = in + srcPixelBytes * sx;
                    blue = p[0];
                    green = p[1];
                    red = p[2];
                    if (srcDepth == 32) alpha = p[3];
                }
            }
            if (dstDepth == 16) {
                const unsigned word = (blue >> 3) | ((green << 2) & 0x3E0) | ((red << 7) & 0x7C00);
                WriteWord(out, static_cast<uint16_t>(word));
                out += 2;
            } else if (dstDepth > 16) {
                *out++ = blue;
                *out++ = green;
                *out++ = red;
                if (dstDepth == 32) *out++ = alpha;
            }
            // 8-bit destinations get nothing encoded.
        }
        destination->PutLine(static_cast<int>(y), dstLine.get());
    }
    return 1;
}

int CDIB::Create8Bit(CDIB* destination, bool grey) {
    if (!header || !destination) return 0;
    if (destination == this) return 0;  // recreating it at 8 bits would free the source
    const int depth = header->bitCount;
    const long width = GetWid();
    const long height = GetHgt();
    if (!destination->Create(width, height, 8)) return 0;

    std::unique_ptr<uint8_t[]> in = NewLine(LineBytes(width));
    std::unique_ptr<uint8_t[]> out = NewLine(LineBytes(width));
    if (!in || !out) return 0;

    for (long y = 0; y < height; ++y) {
        GetLine(static_cast<int>(y), in.get(), kCallerMaxBytes);
        if (depth == 8) {
            // Indices stay as they are; the source palette is copied below.
            destination->PutLine(static_cast<int>(y), in.get());
            continue;
        }
        for (long x = 0; x < width; ++x) {
            unsigned blue, green, red;
            if (depth <= 16) {
                const unsigned word = ReadWord(in.get() + 2 * x);  // host order
                blue = word & 0xF8;
                red = (word >> 7) & 0xF8;
                green = (word >> 2) & 0xF8;
            } else {
                const uint8_t* p = in.get() + 3 * x;  // stride 3 at 24 and 32 bits alike
                blue = p[0];
                green = p[1];
                red = p[2];
            }
            unsigned index;
            if (grey) {
                const float level = 0.11f * static_cast<float>(blue) + 0.3f * static_cast<float>(red) +
                                    0.59f * static_cast<float>(green);
                index = static_cast<unsigned>(static_cast<int>(level)) & 0xFF;
            } else {
                index = (red & 0xE0) | ((green >> 3) & 0x1C) | (blue >> 6);
            }
            out[x] = static_cast<uint8_t>(index);
        }
        destination->PutLine(static_cast<int>(y), out.get());
    }

    uint8_t* palette = destination->GetPalette();
    for (unsigned i = 0; i < 256; ++i) {
        uint8_t* entry = palette + 4 * i;
        if (grey) {
            entry[0] = entry[1] = entry[2] = static_cast<uint8_t>(i);
        } else {
            entry[0] = static_cast<uint8_t>((i << 5) & 0x60);  // blue: 0, 32, 64, 96
            entry[1] = static_cast<uint8_t>((i << 3) & 0xE0);
            entry[2] = static_cast<uint8_t>(i & 0xE0);
        }
    }
    if (depth == 8) std::memcpy(palette, GetPalette(), 1024);
    return 1;
}

void CDIB::Draw(tagRECT& target, void* port) {
    if (!header) return;
    tagRECT source{0, 0, static_cast<int32_t>(GetWid()), static_cast<int32_t>(GetHgt())};
    DIBDraw(target, source, this, port);
}

void CDIB::Draw(tagRECT& target, tagRECT& source, void* port) {
    if (!header) return;
    DIBDraw(target, source, this, port);
}
