// SPDX-License-Identifier: GPL-2.0-or-later
// CStage: the picture with the camera frame over it, and the frame's mouse and
// keyboard editing.
#include "editor/CStage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "doc/CDoc.h"
#include "editor/CMain.h"
#include "editor/CTime.h"
#include "editor/CView.h"
#include "editor/EditorState.h"
#include "motion/Geometry.h"
#include "motion/Interp.h"
#include "platform/Settings.h"

namespace {

constexpr long kYellow = 65535;
constexpr long kBlack = 0;
constexpr long kStageGrey = 12632256;   // the stage's background
constexpr long kGridGrey = 10526880;    // grid lines around the picture
constexpr long kPathColour = 16711680;  // the camera path (blue)
constexpr int kGridStep = 32;           // stage pixels between grid lines
constexpr int kPathReach = 7;           // pixels within which a path key is hit
constexpr int kPathPen = 2;             // the camera path's width, to be seen on any picture

int Trunc(float v) { return static_cast<int>(v); }

int CurrentPicture() { return pDoc ? pDoc->FindCurPic(gCurFrame) : 0; }

// The current picture's key list and its length, bounded to the slots.
int PictureKeys(int picture, KeyStruct*& keys) {
    if (!pDoc || picture < 0 || picture >= kPictureSlots) {
        keys = nullptr;
        return 0;
    }
    keys = pDoc->keys[picture];
    return std::clamp(pDoc->keyCount[picture], 0, kMaxKeys);
}

}  // namespace

// ---- The camera path ----------------------------------------------------------

void DrawCurve(long colour, int keyCount, KeyStruct* keys, int easeMode, int originX, int originY,
               float scale, int penWidth) {
    if (!keys || keyCount < 1) return;
    keyCount = std::min(keyCount, kMaxKeys);
    for (int i = 0; i + 1 < keyCount; i++) {
        const float step = static_cast<float>(keys[i + 1].time - keys[i].time) * 0.0625f;
        int penX = Trunc(scale * keys[i].horizontalPos);
        int penY = Trunc(scale * keys[i].verticalPos);
        for (int j = 1; j <= 16; j++) {
            const long f = keys[i].time + Trunc(step * static_cast<float>(j));
            const float x = scale * CurveFit(keyCount, keys, 0, f, 0, easeMode);
            const float y = scale * CurveFit(keyCount, keys, 2, f, 0, easeMode);
            DrawLine(colour, penX + originX, penY + originY, Trunc(x) + originX, Trunc(y) + originY,
                     penWidth, 1001);
            penX = Trunc(x);
            penY = Trunc(y);
        }
    }
    for (int k = 0; k < keyCount; k++) {
        const int px = originX + Trunc(scale * keys[k].horizontalPos);
        const int py = originY + Trunc(scale * keys[k].verticalPos);
        DrawCir(255, tagRECT{px - 3, py - 3, px + 3, py + 3}, 1, 1001);
    }
}

// ---- Construction and layout ----------------------------------------------------

CStage::CStage(CPWnd* parentWindow) {
    scale = static_cast<float>(GetIniItem("StageScale", 50)) / 100.0f;
    showPath = static_cast<int32_t>(GetIniItem("ShowCameraPath", 0));
    centerPic = static_cast<int32_t>(GetIniItem("CenterPic", 0));
    parent = parentWindow;
    Create(parentWindow, kStyleVScroll | kStyleHScroll | 3, nullptr);
    Show(1);
    Layout();
    dragMode = kStageNoDrag;
    if (pDoc) pDoc->GetKey(0, workingKey, 0);
    pStage = this;
}

CStage::~CStage() {
    if (pStage == this) pStage = nullptr;
}

void CStage::Layout() {
    if (!parent) {
        SetWinRect(0, 0, 640, 480, true);
    } else {
        tagRECT r;
        parent->GetWinRect(r);
        const int s = GetScrollSize();
        r.left += s;
        r.right -= s;
        r.top += s + parent->GetCaptionSize() + parent->GetMenuSize();
        r.bottom -= s + kStatusAreaHeight + kTimelineHeight;
        r.right = std::max(r.right, r.left + 1);
        r.bottom = std::max(r.bottom, r.top + 1);
        SetWinRect(r, true);
    }
    tagRECT client;
    GetClientRect(client);
    SetViewScrollRange(4096, 4096, client.right, client.bottom, false);
    PlacePicture();
}

