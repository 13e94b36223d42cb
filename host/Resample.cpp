// SPDX-License-Identifier: GPL-2.0-or-later
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
// Speed: the column tables are built once a call, the vertical pass touches
// only the columns under the camera. Both passes have an AVX2 form (picked at
// run time) built on 16-bit multiply-adds: the vertical one weighs two rows of
// 32 bytes per step, the horizontal one sums two taps of two destination
// pixels per instruction; elsewhere plain loops do the same sums. The
// arithmetic is integer throughout, so every path gives the same bytes.
#include "host/Resample.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "image/CDIB.h"
#include "platform/Env.h"

// GS_RESAMPLE_PLAIN builds the plain loops alone (the tests build it that way too).
#if defined(__GNUC__) && defined(__x86_64__) && !defined(GS_RESAMPLE_PLAIN)
#include <immintrin.h>
#define GS_AVX2 1
#else
#define GS_AVX2 0
#endif

namespace {

constexpr uint8_t kGrey = 0x11;         // colour of everything outside the picture
constexpr int32_t kUnit = 0x100000;     // 1.0 in the reciprocals' fixed point
constexpr int kLimit = 1 << 28;         // positions are clamped to this before truncating

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
// selector (0 every row; 10 and 11 every second row, those whose number has the
// phase's parity).
// Rows beyond the picture, which a large offset could ask for, are skipped.
Rows BandRows(int height, int part, int fieldSelector, int offset) {
    Rows rows;
    rows.step = std::max(1, fieldSelector / 10 + 1);
    rows.phase = fieldSelector % 10;
    long long first = 0;
    long long end = height;
    if (part == 1) end = height / 2 + 1;
    if (part == 2) first = height / 2 + static_cast<long long>(offset);
    end = std::min<long long>(end, height);
    if (rows.step > 1) {
        // A field owns the rows of its parity in every band: the band's first
        // row moves on to the next row of that parity, so that a band that
        // starts on an odd row (an odd H / 2 or offset) keeps the field's rows.
        const long long misfit = ((first - rows.phase) % rows.step + rows.step) % rows.step;
        if (misfit) first += rows.step - misfit;
    }
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

inline uint8_t Scale(uint32_t sum, uint32_t reciprocal) { return static_cast<uint8_t>((sum * reciprocal) >> 20); }

// Vertical pass over `bytes` bytes: row r0 (at `top`) x topWeight, rows r0+1 ..
// r0+n-1 x 256, row r0+n x bottomWeight, times the reciprocal, >> 20. The usual
// spans of one to three rows each get one loop; longer spans sum their middle
// rows in `middle` (room for kChunk values) a chunk at a time. The AVX2 form
// (see VerticalPass) leaves its last bytes to it.
constexpr int kChunk = 2048;

inline __attribute__((always_inline)) void VerticalBody(const uint8_t* top, long stride, int n, uint32_t topWeight,
                                                        uint32_t bottomWeight, uint32_t reciprocal, int bytes,
                                                        uint8_t* __restrict out, uint32_t* __restrict middle) {
    const uint8_t* __restrict first = top;
    const uint8_t* __restrict last = top + stride * std::max(n, 0);
    if (n <= 1) {
        for (int b = 0; b < bytes; ++b) out[b] = Scale(first[b] * topWeight + last[b] * bottomWeight, reciprocal);
        return;
    }
    const uint8_t* __restrict m1 = top + stride;
    if (n == 2) {
        for (int b = 0; b < bytes; ++b)
            out[b] = Scale(first[b] * topWeight + (uint32_t(m1[b]) << 8) + last[b] * bottomWeight, reciprocal);
        return;
    }
    const uint8_t* __restrict m2 = top + stride * 2;
    if (n == 3) {
        for (int b = 0; b < bytes; ++b)
            out[b] = Scale(first[b] * topWeight + ((uint32_t(m1[b]) + m2[b]) << 8) + last[b] * bottomWeight,
                           reciprocal);
        return;
    }
    for (int b0 = 0; b0 < bytes; b0 += kChunk) {
        const int len = std::min(kChunk, bytes - b0);
        for (int b = 0; b < len; ++b) middle[b] = uint32_t(m1[b0 + b]) + m2[b0 + b];
        for (int k = 3; k < n; ++k) {
            const uint8_t* __restrict row = top + stride * k + b0;
            for (int b = 0; b < len; ++b) middle[b] += row[b];
        }
        for (int b = 0; b < len; ++b)
            out[b0 + b] = Scale(first[b0 + b] * topWeight + (middle[b] << 8) + last[b0 + b] * bottomWeight, reciprocal);
    }
}

void VerticalBase(const uint8_t* top, long stride, int n, uint32_t topWeight, uint32_t bottomWeight,
                  uint32_t reciprocal, int bytes, uint8_t* out, uint32_t* middle) {
    VerticalBody(top, stride, n, topWeight, bottomWeight, reciprocal, bytes, out, middle);
}

#if GS_AVX2
bool HaveAvx2() {
    static const bool have = __builtin_cpu_supports("avx2");
    return have;
}

// Adds the bytes of rows a and c at one 32-byte offset, weighted by the two
// 16-bit weights in w: interleaved into 16-bit pairs, one multiply-add per 8
// sums. s0..s3 hold the sums of bytes 0-3 and 16-19, 4-7 and 20-23, 8-11 and
// 24-27, 12-15 and 28-31 (the order the two packs at the end put back).
__attribute__((target("avx2"), always_inline)) inline void AddPair(__m256i a, __m256i c, __m256i w, __m256i* s) {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i low = _mm256_unpacklo_epi8(a, c);
    const __m256i high = _mm256_unpackhi_epi8(a, c);
    s[0] = _mm256_add_epi32(s[0], _mm256_madd_epi16(_mm256_unpacklo_epi8(low, zero), w));
    s[1] = _mm256_add_epi32(s[1], _mm256_madd_epi16(_mm256_unpackhi_epi8(low, zero), w));
    s[2] = _mm256_add_epi32(s[2], _mm256_madd_epi16(_mm256_unpacklo_epi8(high, zero), w));
    s[3] = _mm256_add_epi32(s[3], _mm256_madd_epi16(_mm256_unpackhi_epi8(high, zero), w));
}

// Adds 16-bit values (bytes 0-7 and 16-23 in `low`, 8-15 and 24-31 in
// `high`) times 256: each value in the high half of a 32-bit lane, down by 8.
__attribute__((target("avx2"), always_inline)) inline void AddWords(__m256i low, __m256i high, __m256i* s) {
    const __m256i zero = _mm256_setzero_si256();
    s[0] = _mm256_add_epi32(s[0], _mm256_srli_epi32(_mm256_unpacklo_epi16(zero, low), 8));
    s[1] = _mm256_add_epi32(s[1], _mm256_srli_epi32(_mm256_unpackhi_epi16(zero, low), 8));
    s[2] = _mm256_add_epi32(s[2], _mm256_srli_epi32(_mm256_unpacklo_epi16(zero, high), 8));
    s[3] = _mm256_add_epi32(s[3], _mm256_srli_epi32(_mm256_unpackhi_epi16(zero, high), 8));
}

__attribute__((target("avx2"), always_inline)) inline __m256i Load(const uint8_t* p) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
}

// The vertical pass with AVX2, 32 bytes at a time. The first and last rows
// are weighted with 16-bit multiply-adds (weights at most 256); one or two
// middle rows too, at 256 each (an odd one shifted by 8 like the sums); more
// middle rows are summed in 16 bits (up to 257 of them: 257 x 255 < 2^16)
// and added shifted by 8. A sum is at most 255 x divisor and the reciprocal
// at most 2^20 / divisor, so the product stays below 2^28; the one 32-bit
// multiply a sum and the byte mask give the plain loop's value whatever the
// weights. Longer spans (rare) and the last bytes take the plain loop.
__attribute__((target("avx2"))) void VerticalAvx2(const uint8_t* top, long stride, int n, uint32_t topWeight,
                                                  uint32_t bottomWeight, uint32_t reciprocal, int bytes,
                                                  uint8_t* out, uint32_t* middle) {
    const int whole = n - 1 <= 257 ? bytes & ~31 : 0;
    const uint8_t* first = top;
    const uint8_t* last = top + stride * std::max(n, 0);
    const uint8_t* m1 = top + stride;
    const uint8_t* m2 = top + stride * 2;
    const uint8_t* odd = top + stride * (n - 1);  // the odd middle row of two or three
    const __m256i zero = _mm256_setzero_si256();
    const __m256i weights = _mm256_set1_epi32(int(topWeight | bottomWeight << 16));
    const __m256i wholeRows = _mm256_set1_epi16(256);
    const __m256i recip = _mm256_set1_epi32(int(reciprocal));
    const __m256i lowByte = _mm256_set1_epi32(0xFF);
    for (int b = 0; b < whole; b += 32) {
        __m256i s[4] = {zero, zero, zero, zero};
        AddPair(Load(first + b), Load(last + b), weights, s);
        if (n == 3 || n == 4) AddPair(Load(m1 + b), Load(m2 + b), wholeRows, s);
        if (n == 2 || n == 4) {
            const __m256i row = Load(odd + b);
            AddWords(_mm256_unpacklo_epi8(row, zero), _mm256_unpackhi_epi8(row, zero), s);
        } else if (n >= 5) {
            __m256i midLow = zero, midHigh = zero;
            for (int k = 1; k < n; ++k) {
                const __m256i row = Load(top + stride * k + b);
                midLow = _mm256_add_epi16(midLow, _mm256_unpacklo_epi8(row, zero));
                midHigh = _mm256_add_epi16(midHigh, _mm256_unpackhi_epi8(row, zero));
            }
            AddWords(midLow, midHigh, s);
        }
        for (__m256i& v : s) v = _mm256_and_si256(_mm256_srli_epi32(_mm256_mullo_epi32(v, recip), 20), lowByte);
        const __m256i bytes32 = _mm256_packus_epi16(_mm256_packus_epi32(s[0], s[1]), _mm256_packus_epi32(s[2], s[3]));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + b), bytes32);
    }
    if (whole < bytes)
        VerticalBody(top + whole, stride, n, topWeight, bottomWeight, reciprocal, bytes - whole, out + whole, middle);
}
#endif

