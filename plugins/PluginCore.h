// SPDX-License-Identifier: GPL-2.0-or-later
// What the two frei0r plug-ins share: their instances, parameters and the one
// lock around the render path.
//
// Threads. frei0r hosts create several instances (MLT makes one for each of its
// render threads) and call them from several threads at once. The render path
// works on process-wide state: the current document (pDoc), the frame rate
// (gFrameRate), the picture fetch of the filter and the one resampling worker.
// So each instance owns its own document (its show and its picture stay loaded
// between frames; instances never reload each other's pictures), and every
// call that touches a document or that state holds one lock for the module.
// Frames of different instances are therefore drawn one after the other; a
// host that wants them in parallel gets correct frames, not faster ones.
//
// Each module links its own copy of the render path and exports only the
// frei0r entry points, so the source and the filter loaded into one process
// never share (or fight over) any of this.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "image/CDIB.h"

class CDoc;

namespace gs {

enum class PluginKind { Source, Filter };

struct PluginInstance {
    PluginInstance(PluginKind kind, unsigned width, unsigned height);
    ~PluginInstance();

    PluginKind kind;
    int width;
    int height;

    // Parameters as the host set them (see the table in PluginCore.cpp), and
    // the frame rate read from the text of "fps".
    std::string showPath;
    std::string fpsText = "25";
    double fps = 25.0;
    double exact = 0.0;        // at 0.5 and above, the exact area filter instead of the kept one

    // State below is touched only under the module's lock.
    std::unique_ptr<CDoc> doc;
    std::string loadedPath;    // the show in `doc`, "" when none
    int64_t loadedStamp = 0;   // its file's modification time and size, folded
    bool showReady = false;
    std::string lastError;     // reported once per distinct message
    // The filter: the size of the show's own picture (prepared, with its matte
    // border), so that keys made on it can be fitted to the host's frames;
    // 0 when the picture could not be read.
    long naturalWidth = 0;
    long naturalHeight = 0;
    long nextFrame = 0;        // the frame after the last one drawn
    CDIB work;
};

// f0r_init and f0r_deinit; the environment starts with the first instance.
int PluginInit();
void PluginDeinit();

PluginInstance* PluginConstruct(PluginKind kind, unsigned width, unsigned height);
void PluginDestruct(PluginInstance* instance);

// The parameters, in the order of the table in PluginCore.cpp: 0 "show"
// (string), 1 "fps" (string: "25", "29.97", "30000/1001"), 2 "exact" (bool).
int PluginParamCount();
void PluginParamInfo(PluginKind kind, void* info, int index);
void PluginSetParam(PluginInstance* instance, void* param, int index);
void PluginGetParam(PluginInstance* instance, void* param, int index);

// Renders the frame for `time` into `out` (RGBA, top row first). `in` is the
// host's frame for the filter, null for the source. `caller` is the return
// address of the host's call, used to tell the host's unit of time.
void PluginUpdate(PluginInstance* instance, double time, const uint32_t* in, uint32_t* out,
                  const void* caller);

// The frame number for a host time: time in seconds x fps, to the nearest frame.
long FrameForTime(double seconds, double fps);

// The frame an update draws. ffmpeg's frei0r filter passes a meaningless time
// (from a missing timestamp) whenever it has to copy its input frame; then the
// frame after the previous one is drawn, which is right for a stream that the
// host plays from its start.
long FrameForUpdate(long& nextFrame, double time, double secondsPerUnit, double fps);

// Seconds per unit of `time` for a call made from `caller`: ffmpeg's frei0r
// filters (libavfilter) pass milliseconds, other hosts seconds.
double SecondsPerTimeUnit(const void* caller);

}  // namespace gs
