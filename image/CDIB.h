// SPDX-License-Identifier: GPL-2.0-or-later
// CDIB: the one image type of the system. A device-independent bitmap: a 40-byte
// information header with palette, and one block of pixel rows stored bottom-up,
// each row padded to a multiple of 4 bytes. 24- and 32-bit pixels are the bytes
// blue, green, red (and alpha).
//
// The class is implemented across the subsystems that own each job:
//   image/CDIB.cpp        creation, row access, flips, copy, crop, scale, 8-bit
//   image/ (readers)      Load*, Save*, BitmapToDIB, JP_*
//   host/ (filters)       FilterCrop, FilterRot, FilterCropMulti
//   host/ (effects)       SetAlpha, Tint, SetAlphaEdge, AddAlpha, VideoColors,
//                         Contrast, Dissolve, Blur, BlurAlpha
#pragma once

#include <cstdint>

#include "motion/Types.h"

struct FSpec;
class CPFile;

// False when 16-bit source words are stored little-endian and must be swapped
// into host order before CopyScale decodes them; true leaves them as they are.
extern bool gWin32;

// The information header's fields, in host byte order (it never goes to a file
// unchanged; the writers emit files field by field).
struct DIBHeader {
    uint32_t size;          // 40
    int32_t width;
    int32_t height;         // positive: rows are bottom-up; readers use |height|
    uint16_t planes;        // 1
    uint16_t bitCount;      // 2, 4, 8, 16, 24 or 32
    uint32_t compression;   // 0
    uint32_t sizeImage;     // 0
    int32_t xPelsPerMeter;  // 1600
    int32_t yPelsPerMeter;  // 1600
    uint32_t clrUsed;       // 0
    uint32_t clrImportant;  // 0
};
static_assert(sizeof(DIBHeader) == 40, "bitmap information header is 40 bytes");

class CDIB {
public:
    CDIB(long width, long height, int bitsPerPixel);
    ~CDIB();  // not virtual: nothing derives from CDIB
    CDIB(const CDIB&) = delete;
    CDIB& operator=(const CDIB&) = delete;

    // Virtual slots, in this order.
    virtual int Create(long width, long height, int bitsPerPixel);
    virtual int Load(CPFile* file);
    virtual int Load(FSpec* file, FSpec* folder, bool report);
    virtual int Save(CPFile* file, int format);
    virtual int Save(FSpec* file, int format);
    virtual void Draw(tagRECT& target, void* port);
    virtual void Draw(tagRECT& target, tagRECT& source, void* port);

    // Geometry and row access.
    long GetWid(int multiple = 0);
    long GetHgt(int multiple = 0);
    long GetRowBytes();
    int GetBitCount() const { return header ? header->bitCount : 0; }
    bool HasImage() const { return header != nullptr; }
    DIBHeader* GetHeader() { return header; }
    uint8_t* GetPalette() { return header ? reinterpret_cast<uint8_t*>(header) + 40 : nullptr; }
    uint8_t* GetBitsAdd(int row);
    void GetLine(int row, unsigned char* buffer, long maxBytes);
    void PutLine(int row, unsigned char* buffer);

    // In-place rearrangements.
    int Flop();
    int FlopFields();
    int FlopRGB2BGR();

    // Copies and conversions into another buffer.
    int Copy(CDIB* destination, bool create);
    int CopyCrop(CDIB* destination, tagRECT& rect);
    int CopyScale(CDIB* destination, long borderColour, int border);
    int Create8Bit(CDIB* destination, bool grey);

    // Camera resampling (host/).
    bool FilterCropMulti(CDIB* source, float left, float bottom, float width, float height,
                         float angle, float tilt1, float tilt2, int quality, int fieldSelector);
    bool FilterCrop(CDIB* source, float left, float bottom, float width, float height,
                    float angle, float tilt1, float tilt2, int part, int quality, int fieldSelector);
    bool FilterRot(CDIB* source, float left, float bottom, float width, float height,
                   float angle, float tilt1, float tilt2, int part, int quality, int fieldSelector);

    // Picture preparation effects (host/).
    bool SetAlpha(int value);
    void Tint(long colour);
    bool SetAlphaEdge(int value);
    bool AddAlpha(CDIB* mask);
    void VideoColors();
    void Contrast(int contrast, int brightness);
    void Dissolve(CDIB* other, float t);
    void Blur(int unused);
    void BlurAlpha();

    // File readers (image/); each returns a reader result code (0 = loaded).
    int LoadBmp(CPFile* file);
    int LoadTga(CPFile* file);
    int LoadTif(CPFile* file);
    int LoadPsd(CPFile* file);
    int LoadJpeg(CPFile* file);

    DIBHeader* header = nullptr;  // header + palette, one array
    uint8_t* bits = nullptr;      // rows, (row bytes * height + 4) bytes
    int16_t widthCopy = 0;
    int16_t heightCopy = 0;
    int32_t useRotation = 0;      // picture needs the rotating filter
};