void CStage::PlacePicture() {
    originX = 0;
    originY = 0;
    if (!centerPic || !pDoc) return;
    // Centred in the part of the stage that the scroll bars leave free; a
    // picture larger than that starts at the top-left corner as usual.
    tagRECT client;
    GetClientRect(client);
    const int s = GetScrollSize();
    const int freeWidth = client.right - s;
    const int freeHeight = client.bottom - s;
    const int width = Trunc(static_cast<float>(pDoc->GetWid()) * scale);
    const int height = Trunc(static_cast<float>(pDoc->GetHgt()) * scale);
    originX = std::max(0, (freeWidth - width) / 2);
    originY = std::max(0, (freeHeight - height) / 2);
}

bool CStage::RotationShown() { return gShowRotation != 0; }

// ---- Frame geometry -----------------------------------------------------------------

void CStage::GetFrame(StageFrame& frame) {
    const float aspect = pDoc ? pDoc->aspect : 0.75f;
    const int cx = Trunc(workingKey.horizontalPos * scale) - GetViewScrollX() + originX;
    const int cy = Trunc(workingKey.verticalPos * scale) - GetViewScrollY() + originY;
    const int hw = Trunc(workingKey.width * scale * 0.5f);
    const int hh = Trunc(static_cast<float>(hw) * aspect);
    const int ox = Trunc(static_cast<float>(hw) * (workingKey.rotation2 / 180.0f));
    const int oy = Trunc(static_cast<float>(hh) * (workingKey.rotation1 / 180.0f));
    frame.centre = tagPOINT{cx, cy};
    frame.halfWidth = hw;
    frame.halfHeight = hh;
    frame.corner[0] = tagPOINT{cx - hw + ox, cy - hh + oy};
    frame.corner[1] = tagPOINT{cx + hw - ox, cy - hh - oy};
    frame.corner[2] = tagPOINT{cx + hw + ox, cy + hh + oy};
    frame.corner[3] = tagPOINT{cx - hw - ox, cy + hh - oy};
    for (tagPOINT& p : frame.corner) RotatePoint(p, workingKey.rotation3, frame.centre);
}

int CStage::MouseCheck(int x, int y, int flags) {
    StageFrame frame;
    GetFrame(frame);
    const int h = frame.halfWidth > 23 ? frame.halfWidth / 6 : 4;
    // The move square uses the half height on both axes; it is tested first,
    // so it wins over a corner handle where the two overlap.
    const int hh = frame.halfHeight;
    const tagRECT inner{frame.centre.x - hh, frame.centre.y - hh, frame.centre.x + hh, frame.centre.y + hh};
    if (XYInRect(inner, x, y)) return kStageMove;
    for (int i = 0; i < 4; i++) {
        const tagPOINT& c = frame.corner[i];
        const tagRECT handle{c.x - h, c.y - h, c.x + h, c.y + h};
        if (!XYInRect(handle, x, y)) continue;
        if (i == 0 && RotationShown()) return (flags & kMouseCommand) ? kStageTilt : kStageRoll;
        return kStageResize;
    }
    return kStageNoDrag;
}

void CStage::DrawCamera(bool rubber) {
    PortSaver port(this);
    StageFrame frame;
    GetFrame(frame);
    tagPOINT outline[5] = {frame.corner[0], frame.corner[1], frame.corner[2], frame.corner[3], frame.corner[0]};

    // The guide lines: a small cross through the centre along the frame's own
    // axes.
    const int arm = std::clamp(frame.halfHeight / 4, 3, 12);
    tagPOINT guide[4] = {
        {frame.centre.x - arm, frame.centre.y}, {frame.centre.x + arm, frame.centre.y},
        {frame.centre.x, frame.centre.y - arm}, {frame.centre.x, frame.centre.y + arm},
    };
    for (tagPOINT& p : guide) RotatePoint(p, workingKey.rotation3, frame.centre);

    // The roll handle: a circle round corner 0.
    const int h = frame.halfWidth > 23 ? frame.halfWidth / 6 : 4;
    const int radius = h + 3;
    const tagPOINT& c = frame.corner[0];
    const tagRECT handle{c.x - radius, c.y - radius, c.x + radius, c.y + radius};
    const bool roll = RotationShown();

    if (rubber) {
        DrawPolyLine(kBlack, 2, 5, outline, kDrawInvert);
        DrawLine(kBlack, guide[0].x, guide[0].y, guide[1].x, guide[1].y, 2, kDrawInvert);
        DrawLine(kBlack, guide[2].x, guide[2].y, guide[3].x, guide[3].y, 2, kDrawInvert);
        if (roll) DrawCir(kBlack, handle, 2, kDrawInvert);
        return;
    }
    const struct {
        long colour;
        int pen;
    } passes[] = {{kYellow, 3}, {kBlack, 1}};
    for (const auto& pass : passes) {
        DrawPolyLine(pass.colour, pass.pen, 5, outline, kDrawCopy);
        DrawLine(pass.colour, guide[0].x, guide[0].y, guide[1].x, guide[1].y, pass.pen, kDrawCopy);
        DrawLine(pass.colour, guide[2].x, guide[2].y, guide[3].x, guide[3].y, pass.pen, kDrawCopy);
        if (roll) DrawCir(pass.colour, handle, pass.pen, kDrawCopy);
    }
}

