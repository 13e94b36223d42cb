// SPDX-License-Identifier: GPL-2.0-or-later
// The stage: dragging, rolling, tilting and resizing the camera frame with real
// mouse events, the keyboard, and the keys the path offers.
#include <cmath>

#include "EditorFixture.h"
#include "motion/Geometry.h"

namespace {

using StageTest = EditorTest;

StageFrame FrameOf(CStage* stage) {
    StageFrame f;
    stage->GetFrame(f);
    return f;
}

TEST_F(StageTest, MoveDragFollowsTheMouseOverTheScaleAndShiftKeepsOneAxis) {
    ASSERT_FLOAT_EQ(stage->scale, 0.5f);
    StageFrame f = FrameOf(stage);
    EXPECT_EQ(f.centre.x, 200);
    EXPECT_EQ(f.centre.y, 150);

    Drag(stage, 200, 150, 240, 130);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 480.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.verticalPos, 260.0f);
    // Auto-add put the camera into the key at the current frame.
    EXPECT_EQ(pDoc->keyCount[0], 1);
    EXPECT_FLOAT_EQ(pDoc->keys[0][0].horizontalPos, 480.0f);
    EXPECT_FLOAT_EQ(pDoc->keys[0][0].verticalPos, 260.0f);
    EXPECT_EQ(stage->dragMode, kStageNoDrag);

    // Mostly sideways with shift: the height stays exactly where it was.
    f = FrameOf(stage);
    Drag(stage, f.centre.x, f.centre.y, f.centre.x - 30, f.centre.y + 10, kModShift);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 420.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.verticalPos, 260.0f);
    // Mostly down with shift: the horizontal position stays.
    f = FrameOf(stage);
    Drag(stage, f.centre.x, f.centre.y, f.centre.x + 7, f.centre.y + 25, kModShift);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 420.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.verticalPos, 310.0f);

    // With auto-add off the camera moves but the show does not change.
    pDoc->autoAddKey = 0;
    f = FrameOf(stage);
    Drag(stage, f.centre.x, f.centre.y, f.centre.x + 10, f.centre.y);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 440.0f);
    EXPECT_FLOAT_EQ(pDoc->keys[0][0].horizontalPos, 420.0f);
}

TEST_F(StageTest, ScrollAndCentringMoveTheFrameButNotTheDrag) {
    stage->SetViewScrollX(30, false);
    stage->SetViewScrollY(20, false);
    StageFrame f = FrameOf(stage);
    EXPECT_EQ(f.centre.x, 170);
    EXPECT_EQ(f.centre.y, 130);
    Drag(stage, 170, 130, 190, 140);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 440.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.verticalPos, 320.0f);

    stage->SetViewScrollX(0, false);
    stage->SetViewScrollY(0, false);
    frame->HandleEvent(kMsgMenu, kCmdCenterPic, 0);
    ASSERT_EQ(stage->centerPic, 1);
    tagRECT client;
    stage->GetClientRect(client);
    const int s = stage->GetScrollSize();
    EXPECT_EQ(stage->originX, (client.right - s - 400) / 2);
    EXPECT_EQ(stage->originY, (client.bottom - s - 300) / 2);
    f = FrameOf(stage);
    EXPECT_EQ(f.centre.x, stage->originX + 220);
    EXPECT_EQ(GetIniItem("CenterPic", 0), 1);
}

TEST_F(StageTest, RollDragsFromTheCurrentAngleAndShiftSnapsToZero) {
    // Without the rotation display corner 0 is a resize handle.
    StageFrame f = FrameOf(stage);
    EXPECT_EQ(stage->MouseCheck(f.corner[0].x, f.corner[0].y, 0), kStageResize);

    gShowRotation = 1;
    EXPECT_EQ(stage->MouseCheck(f.corner[0].x, f.corner[0].y, 0), kStageRoll);
    EXPECT_EQ(stage->MouseCheck(f.corner[0].x, f.corner[0].y, kMouseCommand), kStageTilt);
    Drag(stage, f.corner[0].x, f.corner[0].y, f.corner[0].x + 30, f.corner[0].y);
    EXPECT_FLOAT_EQ(stage->workingKey.rotation3, 15.0f);
    EXPECT_FLOAT_EQ(pDoc->keys[0][0].rotation3, 15.0f);
    EXPECT_EQ(pDoc->modified, 1);

    // The frame has turned with it; a second drag goes on from 15 degrees.
    f = FrameOf(stage);
    Drag(stage, f.corner[0].x, f.corner[0].y, f.corner[0].x - 10, f.corner[0].y);
    EXPECT_FLOAT_EQ(stage->workingKey.rotation3, 10.0f);

    f = FrameOf(stage);
    Drag(stage, f.corner[0].x, f.corner[0].y, f.corner[0].x + 50, f.corner[0].y, kModShift);
    EXPECT_FLOAT_EQ(stage->workingKey.rotation3, 0.0f);
}

