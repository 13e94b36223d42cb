// SPDX-License-Identifier: GPL-2.0-or-later
// Process-wide state of the portable layer: the environment record, the
// interface fonts, the multiprocessing flags, and the start-up and tear-down
// that fill and empty them.
#pragma once

#include <cstdint>

class CPWnd;

constexpr int kMaxWindows = 256;
// Host modes given to InitEnvironment.
constexpr int kModeHost = 101;

struct EnvRecord {
    int32_t screenWidth;    // the main screen's width - 1 (its right edge)
    int32_t screenHeight;   // the main screen's height - 1 (its bottom edge)
    char programName[64];   // names the settings file and its section
    // Window registry, in creation order (kept by the window layer).
    int32_t windowCount;
    CPWnd* windows[kMaxWindows];
    int32_t hostMode;       // 101 inside the host
};

extern EnvRecord gEnv;
extern void* gInstance;
// Interface fonts, made through the platform backend (null until made).
extern void* Sans8;
extern void* Sans10;
extern void* Sans12;
extern void* Sans14B;  // 13 points bold
extern void* Sans20;
// System version: the kernel's major number in the high byte and its minor
// number (at most 255) in the low byte, e.g. 6.1 gives 0x0601.
extern long gOSVersionNumber;

extern int gMultiProcess;     // the user's choice: draw half of each frame on the worker
extern int gCanMultiProcess;  // 1 when the worker is running
extern int gMultiProcOffset;

// Sets up the environment: program name and mode, fonts, screen size, worker,
// settings. Returns 1. Calling it again first tears nothing down: fonts that
// exist are kept, the name and settings are taken afresh.
int InitEnvironment(void* instance, const char* name, int mode);
// Removes the fonts, saves the settings and ends the worker. Safe to repeat.
void CloseEnvironment();
