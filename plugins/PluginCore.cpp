// SPDX-License-Identifier: GPL-2.0-or-later
#include "plugins/PluginCore.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <mutex>

// frei0r.h is a C header without C++ guards.
extern "C" {
#include <frei0r.h>
}

#include "app/Options.h"
#include "app/Session.h"
#include "app/ShowBlock.h"
#include "doc/CDoc.h"
#include "doc/PictureLookup.h"
#include "image/HostImage.h"
#include "motion/Timecode.h"
#include "platform/Env.h"
#include "platform/Files.h"
#include "platform/Platform.h"
#include "platform/Worker.h"

namespace gs {

namespace {

std::mutex gLock;        // the render path's one lock (see PluginCore.h)
int gInitCount = 0;      // f0r_init calls not yet matched by f0r_deinit
bool gEnvironment = false;

// Messages of the render path go to the host's standard error, marked as ours.
class PluginBackend final : public PlatformBackend {
public:
    void ShowError(const char* text) override { std::fprintf(stderr, "glimmerstroll frei0r: %s\n", text ? text : ""); }
};
PluginBackend gBackend;

// The host frame the filter is drawing; set only under the lock.
struct HostFrame {
    const uint32_t* pixels = nullptr;
    int width = 0;
    int height = 0;
};
HostFrame gHostFrame;

// The picture fetch for CDIB::Load while the filter draws: the host's RGBA
// frame, top row first, becomes a 24-bit picture with rows bottom-up.
int FetchHostFrame(CDIB* dib) {
    const HostFrame& f = gHostFrame;
    if (!f.pixels || !dib->Create(f.width, f.height, 24)) return 0;
    for (int r = 0; r < f.height; r++) {
        const auto* src = reinterpret_cast<const uint8_t*>(f.pixels + static_cast<size_t>(r) * f.width);
        uint8_t* dst = dib->GetBitsAdd(f.height - 1 - r);
        for (int x = 0; x < f.width; x++, src += 4, dst += 3) {
            dst[0] = src[2];
            dst[1] = src[1];
            dst[2] = src[0];
        }
    }
    return 1;
}

void StartEnvironment() {
    if (gEnvironment) return;
    SetPlatformBackend(&gBackend);
    InitEnvironment(nullptr, "Glimmerstroll", kModeHost);
    gEnvironment = true;
}

void Report(PluginInstance& in, const std::string& message) {
    if (message == in.lastError) return;
    in.lastError = message;
    std::fprintf(stderr, "glimmerstroll frei0r: %s\n", message.c_str());
}

void FillBlack(uint32_t* out, int width, int height) {
    auto* bytes = reinterpret_cast<uint8_t*>(out);
    const size_t pixels = static_cast<size_t>(width) * height;
    for (size_t i = 0; i < pixels; i++) {
        bytes[4 * i] = bytes[4 * i + 1] = bytes[4 * i + 2] = 0;
        bytes[4 * i + 3] = 0xFF;
    }
}

int64_t FileStamp(const std::string& path) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return -1;
    return static_cast<int64_t>(st.st_mtim.tv_sec) * 1000000007LL + st.st_mtim.tv_nsec + st.st_size * 31;
}

// Loads the instance's show into its document when the path or the file has
// changed since the last frame. Caller holds the lock, with pDoc set.
void EnsureShow(PluginInstance& in) {
    const int64_t stamp = FileStamp(in.showPath);
    if (in.loadedPath == in.showPath && stamp == in.loadedStamp) return;
    in.loadedPath = in.showPath;
    in.loadedStamp = stamp;
    in.showReady = false;
    in.naturalWidth = in.naturalHeight = 0;

    if (in.showPath.empty()) {
        Report(in, "no show: set the parameter \"show\" to a .gsx file");
        return;
    }
    ShowBlock show;
    std::string error;
    if (!ReadShowFile(in.showPath, show, error)) {
        Report(in, error);
        return;
    }
    if (show.pictures.empty() && in.kind == PluginKind::Source) {
        Report(in, "show " + in.showPath + " has no picture to render");
        return;
    }
    CDoc& doc = *in.doc;
    // Pictures missing at their stored paths are looked for beside the show.
    std::snprintf(doc.showFolder, sizeof doc.showFolder, "%s", ShowFolderOf(in.showPath).c_str());
    if (in.kind == PluginKind::Filter) {
        // The filter draws the host's frames; the show's own picture is read
        // only for its size, and quietly, whether or not it is there.
        const int32_t report = doc.showPicError;
        doc.showPicError = 0;
        const bool put = PutShow(doc, show, error);
        doc.showPicError = report;
        if (!put) {
            Report(in, "cannot load show " + in.showPath + ": " + error);
            return;
        }
        if (doc.pictureCount > 0 && doc.picLoadStatus == 1) {
            in.naturalWidth = doc.GetWid();
            in.naturalHeight = doc.GetHgt();
        }
    } else {
        if (!PutShow(doc, show, error)) {
            Report(in, "cannot load show " + in.showPath + ": " + error);
            return;
        }
        if (doc.picLoadStatus == 0) {
            Report(in, "cannot load picture " + show.pictures[0].path + " of show " + in.showPath);
            return;
        }
    }
    in.showReady = true;
    in.lastError.clear();
}

// The filter's picture for this frame: the host's frame, prepared as a picture
// file would be (matte border, effects), with the show's keys fitted to it.
bool LoadHostPicture(PluginInstance& in, const uint32_t* pixels, KeyStruct (&saved)[kMaxKeys]) {
    CDoc& doc = *in.doc;
    gHostFrame = {pixels, in.width, in.height};
    const SourceImageFetch previous = SetSourceImageFetch(FetchHostFrame);
    gGetImageFromTimeline = true;

    // The reference is not opened while the host provides the picture, but the
    // loader wants a name to take it for a picture at all.
    FSpec fileSpec = doc.pictureFile[0];
    if (std::strlen(fileSpec.name) < 3) MakePathSpec(fileSpec, "/host-frame");
    const int32_t count = doc.keyCount[0];
    std::memcpy(saved, doc.keys[0], sizeof saved);
    doc.loadedPicture = -1;
    doc.prefetchedPicture = -1;
    doc.LoadPicture(&fileSpec, 0, -1);
    // Loading a picture may re-frame a single key; the show's keys stand.
    std::memcpy(doc.keys[0], saved, sizeof saved);
    doc.keyCount[0] = count;

    gGetImageFromTimeline = false;
    SetSourceImageFetch(previous);
    gHostFrame = {};
    if (doc.picLoadStatus != 1) return false;

    const long w = doc.GetWid();
    const long h = doc.GetHgt();
    if (in.naturalWidth > 0 && in.naturalHeight > 0 && (w != in.naturalWidth || h != in.naturalHeight))
        doc.RescaleMoves(0, static_cast<int>(in.naturalWidth), static_cast<int>(in.naturalHeight),
                         static_cast<int>(w), static_cast<int>(h));
    return true;
}

// "fps" as text, the way the tool takes --fps. A rate that cannot be read
// falls back to 25 with one message rather than stopping the host.
void ApplyFps(PluginInstance& in) {
    int32_t hundredths = 2500;
    std::string error;
    if (!ParseFrameRate(in.fpsText, hundredths, error)) {
        Report(in, error.substr(error.rfind("--", 0) == 0 ? 2 : 0) + "; using 25");
        hundredths = 2500;
    }
    in.fps = hundredths / 100.0;
}

// The parameters hosts list, one row each, in frei0r's order. frei0r gives a
// double parameter the range 0 to 1 (MLT and the editors built on it show and
// clamp it so), so a value with a range of its own, a frame rate or a path,
// is a string. A parameter lives in the instance as `text` (strings) or
// `number` (doubles, 0 to 1); `apply`, when there is one, turns it into what
// the render path uses, under the module's lock.
struct ParamRow {
    const char* name;
    int type;                            // F0R_PARAM_STRING, F0R_PARAM_DOUBLE or F0R_PARAM_BOOL
    const char* explanation;             // what hosts show beside the field
    const char* filterExplanation;       // the filter's own, when it differs
    std::string PluginInstance::*text;   // string parameters
    double PluginInstance::*number;      // double parameters
    void (*apply)(PluginInstance&);
};

const ParamRow kParams[] = {
    {"show", F0R_PARAM_STRING, "The show file (.gsx) to render",
     "The show file (.gsx) whose camera moves over the input", &PluginInstance::showPath, nullptr, nullptr},
    {"fps", F0R_PARAM_STRING,
     "Frame rate of the show's frame numbers, as text: 25, 29.97 or 30000/1001, 1 to 240 (default 25)", nullptr,
     &PluginInstance::fpsText, nullptr, ApplyFps},
    {"exact", F0R_PARAM_BOOL,
     "Exact quality: the true average of the picture under each pixel (slower; default off)", nullptr, nullptr,
     &PluginInstance::exact, nullptr},
};

const ParamRow* Row(int index) {
    return index >= 0 && index < static_cast<int>(std::size(kParams)) ? &kParams[index] : nullptr;
}

}  // namespace

