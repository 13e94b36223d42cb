// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/window/Draw.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <map>
#include <vector>

#include "platform/window/CPWnd.h"
#include "platform/window/LayerInternal.h"
#include "platform/window/WindowBackend.h"

namespace {

CPWnd* gPort = nullptr;
long gPenColour = 0;
long gBackColour = 0xFFFFFF;

enum class Op { Fill, FillEvenOdd, Stroke };

// A shape: how to lay its path down, and whether it is filled or stroked.
struct Shape {
    Op op = Op::Fill;
    double lineWidth = 1;
    bool smooth = false;  // anti-aliased (slanted lines and curves drawn in copy mode)
    std::function<void(cairo_t*)> path;
};

void Prepare(cairo_t* cr, const Shape& shape) {
    cairo_set_antialias(cr, shape.smooth ? CAIRO_ANTIALIAS_GOOD : CAIRO_ANTIALIAS_NONE);
    cairo_set_line_width(cr, shape.lineWidth);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_SQUARE);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_MITER);
    cairo_set_fill_rule(cr, shape.op == Op::FillEvenOdd ? CAIRO_FILL_RULE_EVEN_ODD : CAIRO_FILL_RULE_WINDING);
    shape.path(cr);
}

void Finish(cairo_t* cr, const Shape& shape) {
    if (shape.op == Op::Stroke)
        cairo_stroke(cr);
    else
        cairo_fill(cr);
}

void PresentArea(CPWnd* window, int left, int top, int right, int bottom) {
    if (WindowBackend* backend = GetWindowBackend()) backend->Present(window, tagRECT{left, top, right, bottom});
}

// Draws `shape` into the current port in `colour`, or inverts what it covers.
void Render(long colour, int mode, const Shape& shape) {
    CPWnd* window = gPort;
    cairo_surface_t* surface = window ? WindowSurface(window) : nullptr;
    if (!surface) return;
    const int scale = SurfaceScaleOf(surface);
    const int width = cairo_image_surface_get_width(surface) / scale;
    const int height = cairo_image_surface_get_height(surface) / scale;

    cairo_t* cr = cairo_create(surface);
    cairo_translate(cr, -window->origin.x, -window->origin.y);
    Prepare(cr, shape);
    double x1, y1, x2, y2;
    if (shape.op == Op::Stroke)
        cairo_stroke_extents(cr, &x1, &y1, &x2, &y2);
    else
        cairo_fill_extents(cr, &x1, &y1, &x2, &y2);
    // Device box, one pixel of slack on every side, kept on the surface.
    int left = std::max(0, static_cast<int>(std::floor(x1)) - window->origin.x - 1);
    int top = std::max(0, static_cast<int>(std::floor(y1)) - window->origin.y - 1);
    int right = std::min(width, static_cast<int>(std::ceil(x2)) - window->origin.x + 1);
    int bottom = std::min(height, static_cast<int>(std::ceil(y2)) - window->origin.y + 1);
    if (x2 <= x1 || y2 <= y1 || right <= left || bottom <= top) {
        cairo_new_path(cr);
        cairo_destroy(cr);
        return;
    }

    if (mode == kDrawCopy) {
        SetSourceColour(cr, colour);
        Finish(cr, shape);
        cairo_destroy(cr);
    } else {
        cairo_new_path(cr);
        cairo_destroy(cr);
        // Rasterise the shape into a mask (in device pixels), then flip the
        // bits it covers.
        cairo_surface_t* mask =
            cairo_image_surface_create(CAIRO_FORMAT_A8, (right - left) * scale, (bottom - top) * scale);
        cairo_t* mcr = cairo_create(mask);
        cairo_scale(mcr, scale, scale);
        cairo_translate(mcr, -left - window->origin.x, -top - window->origin.y);
        Prepare(mcr, shape);
        cairo_set_source_rgba(mcr, 0, 0, 0, 1);
        Finish(mcr, shape);
        cairo_destroy(mcr);
        cairo_surface_flush(mask);
        cairo_surface_flush(surface);

        const uint32_t flip = (colour & 0xFFFFFF) == 0 ? 0xFFFFFFu : ColourToPixel(colour);
        const unsigned char* m = cairo_image_surface_get_data(mask);
        const int mstride = cairo_image_surface_get_stride(mask);
        unsigned char* d = cairo_image_surface_get_data(surface);
        const int dstride = cairo_image_surface_get_stride(surface);
        for (int y = top * scale; y < bottom * scale; y++) {
            const unsigned char* mrow = m + (y - top * scale) * mstride;
            auto* drow = reinterpret_cast<uint32_t*>(d + y * dstride);
            for (int x = left * scale; x < right * scale; x++)
                if (mrow[x - left * scale] >= 128) drow[x] ^= flip;
        }
        cairo_surface_mark_dirty_rectangle(surface, left * scale, top * scale, (right - left) * scale,
                                           (bottom - top) * scale);
        cairo_surface_destroy(mask);
    }
    PresentArea(window, left, top, right, bottom);
}

