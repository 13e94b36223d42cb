// SPDX-License-Identifier: GPL-2.0-or-later
// The dialog builder, the list picker, the progress bar, and the forwarding
// of the string and colour boxes to the backend.
#include "platform/window/Dialog.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "motion/TextUtil.h"
#include "platform/Env.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/window/CPWnd.h"
#include "platform/window/WindowBackend.h"

namespace {

constexpr long kDialogGrey = 0xC0C0C0;
constexpr long kDarkGrey = 0x404040;
constexpr long kFolderGrey = 0xE0E0E0;
constexpr long kWhite = 0xFFFFFF;
constexpr long kBlack = 0x000000;

// A slot's text, read no further than its 64 bytes.
struct SlotText {
    char text[kDialogSlot + 1];
    explicit SlotText(const char* slot) {
        const size_t length = slot ? strnlen(slot, kDialogSlot) : 0;
        if (length) std::memcpy(text, slot, length);
        text[length] = 0;
    }
};

// The kind letter of an item ('C', 'R', 'S', 'L', 'F'), or 0 for a text field.
char ItemKind(const char* item) {
    if (item[0] != '@') return 0;
    return std::strchr("CRSLF", item[1]) && item[1] ? item[1] : 0;
}

// Writes at most 63 characters and the NUL.
void SetSlot(char* slot, const char* text) {
    const size_t length = text ? strnlen(text, kDialogSlot - 1) : 0;
    if (length) std::memmove(slot, text, length);
    slot[length] = 0;
}

// The dialog font: the 10-point interface font.
void* DialogFont() { return Sans10; }

struct Dialog {
    int x;
    int y;
    int count;
    bool preview;
    int labelWidth;  // L
    char* items;
    char* values;
    const char* title;

    char* Item(int i) const { return items + static_cast<size_t>(i) * kDialogSlot; }
    char* Value(int i) const { return values + static_cast<size_t>(i) * kDialogSlot; }
    int Right() const { return x + 2 * labelWidth + 16; }
    int Bottom() const { return y + 20 * count + 78; }
    int ValueLeft() const { return x + labelWidth + 16; }
    int ValueRight() const { return x + 2 * labelWidth + 8; }
    int RowTop(int row) const { return y + 36 + 20 * row; }
    int Row(int mouseY) const { return (mouseY - y - 36) / 20; }
    bool Contains(int mx, int my) const { return mx >= x && mx <= Right() && my >= y && my <= Bottom(); }

