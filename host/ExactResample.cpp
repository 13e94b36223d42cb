// SPDX-License-Identifier: GPL-2.0-or-later
// The exact area filter (see Resample.h).
//
// Axis-aligned cameras: along each axis a destination pixel covers the span
// [start + i x scale, start + (i + 1) x scale] of source pixels; every source
// pixel it touches gets the covered fraction of the span as its weight, in
// 1/16384 steps taken from a rounded running total so that the weights of one
// pixel add up to exactly 16384. Everything left of or below the picture is
// one outside pixel, everything right of or above it another. The vertical
// pass sums the rows into a line of 16-bit values, the horizontal pass sums
// the line into the destination pixel; the sums stay within 31 bits and each
// is rounded once. A flat colour g sums to exactly g x 2^21 and comes out as
// g. The line's values have 7 fraction bits, so that they fit signed 16 bits
// and the horizontal pass can take two taps of two destination pixels per
// multiply-add; the vertical pass likewise takes two rows per multiply-add
// (AVX2 processors; plain loops elsewhere, with the same bytes).
//
// Rotated or tilted cameras: the grid of destination pixel corners maps
// bilinearly onto the picture, so each pixel's footprint is the quadrilateral
// of its four mapped corners. Its integral is a line integral around it
// (Green's theorem): the integral of f over a region is the closed integral
// of F dy, where F(x, y) is the integral of the picture along its row up to
// x, which is the row's prefix sum, linear inside a pixel. Each edge is cut
// where it crosses a pixel's edge and each piece adds its height times F at
// its middle; neighbouring pixels share their edges, so each edge is walked
// once and the cost follows the footprint's perimeter, not its area. The
// prefix sums are integers over the footprint of a tile of destination
// pixels at a time, the line integrals doubles around a tile-local origin;
// the average (over the footprint's signed area) rounds to the nearest level,
// so a flat colour stays flat. A footprint of no area takes the pixel under
// its centre.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <vector>

#include "host/Resample.h"
#include "image/CDIB.h"