void RoundedPath(cairo_t* cr, double x, double y, double w, double h, double radius) {
    radius = std::max(0.0, std::min({radius, w / 2, h / 2}));
    if (radius <= 0) {
        cairo_rectangle(cr, x, y, w, h);
        return;
    }
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - radius, y + radius, radius, -M_PI / 2, 0);
    cairo_arc(cr, x + w - radius, y + h - radius, radius, 0, M_PI / 2);
    cairo_arc(cr, x + radius, y + h - radius, radius, M_PI / 2, M_PI);
    cairo_arc(cr, x + radius, y + radius, radius, M_PI, 3 * M_PI / 2);
    cairo_close_path(cr);
}

void EllipsePath(cairo_t* cr, double x, double y, double w, double h) {
    if (w <= 0 || h <= 0) return;
    cairo_save(cr);
    cairo_translate(cr, x + w / 2, y + h / 2);
    cairo_scale(cr, w / 2, h / 2);
    cairo_new_sub_path(cr);
    cairo_arc(cr, 0, 0, 1, 0, 2 * M_PI);
    cairo_restore(cr);
}

int Pen(int pen) { return pen < 1 ? 1 : pen; }

// A frame of pen width `pen` round the rectangle l..r, t..b (inclusive),
// laid as the area between an outer and an inner outline.
void Frame(long colour, const tagRECT& r, int pen, int mode,
           const std::function<void(cairo_t*, double, double, double, double, double)>& outline,
           double corner, bool curved) {
    if (r.right < r.left || r.bottom < r.top) return;
    const double p = Pen(pen);
    const double w = r.right + 1.0 - r.left;
    const double h = r.bottom + 1.0 - r.top;
    Shape shape;
    shape.op = Op::FillEvenOdd;
    // Curved frames are smoothed; an inverting one stays exact, so that
    // drawing it twice takes it away.
    shape.smooth = mode == kDrawCopy && curved;
    shape.path = [&](cairo_t* cr) {
        outline(cr, r.left, r.top, w, h, corner);
        if (w - 2 * p > 0 && h - 2 * p > 0) outline(cr, r.left + p, r.top + p, w - 2 * p, h - 2 * p, corner - p);
    };
    Render(colour, mode, shape);
}

void RectOutline(cairo_t* cr, double x, double y, double w, double h, double) { cairo_rectangle(cr, x, y, w, h); }
void EllipseOutline(cairo_t* cr, double x, double y, double w, double h, double) { EllipsePath(cr, x, y, w, h); }

// An open or closed line through `points` with a square pen of `pen` pixels
// hanging below and to the right of it.
void Lines(long colour, int pen, int count, const tagPOINT* points, bool closed, int mode) {
    if (!points || count <= 0) return;
    const int p = Pen(pen);
    if (count == 1 || (count == 2 && points[0].x == points[1].x && points[0].y == points[1].y)) {
        Shape dot;
        dot.path = [&](cairo_t* cr) { cairo_rectangle(cr, points[0].x, points[0].y, p, p); };
        Render(colour, mode, dot);
        return;
    }
    Shape shape;
    shape.op = Op::Stroke;
    shape.lineWidth = p;
    // Slanted lines in copy mode are smoothed; level and upright ones are
    // exact already, and inverting outlines must stay exact.
    for (int i = 1; i < count && mode == kDrawCopy; i++)
        if (points[i].x != points[i - 1].x && points[i].y != points[i - 1].y) shape.smooth = true;
    shape.path = [&](cairo_t* cr) {
        const double o = p / 2.0;
        cairo_move_to(cr, points[0].x + o, points[0].y + o);
        for (int i = 1; i < count; i++) cairo_line_to(cr, points[i].x + o, points[i].y + o);
        if (closed) cairo_close_path(cr);
    };
    Render(colour, mode, shape);
}

