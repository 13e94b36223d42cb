// SPDX-License-Identifier: GPL-2.0-or-later
// The timeline: scale rules, scrubbing, key drags, picture ends and the key
// dialog, driven with real mouse events.
#include <cstring>

#include "EditorFixture.h"

namespace {

class TimelineTest : public EditorTest {
protected:
    const char* Settings() override { return "TimeScale=7\r\n"; }

    // Keys at 0, 100, 200 and 300, each somewhere else.
    void FourKeys() {
        SetKeys({CameraKey(0, 400, 300, 200), CameraKey(100, 300, 300, 200), CameraKey(200, 500, 300, 200),
                 CameraKey(300, 400, 200, 200)});
    }
    int X(long frame) { return static_cast<int>(timeline->ToPix(frame)) - timeline->GetViewScrollX(); }
    static constexpr int kKeyRow = 20;
    static constexpr int kFree = 45;  // below the segments: scrubbing
};

TEST_F(TimelineTest, ScaleFollowsTheShowLengthWhateverWasStored) {
    // Frames per second 30: below 3 s scale 5, below 8 s scale 10, else 30.
    EXPECT_EQ(timeline->timeScale, 30);
    const struct {
        long frames;
        int scale;
    } rows[] = {{89, 5}, {90, 10}, {239, 10}, {240, 30}, {20000, 30}};
    for (const auto& row : rows) {
        timeline->SetMaxTime(row.frames);
        EXPECT_EQ(timeline->timeScale, row.scale) << row.frames;
    }
    EXPECT_EQ(timeline->scrollWidth, 32700);
    timeline->SetMaxTime(1800);
    EXPECT_EQ(timeline->scrollWidth, 3604);

    EXPECT_EQ(timeline->ToPix(300), 604);
    EXPECT_EQ(timeline->FromPix(604), 300);
    EXPECT_EQ(timeline->FromPix(0), 0);
    timeline->timeScale = 5;
    EXPECT_EQ(timeline->ToPix(7), 88);
    EXPECT_EQ(timeline->FromPix(88), 7);
    EXPECT_EQ(timeline->KeyTolerance(), 2);
    timeline->timeScale = 0;  // contracting at a low rate can get here
    EXPECT_EQ(timeline->ToPix(10), 604);
    EXPECT_EQ(timeline->FromPix(100), 0);
}

TEST_F(TimelineTest, ScrubbingMovesTheCurrentFrameWithTheScroll) {
    FourKeys();
    backend->MouseDown(timeline, 104, kFree);
    backend->MouseMove(timeline, 204, kFree);
    Pump();
    EXPECT_EQ(timeline->scrubbing, 1);
    EXPECT_EQ(gCurFrame, 100);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 300.0f);  // the camera of frame 100
    backend->MouseMove(timeline, 254, kFree);
    backend->MouseUp(timeline, 304, kFree);
    Pump();
    EXPECT_EQ(timeline->scrubbing, 0);
    EXPECT_EQ(gCurFrame, 150);
    backend->MouseMove(timeline, 404, kFree);
    Pump();
    EXPECT_EQ(gCurFrame, 150);  // the release ended it

    // Scrolled by 100 pixels: the window's x 104 is frame 100.
    timeline->SetViewScrollX(100, false);
    ASSERT_EQ(timeline->GetViewScrollX(), 100);
    backend->Click(timeline, 104, kFree);
    Pump();
    EXPECT_EQ(gCurFrame, 100);
    EXPECT_EQ(pDoc->undoCount, 0);
}

