// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "image/CDIB.h"
#include "motion/Colour.h"

namespace {

uint8_t* Px(CDIB& dib, int x, int row) {
    return dib.bits + dib.GetRowBytes() * row + x * (dib.GetBitCount() / 8);
}

std::vector<uint8_t> Bytes(CDIB& dib) {
    return std::vector<uint8_t>(dib.bits, dib.bits + dib.GetRowBytes() * dib.GetHgt());
}

void Fill(CDIB& dib, uint8_t value) { std::memset(dib.bits, value, size_t(dib.GetRowBytes() * dib.GetHgt())); }

void FillRandom(CDIB& dib, unsigned seed, int lo = 0, int hi = 255) {
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> byte(lo, hi);
    for (long i = 0; i < dib.GetRowBytes() * dib.GetHgt(); ++i) dib.bits[i] = uint8_t(byte(rng));
}

TEST(AlphaEffects, SetAlphaEdgeAndAddAlpha) {
    CDIB rgb(5, 4, 24), rgba(5, 4, 32);
    FillRandom(rgb, 1);
    const std::vector<uint8_t> before = Bytes(rgb);
    EXPECT_FALSE(rgb.SetAlpha(9));
    EXPECT_FALSE(rgb.SetAlphaEdge(9));
    EXPECT_EQ(Bytes(rgb), before) << "24-bit images have no alpha to set";

    FillRandom(rgba, 2);
    const std::vector<uint8_t> colours = Bytes(rgba);
    ASSERT_TRUE(rgba.SetAlpha(0x1C8));  // the low byte
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) {
            EXPECT_EQ(Px(rgba, x, y)[3], 0xC8);
            EXPECT_EQ(0, std::memcmp(Px(rgba, x, y), &colours[size_t(y * 20 + x * 4)], 3));
        }
    ASSERT_TRUE(rgba.SetAlphaEdge(7));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) {
            const bool edge = y == 0 || y == 3 || x == 0 || x == 4;
            EXPECT_EQ(Px(rgba, x, y)[3], edge ? 7 : 0xC8) << x << "," << y;
        }

    // AddAlpha: a 24-bit picture becomes 32-bit with the mask's first byte as alpha.
    CDIB mask(5, 4, 8);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) Px(mask, x, y)[0] = uint8_t(10 * x + y);
    ASSERT_TRUE(rgb.AddAlpha(&mask));
    ASSERT_EQ(rgb.GetBitCount(), 32);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) {
            EXPECT_EQ(0, std::memcmp(Px(rgb, x, y), &before[size_t(y * 16 + x * 3)], 3));
            EXPECT_EQ(Px(rgb, x, y)[3], 10 * x + y);
        }
    // A 32-bit picture keeps its colour; a 24-bit mask gives its blue.
    CDIB mask24(5, 4, 24);
    FillRandom(mask24, 3);
    ASSERT_TRUE(rgba.AddAlpha(&mask24));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 5; ++x) {
            EXPECT_EQ(0, std::memcmp(Px(rgba, x, y), &colours[size_t(y * 20 + x * 4)], 3));
            EXPECT_EQ(Px(rgba, x, y)[3], Px(mask24, x, y)[0]);
        }
    CDIB small(5, 3, 8), wide(6, 4, 8);
    const std::vector<uint8_t> kept = Bytes(rgba);
    EXPECT_FALSE(rgba.AddAlpha(&small));
    EXPECT_FALSE(rgba.AddAlpha(&wide));
    EXPECT_EQ(Bytes(rgba), kept);
}

