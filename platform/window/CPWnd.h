// SPDX-License-Identifier: GPL-2.0-or-later
// The portable window layer: windows as objects that receive numbered
// messages, menus, the edit box and the push button, message delivery and the
// modal message loop, input and timing helpers. Drawing primitives are in
// Draw.h, the dialog builder and standard dialogs in Dialog.h; this header
// brings in both.
//
// Messages are delivered synchronously: PostAMessage calls the target's
// HandleEvent at once (a null target reaches every registered window in
// creation order) and returns when the handlers have finished, including any
// messages they posted in turn. MessageLoop turns platform events into
// messages until a window posts kMsgEndLoop; its wParam is the loop's result.
//
// Drawing goes to the current port. Delivering a message makes the receiving
// window the current port for the length of its HandleEvent; a window that
// draws into another one (or outside delivery) selects it with SetDrawPort or
// a PortSaver.
#pragma once

#include <cstdint>

#include "motion/Types.h"
#include "platform/window/Dialog.h"
#include "platform/window/Draw.h"

class CPMenu;
class CPEditBox;

// Message codes shared by all windows.
enum : unsigned int {
    kMsgResized = 1001,       // the user resized the window
    kMsgMoved = 1002,         // the user moved the window
    kMsgPaint = 1003,         // the window must draw itself
    kMsgClose = 1007,         // close box or quit request; sent to the main window
    kMsgFinished = 1008,      // a window tells itself it has finished (editor use)
    kMsgMouseDown = 1009,     // wParam modifier flags, lParam point
    kMsgMouseUp = 1011,       // wParam modifier flags, lParam point
    kMsgSecondaryUp = 1012,   // release with control held, or of the secondary button
    kMsgMouseMoved = 1013,    // wParam modifier flags, lParam point
    kMsgCommandKey = 1017,    // command-key chord: wParam character, lParam 2048
    kMsgKeyUp = 1018,         // wParam character
    kMsgKeyDown = 1019,       // wParam character
    kMsgMenu = 1020,          // wParam command identifier; broadcast
    kMsgScrollV = 1021,       // wheel: wParam steps down (negative: up)
    kMsgScrollH = 1022,       // wheel: wParam steps right (negative: left)
    kMsgEndDrag = 1234532,    // end any drag in progress
    kMsgEndLoop = 12345,      // end MessageLoop with wParam as its result
};

// Modifier flags in wParam of mouse messages.
constexpr long kMouseShift = 32;
constexpr long kMouseCommand = 64;
// Held keys in sLastKey, tested with IsKeyPressed.
constexpr long kKeyControl = 2048;
constexpr long kKeyShift = 1024;
// lParam of a command-key chord.
constexpr long kChordParam = 2048;

// Character codes of the special keys.
enum : int {
    kKeyHome = 1, kKeyEnter = 3, kKeyEnd = 4, kKeyBackspace = 8, kKeyTab = 9,
    kKeyPageUp = 11, kKeyPageDown = 12, kKeyReturn = 13, kKeyEscape = 27,
    kKeyLeft = 28, kKeyRight = 29, kKeyUp = 30, kKeyDown = 31, kKeyDelete = 127,
};

// Style flags for CPWnd::Create.
enum : long {
    kStyleFloating = 4,    // floating window, kept above the others; becomes gFloatWin
    kStyleCloseBox = 16,
    kStyleHScroll = 32,    // horizontal scroll bar along the bottom edge
    kStyleVScroll = 64,    // vertical scroll bar along the right edge
    kStyleDocument = 128,  // document window with a close box
    kStyleBehind = 256,    // created behind the others, with a close box
};

// Scroll bar parts, as tracked by a click.
enum : int { kPartUpArrow = 20, kPartDownArrow = 21, kPartPageUp = 22, kPartPageDown = 23, kPartThumb = 129 };

