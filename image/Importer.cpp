// SPDX-License-Identifier: GPL-2.0-or-later
// The platform importer: every picture format that the built-in readers do not
// take. JPEG files are decoded by the JPEG reader; everything else (PNG, GIF,
// WebP, run-length Targa, ...) and the JPEGs that reader leaves over go to the
// codec module (OpenImageIO), loaded on first need. The picture arrives as
// 24-bit rows, bottom-up like every buffer, with the EXIF orientation of
// photographs applied so that a portrait photo stands upright.
#include "image/CDIB.h"
#include "image/CodecModule.h"
#include "image/ImageFiles.h"
#include "platform/Files.h"

namespace {

// The codec module's callback: makes the buffer and says where its rows are.
int MakeRows(void* target, long width, long height, uint8_t** bits, long* rowBytes) {
    CDIB* dib = static_cast<CDIB*>(target);
    if (!dib->Create(width, height, 24)) return 0;
    *bits = dib->GetBitsAdd(0);
    *rowBytes = dib->GetRowBytes();
    return 1;
}

}  // namespace

int ImportWithCodecs(CDIB* dib, const char* path) {
    // Without the module no importer takes the file.
    const GsCodecTable* codecs = CodecModule();
    if (!codecs) return kPicNoHeader;
    return codecs->importPicture(path, MakeRows, dib);
}

int MacLoadPict(void* dib, void* fileSpec) {
    CDIB* d = static_cast<CDIB*>(dib);
    PlatformPath path;
    if (!d || !fileSpec || !CopyToMacFSSpec(&path, static_cast<FSpec*>(fileSpec))) return kPicNoHeader;
    const int code = ImportJpeg(d, path.path);
    return code != kPicTryCodecs ? code : ImportWithCodecs(d, path.path);
}