    // The slider value under mouse x: 0..100 along L - 34 pixels.
    int SliderValue(int mx) const {
        const double offset = mx - (x + labelWidth) - 16;
        double f = labelWidth - 34 > 0 ? offset / (labelWidth - 34) : (offset > 0 ? 1.0 : 0.0);
        f = std::clamp(f, 0.0, 1.0);
        return static_cast<int>(100 * f);
    }
};

int LabelWidth(int count, const char* items) {
    long widest = 0;
    for (int i = 0; i < count; i++)
        widest = std::max(widest, GetTextWidth(SlotText(items + static_cast<size_t>(i) * kDialogSlot).text));
    return static_cast<int>(widest);
}

void DrawButton(const tagRECT& r, const char* label) {
    DrawRoundBar(kWhite, tagRECT{r.left, r.top, r.right + 1, r.bottom + 1}, 4);
    DrawRoundBox(kBlack, r, 4, 1, kDrawCopy);
    DrawText(kBlack, label, r.left + (r.right - r.left) / 2, r.top + (r.bottom - r.top - GetFontHeight()) / 2 + 1,
             kAlignCentre);
}

void DrawDialog(const Dialog& d) {
    const int right = d.Right();
    const int bottom = d.Bottom();
    DrawBar(kDialogGrey, tagRECT{d.x, d.y, right, bottom});
    DrawLine(kWhite, d.x, d.y, right - 1, d.y, 1, kDrawCopy);
    DrawLine(kWhite, d.x, d.y, d.x, bottom - 1, 1, kDrawCopy);
    DrawLine(kDarkGrey, d.x, bottom - 1, right - 1, bottom - 1, 1, kDrawCopy);
    DrawLine(kDarkGrey, right - 1, d.y, right - 1, bottom - 1, 1, kDrawCopy);
    DrawRoundBar(kBlack, tagRECT{d.x + 8, d.y + 8, right - 8, d.y + 24}, 4);
    DrawText(kWhite, d.title ? d.title : "", d.x + (right - d.x) / 2, d.y + 8 + (16 - GetFontHeight()) / 2,
             kAlignCentre);

    const int textOffset = (16 - GetFontHeight()) / 2;
    const int vx = d.ValueLeft();
    const int vr = d.ValueRight();
    int firstRadio = -1;
    int lastRadio = -1;
    for (int i = 0; i < d.count; i++) {
        const SlotText item(d.Item(i));
        const SlotText value(d.Value(i));
        const char kind = ItemKind(item.text);
        const char* label = kind ? item.text + 2 : item.text;
        const int top = d.RowTop(i);
        const int ty = top + textOffset;
        char text[kDialogSlot + 8];
        switch (kind) {
            case 'C':
                DrawText(kBlack, label, d.x + 8, ty, kAlignLeft);
                DrawCheck(kBlack, tagRECT{vx, top + 2, vx + 12, top + 14}, value.text[0] != 0);
                break;
            case 'R': {
                if (firstRadio < 0) firstRadio = i;
                lastRadio = i;
                const char* bar = std::strchr(label, '|');
                DrawRadio(kBlack, tagRECT{vx, top + 2, vx + 12, top + 14}, value.text[0] != 0);
                DrawText(kBlack, bar ? bar + 1 : label, vx + 18, ty, kAlignLeft);
                break;
            }
            case 'S':
                std::snprintf(text, sizeof text, "%s:", label);
                DrawText(kBlack, text, d.x + 8, ty, kAlignLeft);
                DrawSlider(kWhite, 0x808080, tagRECT{vx - 4, top, vx + (d.labelWidth - 34) + 5, top + 16},
                           std::atol(value.text), 100, false);
                DrawText(kBlack, value.text, vr, ty, kAlignRight);
                break;
            case 'L':
                std::snprintf(text, sizeof text, "%s:", label);
                DrawText(kBlack, text, d.x + 8, ty, kAlignLeft);
                DrawBar(std::atol(value.text) & 0xFFFFFF, tagRECT{vx, top, vr, top + 16});
                DrawBox(kBlack, tagRECT{vx, top, vr - 1, top + 15}, 1, kDrawCopy);
                break;
            case 'F': {
                std::snprintf(text, sizeof text, "%s:", label);
                DrawText(kBlack, text, d.x + 8, ty, kAlignLeft);
                DrawBar(kFolderGrey, tagRECT{vx, top, vr, top + 16});
                char path[kDialogSlot + 8];
                std::snprintf(path, sizeof path, "%s", value.text);
                ShrinkTextWidth(path, vr - vx - 6, "...");
                DrawText(kBlack, path, vx + 3, ty, kAlignLeft);
                break;
            }
            default:
                DrawText(kBlack, label, d.x + 8, ty, kAlignLeft);
                DrawBar(kWhite, tagRECT{vx, top, vr, top + 16});
                DrawBox(kBlack, tagRECT{vx, top, vr - 1, top + 15}, 1, kDrawCopy);
                DrawText(kBlack, value.text, vx + 3, ty, kAlignLeft);
                break;
        }
    }
    // The first radio item's group title, with a bracket over every radio row.
    if (firstRadio >= 0) {
        const SlotText item(d.Item(firstRadio));
        if (const char* bar = std::strchr(item.text + 2, '|')) {
            char groupTitle[kDialogSlot];
            std::snprintf(groupTitle, sizeof groupTitle, "%.*s", static_cast<int>(bar - (item.text + 2)), item.text + 2);
            const int top = d.RowTop(firstRadio) + 2;
            const int bottom = d.RowTop(lastRadio) + 14;
            DrawText(kBlack, groupTitle, d.x + 8, (top + bottom) / 2 - GetFontHeight() / 2, kAlignLeft);
            const int bx = vx - 8;
            DrawLine(kBlack, bx, top, bx, bottom, 1, kDrawCopy);
            DrawLine(kBlack, bx, top, bx + 4, top, 1, kDrawCopy);
            DrawLine(kBlack, bx, bottom, bx + 4, bottom, 1, kDrawCopy);
        }
    }
    DrawButton(tagRECT{vr - 60, d.RowTop(d.count), vr, d.RowTop(d.count) + 16}, "OK");
    DrawButton(tagRECT{vr - 60, d.RowTop(d.count + 1), vr, d.RowTop(d.count + 1) + 16}, "Cancel");
    if (d.preview) DrawButton(tagRECT{d.x + 8, d.RowTop(d.count + 1), d.x + 68, d.RowTop(d.count + 1) + 16}, "Apply");
}

// The in-place edit box gives its text (at most 63 characters) to its row.
void CloseEditBox(CPEditBox& edit, int& row, const Dialog& d) {
    if (row >= 0 && row < d.count && edit.IsOpen()) {
        char text[kDialogSlot];
        edit.GetString(text, sizeof text);
        SetSlot(d.Value(row), text);
    }
    edit.Remove();
    row = -1;
}

void Redraw(const Dialog& d, CPEditBox& edit) {
    DrawDialog(d);
    if (edit.IsOpen()) edit.Draw();
}

void EditTextField(CPWnd* parent, const Dialog& d, int row, CPEditBox& edit, int& editRow) {
    const SlotText item(d.Item(row));
    char* value = d.Value(row);
    WindowBackend* backend = GetWindowBackend();
    if (backend && backend->HasEditField()) {
        const int left = d.x + d.labelWidth + 15;
        if (edit.Create(parent, left, d.RowTop(row), d.ValueRight() - left + 1, 20, kDialogSlot - 1, DialogFont())) {
            edit.SetString(SlotText(value).text, false);
            edit.Focus();
            editRow = row;
            return;
        }
    }
    char title[kDialogSlot + 32];
    char hint[kDialogSlot + 32];
    char answer[kDialogSlot + 1];
    const SlotText old(value);
    std::snprintf(title, sizeof title, "Type New Value for %s", item.text);
    std::snprintf(hint, sizeof hint, " ( was: %s )", old.text);
    std::snprintf(answer, sizeof answer, "%s", old.text);
    if (GetStringBox(answer, kDialogSlot, title, item.text, hint)) SetSlot(value, answer);
}

void ChooseFolder(CPWnd* parent, char* value) {
    FSpec start{};
    const SlotText old(value);
    if (old.text[0]) MakePathSpec(start, old.text);
    FSpec chosen{};
    if (!OpenFileDialog(parent, &chosen, "All Files (*.*)|*.*|", ".bmp", old.text[0] ? &start : nullptr, false))
        return;
    char path[sizeof chosen.name + 1];
    const size_t length = strnlen(chosen.name, sizeof chosen.name);
    std::memcpy(path, chosen.name, length);
    path[length] = 0;
    StripFileName(path);
    SetSlot(value, path);
}

// A click at (mx, my) in the parent; returns a result, or -1 to go on.
int Click(CPWnd* parent, const Dialog& d, int mx, int my, CPEditBox& edit, int& editRow, bool& sliding) {
    if (edit.IsOpen()) {
        CloseEditBox(edit, editRow, d);
        Redraw(d, edit);
    }
    const int row = d.Row(my);
    if (row < 0) return -1;
    if (!d.Contains(mx, my)) return kDialogCancel;
    if (row >= d.count) {
        if (d.preview && mx < d.x + 80) return kDialogPreview;
        return row == d.count ? kDialogOK : kDialogCancel;
    }
    if (mx <= d.x + d.labelWidth + 12) return -1;
    char* value = d.Value(row);
    switch (ItemKind(SlotText(d.Item(row)).text)) {
        case 'R':
            for (int i = 0; i < d.count; i++)
                if (ItemKind(SlotText(d.Item(i)).text) == 'R') SetSlot(d.Value(i), "");
            SetSlot(value, "1");
            break;
        case 'C':
            SetSlot(value, value[0] ? "" : "1");
            break;
        case 'S': {
            char text[16];
            std::snprintf(text, sizeof text, "%d", d.SliderValue(mx));
            SetSlot(value, text);
            sliding = true;
            break;
        }
        case 'L': {
            long colour = std::atol(SlotText(value).text);
            CPGetColor(colour);
            char text[24];
            std::snprintf(text, sizeof text, "%ld", colour);
            SetSlot(value, text);
            break;
        }
        case 'F':
            ChooseFolder(parent, value);
            break;
        default:
            EditTextField(parent, d, row, edit, editRow);
            break;
    }
    Redraw(d, edit);
    return -1;
}

}  // namespace