// The vertical pass for this processor. (Chosen here rather than by the
// loader, which would run the choice before sanitizer run-times are ready.)
void VerticalPass(const uint8_t* top, long stride, int n, uint32_t topWeight, uint32_t bottomWeight,
                  uint32_t reciprocal, int bytes, uint8_t* out, uint32_t* middle) {
#if GS_AVX2
    if (HaveAvx2()) return VerticalAvx2(top, stride, n, topWeight, bottomWeight, reciprocal, bytes, out, middle);
#endif
    VerticalBase(top, stride, n, topWeight, bottomWeight, reciprocal, bytes, out, middle);
}

// Horizontal pass into one destination row, plainly: per column and colour
// byte, the left pixel x its weight, the next `count` pixels x 256, the pixel
// after them x its weight.
template <int Bpp>
void HorizontalPlain(const uint8_t* line, const Column* columns, const uint32_t* greyRow, int first, int end,
                     uint8_t* out) {
    for (int c = first; c < end; ++c) {
        const Column& col = columns[c];
        uint8_t* o = out + 4 * c;
        if (col.start < 0) {
            std::memcpy(o, &greyRow[c], 4);
            continue;
        }
        const uint8_t* p = line + col.start;
        const uint8_t* after = p + (col.count + 1) * Bpp;
        for (int k = 0; k < Bpp; ++k) {
            uint32_t middle = 0;
            for (int i = 1; i <= col.count; ++i) middle += p[i * Bpp + k];
            const uint32_t sum = p[k] * uint32_t(col.leftWeight) + (middle << 8) + after[k] * uint32_t(col.rightWeight);
            o[k] = Scale(sum, col.reciprocal);
        }
        if (Bpp == 3) o[3] = 0xFF;
    }
}

