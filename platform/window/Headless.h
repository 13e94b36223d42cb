// SPDX-License-Identifier: GPL-2.0-or-later
// The headless backend: windows are in-memory surfaces, events come from a
// queue that tests (or a script) fill, and the standard boxes and file
// dialogs take their answers from queues too. It also runs the editor where
// there is no display.
//
// When the queue has been empty for `dryLimit` waits in a row (no time passes
// while waiting: the clock moves on instead), the user is taken to leave: an
// Escape key press and release go to the main window, then a quit request.
// When the editor is still there after a few such tries, MessageLoop ends
// with a negative result (failed).
#pragma once

#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/window/WindowBackend.h"

class HeadlessBackend : public WindowBackend {
public:
    HeadlessBackend();
    ~HeadlessBackend() override;

    // Events, aimed at a window with a point in its local coordinates.
    void Push(const PlatformEvent& event) { PushEvent(event); }
    void MouseDown(CPWnd* window, int x, int y, int modifiers = 0, int button = 1);
    void MouseUp(CPWnd* window, int x, int y, int modifiers = 0, int button = 1);
    void MouseMove(CPWnd* window, int x, int y, int modifiers = 0);
    void Click(CPWnd* window, int x, int y, int modifiers = 0);  // down and up
    void KeyDown(CPWnd* window, int key, int modifiers = 0);
    void KeyUp(CPWnd* window, int key, int modifiers = 0);
    void Key(CPWnd* window, int key, int modifiers = 0);         // down and up
    void Type(CPWnd* window, const char* text);                 // a key per character
    void MenuChoice(int menuId, int item);
    void CloseBox(CPWnd* window);
    void Quit();
    void Resize(CPWnd* window, int width, int height);
    void Move(CPWnd* window, int left, int top);
    void Update(CPWnd* window);
    void ScrollBar(CPWnd* window, int vertical, int part, int value = 0);
    void Wheel(CPWnd* window, int right, int down);
    size_t Pending() const { return queue.size(); }
    void ClearEvents() { queue.clear(); }

    // Answers for the boxes and dialogs, used in order. Without an answer a
    // question gets "no" (YesNoCancel: cancel) and a dialog is cancelled.
    void AnswerYesNo(int answer) { yesNo.push_back(answer); }
    void AnswerYesNoCancel(int answer) { yesNoCancel.push_back(answer); }
    void AnswerOpenFile(const char* path) { openFiles.push_back(Maybe(path)); }  // null: cancel
    void AnswerSaveFile(const char* path) { saveFiles.push_back(Maybe(path)); }
    void AnswerColour(long colour) { colours.push_back(colour); }
    void CancelColour() { colours.push_back(std::nullopt); }
    void AnswerString(const char* text) { strings.push_back(Maybe(text)); }

    // Every box and dialog shown, in order.
    struct Asked {
        std::string kind;  // "error", "yesno", "yesnocancel", "open", "save", "colour", "string"
        std::string text;  // message, or the prompt
        std::string title;
        std::string filter;
        std::string extension;
        std::string folder;  // where a file dialog started
        std::string hint;
    };
    std::vector<Asked> asked;
    int beeps = 0;
    int cursor = 0;
    bool offerEditField = true;
    int dryLimit = 600;
    // Called when a wait finds the queue empty; may push events.
    std::function<void()> onIdle;
    void SetScreenSize(long width, long height);
    // The text field open in a window, or null.
    void* OpenEditField() const;

    // WindowBackend.
    void ShowError(const char* text) override;
    int AskYesNo(const char* text, const char* title) override;
    int AskYesNoCancel(const char* text, const char* title) override;
    int ChooseOpenFile(CPWnd* parent, FSpec* result, const char* filter, const char* extension, FSpec* start,
                       bool flag) override;
    int ChooseSaveFile(CPWnd* parent, FSpec* result, const char* filter, const char* extension,
                       FSpec* start) override;
    void Beep(int kind) override;
    void ScreenSize(long& width, long& height) override;
    void* CreateWindow(CPWnd* window) override;
    void DestroyWindow(CPWnd* window) override;
    void PlaceWindow(CPWnd*) override {}
    void ShowWindow(CPWnd* window, bool show) override;
    void SetWindowTitle(CPWnd*, const char*) override {}
    void SelectWindow(CPWnd*) override {}
    void RestackWindow(CPWnd*, CPWnd*, bool) override {}
    void SetFullScreen(CPWnd*, bool) override {}
    void Present(CPWnd*, const tagRECT&) override {}
    void UpdateScrollBars(CPWnd*) override {}
    bool WaitEvent(PlatformEvent& event, int ticks) override;
    bool PollEvent(PlatformEvent& event) override;
    void MenuAttach(CPMenu*) override {}
    void MenuAddTop(CPMenu*, int) override {}
    void MenuAddItem(CPMenu*, int, int) override {}
    void MenuUpdateItem(CPMenu*, int, int) override {}
    void MenuRemove(CPMenu*) override {}
    void SetCursor(int newCursor) override { cursor = newCursor; }
    unsigned long Ticks() override;
    void WaitUntil(unsigned long ticks) override;
    int ChooseColour(long& colour, const char* title) override;
    int AskString(char* text, int size, const char* title, const char* prompt, const char* hint) override;
    bool HasEditField() override { return offerEditField; }
    void* EditFieldCreate(CPWnd* parent, const tagRECT& r, void* font, const char* text, int limit) override;
    void EditFieldSetText(void* field, const char* text) override;
    void EditFieldGetText(void* field, char* text, int max) override;
    void EditFieldFocus(void*) override {}
    void EditFieldKey(void* field, int character) override;
    void EditFieldClick(void*, int, int) override {}
    void EditFieldDraw(void* field) override;
    void EditFieldRemove(void* field) override;
    // The window's surface with its scroll bars drawn over it.
    int WriteWindowPNG(CPWnd* window, const char* path) override;

private:
    static std::optional<std::string> Maybe(const char* text) {
        return text ? std::optional<std::string>(text) : std::nullopt;
    }
    int ChooseFile(const char* kind, std::deque<std::optional<std::string>>& answers, FSpec* result,
                   const char* filter, const char* extension, FSpec* start);

    std::deque<int> yesNo;
    std::deque<int> yesNoCancel;
    std::deque<std::optional<std::string>> openFiles;
    std::deque<std::optional<std::string>> saveFiles;
    std::deque<std::optional<long>> colours;
    std::deque<std::optional<std::string>> strings;
    long screenWidth = 1280;
    long screenHeight = 1024;
    unsigned long startTicks = 0;
    unsigned long skippedTicks = 0;
    int dryWaits = 0;
    static constexpr int kLeaveTries = 3;
    static constexpr long kLeaveFailed = -2;  // MessageLoop returns it as it is
    int leaveTries = 0;
    struct Field;
    std::vector<Field*> fields;
};