TEST_F(StageTest, TiltsStopAtNinetyDegreesEachWay) {
    gShowRotation = 1;
    StageFrame f = FrameOf(stage);
    backend->MouseDown(stage, f.corner[0].x, f.corner[0].y, kModCommand);
    backend->MouseMove(stage, f.corner[0].x + 40, f.corner[0].y);
    Pump();
    EXPECT_EQ(stage->dragMode, kStageTilt);
    EXPECT_FLOAT_EQ(stage->workingKey.rotation2, 20.0f);
    backend->MouseMove(stage, f.corner[0].x + 400, f.corner[0].y);
    Pump();
    EXPECT_FLOAT_EQ(stage->workingKey.rotation2, 90.0f);
    backend->MouseMove(stage, f.corner[0].x - 400, f.corner[0].y);
    backend->MouseUp(stage, f.corner[0].x - 400, f.corner[0].y);
    Pump();
    EXPECT_FLOAT_EQ(stage->workingKey.rotation2, -90.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.rotation1, 0.0f);

    // With shift the other axis tilts, starting from its own angle.
    f = FrameOf(stage);
    backend->MouseDown(stage, f.corner[0].x, f.corner[0].y, kModCommand | kModShift);
    backend->MouseMove(stage, f.corner[0].x + 500, f.corner[0].y, kModShift);
    backend->MouseUp(stage, f.corner[0].x + 500, f.corner[0].y, kModShift);
    Pump();
    EXPECT_FLOAT_EQ(stage->workingKey.rotation1, 90.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.rotation2, -90.0f);
}

TEST_F(StageTest, ResizeKeepsTheAspectAndWorksAboutTheRolledCentre) {
    StageFrame f = FrameOf(stage);
    Drag(stage, f.corner[2].x, f.corner[2].y, f.centre.x + 100, f.corner[2].y + 3);
    EXPECT_FLOAT_EQ(stage->workingKey.width, 400.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 400.0f);
    f = FrameOf(stage);
    EXPECT_EQ(f.halfWidth, 100);
    EXPECT_EQ(f.halfHeight, 75);
    EXPECT_NEAR(f.corner[2].y - f.corner[1].y, 150, 1);  // the turn rounds the upper corners up

    // Rolled a quarter turn, the frame's width lies along the screen's height.
    SetKeys({CameraKey(0, 400, 300, 200)});
    pDoc->keys[0][0].rotation3 = 90.0f;
    pDoc->GotoFrame(0, true);
    f = FrameOf(stage);
    Drag(stage, f.corner[2].x, f.corner[2].y, f.centre.x + 5, f.centre.y + 60);
    EXPECT_NEAR(stage->workingKey.width, 240.0f, 4.0f);

    // Dragged through the centre the width ends at 0, no further.
    SetKeys({CameraKey(0, 400, 300, 200)});
    f = FrameOf(stage);
    Drag(stage, f.corner[2].x, f.corner[2].y, f.centre.x, f.centre.y);
    EXPECT_FLOAT_EQ(stage->workingKey.width, 0.0f);
}

