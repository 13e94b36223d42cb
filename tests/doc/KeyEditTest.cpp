#include <gtest/gtest.h>

#include <cmath>

#include "DocTestUtil.h"
#include "motion/Timecode.h"

namespace {

// Average speed of the camera centre over [from, to), measured as the document does.
float PathSpeed(CDoc& doc, long from, long to) {
    float length = 0.0f;
    for (long f = from; f + 1 < to; f++) {
        const float dx = CurveFit(doc.keyCount[0], doc.keys[0], 0, f + 1, 0, doc.easeType) -
                         CurveFit(doc.keyCount[0], doc.keys[0], 0, f, 0, doc.easeType);
        const float dy = CurveFit(doc.keyCount[0], doc.keys[0], 2, f + 1, 0, doc.easeType) -
                         CurveFit(doc.keyCount[0], doc.keys[0], 2, f, 0, doc.easeType);
        length += std::sqrt(dx * dx + dy * dy);
    }
    return length / static_cast<float>(to - from);
}

}  // namespace

TEST(KeyAccess, BoundsSortingAndLookup) {
    auto doc = NewDoc();
    KeyStruct key = MakeKey(40, 1, 2, 3);

    // SetKey grows the count by one whatever the index; index 64 has no slot.
    doc->SetKey(3, key, 0);
    EXPECT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[0][3].time, 40);
    doc->keys[1][0] = MakeKey(7, 0, 0, 0);
    doc->SetKey(64, key, 0);
    EXPECT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[1][0].time, 7);  // the next slot's key is untouched
    doc->SetKey(0, key, 1);
    doc->SetKey(-1, key, 0);
    EXPECT_EQ(doc->keyCount[1], 0);
    EXPECT_EQ(doc->keyCount[0], 2);

    KeyStruct out = MakeKey(-5, 0, 0, 0);
    doc->GetKey(64, out, 0);
    doc->GetKey(0, out, 1);
    EXPECT_EQ(out.time, -5);
    doc->GetKey(3, out, 0);
    EXPECT_EQ(out.time, 40);

    // Selection sort: ascending times, equal times keep the first one first.
    const KeyStruct list[] = {MakeKey(0, 0, 0, 1), MakeKey(90, 0, 0, 2), MakeKey(30, 0, 0, 3),
                              MakeKey(30, 0, 0, 4), MakeKey(10, 0, 0, 5)};
    SetKeys(*doc, list);
    doc->SortKeys(0);
    const int times[] = {0, 10, 30, 30, 90};
    for (int i = 0; i < 5; i++) EXPECT_EQ(doc->keys[0][i].time, times[i]) << i;
    EXPECT_FLOAT_EQ(doc->keys[0][2].width, 3.0f);

    // FindKey: within 3 frames of the key, counted from the picture's start.
    doc->SetPicStart(100, 0);
    EXPECT_EQ(doc->GetPicStart(0), 100);
    EXPECT_EQ(doc->FindKey(193), 4);
    EXPECT_EQ(doc->FindKey(186), -1);
    EXPECT_EQ(doc->FindKey(127), 2);
    EXPECT_EQ(doc->FindKey(134), -1);

    // Only picture 0 carries a start; every frame gives the last of two pictures.
    doc->keys[0][0].picStart = -12.7f;
    EXPECT_EQ(doc->GetPicStart(0), -12);
    EXPECT_EQ(doc->GetPicStart(1), 0);
    EXPECT_EQ(doc->FindCurPic(500), 0);
    doc->pictureCount = 2;
    EXPECT_EQ(doc->FindCurPic(0), 1);
    EXPECT_EQ(doc->FindCurPic(-5), 0);
}

