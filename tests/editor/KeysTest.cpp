// SPDX-License-Identifier: GPL-2.0-or-later
// The key table, and the Edit commands on the selected key.
#include "EditorTestUtil.h"

namespace {

TEST_F(EditorFrameTest, KeysMoveTheCurrentFrameAndAddKeys) {
    gCurFrame = 60;
    Press(kKeyTab);
    EXPECT_EQ(100, gCurFrame);
    Press(kKeyTab);  // no key after the last: back to the start
    EXPECT_EQ(0, gCurFrame);
    Press(kKeyTab);
    EXPECT_EQ(50, gCurFrame);
    Press('+');
    Press('+');
    EXPECT_EQ(52, gCurFrame);
    Press('-');
    EXPECT_EQ(51, gCurFrame);
    Press(kKeyEnd);
    EXPECT_EQ(pDoc->showLength - 1, gCurFrame);
    Press(kKeyHome);
    EXPECT_EQ(0, gCurFrame);
    Press('-');
    EXPECT_EQ(0, gCurFrame);

    pDoc->autoAddKey = 1;
    pDoc->GotoFrame(75, true);
    Press(kKeyReturn);
    ASSERT_EQ(4, pDoc->keyCount[0]);
    EXPECT_EQ(75, pDoc->keys[0][2].time);
    EXPECT_EQ(75, gCurFrame);
    // "<" and ">" act only as chords.
    pTime->timeScale = 25;
    Press('>');
    EXPECT_EQ(25, pTime->timeScale);
    Chord('>');
    EXPECT_EQ(50, pTime->timeScale);
    Chord('<');
    EXPECT_EQ(25, pTime->timeScale);
    // Keys not in the table do nothing, with or without command.
    Press('Z');
    Chord('p');
    EXPECT_EQ(4, pDoc->keyCount[0]);
}

TEST_F(EditorFrameTest, ZeroGoesToTheStartAndPlays) {
    gCurFrame = 120;
    backend->Key(frame, '0');
    backend->Key(frame, 'k');  // a key press ends the playback loop
    Pump();
    EXPECT_LT(gCurFrame, 120);
    EXPECT_EQ(0, pViewer->speed);
}

TEST_F(EditorFrameTest, CutAndDeleteNeverTakeTheFirstKey) {
    gClipKey = CameraKey(7, 1, 2, 3);
    Select(0);
    Chord('x');
    Press(kKeyDelete);
    Press(kKeyBackspace);
    EXPECT_EQ(3, pDoc->keyCount[0]);
    EXPECT_EQ(7, gClipKey.time);
    gSelectedKey = -1;
    Press(kKeyDelete);
    EXPECT_EQ(3, pDoc->keyCount[0]);

    const int beeps = backend->beeps;
    Select(2);
    Chord('x');
    EXPECT_EQ(2, pDoc->keyCount[0]);
    EXPECT_EQ(500.0f, gClipKey.horizontalPos);
    EXPECT_EQ(100, gClipKey.time);
    EXPECT_GT(backend->beeps, beeps);
    Select(1);
    Press(kKeyBackspace);
    EXPECT_EQ(1, pDoc->keyCount[0]);
    EXPECT_EQ(500.0f, gClipKey.horizontalPos);  // Delete keeps the clipboard
}

TEST_F(EditorFrameTest, CopyAndPasteGiveTheCameraValuesOnly) {
    pDoc->keys[0][2].rotation3 = 12.0f;
    Select(2);
    Chord('c');
    EXPECT_EQ(12.0f, gClipKey.rotation3);

    // A selected key takes the camera and keeps its time.
    Select(1);
    Chord('v');
    EXPECT_EQ(500.0f, pDoc->keys[0][1].horizontalPos);
    EXPECT_EQ(150.0f, pDoc->keys[0][1].width);
    EXPECT_EQ(12.0f, pDoc->keys[0][1].rotation3);
    EXPECT_EQ(50, pDoc->keys[0][1].time);
    EXPECT_EQ(3, pDoc->keyCount[0]);

    // With no key selected a key is made at the current frame and filled.
    pDoc->autoAddKey = 1;
    pDoc->GotoFrame(80, true);
    gSelectedKey = -1;
    Chord('v');
    ASSERT_EQ(4, pDoc->keyCount[0]);
    EXPECT_EQ(80, pDoc->keys[0][2].time);
    EXPECT_EQ(500.0f, pDoc->keys[0][2].horizontalPos);
    EXPECT_EQ(250.0f, pDoc->keys[0][2].verticalPos);
    EXPECT_EQ(2, gSelectedKey);
}

TEST_F(EditorFrameTest, UndoAndRedoFollowTheDocumentAndTheirMenuItems) {
    pDoc->autoAddKey = 1;
    pDoc->GotoFrame(75, true);
    EXPECT_FALSE(Item(9004).enabled);
    Press(kKeyReturn);
    ASSERT_EQ(4, pDoc->keyCount[0]);
    EXPECT_TRUE(Item(9004).enabled);
    EXPECT_FALSE(Item(9005).enabled);
    Chord('z');
    EXPECT_EQ(3, pDoc->keyCount[0]);
    EXPECT_TRUE(Item(9005).enabled);
    Chord('y');
    EXPECT_EQ(4, pDoc->keyCount[0]);
    Select(2);
    Pump();
    EXPECT_TRUE(Item(9001).enabled);
    EXPECT_TRUE(Item(9000).enabled);
}

TEST_F(EditorFrameTest, DeleteAllKeysAndUniformSpeedAskFirst) {
    backend->AnswerYesNo(0);
    Choose(1024);
    EXPECT_EQ(3, pDoc->keyCount[0]);
    backend->AnswerYesNo(1);
    Choose(1024);
    EXPECT_EQ(1, pDoc->keyCount[0]);
    EXPECT_TRUE(Asked("yesno", "Are you sure?"));

    pDoc->keys[0][1] = CameraKey(10, 300, 200, 100);
    pDoc->keys[0][2] = CameraKey(100, 500, 200, 100);
    pDoc->keyCount[0] = 3;
    backend->AnswerYesNo(0);
    Choose(1022);
    EXPECT_EQ(10, pDoc->keys[0][1].time);
    backend->AnswerYesNo(1);
    Choose(1022);
    EXPECT_TRUE(Asked("yesno", "Space keys at a uniform speed?"));
    EXPECT_GT(pDoc->keys[0][1].time, 30);  // half the path, half the time
    EXPECT_EQ(0, gCurFrame);
}

}  // namespace
