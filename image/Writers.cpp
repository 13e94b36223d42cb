// SPDX-License-Identifier: GPL-2.0-or-later
// Writing a picture: BMP or Targa.
#include <cstring>
#include <memory>
#include <new>

#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "platform/Endian.h"
#include "platform/Files.h"
#include "platform/Platform.h"

namespace {

enum : int { kSaveBmp = 0, kSaveTarga = 1, kSaveUnwritten = 2 };

template <typename T>
void PutNative(char* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

}  // namespace

int CDIB::Save(FSpec* file, int format) {
    if (!header) return 0;
    if (std::strstr(file->name, ".TGA") || std::strstr(file->name, ".tga")) format = kSaveTarga;

    CPFile out;
    if (format == kSaveTarga) {
        out.SetFileType(1);     // Targa picture
        out.SetCreatorType(1);  // the picture viewer
    }
    if (!out.Open(file, kFileWrite)) {
        ErrorBox("Error opening graphics file", -9999);
        return 0;
    }
    // Every write and the close count: a disk that fills up is a failed save.
    const bool saved = Save(&out, format) != 0;
    if (!saved || !out.Commit()) {
        // The text says loading; it has always been shown for saving too.
        ErrorBox("Error loading graphics file", -9999);
        return 0;
    }
    return 1;
}

int CDIB::Save(CPFile* file, int format) {
    if (format == kSaveUnwritten) return 1;  // a format this platform does not write
    if (!header) return 1;

    const long width = GetWid();
    const long height = GetHgt();
    const int bitCount = header->bitCount;

    if (format == kSaveTarga) {
        char head[18] = {};
        head[2] = 2;  // uncompressed true colour
        MemEndian(head + 12, width, 2, false);
        MemEndian(head + 14, height, 2, false);
        head[16] = static_cast<char>(bitCount);
        // Alpha bits and a bottom-left origin: 8 at 32 bits, 0 at 24.
        head[17] = static_cast<char>((bitCount > 24 ? bitCount - 24 : 0) + (bitCount & 7));
        file->Write(head, sizeof head);
        // Rows bottom-up, unpadded, pixels in memory order (Targa's own B, G, R, A).
        const long rowLength = bitCount / 8 * width;
        for (long row = 0; row < height; ++row)
            file->Write(reinterpret_cast<char*>(GetBitsAdd(static_cast<int>(row))), rowLength);
        return 1;
    }

    // BMP. The header words go out as they are held in memory, and the data offset
    // counts three bytes a palette entry although four are written: both as this
    // format has always been written here.
    long entries = 0;
    if (bitCount == 2) entries = 4;
    else if (bitCount == 4) entries = 16;
    else if (bitCount == 8) entries = 256;
    const long rowsBytes = GetRowBytes() * height;
    char head[14] = {};
    PutNative<uint16_t>(head + 0, 0x4D42);
    PutNative<uint32_t>(head + 2, static_cast<uint32_t>(14 + 40 + 4 * entries + rowsBytes));
    PutNative<uint16_t>(head + 6, 0);
    PutNative<uint16_t>(head + 8, 0);
    PutNative<uint32_t>(head + 10, static_cast<uint32_t>(54 + 3 * entries));
    file->Write(head, sizeof head);
    file->Write(reinterpret_cast<char*>(header), 40 + 4 * entries);
    file->Write(reinterpret_cast<char*>(bits), rowsBytes);
    return 1;
}
