// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <cstring>

#include "image/CDIB.h"

namespace {

// Byte `channel` of pixel x in storage row y.
uint8_t& At(CDIB& dib, int x, int y, int channel = 0) {
    return dib.GetBitsAdd(y)[x * (dib.GetBitCount() / 8) + channel];
}

void SetBGR(CDIB& dib, int x, int y, uint8_t b, uint8_t g, uint8_t r) {
    At(dib, x, y, 0) = b;
    At(dib, x, y, 1) = g;
    At(dib, x, y, 2) = r;
}

void Put16(CDIB& dib, int x, int y, uint16_t word) { std::memcpy(dib.GetBitsAdd(y) + 2 * x, &word, 2); }
uint16_t Get16(CDIB& dib, int x, int y) {
    uint16_t word;
    std::memcpy(&word, dib.GetBitsAdd(y) + 2 * x, 2);
    return word;
}

}  // namespace

TEST(CDIBCreate, LayoutHeaderPaletteAndRounding) {
    CDIB wide(101, 7, 24);
    EXPECT_EQ(wide.GetRowBytes(), 304);
    EXPECT_EQ(CDIB(3, 5, 8).GetRowBytes(), 4);
    EXPECT_EQ(CDIB(5, 5, 4).GetRowBytes(), 0);  // no pixel storage below 8 bits
    EXPECT_EQ(wide.GetHeader()->height, 7);

    CDIB grey(2, 2, 8), nibble(2, 2, 4);
    EXPECT_EQ(0, std::memcmp(grey.GetPalette() + 4 * 200, "\xC8\xC8\xC8\0", 4));
    EXPECT_EQ(0, std::memcmp(nibble.GetPalette() + 4 * 15, "\x0F\x0F\x0F\0", 4));  // raw, not spread

    CDIB a(64, 32, 24), b(70, 1, 24);
    EXPECT_EQ(a.GetWid(16), 80);  // always the next multiple strictly above
    EXPECT_EQ(b.GetWid(16), 80);
    EXPECT_EQ(a.GetWid(0), 64);
    EXPECT_EQ(a.GetHgt(16), 48);

    CDIB empty(0, 0, 24);
    EXPECT_FALSE(empty.HasImage());
    EXPECT_EQ(empty.GetWid(16), 0);
    EXPECT_EQ(empty.GetBitsAdd(0), nullptr);
    EXPECT_EQ(empty.Flop(), 0);
    EXPECT_EQ(empty.Copy(&a, true), 0);
}

TEST(CDIBCreate, SameSizeKeepsPixelsOtherwiseClearsAndLimits) {
    CDIB dib(4, 3, 24);
    At(dib, 1, 2) = 99;
    EXPECT_EQ(dib.Create(4, 3, 24), 1);
    EXPECT_EQ(At(dib, 1, 2), 99);

    EXPECT_EQ(dib.Create(8193, 10, 32), 0);
    EXPECT_EQ(dib.Create(0, 10, 32), 0);
    EXPECT_EQ(dib.Create(10, -1, 32), 0);
    EXPECT_EQ(dib.Create(4, 4, 48), 0);  // deeper than any line buffer holds
    EXPECT_EQ(dib.GetWid(), 4);           // refused sizes leave the old image
    EXPECT_EQ(At(dib, 1, 2), 99);

    EXPECT_EQ(dib.Create(4, 3, 32), 1);
    EXPECT_EQ(At(dib, 1, 2), 0);

    CDIB big(8192, 8192, 8);
    EXPECT_EQ(big.GetHgt(), 8192);
    EXPECT_EQ(big.GetRowBytes(), 8192);
}

TEST(CDIBRows, FlopFieldsAndRedBlueExchange) {
    CDIB flop(4, 5, 8), fields(4, 5, 8);
    unsigned char line[4];
    for (int y = 0; y < 5; ++y) {
        std::memset(line, y, 4);
        flop.PutLine(y, line);
        fields.PutLine(y, line);
    }
    ASSERT_EQ(flop.Flop(), 1);
    ASSERT_EQ(fields.FlopFields(), 1);
    const int flopped[5] = {4, 3, 2, 1, 0}, swapped[5] = {1, 0, 3, 2, 4};
    for (int y = 0; y < 5; ++y) {
        EXPECT_EQ(At(flop, 3, y), flopped[y]) << y;
        EXPECT_EQ(At(fields, 3, y), swapped[y]) << y;
    }
    unsigned char two[2] = {0, 0};
    flop.GetLine(0, two, 2);  // never more than asked for
    EXPECT_EQ(two[1], 4);

    CDIB rgb(3, 2, 24), rgba(3, 2, 32);
    SetBGR(rgb, 2, 1, 1, 2, 3);
    SetBGR(rgba, 2, 1, 1, 2, 3);
    At(rgba, 2, 1, 3) = 4;
    rgb.FlopRGB2BGR();
    rgba.FlopRGB2BGR();
    EXPECT_EQ(0, std::memcmp(&At(rgb, 2, 1), "\x03\x02\x01", 3));
    EXPECT_EQ(0, std::memcmp(&At(rgba, 2, 1), "\x03\x02\x01\x04", 4));
}

