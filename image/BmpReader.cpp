// SPDX-License-Identifier: GPL-2.0-or-later
// BMP reader: uncompressed pictures of 8 bits a pixel or more. BMP rows are
// bottom-up and padded to 4 bytes like the buffer's, so the pixel data is taken
// as it stands.
#include <algorithm>
#include <cstdint>

#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "image/PictureFile.h"
#include "platform/Endian.h"

namespace {
constexpr long kFileHeaderBytes = 14;
constexpr long kInfoHeaderBytes = 40;
}  // namespace

int CDIB::LoadBmp(CPFile* file) {
    if (!header) return kPicNoHeader;
    PictureFile in(file);

    char head[kFileHeaderBytes + kInfoHeaderBytes] = {};
    if (!in.Read(head, sizeof head)) return kPicUnreadable;
    const char* info = head + kFileHeaderBytes;

    const long fileSize = Endian(head + 2, 4, false);
    const long dataOffset = Endian(head + 10, 4, false);
    const int32_t width = static_cast<int32_t>(Endian(info + 4, 4, false));
    const int32_t height = static_cast<int32_t>(Endian(info + 8, 4, false));
    const int bitCount = static_cast<int>(Endian(info + 14, 2, false));

    // Only the lowest byte of the compression field is looked at.
    if (Endian(info + 16, 1, false) != 0) return kPicCompressed;
    // A top-down (negative) height passes here and is refused by Create.
    if (width > kMaxPictureSide || height > kMaxPictureSide) return kPicTooLarge;
    if (bitCount < 8) return kPicFewColours;
    if (!Create(width, height, bitCount)) return kPicNoMemory;

    // The palette is taken whole, whatever the colours-used field says.
    if (bitCount == 8) in.ReadUpTo(GetPalette(), 1024);

    // The pixel data runs from the data offset to the end given by the file size
    // field; what does not fit the rows is not read. A file that ends before
    // the rows it promises is cut short: refused rather than shown part black.
    in.SeekTo(dataOffset);
    long count = fileSize - dataOffset;
    count = std::min(count, GetRowBytes() * GetHgt());
    if (count > 0 && in.ReadUpTo(bits, count) < count) return kPicUnreadable;
    return kPicLoaded;
}
