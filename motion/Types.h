// SPDX-License-Identifier: GPL-2.0-or-later
// Shared value types of the whole system: rectangles, points and the camera key.
#pragma once

#include <cstddef>
#include <cstdint>

// y grows downward; point-in-rectangle tests include the right and bottom edges.
struct tagRECT {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};

struct tagPOINT {
    int32_t x;
    int32_t y;
};

// One camera key. Its bytes go to show files and parameters exactly as they stand,
// so the field order and widths are part of the file format. Fields 0..11 are
// 32-bit words addressed by index by the interpolator (see KeyWord()).
struct KeyStruct {
    float horizontalPos;   // 0: camera centre x on the picture, picture pixels
    float formatVersion;   // 1: show format stamp in key 0 of picture 0, else 0
    float verticalPos;     // 2: camera centre y
    float width;           // 3: camera width in picture pixels
    float verticalSize;    // 4: rescaled with the picture height, never interpolated
    float rotation1;       // 5: tilt about the horizontal axis, degrees
    float rotation2;       // 6: tilt about the vertical axis, degrees
    float rotation3;       // 7: roll about the centre, degrees
    float easeCode;        // 8: 0 = show default, else 1000 * (type + 1) + amount
    float picStart;        // 9: key 0 of picture 0: the frame the picture starts at
    float reservedB;       // 10
    float showLengthCopy;  // 11: key 0: copy of the show length
    int32_t time;          // 12: frame from the picture's start
    uint16_t undoPicture;  // 13: undo records only
    uint16_t undoAction;   // 14: undo records only
};

static_assert(sizeof(KeyStruct) == 56, "KeyStruct is a 56-byte file record");
static_assert(offsetof(KeyStruct, time) == 48, "KeyStruct layout");
static_assert(offsetof(KeyStruct, undoAction) == 54, "KeyStruct layout");

// Word `field` (0..11) of a key, as a float.
inline float& KeyWord(KeyStruct& k, int field) { return (&k.horizontalPos)[field]; }
inline float KeyWord(const KeyStruct& k, int field) { return (&k.horizontalPos)[field]; }
