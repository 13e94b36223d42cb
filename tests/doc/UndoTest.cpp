// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <cstring>

#include "DocTestUtil.h"

namespace {
bool SameKey(const KeyStruct& a, const KeyStruct& b) { return std::memcmp(&a, &b, sizeof a) == 0; }
}  // namespace

TEST(UndoRedo, AddDeleteAndReplace) {
    auto doc = DocWithSettings();
    doc->pictureCount = 1;
    const KeyStruct list[] = {CameraKey(0, 200, 150, 100), CameraKey(100, 90)};
    SetKeys(*doc, list);

    doc->UnDo();  // empty ring: nothing
    EXPECT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->redoCount, 0);

    gCurFrame = 50;
    doc->AddKey();
    const KeyStruct added = doc->keys[0][1];
    doc->UnDo();
    EXPECT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[0][1].time, 100);
    doc->ReDo();
    ASSERT_EQ(doc->keyCount[0], 3);
    EXPECT_TRUE(SameKey(doc->keys[0][1], added));

    doc->DeleteKey(1, 0);
    doc->UnDo();
    ASSERT_EQ(doc->keyCount[0], 3);
    EXPECT_TRUE(SameKey(doc->keys[0][1], added));
    doc->ReDo();
    EXPECT_EQ(doc->keyCount[0], 2);

    // Undoing a replacement writes key 0's copy at the replaced key's time.
    doc->SetPicStart(12, 0);
    FakeEditor editor;
    editor.hasStage = true;
    editor.stageKey = CameraKey(0, 321);
    gCurFrame = 12 + 98;
    ASSERT_EQ(doc->AddKey(), 0);
    doc->UnDo();
    EXPECT_EQ(doc->keys[0][1].time, 98);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 200.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].picStart, 12.0f);
    doc->ReDo();
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 321.0f);

    // A push leaves the redo count alone.
    doc->UnDo();
    doc->Do(doc->keys[0][1], 1, 0);
    EXPECT_EQ(doc->redoCount, 1);
}

TEST(UndoRedo, RingWrapsAcrossThirtyThreeEdits) {
    auto doc = DocWithSettings();
    KeyStruct key = CameraKey(10, 0);
    doc->SetKey(1, key, 0);
    for (int n = 1; n <= 33; n++) {  // edit n moves key 1 from x = n - 1 to n
        doc->Do(doc->keys[0][1], 1, 0);
        doc->keys[0][1].horizontalPos = static_cast<float>(n);
    }
    EXPECT_EQ(doc->undoHead, 0);
    EXPECT_EQ(doc->undoCount, 32);
    const KeyStruct key0 = doc->keys[0][0];

    doc->UnDo();
    EXPECT_EQ(doc->undoHead, -1);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 32.0f);
    doc->UnDo();  // position -1 holds no edit
    EXPECT_EQ(doc->undoHead, 31);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 32.0f);
    for (int i = 0; i < 40; i++) doc->UnDo();
    EXPECT_EQ(doc->undoHead, 1);
    EXPECT_EQ(doc->redoCount, 32);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 2.0f);

    // Redo runs up to position 32 and stops there.
    for (int i = 0; i < 40; i++) doc->ReDo();
    EXPECT_EQ(doc->undoHead, 32);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 32.0f);
    EXPECT_TRUE(SameKey(doc->keys[0][0], key0));
    doc->Do(doc->keys[0][1], 1, 0);
    EXPECT_EQ(doc->undoHead, 1);
}
