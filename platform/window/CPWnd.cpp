// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/window/CPWnd.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "platform/Env.h"
#include "platform/window/LayerInternal.h"
#include "platform/window/WindowBackend.h"

CPWnd* gFirstWin = nullptr;
CPWnd* gFloatWin = nullptr;

namespace {
constexpr int kCaptionSize = 22;
constexpr int kMenuSize = 20;
constexpr int kScrollSize = 16;
constexpr int kBorderSize = 0;

}  // namespace

bool HasTitleBar(long style) {
    return (style & (kStyleFloating | kStyleCloseBox | kStyleDocument | kStyleBehind)) != 0;
}

bool IsPlacedChild(const CPWnd* window) { return window && window->placeParent && !HasTitleBar(window->style); }

int32_t CPScrollBar::Span() const {
    const int32_t s = Vertical() ? maximum - rect.bottom - rect.top : maximum - rect.right - rect.left;
    return s > 0 ? s : 0;
}

int RegistryIndex(const CPWnd* window) {
    if (!window) return -1;
    const int count = std::min<int>(gEnv.windowCount, kMaxWindows);
    for (int i = 0; i < count; i++)
        if (gEnv.windows[i] == window) return i;
    return -1;
}

CPWnd* FindRegisteredWindow(void* handle) {
    const int index = RegistryIndex(static_cast<CPWnd*>(handle));
    return index >= 0 ? gEnv.windows[index] : nullptr;
}

CPWnd::CPWnd() = default;

CPWnd::~CPWnd() {
    RemoveEditBoxesOf(this);
    if (WindowBackend* backend = GetWindowBackend()) {
        backend->ForgetWindow(this);
        if (platformWindow) backend->DestroyWindow(this);
    }
    platformWindow = nullptr;
    const int index = RegistryIndex(this);
    if (index >= 0) {
        const int count = std::min<int>(gEnv.windowCount, kMaxWindows);
        for (int i = index; i + 1 < count; i++) gEnv.windows[i] = gEnv.windows[i + 1];
        gEnv.windows[count - 1] = nullptr;
        gEnv.windowCount = count - 1;
    }
    if (index == 0 || gFirstWin == this) gFirstWin = nullptr;
    if (gFloatWin == this) gFloatWin = nullptr;
    if (GetDrawPort() == this) SetDrawPort(nullptr);
    if (menuBar && menuBar->window == this) menuBar->window = nullptr;
    for (int i = 0; i < std::min<int>(gEnv.windowCount, kMaxWindows); i++)
        if (gEnv.windows[i] && gEnv.windows[i]->placeParent == this) gEnv.windows[i]->placeParent = nullptr;
    FreeWindowSurface(this);
}

long CPWnd::HandleEvent(unsigned int, long, long) { return 1; }
void CPWnd::OnDraw() {}

int CPWnd::Create(void* parentWindow, long newStyle, void*) {
    handle = this;
    style = static_cast<int32_t>(newStyle);
    floating = (newStyle & kStyleFloating) ? 1 : 0;
    CPWnd* given = static_cast<CPWnd*>(parentWindow);
    placeParent = (given && given != this) ? given : (parent != this ? parent : nullptr);
    hScroll.present = hScroll.visible = (newStyle & kStyleHScroll) ? 1 : 0;
    vScroll.present = vScroll.visible = (newStyle & kStyleVScroll) ? 1 : 0;

    if (RegistryIndex(this) < 0 && gEnv.windowCount >= 0 && gEnv.windowCount < kMaxWindows)
        gEnv.windows[gEnv.windowCount++] = this;
    if (!gFirstWin) gFirstWin = this;
    if (floating) gFloatWin = this;

    UpdateClientSize();
    if (WindowBackend* backend = GetWindowBackend())
        if (!platformWindow) platformWindow = backend->CreateWindow(this);
    return 1;
}

void CPWnd::Destroy() {
    RemoveEditBoxesOf(this);
    if (WindowBackend* backend = GetWindowBackend())
        if (platformWindow) backend->DestroyWindow(this);
    platformWindow = nullptr;
    shown = 0;
}

void CPWnd::Show(int how) {
    if (how == 2) {
        SetWinRect(0, 0, gEnv.screenWidth, gEnv.screenHeight, true);
        return;
    }
    shown = how ? 1 : 0;
    WindowBackend* backend = GetWindowBackend();
    if (!backend || !platformWindow) return;
    backend->ShowWindow(this, shown != 0);
    if (shown) backend->Invalidate(this);
}

void CPWnd::SetWinRect(int left, int top, int right, int bottom, bool show) {
    winRect = tagRECT{left, top, right, bottom};
    UpdateClientSize();
    if (WindowBackend* backend = GetWindowBackend())
        if (platformWindow) backend->PlaceWindow(this);
    if (show) Show(1);
}

void CPWnd::SetWinRect(tagRECT& r, bool show) { SetWinRect(r.left, r.top, r.right, r.bottom, show); }

void CPWnd::GetWinRect(tagRECT& r) { r = winRect; }

