// SPDX-License-Identifier: GPL-2.0-or-later
// The viewer: placement, the preview of the camera's view, and playback on a
// clock that the test holds.
#include <vector>

#include "EditorFixture.h"

namespace {

using ViewerTest = EditorTest;


TEST_F(ViewerTest, PlacementFromTheSettingsStaysOnTheParentUnlessDualScreen) {
    tagRECT main;
    frame->GetWinRect(main);
    tagRECT r;
    viewer->GetWinRect(r);
    // The default, 220 wide and 40 from the right, is cut to end 64 pixels
    // before the parent's right edge.
    EXPECT_EQ(r.left, main.right - 220 - 40);
    EXPECT_EQ(r.top, main.top + 80);
    EXPECT_EQ(r.right, main.right - 64);
    tagRECT client;
    viewer->GetClientRect(client);
    EXPECT_EQ(client.right, 196);
    EXPECT_EQ(client.bottom, 147 + 25);  // the picture at the show's aspect, then the strip

    const struct {
        const char* settings;
        int dual;
        tagRECT expected;  // left, top, right (bottom follows the aspect)
    } rows[] = {
        {"ViewerTop=5\r\nViewerLeft=-40\r\nViewerWidth=-3\r\n", 0, {32, 32, 112, 0}},
        {"ViewerTop=5000\r\nViewerLeft=5000\r\nViewerWidth=300\r\n", 0,
         {main.right - 64, main.bottom - 64, main.right - 64 + 80, 0}},
        {"ViewerTop=5000\r\nViewerLeft=5000\r\nViewerWidth=300\r\n", 1, {5000, 5000, 5300, 0}},
        {"ViewerTop=100\r\nViewerLeft=200\r\nViewerWidth=300\r\n", 0, {200, 100, 500, 0}},
    };
    for (const auto& row : rows) {
        std::snprintf(gIniString, sizeof gIniString, "[Glimmerstroll]\r\n%sDualScreenViewer=%d\r\n", row.settings,
                      row.dual);
        CView* made = new CView(frame.get());
        made->GetWinRect(r);
        EXPECT_EQ(r.left, row.expected.left) << row.settings << row.dual;
        EXPECT_EQ(r.top, row.expected.top) << row.settings << row.dual;
        EXPECT_EQ(r.right, row.expected.right) << row.settings << row.dual;
        delete made;
    }
    pViewer = viewer;
}

TEST_F(ViewerTest, PreviewShowsTheCameraOfTheStageTopDownInBothQualities) {
    // The top half of the picture is red, the bottom half blue.
    tagRECT area;
    viewer->GetPictureArea(area);
    ASSERT_EQ(area.right, 196);
    ASSERT_EQ(area.bottom, 147);
    const int mid = area.right / 2;
    stage->workingKey = CameraKey(0, 400, 150, 200);
    viewer->Refresh(true);
    EXPECT_TRUE(Near(GetWindowPixel(viewer, mid, 70), kRed));
    stage->workingKey = CameraKey(0, 400, 450, 200);
    viewer->Refresh(false);
    EXPECT_TRUE(Near(GetWindowPixel(viewer, mid, 70), kBlue));
    EXPECT_EQ(viewer->preview.GetWid(), 196);
    EXPECT_EQ(viewer->preview.GetHgt(), 147);
    EXPECT_EQ(viewer->preview.GetBitCount(), 32);

    // A camera over the middle line: red above, blue below.
    stage->workingKey = CameraKey(0, 400, 300, 200);
    viewer->Refresh(true);
    EXPECT_TRUE(Near(GetWindowPixel(viewer, mid, 20), kRed));
    EXPECT_TRUE(Near(GetWindowPixel(viewer, mid, 130), kBlue));

    // Rolled half a turn, the halves change places, also during a drag.
    stage->workingKey.rotation3 = 180.0f;
    viewer->Refresh(false);
    EXPECT_TRUE(Near(GetWindowPixel(viewer, mid, 20), kBlue));
    EXPECT_TRUE(Near(GetWindowPixel(viewer, mid, 130), kRed));

    // The safe areas are framed in white.
    stage->workingKey.rotation3 = 0.0f;
    viewer->tvSafe = 1;
    viewer->Refresh(true);
    const int inset = static_cast<int>(196 * 0.048);
    EXPECT_EQ(GetWindowPixel(viewer, inset, 60), 0xFFFFFF);
    EXPECT_TRUE(Near(GetWindowPixel(viewer, inset - 1, 60), kRed));
}

TEST_F(ViewerTest, PlaybackShowsTheFramesTheClockCallsForAndStopsOnAKey) {
    SetKeys({CameraKey(0, 100, 300, 200), CameraKey(300, 700, 300, 200)});
    ASSERT_EQ(viewer->ticksPerFrame, 2u);
    backend->simulated = true;
    backend->now = 1000;

    struct Poll {
        unsigned long now;
        long next;     // the frame the clock calls for next
        float shown;   // the camera the viewer has just shown
    };
    std::vector<Poll> polls;
    backend->onPoll = [&] {
        polls.push_back(Poll{backend->now, gCurFrame, pStage->workingKey.horizontalPos});
        backend->now += 5;  // drawing a frame takes two and a half frames' time
        if (polls.size() == 12) backend->MouseUp(pTime, 204, 45);  // restart at frame 100
        if (polls.size() == 20) backend->KeyDown(pStage, 'x');
    };
    const tagRECT& play = viewer->buttons[2].rect;
    backend->Click(viewer, play.left + 5, play.top + 5);
    Pump();
    backend->onPoll = nullptr;

    ASSERT_EQ(polls.size(), 20u);
    EXPECT_EQ(viewer->speed, 0);
    EXPECT_EQ(viewer->inLoop, 0);
    EXPECT_EQ(viewer->buttons[2].state, 0);
    unsigned long start = 1000;
    long startFrame = 0;
    for (size_t i = 0; i < polls.size(); i++) {
        if (i == 12) {
            start = polls[i].now;
            startFrame = 100;
        }
        EXPECT_EQ(polls[i].next, static_cast<long>(polls[i].now - start) / 2 + startFrame) << i;
        if (i == 0 || i == 12) continue;
        KeyStruct camera;
        pDoc->QueueKey(&camera, 0, polls[i - 1].next, 0);
        EXPECT_FLOAT_EQ(polls[i].shown, camera.horizontalPos) << i;
    }
    // Frames were dropped, not queued: the clock ran 2.5 frames a poll.
    EXPECT_EQ(polls[5].next - polls[4].next, polls[5].now % 2 ? 2 : 3);
    EXPECT_EQ(gCurFrame, polls.back().next);

    // Played to the end, the loop stops by itself; a new start begins at 0
    // and, playing backward, stops before it.
    backend->onPoll = [&] { backend->now += 5; };
    gCurFrame = 1795;
    viewer->SetSpeed(1);
    EXPECT_EQ(viewer->speed, 0);
    EXPECT_GT(gCurFrame, 1800);
    viewer->SetSpeed(-1);
    EXPECT_EQ(gCurFrame, 0);
    EXPECT_EQ(viewer->startFrame, 0);
}

TEST_F(ViewerTest, PlaybackScrollsTheTimelineToKeepTheCurrentFrameInView) {
    backend->simulated = true;
    tagRECT client;
    timeline->GetClientRect(client);
    std::vector<int> lines;  // the current-frame line in the timeline's window, at every poll
    backend->onPoll = [&] {
        lines.push_back(static_cast<int>(timeline->ToPix(gCurFrame)) - timeline->GetViewScrollX());
        backend->now += 120;  // 60 frames a poll
        if (lines.size() == 25) backend->KeyDown(pStage, 'x');
    };
    const tagRECT& play = viewer->buttons[2].rect;
    backend->Click(viewer, play.left + 5, play.top + 5);
    Pump();
    backend->onPoll = nullptr;
    ASSERT_EQ(lines.size(), 25u);
    ASSERT_GT(timeline->ToPix(gCurFrame), client.right);  // played well past the first page
    for (size_t i = 0; i < lines.size(); i++) {
        EXPECT_GE(lines[i], 0) << i;
        EXPECT_LT(lines[i], client.right) << i;
    }
    EXPECT_GT(timeline->GetViewScrollX(), 0);
}

}  // namespace
