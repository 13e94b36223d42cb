// SPDX-License-Identifier: GPL-2.0-or-later
// The GTK 3 backend.
//
// A window with a title bar is a GtkWindow holding a menu bar (when it has
// one) above a GtkLayout; its own drawing area fills the layout. A frameless
// window with a parent is a drawing area placed in its parent's layout at its
// rectangle. The floating window is a utility window kept above the main one.
// Scroll bars are GtkScrollbars laid over the window's edges; their clicks
// come back as parts, so that the layer steps them by its own rule.
//
// Keys: Ctrl is the command key (chords, menu shortcuts), Alt the control
// key; the right button is the secondary button.
#include <gtk/gtk.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <vector>

#include "platform/Env.h"
#include "platform/Files.h"
#include "platform/window/CPWnd.h"
#include "platform/window/LayerInternal.h"
#include "platform/window/WindowBackend.h"
#include "platform/window/WindowLayer.h"

namespace {

// GTK key values and the character codes they become.
struct KeyRow {
    guint keyval;
    int character;
};
constexpr KeyRow kKeyTable[] = {
    {GDK_KEY_Left, kKeyLeft},         {GDK_KEY_KP_Left, kKeyLeft},     {GDK_KEY_Right, kKeyRight},
    {GDK_KEY_KP_Right, kKeyRight},    {GDK_KEY_Up, kKeyUp},            {GDK_KEY_KP_Up, kKeyUp},
    {GDK_KEY_Down, kKeyDown},         {GDK_KEY_KP_Down, kKeyDown},     {GDK_KEY_Page_Up, kKeyPageUp},
    {GDK_KEY_KP_Page_Up, kKeyPageUp}, {GDK_KEY_Page_Down, kKeyPageDown}, {GDK_KEY_KP_Page_Down, kKeyPageDown},
    {GDK_KEY_Home, kKeyHome},         {GDK_KEY_KP_Home, kKeyHome},     {GDK_KEY_End, kKeyEnd},
    {GDK_KEY_KP_End, kKeyEnd},        {GDK_KEY_Return, kKeyReturn},    {GDK_KEY_KP_Enter, kKeyEnter},
    {GDK_KEY_Tab, kKeyTab},           {GDK_KEY_ISO_Left_Tab, kKeyTab}, {GDK_KEY_BackSpace, kKeyBackspace},
    {GDK_KEY_Delete, kKeyDelete},     {GDK_KEY_KP_Delete, kKeyDelete}, {GDK_KEY_Escape, kKeyEscape},
};

int CharacterFor(guint keyval) {
    for (const KeyRow& row : kKeyTable)
        if (row.keyval == keyval) return row.character;
    const gunichar u = gdk_keyval_to_unicode(keyval);
    return (u > 0 && u < 256) ? static_cast<int>(u) : 0;
}

// GTK's scroll types and the scroll bar parts they are.
struct ScrollRow {
    GtkScrollType type;
    int part;
};
constexpr ScrollRow kScrollTable[] = {
    {GTK_SCROLL_STEP_BACKWARD, kPartUpArrow}, {GTK_SCROLL_STEP_UP, kPartUpArrow},
    {GTK_SCROLL_STEP_LEFT, kPartUpArrow},     {GTK_SCROLL_STEP_FORWARD, kPartDownArrow},
    {GTK_SCROLL_STEP_DOWN, kPartDownArrow},   {GTK_SCROLL_STEP_RIGHT, kPartDownArrow},
    {GTK_SCROLL_PAGE_BACKWARD, kPartPageUp},  {GTK_SCROLL_PAGE_UP, kPartPageUp},
    {GTK_SCROLL_PAGE_LEFT, kPartPageUp},      {GTK_SCROLL_PAGE_FORWARD, kPartPageDown},
    {GTK_SCROLL_PAGE_DOWN, kPartPageDown},    {GTK_SCROLL_PAGE_RIGHT, kPartPageDown},
};

// The layer's cursors and GTK's names for the standard ones.
struct CursorName {
    int cursor;
    const char* name;
};
constexpr CursorName kCursorNames[] = {
    {kCursorArrow, "default"}, {kCursorText, "text"}, {kCursorCross, "crosshair"},
    {kCursorPlus, "cell"},     {kCursorWatch, "wait"},
};

int Modifiers(guint state) {
    return ((state & GDK_SHIFT_MASK) ? kModShift : 0) | ((state & GDK_CONTROL_MASK) ? kModCommand : 0) |
           ((state & GDK_MOD1_MASK) ? kModControl : 0);
}

class GtkBackend;
GtkBackend* gGtk = nullptr;
bool gMenuUpdating = false;  // programmatic menu changes emit no commands

class GtkBackend : public WindowBackend {
public:
    struct Win {
        CPWnd* window = nullptr;
        GtkWidget* toplevel = nullptr;  // own top-level window; null when placed in a host
        GtkWidget* box = nullptr;
        GtkWidget* layout = nullptr;
        GtkWidget* area = nullptr;
        GtkWidget* hbar = nullptr;
        GtkWidget* vbar = nullptr;
        Win* host = nullptr;  // the top-level Win this one lives in
        guint sizeCheck = 0;  // pending check of a user resize or move
        tagPOINT placedAt{-100000, -100000};
    };
    struct MenuWidgets {
        GtkWidget* bar = nullptr;
        GtkWidget* tops[kMenuCount] = {};
        GtkWidget* menus[kMenuCount] = {};
        GtkWidget* items[kMenuCount][kMenuItems] = {};
    };
    struct Field {
        CPWnd* parent;
        GtkWidget* entry;
        GtkCssProvider* css;
    };

    GtkBackend() { startMicros = g_get_monotonic_time(); }

    ~GtkBackend() override {
        for (Field* field : fields) {
            gtk_widget_destroy(field->entry);
            g_object_unref(field->css);
            delete field;
        }
        for (auto& [menu, widgets] : menus)
            if (widgets.bar) gtk_widget_destroy(widgets.bar);
        for (Win* w : std::vector<Win*>(wins)) {
            if (w->sizeCheck) g_source_remove(w->sizeCheck);
            if (w->toplevel) gtk_widget_destroy(w->toplevel);
            delete w;
        }
        for (auto& [id, cursor] : cursors) g_object_unref(cursor);
        if (gGtk == this) gGtk = nullptr;
    }

    static Win* W(CPWnd* window) { return window ? static_cast<Win*>(window->platformWindow) : nullptr; }

    GtkWindow* ParentWindow() {
        Win* main = W(gFirstWin);
        return main && main->toplevel ? GTK_WINDOW(main->toplevel) : nullptr;
    }

