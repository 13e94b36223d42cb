// SPDX-License-Identifier: GPL-2.0-or-later
// The effect entry: the host's commands, the render into the host's frame, and
// the seam through which the editor runs on the options command.
//
// The exported symbol `main` lives in effect/ (the module); it forwards to
// EffectMain, so that programs which link this library keep their own main.
#pragma once

#include "host/AE_Effect.h"

class CDIB;
struct FSpec;

// The host's commands. `params` and `extra` are never read.
PF_Err EffectMain(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[],
                  PF_LayerDef* output, void* extra);

// Renders frame `frame` of pDoc into a host buffer of 8-bit ARGB pixels, top
// row first, `rowBytes` apart (padding after each row is left untouched).
// field: 0 whole frames, 1 upper field, 2 lower field.
void DoIt(unsigned char* dest, int width, int height, unsigned int rowBytes, long frame, int field);

// The work image every render draws into.
extern CDIB executeDIB;

// Runs the modal editor on pDoc and returns its result: 0 applies the moves,
// 1 drops them. The editor installs itself here; without one the options
// command drops (the show is reloaded from the handle).
using EditorRunner = int (*)();
extern EditorRunner gRunEditor;

// How many times a command read the show from the sequence handle.
extern long gShowLoads;

// The size of the show handle that the options command creates.
constexpr long kShowHandleSize = 0x1000;

// ---- Platform handles ----------------------------------------------------------
// Used when the host gives no handle callbacks. A handle is one block from the
// C allocator: the first word points at the data, the second holds its size,
// the data follows. A host that disposes of such a handle frees the block.
PF_Handle NewHandle(long size);
void DisposeHandle(PF_Handle handle);
void HLock(PF_Handle handle);
void HUnlock(PF_Handle handle);
long GetHandleSize(PF_Handle handle);

// ---- Routines that shared code calls and that the effect does not offer -------
// Movie export is not available: does nothing and returns -1.
int SaveFlashMovie(FSpec* file, int quality, long frames, int flags);
// Does nothing and returns 0.
int MakeMovieFile(bool create);
void StartAudioStream(long frame);
void StopAudioStream();
void QTCloseMovies();
