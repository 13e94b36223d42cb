// SPDX-License-Identifier: GPL-2.0-or-later
// The effect module's exported entry. The host finds it by the name `main`;
// the C++ name differs so that the compiler does not take it for a program's
// main function.
#include "host/AE_Effect.h"
#include "host/EffectEntry.h"

#define GS_EXPORT __attribute__((visibility("default")))

extern "C" GS_EXPORT PF_Err EffectModuleMain(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                             PF_ParamDef* params[], PF_LayerDef* output,
                                             void* extra) __asm__("main");

extern "C" PF_Err EffectModuleMain(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                   PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return EffectMain(cmd, in_data, out_data, params, output, extra);
}

// Diagnostics for the test host: how many times the show was read from the
// sequence handle.
extern "C" GS_EXPORT long GlimmerstrollShowLoads() { return gShowLoads; }
