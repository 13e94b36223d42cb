// SPDX-License-Identifier: GPL-2.0-or-later
// The effect entry: answers the host's commands, keeps the show in the
// effect's sequence handle, and renders the host's frames from it.
#include "host/EffectEntry.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "doc/CDoc.h"
#include "image/CDIB.h"
#include "motion/Timecode.h"
#include "platform/Env.h"

CDIB executeDIB(0, 0, 32);
EditorRunner gRunEditor = nullptr;
long gShowLoads = 0;

namespace {

// The module's instance as handed to the environment; the module has no
// resources of its own to find through it.
void* gInst = nullptr;

constexpr char kProgramName[] = "Glimmerstroll";
constexpr char kAboutText[] = "Glimmerstroll\rPans and Zooms on Stills";
constexpr A_long kParamCount = 2;  // the input layer and "Quality"
constexpr A_long kQualityId = 1;
constexpr int32_t kHostFrameRate = 2500;
// Time scale / step above this means the host steps by fields.
constexpr A_u_long kFieldStepping = 35;

// Keeps the handle's size next to its data pointer.
struct PlatformHandle {
    void* data;
    long size;
};

void EnsureDocument() {
    if (pDoc) return;
    InitEnvironment(gInst, kProgramName, kModeHost);
    pDoc = new CDoc;
}

// The frame step of the host, doubled when the host steps by fields. False
// when the host gives no step (the command then does nothing more).
bool FrameTiming(const PF_InData* in_data, A_long& step) {
    step = in_data->time_step;
    if (step == 0) return false;
    if (in_data->time_scale / static_cast<A_u_long>(step) > kFieldStepping) step *= 2;
    pDoc->totalFrames = static_cast<long>(in_data->total_time) / step;
    gFrameRate = kHostFrameRate;
    return true;
}

// ---- Handles: the host's callbacks, or the platform's without them ------------

PF_UtilCallbacks* Utils(const PF_InData* in_data) { return in_data ? in_data->utils : nullptr; }

PF_Handle NewShowHandle(const PF_InData* in_data, long size) {
    PF_UtilCallbacks* utils = Utils(in_data);
    if (utils && utils->host_new_handle) return utils->host_new_handle(static_cast<A_u_longlong>(size));
    return NewHandle(size);
}

char* LockShowHandle(const PF_InData* in_data, PF_Handle handle) {
    PF_UtilCallbacks* utils = Utils(in_data);
    if (utils && utils->host_lock_handle) return static_cast<char*>(utils->host_lock_handle(handle));
    HLock(handle);
    return static_cast<char*>(*handle);
}

void UnlockShowHandle(const PF_InData* in_data, PF_Handle handle) {
    PF_UtilCallbacks* utils = Utils(in_data);
    if (utils && utils->host_unlock_handle)
        utils->host_unlock_handle(handle);
    else
        HUnlock(handle);
}

// The bytes the handle holds. A host that hands out handles without saying
// how large they are gets the size that the options command gives them.
long ShowHandleSize(const PF_InData* in_data, PF_Handle handle) {
    PF_UtilCallbacks* utils = Utils(in_data);
    if (utils && utils->host_get_handle_size)
        return static_cast<long>(std::min<A_u_longlong>(utils->host_get_handle_size(handle), 0x7FFFFFFF));
    if (utils && utils->host_new_handle) return kShowHandleSize;
    return GetHandleSize(handle);
}

void LoadShowFromHandle(char* data, long size) {
    gShowLoads++;
    pDoc->LoadShow(nullptr, data, false, size);
}

// ---- Commands ---------------------------------------------------------------

PF_Err About(PF_InData* in_data, PF_OutData* out_data) {
    PF_UtilCallbacks* utils = Utils(in_data);
    if (utils && utils->ansi.strcpy)
        utils->ansi.strcpy(out_data->return_msg, kAboutText);
    else
        std::snprintf(out_data->return_msg, sizeof out_data->return_msg, "%s", kAboutText);
    return PF_Err_NONE;
}

PF_Err GlobalSetup(PF_OutData* out_data) {
    out_data->my_version = PF_VERSION(2, 0, 0, PF_Stage_DEVELOP, 1);
    // The show handle is flat already, so it needs no flattening.
    out_data->out_flags |= PF_OutFlag_KEEP_RESOURCE_OPEN | PF_OutFlag_NON_PARAM_VARY |
                           PF_OutFlag_I_DO_DIALOG | PF_OutFlag_USE_OUTPUT_EXTENT |
                           PF_OutFlag_PIX_INDEPENDENT;
    InitEnvironment(gInst, kProgramName, kModeHost);
    // A new document every time, even when one exists.
    delete pDoc;
    pDoc = new CDoc;
    return PF_Err_NONE;
}

PF_Err GlobalSetdown() {
    CloseEnvironment();
    delete pDoc;
    pDoc = nullptr;
    return PF_Err_NONE;
}

// "Quality" is kept for the projects that carry it; nothing reads it (render
// quality is the "DraftRender" setting).
PF_Err ParamsSetup(PF_InData* in_data, PF_OutData* out_data) {
    PF_ParamDef def;
    std::memset(&def, 0, sizeof def);
    def.param_type = PF_Param_SLIDER;
    std::snprintf(def.name, sizeof def.name, "%s", "Quality");
    def.u.sd.valid_min = 0;
    def.u.sd.slider_min = 0;
    def.u.sd.valid_max = 100;
    def.u.sd.slider_max = 100;
    def.u.sd.value = 100;
    def.u.sd.dephault = 100;
    def.uu.id = kQualityId;
    if (!in_data->inter.add_param) return PF_Err_INVALID_CALLBACK;
    const PF_Err err = in_data->inter.add_param(in_data->effect_ref, -1, &def);
    if (err != PF_Err_NONE) return err;
    out_data->num_params = kParamCount;
    return PF_Err_NONE;
}

PF_Err DoDialog(PF_InData* in_data, PF_OutData* out_data) {
    // The editor's resources come with the module itself; there is no separate
    // resource map to open around it here.
    EnsureDocument();
    A_long step;
    if (!FrameTiming(in_data, step)) return PF_Err_NONE;

    if (!out_data->sequence_data) {
        PF_Handle handle = NewShowHandle(in_data, kShowHandleSize);
        if (!handle) return PF_Err_INTERNAL_STRUCT_DAMAGED;
        out_data->sequence_data = handle;
        char* data = LockShowHandle(in_data, handle);
        if (data) std::memset(data, 0, static_cast<size_t>(ShowHandleSize(in_data, handle)));
        UnlockShowHandle(in_data, handle);
        pDoc->ClearShow();
    } else {
        PF_Handle handle = out_data->sequence_data;
        char* data = LockShowHandle(in_data, handle);
        if (data) LoadShowFromHandle(data, ShowHandleSize(in_data, handle));
        UnlockShowHandle(in_data, handle);
    }

    const int result = gRunEditor ? gRunEditor() : 1;

    PF_Handle handle = out_data->sequence_data;
    char* data = LockShowHandle(in_data, handle);
    if (data) {
        const long size = ShowHandleSize(in_data, handle);
        if (result == 1)
            LoadShowFromHandle(data, size);  // drop the edits
        else
            pDoc->SaveShow(nullptr, data, size);  // a show that does not fit is not written
    }
    UnlockShowHandle(in_data, handle);
    return PF_Err_NONE;
}

PF_Err Render(PF_InData* in_data, PF_OutData* out_data, PF_LayerDef* output) {
    EnsureDocument();
    A_long step;
    if (!FrameTiming(in_data, step)) return PF_Err_NONE;

    // Consecutive frames of one show keep the document (and its picture) as it
    // is: the show is read again only when the handle's serial has changed.
    if (out_data->sequence_data) {
        PF_Handle handle = out_data->sequence_data;
        char* data = LockShowHandle(in_data, handle);
        const long size = ShowHandleSize(in_data, handle);
        if (data && size >= 4) {
            int16_t serial;
            std::memcpy(&serial, data + 2, sizeof serial);
            if (static_cast<uint16_t>(serial) != pDoc->showSerial) LoadShowFromHandle(data, size);
        }
        UnlockShowHandle(in_data, handle);
    }

    int field = 0;
    if (in_data->field == PF_Field_LOWER)
        field = 2;
    else if (in_data->field == PF_Field_UPPER)
        field = 1;
    const long frame = static_cast<long>(in_data->current_time) / step;
    if (output)
        DoIt(reinterpret_cast<unsigned char*>(output->data), output->width, output->height,
             static_cast<unsigned int>(output->rowbytes), frame, field);
    return PF_Err_NONE;  // whatever the render did
}

}  // namespace

