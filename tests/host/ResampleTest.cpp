// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "host/Resample.h"
#include "image/CDIB.h"
#include "platform/Env.h"
#include "platform/Worker.h"

namespace {

// ------------------------------------------------------------------ helpers

uint8_t* Pixel(CDIB& dib, int x, int row) {
    return dib.bits + dib.GetRowBytes() * row + x * (dib.GetBitCount() / 8);
}

void FillRandom(CDIB& dib, std::mt19937& rng) {
    std::uniform_int_distribution<int> byte(0, 255);
    const long total = dib.GetRowBytes() * dib.GetHgt();
    for (long i = 0; i < total; ++i) dib.bits[i] = uint8_t(byte(rng));
}

std::vector<uint8_t> Bytes(CDIB& dib) {
    return std::vector<uint8_t>(dib.bits, dib.bits + dib.GetRowBytes() * dib.GetHgt());
}

std::vector<uint8_t> Row(CDIB& dib, int row) {
    return std::vector<uint8_t>(dib.GetBitsAdd(row), dib.GetBitsAdd(row) + dib.GetRowBytes());
}

struct Shot {
    float left, bottom, width, height;
    int part, quality, field, offset;
};

// The area filter written out plainly, straight from its definition: no
// tables beyond the column list, no vectors, one byte at a time.
void ReferenceCrop(CDIB& dst, CDIB& src, const Shot& s) {
    const int bpp = src.GetBitCount() / 8;
    const int sw = int(src.GetWid()), sh = int(src.GetHgt());
    const int dw = int(dst.GetWid()), dh = int(dst.GetHgt());
    const float sx = s.width / float(dw), sy = s.height / float(dh);
    const int step = s.field / 10 + 1, phase = s.field % 10;
    int first = 0, end = dh;
    if (s.part == 1) end = dh / 2 + 1;
    if (s.part == 2) first = dh / 2 + s.offset;
    float shift = 0;
    if (step == 2)
        while ((first % 2 + 2) % 2 != phase) ++first;  // the field's own rows
    else
        shift = float(phase) * sy * 0.5f;
    while (first < 0) first += step;
    end = std::min(end, dh);

    // The line: one source row, then grey pixels; the outside pixel follows the row.
    std::vector<uint8_t> line(size_t(bpp * sw + dw * 7 + 128 + bpp * int(sx + 8)), 0x11);
    if (bpp == 4)
        for (size_t i = 3; i < line.size(); i += 4) line[i] = 0;
    const int outsidePixel = bpp * sw;

    struct Col { int start, lw, rw, count, div; };
    std::vector<Col> cols(static_cast<size_t>(dw));
    float x = s.left;
    for (int c = 0; c < dw; ++c) {
        const float x1 = x + sx;
        const int i0 = int(x), i1 = int(x1), count = i1 - i0;
        Col& col = cols[size_t(c)];
        col.count = count;
        col.start = (i0 < 0 || i0 >= sw - count) ? outsidePixel : i0 * bpp;
        col.lw = int((1 - (x - float(i0))) * 256);
        col.rw = int((x1 - float(i1)) * 256);
        col.div = uint16_t(col.lw + col.rw + count * 256);
        x += sx;
    }
    const int c0 = bpp * std::max(0, int(s.left));
    const int c1 = std::min(int(s.width + s.left + 16), sw - 1);

    for (int d = first; d < end; d += step) {
        float y = s.bottom + sy * float(d);
        y += shift;
        const float y1 = y + sy;
        const int r0 = int(y), r1 = int(y1), n = r1 - r0;
        uint8_t* out = dst.GetBitsAdd(d);
        if (r0 < 0 || r0 >= sh - n - 1 || int(s.left) >= sw) {
            std::fill(line.begin(), line.end(), 0x11);
            if (bpp == 4)
                for (size_t i = 3; i < line.size(); i += 4) line[i] = 0;
        } else if (s.quality <= 50) {
            float wx = s.left;
            for (int c = 0; c < dw; ++c, wx += sx) {
                uint8_t* o = out + 4 * c;
                if (wx >= 0 && wx < float(sw)) {
                    const uint8_t* p = src.GetBitsAdd(r0) + int(wx) * bpp;
                    o[0] = p[0], o[1] = p[1], o[2] = p[2], o[3] = bpp == 4 ? p[3] : 0xFF;
                } else {
                    o[0] = o[1] = o[2] = 0x11, o[3] = bpp == 4 ? 0 : 0xFF;
                }
            }
            continue;
        } else {
            const int tw = int((1 - (y - float(r0))) * 256);
            const int bw = int((y1 - float(r1)) * 256);
            const int div = bw + tw + std::max(0, n * 256 - 256);
            const uint32_t recip = div ? uint32_t(0x100000 / div) : 0;
            for (int b = c0; b < bpp * (c1 + 1); ++b) {
                uint32_t sum = uint32_t(src.GetBitsAdd(r0)[b]) * uint32_t(tw);
                for (int k = 1; k < n; ++k) sum += uint32_t(src.GetBitsAdd(r0 + k)[b]) * 256u;
                sum += uint32_t(src.GetBitsAdd(r0 + n)[b]) * uint32_t(bw);
                line[size_t(b)] = uint8_t((recip * sum) >> 20);
            }
        }
        for (int c = 0; c < dw; ++c) {
            const Col& col = cols[size_t(c)];
            const uint32_t recip = col.div ? uint32_t(0x100000 / col.div) : 0;
            for (int ch = 0; ch < bpp; ++ch) {
                const uint8_t* p = &line[size_t(col.start + ch)];
                uint32_t sum = uint32_t(p[0]) * uint32_t(col.lw);
                for (int k = 1; k <= col.count; ++k) sum += uint32_t(p[k * bpp]) * 256u;
                sum += uint32_t(p[(col.count + 1) * bpp]) * uint32_t(col.rw);
                out[4 * c + ch] = uint8_t((recip * sum) >> 20);
            }
            if (bpp == 3) out[4 * c + 3] = 0xFF;
        }
    }
}

Shot RandomShot(std::mt19937& rng, int sw, int sh) {
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    Shot s{};
    s.width = unit(rng) < 0.25f ? unit(rng) * 0.5f * sw : unit(rng) * 2.5f * sw;
    s.height = unit(rng) < 0.25f ? unit(rng) * 0.5f * sh : unit(rng) * 2.5f * sh;
    s.left = (unit(rng) * 1.4f - 0.3f) * sw;
    s.bottom = (unit(rng) * 1.4f - 0.3f) * sh;
    if (unit(rng) < 0.2f) s.left = std::floor(s.left), s.bottom = std::floor(s.bottom);
    const int qualities[] = {0, 50, 51, 100};
    const int fields[] = {0, 0, 10, 11, 1};
    s.quality = qualities[rng() % 4];
    s.field = fields[rng() % 5];
    s.part = int(rng() % 3);
    s.offset = int(rng() % 7) - 3;
    return s;
}

// Everything that a test changes in the process-wide state, put back afterwards.
struct MultiProcState {
    int multi = gMultiProcess, can = gCanMultiProcess, offset = gMultiProcOffset;
    ~MultiProcState() {
        CloseMP();
        gMultiProcess = multi, gCanMultiProcess = can, gMultiProcOffset = offset;
    }
};

// A picture whose values vary smoothly, for comparisons between filters.
void FillSmooth(CDIB& dib) {
    const int bpp = dib.GetBitCount() / 8;
    for (int y = 0; y < dib.GetHgt(); ++y)
        for (int x = 0; x < dib.GetWid(); ++x) {
            uint8_t* p = Pixel(dib, x, y);
            p[0] = uint8_t(128 + 100 * std::sin(x * 0.05));
            p[1] = uint8_t(128 + 100 * std::cos(y * 0.07));
            p[2] = uint8_t(128 + 90 * std::sin((x + y) * 0.03));
            if (bpp == 4) p[3] = 255;
        }
}

// Centroid of how much brighter than the background each pixel's blue is.
void Centroid(CDIB& dib, double background, double* cx, double* cy) {
    double sum = 0, sx = 0, sy = 0;
    for (int y = 0; y < dib.GetHgt(); ++y)
        for (int x = 0; x < dib.GetWid(); ++x) {
            const double w = std::max(0.0, Pixel(dib, x, y)[0] - background);
            sum += w, sx += w * x, sy += w * y;
        }
    *cx = sx / sum, *cy = sy / sum;
}

void FillDot(CDIB& dib, double cx, double cy, double sigma) {
    const int bpp = dib.GetBitCount() / 8;
    for (int y = 0; y < dib.GetHgt(); ++y)
        for (int x = 0; x < dib.GetWid(); ++x) {
            const double r2 = (x + 0.5 - cx) * (x + 0.5 - cx) + (y + 0.5 - cy) * (y + 0.5 - cy);
            const uint8_t v = uint8_t(40 + std::lround(200 * std::exp(-r2 / (2 * sigma * sigma))));
            uint8_t* p = Pixel(dib, x, y);
            p[0] = p[1] = p[2] = v;
            if (bpp == 4) p[3] = 255;
        }
}

// ------------------------------------------------------------------ area filter

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr int kTrials = 500;  // unoptimised and instrumented: fewer cameras
#else
constexpr int kTrials = 2500;
#endif

TEST(AreaFilter, MatchesThePlainDefinitionOnRandomCameras) {
    std::mt19937 rng(20240517);
    MultiProcState keep;
    for (int trial = 0; trial < kTrials; ++trial) {
        const int depth = trial % 2 ? 24 : 32;
        const int sw = 1 + int(rng() % (trial % 10 == 0 ? 400 : 90));
        const int sh = 1 + int(rng() % 90);
        const int dw = 1 + int(rng() % 70), dh = 1 + int(rng() % 70);
        CDIB src(sw, sh, depth), fast(dw, dh, 32), plain(dw, dh, 32);
        FillRandom(src, rng);
        FillRandom(fast, rng);
        std::memcpy(plain.bits, fast.bits, size_t(fast.GetRowBytes() * dh));
        Shot s = RandomShot(rng, sw, sh);
        if (trial % 8 == 0) {
            // Whole rows a destination row (1 to 4): top weight 256, bottom weight 0.
            s.height = float(dh * (1 + trial / 8 % 4));
            s.bottom = std::floor(s.bottom);
        }
        gMultiProcOffset = s.offset;
        ASSERT_TRUE(fast.FilterCrop(&src, s.left, s.bottom, s.width, s.height, 0, 0, 0, s.part, s.quality, s.field));
        ReferenceCrop(plain, src, s);
        ASSERT_EQ(Bytes(fast), Bytes(plain))
            << "trial " << trial << ": " << sw << "x" << sh << "x" << depth << " -> " << dw << "x" << dh
            << " camera " << s.left << "," << s.bottom << " " << s.width << "x" << s.height << " part " << s.part
            << " quality " << s.quality << " field " << s.field << " offset " << s.offset;
    }
}

TEST(AreaFilter, OutsideThePictureIsGreyWithTheDepthsAlpha) {
    for (int depth : {24, 32}) {
        const uint8_t outsideAlpha = depth == 32 ? 0 : 0xFF;
        CDIB src(40, 30, depth), dst(40, 30, 32);
        std::mt19937 rng(depth);
        FillRandom(src, rng);
        for (int quality : {0, 100}) {
            // One-to-one scale, 10 pixels off the left edge and 5 rows below the bottom.
            std::memset(dst.bits, 0x77, size_t(dst.GetRowBytes() * 30));
            ASSERT_TRUE(dst.FilterCrop(&src, -10, -5, 40, 30, 0, 0, 0, 0, quality, 0));
            for (int y = 0; y < 30; ++y)
                for (int x = 0; x < 40; ++x) {
                    const uint8_t* p = Pixel(dst, x, y);
                    if (x < 10 || y < 5) {
                        ASSERT_EQ(p[0], 0x11) << x << "," << y << " depth " << depth << " quality " << quality;
                        EXPECT_EQ(p[1], 0x11);
                        EXPECT_EQ(p[2], 0x11);
                        EXPECT_EQ(p[3], outsideAlpha);
                    } else if (depth == 24) {
                        EXPECT_EQ(p[3], 0xFF);  // every pixel of a 24-bit picture is opaque
                    }
                }
            // Inside, the fast path copies the pixel under the camera's left edge.
            if (quality == 0) {
                EXPECT_EQ(0, std::memcmp(Pixel(dst, 20, 12), Pixel(src, 10, 7), 3));
            }
        }
        // The top source row is never read, so a camera over the whole picture
        // gives grey on its last destination row.
        ASSERT_TRUE(dst.FilterCrop(&src, 0, 0, 40, 30, 0, 0, 0, 0, 100, 0));
        EXPECT_EQ(Pixel(dst, 5, 29)[1], 0x11);
        EXPECT_NE(Row(dst, 27), Row(dst, 29));
    }
}

TEST(AreaFilter, MagnifyingBlendsNeighboursAcrossAndRepeatsRows) {
    CDIB src(6, 6, 32), dst(16, 8, 32);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 6; ++x) {
            uint8_t* p = Pixel(src, x, y);
            p[0] = p[1] = p[2] = uint8_t(40 * x + 10);
            p[3] = uint8_t(100 + 10 * y);
        }
    // Four destination pixels a source pixel both ways.
    ASSERT_TRUE(dst.FilterCrop(&src, 1, 1, 4, 2, 0, 0, 0, 0, 100, 0));
    // Rows whose span stays inside one source row repeat it; the fourth span
    // ends on the next row's edge and takes a different reciprocal (+1 at most).
    for (int d = 1; d < 3; ++d) EXPECT_EQ(Row(dst, d), Row(dst, 0)) << "rows under one source row repeat";
    for (int c = 0; c < 16; ++c)
        for (int k = 0; k < 4; ++k) EXPECT_LE(Pixel(dst, c, 3)[k] - Pixel(dst, c, 0)[k], 1);
    EXPECT_GT(Pixel(dst, 0, 4)[3], Pixel(dst, 0, 0)[3] + 5) << "the next source row's alpha";
    // Across, each pixel mixes source column i0 with i0 + 1, more of the right
    // one as x grows: the values rise and stay between the two.
    for (int c = 0; c + 1 < 16; ++c) {
        const int i0 = 1 + c / 4;
        const uint8_t v = Pixel(dst, c, 0)[0];
        EXPECT_GE(v, 40 * i0 + 10 - 2) << c;
        EXPECT_LE(v, 40 * (i0 + 1) + 10) << c;
        if (c % 4 != 3) {
            EXPECT_LT(v, Pixel(dst, c + 1, 0)[0]) << c;
        }
    }
    // Hand-worked: x = 1.0, x1 = 1.25: weights 256 and 64 over 320; the line
    // holds 49 and 89 (50 and 90 each lose one to the reciprocal); 25 / 128.
    const uint32_t recip = 0x100000 / 320;
    EXPECT_EQ(Pixel(dst, 0, 0)[0], (recip * (49u * 256 + 89u * 64)) >> 20);
    EXPECT_EQ(Pixel(dst, 0, 0)[0], 56);
}