TEST_F(StageTest, TheInnerSquareWinsOverACornerItOverlaps) {
    SetKeys({CameraKey(0, 400, 300, 64)});  // half width 16, half height 12, handles 4
    StageFrame f = FrameOf(stage);
    ASSERT_EQ(f.halfWidth, 16);
    const int x = f.centre.x - 12;
    const int y = f.centre.y - 12;
    ASSERT_LE(std::abs(x - f.corner[0].x), 4);
    ASSERT_LE(std::abs(y - f.corner[0].y), 4);
    Drag(stage, x, y, x + 10, y);
    EXPECT_FLOAT_EQ(stage->workingKey.width, 64.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 420.0f);

    // Beside the square the corner resizes; far from both nothing happens.
    f = FrameOf(stage);
    EXPECT_EQ(stage->MouseCheck(f.corner[0].x - 3, f.corner[0].y - 3, 0), kStageResize);
    EXPECT_EQ(stage->MouseCheck(f.centre.x + 60, f.centre.y, 0), kStageNoDrag);
    Drag(stage, f.centre.x + 60, f.centre.y, f.centre.x + 90, f.centre.y);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 420.0f);
    EXPECT_EQ(pDoc->undoCount, 1);  // only the first drag made an edit
}

TEST_F(StageTest, ArrowPageAndHomeKeysWithAndWithoutControl) {
    SetKeys({CameraKey(0, 400, 300, 6)});
    backend->Key(stage, kKeyLeft);
    backend->Key(stage, kKeyDown);
    backend->Key(stage, kKeyDown);
    backend->Key(stage, kKeyPageUp);
    backend->Key(stage, kKeyPageUp);
    backend->Key(stage, kKeyPageUp);
    Pump();
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 399.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.verticalPos, 302.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.width, 4.0f);  // never below 4 by keyboard
    backend->Key(stage, kKeyPageDown);
    Pump();
    EXPECT_FLOAT_EQ(stage->workingKey.width, 5.0f);

    backend->Key(stage, kKeyPageUp, kModControl);
    backend->Key(stage, kKeyRight, kModControl);
    backend->Key(stage, kKeyUp, kModControl);
    Pump();
    EXPECT_FLOAT_EQ(stage->workingKey.width, 800.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 400.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.verticalPos, 300.0f);
    backend->Key(stage, kKeyPageDown, kModControl);
    backend->Key(stage, kKeyDown, kModControl);
    backend->Key(stage, kKeyLeft, kModControl);
    Pump();
    EXPECT_FLOAT_EQ(stage->workingKey.width, 800.0f);  // picture height / aspect
    EXPECT_FLOAT_EQ(stage->workingKey.verticalPos, 300.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 400.0f);

    stage->workingKey.horizontalPos = 10.0f;
    stage->workingKey.verticalPos = 20.0f;
    backend->Key(stage, kKeyHome, kModControl);
    Pump();
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 400.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.verticalPos, 300.0f);

    // Home alone goes to the main window, which goes to frame 0; the
    // keyboard never adds keys.
    gCurFrame = 50;
    backend->Key(stage, kKeyHome);
    Pump();
    EXPECT_EQ(gCurFrame, 0);
    EXPECT_EQ(pDoc->undoCount, 0);
}

TEST_F(StageTest, ReleaseOnAKeyOfThePathGoesToItsFrame) {
    SetKeys({CameraKey(0, 400, 300, 200), CameraKey(90, 100, 100, 200), CameraKey(180, 700, 500, 200)});
    ASSERT_EQ(stage->showPath, 0);
    backend->Click(stage, 350, 250);
    Pump();
    EXPECT_EQ(gCurFrame, 0);

    frame->HandleEvent(kMsgMenu, kCmdShowCameraPath, 0);
    ASSERT_EQ(stage->showPath, 1);
    backend->Click(stage, 356, 243);  // (350, 250) within 7 pixels
    Pump();
    EXPECT_EQ(gCurFrame, 180);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 700.0f);
    backend->Click(stage, 43, 57);
    Pump();
    EXPECT_EQ(gCurFrame, 90);
    backend->Click(stage, 58, 50);  // 8 pixels off
    Pump();
    EXPECT_EQ(gCurFrame, 90);
}