TEST_F(TimelineTest, KeyDragsMoveShiftAndDeleteKeys) {
    FourKeys();
    // Shift: the dragged key and every later one move by the same frames.
    Drag(timeline, X(200), kKeyRow, X(260), kKeyRow, kModShift);
    ASSERT_EQ(pDoc->keyCount[0], 4);
    EXPECT_EQ(pDoc->keys[0][1].time, 100);
    EXPECT_EQ(pDoc->keys[0][2].time, 260);
    EXPECT_EQ(pDoc->keys[0][3].time, 360);
    EXPECT_EQ(gCurFrame, 260);

    // Pressed one frame off its marker: the key still moves with the rest.
    Drag(timeline, X(261) + 1, kKeyRow, X(301), kKeyRow, kModShift);
    EXPECT_EQ(pDoc->keys[0][2].time, 300);
    EXPECT_EQ(pDoc->keys[0][3].time, 400);

    // Without shift only the key moves, and it is sorted into place.
    Drag(timeline, X(100), kKeyRow, X(350), kKeyRow);
    EXPECT_EQ(pDoc->keys[0][1].time, 300);
    EXPECT_EQ(pDoc->keys[0][2].time, 350);
    EXPECT_FLOAT_EQ(pDoc->keys[0][2].horizontalPos, 300.0f);
    EXPECT_EQ(pDoc->keys[0][3].time, 400);

    // Dropped within 5 frames of the picture's start: the key is deleted.
    Drag(timeline, X(350), kKeyRow, X(4), kKeyRow);
    ASSERT_EQ(pDoc->keyCount[0], 3);
    EXPECT_EQ(pDoc->keys[0][0].time, 0);
    EXPECT_EQ(pDoc->keys[0][1].time, 300);
    EXPECT_EQ(pDoc->keys[0][2].time, 400);
    pDoc->UnDo();
    EXPECT_EQ(pDoc->keyCount[0], 4);

    // The first key of the first picture does not move: the press just
    // leads to the frame of the release.
    SetKeys({CameraKey(0, 400, 300, 200), CameraKey(100, 300, 300, 200)});
    Drag(timeline, X(0), kKeyRow, X(48), kKeyRow);
    EXPECT_EQ(pDoc->keys[0][0].time, 0);
    EXPECT_EQ(pDoc->keys[0][1].time, 100);
    EXPECT_EQ(gCurFrame, 48);
}

TEST_F(TimelineTest, PictureEndsStopBeforeTheNextPicture) {
    // A picture end is grabbed only in a show of two pictures or more.
    EXPECT_EQ(timeline->FindDur(X(1800), 5), -1);

    pDoc->pictureCount = 2;
    pDoc->keyCount[1] = 1;
    pDoc->keys[1][0] = CameraKey(0, 400, 300, 200);
    pDoc->keys[1][0].showLengthCopy = 500.0f;
    pDoc->keys[0][0].picStart = -100.0f;  // the next picture starts 100 frames on
    timeline->SetPictureLength(0, 500);
    EXPECT_FLOAT_EQ(pDoc->keys[0][0].showLengthCopy, 98.0f);
    timeline->SetPictureLength(0, -300);
    EXPECT_FLOAT_EQ(pDoc->keys[0][0].showLengthCopy, 0.0f);

    // The last picture's end, dragged with the mouse: nothing follows it.
    EXPECT_EQ(timeline->FindDur(X(500) + 11, 5), 1);
    EXPECT_EQ(timeline->FindDur(X(500) + 12, 5), -1);
    EXPECT_EQ(timeline->FindDur(X(500), kKeyRow), -1);
    pDoc->modified = 0;
    Drag(timeline, X(500), 5, X(640), 5);
    EXPECT_FLOAT_EQ(pDoc->keys[1][0].showLengthCopy, 640.0f);
    EXPECT_EQ(pDoc->modified, 1);
    EXPECT_EQ(gCurFrame, 640);
}

TEST_F(TimelineTest, SelectedKeyHoldSpansAndMarkers) {
    SetKeys({CameraKey(0, 400, 300, 200), CameraKey(100, 300, 300, 200), CameraKey(200, 300, 300, 200)});
    pDoc->GotoFrame(102, true);
    EXPECT_EQ(gSelectedKey, 1);
    const int dot = X(100) - 2 + 3;
    EXPECT_EQ(GetWindowPixel(timeline, dot, 26), 255);  // drawn red
    pDoc->GotoFrame(104, true);                         // 4 frames: outside the tolerance
    EXPECT_EQ(gSelectedKey, -1);
    EXPECT_EQ(GetWindowPixel(timeline, dot, 26), 0);

    // Keys 1 and 2 hold the camera: a black line runs between them; between
    // keys 0 and 1 the segment shows through.
    EXPECT_EQ(GetWindowPixel(timeline, X(100) + 12, 22), 0);
    EXPECT_EQ(GetWindowPixel(timeline, X(200) - 3, 22), 0);
    EXPECT_EQ(GetWindowPixel(timeline, X(50), 22), 16776960);
}

