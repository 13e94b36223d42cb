// SPDX-License-Identifier: GPL-2.0-or-later
// Drawing primitives of the window layer. They draw into the current port (a
// window's backing surface) in the port's local coordinates, shifted by its
// origin. Colours are 0x00BBGGRR. Shapes are drawn without antialiasing.
//
// Frames (DrawBox, DrawRoundBox, DrawCir, ...) include the right and bottom
// coordinates: the framed rectangle is one larger than the given one in both
// directions. Fills (DrawBar, DrawRoundBar, DrawCirBar) cover the rectangle
// exactly, right and bottom excluded. A square pen of width w hangs below and
// to the right of the path.
//
// The trailing `mode` arguments: 0 draws in the colour, anything else inverts
// the pixels the shape covers (exclusive-or with the colour, or with white for
// black), so that drawing the same shape twice restores every pixel.
#pragma once

#include "motion/Types.h"

class CPWnd;

// The current port; SetDrawPort returns the previous one.
CPWnd* GetDrawPort();
CPWnd* SetDrawPort(CPWnd* window);
// Keeps the current port and restores it on leaving the scope.
class PortSaver {
public:
    explicit PortSaver(CPWnd* window) : saved(SetDrawPort(window)) {}
    ~PortSaver() { SetDrawPort(saved); }
    PortSaver(const PortSaver&) = delete;
    PortSaver& operator=(const PortSaver&) = delete;

private:
    CPWnd* saved;
};

constexpr int kDrawCopy = 0;
constexpr int kDrawInvert = 1;

void SetColor(long colour);
void SetBackColor(long colour);
long GetColor();
long GetBackColor();

void DrawBox(long colour, const tagRECT& r, int pen, int mode);
void DrawBar(long colour, const tagRECT& r);
void DrawLine(long colour, const tagRECT& r, int pen, int mode);
void DrawLine(long colour, int x1, int y1, int x2, int y2, int pen, int mode);
// `corner` is the radius of the rounded corners.
void DrawRoundBox(long colour, const tagRECT& r, int corner, int pen, int mode);
void DrawRoundBar(long colour, const tagRECT& r, int corner);
void DrawCir(long colour, const tagRECT& r, int pen, int mode);
void DrawCirBar(long colour, const tagRECT& r);
void DrawCheck(long colour, const tagRECT& r, bool ticked);
void DrawRadio(long colour, const tagRECT& r, bool set);
// Filled with `fill` and framed with `frame`; -1 leaves either out.
void DrawPolygon(long frame, long fill, int count, const tagPOINT* points);
void DrawPolyLine(long colour, int pen, int count, const tagPOINT* points, int mode);
void DrawTriangle(long colour, int x1, int y1, int x2, int y2, int x3, int y3);
void DrawTriangle(long colour, tagPOINT a, tagPOINT b, tagPOINT c);
// A triangle `size` wide pointing down, its tip at (x, y + size / 2).
void DrawTriangle(long colour, int x, int y, int size);
// Left half in `left`, right half in `right`, framed in `frame`.
void DrawSplitBox(long left, long right, const tagRECT& r, long frame);
// A track in `track` with a knob in `knob` at position (0..range) along it.
void DrawSlider(long track, long knob, const tagRECT& r, long position, long range, bool vertical);

// Alignment of DrawText.
enum : int { kAlignLeft = 0, kAlignRight = 2, kAlignCentre = 4 };
// Text in the current font, its top at y (baseline at y plus the ascent);
// at most 255 characters.
void DrawText(long colour, const char* text, int x, int y, int alignment);
// GetTextWidth (Platform.h) measures in the current font.

// Fonts: style 1 is bold. The result belongs to the caller (RemoveFont).
void* MakeFont(const char* name, int size, int style);
void SelectFont(void* font);
void* GetSelectedFont();
void RemoveFont(void* font);
// Ascent and height of the current font in pixels.
int GetFontAscent();
int GetFontHeight();

// Small stored pictures for DrawBitmap: `pixels` are 0x00RRGGBB, row by row
// from the top. Replaces a picture already stored under `id`.
void AddBitmapResource(int id, int width, int height, const uint32_t* pixels);
// Draws picture `id` scaled into r; pixels equal to `transparent` (0x00BBGGRR)
// are left out, -1 draws them all. An unknown id draws nothing.
void DrawBitmap(const tagRECT& r, int id, long transparent);

// Drag feedback, always inverting.
void RubberBox(const tagRECT& r, long colour, int width);
void RubberLine(const tagRECT& r, long colour, int width);
void RubberCir(const tagRECT& r, long colour, int width);
void RubberPolygon(const tagPOINT* points, int count, long colour, int width);

// Reads one pixel of a window's backing surface as 0x00BBGGRR (-1 outside).
long GetWindowPixel(CPWnd* window, int x, int y);
