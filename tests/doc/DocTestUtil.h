// SPDX-License-Identifier: GPL-2.0-or-later
// Shared helpers of the document tests.
#pragma once

#include <cstdio>
#include <memory>

#include "doc/CDoc.h"
#include "doc/EditorLink.h"
#include "motion/Interp.h"
#include "platform/Env.h"
#include "platform/Settings.h"
#include "tests/common/TestDoc.h"


// Replaces picture 0's keys.
template <size_t N>
void SetKeys(CDoc& doc, const KeyStruct (&keys)[N]) {
    for (size_t i = 0; i < N; i++) doc.keys[0][i] = keys[i];
    doc.keyCount[0] = static_cast<int32_t>(N);
}

// Stands in for the editor: a timeline zoom (none while negative), a stage
// camera when `hasStage`, and the last frame refreshed.
class FakeEditor : public CEditorLink {
public:
    FakeEditor() : previous(SetEditorLink(this)) {}
    ~FakeEditor() override { SetEditorLink(previous); }
    bool GetTimelineZoom(long& z) override { return zoom >= 0 && (z = zoom, true); }
    bool GetStageKey(KeyStruct& key) override { return hasStage && (key = stageKey, true); }
    void Refresh(long frame) override { refreshedFrame = frame; }

    long zoom = -1;
    bool hasStage = false;
    KeyStruct stageKey{};
    long refreshedFrame = -1;

private:
    CEditorLink* previous;
};
