// Shared helpers of the document tests.
#pragma once

#include <cstdio>
#include <cstring>
#include <memory>

#include "doc/CDoc.h"
#include "doc/EditorLink.h"
#include "motion/Interp.h"
#include "platform/Env.h"
#include "platform/Settings.h"

// A document built from empty settings, so every option has its default.
inline std::unique_ptr<CDoc> NewDoc() {
    std::snprintf(gEnv.programName, sizeof gEnv.programName, "Glimmerstroll");
    std::snprintf(gIniString, sizeof gIniString, "[Glimmerstroll]\r\n");
    gCurFrame = 0;
    return std::make_unique<CDoc>();
}

inline KeyStruct MakeKey(int time, float x, float y, float width) {
    KeyStruct key;
    KeyIdentity(key);
    key.time = time;
    key.horizontalPos = x;
    key.verticalPos = y;
    key.width = width;
    return key;
}

// Replaces picture 0's keys with `keys`.
template <size_t N>
void SetKeys(CDoc& doc, const KeyStruct (&keys)[N]) {
    for (size_t i = 0; i < N; i++) doc.keys[0][i] = keys[i];
    doc.keyCount[0] = static_cast<int32_t>(N);
}

// An editor stand-in: reports a timeline zoom and a stage camera when told to,
// and remembers what the document handed back.
class FakeEditor : public CEditorLink {
public:
    FakeEditor() { previous = SetEditorLink(this); }
    ~FakeEditor() override { SetEditorLink(previous); }

    bool GetTimelineZoom(long& z) override {
        if (zoom < 0) return false;
        z = zoom;
        return true;
    }
    bool GetStageKey(KeyStruct& key) override {
        if (!hasStage) return false;
        key = stageKey;
        return true;
    }
    void SetStageKey(const KeyStruct& key) override { shownKey = key; }
    void Refresh(long frame) override {
        refreshes++;
        refreshedFrame = frame;
    }

    long zoom = -1;  // no timeline
    bool hasStage = false;
    KeyStruct stageKey{};
    KeyStruct shownKey{};
    int refreshes = 0;
    long refreshedFrame = -1;

private:
    CEditorLink* previous;
};