namespace {

constexpr uint8_t kGrey = 0x11;
constexpr int kOne = 16384;         // a whole span in the weights' fixed point

// Destination rows of a field selector: every row, or every second row from
// the phase; with every row the source is shifted by phase x half a row.
struct RowSet {
    int first, step, phase;
};

RowSet SelectorRows(int fieldSelector) {
    RowSet r;
    r.step = std::max(1, fieldSelector / 10 + 1);
    r.phase = fieldSelector % 10;
    r.first = r.step > 1 ? std::max(0, r.phase) : 0;
    return r;
}

bool Finite(float v) { return std::isfinite(v); }

// Taps of one axis: destination pixel i reads `count[i]` source pixels from
// `first[i]` (an index from -1 to size, the two ends being the outside pixel)
// with the weights from `weightAt[i]` on.
struct AxisTaps {
    std::vector<int> first, count, weightAt;
    std::vector<int32_t> weights;
    int lowest = 0, highest = 0;  // extended source indices read at all
};

// Covers [start + i x scale, start + (i + 1) x scale] for i in 0..n-1 over a
// source of `size` pixels.
void MakeAxis(double start, double scale, int n, int size, AxisTaps& axis) {
    axis.first.resize(size_t(n));
    axis.count.resize(size_t(n));
    axis.weightAt.resize(size_t(n));
    axis.weights.clear();
    axis.lowest = size;
    axis.highest = -1;
    const double limit = double(size) + 2.0;
    for (int i = 0; i < n; i++) {
        const double a = start + scale * i;
        const double b = start + scale * (i + 1);
        auto clampIndex = [&](double v) {
            return int(std::clamp(std::floor(std::clamp(v, -2.0, limit)), -1.0, double(size)));
        };
        const int tf = clampIndex(a);
        axis.first[size_t(i)] = tf;
        axis.weightAt[size_t(i)] = int(axis.weights.size());
        if (!(b > a)) {
            // A span of no width: the one pixel at its place.
            axis.count[size_t(i)] = 1;
            axis.weights.push_back(kOne);
        } else {
            const int tl = std::max(tf, clampIndex(std::nextafter(b, a)));
            // Running total of the covered fraction up to x, rounded.
            auto total = [&](double x) {
                if (x <= a) return 0;
                if (x >= b) return kOne;
                return int(std::lround((x - a) / (b - a) * kOne));
            };
            int before = 0;
            for (int t = tf; t <= tl; t++) {
                const int after = t == size ? kOne : total(double(t + 1));
                axis.weights.push_back(after - before);
                before = after;
            }
            axis.weights.back() += kOne - before;
            axis.count[size_t(i)] = tl - tf + 1;
        }
        axis.lowest = std::min(axis.lowest, tf);
        axis.highest = std::max(axis.highest, tf + axis.count[size_t(i)] - 1);
    }
}

// Vertical pass over bytes `from` to `bytes`: sum of the rows times their
// weights, as 16-bit values with 7 fraction bits.
inline __attribute__((always_inline)) void VerticalBody(const uint8_t* const* rows, const int32_t* weights,
                                                        int count, int from, int bytes, uint16_t* __restrict out,
                                                        uint32_t* __restrict acc) {
    constexpr int kChunk = 2048;
    for (int b0 = from; b0 < bytes; b0 += kChunk) {
        const int len = std::min(kChunk, bytes - b0);
        const uint8_t* __restrict r0 = rows[0] + b0;
        const uint32_t w0 = uint32_t(weights[0]);
        for (int b = 0; b < len; b++) acc[b] = r0[b] * w0;
        for (int k = 1; k < count; k++) {
            const uint8_t* __restrict r = rows[k] + b0;
            const uint32_t w = uint32_t(weights[k]);
            for (int b = 0; b < len; b++) acc[b] += r[b] * w;
        }
        for (int b = 0; b < len; b++) out[b0 + b] = uint16_t((acc[b] + 64) >> 7);
    }
}

void VerticalBase(const uint8_t* const* rows, const int32_t* weights, int count, int bytes, uint16_t* out,
                  uint32_t* acc) {
    VerticalBody(rows, weights, count, 0, bytes, out, acc);
}

#if defined(__GNUC__) && defined(__x86_64__) && !defined(GS_RESAMPLE_PLAIN)
#define GS_EXACT_SIMD 1
#include <immintrin.h>

// The vertical pass with AVX2: 32 bytes at a time, two rows per step. The
// bytes of the two rows are interleaved into 16-bit pairs and one
// multiply-add with the two weights gives their 32-bit sums (weights are at
// most 2^14, so the pairs fit signed 16 bits). The sums stay in registers
// over all the rows; an odd last row is paired with the first at weight 0.
// The last bytes, and spans of more than 64 rows, take the plain loop.
__attribute__((target("avx2"))) void VerticalAvx2(const uint8_t* const* rows, const int32_t* weights, int count,
                                                  int bytes, uint16_t* out, uint32_t* acc) {
    constexpr int kMaxPairs = 32;
    const int pairs = (count + 1) / 2;
    const int whole = pairs <= kMaxPairs ? bytes & ~31 : 0;
    const uint8_t* pairRows[2 * kMaxPairs];
    int32_t pairWeights[kMaxPairs];
    for (int p = 0; p < pairs && p < kMaxPairs; p++) {
        const bool second = 2 * p + 1 < count;
        pairRows[2 * p] = rows[2 * p];
        pairRows[2 * p + 1] = second ? rows[2 * p + 1] : rows[0];
        pairWeights[p] = (weights[2 * p] & 0xFFFF) | (second ? weights[2 * p + 1] << 16 : 0);
    }
    const __m256i zero = _mm256_setzero_si256();
    const __m256i half = _mm256_set1_epi32(64);
    for (int b = 0; b < whole; b += 32) {
        __m256i s0 = zero, s1 = zero, s2 = zero, s3 = zero;
        for (int p = 0; p < pairs; p++) {
            const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pairRows[2 * p] + b));
            const __m256i c = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pairRows[2 * p + 1] + b));
            const __m256i w = _mm256_set1_epi32(pairWeights[p]);
            const __m256i low = _mm256_unpacklo_epi8(a, c);   // bytes 0-7 and 16-23
            const __m256i high = _mm256_unpackhi_epi8(a, c);  // bytes 8-15 and 24-31
            s0 = _mm256_add_epi32(s0, _mm256_madd_epi16(_mm256_unpacklo_epi8(low, zero), w));
            s1 = _mm256_add_epi32(s1, _mm256_madd_epi16(_mm256_unpackhi_epi8(low, zero), w));
            s2 = _mm256_add_epi32(s2, _mm256_madd_epi16(_mm256_unpacklo_epi8(high, zero), w));
            s3 = _mm256_add_epi32(s3, _mm256_madd_epi16(_mm256_unpackhi_epi8(high, zero), w));
        }
        s0 = _mm256_srli_epi32(_mm256_add_epi32(s0, half), 7);
        s1 = _mm256_srli_epi32(_mm256_add_epi32(s1, half), 7);
        s2 = _mm256_srli_epi32(_mm256_add_epi32(s2, half), 7);
        s3 = _mm256_srli_epi32(_mm256_add_epi32(s3, half), 7);
        const __m256i wordsLow = _mm256_packus_epi32(s0, s1);   // bytes 0-7 and 16-23
        const __m256i wordsHigh = _mm256_packus_epi32(s2, s3);  // bytes 8-15 and 24-31
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + b), _mm256_permute2x128_si256(wordsLow, wordsHigh, 0x20));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + b + 16),
                            _mm256_permute2x128_si256(wordsLow, wordsHigh, 0x31));
    }
    VerticalBody(rows, weights, count, whole, bytes, out, acc);
}

void Vertical(const uint8_t* const* rows, const int32_t* weights, int count, int bytes, uint16_t* out,
              uint32_t* acc) {
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if (avx2) return VerticalAvx2(rows, weights, count, bytes, out, acc);
    VerticalBase(rows, weights, count, bytes, out, acc);
}
#else
#define GS_EXACT_SIMD 0
void Vertical(const uint8_t* const* rows, const int32_t* weights, int count, int bytes, uint16_t* out,
              uint32_t* acc) {
    VerticalBase(rows, weights, count, bytes, out, acc);
}
#endif

// Horizontal pass into one destination row. `line` holds the extended
// columns -1..size as Bpp 16-bit values each (index + 1).
template <int Bpp>
void HorizontalRow(const uint16_t* line, const AxisTaps& taps, int width, uint8_t* out) {
    for (int c = 0; c < width; c++) {
        const uint16_t* p = line + size_t(taps.first[size_t(c)] + 1) * Bpp;
        const int32_t* w = taps.weights.data() + taps.weightAt[size_t(c)];
        const int n = taps.count[size_t(c)];
        uint32_t sum[4] = {1u << 20, 1u << 20, 1u << 20, 1u << 20};
        for (int t = 0; t < n; t++, p += Bpp)
            for (int k = 0; k < Bpp; k++) sum[k] += p[k] * uint32_t(w[t]);
        for (int k = 0; k < Bpp; k++) out[4 * c + k] = uint8_t(sum[k] >> 21);
        if (Bpp == 3) out[4 * c + 3] = 0xFF;
    }
}

