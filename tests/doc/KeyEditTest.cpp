// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include "DocTestUtil.h"
#include "motion/Timecode.h"

TEST(KeyEditing, AddKeyReplacesNearKeysAndInsertsNewOnes) {
    auto doc = DocWithSettings();
    // Without an editor the key is the camera at the current frame.
    gCurFrame = 50;
    EXPECT_EQ(doc->AddKey(), 1);
    ASSERT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[0][1].time, 50);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 200.0f);

    // Within 4 frames: the stage's camera replaces the key in place, ease kept.
    FakeEditor editor;
    editor.hasStage = true;
    editor.stageKey = CameraKey(999, 321);
    editor.stageKey.easeCode = 2050.0f;
    gCurFrame = 53;
    EXPECT_EQ(doc->AddKey(), 0);
    EXPECT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[0][1].time, 53);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 321.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].easeCode, 2050.0f);
    EXPECT_EQ(editor.refreshedFrame, 53);

    // Elsewhere: a new key with the default ease, sorted into place.
    gCurFrame = 20;
    EXPECT_EQ(doc->AddKey(), 1);
    EXPECT_EQ(doc->keys[0][1].time, 20);
    EXPECT_FLOAT_EQ(doc->keys[0][1].easeCode, 0.0f);
    EXPECT_EQ(doc->keys[0][2].time, 53);

    // Past the end of the show the key lands on its last frame.
    gCurFrame = 5000;
    EXPECT_EQ(doc->AddKey(), 1);
    EXPECT_EQ(doc->keys[0][3].time, doc->showLength - 1);

    // Without auto-add a new key moves the cursor on by one second.
    doc->autoAddKey = 0;
    gCurFrame = 300;
    EXPECT_EQ(doc->AddKey(), 1);
    EXPECT_EQ(gCurFrame, 300 + (gFrameRate + 50) / 100);

    // The timeline's zoom z gives a tolerance of z / 2 below 8, else 4.
    const struct { long zoom, frame; int added; } cases[] = {
        {4, 52, 1}, {4, 51, 0}, {6, 53, 1}, {6, 52, 0}, {20, 54, 1}, {20, 53, 0}};
    for (const auto& c : cases) {
        const KeyStruct list[] = {CameraKey(0, 0), CameraKey(50, 0)};
        SetKeys(*doc, list);
        editor.zoom = c.zoom;
        gCurFrame = c.frame;
        EXPECT_EQ(doc->AddKey(), c.added) << "zoom " << c.zoom << " frame " << c.frame;
    }

    // AddKey makes 63 keys at most.
    editor.zoom = -1;
    doc->ClearShow();
    for (int i = 1; i < 63; i++) {
        gCurFrame = i * 10;
        doc->AddKey();
    }
    gCurFrame = 1000;
    EXPECT_EQ(doc->AddKey(), 0);
    EXPECT_EQ(doc->keyCount[0], 63);

    // SetKey accepts index 64 but has no slot for it: the next list stays intact.
    doc->keys[1][0].time = 7;
    doc->SetKey(64, editor.stageKey, 0);
    EXPECT_EQ(doc->keyCount[0], 63);
    EXPECT_EQ(doc->keys[1][0].time, 7);
}

TEST(KeyEditing, FindShiftAndRescale) {
    auto doc = DocWithSettings();
    const KeyStruct list[] = {CameraKey(0, 100, 50, 80), CameraKey(30, 200, 60, 40),
                              CameraKey(75, 300, 70, 20), CameraKey(1700, 0)};
    SetKeys(*doc, list);

    doc->SetPicStart(100, 0);
    EXPECT_EQ(doc->FindKey(133), 1);
    EXPECT_EQ(doc->FindKey(134), -1);

    // A start that is no frame number (from a damaged block) reads as 0.
    doc->keys[0][0].picStart = 3.0e9f;
    EXPECT_EQ(doc->GetPicStart(0), 0);
    doc->keys[0][0].picStart = -12.7f;
    EXPECT_EQ(doc->GetPicStart(0), -12);
    doc->SetPicStart(100, 0);

    // Keys after the frame move, clamped to 0..showLength.
    EXPECT_EQ(doc->ShiftKeys(150, 500), 1);
    EXPECT_EQ(doc->keys[0][1].time, 30);
    EXPECT_EQ(doc->keys[0][2].time, 575);
    EXPECT_EQ(doc->keys[0][3].time, 1800);
    EXPECT_EQ(doc->ShiftKeys(100, -600), 1);
    EXPECT_EQ(doc->keys[0][1].time, 0);

    // Lengths within 1 of each other change nothing; otherwise all but key 0 scale.
    const KeyStruct timed[] = {CameraKey(0, 100, 50, 80), CameraKey(30, 200, 60, 40), CameraKey(75, 0)};
    SetKeys(*doc, timed);
    EXPECT_EQ(doc->RescaleShow(100, 101), 0);
    EXPECT_EQ(doc->keys[0][1].time, 30);
    EXPECT_EQ(doc->RescaleShow(100, 200), 1);
    EXPECT_EQ(doc->keys[0][1].time, 60);
    EXPECT_EQ(doc->keys[0][2].time, 150);
    EXPECT_FLOAT_EQ(doc->keys[0][0].showLengthCopy, 1800.0f);

    doc->keys[0][1].verticalSize = 10.0f;
    doc->RescaleMoves(0, 400, 300, 200, 600);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 100.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].verticalPos, 120.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].verticalSize, 20.0f);
}

TEST(KeyEditing, ChopShowAndConstantMotion) {
    auto doc = DocWithSettings();
    doc->pictureCount = 1;
    const KeyStruct list[] = {CameraKey(0, 100, 100, 50), CameraKey(60, 400, 200, 150),
                              CameraKey(120, 100, 300, 90), CameraKey(180, 0)};
    SetKeys(*doc, list);
    KeyStruct before, after;
    doc->QueueKey(&before, 0, 90, 0);
    EXPECT_EQ(doc->ChopShow(-1), 0);
    EXPECT_EQ(doc->ChopShow(90), 1);
    ASSERT_EQ(doc->keyCount[0], 3);
    EXPECT_EQ(doc->keys[0][2].time, 90);
    doc->QueueKey(&after, 0, 90, 0);
    EXPECT_FLOAT_EQ(after.horizontalPos, before.horizontalPos);
    EXPECT_FLOAT_EQ(after.width, before.width);

    // A still camera has no speed: nothing moves.
    const KeyStruct still[] = {CameraKey(0, 50), CameraKey(10, 50), CameraKey(100, 50)};
    SetKeys(*doc, still);
    doc->ConstantMotion(0);
    EXPECT_EQ(doc->keys[0][1].time, 10);
    EXPECT_EQ(doc->undoCount, 0);

    // Fast (20 px/frame), slow (1.25) and medium (3) segments even out.
    doc->easeType = EASE_NONE | EASE_STRAIGHT;
    const KeyStruct moving[] = {CameraKey(0, 0), CameraKey(20, 400), CameraKey(100, 500), CameraKey(200, 500, 300)};
    SetKeys(*doc, moving);
    doc->ConstantMotion(0);
    const KeyStruct* k = doc->keys[0];
    const float lengths[] = {400, 100, 300};
    const float overall = 800.0f / static_cast<float>(k[3].time);
    for (int i = 0; i < 3; i++)
        EXPECT_NEAR(lengths[i] / static_cast<float>(k[i + 1].time - k[i].time) / overall, 1.0f, 0.2f) << i;
}