TEST(CDIBCopy, CopyTakesRowsNotPaletteAndStopsAtSmallerDestination) {
    CDIB source(5, 4, 8), copy(1, 1, 24), small(5, 2, 8);
    source.GetPalette()[4 * 7] = 0;
    At(source, 4, 3) = 7;
    At(source, 0, 1) = 3;
    ASSERT_EQ(source.Copy(&copy, true), 1);
    EXPECT_EQ(copy.GetBitCount(), 8);
    EXPECT_EQ(At(copy, 4, 3), 7);
    EXPECT_EQ(copy.GetPalette()[4 * 7], 7);  // the destination's own grey ramp

    EXPECT_EQ(source.Copy(&small, false), 1);
    EXPECT_EQ(At(small, 0, 1), 3);
}

TEST(CDIBCopyCrop, ShiftsOneRowAndPadsWithZeros) {
    CDIB source(100, 100, 24), crop(1, 1, 8);
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 100; ++x) SetBGR(source, x, y, static_cast<uint8_t>(x), static_cast<uint8_t>(y), 7);
    tagRECT rect{-10, 0, 90, 50};
    ASSERT_EQ(source.CopyCrop(&crop, rect), 1);
    ASSERT_EQ(crop.GetWid(), 100);
    ASSERT_EQ(crop.GetHgt(), 50);
    ASSERT_EQ(crop.GetBitCount(), 24);
    for (int d = 0; d < 50; ++d) {
        const int pictureRow = 49 - d;
        for (int c = 0; c < 100; ++c) {
            const bool zero = pictureRow == 0 || c < 10;
            EXPECT_EQ(At(crop, c, d, 0), zero ? 0 : c - 10) << c << "," << d;
            EXPECT_EQ(At(crop, c, d, 1), zero ? 0 : 100 - pictureRow) << c << "," << d;
            EXPECT_EQ(At(crop, c, d, 2), zero ? 0 : 7) << c << "," << d;
        }
    }

    // A rectangle far outside an 8-bit picture: zeros around the picture, its palette.
    CDIB indexed(10, 10, 8), far(1, 1, 8);
    indexed.GetPalette()[4 * 5] = 200;
    At(indexed, 3, 6) = 5;
    tagRECT wide{-40, -20, 45, 30};
    ASSERT_EQ(indexed.CopyCrop(&far, wide), 1);
    EXPECT_EQ(far.GetPalette()[4 * 5], 200);
    long nonZero = 0;
    for (int d = 0; d < 50; ++d)
        for (int c = 0; c < far.GetRowBytes(); ++c) nonZero += far.GetBitsAdd(d)[c] != 0;
    EXPECT_EQ(nonZero, 1);
    EXPECT_EQ(At(far, 43, 49 - (20 + 4)), 5);  // picture row 4 shows storage row 6
}