#if GS_EXACT_SIMD
// The horizontal taps two at a time, for two destination columns at once: per
// pair of columns c, c + 1 the number of tap pairs (the larger of the two;
// the other column's are padded with zero weights) and, per tap pair, 16
// weights: column c's two weights four times (w0 w1 w0 w1 ...), then column
// c + 1's. An odd last column is paired with a column of zero weights that
// reads the first line pixel.
struct PairTable {
    std::vector<int> firstA, firstB, pairs, at;
    std::vector<int16_t> weights;
    size_t reach = 0;  // line values read, at most
};

void MakePairs(const AxisTaps& taps, int width, int bpp, PairTable& table) {
    const int columnPairs = (width + 1) / 2;
    table.firstA.resize(size_t(columnPairs));
    table.firstB.resize(size_t(columnPairs));
    table.pairs.resize(size_t(columnPairs));
    table.at.resize(size_t(columnPairs));
    table.weights.clear();
    table.reach = 0;
    for (int j = 0; j < columnPairs; j++) {
        const int c = 2 * j;
        const bool hasB = c + 1 < width;
        const int countA = taps.count[size_t(c)];
        const int countB = hasB ? taps.count[size_t(c) + 1] : 0;
        const int pairs = (std::max(countA, countB) + 1) / 2;
        table.firstA[size_t(j)] = (taps.first[size_t(c)] + 1) * bpp;
        table.firstB[size_t(j)] = hasB ? (taps.first[size_t(c) + 1] + 1) * bpp : 0;
        table.pairs[size_t(j)] = pairs;
        table.at[size_t(j)] = int(table.weights.size());
        const int32_t* wa = taps.weights.data() + taps.weightAt[size_t(c)];
        const int32_t* wb = hasB ? taps.weights.data() + taps.weightAt[size_t(c) + 1] : nullptr;
        for (int t = 0; t < 2 * pairs; t += 2) {
            for (int k = 0; k < 4; k++) {
                table.weights.push_back(int16_t(t < countA ? wa[t] : 0));
                table.weights.push_back(int16_t(t + 1 < countA ? wa[t + 1] : 0));
            }
            for (int k = 0; k < 4; k++) {
                table.weights.push_back(int16_t(t < countB ? wb[t] : 0));
                table.weights.push_back(int16_t(t + 1 < countB ? wb[t + 1] : 0));
            }
        }
        // Each step loads eight values from its column's tap pair.
        const size_t end = size_t(std::max(table.firstA[size_t(j)], table.firstB[size_t(j)])) +
                           size_t(2 * pairs - 2) * size_t(bpp) + 8;
        table.reach = std::max(table.reach, end);
    }
}

template <int Bpp>
__attribute__((target("avx2"))) void HorizontalPairs(const uint16_t* line, const PairTable& table, int width,
                                                     uint8_t* out) {
    // Two neighbouring line pixels, interleaved channel by channel, in each half.
    const __m256i spread = Bpp == 4
        ? _mm256_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15,
                           0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15)
        : _mm256_setr_epi8(0, 1, 6, 7, 2, 3, 8, 9, 4, 5, 10, 11, -1, -1, -1, -1,
                           0, 1, 6, 7, 2, 3, 8, 9, 4, 5, 10, 11, -1, -1, -1, -1);
    const __m128i opaque = _mm_set1_epi32(Bpp == 4 ? 0 : int(0xFF000000u));
    const __m256i rounding = _mm256_set1_epi32(1 << 20);
    for (int c = 0, j = 0; c < width; c += 2, j++) {
        const uint16_t* a = line + table.firstA[size_t(j)];
        const uint16_t* b = line + table.firstB[size_t(j)];
        const int16_t* w = table.weights.data() + table.at[size_t(j)];
        __m256i sum = rounding;
        for (int k = table.pairs[size_t(j)]; k > 0; k--, a += 2 * Bpp, b += 2 * Bpp, w += 16) {
            const __m256i v = _mm256_inserti128_si256(
                _mm256_castsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(a))),
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(b)), 1);
            const __m256i weights = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(w));
            sum = _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_shuffle_epi8(v, spread), weights));
        }
        const __m256i value = _mm256_srli_epi32(sum, 21);
        const __m128i words = _mm_packus_epi32(_mm256_castsi256_si128(value), _mm256_extracti128_si256(value, 1));
        const __m128i bytes = _mm_or_si128(_mm_packus_epi16(words, words), opaque);
        if (c + 1 < width)
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 4 * c), bytes);
        else
            std::memcpy(out + 4 * c, &bytes, 4);
    }
}
#endif

