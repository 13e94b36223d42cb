// SPDX-License-Identifier: GPL-2.0-or-later
// Small in-place string edits and trace output. A null or empty string is left
// alone.
#pragma once

// Removes carriage returns and line feeds; only the first 512 characters are
// examined and the result ends there.
void StripCR(char* text);
// When the text holds a ".", removes trailing "0"s, then a trailing ".".
void StripTrailingZeros(char* text);
void lowercase(char* text);
void uppercase(char* text);

// Fits `text` into `maxWidth` pixels of the current font, cutting characters from
// its end and appending `suffix` (e.g. "..."). When the suffix alone is too wide,
// the text becomes the suffix and the suffix is emptied. Returns the last width
// measured, of the text without the suffix. The text buffer must have room for
// the suffix.
long ShrinkTextWidth(char* text, long maxWidth, char* suffix);
// The same with a suffix that is not changed.
long ShrinkTextWidth(char* text, long maxWidth, const char* suffix);

// Breaks a line at a space: 0 when the text fits, else the text is cut and the
// index where the rest begins is returned (see the implementation for the two
// end cases).
long WrapText(char* text, long maxWidth);

// Cuts the text at each occurrence of `separator` (its first character becomes
// NUL) and stores the pieces in `parts`; returns their number. `parts` must be
// large enough.
int Split(char* text, char** parts, const char* separator);

// Trace lines on stderr when the environment variable GLIMMERSTROLL_DEBUG is set
// (to anything but "0"); nothing otherwise.
bool DebugEnabled();
void DebugStream(const char* text);
void dbg(const char* format, ...) __attribute__((format(printf, 1, 2)));