TEST(AreaFilter, FieldSelectorsDrawOnlyTheirRows) {
    CDIB src(50, 40, 24), dst(30, 20, 32), full(30, 20, 32);
    std::mt19937 rng(7);
    FillRandom(src, rng);
    ASSERT_TRUE(full.FilterCrop(&src, 3.5f, 2.25f, 40, 30, 0, 0, 0, 0, 100, 0));
    for (int field : {10, 11}) {
        std::memset(dst.bits, 0x5A, size_t(dst.GetRowBytes() * 20));
        ASSERT_TRUE(dst.FilterCrop(&src, 3.5f, 2.25f, 40, 30, 0, 0, 0, 0, 100, field));
        for (int d = 0; d < 20; ++d) {
            if (d % 2 == field - 10)
                EXPECT_EQ(Row(dst, d), Row(full, d)) << "field " << field << " row " << d;
            else
                EXPECT_EQ(Row(dst, d), std::vector<uint8_t>(size_t(dst.GetRowBytes()), 0x5A)) << d;
        }
    }
    // Selector 1 draws every row, half a destination row further up the source.
    ASSERT_TRUE(dst.FilterCrop(&src, 3.5f, 2.25f, 40, 30, 0, 0, 0, 0, 100, 1));
    CDIB shifted(30, 20, 32);
    ASSERT_TRUE(shifted.FilterCrop(&src, 3.5f, 2.25f + 0.75f, 40, 30, 0, 0, 0, 0, 100, 0));
    EXPECT_EQ(Bytes(dst), Bytes(shifted));
}

