// Camera resampling filters: the camera is a rectangle (possibly rotated and
// tilted) on the source picture; the destination is the 32-bit output frame.
//
// FilterCrop is a separable area filter with weights in 1/256 steps: a vertical
// pass sums the source rows under a destination row into a line buffer, then a
// horizontal pass sums line pixels into the destination pixels. Every division
// is one multiply by a reciprocal (0x100000 / divisor) and a 20-bit shift, in
// unsigned 32-bit arithmetic. FilterRot walks each destination row in equal
// steps across a rotated, tilted camera and samples bilinearly.
//
// The inner loops work on GCC/Clang vector types, which every target lowers to
// its own SIMD (or to scalar code), and are compiled twice, for AVX2 and for the
// baseline, the faster one picked at load time. The arithmetic is integer, so
// every path gives the same bytes.
#include "host/Resample.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include "image/CDIB.h"
#include "platform/Env.h"

namespace {

constexpr uint8_t kGrey = 0x11;         // colour of everything outside the picture
constexpr int32_t kUnit = 0x100000;     // 1.0 in the reciprocals' fixed point
constexpr int kLimit = 1 << 28;         // positions are clamped to this before truncating

#if defined(__GNUC__) && (defined(__x86_64__) || defined(__i386__)) && !defined(__clang__)
#define GS_HOT __attribute__((target_clones("avx2", "default")))
#else
#define GS_HOT
#endif

typedef uint32_t U32x16 __attribute__((vector_size(64)));
typedef uint8_t U8x16 __attribute__((vector_size(16)));
typedef uint32_t U32x4 __attribute__((vector_size(16)));
typedef uint8_t U8x4 __attribute__((vector_size(4)));

inline U32x16 Widen16(const uint8_t* p) {
    U8x16 v;
    std::memcpy(&v, p, sizeof v);
    return __builtin_convertvector(v, U32x16);
}

inline U32x4 Widen4(const uint8_t* p) {
    U8x4 v;
    std::memcpy(&v, p, sizeof v);
    return __builtin_convertvector(v, U32x4);
}

// Truncation toward zero, bounded so that far-off positions cannot overflow.
inline int Trunc(float v) {
    if (v <= -static_cast<float>(kLimit)) return -kLimit;
    if (v >= static_cast<float>(kLimit)) return kLimit;
    return static_cast<int>(v);
}

inline uint32_t Reciprocal(int32_t divisor) {
    return divisor ? static_cast<uint32_t>(kUnit / divisor) : 0u;  // a zero divisor comes with a zero sum
}

bool Finite(float v) { return std::isfinite(v); }

struct Camera {
    float left, bottom, width, height, angle, tilt1, tilt2;
};

// Cameras with a negative or non-finite size, or a non-finite position, are
// refused: there is no sensible picture for them.
bool CameraOk(const Camera& cam) {
    return Finite(cam.left) && Finite(cam.bottom) && Finite(cam.width) && Finite(cam.height) &&
           Finite(cam.angle) && Finite(cam.tilt1) && Finite(cam.tilt2) && cam.width >= 0 &&
           cam.height >= 0;
}

// Destination rows drawn by one call: first, first + step, ... while < end.
struct Rows {
    int first = 0;
    int end = 0;
    int step = 1;
    int phase = 0;  // field selector mod 10
};

// Band rows for `part` (0 all, 1 the first band, 2 the second) and the field
// selector (0 every row; 10 and 11 every second row starting at the phase).
// Rows beyond the picture, which a large offset could ask for, are skipped.
Rows BandRows(int height, int part, int fieldSelector, int offset) {
    Rows rows;
    rows.step = std::max(1, fieldSelector / 10 + 1);
    rows.phase = fieldSelector % 10;
    long long first = 0;
    long long end = height;
    if (part == 1) end = height / 2 + 1;
    if (part == 2) first = height / 2 + static_cast<long long>(offset);
    if (rows.step > 1) first += rows.phase;
    end = std::min<long long>(end, height);
    if (first < 0) first += (-first + rows.step - 1) / rows.step * rows.step;
    if (first > end) first = end;
    rows.first = static_cast<int>(first);
    rows.end = static_cast<int>(end);
    return rows;
}

// The source shift of a field drawn on every row: phase x scale y x 0.5.
float PhaseShift(const Rows& rows, float scaleY) {
    return rows.step == 1 ? static_cast<float>(rows.phase) * scaleY * 0.5f : 0.0f;
}

bool Usable(CDIB* dest, CDIB* source) {
    if (!dest || !source || !dest->header || !source->header || !dest->bits || !source->bits)
        return false;
    const int sourceBits = source->header->bitCount;
    return dest->header->bitCount == 32 && (sourceBits == 24 || sourceBits == 32);
}

// ---------------------------------------------------------------- FilterCrop

// One destination column of the area filter. `start` is the byte offset of the
// first line pixel read, or -1 for the outside pixel (a column that leaves the
// picture reads only grey).
struct Column {
    int32_t start;
    int32_t leftWeight;
    int32_t rightWeight;
    int32_t count;
    uint32_t reciprocal;
};

// Vertical pass over `bytes` bytes: row r0 (at `top`) x topWeight, rows r0+1 ..
// r0+n-1 x 256, row r0+n x bottomWeight, times the reciprocal, >> 20.
GS_HOT void VerticalPass(const uint8_t* top, long stride, int n, uint32_t topWeight,
                         uint32_t bottomWeight, uint32_t reciprocal, int bytes, uint8_t* out) {
    const uint8_t* last = top + stride * n;
    int b = 0;
    for (; b + 16 <= bytes; b += 16) {
        U32x16 sum = Widen16(top + b) * topWeight + Widen16(last + b) * bottomWeight;
        if (n > 1) {
            U32x16 middle = Widen16(top + stride + b);
            for (int k = 2; k < n; ++k) middle += Widen16(top + stride * k + b);
            sum += middle << 8;
        }
        const U32x16 value = (sum * reciprocal) >> 20;
        const U8x16 bytes16 = __builtin_convertvector(value, U8x16);
        std::memcpy(out + b, &bytes16, sizeof bytes16);
    }
    for (; b < bytes; ++b) {
        uint32_t sum = top[b] * topWeight + last[b] * bottomWeight;
        uint32_t middle = 0;
        for (int k = 1; k < n; ++k) middle += top[stride * k + b];
        sum += middle << 8;
        out[b] = static_cast<uint8_t>((sum * reciprocal) >> 20);
    }
}

// Horizontal pass into one destination row. Line pixels are `Bpp` bytes; each
// is read as four bytes (the fourth of a 3-byte pixel is ignored), so the line
// has a few spare bytes at its end.
template <int Bpp>
GS_HOT void HorizontalPass(const uint8_t* line, const Column* columns, const uint32_t* greyRow,
                           int width, uint8_t* out) {
    for (int c = 0; c < width; ++c, out += 4) {
        const Column& col = columns[c];
        if (col.start < 0) {
            std::memcpy(out, &greyRow[c], 4);
            continue;
        }
        const uint8_t* p = line + col.start;
        U32x4 sum = Widen4(p) * static_cast<uint32_t>(col.leftWeight);
        U32x4 middle = {0, 0, 0, 0};
        for (int k = 1; k <= col.count; ++k) middle += Widen4(p + k * Bpp);
        sum += middle << 8;
        sum += Widen4(p + (col.count + 1) * Bpp) * static_cast<uint32_t>(col.rightWeight);
        const U32x4 value = (sum * col.reciprocal) >> 20;
        U8x4 pixel = __builtin_convertvector(value, U8x4);
        if (Bpp == 3) pixel[3] = 0xFF;
        std::memcpy(out, &pixel, 4);
    }
}

// Quality 50 or less on a row inside the picture: the nearest source pixel.
template <int Bpp>
void NearestRow(const uint8_t* sourceRow, const int32_t* nearest, uint32_t outside, int width,
                uint8_t* out) {
    for (int c = 0; c < width; ++c, out += 4) {
        const int32_t at = nearest[c];
        if (at < 0) {
            std::memcpy(out, &outside, 4);
        } else if (Bpp == 4) {
            std::memcpy(out, sourceRow + at, 4);
        } else {
            out[0] = sourceRow[at];
            out[1] = sourceRow[at + 1];
            out[2] = sourceRow[at + 2];
            out[3] = 0xFF;
        }
    }
}

bool CropRows(CDIB* dest, CDIB* source, const Camera& cam, int part, int quality, int fieldSelector,
              int offset, int stopRow) {
    if (!Usable(dest, source) || !CameraOk(cam)) return false;
    const int bpp = source->header->bitCount / 8;
    const int sw = source->header->width;
    const int sh = std::abs(source->header->height);
    const int dw = dest->header->width;
    const int dh = std::abs(dest->header->height);
    const long sourceStride = source->GetRowBytes();
    const long destStride = dest->GetRowBytes();
    if (sw <= 0 || sh <= 0 || dw <= 0 || dh <= 0) return false;

    const float scaleX = cam.width / static_cast<float>(dw);
    const float scaleY = cam.height / static_cast<float>(dh);
    Rows rows = BandRows(dh, part, fieldSelector, offset);
    rows.end = std::min(rows.end, stopRow);
    const float shift = PhaseShift(rows, scaleY);
    const uint8_t outsideAlpha = bpp == 4 ? 0 : 0xFF;
    const uint32_t outsidePixel = kGrey | kGrey << 8 | kGrey << 16 | uint32_t(outsideAlpha) << 24;

    // The line holds one source row, then grey pixels (alpha 0 for a 32-bit
    // source) that the outside pixel and the pixel after the last column read.
    // Line pixels that the vertical pass does not write stay grey throughout.
    const long lineBytes = std::max<long>(long(bpp) * sw + long(dw) * 7 + 128, long(bpp) * (sw + 2) + 16);
    std::unique_ptr<uint8_t[]> line(new (std::nothrow) uint8_t[size_t(lineBytes)]);
    std::unique_ptr<Column[]> columns(new (std::nothrow) Column[size_t(dw)]);
    std::unique_ptr<int32_t[]> nearest(new (std::nothrow) int32_t[size_t(dw)]);
    std::unique_ptr<uint32_t[]> greyRow(new (std::nothrow) uint32_t[size_t(dw)]);
    if (!line || !columns || !nearest || !greyRow) return false;
    std::memset(line.get(), kGrey, size_t(lineBytes));
    if (bpp == 4)
        for (long i = 3; i < lineBytes; i += 4) line[size_t(i)] = 0;

    // Column tables. x advances by repeated addition, as the nearest-pixel walk does.
    float x = cam.left;
    for (int c = 0; c < dw; ++c) {
        const float x1 = x + scaleX;
        const int i0 = Trunc(x);
        const int i1 = Trunc(x1);
        Column& col = columns[size_t(c)];
        col.count = i1 - i0;
        col.start = (i0 < 0 || i0 >= sw - col.count) ? -1 : i0 * bpp;
        col.leftWeight = Trunc((1.0f - (x - static_cast<float>(i0))) * 256.0f);
        col.rightWeight = Trunc((x1 - static_cast<float>(i1)) * 256.0f);
        const uint16_t divisor = static_cast<uint16_t>(uint32_t(col.leftWeight) + uint32_t(col.rightWeight) +
                                                       uint32_t(col.count) * 256u);
        col.reciprocal = Reciprocal(divisor);
        // What this column makes of a grey line: every pixel it reads is 0x11.
        const uint32_t greySum = kGrey * (uint32_t(col.leftWeight) + uint32_t(col.count) * 256u +
                                          uint32_t(col.rightWeight));
        const uint32_t grey = ((greySum * col.reciprocal) >> 20) & 0xFF;
        greyRow[size_t(c)] = grey | grey << 8 | grey << 16 | uint32_t(outsideAlpha) << 24;
        nearest[size_t(c)] = (x >= 0.0f && x < static_cast<float>(sw)) ? Trunc(x) * bpp : -1;
        x += scaleX;
    }

    // Source columns under the camera, plus 16 pixels.
    const int firstColumn = std::max(0, Trunc(cam.left));
    const int lastColumn = std::min(Trunc(cam.width + cam.left + 16.0f), sw - 1);
    const int firstByte = firstColumn * bpp;
    const int byteCount = std::max(0, (lastColumn + 1) * bpp - firstByte);
    const bool leftOfRight = Trunc(cam.left) < sw;

    for (int d = rows.first; d < rows.end; d += rows.step) {
        uint8_t* out = dest->bits + destStride * d;
        float y = cam.bottom + scaleY * static_cast<float>(d);
        y += shift;
        const float y1 = y + scaleY;
        const int r0 = Trunc(y);
        const int r1 = Trunc(y1);
        const int n = r1 - r0;
        if (r0 < 0 || n < 0 || r0 >= sh - n - 1 || !leftOfRight) {
            std::memcpy(out, greyRow.get(), size_t(dw) * 4);
            continue;
        }
        const uint8_t* top = source->bits + sourceStride * r0;
        if (quality <= 50) {
            if (bpp == 4)
                NearestRow<4>(top, nearest.get(), outsidePixel, dw, out);
            else
                NearestRow<3>(top, nearest.get(), outsidePixel, dw, out);
            continue;
        }
        const int topWeight = Trunc((1.0f - (y - static_cast<float>(r0))) * 256.0f);
        const int bottomWeight = Trunc((y1 - static_cast<float>(r1)) * 256.0f);
        const int divisor = bottomWeight + topWeight + std::max(0, n * 256 - 256);
        VerticalPass(top + firstByte, sourceStride, n, uint32_t(topWeight), uint32_t(bottomWeight),
                     Reciprocal(divisor), byteCount, line.get() + firstByte);
        if (bpp == 4)
            HorizontalPass<4>(line.get(), columns.get(), greyRow.get(), dw, out);
        else
            HorizontalPass<3>(line.get(), columns.get(), greyRow.get(), dw, out);
    }
    return true;
}

// ---------------------------------------------------------------- FilterRot

struct Point {
    double x, y;
};

// One source pixel as four bytes; outside the picture the outside colour.
inline const uint8_t* SourcePixel(const uint8_t* bits, long stride, int bpp, int sw, int sh, int x, int y,
                                  const uint8_t* outside) {
    if (x < 0 || y < 0 || x >= sw || y >= sh) return outside;
    return bits + stride * y + long(x) * bpp;
}

bool RotRows(CDIB* dest, CDIB* source, const Camera& cam, int part, int quality, int fieldSelector,
             int offset, int stopRow) {
    if (!Usable(dest, source) || !CameraOk(cam)) return false;
    const int bpp = source->header->bitCount / 8;
    const int sw = source->header->width;
    const int sh = std::abs(source->header->height);
    const int dw = dest->header->width;
    const int dh = std::abs(dest->header->height);
    const long sourceStride = source->GetRowBytes();
    const long destStride = dest->GetRowBytes();
    if (sw <= 0 || sh <= 0 || dw <= 0 || dh <= 0) return false;

    Rows rows = BandRows(dh, part, fieldSelector, offset);
    rows.end = std::min(rows.end, stopRow);
    // The field shift of phase x scale y x 0.5 source rows is half a
    // destination row per phase.
    const double rowShift = rows.step == 1 ? 0.5 * rows.phase : 0.0;
    const uint8_t outside[4] = {kGrey, kGrey, kGrey, uint8_t(bpp == 4 ? 0 : 0xFF)};

    // The camera's corners about its centre, made a trapezoid by the tilts:
    // tilt 1 widens the top edge and narrows the bottom one, tilt 2 lengthens
    // the left edge and shortens the right one; then rotated about the centre.
    const double halfW = cam.width * 0.5;
    const double halfH = cam.height * 0.5;
    const double cx = cam.left + halfW;
    const double cy = cam.bottom + halfH;
    const double t1 = cam.height * (cam.tilt1 / 90.0f) * 0.25f;
    const double t2 = cam.width * (cam.tilt2 / 90.0f) * 0.25f;
    const double cosA = std::cos(cam.angle * 0.0174532f);
    const double sinA = std::sin(-cam.angle * 0.0174532f);
    auto place = [&](double px, double py) {
        return Point{cx + px * cosA - py * sinA, cy + px * sinA + py * cosA};
    };
    const Point bl = place(-halfW + t1, -halfH - t2);
    const Point br = place(halfW - t1, -halfH + t2);
    const Point tl = place(-halfW - t1, halfH + t2);
    const Point tr = place(halfW + t1, halfH - t2);

    for (int d = rows.first; d < rows.end; d += rows.step) {
        uint8_t* out = dest->bits + destStride * d;
        const double v = (d + 0.5 + rowShift) / dh;
        const Point a{bl.x + (tl.x - bl.x) * v, bl.y + (tl.y - bl.y) * v};
        const Point b{br.x + (tr.x - br.x) * v, br.y + (tr.y - br.y) * v};
        const double stepX = (b.x - a.x) / dw;
        const double stepY = (b.y - a.y) / dw;
        // Sample centres. The area filter's span reaches one pixel to the right
        // of the camera's, which puts its centres at pixel index x + scale / 2;
        // sampling at the same centres keeps a picture in place when it changes
        // filters. Vertically the centre is the usual half row below.
        const double x0 = a.x + stepX * 0.5;
        const double y0 = a.y + stepY * 0.5 - 0.5;

        if (quality <= 49) {
            for (int c = 0; c < dw; ++c, out += 4) {
                const int ix = int(std::floor(x0 + stepX * c + 0.5));
                const int iy = int(std::floor(y0 + stepY * c + 0.5));
                const uint8_t* p = SourcePixel(source->bits, sourceStride, bpp, sw, sh, ix, iy, outside);
                out[0] = p[0];
                out[1] = p[1];
                out[2] = p[2];
                out[3] = bpp == 4 ? p[3] : 0xFF;
            }
            continue;
        }

        // Bilinear between four pixels spaced by s: above a shrink of two the
        // taps spread out, a cheap prefilter. The pair is centred on the sample.
        const double step = std::sqrt(stepX * stepX + stepY * stepY);
        const int s = std::max(1, std::abs(int(std::min(step * 0.5, double(kLimit)))));
        const double centre = (s - 1) * 0.5;
        for (int c = 0; c < dw; ++c, out += 4) {
            const double px = x0 + stepX * c - centre;
            const double py = y0 + stepY * c - centre;
            const double fx0 = std::floor(px);
            const double fy0 = std::floor(py);
            const int ix = int(std::clamp(fx0, -double(kLimit), double(kLimit)));
            const int iy = int(std::clamp(fy0, -double(kLimit), double(kLimit)));
            const uint32_t wx = uint32_t((px - fx0) * 256.0);
            const uint32_t wy = uint32_t((py - fy0) * 256.0);
            const uint8_t* p00;
            const uint8_t* p10;
            const uint8_t* p01;
            const uint8_t* p11;
            if (ix >= 0 && iy >= 0 && ix + s < sw && iy + s < sh) {
                p00 = source->bits + sourceStride * iy + long(ix) * bpp;
                p10 = p00 + long(s) * bpp;
                p01 = p00 + sourceStride * s;
                p11 = p01 + long(s) * bpp;
            } else {
                const uint8_t* bits = source->bits;
                p00 = SourcePixel(bits, sourceStride, bpp, sw, sh, ix, iy, outside);
                p10 = SourcePixel(bits, sourceStride, bpp, sw, sh, ix + s, iy, outside);
                p01 = SourcePixel(bits, sourceStride, bpp, sw, sh, ix, iy + s, outside);
                p11 = SourcePixel(bits, sourceStride, bpp, sw, sh, ix + s, iy + s, outside);
            }
            const int channels = bpp == 4 ? 4 : 3;
            for (int k = 0; k < channels; ++k) {
                const uint32_t low = p00[k] * (256 - wx) + p10[k] * wx;
                const uint32_t high = p01[k] * (256 - wx) + p11[k] * wx;
                out[k] = uint8_t((low * (256 - wy) + high * wy + 32768) >> 16);
            }
            if (bpp == 3) out[3] = 0xFF;
        }
    }
    return true;
}

// Draws one band with the filter that the source asks for.
bool DrawBand(CDIB* dest, CDIB* source, const Camera& cam, int part, int quality, int fieldSelector, int offset,
              int stopRow) {
    if (source && source->useRotation)
        return RotRows(dest, source, cam, part, quality, fieldSelector, offset, stopRow);
    return CropRows(dest, source, cam, part, quality, fieldSelector, offset, stopRow);
}

}  // namespace

