// SPDX-License-Identifier: GPL-2.0-or-later
// frei0r source "glimmerstroll": renders a show file. Each update draws the
// show's frame at time x fps (to the nearest frame) at the host's frame size.
#include "plugins/PluginCore.h"

namespace gs::plugin {
constexpr PluginKind kKind = PluginKind::Source;
constexpr const char* kName = "glimmerstroll";
constexpr const char* kExplanation = "Pans and zooms on a still picture: renders a Glimmerstroll show (.gsx)";
}  // namespace gs::plugin

#include "plugins/PluginEntryPoints.h"