// ------------------------------------------------------------------ bands and worker

TEST(Bands, TwoBandsMakeTheSamePictureAsOnePass) {
    MultiProcState keep;
    std::mt19937 rng(99);
    // Heights whose half is even and odd (24: 12, 26: 13, NTSC 486: 243).
    for (int height : {24, 26, 486})
        for (int depth : {24, 32})
            for (int offset : {0, -1, -4}) {
                gMultiProcOffset = offset;
                for (int field : {0, 10, 11}) {
                    CDIB src(64, 48, depth), one(37, height, 32), two(37, height, 32);
                    FillRandom(src, rng);
                    for (int useRotation : {0, 1}) {
                        src.useRotation = useRotation;
                        std::memset(one.bits, 0x5A, size_t(one.GetRowBytes() * height));
                        std::memset(two.bits, 0x5A, size_t(two.GetRowBytes() * height));
                        ASSERT_TRUE(one.FilterCrop(&src, 5.3f, 4.1f, 50, 33, 7, 0, 0, 0, 100, field));
                        ASSERT_TRUE(two.FilterCrop(&src, 5.3f, 4.1f, 50, 33, 7, 0, 0, 1, 100, field));
                        ASSERT_TRUE(two.FilterCrop(&src, 5.3f, 4.1f, 50, 33, 7, 0, 0, 2, 100, field));
                        EXPECT_EQ(Bytes(one), Bytes(two))
                            << "height " << height << " depth " << depth << " offset " << offset << " field " << field;
                    }
                }
            }
    // A positive offset leaves rows H / 2 + 1 .. H / 2 + offset to nobody.
    gMultiProcOffset = 2;
    CDIB src(64, 48, 24), two(37, 24, 32);
    FillRandom(src, rng);
    std::memset(two.bits, 0x5A, size_t(two.GetRowBytes() * 24));
    two.FilterCrop(&src, 5, 4, 50, 33, 0, 0, 0, 1, 100, 0);
    two.FilterCrop(&src, 5, 4, 50, 33, 0, 0, 0, 2, 100, 0);
    const std::vector<uint8_t> untouched(size_t(two.GetRowBytes()), 0x5A);
    for (int d = 0; d < 24; ++d) EXPECT_EQ(Row(two, d) == untouched, d == 13) << d;
}

