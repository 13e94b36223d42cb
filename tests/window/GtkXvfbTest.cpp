// SPDX-License-Identifier: GPL-2.0-or-later
// The GTK backend on a private Xvfb display: a main window with a menu bar
// and a scrolled child opens, a menu command, a chord and a key arrive as
// messages, the scroll bar steps by the layer's rule, a screenshot is taken,
// and the loop ends with the code the window posts.
#include <gtk/gtk.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "WindowTestUtil.h"
#include "tests/common/Xvfb.h"

namespace {

GtkWidget* FindWidget(GtkWidget* widget, GType type) {
    if (G_TYPE_CHECK_INSTANCE_TYPE(widget, type)) return widget;
    if (!GTK_IS_CONTAINER(widget)) return nullptr;
    GList* children = gtk_container_get_children(GTK_CONTAINER(widget));
    GtkWidget* found = nullptr;
    for (GList* c = children; c && !found; c = c->next) found = FindWidget(GTK_WIDGET(c->data), type);
    g_list_free(children);
    return found;
}

GtkWidget* MainToplevel() {
    GList* toplevels = gtk_window_list_toplevels();
    GtkWidget* found = nullptr;
    for (GList* t = toplevels; t; t = t->next)
        if (const char* title = gtk_window_get_title(GTK_WINDOW(t->data)); title && std::string(title) == "Glimmerstroll")
            found = GTK_WIDGET(t->data);
    g_list_free(toplevels);
    return found;
}

void PutKey(GtkWidget* toplevel, guint keyval, guint state, bool press) {
    GdkDisplay* display = gtk_widget_get_display(toplevel);
    GdkEvent* event = gdk_event_new(press ? GDK_KEY_PRESS : GDK_KEY_RELEASE);
    event->key.window = GDK_WINDOW(g_object_ref(gtk_widget_get_window(toplevel)));
    event->key.send_event = TRUE;
    event->key.time = GDK_CURRENT_TIME;
    event->key.state = state;
    event->key.keyval = keyval;
    GdkKeymapKey* keys = nullptr;
    gint count = 0;
    if (gdk_keymap_get_entries_for_keyval(gdk_keymap_get_for_display(display), keyval, &keys, &count) && count > 0)
        event->key.hardware_keycode = static_cast<guint16>(keys[0].keycode);
    g_free(keys);
    gdk_event_set_device(event, gdk_seat_get_keyboard(gdk_display_get_default_seat(display)));
    gdk_event_put(event);
    gdk_event_free(event);
}

struct RunRecord {
    std::vector<Delivered> log;
    std::string screenshot = std::string(GS_BINARY_DIR) + "/testhome/window_gtk_screen.png";
    guint accelKey = 0;
    GdkModifierType accelMods = GdkModifierType(0);
    int scrollValue = -1;
    int scrollSpan = 0;
    int screenWritten = 0;
};

class MainWindow : public CPWnd {
public:
    explicit MainWindow(RunRecord& r) : run(r) {}
    long HandleEvent(unsigned int msg, long wParam, long lParam) override {
        if (msg != kMsgPaint && msg != kMsgMouseMoved) run.log.push_back(Delivered{"main", msg, wParam, lParam});
        if (msg == kMsgPaint) OnDraw();
        if (msg == kMsgPaint && !driving) {
            driving = true;
            g_timeout_add(300, Drive, this);
            g_timeout_add(20000, GiveUp, this);
        }
        if (msg == kMsgKeyDown && wParam == 'a') {
            run.screenWritten = WriteScreenPNG(run.screenshot.c_str());
            PostAMessage(this, kMsgEndLoop, 7, 0);
        }
        return 1;
    }
    void OnDraw() override {
        tagRECT r;
        GetClientRect(r);
        DrawBar(0x0000FF, r);
        DrawBar(0xFFFFFF, tagRECT{20, 20, 300, 60});
        DrawBox(0x000000, tagRECT{20, 20, 299, 59}, 2, kDrawCopy);
        DrawText(0x000000, "Glimmerstroll on GTK", 30, 30, kAlignLeft);
    }