#if GS_AVX2
// The horizontal pass with AVX2. Each column's taps (left, count x 256, right,
// then zeros up to an even number common to the call) are taken two at a time:
// one shuffle spreads two line pixels into 16-bit pairs per colour byte, and one
// multiply-add with the two weights gives the four 32-bit sums of a pixel; the
// two 128-bit halves of a register carry two destination columns.
struct TapTable {
    int pairs = 0;                    // tap pairs per column
    std::vector<int32_t> starts;      // byte offset of each column's first tap
    std::vector<int16_t> weights;     // per column pair and tap pair: each column's two weights, four times
    std::vector<uint32_t> reciprocals;
};

// Builds the table; false when the taps are too many for it to pay (the plain
// pass is used then). Outside columns get zero weights at offset 0 and are
// written from the grey row afterwards.
bool MakeTapTable(const Column* columns, int width, TapTable& table) {
    int taps = 2;
    for (int c = 0; c < width; ++c)
        if (columns[c].start >= 0) taps = std::max(taps, columns[c].count + 2);
    if (taps > 64) return false;
    table.pairs = (taps + 1) / 2;
    table.starts.assign(size_t(width) + 1, 0);
    table.weights.assign((size_t(width) / 2 + 1) * size_t(table.pairs) * 16, 0);
    table.reciprocals.assign(size_t(width) + 1, 0);
    for (int c = 0; c < width; ++c) {
        const Column& col = columns[c];
        if (col.start < 0) continue;
        table.starts[size_t(c)] = col.start;
        table.reciprocals[size_t(c)] = col.reciprocal;
        int16_t* w = &table.weights[size_t(c / 2) * size_t(table.pairs) * 16 + size_t(c % 2) * 8];
        for (int t = 0; t <= col.count + 1; ++t) {
            const int16_t weight = int16_t(t == 0 ? col.leftWeight : t == col.count + 1 ? col.rightWeight : 256);
            for (int k = 0; k < 4; ++k) w[(t / 2) * 16 + k * 2 + t % 2] = weight;
        }
    }
    return true;
}

