// SPDX-License-Identifier: GPL-2.0-or-later
// What both backends share: backing surfaces, image drawing, the event queue,
// installation and the file dialogs' starting folder.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "image/CDIB.h"
#include "platform/Env.h"
#include "platform/Files.h"
#include "platform/Settings.h"
#include "platform/window/CPWnd.h"
#include "platform/window/LayerInternal.h"
#include "platform/window/WindowBackend.h"

namespace {
WindowBackend* gWindowBackend = nullptr;

// One row of a CDIB as 0x00RRGGBB pixels, `count` of them from column `first`.
void ReadDibRow(CDIB* dib, int storageRow, int first, int count, uint32_t* out) {
    const DIBHeader* h = dib->header;
    const int bits = h->bitCount;
    const long rowBytes = ((static_cast<long>(h->width) * bits + 31) / 32) * 4;
    const uint8_t* row = dib->bits + rowBytes * storageRow;
    const uint8_t* palette = reinterpret_cast<const uint8_t*>(h) + 40;
    const int paletteSize = bits <= 8 ? (h->clrUsed ? static_cast<int>(std::min<uint32_t>(h->clrUsed, 256)) : 1 << bits) : 0;
    for (int i = 0; i < count; i++) {
        const int x = first + i;
        uint32_t pixel = 0;
        switch (bits) {
            case 32:
            case 24: {
                const uint8_t* p = row + x * (bits / 8);
                pixel = (uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0];
                break;
            }
            case 16: {
                const uint16_t v = uint16_t(row[x * 2] | (row[x * 2 + 1] << 8));
                const uint32_t r = (v >> 10) & 31, g = (v >> 5) & 31, b = v & 31;
                pixel = (((r << 3) | (r >> 2)) << 16) | (((g << 3) | (g >> 2)) << 8) | ((b << 3) | (b >> 2));
                break;
            }
            case 8:
            case 4:
            case 1: {
                const int perByte = 8 / bits;
                const int shift = (perByte - 1 - x % perByte) * bits;
                const int index = (row[x / perByte] >> shift) & ((1 << bits) - 1);
                if (index < paletteSize) {
                    const uint8_t* e = palette + index * 4;
                    pixel = (uint32_t(e[2]) << 16) | (uint32_t(e[1]) << 8) | e[0];
                }
                break;
            }
            default:
                break;
        }
        out[i] = pixel;
    }
}
}  // namespace

cairo_surface_t* WindowSurface(CPWnd* window) {
    return window ? static_cast<cairo_surface_t*>(window->surface) : nullptr;
}

int SurfaceScaleOf(cairo_surface_t* surface) {
    if (!surface) return 1;
    double x = 1, y = 1;
    cairo_surface_get_device_scale(surface, &x, &y);
    return std::max(1, static_cast<int>(x + 0.5));
}

void SizeWindowSurface(CPWnd* window, int width, int height) {
    width = std::max(width, 1);
    height = std::max(height, 1);
    WindowBackend* backend = GetWindowBackend();
    const int scale = std::clamp(backend ? backend->SurfaceScale() : 1, 1, 4);
    cairo_surface_t* old = WindowSurface(window);
    if (old && cairo_image_surface_get_width(old) == width * scale &&
        cairo_image_surface_get_height(old) == height * scale && SurfaceScaleOf(old) == scale)
        return;
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width * scale, height * scale);
    cairo_surface_set_device_scale(surface, scale, scale);
    cairo_t* cr = cairo_create(surface);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_paint(cr);
    if (old) {
        cairo_set_source_surface(cr, old, 0, 0);
        cairo_paint(cr);
        cairo_surface_destroy(old);
    }
    cairo_destroy(cr);
    window->surface = surface;
}

void FreeWindowSurface(CPWnd* window) {
    if (cairo_surface_t* surface = WindowSurface(window)) cairo_surface_destroy(surface);
    window->surface = nullptr;
}

