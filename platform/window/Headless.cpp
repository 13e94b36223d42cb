// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/window/Headless.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>

#include "platform/Files.h"
#include "platform/window/CPWnd.h"
#include "platform/window/LayerInternal.h"

namespace {
struct HeadlessWindow {
    bool visible = false;
};

unsigned long ClockTicks() {
    using namespace std::chrono;
    return static_cast<unsigned long>(duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count() *
                                      60 / 1000000);
}
// A scripted event for `window`; x and y as its kind reads them.
PlatformEvent Event(PlatformEvent::Kind kind, CPWnd* window, int x = 0, int y = 0, int modifiers = 0) {
    PlatformEvent e;
    e.kind = kind;
    e.window = window;
    e.x = x;
    e.y = y;
    e.modifiers = modifiers;
    return e;
}
}  // namespace

struct HeadlessBackend::Field {
    CPWnd* parent;
    tagRECT rect;
    void* font;
    int limit;
    std::string text;
};

HeadlessBackend::HeadlessBackend() : startTicks(ClockTicks()) {}

HeadlessBackend::~HeadlessBackend() {
    for (Field* field : fields) delete field;
}

void HeadlessBackend::MouseDown(CPWnd* window, int x, int y, int modifiers, int button) {
    PlatformEvent e = Event(PlatformEvent::kMouseDown, window, x, y, modifiers);
    e.button = button;
    PushEvent(e);
}

void HeadlessBackend::MouseUp(CPWnd* window, int x, int y, int modifiers, int button) {
    PlatformEvent e = Event(PlatformEvent::kMouseUp, window, x, y, modifiers);
    e.button = button;
    PushEvent(e);
}

void HeadlessBackend::MouseMove(CPWnd* window, int x, int y, int modifiers) {
    queue.push_back(Event(PlatformEvent::kMouseMoved, window, x, y, modifiers));  // scripted moves are kept one by one
}

void HeadlessBackend::Click(CPWnd* window, int x, int y, int modifiers) {
    MouseDown(window, x, y, modifiers);
    MouseUp(window, x, y, modifiers);
}

void HeadlessBackend::KeyDown(CPWnd* window, int key, int modifiers) {
    PlatformEvent e = Event(PlatformEvent::kKeyDown, window, 0, 0, modifiers);
    e.key = key;
    PushEvent(e);
}

void HeadlessBackend::KeyUp(CPWnd* window, int key, int modifiers) {
    PlatformEvent e = Event(PlatformEvent::kKeyUp, window, 0, 0, modifiers);
    e.key = key;
    PushEvent(e);
}

void HeadlessBackend::Key(CPWnd* window, int key, int modifiers) {
    KeyDown(window, key, modifiers);
    KeyUp(window, key, modifiers);
}

void HeadlessBackend::Type(CPWnd* window, const char* text) {
    for (const char* c = text; c && *c; c++) Key(window, static_cast<unsigned char>(*c));
}

void HeadlessBackend::MenuChoice(int menuId, int item) {
    PlatformEvent e = Event(PlatformEvent::kMenu, nullptr);
    e.menu = menuId;
    e.item = item;
    PushEvent(e);
}

void HeadlessBackend::CloseBox(CPWnd* window) {
    PushEvent(Event(PlatformEvent::kCloseBox, window));
}

void HeadlessBackend::Quit() {
    PushEvent(Event(PlatformEvent::kQuit, nullptr));
}

void HeadlessBackend::Resize(CPWnd* window, int width, int height) {
    PushEvent(Event(PlatformEvent::kResize, window, width, height));
}

void HeadlessBackend::Move(CPWnd* window, int left, int top) {
    PushEvent(Event(PlatformEvent::kMove, window, left, top));
}

void HeadlessBackend::Update(CPWnd* window) { Invalidate(window); }

void HeadlessBackend::ScrollBar(CPWnd* window, int vertical, int part, int value) {
    PlatformEvent e = Event(PlatformEvent::kScrollBar, window);
    e.bar = vertical;
    e.part = part;
    e.value = value;
    queue.push_back(e);
}

void HeadlessBackend::Wheel(CPWnd* window, int right, int down) {
    PushEvent(Event(PlatformEvent::kWheel, window, right, down));
}

void HeadlessBackend::SetScreenSize(long width, long height) {
    screenWidth = width;
    screenHeight = height;
}

void* HeadlessBackend::OpenEditField() const { return fields.empty() ? nullptr : fields.back(); }