TEST(KeyEditing, AddKeyReplacesNearKeysAndInsertsNewOnes) {
    auto doc = NewDoc();
    doc->keys[0][0].picStart = 0.0f;

    // Without an editor the key is the camera at the current frame.
    gCurFrame = 50;
    EXPECT_EQ(doc->AddKey(), 1);
    EXPECT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[0][1].time, 50);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 200.0f);
    EXPECT_EQ(gCurFrame, 50);  // auto-add keeps the frame
    EXPECT_EQ(doc->modified, 1);

    // Within the tolerance of 4 frames: replaced in place.
    FakeEditor editor;
    editor.hasStage = true;
    editor.stageKey = MakeKey(999, 321, 123, 77);
    editor.stageKey.easeCode = 2050.0f;
    gCurFrame = 53;
    EXPECT_EQ(doc->AddKey(), 0);
    EXPECT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[0][1].time, 53);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 321.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].easeCode, 2050.0f);  // a replacement keeps the ease
    EXPECT_EQ(editor.refreshedFrame, 53);

    // A new frame inserts, clears the ease and copies the picture's start, then sorts.
    doc->keys[0][0].picStart = 0.0f;
    gCurFrame = 20;
    EXPECT_EQ(doc->AddKey(), 1);
    ASSERT_EQ(doc->keyCount[0], 3);
    EXPECT_EQ(doc->keys[0][1].time, 20);
    EXPECT_FLOAT_EQ(doc->keys[0][1].easeCode, 0.0f);
    EXPECT_EQ(doc->keys[0][2].time, 53);

    // Replacing key 0 keeps it at time 0.
    gCurFrame = 2;
    EXPECT_EQ(doc->AddKey(), 0);
    EXPECT_EQ(doc->keys[0][0].time, 0);
    EXPECT_FLOAT_EQ(doc->keys[0][0].width, 77.0f);

    // At or past the end of the show the key lands on its last frame.
    gCurFrame = 5000;
    EXPECT_EQ(doc->AddKey(), 1);
    EXPECT_EQ(doc->keys[0][doc->keyCount[0] - 1].time, doc->showLength - 1);
    EXPECT_EQ(gCurFrame, doc->showLength - 1);

    // Without auto-add a new key moves the cursor on by one second.
    doc->autoAddKey = 0;
    gCurFrame = 300;
    EXPECT_EQ(doc->AddKey(), 1);
    EXPECT_EQ(gCurFrame, 300 + (gFrameRate + 50) / 100);
    EXPECT_EQ(editor.refreshedFrame, gCurFrame);
}

TEST(KeyEditing, AddKeySnapToleranceAndKeyLimit) {
    auto doc = NewDoc();
    FakeEditor editor;
    const KeyStruct list[] = {MakeKey(0, 0, 0, 10), MakeKey(50, 0, 0, 10)};

    // The timeline's zoom below 8 gives half of it as the tolerance, else 4.
    const struct {
        long zoom;
        long frame;
        int added;
    } cases[] = {{4, 52, 1}, {4, 51, 0}, {6, 52, 0}, {6, 53, 1}, {20, 53, 0}, {20, 54, 1},
                 {-1, 53, 0}, {-1, 54, 1}, {1, 50, 1}};
    for (const auto& c : cases) {
        SetKeys(*doc, list);
        editor.zoom = c.zoom;
        gCurFrame = c.frame;
        EXPECT_EQ(doc->AddKey(), c.added) << "zoom " << c.zoom << " frame " << c.frame;
    }

    // 63 keys is the most AddKey makes; a replacement is still allowed.
    editor.zoom = -1;
    doc->ClearShow();
    for (int i = 1; i < 63; i++) {
        gCurFrame = i * 10;
        ASSERT_EQ(doc->AddKey(), 1) << i;
    }
    EXPECT_EQ(doc->keyCount[0], 63);
    gCurFrame = 1000;
    EXPECT_EQ(doc->AddKey(), 0);
    EXPECT_EQ(doc->keyCount[0], 63);
    EXPECT_EQ(doc->keys[0][62].time, 620);
    gCurFrame = 621;
    EXPECT_EQ(doc->AddKey(), 0);
    EXPECT_EQ(doc->keys[0][62].time, 621);
}

