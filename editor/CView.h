// SPDX-License-Identifier: GPL-2.0-or-later
// CView: the small floating viewer. It shows the camera's view of the current
// frame, resampled from the current picture with the stage's working key, the
// timecode of the current frame, and reverse, stop and play buttons, and it
// runs playback.
#pragma once

#include <cstdint>

#include "image/CDIB.h"
#include "motion/Types.h"
#include "platform/window/CPWnd.h"

class CView : public CPWnd {
public:
    explicit CView(CPWnd* parent);
    ~CView() override;

    long HandleEvent(unsigned int msg, long wParam, long lParam) override;
    void OnDraw() override;

    // 1 forward, -1 backward, 0 stop. Starting runs the playback loop.
    void SetSpeed(int speed);
    // Plays until the speed drops to 0.
    void PlayLoop(bool unused);
    // Shows the current frame and moves on to the one the clock calls for.
    void NextFrame(bool full);
    // Redraws the camera's view: `full` at full quality, else the fast
    // preview used while the camera is being dragged.
    void Refresh(bool full);
    // The timecode of `frame` in the strip under the picture.
    void ShowCode(long frame);
    // Lays the buttons and the timecode strip out for the document's aspect.
    void Layout();
    // The four buttons as they stand, with the fourth one's glyph.
    void DrawButtons();
    // The picture area: the client less the timecode strip.
    void GetPictureArea(tagRECT& r);

    // Fields in their fixed order.
    CPButton buttons[4];            // reverse, stop, play, rewind
    int32_t speed = 0;
    unsigned long startTicks = 0;   // clock when playback started or restarted
    uint32_t ticksPerFrame = 2;
    int32_t startFrame = 0;
    int32_t endFrame = 0;           // the show length
    int32_t inLoop = 0;
    int32_t tvSafe = 0;             // "ShowTVSafe"
    int32_t dualScreen = 0;         // "DualScreenViewer"
    CDIB preview{0, 0, 32};
    tagRECT codeRect{};             // where ShowCode draws
};