void CPWnd::GetClientRect(tagRECT& r) {
    const int width = (winRect.right - winRect.left) - 2 * GetBorderSize();
    const int height = (winRect.bottom - winRect.top) - GetCaptionSize() - GetMenuSize() - GetBorderSize();
    r = tagRECT{0, 0, std::max(width, 1), std::max(height, 1)};
}

int CPWnd::GetCaptionSize() { return HasTitleBar(style) ? kCaptionSize : 0; }
int CPWnd::GetBorderSize() { return kBorderSize; }
int CPWnd::GetMenuSize() { return (menuBar && menuBar->window == this) ? kMenuSize : 0; }
int CPWnd::GetScrollSize() { return kScrollSize; }

void CPWnd::SetTitle(const char* text) {
    std::snprintf(title, sizeof title, "%s", text ? text : "");
    if (WindowBackend* backend = GetWindowBackend())
        if (platformWindow) backend->SetWindowTitle(this, title);
}

void CPWnd::GetTitle(char* text, int max) {
    if (text && max > 0) std::snprintf(text, static_cast<size_t>(max), "%s", title);
}

void CPWnd::SetOrder(CPWnd* other, bool front) {
    if (WindowBackend* backend = GetWindowBackend())
        if (platformWindow) backend->RestackWindow(this, other, front);
}

void CPWnd::FullScreen(bool on) {
    if (on) SetWinRect(0, 0, gEnv.screenWidth, gEnv.screenHeight, shown != 0);
    if (WindowBackend* backend = GetWindowBackend())
        if (platformWindow) backend->SetFullScreen(this, on);
}

void CPWnd::Redraw(tagRECT&, bool now) {
    if (now) {
        PostAMessage(this, kMsgPaint, 0, 0);
        return;
    }
    if (WindowBackend* backend = GetWindowBackend()) backend->Invalidate(this);
}

void CPWnd::ShowScrollBar(bool horizontal, bool vertical) {
    hScroll.visible = horizontal ? 1 : 0;
    vScroll.visible = vertical ? 1 : 0;
    AlignScrollBar(nullptr);
}

namespace {
void Clamp(CPScrollBar& bar) { bar.value = std::clamp(bar.value, bar.minimum, std::max(bar.minimum, bar.maximum)); }
}  // namespace

void CPWnd::SetViewScrollRange(int width, int height, int pageWidth, int pageHeight, bool redraw) {
    hScroll.maximum = std::max(width, 0);
    vScroll.maximum = std::max(height, 0);
    hScroll.page = std::max(pageWidth, 0);
    vScroll.page = std::max(pageHeight, 0);
    Clamp(hScroll);
    Clamp(vScroll);
    if (WindowBackend* backend = GetWindowBackend()) {
        if (platformWindow) backend->UpdateScrollBars(this);
        if (redraw) backend->Invalidate(this);
    }
}

void CPWnd::SetViewScrollX(int x, bool redraw) {
    hScroll.value = x;
    Clamp(hScroll);
    if (WindowBackend* backend = GetWindowBackend()) {
        if (platformWindow) backend->UpdateScrollBars(this);
        if (redraw) backend->Invalidate(this);
    }
}

void CPWnd::SetViewScrollY(int y, bool redraw) {
    vScroll.value = y;
    Clamp(vScroll);
    if (WindowBackend* backend = GetWindowBackend()) {
        if (platformWindow) backend->UpdateScrollBars(this);
        if (redraw) backend->Invalidate(this);
    }
}

int CPWnd::GetViewScrollX() { return hScroll.value; }
int CPWnd::GetViewScrollY() { return vScroll.value; }

int CPWnd::ScrollControl(int message, int amount, int step) {
    CPScrollBar& bar = message == static_cast<int>(kMsgScrollV) ? vScroll : hScroll;
    const long wanted = static_cast<long>(bar.value) + static_cast<long>(amount) * step;
    bar.value = static_cast<int32_t>(std::clamp<long>(wanted, bar.minimum, std::max(bar.Span(), bar.minimum)));
    if (WindowBackend* backend = GetWindowBackend())
        if (platformWindow) backend->UpdateScrollBars(this);
    PostAMessage(this, kMsgPaint, 0, 0);
    return bar.value;
}

void CPWnd::AlignScrollBar(void* which) {
    tagRECT client;
    GetClientRect(client);
    const int w = client.right;
    const int h = client.bottom;
    const bool both = hScroll.present && hScroll.visible && vScroll.present && vScroll.visible;
    if (!which || which == &hScroll) hScroll.rect = tagRECT{-1, h - 15, both ? w - 14 : w + 1, h + 1};
    if (!which || which == &vScroll) vScroll.rect = tagRECT{w - 15, -1, w + 1, both ? h - 15 : h + 1};
    if (WindowBackend* backend = GetWindowBackend())
        if (platformWindow) backend->UpdateScrollBars(this);
}

void CPWnd::SetWindowOrigin(int x, int y) { origin = tagPOINT{x, y}; }

void CPWnd::UpdateClientSize() {
    tagRECT client;
    GetClientRect(client);
    SizeWindowSurface(this, client.right, client.bottom);
    AlignScrollBar(nullptr);
}
