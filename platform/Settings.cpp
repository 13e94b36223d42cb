// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/Settings.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/Env.h"
#include "platform/Files.h"

char gIniString[1024];

namespace {

constexpr size_t kIniSize = sizeof gIniString;
// A new item may bring the text up to this many characters, its line end excluded.
constexpr size_t kIniAddLimit = 1021;

// "<key>=" into `pattern`; false when the key is null or too long.
bool MakePattern(const char* key, char (&pattern)[256]) {
    if (!key) return false;
    int n = std::snprintf(pattern, sizeof pattern, "%s=", key);
    return n > 0 && static_cast<size_t>(n) < sizeof pattern;
}

// Removes carriage returns and line feeds; only the first 512 characters are
// examined and the result ends there (the same rule as the text helper StripCR,
// repeated here so the platform layer needs no other library).
void StripLineEnds(char* text) {
    size_t out = 0;
    for (size_t in = 0; in < 512 && text[in]; in++)
        if (text[in] != '\r' && text[in] != '\n') text[out++] = text[in];
    text[out] = '\0';
}

// The end of the value that starts at `value`: its line's carriage return or
// line feed, so that files with CR, LF or CRLF line ends read alike. Null when
// the text ends first.
const char* LineEnd(const char* value) {
    const char* end = value + std::strcspn(value, "\r\n");
    return *end ? end : nullptr;
}

// Creates `path` and its missing parents.
bool MakeFolders(const char* path) {
    char folder[1024];
    int n = std::snprintf(folder, sizeof folder, "%s", path);
    if (n <= 0 || static_cast<size_t>(n) >= sizeof folder) return false;
    for (char* p = folder + 1; *p; p++) {
        if (*p != '/') continue;
        *p = '\0';
        mkdir(folder, 0700);
        *p = '/';
    }
    mkdir(folder, 0700);
    struct stat st;
    return stat(folder, &st) == 0 && S_ISDIR(st.st_mode);
}

// The per-user configuration folder, created if needed.
bool ConfigFolder(char* out, size_t size) {
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    int n;
    if (xdg && xdg[0] == '/')
        n = std::snprintf(out, size, "%s", xdg);
    else if (home && home[0])
        n = std::snprintf(out, size, "%s/.config", home);
    else
        return false;
    return n > 0 && static_cast<size_t>(n) < size && MakeFolders(out);
}

bool SettingsSpec(FSpec& fileSpec) {
    char path[1024];
    if (!GetIniFilePath(path, sizeof path)) return false;
    MakePathSpec(fileSpec, path);
    return true;
}

void MarkAsText(CPFile& file) {
    file.SetFileType(FourCC("TEXT"));
    file.SetCreatorType(FourCC("ttex"));
}

}  // namespace

int GetIniFilePath(char* out, size_t size) {
    const char* name = gEnv.programName;
    if (!out || size == 0 || !name[0]) return 0;
    char folder[1024];
    if (!ConfigFolder(folder, sizeof folder)) return 0;
    // The file name must fit an FSpec.
    int n = std::snprintf(out, size, "%s/%.255s", folder, name);
    return n > 0 && static_cast<size_t>(n) < size && n < 256;
}

void GetIniString(const char* key, const char* def, char* out, long max) {
    if (!out) return;
    if (max < 0) max = 0;
    char pattern[256];
    const char* found = MakePattern(key, pattern) ? std::strstr(gIniString, pattern) : nullptr;
    const char* value = found ? found + std::strlen(pattern) : nullptr;
    const char* end = value ? LineEnd(value) : nullptr;
    if (!end) {
        // The default is cut to `max` as well, so `out` never takes more than max + 1.
        std::snprintf(out, static_cast<size_t>(max) + 1, "%s", def ? def : "");
        return;
    }
    long length = end - value;
    long n = length < max ? length : max;
    std::memcpy(out, value, static_cast<size_t>(n));
    out[n] = '\0';
}

long GetIniItem(const char* key, long def) {
    char text[32];
    char out[256];
    std::snprintf(text, sizeof text, "%ld", def);
    GetIniString(key, text, out, 255);
    return std::atol(out);
}

void SetIniItem(const char* key, char* value) {
    char pattern[256];
    if (!value || !MakePattern(key, pattern)) return;
    StripLineEnds(value);
    char* found = std::strstr(gIniString, pattern);
    if (!found) {
        if (std::strlen(gIniString) + std::strlen(pattern) + std::strlen(value) > kIniAddLimit) return;
        // A file written by hand may end without a line end: the new item
        // starts a line of its own, not the end of the user's last one.
        const size_t length = std::strlen(gIniString);
        if (length > 0 && gIniString[length - 1] != '\n' && gIniString[length - 1] != '\r') {
            if (length + 2 + std::strlen(pattern) + std::strlen(value) > kIniAddLimit) return;
            std::strcat(gIniString, "\r\n");
        }
        std::strcat(gIniString, pattern);
        std::strcat(gIniString, value);
        std::strcat(gIniString, "\r\n");
        return;
    }
    char* start = found + std::strlen(pattern);
    char* end = const_cast<char*>(LineEnd(start));
    if (!end) return;
    // Replacement: the new value between the "=" and the old value's line end.
    // Its length is not limited beyond what the buffer holds.
    char rebuilt[kIniSize];
    std::snprintf(rebuilt, sizeof rebuilt, "%.*s%s%s", static_cast<int>(start - gIniString), gIniString,
                  value, end);
    std::memcpy(gIniString, rebuilt, sizeof rebuilt);
}

void SetIniItem(const char* key, const char* value) {
    char copy[kIniSize];
    std::snprintf(copy, sizeof copy, "%s", value ? value : "");
    SetIniItem(key, copy);
}

void SetIniItem(const char* key, long value) {
    char text[32];
    std::snprintf(text, sizeof text, "%ld", value);
    SetIniItem(key, text);
}

void SetIniItem(const char* key, int value) { SetIniItem(key, static_cast<long>(value)); }

void LoadIniFile() {
    FSpec fileSpec;
    if (!SettingsSpec(fileSpec)) return;
    CPFile file;
    MarkAsText(file);
    if (file.Open(&fileSpec, kFileReadWrite)) {
        std::memset(gIniString, 0, kIniSize);
        file.Read(gIniString, kIniSize);
        file.Close();
    }
    gIniString[kIniSize - 1] = '\0';
    // A file written for another program starts afresh.
    if (!std::strstr(gIniString, gEnv.programName))
        std::snprintf(gIniString, kIniSize, "[%s]\r\n", gEnv.programName);
}

void SaveIniFile() {
    FSpec fileSpec;
    if (!SettingsSpec(fileSpec)) return;
    // Rewritten from scratch, through a temporary file: a full disk leaves
    // the old settings in place rather than a cut one.
    SaveFileSafely(&fileSpec, gIniString, static_cast<long>(strnlen(gIniString, kIniSize)));
}
