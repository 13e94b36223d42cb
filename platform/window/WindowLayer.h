// SPDX-License-Identifier: GPL-2.0-or-later
// Starting and stopping the window layer. The editor calls StartWindowLayer()
// before it makes its first window; the render path never does.
#pragma once

class HeadlessBackend;

enum class WindowPlatform { Headless, Gtk };

// The backend for a GLIMMERSTROLL_PLATFORM setting ("headless" or "gtk";
// null or anything else: GTK when a display is present, else headless).
WindowPlatform ChooseWindowPlatform(const char* setting, bool displayPresent);
// True when DISPLAY or WAYLAND_DISPLAY names a display.
bool DisplayPresent();

// Installs a headless backend and returns it (owned by the layer). Any
// backend started before is stopped first.
HeadlessBackend* StartHeadlessWindowLayer();
// Picks the backend from GLIMMERSTROLL_PLATFORM and the display and installs
// it; GTK falls back to headless when it cannot open the display. Defined
// with the GTK backend (gs_window_gtk).
WindowPlatform StartWindowLayer();
// Installs the GTK backend and returns 1, or returns 0 and installs nothing
// when no display could be opened. Defined with the GTK backend, which is
// also built as a module of its own (Glimmerstroll-gtk.so) that the effect
// module loads at run time by this name, so that the effect never links GTK.
extern "C" int GsStartGtkWindowLayer();
constexpr const char* kGtkWindowLayerEntry = "GsStartGtkWindowLayer";
// Takes the windows' platform windows away, uninstalls and deletes the backend.
void StopWindowLayer();

// Writes the whole screen to a PNG file when the GTK backend runs; 1 on
// success, 0 otherwise (defined with the GTK backend).
int WriteScreenPNG(const char* path);
