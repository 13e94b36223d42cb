// SPDX-License-Identifier: GPL-2.0-or-later
// The exact area filter (see Resample.h).
//
// Axis-aligned cameras: along each axis a destination pixel covers the span
// [start + i x scale, start + (i + 1) x scale] of source pixels; every source
// pixel it touches gets the covered fraction of the span as its weight, in
// 1/16384 steps taken from a rounded running total so that the weights of one
// pixel add up to exactly 16384. Everything left of or below the picture is
// one outside pixel, everything right of or above it another. The vertical
// pass sums the rows into a line of 16-bit values (8 fraction bits), the
// horizontal pass sums the line into the destination pixel; the sums stay
// within 31 bits and each is rounded once. A flat colour g sums to exactly
// g x 2^21 and comes out as g. The line's values have 7 fraction bits, so
// that they fit signed 16 bits and the horizontal pass can take two taps of
// a pixel per multiply-add (AVX2 processors; a plain loop elsewhere).
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

// Vertical pass over `bytes` bytes: sum of the rows times their weights, as
// 16-bit values with 7 fraction bits. Built for AVX2 and for the baseline.
inline __attribute__((always_inline)) void VerticalBody(const uint8_t* const* rows, const int32_t* weights,
                                                        int count, int bytes, uint16_t* __restrict out,
                                                        uint32_t* __restrict acc) {
    constexpr int kChunk = 2048;
    for (int b0 = 0; b0 < bytes; b0 += kChunk) {
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
    VerticalBody(rows, weights, count, bytes, out, acc);
}

#if defined(__GNUC__) && defined(__x86_64__) && !defined(GS_RESAMPLE_PLAIN)
__attribute__((target("avx2"))) void VerticalAvx2(const uint8_t* const* rows, const int32_t* weights, int count,
                                                  int bytes, uint16_t* out, uint32_t* acc) {
    VerticalBody(rows, weights, count, bytes, out, acc);
}
void Vertical(const uint8_t* const* rows, const int32_t* weights, int count, int bytes, uint16_t* out,
              uint32_t* acc) {
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if (avx2) return VerticalAvx2(rows, weights, count, bytes, out, acc);
    VerticalBase(rows, weights, count, bytes, out, acc);
}
#else
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

#if defined(__GNUC__) && defined(__x86_64__) && !defined(GS_RESAMPLE_PLAIN)
#define GS_EXACT_SIMD 1
#include <immintrin.h>

// The horizontal taps two at a time: per column its pairs of weights, each
// pair repeated for the four channels (w0 w1 w0 w1 ...); an odd last tap is
// paired with a zero weight.
struct PairTable {
    std::vector<int> at, pairs;
    std::vector<int16_t> weights;
};

void MakePairs(const AxisTaps& taps, int width, PairTable& table) {
    table.at.resize(size_t(width));
    table.pairs.resize(size_t(width));
    table.weights.clear();
    for (int c = 0; c < width; c++) {
        const int n = taps.count[size_t(c)];
        const int32_t* w = taps.weights.data() + taps.weightAt[size_t(c)];
        table.at[size_t(c)] = int(table.weights.size());
        table.pairs[size_t(c)] = (n + 1) / 2;
        for (int t = 0; t < n; t += 2)
            for (int k = 0; k < 4; k++) {
                table.weights.push_back(int16_t(w[t]));
                table.weights.push_back(int16_t(t + 1 < n ? w[t + 1] : 0));
            }
    }
}

template <int Bpp>
__attribute__((target("avx2"))) void HorizontalPairs(const uint16_t* line, const AxisTaps& taps,
                                                     const PairTable& table, int width, uint8_t* out) {
    // Two neighbouring line pixels, interleaved channel by channel.
    const __m128i spread = Bpp == 4 ? _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15)
                                    : _mm_setr_epi8(0, 1, 6, 7, 2, 3, 8, 9, 4, 5, 10, 11, -1, -1, -1, -1);
    const __m128i opaque = _mm_set1_epi32(Bpp == 4 ? 0 : int(0xFF000000u));
    for (int c = 0; c < width; c++) {
        const uint16_t* p = line + size_t(taps.first[size_t(c)] + 1) * Bpp;
        const int16_t* w = table.weights.data() + table.at[size_t(c)];
        __m128i sum = _mm_set1_epi32(1 << 20);
        for (int k = 0; k < table.pairs[size_t(c)]; k++, p += 2 * Bpp, w += 8) {
            const __m128i v = _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), spread);
            sum = _mm_add_epi32(sum, _mm_madd_epi16(v, _mm_loadu_si128(reinterpret_cast<const __m128i*>(w))));
        }
        const __m128i words = _mm_packus_epi32(_mm_srli_epi32(sum, 21), sum);
        const __m128i bytes = _mm_or_si128(_mm_packus_epi16(words, words), opaque);
        const int32_t pixel = _mm_cvtsi128_si32(bytes);
        std::memcpy(out + 4 * c, &pixel, 4);
    }
}
#else
#define GS_EXACT_SIMD 0
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
    if (avx2) MakePairs(across, dw, pairs);
#endif
    AxisTaps down;

    // The outside pixel as source bytes (a row of it stands for the rows
    // beyond the picture) and as line values.
    const uint8_t outsideAlpha = bpp == 4 ? 0 : 0xFF;
    std::vector<uint8_t> greyRow(size_t(sw) * bpp);
    for (int x = 0; x < sw; x++)
        for (int k = 0; k < bpp; k++) greyRow[size_t(x) * bpp + k] = k == 3 ? outsideAlpha : kGrey;
    std::vector<uint16_t> line(size_t(sw + 3) * bpp + 64, 0);
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
                HorizontalPairs<4>(line.data(), across, pairs, dw, out);
            else
                HorizontalPairs<3>(line.data(), across, pairs, dw, out);
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
