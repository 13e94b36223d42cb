// SPDX-License-Identifier: GPL-2.0-or-later
// The undo ring. Each record is a key tagged with the picture it belongs to
// (undoPicture) and an action code (undoAction): a key index 0..63 for a changed
// key, ACTION_KEY_ADDED, ACTION_KEY_DELETED or ACTION_PICTURE. Applying a record
// changes the keys and turns the record into its own inverse, so one record
// serves both UnDo and ReDo.
//
// UnDo steps the head back from 0 to -1 before wrapping to 31, and ReDo steps it
// forward from 31 to 32 without wrapping. Those two positions are outside the
// ring; they get records of their own (undoSpare) rather than aliasing ring
// entries. A push never writes them, so they hold a code that does nothing and
// applying one leaves every key as it is.
#include <algorithm>

#include "doc/CDoc.h"
#include "motion/Interp.h"

namespace {

// An action code above the key indices that no operation gives a meaning to.
constexpr uint16_t kActionNone = 0xFFFF;

}  // namespace

KeyStruct& CDoc::UndoRecord(int position) {
    if (position < 0 || position >= kUndoRecords) {
        KeyStruct& spare = undoSpare[position < 0 ? 0 : 1];
        spare.undoAction = kActionNone;
        return spare;
    }
    return undoRing[position];
}

void CDoc::Do(KeyStruct& key, int action, int picture) {
    if (picture != 0) return;
    undoHead = (undoHead + 1) % kUndoRecords;
    undoCount = std::min(undoCount + 1, kUndoRecords);
    KeyStruct& record = undoRing[undoHead];
    record = key;
    record.undoPicture = static_cast<uint16_t>(picture);
    record.undoAction = static_cast<uint16_t>(action);
}

void CDoc::UnDo() {
    if (undoCount <= 0) return;
    UnDoAction();
    undoHead--;
    if (undoHead < -1) undoHead = kUndoRecords - 1;
    redoCount = std::min(redoCount + 1, kUndoRecords);
    undoCount = std::max(undoCount - 1, 0);
}

void CDoc::ReDo() {
    if (redoCount <= 0) return;
    undoHead = std::min(undoHead + 1, kUndoRecords);
    UnDoAction();
    undoCount = std::min(undoCount + 1, kUndoRecords);
    redoCount = std::max(redoCount - 1, 0);
}

void CDoc::UnDoAction() {
    KeyStruct& record = UndoRecord(undoHead);
    const int action = record.undoAction;
    const int picture = static_cast<int16_t>(record.undoPicture);

    if (action < kMaxKeys) {
        // A changed key: swap the key and the record.
        if (picture < 0 || picture >= kPictureSlots) return;
        KeyStruct kept;
        KeyIdentity(kept);
        if (picture == 0) kept = keys[0][action];
        keys[picture][action] = record;
        keys[picture][action].undoAction = 0;
        record = kept;
        record.undoPicture = static_cast<uint16_t>(picture);
        record.undoAction = static_cast<uint16_t>(action);
        modified = 1;
    } else if (action == ACTION_KEY_DELETED) {
        // A removed key: put it back in time order.
        if (picture < 0 || picture >= kPictureSlots) return;
        const int count = std::max(keyCount[picture], 0);
        if (count >= kMaxKeys) return;
        keys[picture][count] = record;
        keys[picture][count].undoAction = 0;
        keyCount[picture] = count + 1;
        SortKeys(picture);
        record.undoAction = ACTION_KEY_ADDED;
        modified = 1;
    } else if (action == ACTION_KEY_ADDED) {
        // An added key: remove the key at the record's time, in every picture.
        const int pictures = std::min(pictureCount, static_cast<int32_t>(kPictureSlots));
        for (int p = 0; p < pictures; p++) {
            KeyStruct* list = keys[p];
            const int count = std::clamp(keyCount[p], 0, kMaxKeys);
            for (int k = 0; k < count; k++) {
                if (list[k].time != record.time) continue;
                KeyStruct removed = list[k];
                for (int i = k; i + 1 < count; i++) list[i] = list[i + 1];
                keyCount[p] = count - 1;
                record = removed;
                record.undoPicture = static_cast<uint16_t>(p);
                record.undoAction = ACTION_KEY_DELETED;
                modified = 1;
                break;
            }
        }
    } else if (action == ACTION_PICTURE) {
        FlopPic(static_cast<int16_t>(record.undoPicture), record.time);
    }
}
