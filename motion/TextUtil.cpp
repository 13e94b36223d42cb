// SPDX-License-Identifier: GPL-2.0-or-later
// In-place string edits, text fitting in the current font, and trace output.
#include "motion/TextUtil.h"

#include "platform/Platform.h"

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int kStripCRLimit = 512;
constexpr size_t kSuffixMax = 256;

bool IsEmpty(const char* text) { return text == nullptr || text[0] == '\0'; }

// Width of the first `length` characters of `text` (restored afterwards).
long PrefixWidth(char* text, long length) {
    const char saved = text[length];
    text[length] = '\0';
    const long width = GetTextWidth(text);
    text[length] = saved;
    return width;
}

}  // namespace

void StripCR(char* text) {
    if (IsEmpty(text)) return;
    char* out = text;
    for (int i = 0; i < kStripCRLimit && text[i] != '\0'; ++i) {
        if (text[i] != '\r' && text[i] != '\n') *out++ = text[i];
    }
    *out = '\0';
}

void StripTrailingZeros(char* text) {
    if (IsEmpty(text) || std::strchr(text, '.') == nullptr) return;
    size_t n = std::strlen(text);
    while (n > 0 && text[n - 1] == '0') text[--n] = '\0';
    if (n > 0 && text[n - 1] == '.') text[--n] = '\0';
}

void lowercase(char* text) {
    if (text == nullptr) return;
    for (char* p = text; *p != '\0'; ++p)
        *p = static_cast<char>(std::tolower(static_cast<unsigned char>(*p)));
}

void uppercase(char* text) {
    if (text == nullptr) return;
    for (char* p = text; *p != '\0'; ++p)
        *p = static_cast<char>(std::toupper(static_cast<unsigned char>(*p)));
}

long ShrinkTextWidth(char* text, long maxWidth, char* suffix) {
    if (text == nullptr) return 0;
    static char noSuffix[1] = "";
    if (suffix == nullptr) suffix = noSuffix;

    long width = GetTextWidth(text);
    if (width <= maxWidth) return width;

    // Not even the suffix fits: show (what fits of) the suffix itself.
    if (GetTextWidth(suffix) > maxWidth) {
        std::strcpy(text, suffix);
        suffix[0] = '\0';
    }
    const long room = maxWidth - GetTextWidth(suffix);
    size_t length = std::strlen(text);
    for (;;) {
        width = GetTextWidth(text);
        if (width <= room || length == 0) break;
        text[--length] = '\0';
    }
    std::strcat(text, suffix);
    return width;
}

long ShrinkTextWidth(char* text, long maxWidth, const char* suffix) {
    char copy[kSuffixMax] = "";
    if (suffix != nullptr) std::snprintf(copy, sizeof copy, "%s", suffix);
    return ShrinkTextWidth(text, maxWidth, copy);
}

long WrapText(char* text, long maxWidth) {
    if (IsEmpty(text) || GetTextWidth(text) <= maxWidth) return 0;

    const long length = static_cast<long>(std::strlen(text));
    // The break before the first space is the text's last character, so a text
    // whose first word is already too wide loses only that character.
    long lastBreak = length - 1;
    for (long i = 0; i < length; ++i) {
        if (text[i] != ' ') continue;
        if (PrefixWidth(text, i) > maxWidth) {
            text[lastBreak] = '\0';
            return lastBreak + 1;
        }
        lastBreak = i;
    }
    // Too wide, yet no prefix up to a space is: the text is dropped.
    text[0] = '\0';
    return 0;
}

int Split(char* text, char** parts, const char* separator) {
    if (IsEmpty(text) || parts == nullptr) return 0;
    int count = 0;
    parts[count++] = text;
    if (IsEmpty(separator)) return count;

    const size_t step = std::strlen(separator);
    for (char* p = std::strstr(text, separator); p != nullptr; p = std::strstr(p, separator)) {
        *p = '\0';
        p += step;
        parts[count++] = p;
    }
    return count;
}

bool DebugEnabled() {
    const char* flag = std::getenv("GLIMMERSTROLL_DEBUG");
    return flag != nullptr && flag[0] != '\0' && std::strcmp(flag, "0") != 0;
}

void DebugStream(const char* text) {
    if (!DebugEnabled()) return;
    std::fprintf(stderr, "[glimmerstroll] %s\n", text != nullptr ? text : "(null)");
}

void dbg(const char* format, ...) {
    if (!DebugEnabled() || format == nullptr) return;
    char line[1024];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    DebugStream(line);
}
