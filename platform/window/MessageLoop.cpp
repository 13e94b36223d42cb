// SPDX-License-Identifier: GPL-2.0-or-later
// Message delivery, the message loop, and the input and timing helpers.
#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/Env.h"
#include "platform/window/CPWnd.h"
#include "platform/window/LayerInternal.h"
#include "platform/window/WindowBackend.h"

long gMacDone = 0;
long sLastKey = 0;
CPEditBox* gMacEditBox = nullptr;
PlatformRect gEditRect{0, 0, 0, 0};
PlatformRect gRegion{0, 0, 0, 0};
extern CPMenu* gMenuBar;

namespace {

constexpr int kLoopWaitTicks = 10;
constexpr int kGetWaitTicks = 20;

CPWnd* MainWindow() { return gFirstWin ? gFirstWin : (gEnv.windowCount > 0 ? gEnv.windows[0] : nullptr); }

long MouseFlags(int modifiers) {
    return ((modifiers & kModShift) ? kMouseShift : 0) | ((modifiers & kModCommand) ? kMouseCommand : 0);
}

// Posting to a window that is not (or no longer) registered would reach every
// window; events whose window has gone are dropped instead.
void PostTo(CPWnd* window, unsigned int msg, long wParam, long lParam) {
    if (RegistryIndex(window) >= 0) PostAMessage(window, msg, wParam, lParam);
}

void BringFloatToFront(WindowBackend* backend) {
    if (gFloatWin && gFloatWin->platformWindow) backend->RestackWindow(gFloatWin, nullptr, true);
}

// Applies a scroll bar click: arrows step by a 80th of the span, the page
// areas by an 8th, the thumb sets its value; the result stays within the
// bar's minimum and its span. Then the window paints.
void TrackScrollBar(CPWnd* window, int vertical, int part, int thumbValue) {
    CPScrollBar& bar = vertical ? window->vScroll : window->hScroll;
    const int32_t span = bar.Span();
    long value = bar.value;
    switch (part) {
        case kPartUpArrow: value -= span / 80; break;
        case kPartDownArrow: value += span / 80; break;
        case kPartPageUp: value -= span / 8; break;
        case kPartPageDown: value += span / 8; break;
        case kPartThumb: value = thumbValue; break;
        default: break;
    }
    if (value > span) value = span;
    if (value < bar.minimum) value = bar.minimum;
    if (vertical)
        window->SetViewScrollY(static_cast<int>(value), false);
    else
        window->SetViewScrollX(static_cast<int>(value), false);
    PostTo(window, kMsgPaint, 0, 0);
}

// The part of a visible scroll bar under a click, or 0 when none is.
int ScrollPartAt(const CPScrollBar& bar, int x, int y) {
    if (!bar.present || !bar.visible) return 0;
    if (x < bar.rect.left || x >= bar.rect.right || y < bar.rect.top || y >= bar.rect.bottom) return 0;
    const bool vertical = bar.Vertical();
    const int along = vertical ? y - bar.rect.top : x - bar.rect.left;
    const int length = vertical ? bar.rect.bottom - bar.rect.top : bar.rect.right - bar.rect.left;
    if (along < 16) return kPartUpArrow;
    if (along >= length - 16) return kPartDownArrow;
    const int32_t span = std::max(bar.Span(), 1);
    const int track = std::max(length - 48, 0);
    const int thumb = 16 + static_cast<int>(static_cast<long>(bar.value - bar.minimum) * track / span);
    if (along < thumb) return kPartPageUp;
    if (along < thumb + 16) return kPartThumb;
    return kPartPageDown;
}

// The window that took the last press while the button is held: it gets the
// moves and the release wherever the pointer goes (a pointer grab), so that a
// drag started in it always ends in it.
CPWnd* gCapture = nullptr;

// Where a window's client area starts, in screen coordinates.
tagPOINT ClientOrigin(CPWnd* window) {
    return tagPOINT{window->winRect.left + window->GetBorderSize(),
                    window->winRect.top + window->GetCaptionSize() + window->GetMenuSize()};
}

// Aims a mouse event at the window holding the pointer grab, with its point
// made local to that window. A press takes the grab, a release gives it up.
PlatformEvent Captured(const PlatformEvent& e) {
    PlatformEvent aimed = e;
    const bool mouse = e.kind == PlatformEvent::kMouseDown || e.kind == PlatformEvent::kMouseUp ||
                       e.kind == PlatformEvent::kMouseMoved;
    if (!mouse) return aimed;
    if (RegistryIndex(gCapture) < 0) gCapture = nullptr;
    if (e.kind == PlatformEvent::kMouseDown) {
        gCapture = RegistryIndex(e.window) >= 0 ? e.window : nullptr;
        return aimed;
    }
    if (gCapture && e.window != gCapture) {
        tagPOINT at{e.x, e.y};
        if (RegistryIndex(e.window) >= 0) {
            const tagPOINT from = ClientOrigin(e.window);
            at.x += from.x;
            at.y += from.y;
        }
        const tagPOINT to = ClientOrigin(gCapture);
        aimed.window = gCapture;
        aimed.x = at.x - to.x;
        aimed.y = at.y - to.y;
    }
    if (e.kind == PlatformEvent::kMouseUp) gCapture = nullptr;
    return aimed;
}

void MouseDown(WindowBackend* backend, const PlatformEvent& e) {
    CPWnd* window = e.window;
    if (RegistryIndex(window) < 0) return;
    if (gMacEditBox && gMacEditBox->parent == window && e.x > gEditRect.left && e.x < gEditRect.right &&
        e.y > gEditRect.top && e.y < gEditRect.bottom) {
        gMacEditBox->Click(e.x, e.y);
        return;
    }
    if (window != gFirstWin && window->platformWindow) backend->SelectWindow(window);
    BringFloatToFront(backend);
    if (int part = ScrollPartAt(window->hScroll, e.x, e.y)) {
        if (part != kPartThumb) TrackScrollBar(window, 0, part, 0);
        return;
    }
    if (int part = ScrollPartAt(window->vScroll, e.x, e.y)) {
        if (part != kPartThumb) TrackScrollBar(window, 1, part, 0);
        return;
    }
    PostTo(window, kMsgMouseDown, MouseFlags(e.modifiers), PackPoint(e.x, e.y));
}

void MenuChoice(const PlatformEvent& e) {
    if (e.menu == kAppMenuId) return;
    const int m = e.menu - kFirstMenuId;
    const int i = e.item - 1;
    int command = -1;
    if (gMenuBar && m >= 0 && m < kMenuCount && i >= 0 && i < kMenuItems) command = gMenuBar->commands[m][i];
    PostAMessage(nullptr, kMsgMenu, command, 0);
}

void Resize(const PlatformEvent& e) {
    CPWnd* window = e.window;
    if (RegistryIndex(window) < 0) return;
    const int width = std::clamp(e.x, 60, std::max(60, gEnv.screenWidth + 1));
    const int height = std::clamp(e.y, 80, std::max(80, gEnv.screenHeight + 1));
    const tagRECT r = window->winRect;
    if (width == r.right - r.left && height == r.bottom - r.top) {
        window->SetWinRect(r.left, r.top, r.right, r.bottom, false);  // the platform may disagree: put it back
        return;
    }
    window->SetWinRect(r.left, r.top, r.left + width, r.top + height, false);
    PostTo(window, kMsgResized, 0, 0);
    PostTo(window, kMsgPaint, 0, 0);
}

void Move(const PlatformEvent& e) {
    CPWnd* window = e.window;
    if (RegistryIndex(window) < 0) return;
    tagRECT& r = window->winRect;
    r = tagRECT{e.x, e.y, e.x + (r.right - r.left), e.y + (r.bottom - r.top)};
    PostTo(window, kMsgMoved, 0, 0);
}

void KeyDown(WindowBackend* backend, const PlatformEvent& e) {
    if (e.modifiers & kModControl) sLastKey |= kKeyControl;
    if (e.modifiers & kModShift) sLastKey |= kKeyShift;
    if (gMacEditBox && e.key != kKeyEscape) {
        gMacEditBox->Key(e.key);
        return;
    }
    if (e.modifiers & kModCommand) {
        if (gEnv.windowCount > 0) PostTo(gEnv.windows[0], kMsgCommandKey, e.key, kChordParam);
        backend->FlashMenuBar();
        return;
    }
    PostTo(e.window, kMsgKeyDown, e.key, 0);
}

void HandleLoopEvent(WindowBackend* backend, const PlatformEvent& event) {
    const PlatformEvent e = Captured(event);
    switch (e.kind) {
        case PlatformEvent::kMouseDown:
            MouseDown(backend, e);
            break;
        case PlatformEvent::kMouseUp: {
            const bool secondary = (e.modifiers & kModControl) || e.button == 3;
            PostTo(e.window, secondary ? kMsgSecondaryUp : kMsgMouseUp, MouseFlags(e.modifiers), PackPoint(e.x, e.y));
            break;
        }
        case PlatformEvent::kMouseMoved: {
            const long flags = ((e.modifiers & (kModControl | kModCommand)) ? kMouseCommand : 0) |
                               ((e.modifiers & kModShift) ? kMouseShift : 0);
            PostTo(e.window, kMsgMouseMoved, flags, PackPoint(e.x, e.y));
            break;
        }
        case PlatformEvent::kKeyDown:
            KeyDown(backend, e);
            break;
        case PlatformEvent::kKeyUp:
            sLastKey = 0;
            PostTo(e.window, kMsgKeyUp, e.key, 0);
            break;
        case PlatformEvent::kMenu:
            MenuChoice(e);
            break;
        case PlatformEvent::kCloseBox:
        case PlatformEvent::kQuit:
            PostTo(MainWindow(), kMsgClose, 0, 0);
            break;
        case PlatformEvent::kResize:
            Resize(e);
            break;
        case PlatformEvent::kMove:
            Move(e);
            break;
        case PlatformEvent::kActivate:
            if (e.window == gFirstWin) break;
            [[fallthrough]];
        case PlatformEvent::kUpdate:
            PostTo(e.window, kMsgPaint, 0, 0);
            BringFloatToFront(backend);
            break;
        case PlatformEvent::kScrollBar:
            if (RegistryIndex(e.window) >= 0) TrackScrollBar(e.window, e.bar, e.part, e.value);
            break;
        case PlatformEvent::kWheel:
            if (e.y) PostTo(e.window, kMsgScrollV, e.y, 0);
            if (e.x) PostTo(e.window, kMsgScrollH, e.x, 0);
            break;
        default:
            break;
    }
}

// The simpler translation of PeekAMessage and GetAMessage.
void Translate(const PlatformEvent& e, void** window, unsigned int* msg, long* wParam, long* lParam,
               unsigned long* time, tagPOINT* point) {
    unsigned int code = 0;
    long w = 0;
    long l = 0;
    switch (e.kind) {
        case PlatformEvent::kMouseDown: code = kMsgMouseDown; break;
        case PlatformEvent::kMouseUp: code = kMsgMouseUp; break;
        case PlatformEvent::kMouseMoved: code = kMsgMouseMoved; break;
        case PlatformEvent::kKeyDown: code = kMsgKeyDown; w = e.key; break;
        case PlatformEvent::kKeyUp: code = kMsgKeyUp; w = e.key; break;
        default: break;
    }
    if (code == kMsgMouseDown || code == kMsgMouseUp || code == kMsgMouseMoved) l = PackPoint(e.x, e.y);
    if (window) *window = e.window;
    if (msg) *msg = code;
    if (wParam) *wParam = w;
    if (lParam) *lParam = l;
    if (time) *time = 0;
    if (point) *point = tagPOINT{e.x, e.y};
}

int TakeMessage(bool wait, void** window, unsigned int* msg, long* wParam, long* lParam, unsigned long* time,
                tagPOINT* point) {
    WindowBackend* backend = GetWindowBackend();
    PlatformEvent e;
    const bool got = backend && (wait ? backend->WaitEvent(e, kGetWaitTicks) : backend->PollEvent(e));
    if (got) {
        Translate(Captured(e), window, msg, wParam, lParam, time, point);
    } else {
        if (wParam) *wParam = 0;
        if (time) *time = 0;
    }
    return 1;
}

}  // namespace