bool ExactAxisAligned(CDIB* dest, CDIB* source, double left, double bottom, double width, double height,
                      int fieldSelector) {
    const int bpp = source->header->bitCount / 8;
    const int sw = source->header->width;
    const int sh = std::abs(source->header->height);
    const int dw = dest->header->width;
    const int dh = std::abs(dest->header->height);
    const long sourceStride = source->GetRowBytes();
    const long destStride = dest->GetRowBytes();
    const RowSet rows = SelectorRows(fieldSelector);
    const double scaleX = width / dw;
    const double scaleY = height / dh;
    const double shift = rows.step == 1 ? rows.phase * scaleY * 0.5 : 0.0;

    AxisTaps across;
    MakeAxis(left, scaleX, dw, sw, across);
#if GS_EXACT_SIMD
    static const bool avx2 = __builtin_cpu_supports("avx2");
    PairTable pairs;
    if (avx2) MakePairs(across, dw, bpp, pairs);
#endif
    AxisTaps down;

    // The outside pixel as source bytes (a row of it stands for the rows
    // beyond the picture) and as line values.
    const uint8_t outsideAlpha = bpp == 4 ? 0 : 0xFF;
    std::vector<uint8_t> greyRow(size_t(sw) * bpp);
    for (int x = 0; x < sw; x++)
        for (int k = 0; k < bpp; k++) greyRow[size_t(x) * bpp + k] = k == 3 ? outsideAlpha : kGrey;
    size_t lineSize = size_t(sw + 3) * bpp + 64;
#if GS_EXACT_SIMD
    lineSize = std::max(lineSize, pairs.reach);
#endif
    std::vector<uint16_t> line(lineSize, 0);
    for (int k = 0; k < bpp; k++) {
        const uint16_t v = uint16_t((k == 3 ? outsideAlpha : kGrey) << 7);
        line[size_t(k)] = v;
        line[size_t(sw + 1) * bpp + k] = v;
    }
    std::vector<uint32_t> acc(2048);
    std::vector<const uint8_t*> rowPointers;

    const int firstColumn = std::max(0, across.lowest);
    const int lastColumn = std::min(sw - 1, across.highest);
    const int bytes = std::max(0, (lastColumn - firstColumn + 1) * bpp);

    for (int d = rows.first; d < dh; d += rows.step) {
        // One destination row's vertical taps.
        MakeAxis(bottom + scaleY * d + shift, scaleY, 1, sh, down);
        const int n = down.count[0];
        rowPointers.resize(size_t(n));
        for (int t = 0; t < n; t++) {
            const int r = down.first[0] + t;
            rowPointers[size_t(t)] = (r < 0 || r >= sh) ? greyRow.data() : source->bits + sourceStride * r;
        }
        for (int t = 0; t < n; t++) rowPointers[size_t(t)] += size_t(firstColumn) * bpp;
        if (bytes > 0)
            Vertical(rowPointers.data(), down.weights.data(), n, bytes, line.data() + size_t(firstColumn + 1) * bpp,
                     acc.data());
        uint8_t* out = dest->bits + destStride * d;
#if GS_EXACT_SIMD
        if (avx2) {
            if (bpp == 4)
                HorizontalPairs<4>(line.data(), pairs, dw, out);
            else
                HorizontalPairs<3>(line.data(), pairs, dw, out);
            continue;
        }
#endif
        if (bpp == 4)
            HorizontalRow<4>(line.data(), across, dw, out);
        else
            HorizontalRow<3>(line.data(), across, dw, out);
    }
    return true;
}

// ---------------------------------------------------------------- rotated

struct Vec {
    double x, y;
};

constexpr int kTileColumns = 64;  // destination pixels across a tile at most
constexpr int kTileRows = 16;     // selected destination rows down a tile at most
constexpr double kTileSums = double(1 << 20);  // prefix sums a tile may hold (16 bytes each)
constexpr double kFar = double(1 << 30);  // corners are held within this of the origin

// One picture row as the edge walk reads it: its prefix sums from column c0
// to c1, or none on rows beyond the picture and the tile (the outside colour).
struct RowView {
    const uint32_t* sums = nullptr;
    double c0 = 0, c1 = 0;  // relative columns
};

// The prefix sums of the picture's rows over one tile's footprint. A row
// stores, for its columns c0..c1, the sums of its pixels from c0 up to each
// column (four channels, integers, so that a row's sums are exact); beyond
// them the row continues with the outside colour. Columns and rows are
// counted from the tile's origin (ox, oy), an integer point near the
// footprint, so that positions stay small and precise.
struct PrefixTile {
    long ox = 0, oy = 0;
    double xlo = 0, xhi = 0, ylo = 0, yhi = 0;  // the picture's edges, relative
    int firstRow = 0;                            // relative row of rows[0]
    int sw = 0, sh = 0;                          // the picture
    std::vector<RowView> rows;
    const RowView* rowData = nullptr;  // rows as the edge walk reads them
    double rowCount = 0;
    std::vector<uint32_t> sums;
    std::vector<double> lo, hi;  // room for each row's reach while building
    double grey[4];

    void SetOrigin(double x, double y) {
        ox = long(std::floor(x));
        oy = long(std::floor(y));
        xlo = double(-ox), xhi = double(sw - ox);
        ylo = double(-oy), yhi = double(sh - oy);
    }
};

inline __attribute__((always_inline)) RowView RowAt(const PrefixTile& tile, double y) {
    const double index = std::floor(y) - tile.firstRow;
    if (!(index >= 0 && index < tile.rowCount)) return RowView{};
    return tile.rowData[long(index)];
}

// Four channels of doubles and of 32-bit integers; the compiler keeps them
// in vector registers as wide as the processor it builds for.
typedef double Lanes __attribute__((vector_size(32)));
typedef int32_t IntLanes __attribute__((vector_size(16)));
typedef uint32_t SumLanes __attribute__((vector_size(16)));

