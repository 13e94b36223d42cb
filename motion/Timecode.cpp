// SPDX-License-Identifier: GPL-2.0-or-later
// Timecode text <-> frame numbers at the show's frame rate.
#include "motion/Timecode.h"

#include <cstring>

int32_t gFrameRate = 3000;

namespace {

// Integer division that yields 0 for a zero divisor, so that a nonsensical frame
// rate (0 or tiny) gives zeros instead of a crash.
long long Quot(long long a, long long b) { return b == 0 ? 0 : a / b; }
long long Rem(long long a, long long b) { return b == 0 ? 0 : a % b; }

// Exactly two decimal digits, with a leading zero.
char* PutTwoDigits(char* out, long long v) {
    if (v < 0) v = -v;
    out[0] = static_cast<char>('0' + (v / 10) % 10);
    out[1] = static_cast<char>('0' + v % 10);
    return out + 2;
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

long long FramesPerSecond(long long rate) { return (rate + 50) / 100; }

}  // namespace

void FrameToString(char* out, long frame, bool shortForm) {
    const long long rate = gFrameRate;
    const long long f = frame < 0 ? -static_cast<long long>(frame) : frame;
    const long long perHour = rate * 36;
    const long long perMinute = rate * 60 / 100;  // 1798 at 29.97: no drop-frame
    const long long perSecond = FramesPerSecond(rate);

    // Hours wrap at 12; the minutes left over are taken from what remains after
    // the wrapped hours, so the fields are each shown modulo their range.
    const long long hours = Rem(Quot(f, perHour), 12);
    const long long rest = f - perHour * hours;
    const long long minutes = Quot(rest, perMinute);
    const long long rest2 = rest - perMinute * Rem(minutes, 60);
    const long long seconds = Quot(rest2, perSecond);
    const long long frames = Rem(rest2 - seconds * perSecond, 60);

    char* p = out;
    if (!shortForm) {
        p = PutTwoDigits(p, hours);
        *p++ = ':';
    }
    p = PutTwoDigits(p, Rem(minutes, 60));
    *p++ = ':';
    p = PutTwoDigits(p, Rem(seconds, 60));
    *p++ = frame < 0 ? '.' : ':';
    p = PutTwoDigits(p, frames);
    *p = '\0';
}

void StringToFrame(long* frame, const char* text) {
    if (frame == nullptr || text == nullptr) return;
    const long long perSecond = FramesPerSecond(gFrameRate);
    // Frames, seconds, minutes, hours, read from the end of the text. Minutes
    // count 60 whole seconds (1800 frames at 29.97), unlike FrameToString.
    const long long fieldFrames[4] = {1, perSecond, perSecond * 60, perSecond * 3600};
    const long long base = *frame;

    long long value = 0;
    int field = 0;
    for (long long i = static_cast<long long>(std::strlen(text)) - 1; i >= 0 && field < 4;
         --i) {
        if (!IsDigit(text[i])) continue;
        long long n = text[i] - '0';
        if (i > 0 && IsDigit(text[i - 1])) {
            --i;
            n += 10 * (text[i] - '0');
        }
        value += n * fieldFrames[field];
        ++field;
    }

    if (text[0] == '+')
        value = base + value;
    else if (text[0] == '-')
        value = base - value;
    *frame = static_cast<long>(value);
}