__attribute__((target("avx2"))) void HorizontalAvx2(const uint8_t* line, const TapTable& table, int bpp, int width,
                                                    uint8_t* out) {
    const __m256i spread = bpp == 4
        ? _mm256_setr_epi8(0, -1, 4, -1, 1, -1, 5, -1, 2, -1, 6, -1, 3, -1, 7, -1,
                           0, -1, 4, -1, 1, -1, 5, -1, 2, -1, 6, -1, 3, -1, 7, -1)
        : _mm256_setr_epi8(0, -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, -1, -1, -1, -1,
                           0, -1, 3, -1, 1, -1, 4, -1, 2, -1, 5, -1, -1, -1, -1, -1);
    const __m128i opaque = _mm_set1_epi32(bpp == 4 ? 0 : int(0xFF000000u));
    const __m256i lowByte = _mm256_set1_epi32(0xFF);
    const int pairs = table.pairs;
    const int16_t* w = table.weights.data();
    for (int c = 0; c < width; c += 2) {
        // An odd last column is paired with the table's spare zero column.
        const uint8_t* a = line + table.starts[size_t(c)];
        const uint8_t* b = line + table.starts[size_t(c) + 1];
        __m256i sum = _mm256_setzero_si256();
        for (int p = 0; p < pairs; ++p, a += 2 * bpp, b += 2 * bpp, w += 16) {
            const __m128i pa = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(a));
            const __m128i pb = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(b));
            const __m256i pixels = _mm256_shuffle_epi8(_mm256_set_m128i(pb, pa), spread);
            const __m256i weights = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(w));
            sum = _mm256_add_epi32(sum, _mm256_madd_epi16(pixels, weights));
        }
        const __m256i recip = _mm256_set_m128i(_mm_set1_epi32(int(table.reciprocals[size_t(c) + 1])),
                                               _mm_set1_epi32(int(table.reciprocals[size_t(c)])));
        const __m256i value = _mm256_and_si256(_mm256_srli_epi32(_mm256_mullo_epi32(sum, recip), 20), lowByte);
        const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(value), _mm256_extracti128_si256(value, 1));
        const __m128i bytes = _mm_or_si128(_mm_packus_epi16(words, words), opaque);
        if (c + 1 < width)
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 4 * c), bytes);
        else
            *reinterpret_cast<int32_t*>(out + 4 * c) = _mm_cvtsi128_si32(bytes);
    }
}
#endif

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
    // Tap pairs read up to 128 pixels past a column's start, and 8 bytes at a time.
    const long lineBytes = std::max<long>(long(bpp) * sw + long(dw) * 7 + 128, long(bpp) * (sw + 130) + 16);
    std::unique_ptr<uint8_t[]> line(new (std::nothrow) uint8_t[size_t(lineBytes)]);
    std::unique_ptr<Column[]> columns(new (std::nothrow) Column[size_t(dw)]);
    std::unique_ptr<int32_t[]> nearest(new (std::nothrow) int32_t[size_t(dw)]);
    std::unique_ptr<uint32_t[]> greyRow(new (std::nothrow) uint32_t[size_t(dw)]);
    std::unique_ptr<uint32_t[]> middle(new (std::nothrow) uint32_t[kChunk]);
    if (!line || !columns || !nearest || !greyRow || !middle) return false;
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

#if GS_AVX2
    TapTable taps;
    const bool wide = quality > 50 && HaveAvx2() && MakeTapTable(columns.get(), dw, taps);
    std::vector<int> outsideColumns;
    for (int c = 0; c < dw; ++c)
        if (columns[size_t(c)].start < 0) outsideColumns.push_back(c);
#endif

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
                     Reciprocal(divisor), byteCount, line.get() + firstByte, middle.get());
#if GS_AVX2
        if (wide) {
            HorizontalAvx2(line.get(), taps, bpp, dw, out);
            for (int c : outsideColumns) std::memcpy(out + 4 * c, &greyRow[size_t(c)], 4);
            continue;
        }
#endif
        if (bpp == 4)
            HorizontalPlain<4>(line.get(), columns.get(), greyRow.get(), 0, dw, out);
        else
            HorizontalPlain<3>(line.get(), columns.get(), greyRow.get(), 0, dw, out);
    }
    return true;
}

// ---------------------------------------------------------------- FilterRot
//
// The walks have AVX2 forms for the run of each row whose taps all lie inside
// the picture; they give the same bytes as the plain walks, which draw the
// rest of the row, and everything in builds without the vector forms.

struct Point {
    double x, y;
};

// One source pixel as four bytes; outside the picture the outside colour.
inline const uint8_t* SourcePixel(const uint8_t* bits, long stride, int bpp, int sw, int sh, int64_t x, int64_t y,
                                  const uint8_t* outside) {
    if (x < 0 || y < 0 || x >= sw || y >= sh) return outside;
    return bits + stride * y + long(x) * bpp;
}

// Row walks run in fixed point with 24 fractional bits. Positions are held to
// +-2^30 pixels and steps to +-2^20 (a larger step leaves any picture within
// one pixel anyway), so nothing overflows 64 bits.
constexpr int kFix = 24;

inline int64_t ToFix(double v, double limit) {
    return std::llround(std::clamp(v, -limit, limit) * double(int64_t(1) << kFix));
}

struct Walk {
    int64_t x, y, dx, dy;  // first sample and step, fixed point
};

template <int Bpp>
void NearestWalk(const uint8_t* bits, long stride, int sw, int sh, Walk w, int width, const uint8_t* outside,
                 uint8_t* out) {
    const int64_t half = int64_t(1) << (kFix - 1);
    for (int c = 0; c < width; ++c, w.x += w.dx, w.y += w.dy, out += 4) {
        const uint8_t* p = SourcePixel(bits, stride, Bpp, sw, sh, (w.x + half) >> kFix, (w.y + half) >> kFix, outside);
        out[0] = p[0];
        out[1] = p[1];
        out[2] = p[2];
        out[3] = Bpp == 4 ? p[3] : 0xFF;
    }
}