void CPDrawDialog(int x, int y, int count, char* items, char* values, const char* title, bool preview) {
    count = std::abs(count);
    if (!items || !values) return;
    Dialog d{x, y, count, preview, LabelWidth(count, items), items, values, title};
    DrawDialog(d);
}

int CPDialog(CPWnd* parent, int x, int y, int count, char* items, char* values, const char* title) {
    if (!parent || !items || !values) return kDialogCancel;
    PortSaver port(parent);
    void* savedFont = GetSelectedFont();
    SelectFont(DialogFont());
    const int itemCount = std::abs(count);
    Dialog d{x, y, itemCount, count < 0, LabelWidth(itemCount, items), items, values, title};
    CPEditBox edit;
    int editRow = -1;
    bool sliding = false;
    DrawDialog(d);

    int result = -1;
    while (result < 0) {
        void* window = nullptr;
        unsigned int msg = 0;
        long wParam = 0;
        long lParam = 0;
        unsigned long time = 0;
        tagPOINT point{0, 0};
        GetAMessage(&window, &msg, &wParam, &lParam, &time, &point);
        if (msg == 0 || msg == 1010 || msg == kMsgSecondaryUp) continue;
        const int mx = PointX(lParam);
        const int my = PointY(lParam);
        // Traffic for the open edit box.
        if (edit.IsOpen()) {
            if (msg == kMsgKeyDown && wParam != kKeyEscape && wParam != kKeyReturn) {
                edit.Key(static_cast<int>(wParam));
                continue;
            }
            if (msg == kMsgMouseDown && window == parent && mx > edit.rect.left && mx < edit.rect.right &&
                my > edit.rect.top && my < edit.rect.bottom) {
                edit.Click(mx, my);
                continue;
            }
        }
        switch (msg) {
            case kMsgMouseDown:
                if (window != parent)
                    result = kDialogCancel;
                else
                    result = Click(parent, d, mx, my, edit, editRow, sliding);
                break;
            case kMsgKeyDown:
            case kMsgCommandKey:
                if (wParam == kKeyEscape) result = kDialogCancel;
                if (wParam == kKeyReturn) result = kDialogOK;
                break;
            case kMsgMouseUp:
                sliding = false;
                break;
            case kMsgMouseMoved:
                if (sliding && window == parent) {
                    const int row = d.Row(my);
                    if (row >= 0 && row < d.count && ItemKind(SlotText(d.Item(row)).text) == 'S') {
                        char text[16];
                        std::snprintf(text, sizeof text, "%d", d.SliderValue(mx));
                        SetSlot(d.Value(row), text);
                        Redraw(d, edit);
                    }
                }
                break;
            default:
                break;
        }
    }
    CloseEditBox(edit, editRow, d);
    SelectFont(savedFont);
    return result;
}