    // Where a window's client area starts on the screen.
    static tagPOINT ClientOrigin(CPWnd* window) {
        return tagPOINT{window->winRect.left + window->GetBorderSize(),
                        window->winRect.top + window->GetCaptionSize() + window->GetMenuSize()};
    }

    // A window's client area inside its host's layout.
    static tagPOINT Offset(Win* w) {
        if (!w->host || w->host == w) return tagPOINT{0, 0};
        const tagPOINT mine = ClientOrigin(w->window);
        const tagPOINT host = ClientOrigin(w->host->window);
        return tagPOINT{mine.x - host.x, mine.y - host.y};
    }

    int MenuBarHeight(Win* w) {
        auto found = menus.find(w->window->menuBar);
        if (!w->window->menuBar || found == menus.end() || !found->second.bar) return 0;
        int minimum = 0, natural = 0;
        gtk_widget_get_preferred_height(found->second.bar, &minimum, &natural);
        return natural;
    }

    // ---- Signals -------------------------------------------------------------------------

    static gboolean OnDraw(GtkWidget*, cairo_t* cr, gpointer data) {
        auto* w = static_cast<Win*>(data);
        if (cairo_surface_t* surface = WindowSurface(w->window)) {
            cairo_set_source_surface(cr, surface, 0, 0);
            cairo_paint(cr);
        }
        return TRUE;
    }

    // The registered window under a screen point, and the point in it.
    CPWnd* WindowAt(double rootX, double rootY, int& x, int& y) {
        auto test = [&](CPWnd* window) -> bool {
            Win* w = W(window);
            if (!w || !w->area || !window->shown || !gtk_widget_get_mapped(w->area)) return false;
            GdkWindow* gdk = gtk_widget_get_window(w->area);
            if (!gdk) return false;
            int ox = 0, oy = 0;
            gdk_window_get_origin(gdk, &ox, &oy);
            const int px = static_cast<int>(std::floor(rootX)) - ox;
            const int py = static_cast<int>(std::floor(rootY)) - oy;
            if (px < 0 || py < 0 || px >= gtk_widget_get_allocated_width(w->area) ||
                py >= gtk_widget_get_allocated_height(w->area))
                return false;
            x = px;
            y = py;
            return true;
        };
        if (gFloatWin && test(gFloatWin)) return gFloatWin;
        for (int i = std::min<int>(gEnv.windowCount, kMaxWindows) - 1; i >= 0; i--)
            if (gEnv.windows[i] != gFloatWin && test(gEnv.windows[i])) return gEnv.windows[i];
        return nullptr;
    }

    // The point of the screen in the drawing area of `window`; false when it
    // is not on the screen.
    bool LocalPoint(CPWnd* window, double rootX, double rootY, int& x, int& y) {
        Win* w = W(window);
        GdkWindow* gdk = w && w->area ? gtk_widget_get_window(w->area) : nullptr;
        if (!gdk || !gtk_widget_get_mapped(w->area)) return false;
        int ox = 0, oy = 0;
        gdk_window_get_origin(gdk, &ox, &oy);
        x = static_cast<int>(std::floor(rootX)) - ox;
        y = static_cast<int>(std::floor(rootY)) - oy;
        return true;
    }

    // Fills the window and point of a mouse event: while a button is held the
    // window that took the press (a pointer grab, wherever the pointer is),
    // else the window under the pointer, else the one that got the event.
    void Aim(PlatformEvent& e, Win* w, double x, double y, double rootX, double rootY) {
        int lx = 0, ly = 0;
        if (RegistryIndex(grabWindow) < 0) grabWindow = nullptr;
        if (grabWindow && e.kind != PlatformEvent::kMouseDown && LocalPoint(grabWindow, rootX, rootY, lx, ly)) {
            e.window = grabWindow;
            e.x = lx;
            e.y = ly;
        } else if (CPWnd* under = WindowAt(rootX, rootY, lx, ly)) {
            e.window = under;
            e.x = lx;
            e.y = ly;
        } else {
            e.window = w->window;
            e.x = static_cast<int>(std::floor(x));
            e.y = static_cast<int>(std::floor(y));
        }
        pointerWindow = e.window;
        pointer = tagPOINT{e.x, e.y};
    }

    static gboolean OnButton(GtkWidget*, GdkEventButton* event, gpointer data) {
        if (event->type != GDK_BUTTON_PRESS && event->type != GDK_BUTTON_RELEASE) return TRUE;
        PlatformEvent e;
        e.kind = event->type == GDK_BUTTON_PRESS ? PlatformEvent::kMouseDown : PlatformEvent::kMouseUp;
        e.modifiers = Modifiers(event->state);
        e.button = event->button == 3 ? 3 : 1;
        gGtk->Aim(e, static_cast<Win*>(data), event->x, event->y, event->x_root, event->y_root);
        gGtk->grabWindow = e.kind == PlatformEvent::kMouseDown ? e.window : nullptr;
        gGtk->PushEvent(e);
        return TRUE;
    }

    static gboolean OnMotion(GtkWidget*, GdkEventMotion* event, gpointer data) {
        PlatformEvent e;
        e.kind = PlatformEvent::kMouseMoved;
        e.modifiers = Modifiers(event->state);
        gGtk->Aim(e, static_cast<Win*>(data), event->x, event->y, event->x_root, event->y_root);
        gGtk->PushEvent(e);
        return TRUE;
    }

    static gboolean OnScroll(GtkWidget*, GdkEventScroll* event, gpointer data) {
        PlatformEvent e;
        e.kind = PlatformEvent::kWheel;
        gGtk->Aim(e, static_cast<Win*>(data), event->x, event->y, event->x_root, event->y_root);
        e.x = e.y = 0;
        const bool sideways = (event->state & GDK_SHIFT_MASK) != 0;
        switch (event->direction) {
            case GDK_SCROLL_UP: (sideways ? e.x : e.y) = -1; break;
            case GDK_SCROLL_DOWN: (sideways ? e.x : e.y) = 1; break;
            case GDK_SCROLL_LEFT: e.x = -1; break;
            case GDK_SCROLL_RIGHT: e.x = 1; break;
            default: break;
        }
        if (e.x || e.y) gGtk->PushEvent(e);
        return TRUE;
    }

    bool EntryHasFocus(GtkWidget* toplevel) {
        GtkWidget* focus = gtk_window_get_focus(GTK_WINDOW(toplevel));
        for (Field* field : fields)
            if (field->entry == focus) return true;
        return false;
    }

