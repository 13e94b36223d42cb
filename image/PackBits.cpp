// SPDX-License-Identifier: GPL-2.0-or-later
// PackBits run-length decoding (Photoshop and TIFF flavour).
#include <algorithm>
#include <cstring>

#include "image/ImageFiles.h"

long RLCUnPack(const unsigned char* source, long sourceBytes, unsigned char* dest, long destBytes) {
    long in = 0, out = 0;
    while (in < sourceBytes && out < destBytes) {
        const int n = static_cast<signed char>(source[in++]);
        if (n >= 0) {
            // n + 1 literal bytes.
            long count = std::min<long>(n + 1, std::min(sourceBytes - in, destBytes - out));
            std::memcpy(dest + out, source + in, static_cast<size_t>(count));
            in += n + 1;
            out += count;
        } else if (n != -128) {
            // The next byte 1 - n times; -128 is a no-op.
            if (in >= sourceBytes) break;
            const long count = std::min<long>(1 - n, destBytes - out);
            std::memset(dest + out, source[in++], static_cast<size_t>(count));
            out += count;
        }
    }
    return out;
}