bool CDIB::FilterCrop(CDIB* source, float left, float bottom, float width, float height, float angle,
                      float tilt1, float tilt2, int part, int quality, int fieldSelector) {
    if (source && source->useRotation)
        return FilterRot(source, left, bottom, width, height, angle, tilt1, tilt2, part, quality, fieldSelector);
    return CropRows(this, source, Camera{left, bottom, width, height, angle, tilt1, tilt2}, part, quality,
                    fieldSelector, gMultiProcOffset, INT_MAX);
}

bool CDIB::FilterRot(CDIB* source, float left, float bottom, float width, float height, float angle,
                     float tilt1, float tilt2, int part, int quality, int fieldSelector) {
    return RotRows(this, source, Camera{left, bottom, width, height, angle, tilt1, tilt2}, part, quality,
                   fieldSelector, gMultiProcOffset, INT_MAX);
}

void mfThreadFunc(void* block) {
    FilterJob job;
    std::memcpy(&job, block, sizeof job);
    DrawBand(job.destination, job.source,
             Camera{job.left, job.bottom, job.width, job.height, job.angle, job.tilt1, job.tilt2}, job.part,
             job.quality, job.fieldSelector, job.offset, job.stopRow);
    const int32_t idle = 0;
    std::memcpy(static_cast<unsigned char*>(block) + offsetof(FilterJob, busy), &idle, sizeof idle);
}