inline __attribute__((always_inline)) void LoadSums(const uint32_t* p, Lanes& out) {
    IntLanes v;
    std::memcpy(&v, p, sizeof v);
    out = __builtin_convertvector(v, Lanes);
}

// The integral of the picture along a row from the row's origin to x, for
// each channel: within the stored columns the prefix sums, linear inside a
// pixel; the outside colour beyond them and on rows beyond the picture.
// (The sums stay below 2^31, so they convert as signed.)
inline __attribute__((always_inline)) void RowIntegral(const Lanes& grey, const RowView& r, double x, Lanes& out) {
    if (!r.sums) {
        out = grey * x;
    } else if (x <= r.c0) {
        out = grey * (x - r.c0);
    } else if (x >= r.c1) {
        LoadSums(r.sums + size_t(r.c1 - r.c0) * 4, out);
        out += grey * (x - r.c1);
    } else {
        const double column = std::floor(x);
        const uint32_t* a = r.sums + long(column - r.c0) * 4;
        IntLanes low, high;
        std::memcpy(&low, a, sizeof low);
        std::memcpy(&high, a + 4, sizeof high);
        out = __builtin_convertvector(low, Lanes) + (x - column) * __builtin_convertvector(high - low, Lanes);
    }
}

// Adds the integral of RowIntegral dy along the piece of an edge from
// (xa, ya) to (xb, yb) that lies within one row band. The piece is cut where
// it crosses the columns' edges; on each part the integrand is linear, so
// its value at the part's middle times the part's height is exact.
inline __attribute__((always_inline)) void RowPiece(const PrefixTile& tile, const Lanes& grey, double xa, double ya,
                                                    double xb, double yb, Lanes& sum) {
    const double h = yb - ya;
    if (h == 0.0) return;
    const RowView row = RowAt(tile, (ya + yb) * 0.5);
    const double xMin = std::min(xa, xb), xMax = std::max(xa, xb);
    Lanes value;
    if (!row.sums || std::ceil(xMax) - std::floor(xMin) <= 1.0) {
        // Linear all along (the outside colour, or within one column).
        RowIntegral(grey, row, (xa + xb) * 0.5, value);
        sum += h * value;
        return;
    }
    const double slope = h / (xb - xa);
    const double step = xb > xa ? 1.0 : -1.0;
    // The column lines crossed strictly between the ends.
    double next = xb > xa ? std::floor(xa) + 1 : std::ceil(xa) - 1;
    double last = xb > xa ? std::ceil(xb) - 1 : std::floor(xb) + 1;
    double fx = xa, fy = ya;
    if (xMin > row.c0 && xMax < row.c1) {
        // Within the stored columns all along: each part reads its column.
        for (;; next += step) {
            const bool end = (next - last) * step > 0;
            const double tx = end ? xb : next, ty = end ? yb : ya + (next - xa) * slope;
            const double xm = (fx + tx) * 0.5, column = std::floor(xm);
            const uint32_t* at = row.sums + long(column - row.c0) * 4;
            IntLanes low, high;
            std::memcpy(&low, at, sizeof low);
            std::memcpy(&high, at + 4, sizeof high);
            value = __builtin_convertvector(low, Lanes) + (xm - column) * __builtin_convertvector(high - low, Lanes);
            sum += (ty - fy) * value;
            if (end) break;
            fx = tx, fy = ty;
        }
        return;
    }
    // Beyond the stored columns the integrand is linear: no cuts there.
    if (xb > xa)
        next = std::max(next, row.c0), last = std::min(last, row.c1);
    else
        next = std::min(next, row.c1), last = std::max(last, row.c0);
    for (;; next += step) {
        const bool end = (next - last) * step > 0;
        const double tx = end ? xb : next, ty = end ? yb : ya + (next - xa) * slope;
        RowIntegral(grey, row, (fx + tx) * 0.5, value);
        sum += (ty - fy) * value;
        if (end) break;
        fx = tx, fy = ty;
    }
}

// Stores the line integral of RowIntegral dy along the segment p -> q (tile
// coordinates) in acc: the segment is cut where it crosses a row's edge
// within the picture, and each row's piece is added up by RowPiece.
inline __attribute__((always_inline)) void EdgeIntegral(const PrefixTile& tile, Vec p, Vec q, double* acc) {
    const double dx = q.x - p.x, dy = q.y - p.y;
    Lanes sum = {0.0, 0.0, 0.0, 0.0};
    if (dy != 0.0) {
        Lanes grey;
        std::memcpy(&grey, tile.grey, sizeof grey);
        double next, last, step;
        if (dy > 0) {
            next = std::max(std::floor(p.y) + 1, tile.ylo), last = std::min(std::ceil(q.y) - 1, tile.yhi), step = 1;
        } else {
            next = std::min(std::ceil(p.y) - 1, tile.yhi), last = std::max(std::floor(q.y) + 1, tile.ylo), step = -1;
        }
        const double slope = dx / dy;
        const double xMin = std::min(p.x, q.x), xMax = std::max(p.x, q.x);
        double xa = p.x, ya = p.y;
        for (; (last - next) * step >= 0; next += step) {
            const double xb = std::clamp(p.x + (next - p.y) * slope, xMin, xMax);
            RowPiece(tile, grey, xa, ya, xb, next, sum);
            xa = xb, ya = next;
        }
        RowPiece(tile, grey, xa, ya, q.x, q.y, sum);
    }
    std::memcpy(acc, &sum, sizeof sum);
}

