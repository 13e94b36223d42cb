// SPDX-License-Identifier: GPL-2.0-or-later
// The codec module: every picture format that the built-in readers and the
// JPEG reader do not take (PNG, GIF, WebP, run-length Targa, unusual JPEGs, ...)
// is decoded by OpenImageIO here; the slideshow's photo check and the tool's
// PNG frames use it too. The picture arrives as 24-bit rows, bottom-up like
// every buffer, with the EXIF orientation of photographs applied so that a
// portrait photo stands upright.
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

#include "image/CodecModule.h"
#include "image/ImageFiles.h"
#include "image/PlaceRows.h"

namespace {

constexpr long kChunkRows = 64;
constexpr long kMaxExifBytes = 1 << 20;  // larger EXIF chunks are not read

void StoreRgb(const uint8_t* in, uint8_t* out) {
    out[0] = in[2];
    out[1] = in[1];
    out[2] = in[0];
}

void StoreGrey(const uint8_t* in, uint8_t* out) { out[0] = out[1] = out[2] = in[0]; }

void SayWhy(const std::string& text, char* why, size_t whyBytes) {
    if (!why || whyBytes == 0) return;
    std::snprintf(why, whyBytes, "%s", text.c_str());
}

// EXIF orientation 1 to 8 of an opened picture, as OpenImageIO reports it; 0
// when it says nothing. Some readers fill in their metadata only once the
// pixels have been read, so this is asked again after the first rows.
int ReportedOrientation(const OIIO::ImageSpec& header) {
    const int orientation = header.get_int_attribute("Orientation", 0);
    return orientation >= 1 && orientation <= 8 ? orientation : 0;
}

// A little-endian 32-bit field.
long Little32(const unsigned char* p) {
    return static_cast<long>(p[0]) | static_cast<long>(p[1]) << 8 | static_cast<long>(p[2]) << 16 |
           static_cast<long>(p[3]) << 24;
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
            const long size = Little32(chunk + 4);
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

int ImportPicture(const char* path, GsMakeRows make, void* target) {
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
    std::unique_ptr<uint8_t[]> chunk(new (std::nothrow) uint8_t[static_cast<size_t>(w * channels * chunkRows)]);
    if (!chunk) return kPicNoMemory;
    PictureRows rows{nullptr, 0};
    for (long y0 = 0; y0 < h; y0 += chunkRows) {
        const long y1 = std::min(h, y0 + chunkRows);
        const bool ok = tiled ? in->read_image(sub, mip, 0, channels, OIIO::TypeDesc::UINT8, chunk.get())
                              : in->read_scanlines(sub, mip, imageSpec.y + static_cast<int>(y0),
                                                   imageSpec.y + static_cast<int>(y1), imageSpec.z, 0, channels,
                                                   OIIO::TypeDesc::UINT8, chunk.get());
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
            if (!make(target, quarter ? h : w, quarter ? w : h, &rows.bits, &rows.rowBytes) || !rows.bits)
                return kPicNoMemory;
        }
        if (channels == 3)
            PlaceRows(rows, chunk.get(), y0, y1, w, h, channels, orientation, StoreRgb);
        else
            PlaceRows(rows, chunk.get(), y0, y1, w, h, channels, orientation, StoreGrey);
    }
    return kPicLoaded;
}

int ProbePicture(const char* path, int* width, int* height, char* why, size_t whyBytes) {
    auto in = OIIO::ImageInput::open(path);
    if (!in) {
        SayWhy(OIIO::geterror(), why, whyBytes);
        return 0;
    }
    *width = in->spec().width;
    *height = in->spec().height;
    return 1;
}

int WritePng(const char* path, int width, int height, const uint8_t* rgb, char* why, size_t whyBytes) {
    auto out = OIIO::ImageOutput::create("png");
    if (!out) {
        SayWhy("cannot write PNG pictures: " + OIIO::geterror(), why, whyBytes);
        return 0;
    }
    OIIO::ImageSpec imageSpec(width, height, 3, OIIO::TypeDesc::UINT8);
    if (!out->open(path, imageSpec) || !out->write_image(OIIO::TypeDesc::UINT8, rgb) || !out->close()) {
        SayWhy(std::string("cannot write ") + path + ": " + out->geterror(), why, whyBytes);
        return 0;
    }
    return 1;
}

const GsCodecTable kTable = {kGsCodecAbi, ImportPicture, ProbePicture, WritePng};

}  // namespace

extern "C" __attribute__((visibility("default"))) const GsCodecTable* GsCodecModuleTable(void) { return &kTable; }