PluginInstance::PluginInstance(PluginKind k, unsigned w, unsigned h)
    : kind(k), width(static_cast<int>(w)), height(static_cast<int>(h)), work(1, 1, 32) {}

PluginInstance::~PluginInstance() = default;

long FrameForTime(double seconds, double fps) {
    const double frame = std::nearbyint(seconds * fps);
    if (!(frame > 0.0)) return 0;
    if (frame > 2147483647.0) return 2147483647L;
    return static_cast<long>(frame);
}

long FrameForUpdate(long& nextFrame, double time, double secondsPerUnit, double fps) {
    const double seconds = time * secondsPerUnit;
    const long frame = std::isfinite(seconds) && seconds >= 0.0 && seconds * fps < 2147483647.0
                           ? FrameForTime(seconds, fps)
                           : nextFrame;
    nextFrame = frame < 2147483647L ? frame + 1 : frame;
    return frame;
}

double SecondsPerTimeUnit(const void* caller) {
    Dl_info where;
    if (caller && dladdr(caller, &where) && where.dli_fname) {
        const char* name = std::strrchr(where.dli_fname, '/');
        name = name ? name + 1 : where.dli_fname;
        if (std::strstr(name, "libavfilter") || std::strcmp(name, "ffmpeg") == 0 || std::strcmp(name, "ffplay") == 0)
            return 0.001;
    }
    return 1.0;
}