PF_Err EffectMain(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                  PF_LayerDef* output, void* extra) {
    (void)params;
    (void)extra;
    const bool records = in_data && out_data;
    switch (cmd) {
    case PF_Cmd_ABOUT:
        return records ? About(in_data, out_data) : PF_Err_BAD_CALLBACK_PARAM;
    case PF_Cmd_GLOBAL_SETUP:
        return out_data ? GlobalSetup(out_data) : PF_Err_BAD_CALLBACK_PARAM;
    case PF_Cmd_GLOBAL_SETDOWN:
        return GlobalSetdown();
    case PF_Cmd_PARAMS_SETUP:
        return records ? ParamsSetup(in_data, out_data) : PF_Err_BAD_CALLBACK_PARAM;
    case PF_Cmd_DO_DIALOG:
        return records ? DoDialog(in_data, out_data) : PF_Err_BAD_CALLBACK_PARAM;
    case PF_Cmd_RENDER:
        return records ? Render(in_data, out_data, output) : PF_Err_BAD_CALLBACK_PARAM;
    default:
        return PF_Err_NONE;
    }
}

void DoIt(unsigned char* dest, int width, int height, unsigned int rowBytes, long frame, int field) {
    executeDIB.Create(width, height, 32);
    // At field rates the host counts fields, two to a frame.
    if (field != 0 && gFrameRate > 3500) frame /= 2;
    if (pDoc)
        pDoc->RenderFrame(std::max(frame, 0L), field, field != 2, width, height, &executeDIB, false);

    // The work image must be exactly the host's size to be copied; a size it
    // could not take leaves the host's buffer as it was.
    if (!dest || executeDIB.GetBitCount() != 32 || executeDIB.GetWid() != width ||
        executeDIB.GetHgt() != height)
        return;
    for (int r = 0; r < height; r++) {
        const uint8_t* in = executeDIB.GetBitsAdd(height - 1 - r);  // storage is bottom-up
        unsigned char* out = dest;
        for (int x = 0; x < width; x++, in += 4, out += 4) {
            out[0] = in[3];  // alpha
            out[1] = in[2];  // red
            out[2] = in[1];  // green
            out[3] = in[0];  // blue
        }
        dest += rowBytes;
    }
}

// ---- Platform handles ----------------------------------------------------------

PF_Handle NewHandle(long size) {
    if (size < 0) return nullptr;
    auto* block = static_cast<PlatformHandle*>(std::malloc(sizeof(PlatformHandle) + static_cast<size_t>(size)));
    if (!block) return nullptr;
    block->data = block + 1;
    block->size = size;
    return &block->data;
}

void DisposeHandle(PF_Handle handle) { std::free(handle); }

// Blocks never move here, so locking has nothing to do.
void HLock(PF_Handle handle) { (void)handle; }
void HUnlock(PF_Handle handle) { (void)handle; }

long GetHandleSize(PF_Handle handle) {
    if (!handle) return 0;
    return reinterpret_cast<PlatformHandle*>(handle)->size;
}
