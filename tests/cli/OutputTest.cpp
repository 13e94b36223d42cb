// SPDX-License-Identifier: GPL-2.0-or-later
// Where frames go: picture sequences appear only once the render has succeeded,
// read back as what was rendered, and leave nothing behind when abandoned; and
// the progress bar's line.
#include <gtest/gtest.h>

#include "app/FrameSink.h"
#include "app/Progress.h"
#include "image/CDIB.h"
#include "platform/Files.h"
#include "tests/cli/CliTestUtil.h"

using namespace gs;
using gstest::Exists;
using gstest::ExpectPictureEquals;
using gstest::TempDir;

namespace {

std::vector<uint8_t> TestFrame(int w, int h, int seed) {
    std::vector<uint8_t> rgba(static_cast<size_t>(w) * h * 4);
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++) {
            uint8_t* p = &rgba[(static_cast<size_t>(y) * w + x) * 4];
            p[0] = static_cast<uint8_t>(x * 7 + seed);
            p[1] = static_cast<uint8_t>(y * 13);
            p[2] = static_cast<uint8_t>(x ^ y);
            p[3] = 255;
        }
    return rgba;
}

}  // namespace

TEST(Sequence, PicturesAppearOnlyWhenTheRenderIsFinishedAndReadBackExactly) {
    const int w = 37;  // odd: BMP rows are padded, Targa rows are not
    const int h = 21;
    for (const char* ext : {"tga", "bmp", "png"}) {
        TempDir dir;
        OutputTarget target;
        std::string error;
        ASSERT_TRUE(ParseOutput(dir / (std::string("f_%03d.") + ext), target, error));
        auto sink = MakeFrameSink(target, SinkFormat{w, h, 2500});
        ASSERT_TRUE(sink->Open(error)) << error;
        const auto a = TestFrame(w, h, 1);
        const auto b = TestFrame(w, h, 2);
        ASSERT_TRUE(sink->Write(8, a.data(), error)) << error;
        ASSERT_TRUE(sink->Write(9, b.data(), error)) << error;
        const std::string first = dir / (std::string("f_008.") + ext);
        const std::string second = dir / (std::string("f_009.") + ext);
        EXPECT_FALSE(Exists(first)) << ext;
        ASSERT_TRUE(sink->Finish(error)) << error;
        EXPECT_EQ(dir.List(), (std::vector<std::string>{"f_008." + std::string(ext), "f_009." + std::string(ext)}));
        ExpectPictureEquals(first, a, w, h);
        ExpectPictureEquals(second, b, w, h);
    }
}

TEST(Sequence, AbandonedRenderLeavesNothingAndKeepsEarlierPictures) {
    TempDir dir;
    {
        std::ofstream earlier(dir / "f_1.tga");
        earlier << "the user's own file";
    }
    OutputTarget target;
    std::string error;
    ASSERT_TRUE(ParseOutput(dir / "f_%d.tga", target, error));
    auto sink = MakeFrameSink(target, SinkFormat{8, 8, 2500, 1, 2, true});
    ASSERT_TRUE(sink->Open(error)) << error;
    const auto frame = TestFrame(8, 8, 0);
    ASSERT_TRUE(sink->Write(1, frame.data(), error));
    ASSERT_TRUE(sink->Write(2, frame.data(), error));
    sink->Abandon();
    EXPECT_EQ(dir.List(), std::vector<std::string>{"f_1.tga"});
    EXPECT_EQ(gstest::ReadFile(dir / "f_1.tga"), "the user's own file");
}

TEST(Output, ExistingFilesAreReplacedOnlyWhenAsked) {
    TempDir dir;
    { std::ofstream(dir / "f_0007.bmp") << "kept"; }
    { std::ofstream(dir / "v.mkv") << "kept"; }
    OutputTarget pictures, video;
    std::string error;
    ASSERT_TRUE(ParseOutput(dir / "f_%04d.bmp", pictures, error));
    ASSERT_TRUE(ParseOutput(dir / "v.mkv", video, error));
    EXPECT_FALSE(MakeFrameSink(pictures, SinkFormat{8, 8, 2500, 5, 9, false})->Open(error));
    EXPECT_EQ(error, dir / "f_0007.bmp already exists; add -y to replace the pictures");
    EXPECT_FALSE(MakeFrameSink(video, SinkFormat{8, 8, 2500, 0, 0, false})->Open(error));
    EXPECT_EQ(error, dir / "v.mkv already exists; add -y to replace it");
    EXPECT_TRUE(MakeFrameSink(pictures, SinkFormat{8, 8, 2500, 8, 9, false})->Open(error)) << error;

    auto sink = MakeFrameSink(pictures, SinkFormat{8, 8, 2500, 7, 7, true});
    ASSERT_TRUE(sink->Open(error)) << error;
    const auto frame = TestFrame(8, 8, 3);
    ASSERT_TRUE(sink->Write(7, frame.data(), error));
    ASSERT_TRUE(sink->Finish(error));
    ExpectPictureEquals(dir / "f_0007.bmp", frame, 8, 8);
    EXPECT_EQ(gstest::ReadFile(dir / "v.mkv"), "kept");
}

TEST(Sequence, UnwritableFolderIsFoundBeforeRendering) {
    TempDir dir;
    { std::ofstream file(dir / "plain"); }
    OutputTarget target;
    std::string error;
    ASSERT_TRUE(ParseOutput(dir / "plain/f_%d.png", target, error));
    auto sink = MakeFrameSink(target, SinkFormat{8, 8, 2500});
    EXPECT_FALSE(sink->Open(error));
    EXPECT_NE(error.find("cannot write " + dir.path + "/plain/f_0.png"), std::string::npos) << error;
}

TEST(Video, SizesThatTheCodecsRefuseAreCaughtFirst) {
    TempDir dir;
    OutputTarget target;
    std::string error;
    ASSERT_TRUE(ParseOutput(dir / "a.mp4", target, error));
    EXPECT_FALSE(MakeFrameSink(target, SinkFormat{321, 180, 2500})->Open(error));
    EXPECT_NE(error.find("even"), std::string::npos);
    ASSERT_TRUE(ParseOutput(dir / "a.mov", target, error));
    EXPECT_FALSE(MakeFrameSink(target, SinkFormat{321, 180, 2500})->Open(error));
    EXPECT_TRUE(dir.List().empty());
}

TEST(Progress, LineShowsFramesRateAndTimeLeft) {
    const std::string start = Progress::Line(0, 100, 0.0, 80);
    EXPECT_NE(start.find("[----"), std::string::npos) << start;
    EXPECT_NE(start.find(" 0/100 frames"), std::string::npos) << start;

    const std::string half = Progress::Line(50, 100, 10.0, 80);
    EXPECT_NE(half.find("[####################--------------------]"), std::string::npos) << half;
    EXPECT_NE(half.find("5.0 fps"), std::string::npos) << half;
    EXPECT_NE(half.find("0:10 left"), std::string::npos) << half;
    EXPECT_LE(half.size(), 79u);

    EXPECT_NE(Progress::Line(100, 100, 4.0, 80).find("0:00 left"), std::string::npos);
    // A narrow terminal drops the bar and keeps within the line.
    const std::string narrow = Progress::Line(5, 10, 1.0, 30);
    EXPECT_EQ(narrow.find('['), std::string::npos) << narrow;
    EXPECT_LE(narrow.size(), 29u);

    EXPECT_EQ(FormatDuration(65), "1:05");
    EXPECT_EQ(FormatDuration(3723), "1:02:03");
    EXPECT_EQ(FormatDuration(-1), "--:--");
}