    static gboolean OnKey(GtkWidget* toplevel, GdkEventKey* event, gpointer data) {
        if (event->is_modifier) return FALSE;
        const int character = CharacterFor(event->keyval);
        if (character == 0) return FALSE;
        // A text field takes its own keys; Escape and Return still reach the layer.
        if (gGtk->EntryHasFocus(toplevel) && character != kKeyEscape && character != kKeyReturn) return FALSE;
        PlatformEvent e;
        e.kind = event->type == GDK_KEY_PRESS ? PlatformEvent::kKeyDown : PlatformEvent::kKeyUp;
        e.key = character;
        e.modifiers = Modifiers(event->state);
        auto* w = static_cast<Win*>(data);
        const bool pointerHere = RegistryIndex(gGtk->pointerWindow) >= 0 && W(gGtk->pointerWindow) &&
                                 W(gGtk->pointerWindow)->host == w;
        e.window = pointerHere ? gGtk->pointerWindow : w->window;
        e.x = pointerHere ? gGtk->pointer.x : 0;
        e.y = pointerHere ? gGtk->pointer.y : 0;
        gGtk->PushEvent(e);
        return TRUE;
    }

    static gboolean OnDelete(GtkWidget*, GdkEvent*, gpointer data) {
        PlatformEvent e;
        e.kind = PlatformEvent::kCloseBox;
        e.window = static_cast<Win*>(data)->window;
        gGtk->PushEvent(e);
        return TRUE;  // the layer decides
    }

    static gboolean OnScrollBar(GtkRange* range, GtkScrollType type, gdouble value, gpointer data) {
        auto* w = static_cast<Win*>(data);
        PlatformEvent e;
        e.kind = PlatformEvent::kScrollBar;
        e.window = w->window;
        e.bar = GTK_WIDGET(range) == w->vbar ? 1 : 0;
        e.part = kPartThumb;
        e.value = static_cast<int>(std::lround(value));
        for (const ScrollRow& row : kScrollTable)
            if (row.type == type) e.part = row.part;
        gGtk->PushEvent(e);
        return TRUE;  // the layer sets the value
    }

    // The user resized or moved a top-level window: tell the layer once the
    // platform has settled, so that sizes the layer asked for never count.
    static gboolean CheckGeometry(gpointer data) {
        auto* w = static_cast<Win*>(data);
        w->sizeCheck = 0;
        CPWnd* window = w->window;
        if (!w->toplevel || !gtk_widget_get_mapped(w->toplevel)) return G_SOURCE_REMOVE;
        tagRECT client;
        window->GetClientRect(client);
        const int width = gtk_widget_get_allocated_width(w->layout);
        const int height = gtk_widget_get_allocated_height(w->layout);
        if (width > 1 && height > 1 && (width != client.right || height != client.bottom)) {
            PlatformEvent e;
            e.kind = PlatformEvent::kResize;
            e.window = window;
            e.x = width + 2 * window->GetBorderSize();
            e.y = height + window->GetCaptionSize() + window->GetMenuSize() + window->GetBorderSize();
            gGtk->PushEvent(e);
        }
        int x = 0, y = 0;
        gtk_window_get_position(GTK_WINDOW(w->toplevel), &x, &y);
        if ((x != window->winRect.left || y != window->winRect.top) && (x != w->placedAt.x || y != w->placedAt.y)) {
            w->placedAt = tagPOINT{x, y};
            PlatformEvent e;
            e.kind = PlatformEvent::kMove;
            e.window = window;
            e.x = x;
            e.y = y;
            gGtk->PushEvent(e);
        }
        return G_SOURCE_REMOVE;
    }

    static void ScheduleGeometryCheck(Win* w) {
        if (!w->sizeCheck) w->sizeCheck = g_timeout_add(150, CheckGeometry, w);
    }
    static void OnLayoutAllocate(GtkWidget*, GdkRectangle*, gpointer data) { ScheduleGeometryCheck(static_cast<Win*>(data)); }
    static gboolean OnConfigure(GtkWidget*, GdkEvent*, gpointer data) {
        ScheduleGeometryCheck(static_cast<Win*>(data));
        return FALSE;
    }

    static gboolean OnMap(GtkWidget*, GdkEvent*, gpointer data) {
        gGtk->Invalidate(static_cast<Win*>(data)->window);
        if (gGtk->currentCursor != kCursorArrow) gGtk->ApplyCursor(static_cast<Win*>(data));
        return FALSE;
    }

    // ---- Windows -----------------------------------------------------------------------

    GtkWidget* NewArea(Win* w) {
        GtkWidget* area = gtk_drawing_area_new();
        gtk_widget_add_events(area, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK | GDK_POINTER_MOTION_MASK |
                                        GDK_SCROLL_MASK | GDK_STRUCTURE_MASK);
        g_object_set_data(G_OBJECT(area), "gs-window", w->window);
        g_signal_connect(area, "draw", G_CALLBACK(OnDraw), w);
        g_signal_connect(area, "button-press-event", G_CALLBACK(OnButton), w);
        g_signal_connect(area, "button-release-event", G_CALLBACK(OnButton), w);
        g_signal_connect(area, "motion-notify-event", G_CALLBACK(OnMotion), w);
        g_signal_connect(area, "scroll-event", G_CALLBACK(OnScroll), w);
        g_signal_connect(area, "map-event", G_CALLBACK(OnMap), w);
        return area;
    }

    GtkWidget* NewScrollBar(Win* w, GtkOrientation orientation) {
        GtkWidget* bar = gtk_scrollbar_new(orientation, gtk_adjustment_new(0, 0, 100, 1, 10, 10));
        g_signal_connect(bar, "change-value", G_CALLBACK(OnScrollBar), w);
        gtk_widget_set_no_show_all(bar, TRUE);
        return bar;
    }

