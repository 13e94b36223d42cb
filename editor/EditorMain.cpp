// SPDX-License-Identifier: GPL-2.0-or-later
// glimmerstroll-edit: the editor on a show file, without a host.
//
//   glimmerstroll-edit [--fps RATE] [SHOW.gsx]
//
// "Apply Moves and Close" (command-Q, the close box) saves the show to its file,
// asking for a name when it has none, and exits 0; "Quit - DON'T Apply changes"
// exits 1 without writing, asking first when the show was changed. 2: the
// editor could not start. `glimmerstroll edit` runs this program, so that the
// command-line renderer never loads a windowing library.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "editor/Editor.h"
#include "platform/window/WindowLayer.h"

#ifndef GS_VERSION
#define GS_VERSION "unknown"
#endif

namespace {

int Usage(std::FILE* out, int status) {
    std::fprintf(out,
                 "usage: glimmerstroll edit [--fps RATE] [SHOW.gsx]\n"
                 "Opens the editor on a show file (a new one when it does not exist yet).\n"
                 "--fps RATE  the rate its frames are counted at: 25 (the default, as\n"
                 "            glimmerstroll render), 29.97 or 23.976\n"
                 "Exit status: 0 the show was saved (Apply Moves and Close), 1 left without\n"
                 "saving (Quit - DON'T Apply changes), 2 the editor could not start (or, run\n"
                 "on a script, could not save the show when closing).\n");
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    const char* path = nullptr;
    int32_t frameRate = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::strcmp(argv[i], "-h") || !std::strcmp(argv[i], "--help")) return Usage(stdout, 0);
        if (!std::strcmp(argv[i], "--version")) {
            std::printf("glimmerstroll-edit %s\n", GS_VERSION);
            return 0;
        }
        if (!std::strcmp(argv[i], "--fps")) {
            if (i + 1 >= argc || !(frameRate = EditorFrameRate(argv[i + 1]))) {
                std::fprintf(stderr, "glimmerstroll edit: --fps %s: expected 25, 29.97 or 23.976\n",
                             i + 1 < argc ? argv[i + 1] : "(nothing)");
                return Usage(stderr, kEditFailed);
            }
            ++i;
            continue;
        }
        if (argv[i][0] == '-' && argv[i][1] != '\0') {
            std::fprintf(stderr, "glimmerstroll edit: unknown option %s\n", argv[i]);
            return Usage(stderr, kEditFailed);
        }
        if (path) {
            std::fprintf(stderr, "glimmerstroll edit: one show at a time\n");
            return Usage(stderr, kEditFailed);
        }
        path = argv[i];
    }

    const bool scripted = std::getenv(kEditorScriptVariable) != nullptr;
    if (StartWindowLayer() == WindowPlatform::Headless && !scripted) {
        StopWindowLayer();
        std::fprintf(stderr,
                     "glimmerstroll edit: no display to open the editor on (set DISPLAY, or "
                     "GLIMMERSTROLL_PLATFORM=headless with %s)\n",
                     kEditorScriptVariable);
        return kEditFailed;
    }
    const int status = EditShowFile(path, frameRate);
    StopWindowLayer();
    if (status == kEditFailed)
        std::fprintf(stderr, "glimmerstroll edit: the editor could not start on, or save, %s\n",
                     path ? path : "an untitled show");
    return status;
}
