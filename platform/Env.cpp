// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/Env.h"

#include <cstdio>
#include <sys/utsname.h>

#include "platform/Platform.h"
#include "platform/Settings.h"
#include "platform/Worker.h"

EnvRecord gEnv{};
void* gInstance = nullptr;
void* Sans8 = nullptr;
void* Sans10 = nullptr;
void* Sans12 = nullptr;
void* Sans14B = nullptr;
void* Sans20 = nullptr;
long gOSVersionNumber = 0;
int gMultiProcess = 0;
int gCanMultiProcess = 0;
int gMultiProcOffset = 0;

namespace {

struct FontRow {
    void** font;
    int points;
    bool bold;
};

// The five interface fonts, all of the face "Sans". Sans14B is 13 points.
const FontRow kFonts[] = {
    {&Sans8, 8, false}, {&Sans10, 10, false}, {&Sans12, 12, false}, {&Sans14B, 13, true}, {&Sans20, 20, false},
};
constexpr int kFontCount = sizeof kFonts / sizeof kFonts[0];

// The backend that made each font: a font is released by its maker.
PlatformBackend* gFontMaker[kFontCount] = {};

void MakeFonts() {
    PlatformBackend* backend = GetPlatformBackend();
    for (int i = 0; i < kFontCount; i++) {
        if (*kFonts[i].font) continue;
        *kFonts[i].font = backend->MakeFont("Sans", kFonts[i].points, kFonts[i].bold);
        gFontMaker[i] = backend;
    }
}

// A maker that has since been replaced may no longer exist, so its fonts are
// only forgotten; the console fallback lives for the whole program.
void RemoveFonts() {
    for (int i = 0; i < kFontCount; i++) {
        PlatformBackend* maker = gFontMaker[i];
        bool alive = maker == GetPlatformBackend() || maker == GetConsoleBackend();
        if (*kFonts[i].font && alive) maker->RemoveFont(*kFonts[i].font);
        *kFonts[i].font = nullptr;
        gFontMaker[i] = nullptr;
    }
}

void ReadScreenSize() {
    long width = 0;
    long height = 0;
    GetPlatformBackend()->ScreenSize(width, height);
    gEnv.screenWidth = static_cast<int32_t>(width - 1);
    gEnv.screenHeight = static_cast<int32_t>(height - 1);
}

// The kernel's major number in the high byte, its minor number in the low byte.
long ReadOSVersion() {
    struct utsname names;
    int major = 0;
    int minor = 0;
    if (uname(&names) != 0 || std::sscanf(names.release, "%d.%d", &major, &minor) < 1) return 0;
    if (minor < 0) minor = 0;
    if (minor > 255) minor = 255;
    return (static_cast<long>(major) << 8) | minor;
}

}  // namespace

int InitEnvironment(void* instance, const char* name, int mode) {
    gEnv.hostMode = mode;
    gInstance = instance;
    std::snprintf(gEnv.programName, sizeof gEnv.programName, "%s", name ? name : "");
    // The cursor is the window layer's: each of its windows shows the arrow.
    MakeFonts();
    // Modes 1000 and 1001 would open a resource bundle; the Linux build keeps
    // its resources compiled in, so no mode opens one.
    ReadScreenSize();
    if (!gCanMultiProcess) gCanMultiProcess = StartMP() ? 1 : 0;
    LoadIniFile();
    gOSVersionNumber = ReadOSVersion();
    return 1;
}

void CloseEnvironment() {
    RemoveFonts();
    SaveIniFile();
    CloseMP();
    gCanMultiProcess = 0;
}