TEST(ColourEffects, TintKeepsLightnessAndAlpha) {
    CDIB pic(6, 3, 32);
    FillRandom(pic, 4);
    const std::vector<uint8_t> before = Bytes(pic);
    const long orange = 0x0080FF;  // red 255, green 128, blue 0
    pic.Tint(orange);
    int th, tl, ts;
    RGB2HLS(255, 128, 0, &th, &tl, &ts);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 6; ++x) {
            const uint8_t* old = &before[size_t(y * 24 + x * 4)];
            int h, l, s, r, g, b;
            RGB2HLS(old[2], old[1], old[0], &h, &l, &s);
            HLS2RGB(th, l, ts, &r, &g, &b);
            EXPECT_EQ(Px(pic, x, y)[0], b);
            EXPECT_EQ(Px(pic, x, y)[1], g);
            EXPECT_EQ(Px(pic, x, y)[2], r);
            EXPECT_EQ(Px(pic, x, y)[3], old[3]);
        }
    // A 24-bit grey tinted orange turns orange of the same lightness.
    CDIB grey(2, 2, 24);
    Fill(grey, 128);
    grey.Tint(orange);
    EXPECT_GT(Px(grey, 1, 1)[2], Px(grey, 1, 1)[1]);
    EXPECT_GT(Px(grey, 1, 1)[1], Px(grey, 1, 1)[0]);
}

TEST(ColourEffects, VideoColorsMapsOnlyImagesWithIllegalLevels) {
    CDIB legal(7, 5, 24);
    FillRandom(legal, 5, 18, 234);
    const std::vector<uint8_t> before = Bytes(legal);
    legal.VideoColors();
    EXPECT_EQ(Bytes(legal), before);

    CDIB pic(4, 3, 32);
    FillRandom(pic, 6, 18, 234);
    Px(pic, 2, 2)[1] = 0;
    Px(pic, 0, 0)[0] = 255;
    Px(pic, 1, 0)[3] = 3;  // alpha is neither tested nor mapped
    const std::vector<uint8_t> raw = Bytes(pic);
    pic.VideoColors();
    EXPECT_EQ(Px(pic, 2, 2)[1], 15);
    EXPECT_EQ(Px(pic, 0, 0)[0], 234);
    EXPECT_EQ(Px(pic, 1, 0)[3], 3);
    for (size_t i = 0; i < raw.size(); ++i)
        if (i % 4 != 3) {
            EXPECT_EQ(pic.bits[i], (raw[i] * 86 + 1548) / 100) << i;
        }

    // Values 15..17 are below the test range: a second run compresses again.
    const std::vector<uint8_t> once = Bytes(pic);
    pic.VideoColors();
    EXPECT_EQ(Px(pic, 2, 2)[1], (15 * 86 + 1548) / 100);
    EXPECT_NE(Bytes(pic), once);
}

TEST(ColourEffects, ContrastAndBrightness) {
    CDIB pic(256, 1, 24);
    for (int x = 0; x < 256; ++x) std::memset(Px(pic, x, 0), x, 3);
    const std::vector<uint8_t> ramp = Bytes(pic);
    pic.Contrast(50, 50);
    EXPECT_EQ(Bytes(pic), ramp);

    pic.Contrast(100, 50);  // slope 2 about 128
    EXPECT_EQ(Px(pic, 64, 0)[0], 0);
    EXPECT_EQ(Px(pic, 192, 0)[0], 255);
    EXPECT_EQ(Px(pic, 100, 0)[1], 72);
    EXPECT_EQ(Px(pic, 128, 0)[2], 128);

    CDIB bright(3, 1, 32);
    Fill(bright, 100);
    bright.Contrast(50, 100);
    EXPECT_EQ(Px(bright, 1, 0)[0], 192);
    EXPECT_EQ(Px(bright, 1, 0)[3], 100) << "alpha untouched";
    bright.Contrast(50, 0);
    EXPECT_EQ(Px(bright, 1, 0)[2], 100);
}

