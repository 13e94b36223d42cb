// SPDX-License-Identifier: GPL-2.0-or-later
// CStage: the editor window that shows the current picture, scaled, with the
// camera frame of the current moment drawn over it. The user moves, resizes,
// rolls and tilts the frame with the mouse and the keyboard. The stage edits a
// private copy of one camera key, the working key; when a drag ends the
// working key becomes a key of the document (with auto-add on).
#pragma once

#include <cstdint>

#include "image/CDIB.h"
#include "motion/Types.h"
#include "platform/window/CPWnd.h"

// Hit codes of MouseCheck, which are also the drag modes.
enum : int {
    kStageNoDrag = 0,
    kStageMove = 8,
    kStageRoll = 9,
    kStageResize = 10,
    kStageTilt = 11,
};

// The camera frame as the stage draws it: the centre and the four corners in
// stage pixels (after tilt and roll), and the unrolled half sizes.
struct StageFrame {
    tagPOINT centre;
    tagPOINT corner[4];  // top-left, top-right, bottom-right, bottom-left
    int halfWidth;
    int halfHeight;
};

class CStage : public CPWnd {
public:
    explicit CStage(CPWnd* parent);
    ~CStage() override;

    long HandleEvent(unsigned int msg, long wParam, long lParam) override;
    void OnDraw() override;

    // What a press at (x, y) would grab: one of the hit codes above.
    int MouseCheck(int x, int y, int flags);
    // Draws the camera frame; `rubber` draws it inverted, so that a second
    // call takes it away again.
    void DrawCamera(bool rubber);
    // One step of the drag in progress, to the mouse at (x, y).
    void DragCamera(int x, int y, int flags);

    // The frame of the working key in stage pixels.
    void GetFrame(StageFrame& frame);
    // Lays the stage out inside its parent (messages 1001 and 1002).
    void Layout();
    // Sets the picture's offset on the stage from the centring flag.
    void PlacePicture();
    // The first key of the current picture whose centre on the drawn camera
    // path lies within 7 pixels of (x, y) on both axes; -1 when none.
    int KeyOnPath(int x, int y);
    // The rotation display: roll and tilt handles are offered.
    static bool RotationShown();
    // Draws the picture at the stage's scale with its top-left corner at
    // (left, top); width and height are its size on the stage.
    void DrawPicture(int left, int top, int width, int height);
    // Mouse and keyboard steps of HandleEvent. Key returns false for keys
    // that the main window handles.
    void Press(int x, int y, int flags);
    void Release(int x, int y);
    void SecondaryRelease(int x, int y);
    void Hover(int x, int y, int flags);
    bool Key(int character);

    // Fields in their fixed order.
    float scale = 0.5f;       // stage pixels per picture pixel ("StageScale" / 100)
    int32_t grabX = 0;        // mouse minus frame centre at the press (roll, tilt: angle base)
    int32_t grabY = 0;
    int32_t startX = 0;       // frame centre in stage pixels at the press (scale x position)
    int32_t startY = 0;
    int32_t originX = 0;      // offset of the picture on the stage
    int32_t originY = 0;
    int32_t dragMode = kStageNoDrag;
    int32_t showPath = 0;     // "ShowCameraPath"
    int32_t centerPic = 0;    // "CenterPic"
    KeyStruct workingKey{};   // the camera being edited
    KeyStruct pressKey{};     // the working key as it was at the press
    CDIB scaledPicture{0, 0, 32};  // the picture at the stage's scale (reductions)
    uint64_t pictureStamp = 0;     // what scaledPicture was made from
};

// Draws the track of the camera's centre through `keys` (one picture's list)
// as the stage shows it, and a small red circle at every key.
void DrawCurve(long colour, int keyCount, KeyStruct* keys, int easeMode, int originX, int originY,
               float scale, int penWidth);