TEST_F(StageTest, ControlClickOnTheFrameOpensTheKeyDialog) {
    // Return accepts the dialog as it opened: whole numbers of the camera.
    stage->workingKey.horizontalPos = 400.6f;
    backend->MouseDown(stage, 200, 150);
    backend->MouseUp(stage, 200, 150, kModControl);
    backend->Key(stage, kKeyReturn);
    Pump();
    EXPECT_EQ(stage->dragMode, kStageNoDrag);
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 400.0f);
    EXPECT_FLOAT_EQ(stage->workingKey.width, 200.0f);

    // Escape leaves the camera alone; off the frame no dialog opens.
    stage->workingKey.horizontalPos = 400.6f;
    backend->MouseDown(stage, 200, 150);
    backend->MouseUp(stage, 200, 150, kModControl);
    backend->Key(stage, kKeyEscape);
    backend->MouseUp(stage, 10, 10, kModControl);
    Pump();
    EXPECT_FLOAT_EQ(stage->workingKey.horizontalPos, 400.6f);
    EXPECT_EQ(backend->Pending(), 0u);
}

// Where a window's client area starts on the screen.
tagPOINT Origin(CPWnd* w) {
    return tagPOINT{w->winRect.left + w->GetBorderSize(), w->winRect.top + w->GetCaptionSize() + w->GetMenuSize()};
}

// Where a point local to `from` lies in `to`'s local coordinates.
tagPOINT Across(CPWnd* from, int x, int y, CPWnd* to) {
    const tagPOINT a = Origin(from);
    const tagPOINT b = Origin(to);
    return tagPOINT{x + a.x - b.x, y + a.y - b.y};
}

TEST_F(StageTest, ADragLetGoOverAnotherWindowOrOutsideEndsOnTheStageAndKeepsTheKey) {
    // Moved down over the timeline and released there: the stage gets the
    // move and the release.
    backend->MouseDown(stage, 200, 150);
    backend->MouseMove(timeline, 300, 20);
    backend->MouseUp(timeline, 300, 20);
    Pump();
    const tagPOINT end = Across(timeline, 300, 20, stage);
    ASSERT_GT(end.y, 300);  // below the stage
    EXPECT_EQ(stage->dragMode, kStageNoDrag);
    EXPECT_FLOAT_EQ(pDoc->keys[0][0].horizontalPos, 2.0f * static_cast<float>(end.x));
    EXPECT_FLOAT_EQ(pDoc->keys[0][0].verticalPos, 2.0f * static_cast<float>(end.y));

    // Resized over the status area and let go outside every window: the
    // width follows the pointer all the same.
    SetKeys({CameraKey(0, 400, 300, 200)});
    const StageFrame f = FrameOf(stage);
    backend->MouseDown(stage, f.corner[2].x, f.corner[2].y);
    const tagPOINT over = Across(stage, f.corner[2].x + 40, f.corner[2].y, frame.get());
    backend->MouseMove(frame.get(), over.x, over.y);
    backend->MouseUp(nullptr, Origin(stage).x + f.corner[2].x + 40, Origin(stage).y + f.corner[2].y);
    Pump();
    EXPECT_EQ(stage->dragMode, kStageNoDrag);
    EXPECT_FLOAT_EQ(pDoc->keys[0][0].width, 4.0f * static_cast<float>(f.halfWidth + 40));
    // Redrawn: the guide line through the centre is black again, not inverted.
    const StageFrame after = FrameOf(stage);
    EXPECT_EQ(GetWindowPixel(stage, after.centre.x + 2, after.centre.y), 0);

    // The grab ends with the release: a later move over the timeline is its
    // own (and takes the stage's hint away).
    backend->MouseMove(stage, 5, 5);
    Pump();
    EXPECT_STREQ(kStageHint, frame->Hint());
    backend->MouseMove(timeline, 300, 20);
    Pump();
    EXPECT_EQ(nullptr, frame->Hint());
    EXPECT_EQ(stage->dragMode, kStageNoDrag);
    EXPECT_FLOAT_EQ(stage->workingKey.width, pDoc->keys[0][0].width);
}