void HeadlessBackend::ShowError(const char* text) { asked.push_back(Asked{"error", text ? text : "", "", "", "", "", ""}); }

int HeadlessBackend::AskYesNo(const char* text, const char* title) {
    asked.push_back(Asked{"yesno", text ? text : "", title ? title : "", "", "", "", ""});
    if (yesNo.empty()) return 0;
    const int answer = yesNo.front();
    yesNo.pop_front();
    return answer;
}

int HeadlessBackend::AskYesNoCancel(const char* text, const char* title) {
    asked.push_back(Asked{"yesnocancel", text ? text : "", title ? title : "", "", "", "", ""});
    if (yesNoCancel.empty()) return -1;
    const int answer = yesNoCancel.front();
    yesNoCancel.pop_front();
    return answer;
}

int HeadlessBackend::ChooseFile(const char* kind, std::deque<std::optional<std::string>>& answers, FSpec* result,
                                const char* filter, const char* extension, FSpec* start) {
    char folder[256];
    FileDialogStartFolder(start, folder, sizeof folder);
    asked.push_back(Asked{kind, "", "", filter ? filter : "", extension ? extension : "", folder, ""});
    if (answers.empty()) return 0;
    const std::optional<std::string> answer = answers.front();
    answers.pop_front();
    if (!answer) return 0;
    char path[256];
    std::snprintf(path, sizeof path, "%s", answer->c_str());
    if (std::strcmp(kind, "save") == 0) AddDefaultExtension(path, sizeof path, extension);
    if (result) MakePathSpec(*result, path);
    return 1;
}

int HeadlessBackend::ChooseOpenFile(CPWnd*, FSpec* result, const char* filter, const char* extension, FSpec* start,
                                    bool) {
    return ChooseFile("open", openFiles, result, filter, extension, start);
}

int HeadlessBackend::ChooseSaveFile(CPWnd*, FSpec* result, const char* filter, const char* extension, FSpec* start) {
    return ChooseFile("save", saveFiles, result, filter, extension, start);
}

void HeadlessBackend::Beep(int) { beeps++; }

void HeadlessBackend::ScreenSize(long& width, long& height) {
    width = screenWidth;
    height = screenHeight;
}

void* HeadlessBackend::CreateWindow(CPWnd*) { return new HeadlessWindow; }

void HeadlessBackend::DestroyWindow(CPWnd* window) {
    for (size_t i = 0; i < fields.size();) {
        if (fields[i]->parent == window) {
            delete fields[i];
            fields.erase(fields.begin() + static_cast<long>(i));
        } else {
            i++;
        }
    }
    delete static_cast<HeadlessWindow*>(window->platformWindow);
    window->platformWindow = nullptr;
}

void HeadlessBackend::ShowWindow(CPWnd* window, bool show) {
    static_cast<HeadlessWindow*>(window->platformWindow)->visible = show;
}

bool HeadlessBackend::WaitEvent(PlatformEvent& event, int ticks) {
    if (PopEvent(event)) {
        dryWaits = 0;
        return true;
    }
    if (onIdle) {
        onIdle();
        if (PopEvent(event)) {
            dryWaits = 0;
            return true;
        }
    }
    skippedTicks += static_cast<unsigned long>(std::max(ticks, 0));
    if (++dryWaits >= dryLimit) {
        dryWaits = 0;
        if (++leaveTries > kLeaveTries) {
            // The editor refused to leave every time (a save on close that
            // keeps failing): nobody is there to do anything else, so the
            // loop ends as failed rather than asking for ever.
            PostAMessage(gFirstWin, kMsgEndLoop, kLeaveFailed, 0);
            return false;
        }
        Key(gFirstWin, kKeyEscape);
        Quit();
    }
    return false;
}

bool HeadlessBackend::PollEvent(PlatformEvent& event) { return PopEvent(event); }

unsigned long HeadlessBackend::Ticks() { return ClockTicks() - startTicks + skippedTicks; }

void HeadlessBackend::WaitUntil(unsigned long ticks) {
    const unsigned long now = Ticks();
    if (ticks > now) skippedTicks += ticks - now;
}

int HeadlessBackend::ChooseColour(long& colour, const char* title) {
    asked.push_back(Asked{"colour", "", title ? title : "", "", "", "", ""});
    if (colours.empty()) return 0;
    const std::optional<long> answer = colours.front();
    colours.pop_front();
    if (!answer) return 0;
    colour = *answer;
    return 1;
}