// Bilinear between four pixels spaced by s, with 8-bit weights, rounded.
template <int Bpp>
void BilinearWalk(const uint8_t* bits, long stride, int sw, int sh, Walk w, int s, int width,
                  const uint8_t* outside, uint8_t* out) {
    for (int c = 0; c < width; ++c, w.x += w.dx, w.y += w.dy, out += 4) {
        const int64_t ix = w.x >> kFix, iy = w.y >> kFix;
        const uint32_t wx = uint32_t(w.x >> (kFix - 8)) & 0xFF;
        const uint32_t wy = uint32_t(w.y >> (kFix - 8)) & 0xFF;
        const uint8_t *p00, *p10, *p01, *p11;
        if (ix >= 0 && iy >= 0 && ix + s < sw && iy + s < sh) {
            p00 = bits + stride * iy + long(ix) * Bpp;
            p10 = p00 + long(s) * Bpp;
            p01 = p00 + stride * s;
            p11 = p01 + long(s) * Bpp;
        } else {
            p00 = SourcePixel(bits, stride, Bpp, sw, sh, ix, iy, outside);
            p10 = SourcePixel(bits, stride, Bpp, sw, sh, ix + s, iy, outside);
            p01 = SourcePixel(bits, stride, Bpp, sw, sh, ix, iy + s, outside);
            p11 = SourcePixel(bits, stride, Bpp, sw, sh, ix + s, iy + s, outside);
        }
        for (int k = 0; k < (Bpp == 4 ? 4 : 3); ++k) {
            const uint32_t low = p00[k] * (256 - wx) + p10[k] * wx;
            const uint32_t high = p01[k] * (256 - wx) + p11[k] * wx;
            out[k] = uint8_t((low * (256 - wy) + high * wy + 32768) >> 16);
        }
        if (Bpp == 3) out[3] = 0xFF;
    }
}

inline Walk At(const Walk& w, int c) { return Walk{w.x + c * w.dx, w.y + c * w.dy, w.dx, w.dy}; }

#if GS_AVX2
// The columns [first, end) of a row whose samples all lie where the vector
// walks may read without checks.
struct Span {
    int first, end;
};

// Narrows `span` to the columns c with a + c * d >= 0 (a set of consecutive
// columns, as a + c * d is linear in c).
void KeepNonNegative(int64_t a, int64_t d, Span& span) {
    if (d > 0) {
        if (a < 0) span.first = int(std::min<int64_t>(std::max<int64_t>(span.first, (-a + d - 1) / d), span.end));
    } else if (d < 0) {
        span.end = a < 0 ? span.first : int(std::max<int64_t>(std::min<int64_t>(span.end, a / -d + 1), span.first));
    } else if (a < 0) {
        span.end = span.first;
    }
}

// The columns of `width` whose pixel indices (position >> kFix) stay within
// 0 .. xMax and 0 .. yMax; empty when a bound is negative.
Span InsideSpan(const Walk& w, int width, int64_t xMax, int64_t yMax) {
    Span span{0, width};
    if (xMax < 0 || yMax < 0) return Span{0, 0};
    const int64_t one = int64_t(1) << kFix;
    KeepNonNegative(w.x, w.dx, span);
    KeepNonNegative(w.y, w.dy, span);
    KeepNonNegative((xMax + 1) * one - 1 - w.x, -w.dx, span);
    KeepNonNegative((yMax + 1) * one - 1 - w.y, -w.dy, span);
    return span;
}

// The vector walks take eight destination pixels at a time. A position runs in
// two 32-bit lanes: `high` is the position >> 16 (the pixel index above 8 bits
// of weight) and `low` the 16 bits below it, which carry into `high` as the
// walk steps on: the same sums as the 64-bit walk, while the pixels lie inside.
struct Lanes {
    __m256i high, low, stepHigh, stepLow;
};

__attribute__((target("avx2"))) inline Lanes StartLanes(int64_t start, int64_t step) {
    alignas(32) int32_t high[8], low[8];
    for (int i = 0; i < 8; ++i) {
        const int64_t v = start + i * step;
        high[i] = int32_t(v >> 16);
        low[i] = int32_t(v & 0xFFFF);
    }
    const int64_t eight = 8 * step;
    return Lanes{_mm256_load_si256(reinterpret_cast<const __m256i*>(high)),
                 _mm256_load_si256(reinterpret_cast<const __m256i*>(low)), _mm256_set1_epi32(int32_t(eight >> 16)),
                 _mm256_set1_epi32(int32_t(eight & 0xFFFF))};
}

__attribute__((target("avx2"))) inline void Advance(Lanes& l) {
    const __m256i low = _mm256_add_epi32(l.low, l.stepLow);
    l.high = _mm256_add_epi32(_mm256_add_epi32(l.high, l.stepHigh), _mm256_srli_epi32(low, 16));
    l.low = _mm256_and_si256(low, _mm256_set1_epi32(0xFFFF));
}

// Byte offsets of the eight pixels (x, y) from the picture's start.
template <int Bpp>
__attribute__((target("avx2"))) inline __m256i Offsets(__m256i x, __m256i y, __m256i stride) {
    const __m256i across = Bpp == 4 ? _mm256_slli_epi32(x, 2) : _mm256_add_epi32(x, _mm256_slli_epi32(x, 1));
    return _mm256_add_epi32(_mm256_mullo_epi32(y, stride), across);
}