TEST(Bands, WorkerDrawsTheFirstBandOfFilterCropMulti) {
    MultiProcState keep;
    gMultiProcess = 1;
    gCanMultiProcess = 0;
    std::mt19937 rng(5);
    CDIB src(300, 200, 32), single(160, 90, 32), multi(160, 90, 32);
    FillRandom(src, rng);

    // "MultiProcess" on but no worker: the caller draws every row itself.
    ASSERT_TRUE(single.FilterCrop(&src, 10.5f, 20.25f, 250, 140, 0, 0, 0, 0, 100, 0));
    ASSERT_TRUE(multi.FilterCropMulti(&src, 10.5f, 20.25f, 250, 140, 0, 0, 0, 100, 0));
    EXPECT_EQ(Bytes(single), Bytes(multi));

    if (!StartMP()) GTEST_SKIP() << "one processor: no worker";
    gCanMultiProcess = 1;
    ASSERT_NE(gTaskData, nullptr);
    for (int offset : {0, -3, 3})
        for (int field : {0, 10, 11})
            for (int rotate : {0, 1})
                for (int depth : {24, 32}) {
                    CDIB pic(300, 200, depth);
                    FillRandom(pic, rng);
                    pic.useRotation = rotate;
                    gMultiProcOffset = offset;
                    FillRandom(single, rng);
                    std::memcpy(multi.bits, single.bits, size_t(single.GetRowBytes() * 90));
                    const float angle = rotate ? 12.0f : 0.0f;
                    single.FilterCrop(&pic, 10.5f, 20.25f, 250, 140, angle, 0, 0, 1, 100, field);
                    single.FilterCrop(&pic, 10.5f, 20.25f, 250, 140, angle, 0, 0, 2, 100, field);
                    ASSERT_TRUE(multi.FilterCropMulti(&pic, 10.5f, 20.25f, 250, 140, angle, 0, 0, 100, field));
                    EXPECT_EQ(Bytes(single), Bytes(multi))
                        << "offset " << offset << " field " << field << " rotate " << rotate << " depth " << depth;
                }
    CloseMP();
    EXPECT_EQ(gTaskData, nullptr);
}

