// SPDX-License-Identifier: GPL-2.0-or-later
// The dialog builder and the standard dialogs beyond Platform.h.
//
// CPDialog draws a dialog straight onto its parent window from a list of
// item strings and runs its own modal loop over GetAMessage. Items and values
// are parallel arrays of 64-character slots; numbers travel as decimal text.
//
//   "@C<label>"          check box, value "" or "1"
//   "@R[<title>|]<label>" radio choice (one group per dialog), value "" or "1"
//   "@S<label>"          slider 0..100, value "%d"
//   "@L<label>"          colour swatch, value "%ld" of 0x00BBGGRR
//   "@F<label>"          folder, value a folder path
//   anything else        text field labelled with the whole string
#pragma once

#include "motion/Types.h"

class CPWnd;

constexpr int kDialogSlot = 64;

// Results of CPDialog.
enum : int { kDialogCancel = 0, kDialogOK = 1, kDialogPreview = 2 };

// A negative count adds a preview ("Apply") button; its absolute value is the
// number of items.
int CPDialog(CPWnd* parent, int x, int y, int count, char* items, char* values, const char* title);
// Draws the dialog in its current state into the current port.
void CPDrawDialog(int x, int y, int count, char* items, char* values, const char* title, bool preview);

// Edits `text` (a buffer of `size` bytes, 64 when not given) in place;
// non-zero when confirmed.
int GetStringBox(char* text, const char* title, const char* prompt, const char* hint);
int GetStringBox(char* text, int size, const char* title, const char* prompt, const char* hint);

// The colour picker titled "Choose Color"; non-zero when a colour was chosen.
int CPGetColor(long& colour);

// A list of `count` 64-character slots drawn over `parent` at x, y; returns
// the index clicked (or the selected one on Return), -1 when cancelled.
int CPListPick(CPWnd* parent, int x, int y, int count, char* items, const char* title, int selected);

// A progress bar in r of the current port, done out of total, with
// "Time to go: mm:ss" estimated from the ticks elapsed since `startTicks`.
void DrawProgressBar(const tagRECT& r, long done, long total, unsigned long startTicks);