int GetStringBox(char* text, const char* title, const char* prompt, const char* hint) {
    return GetStringBox(text, kDialogSlot, title, prompt, hint);
}

int GetStringBox(char* text, int size, const char* title, const char* prompt, const char* hint) {
    WindowBackend* backend = GetWindowBackend();
    if (!backend || !text || size <= 0) return 0;
    return backend->AskString(text, size, title ? title : "", prompt ? prompt : "", hint ? hint : "");
}

int CPGetColor(long& colour) {
    WindowBackend* backend = GetWindowBackend();
    return backend ? backend->ChooseColour(colour, "Choose Color") : 0;
}

namespace {
struct ListBox {
    int x, y, count, width;
    int RowTop(int i) const { return y + 32 + 16 * i; }
    int Bottom() const { return RowTop(count) + 8; }
};

void DrawList(const ListBox& box, char* items, const char* title, int selected) {
    DrawBar(kDialogGrey, tagRECT{box.x, box.y, box.x + box.width, box.Bottom()});
    DrawBox(kDarkGrey, tagRECT{box.x, box.y, box.x + box.width - 1, box.Bottom() - 1}, 1, kDrawCopy);
    DrawRoundBar(kBlack, tagRECT{box.x + 8, box.y + 8, box.x + box.width - 8, box.y + 24}, 4);
    DrawText(kWhite, title ? title : "", box.x + box.width / 2, box.y + 8 + (16 - GetFontHeight()) / 2, kAlignCentre);
    DrawBar(kWhite, tagRECT{box.x + 8, box.RowTop(0), box.x + box.width - 8, box.RowTop(box.count)});
    for (int i = 0; i < box.count; i++) {
        const int top = box.RowTop(i);
        if (i == selected) DrawBar(kBlack, tagRECT{box.x + 8, top, box.x + box.width - 8, top + 16});
        DrawText(i == selected ? kWhite : kBlack, SlotText(items + static_cast<size_t>(i) * kDialogSlot).text,
                 box.x + 12, top + (16 - GetFontHeight()) / 2, kAlignLeft);
    }
}
}  // namespace

