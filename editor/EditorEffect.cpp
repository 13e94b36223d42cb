// SPDX-License-Identifier: GPL-2.0-or-later
// Puts the editor behind the effect's options command. This file is compiled
// into the effect module itself, so that the module's loading installs it.
//
// The effect module does not link GTK: a host without it must still be able
// to load the module and render. The GTK backend is a module of its own
// beside this one (Glimmerstroll-gtk.so), loaded when the editor opens with
// a display. It is linked against this module and takes the window layer
// from it, so that both work on the layer's one copy.
//
// Inside a host without a display the editor can only run on a script (see
// Editor.h): with none, there is nobody to edit the show and the options
// command leaves it as it was.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "editor/Editor.h"
#include "host/EffectEntry.h"
#include "platform/window/WindowBackend.h"
#include "platform/window/WindowLayer.h"

namespace {

#ifdef GS_EDITOR_GTK_MODULE
// The GTK module's entry, found once. The module stays loaded for the rest of
// the process, since GTK cannot be unloaded once it has been started; as it
// needs this module, this one then stays too when the host unloads it.
int (*gStartGtk)() = nullptr;

// The GTK module's path: GS_EDITOR_GTK_MODULE in the folder this module was
// loaded from. Empty when that folder cannot be found.
std::string GtkModulePath() {
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&GtkModulePath), &info) || !info.dli_fname) return {};
    std::string path = info.dli_fname;
    const size_t slash = path.rfind('/');
    path.erase(slash == std::string::npos ? 0 : slash + 1);
    return path + GS_EDITOR_GTK_MODULE;
}

// Loads the GTK module and starts its backend; false, with a line on stderr
// when the module is the reason, when GTK did not start.
bool StartGtkModule() {
    if (!gStartGtk) {
        const std::string path = GtkModulePath();
        void* module = path.empty() ? nullptr : dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        void* entry = module ? dlsym(module, kGtkWindowLayerEntry) : nullptr;
        if (!entry) {
            const char* why = path.empty() ? "the effect module's folder is unknown" : dlerror();
            std::fprintf(stderr,
                         "glimmerstroll: the GTK editor module could not be loaded (%s); "
                         "running without a display\n",
                         why ? why : path.c_str());
            return false;
        }
        gStartGtk = reinterpret_cast<int (*)()>(entry);
    }
    return gStartGtk() != 0;
}
#endif

// Starts the backend that StartWindowLayer would: GTK from its module when
// there is a display, else headless.
WindowPlatform StartEffectWindowLayer() {
#ifdef GS_EDITOR_GTK_MODULE
    if (ChooseWindowPlatform(std::getenv("GLIMMERSTROLL_PLATFORM"), DisplayPresent()) == WindowPlatform::Gtk &&
        StartGtkModule())
        return WindowPlatform::Gtk;
#endif
    StartHeadlessWindowLayer();
    return WindowPlatform::Headless;
}

// The window layer lives only while the editor is open: a host may unload the
// module at any time after the options command has returned.
int RunFromEffect() {
    bool started = false;
    if (!GetWindowBackend()) {
        const bool scripted = std::getenv(kEditorScriptVariable) != nullptr;
        if (ChooseWindowPlatform(std::getenv("GLIMMERSTROLL_PLATFORM"), DisplayPresent()) ==
                WindowPlatform::Headless &&
            !scripted)
            return 1;
        if (StartEffectWindowLayer() == WindowPlatform::Headless && !scripted) {
            StopWindowLayer();
            return 1;
        }
        started = true;
    }
    const int result = RunEditor();
    if (started) StopWindowLayer();
    return result;
}

[[maybe_unused]] const bool gInstalled = (gRunEditor = RunFromEffect, true);

}  // namespace