// The prefix rows for the footprint of one tile, whose corners are c[0..3]
// (tile coordinates): the footprint lies within their convex hull, so each
// picture row needs the columns that the six segments between the corners
// reach within it, and one more each side.
template <int Bpp>
inline __attribute__((always_inline)) void BuildTile(const uint8_t* bits, long stride, const Vec c[4], PrefixTile& tile) {
    double minY = c[0].y, maxY = c[0].y;
    for (int i = 1; i < 4; i++) minY = std::min(minY, c[i].y), maxY = std::max(maxY, c[i].y);
    const long first = std::max(0L, long(std::floor(minY)) - 1 + tile.oy);
    const long last = std::min(long(tile.sh) - 1, long(std::floor(maxY)) + 1 + tile.oy);
    tile.firstRow = int(first - tile.oy);
    const int count = int(std::max(0L, last - first + 1));
    std::vector<double>& lo = tile.lo;
    std::vector<double>& hi = tile.hi;
    lo.assign(size_t(count), std::numeric_limits<double>::infinity());
    hi.assign(size_t(count), -std::numeric_limits<double>::infinity());
    for (int a = 0; a < 4; a++)
        for (int b = a + 1; b < 4; b++) {
            const Vec& p = c[a].y <= c[b].y ? c[a] : c[b];
            const Vec& q = c[a].y <= c[b].y ? c[b] : c[a];
            const int r0 = int(std::clamp(std::floor(p.y) - tile.firstRow, 0.0, double(count)));
            const int r1 = int(std::clamp(std::floor(q.y) - tile.firstRow, -1.0, double(count - 1)));
            for (int r = r0; r <= r1; r++) {
                double x0 = p.x, x1 = q.x;
                if (q.y > p.y) {
                    const double y0 = std::max(p.y, double(r + tile.firstRow));
                    const double y1 = std::min(q.y, double(r + tile.firstRow + 1));
                    x0 = p.x + (q.x - p.x) * (y0 - p.y) / (q.y - p.y);
                    x1 = p.x + (q.x - p.x) * (y1 - p.y) / (q.y - p.y);
                }
                lo[size_t(r)] = std::min({lo[size_t(r)], x0, x1});
                hi[size_t(r)] = std::max({hi[size_t(r)], x0, x1});
            }
        }
    tile.rows.resize(size_t(count));
    size_t total = 0;
    const double left = double(-tile.ox), right = double(tile.sw - tile.ox);
    for (int r = 0; r < count; r++) {
        RowView& row = tile.rows[size_t(r)];
        double c0 = left, c1 = left;
        if (lo[size_t(r)] <= hi[size_t(r)]) {
            c0 = std::clamp(std::floor(lo[size_t(r)]) - 1, left, right);
            c1 = std::clamp(std::floor(hi[size_t(r)]) + 2, c0, right);
        }
        row.c0 = c0, row.c1 = c1;
        lo[size_t(r)] = double(total);  // where the row's sums start
        total += size_t(c1 - c0 + 1) * 4;
    }
    tile.sums.resize(total);
    tile.rowData = tile.rows.data();
    tile.rowCount = count;
    for (int r = 0; r < count; r++) {
        RowView& row = tile.rows[size_t(r)];
        uint32_t* out = tile.sums.data() + size_t(lo[size_t(r)]);
        row.sums = out;
        const uint8_t* src = bits + stride * (first + r) + (long(row.c0) + tile.ox) * Bpp;
        SumLanes s = {0, 0, 0, 0};
        std::memcpy(out, &s, sizeof s);
        // Four bytes at a time (for 24 bits the fourth, the next pixel's,
        // is replaced; the row's last pixel is read alone).
        const SumLanes keep = {0xFFu, 0xFFu, 0xFFu, Bpp == 4 ? 0xFFu : 0u};
        const SumLanes opaque = {0, 0, 0, Bpp == 4 ? 0u : 0xFFu};
        const bool little = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
        const SumLanes shifts = little ? SumLanes{0, 8, 16, 24} : SumLanes{24, 16, 8, 0};
        const int width = int(row.c1 - row.c0);
        for (int x = 0; x < width; x++, src += Bpp) {
            out += 4;
            uint32_t word;
            if (Bpp == 4 || x + 1 < width)
                std::memcpy(&word, src, sizeof word);
            else
                word = little ? src[0] | uint32_t(src[1]) << 8 | uint32_t(src[2]) << 16
                              : uint32_t(src[0]) << 24 | uint32_t(src[1]) << 16 | uint32_t(src[2]) << 8;
            const SumLanes spread = {word, word, word, word};
            s += ((spread >> shifts) & keep) | opaque;
            std::memcpy(out, &s, sizeof s);
        }
    }
}

struct RotatedJob {
    CDIB* dest;
    CDIB* source;
    Vec bl, br, tl, tr;  // the camera's corners
    double dw, dh;       // the destination's size
    RowSet rows;
};

struct TileScratch {
    std::vector<Vec> points;
    std::vector<double> edges;
};

