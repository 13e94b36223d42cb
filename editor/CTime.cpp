// SPDX-License-Identifier: GPL-2.0-or-later
// CTime: the show along time, with scrubbing, key drags, picture boundary and
// picture end drags, and the key dialog.
#include "editor/CTime.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "doc/CDoc.h"
#include "editor/CMain.h"
#include "editor/CStage.h"
#include "editor/CView.h"
#include "editor/EditorState.h"
#include "motion/Timecode.h"
#include "platform/Env.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/Settings.h"

namespace {

constexpr long kBlack = 0;
constexpr long kRed = 255;
constexpr long kGreen = 65280;
constexpr long kCyan = 16776960;
constexpr long kYellow = 65535;
constexpr long kWhite = 16777215;
constexpr long kTimeGrey = 14737632;  // the timeline's background
constexpr long kRulerGrey = 8421504;

// Rows of the timeline, in window pixels.
constexpr int kBarTop = 14;     // segments and key markers
constexpr int kBarBottom = 30;
constexpr int kDurRow = 13;     // picture ends are grabbed above the segments
constexpr int kRulerTop = 33;
constexpr int kMaxScrollWidth = 32700;

// The stored marker pictures: a small flag, in four colourings.
constexpr int kMarkerResource = 140;  // + 2 x parity + after-transition
constexpr int kMarkerSize = 8;

long Fps() { return (gFrameRate + 50) / 100; }

int PictureCount() {
    if (!pDoc) return 1;
    return std::max(1, std::min(pDoc->pictureCount, static_cast<int32_t>(kPictureSlots)));
}

int KeyCount(int picture) {
    if (!pDoc || picture < 0 || picture >= kPictureSlots) return 0;
    return std::clamp(pDoc->keyCount[picture], 0, kMaxKeys);
}

long PictureStart(int picture) { return pDoc ? pDoc->GetPicStart(picture) : 0; }

// Where the segment of `picture` ends: the next picture's start, or the end
// of the show for the last one.
long SegmentEnd(int picture) {
    if (!pDoc) return 0;
    return picture + 1 < PictureCount() ? pDoc->GetPicStart(picture + 1) : pDoc->showLength;
}

// The picture's length: key 0 carries it once it has been dragged; before
// that the picture lasts to the end of its segment.
long PictureLength(int picture) {
    if (!pDoc || picture < 0 || picture >= kPictureSlots) return 0;
    const long stored = static_cast<long>(pDoc->keys[picture][0].showLengthCopy);
    return stored > 0 ? stored : SegmentEnd(picture) - PictureStart(picture);
}

bool SameCamera(const KeyStruct& a, const KeyStruct& b) {
    return a.horizontalPos == b.horizontalPos && a.verticalPos == b.verticalPos && a.width == b.width &&
           a.verticalSize == b.verticalSize && a.rotation1 == b.rotation1 && a.rotation2 == b.rotation2 &&
           a.rotation3 == b.rotation3;
}

void MakeMarkerPictures() {
    // A pennant on a staff, 8 by 8: the staff and the flag's edge in black,
    // the flag in the picture's colour, brighter after a transition.
    static bool made = false;
    if (made) return;
    made = true;
    const uint32_t flags[4] = {0x0080C0, 0x00C040, 0xC08000, 0x40C000};  // 0x00RRGGBB
    for (int id = 0; id < 4; id++) {
        uint32_t pixels[kMarkerSize * kMarkerSize];
        for (int y = 0; y < kMarkerSize; y++) {
            for (int x = 0; x < kMarkerSize; x++) {
                uint32_t p = 0xFFFFFF;  // transparent white
                if (x == 0) p = 0x000000;
                else if (y < 5 && x <= 6 - std::abs(y - 2) * 2) p = flags[id];
                pixels[y * kMarkerSize + x] = p;
            }
        }
        AddBitmapResource(kMarkerResource + id, kMarkerSize, kMarkerSize, pixels);
    }
}

// The file name of a picture without folder and extension.
void PictureName(int picture, char* out, size_t size) {
    out[0] = 0;
    if (!pDoc || picture < 0 || picture >= kPictureSlots) return;
    std::snprintf(out, size, "%s", pDoc->pictureFile[picture].name);
    StripFilePath(out);
    StripFileExt(out);
}

}  // namespace