// ---- Drawing ----------------------------------------------------------------------------

namespace {

// What the picture buffer holds: its memory, its size and a sample of its
// pixels, so that a picture loaded or prepared into the same memory is seen.
uint64_t PictureStamp(CDIB& picture) {
    uint64_t h = 1469598103934665603ull;
    auto mix = [&h](uint64_t v) {
        h ^= v;
        h *= 1099511628211ull;
    };
    mix(reinterpret_cast<uintptr_t>(picture.header));
    mix(reinterpret_cast<uintptr_t>(picture.bits));
    const long width = picture.GetWid();
    const long height = picture.GetHgt();
    const int bytes = std::max(picture.GetBitCount() / 8, 1);
    mix(static_cast<uint64_t>(width) << 32 | static_cast<uint64_t>(height));
    mix(static_cast<uint64_t>(picture.GetBitCount()));
    if (!picture.bits || width < 1 || height < 1) return h;
    for (int i = 0; i < 64; i++) {
        const uint8_t* row = picture.GetBitsAdd(static_cast<int>(height * i / 64));
        if (!row) continue;
        for (int j = 0; j < 64; j++) {
            const uint8_t* p = row + (width * j / 64) * bytes;
            for (int b = 0; b < bytes; b++) mix(p[b]);
        }
    }
    return h;
}

}  // namespace

void CStage::DrawPicture(int left, int top, int width, int height) {
    // Reductions come from a copy of the picture at the stage's scale, made
    // once with the area filter; enlargements from the picture itself. Only
    // the part inside the stage is handed to the window.
    CDIB* source = pDoc;
    float factor = scale;
    if (scale < 1.0f) {
        const uint64_t stamp = PictureStamp(*pDoc);
        if (stamp != pictureStamp || scaledPicture.GetWid() != width || scaledPicture.GetHgt() != height) {
            pictureStamp = 0;
            // The reduction is axis-aligned: always the area filter, even when
            // keys of the show turn the camera (which sends the document's
            // pictures through the rotating sampler).
            const int32_t rotation = pDoc->useRotation;
            pDoc->useRotation = 0;
            const bool made = scaledPicture.Create(width, height, 32) &&
                              scaledPicture.FilterCrop(pDoc, 0.0f, 0.0f, static_cast<float>(pDoc->GetWid()),
                                                       static_cast<float>(pDoc->GetHgt()), 0.0f, 0.0f, 0.0f, 0,
                                                       100, 0);
            pDoc->useRotation = rotation;
            if (!made) return;
            pictureStamp = stamp;
        }
        source = &scaledPicture;
        factor = 1.0f;
    }
    tagRECT client;
    GetClientRect(client);
    const long sourceWidth = source->GetWid();
    const long sourceHeight = source->GetHgt();
    // The visible part in source pixels, widened to whole pixels.
    const long x0 = std::clamp(static_cast<long>(std::floor(-left / factor)), 0L, sourceWidth);
    const long y0 = std::clamp(static_cast<long>(std::floor(-top / factor)), 0L, sourceHeight);
    const long x1 = std::clamp(static_cast<long>(std::ceil((client.right - left) / factor)), 0L, sourceWidth);
    const long y1 = std::clamp(static_cast<long>(std::ceil((client.bottom - top) / factor)), 0L, sourceHeight);
    if (x1 <= x0 || y1 <= y0) return;
    tagRECT from{static_cast<int32_t>(x0), static_cast<int32_t>(y0), static_cast<int32_t>(x1),
                 static_cast<int32_t>(y1)};
    tagRECT target{left + Trunc(static_cast<float>(x0) * factor), top + Trunc(static_cast<float>(y0) * factor),
                   left + Trunc(static_cast<float>(x1) * factor), top + Trunc(static_cast<float>(y1) * factor)};
    source->Draw(target, from, this);
}

