// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/window/WindowLayer.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/Env.h"
#include "platform/window/CPWnd.h"
#include "platform/window/Headless.h"
#include "platform/window/LayerInternal.h"

namespace {
// The backend the layer started and owns.
std::unique_ptr<WindowBackend> gStartedBackend;
}  // namespace

WindowPlatform ChooseWindowPlatform(const char* setting, bool displayPresent) {
    if (setting && std::strcmp(setting, "headless") == 0) return WindowPlatform::Headless;
    if (setting && std::strcmp(setting, "gtk") == 0) return WindowPlatform::Gtk;
    return displayPresent ? WindowPlatform::Gtk : WindowPlatform::Headless;
}

bool DisplayPresent() {
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 && *x11) || (wayland && *wayland);
}

void AdoptStartedBackend(WindowBackend* backend) {
    StopWindowLayer();
    gStartedBackend.reset(backend);
    InstallWindowBackend(backend);
}

HeadlessBackend* StartHeadlessWindowLayer() {
    auto* backend = new HeadlessBackend;
    AdoptStartedBackend(backend);
    return backend;
}

void StopWindowLayer() {
    WindowBackend* backend = GetWindowBackend();
    if (backend) {
        for (int i = 0; i < gEnv.windowCount && i < kMaxWindows; i++) {
            CPWnd* window = gEnv.windows[i];
            if (!window) continue;
            RemoveEditBoxesOf(window);
            if (window->platformWindow) backend->DestroyWindow(window);
            window->platformWindow = nullptr;
        }
        InstallWindowBackend(nullptr);
    }
    gStartedBackend.reset();
}
