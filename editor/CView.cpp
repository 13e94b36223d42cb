// SPDX-License-Identifier: GPL-2.0-or-later
// CView: the viewer, its preview of the camera's view, and playback.
#include "editor/CView.h"

#include <algorithm>

#include "doc/CDoc.h"
#include "editor/CMain.h"
#include "editor/CStage.h"
#include "editor/CTime.h"
#include "editor/EditorState.h"
#include "host/Resample.h"
#include "motion/Geometry.h"
#include "motion/Timecode.h"
#include "platform/Env.h"
#include "platform/Settings.h"

namespace {

constexpr long kBlack = 0;
constexpr long kWhite = 16777215;
constexpr long kStripGrey = 12632256;
constexpr int kCodeStrip = 25;     // the timecode strip under the picture
constexpr int kButtonSize = 19;
constexpr int kFastQuality = 0;    // nearest pixel, for drags
constexpr int kFullQuality = 100;

enum { kReverse = 0, kStop = 1, kPlay = 2, kRewind = 3 };

}  // namespace

CView::CView(CPWnd* parentWindow) {
    tvSafe = static_cast<int32_t>(GetIniItem("ShowTVSafe", 0));
    dualScreen = static_cast<int32_t>(GetIniItem("DualScreenViewer", 0));
    speed = 0;
    // Ticks per frame in integer arithmetic: 2 at every common rate, so
    // playback steps a frame every 2 ticks. Never 0, whatever the rate.
    ticksPerFrame = static_cast<uint32_t>(
        std::max<unsigned long>(1, GetMilliTimeFreq() * 100 / static_cast<unsigned long>(std::max(gFrameRate, 1))));
    parent = parentWindow;
    Create(parentWindow, kStyleFloating | 10, nullptr);
    buttons[kReverse].Create(0, 0, kButtonSize, kButtonSize, kButtonReverse);
    buttons[kStop].Create(0, 0, kButtonSize, kButtonSize, kButtonStop);
    buttons[kPlay].Create(0, 0, kButtonSize, kButtonSize, kButtonPlay);
    buttons[kRewind].Create(0, 0, kButtonSize, kButtonSize, kButtonPush);

    tagRECT p{0, 0, 640, 480};
    if (parent) parent->GetWinRect(p);
    const int parentWidth = p.right - p.left;
    const int w = parentWidth > 1767 ? parentWidth / 8 : 220;

    long top = GetIniItem("ViewerTop", p.top + 80);
    if (top < 32) top = 32;
    if (!dualScreen) top = std::min(top, static_cast<long>(p.bottom) - 64);
    long left = GetIniItem("ViewerLeft", p.right - w - 40);
    if (left < 32) left = 32;
    if (!dualScreen) left = std::min(left, static_cast<long>(p.right) - 64);
    long right = left + std::max(GetIniItem("ViewerWidth", w), 0L);
    if (!dualScreen) right = std::min(right, static_cast<long>(p.right) - 64);
    right = std::max(right, left + 80);

    SetWinRect(static_cast<int>(left), static_cast<int>(top), static_cast<int>(right), static_cast<int>(top) + 200,
               false);
    SetTitle("Viewer");
    pViewer = this;
    Show(0);
    if (pDoc) {
        const float aspect = pDoc->aspect;
        pDoc->aspect = 0.5f;
        HandleEvent(kMsgMoved, 0, 0);
        pDoc->aspect = aspect;
    }
    HandleEvent(kMsgMoved, 0, 0);
    Show(1);
}

CView::~CView() {
    speed = 0;
    if (pViewer == this) pViewer = nullptr;
}

// ---- Layout and drawing ------------------------------------------------------------------

void CView::Layout() {
    const float aspect = pDoc ? pDoc->aspect : 0.75f;
    tagRECT r;
    GetWinRect(r);
    const int width = std::max(r.right - r.left, 1);
    const int pictureHeight = std::max(static_cast<int>(static_cast<float>(width) * aspect), 1);
    r.bottom = r.top + GetCaptionSize() + pictureHeight + kCodeStrip;
    SetWinRect(r, shown != 0);

    tagRECT client;
    GetClientRect(client);
    const int y = client.bottom - kCodeStrip + (kCodeStrip - kButtonSize) / 2;
    for (int i = 0; i < 3; i++) {
        tagRECT b{4 + i * (kButtonSize + 3), y, 4 + i * (kButtonSize + 3) + kButtonSize, y + kButtonSize};
        buttons[i].SetPos(b);
    }
    tagRECT rewind{client.right - 4 - kButtonSize, y, client.right - 4, y + kButtonSize};
    buttons[kRewind].SetPos(rewind);
    codeRect = tagRECT{4 + 3 * (kButtonSize + 3) + 2, client.bottom - kCodeStrip + 2, rewind.left - 6,
                       client.bottom - 2};
}