int CPListPick(CPWnd* parent, int x, int y, int count, char* items, const char* title, int selected) {
    if (!parent || !items || count <= 0) return -1;
    PortSaver port(parent);
    void* savedFont = GetSelectedFont();
    SelectFont(DialogFont());
    ListBox box{x, y, count, 0};
    box.width = std::max(160, static_cast<int>(std::max(LabelWidth(count, items), static_cast<int>(GetTextWidth(title)))) + 40);
    if (selected < 0 || selected >= count) selected = -1;
    DrawList(box, items, title, selected);

    int result = -2;
    while (result == -2) {
        void* window = nullptr;
        unsigned int msg = 0;
        long wParam = 0;
        long lParam = 0;
        unsigned long time = 0;
        tagPOINT point{0, 0};
        GetAMessage(&window, &msg, &wParam, &lParam, &time, &point);
        if (msg == kMsgMouseDown) {
            const int mx = PointX(lParam);
            const int my = PointY(lParam);
            const bool inside = window == parent && mx >= box.x && mx < box.x + box.width && my >= box.y &&
                                my < box.Bottom();
            if (!inside) {
                result = -1;
            } else if (my >= box.RowTop(0) && my < box.RowTop(count)) {
                result = (my - box.RowTop(0)) / 16;
            }
        } else if (msg == kMsgKeyDown) {
            if (wParam == kKeyEscape) result = -1;
            if (wParam == kKeyReturn && selected >= 0) result = selected;
            if (wParam == kKeyUp || wParam == kKeyDown) {
                selected = std::clamp(selected + (wParam == kKeyUp ? -1 : 1), 0, count - 1);
                DrawList(box, items, title, selected);
            }
        }
    }
    SelectFont(savedFont);
    return result;
}

void DrawProgressBar(const tagRECT& r, long done, long total, unsigned long startTicks) {
    if (r.right <= r.left || r.bottom <= r.top) return;
    DrawBar(kWhite, r);
    if (total > 0) {
        const long filled = std::clamp(done, 0L, total) * (r.right - r.left) / total;
        DrawBar(0xFFC080, tagRECT{r.left, r.top, r.left + static_cast<int>(filled), r.bottom});
    }
    DrawBox(kBlack, tagRECT{r.left, r.top, r.right - 1, r.bottom - 1}, 1, kDrawCopy);
    if (done <= 0 || total <= 0) return;
    const unsigned long elapsed = GetMilliTime() - startTicks;
    const long left = done >= total ? 0
                                    : static_cast<long>(static_cast<double>(elapsed) * (total - done) / done /
                                                        GetMilliTimeFreq());
    char text[64];
    std::snprintf(text, sizeof text, "Time to go: %02ld:%02ld", left / 60, left % 60);
    DrawText(kBlack, text, r.left + (r.right - r.left) / 2, r.top + (r.bottom - r.top - GetFontHeight()) / 2,
             kAlignCentre);
}
