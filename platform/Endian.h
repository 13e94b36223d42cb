// SPDX-License-Identifier: GPL-2.0-or-later
// Integers of a given byte order in byte buffers. File formats take every
// multi-byte field apart with these, so the same code runs on any host.
#pragma once

// The unsigned integer held in `size` bytes (1 to 4; 0 or less gives 0).
// bigEndian: the first byte is the most significant. No sign extension.
long Endian(const char* bytes, int size, bool bigEndian);

// Writes `value` into `size` bytes in the chosen order. The value is taken
// apart by signed division by 256, so callers write non-negative values only:
// -1 in 4 little-endian bytes comes out as FF 00 00 00.
void MemEndian(char* bytes, long value, int size, bool bigEndian);

// Reverses `size` bytes in place.
void FlopEndian(void* bytes, int size);