// ---- Construction, scale and layout ------------------------------------------------

CTime::CTime(CPWnd* parentWindow) {
    timeScale = static_cast<int32_t>(GetIniItem("TimeScale", Fps()));
    dragKey = -1;
    dragDur = -1;
    dragSeg = -1;
    scrubbing = 0;
    parent = parentWindow;
    MakeMarkerPictures();
    Create(parentWindow, kStyleHScroll | 3, nullptr);
    SetMaxTime(pDoc ? pDoc->showLength : kDefaultShowLength);
    Show(1);
    pTime = this;
}

CTime::~CTime() {
    if (pTime == this) pTime = nullptr;
}

long CTime::ToPix(long frame) { return frame * 60 / std::max(timeScale, 1) + 4; }

long CTime::FromPix(long x) { return std::max(0L, (x - 4) * timeScale / 60); }

long CTime::KeyTolerance() const { return timeScale < 8 ? timeScale / 2 : 4; }

void CTime::SetMaxTime(long frames) {
    const long fps = Fps();
    if (frames < 3 * fps)
        timeScale = 5;
    else if (frames < 8 * fps)
        timeScale = 10;
    else
        timeScale = static_cast<int32_t>(std::max(fps, 1L));
    scrollWidth = static_cast<int32_t>(std::min(ToPix(frames), static_cast<long>(kMaxScrollWidth)));
    PostAMessage(this, kMsgMoved, 0, 0);
}

void CTime::Layout() {
    if (!parent) {
        SetWinRect(0, 0, 640, 480, true);
    } else {
        tagRECT r;
        parent->GetWinRect(r);
        const int s = GetScrollSize();
        r.left += s;
        r.right = std::max(r.right - s, r.left + 1);
        r.bottom -= kStatusAreaHeight;
        r.top = r.bottom - kTimelineHeight;
        SetWinRect(r, true);
    }
    tagRECT client;
    GetClientRect(client);
    SetViewScrollRange(scrollWidth, 0, client.right, 0, false);
}

void CTime::Refresh() {
    if (pDoc) {
        scrollWidth = static_cast<int32_t>(std::min(ToPix(pDoc->showLength), static_cast<long>(kMaxScrollWidth)));
        tagRECT client;
        GetClientRect(client);
        if (hScroll.maximum != scrollWidth) SetViewScrollRange(scrollWidth, 0, client.right, 0, false);
    }
    OnDraw();
}

void CTime::KeepInView(long frame) {
    tagRECT client;
    GetClientRect(client);
    constexpr int kMargin = 20;
    const int x = static_cast<int>(std::max(ToPix(frame), 3L));
    const int scroll = GetViewScrollX();
    if (x >= scroll + 3 && x < scroll + client.right - kMargin) return;
    SetViewScrollX(std::max(0, x - kMargin), false);
}

// ---- Drawing -------------------------------------------------------------------------

void CTime::OnDraw() {
    PortSaver port(this);
    tagRECT client;
    GetClientRect(client);
    DrawBar(kTimeGrey, client);

    // The ruler: a tick every 60 pixels (one scale step), a timecode every
    // second tick.
    const int scroll = GetViewScrollX();
    void* font = GetSelectedFont();
    SelectFont(Sans8);
    const long firstStep = std::max(0L, static_cast<long>(scroll - 4) / 60);
    for (long step = firstStep;; step++) {
        const long frame = step * timeScale;
        const int x = static_cast<int>(ToPix(frame)) - scroll;
        if (x > client.right) break;
        const bool major = step % 2 == 0;
        DrawLine(kRulerGrey, x, kRulerTop, x, kRulerTop + (major ? 6 : 3), 1, kDrawCopy);
        if (major) {
            char code[16];
            FrameToString(code, frame, true);
            DrawText(kBlack, code, x + 2, kRulerTop + 4, kAlignLeft);
        }
        if (step > firstStep + 2000) break;
    }
    SelectFont(font);
    DrawTimeBar();
}

void CTime::DrawCutline() {
    tagRECT client;
    GetClientRect(client);
    const int x = static_cast<int>(std::max(ToPix(gCurFrame), 3L)) - GetViewScrollX();
    DrawLine(kRed, x, 5, x, client.bottom - 5, 2, kDrawCopy);
}

