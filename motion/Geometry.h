// SPDX-License-Identifier: GPL-2.0-or-later
// Rectangle arithmetic on tagRECT and rotation of points and rectangles about a
// centre. Rectangles have y growing downward; the right and bottom edges count as
// inside. All functions work in place on their first argument.
#pragma once

#include "motion/Types.h"

void MakeRect(tagRECT& r, long left, long top, long right, long bottom);

// right - left; with `centre`, the centre x: left + (right - left) / 2.
long RectWidth(const tagRECT& r, bool centre = false);
// bottom - top; with `centre`, the centre y: top + (bottom - top) / 2.
long RectHgt(const tagRECT& r, bool centre = false);

// Grows the rectangle by dx on the left and right and dy at top and bottom.
void ScaleRect(tagRECT& r, long dx, long dy);
// Multiplies the sides by fx (left, right) and fy (top, bottom) about the origin,
// truncating. A negative factor f divides: the factor used is -1 / f.
void SizeRect(tagRECT& r, float fx, float fy);
void MoveRectBy(tagRECT& r, long dx, long dy);
// Moves the top-left corner to (x, y), keeping width and height.
void MoveRectTo(tagRECT& r, long x, long y);

// left <= x <= right and top <= y <= bottom.
bool XYInRect(const tagRECT& r, long x, long y);
bool XYInRect(const tagRECT& r, tagPOINT p);

// r becomes its intersection with `clip`. Returns false only when the result's
// width or height is exactly 0; an inverted (empty) result still returns true.
bool ClipByRect(tagRECT& r, const tagRECT& clip);
// Orders the sides so that left <= right and top <= bottom.
void SortRect(tagRECT& r);
// True when every side of `inner` lies within `outer` (sorted), edges inclusive.
bool RectInRect(const tagRECT& inner, const tagRECT& outer);

// Turns p about `centre` by `degrees` (clockwise on screen for positive angles).
void RotatePoint(tagPOINT& p, float degrees, const tagPOINT& centre);
// Turns the corners (left, top) and (right, bottom) about `centre`; not re-sorted.
void RotateRect(tagRECT& r, float degrees, const tagPOINT& centre);
