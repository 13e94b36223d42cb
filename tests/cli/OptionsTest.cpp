// SPDX-License-Identifier: GPL-2.0-or-later
// The command line's values: sizes, rates, ranges, aspects, fields and outputs.
#include <gtest/gtest.h>

#include <utility>

#include "app/Options.h"
#include "app/Session.h"
#include "doc/CDoc.h"

using namespace gs;

TEST(Options, SizeAcceptsOneTo8192AndRefusesTheRest) {
    FrameSize s;
    std::string error;
    EXPECT_TRUE(ParseSize("1920x1080", s, error));
    EXPECT_EQ(s.width, 1920);
    EXPECT_EQ(s.height, 1080);
    EXPECT_TRUE(ParseSize("1X8192", s, error));
    EXPECT_EQ(s.height, 8192);
    for (const char* bad : {"0x0", "0x10", "8193x10", "x", "1920", "1920x", "-5x5", "12x12x", "abcxdef", ""}) {
        error.clear();
        EXPECT_FALSE(ParseSize(bad, s, error)) << bad;
        EXPECT_NE(error.find("--size"), std::string::npos) << bad;
    }
}

TEST(Options, FrameRatesBecomeHundredthsAndExactRatios) {
    int32_t r = 0;
    std::string error;
    for (auto [text, want] : {std::pair{"25", 2500}, {"29.97", 2997}, {"30000/1001", 2997}, {"23.976", 2397},
                              {"24000/1001", 2397}, {"23.98", 2397}, {"59.94", 5994}, {"60000/1001", 5994},
                              {"24", 2400}, {"23.9", 2390}}) {
        EXPECT_TRUE(ParseFrameRate(text, r, error)) << text;
        EXPECT_EQ(r, want) << text;
    }
    for (const char* bad : {"0", "0.5", "241", "-25", "25fps", "1/0", "", "2.5.1", "1e2"})
        EXPECT_FALSE(ParseFrameRate(bad, r, error)) << bad;

    EXPECT_EQ(FrameRateRatio(2500), "25/1");
    EXPECT_EQ(FrameRateRatio(2997), "30000/1001");
    EXPECT_EQ(FrameRateRatio(2397), "24000/1001");
    EXPECT_EQ(FrameRateRatio(1250), "25/2");
    EXPECT_EQ(FrameRateRatio(2398), "1199/50");
}

TEST(Options, FrameRangesAreInclusiveAndOrdered) {
    FrameRange f;
    std::string error;
    EXPECT_TRUE(ParseFrameRange("0-249", f, error));
    EXPECT_EQ(f.first, 0);
    EXPECT_EQ(f.last, 249);
    EXPECT_TRUE(f.given);
    EXPECT_TRUE(ParseFrameRange("7", f, error));
    EXPECT_EQ(f.first, 7);
    EXPECT_EQ(f.last, 7);
    EXPECT_FALSE(ParseFrameRange("9-3", f, error));
    EXPECT_NE(error.find("before the first"), std::string::npos);
    for (const char* bad : {"-3", "3-", "a-b", "1-2-3", "", "99999999999-1"})
        EXPECT_FALSE(ParseFrameRange(bad, f, error)) << bad;
}

TEST(Options, AspectsAndFields) {
    AspectChoice a;
    int field = -1;
    std::string error;
    EXPECT_TRUE(ParseAspect("16:9", a, error));
    EXPECT_EQ(a, AspectChoice::SixteenNine);
    EXPECT_TRUE(ParseAspect("LetterBox", a, error));
    EXPECT_EQ(a, AspectChoice::LetterBox);
    EXPECT_FALSE(ParseAspect("2.35:1", a, error));
    for (auto [text, want] : {std::pair{"upper", 1}, {"lower", 2}, {"both", 3}}) {
        EXPECT_TRUE(ParseFields(text, field, error)) << text;
        EXPECT_EQ(field, want) << text;
    }
    EXPECT_FALSE(ParseFields("odd", field, error));
}

TEST(Options, OutputKindFollowsThePath) {
    OutputTarget t;
    std::string error;
    ASSERT_TRUE(ParseOutput("-", t, error));
    EXPECT_EQ(t.kind, OutputKind::Raw);
    ASSERT_TRUE(ParseOutput("a/b.MOV", t, error));
    EXPECT_EQ(t.kind, OutputKind::Video);
    EXPECT_EQ(t.video, VideoFormat::Mov);
    ASSERT_TRUE(ParseOutput("x.mkv", t, error));
    EXPECT_EQ(t.video, VideoFormat::Mkv);
    ASSERT_TRUE(ParseOutput("frames/f_%05d.tga", t, error));
    EXPECT_EQ(t.kind, OutputKind::Sequence);
    EXPECT_EQ(t.picture, PictureFormat::Targa);
    ASSERT_TRUE(ParseOutput("100%%/f%d.bmp", t, error));
    EXPECT_EQ(t.picture, PictureFormat::Bmp);

    for (const char* bad : {"", "x.avi", "noextension", "a.mp4/b", "f_%05d.jpg", "f_%d_%d.png", "f_%s.png",
                            "f_%05.png", "f_%123d.png", "f.png"})
        EXPECT_FALSE(ParseOutput(bad, t, error)) << bad;
}

TEST(Options, FramePathsFillTheOneNumber) {
    EXPECT_EQ(FormatFramePath("f_%05d.png", 42), "f_00042.png");
    EXPECT_EQ(FormatFramePath("f_%d.png", 42), "f_42.png");
    EXPECT_EQ(FormatFramePath("f_%3d.png", 7), "f_  7.png");
    EXPECT_EQ(FormatFramePath("100%%/%04d.tga", 123456), "100%/123456.tga");
}

// The camera follows the frame's shape; a shape that rounds to the letterbox
// setting must not draw bars.
TEST(Options, CameraAspectFollowsTheFrame) {
    CDoc doc;
    FitCamera(doc, 1920, 1080, AspectChoice::FollowFrame);
    EXPECT_FLOAT_EQ(doc.aspect, 0.5625f);
    EXPECT_NE(doc.aspectMode, 5626);
    FitCamera(doc, 711, 400, AspectChoice::FollowFrame);  // 0.56259 -> 5626 when rounded
    EXPECT_NE(doc.aspectMode, 5626);
    FitCamera(doc, 720, 576, AspectChoice::FollowFrame);
    EXPECT_FLOAT_EQ(doc.aspect, 0.8f);
    FitCamera(doc, 1920, 1080, AspectChoice::FourThree);
    EXPECT_FLOAT_EQ(doc.aspect, 0.75f);
    FitCamera(doc, 720, 486, AspectChoice::LetterBox);
    EXPECT_EQ(doc.aspectMode, 5626);
}
