// SPDX-License-Identifier: GPL-2.0-or-later
// frei0r filter "glimmerstroll_filter": the host's input frame is the picture and
// the show's keys move the camera over it. Every frame's input is taken afresh,
// so the camera pans and zooms over moving video as well as over stills.
#include "plugins/PluginCore.h"

namespace gs::plugin {
constexpr PluginKind kKind = PluginKind::Filter;
constexpr const char* kName = "glimmerstroll_filter";
constexpr const char* kExplanation =
    "Pans and zooms over the input with the camera moves of a Glimmerstroll show (.gsx)";
}  // namespace gs::plugin

#include "plugins/PluginEntryPoints.h"
