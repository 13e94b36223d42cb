// Puts the editor behind the effect's options command. This file is compiled
// into the effect module itself, so that the module's loading installs it.
//
// Inside a host without a display the editor can only run on a script (see
// Editor.h): with none, there is nobody to edit the show and the options
// command leaves it as it was.
#include <cstdlib>

#include "editor/Editor.h"
#include "host/EffectEntry.h"
#include "platform/window/WindowBackend.h"
#include "platform/window/WindowLayer.h"

namespace {

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
#ifdef GS_EDITOR_GTK
        const WindowPlatform platform = StartWindowLayer();
#else
        StartHeadlessWindowLayer();
        const WindowPlatform platform = WindowPlatform::Headless;
#endif
        if (platform == WindowPlatform::Headless && !scripted) {
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
