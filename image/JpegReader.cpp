// SPDX-License-Identifier: GPL-2.0-or-later
// The platform importer's JPEG reader: libjpeg-turbo decodes baseline and
// progressive JPEG (grey, YCbCr, RGB; 8 bits) straight into the buffer's rows,
// as blue, green, red, with the EXIF orientation applied. It gives the same
// bytes as the codec module (the same library with the same settings); a file
// it does not take as it stands (CMYK, 12 bits, damaged data, an orientation
// it cannot read for certain) goes to the codec module instead.
#include <algorithm>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

// (jpeglib.h needs size_t and FILE declared before it.)
#include <jpeglib.h>

#include "image/CDIB.h"
#include "image/ImageFiles.h"
#include "image/PlaceRows.h"
#include "platform/Endian.h"

namespace {

constexpr long kChunkRows = 64;
constexpr int kRowsAtOnce = 16;
constexpr char kExifId[] = "Exif";                           // then two zero bytes
constexpr char kXmpId[] = "http://ns.adobe.com/xap/1.0/";    // then one zero byte
constexpr uint16_t kOrientationTag = 0x0112;
constexpr uint16_t kTypeShort = 3, kTypeLong = 4;

// libjpeg reports fatal errors through error_exit, which must not return: it
// jumps back to Decode. Warnings are counted, never printed.
struct ErrorTrap {
    jpeg_error_mgr mgr;
    std::jmp_buf jump;
};

[[noreturn]] void LeaveDecode(j_common_ptr info) { std::longjmp(reinterpret_cast<ErrorTrap*>(info->err)->jump, 1); }
void SayNothing(j_common_ptr) {}

// What one decode holds; cleaned up by ImportJpeg whatever Decode did.
struct Job {
    CDIB* dib = nullptr;
    FILE* file = nullptr;
    jpeg_decompress_struct info{};
    ErrorTrap trap{};
    bool created = false;
    std::unique_ptr<uint8_t[]> chunk;
};

void StoreBgr(const uint8_t* in, uint8_t* out) {
    out[0] = in[0];
    out[1] = in[1];
    out[2] = in[2];
}

void StoreGrey(const uint8_t* in, uint8_t* out) { out[0] = out[1] = out[2] = in[0]; }

// The orientation field of an EXIF block (the TIFF structure after "Exif\0\0"),
// read field by field in the block's byte order. True with `orientation` set
// when the first directory has one, true and unchanged when it has none; false
// when the block is not laid out as expected.
bool ExifOrientation(const uint8_t* tiff, long size, long& orientation) {
    if (size < 8) return false;
    bool big;
    if (std::memcmp(tiff, "II", 2) == 0) big = false;
    else if (std::memcmp(tiff, "MM", 2) == 0) big = true;
    else return false;
    const char* p = reinterpret_cast<const char*>(tiff);
    if (Endian(p + 2, 2, big) != 42) return false;
    const long directory = Endian(p + 4, 4, big) & 0xFFFFFFFFL;
    if (directory < 8 || directory > size - 2) return false;
    const long entries = Endian(p + directory, 2, big);
    if (directory + 2 + 12 * entries > size) return false;
    for (long i = 0; i < entries; ++i) {
        const char* entry = p + directory + 2 + 12 * i;
        if (Endian(entry, 2, big) != kOrientationTag) continue;
        const long type = Endian(entry + 2, 2, big), count = Endian(entry + 4, 4, big);
        if (count != 1) return false;
        if (type == kTypeShort) orientation = Endian(entry + 8, 2, big);
        else if (type == kTypeLong) orientation = Endian(entry + 8, 4, big);
        else return false;
    }
    return true;
}

// The EXIF orientation of the file from its saved APP1 markers, later blocks
// overriding earlier ones; 0 when there is none. False when a marker may say
// something about the orientation that is not read here (an XMP packet that
// names it, an EXIF block laid out otherwise).
bool MarkerOrientation(const jpeg_decompress_struct& info, long& orientation) {
    orientation = 0;
    for (jpeg_saved_marker_ptr m = info.marker_list; m; m = m->next) {
        if (m->marker != JPEG_APP0 + 1) continue;
        const long length = static_cast<long>(m->data_length);
        const uint8_t* data = m->data;
        if (length >= 6 && std::memcmp(data, kExifId, sizeof kExifId) == 0) {
            if (!ExifOrientation(data + 6, length - 6, orientation)) return false;
        } else if (length >= static_cast<long>(sizeof kXmpId) && std::memcmp(data, kXmpId, sizeof kXmpId) == 0) {
            static const char kName[] = "Orientation";
            if (std::search(data, data + length, kName, kName + sizeof kName - 1) != data + length) return false;
        }
    }
    return true;
}

// The decode itself. A libjpeg error jumps back to the setjmp here; every
// resource lives in the job, which the caller cleans up.
int Decode(Job& job) {
    jpeg_decompress_struct& info = job.info;
    if (setjmp(job.trap.jump)) return kPicTryCodecs;
    jpeg_create_decompress(&info);
    job.created = true;
    jpeg_stdio_src(&info, job.file);
    jpeg_save_markers(&info, JPEG_APP0 + 1, 0xFFFF);
    jpeg_read_header(&info, TRUE);

    int channels = 0;
    if (info.data_precision != 8) return kPicTryCodecs;
    if (info.jpeg_color_space == JCS_GRAYSCALE && info.num_components == 1) {
        info.out_color_space = JCS_GRAYSCALE;
        channels = 1;
    } else if ((info.jpeg_color_space == JCS_YCbCr || info.jpeg_color_space == JCS_RGB) && info.num_components == 3) {
        info.out_color_space = JCS_EXT_BGR;
        channels = 3;
    } else {
        return kPicTryCodecs;
    }
    long said = 0;
    if (!MarkerOrientation(info, said)) return kPicTryCodecs;
    const int o = said >= 1 && said <= 8 ? static_cast<int>(said) : 1;

    jpeg_start_decompress(&info);
    const long w = info.output_width, h = info.output_height;
    if (info.output_components != channels || w < 1 || h < 1) return kPicTryCodecs;
    const bool quarter = o >= 5;
    if (!job.dib->Create(quarter ? h : w, quarter ? w : h, 24)) return kPicTryCodecs;
    const PictureRows rows{job.dib->GetBitsAdd(0), job.dib->GetRowBytes()};

    if (o == 1 && channels == 3) {
        // Upright colour: each row straight into its storage row.
        JSAMPROW at[kRowsAtOnce];
        while (info.output_scanline < info.output_height) {
            const long y = info.output_scanline;
            const long n = std::min<long>(kRowsAtOnce, h - y);
            for (long i = 0; i < n; ++i) at[i] = rows.bits + rows.rowBytes * (h - 1 - (y + i));
            jpeg_read_scanlines(&info, at, static_cast<JDIMENSION>(n));
        }
    } else {
        const long chunkRows = std::min(h, kChunkRows);
        job.chunk.reset(new (std::nothrow) uint8_t[static_cast<size_t>(w * channels * chunkRows)]);
        if (!job.chunk) return kPicNoMemory;
        JSAMPROW at[kRowsAtOnce];
        for (long y0 = 0; y0 < h; y0 += chunkRows) {
            const long y1 = std::min(h, y0 + chunkRows);
            while (static_cast<long>(info.output_scanline) < y1) {
                const long y = info.output_scanline;
                const long n = std::min<long>(kRowsAtOnce, y1 - y);
                for (long i = 0; i < n; ++i) at[i] = job.chunk.get() + (y - y0 + i) * w * channels;
                jpeg_read_scanlines(&info, at, static_cast<JDIMENSION>(n));
            }
            if (channels == 3)
                PlaceRows(rows, job.chunk.get(), y0, y1, w, h, channels, o, StoreBgr);
            else
                PlaceRows(rows, job.chunk.get(), y0, y1, w, h, channels, o, StoreGrey);
        }
    }
    jpeg_finish_decompress(&info);
    // Damaged data that libjpeg patched over (a truncated file, a corrupt
    // segment): the codec module decides what such a file gives.
    return info.err->num_warnings ? kPicTryCodecs : kPicLoaded;
}

// The size from the header alone; jumps back here on a libjpeg error.
int ReadSize(Job& job, int& width, int& height) {
    if (setjmp(job.trap.jump)) return kPicTryCodecs;
    jpeg_create_decompress(&job.info);
    job.created = true;
    jpeg_stdio_src(&job.info, job.file);
    jpeg_read_header(&job.info, TRUE);
    width = static_cast<int>(job.info.image_width);
    height = static_cast<int>(job.info.image_height);
    return kPicLoaded;
}

// Opens `path` for a job when it starts as a JPEG file does; false otherwise,
// with the file (if any) closed.
bool OpenJpeg(Job& job, const char* path) {
    job.file = std::fopen(path, "rb");
    if (!job.file) return false;
    unsigned char start[3] = {};
    const bool jpeg = std::fread(start, 1, sizeof start, job.file) == sizeof start && start[0] == 0xFF &&
                      start[1] == 0xD8 && start[2] == 0xFF;
    if (jpeg && std::fseek(job.file, 0, SEEK_SET) == 0) {
        job.info.err = jpeg_std_error(&job.trap.mgr);
        job.trap.mgr.error_exit = LeaveDecode;
        job.trap.mgr.output_message = SayNothing;
        return true;
    }
    std::fclose(job.file);
    job.file = nullptr;
    return false;
}

void CloseJpeg(Job& job) {
    if (job.created) jpeg_destroy_decompress(&job.info);
    job.created = false;
    if (job.file) std::fclose(job.file);
    job.file = nullptr;
}

}  // namespace

bool ProbeJpeg(const char* path, int* width, int* height) {
    Job job;
    if (!OpenJpeg(job, path)) return false;
    int w = 0, h = 0;
    const bool read = ReadSize(job, w, h) == kPicLoaded;
    CloseJpeg(job);
    if (read) {
        *width = w;
        *height = h;
    }
    return read;
}

int ImportJpeg(CDIB* dib, const char* path) {
    Job job;
    job.dib = dib;
    if (!OpenJpeg(job, path)) return kPicTryCodecs;
    const int code = Decode(job);
    CloseJpeg(job);
    return code;
}