TEST(MixEffects, DissolveWeightsFollowTheCosine) {
    CDIB black(3, 2, 24), white(3, 2, 24);
    Fill(white, 255);
    for (float t : {0.0f, 0.5f, 1.0f}) {
        Fill(black, 0);
        black.Dissolve(&white, t);
        const int expected = t == 0.0f ? 255 : t == 1.0f ? 0 : 127;
        EXPECT_EQ(Px(black, 2, 1)[0], expected) << t;
        EXPECT_EQ(Px(black, 0, 0)[2], expected) << t;
    }
    // Alpha is mixed only when both are 32-bit; the other may be larger.
    CDIB a(4, 4, 32), b(6, 5, 32), c(4, 4, 24);
    Fill(a, 200);
    Fill(b, 100);
    Fill(c, 0);
    a.Dissolve(&b, 0.5f);
    EXPECT_EQ(Px(a, 3, 3)[3], 149);  // 200 k + 100 (1 - k), k just under one half
    EXPECT_EQ(Px(a, 3, 3)[0], 149);
    a.Dissolve(&c, 0.0f);
    EXPECT_EQ(Px(a, 1, 1)[0], 0);
    EXPECT_EQ(Px(a, 1, 1)[3], 149);
}

TEST(BlurEffects, RunningKernelInStorageOrder) {
    CDIB pic(5, 4, 32);
    FillRandom(pic, 9);
    std::vector<uint8_t> expect = Bytes(pic);
    // The same pass written out: storage order, in place, colour bytes only.
    const long stride = pic.GetRowBytes();
    for (int y = 1; y < 3; ++y)
        for (int x = 1; x < 4; ++x)
            for (int k = 0; k < 3; ++k) {
                auto at = [&](int xx, int yy) -> int { return expect[size_t(stride * yy + xx * 4 + k)]; };
                const int sum = at(x - 1, y - 1) + 2 * at(x, y - 1) + at(x + 1, y - 1) + 2 * at(x - 1, y) +
                                4 * at(x, y) + 2 * at(x + 1, y) + at(x - 1, y + 1) + 2 * at(x, y + 1) +
                                at(x + 1, y + 1);
                expect[size_t(stride * y + x * 4 + k)] = uint8_t(sum >> 4);
            }
    pic.Blur(0);
    EXPECT_EQ(Bytes(pic), expect);

    // One bright pixel: the running pass drags it up and to the right.
    CDIB dot(5, 5, 24);
    Fill(dot, 0);
    std::memset(Px(dot, 1, 1), 160, 3);
    dot.Blur(0);
    EXPECT_EQ(Px(dot, 1, 1)[0], 40);         // 4 x 160 / 16
    EXPECT_EQ(Px(dot, 2, 1)[0], (2 * 40) >> 4);  // its left neighbour is already blurred
    EXPECT_EQ(Px(dot, 1, 2)[0], (2 * 40 + 5) >> 4);  // and so is the row below

    for (auto size : {std::pair{2, 9}, std::pair{9, 2}, std::pair{1, 1}}) {
        CDIB thin(size.first, size.second, 24);
        FillRandom(thin, 11);
        const std::vector<uint8_t> same = Bytes(thin);
        thin.Blur(0);
        EXPECT_EQ(Bytes(thin), same);
    }
}

TEST(BlurEffects, BlurAlphaLeavesTransparentPixels) {
    CDIB pic(6, 5, 32);
    Fill(pic, 90);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 6; ++x) Px(pic, x, y)[3] = x < 3 ? 0 : 240;
    pic.BlurAlpha();
    for (int y = 1; y < 4; ++y) {
        EXPECT_EQ(Px(pic, 2, y)[3], 0) << "transparent pixels stay transparent";
        EXPECT_LT(Px(pic, 3, y)[3], 240) << "the edge softens";
        EXPECT_GT(Px(pic, 3, y)[3], 0);
        EXPECT_EQ(Px(pic, 3, y)[0], 90) << "colour untouched";
    }
    EXPECT_EQ(Px(pic, 5, 2)[3], 240) << "edge columns untouched";
    EXPECT_EQ(Px(pic, 3, 0)[3], 240) << "edge rows untouched";
    CDIB rgb(6, 5, 24);
    Fill(rgb, 90);
    const std::vector<uint8_t> same = Bytes(rgb);
    rgb.BlurAlpha();
    EXPECT_EQ(Bytes(rgb), same);
}

}  // namespace