TEST(Bands, WorkerRunsJobsOnItsOwnCopy) {
    MultiProcState keep;
    unsigned char block[kFilterJobBlockBytes] = {};
    EXPECT_EQ(_beginthread(mfThreadFunc, 0, block), 0) << "no worker, no job";
    Sleep(0);  // returns at once without a worker
    if (!StartMP()) GTEST_SKIP() << "one processor: no worker";
    EXPECT_EQ(StartMP(), 1) << "starting twice keeps the one worker";

    static int seen;
    static unsigned char copy[kMPJobBytes];
    auto job = [](void* b) {
        seen = static_cast<unsigned char*>(b)[0] + static_cast<unsigned char*>(b)[kMPJobBytes - 1];
        std::memcpy(copy, b, kMPJobBytes);
        static_cast<unsigned char*>(b)[0] = 0;
    };
    for (int i = 1; i <= 20; ++i) {
        block[0] = uint8_t(i);
        block[kMPJobBytes - 1] = 100;
        block[kMPJobBytes] = 0xEE;  // the 256th byte does not travel
        ASSERT_EQ(_beginthread(job, 7, block), 1);
        Sleep(0);
        EXPECT_EQ(seen, i + 100);
        EXPECT_EQ(block[0], i) << "the worker writes to its copy, not to the caller's block";
        EXPECT_EQ(gTaskData->argument, 7);
    }

    // The filter job clears its busy word on the worker's copy only.
    CDIB src(20, 20, 24), dst(10, 10, 32);
    FilterJob fj{};
    fj.source = &src, fj.destination = &dst, fj.width = 20, fj.height = 20;
    fj.part = 1, fj.quality = 100, fj.busy = 1, fj.stopRow = 1 << 30;
    std::memcpy(block, &fj, sizeof fj);
    auto spy = [](void* b) {
        mfThreadFunc(b);
        std::memcpy(copy, b, sizeof(FilterJob));
    };
    ASSERT_EQ(_beginthread(spy, 0, block), 1);
    Sleep(0);
    FilterJob after;
    std::memcpy(&after, copy, sizeof after);
    EXPECT_EQ(after.busy, 0);
    std::memcpy(&after, block, sizeof after);
    EXPECT_EQ(after.busy, 1);
    CloseMP();
    EXPECT_EQ(gTaskData, nullptr);
    CloseMP();  // safe to repeat
}

