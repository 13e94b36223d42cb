// SPDX-License-Identifier: GPL-2.0-or-later
// The platform importer: every picture format that the built-in readers do not
// take (JPEG, PNG, GIF, run-length Targa, ...) is decoded by OpenImageIO. The
// picture arrives as 24-bit rows, bottom-up like every buffer, with the EXIF
// orientation of photographs applied so that a portrait photo stands upright.
#include <OpenImageIO/imageio.h>
#include <OpenImageIO/tiffutils.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "platform/Endian.h"
#include "platform/Files.h"
#include "platform/Platform.h"

namespace {

constexpr long kChunkRows = 64;
constexpr long kMaxExifBytes = 1 << 20;  // larger EXIF chunks are not read

// Frees an image block on every path.
struct MemBlock {
    explicit MemBlock(long size) : p(AllocMemBlock(size)) {}
    ~MemBlock() { FreeMemBlock(p); }
    MemBlock(const MemBlock&) = delete;
    MemBlock& operator=(const MemBlock&) = delete;
    unsigned char* p;
};

inline void StorePixel(const uint8_t* in, int channels, uint8_t* out) {
    if (channels == 3) {
        out[0] = in[2];
        out[1] = in[1];
        out[2] = in[0];
    } else {
        out[0] = out[1] = out[2] = in[0];
    }
}

// Stores source rows y0..y1-1 of a w x h picture (`chunk`, top-down, `channels`
// bytes a pixel: 1 grey or 3 RGB) into `dib` as shown under EXIF orientation
// `o` (1 to 8). The buffer is already made at the shown size.
void Place(CDIB* dib, const uint8_t* chunk, long y0, long y1, long w, long h, int channels, int o) {
    const long srcRow = w * channels;
    const long shownH = o >= 5 ? w : h;
    // Top-down shown row y lives in storage row shownH - 1 - y.
    auto shownRow = [&](long y) { return dib->GetBitsAdd(static_cast<int>(shownH - 1 - y)); };
    if (o < 5) {
        // Source rows stay rows, mirrored left to right (2, 3) and/or top to
        // bottom (3, 4).
        const bool mirrorX = o == 2 || o == 3, mirrorY = o == 3 || o == 4;
        for (long sy = y0; sy < y1; ++sy) {
            const uint8_t* in = chunk + (sy - y0) * srcRow;
            uint8_t* out = shownRow(mirrorY ? h - 1 - sy : sy);
            if (mirrorX) {
                for (long sx = 0; sx < w; ++sx) StorePixel(in + sx * channels, channels, out + 3 * (w - 1 - sx));
            } else {
                for (long sx = 0; sx < w; ++sx) StorePixel(in + sx * channels, channels, out + 3 * sx);
            }
        }
        return;
    }
    // Quarter turns: source columns become shown rows (sx -> y, sy -> x). The
    // chunk's rows are walked across for each column, so that the writes run
    // along one shown row while the chunk stays in the cache.
    const bool flipRows = o == 7 || o == 8;  // shown y = w - 1 - sx
    const bool flipCols = o == 6 || o == 7;  // shown x = h - 1 - sy
    for (long sx = 0; sx < w; ++sx) {
        uint8_t* out = shownRow(flipRows ? w - 1 - sx : sx);
        const uint8_t* in = chunk + sx * channels;
        for (long sy = y0; sy < y1; ++sy, in += srcRow)
            StorePixel(in, channels, out + 3 * (flipCols ? h - 1 - sy : sy));
    }
}

// EXIF orientation 1 to 8 of an opened picture, as OpenImageIO reports it; 0
// when it says nothing. Some readers fill in their metadata only once the
// pixels have been read, so this is asked again after the first rows.
int ReportedOrientation(const OIIO::ImageSpec& header) {
    const int orientation = header.get_int_attribute("Orientation", 0);
    return orientation >= 1 && orientation <= 8 ? orientation : 0;
}

// The orientation in a WebP file's "EXIF" chunk. OpenImageIO's WebP reader
// passes over an EXIF chunk that holds the TIFF structure without the "Exif"
// prefix, the form that the WebP container specifies and most writers use; the
// chunk is found here and decoded by OpenImageIO itself. 0 when there is none.
int WebpExifOrientation(const char* path) {
    FILE* file = std::fopen(path, "rb");
    if (!file) return 0;
    int orientation = 0;
    unsigned char head[12];
    if (std::fread(head, 1, sizeof head, file) == sizeof head && std::memcmp(head, "RIFF", 4) == 0 &&
        std::memcmp(head + 8, "WEBP", 4) == 0) {
        // Chunks: a four-character tag, a little-endian 32-bit size, the data,
        // a pad byte when the size is odd.
        unsigned char chunk[8];
        while (std::fread(chunk, 1, sizeof chunk, file) == sizeof chunk) {
            const long size = Endian(reinterpret_cast<const char*>(chunk + 4), 4, false);
            if (std::memcmp(chunk, "EXIF", 4) != 0) {
                if (std::fseek(file, size + (size & 1), SEEK_CUR) != 0) break;
                continue;
            }
            std::vector<unsigned char> exif(static_cast<size_t>(std::min(size, kMaxExifBytes)));
            if (size <= kMaxExifBytes && std::fread(exif.data(), 1, exif.size(), file) == exif.size()) {
                OIIO::ImageSpec found;
                const auto bytes = static_cast<OIIO::oiio_span_size_type>(exif.size());
                if (OIIO::decode_exif(OIIO::cspan<uint8_t>(exif.data(), bytes), found))
                    orientation = ReportedOrientation(found);
            }
            break;
        }
    }
    std::fclose(file);
    return orientation;
}

int Import(CDIB* dib, const char* path) {
    OIIO::ImageSpec config;
    config.attribute("oiio:UnassociatedAlpha", 1);  // colours as stored, not premultiplied
    auto in = OIIO::ImageInput::open(path, &config);
    if (!in) {
        OIIO::geterror();  // nothing takes the file
        return kPicNoHeader;
    }
    const OIIO::ImageSpec imageSpec = in->spec();
    if (imageSpec.width < 1 || imageSpec.height < 1 || imageSpec.depth != 1 || imageSpec.nchannels < 1 || imageSpec.deep) {
        in->geterror();
        return kPicUnreadable;
    }
    const long w = imageSpec.width, h = imageSpec.height;
    int orientation = ReportedOrientation(imageSpec);

    // Colour pictures give their first three channels; anything with fewer is
    // taken as grey from its first.
    const int channels = imageSpec.nchannels >= 3 ? 3 : 1;
    const int sub = in->current_subimage(), mip = in->current_miplevel();
    // Scanline files are read a chunk of rows at a time; tiled ones whole.
    const bool tiled = imageSpec.tile_width != 0;
    const long chunkRows = tiled ? h : std::min(h, kChunkRows);
    MemBlock chunk(w * channels * chunkRows);
    if (!chunk.p) return kPicNoMemory;
    for (long y0 = 0; y0 < h; y0 += chunkRows) {
        const long y1 = std::min(h, y0 + chunkRows);
        const bool ok = tiled ? in->read_image(sub, mip, 0, channels, OIIO::TypeDesc::UINT8, chunk.p)
                              : in->read_scanlines(sub, mip, imageSpec.y + static_cast<int>(y0),
                                                   imageSpec.y + static_cast<int>(y1), imageSpec.z, 0, channels,
                                                   OIIO::TypeDesc::UINT8, chunk.p);
        if (!ok) {
            in->geterror();
            return kPicUnreadable;
        }
        if (y0 == 0) {
            // The buffer's shape depends on the orientation: it is made once
            // the reader has said all it will say.
            if (!orientation) orientation = ReportedOrientation(in->spec());
            if (!orientation && std::strcmp(in->format_name(), "webp") == 0) orientation = WebpExifOrientation(path);
            if (!orientation) orientation = 1;
            const bool quarter = orientation >= 5;
            if (!dib->Create(quarter ? h : w, quarter ? w : h, 24)) return kPicNoMemory;
        }
        Place(dib, chunk.p, y0, y1, w, h, channels, orientation);
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