    void* CreateWindow(CPWnd* window) override {
        auto* w = new Win;
        w->window = window;
        wins.push_back(w);
        Win* parent = IsPlacedChild(window) ? W(window->placeParent) : nullptr;
        if (parent && parent->host) {
            w->host = parent->host;
        } else {
            w->host = w;
            w->toplevel = gtk_window_new(GTK_WINDOW_TOPLEVEL);
            GtkWindow* gw = GTK_WINDOW(w->toplevel);
            g_object_set_data(G_OBJECT(w->toplevel), "gs-window", window);
            gtk_window_set_title(gw, "");
            gtk_window_set_decorated(gw, HasTitleBar(window->style));
            gtk_window_set_deletable(gw, (window->style & (kStyleCloseBox | kStyleDocument | kStyleBehind)) != 0);
            if (window->floating) {
                gtk_window_set_type_hint(gw, GDK_WINDOW_TYPE_HINT_UTILITY);
                if (GtkWindow* main = ParentWindow()) gtk_window_set_transient_for(gw, main);
            }
            GdkGeometry hints{};
            hints.min_width = 60;
            hints.min_height = 40;
            gtk_window_set_geometry_hints(gw, nullptr, &hints, GDK_HINT_MIN_SIZE);
            w->box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
            w->layout = gtk_layout_new(nullptr, nullptr);
            gtk_box_pack_end(GTK_BOX(w->box), w->layout, TRUE, TRUE, 0);
            gtk_container_add(GTK_CONTAINER(w->toplevel), w->box);
            gtk_widget_add_events(w->toplevel, GDK_KEY_PRESS_MASK | GDK_KEY_RELEASE_MASK | GDK_STRUCTURE_MASK);
            g_signal_connect(w->toplevel, "key-press-event", G_CALLBACK(OnKey), w);
            g_signal_connect(w->toplevel, "key-release-event", G_CALLBACK(OnKey), w);
            g_signal_connect(w->toplevel, "delete-event", G_CALLBACK(OnDelete), w);
            g_signal_connect(w->toplevel, "configure-event", G_CALLBACK(OnConfigure), w);
            g_signal_connect(w->layout, "size-allocate", G_CALLBACK(OnLayoutAllocate), w);
            gtk_widget_show(w->box);
            gtk_widget_show(w->layout);
        }
        w->area = NewArea(w);
        GtkLayout* layout = GTK_LAYOUT(w->host->layout);
        gtk_layout_put(layout, w->area, 0, 0);
        if (window->hScroll.present) {
            w->hbar = NewScrollBar(w, GTK_ORIENTATION_HORIZONTAL);
            gtk_layout_put(layout, w->hbar, 0, 0);
        }
        if (window->vScroll.present) {
            w->vbar = NewScrollBar(w, GTK_ORIENTATION_VERTICAL);
            gtk_layout_put(layout, w->vbar, 0, 0);
        }
        window->platformWindow = w;
        PlaceWindow(window);
        return w;
    }

    void DestroyWindow(CPWnd* window) override {
        Win* w = W(window);
        if (!w) return;
        ForgetWindow(window);
        if (pointerWindow == window) pointerWindow = nullptr;
        if (grabWindow == window) grabWindow = nullptr;
        if (w->sizeCheck) g_source_remove(w->sizeCheck);
        if (w->toplevel) {
            // Windows placed in this one lose their widgets with it.
            for (Win* other : wins) {
                if (other == w || other->host != w) continue;
                RemoveEditBoxesOf(other->window);
                other->area = other->hbar = other->vbar = nullptr;
                other->host = nullptr;
            }
            auto found = menus.find(window->menuBar);
            if (found != menus.end()) menus.erase(found);
            gtk_widget_destroy(w->toplevel);
        } else {
            for (GtkWidget* widget : {w->area, w->hbar, w->vbar})
                if (widget) gtk_widget_destroy(widget);
        }
        wins.erase(std::remove(wins.begin(), wins.end(), w), wins.end());
        delete w;
        window->platformWindow = nullptr;
    }

    void PlaceWindow(CPWnd* window) override {
        Win* w = W(window);
        if (!w || !w->area) return;
        tagRECT client;
        window->GetClientRect(client);
        gtk_widget_set_size_request(w->area, client.right, client.bottom);
        if (w->toplevel) {
            const tagRECT& r = window->winRect;
            if (w->placedAt.x != r.left || w->placedAt.y != r.top) {
                gtk_window_move(GTK_WINDOW(w->toplevel), r.left, r.top);
                w->placedAt = tagPOINT{r.left, r.top};
            }
            gtk_window_resize(GTK_WINDOW(w->toplevel), client.right, client.bottom + MenuBarHeight(w));
        } else if (w->host) {
            const tagPOINT at = Offset(w);
            gtk_layout_move(GTK_LAYOUT(w->host->layout), w->area, at.x, at.y);
        }
        UpdateScrollBars(window);
    }

    void ShowWindow(CPWnd* window, bool show) override {
        Win* w = W(window);
        if (!w || !w->area) return;
        if (show) {
            gtk_widget_show(w->area);
            if (w->toplevel) gtk_widget_show(w->toplevel);
        } else {
            gtk_widget_hide(w->area);
            if (w->toplevel) gtk_widget_hide(w->toplevel);
        }
        UpdateScrollBars(window);
    }

    void SetWindowTitle(CPWnd* window, const char* title) override {
        Win* w = W(window);
        if (w && w->toplevel) gtk_window_set_title(GTK_WINDOW(w->toplevel), LayerUtf8(title, 255).c_str());
    }

    void SelectWindow(CPWnd* window) override {
        Win* w = W(window);
        if (w && w->toplevel && gtk_widget_get_visible(w->toplevel)) gtk_window_present(GTK_WINDOW(w->toplevel));
    }

    void RestackWindow(CPWnd* window, CPWnd* other, bool front) override {
        Win* w = W(window);
        if (!w || !w->toplevel) return;
        GdkWindow* gdk = gtk_widget_get_window(w->toplevel);
        if (!gdk) return;
        Win* o = W(other);
        GdkWindow* sibling = o && o->toplevel ? gtk_widget_get_window(o->toplevel) : nullptr;
        if (front || !sibling)
            gdk_window_raise(gdk);
        else
            gdk_window_restack(gdk, sibling, FALSE);
    }

    void SetFullScreen(CPWnd* window, bool on) override {
        Win* w = W(window);
        if (!w || !w->toplevel) return;
        if (on)
            gtk_window_fullscreen(GTK_WINDOW(w->toplevel));
        else
            gtk_window_unfullscreen(GTK_WINDOW(w->toplevel));
    }

    void Present(CPWnd* window, const tagRECT& r) override {
        Win* w = W(window);
        if (!w || !w->area) return;
        const int left = std::max(r.left, 0);
        const int top = std::max(r.top, 0);
        if (r.right > left && r.bottom > top) gtk_widget_queue_draw_area(w->area, left, top, r.right - left, r.bottom - top);
    }

