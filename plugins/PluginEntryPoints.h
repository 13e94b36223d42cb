// SPDX-License-Identifier: GPL-2.0-or-later
// The frei0r entry points, included once by each plug-in's source file after it
// has declared, in namespace gs::plugin, its kind (kKind), its name (kName)
// and its one-line explanation (kExplanation). Everything else lives in
// PluginCore; the source passes no input frame on.
// frei0r.h is a C header without C++ guards.
extern "C" {
#include <frei0r.h>
}

#include "plugins/PluginCore.h"

extern "C" {

int f0r_init() { return gs::PluginInit(); }
void f0r_deinit() { gs::PluginDeinit(); }

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    info->name = gs::plugin::kName;
    info->author = "Glimmerstroll";
    info->plugin_type =
        gs::plugin::kKind == gs::PluginKind::Filter ? F0R_PLUGIN_TYPE_FILTER : F0R_PLUGIN_TYPE_SOURCE;
    info->color_model = F0R_COLOR_MODEL_RGBA8888;
    info->frei0r_version = FREI0R_MAJOR_VERSION;
    info->major_version = 1;
    info->minor_version = 1;
    info->num_params = gs::PluginParamCount();
    info->explanation = gs::plugin::kExplanation;
}

void f0r_get_param_info(f0r_param_info_t* info, int index) { gs::PluginParamInfo(gs::plugin::kKind, info, index); }

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
    return gs::PluginConstruct(gs::plugin::kKind, width, height);
}

void f0r_destruct(f0r_instance_t instance) { gs::PluginDestruct(static_cast<gs::PluginInstance*>(instance)); }

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
    gs::PluginSetParam(static_cast<gs::PluginInstance*>(instance), param, index);
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
    gs::PluginGetParam(static_cast<gs::PluginInstance*>(instance), param, index);
}

void f0r_update(f0r_instance_t instance, double time, const uint32_t* inframe, uint32_t* outframe) {
    gs::PluginUpdate(static_cast<gs::PluginInstance*>(instance), time,
                     gs::plugin::kKind == gs::PluginKind::Filter ? inframe : nullptr, outframe,
                     __builtin_return_address(0));
}

}  // extern "C"
