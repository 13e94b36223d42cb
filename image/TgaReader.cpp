// SPDX-License-Identifier: GPL-2.0-or-later
// Targa reader: uncompressed pictures (image types 0 to 3) of 8 to 32 bits a
// pixel. Targa has no signature, so this reader is also the first guess for any
// file that is not BMP, TIFF or Photoshop; the header checks below tell a Targa
// from other data.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "image/PictureFile.h"
#include "platform/Endian.h"

int CDIB::LoadTga(CPFile* file) {
    if (!header) return kPicNoHeader;
    PictureFile in(file);

    char head[18] = {};
    if (!in.Read(head, sizeof head)) return kPicUnreadable;
    const long idLength = Endian(head + 0, 1, false);
    const long imageType = Endian(head + 2, 1, false);
    const long mapLength = Endian(head + 5, 2, false);
    const long mapEntryBits = Endian(head + 7, 1, false);
    const long width = Endian(head + 12, 2, false);
    const long height = Endian(head + 14, 2, false);
    const int depth = static_cast<int>(Endian(head + 16, 1, false));
    const long descriptor = Endian(head + 17, 1, false);

    if (depth < 8 || depth > 32 || width == 0 || height == 0) return kPicUnreadable;
    if (imageType > 3) return kPicCompressed;  // the run-length types
    if (height > kMaxPictureSide || width > kMaxPictureSide) return kPicTooLarge;
    if (!Create(width, height, depth)) return kPicNoMemory;

    // The image ID and the colour map are passed over: an 8-bit picture keeps
    // the grey palette of Create.
    in.Skip(idLength + mapLength * mapEntryBits / 8);

    // Targa rows are unpadded. Depths that are not a whole number of bytes give
    // file rows longer than the buffer's; the line keeps the reads in step with
    // the file and only what fits the row is kept.
    const long fileRow = width * depth / 8;
    const long rowBytes = GetRowBytes();
    std::unique_ptr<unsigned char[]> line(new (std::nothrow) unsigned char[fileRow + 4]);
    if (!line) return kPicNoMemory;
    for (long row = 0; row < height; ++row) {
        std::memset(line.get(), 0, fileRow);
        // A file that ends before its last row is cut short: refused
        // rather than shown part black.
        if (in.ReadUpTo(line.get(), fileRow) < fileRow) return kPicUnreadable;
        std::memcpy(GetBitsAdd(static_cast<int>(row)), line.get(), std::min(fileRow, rowBytes));
    }

    if (descriptor & 0x20) Flop();  // top-left origin
    return kPicLoaded;
}