void WindowBackend::DrawDIB(tagRECT& target, tagRECT& source, CDIB* dib, void* port) {
    CPWnd* window = FindRegisteredWindow(port);
    if (!window) window = GetDrawPort();
    cairo_surface_t* surface = WindowSurface(window);
    if (!surface || !dib || !dib->header || !dib->bits) return;
    const int width = dib->header->width;
    const int height = dib->header->height < 0 ? -dib->header->height : dib->header->height;
    const bool bottomUp = dib->header->height > 0;
    // The source rectangle counts rows from the top of the picture.
    tagRECT src = source;
    src.left = std::max(src.left, 0);
    src.top = std::max(src.top, 0);
    src.right = std::min(src.right, width);
    src.bottom = std::min(src.bottom, height);
    const int sw = src.right - src.left;
    const int sh = src.bottom - src.top;
    const int dw = target.right - target.left;
    const int dh = target.bottom - target.top;
    if (sw <= 0 || sh <= 0 || dw <= 0 || dh <= 0) return;
    // Scale by the part that survived clipping, as the whole source would have.
    const double fx = double(dw) / (source.right - source.left);
    const double fy = double(dh) / (source.bottom - source.top);

    cairo_surface_t* picture = cairo_image_surface_create(CAIRO_FORMAT_RGB24, sw, sh);
    unsigned char* data = cairo_image_surface_get_data(picture);
    const int stride = cairo_image_surface_get_stride(picture);
    for (int y = 0; y < sh; y++) {
        const int row = src.top + y;
        ReadDibRow(dib, bottomUp ? height - 1 - row : row, src.left, sw,
                   reinterpret_cast<uint32_t*>(data + y * stride));
    }
    cairo_surface_mark_dirty(picture);

    cairo_t* cr = cairo_create(surface);
    cairo_translate(cr, -window->origin.x, -window->origin.y);
    cairo_rectangle(cr, target.left, target.top, dw, dh);
    cairo_clip(cr);
    cairo_translate(cr, target.left + (src.left - source.left) * fx, target.top + (src.top - source.top) * fy);
    cairo_scale(cr, fx, fy);
    cairo_set_source_surface(cr, picture, 0, 0);
    // Enlargements stay crisp; reductions are filtered.
    cairo_pattern_set_filter(cairo_get_source(cr), fx >= 1 && fy >= 1 ? CAIRO_FILTER_NEAREST : CAIRO_FILTER_GOOD);
    cairo_pattern_set_extend(cairo_get_source(cr), CAIRO_EXTEND_PAD);
    cairo_paint(cr);
    cairo_destroy(cr);
    cairo_surface_destroy(picture);
    Present(window, tagRECT{target.left - window->origin.x, target.top - window->origin.y,
                            target.right - window->origin.x, target.bottom - window->origin.y});
}

void WindowBackend::Invalidate(CPWnd* window) {
    PlatformEvent event;
    event.kind = PlatformEvent::kUpdate;
    event.window = window;
    PushEvent(event);
}

void WindowBackend::PushEvent(const PlatformEvent& event) {
    if (event.kind == PlatformEvent::kUpdate) {
        for (const PlatformEvent& e : queue)
            if (e.kind == PlatformEvent::kUpdate && e.window == event.window) return;
    }
    if (!queue.empty()) {
        PlatformEvent& last = queue.back();
        const bool sameWindow = last.window == event.window && last.kind == event.kind;
        if (sameWindow && event.kind == PlatformEvent::kMouseMoved && last.modifiers == event.modifiers) {
            last = event;
            return;
        }
        if (sameWindow && event.kind == PlatformEvent::kScrollBar && event.part == kPartThumb &&
            last.part == kPartThumb && last.bar == event.bar) {
            last = event;
            return;
        }
    }
    queue.push_back(event);
}

bool WindowBackend::PopEvent(PlatformEvent& event) {
    if (queue.empty()) return false;
    event = queue.front();
    queue.pop_front();
    return true;
}

void WindowBackend::ForgetWindow(CPWnd* window) {
    queue.erase(std::remove_if(queue.begin(), queue.end(), [&](const PlatformEvent& e) { return e.window == window; }),
                queue.end());
}

int WindowBackend::WriteWindowPNG(CPWnd* window, const char* path) {
    cairo_surface_t* surface = WindowSurface(window);
    if (!surface || !path) return 0;
    return cairo_surface_write_to_png(surface, path) == CAIRO_STATUS_SUCCESS ? 1 : 0;
}

WindowBackend* GetWindowBackend() { return gWindowBackend; }

WindowBackend* InstallWindowBackend(WindowBackend* backend) {
    WindowBackend* previous = gWindowBackend;
    gWindowBackend = backend;
    SetPlatformBackend(backend);
    if (backend) {
        long width = 0, height = 0;
        backend->ScreenSize(width, height);
        gEnv.screenWidth = static_cast<int32_t>(width - 1);
        gEnv.screenHeight = static_cast<int32_t>(height - 1);
    }
    return previous;
}

void FileDialogStartFolder(const FSpec* start, char* folder, int size) {
    if (!folder || size <= 0) return;
    folder[0] = 0;
    if (start && !IsEmptySpec(*start) && start->name[0]) {
        char path[256];
        std::snprintf(path, sizeof path, "%.255s", start->name);
        std::error_code error;
        if (!std::filesystem::is_directory(path, error)) StripFileName(path);
        std::snprintf(folder, static_cast<size_t>(size), "%s", path);
    }
    if (!folder[0]) GetIniString("InitialFolder", "", folder, size - 1);
}

void AddDefaultExtension(char* path, size_t size, const char* extension) {
    if (!path || !extension || !*extension || size == 0) return;
    const char* name = std::strrchr(path, '/');
    name = name ? name + 1 : path;
    if (!*name || std::strchr(name, '.')) return;
    const size_t length = std::strlen(path);
    std::snprintf(path + length, size - length, "%s%s", extension[0] == '.' ? "" : ".", extension);
}