TEST(KeyEditing, DeleteShiftAndTiming) {
    auto doc = NewDoc();
    const KeyStruct list[] = {MakeKey(0, 0, 0, 1), MakeKey(100, 0, 0, 2), MakeKey(200, 0, 0, 3),
                              MakeKey(1700, 0, 0, 4)};
    SetKeys(*doc, list);

    // Moving keys after a frame stays within 0..showLength.
    EXPECT_EQ(doc->ShiftKeys(150, 500), 1);
    EXPECT_EQ(doc->keys[0][1].time, 100);
    EXPECT_EQ(doc->keys[0][2].time, 700);
    EXPECT_EQ(doc->keys[0][3].time, 1800);
    EXPECT_EQ(doc->ShiftKeys(50, -650), 1);
    EXPECT_EQ(doc->keys[0][0].time, 0);
    EXPECT_EQ(doc->keys[0][1].time, 0);
    EXPECT_EQ(doc->keys[0][2].time, 50);
    EXPECT_EQ(doc->keys[0][3].time, 1150);

    // DeleteKey moves the later keys down; out-of-range indices change nothing.
    doc->DeleteKey(1, 0);
    ASSERT_EQ(doc->keyCount[0], 3);
    EXPECT_FLOAT_EQ(doc->keys[0][1].width, 3.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][2].width, 4.0f);
    doc->DeleteKey(64, 0);
    doc->DeleteKey(-1, 0);
    doc->DeleteKey(1, 1);
    EXPECT_EQ(doc->keyCount[0], 3);

    // Moving the picture's start, only while picture 0 is the one at that frame.
    EXPECT_EQ(doc->ChangePicTiming(40, 0), 1);
    EXPECT_EQ(doc->GetPicStart(0), 40);
    doc->pictureCount = 2;
    EXPECT_EQ(doc->ChangePicTiming(60, 0), 0);
    EXPECT_EQ(doc->GetPicStart(0), 40);
}

TEST(KeyEditing, RescaleShowAndMoves) {
    auto doc = NewDoc();
    const KeyStruct list[] = {MakeKey(0, 100, 50, 80), MakeKey(30, 200, 60, 40),
                              MakeKey(75, 300, 70, 20)};
    SetKeys(*doc, list);
    doc->showLength = 200;

    EXPECT_EQ(doc->RescaleShow(100, 101), 0);
    EXPECT_EQ(doc->RescaleShow(101, 100), 0);
    EXPECT_EQ(doc->RescaleShow(0, 200), 0);
    EXPECT_EQ(doc->keys[0][1].time, 30);
    EXPECT_EQ(doc->RescaleShow(100, 200), 1);
    EXPECT_EQ(doc->keys[0][0].time, 0);
    EXPECT_EQ(doc->keys[0][1].time, 60);
    EXPECT_EQ(doc->keys[0][2].time, 150);
    EXPECT_FLOAT_EQ(doc->keys[0][0].showLengthCopy, 200.0f);
    EXPECT_EQ(doc->RescaleShow(300, 100), 1);  // truncated: 150 / 3, 60 / 3
    EXPECT_EQ(doc->keys[0][1].time, 20);
    EXPECT_EQ(doc->keys[0][2].time, 50);

    doc->keys[0][1].verticalSize = 10.0f;
    doc->RescaleMoves(0, 400, 300, 200, 600);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 100.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].width, 20.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].verticalPos, 120.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].verticalSize, 20.0f);
    doc->RescaleMoves(0, 0, 300, 200, 600);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 100.0f);
}

TEST(KeyEditing, ChopShowEndsTheCameraWhereItWas) {
    auto doc = NewDoc();
    doc->pictureCount = 1;
    const KeyStruct list[] = {MakeKey(0, 100, 100, 50), MakeKey(60, 400, 200, 150),
                              MakeKey(120, 100, 300, 90), MakeKey(180, 0, 0, 10)};
    SetKeys(*doc, list);
    doc->easeType = EASE_NONE;
    KeyStruct before;
    doc->QueueKey(&before, 0, 90, 0);

    EXPECT_EQ(doc->ChopShow(-1), 0);
    EXPECT_EQ(doc->keyCount[0], 4);
    doc->showLength = 90;
    EXPECT_EQ(doc->ChopShow(90), 1);
    ASSERT_EQ(doc->keyCount[0], 3);
    EXPECT_EQ(doc->keys[0][2].time, 90);
    KeyStruct after;
    doc->QueueKey(&after, 0, 90, 0);
    EXPECT_FLOAT_EQ(after.horizontalPos, before.horizontalPos);
    EXPECT_FLOAT_EQ(after.verticalPos, before.verticalPos);
    EXPECT_FLOAT_EQ(after.width, before.width);
    EXPECT_FLOAT_EQ(doc->keys[0][0].showLengthCopy, 90.0f);

    // A cut after the last key leaves the keys alone.
    EXPECT_EQ(doc->ChopShow(500), 1);
    EXPECT_EQ(doc->keyCount[0], 3);

    // A picture that starts after the cut is removed; the only one clears the show.
    doc->SetPicStart(100, 0);
    EXPECT_EQ(doc->ChopShow(50), 1);
    EXPECT_EQ(doc->pictureCount, 0);
    EXPECT_EQ(doc->keyCount[0], 1);
    EXPECT_FLOAT_EQ(doc->keys[0][0].horizontalPos, 200.0f);
}