int PostAMessage(void* window, unsigned int msg, long wParam, long lParam) {
    if (msg == kMsgEndLoop) gMacDone = wParam + 1;
    for (int i = 0; i < std::min<int>(gEnv.windowCount, kMaxWindows); i++) {
        CPWnd* target = gEnv.windows[i];
        if (!target || (window && static_cast<void*>(target) != window)) continue;
        CPWnd* saved = SetDrawPort(target);
        target->HandleEvent(msg, wParam, lParam);
        SetDrawPort(RegistryIndex(saved) >= 0 ? saved : nullptr);
    }
    return 1;
}

void DispatchAMessage(void* window, unsigned int msg, long wParam, long lParam, unsigned long, tagPOINT&) {
    PostAMessage(window, msg, wParam, lParam);
}

int PeekAMessage(void** window, unsigned int* msg, long* wParam, long* lParam, unsigned long* time,
                 tagPOINT* point) {
    return TakeMessage(false, window, msg, wParam, lParam, time, point);
}

int GetAMessage(void** window, unsigned int* msg, long* wParam, long* lParam, unsigned long* time,
                tagPOINT* point) {
    return TakeMessage(true, window, msg, wParam, lParam, time, point);
}

long MessageLoop(bool) {
    gMacDone = 0;
    gRegion = PlatformRect{0, 0, 2, 2};
    for (;;) {
        if (gMacDone) return gMacDone - 1;
        WindowBackend* backend = GetWindowBackend();
        if (!backend) return 1;  // no platform, nothing could ever end the loop: drop
        if (gMacEditBox) gMacEditBox->Idle();
        PlatformEvent e;
        if (!backend->WaitEvent(e, kLoopWaitTicks)) continue;
        HandleLoopEvent(backend, e);
    }
}