// ------------------------------------------------------------------ rotating filter

TEST(RotatingFilter, AtZeroDegreesItHasTheAreaFiltersFootprint) {
    for (int depth : {24, 32}) {
        CDIB src(200, 150, depth), area(90, 60, 32), rot(90, 60, 32);
        FillDot(src, 93.3, 71.8, 2.5);
        for (float scale : {0.7f, 1.5f, 1.9f}) {
            const float left = 100 - 45 * scale, bottom = 75 - 30 * scale;
            src.useRotation = 0;
            ASSERT_TRUE(area.FilterCrop(&src, left, bottom, 90 * scale, 60 * scale, 0, 0, 0, 0, 100, 0));
            src.useRotation = 1;
            ASSERT_TRUE(rot.FilterCrop(&src, left, bottom, 90 * scale, 60 * scale, 0, 0, 0, 0, 100, 0));
            double ax, ay, rx, ry;
            Centroid(area, 40, &ax, &ay);
            Centroid(rot, 40, &rx, &ry);
            EXPECT_NEAR(ax, rx, 0.08) << "scale " << scale;
            EXPECT_NEAR(ay, ry, 0.08) << "scale " << scale;
        }
        // On a smooth picture the two agree to a few levels everywhere inside;
        // each of the area filter's two passes truncates (losing up to a level),
        // so it runs one to two levels darker than the rounded bilinear samples.
        FillSmooth(src);
        src.useRotation = 0;
        ASSERT_TRUE(area.FilterCrop(&src, 20.25f, 30.5f, 135, 90, 0, 0, 0, 0, 100, 0));
        src.useRotation = 1;
        ASSERT_TRUE(rot.FilterCrop(&src, 20.25f, 30.5f, 135, 90, 0, 0, 0, 0, 100, 0));
        double total = 0;
        for (int y = 1; y < 59; ++y)
            for (int x = 1; x < 89; ++x)
                for (int k = 0; k < 3; ++k) {
                    const int diff = Pixel(rot, x, y)[k] - Pixel(area, x, y)[k];
                    EXPECT_LE(std::abs(diff), 6) << x << "," << y;
                    total += diff;
                }
        EXPECT_GT(total / (58 * 88 * 3), 0.5);
        EXPECT_LT(total / (58 * 88 * 3), 2.2);
        if (depth == 24) {
            EXPECT_EQ(Pixel(rot, 10, 10)[3], 0xFF);
        }
    }
}

