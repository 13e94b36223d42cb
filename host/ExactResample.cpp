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
// Rotated or tilted cameras: each destination pixel averages m x n samples
// spread evenly over its footprint on the picture (m and n chosen so that the
// samples lie at most half a source pixel apart); each sample is the exact
// average over a small axis-aligned box of its share of the footprint's
// area, in integers whose weights add up exactly, so that a flat colour stays
// flat here too.
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
constexpr int kMaxRotSamples = 16;  // per axis and destination pixel
constexpr double kSamplesPerPixel = 2.0;  // samples per source pixel across a footprint

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

// The average over a small axis-aligned box (side `box`, at most one pixel)
// centred at (x, y) in pixel-edge coordinates (pixel i spans i..i+1): it
// reaches at most two pixels each way, weighted by the box's overlap with
// them in 1/256 steps, so 16 fraction bits a channel. A box of one pixel is
// the bilinear tent; a smaller one comes closer to the pixel under its centre.
template <int Bpp>
inline void Sample(const uint8_t* bits, long stride, int sw, int sh, double x, double y, double box,
                   const uint8_t* outside, uint64_t* sum) {
    const double half = box * 0.5;
    const double lx = std::clamp(x - half, -4.0, double(sw) + 4.0);
    const double ly = std::clamp(y - half, -4.0, double(sh) + 4.0);
    const double flx = std::floor(lx), fly = std::floor(ly);
    const int ix = int(flx), iy = int(fly);
    // The share of the box in the second pixel of each axis.
    const uint32_t wx = uint32_t(std::clamp((lx + box - (flx + 1.0)) / box, 0.0, 1.0) * 256.0);
    const uint32_t wy = uint32_t(std::clamp((ly + box - (fly + 1.0)) / box, 0.0, 1.0) * 256.0);
    auto at = [&](int px, int py) -> const uint8_t* {
        if (px < 0 || py < 0 || px >= sw || py >= sh) return outside;
        return bits + stride * py + long(px) * Bpp;
    };
    const uint8_t* p00 = at(ix, iy);
    const uint8_t* p10 = at(ix + 1, iy);
    const uint8_t* p01 = at(ix, iy + 1);
    const uint8_t* p11 = at(ix + 1, iy + 1);
    for (int k = 0; k < Bpp; k++) {
        const uint32_t low = p00[k] * (256 - wx) + p10[k] * wx;
        const uint32_t high = p01[k] * (256 - wx) + p11[k] * wx;
        sum[k] += low * (256 - wy) + high * wy;
    }
}

template <int Bpp>
void RotatedRows(CDIB* dest, CDIB* source, const Vec corners[4], int m, int n, double box, const RowSet& rows) {
    const int sw = source->header->width;
    const int sh = std::abs(source->header->height);
    const int dw = dest->header->width;
    const int dh = std::abs(dest->header->height);
    const long sourceStride = source->GetRowBytes();
    const long destStride = dest->GetRowBytes();
    const uint8_t outside[4] = {kGrey, kGrey, kGrey, uint8_t(Bpp == 4 ? 0 : 0xFF)};
    const Vec& bl = corners[0];
    const Vec& br = corners[1];
    const Vec& tl = corners[2];
    const Vec& tr = corners[3];
    const double rowShift = rows.step == 1 ? 0.5 * rows.phase : 0.0;
    const uint64_t total = uint64_t(m) * uint64_t(n) * 65536u;
    std::vector<uint64_t> sums(size_t(dw) * 4);
    for (int d = rows.first; d < dh; d += rows.step) {
        std::fill(sums.begin(), sums.end(), 0);
        for (int j = 0; j < n; j++) {
            const double v = (d + rowShift + (j + 0.5) / n) / dh;
            const Vec a{bl.x + (tl.x - bl.x) * v, bl.y + (tl.y - bl.y) * v};
            const Vec b{br.x + (tr.x - br.x) * v, br.y + (tr.y - br.y) * v};
            const double stepX = (b.x - a.x) / dw, stepY = (b.y - a.y) / dw;
            for (int c = 0; c < dw; c++) {
                uint64_t* sum = &sums[size_t(c) * 4];
                for (int i = 0; i < m; i++) {
                    const double u = c + (i + 0.5) / m;
                    Sample<Bpp>(source->bits, sourceStride, sw, sh, a.x + stepX * u, a.y + stepY * u, box, outside,
                                sum);
                }
            }
        }
        uint8_t* out = dest->bits + destStride * d;
        for (int c = 0; c < dw; c++) {
            for (int k = 0; k < Bpp; k++) out[4 * c + k] = uint8_t((sums[size_t(c) * 4 + k] + total / 2) / total);
            if (Bpp == 3) out[4 * c + 3] = 0xFF;
        }
    }
}

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
    const Vec corners[4] = {place(-halfW + t1, -halfH - t2), place(halfW - t1, -halfH + t2),
                            place(-halfW - t1, halfH + t2), place(halfW + t1, halfH - t2)};
    auto length = [](const Vec& p, const Vec& q) { return std::hypot(q.x - p.x, q.y - p.y); };
    const double across = std::max(length(corners[0], corners[1]), length(corners[2], corners[3])) / dw;
    const double down = std::max(length(corners[0], corners[2]), length(corners[1], corners[3])) / dh;
    auto samples = [](double span) {
        return int(std::clamp(std::ceil(std::min(span, 1e6) * kSamplesPerPixel), 1.0, double(kMaxRotSamples)));
    };
    const RowSet rows = SelectorRows(fieldSelector);
    const int m = samples(across), n = samples(down);
    // Each sample stands for a box of the area of its share of the footprint.
    const Vec u{(corners[1].x - corners[0].x) / dw, (corners[1].y - corners[0].y) / dw};
    const Vec v{(corners[2].x - corners[0].x) / dh, (corners[2].y - corners[0].y) / dh};
    const double share = std::fabs(u.x * v.y - u.y * v.x) / (double(m) * n);
    const double box = std::clamp(std::sqrt(share), 1e-6, 1.0);
    if (source->header->bitCount == 32)
        RotatedRows<4>(dest, source, corners, m, n, box, rows);
    else
        RotatedRows<3>(dest, source, corners, m, n, box, rows);
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