    // Runs inside the loop's wait: choose a menu item, step the scroll bar,
    // then type a chord and a key.
    static gboolean Drive(gpointer data) {
        auto* self = static_cast<MainWindow*>(data);
        GtkWidget* toplevel = MainToplevel();
        GtkWidget* bar = toplevel ? FindWidget(toplevel, GTK_TYPE_MENU_BAR) : nullptr;
        if (bar) {
            GList* tops = gtk_container_get_children(GTK_CONTAINER(bar));
            GtkWidget* menu = tops ? gtk_menu_item_get_submenu(GTK_MENU_ITEM(tops->data)) : nullptr;
            g_list_free(tops);
            GList* items = menu ? gtk_container_get_children(GTK_CONTAINER(menu)) : nullptr;
            if (GList* save = g_list_nth(items, 2)) {
                GtkWidget* label = gtk_bin_get_child(GTK_BIN(save->data));
                if (GTK_IS_ACCEL_LABEL(label))
                    gtk_accel_label_get_accel(GTK_ACCEL_LABEL(label), &self->run.accelKey, &self->run.accelMods);
                gtk_menu_item_activate(GTK_MENU_ITEM(save->data));
            }
            g_list_free(items);
        }
        if (GtkWidget* scroll = toplevel ? FindWidget(toplevel, GTK_TYPE_SCROLLBAR) : nullptr) {
            g_signal_emit_by_name(scroll, "move-slider", GTK_SCROLL_STEP_FORWARD);
            g_signal_emit_by_name(scroll, "move-slider", GTK_SCROLL_PAGE_FORWARD);
        }
        if (toplevel) {
            PutKey(toplevel, GDK_KEY_s, GDK_CONTROL_MASK, true);
            PutKey(toplevel, GDK_KEY_s, GDK_CONTROL_MASK, false);
            PutKey(toplevel, GDK_KEY_a, 0, true);
            PutKey(toplevel, GDK_KEY_a, 0, false);
        }
        return G_SOURCE_REMOVE;
    }
    static gboolean GiveUp(gpointer data) {
        PostAMessage(data, kMsgEndLoop, -1, 0);
        return G_SOURCE_REMOVE;
    }

    RunRecord& run;
    bool driving = false;
};

class Scrolled : public CPWnd {
public:
    explicit Scrolled(RunRecord& r) : run(r) {}
    long HandleEvent(unsigned int msg, long, long) override {
        if (msg == kMsgPaint) {
            tagRECT r;
            GetClientRect(r);
            DrawBar(0x00C000, r);
            run.scrollValue = GetViewScrollY();
        }
        return 1;
    }
    RunRecord& run;
};

TEST(GtkBackend, MenuKeysScrollBarAndScreenshotUnderXvfb) {
    Xvfb server;
    ASSERT_TRUE(server.Start("1024x768x24")) << "Xvfb could not be started (Debian package xvfb)";
    setenv("DISPLAY", server.display.c_str(), 1);
    setenv("GLIMMERSTROLL_PLATFORM", "gtk", 1);
    setenv("NO_AT_BRIDGE", "1", 1);         // no accessibility bus on this display
    setenv("GSETTINGS_BACKEND", "memory", 1);  // nor a session bus for dconf
    ASSERT_EQ(StartWindowLayer(), WindowPlatform::Gtk);

    RunRecord run;
    {
        MainWindow main(run);
        main.Create(nullptr, kStyleBehind, nullptr);
        main.SetTitle("Glimmerstroll");
        CPMenu menu;
        menu.Create(&main);
        menu.AddTopLevel("File", 0);
        menu.AddItem(2005, "New Show/N", 0);
        menu.AddItem(-1, "", 0);
        menu.AddItem(2003, "Save Show/S", 0);
        menu.AddTopLevel("Options", 0);
        menu.AddItem(1001, "Auto-Add Keys", 1);
        main.Show(2);

        Scrolled child(run);
        child.Create(&main, kStyleVScroll, nullptr);
        child.SetWinRect(400, 100, 700, 400, true);
        child.SetViewScrollRange(0, 4096, 0, 300, false);
        run.scrollSpan = child.vScroll.Span();

        EXPECT_EQ(MessageLoop(false), 7);
    }
    StopWindowLayer();

    auto has = [&](const Delivered& d) { return std::find(run.log.begin(), run.log.end(), d) != run.log.end(); };
    EXPECT_TRUE(has(Delivered{"main", kMsgMenu, 2003, 0}));
    EXPECT_TRUE(has(Delivered{"main", kMsgCommandKey, 's', 2048}));
    EXPECT_TRUE(has(Delivered{"main", kMsgKeyDown, 'a', 0}));
    EXPECT_EQ(run.accelKey, static_cast<guint>('s'));
    EXPECT_EQ(run.accelMods, GDK_CONTROL_MASK);
    EXPECT_EQ(run.scrollValue, run.scrollSpan / 80 + run.scrollSpan / 8);

    ASSERT_EQ(run.screenWritten, 1);
    GError* error = nullptr;
    GdkPixbuf* picture = gdk_pixbuf_new_from_file(run.screenshot.c_str(), &error);
    ASSERT_NE(picture, nullptr);
    std::set<uint32_t> colours;
    int red = 0;
    const int channels = gdk_pixbuf_get_n_channels(picture);
    const guchar* pixels = gdk_pixbuf_get_pixels(picture);
    for (int y = 0; y < gdk_pixbuf_get_height(picture); y++)
        for (int x = 0; x < gdk_pixbuf_get_width(picture); x++) {
            const guchar* p = pixels + y * gdk_pixbuf_get_rowstride(picture) + x * channels;
            colours.insert((uint32_t(p[0]) << 16) | (uint32_t(p[1]) << 8) | p[2]);
            if (p[0] == 255 && p[1] == 0 && p[2] == 0) red++;
        }
    g_object_unref(picture);
    EXPECT_GT(colours.size(), 8u);   // menu bar, text, scroll bar: not a blank screen
    EXPECT_GT(red, 100000);          // the main window's own drawing
}

}  // namespace