// Gathers four bytes at each offset; for 3-byte pixels the fourth byte is the
// next pixel's, replaced by the opaque alpha.
template <int Bpp>
__attribute__((target("avx2"))) inline __m256i Fetch(const uint8_t* base, __m256i offsets) {
    const __m256i p = _mm256_i32gather_epi32(reinterpret_cast<const int*>(base), offsets, 1);
    return Bpp == 4 ? p : _mm256_or_si256(p, _mm256_set1_epi32(int32_t(0xFF000000u)));
}

// Runs `chunk(c, x, y)` over the eight-pixel chunks of `count` (at least 8)
// pixels from c = 0 with the lanes of positions c .. c + 7; a last partial
// chunk is drawn as the last eight pixels, again over some of the one before.
template <typename Chunk>
__attribute__((target("avx2"))) inline void EachChunk(const Walk& w, int count, Chunk chunk) {
    Lanes x = StartLanes(w.x, w.dx), y = StartLanes(w.y, w.dy);
    int c = 0;
    for (; c + 8 <= count; c += 8) {
        chunk(c, x, y);
        Advance(x);
        Advance(y);
    }
    if (c < count) {
        const Walk last = At(w, count - 8);
        chunk(count - 8, StartLanes(last.x, last.dx), StartLanes(last.y, last.dy));
    }
}

// A rolled walk crosses a source row every few pixels, each time on another
// page, where the processor's own prefetching does not follow: the pixels
// kAhead on (four points a chunk, and the row `down` below them) are asked for
// while this chunk is drawn.
constexpr int kAhead = 64;

template <int Bpp>
inline void Prefetch(const uint8_t* bits, int32_t stride, const Walk& w, int c, int count, int down) {
    for (int k = 0; k < 8; k += 2) {
        const int64_t f = std::min(c + kAhead + k, count - 1);
        const uint8_t* p = bits + ((w.y + f * w.dy) >> kFix) * stride + ((w.x + f * w.dx) >> kFix) * Bpp;
        __builtin_prefetch(p);
        if (down) __builtin_prefetch(p + long(down) * stride);
    }
}

// The nearest walk over `count` pixels (at least 8) that lie inside.
template <int Bpp>
__attribute__((target("avx2"))) void NearestAvx2(const uint8_t* bits, int32_t stride, Walk w, int count,
                                                 uint8_t* out) {
    const int64_t half = int64_t(1) << (kFix - 1);
    const __m256i strideV = _mm256_set1_epi32(stride);
    const Walk centred{w.x + half, w.y + half, w.dx, w.dy};
    EachChunk(centred, count, [&](int c, const Lanes& x, const Lanes& y) __attribute__((target("avx2"))) {
        Prefetch<Bpp>(bits, stride, centred, c, count, 0);
        const __m256i at = Offsets<Bpp>(_mm256_srai_epi32(x.high, 8), _mm256_srai_epi32(y.high, 8), strideV);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * c), Fetch<Bpp>(bits, at));
    });
}

// 256 a + w (b - a), that is a (256 - w) + b w, for 16-bit lanes holding
// bytes a and b and a weight of 0 .. 255: the result (at most 65280) is exact
// in unsigned 16 bits although the product is taken signed.
__attribute__((target("avx2"))) inline __m256i Lerp(__m256i a, __m256i b, __m256i w) {
    return _mm256_add_epi16(_mm256_slli_epi16(a, 8), _mm256_mullo_epi16(_mm256_sub_epi16(b, a), w));
}

// (low (256 - w) + high w + 32768) >> 16 for 16-bit lanes, without leaving
// them: with low = 256 lh + ll and high = 256 hh + hl the sum is 256 H + L,
// H = lh (256 - w) + hh w and L = ll (256 - w) + hl w, and the rounded shift
// is (H + (L >> 8) + 128) >> 8, which stays below 65536 as the result is a byte.
__attribute__((target("avx2"))) inline __m256i Blend(__m256i low, __m256i high, __m256i w) {
    const __m256i byte = _mm256_set1_epi16(0xFF);
    const __m256i h = Lerp(_mm256_srli_epi16(low, 8), _mm256_srli_epi16(high, 8), w);
    const __m256i l = Lerp(_mm256_and_si256(low, byte), _mm256_and_si256(high, byte), w);
    return _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(h, _mm256_srli_epi16(l, 8)), _mm256_set1_epi16(128)),
                             8);
}