void CStage::OnDraw() {
    PortSaver port(this);
    PlacePicture();
    tagRECT client;
    GetClientRect(client);
    DrawBar(kStageGrey, client);

    const int left = originX - GetViewScrollX();
    const int top = originY - GetViewScrollY();
    const int width = pDoc ? Trunc(static_cast<float>(pDoc->GetWid()) * scale) : 0;
    const int height = pDoc ? Trunc(static_cast<float>(pDoc->GetHgt()) * scale) : 0;

    // Grid lines around the picture, aligned with its top-left corner.
    const int firstX = left - (left / kGridStep) * kGridStep;
    const int firstY = top - (top / kGridStep) * kGridStep;
    for (int x = firstX; x < client.right; x += kGridStep)
        DrawLine(kGridGrey, x, 0, x, client.bottom, 1, kDrawCopy);
    for (int y = firstY; y < client.bottom; y += kGridStep)
        DrawLine(kGridGrey, 0, y, client.right, y, 1, kDrawCopy);

    if (pDoc && width > 0 && height > 0) DrawPicture(left, top, width, height);

    if (showPath) {
        KeyStruct* keys = nullptr;
        const int count = PictureKeys(CurrentPicture(), keys);
        if (pDoc) DrawCurve(kPathColour, count, keys, pDoc->easeType, left, top, scale, kPathPen);
    }
    DrawCamera(false);
    if (gMainWindowPtr) gMainWindowPtr->ShowStats(workingKey);
    if (pViewer) pViewer->Refresh(true);
}

int CStage::KeyOnPath(int x, int y) {
    KeyStruct* keys = nullptr;
    const int count = PictureKeys(CurrentPicture(), keys);
    const int left = originX - GetViewScrollX();
    const int top = originY - GetViewScrollY();
    for (int k = 0; k < count; k++) {
        const int px = left + Trunc(scale * keys[k].horizontalPos);
        const int py = top + Trunc(scale * keys[k].verticalPos);
        if (std::abs(x - px) <= kPathReach && std::abs(y - py) <= kPathReach) return k;
    }
    return -1;
}

// ---- Dragging ---------------------------------------------------------------------------

void CStage::DragCamera(int x, int y, int flags) {
    DrawCamera(true);
    KeyStruct& key = workingKey;
    switch (dragMode) {
    case kStageMove:
        ChangeCursor(13);
        key.horizontalPos = static_cast<float>(x - grabX) / scale;
        key.verticalPos = static_cast<float>(y - grabY) / scale;
        if (flags & kMouseShift) {
            // Kept to the axis along which the mouse has gone further.
            if (std::abs(x - grabX - startX) > std::abs(y - grabY - startY))
                key.verticalPos = pressKey.verticalPos;
            else
                key.horizontalPos = pressKey.horizontalPos;
        }
        break;
    case kStageRoll:
        if (pDoc) pDoc->modified = 1;
        ChangeCursor(12);
        key.rotation3 = static_cast<float>(x - grabX) * 0.5f;
        if (flags & kMouseShift) key.rotation3 = 0.0f;
        break;
    case kStageTilt:
        if (pDoc) pDoc->modified = 1;
        ChangeCursor(14);
        if (flags & kMouseShift)
            key.rotation1 = static_cast<float>(x - grabX) * 0.5f;
        else
            key.rotation2 = static_cast<float>(x - grabX) * 0.5f;
        key.rotation1 = std::clamp(key.rotation1, -90.0f, 90.0f);
        key.rotation2 = std::clamp(key.rotation2, -90.0f, 90.0f);
        break;
    case kStageResize: {
        ChangeCursor(8);
        StageFrame frame;
        GetFrame(frame);
        tagPOINT p{x, y};
        RotatePoint(p, 360.0f - key.rotation3, frame.centre);
        key.width = 2.0f * static_cast<float>(std::abs(p.x - frame.centre.x)) / scale;
        break;
    }
    default: break;
    }
    DrawCamera(true);
    if (gMainWindowPtr) gMainWindowPtr->ShowStats(workingKey);
    if (pViewer) pViewer->Refresh(false);
}

// ---- Messages -----------------------------------------------------------------------------

void CStage::Press(int x, int y, int flags) {
    dragMode = MouseCheck(x, y, flags);
    if (dragMode == kStageNoDrag) return;
    // The frame's rubber copy goes on now; every drag step takes it off and
    // puts it on again at the new place.
    DrawCamera(true);
    pressKey = workingKey;
    startX = Trunc(scale * workingKey.horizontalPos);
    startY = Trunc(scale * workingKey.verticalPos);
    grabX = x - startX;
    grabY = y - startY;
    if (dragMode == kStageRoll) grabX = x - Trunc(2.0f * workingKey.rotation3);
    if (dragMode == kStageTilt) {
        const float tilt = (flags & kMouseShift) ? workingKey.rotation1 : workingKey.rotation2;
        grabX = x - Trunc(2.0f * tilt);
    }
}