int PluginInit() {
    std::lock_guard<std::mutex> hold(gLock);
    gInitCount++;
    return 1;
}

void PluginDeinit() {
    std::lock_guard<std::mutex> hold(gLock);
    if (gInitCount > 0) gInitCount--;
    if (gInitCount == 0 && gEnvironment) {
        // The settings are only read; a host never writes them back.
        CloseMP();
        gCanMultiProcess = 0;
        SetPlatformBackend(nullptr);
        gEnvironment = false;
    }
}

PluginInstance* PluginConstruct(PluginKind kind, unsigned width, unsigned height) {
    if (width < 1 || height < 1 || width > 8192 || height > 8192) return nullptr;
    std::lock_guard<std::mutex> hold(gLock);
    StartEnvironment();
    auto* in = new PluginInstance(kind, width, height);
    CDoc* previous = pDoc;
    in->doc = std::make_unique<CDoc>();
    pDoc = previous;
    return in;
}

void PluginDestruct(PluginInstance* instance) {
    std::lock_guard<std::mutex> hold(gLock);
    if (pDoc == instance->doc.get()) pDoc = nullptr;
    delete instance;
}

int PluginParamCount() { return static_cast<int>(std::size(kParams)); }

void PluginParamInfo(PluginKind kind, void* out, int index) {
    const ParamRow* row = Row(index);
    if (!row) return;
    auto* info = static_cast<f0r_param_info_t*>(out);
    info->name = row->name;
    info->type = row->type;
    info->explanation = kind == PluginKind::Filter && row->filterExplanation ? row->filterExplanation
                                                                             : row->explanation;
}

void PluginSetParam(PluginInstance* in, void* param, int index) {
    const ParamRow* row = Row(index);
    if (!in || !param || !row) return;
    std::lock_guard<std::mutex> hold(gLock);
    if (row->text) {
        const char* text = *static_cast<char**>(param);
        in->*row->text = text ? text : "";
    } else if (row->number) {
        const double value = *static_cast<double*>(param);
        in->*row->number = std::isfinite(value) ? std::clamp(value, 0.0, 1.0) : 0.0;
    }
    if (row->apply) row->apply(*in);
}

void PluginGetParam(PluginInstance* in, void* param, int index) {
    const ParamRow* row = Row(index);
    if (!in || !param || !row) return;
    std::lock_guard<std::mutex> hold(gLock);
    if (row->text)
        *static_cast<const char**>(param) = (in->*row->text).c_str();
    else if (row->number)
        *static_cast<double*>(param) = in->*row->number;
}

void PluginUpdate(PluginInstance* in, double time, const uint32_t* pixels, uint32_t* out, const void* caller) {
    if (!in || !out) return;
    const size_t bytes = static_cast<size_t>(in->width) * in->height * 4;
    std::lock_guard<std::mutex> hold(gLock);
    CDoc* previous = pDoc;
    pDoc = in->doc.get();
    EnsureShow(*in);

    bool drawn = false;
    if (in->showReady) {
        CDoc& doc = *in->doc;
        const int32_t rate = static_cast<int32_t>(std::lround(in->fps * 100.0));
        gFrameRate = rate;
        const long frame = FrameForUpdate(in->nextFrame, time, SecondsPerTimeUnit(caller), rate / 100.0);
        FitCamera(doc, in->width, in->height, AspectChoice::FollowFrame);
        doc.exactRender = in->exact >= 0.5 ? 1 : 0;
        if (in->kind == PluginKind::Filter) {
            KeyStruct saved[kMaxKeys];
            if (LoadHostPicture(*in, pixels, saved)) {
                drawn = RenderRGBA(doc, frame, 0, in->width, in->height, in->work, reinterpret_cast<uint8_t*>(out));
            }
            std::memcpy(doc.keys[0], saved, sizeof saved);
            // The next frame brings a new picture: never take this one for it.
            doc.loadedPicture = -1;
        } else {
            drawn = RenderRGBA(doc, frame, 0, in->width, in->height, in->work, reinterpret_cast<uint8_t*>(out));
        }
        if (!drawn) Report(*in, "frame " + std::to_string(frame) + " of show " + in->showPath + " could not be rendered");
    }
    pDoc = previous;

    if (!drawn) {
        // A filter without a usable show passes its input through; a source
        // shows black.
        if (in->kind == PluginKind::Filter && pixels)
            std::memcpy(out, pixels, bytes);
        else
            FillBlack(out, in->width, in->height);
    }
}

}  // namespace gs
