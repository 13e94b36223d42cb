// The platform importer: every picture format that the built-in readers do not
// take (JPEG, PNG, GIF, run-length Targa, ...) is decoded by OpenImageIO. The
// picture arrives as 24-bit rows, bottom-up like every buffer, with the EXIF
// orientation of photographs applied so that a portrait photo stands upright.
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <string>

#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "platform/Files.h"
#include "platform/Platform.h"

namespace {

constexpr long kChunkRows = 64;

// Frees an image block on every path.
struct MemBlock {
    explicit MemBlock(long size) : p(AllocMemBlock(size)) {}
    ~MemBlock() { FreeMemBlock(p); }
    MemBlock(const MemBlock&) = delete;
    MemBlock& operator=(const MemBlock&) = delete;
    unsigned char* p;
};

// Stores one top-down source row of `channels` (1 grey or 3 RGB) bytes a pixel
// as blue, green, red.
void StoreRow(const uint8_t* in, long width, int channels, uint8_t* out) {
    if (channels == 3) {
        for (long x = 0; x < width; ++x, in += 3, out += 3) {
            out[0] = in[2];
            out[1] = in[1];
            out[2] = in[0];
        }
    } else {
        for (long x = 0; x < width; ++x, ++in, out += 3) out[0] = out[1] = out[2] = *in;
    }
}

// Source pixel (column, row) of a w x h picture shown at (x, y) under EXIF
// orientation `o` (2 to 8; 1 and unknown values show the picture as stored).
void SourceOf(int o, long x, long y, long w, long h, long& sx, long& sy) {
    switch (o) {
    case 2: sx = w - 1 - x; sy = y; break;          // mirrored left to right
    case 3: sx = w - 1 - x; sy = h - 1 - y; break;  // turned half way
    case 4: sx = x; sy = h - 1 - y; break;          // mirrored top to bottom
    case 5: sx = y; sy = x; break;                  // transposed
    case 6: sx = y; sy = h - 1 - x; break;          // stored a quarter turn anticlockwise
    case 7: sx = w - 1 - y; sy = h - 1 - x; break;  // transversed
    case 8: sx = w - 1 - y; sy = x; break;          // stored a quarter turn clockwise
    default: sx = x; sy = y; break;
    }
}

int Import(CDIB* dib, const char* path) {
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);  // colours as stored, not premultiplied
    auto in = OIIO::ImageInput::open(path, &config);
    if (!in) {
        OIIO::geterror();  // nothing takes the file
        return kPicNoHeader;
    }
    const OIIO::ImageSpec spec = in->spec();
    if (spec.width < 1 || spec.height < 1 || spec.depth != 1 || spec.nchannels < 1 || spec.deep) {
        in->geterror();
        return kPicUnreadable;
    }
    const long w = spec.width, h = spec.height;
    int orientation = spec.get_int_attribute("Orientation", 1);
    if (orientation < 1 || orientation > 8) orientation = 1;
    const bool quarter = orientation >= 5;
    const long outW = quarter ? h : w, outH = quarter ? w : h;
    if (!dib->Create(outW, outH, 24)) return kPicNoMemory;

    // Colour pictures give their first three channels; anything with fewer is
    // taken as grey from its first.
    const int channels = spec.nchannels >= 3 ? 3 : 1;
    const long srcRow = w * channels;
    const int sub = in->current_subimage(), mip = in->current_miplevel();

    if (orientation == 1 && spec.tile_width == 0) {
        // Upright scanline pictures go straight into the rows, a chunk at a time.
        MemBlock chunk(srcRow * kChunkRows);
        if (!chunk.p) return kPicNoMemory;
        for (long y0 = 0; y0 < h; y0 += kChunkRows) {
            const long y1 = std::min(h, y0 + kChunkRows);
            if (!in->read_scanlines(sub, mip, spec.y + static_cast<int>(y0), spec.y + static_cast<int>(y1),
                                    spec.z, 0, channels, OIIO::TypeDesc::UINT8, chunk.p)) {
                in->geterror();
                return kPicUnreadable;
            }
            for (long y = y0; y < y1; ++y)
                StoreRow(chunk.p + (y - y0) * srcRow, w, channels, dib->GetBitsAdd(static_cast<int>(h - 1 - y)));
        }
        return kPicLoaded;
    }

    MemBlock whole(srcRow * h);
    if (!whole.p) return kPicNoMemory;
    if (!in->read_image(sub, mip, 0, channels, OIIO::TypeDesc::UINT8, whole.p)) {
        in->geterror();
        return kPicUnreadable;
    }
    for (long y = 0; y < outH; ++y) {
        uint8_t* out = dib->GetBitsAdd(static_cast<int>(outH - 1 - y));
        for (long x = 0; x < outW; ++x, out += 3) {
            long sx, sy;
            SourceOf(orientation, x, y, w, h, sx, sy);
            const uint8_t* p = whole.p + sy * srcRow + sx * channels;
            if (channels == 3) {
                out[0] = p[2];
                out[1] = p[1];
                out[2] = p[0];
            } else {
                out[0] = out[1] = out[2] = p[0];
            }
        }
    }
    return kPicLoaded;
}

}  // namespace

int MacLoadPict(void* dib, void* fileSpec) {
    CDIB* d = static_cast<CDIB*>(dib);
    PlatformPath path;
    if (!d || !fileSpec || !CopyToMacFSSpec(&path, static_cast<FSpec*>(fileSpec))) return kPicNoHeader;
    return Import(d, path.path);
}
