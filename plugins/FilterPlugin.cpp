// frei0r filter "glimmerstroll_filter": the host's input frame is the picture and
// the show's keys move the camera over it. Every frame's input is taken afresh,
// so the camera pans and zooms over moving video as well as over stills.
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
    info->name = "glimmerstroll_filter";
    info->author = "Glimmerstroll";
    info->plugin_type = F0R_PLUGIN_TYPE_FILTER;
    info->color_model = F0R_COLOR_MODEL_RGBA8888;
    info->frei0r_version = FREI0R_MAJOR_VERSION;
    info->major_version = 1;
    info->minor_version = 1;
    info->num_params = gs::kPluginParams;
    info->explanation = "Pans and zooms over the input with the camera moves of a Glimmerstroll show (.gsx)";
}

void f0r_get_param_info(f0r_param_info_t* info, int index) { gs::PluginParamInfo(PluginKind::Filter, info, index); }

f0r_instance_t f0r_construct(unsigned int width, unsigned int height) {
    return gs::PluginConstruct(PluginKind::Filter, width, height);
}

void f0r_destruct(f0r_instance_t instance) { gs::PluginDestruct(static_cast<gs::PluginInstance*>(instance)); }

void f0r_set_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
    gs::PluginSetParam(static_cast<gs::PluginInstance*>(instance), param, index);
}

void f0r_get_param_value(f0r_instance_t instance, f0r_param_t param, int index) {
    gs::PluginGetParam(static_cast<gs::PluginInstance*>(instance), param, index);
}

void f0r_update(f0r_instance_t instance, double time, const uint32_t* inframe, uint32_t* outframe) {
    gs::PluginUpdate(static_cast<gs::PluginInstance*>(instance), time, inframe, outframe,
                     __builtin_return_address(0));
}

}  // extern "C"