// Mouse point packed into lParam: x in the low 16 bits, y in the high 16 bits.
inline long PackPoint(int x, int y) {
    return static_cast<int32_t>(static_cast<uint32_t>(static_cast<uint16_t>(x)) |
                                (static_cast<uint32_t>(static_cast<uint16_t>(y)) << 16));
}
inline int PointX(long lParam) { return static_cast<int16_t>(lParam & 0xFFFF); }
inline int PointY(long lParam) { return static_cast<int16_t>((lParam >> 16) & 0xFFFF); }

// One scroll bar of a window. Its rectangle is in the window's local
// coordinates; like the platform's own bars it overlaps the window's edge by
// one pixel.
struct CPScrollBar {
    int32_t present = 0;   // the window was created with this bar
    int32_t visible = 0;
    int32_t minimum = 0;
    int32_t maximum = 100;
    int32_t value = 0;
    int32_t page = 0;      // visible part, for the thumb's size
    tagRECT rect{};
    // The greatest value a click may set: the maximum less the bar's two far
    // coordinates (bottom and top when taller than wide, else right and left),
    // floored at 0.
    int32_t Span() const;
    bool Vertical() const { return rect.bottom - rect.top > rect.right - rect.left; }
};

// Window base class. Derived windows override HandleEvent and OnDraw.
class CPWnd {
public:
    CPWnd();
    virtual ~CPWnd();
    CPWnd(const CPWnd&) = delete;
    CPWnd& operator=(const CPWnd&) = delete;

    // Base: does nothing and returns 1.
    virtual long HandleEvent(unsigned int msg, long wParam, long lParam);
    // Base: does nothing.
    virtual void OnDraw();

    // Makes the platform window (hidden, 0,0,640,480) and registers this one.
    // `parent` (or, when null, the parent field) is the window a frameless
    // window is placed in. The first window made is the main window. Returns 1.
    int Create(void* parent, long style, void* reserved);
    // Disposes of the platform window; the object stays registered.
    void Destroy();
    // 0 hide, 1 show, 2 fill the screen.
    void Show(int how);
    // Outer rectangle (frame and title bar included), in screen coordinates.
    void SetWinRect(int left, int top, int right, int bottom, bool show);
    void SetWinRect(tagRECT& r, bool show);
    void GetWinRect(tagRECT& r);
    // The drawing area: 0, 0, width, height.
    void GetClientRect(tagRECT& r);
    int GetCaptionSize();  // title bar height, 0 for a frameless window
    int GetBorderSize();
    int GetMenuSize();     // menu bar height when this window holds the menu bar
    int GetScrollSize();   // thickness of a scroll bar
    void SetTitle(const char* title);
    void GetTitle(char* title, int max);
    // Brings this window to the front, or puts it behind `other`.
    void SetOrder(CPWnd* other, bool front);
    void FullScreen(bool on);
    // Invalidates `area`: a paint message follows from the loop; with `now`
    // it is delivered at once instead.
    void Redraw(tagRECT& area, bool now);
    void ShowScrollBar(bool horizontal, bool vertical);
    // Maxima of the two bars (minimum 0) and their visible parts.
    void SetViewScrollRange(int width, int height, int pageWidth, int pageHeight, bool redraw);
    void SetViewScrollX(int x, bool redraw);
    void SetViewScrollY(int y, bool redraw);
    int GetViewScrollX();
    int GetViewScrollY();
    // Scrolls by `amount` steps of `step` pixels: kMsgScrollV moves the
    // vertical bar, kMsgScrollH the horizontal one, within 0 and the bar's
    // span; then paints. Returns the new value.
    int ScrollControl(int message, int amount, int step);
    // Lays `bar` (&hScroll or &vScroll; null for both) along its window edge.
    void AlignScrollBar(void* bar);
    // Drawing in this window is shifted so that (x, y) lands on its top-left.
    void SetWindowOrigin(int x, int y);

    // Fields in their fixed order.
    void* handle = nullptr;          // this object, once created
    void* platformWindow = nullptr;  // the backend's window
    int32_t style = 0;
    CPWnd* parent = nullptr;         // set by derived constructors
    int32_t floating = 0;