void CStage::Release(int x, int y) {
    if (pTime) PostAMessage(pTime, kMsgEndDrag, 0, 0);
    if (dragMode != kStageNoDrag) {
        dragMode = kStageNoDrag;
        OnDraw();
        if (pDoc && pDoc->autoAddKey) pDoc->AddKey();
    }
    dragMode = kStageNoDrag;
    if (showPath && pDoc) {
        const int key = KeyOnPath(x, y);
        if (key >= 0) {
            const int picture = CurrentPicture();
            pDoc->GotoFrame(pDoc->GetPicStart(picture) + pDoc->keys[picture][key].time, true);
        }
    }
}

void CStage::SecondaryRelease(int x, int y) {
    // The press before this release may have started a drag; it ends here.
    const bool dragging = dragMode != kStageNoDrag;
    dragMode = kStageNoDrag;
    if (MouseCheck(x, y, 0) == kStageNoDrag || !pTime) {
        if (dragging) OnDraw();
        return;
    }
    tagRECT client;
    GetClientRect(client);
    KeyStruct copy = workingKey;
    if (pTime->EditKey(x + 100, std::min(y + 30, client.bottom - 160), copy, true)) workingKey = copy;
    OnDraw();
}

void CStage::Hover(int x, int y, int flags) {
    if (gMainWindowPtr) gMainWindowPtr->SetHint(kStageHint);
    switch (MouseCheck(x, y, flags)) {
    case kStageMove: ChangeCursor(13); return;
    case kStageResize: ChangeCursor(8); return;
    case kStageRoll: ChangeCursor(12); return;
    case kStageTilt: ChangeCursor(14); return;
    default: break;
    }
    ChangeCursor(showPath && KeyOnPath(x, y) >= 0 ? 2 : 1);
}

bool CStage::Key(int character) {
    if (!pDoc) return false;
    const bool control = IsKeyPressed(kKeyControl);
    const float aspect = pDoc->aspect;
    const float picWidth = static_cast<float>(pDoc->GetWid());
    const float picHeight = static_cast<float>(pDoc->GetHgt());
    KeyStruct& key = workingKey;
    switch (character) {
    case kKeyLeft:
        key.horizontalPos = control ? key.width / 2.0f : key.horizontalPos - 1.0f;
        break;
    case kKeyRight:
        key.horizontalPos = control ? picWidth - key.width / 2.0f : key.horizontalPos + 1.0f;
        break;
    case kKeyUp:
        key.verticalPos = control ? key.width / 2.0f * aspect : key.verticalPos - 1.0f;
        break;
    case kKeyDown:
        key.verticalPos = control ? picHeight - key.width / 2.0f * aspect : key.verticalPos + 1.0f;
        break;
    case kKeyPageUp:
        key.width = control ? picWidth : std::max(key.width - 1.0f, 4.0f);
        break;
    case kKeyPageDown:
        key.width = control ? picHeight / aspect : key.width + 1.0f;
        break;
    case kKeyHome:
        if (!control) return false;
        key.horizontalPos = picWidth / 2.0f;
        key.verticalPos = picHeight / 2.0f;
        break;
    default: return false;
    }
    OnDraw();
    return true;
}

long CStage::HandleEvent(unsigned int msg, long wParam, long lParam) {
    const int x = PointX(lParam);
    const int y = PointY(lParam);
    switch (msg) {
    case kMsgResized:
    case kMsgMoved: Layout(); break;
    case kMsgPaint: OnDraw(); break;
    case kMsgClose: PostAMessage(this, kMsgFinished, 0, 0); break;
    case kMsgMouseDown: Press(x, y, static_cast<int>(wParam)); break;
    case kMsgMouseMoved:
        if (dragMode != kStageNoDrag)
            DragCamera(x, y, static_cast<int>(wParam));
        else
            Hover(x, y, static_cast<int>(wParam));
        break;
    case kMsgMouseUp: Release(x, y); break;
    case kMsgSecondaryUp: SecondaryRelease(x, y); break;
    case kMsgEndDrag: dragMode = kStageNoDrag; break;
    case kMsgScrollV:
    case kMsgScrollH: ScrollControl(static_cast<int>(msg), static_cast<int>(wParam), 60); break;
    case kMsgKeyDown:
    case kMsgCommandKey:
        if (wParam == 1024) break;
        if (!Key(static_cast<int>(wParam)) && gMainWindowPtr) gMainWindowPtr->HandleEvent(msg, wParam, lParam);
        break;
    default: break;
    }
    return 1;
}
