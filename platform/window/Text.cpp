// SPDX-License-Identifier: GPL-2.0-or-later
// Fonts and text with Pango, shared by both backends.
#include <cstring>
#include <string>

#include "platform/Env.h"
#include "platform/window/Draw.h"
#include "platform/window/LayerInternal.h"
#include "platform/window/WindowBackend.h"

namespace {

void* gSelectedFont = nullptr;

// The interface fonts by slot, for handles made before the backend came.
struct SlotFont {
    void** global;
    int points;
    bool bold;
};
const SlotFont kSlots[5] = {
    {&Sans8, 8, false}, {&Sans10, 10, false}, {&Sans12, 12, false}, {&Sans14B, 13, true}, {&Sans20, 20, false},
};

constexpr int kDefaultPoints = 12;

// The options text is laid out with, made when text is first laid out and
// given back with the backend (a layout keeps a copy of them), so that
// nothing is left behind when a host unloads the effect module.
cairo_font_options_t* gTextOptions = nullptr;

cairo_font_options_t* TextOptions() {
    if (!gTextOptions) {
        gTextOptions = cairo_font_options_create();
        cairo_font_options_set_antialias(gTextOptions, CAIRO_ANTIALIAS_GRAY);
        cairo_font_options_set_hint_style(gTextOptions, CAIRO_HINT_STYLE_SLIGHT);
        cairo_font_options_set_hint_metrics(gTextOptions, CAIRO_HINT_METRICS_ON);
    }
    return gTextOptions;
}

}  // namespace

std::string LayerUtf8(const char* text, int maxChars) {
    if (!text) return std::string();
    size_t length = strnlen(text, static_cast<size_t>(maxChars));
    const char* end = nullptr;
    if (g_utf8_validate(text, static_cast<gssize>(length), &end)) return std::string(text, length);
    // A cut through the middle of a character: keep what came before it.
    if (length == static_cast<size_t>(maxChars) && g_utf8_validate(text, -1, nullptr))
        return std::string(text, static_cast<size_t>(end - text));
    std::string out;
    for (size_t i = 0; i < length; i++) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

LayerFont* NewLayerFont(const char* face, int points, bool bold) {
    auto* font = new LayerFont;
    font->description = pango_font_description_new();
    pango_font_description_set_family(font->description, face && *face ? face : "Sans");
    pango_font_description_set_absolute_size(font->description, (points > 0 ? points : kDefaultPoints) * PANGO_SCALE);
    pango_font_description_set_weight(font->description, bold ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    cairo_surface_t* scratch = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 1, 1);
    cairo_t* cr = cairo_create(scratch);
    PangoLayout* layout = MakeTextLayout(cr, font, "Xg", 2);
    PangoRectangle logical;
    pango_layout_get_pixel_extents(layout, nullptr, &logical);
    font->ascent = pango_layout_get_baseline(layout) / PANGO_SCALE;
    font->height = logical.height;
    g_object_unref(layout);
    cairo_destroy(cr);
    cairo_surface_destroy(scratch);
    return font;
}

void DeleteLayerFont(LayerFont* font) {
    if (!font) return;
    pango_font_description_free(font->description);
    delete font;
}

PangoLayout* MakeTextLayout(cairo_t* cr, LayerFont* font, const char* text, int maxChars) {
    PangoLayout* layout = pango_cairo_create_layout(cr);
    pango_cairo_context_set_font_options(pango_layout_get_context(layout), TextOptions());
    pango_layout_context_changed(layout);
    if (font) pango_layout_set_font_description(layout, font->description);
    const std::string utf8 = LayerUtf8(text, maxChars);
    pango_layout_set_text(layout, utf8.c_str(), static_cast<int>(utf8.size()));
    return layout;
}

long MeasureText(LayerFont* font, const char* text) {
    if (!font || !text || !*text) return 0;
    cairo_surface_t* scratch = cairo_image_surface_create(CAIRO_FORMAT_RGB24, 1, 1);
    cairo_t* cr = cairo_create(scratch);
    PangoLayout* layout = MakeTextLayout(cr, font, text, 1 << 20);
    int width = 0, height = 0;
    pango_layout_get_pixel_size(layout, &width, &height);
    g_object_unref(layout);
    cairo_destroy(cr);
    cairo_surface_destroy(scratch);
    return width;
}

LayerFont* CurrentLayerFont() {
    WindowBackend* backend = GetWindowBackend();
    return backend ? backend->ResolveFont(gSelectedFont) : nullptr;
}

void ForgetCurrentFont(void* font) {
    if (gSelectedFont == font) gSelectedFont = nullptr;
}

void* MakeFont(const char* name, int size, int style) {
    return GetPlatformBackend()->MakeFont(name, size, (style & 1) != 0);
}

void SelectFont(void* font) { gSelectedFont = font; }
void* GetSelectedFont() { return gSelectedFont; }

void RemoveFont(void* font) {
    if (!font) return;
    ForgetCurrentFont(font);
    GetPlatformBackend()->RemoveFont(font);
}

int GetFontAscent() {
    LayerFont* font = CurrentLayerFont();
    return font ? font->ascent : 0;
}

int GetFontHeight() {
    LayerFont* font = CurrentLayerFont();
    return font ? font->height : 0;
}

void* WindowBackend::MakeFont(const char* face, int points, bool bold) {
    LayerFont* font = NewLayerFont(face, points, bold);
    font->next = ownFonts;
    ownFonts = font;
    return font;
}

void WindowBackend::RemoveFont(void* handle) {
    ForgetCurrentFont(handle);
    for (LayerFont** link = &ownFonts; *link; link = &(*link)->next) {
        if (*link == handle) {
            LayerFont* font = *link;
            *link = font->next;
            DeleteLayerFont(font);
            return;
        }
    }
}

LayerFont* WindowBackend::ResolveFont(void* handle) {
    if (handle) {
        for (LayerFont* font = ownFonts; font; font = font->next)
            if (font == handle) return font;
        for (int i = 0; i < 5; i++) {
            if (*kSlots[i].global != handle) continue;
            if (!slotFonts[i]) slotFonts[i] = NewLayerFont("Sans", kSlots[i].points, kSlots[i].bold);
            return slotFonts[i];
        }
    }
    if (!defaultFont) defaultFont = NewLayerFont("Sans", kDefaultPoints, false);
    return defaultFont;
}

long WindowBackend::TextWidth(const char* text) { return MeasureText(ResolveFont(gSelectedFont), text); }

WindowBackend::WindowBackend() = default;

WindowBackend::~WindowBackend() {
    for (LayerFont* font = ownFonts; font;) {
        LayerFont* next = font->next;
        ForgetCurrentFont(font);
        DeleteLayerFont(font);
        font = next;
    }
    ownFonts = nullptr;
    for (LayerFont*& font : slotFonts) {
        DeleteLayerFont(font);
        font = nullptr;
    }
    DeleteLayerFont(defaultFont);
    defaultFont = nullptr;
    if (gTextOptions) cairo_font_options_destroy(gTextOptions);
    gTextOptions = nullptr;
}