void CView::GetPictureArea(tagRECT& r) {
    GetClientRect(r);
    r.bottom = std::max(r.top, r.bottom - kCodeStrip);
}

void CView::OnDraw() {
    PortSaver port(this);
    tagRECT client;
    GetClientRect(client);
    DrawBar(kStripGrey, tagRECT{0, client.bottom - kCodeStrip, client.right, client.bottom});
    DrawButtons();
    Refresh(true);
    ShowCode(gCurFrame);
}

void CView::DrawButtons() {
    PortSaver port(this);
    for (CPButton& button : buttons) button.Draw();
    // The fourth button goes back to the first frame: a bar and a triangle.
    const tagRECT& b = buttons[kRewind].rect;
    const long ink = buttons[kRewind].state ? kWhite : kBlack;
    const int cx = (b.left + b.right) / 2;
    const int cy = (b.top + b.bottom) / 2;
    DrawBar(ink, tagRECT{cx - 5, cy - 4, cx - 3, cy + 5});
    DrawTriangle(ink, cx + 4, cy - 4, cx + 4, cy + 5, cx - 2, cy);
}

void CView::Refresh(bool full) {
    if (!pDoc || !pDoc->HasImage()) return;
    PortSaver port(this);
    tagRECT area;
    GetPictureArea(area);
    const int width = area.right - area.left;
    const int height = area.bottom - area.top;
    if (width < 1 || height < 1 || !preview.Create(width, height, 32)) return;

    KeyStruct key;
    if (pStage)
        key = pStage->workingKey;
    else
        pDoc->QueueKey(&key, pDoc->FindCurPic(gCurFrame), gCurFrame, 0);
    // A rolled or tilted camera needs the rotating filter even when no key of
    // the picture has turned yet.
    const bool turned = key.rotation1 != 0.0f || key.rotation2 != 0.0f || key.rotation3 != 0.0f;
    pDoc->useRotation = turned || pDoc->HasRotationInShow(pDoc->FindCurPic(gCurFrame)) ? 1 : 0;

    const float aspect = pDoc->aspect;
    const float pictureHeight = static_cast<float>(pDoc->GetHgt());
    const float w = key.width;
    // The picture is stored bottom-up: the camera's lower edge counts rows
    // from the bottom.
    const float left = key.horizontalPos - w / 2.0f;
    const float bottom = (pictureHeight - key.verticalPos) - w / 2.0f * aspect;
    if (!full && key.rotation3 == 0.0f)
        preview.FilterCrop(pDoc, left, bottom, w, w * aspect, key.rotation3, key.rotation1, key.rotation2, 0,
                           kFastQuality, 0);
    else if (pDoc->exactRender && !pDoc->draftRender)
        FilterExact(&preview, pDoc, left, bottom, w, w * aspect, key.rotation3, key.rotation1, key.rotation2, 0);
    else
        preview.FilterCropMulti(pDoc, left, bottom, w, w * aspect, key.rotation3, key.rotation1, key.rotation2,
                                pDoc->draftRender ? kFastQuality : kFullQuality, 0);
    preview.Draw(area, this);

    if (tvSafe) {
        tagRECT title = area;
        ScaleRect(title, -static_cast<long>(width * 0.096), -static_cast<long>(height * 0.096));
        DrawRoundBox(kWhite, title, static_cast<int>(width * 0.1), 1, kDrawCopy);
        tagRECT action = area;
        ScaleRect(action, -static_cast<long>(width * 0.048), -static_cast<long>(height * 0.048));
        DrawBox(kWhite, action, 1, kDrawCopy);
    }
}

void CView::ShowCode(long frame) {
    PortSaver port(this);
    DrawRoundBar(kWhite, codeRect, 6);
    DrawRoundBox(kBlack, codeRect, 6, 1, kDrawCopy);
    char text[16];
    FrameToString(text, frame, false);
    void* font = GetSelectedFont();
    SelectFont(Sans12);
    const int x = (codeRect.left + codeRect.right) / 2;
    DrawText(kBlack, text, x, codeRect.bottom - 17, kAlignCentre);
    SelectFont(font);
}