void FillPolygon(long colour, int count, const tagPOINT* points) {
    if (!points || count < 3) return;
    Shape shape;
    shape.path = [&](cairo_t* cr) {
        cairo_move_to(cr, points[0].x, points[0].y);
        for (int i = 1; i < count; i++) cairo_line_to(cr, points[i].x, points[i].y);
        cairo_close_path(cr);
    };
    Render(colour, kDrawCopy, shape);
}

struct Bitmap {
    int width = 0;
    int height = 0;
    std::vector<uint32_t> pixels;
};
std::map<int, Bitmap>& Bitmaps() {
    static std::map<int, Bitmap> bitmaps;
    return bitmaps;
}

}  // namespace

CPWnd* GetDrawPort() { return gPort; }

CPWnd* SetDrawPort(CPWnd* window) {
    CPWnd* previous = gPort;
    gPort = window;
    return previous;
}

void SetColor(long colour) { gPenColour = colour; }
void SetBackColor(long colour) { gBackColour = colour; }
long GetColor() { return gPenColour; }
long GetBackColor() { return gBackColour; }

void DrawBox(long colour, const tagRECT& r, int pen, int mode) { Frame(colour, r, pen, mode, RectOutline, 0, false); }

void DrawBar(long colour, const tagRECT& r) {
    if (r.right <= r.left || r.bottom <= r.top) return;
    Shape shape;
    shape.path = [&](cairo_t* cr) { cairo_rectangle(cr, r.left, r.top, r.right - r.left, r.bottom - r.top); };
    Render(colour, kDrawCopy, shape);
}

void DrawLine(long colour, const tagRECT& r, int pen, int mode) {
    DrawLine(colour, r.left, r.top, r.right, r.bottom, pen, mode);
}

void DrawLine(long colour, int x1, int y1, int x2, int y2, int pen, int mode) {
    const tagPOINT points[2] = {{x1, y1}, {x2, y2}};
    Lines(colour, pen, 2, points, false, mode);
}

void DrawRoundBox(long colour, const tagRECT& r, int corner, int pen, int mode) {
    Frame(colour, r, pen, mode, RoundedPath, corner, corner > 0);
}

void DrawRoundBar(long colour, const tagRECT& r, int corner) {
    if (r.right <= r.left || r.bottom <= r.top) return;
    Shape shape;
    shape.path = [&](cairo_t* cr) { RoundedPath(cr, r.left, r.top, r.right - r.left, r.bottom - r.top, corner); };
    Render(colour, kDrawCopy, shape);
}

void DrawCir(long colour, const tagRECT& r, int pen, int mode) { Frame(colour, r, pen, mode, EllipseOutline, 0, true); }

void DrawCirBar(long colour, const tagRECT& r) {
    if (r.right <= r.left || r.bottom <= r.top) return;
    Shape shape;
    shape.path = [&](cairo_t* cr) { EllipsePath(cr, r.left, r.top, r.right - r.left, r.bottom - r.top); };
    Render(colour, kDrawCopy, shape);
}

void DrawCheck(long colour, const tagRECT& r, bool ticked) {
    DrawBar(0xFFFFFF, tagRECT{r.left, r.top, r.right + 1, r.bottom + 1});
    DrawBox(colour, r, 1, kDrawCopy);
    if (!ticked || r.right - r.left < 6 || r.bottom - r.top < 6) return;
    DrawLine(colour, r.left + 3, r.top + 3, r.right - 3, r.bottom - 3, 1, kDrawCopy);
    DrawLine(colour, r.right - 3, r.top + 3, r.left + 3, r.bottom - 3, 1, kDrawCopy);
}

