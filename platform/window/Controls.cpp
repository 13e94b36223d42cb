// SPDX-License-Identifier: GPL-2.0-or-later
// The edit box and the drawn push button.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "platform/window/CPWnd.h"
#include "platform/window/LayerInternal.h"
#include "platform/window/WindowBackend.h"

namespace {
std::vector<CPEditBox*>& OpenBoxes() {
    static std::vector<CPEditBox*> boxes;
    return boxes;
}
}  // namespace

void RemoveEditBoxesOf(CPWnd* window) {
    std::vector<CPEditBox*> boxes = OpenBoxes();
    for (CPEditBox* box : boxes)
        if (box->parent == window) box->Remove();
}

CPEditBox::CPEditBox() = default;

CPEditBox::~CPEditBox() { Remove(); }

int CPEditBox::Create(CPWnd* window, int left, int top, int width, int height, int maxChars, void* newFont) {
    Remove();
    parent = window;
    rect = tagRECT{left, top, left + width, top + height};
    limit = maxChars > 0 ? std::min(maxChars, 255) : 255;
    font = newFont;
    WindowBackend* backend = GetWindowBackend();
    if (!backend || !backend->HasEditField() || !window) return 0;
    field = backend->EditFieldCreate(window, rect, font, text, limit);
    if (!field) return 0;
    OpenBoxes().push_back(this);
    return 1;
}

void CPEditBox::SetString(const char* newText, bool redraw) {
    std::snprintf(text, static_cast<size_t>(limit) + 1, "%s", newText ? newText : "");
    if (!field) return;
    GetWindowBackend()->EditFieldSetText(field, text);
    if (redraw) Draw();
}

void CPEditBox::GetString(char* out, int max) {
    if (field) GetWindowBackend()->EditFieldGetText(field, text, limit + 1);
    if (out && max > 0) std::snprintf(out, static_cast<size_t>(max), "%s", text);
}

void CPEditBox::Focus() {
    if (!field) return;
    gMacEditBox = this;
    gEditRect = PlatformRect{static_cast<int16_t>(rect.top), static_cast<int16_t>(rect.left),
                             static_cast<int16_t>(rect.bottom), static_cast<int16_t>(rect.right)};
    GetWindowBackend()->EditFieldFocus(field);
}

void CPEditBox::SetFont(void* newFont) { font = newFont; }

void CPEditBox::Draw() {
    if (field) GetWindowBackend()->EditFieldDraw(field);
}

void CPEditBox::Remove() {
    if (gMacEditBox == this) gMacEditBox = nullptr;
    auto& boxes = OpenBoxes();
    boxes.erase(std::remove(boxes.begin(), boxes.end(), this), boxes.end());
    if (!field) return;
    WindowBackend* backend = GetWindowBackend();
    backend->EditFieldGetText(field, text, limit + 1);
    backend->EditFieldRemove(field);
    field = nullptr;
}

void CPEditBox::Key(int character) {
    if (field) GetWindowBackend()->EditFieldKey(field, character);
}

void CPEditBox::Click(int x, int y) {
    if (field) GetWindowBackend()->EditFieldClick(field, x, y);
}

void CPEditBox::Idle() {}

int CPButton::Create(int left, int top, int width, int height, int newKind) {
    rect = tagRECT{left, top, left + width, top + height};
    kind = newKind;
    state = 0;
    checked = 0;
    return 1;
}

void CPButton::SetState(int newState) {
    state = newState;
    if (kind == kButtonCheck) checked = newState ? 1 : 0;
    Draw();
}

int CPButton::Check(int x, int y, int newState) {
    const bool inside = x >= rect.left && x <= rect.right && y >= rect.top && y <= rect.bottom;
    if (inside) {
        if (kind == kButtonCheck && newState == 0 && state != 0) checked = !checked;
        state = newState;
        Draw();
        return 1;
    }
    if (newState == 0 && state != 0) {
        state = 0;
        Draw();
    }
    return 0;
}

void CPButton::SetPos(tagRECT& r) { rect = r; }

void CPButton::Draw() {
    if (kind == kButtonCheck) {
        DrawCheck(0, rect, checked != 0);
        return;
    }
    const long face = state ? 0x000000 : 0xE0E0E0;
    const long ink = state ? 0xFFFFFF : 0x000000;
    DrawRoundBar(face, tagRECT{rect.left, rect.top, rect.right + 1, rect.bottom + 1}, 3);
    DrawRoundBox(0, rect, 3, 1, kDrawCopy);
    const int cx = rect.left + (rect.right - rect.left) / 2;
    const int cy = rect.top + (rect.bottom - rect.top) / 2;
    const int g = std::max(2, std::min(rect.right - rect.left, rect.bottom - rect.top) / 4);
    switch (kind) {
        case kButtonClose:
            DrawLine(ink, cx - g, cy - g, cx + g, cy + g, 2, kDrawCopy);
            DrawLine(ink, cx + g, cy - g, cx - g, cy + g, 2, kDrawCopy);
            break;
        case kButtonReverse:
            DrawTriangle(ink, cx + g, cy - g, cx + g, cy + g + 1, cx - g, cy);
            break;
        case kButtonStop:
            DrawBar(ink, tagRECT{cx - g, cy - g, cx + g, cy + g});
            break;
        case kButtonPlay:
            DrawTriangle(ink, cx - g, cy - g, cx - g, cy + g + 1, cx + g, cy);
            break;
        default:
            break;
    }
}