    void UpdateBar(Win* w, GtkWidget* bar, const CPScrollBar& model, bool vertical) {
        if (!bar) return;
        const bool visible = model.present && model.visible && w->window->shown;
        if (!visible) {
            gtk_widget_hide(bar);
            return;
        }
        tagRECT client;
        w->window->GetClientRect(client);
        const tagPOINT at = Offset(w);
        const int thickness = w->window->GetScrollSize();
        int x, y, length;
        if (vertical) {
            x = client.right - thickness;
            y = 0;
            length = std::min(model.rect.bottom, client.bottom);
            gtk_widget_set_size_request(bar, thickness, std::max(length, 1));
        } else {
            x = 0;
            y = client.bottom - thickness;
            length = std::min(model.rect.right, client.right);
            gtk_widget_set_size_request(bar, std::max(length, 1), thickness);
        }
        gtk_layout_move(GTK_LAYOUT(w->host->layout), bar, at.x + x, at.y + y);
        const double span = model.Span();
        const double page = model.page > 0 ? model.page : std::max(length, 1);
        GtkAdjustment* adjustment = gtk_range_get_adjustment(GTK_RANGE(bar));
        gtk_adjustment_configure(adjustment, model.value, model.minimum, span + page, std::floor(span / 80),
                                 std::floor(span / 8), page);
        gtk_widget_show(bar);
    }

    void UpdateScrollBars(CPWnd* window) override {
        Win* w = W(window);
        if (!w || !w->host) return;
        UpdateBar(w, w->hbar, window->hScroll, false);
        UpdateBar(w, w->vbar, window->vScroll, true);
    }

    // ---- Events ------------------------------------------------------------------------

    bool PollEvent(PlatformEvent& event) override {
        for (int i = 0; i < 200 && g_main_context_pending(nullptr); i++) g_main_context_iteration(nullptr, FALSE);
        return PopEvent(event);
    }

    bool WaitEvent(PlatformEvent& event, int ticks) override {
        if (PollEvent(event)) return true;
        const gint64 deadline = g_get_monotonic_time() + static_cast<gint64>(std::max(ticks, 0)) * 1000000 / 60;
        for (;;) {
            const gint64 now = g_get_monotonic_time();
            if (now >= deadline) return false;
            GSource* timeout = g_timeout_source_new(static_cast<guint>((deadline - now) / 1000 + 1));
            g_source_set_callback(timeout, [](gpointer) -> gboolean { return G_SOURCE_REMOVE; }, nullptr, nullptr);
            g_source_attach(timeout, nullptr);
            g_main_context_iteration(nullptr, TRUE);
            g_source_destroy(timeout);
            g_source_unref(timeout);
            if (PopEvent(event)) return true;
        }
    }

    // ---- Menus -------------------------------------------------------------------------

    static void OnMenuItem(GtkMenuItem* item, gpointer data) {
        if (gMenuUpdating || !gGtk) return;
        auto* menu = static_cast<CPMenu*>(data);
        const int index = GPOINTER_TO_INT(g_object_get_data(G_OBJECT(item), "gs-index"));
        const int m = index / kMenuItems;
        const int i = index % kMenuItems;
        if (GTK_IS_CHECK_MENU_ITEM(item)) {  // the check mark follows the layer, not the click
            gMenuUpdating = true;
            gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(item), menu->menus[m].items[i].checked);
            gMenuUpdating = false;
        }
        PlatformEvent e;
        e.kind = PlatformEvent::kMenu;
        e.menu = kFirstMenuId + m;
        e.item = i + 1;
        gGtk->PushEvent(e);
    }

    void MenuAttach(CPMenu* menu) override {
        Win* w = W(menu->window);
        if (!w || !w->toplevel) return;
        MenuWidgets& widgets = menus[menu];
        if (!widgets.bar) {
            widgets.bar = gtk_menu_bar_new();
            gtk_box_pack_start(GTK_BOX(w->box), widgets.bar, FALSE, FALSE, 0);
            gtk_widget_show(widgets.bar);
        }
        for (int m = 0; m < menu->menuCount; m++) {
            if (!widgets.tops[m]) MenuAddTop(menu, m);
            for (int i = 0; i < menu->menus[m].itemCount; i++)
                if (!widgets.items[m][i]) MenuAddItem(menu, m, i);
        }
    }

    void MenuAddTop(CPMenu* menu, int index) override {
        auto found = menus.find(menu);
        if (found == menus.end() || index < 0 || index >= kMenuCount) return;
        MenuWidgets& widgets = found->second;
        widgets.tops[index] = gtk_menu_item_new_with_label(LayerUtf8(menu->menus[index].title, 63).c_str());
        widgets.menus[index] = gtk_menu_new();
        gtk_menu_item_set_submenu(GTK_MENU_ITEM(widgets.tops[index]), widgets.menus[index]);
        gtk_widget_set_sensitive(widgets.tops[index], menu->menus[index].enabled);
        gtk_menu_shell_append(GTK_MENU_SHELL(widgets.bar), widgets.tops[index]);
        gtk_widget_show_all(widgets.tops[index]);
    }