void CTime::DrawKeyMarker(long colour, tagRECT r, long picture) {
    const tagRECT dot{r.left, r.bottom - 7, r.left + 6, r.bottom - 1};
    DrawCirBar(colour, dot);
    const int id = kMarkerResource + static_cast<int>(picture & 1) * 2 + (markerAfterTransition ? 1 : 0);
    const tagRECT flag{r.left + 2, r.top + 1, r.left + 2 + kMarkerSize, r.top + 1 + kMarkerSize};
    DrawBitmap(flag, id, kWhite);
}

void CTime::DrawTimeBar() {
    PortSaver port(this);
    gSelectedKey = -1;
    if (!pDoc) return;
    const int scroll = GetViewScrollX();
    const int pictures = PictureCount();
    const int current = pDoc->FindCurPic(gCurFrame);
    const long tolerance = KeyTolerance();
    void* font = GetSelectedFont();
    SelectFont(Sans8);

    for (int p = 0; p < pictures; p++) {
        const long start = PictureStart(p);
        const tagRECT segment{static_cast<int32_t>(ToPix(start) - scroll), kBarTop,
                              static_cast<int32_t>(ToPix(SegmentEnd(p)) + 1 - scroll), kBarBottom};
        DrawBar(p % 2 ? kYellow : kCyan, segment);
        DrawBox(kBlack, segment, 1, kDrawCopy);

        const long lead = p < kPictureSlots ? static_cast<long>(pDoc->keys[p][0].reservedB) : 0;
        if (p > 0) {
            const int end = segment.left + static_cast<int>(lead * 60 / std::max(timeScale, 1));
            DrawBar(kGreen, tagRECT{segment.left, kBarTop - 5, end, kBarTop - 1});
            DrawTriangle(kGreen, end, kBarTop - 5 - 3 - 8, 8);
        }
        if (p == current) DrawCutline();

        char name[256];
        PictureName(p, name, sizeof name);
        DrawText(kBlack, name, segment.left + 14 + (lead > 0 ? 20 : 0), segment.bottom - 12, kAlignLeft);

        const int count = KeyCount(p);
        const KeyStruct* keys = p < kPictureSlots ? pDoc->keys[p] : nullptr;
        for (int k = 1; k < count; k++) {
            if (!SameCamera(keys[k], keys[k - 1])) continue;
            const int x1 = static_cast<int>(ToPix(start + keys[k - 1].time)) - scroll;
            const int x2 = static_cast<int>(ToPix(start + keys[k].time)) - scroll;
            const int y = (kBarTop + kBarBottom) / 2;
            const char* label = " HOLD ";
            const int width = static_cast<int>(GetTextWidth(label));
            if (width + 16 < x2 - x1) {
                const int mid = (x1 + x2) / 2;
                DrawLine(kBlack, x1 + 8, y, mid - width / 2, y, 1, kDrawCopy);
                DrawLine(kBlack, mid + width / 2, y, x2, y, 1, kDrawCopy);
                DrawText(kBlack, label, mid, y - GetFontHeight() / 2, kAlignCentre);
            } else {
                DrawLine(kBlack, x1 + 8, y, x2, y, 1, kDrawCopy);
            }
        }
        for (int k = 0; k < count; k++) {
            const long frame = start + keys[k].time;
            int left = static_cast<int>(ToPix(frame)) - 2 - scroll;
            left = std::min(left, static_cast<int>(segment.right) - 14);
            const tagRECT r{left, kBarTop, left + 12, kBarTop + 16};
            long colour = kBlack;
            if (p == current && std::labs(frame - gCurFrame) < tolerance) {
                colour = kRed;
                if (gSelectedKey < 0) gSelectedKey = k;
            }
            markerAfterTransition = k == 0 && p > 0 && lead > 0;
            DrawKeyMarker(colour, r, p);
        }
    }
    SelectFont(font);
}

// ---- Hit tests -------------------------------------------------------------------------

int CTime::FindKey(int x, int y) {
    if (y < 14 || y > 30 || !pDoc) return -1;
    const long frame = FromPix(x);
    const int picture = pDoc->FindCurPic(frame);
    const long start = PictureStart(picture);
    const int count = KeyCount(picture);
    for (int k = 0; k < count; k++)
        if (std::labs(start + pDoc->keys[picture][k].time - frame) < KeyTolerance()) return k;
    return -1;
}