// Points of the destination grid on the picture: the bilinear map of the
// camera's corners, held within reach of the picture. RowLine puts the grid
// line at v as its start and its step per column; a point is then
// along[0] + along[1] x u.
inline __attribute__((always_inline)) void RowLine(const RotatedJob& job, double v, Vec along[2]) {
    const double fv = v / job.dh;
    const Vec a{job.bl.x + (job.tl.x - job.bl.x) * fv, job.bl.y + (job.tl.y - job.bl.y) * fv};
    const Vec b{job.br.x + (job.tr.x - job.br.x) * fv, job.br.y + (job.tr.y - job.br.y) * fv};
    along[0] = a;
    along[1] = Vec{(b.x - a.x) / job.dw, (b.y - a.y) / job.dw};
}

inline __attribute__((always_inline)) Vec Place(const Vec along[2], int u) {
    return Vec{std::clamp(along[0].x + along[1].x * u, -kFar, kFar), std::clamp(along[0].y + along[1].y * u, -kFar, kFar)};
}

inline __attribute__((always_inline)) Vec Place(const RotatedJob& job, int u, double v) {
    Vec along[2];
    RowLine(job, v, along);
    return Place(along, u);
}

// The grid points of the tile's columns c0..c0+n at v (tile coordinates),
// and the integrals along the n edges between them.
inline __attribute__((always_inline)) void GridRow(const RotatedJob& job, const PrefixTile& tile, int c0, double v,
                                                   int n, Vec* points, double* edges) {
    Vec along[2];
    RowLine(job, v, along);
    for (int i = 0; i <= n; i++) {
        const Vec p = Place(along, c0 + i);
        points[i] = Vec{p.x - double(tile.ox), p.y - double(tile.oy)};
    }
    for (int i = 0; i < n; i++) EdgeIntegral(tile, points[i], points[i + 1], edges + 4 * i);
}

// Draws one tile: destination columns c0..c1-1 of the selected rows from d0
// to below d1.
template <int Bpp>
inline __attribute__((always_inline)) void TileBody(const RotatedJob& job, int c0, int c1, int d0, int d1,
                                                     PrefixTile& tile, TileScratch& scratch) {
    const int step = job.rows.step;
    const double shift = step == 1 ? 0.5 * job.rows.phase : 0.0;
    auto place = [&](int u, double v) { return Place(job, u, v); };
    const int lastRow = d0 + (d1 - 1 - d0) / step * step;
    const double vBottom = d0 + shift, vTop = lastRow + 1 + shift;
    Vec corner[4] = {place(c0, vBottom), place(c1, vBottom), place(c0, vTop), place(c1, vTop)};
    double minX = corner[0].x, minY = corner[0].y;
    for (int i = 1; i < 4; i++) minX = std::min(minX, corner[i].x), minY = std::min(minY, corner[i].y);
    tile.SetOrigin(minX, minY);
    for (Vec& p : corner) p = Vec{p.x - double(tile.ox), p.y - double(tile.oy)};
    BuildTile<Bpp>(job.source->bits, job.source->GetRowBytes(), corner, tile);

    const int n = c1 - c0;
    scratch.points.resize(size_t(n + 1) * 2);
    scratch.edges.resize(size_t(n + 1) * 12);
    Vec* bottom = scratch.points.data();  // the grid points under and over the row
    Vec* top = bottom + (n + 1);
    double* lower = scratch.edges.data();      // integrals along the bottom edges, 4 a pixel
    double* upper = lower + size_t(n + 1) * 4;  // along the top edges
    double* side = upper + size_t(n + 1) * 4;   // upwards along the edges between columns
    const uint8_t* bits = job.source->bits;
    const long stride = job.source->GetRowBytes();
    const int sw = tile.sw, sh = tile.sh;
    double previousTop = std::numeric_limits<double>::quiet_NaN();
    for (int d = d0; d < d1; d += step) {
        const double v0 = d + shift, v1 = d + 1 + shift;
        if (v0 == previousTop) {
            std::swap(bottom, top);
            std::swap(lower, upper);
        } else {
            GridRow(job, tile, c0, v0, n, bottom, lower);
        }
        GridRow(job, tile, c0, v1, n, top, upper);
        previousTop = v1;
        for (int i = 0; i <= n; i++) EdgeIntegral(tile, bottom[i], top[i], side + 4 * i);
        uint8_t* out = job.dest->bits + job.dest->GetRowBytes() * d + 4 * c0;
        for (int i = 0; i < n; i++, out += 4) {
            const Vec& a = bottom[i];
            const Vec& b = bottom[i + 1];
            const Vec& c = top[i + 1];
            const Vec& e = top[i];
            const double area = 0.5 * ((c.x - a.x) * (e.y - b.y) - (c.y - a.y) * (e.x - b.x));
            if (std::fabs(area) > 1e-10) {
                const double scale = 1.0 / area;
                for (int k = 0; k < Bpp; k++) {
                    const double sum = lower[4 * i + k] + side[4 * (i + 1) + k] - upper[4 * i + k] - side[4 * i + k];
                    const double level = std::floor(sum * scale + 0.5);
                    out[k] = level >= 255.0 ? 255 : level >= 0.0 ? uint8_t(level) : 0;
                }
            } else {
                // No area: the pixel under the footprint's centre.
                const double x = std::floor((a.x + b.x + c.x + e.x) * 0.25) + double(tile.ox);
                const double y = std::floor((a.y + b.y + c.y + e.y) * 0.25) + double(tile.oy);
                const bool inside = x >= 0 && y >= 0 && x < sw && y < sh;
                const uint8_t* p = inside ? bits + stride * long(y) + long(x) * Bpp : nullptr;
                for (int k = 0; k < Bpp; k++) out[k] = inside ? p[k] : uint8_t(tile.grey[k]);
            }
            if (Bpp == 3) out[3] = 0xFF;
        }
    }
}