int HeadlessBackend::AskString(char* text, int size, const char* title, const char* prompt, const char* hint) {
    asked.push_back(Asked{"string", prompt ? prompt : "", title ? title : "", "", "", "", hint ? hint : ""});
    if (strings.empty()) return 0;
    const std::optional<std::string> answer = strings.front();
    strings.pop_front();
    if (!answer) return 0;
    std::snprintf(text, static_cast<size_t>(size), "%s", answer->c_str());
    return 1;
}

void* HeadlessBackend::EditFieldCreate(CPWnd* parent, const tagRECT& r, void* font, const char* text, int limit) {
    auto* field = new Field{parent, r, font, limit, text ? text : ""};
    if (static_cast<int>(field->text.size()) > limit) field->text.resize(static_cast<size_t>(limit));
    fields.push_back(field);
    EditFieldDraw(field);
    return field;
}

void HeadlessBackend::EditFieldSetText(void* handle, const char* text) {
    auto* field = static_cast<Field*>(handle);
    field->text = text ? text : "";
    if (static_cast<int>(field->text.size()) > field->limit) field->text.resize(static_cast<size_t>(field->limit));
}

void HeadlessBackend::EditFieldGetText(void* handle, char* text, int max) {
    if (text && max > 0) std::snprintf(text, static_cast<size_t>(max), "%s", static_cast<Field*>(handle)->text.c_str());
}

void HeadlessBackend::EditFieldKey(void* handle, int character) {
    auto* field = static_cast<Field*>(handle);
    if (character == kKeyBackspace || character == kKeyDelete) {
        if (!field->text.empty()) field->text.pop_back();
    } else if (character >= 32 && character < 256 && static_cast<int>(field->text.size()) < field->limit) {
        field->text += static_cast<char>(character);
    }
    EditFieldDraw(field);
}

void HeadlessBackend::EditFieldDraw(void* handle) {
    auto* field = static_cast<Field*>(handle);
    PortSaver port(field->parent);
    void* saved = GetSelectedFont();
    SelectFont(field->font);
    const tagRECT& r = field->rect;
    DrawBar(0xFFFFFF, r);
    DrawBox(0x000000, tagRECT{r.left, r.top, r.right - 1, r.bottom - 1}, 1, kDrawCopy);
    DrawText(0x000000, field->text.c_str(), r.left + 3, r.top + (r.bottom - r.top - GetFontHeight()) / 2, kAlignLeft);
    SelectFont(saved);
}

void HeadlessBackend::EditFieldRemove(void* handle) {
    auto* field = static_cast<Field*>(handle);
    fields.erase(std::remove(fields.begin(), fields.end(), field), fields.end());
    delete field;
}

int HeadlessBackend::WriteWindowPNG(CPWnd* window, const char* path) {
    cairo_surface_t* surface = WindowSurface(window);
    if (!surface || !path) return 0;
    const int width = cairo_image_surface_get_width(surface);
    const int height = cairo_image_surface_get_height(surface);
    cairo_surface_t* copy = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    cairo_t* cr = cairo_create(copy);
    cairo_set_source_surface(cr, surface, 0, 0);
    cairo_paint(cr);
    for (const CPScrollBar* bar : {&window->hScroll, &window->vScroll}) {
        if (!bar->present || !bar->visible) continue;
        const tagRECT& r = bar->rect;
        cairo_rectangle(cr, r.left, r.top, r.right - r.left, r.bottom - r.top);
        cairo_set_source_rgb(cr, 0.85, 0.85, 0.85);
        cairo_fill_preserve(cr);
        cairo_set_source_rgb(cr, 0.4, 0.4, 0.4);
        cairo_set_line_width(cr, 1);
        cairo_stroke(cr);
        const bool vertical = bar->Vertical();
        const int length = vertical ? r.bottom - r.top : r.right - r.left;
        const int along = 16 + static_cast<int>(static_cast<long>(bar->value - bar->minimum) *
                                                std::max(length - 48, 0) / std::max(bar->Span(), 1));
        if (vertical)
            cairo_rectangle(cr, r.left + 2, r.top + along, r.right - r.left - 4, 16);
        else
            cairo_rectangle(cr, r.left + along, r.top + 2, 16, r.bottom - r.top - 4);
        cairo_set_source_rgb(cr, 0.55, 0.55, 0.55);
        cairo_fill(cr);
    }
    cairo_destroy(cr);
    const bool written = cairo_surface_write_to_png(copy, path) == CAIRO_STATUS_SUCCESS;
    cairo_surface_destroy(copy);
    return written ? 1 : 0;
}