int CTime::FindDur(int x, int y) {
    if (y > kDurRow || !pDoc || pDoc->pictureCount < 2) return -1;
    const int picture = pDoc->FindCurPic(FromPix(x));
    const long end = PictureStart(picture) + PictureLength(picture);
    return std::labs(x - ToPix(end)) < 12 ? picture : -1;
}

// ---- Drag feedback ---------------------------------------------------------------------

namespace {

// Takes the feedback off at `from` (when it is drawn) and puts it on at `to`.
template <typename Draw>
void MoveFeedback(int32_t& drawnAt, int x, Draw draw) {
    if (x < 0)
        x = -x;
    else if (drawnAt >= 0)
        draw(drawnAt);
    draw(x);
    drawnAt = x;
}

}  // namespace

void CTime::DragKey(int x) {
    PortSaver port(this);
    const int scroll = GetViewScrollX();
    MoveFeedback(lastDragX, x, [&](int at) {
        RubberCir(tagRECT{at - 6 - scroll, 16, at + 6 - scroll, 28}, kBlack, 1);
    });
    if (pViewer) pViewer->ShowCode(FromPix(lastDragX));
}

void CTime::DragSeg(int x) {
    PortSaver port(this);
    const int scroll = GetViewScrollX();
    tagRECT client;
    GetClientRect(client);
    MoveFeedback(lastDragX, x, [&](int at) {
        RubberLine(tagRECT{at - scroll, 2, at - scroll, kRulerTop}, kBlack, 1);
        RubberLine(tagRECT{at + 3 - scroll, 2, at + 3 - scroll, kRulerTop}, kBlack, 1);
    });
    if (pViewer) pViewer->ShowCode(FromPix(lastDragX));
}

void CTime::DragDur(int x) {
    PortSaver port(this);
    const int scroll = GetViewScrollX();
    const int left = static_cast<int>(ToPix(PictureStart(std::max(dragDur, 0)))) - scroll;
    MoveFeedback(lastDragX, x, [&](int at) {
        RubberBox(tagRECT{left, 2, at - scroll, kDurRow - 1}, kBlack, 1);
    });
    if (pViewer) pViewer->ShowCode(FromPix(lastDragX));
}

// ---- Editing at the release ----------------------------------------------------------------

void CTime::DropKey(long pressFrame, long frame, bool shift) {
    const int picture = dragPicture;
    if (!pDoc || picture < 0 || picture >= kPictureSlots || dragKey < 1 || dragKey >= KeyCount(picture)) return;
    if (shift) {
        if (frame == pressFrame) return;
        // Everything after the frame before the key moves, the key included,
        // however far from its marker the press was.
        const long keyFrame = PictureStart(picture) + pDoc->keys[picture][dragKey].time;
        pDoc->ShiftKeys(std::min(pressFrame, keyFrame - 1), frame - pressFrame);
        return;
    }
    if (pDoc->FindCurPic(frame) != picture || frame == pressFrame) return;
    KeyStruct key;
    pDoc->GetKey(dragKey, key, picture);
    pDoc->Do(key, dragKey, picture);
    const long time = frame - PictureStart(picture);
    key.time = static_cast<int32_t>(time);
    pDoc->SetKey(dragKey, key, picture);
    pDoc->SortKeys(picture);
    const long tolerance = timeScale <= 9 ? timeScale / 2 : 5;
    if (time >= tolerance) return;
    // Dropped on the picture's first frame: the key goes. Sorting may have
    // moved it; it is the first key after key 0 with its time.
    const int count = KeyCount(picture);
    for (int k = 1; k < count; k++) {
        if (pDoc->keys[picture][k].time == key.time && SameCamera(pDoc->keys[picture][k], key)) {
            pDoc->DeleteKey(k, picture);
            break;
        }
    }
}

void CTime::SetPictureLength(int picture, long frame) {
    if (!pDoc || picture < 0 || picture >= kPictureSlots) return;
    const long start = PictureStart(picture);
    long length = frame - start;
    if (picture + 1 < PictureCount()) length = std::min(length, PictureStart(picture + 1) - start - 2);
    length = std::max(length, 0L);
    pDoc->Do(pDoc->keys[picture][0], 0, picture);
    pDoc->keys[picture][0].showLengthCopy = static_cast<float>(length);
    pDoc->modified = 1;
}

