// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "motion/TextUtil.h"
#include "motion/Timecode.h"
#include "platform/Platform.h"

namespace {

// Sets the frame rate for one test and restores it afterwards.
struct FrameRate {
    int32_t saved = gFrameRate;
    explicit FrameRate(int32_t rate) { gFrameRate = rate; }
    ~FrameRate() { gFrameRate = saved; }
};

std::string Code(long frame, bool shortForm = false) {
    char out[12];
    FrameToString(out, frame, shortForm);
    return out;
}

long Parse(const char* text, long base = 0) {
    long frame = base;
    StringToFrame(&frame, text);
    return frame;
}

// Every character is 10 pixels wide.
struct TenPixelFont : PlatformBackend {
    long TextWidth(const char* text) override { return 10 * static_cast<long>(std::strlen(text)); }
};
struct UseFont {
    TenPixelFont font;
    PlatformBackend* old = SetPlatformBackend(&font);
    ~UseFont() { SetPlatformBackend(old); }
};

}  // namespace

TEST(Timecode, FormatsFieldsWithTheirQuirks) {
    EXPECT_EQ(gFrameRate, 3000);
    {
        FrameRate rate(2500);
        EXPECT_EQ(Code(90061), "01:00:02:11");
        EXPECT_EQ(Code(90061, true), "00:02:11");
        EXPECT_EQ(Code(-26), "00:00:01.01");
        EXPECT_EQ(Code(-26, true), "00:01.01");
        EXPECT_EQ(Code(12 * 90000 + 25), "00:00:01:00");  // hours wrap at 12
    }
    {
        FrameRate rate(2997);  // a minute is 1798 frames, a second 30
        EXPECT_EQ(Code(1798), "00:01:00:00");
        EXPECT_EQ(Code(1800), "00:01:00:02");
    }
}

TEST(Timecode, ParsesAbsoluteAndRelativeEntries) {
    FrameRate rate(3000);
    EXPECT_EQ(Parse("1:00:00:00"), 108000);
    EXPECT_EQ(Parse("1:00:00"), 1800);
    EXPECT_EQ(Parse("+10", 40), 50);
    EXPECT_EQ(Parse("-5", 40), 35);
    EXPECT_EQ(Parse("123"), 30 + 23);  // two digits a field, from the end
    EXPECT_EQ(Parse("9:8:7:6:5:4"), (7 * 60 + 6) * 30 * 60 + 5 * 30 + 4);
    EXPECT_EQ(Parse("none", 40), 0);
}

TEST(Timecode, RoundTripsAtCommonRates) {
    for (int32_t r : {2500, 2997, 2397}) {
        FrameRate rate(r);
        const long perMinute = r * 60 / 100;
        for (long f = 0; f < perMinute; f += 7) EXPECT_EQ(Parse(Code(f).c_str()), f) << r;
        // Negative frames read back as their size; with a leading "-" as a step back.
        EXPECT_EQ(Parse(Code(-53).c_str()), 53) << r;
        const std::string stepBack = std::string(1, '-').append(Code(-53));
        EXPECT_EQ(Parse(stepBack.c_str()), -53) << r;
    }
    // At 25 fps minutes and hours are whole, so every frame below 12 hours survives.
    FrameRate rate(2500);
    for (long f = 0; f < 12 * 90000; f += 997) EXPECT_EQ(Parse(Code(f).c_str()), f);
    // At 29.97 minutes are formatted as 1798 frames but read as 1800.
    FrameRate ntsc(2997);
    EXPECT_EQ(Parse(Code(1798).c_str()), 1800);
}

TEST(TextUtil, InPlaceEdits) {
    char text[600] = "a\r\nb\nc\r";
    StripCR(text);
    EXPECT_STREQ(text, "abc");
    std::memset(text, 'x', 599);
    text[599] = '\0';
    text[0] = '\n';
    StripCR(text);
    EXPECT_EQ(std::strlen(text), 511u);  // only 512 characters are examined

    const char* zeros[][2] = {{"12.500", "12.5"}, {"3.000", "3"}, {"1000", "1000"}, {"0.0", "0"}};
    for (auto& z : zeros) {
        std::strcpy(text, z[0]);
        StripTrailingZeros(text);
        EXPECT_STREQ(text, z[1]);
    }

    char list[] = "a, b,, c";
    char* parts[8];
    ASSERT_EQ(Split(list, parts, ", "), 3);
    EXPECT_STREQ(parts[0], "a");
    EXPECT_STREQ(parts[1], "b,");
    EXPECT_STREQ(parts[2], "c");
}

TEST(TextUtil, ShrinkTextWidthCutsAndAppendsTheSuffix) {
    UseFont font;
    char text[32] = "abc";
    EXPECT_EQ(ShrinkTextWidth(text, 30, "..."), 30);
    EXPECT_STREQ(text, "abc");

    std::strcpy(text, "abcdefghij");
    EXPECT_EQ(ShrinkTextWidth(text, 75, "..."), 40);  // room for 45 pixels of text
    EXPECT_STREQ(text, "abcd...");

    // The suffix alone is too wide: it replaces the text, is cut, and is emptied.
    char suffix[] = "...";
    std::strcpy(text, "abcdef");
    EXPECT_EQ(ShrinkTextWidth(text, 25, suffix), 20);
    EXPECT_STREQ(text, "..");
    EXPECT_STREQ(suffix, "");
}

TEST(TextUtil, WrapTextBreaksAtSpacesWithItsEndCases) {
    UseFont font;
    char text[32] = "aaa bbb ccc ddd";
    EXPECT_EQ(WrapText(text, 150), 0);  // fits: untouched
    EXPECT_EQ(WrapText(text, 100), 8);  // "aaa bbb ccc" is 110 wide
    EXPECT_STREQ(text, "aaa bbb");
    EXPECT_STREQ(text + 8, "ccc ddd");

    // Overflow already at the first space: only the last character is cut.
    std::strcpy(text, "aaaa bb");
    EXPECT_EQ(WrapText(text, 30), 7);
    EXPECT_STREQ(text, "aaaa b");

    // Too wide, but no prefix up to a space is: the text is dropped.
    std::strcpy(text, "aaa bbbbbb");
    EXPECT_EQ(WrapText(text, 50), 0);
    EXPECT_STREQ(text, "");
}