// The bilinear walk over `count` pixels (at least 8) whose four taps all lie
// inside. The colour bytes are taken as 16-bit lanes: those of pixels 0, 1,
// 4, 5 in one register ("lo") and 2, 3, 6, 7 in the other ("hi"), each
// pixel's weights spread over its four lanes to match. Taps one pixel apart
// are read as one eight-byte gather per pair, which halves the gathered
// elements (a 3-byte pair reads two bytes past it, within the row as long as
// the right tap is not the row's last pixel).
template <int Bpp>
__attribute__((target("avx2"))) void BilinearAvx2(const uint8_t* bits, int32_t stride, Walk w, int s, int count,
                                                  uint8_t* out) {
    const __m256i strideV = _mm256_set1_epi32(stride);
    const uint8_t* b00 = bits;
    const uint8_t* b10 = bits + long(s) * Bpp;
    const uint8_t* b01 = bits + long(s) * stride;
    const uint8_t* b11 = b01 + long(s) * Bpp;
    const __m256i weight = _mm256_set1_epi32(0xFF);
    const __m256i zero = _mm256_setzero_si256();
    const __m256i spreadLo = _mm256_setr_epi8(0, -1, 0, -1, 0, -1, 0, -1, 4, -1, 4, -1, 4, -1, 4, -1,  //
                                              0, -1, 0, -1, 0, -1, 0, -1, 4, -1, 4, -1, 4, -1, 4, -1);
    const __m256i spreadHi = _mm256_setr_epi8(8, -1, 8, -1, 8, -1, 8, -1, 12, -1, 12, -1, 12, -1, 12, -1,  //
                                              8, -1, 8, -1, 8, -1, 8, -1, 12, -1, 12, -1, 12, -1, 12, -1);
    // Pairs: the first and the second pixel of each 8-byte read, as 16-bit lanes.
    const __m256i first = Bpp == 4 ? _mm256_setr_epi8(0, -1, 1, -1, 2, -1, 3, -1, 8, -1, 9, -1, 10, -1, 11, -1,  //
                                                      0, -1, 1, -1, 2, -1, 3, -1, 8, -1, 9, -1, 10, -1, 11, -1)
                                   : _mm256_setr_epi8(0, -1, 1, -1, 2, -1, -1, -1, 8, -1, 9, -1, 10, -1, -1, -1,  //
                                                      0, -1, 1, -1, 2, -1, -1, -1, 8, -1, 9, -1, 10, -1, -1, -1);
    const __m256i second = Bpp == 4 ? _mm256_setr_epi8(4, -1, 5, -1, 6, -1, 7, -1, 12, -1, 13, -1, 14, -1, 15, -1,  //
                                                       4, -1, 5, -1, 6, -1, 7, -1, 12, -1, 13, -1, 14, -1, 15, -1)
                                    : _mm256_setr_epi8(3, -1, 4, -1, 5, -1, -1, -1, 11, -1, 12, -1, 13, -1, -1, -1,  //
                                                       3, -1, 4, -1, 5, -1, -1, -1, 11, -1, 12, -1, 13, -1, -1, -1);
    const __m256i pairOrder = _mm256_setr_epi32(0, 1, 4, 5, 2, 3, 6, 7);
    EachChunk(w, count, [&](int c, const Lanes& x, const Lanes& y) __attribute__((target("avx2"))) {
        Prefetch<Bpp>(bits, stride, w, c, count, s);
        const __m256i at = Offsets<Bpp>(_mm256_srai_epi32(x.high, 8), _mm256_srai_epi32(y.high, 8), strideV);
        const __m256i wx = _mm256_and_si256(x.high, weight), wy = _mm256_and_si256(y.high, weight);
        const __m256i wxLo = _mm256_shuffle_epi8(wx, spreadLo), wxHi = _mm256_shuffle_epi8(wx, spreadHi);
        const __m256i wyLo = _mm256_shuffle_epi8(wy, spreadLo), wyHi = _mm256_shuffle_epi8(wy, spreadHi);
        __m256i lowLo, lowHi, highLo, highHi;
        if (s == 1) {
            const __m256i paired = _mm256_permutevar8x32_epi32(at, pairOrder);
            const __m128i lo = _mm256_castsi256_si128(paired), hi = _mm256_extracti128_si256(paired, 1);
            const auto* top = reinterpret_cast<const long long*>(b00);
            const auto* bottom = reinterpret_cast<const long long*>(b01);
            const __m256i topLo = _mm256_i32gather_epi64(top, lo, 1), topHi = _mm256_i32gather_epi64(top, hi, 1);
            const __m256i bottomLo = _mm256_i32gather_epi64(bottom, lo, 1);
            const __m256i bottomHi = _mm256_i32gather_epi64(bottom, hi, 1);
            lowLo = Lerp(_mm256_shuffle_epi8(topLo, first), _mm256_shuffle_epi8(topLo, second), wxLo);
            lowHi = Lerp(_mm256_shuffle_epi8(topHi, first), _mm256_shuffle_epi8(topHi, second), wxHi);
            highLo = Lerp(_mm256_shuffle_epi8(bottomLo, first), _mm256_shuffle_epi8(bottomLo, second), wxLo);
            highHi = Lerp(_mm256_shuffle_epi8(bottomHi, first), _mm256_shuffle_epi8(bottomHi, second), wxHi);
        } else {
            const __m256i p00 = Fetch<Bpp>(b00, at), p10 = Fetch<Bpp>(b10, at);
            const __m256i p01 = Fetch<Bpp>(b01, at), p11 = Fetch<Bpp>(b11, at);
            lowLo = Lerp(_mm256_unpacklo_epi8(p00, zero), _mm256_unpacklo_epi8(p10, zero), wxLo);
            lowHi = Lerp(_mm256_unpackhi_epi8(p00, zero), _mm256_unpackhi_epi8(p10, zero), wxHi);
            highLo = Lerp(_mm256_unpacklo_epi8(p01, zero), _mm256_unpacklo_epi8(p11, zero), wxLo);
            highHi = Lerp(_mm256_unpackhi_epi8(p01, zero), _mm256_unpackhi_epi8(p11, zero), wxHi);
        }
        __m256i result = _mm256_packus_epi16(Blend(lowLo, highLo, wyLo), Blend(lowHi, highHi, wyHi));
        if (Bpp == 3) result = _mm256_or_si256(result, _mm256_set1_epi32(int32_t(0xFF000000u)));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + 4 * c), result);
    });
}
#endif