void CTime::ClearDrags() {
    dragKey = -1;
    dragDur = -1;
    dragSeg = -1;
    dragPicture = -1;
    lastDragX = -1;
    scrubbing = 0;
}

// ---- Messages ---------------------------------------------------------------------------------

void CTime::Press(int x, int y) {
    pressX = x;
    lastDragX = -1;
    if (!pDoc) return;
    const int key = FindKey(x, y);
    const int picture = pDoc->FindCurPic(FromPix(x));
    if (key == 0) {
        if (pDoc->pictureCount >= 2 && picture > 0) {
            dragSeg = picture;
            DragSeg(-x);
        }
    } else if (key > 0) {
        dragKey = key;
        dragPicture = picture;
    } else {
        dragDur = FindDur(x, y);
        if (dragDur >= 0)
            DragDur(-x);
        else
            scrubbing = 1;
    }
}

void CTime::Move(int x, int y) {
    if (scrubbing) {
        if (!pDoc) return;
        pDoc->GotoFrame(FromPix(x), false);
        OnDraw();
        if (pViewer) {
            pViewer->ShowCode(gCurFrame);
            pViewer->Refresh(false);
        }
    } else if (dragKey >= 0) {
        DragKey(x);
    } else if (dragSeg >= 0) {
        DragSeg(x);
    } else if (dragDur >= 0) {
        DragDur(x);
    } else {
        const int key = FindKey(x, y);
        const bool boundary = key == 0 && pDoc && pDoc->pictureCount >= 2 && pDoc->FindCurPic(FromPix(x)) > 0;
        if (key > 0 || FindDur(x, y) >= 0)
            ChangeCursor(9);
        else if (boundary)
            ChangeCursor(13);
        else
            ChangeCursor(1);
    }
}

void CTime::Release(int x, long flags) {
    if (pStage) PostAMessage(pStage, kMsgEndDrag, 0, 0);
    scrubbing = 0;
    if (!pDoc) {
        ClearDrags();
        return;
    }
    const long p = FromPix(pressX);
    const long f = FromPix(x);
    if (dragKey > 0) DropKey(p, f, (flags & kMouseShift) != 0);
    if (dragDur >= 0) SetPictureLength(dragDur, f);
    if (dragSeg >= 0 && f != p) pDoc->ChangePicTiming(f, dragSeg);
    ClearDrags();
    pDoc->GotoFrame(f, true);
    if (pStage && gMainWindowPtr) {
        KeyStruct key = pStage->workingKey;
        gMainWindowPtr->ShowStats(key);
    }
}

void CTime::SecondaryRelease(int x, int y) {
    ClearDrags();
    if (!pDoc) return;
    const int index = FindKey(x, y);
    if (index < 0) return;
    const long frame = FromPix(x);
    const int picture = pDoc->FindCurPic(frame);
    KeyStruct key;
    pDoc->GetKey(index, key, picture);
    pDoc->Do(key, index, picture);
    int dialogX = x - GetViewScrollX();
    int dialogY = 0;
    if (pStage) {
        tagRECT mine;
        tagRECT stage;
        tagRECT stageClient;
        GetWinRect(mine);
        pStage->GetWinRect(stage);
        pStage->GetClientRect(stageClient);
        dialogX += mine.left - stage.left;
        dialogY = std::max(0, static_cast<int>(stageClient.bottom) - 330);
    }
    if (EditKey(dialogX, dialogY, key, false)) pDoc->SetKey(index, key, picture);
    pDoc->GotoFrame(frame, true);
}

long CTime::HandleEvent(unsigned int msg, long wParam, long lParam) {
    const int x = PointX(lParam) + GetViewScrollX();
    const int y = PointY(lParam);
    switch (msg) {
    case kMsgResized:
    case kMsgMoved: Layout(); break;
    case kMsgPaint: OnDraw(); break;
    case kMsgClose: PostAMessage(this, kMsgFinished, 0, 0); break;
    case kMsgMouseDown: Press(x, y); break;
    case kMsgMouseMoved:
        if (gMainWindowPtr) gMainWindowPtr->SetHint(nullptr);
        Move(x, y);
        break;
    case kMsgMouseUp: Release(x, wParam); break;
    case kMsgSecondaryUp: SecondaryRelease(x, y); break;
    case kMsgEndDrag: ClearDrags(); break;
    case kMsgScrollH: ScrollControl(kMsgScrollH, static_cast<int>(wParam), 60); break;
    case kMsgKeyDown:
    case kMsgCommandKey:
        if (wParam != 1024 && gMainWindowPtr) gMainWindowPtr->HandleEvent(msg, wParam, lParam);
        break;
    default: break;
    }
    return 1;
}