void DrawRadio(long colour, const tagRECT& r, bool set) {
    DrawCirBar(0xFFFFFF, tagRECT{r.left, r.top, r.right + 1, r.bottom + 1});
    DrawCir(colour, r, 1, kDrawCopy);
    if (set && r.right - r.left >= 6 && r.bottom - r.top >= 6)
        DrawCirBar(colour, tagRECT{r.left + 3, r.top + 3, r.right - 2, r.bottom - 2});
}

void DrawPolygon(long frame, long fill, int count, const tagPOINT* points) {
    if (fill >= 0) FillPolygon(fill, count, points);
    if (frame >= 0) Lines(frame, 1, count, points, true, kDrawCopy);
}

void DrawPolyLine(long colour, int pen, int count, const tagPOINT* points, int mode) {
    Lines(colour, pen, count, points, false, mode);
}

void DrawTriangle(long colour, int x1, int y1, int x2, int y2, int x3, int y3) {
    const tagPOINT points[3] = {{x1, y1}, {x2, y2}, {x3, y3}};
    FillPolygon(colour, 3, points);
}

void DrawTriangle(long colour, tagPOINT a, tagPOINT b, tagPOINT c) {
    const tagPOINT points[3] = {a, b, c};
    FillPolygon(colour, 3, points);
}

void DrawTriangle(long colour, int x, int y, int size) {
    const int half = size / 2;
    DrawTriangle(colour, x - half, y - half, x + half + 1, y - half, x, y + half + 1);
}

void DrawSplitBox(long left, long right, const tagRECT& r, long frame) {
    const int middle = r.left + (r.right - r.left) / 2;
    DrawBar(left, tagRECT{r.left, r.top, middle, r.bottom});
    DrawBar(right, tagRECT{middle, r.top, r.right, r.bottom});
    DrawBox(frame, r, 1, kDrawCopy);
}

void DrawSlider(long track, long knob, const tagRECT& r, long position, long range, bool vertical) {
    const long along = vertical ? r.bottom - r.top : r.right - r.left;
    if (along < 10) return;
    if (range <= 0) range = 1;
    position = std::clamp(position, 0L, range);
    const int k = static_cast<int>(4 + position * (along - 9) / range);  // knob centre from the start
    if (vertical) {
        const int cx = r.left + (r.right - r.left) / 2;
        DrawBar(track, tagRECT{cx - 2, r.top, cx + 2, r.bottom});
        DrawBox(0, tagRECT{cx - 2, r.top, cx + 1, r.bottom - 1}, 1, kDrawCopy);
        const tagRECT handle{r.left, r.bottom - k - 4, r.right - 1, r.bottom - k + 4};
        DrawBar(knob, tagRECT{handle.left, handle.top, handle.right + 1, handle.bottom + 1});
        DrawBox(0, handle, 1, kDrawCopy);
    } else {
        const int cy = r.top + (r.bottom - r.top) / 2;
        DrawBar(track, tagRECT{r.left, cy - 2, r.right, cy + 2});
        DrawBox(0, tagRECT{r.left, cy - 2, r.right - 1, cy + 1}, 1, kDrawCopy);
        const tagRECT handle{r.left + k - 4, r.top, r.left + k + 4, r.bottom - 1};
        DrawBar(knob, tagRECT{handle.left, handle.top, handle.right + 1, handle.bottom + 1});
        DrawBox(0, handle, 1, kDrawCopy);
    }
}

