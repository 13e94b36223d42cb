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

// Set when the editor started the window layer; the layer is stopped again
// when the host unloads the module.
bool gStartedLayer = false;

struct StopLayerOnUnload {
    ~StopLayerOnUnload() {
        if (gStartedLayer) StopWindowLayer();
    }
} gStopLayerOnUnload;

int RunFromEffect() {
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
        gStartedLayer = true;
    }
    return RunEditor();
}

[[maybe_unused]] const bool gInstalled = (gRunEditor = RunFromEffect, true);

}  // namespace