TEST_F(TimelineTest, KeyDialogEditsTheEaseOfATimelineKey) {
    FourKeys();
    // The dialog opens over the stage, beside the key.
    tagRECT mine, over, stageClient;
    timeline->GetWinRect(mine);
    stage->GetWinRect(over);
    stage->GetClientRect(stageClient);
    const int dx = X(100) + mine.left - over.left;
    const int dy = std::max(0, static_cast<int>(stageClient.bottom) - 330);
    const char* items[] = {"Horizontal Position", "Vertical Position", "Width", "Rotation",
                           "@REases|Use Default", "@RIn & Out", "@RIn", "@ROut", "@RNone",
                           "@SEase Speed", "@CNo Curves"};
    void* font = GetSelectedFont();
    SelectFont(Sans10);
    int labels = 0;
    for (const char* item : items) labels = std::max(labels, static_cast<int>(GetTextWidth(item)));
    SelectFont(font);
    auto row = [&](int i) { return dy + 36 + 20 * i + 8; };
    const int valueX = dx + labels + 16 + 5;

    backend->MouseDown(timeline, X(100), kKeyRow);
    backend->MouseUp(timeline, X(100), kKeyRow, kModControl);
    backend->Click(stage, valueX, row(7));   // "Out"
    backend->Click(stage, valueX, row(10));  // "No Curves"
    backend->Key(stage, kKeyReturn);
    Pump();
    EXPECT_FLOAT_EQ(pDoc->keys[0][1].easeCode, 3001.0f);
    EXPECT_FLOAT_EQ(pDoc->keys[0][1].horizontalPos, 300.0f);
    EXPECT_EQ(pDoc->undoCount, 1);
    EXPECT_EQ(timeline->dragKey, -1);
    EXPECT_EQ(gCurFrame, 100);

    // Back to the show's ease; Escape changes nothing.
    backend->MouseDown(timeline, X(100), kKeyRow);
    backend->MouseUp(timeline, X(100), kKeyRow, kModControl);
    backend->Click(stage, valueX, row(4));
    backend->Key(stage, kKeyReturn);
    backend->MouseDown(timeline, X(200), kKeyRow);
    backend->MouseUp(timeline, X(200), kKeyRow, kModControl);
    backend->Click(stage, valueX, row(5));
    backend->Key(stage, kKeyEscape);
    Pump();
    EXPECT_FLOAT_EQ(pDoc->keys[0][1].easeCode, 0.0f);
    EXPECT_FLOAT_EQ(pDoc->keys[0][2].easeCode, 0.0f);
    EXPECT_EQ(pDoc->keys[0][2].time, 200);
}

TEST(KeyDialogEase, ChoicesAndCodesAgreeWithTheInterpolator) {
    for (int radio = 0; radio <= 4; radio++) {
        for (int speed = 0; speed <= 100; speed += 2) {
            for (bool straight : {false, true}) {
                const EaseChoice choice{radio, speed, straight};
                const float code = EaseCodeFromChoice(choice);
                if (radio == 0) {
                    EXPECT_EQ(code, 0.0f);
                    continue;
                }
                // Decoded as the interpolator decodes a key's own ease.
                const int whole = static_cast<int>(code);
                const int amount = whole % 1000;
                EXPECT_EQ(static_cast<int>((code - 900.0f) / 1000.0f), radio - 1);
                EXPECT_EQ((whole & 1) != 0, straight);
                EXPECT_LE(amount, 100);
                const EaseChoice back = EaseChoiceFromCode(code);
                EXPECT_EQ(back.radio, radio);
                EXPECT_EQ(back.noCurves, straight);
                EXPECT_EQ(back.speed, straight ? std::min(speed, 98) : speed);
            }
        }
    }
    EXPECT_EQ(EaseChoiceFromCode(-5.0f).radio, 0);
    EXPECT_EQ(EaseChoiceFromCode(6050.0f).radio, 4);  // an unknown type eases as "None"
}

}  // namespace
