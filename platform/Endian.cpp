// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/Endian.h"

long Endian(const char* bytes, int size, bool bigEndian) {
    if (!bytes || size <= 0) return 0;
    if (size > 4) size = 4;
    unsigned long value = 0;
    for (int i = 0; i < size; i++) {
        int index = bigEndian ? i : size - 1 - i;
        value = (value << 8) | static_cast<unsigned char>(bytes[index]);
    }
    return static_cast<long>(value);
}

void MemEndian(char* bytes, long value, int size, bool bigEndian) {
    if (!bytes) return;
    // Division rather than shifting: a negative value gives its low byte, then
    // the bytes of value / 256 (rounded toward zero).
    for (int i = 0; i < size; i++) {
        int index = bigEndian ? size - 1 - i : i;
        bytes[index] = static_cast<char>(value % 256);
        value /= 256;
    }
}

void FlopEndian(void* bytes, int size) {
    if (!bytes) return;
    auto* b = static_cast<unsigned char*>(bytes);
    for (int i = 0; i < size / 2; i++) {
        unsigned char t = b[i];
        b[i] = b[size - 1 - i];
        b[size - 1 - i] = t;
    }
}
