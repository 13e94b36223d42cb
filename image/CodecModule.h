// SPDX-License-Identifier: GPL-2.0-or-later
// The codec module: OpenImageIO behind a small C interface, in a shared module
// of its own (glimmerstroll-codecs.so) that is loaded on first need. OpenImageIO
// brings a few hundred libraries with it; the tool, the plug-ins and the effect
// module load them only for a picture that the built-in readers and the JPEG
// reader leave over, a photo the slideshow checks, or a PNG frame written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" {

// Makes the destination picture at width x height, 24 bits, and says where its
// rows are (storage row 0 and the row length); null bits when it cannot.
typedef int (*GsMakeRows)(void* target, long width, long height, uint8_t** bits, long* rowBytes);

struct GsCodecTable {
    int abi;  // kGsCodecAbi
    // Decodes a picture file as 24-bit rows with its EXIF orientation applied;
    // a picture reader result code (0 loaded).
    int (*importPicture)(const char* path, GsMakeRows make, void* target);
    // Reads a picture's size from its header: 1, or 0 with `why` filled in.
    int (*probePicture)(const char* path, int* width, int* height, char* why, size_t whyBytes);
    // Writes top-down RGB rows as a PNG file: 1, or 0 with `why` filled in.
    int (*writePng)(const char* path, int width, int height, const uint8_t* rgb, char* why, size_t whyBytes);
};

// The module's one export.
const GsCodecTable* GsCodecModuleTable(void);
}

constexpr int kGsCodecAbi = 1;

// The loaded module's table, or null when the module cannot be found or
// loaded; `why` then says so. Loaded once per process, thread-safe.
const GsCodecTable* CodecModule(std::string* why = nullptr);
