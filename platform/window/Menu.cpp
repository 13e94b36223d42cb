// SPDX-License-Identifier: GPL-2.0-or-later
#include <cstdio>
#include <cstring>

#include "platform/window/CPWnd.h"
#include "platform/window/WindowBackend.h"

// The menu bar the loop reads commands from.
CPMenu* gMenuBar = nullptr;

CPMenu::CPMenu() {
    for (auto& row : commands)
        for (int32_t& command : row) command = kMenuEmpty;
    std::memset(menus, 0, sizeof menus);
}

CPMenu::~CPMenu() {
    if (window) RestoreOriginalMenu();
    if (gMenuBar == this) gMenuBar = nullptr;
}

int CPMenu::Create(CPWnd* owner) {
    window = owner;
    gMenuBar = this;
    if (!owner) return 1;
    owner->menuBar = this;
    owner->UpdateClientSize();
    if (WindowBackend* backend = GetWindowBackend()) {
        if (owner->platformWindow) {
            backend->MenuAttach(this);
            backend->PlaceWindow(owner);
        }
    }
    return 1;
}

int CPMenu::AddTopLevel(const char* text, int flags) {
    if (menuCount >= kMenuCount) return 0;
    const int index = menuCount++;
    currentMenu = index;
    Menu& menu = menus[index];
    std::snprintf(menu.title, sizeof menu.title, "%s", text ? text : "");
    menu.enabled = (flags & 4) == 0;
    menu.itemCount = 0;
    if (WindowBackend* backend = GetWindowBackend())
        if (window && window->platformWindow) backend->MenuAddTop(this, index);
    return 1;
}

int CPMenu::AddItem(int command, const char* text, int flags) {
    if (currentMenu < 0 || currentMenu >= kMenuCount) return 0;
    int32_t* row = commands[currentMenu];
    int slot = 0;
    while (slot < kMenuItems && row[slot] != kMenuEmpty) slot++;
    if (slot == kMenuItems) return 0;
    row[slot] = command;

    Menu& menu = menus[currentMenu];
    Item& item = menu.items[slot];
    item = Item{};
    item.separator = command == -1;
    item.enabled = (flags & 2) == 0;
    item.checked = (flags & 1) != 0;
    item.checkable = (flags & (1 | 8)) != 0;
    if (item.separator) {
        std::snprintf(item.label, sizeof item.label, "-");
    } else {
        std::snprintf(item.label, sizeof item.label, "%s", text ? text : "");
        const size_t length = std::strlen(item.label);
        if (length >= 2 && item.label[length - 2] == '/') {
            item.shortcut = static_cast<unsigned char>(item.label[length - 1]);
            item.label[length - 2] = 0;
        }
    }
    if (slot + 1 > menu.itemCount) menu.itemCount = slot + 1;
    if (WindowBackend* backend = GetWindowBackend())
        if (window && window->platformWindow) backend->MenuAddItem(this, currentMenu, slot);
    return 1;
}

int CPMenu::GetID(int menu, int item) {
    if (menu < 0 || menu >= kMenuCount || item < 0 || item >= kMenuItems) return -1;
    return commands[menu][item];
}

namespace {
template <typename Change>
void ForEachItem(CPMenu& bar, int command, Change change) {
    for (int m = 0; m < bar.menuCount; m++) {
        for (int i = 0; i < bar.menus[m].itemCount; i++) {
            if (bar.commands[m][i] != command || bar.menus[m].items[i].separator) continue;
            change(bar.menus[m].items[i]);
            if (WindowBackend* backend = GetWindowBackend())
                if (bar.window && bar.window->platformWindow) backend->MenuUpdateItem(&bar, m, i);
        }
    }
}
}  // namespace

void CPMenu::SetState(int command, int state) {
    ForEachItem(*this, command, [&](Item& item) { item.enabled = state != 0; });
}

void CPMenu::SetCheck(int command, bool checked) {
    ForEachItem(*this, command, [&](Item& item) {
        item.checked = checked;
        item.checkable = item.checkable || checked;
    });
}

void CPMenu::RestoreOriginalMenu() {
    CPWnd* owner = window;
    if (!owner) return;
    if (WindowBackend* backend = GetWindowBackend())
        if (owner->platformWindow) backend->MenuRemove(this);
    window = nullptr;
    if (owner->menuBar == this) {
        owner->menuBar = nullptr;
        owner->UpdateClientSize();
        if (WindowBackend* backend = GetWindowBackend())
            if (owner->platformWindow) backend->PlaceWindow(owner);
    }
}