template <int Bpp>
void TileBase(const RotatedJob& job, int c0, int c1, int d0, int d1, PrefixTile& tile,
              TileScratch& scratch) {
    TileBody<Bpp>(job, c0, c1, d0, d1, tile, scratch);
}

#if GS_EXACT_SIMD
template <int Bpp>
__attribute__((target("avx2"))) void TileAvx2(const RotatedJob& job, int c0, int c1, int d0, int d1,
                                              PrefixTile& tile, TileScratch& scratch) {
    TileBody<Bpp>(job, c0, c1, d0, d1, tile, scratch);
}
#endif

bool ExactRotated(CDIB* dest, CDIB* source, double left, double bottom, double width, double height, float angle,
                  float tilt1, float tilt2, int fieldSelector) {
    const int dw = dest->header->width;
    const int dh = std::abs(dest->header->height);
    // The camera's corners: the trapezoid of the tilts about the centre,
    // rotated, as the kept rotating filter places them.
    const double halfW = width * 0.5, halfH = height * 0.5;
    const double cx = left + halfW, cy = bottom + halfH;
    const double t1 = height * (tilt1 / 90.0f) * 0.25f;
    const double t2 = width * (tilt2 / 90.0f) * 0.25f;
    const double cosA = std::cos(angle * 0.0174532f);
    const double sinA = std::sin(-angle * 0.0174532f);
    auto place = [&](double px, double py) { return Vec{cx + px * cosA - py * sinA, cy + px * sinA + py * cosA}; };
    RotatedJob job{dest,
                   source,
                   place(-halfW + t1, -halfH - t2),
                   place(halfW - t1, -halfH + t2),
                   place(-halfW - t1, halfH + t2),
                   place(halfW + t1, halfH - t2),
                   double(dw),
                   double(dh),
                   SelectorRows(fieldSelector)};
    const int bpp = source->header->bitCount / 8;
    PrefixTile tile;
    tile.sw = source->header->width;
    tile.sh = std::abs(source->header->height);
    for (int k = 0; k < 4; k++) tile.grey[k] = k < 3 ? kGrey : bpp == 4 ? 0.0 : 255.0;
    TileScratch scratch;
    auto draw = [&](int c0, int c1, int d0, int d1) {
#if GS_EXACT_SIMD
        static const bool avx2 = __builtin_cpu_supports("avx2");
        if (avx2) return bpp == 4 ? TileAvx2<4>(job, c0, c1, d0, d1, tile, scratch)
                                  : TileAvx2<3>(job, c0, c1, d0, d1, tile, scratch);
#endif
        bpp == 4 ? TileBase<4>(job, c0, c1, d0, d1, tile, scratch) : TileBase<3>(job, c0, c1, d0, d1, tile, scratch);
    };
    // Tiles shrink where a destination pixel covers much of the picture, so
    // that a tile's sums (at most the square of its footprint's perimeter)
    // stay within kTileSums.
    const int step = job.rows.step;
    auto length = [](const Vec& p, const Vec& q) { return std::hypot(q.x - p.x, q.y - p.y); };
    const double across = std::max(length(job.bl, job.br), length(job.tl, job.tr)) / dw;
    const double down = std::max(length(job.bl, job.tl), length(job.br, job.tr)) / dh * step;
    int columns = kTileColumns, rows = kTileRows;
    auto sums = [&] { return std::pow(columns * across + rows * down + 4.0, 2.0); };
    while (sums() > kTileSums && (columns > 1 || rows > 1)) {
        if (columns * across >= rows * down && columns > 1)
            columns /= 2;
        else if (rows > 1)
            rows /= 2;
        else
            columns /= 2;
    }
    for (int d0 = job.rows.first; d0 < dh; d0 += step * rows) {
        const int d1 = std::min(dh, d0 + step * rows);
        for (int c0 = 0; c0 < dw; c0 += columns) draw(c0, std::min(dw, c0 + columns), d0, d1);
    }
    return true;
}

}  // namespace

bool FilterExact(CDIB* dest, CDIB* source, float left, float bottom, float width, float height, float angle,
                 float tilt1, float tilt2, int fieldSelector) {
    if (!dest || !source || !dest->header || !source->header || !dest->bits || !source->bits) return false;
    const int sourceBits = source->header->bitCount;
    if (dest->header->bitCount != 32 || (sourceBits != 24 && sourceBits != 32)) return false;
    if (!Finite(left) || !Finite(bottom) || !Finite(width) || !Finite(height) || !Finite(angle) ||
        !Finite(tilt1) || !Finite(tilt2) || width < 0 || height < 0)
        return false;
    if (source->header->width <= 0 || source->header->height == 0 || dest->header->width <= 0 ||
        dest->header->height == 0)
        return false;
    // Positions far beyond any picture are held where they still read only
    // the outside colour, so that the integer tables cannot overflow.
    const double bound = double(1 << 28);
    const double l = std::clamp(double(left), -bound, bound), b = std::clamp(double(bottom), -bound, bound);
    const double w = std::min(double(width), bound), h = std::min(double(height), bound);
    if (angle == 0.0f && tilt1 == 0.0f && tilt2 == 0.0f) return ExactAxisAligned(dest, source, l, b, w, h, fieldSelector);
    return ExactRotated(dest, source, l, b, w, h, angle, tilt1, tilt2, fieldSelector);
}
