// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/Platform.h"

#include <sys/mman.h>

#include <atomic>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

// Console fallback: messages go to standard error, questions answer "no" and
// file dialogs "cancel", text is measured at a fixed 7 pixels a character.
void PlatformBackend::ShowError(const char* text) { std::fprintf(stderr, "glimmerstroll: %s\n", text); }
int PlatformBackend::AskYesNo(const char*, const char*) { return 0; }
int PlatformBackend::AskYesNoCancel(const char*, const char*) { return -1; }
int PlatformBackend::ChooseOpenFile(CPWnd*, FSpec*, const char*, const char*, FSpec*, bool) { return 0; }
int PlatformBackend::ChooseSaveFile(CPWnd*, FSpec*, const char*, const char*, FSpec*) { return 0; }
long PlatformBackend::TextWidth(const char* text) { return text ? 7 * static_cast<long>(std::strlen(text)) : 0; }
void PlatformBackend::DrawDIB(tagRECT&, tagRECT&, CDIB*, void*) {}
void PlatformBackend::Beep(int) {}

namespace {
// What the console fallback hands out as a font: a description only.
struct ConsoleFont {
    char face[32];
    int points;
    bool bold;
};
}  // namespace

void* PlatformBackend::MakeFont(const char* face, int points, bool bold) {
    auto* font = new (std::nothrow) ConsoleFont{};
    if (!font) return nullptr;
    std::snprintf(font->face, sizeof font->face, "%s", face ? face : "");
    font->points = points;
    font->bold = bold;
    return font;
}

void PlatformBackend::RemoveFont(void* font) { delete static_cast<ConsoleFont*>(font); }

void PlatformBackend::ScreenSize(long& width, long& height) {
    width = 1920;
    height = 1080;
}

namespace {
PlatformBackend gConsoleBackend;
PlatformBackend* gBackend = &gConsoleBackend;
}  // namespace

PlatformBackend* GetPlatformBackend() { return gBackend; }
PlatformBackend* GetConsoleBackend() { return &gConsoleBackend; }

PlatformBackend* SetPlatformBackend(PlatformBackend* backend) {
    PlatformBackend* previous = gBackend;
    gBackend = backend ? backend : &gConsoleBackend;
    return previous;
}

void ErrorBox(const char* text, long code) {
    char message[256];
    char full[300];
    if (code == -9999)
        std::snprintf(full, sizeof full, "%s", text ? text : "");
    else
        std::snprintf(full, sizeof full, "%s  [ %ld ]", text ? text : "", code);
    std::snprintf(message, sizeof message, "%.255s", full);  // cut to 255 characters
    gBackend->ShowError(message);
}

int YesNoBox(const char* text, const char* title) { return gBackend->AskYesNo(text, title); }
int YesNoCancelBox(const char* text, const char* title) { return gBackend->AskYesNoCancel(text, title); }

int OpenFileDialog(CPWnd* parent, FSpec* result, const char* filter, const char* extension,
                   FSpec* start, bool flag) {
    return gBackend->ChooseOpenFile(parent, result, filter, extension, start, flag);
}

int SaveFileDialog(CPWnd* parent, FSpec* result, const char* filter, const char* extension,
                   FSpec* start) {
    return gBackend->ChooseSaveFile(parent, result, filter, extension, start);
}

long GetTextWidth(const char* text) { return gBackend->TextWidth(text); }
void DIBDraw(tagRECT& target, tagRECT& source, CDIB* dib, void* port) { gBackend->DrawDIB(target, source, dib, port); }
void Sound(int kind) { gBackend->Beep(kind); }

namespace {
std::atomic<long> gMemBlockLimit{0};
}  // namespace

void SetMemBlockLimit(long bytes) { gMemBlockLimit = bytes > 0 ? bytes : 0; }

unsigned char* AllocMemBlock(long size) {
    if (size <= 0) return nullptr;
    const long limit = gMemBlockLimit.load();
    if (limit > 0 && size > limit) return nullptr;  // as if memory ran out
    return static_cast<unsigned char*>(std::malloc(static_cast<size_t>(size)));
}

unsigned char* AllocClearedMemBlock(long size) {
    if (size <= 0) return nullptr;
    const long limit = gMemBlockLimit.load();
    if (limit > 0 && size > limit) return nullptr;
    // Large blocks come straight from the system already cleared, so calloc
    // touches no page of them: a picture that is written over whole pays
    // nothing for a clearing it does not need.
    auto* block = static_cast<unsigned char*>(std::calloc(1, static_cast<size_t>(size)));
#ifdef MADV_HUGEPAGE
    // A picture's block is written through once it is made: in huge pages that
    // costs a few hundred page faults instead of one every 4 KiB. (A hint only:
    // the kernel may give small pages all the same.)
    constexpr uintptr_t kHugePage = 2u << 20;
    if (block && size >= static_cast<long>(4 * kHugePage)) {
        const uintptr_t start = (reinterpret_cast<uintptr_t>(block) + kHugePage - 1) & ~(kHugePage - 1);
        const uintptr_t end = (reinterpret_cast<uintptr_t>(block) + static_cast<uintptr_t>(size)) & ~(kHugePage - 1);
        if (end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
    }
#endif
    return block;
}

void FreeMemBlock(unsigned char* block) { std::free(block); }
