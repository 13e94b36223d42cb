// SPDX-License-Identifier: GPL-2.0-or-later
// The few platform services that every layer may call: standard boxes and file
// dialogs, text measuring, drawing an image into a window, the beep and image
// memory. They forward to the installed backend (the window layer installs GTK
// or headless backends); with none installed, a console fallback answers, so the
// render path works with no display at all.
#pragma once

#include "motion/Types.h"

class CPWnd;
class CDIB;
struct FSpec;

class PlatformBackend {
public:
    virtual ~PlatformBackend() = default;

    // Standard boxes. `text` is final (code already appended, cut to 255 chars).
    virtual void ShowError(const char* text);
    virtual int AskYesNo(const char* text, const char* title);          // 1 yes, 0 no
    virtual int AskYesNoCancel(const char* text, const char* title);    // 1, 0, -1
    // File dialogs: non-zero when a file was chosen and written to `result`.
    virtual int ChooseOpenFile(CPWnd* parent, FSpec* result, const char* filter,
                               const char* extension, FSpec* start, bool flag);
    virtual int ChooseSaveFile(CPWnd* parent, FSpec* result, const char* filter,
                               const char* extension, FSpec* start);

    // Width in pixels of `text` in the current font.
    virtual long TextWidth(const char* text);
    // Scales `source` of `dib` into `target` of the window behind `port`.
    virtual void DrawDIB(tagRECT& target, tagRECT& source, CDIB* dib, void* port);
    virtual void Beep(int kind);

    // Interface fonts: a handle for `face` at `points`, released by RemoveFont
    // of the same backend. Null when the font cannot be made.
    virtual void* MakeFont(const char* face, int points, bool bold);
    virtual void RemoveFont(void* font);
    // Size of the main screen in pixels.
    virtual void ScreenSize(long& width, long& height);
};

// The backend in use (never null: the console fallback when none was installed).
PlatformBackend* GetPlatformBackend();
// Installs a backend; null restores the console fallback. Returns the previous one.
PlatformBackend* SetPlatformBackend(PlatformBackend* backend);
// The console fallback itself (lives as long as the program).
PlatformBackend* GetConsoleBackend();

// Standard boxes and dialogs.
void ErrorBox(const char* text, long code);
int YesNoBox(const char* text, const char* title);
int YesNoCancelBox(const char* text, const char* title);
int OpenFileDialog(CPWnd* parent, FSpec* result, const char* filter, const char* extension,
                   FSpec* start, bool flag);
int SaveFileDialog(CPWnd* parent, FSpec* result, const char* filter, const char* extension,
                   FSpec* start);

long GetTextWidth(const char* text);
void DIBDraw(tagRECT& target, tagRECT& source, CDIB* dib, void* port);
void Sound(int kind);

// Image memory: one contiguous block; null on failure. FreeMemBlock(nullptr) is a no-op.
unsigned char* AllocMemBlock(long size);
// The same, with every byte cleared to zero.
unsigned char* AllocClearedMemBlock(long size);
void FreeMemBlock(unsigned char* block);
// For tests and fuzzing: blocks larger than `bytes` fail as when memory runs
// out, so that huge pictures are refused at once. 0: no limit (the default).
void SetMemBlockLimit(long bytes);
