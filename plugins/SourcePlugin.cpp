// frei0r source "glimmerstroll": renders a show file. Each update draws the
// show's frame at time x fps (to the nearest frame) at the host's frame size.
// frei0r.h is a C header without C++ guards.
extern "C" {
#include <frei0r.h>
}

#include "plugins/PluginCore.h"

using gs::PluginKind;

extern "C" {

int f0r_init() { return gs::PluginInit(); }
void f0r_deinit() { gs::PluginDeinit(); }

void f0r_get_plugin_info(f0r_plugin_info_t* info) {
    info->name = "glimmerstroll";
    info->author = "Glimmerstroll";
    info->plugin_type = F0R_PLUGIN_TYPE_SOURCE;
    info->color_model = F0R_COLOR_MODEL_RGBA8888;
    info->frei0r_version = FREI0R_MAJOR_VERSION;
    info->major_version = 1;
    info->minor_version = 1;
    info->num_params = gs::kPluginParams;
    info->explanation = "Pans and zooms on a still picture: renders a Glimmerstroll show (.gsx)";
}

void f0r_get_param_info(f0r_param_info_t* info, int index) { gs::PluginParamInfo(PluginKind::Source, info, index); }

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
    return gs::PluginConstruct(PluginKind::Source, width, height);
}

void f0r_destruct(f0r_instance_t instance) { gs::PluginDestruct(static_cast<gs::PluginInstance*>(instance)); }

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
    gs::PluginSetParam(static_cast<gs::PluginInstance*>(instance), param, index);
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
    gs::PluginGetParam(static_cast<gs::PluginInstance*>(instance), param, index);
}

void f0r_update(f0r_instance_t instance, double time, const uint32_t*, uint32_t* outframe) {
    gs::PluginUpdate(static_cast<gs::PluginInstance*>(instance), time, nullptr, outframe,
                     __builtin_return_address(0));
}

}  // extern "C"
