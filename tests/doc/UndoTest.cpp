#include <gtest/gtest.h>

#include <cstring>

#include "DocTestUtil.h"

namespace {

bool SameKey(const KeyStruct& a, const KeyStruct& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

}  // namespace

TEST(UndoRedo, AddedAndDeletedKeysComeAndGo) {
    auto doc = NewDoc();
    doc->pictureCount = 1;
    const KeyStruct list[] = {MakeKey(0, 10, 10, 100), MakeKey(100, 90, 10, 100)};
    SetKeys(*doc, list);

    gCurFrame = 50;
    ASSERT_EQ(doc->AddKey(), 1);
    const KeyStruct added = doc->keys[0][1];
    EXPECT_EQ(added.time, 50);
    EXPECT_EQ(doc->undoCount, 1);

    doc->UnDo();
    ASSERT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[0][1].time, 100);
    EXPECT_EQ(doc->undoCount, 0);
    EXPECT_EQ(doc->redoCount, 1);
    EXPECT_EQ(doc->undoHead, -1);

    doc->ReDo();
    ASSERT_EQ(doc->keyCount[0], 3);
    EXPECT_TRUE(SameKey(doc->keys[0][1], added));
    EXPECT_EQ(doc->keys[0][2].time, 100);
    EXPECT_EQ(doc->undoCount, 1);
    EXPECT_EQ(doc->redoCount, 0);

    // Delete the middle key, bring it back in time order, delete it again.
    doc->DeleteKey(1, 0);
    ASSERT_EQ(doc->keyCount[0], 2);
    doc->UnDo();
    ASSERT_EQ(doc->keyCount[0], 3);
    EXPECT_TRUE(SameKey(doc->keys[0][1], added));
    doc->ReDo();
    ASSERT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[0][1].time, 100);

    // With no picture loaded, undoing an added key finds no picture to remove it from.
    doc->pictureCount = 0;
    gCurFrame = 30;
    ASSERT_EQ(doc->AddKey(), 1);
    doc->UnDo();
    EXPECT_EQ(doc->keyCount[0], 3);
}

TEST(UndoRedo, EmptyRingAndRedoCount) {
    auto doc = NewDoc();
    const KeyStruct key0 = doc->keys[0][0];
    doc->UnDo();
    doc->ReDo();
    EXPECT_TRUE(SameKey(doc->keys[0][0], key0));
    EXPECT_EQ(doc->undoHead, -1);
    EXPECT_EQ(doc->undoCount, 0);
    EXPECT_EQ(doc->redoCount, 0);

    // A changed key: the record swaps with the key each way.
    KeyStruct edited = MakeKey(0, 1, 2, 3);
    doc->Do(doc->keys[0][0], 0, 0);
    doc->SetKey(0, edited, 0);
    doc->UnDo();
    EXPECT_TRUE(SameKey(doc->keys[0][0], key0));
    doc->ReDo();
    EXPECT_TRUE(SameKey(doc->keys[0][0], edited));
    doc->ReDo();  // nothing left to redo
    EXPECT_TRUE(SameKey(doc->keys[0][0], edited));
    EXPECT_EQ(doc->undoHead, 0);

    // A new record does not clear the redo count.
    doc->UnDo();
    EXPECT_EQ(doc->redoCount, 1);
    doc->Do(doc->keys[0][0], 0, 0);
    EXPECT_EQ(doc->redoCount, 1);
    EXPECT_EQ(doc->undoCount, 1);

    // Records are kept for picture 0 only.
    doc->Do(edited, 0, 1);
    doc->Do(edited, 0, -1);
    EXPECT_EQ(doc->undoCount, 1);
    EXPECT_EQ(doc->undoHead, 0);

    // Loading or clearing empties the ring.
    doc->ClearShow();
    EXPECT_EQ(doc->undoCount, 0);
    EXPECT_EQ(doc->redoCount, 0);
}

TEST(UndoRedo, ReplacedKeyUndoesToACopyOfKeyZero) {
    auto doc = NewDoc();
    doc->pictureCount = 1;
    const KeyStruct list[] = {MakeKey(0, 200, 150, 100), MakeKey(50, 10, 20, 30)};
    SetKeys(*doc, list);
    doc->SetPicStart(12, 0);

    FakeEditor editor;
    editor.hasStage = true;
    editor.stageKey = MakeKey(0, 321, 123, 77);
    gCurFrame = 12 + 51;
    ASSERT_EQ(doc->AddKey(), 0);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 321.0f);

    // The replaced slot gets key 0's camera at the replaced key's time.
    doc->UnDo();
    EXPECT_EQ(doc->keys[0][1].time, 51);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 200.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].width, 100.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][1].picStart, 12.0f);
    EXPECT_EQ(doc->keys[0][1].undoAction, 0);

    doc->ReDo();
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 321.0f);
    EXPECT_EQ(doc->keys[0][1].undoAction, 0);
}

TEST(UndoRedo, RingWrapsAcrossThirtyThreeEdits) {
    auto doc = NewDoc();
    KeyStruct key = MakeKey(10, 0, 0, 50);
    doc->SetKey(1, key, 0);

    // Edit n (1..33) moves key 1 from x = n - 1 to x = n.
    for (int n = 1; n <= 33; n++) {
        doc->Do(doc->keys[0][1], 1, 0);
        doc->keys[0][1].horizontalPos = static_cast<float>(n);
    }
    EXPECT_EQ(doc->undoHead, 0);
    EXPECT_EQ(doc->undoCount, 32);

    doc->UnDo();  // edit 33, at position 0
    EXPECT_EQ(doc->undoHead, -1);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 32.0f);
    const KeyStruct before = doc->keys[0][0];
    doc->UnDo();  // position -1 holds no edit
    EXPECT_EQ(doc->undoHead, 31);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 32.0f);
    EXPECT_TRUE(SameKey(doc->keys[0][0], before));
    doc->UnDo();  // edit 32, at position 31
    EXPECT_EQ(doc->undoHead, 30);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 31.0f);

    for (int i = 0; i < 40; i++) doc->UnDo();
    EXPECT_EQ(doc->undoCount, 0);
    EXPECT_EQ(doc->redoCount, 32);
    EXPECT_EQ(doc->undoHead, 1);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 2.0f);

    // Redo runs forward to position 31 and then stops at 32 without wrapping.
    for (int i = 0; i < 30; i++) doc->ReDo();
    EXPECT_EQ(doc->undoHead, 31);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 32.0f);
    doc->ReDo();
    doc->ReDo();
    doc->ReDo();
    EXPECT_EQ(doc->undoHead, 32);
    EXPECT_EQ(doc->redoCount, 0);
    EXPECT_FLOAT_EQ(doc->keys[0][1].horizontalPos, 32.0f);
    EXPECT_TRUE(SameKey(doc->keys[0][0], before));

    // Undo from 32 steps back into the ring, and a push from there wraps to 1.
    doc->UnDo();
    EXPECT_EQ(doc->undoHead, 31);
    doc->ReDo();
    doc->Do(doc->keys[0][1], 1, 0);
    EXPECT_EQ(doc->undoHead, 1);
}
