// SPDX-License-Identifier: GPL-2.0-or-later
// The part of the compositing host's effect API that the effect entry uses:
// command codes, the input and output records, parameter definitions, the
// output world, the utility and handle callbacks, error codes and out flags.
//
// These declarations are written for this project from the API's published
// description and keep the API's own names, so that a build against the host's
// own SDK only has to swap this one header. Callback tables that the entry never
// calls are declared as untyped slots of the right count so that the offsets of
// the ones it does call stay where the host puts them.
#pragma once

#include <cstdint>

extern "C" {

// ---- Basic types -------------------------------------------------------------
typedef int32_t A_long;
typedef uint32_t A_u_long;
typedef int16_t A_short;
typedef uint16_t A_u_short;
typedef char A_char;
typedef uint8_t A_u_char;
typedef uint8_t A_Boolean;
typedef double A_FpLong;
typedef uint64_t A_u_longlong;

typedef A_long PF_Err;
typedef A_long PF_Fixed;        // 16.16 fixed point
typedef A_long PF_ParamIndex;
typedef A_long PF_ParamValue;
typedef A_long PF_Quality;
typedef A_long PF_InFlags;
typedef A_long PF_OutFlags;
typedef A_long PF_OutFlags2;
typedef A_long PF_WorldFlags;
typedef A_long PF_ParamUIFlags;
typedef A_long PF_ParamFlags;
typedef A_long PF_ChangeFlags;

// A relocatable block: *handle is the block's current address.
typedef void** PF_Handle;
// The host's opaque reference to one effect instance.
typedef struct _PF_ProgressInfo* PF_ProgPtr;

// ---- Commands ----------------------------------------------------------------
enum {
    PF_Cmd_ABOUT = 0,
    PF_Cmd_GLOBAL_SETUP,
    PF_Cmd_UNUSED_0,
    PF_Cmd_GLOBAL_SETDOWN,
    PF_Cmd_PARAMS_SETUP,
    PF_Cmd_SEQUENCE_SETUP,
    PF_Cmd_SEQUENCE_RESETUP,
    PF_Cmd_SEQUENCE_FLATTEN,
    PF_Cmd_SEQUENCE_SETDOWN,
    PF_Cmd_DO_DIALOG,
    PF_Cmd_FRAME_SETUP,
    PF_Cmd_RENDER,
    PF_Cmd_FRAME_SETDOWN,
};
typedef A_long PF_Cmd;

// ---- Error codes -------------------------------------------------------------
enum {
    PF_Err_NONE = 0,
    PF_Err_OUT_OF_MEMORY = 4,
    PF_Err_INTERNAL_STRUCT_DAMAGED = 512,
    PF_Err_INVALID_INDEX,
    PF_Err_UNRECOGNIZED_PARAM_TYPE,
    PF_Err_INVALID_CALLBACK,
    PF_Err_BAD_CALLBACK_PARAM,
};

// ---- Fields ------------------------------------------------------------------
enum {
    PF_Field_FRAME = 0,
    PF_Field_UPPER = 1,
    PF_Field_LOWER = 2,
};
typedef A_long PF_Field;

// ---- Out flags (out_data->out_flags) -----------------------------------------
enum {
    PF_OutFlag_NONE = 0,
    PF_OutFlag_KEEP_RESOURCE_OPEN = 1L << 0,
    PF_OutFlag_WIDE_TIME_INPUT = 1L << 1,
    PF_OutFlag_NON_PARAM_VARY = 1L << 2,
    PF_OutFlag_RESERVED6 = 1L << 3,
    PF_OutFlag_SEQUENCE_DATA_NEEDS_FLATTENING = 1L << 4,
    PF_OutFlag_I_DO_DIALOG = 1L << 5,
    PF_OutFlag_USE_OUTPUT_EXTENT = 1L << 6,
    PF_OutFlag_SEND_DO_DIALOG = 1L << 7,
    PF_OutFlag_DISPLAY_ERROR_MESSAGE = 1L << 8,
    PF_OutFlag_I_EXPAND_BUFFER = 1L << 9,
    PF_OutFlag_PIX_INDEPENDENT = 1L << 10,
};

// ---- Versions ----------------------------------------------------------------
enum { PF_Stage_DEVELOP = 0, PF_Stage_ALPHA, PF_Stage_BETA, PF_Stage_RELEASE };
// An effect's own version, packed as the host reads it.
constexpr A_u_long PF_VERSION(A_u_long vers, A_u_long subvers, A_u_long bugvers, A_u_long stage,
                              A_u_long build) {
    return ((vers & 0x1FFF) << 19) | ((subvers & 0xF) << 15) | ((bugvers & 0xF) << 11) |
           ((stage & 0x3) << 9) | (build & 0x1FF);
}

// ---- Geometry ----------------------------------------------------------------
typedef struct { A_short major, minor; } PF_SpecVersion;
typedef struct { A_long left, top, right, bottom; } PF_Rect;
typedef PF_Rect PF_UnionableRect;
typedef struct { A_long h, v; } PF_Point;
typedef struct { A_long num; A_u_long den; } PF_RationalScale;

// ---- Pixels and worlds -------------------------------------------------------
// One 8-bit pixel as the host lays it out: alpha, red, green, blue.
typedef struct { A_u_char alpha, red, green, blue; } PF_Pixel;
typedef PF_Pixel* PF_PixelPtr;

typedef struct PF_LayerDef {
    void* reserved0;
    void* reserved1;
    PF_WorldFlags world_flags;
    PF_PixelPtr data;            // the top row
    A_long rowbytes;             // bytes from one row to the next, padding included
    A_long width;
    A_long height;
    PF_UnionableRect extent_hint;
    void* platform_ref;
    A_long reserved_long1;
    void* reserved_long4;
    PF_RationalScale pix_aspect_ratio;
    void* reserved_long2;
    A_long origin_x;
    A_long origin_y;
    A_long reserved_long3;
    A_long dephault;
} PF_LayerDef;
typedef PF_LayerDef PF_EffectWorld;

// ---- Sound -------------------------------------------------------------------
typedef struct {
    A_FpLong rateF;
    A_short num_channels;
    A_short format;
    A_short sample_size;
} PF_SoundFormatInfo;
typedef struct {
    PF_SoundFormatInfo fi;
    A_long num_samples;
    void* dataP;
} PF_SoundWorld;

// ---- Parameters --------------------------------------------------------------
enum {
    PF_Param_RESERVED = -1,
    PF_Param_LAYER = 0,
    PF_Param_SLIDER,
    PF_Param_FIX_SLIDER,
    PF_Param_ANGLE,
    PF_Param_CHECKBOX,
    PF_Param_COLOR,
    PF_Param_POINT,
    PF_Param_POPUP,
};
typedef A_long PF_ParamType;

enum {
    PF_MAX_EFFECT_NAME_LEN = 31,
    PF_MAX_EFFECT_MSG_LEN = 255,
    PF_MAX_EFFECT_PARAM_NAME_LEN = 31,
    PF_MAX_PARAM_VALUE_LEN = 31,
    PF_MAX_PARAM_DESCRIPTION_LEN = 31,
};

typedef struct {
    PF_ParamValue value;
    A_char value_str[PF_MAX_PARAM_VALUE_LEN + 1];
    A_char value_desc[PF_MAX_PARAM_DESCRIPTION_LEN + 1];
    PF_ParamValue valid_min, valid_max;
    PF_ParamValue slider_min, slider_max;
    PF_ParamValue dephault;
} PF_SliderDef;

// The per-type part of a parameter. Only the kinds this effect uses are named;
// the reserved bytes keep the union at least as large as the host's, which
// reads a whole definition from the effect.
typedef union {
    PF_LayerDef ld;
    PF_SliderDef sd;
    A_u_char reserved[256];
} PF_ParamDefUnion;

typedef struct PF_ParamDef {
    union {
        A_long id;
        A_long change_flags;
    } uu;
    PF_ParamType param_type;
    A_char name[PF_MAX_EFFECT_PARAM_NAME_LEN + 1];
    PF_ParamUIFlags ui_flags;
    A_short ui_width;
    A_short ui_height;
    PF_ParamFlags flags;
    PF_ParamDefUnion u;
} PF_ParamDef, *PF_ParamDefPtr, **PF_ParamList;

// ---- Interaction callbacks (in_data->inter) ----------------------------------
typedef struct {
    PF_Err (*checkout_param)(PF_ProgPtr effect_ref, PF_ParamIndex index, A_long what_time,
                             A_long time_step, A_u_long time_scale, PF_ParamDef* param);
    PF_Err (*checkin_param)(PF_ProgPtr effect_ref, PF_ParamDef* param);
    // index -1 adds at the end.
    PF_Err (*add_param)(PF_ProgPtr effect_ref, PF_ParamIndex index, PF_ParamDefPtr def);
    PF_Err (*abort)(PF_ProgPtr effect_ref);
    PF_Err (*progress)(PF_ProgPtr effect_ref, A_long current, A_long total);
    void* register_ui;
    void* checkout_layer_audio;
    void* checkin_layer_audio;
    void* get_audio_data;
    void* reserved_str[3];
    void* reserved[10];
} PF_InteractCallbacks;

// ---- Utility callbacks (in_data->utils) --------------------------------------
typedef struct {
    A_FpLong (*atan)(A_FpLong);
    A_FpLong (*atan2)(A_FpLong y, A_FpLong x);
    A_FpLong (*ceil)(A_FpLong);
    A_FpLong (*cos)(A_FpLong);
    A_FpLong (*exp)(A_FpLong);
    A_FpLong (*fabs)(A_FpLong);
    A_FpLong (*floor)(A_FpLong);
    A_FpLong (*fmod)(A_FpLong x, A_FpLong y);
    A_FpLong (*hypot)(A_FpLong x, A_FpLong y);
    A_FpLong (*log)(A_FpLong);
    A_FpLong (*log10)(A_FpLong);
    A_FpLong (*pow)(A_FpLong x, A_FpLong y);
    A_FpLong (*sin)(A_FpLong);
    A_FpLong (*sqrt)(A_FpLong);
    A_FpLong (*tan)(A_FpLong);
    int (*sprintf)(A_char*, const A_char*, ...);
    A_char* (*strcpy)(A_char*, const A_char*);
    A_FpLong (*asin)(A_FpLong);
    A_FpLong (*acos)(A_FpLong);
    A_long ansi_procs[1];
} PF_ANSICallbacks;

typedef struct {
    void* slots[8];  // colour-space conversions, not used by this effect
} PF_ColorCallbacks;

typedef struct _PF_UtilCallbacks {
    // Sampling, compositing, convolution, iteration and world callbacks, in
    // the host's order; this effect calls none of them.
    void* begin_sampling;
    void* subpixel_sample;
    void* area_sample;
    void* get_batch_func_is_deprecated;
    void* end_sampling;
    void* composite_rect;
    void* blend;
    void* convolve;
    void* copy;
    void* fill;
    void* gaussian_kernel;
    void* iterate;
    void* premultiply;
    void* premultiply_color;
    void* new_world;
    void* dispose_world;
    void* iterate_origin;
    void* iterate_lut;
    void* transfer_rect;
    void* transform_world;
    // Handles.
    PF_Handle (*host_new_handle)(A_u_longlong size);
    void* (*host_lock_handle)(PF_Handle pf_handle);
    void (*host_unlock_handle)(PF_Handle pf_handle);
    void (*host_dispose_handle)(PF_Handle pf_handle);
    void* get_callback_addr;
    void* app;
    PF_ANSICallbacks ansi;
    PF_ColorCallbacks colorCB;
    void* get_platform_data;
    A_u_longlong (*host_get_handle_size)(PF_Handle pf_handle);
    void* reserved[24];
} PF_UtilCallbacks;

// ---- The input record --------------------------------------------------------
typedef struct PF_InData {
    PF_InteractCallbacks inter;
    PF_UtilCallbacks* utils;
    PF_ProgPtr effect_ref;
    PF_Quality quality;
    PF_SpecVersion version;
    A_long serial_num;
    A_long appl_id;
    A_long num_params;
    A_long reserved;
    A_long what_cpu;
    A_long what_fpu;
    A_long current_time;       // in units of 1/time_scale seconds
    A_long time_step;
    A_long total_time;
    A_long local_time_step;
    A_u_long time_scale;
    PF_Field field;
    PF_Fixed shutter_angle;
    A_long width;
    A_long height;
    PF_Rect extent_hint;
    A_long output_origin_x;
    A_long output_origin_y;
    PF_RationalScale downsample_x;
    PF_RationalScale downsample_y;
    PF_RationalScale pixel_aspect_ratio;
    PF_InFlags in_flags;
    PF_Handle global_data;
    PF_Handle sequence_data;
    PF_Handle frame_data;
    A_long start_sampL;
    A_long dur_sampL;
    A_long total_sampL;
    PF_SoundWorld src_snd;
    struct SPBasicSuite* pica_basicP;
    A_long pre_effect_source_origin_x;
    A_long pre_effect_source_origin_y;
    PF_Fixed shutter_phase;
} PF_InData;

// ---- The output record -------------------------------------------------------
typedef struct PF_OutData {
    A_u_long my_version;
    A_char name[PF_MAX_EFFECT_NAME_LEN + 1];
    PF_Handle global_data;
    A_long num_params;
    PF_Handle sequence_data;
    A_long flat_sdata_size;
    PF_Handle frame_data;
    A_long width;
    A_long height;
    PF_Point origin;
    PF_OutFlags out_flags;
    A_char return_msg[PF_MAX_EFFECT_MSG_LEN + 1];
    A_long start_sampL;
    A_long dur_sampL;
    PF_SoundWorld dest_snd;
    PF_OutFlags2 out_flags2;
} PF_OutData;

// ---- The entry point ---------------------------------------------------------
typedef PF_Err (*PF_EffectEntry)(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra);

}  // extern "C"