bool CDIB::FilterCropMulti(CDIB* source, float left, float bottom, float width, float height, float angle,
                           float tilt1, float tilt2, int quality, int fieldSelector) {
    if (!gMultiProcess || !gCanMultiProcess || !header)
        return FilterCrop(source, left, bottom, width, height, angle, tilt1, tilt2, 0, quality, fieldSelector);

    // With an offset of 0 or less both bands cover the rows from H / 2 on, and
    // would both write them, with the same bytes. To keep the threads off each
    // other's rows, the worker stops where the caller's band begins whenever the
    // two bands step through the same rows; the picture is the same.
    const int dh = std::abs(header->height);
    const Rows worker = BandRows(dh, 1, fieldSelector, gMultiProcOffset);
    const Rows caller = BandRows(dh, 2, fieldSelector, gMultiProcOffset);
    const bool sameRows = caller.first < caller.end && (caller.first - worker.first) % worker.step == 0;

    FilterJob job{};
    job.source = source;
    job.destination = this;
    job.left = left;
    job.bottom = bottom;
    job.width = width;
    job.height = height;
    job.angle = angle;
    job.tilt1 = tilt1;
    job.tilt2 = tilt2;
    job.part = 1;
    job.quality = static_cast<int16_t>(std::clamp(quality, -32768, 32767));
    job.fieldSelector = fieldSelector;
    job.busy = 1;
    job.offset = gMultiProcOffset;
    job.stopRow = sameRows ? caller.first : INT_MAX;
    std::unique_ptr<unsigned char[]> block(new (std::nothrow) unsigned char[kFilterJobBlockBytes]());
    if (!block)
        return FilterCrop(source, left, bottom, width, height, angle, tilt1, tilt2, 0, quality, fieldSelector);
    std::memcpy(block.get(), &job, sizeof job);
    if (!_beginthread(mfThreadFunc, 0, block.get()))
        return FilterCrop(source, left, bottom, width, height, angle, tilt1, tilt2, 0, quality, fieldSelector);

    FilterCrop(source, left, bottom, width, height, angle, tilt1, tilt2, 2, quality, fieldSelector);
    Sleep(0);
    return true;
}
