// SPDX-License-Identifier: GPL-2.0-or-later
// The program's own cursor shapes, drawn with cairo: black strokes with a
// white rim so they show on pictures of any colour.
#include <cmath>

#include "platform/window/CPWnd.h"
#include "platform/window/LayerInternal.h"

namespace {

// An arrow head at (x, y) pointing along (dx, dy).
void Head(cairo_t* cr, double x, double y, double dx, double dy, double s) {
    const double length = std::hypot(dx, dy);
    if (length == 0) return;
    dx /= length;
    dy /= length;
    cairo_move_to(cr, x - dx * s - dy * s * 0.6, y - dy * s + dx * s * 0.6);
    cairo_line_to(cr, x, y);
    cairo_line_to(cr, x - dx * s + dy * s * 0.6, y - dy * s - dx * s * 0.6);
}

// A line from a to b with heads at both ends.
void DoubleArrow(cairo_t* cr, double ax, double ay, double bx, double by, double s) {
    cairo_move_to(cr, ax, ay);
    cairo_line_to(cr, bx, by);
    Head(cr, bx, by, bx - ax, by - ay, s);
    Head(cr, ax, ay, ax - bx, ay - by, s);
}

void ShapePath(cairo_t* cr, int cursor, double n) {
    const double c = n / 2;
    const double s = n * 0.18;
    switch (cursor) {
        case kCursorMove:
            DoubleArrow(cr, c, n * 0.1, c, n * 0.9, s);
            DoubleArrow(cr, n * 0.1, c, n * 0.9, c, s);
            break;
        case kCursorResize:
            DoubleArrow(cr, n * 0.15, n * 0.15, n * 0.85, n * 0.85, s);
            break;
        case kCursorSlide:
            DoubleArrow(cr, n * 0.08, c, n * 0.92, c, s);
            cairo_move_to(cr, c, n * 0.2);
            cairo_line_to(cr, c, n * 0.8);
            break;
        case kCursorHand:
            for (int f = 0; f < 4; f++) {
                const double x = n * (0.3 + 0.13 * f);
                cairo_move_to(cr, x, n * 0.55);
                cairo_line_to(cr, x, n * (f == 0 || f == 3 ? 0.3 : 0.2));
            }
            cairo_move_to(cr, n * 0.3, n * 0.55);
            cairo_curve_to(cr, n * 0.3, n * 0.9, n * 0.69, n * 0.9, n * 0.69, n * 0.55);
            cairo_move_to(cr, n * 0.3, n * 0.6);
            cairo_line_to(cr, n * 0.15, n * 0.45);
            break;
        case kCursorRoll:
            cairo_new_sub_path(cr);
            cairo_arc(cr, c, c, n * 0.32, M_PI * 0.15, M_PI * 1.75);
            Head(cr, c + n * 0.32 * std::cos(M_PI * 1.75), c + n * 0.32 * std::sin(M_PI * 1.75), 1, 0.9, s);
            cairo_move_to(cr, c - 1, c);
            cairo_line_to(cr, c + 1, c);
            break;
        case kCursorTilt:
            cairo_new_sub_path(cr);
            cairo_save(cr);
            cairo_translate(cr, c, c);
            cairo_scale(cr, 0.35, 1);
            cairo_arc(cr, 0, 0, n * 0.32, 0, 2 * M_PI);
            cairo_restore(cr);
            DoubleArrow(cr, n * 0.12, c, n * 0.88, c, s);
            break;
        default:
            break;
    }
}

}  // namespace

void DrawCursorShape(cairo_t* cr, int cursor, int size) {
    cairo_save(cr);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    ShapePath(cr, cursor, size);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_set_line_width(cr, size / 8.0);
    cairo_stroke(cr);
    ShapePath(cr, cursor, size);
    cairo_set_source_rgb(cr, 0, 0, 0);
    cairo_set_line_width(cr, size / 20.0);
    cairo_stroke(cr);
    cairo_restore(cr);
}

void CursorHotSpot(int, int size, int& x, int& y) {
    x = size / 2;
    y = size / 2;
}
