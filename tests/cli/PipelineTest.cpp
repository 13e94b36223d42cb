// SPDX-License-Identifier: GPL-2.0-or-later
// Frames drawn several at a time over the document's one picture give the
// bytes of the renderer drawing them one by one, in order.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "app/Session.h"
#include "app/ShowBlock.h"
#include "motion/Timecode.h"
#include "doc/CDoc.h"
#include "tests/cli/CliTestUtil.h"

using namespace gs;

namespace {

struct Case {
    const char* name;
    std::vector<gstest::TestKey> keys;
    int fieldMode;
    bool blur;
    AspectChoice aspect;
    int draft;
};

std::vector<std::vector<uint8_t>> OneByOne(CDoc& doc, const FrameRun& run) {
    std::vector<std::vector<uint8_t>> frames;
    CDIB work(1, 1, 32);
    for (long f = run.first; f <= run.last; f++) {
        frames.emplace_back(size_t(run.width) * run.height * 4);
        EXPECT_TRUE(RenderRGBA(doc, f, run.fieldMode, run.width, run.height, work, frames.back().data()));
    }
    return frames;
}

std::vector<std::vector<uint8_t>> Piped(CDoc& doc, const FrameRun& run) {
    std::vector<std::vector<uint8_t>> frames;
    long expected = run.first;
    auto take = [&](long frame, const uint8_t* pixels, std::string&) {
        EXPECT_EQ(frame, expected++);
        frames.emplace_back(pixels, pixels + size_t(run.width) * run.height * 4);
        return true;
    };
    std::string error;
    bool stopped = false;
    EXPECT_TRUE(RenderFrames(doc, run, take, nullptr, error, stopped)) << error;
    return frames;
}

}  // namespace

TEST(FramePipeline, OneTwoAndFourThreadsGiveTheBytesOfTheRendererFrameByFrame) {
    const std::vector<gstest::TestKey> zoom = {{0, 80, 45, 160, 0}, {12, 60, 40, 70, 0}, {24, 100, 50, 120, 0}};
    const std::vector<gstest::TestKey> roll = {{0, 80, 45, 160, 0}, {12, 60, 40, 80, 8}, {24, 100, 50, 120, -3}};
    const Case cases[] = {
        {"zoom and pan", zoom, 0, false, AspectChoice::FollowFrame, -1},
        {"rolled", roll, 0, false, AspectChoice::FollowFrame, -1},
        {"both fields with blur", zoom, 3, true, AspectChoice::FollowFrame, -1},
        {"lower field, letterbox, draft", roll, 2, false, AspectChoice::LetterBox, 1},
    };
    for (const Case& c : cases) {
        gstest::TempDir dir;
        gstest::WriteTestShow(dir / "show.gsx", dir / "picture.tga", 160, 90, c.keys, 25);
        ShowBlock show;
        std::string error;
        ASSERT_TRUE(ReadShowFile(dir / "show.gsx", show, error)) << error;
        CDoc doc;
        ASSERT_TRUE(PutShow(doc, show, error)) << error;
        doc.blurFrames = c.blur;
        doc.draftRender = c.draft > 0;
        gFrameRate = 2997;
        FitCamera(doc, 96, 54, c.aspect);
        FrameRun run;
        run.first = 0;
        run.last = 24;
        run.fieldMode = c.fieldMode;
        run.width = 96;
        run.height = 54;
        const auto reference = OneByOne(doc, run);
        for (int threads : {1, 2, 4}) {
            run.threads = threads;
            EXPECT_TRUE(Piped(doc, run) == reference) << c.name << ", " << threads << " threads";
        }
    }
}

TEST(FramePipeline, AFailedHandOverStopsTheRunWithItsMessage) {
    gstest::TempDir dir;
    gstest::WriteStandardShow(dir);
    ShowBlock show;
    std::string error;
    ASSERT_TRUE(ReadShowFile(dir / "show.gsx", show, error)) << error;
    CDoc doc;
    ASSERT_TRUE(PutShow(doc, show, error)) << error;
    FrameRun run;
    run.last = 24;
    run.width = 32;
    run.height = 18;
    run.threads = 2;
    long taken = 0;
    auto take = [&](long frame, const uint8_t*, std::string& why) {
        if (frame == 5) {
            why = "the disk is full";
            return false;
        }
        taken++;
        return true;
    };
    bool stopped = false;
    EXPECT_FALSE(RenderFrames(doc, run, take, nullptr, error, stopped));
    EXPECT_EQ(error, "the disk is full");
    EXPECT_EQ(taken, 5);
}
