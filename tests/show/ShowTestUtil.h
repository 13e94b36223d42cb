// SPDX-License-Identifier: GPL-2.0-or-later
// Helpers shared by the show-file and effect tests: a scratch folder, a
// document from given settings, a test picture on disk, and the byte-swapped
// twin of a show block.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "doc/CDoc.h"
#include "image/CDIB.h"
#include "motion/Interp.h"
#include "motion/Timecode.h"
#include "platform/Endian.h"
#include "platform/Env.h"
#include "platform/Files.h"
#include "platform/Settings.h"
#include "tests/common/TestDoc.h"
#include "tests/common/TestKit.h"

// A 24-bit Targa picture whose pixels vary with both coordinates, so that any
// camera move changes the frame: red follows x, green follows y.
inline bool WriteTestPicture(const std::string& path, int width, int height) {
    CDIB picture(width, height, 24);
    if (!picture.HasImage()) return false;
    for (int row = 0; row < height; row++) {
        uint8_t* p = picture.GetBitsAdd(row);
        for (int x = 0; x < width; x++) {
            p[3 * x + 0] = static_cast<uint8_t>((x * 7 + row * 3) & 0xFF);  // blue
            p[3 * x + 1] = static_cast<uint8_t>(row * 255 / (height - 1));  // green
            p[3 * x + 2] = static_cast<uint8_t>(x * 255 / (width - 1));     // red
        }
    }
    FSpec fileSpec;
    MakePathSpec(fileSpec, path.c_str());
    return picture.Save(&fileSpec, 0) == 1;
}

// Puts a show of one picture with the given keys into `doc`.
template <size_t N>
void SetShow(CDoc& doc, const std::string& picturePath, const KeyStruct (&keys)[N]) {
    MakePathSpec(doc.pictureFile[0], picturePath.c_str());
    doc.pictureCount = 1;
    for (size_t i = 0; i < N; i++) doc.keys[0][i] = keys[i];
    doc.keyCount[0] = static_cast<int32_t>(N);
}

// The block as a writer of the other byte order would have written it: every
// multi-byte number turned around, the file references and the two contrast
// characters left as bytes.
inline std::vector<char> SwappedTwin(const std::vector<char>& block) {
    std::vector<char> twin = block;
    char* b = twin.data();
    FlopEndian(b, 2);
    FlopEndian(b + 2, 2);
    uint32_t size;
    std::memcpy(&size, block.data() + 4, 4);
    FlopEndian(b + 4, 4);
    long at = 8;
    while (at + 266 <= static_cast<long>(size) - 20) {
        int32_t count;
        std::memcpy(&count, block.data() + at + 262, 4);
        FlopEndian(b + at + 262, 4);
        at += 266;
        for (int k = 0; k < count; k++, at += 56) {
            for (int w = 0; w < 13; w++) FlopEndian(b + at + 4 * w, 4);
            FlopEndian(b + at + 52, 2);
            FlopEndian(b + at + 54, 2);
        }
    }
    char* trailer = b + size - 20;
    FlopEndian(trailer, 4);
    FlopEndian(trailer + 4, 4);
    FlopEndian(trailer + 8, 4);
    FlopEndian(trailer + 12, 2);
    return twin;
}

inline std::vector<char> SaveBlock(CDoc& doc) {
    std::vector<char> block(static_cast<size_t>(doc.SaveShow(nullptr, nullptr)));
    doc.SaveShow(nullptr, block.data());
    return block;
}

// The key count of a block's first picture; -1 when the block is too short.
inline int32_t KeyCount(const std::vector<char>& block) {
    int32_t count = -1;
    if (block.size() >= 274) std::memcpy(&count, block.data() + 8 + 262, 4);
    return count;
}