TEST(RotatingFilter, MapsTheCameraRectangle) {
    CDIB src(120, 120, 32), up(40, 40, 32), turned(40, 40, 32);
    FillSmooth(src);
    src.useRotation = 1;
    for (int quality : {0, 100}) {
        ASSERT_TRUE(up.FilterRot(&src, 30, 30, 60, 60, 0, 0, 0, 0, quality, 0));
        ASSERT_TRUE(turned.FilterRot(&src, 30, 30, 60, 60, 180, 0, 0, 0, quality, 0));
        // Half a turn about the centre shows the picture upside down and mirrored
        // (to within the half-pixel that the sample centres sit off the middle).
        double total = 0;
        for (int y = 2; y < 38; ++y)
            for (int x = 2; x < 38; ++x)
                for (int k = 0; k < 3; ++k) total += std::abs(Pixel(up, x, y)[k] - Pixel(turned, 39 - x, 39 - y)[k]);
        EXPECT_LT(total / (36 * 36 * 3), quality ? 3.0 : 6.0) << quality;
    }
    // A quarter turn: the blue ramp that ran across now runs along the rows.
    CDIB ramp(100, 100, 24), out(20, 20, 32);
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 100; ++x) std::memset(Pixel(ramp, x, y), 2 * x, 3);
    ramp.useRotation = 1;
    ASSERT_TRUE(out.FilterCrop(&ramp, 25, 25, 50, 50, 90, 0, 0, 0, 100, 0));
    EXPECT_LT(std::abs(Pixel(out, 3, 0)[0] - Pixel(out, 15, 0)[0]), 3);
    EXPECT_GT(std::abs(Pixel(out, 3, 0)[0] - Pixel(out, 3, 19)[0]), 60);
    // Tilt 1 widens the top of the camera: the top row spans more of the ramp.
    ASSERT_TRUE(out.FilterCrop(&ramp, 25, 25, 50, 50, 0, 30, 0, 0, 100, 0));
    const int topSpan = Pixel(out, 19, 19)[0] - Pixel(out, 0, 19)[0];
    const int bottomSpan = Pixel(out, 19, 0)[0] - Pixel(out, 0, 0)[0];
    EXPECT_GT(topSpan, bottomSpan + 10);
    // A camera wholly outside shows the outside colour; 24-bit pictures stay opaque.
    ASSERT_TRUE(out.FilterCrop(&ramp, 500, 500, 50, 50, 30, 0, 0, 0, 100, 0));
    EXPECT_EQ(Pixel(out, 7, 7)[0], 0x11);
    EXPECT_EQ(Pixel(out, 7, 7)[3], 0xFF);
    ASSERT_TRUE(up.FilterCrop(&src, -500, 0, 50, 50, 30, 0, 0, 0, 100, 0));
    EXPECT_EQ(Pixel(up, 7, 7)[2], 0x11);
    EXPECT_EQ(Pixel(up, 7, 7)[3], 0);
}