// One destination row's walk: first sample, step and tap spacing.
struct RowWalk {
    Walk walk;
    int s;
    uint8_t* out;
};

// Columns [from, to) of one destination row, plainly.
template <int Bpp>
void PlainWalk(const uint8_t* bits, long stride, int sw, int sh, const RowWalk& r, bool nearest, int from, int to,
               const uint8_t* outside) {
    if (from >= to) return;
    if (nearest)
        NearestWalk<Bpp>(bits, stride, sw, sh, At(r.walk, from), to - from, outside, r.out + 4 * from);
    else
        BilinearWalk<Bpp>(bits, stride, sw, sh, At(r.walk, from), r.s, to - from, outside, r.out + 4 * from);
}

// One destination row: with `vectors` the run of pixels known to lie inside
// (in 32-bit offsets) by the vector walk and the rest plainly, else all plainly.
template <int Bpp>
void DrawRow(const uint8_t* bits, long stride, int sw, int sh, const RowWalk& r, bool nearest, int width,
             const uint8_t* outside, bool vectors) {
#if GS_AVX2
    if (vectors) {
        // A 3-byte pixel is read as four bytes (a pair one pixel apart as
        // eight): the last column is left to the plain walk so that no read
        // passes the row's end.
        const int64_t columns = Bpp == 4 ? sw : sw - 1;
        const int64_t half = int64_t(1) << (kFix - 1);
        const Walk& w = r.walk;
        const Span span = nearest ? InsideSpan(Walk{w.x + half, w.y + half, w.dx, w.dy}, width, columns - 1, sh - 1)
                                  : InsideSpan(w, width, columns - 1 - r.s, int64_t(sh) - 1 - r.s);
        if (span.end - span.first >= 8) {
            PlainWalk<Bpp>(bits, stride, sw, sh, r, nearest, 0, span.first, outside);
            if (nearest)
                NearestAvx2<Bpp>(bits, int32_t(stride), At(w, span.first), span.end - span.first,
                                 r.out + 4 * span.first);
            else
                BilinearAvx2<Bpp>(bits, int32_t(stride), At(w, span.first), r.s, span.end - span.first,
                                  r.out + 4 * span.first);
            PlainWalk<Bpp>(bits, stride, sw, sh, r, nearest, span.end, width, outside);
            return;
        }
    }
#else
    (void)vectors;
#endif
    PlainWalk<Bpp>(bits, stride, sw, sh, r, nearest, 0, width, outside);
}

// With `vectors` false only the plain walks run (as in a build without them).
bool RotRows(CDIB* dest, CDIB* source, const Camera& cam, int part, int quality, int fieldSelector,
             int offset, int stopRow, bool vectors = true) {
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
#if GS_AVX2
    // The vector walks hold positions and byte offsets in 32 bits.
    vectors = vectors && HaveAvx2() && sw < (1 << 22) && sh < (1 << 22) && sourceStride * sh < INT32_MAX;
#endif

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

    const bool nearest = quality <= 49;
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

        const double positionLimit = double(1 << 30), stepLimit = double(1 << 20);
        const int64_t dx = ToFix(stepX, stepLimit), dy = ToFix(stepY, stepLimit);
        // Bilinear between four pixels spaced by s: above a shrink of two the
        // taps spread out, a cheap prefilter. The pair is centred on the sample.
        int s = 1;
        double centre = 0.0;
        if (!nearest) {
            const double step = std::sqrt(stepX * stepX + stepY * stepY);
            s = std::max(1, std::abs(int(std::min(step * 0.5, double(kLimit)))));
            centre = (s - 1) * 0.5;
        }
        const RowWalk row{{ToFix(x0 - centre, positionLimit), ToFix(y0 - centre, positionLimit), dx, dy}, s, out};
        if (bpp == 4)
            DrawRow<4>(source->bits, sourceStride, sw, sh, row, nearest, dw, outside, vectors);
        else
            DrawRow<3>(source->bits, sourceStride, sw, sh, row, nearest, dw, outside, vectors);
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

bool FilterRotPlain(CDIB* dest, CDIB* source, float left, float bottom, float width, float height, float angle,
                    float tilt1, float tilt2, int part, int quality, int fieldSelector) {
    return RotRows(dest, source, Camera{left, bottom, width, height, angle, tilt1, tilt2}, part, quality,
                   fieldSelector, gMultiProcOffset, INT_MAX, false);
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
