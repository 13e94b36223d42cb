// SPDX-License-Identifier: GPL-2.0-or-later
// What the window layer needs from a platform: windows of a few kinds, one
// event at a time, a menu bar, cursors, a clock, the standard boxes and file
// dialogs, and an in-place text field. Two backends implement it: GTK 3
// (GtkBackend.cpp) and a headless one that keeps windows in memory and takes
// its events from tests (Headless.h).
//
// Drawing is the layer's own (cairo and Pango into each window's backing
// surface); a backend only presents the surfaces. Fonts, text measuring and
// image drawing are therefore implemented here, once, for both backends.
#pragma once

#include <cstddef>
#include <deque>

#include "platform/Platform.h"

class CPWnd;
class CPMenu;

// Modifier keys held during a platform event. Command is the chord key
// (Ctrl on a PC keyboard), control the secondary-click key (Alt).
enum : int { kModShift = 1, kModCommand = 2, kModControl = 4 };

// One platform event, already aimed at the window under the point.
struct PlatformEvent {
    enum Kind : int {
        kNone,
        kMouseDown,   // x, y local; button 1 primary, 3 secondary
        kMouseUp,
        kMouseMoved,
        kKeyDown,     // key: character code
        kKeyUp,
        kMenu,        // menu: identifier (1000 + index), item: 1-based
        kCloseBox,    // the window's close box
        kQuit,        // the platform asks the program to quit
        kResize,      // x, y: the new outer width and height
        kMove,        // x, y: the new outer left and top
        kUpdate,      // the window must be drawn
        kActivate,
        kScrollBar,   // bar 0 horizontal, 1 vertical; part; value for the thumb
        kWheel,       // x, y: steps right and down
    };
    Kind kind = kNone;
    CPWnd* window = nullptr;
    int x = 0;
    int y = 0;
    int modifiers = 0;
    int button = 1;
    int key = 0;
    int menu = 0;
    int item = 0;
    int bar = 0;
    int part = 0;
    int value = 0;
};

// A font as the layer's backends make it.
struct LayerFont;

class WindowBackend : public PlatformBackend {
public:
    WindowBackend();
    ~WindowBackend() override;

    // Fonts and text, with Pango (shared by both backends).
    void* MakeFont(const char* face, int points, bool bold) override;
    void RemoveFont(void* font) override;
    long TextWidth(const char* text) override;
    void DrawDIB(tagRECT& target, tagRECT& source, CDIB* dib, void* port) override;
    // The backend's own font for a handle: its own fonts as they are, the
    // interface fonts made before it was installed by their slot, anything
    // else the default font.
    LayerFont* ResolveFont(void* font);

    // Windows. CreateWindow reads the window's style and placeParent and
    // returns the platform window.
    virtual void* CreateWindow(CPWnd* window) = 0;
    virtual void DestroyWindow(CPWnd* window) = 0;
    // The outer rectangle or the client size changed.
    virtual void PlaceWindow(CPWnd* window) = 0;
    virtual void ShowWindow(CPWnd* window, bool show) = 0;
    virtual void SetWindowTitle(CPWnd* window, const char* title) = 0;
    virtual void SelectWindow(CPWnd* window) = 0;
    virtual void RestackWindow(CPWnd* window, CPWnd* other, bool front) = 0;
    virtual void SetFullScreen(CPWnd* window, bool on) = 0;
    // A paint event for the window follows (one is pending at most).
    virtual void Invalidate(CPWnd* window);
    // The backing surface changed in `area` (local coordinates).
    virtual void Present(CPWnd* window, const tagRECT& area) = 0;
    // Device pixels per layer pixel of the screen (the desktop's scale
    // factor): backing surfaces hold that many, so that a scaled desktop shows
    // the editor as sharp as an unscaled one.
    virtual int SurfaceScale() { return 1; }
    virtual void UpdateScrollBars(CPWnd* window) = 0;

    // Events: false when none came within `ticks` (Wait) or at once (Poll).
    virtual bool WaitEvent(PlatformEvent& event, int ticks) = 0;
    virtual bool PollEvent(PlatformEvent& event) = 0;

    // Menus, item by item as CPMenu builds them (indices 0-based).
    virtual void MenuAttach(CPMenu* menu) = 0;
    virtual void MenuAddTop(CPMenu* menu, int index) = 0;
    virtual void MenuAddItem(CPMenu* menu, int index, int item) = 0;
    virtual void MenuUpdateItem(CPMenu* menu, int index, int item) = 0;
    virtual void MenuRemove(CPMenu* menu) = 0;
    virtual void FlashMenuBar() {}

    virtual void SetCursor(int cursor) = 0;
    // The clock, 60 ticks a second, and a wait until it reaches `ticks`.
    virtual unsigned long Ticks() = 0;
    virtual void WaitUntil(unsigned long ticks) = 0;

    // Standard dialogs beyond PlatformBackend's.
    virtual int ChooseColour(long& colour, const char* title) = 0;
    virtual int AskString(char* text, int size, const char* title, const char* prompt,
                          const char* hint) = 0;

    // The in-place text field.
    virtual bool HasEditField() { return true; }
    virtual void* EditFieldCreate(CPWnd* parent, const tagRECT& r, void* font, const char* text,
                                  int limit) = 0;
    virtual void EditFieldSetText(void* field, const char* text) = 0;
    virtual void EditFieldGetText(void* field, char* text, int max) = 0;
    virtual void EditFieldFocus(void* field) = 0;
    virtual void EditFieldKey(void* field, int character) = 0;
    virtual void EditFieldClick(void* field, int x, int y) = 0;
    virtual void EditFieldDraw(void* field) = 0;
    virtual void EditFieldRemove(void* field) = 0;

    // Writes a window as the user sees it to a PNG file; 1 on success.
    virtual int WriteWindowPNG(CPWnd* window, const char* path);

    // The window is going away: events aimed at it are dropped.
    void ForgetWindow(CPWnd* window);

protected:
    // The event queue shared by both backends. Pushing merges a paint with a
    // pending one for the same window and a move with a move just before it.
    void PushEvent(const PlatformEvent& event);
    bool PopEvent(PlatformEvent& event);
    bool HasEvents() const { return !queue.empty(); }
    std::deque<PlatformEvent> queue;

private:
    LayerFont* defaultFont = nullptr;
    LayerFont* slotFonts[5] = {};
    LayerFont* ownFonts = nullptr;  // every font made here, linked
};

// The installed window backend, or null before the layer was started.
WindowBackend* GetWindowBackend();
// Installs `backend` as both the window backend and the platform backend
// (null uninstalls), refreshes the screen size in gEnv; returns the previous.
WindowBackend* InstallWindowBackend(WindowBackend* backend);

// Appends `extension` (".gsx") to a chosen file name that has none.
void AddDefaultExtension(char* path, size_t size, const char* extension);

// The starting folder of a file dialog: the folder of `start` when it names
// one, else the "InitialFolder" setting. Empty when there is none.
void FileDialogStartFolder(const FSpec* start, char* folder, int size);