void DrawText(long colour, const char* text, int x, int y, int alignment) {
    CPWnd* window = gPort;
    cairo_surface_t* surface = window ? WindowSurface(window) : nullptr;
    LayerFont* font = CurrentLayerFont();
    if (!surface || !font || !text || !*text) return;
    cairo_t* cr = cairo_create(surface);
    cairo_translate(cr, -window->origin.x, -window->origin.y);
    PangoLayout* layout = MakeTextLayout(cr, font, text, 255);
    PangoRectangle ink, logical;
    pango_layout_get_pixel_extents(layout, &ink, &logical);
    int left = x;
    if (alignment == kAlignRight)
        left = x - logical.width;
    else if (alignment == kAlignCentre)
        left = x - logical.width / 2;
    SetSourceColour(cr, colour);
    cairo_move_to(cr, left, y);
    pango_cairo_show_layout(cr, layout);
    g_object_unref(layout);
    cairo_destroy(cr);
    const int dx = left - window->origin.x;
    const int dy = y - window->origin.y;
    PresentArea(window, dx + std::min(ink.x, logical.x) - 1, dy + std::min(ink.y, logical.y) - 1,
                dx + std::max(ink.x + ink.width, logical.x + logical.width) + 1,
                dy + std::max(ink.y + ink.height, logical.y + logical.height) + 1);
}

void AddBitmapResource(int id, int width, int height, const uint32_t* pixels) {
    if (width <= 0 || height <= 0 || !pixels) return;
    Bitmap& b = Bitmaps()[id];
    b.width = width;
    b.height = height;
    b.pixels.assign(pixels, pixels + static_cast<size_t>(width) * height);
}

void DrawBitmap(const tagRECT& r, int id, long transparent) {
    CPWnd* window = gPort;
    cairo_surface_t* surface = window ? WindowSurface(window) : nullptr;
    auto found = Bitmaps().find(id);
    if (!surface || found == Bitmaps().end() || r.right <= r.left || r.bottom <= r.top) return;
    const Bitmap& b = found->second;
    cairo_surface_t* picture = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, b.width, b.height);
    unsigned char* data = cairo_image_surface_get_data(picture);
    const int stride = cairo_image_surface_get_stride(picture);
    const uint32_t key = transparent < 0 ? 0xFFFFFFFFu : ColourToPixel(transparent);
    for (int y = 0; y < b.height; y++) {
        auto* row = reinterpret_cast<uint32_t*>(data + y * stride);
        for (int x = 0; x < b.width; x++) {
            const uint32_t p = b.pixels[static_cast<size_t>(y) * b.width + x] & 0xFFFFFF;
            row[x] = p == key ? 0 : (0xFF000000u | p);
        }
    }
    cairo_surface_mark_dirty(picture);
    cairo_t* cr = cairo_create(surface);
    cairo_translate(cr, r.left - window->origin.x, r.top - window->origin.y);
    cairo_rectangle(cr, 0, 0, r.right - r.left, r.bottom - r.top);
    cairo_clip(cr);
    cairo_scale(cr, double(r.right - r.left) / b.width, double(r.bottom - r.top) / b.height);
    cairo_set_source_surface(cr, picture, 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cr), CAIRO_FILTER_NEAREST);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(picture);
    PresentArea(window, r.left - window->origin.x, r.top - window->origin.y, r.right - window->origin.x,
                r.bottom - window->origin.y);
}

void RubberBox(const tagRECT& r, long colour, int width) { DrawBox(colour, r, width, kDrawInvert); }
void RubberLine(const tagRECT& r, long colour, int width) { DrawLine(colour, r, width, kDrawInvert); }
void RubberCir(const tagRECT& r, long colour, int width) { DrawCir(colour, r, width, kDrawInvert); }
void RubberPolygon(const tagPOINT* points, int count, long colour, int width) {
    Lines(colour, width, count, points, true, kDrawInvert);
}

long GetWindowPixel(CPWnd* window, int x, int y) {
    cairo_surface_t* surface = window ? WindowSurface(window) : nullptr;
    const int scale = SurfaceScaleOf(surface);
    x *= scale;
    y *= scale;
    if (!surface || x < 0 || y < 0 || x >= cairo_image_surface_get_width(surface) ||
        y >= cairo_image_surface_get_height(surface))
        return -1;
    cairo_surface_flush(surface);
    const unsigned char* data = cairo_image_surface_get_data(surface);
    const auto* row = reinterpret_cast<const uint32_t*>(data + y * cairo_image_surface_get_stride(surface));
    return PixelToColour(row[x] & 0xFFFFFF);
}