    // The layer's own state.
    char title[256] = {};
    tagRECT winRect{0, 0, 640, 480};  // outer rectangle, screen coordinates
    tagPOINT origin{0, 0};            // drawing origin (SetWindowOrigin)
    CPScrollBar hScroll;
    CPScrollBar vScroll;
    CPWnd* placeParent = nullptr;     // the window a frameless one lives in
    CPMenu* menuBar = nullptr;        // the menu bar this window holds
    int32_t shown = 0;
    void* surface = nullptr;          // backing surface, client-sized

    // Resizes the backing surface to the client size (keeping what is drawn)
    // and realigns the scroll bars; used by the backends after a size change.
    void UpdateClientSize();
};

// Message delivery. Both return 1.
int PostAMessage(void* window, unsigned int msg, long wParam, long lParam);
void DispatchAMessage(void* window, unsigned int msg, long wParam, long lParam, unsigned long time,
                      tagPOINT& point);
// Take one platform event (Peek: without waiting; Get: waiting up to 20 ticks)
// and translate it: mouse down 1009, up 1011, moved 1013, key down 1019, key up
// 1018, anything else 0. Modifier flags are not set. With no event, wParam and
// time become 0 and the other outputs are left as they were.
int PeekAMessage(void** window, unsigned int* msg, long* wParam, long* lParam, unsigned long* time,
                 tagPOINT* point);
int GetAMessage(void** window, unsigned int* msg, long* wParam, long* lParam, unsigned long* time,
                tagPOINT* point);
// Runs until a window posts kMsgEndLoop and returns that message's wParam.
long MessageLoop(bool unused);

// The main window (first one made) and the floating one.
extern CPWnd* gFirstWin;
extern CPWnd* gFloatWin;
// Loop state: exit code + 1 once kMsgEndLoop was posted, else 0.
extern long gMacDone;
// Held modifier keys from the last key event (kKeyControl, kKeyShift).
extern long sLastKey;
// The edit box that has the keyboard, and its rectangle in its window.
struct PlatformRect {
    int16_t top, left, bottom, right;
};
extern CPEditBox* gMacEditBox;
extern PlatformRect gEditRect;
// The mouse region of the blocking wait: 2 by 2 pixels at the origin, so that
// any movement wakes it. Kept for its place in the loop; events carry moves.
extern PlatformRect gRegion;

// Menu bar of up to 8 menus of up to 16 items each.
constexpr int kMenuCount = 8;
constexpr int kMenuItems = 16;
constexpr int kMenuEmpty = 9999;
constexpr int kFirstMenuId = 1000;
constexpr int kAppMenuId = 128;

class CPMenu {
public:
    CPMenu();
    ~CPMenu();
    CPMenu(const CPMenu&) = delete;
    CPMenu& operator=(const CPMenu&) = delete;

    // Puts an empty menu bar on `window`. Returns 1.
    int Create(CPWnd* window);
    // New top-level menu; flags 4: the whole menu starts disabled. Returns 1,
    // or 0 when all 8 are taken.
    int AddTopLevel(const char* title, int flags);
    // Adds to the last top-level menu; command -1 is a separator. Flags 1:
    // checked, 2: disabled, 8: an option that carries a check mark (a checked
    // item is one too); other items are plain actions without a mark. "/K" at
    // the end of the text shows the shortcut K.
    // A full row drops the item (returns 0).
    int AddItem(int command, const char* text, int flags);
    // The command at (menu, item), -1 outside the table.
    int GetID(int menu, int item);
    // Enables (state non-zero) or disables every item with this command.
    void SetState(int command, int state);
    void SetCheck(int command, bool checked);
    // Takes the menu bar off its window again.
    void RestoreOriginalMenu();

    // Fields in their fixed order.
    int32_t commands[kMenuCount][kMenuItems];
    int32_t currentMenu = -1;  // the top-level menu being filled