    void MenuAddItem(CPMenu* menu, int m, int i) override {
        auto found = menus.find(menu);
        if (found == menus.end() || m < 0 || m >= kMenuCount || i < 0 || i >= kMenuItems) return;
        MenuWidgets& widgets = found->second;
        if (!widgets.menus[m]) return;
        const CPMenu::Item& model = menu->menus[m].items[i];
        GtkWidget* item = nullptr;
        if (model.separator) {
            item = gtk_separator_menu_item_new();
        } else {
            // Options carry a check mark; actions are plain items.
            const std::string label = LayerUtf8(model.label, 63);
            if (model.checkable) {
                item = gtk_check_menu_item_new_with_label(label.c_str());
                gMenuUpdating = true;
                gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(item), model.checked);
                gMenuUpdating = false;
            } else {
                item = gtk_menu_item_new_with_label(label.c_str());
            }
            gtk_widget_set_sensitive(item, model.enabled);
            if (model.shortcut) {
                const guint keyval = gdk_unicode_to_keyval(static_cast<guint32>(model.shortcut));
                GtkWidget* label = gtk_bin_get_child(GTK_BIN(item));
                if (GTK_IS_ACCEL_LABEL(label))
                    gtk_accel_label_set_accel(GTK_ACCEL_LABEL(label), gdk_keyval_to_lower(keyval), GDK_CONTROL_MASK);
            }
            g_object_set_data(G_OBJECT(item), "gs-index", GINT_TO_POINTER(m * kMenuItems + i));
            g_signal_connect(item, "activate", G_CALLBACK(OnMenuItem), menu);
        }
        widgets.items[m][i] = item;
        gtk_menu_shell_append(GTK_MENU_SHELL(widgets.menus[m]), item);
        gtk_widget_show(item);
    }

    void MenuUpdateItem(CPMenu* menu, int m, int i) override {
        auto found = menus.find(menu);
        if (found == menus.end() || m < 0 || m >= kMenuCount || i < 0 || i >= kMenuItems) return;
        GtkWidget* item = found->second.items[m][i];
        if (!item || GTK_IS_SEPARATOR_MENU_ITEM(item)) return;
        const CPMenu::Item& model = menu->menus[m].items[i];
        if (GTK_IS_CHECK_MENU_ITEM(item)) {
            gMenuUpdating = true;
            gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(item), model.checked);
            gMenuUpdating = false;
        }
        gtk_widget_set_sensitive(item, model.enabled);
    }

    void MenuRemove(CPMenu* menu) override {
        auto found = menus.find(menu);
        if (found == menus.end()) return;
        if (found->second.bar) gtk_widget_destroy(found->second.bar);
        menus.erase(found);
    }

    // ---- Cursors, clock, screen --------------------------------------------------------

    GdkCursor* CursorFor(int id) {
        auto found = cursors.find(id);
        if (found != cursors.end()) return found->second;
        GdkDisplay* display = gdk_display_get_default();
        GdkCursor* cursor = nullptr;
        for (const CursorName& row : kCursorNames)
            if (row.cursor == id) cursor = gdk_cursor_new_from_name(display, row.name);
        if (!cursor && id >= kCursorMove) {
            constexpr int kSize = 32;
            cairo_surface_t* picture = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, kSize, kSize);
            cairo_t* cr = cairo_create(picture);
            DrawCursorShape(cr, id, kSize);
            cairo_destroy(cr);
            int hx = 0, hy = 0;
            CursorHotSpot(id, kSize, hx, hy);
            cursor = gdk_cursor_new_from_surface(display, picture, hx, hy);
            cairo_surface_destroy(picture);
        }
        if (!cursor) cursor = gdk_cursor_new_from_name(display, "default");
        cursors[id] = cursor;
        return cursor;
    }

    void ApplyCursor(Win* w) {
        if (!w->area) return;
        if (GdkWindow* gdk = gtk_widget_get_window(w->area)) gdk_window_set_cursor(gdk, CursorFor(currentCursor));
    }

    void SetCursor(int cursor) override {
        if (cursor == currentCursor) return;
        currentCursor = cursor;
        for (Win* w : wins) ApplyCursor(w);
    }

    void Beep(int) override {
        if (GdkDisplay* display = gdk_display_get_default()) gdk_display_beep(display);
    }

    // The desktop's scale factor (GDK_SCALE, or the monitor's own).
    int SurfaceScale() override {
        GdkDisplay* display = gdk_display_get_default();
        if (!display) return 1;
        GdkMonitor* monitor = gdk_display_get_primary_monitor(display);
        if (!monitor && gdk_display_get_n_monitors(display) > 0) monitor = gdk_display_get_monitor(display, 0);
        return monitor ? std::max(1, gdk_monitor_get_scale_factor(monitor)) : 1;
    }

    void ScreenSize(long& width, long& height) override {
        width = 1280;
        height = 1024;
        GdkDisplay* display = gdk_display_get_default();
        if (!display) return;
        GdkMonitor* monitor = gdk_display_get_primary_monitor(display);
        if (!monitor && gdk_display_get_n_monitors(display) > 0) monitor = gdk_display_get_monitor(display, 0);
        if (!monitor) return;
        GdkRectangle area;
        gdk_monitor_get_geometry(monitor, &area);
        if (area.width > 0 && area.height > 0) {
            width = area.width;
            height = area.height;
        }
    }

    unsigned long Ticks() override {
        return static_cast<unsigned long>((g_get_monotonic_time() - startMicros) * 60 / 1000000);
    }

    void WaitUntil(unsigned long ticks) override {
        while (Ticks() < ticks) g_usleep(1000);
    }

    // ---- Standard boxes and dialogs ----------------------------------------------------

    // A message or question box wide enough for its whole title (with room
    // for the window manager's buttons beside it) and a comfortable line.
    static void FitTitle(GtkWidget* dialog, const char* title) {
        PangoLayout* layout = gtk_widget_create_pango_layout(dialog, LayerUtf8(title, 255).c_str());
        PangoFontDescription* bold = pango_font_description_from_string("Sans Bold 11");
        pango_layout_set_font_description(layout, bold);
        int width = 0, height = 0;
        pango_layout_get_pixel_size(layout, &width, &height);
        pango_font_description_free(bold);
        g_object_unref(layout);
        constexpr int kTitleRoom = 180;   // close button, margins
        constexpr int kLeastWidth = 380;
        gtk_window_set_default_size(GTK_WINDOW(dialog), std::max(width + kTitleRoom, kLeastWidth), -1);
    }

    void ShowError(const char* text) override {
        GtkWidget* dialog = gtk_message_dialog_new(ParentWindow(), GTK_DIALOG_MODAL, GTK_MESSAGE_ERROR,
                                                   GTK_BUTTONS_OK, "%s", LayerUtf8(text, 255).c_str());
        const char* title = gEnv.programName[0] ? gEnv.programName : "Glimmerstroll";
        gtk_window_set_title(GTK_WINDOW(dialog), title);
        FitTitle(dialog, title);
        gtk_dialog_run(GTK_DIALOG(dialog));
        gtk_widget_destroy(dialog);
    }

    int AskYesNo(const char* text, const char* title) override {
        GtkWidget* dialog = gtk_message_dialog_new(ParentWindow(), GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION,
                                                   GTK_BUTTONS_YES_NO, "%s", LayerUtf8(text, 255).c_str());
        gtk_window_set_title(GTK_WINDOW(dialog), LayerUtf8(title, 255).c_str());
        FitTitle(dialog, title);
        const int response = gtk_dialog_run(GTK_DIALOG(dialog));
        gtk_widget_destroy(dialog);
        return response == GTK_RESPONSE_YES ? 1 : 0;
    }

    int AskYesNoCancel(const char* text, const char* title) override {
        GtkWidget* dialog = gtk_message_dialog_new(ParentWindow(), GTK_DIALOG_MODAL, GTK_MESSAGE_QUESTION,
                                                   GTK_BUTTONS_NONE, "%s", LayerUtf8(text, 255).c_str());
        gtk_dialog_add_buttons(GTK_DIALOG(dialog), "_Cancel", GTK_RESPONSE_CANCEL, "_No", GTK_RESPONSE_NO, "_Yes",
                               GTK_RESPONSE_YES, nullptr);
        gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_YES);
        gtk_window_set_title(GTK_WINDOW(dialog), LayerUtf8(title, 255).c_str());
        FitTitle(dialog, title);
        const int response = gtk_dialog_run(GTK_DIALOG(dialog));
        gtk_widget_destroy(dialog);
        return response == GTK_RESPONSE_YES ? 1 : response == GTK_RESPONSE_NO ? 0 : -1;
    }

    // Filters from "Description|*.a;*.b|Description|*.c|".
    static void AddFilters(GtkFileChooser* chooser, const char* list) {
        if (!list) return;
        std::vector<std::string> parts;
        std::string part;
        for (const char* c = list; *c; c++) {
            if (*c == '|') {
                parts.push_back(part);
                part.clear();
            } else {
                part += *c;
            }
        }
        if (!part.empty()) parts.push_back(part);
        for (size_t i = 0; i + 1 < parts.size(); i += 2) {
            GtkFileFilter* filter = gtk_file_filter_new();
            gtk_file_filter_set_name(filter, LayerUtf8(parts[i].c_str(), 255).c_str());
            size_t start = 0;
            const std::string& patterns = parts[i + 1];
            while (start <= patterns.size()) {
                size_t end = patterns.find(';', start);
                if (end == std::string::npos) end = patterns.size();
                std::string pattern = patterns.substr(start, end - start);
                if (pattern == "*.*") pattern = "*";
                if (!pattern.empty()) {
                    gtk_file_filter_add_pattern(filter, pattern.c_str());
                    std::string upper = pattern;
                    for (char& ch : upper) ch = static_cast<char>(g_ascii_toupper(ch));
                    if (upper != pattern) gtk_file_filter_add_pattern(filter, upper.c_str());
                }
                start = end + 1;
            }
            gtk_file_chooser_add_filter(chooser, filter);
        }
    }

    int ChooseFile(bool save, FSpec* result, const char* filter, const char* extension, FSpec* start) {
        GtkWidget* dialog = gtk_file_chooser_dialog_new(
            save ? "Save" : "Open", ParentWindow(), save ? GTK_FILE_CHOOSER_ACTION_SAVE : GTK_FILE_CHOOSER_ACTION_OPEN,
            "_Cancel", GTK_RESPONSE_CANCEL, save ? "_Save" : "_Open", GTK_RESPONSE_ACCEPT, nullptr);
        gtk_window_set_default_size(GTK_WINDOW(dialog), 800, 560);
        GtkFileChooser* chooser = GTK_FILE_CHOOSER(dialog);
        AddFilters(chooser, filter);
        char folder[256];
        FileDialogStartFolder(start, folder, sizeof folder);
        if (folder[0]) gtk_file_chooser_set_current_folder(chooser, folder);
        if (save) {
            gtk_file_chooser_set_do_overwrite_confirmation(chooser, TRUE);
            if (start && !IsEmptySpec(*start) && !g_file_test(start->name, G_FILE_TEST_IS_DIR)) {
                const char* name = std::strrchr(start->name, '/');
                if (name && name[1]) gtk_file_chooser_set_current_name(chooser, name + 1);
            }
        }
        int chosen = 0;
        if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_ACCEPT) {
            if (char* name = gtk_file_chooser_get_filename(chooser)) {
                char path[256];
                std::snprintf(path, sizeof path, "%s", name);
                g_free(name);
                if (save) AddDefaultExtension(path, sizeof path, extension);
                if (result) MakePathSpec(*result, path);
                chosen = 1;
            }
        }
        gtk_widget_destroy(dialog);
        return chosen;
    }

    int ChooseOpenFile(CPWnd*, FSpec* result, const char* filter, const char* extension, FSpec* start,
                       bool) override {
        return ChooseFile(false, result, filter, extension, start);
    }

    int ChooseSaveFile(CPWnd*, FSpec* result, const char* filter, const char* extension, FSpec* start) override {
        return ChooseFile(true, result, filter, extension, start);
    }

    int ChooseColour(long& colour, const char* title) override {
        GtkWidget* dialog = gtk_color_chooser_dialog_new(title, ParentWindow());
        gtk_color_chooser_set_use_alpha(GTK_COLOR_CHOOSER(dialog), FALSE);
        GdkRGBA rgba{(colour & 0xFF) / 255.0, ((colour >> 8) & 0xFF) / 255.0, ((colour >> 16) & 0xFF) / 255.0, 1.0};
        gtk_color_chooser_set_rgba(GTK_COLOR_CHOOSER(dialog), &rgba);
        int chosen = 0;
        if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_OK) {
            gtk_color_chooser_get_rgba(GTK_COLOR_CHOOSER(dialog), &rgba);
            auto channel = [](double v) { return static_cast<long>(std::lround(std::clamp(v, 0.0, 1.0) * 255)); };
            colour = channel(rgba.red) | (channel(rgba.green) << 8) | (channel(rgba.blue) << 16);
            chosen = 1;
        }
        gtk_widget_destroy(dialog);
        return chosen;
    }

    int AskString(char* text, int size, const char* title, const char* prompt, const char* hint) override {
        GtkWidget* dialog = gtk_dialog_new_with_buttons(LayerUtf8(title, 255).c_str(), ParentWindow(),
                                                        GTK_DIALOG_MODAL, "_Cancel", GTK_RESPONSE_CANCEL, "_OK",
                                                        GTK_RESPONSE_OK, nullptr);
        gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_OK);
        GtkWidget* content = gtk_dialog_get_content_area(GTK_DIALOG(dialog));
        gtk_container_set_border_width(GTK_CONTAINER(content), 8);
        gtk_box_set_spacing(GTK_BOX(content), 6);
        if (prompt && *prompt) gtk_container_add(GTK_CONTAINER(content), gtk_label_new(LayerUtf8(prompt, 255).c_str()));
        GtkWidget* entry = gtk_entry_new();
        gtk_entry_set_text(GTK_ENTRY(entry), LayerUtf8(text, size).c_str());
        gtk_entry_set_activates_default(GTK_ENTRY(entry), TRUE);
        gtk_container_add(GTK_CONTAINER(content), entry);
        if (hint && *hint) gtk_container_add(GTK_CONTAINER(content), gtk_label_new(LayerUtf8(hint, 255).c_str()));
        gtk_widget_show_all(content);
        int confirmed = 0;
        if (gtk_dialog_run(GTK_DIALOG(dialog)) == GTK_RESPONSE_OK) {
            std::snprintf(text, static_cast<size_t>(size), "%s", gtk_entry_get_text(GTK_ENTRY(entry)));
            confirmed = 1;
        }
        gtk_widget_destroy(dialog);
        return confirmed;
    }

    // ---- The in-place text field -------------------------------------------------------

    void* EditFieldCreate(CPWnd* parent, const tagRECT& r, void* font, const char* text, int limit) override {
        Win* w = W(parent);
        if (!w || !w->host || !w->host->layout) return nullptr;
        auto* field = new Field{parent, gtk_entry_new(), gtk_css_provider_new()};
        LayerFont* layerFont = ResolveFont(font);
        const int pixels = layerFont ? pango_font_description_get_size(layerFont->description) / PANGO_SCALE : 12;
        char css[256];
        std::snprintf(css, sizeof css,
                      "entry { min-height: 0; padding: 0 3px; border-radius: 0; font-family: Sans; font-size: %dpx; }",
                      pixels);
        gtk_css_provider_load_from_data(field->css, css, -1, nullptr);
        gtk_style_context_add_provider(gtk_widget_get_style_context(field->entry), GTK_STYLE_PROVIDER(field->css),
                                       GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
        gtk_entry_set_max_length(GTK_ENTRY(field->entry), limit);
        gtk_entry_set_width_chars(GTK_ENTRY(field->entry), 1);
        gtk_entry_set_text(GTK_ENTRY(field->entry), LayerUtf8(text, limit).c_str());
        gtk_widget_set_size_request(field->entry, r.right - r.left, r.bottom - r.top);
        const tagPOINT at = Offset(w);
        gtk_layout_put(GTK_LAYOUT(w->host->layout), field->entry, at.x + r.left, at.y + r.top);
        gtk_widget_show(field->entry);
        fields.push_back(field);
        return field;
    }

    void EditFieldSetText(void* handle, const char* text) override {
        auto* field = static_cast<Field*>(handle);
        gtk_entry_set_text(GTK_ENTRY(field->entry), LayerUtf8(text, 255).c_str());
    }

    void EditFieldGetText(void* handle, char* text, int max) override {
        if (text && max > 0)
            std::snprintf(text, static_cast<size_t>(max), "%s", gtk_entry_get_text(GTK_ENTRY(static_cast<Field*>(handle)->entry)));
    }

    void EditFieldFocus(void* handle) override {
        GtkWidget* entry = static_cast<Field*>(handle)->entry;
        gtk_widget_grab_focus(entry);
        gtk_editable_set_position(GTK_EDITABLE(entry), -1);
    }

    void EditFieldKey(void* handle, int character) override {
        GtkEditable* editable = GTK_EDITABLE(static_cast<Field*>(handle)->entry);
        int position = gtk_editable_get_position(editable);
        if (character == kKeyBackspace) {
            if (position > 0) gtk_editable_delete_text(editable, position - 1, position);
        } else if (character >= 32 && character < 256 && character != kKeyDelete) {
            const char byte = static_cast<char>(character);
            const std::string utf8 = LayerUtf8(&byte, 1);
            gtk_editable_insert_text(editable, utf8.c_str(), static_cast<int>(utf8.size()), &position);
            gtk_editable_set_position(editable, position);
        }
    }

    void EditFieldClick(void*, int, int) override {}

    void EditFieldDraw(void* handle) override { gtk_widget_queue_draw(static_cast<Field*>(handle)->entry); }

    void EditFieldRemove(void* handle) override {
        auto* field = static_cast<Field*>(handle);
        fields.erase(std::remove(fields.begin(), fields.end(), field), fields.end());
        GtkWidget* toplevel = gtk_widget_get_toplevel(field->entry);
        gtk_widget_destroy(field->entry);
        g_object_unref(field->css);
        if (GTK_IS_WINDOW(toplevel)) gtk_window_set_focus(GTK_WINDOW(toplevel), nullptr);
        delete field;
    }

    // ---- Pictures of the screen --------------------------------------------------------

    static int SavePixbuf(GdkWindow* gdk, int x, int y, int width, int height, const char* path) {
        if (!gdk || width <= 0 || height <= 0 || !path) return 0;
        GdkPixbuf* picture = gdk_pixbuf_get_from_window(gdk, x, y, width, height);
        if (!picture) return 0;
        const gboolean saved = gdk_pixbuf_save(picture, path, "png", nullptr, nullptr);
        g_object_unref(picture);
        return saved ? 1 : 0;
    }

    // Lets GTK lay out and paint what is pending: its frame clock ticks on
    // a timer, so this gives it a few frames' time.
    void Settle() {
        const gint64 until = g_get_monotonic_time() + 120000;
        while (g_get_monotonic_time() < until) {
            while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
            g_usleep(2000);
        }
        if (GdkDisplay* display = gdk_display_get_default()) gdk_display_sync(display);
    }

    // The window as it is on the screen (menu bar included), or its surface
    // when it is not showing.
    int WriteWindowPNG(CPWnd* window, const char* path) override {
        Win* w = W(window);
        Settle();
        GtkWidget* widget = w ? (w->toplevel ? w->toplevel : w->area) : nullptr;
        if (widget && gtk_widget_get_mapped(widget))
            return SavePixbuf(gtk_widget_get_window(widget), 0, 0, gtk_widget_get_allocated_width(widget),
                              gtk_widget_get_allocated_height(widget), path);
        return WindowBackend::WriteWindowPNG(window, path);
    }

    int WriteScreen(const char* path) {
        Settle();
        GdkWindow* root = gdk_get_default_root_window();
        return root ? SavePixbuf(root, 0, 0, gdk_window_get_width(root), gdk_window_get_height(root), path) : 0;
    }

    CPWnd* pointerWindow = nullptr;
    CPWnd* grabWindow = nullptr;  // took the press of the button held now
    tagPOINT pointer{0, 0};

private:
    gint64 startMicros = 0;
    int currentCursor = kCursorArrow;
    std::vector<Win*> wins;
    std::map<CPMenu*, MenuWidgets> menus;
    std::vector<Field*> fields;
    std::map<int, GdkCursor*> cursors;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) int GsStartGtkWindowLayer() {
    if (!gtk_init_check(nullptr, nullptr)) {
        std::fprintf(stderr, "glimmerstroll: no display could be opened; running without one\n");
        return 0;
    }
    auto* backend = new GtkBackend;
    gGtk = backend;
    AdoptStartedBackend(backend);
    return 1;
}

WindowPlatform StartWindowLayer() {
    const char* setting = std::getenv("GLIMMERSTROLL_PLATFORM");
    if (ChooseWindowPlatform(setting, DisplayPresent()) == WindowPlatform::Gtk && GsStartGtkWindowLayer())
        return WindowPlatform::Gtk;
    StartHeadlessWindowLayer();
    return WindowPlatform::Headless;
}

int WriteScreenPNG(const char* path) {
    if (!gGtk || GetWindowBackend() != gGtk) return 0;
    return gGtk->WriteScreen(path);
}
