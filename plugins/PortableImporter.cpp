// SPDX-License-Identifier: GPL-2.0-or-later
// The platform importer of the portable plug-ins: stb_image, compiled into the
// plug-in, in place of OpenImageIO. Linked ahead of the image library, it
// stands in for the OpenImageIO importer, so that the portable plug-ins load
// no OpenImageIO, nor the libraries it brings, into the host. It decodes JPEG,
// PNG, GIF, PSD, Targa, BMP and PNM files (whatever the built-in readers leave
// to it) as 24-bit pictures; unlike OpenImageIO it leaves EXIF orientation
// alone, so a portrait photo stored sideways stays sideways.
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#define STBI_NO_HDR
#define STBI_NO_LINEAR
#include <stb/stb_image.h>

#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "platform/Files.h"

int MacLoadPict(void* dib, void* fileSpec) {
    CDIB* d = static_cast<CDIB*>(dib);
    PlatformPath path;
    if (!d || !fileSpec || !CopyToMacFSSpec(&path, static_cast<FSpec*>(fileSpec))) return kPicNoHeader;
    // The size first: the buffer (which refuses sides over 8192) is made
    // before anything is decoded.
    int w = 0, h = 0, channels = 0;
    if (!stbi_info(path.path, &w, &h, &channels)) return kPicNoHeader;
    if (!d->Create(w, h, 24)) return kPicNoMemory;
    int loadedW = 0, loadedH = 0;
    unsigned char* pixels = stbi_load(path.path, &loadedW, &loadedH, &channels, 3);
    int result = kPicUnreadable;
    if (pixels && loadedW == w && loadedH == h) {
        // Rows top-down, RGB, into the buffer's bottom-up BGR rows.
        for (int y = 0; y < h; y++) {
            const unsigned char* src = pixels + static_cast<size_t>(y) * w * 3;
            unsigned char* dst = d->GetBitsAdd(h - 1 - y);
            for (int x = 0; x < w; x++, src += 3, dst += 3) {
                dst[0] = src[2];
                dst[1] = src[1];
                dst[2] = src[0];
            }
        }
        result = kPicLoaded;
    }
    stbi_image_free(pixels);
    return result;
}