// The vector walks against the plain ones, byte for byte, on random cameras:
// rolled and tilted, shrinking (taps spread apart) and magnifying, partly and
// wholly off the picture, over 24- and 32-bit pictures of odd widths, nearest
// and bilinear, with field selectors and bands; and cameras that fill the
// picture exactly, so that the walks reach its last row and column.
TEST(RotatingFilter, VectorWalksDrawThePlainWalksBytes) {
    std::mt19937 rng(20261123);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    MultiProcState keep;
    for (int trial = 0; trial < kTrials / 5; ++trial) {
        const int depth = trial % 2 ? 24 : 32;
        const int sw = 1 + int(rng() % (trial % 7 == 0 ? 600 : 150)), sh = 1 + int(rng() % 150);
        const int dw = 1 + int(rng() % 120), dh = 1 + int(rng() % 40);
        CDIB src(sw, sh, depth), fast(dw, dh, 32), plain(dw, dh, 32);
        FillRandom(src, rng);
        FillRandom(fast, rng);
        std::memcpy(plain.bits, fast.bits, size_t(fast.GetRowBytes() * dh));
        Shot s = RandomShot(rng, sw, sh);
        s.quality = std::array{0, 49, 50, 100}[rng() % 4];
        float angle = (unit(rng) - 0.5f) * 400.0f, tilt1 = 0, tilt2 = 0;
        if (trial % 3 == 0) tilt1 = (unit(rng) - 0.5f) * 120.0f, tilt2 = (unit(rng) - 0.5f) * 120.0f;
        if (trial % 11 == 0) s.left = 0, s.bottom = 0, s.width = float(sw), s.height = float(sh), angle = 0;
        if (trial % 13 == 0) s.width *= 40, s.height *= 40;  // taps many pixels apart
        gMultiProcOffset = s.offset;
        ASSERT_TRUE(fast.FilterRot(&src, s.left, s.bottom, s.width, s.height, angle, tilt1, tilt2, s.part,
                                   s.quality, s.field));
        ASSERT_TRUE(FilterRotPlain(&plain, &src, s.left, s.bottom, s.width, s.height, angle, tilt1, tilt2, s.part,
                                   s.quality, s.field));
        ASSERT_EQ(Bytes(fast), Bytes(plain))
            << "trial " << trial << ": " << sw << "x" << sh << "x" << depth << " -> " << dw << "x" << dh
            << " camera " << s.left << "," << s.bottom << " " << s.width << "x" << s.height << " angle " << angle
            << " tilts " << tilt1 << "," << tilt2 << " part " << s.part << " quality " << s.quality << " field "
            << s.field << " offset " << s.offset;
    }
}

TEST(Filters, RefuseWhatTheyCannotDraw) {
    CDIB src(20, 20, 24), dst(10, 10, 32), grey(10, 10, 8), empty(0, 0, 32);
    EXPECT_FALSE(dst.FilterCrop(nullptr, 0, 0, 10, 10, 0, 0, 0, 0, 100, 0));
    EXPECT_FALSE(dst.FilterCrop(&grey, 0, 0, 10, 10, 0, 0, 0, 0, 100, 0));
    EXPECT_FALSE(grey.FilterCrop(&src, 0, 0, 10, 10, 0, 0, 0, 0, 100, 0)) << "the destination is 32-bit";
    EXPECT_FALSE(empty.FilterCrop(&src, 0, 0, 10, 10, 0, 0, 0, 0, 100, 0));
    EXPECT_FALSE(dst.FilterCrop(&src, 0, 0, -10, 10, 0, 0, 0, 0, 100, 0));
    EXPECT_FALSE(dst.FilterCrop(&src, NAN, 0, 10, 10, 0, 0, 0, 0, 100, 0));
    EXPECT_FALSE(dst.FilterRot(&src, 0, 0, 10, 10, INFINITY, 0, 0, 0, 100, 0));
    // Far-off cameras and offsets stay in bounds.
    MultiProcState keep;
    gMultiProcOffset = -1000000;
    EXPECT_TRUE(dst.FilterCrop(&src, 1e9f, -1e9f, 1e6f, 3e7f, 0, 0, 0, 2, 100, 0));
    EXPECT_TRUE(dst.FilterCrop(&src, -5000, 3, 100, 10, 0, 0, 0, 2, 100, 0));
    EXPECT_GE(Pixel(dst, 3, 3)[1], 0x10);
    EXPECT_LE(Pixel(dst, 3, 3)[1], 0x11);
    gMultiProcOffset = 1000000;
    EXPECT_TRUE(dst.FilterCrop(&src, 0, 0, 1e5f, 10, 0, 0, 0, 2, 100, -15));
    EXPECT_TRUE(dst.FilterRot(&src, 1e9f, -1e9f, 1e6f, 3e7f, 45, 80, -80, 0, 100, 0));
}

}  // namespace