TEST_F(StageTest, ThePictureIsReducedWithTheAreaFilterWhateverTheKeysTurn) {
    // Noise: only the area filter gives every cell's average.
    auto grey = [](int x, int row) { return static_cast<uint8_t>((x * 2654435761u + row * 40503u) >> 13); };
    for (int row = 0; row < 600; row++) {
        uint8_t* p = pDoc->GetBitsAdd(row);
        for (int x = 0; x < 800; x++) p[3 * x] = p[3 * x + 1] = p[3 * x + 2] = grey(x, row);
    }
    SetKeys({CameraKey(0, 780, 580, 20), CameraKey(50, 780, 580, 20)});  // the frame off the samples
    pDoc->keys[0][1].rotation3 = 30.0f;
    pDoc->useRotation = pDoc->HasRotationInShow(0);
    ASSERT_TRUE(pDoc->useRotation);
    backend->MenuChoice(kFirstMenuId + 4, 5);  // View > Stage Zoom Out: 25 %, 4 x 4 cells
    backend->Update(stage);
    Pump();
    ASSERT_FLOAT_EQ(stage->scale, 0.25f);
    // The stage shows the picture as the area filter reduces it.
    CDIB reduced(200, 150, 32);
    pDoc->useRotation = 0;
    ASSERT_TRUE(reduced.FilterCrop(pDoc, 0.0f, 0.0f, 800.0f, 600.0f, 0.0f, 0.0f, 0.0f, 0, 100, 0));
    pDoc->useRotation = 1;
    for (int y = 10; y < 140; y += 17) {
        for (int x = 10; x < 190; x += 21) {
            const uint8_t* p = reduced.GetBitsAdd(149 - y) + 4 * x;
            EXPECT_TRUE(Near(GetWindowPixel(stage, x, y), p[2] | p[1] << 8 | p[0] << 16)) << x << "," << y;
        }
    }
    EXPECT_TRUE(pDoc->useRotation);
}

TEST_F(StageTest, ThePictureFollowsLoadsIntoTheSameMemoryAndTheScale) {
    // At 50 % the picture's top half is the stage's first 150 rows.
    EXPECT_TRUE(Near(GetWindowPixel(stage, 300, 50), kRed));
    EXPECT_TRUE(Near(GetWindowPixel(stage, 300, 250), kBlue));
    EXPECT_EQ(GetWindowPixel(stage, 300, 450), 12632256);  // the stage below it

    // Another picture of the same size lands in the same buffer.
    const uint8_t* bits = pDoc->bits;
    PaintPicture(800, 600, false);
    ASSERT_EQ(pDoc->bits, bits);
    stage->OnDraw();
    EXPECT_TRUE(Near(GetWindowPixel(stage, 300, 50), kBlue));
    EXPECT_TRUE(Near(GetWindowPixel(stage, 300, 250), kRed));

    // At 100 %, scrolled down by 350 rows: the lower half shows from row 0.
    frame->HandleEvent(kMsgMenu, kCmdZoomIn, 0);
    ASSERT_FLOAT_EQ(stage->scale, 1.0f);
    stage->SetViewScrollY(350, false);
    stage->OnDraw();
    EXPECT_TRUE(Near(GetWindowPixel(stage, 300, 10), kRed));
    EXPECT_EQ(GetWindowPixel(stage, 300, 260), 12632256);
}

TEST_F(StageTest, DrawCurveTracesThePathThroughTheKeysAndRingsEachKey) {
    CPWnd canvas;
    canvas.Create(nullptr, 0, nullptr);
    canvas.SetWinRect(0, 0, 300, 200, true);
    PortSaver port(&canvas);
    DrawBar(0xFFFFFF, tagRECT{0, 0, 300, 200});
    KeyStruct keys[2] = {CameraKey(0, 20, 40, 10), CameraKey(32, 220, 40, 10)};
    DrawCurve(0, 2, keys, EASE_NONE, 10, 20, 1.0f, 1);
    // The path runs along y = 60 from x 30 to 230 (drawn inverted on white:
    // black), and the key rings are red on white inverted: cyan.
    for (int x = 40; x <= 220; x += 30) EXPECT_EQ(GetWindowPixel(&canvas, x, 60), 0) << x;
    for (int key = 0; key < 2; key++) {
        int ring = 0;
        for (int y = 55; y <= 65; y++)
            for (int x = 25 + 200 * key; x <= 35 + 200 * key; x++) ring += GetWindowPixel(&canvas, x, y) == 0xFFFF00;
        EXPECT_GE(ring, 8) << key;
    }
    EXPECT_EQ(GetWindowPixel(&canvas, 130, 70), 0xFFFFFF);
    EXPECT_EQ(GetWindowPixel(&canvas, 130, 50), 0xFFFFFF);
}

}  // namespace
