// SPDX-License-Identifier: GPL-2.0-or-later
// Photoshop reader: the composite image at the end of the file, raw or PackBits,
// in greyscale, indexed, RGB (with alpha as a fourth channel) and bitmap modes.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "image/PictureFile.h"
#include "platform/Endian.h"

namespace {

constexpr long kTableBlockBytes = 1536;  // holds the 768-byte colour table of indexed files

enum : long { kModeBitmap = 0, kModeGrey = 1, kModeIndexed = 2, kModeRGB = 3, kModeFirstUnread = 4 };

template <typename T>
std::unique_ptr<T[]> NewZeroed(long count) {
    if (count <= 0) count = 1;
    return std::unique_ptr<T[]>(new (std::nothrow) T[static_cast<size_t>(count)]());
}

}  // namespace

int CDIB::LoadPsd(CPFile* file) {
    if (!header) return kPicNoHeader;
    auto table = NewZeroed<uint8_t>(kTableBlockBytes);
    if (!table) return kPicNoMemory;

    PictureFile in(file);
    char head[30] = {};
    if (!in.Read(head, sizeof head)) return kPicUnreadable;
    const long channels = Endian(head + 12, 2, true);
    const long height = Endian(head + 14, 4, true);
    const long width = Endian(head + 18, 4, true);
    const long bitsPerChannel = Endian(head + 22, 2, true);
    const long mode = Endian(head + 24, 2, true);
    const long modeDataLength = Endian(head + 26, 4, true);

    if (mode >= kModeFirstUnread) return kPicUnreadable;  // CMYK, multichannel, duotone, Lab
    if (height > kMaxPictureSide || width > kMaxPictureSide) return kPicTooLarge;

    // Colour-mode data (the colour table of indexed files); what does not fit the
    // block is passed over.
    const long kept = std::min(modeDataLength, kTableBlockBytes);
    if (!in.Read(table.get(), kept)) return kPicUnreadable;
    in.Skip(modeDataLength - kept);

    char word[4];
    if (!in.Read(word, 4)) return kPicUnreadable;  // image resources
    in.Skip(Endian(word, 4, true));
    if (!in.Read(word, 4)) return kPicUnreadable;  // layers and masks
    in.Skip(Endian(word, 4, true));
    if (!in.Read(word, 2)) return kPicUnreadable;
    const bool packed = Endian(word, 2, true) != 0;

    const int depth = static_cast<int>(std::clamp(channels * 8, 24L, 32L));
    if (!Create(width, height, depth)) return kPicNoMemory;

    const long sampleBytes = bitsPerChannel / 8;
    const long rawRow = width * sampleBytes;
    const long rawChannel = height * rawRow;

    // Byte counts of every row of every channel, then a line to unpack into.
    std::unique_ptr<uint16_t[]> counts;
    std::unique_ptr<uint8_t[]> line;
    // A packed row of at most 65535 bytes unpacks to at most 64 times that.
    const long lineBytes = std::min(rawRow, 64 * 65536L) + 8;
    if (packed) {
        const long entries = channels * height;
        if (entries * 2 > in.Remaining()) return kPicUnreadable;
        auto raw = NewZeroed<char>(entries * 2);
        counts = NewZeroed<uint16_t>(entries);
        line = NewZeroed<uint8_t>(lineBytes);
        if (!raw || !counts || !line) return kPicNoMemory;
        if (!in.Read(raw.get(), entries * 2)) return kPicUnreadable;
        for (long i = 0; i < entries; ++i)
            counts[i] = static_cast<uint16_t>(Endian(raw.get() + 2 * i, 2, true));
    }

    // The channel block: 1.5 times a raw channel, never more than the file still
    // holds, and grown for packed data that does not fit (tiny rows pack larger
    // than they are).
    long blockBytes = std::min(rawChannel + rawChannel / 2, in.Remaining());
    auto data = NewZeroed<uint8_t>(blockBytes);
    if (!data) return kPicNoMemory;

    const long pixelBytes = depth / 8;
    const long used = std::min(channels, 4L);
    for (long c = 0; c < used; ++c) {
        long size = rawChannel;
        if (packed) {
            size = 0;
            for (long r = 0; r < height; ++r) size += counts[c * height + r];
        }
        if (size > in.Remaining()) return kPicUnreadable;
        if (size > blockBytes) {
            blockBytes = size;
            data = NewZeroed<uint8_t>(blockBytes);
            if (!data) return kPicNoMemory;
        }
        if (!in.Read(data.get(), size)) return kPicUnreadable;

        long next = 0;  // where the next packed row starts in the block
        for (long r = 0; r < height; ++r) {
            const uint8_t* row;
            long rowLength;
            if (packed) {
                const long packedBytes = counts[c * height + r];
                rowLength = RLCUnPack(data.get() + next, packedBytes, line.get(), lineBytes);
                next += packedBytes;
                row = line.get();
            } else {
                row = data.get() + r * rawRow;
                rowLength = rawRow;
            }
            uint8_t* out = GetBitsAdd(static_cast<int>(height - 1 - r));
            if (mode == kModeBitmap || sampleBytes == 0) continue;  // stays black
            const long pixels = std::min(width, rowLength / sampleBytes);
            for (long x = 0; x < pixels; ++x) {
                const uint8_t v = row[x * sampleBytes];  // the high byte of wider samples
                uint8_t* p = out + x * pixelBytes;
                switch (mode) {
                case kModeGrey:
                    p[0] = p[1] = p[2] = v;
                    break;
                case kModeIndexed:
                    p[0] = table[512 + v];
                    p[1] = table[256 + v];
                    p[2] = table[v];
                    break;
                case kModeRGB:
                    if (c < 3) p[2 - c] = v;
                    else if (channels > 3) p[3] = v;
                    break;
                default:
                    break;
                }
            }
        }
    }
    return kPicLoaded;
}