// ---- The key dialog -----------------------------------------------------------------------------

// The ease items map onto the key's easeCode, 1000 x (type + 1) + amount:
// "In & Out", "In", "Out" and "None" are the types 0 to 3 and "Use Default"
// is the code 0 (the show's ease). The amount is the part of the segment, in
// hundredths, that moves at constant speed: the "Ease Speed" slider, rounded
// down to an even number; "No Curves" makes it odd (one more), so a straight
// key's amount is at most 99.
EaseChoice EaseChoiceFromCode(float easeCode) {
    EaseChoice choice;
    if (!(easeCode > 0.0f)) return choice;
    const int code = static_cast<int>(easeCode);
    const int type = static_cast<int>((easeCode - 900.0f) / 1000.0f);
    const int amount = code % 1000;
    choice.radio = type >= 0 && type <= 3 ? type + 1 : 4;
    choice.noCurves = (code & 1) != 0;
    choice.speed = std::clamp(amount & ~1, 0, 100);
    return choice;
}

float EaseCodeFromChoice(const EaseChoice& choice) {
    if (choice.radio < 1 || choice.radio > 4) return 0.0f;
    int amount = std::clamp(choice.speed, 0, 100) & ~1;
    if (choice.noCurves) amount = std::min(amount, 98) + 1;
    return static_cast<float>(1000 * choice.radio + amount);
}

bool CTime::EditKey(int x, int y, KeyStruct& key, bool fromStage) {
    static const char* const kItems[11] = {
        "Horizontal Position", "Vertical Position", "Width", "Rotation",
        "@REases|Use Default", "@RIn & Out", "@RIn", "@ROut", "@RNone",
        "@SEase Speed", "@CNo Curves",
    };
    const int count = fromStage ? 4 : 11;
    char items[11][kDialogSlot] = {};
    char values[11][kDialogSlot] = {};
    for (int i = 0; i < count; i++) std::snprintf(items[i], kDialogSlot, "%s", kItems[i]);
    std::snprintf(values[0], kDialogSlot, "%d", static_cast<int>(key.horizontalPos));
    std::snprintf(values[1], kDialogSlot, "%d", static_cast<int>(key.verticalPos));
    std::snprintf(values[2], kDialogSlot, "%d", static_cast<int>(key.width));
    std::snprintf(values[3], kDialogSlot, "%d", static_cast<int>(key.rotation3));
    if (!fromStage) {
        const EaseChoice ease = EaseChoiceFromCode(key.easeCode);
        std::snprintf(values[4 + ease.radio], kDialogSlot, "1");
        std::snprintf(values[9], kDialogSlot, "%d", ease.speed);
        std::snprintf(values[10], kDialogSlot, "%s", ease.noCurves ? "1" : "");
    }

    CPWnd* over = pStage ? static_cast<CPWnd*>(pStage) : static_cast<CPWnd*>(this);
    if (CPDialog(over, x, y, count, &items[0][0], &values[0][0], "Set KeyFrame Options") != kDialogOK) return false;

    key.horizontalPos = static_cast<float>(std::strtol(values[0], nullptr, 10));
    key.verticalPos = static_cast<float>(std::strtol(values[1], nullptr, 10));
    key.width = static_cast<float>(std::strtol(values[2], nullptr, 10));
    key.rotation3 = static_cast<float>(std::strtol(values[3], nullptr, 10));
    if (key.rotation3 != 0.0f) gShowRotation = 1;
    if (!fromStage) {
        EaseChoice ease;
        for (int i = 0; i < 5; i++)
            if (values[4 + i][0]) ease.radio = i;
        ease.speed = static_cast<int>(std::strtol(values[9], nullptr, 10));
        ease.noCurves = values[10][0] != 0;
        key.easeCode = EaseCodeFromChoice(ease);
    }
    return true;
}