namespace {
// ChangeCursor's table: shape -> cursor.
struct CursorRow {
    int shape;
    int cursor;
};
constexpr CursorRow kCursorTable[] = {
    {3, kCursorText},    {2, kCursorCross},   {10, kCursorPlus},   {11, kCursorWatch},
    {5, kCursorMove},    {13, kCursorMove},   {6, kCursorResize},  {8, kCursorResize},
    {9, kCursorSlide},   {7, kCursorHand},    {12, kCursorRoll},   {14, kCursorTilt},
};
}  // namespace

int CursorForShape(int shape) {
    for (const CursorRow& row : kCursorTable)
        if (row.shape == shape) return row.cursor;
    return kCursorArrow;
}

void ChangeCursor(int shape) {
    if (WindowBackend* backend = GetWindowBackend()) backend->SetCursor(CursorForShape(shape));
}

bool IsKeyPressed(int flags) { return sLastKey == flags; }
void KeyBoardFlush() {}
bool ConvertControlKey(long&, long& lParam) { return lParam == kChordParam; }

unsigned long GetMilliTime() {
    if (WindowBackend* backend = GetWindowBackend()) return backend->Ticks();
    using namespace std::chrono;
    return static_cast<unsigned long>(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count() *
                                      60 / 1000000);
}

unsigned long GetMilliTimeFreq() { return 60; }

uint32_t GetElapsedTime() { return static_cast<uint32_t>(static_cast<double>(GetMilliTime()) * 16.67); }

void Delay(long ms, bool) {
    if (ms <= 0) return;
    const unsigned long target = GetMilliTime() + static_cast<unsigned long>(ms * 60 / 1000);
    if (WindowBackend* backend = GetWindowBackend()) {
        backend->WaitUntil(target);
        return;
    }
    while (GetMilliTime() < target) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}