TEST(KeyEditing, ConstantMotionEvensOutTheSpeed) {
    auto doc = NewDoc();
    // A still camera has no speed: nothing moves.
    const KeyStruct still[] = {MakeKey(0, 50, 50, 10), MakeKey(10, 50, 50, 20),
                               MakeKey(100, 50, 50, 30)};
    SetKeys(*doc, still);
    doc->ConstantMotion(0);
    EXPECT_EQ(doc->keys[0][1].time, 10);
    EXPECT_EQ(doc->keys[0][2].time, 100);
    EXPECT_EQ(doc->undoCount, 0);

    // Fast first segment, slow second one: retimed to about the same speed.
    doc->easeType = EASE_NONE | EASE_STRAIGHT;
    const KeyStruct moving[] = {MakeKey(0, 0, 0, 10), MakeKey(20, 400, 0, 10),
                                MakeKey(100, 500, 0, 10), MakeKey(200, 500, 300, 10)};
    SetKeys(*doc, moving);
    const float fastBefore = PathSpeed(*doc, 0, 20);
    const float slowBefore = PathSpeed(*doc, 20, 100);
    EXPECT_GT(fastBefore / slowBefore, 10.0f);
    doc->ConstantMotion(0);
    EXPECT_EQ(doc->undoCount, 3);
    const long t1 = doc->keys[0][1].time, t2 = doc->keys[0][2].time, t3 = doc->keys[0][3].time;
    EXPECT_LT(t1, t2);
    EXPECT_LT(t2, t3);
    const float overall = PathSpeed(*doc, 0, t3);
    for (const float speed : {PathSpeed(*doc, 0, t1), PathSpeed(*doc, t1, t2), PathSpeed(*doc, t2, t3)})
        EXPECT_NEAR(speed / overall, 1.0f, 0.2f);

    // One key: nothing to space.
    doc->ClearShow();
    doc->ConstantMotion(0);
    EXPECT_EQ(doc->keyCount[0], 1);
}

TEST(KeyEditing, EaseRotationAndGotoFrame) {
    auto doc = NewDoc();
    const KeyStruct list[] = {MakeKey(0, 0, 0, 100), MakeKey(100, 400, 0, 100)};
    SetKeys(*doc, list);
    doc->keys[0][0].easeCode = 1050.0f;
    doc->keys[0][1].easeCode = 3000.0f;
    doc->DefaultEase();
    EXPECT_FLOAT_EQ(doc->keys[0][0].easeCode, 0.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].easeCode, 0.0f);

    EXPECT_EQ(doc->HasRotationInShow(0), 0);
    doc->keys[0][1].rotation2 = 0.5f;
    EXPECT_EQ(doc->HasRotationInShow(0), 1);

    // GotoFrame clamps to 0 and the host's duration and hands the camera to the stage.
    FakeEditor editor;
    doc->totalFrames = 80;
    doc->GotoFrame(-10, false);
    EXPECT_EQ(gCurFrame, 0);
    EXPECT_EQ(editor.refreshes, 0);
    doc->GotoFrame(500, true);
    EXPECT_EQ(gCurFrame, 80);
    EXPECT_EQ(editor.refreshedFrame, 80);
    KeyStruct expected;
    doc->QueueKey(&expected, 0, 80, 0);
    EXPECT_FLOAT_EQ(editor.shownKey.horizontalPos, expected.horizontalPos);
    EXPECT_GT(expected.horizontalPos, 0.0f);
}
