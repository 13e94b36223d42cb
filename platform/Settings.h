// SPDX-License-Identifier: GPL-2.0-or-later
// The settings file: key=value lines held in one 1024-byte buffer while the
// program runs. The first line is "[<program name>]"; every line ends with a
// carriage return and a line feed. Lookups are plain substring searches for
// "<key>=", the first occurrence winning.
//
// The file is "$XDG_CONFIG_HOME/<program name>" (XDG_CONFIG_HOME defaults to
// ~/.config), the program name being the one given to InitEnvironment.
#pragma once

#include <cstddef>

extern char gIniString[1024];

// Copies the value of `key` (at most `max` characters, plus a NUL) to `out`,
// or `def` when the key or the carriage return after it is missing.
void GetIniString(const char* key, const char* def, char* out, long max);
// The value of `key` as a decimal integer (non-numeric text gives 0), or `def`.
long GetIniItem(const char* key, long def);
// Stores `value` under `key`. Carriage returns and line feeds are removed from
// `value` in place. A new item that would make the text longer than 1021
// characters is dropped silently; replacing an existing item is not limited.
void SetIniItem(const char* key, char* value);
void SetIniItem(const char* key, const char* value);
void SetIniItem(const char* key, long value);
void SetIniItem(const char* key, int value);

// Reads the file into the buffer; a file of another program starts afresh with
// the section header alone.
void LoadIniFile();
// Rewrites the file from scratch with the buffer's text. Errors are silent.
void SaveIniFile();
// The settings file's path; 0 when there is no program name or it does not fit.
int GetIniFilePath(char* out, size_t size);