TEST(CDIBCopyScale, CopyBorderAndDecodeByDepth) {
    CDIB source(4, 4, 24), same(4, 4, 24), framed(8, 8, 24);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) SetBGR(source, x, y, static_cast<uint8_t>(x), static_cast<uint8_t>(y), 9);
    ASSERT_EQ(source.CopyScale(&same, 0, 0), 1);
    EXPECT_EQ(0, std::memcmp(same.bits, source.bits, static_cast<size_t>(source.GetRowBytes() * 4)));

    ASSERT_EQ(source.CopyScale(&framed, 0x0000FF, 2), 1);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            const bool frame = x < 2 || x >= 6 || y < 2 || y >= 6;
            const uint8_t want[3] = {static_cast<uint8_t>(frame ? 0 : x - 2),
                                     static_cast<uint8_t>(frame ? 0 : y - 2), static_cast<uint8_t>(frame ? 255 : 9)};
            EXPECT_EQ(0, std::memcmp(&At(framed, x, y), want, 3)) << x << "," << y;
        }

    // 32 bits keep alpha inside the frame; 8 bits go through the palette.
    CDIB alpha(2, 2, 32), alphaOut(4, 4, 32), indexed(2, 1, 8), wide(4, 1, 24);
    At(alpha, 1, 1, 3) = 77;
    ASSERT_EQ(alpha.CopyScale(&alphaOut, 0, 1), 1);
    EXPECT_EQ(At(alphaOut, 2, 2, 3), 77);
    EXPECT_EQ(At(alphaOut, 3, 3, 3), 0);
    indexed.GetPalette()[4 * 6 + 2] = 250;
    At(indexed, 1, 0) = 6;
    ASSERT_EQ(indexed.CopyScale(&wide, 0, 0), 1);
    EXPECT_EQ(0, std::memcmp(&At(wide, 2, 0), "\x06\x06\xFA", 3));  // nearest: columns 2,3 from 1

    // 16-bit words as a BMP or Targa stores them, little-endian, decode the same
    // on this host whatever gWin32 says; red and green unmasked.
    CDIB words(1, 1, 16), decoded(1, 1, 24), encoded(1, 1, 16);
    for (bool win32 : {false, true}) {
        gWin32 = win32;
        std::memcpy(words.GetBitsAdd(0), "\xFF\x03", 2);  // 0x03FF: blue and green
        ASSERT_EQ(words.CopyScale(&decoded, 0, 0), 1);
        EXPECT_EQ(0, std::memcmp(&At(decoded, 0, 0), "\xF8\xFF\x07", 3)) << win32;
    }
    gWin32 = false;
    SetBGR(decoded, 0, 0, 8, 128, 255);
    ASSERT_EQ(decoded.CopyScale(&encoded, 0, 0), 1);
    EXPECT_EQ(Get16(encoded, 0, 0), 0x7E01);
}

TEST(CDIBCreate8Bit, FixedPalettesAndSourceReadingQuirks) {
    CDIB colour(3, 1, 24), eight(1, 1, 1), grey(1, 1, 1);
    SetBGR(colour, 0, 0, 255, 255, 255);
    SetBGR(colour, 1, 0, 50, 100, 200);
    ASSERT_EQ(colour.Create8Bit(&eight, false), 1);
    ASSERT_EQ(eight.GetBitCount(), 8);
    EXPECT_EQ(At(eight, 0, 0), 0xFF);
    EXPECT_EQ(At(eight, 1, 0), 0xCC);
    EXPECT_EQ(At(eight, 2, 0), 0x00);
    EXPECT_EQ(0, std::memcmp(eight.GetPalette() + 4 * 255, "\x60\xE0\xE0\0", 4));
    ASSERT_EQ(colour.Create8Bit(&grey, true), 1);
    EXPECT_EQ(At(grey, 1, 0), 124);  // 0.11*50 + 0.3*200 + 0.59*100 = 124.5
    EXPECT_EQ(grey.GetPalette()[4 * 124 + 2], 124);

    // 16 bits: blue comes from bits 3-7. 32 bits: read with a 3-byte stride.
    CDIB words(2, 1, 16), rgba(2, 1, 32), out(1, 1, 8);
    Put16(words, 0, 0, 0x001F);
    Put16(words, 1, 0, 0x00F8);
    ASSERT_EQ(words.Create8Bit(&out, false), 1);
    EXPECT_EQ(At(out, 0, 0), 0x00);
    EXPECT_EQ(At(out, 1, 0), 0x07);
    At(rgba, 0, 0, 3) = 0xFF;
    SetBGR(rgba, 1, 0, 0x00, 0xFF, 0xFF);
    ASSERT_EQ(rgba.Create8Bit(&out, false), 1);
    EXPECT_EQ(At(out, 1, 0), 0xE3);  // bytes 3..5: blue 0xFF, green 0, red 0xFF

    CDIB indexed(2, 1, 8), kept(1, 1, 1);
    indexed.GetPalette()[4 * 9 + 1] = 1;
    At(indexed, 1, 0) = 9;
    ASSERT_EQ(indexed.Create8Bit(&kept, false), 1);
    EXPECT_EQ(At(kept, 1, 0), 9);
    EXPECT_EQ(kept.GetPalette()[4 * 9 + 1], 1);
}
