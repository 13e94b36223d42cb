// SPDX-License-Identifier: GPL-2.0-or-later
// CTime: the timeline below the stage. It shows the show along time: one
// coloured segment per picture, a marker for every camera key, the transition
// of each picture, "hold" spans and the current-frame line. With the mouse the
// user scrubs the current frame, drags keys along time, drags the boundary
// between two pictures or the end of a picture, and opens the key dialog.
#pragma once

#include <cstdint>

#include "motion/Types.h"
#include "platform/window/CPWnd.h"

// The timeline sits right above the main window's status area, which is the
// bottom strip of the main window; the stage takes what is left above both.
constexpr int kTimelineHeight = 84;
constexpr int kStatusAreaHeight = 84;

class CTime : public CPWnd {
public:
    explicit CTime(CPWnd* parent);
    ~CTime() override;

    long HandleEvent(unsigned int msg, long wParam, long lParam) override;
    void OnDraw() override;

    // Frames under a pixel and pixels of a frame, both in the scrolled
    // (absolute) x of the whole show; 4 pixels of margin on the left.
    long FromPix(long x);
    long ToPix(long frame);
    // Chooses the scale for a show of `frames` and sets the scroll width.
    void SetMaxTime(long frames);
    // Redraws the timeline now.
    void Refresh();
    // Scrolls so that the line of `frame` is in view (a page on when it has
    // run past the right edge); playback follows the current frame with it.
    void KeepInView(long frame);
    void DrawTimeBar();
    void DrawKeyMarker(long colour, tagRECT r, long picture);
    void DrawCutline();
    // The key under (x, y) in the current picture, -1 when none.
    int FindKey(int x, int y);
    // The picture whose end lies under (x, y), -1 when none.
    int FindDur(int x, int y);
    // Drag feedback; a negative x means nothing is drawn yet to erase.
    void DragKey(int x);
    void DragSeg(int x);
    void DragDur(int x);
    // The "Set KeyFrame Options" dialog at (x, y) of the stage: 4 items from
    // the stage, 11 (with the ease) from the timeline. True on OK, with the
    // edited values in `key`.
    bool EditKey(int x, int y, KeyStruct& key, bool fromStage);

    // Frames within which a key counts as being at a frame.
    long KeyTolerance() const;
    // Lays the timeline out inside its parent (messages 1001 and 1002).
    void Layout();
    // Mouse steps of HandleEvent; x is absolute (scroll added).
    void Press(int x, int y);
    void Move(int x, int y);
    void Release(int x, long flags);
    void SecondaryRelease(int x, int y);
    // The end of a key drag pressed at `pressFrame` and let go at `frame`.
    void DropKey(long pressFrame, long frame, bool shift);
    // A picture end dropped at `frame`: the picture's new length, which stops
    // short of the next picture's start.
    void SetPictureLength(int picture, long frame);
    void ClearDrags();

    // Fields in their fixed order.
    int32_t timeScale = 30;      // frames per 60 pixels ("TimeScale")
    int32_t dragKey = -1;        // key being dragged
    int32_t dragDur = -1;        // picture whose length is being dragged
    int32_t pressX = 0;          // absolute x of the last press
    int32_t dragSeg = -1;        // picture whose start is being dragged
    int32_t scrollWidth = 0;     // pixel width of the whole show, at most 32700
    int32_t scrubbing = 0;       // the current frame follows the mouse
    int32_t lastDragX = -1;      // where the drag feedback is drawn, -1 nowhere
    int32_t dragPicture = -1;    // picture of the dragged key
    bool markerAfterTransition = false;  // DrawKeyMarker's picture choice
};

// The ease items of the key dialog and the key's easeCode. The radio choice
// is 0 "Use Default", 1 "In & Out", 2 "In", 3 "Out", 4 "None"; the ease speed
// is the slider's 0..100; noCurves the "No Curves" box.
struct EaseChoice {
    int radio = 0;
    int speed = 0;
    bool noCurves = false;
};
EaseChoice EaseChoiceFromCode(float easeCode);
float EaseCodeFromChoice(const EaseChoice& choice);
