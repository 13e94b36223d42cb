// SPDX-License-Identifier: GPL-2.0-or-later
// The document's view of the editor. The document never includes editor or
// window headers; the editor derives from CEditorLink and installs itself with
// SetEditorLink while its windows exist. The default link answers as if no
// editor were open, which is what the renderer and the tests see.
#pragma once

#include "motion/Types.h"

class CEditorLink {
public:
    virtual ~CEditorLink() = default;

    // True, with the timeline's zoom (its time scale), when the timeline exists.
    // AddKey snaps to an existing key within half the zoom (at most 4 frames).
    virtual bool GetTimelineZoom(long& zoom) {
        (void)zoom;
        return false;
    }
    // True, with the stage's working camera, when the stage exists. AddKey makes
    // its key from it; without a stage the camera at the current frame is used.
    virtual bool GetStageKey(KeyStruct& key) {
        (void)key;
        return false;
    }
    // Hands the camera of the frame just gone to over to the stage, if any.
    virtual void SetStageKey(const KeyStruct& key) { (void)key; }
    // Redraws the stage, refreshes the viewer, the timeline and the viewer's
    // timecode for `frame`, each when it exists.
    virtual void Refresh(long frame) { (void)frame; }
};

// The link in use; never null (the no-editor link when none is installed).
CEditorLink* GetEditorLink();
// Installs a link; null restores the no-editor link. Returns the previous one.
CEditorLink* SetEditorLink(CEditorLink* link);
