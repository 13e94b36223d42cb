// SPDX-License-Identifier: GPL-2.0-or-later
// TIFF reader: uncompressed strips, 8 bits a sample, either byte order. The
// rows are read as they stand (R, G, B, top-down) and turned into the buffer's
// layout at the end.
#include <cstring>
#include <memory>
#include <new>

#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "image/PictureFile.h"
#include "platform/Endian.h"

namespace {

constexpr long kBlockBytes = 4096;
constexpr long kEntryBytes = 12;

enum : long {
    kTagWidth = 256,
    kTagHeight = 257,
    kTagCompression = 259,
    kTagStripOffsets = 273,
    kTagSamplesPerPixel = 277,
    kTagRowsPerStrip = 278,
};
constexpr long kTypeShort = 3;
constexpr long kTypeLong = 4;

}  // namespace

int CDIB::LoadTif(CPFile* file) {
    if (!header) return kPicNoHeader;
    // The block is cleared so that a directory cut short by the end of the file
    // reads as empty entries.
    std::unique_ptr<char[]> block(new (std::nothrow) char[kBlockBytes]());
    if (!block) return kPicNoMemory;
    char* const b = block.get();

    PictureFile in(file);
    if (in.ReadUpTo(b, kBlockBytes) < 8) return kPicUnreadable;

    bool big;
    if (b[0] == 'I' && b[2] == 0x2A) big = false;
    else if (b[0] == 'M' && b[3] == 0x2A) big = true;
    else return kPicUnreadable;

    // The directory, either inside the first block or read from its own offset.
    long dir = Endian(b + 4, 4, big);
    if (dir > kBlockBytes - 1) {
        std::memset(b, 0, kBlockBytes);
        in.SeekTo(dir);
        if (in.ReadUpTo(b, kBlockBytes) < 2) return kPicUnreadable;
        dir = 0;
    }
    if (dir + 2 > kBlockBytes) return kPicUnreadable;

    long width = 32, height = 32, bitsPerPixel = 24;
    long stripCount = 1, stripOffset = 1, offsetEntryBytes = 2, rowsPerStrip = 8192;

    // Only the entries that lie within the block are walked.
    long entries = Endian(b + dir, 2, big);
    const long room = (kBlockBytes - dir - 2) / kEntryBytes;
    if (entries > room) entries = room;
    for (long e = 0; e < entries; ++e) {
        const char* entry = b + dir + 2 + e * kEntryBytes;
        const long tag = Endian(entry, 2, big);
        const long type = Endian(entry + 2, 2, big);
        const long count = Endian(entry + 4, 4, big);
        const long value = Endian(entry + 8, type == kTypeLong ? 4 : 2, big);
        switch (tag) {
        case kTagWidth:
            width = value;
            if (width > kMaxPictureSide) return kPicTooLarge;
            break;
        case kTagHeight:
            height = value;
            if (height > kMaxPictureSide) return kPicTooLarge;
            break;
        case kTagCompression:
            if (value != 1) return kPicCompressed;
            break;
        case kTagStripOffsets:
            stripCount = count;
            stripOffset = Endian(entry + 8, 4, big);  // whatever the type
            offsetEntryBytes = type == kTypeShort ? 2 : 4;
            break;
        case kTagSamplesPerPixel:
            bitsPerPixel = value * 8;  // 8 bits a sample
            break;
        case kTagRowsPerStrip:
            rowsPerStrip = value;
            break;
        default:
            break;
        }
    }

    if (!Create(width, height, static_cast<int>(bitsPerPixel))) return kPicNoMemory;
    const long fileRow = width * bitsPerPixel / 8;  // never more than the row length

    if (stripCount == 1) {
        in.SeekTo(stripOffset);
        for (long row = 0; row < height; ++row)
            if (in.ReadUpTo(GetBitsAdd(static_cast<int>(row)), fileRow) < 1) break;
    } else {
        long row = 0;
        for (long s = 0; s < stripCount && row < height; ++s) {
            char entry[4] = {};
            in.SeekTo(stripOffset + s * offsetEntryBytes);
            if (!in.Read(entry, offsetEntryBytes)) break;
            in.SeekTo(Endian(entry, static_cast<int>(offsetEntryBytes), big));
            long done = 0;
            for (; done < rowsPerStrip && row < height; ++done, ++row)
                if (!in.Read(GetBitsAdd(static_cast<int>(row)), fileRow)) break;
            if (done < rowsPerStrip && row < height) break;  // the file ended
        }
    }

    block.reset();
    FlopRGB2BGR();  // TIFF stores R, G, B
    Flop();         // and top-down
    return kPicLoaded;
}