    // What the platform shows, kept for the backends.
    struct Item {
        char label[64];     // the text without "(" and "/K"
        int shortcut;       // the K of "/K", or 0
        bool enabled;
        bool checked;
        bool separator;
        bool checkable;     // an option: shown with a check mark when checked
    };
    struct Menu {
        char title[64];
        bool enabled;
        int itemCount;
        Item items[kMenuItems];
    };
    Menu menus[kMenuCount];
    int32_t menuCount = 0;
    CPWnd* window = nullptr;
};

// One-line text field over the backend's in-place editor.
class CPEditBox {
public:
    CPEditBox();
    ~CPEditBox();
    CPEditBox(const CPEditBox&) = delete;
    CPEditBox& operator=(const CPEditBox&) = delete;

    // A field at left, top of `parent`, width by height pixels, taking at
    // most `limit` characters (0: 255). Returns 1, 0 when the backend has none.
    int Create(CPWnd* parent, int left, int top, int width, int height, int limit, void* font);
    void SetString(const char* text, bool redraw);
    void GetString(char* text, int max);
    // Gives the field the keyboard (gMacEditBox, gEditRect).
    void Focus();
    void SetFont(void* font);
    void Draw();
    // Takes the field away; its text stays readable with GetString.
    void Remove();
    // A key or a click the loop passes on while the field has the keyboard.
    void Key(int character);
    void Click(int x, int y);
    void Idle();
    bool IsOpen() const { return field != nullptr; }

    CPWnd* parent = nullptr;
    tagRECT rect{};
    void* font = nullptr;
    void* field = nullptr;  // the backend's field, null when removed
    int limit = 255;
    char text[256] = {};
};

// A drawn push button or check box, in the current port.
enum : int {
    kButtonPush = 0, kButtonCheck = 1, kButtonClose = 2,
    kButtonReverse = 3, kButtonStop = 4, kButtonPlay = 5,
};
class CPButton {
public:
    // A button of kind `kind` (above) at left, top, width by height.
    int Create(int left, int top, int width, int height, int kind);
    // 0 released, 1 pressed (check box: ticked); redraws.
    void SetState(int state);
    // When (x, y) lies on the button, sets `state` and returns 1. Releasing
    // (state 0) also lets go of a pressed button when the point is elsewhere.
    int Check(int x, int y, int state);
    void SetPos(tagRECT& r);
    void Draw();

    int32_t state = 0;
    tagRECT rect{};
    int32_t kind = kButtonPush;
    int32_t checked = 0;  // check box: ticked
};

// Input helpers.
// 3 text, 2 cross, 10 plus, 11 watch; the program's own shapes 5 and 13 move,
// 6 and 8 resize, 9 slide, 7 hand, 12 roll, 14 tilt; anything else the arrow.
void ChangeCursor(int shape);
// The cursor that ChangeCursor shows for `shape` (kCursor* below).
int CursorForShape(int shape);
enum : int {
    kCursorArrow = 0, kCursorText = 1, kCursorCross = 2, kCursorPlus = 3, kCursorWatch = 4,
    kCursorMove = 1001, kCursorResize = 1002, kCursorSlide = 1003, kCursorHand = 1004,
    kCursorRoll = 1005, kCursorTilt = 1007,
};
// True when the held keys are exactly `flags`.
bool IsKeyPressed(int flags);
void KeyBoardFlush();
// True when the message is a command-key chord (lParam 2048).
bool ConvertControlKey(long& wParam, long& lParam);

// Timing: ticks at 60 a second.
unsigned long GetMilliTime();
unsigned long GetMilliTimeFreq();
// Milliseconds: ticks times 16.67.
uint32_t GetElapsedTime();
// Waits until ms milliseconds' worth of ticks have passed.
void Delay(long ms, bool unused);

// The window under a message's window handle, when it is registered.
CPWnd* FindRegisteredWindow(void* handle);