// ---- Playback -----------------------------------------------------------------------------

void CView::SetSpeed(int newSpeed) {
    PortSaver port(this);
    speed = newSpeed;
    for (CPButton& button : buttons) button.SetState(0);
    if (speed == 1) buttons[kPlay].SetState(1);
    if (speed == -1) buttons[kReverse].SetState(1);
    DrawButtons();
    if (speed == 0 || !pDoc) return;
    endFrame = pDoc->showLength;
    if (gCurFrame >= endFrame) gCurFrame = 0;
    startFrame = static_cast<int32_t>(gCurFrame);
    startTicks = GetMilliTime();
    if (!inLoop) PlayLoop(true);
    pDoc->GotoFrame(gCurFrame, true);
}

void CView::PlayLoop(bool) {
    inLoop = 1;
    while (speed != 0) {
        NextFrame(true);
        if (pTime) {
            pTime->KeepInView(gCurFrame);
            pTime->Refresh();
        }
        ShowCode(gCurFrame);

        void* window = nullptr;
        unsigned int msg = 0;
        long wParam = 0;
        long lParam = 0;
        unsigned long time = 0;
        tagPOINT point{0, 0};
        PeekAMessage(&window, &msg, &wParam, &lParam, &time, &point);
        if (msg == kMsgKeyDown) {
            speed = 0;
        } else if (msg == kMsgMouseUp) {
            if (pTime && window == pTime) {
                gCurFrame = pTime->FromPix(point.x);
                startFrame = static_cast<int32_t>(gCurFrame);
                startTicks = GetMilliTime();
            } else if (window != this) {
                speed = 0;
            } else {
                for (int i = 0; i < 3; i++)
                    if (XYInRect(buttons[i].rect, point)) speed = 0;
            }
        }
    }
    inLoop = 0;
    speed = 0;
    PortSaver port(this);
    for (CPButton& button : buttons) button.SetState(0);
    DrawButtons();
}

void CView::NextFrame(bool full) {
    if (gCurFrame < 0 || gCurFrame > endFrame) {
        speed = 0;
        return;
    }
    if (pDoc) pDoc->GotoFrame(gCurFrame, false);
    Refresh(full);
    const long elapsed = static_cast<long>(GetMilliTime() - startTicks);
    gCurFrame = elapsed / static_cast<long>(std::max<uint32_t>(ticksPerFrame, 1)) * speed + startFrame;
}

// ---- Messages -----------------------------------------------------------------------------

long CView::HandleEvent(unsigned int msg, long wParam, long lParam) {
    const int x = PointX(lParam);
    const int y = PointY(lParam);
    switch (msg) {
    case kMsgResized:
    case kMsgMoved: {
        Layout();
        tagRECT r;
        GetWinRect(r);
        if (msg == kMsgResized || shown) {
            SetIniItem("ViewerTop", static_cast<long>(r.top));
            SetIniItem("ViewerLeft", static_cast<long>(r.left));
            SetIniItem("ViewerWidth", static_cast<long>(r.right - r.left));
        }
        if (shown) OnDraw();
        break;
    }
    case kMsgPaint: OnDraw(); break;
    case kMsgClose: PostAMessage(this, kMsgFinished, 0, 0); break;
    case kMsgMouseDown:
        for (CPButton& button : buttons) button.Check(x, y, 1);
        DrawButtons();
        break;
    case kMsgMouseUp:
    case kMsgSecondaryUp: {
        int hit = -1;
        for (int i = 0; i < 4; i++)
            if (buttons[i].Check(x, y, 0)) hit = i;
        DrawButtons();
        if (hit == kReverse) SetSpeed(-1);
        if (hit == kStop) SetSpeed(0);
        if (hit == kPlay) SetSpeed(1);
        if (hit == kRewind && pDoc) {
            SetSpeed(0);
            pDoc->GotoFrame(0, true);
        }
        break;
    }
    case kMsgMouseMoved:
        ChangeCursor(1);
        if (gMainWindowPtr) gMainWindowPtr->SetHint(nullptr);
        break;
    case kMsgKeyDown:
    case kMsgCommandKey:
        if (wParam != 1024 && gMainWindowPtr) gMainWindowPtr->HandleEvent(msg, wParam, lParam);
        break;
    default: break;
    }
    return 1;
}
