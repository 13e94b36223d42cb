// SPDX-License-Identifier: GPL-2.0-or-later
// Picture files: the reader result codes, the platform importer, the program's
// built-in pictures, PackBits and the entry points of the separate JPEG codec.
// The readers and writers themselves are members of CDIB (image/CDIB.h).
#pragma once

class CDIB;
struct FSpec;

// Result codes of every reader and of CDIB::Load(CPFile*).
enum : int {
    kPicLoaded = 0,
    kPicCompressed = 1,   // compressed data this reader cannot read
    kPicTooLarge = 2,     // width or height above kMaxPictureSide
    kPicUnreadable = 3,   // not this format, or unreadable
    kPicNoHeader = 4,     // the buffer has no header, or no importer takes the file
    kPicFewColours = 5,   // fewer than 8 bits a pixel
    kPicNoMemory = 6,     // Create or a buffer allocation failed
};

constexpr long kMaxPictureSide = 8192;

// The picture drawn where a picture file is missing or unreadable.
constexpr int kMissingPicture = 133;

// Shows the message that belongs to a reader result code (nothing for 0).
void ReportPictureError(int code);

// The platform importer: every format the built-in readers do not take (JPEG,
// PNG, run-length Targa, ...): JPEG through the JPEG reader, the rest through
// the codec module (OpenImageIO). `dib` is the CDIB, `fileSpec` the open file's
// own FSpec. Delivers a 24-bit picture with the photograph's EXIF orientation
// applied. Result codes as the readers'.
int MacLoadPict(void* dib, void* fileSpec);

// The importer's two decoders, each callable alone. ImportJpeg answers
// kPicTryCodecs for a file that is no JPEG or that it leaves to the codec
// module; ImportWithCodecs answers kPicNoHeader when the module cannot be
// loaded.
constexpr int kPicTryCodecs = -1;
int ImportJpeg(CDIB* dib, const char* path);
// The size of a JPEG file from its header; false for anything else.
bool ProbeJpeg(const char* path, int* width, int* height);
int ImportWithCodecs(CDIB* dib, const char* path);

// Draws one of the program's pictures into `dib` (24-bit); 1 on success, 0 for
// an unknown picture or when the buffer cannot be made.
int BitmapToDIB(void* dib, int resourceId);

// PackBits: unpacks `sourceBytes` bytes of `source` into `dest`, never writing
// more than `destBytes` bytes nor reading past the source. Returns the number of
// bytes written.
long RLCUnPack(const unsigned char* source, long sourceBytes, unsigned char* dest, long destBytes);

// The separate JPEG codec. It does not exist on this platform: JPEG files go to
// the platform importer, so these answer 0 and do nothing.
int JP_DllInstalled();
int JP_JpegToDIB(CDIB* dib, FSpec* file);
int JP_JpegToMem(CDIB* dib, long* size, int quality);
int JP_JpegFromDIB(CDIB* dib, FSpec* file, int quality);
