// SPDX-License-Identifier: GPL-2.0-or-later
// Shared between the window layer's own files and its backends; not for the
// editor.
#pragma once

#include <cairo.h>
#include <string>
#include <pango/pangocairo.h>

#include "motion/Types.h"

class CPWnd;

struct LayerFont {
    PangoFontDescription* description = nullptr;
    int ascent = 0;       // pixels from the top to the baseline
    int height = 0;       // pixels of one line
    LayerFont* next = nullptr;
};

// Pixel sizes are the points given: the interface is laid out at 72 dots per inch.
LayerFont* NewLayerFont(const char* face, int points, bool bold);
void DeleteLayerFont(LayerFont* font);

// The font that text is drawn and measured in (never null once the layer
// has a backend; null without one).
LayerFont* CurrentLayerFont();
// Forgets `font` as the current font (it is being removed).
void ForgetCurrentFont(void* font);

// A Pango layout of `text` (at most `maxChars` bytes, read as UTF-8 when it
// is valid and as Latin-1 otherwise) in `font` for `cr`. Caller unrefs.
PangoLayout* MakeTextLayout(cairo_t* cr, LayerFont* font, const char* text, int maxChars);
// The program's bytes as UTF-8 (Latin-1 when they are not UTF-8 already),
// at most `maxChars` bytes of them.
std::string LayerUtf8(const char* text, int maxChars);
// Width in pixels of `text` in `font`.
long MeasureText(LayerFont* font, const char* text);

// Backing surfaces: RGB24 image surfaces of the client size times the
// backend's surface scale, with that device scale set, so that cairo draws in
// layer pixels; code that touches the pixels themselves multiplies by it.
cairo_surface_t* WindowSurface(CPWnd* window);
// The device scale of a window's surface (1 without one).
int SurfaceScaleOf(cairo_surface_t* surface);
// Makes or resizes the surface to width by height, keeping the top-left of
// what was drawn and filling the rest with white.
void SizeWindowSurface(CPWnd* window, int width, int height);
void FreeWindowSurface(CPWnd* window);

// Colour conversions: 0x00BBGGRR to cairo's 0x00RRGGBB pixel and back.
inline uint32_t ColourToPixel(long colour) {
    uint32_t c = static_cast<uint32_t>(colour);
    return ((c & 0xFF) << 16) | (c & 0xFF00) | ((c >> 16) & 0xFF);
}
inline long PixelToColour(uint32_t pixel) {
    return static_cast<long>(((pixel & 0xFF) << 16) | (pixel & 0xFF00) | ((pixel >> 16) & 0xFF));
}
inline void SetSourceColour(cairo_t* cr, long colour) {
    cairo_set_source_rgb(cr, (colour & 0xFF) / 255.0, ((colour >> 8) & 0xFF) / 255.0,
                         ((colour >> 16) & 0xFF) / 255.0);
}

// Draws one of the program's cursor shapes (kCursorMove ...) in a square of
// `size` pixels; used by the GTK backend to make its cursors.
void DrawCursorShape(cairo_t* cr, int cursor, int size);
// Where the cursor's hot spot lies in that square.
void CursorHotSpot(int cursor, int size, int& x, int& y);

// A window with a title bar (floating, close box, document, behind) is a
// top-level window of its own; a frameless one with a parent is placed inside
// that parent's top-level window.
bool HasTitleBar(long style);
bool IsPlacedChild(const CPWnd* window);

// Installs `backend` as the started one (StopWindowLayer deletes it),
// stopping any started before.
class WindowBackend;
void AdoptStartedBackend(WindowBackend* backend);

// Window layer bookkeeping the loop and the backends share.
int RegistryIndex(const CPWnd* window);
// Edit boxes whose field lives in `window` lose it (the window is going away).
void RemoveEditBoxesOf(CPWnd* window);
