// SPDX-License-Identifier: GPL-2.0-or-later
// glimmerstroll: renders shows from the command line, describes show files,
// turns them into JSON and back, makes shows from options, and renders the
// built-in example.
//
// Exit codes: 0 success, 1 the work failed (a missing show, an unwritable
// output, ...), 2 the command line is wrong (or the editor could not be
// started), 130 interrupted. Every failure is
// one line on standard error, "glimmerstroll: ...".
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "app/Demo.h"
#include "app/FrameSink.h"
#include "app/Options.h"
#include "app/RenderJob.h"
#include "app/ShowCommands.h"
#include "app/ShowBlock.h"
#include "app/ShowInfo.h"
#include "app/Slideshow.h"
#include "doc/CDoc.h"
#include "image/CDIB.h"

#ifndef GS_VERSION
#define GS_VERSION "unknown"
#endif

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
constexpr int kExitCannotStart = 2;  // `edit`: the editor program could not be started
constexpr int kExitInterrupted = 130;

int Fail(const std::string& message, int code = kExitFailed) {
    std::string line = message;
    for (char& c : line)
        if (c == '\n' || c == '\r') c = ' ';
    std::fprintf(stderr, "glimmerstroll: %s\n", line.c_str());
    return code;
}

// The options `render` and `demo` share, as the user typed them.
struct RenderText {
    std::string output;
    std::string size;
    std::string fps = "25";
    std::string frames;
    std::string fields = "none";
    std::string aspect = "frame";
    int draft = 0;
    int blur = 0;
    bool multiprocess = false;
    bool quiet = false;
    bool overwrite = false;
    std::string threads = "0";
    std::string quality = "kept";
    std::string codec, crf, preset, hwaccel;
};

void AddRenderOptions(CLI::App* command, RenderText& t, bool forDemo) {
    command->add_option("--size", t.size, "frame size WxH, 1 to 8192 each side (default " +
                                               std::string(forDemo ? "1280x720" : "1920x1080") + ")");
    command->add_option("--fps", t.fps, "frame rate for frame numbers and timecode: 25, 29.97, 30000/1001 (default 25)");
    if (!forDemo) {
        command->add_option("--frames", t.frames, "frames to render, FIRST-LAST inclusive (default: the whole show)");
        command->add_option("--fields", t.fields, "render fields: upper, lower, both (interlaced) or none (default)");
        command->add_option("--aspect", t.aspect,
                            "camera aspect: 4:3, 16:9, letterbox, or frame (default: the output's shape)");
        command->add_flag("--draft,!--no-draft", t.draft, "fast, lower-quality resampling (default: the DraftRender setting)");
        command->add_flag("--blur,!--no-blur", t.blur, "motion blur (default: the BlurFrames setting)");
        command->add_flag("--multiprocess", t.multiprocess, "draw half of each frame on a second processor");
        command->add_option("--threads", t.threads,
                            "frames drawn at once, each on its own thread (default 0: one per processor; "
                            "--multiprocess draws one frame at a time on two)");
        command->add_option("--quality", t.quality,
                            "kept (default): the effect's own filter; exact: the true average of the picture "
                            "under each pixel, also for rolled and tilted cameras (slower)");
        command->add_option("--codec", t.codec, "video codec: h264, hevc or prores (default h264; ProRes for .mov)");
        command->add_option("--crf", t.crf, "h264/hevc quality, 0 (best) to 51 (default 18)");
        command->add_option("--preset", t.preset, "h264/hevc speed preset, ultrafast to veryslow (default medium)");
        command->add_option("--hwaccel", t.hwaccel,
                            "h264/hevc on a hardware encoder that this ffmpeg offers: nvenc, vaapi, qsv, "
                            "v4l2m2m, or none (default)");
    }
    command->add_flag("-y,--overwrite", t.overwrite,
                      forDemo ? "replace the video, show and picture of an earlier demo"
                              : "replace an output that is already there");
    command->add_flag("-q,--quiet", t.quiet, "no progress bar");
}

// Threads, quality and the encoder choices.
bool ParseRenderChoices(const RenderText& t, gs::RenderRequest& request, std::string& error) {
    char* end = nullptr;
    const long threads = t.threads.size() > 4 ? -1 : std::strtol(t.threads.c_str(), &end, 10);
    if (t.threads.empty() || !end || *end || threads < 0 || threads > 256) {
        error = "--threads " + t.threads + ": expected 0 (one per processor) to 256";
        return false;
    }
    request.threads = static_cast<int>(threads);
    if (t.quality != "kept" && t.quality != "exact") {
        error = "--quality " + t.quality + ": expected kept or exact";
        return false;
    }
    request.exact = t.quality == "exact";
    return (t.codec.empty() || gs::ParseCodec(t.codec, request.encoding.codec, error)) &&
           (t.crf.empty() || gs::ParseCrf(t.crf, request.encoding.crf, error)) &&
           (t.preset.empty() || gs::ParsePreset(t.preset, request.encoding.preset, error)) &&
           (t.hwaccel.empty() || gs::ParseHwaccel(t.hwaccel, request.encoding.hwaccel, error));
}

// Turns the typed options into a request; false after printing the error.
bool MakeRequest(const RenderText& t, const std::string& showPath, const std::string& defaultSize,
                 gs::RenderRequest& request, int& exitCode) {
    std::string error;
    request.showPath = showPath;
    const bool ok = gs::ParseOutput(t.output, request.output, error) &&
                    gs::ParseSize(t.size.empty() ? defaultSize : t.size, request.size, error) &&
                    gs::ParseFrameRate(t.fps, request.frameRate, error) &&
                    (t.frames.empty() || gs::ParseFrameRange(t.frames, request.frames, error)) &&
                    gs::ParseFields(t.fields, request.fieldMode, error) &&
                    gs::ParseAspect(t.aspect, request.aspect, error);
    if (!ok) {
        exitCode = Fail(error, kExitUsage);
        return false;
    }
    request.draft = t.draft > 0 ? 1 : t.draft < 0 ? -1 : 0;
    request.blur = t.blur > 0 ? 1 : t.blur < 0 ? -1 : 0;
    request.multiprocess = t.multiprocess;
    if (!ParseRenderChoices(t, request, error)) {
        exitCode = Fail(error, kExitUsage);
        return false;
    }
    request.quiet = t.quiet;
    request.overwrite = t.overwrite;
    return true;
}

int Report(const gs::RenderResult& result) {
    for (const std::string& w : result.warnings) std::fprintf(stderr, "glimmerstroll: warning: %s\n", w.c_str());
    if (result.interrupted) return Fail(result.error, kExitInterrupted);
    if (result.badRequest) return Fail(result.error, kExitUsage);
    if (!result.ok) return Fail(result.error);
    return 0;
}

int RunRenderCommand(const RenderText& t, const std::string& showPath) {
    gs::RenderRequest request;
    int code = 0;
    if (!MakeRequest(t, showPath, "1920x1080", request, code)) return code;
    gs::InstallInterruptHandlers();
    gs::StartTool();
    const gs::RenderResult result = gs::RunRender(request);
    gs::StopTool();
    if (result.ok && !request.quiet && isatty(2))
        std::fprintf(stderr, "glimmerstroll: wrote %ld frames to %s\n", result.frames, result.where.c_str());
    return Report(result);
}

int RunInfoCommand(const std::string& showPath, bool json, const std::string& fps) {
    int32_t rate = 2500;
    std::string error;
    if (!gs::ParseFrameRate(fps, rate, error)) return Fail(error, kExitUsage);
    // The user's settings ("AltImageFolder") first, so that reading the show
    // looks for its pictures where a render looks.
    gs::StartTool();
    gs::ShowBlock show;
    const bool read = gs::ReadShowFile(showPath, show, error);
    const std::string text =
        !read ? "" : json ? gs::ShowInfoJson(show, showPath, rate) : gs::ShowInfoText(show, showPath, rate);
    gs::StopTool();
    if (!read) return Fail(error);
    std::fwrite(text.data(), 1, text.size(), stdout);
    return std::fflush(stdout) == 0 ? 0 : Fail("cannot write to standard output");
}

// "a/b/c" -> makes a, a/b (not c). False with a reason.
bool MakeParentFolders(const std::string& path, std::string& error) {
    for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
        const std::string folder = path.substr(0, at);
        if (mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
            error = "cannot make folder " + folder + ": " + std::strerror(errno);
            return false;
        }
    }
    return true;
}

int RunDemoCommand(RenderText t) {
    if (t.output.empty()) t.output = "out/demo.mp4";
    gs::RenderRequest request;
    int code = 0;
    if (!MakeRequest(t, "", "1280x720", request, code)) return code;

    // The picture and the show go beside the output: OUT's folder, OUT's name.
    std::string base;
    if (request.output.kind == gs::OutputKind::Raw) {
        std::string folder = gs::TempFolder() + "/glimmerstroll-demo-XXXXXX";
        if (!mkdtemp(folder.data()))
            return Fail("cannot make a temporary folder in " + gs::TempFolder() + ": " + std::strerror(errno));
        base = folder + "/demo";
    } else {
        const size_t slash = t.output.find_last_of('/');
        const std::string folder = slash == std::string::npos ? "" : t.output.substr(0, slash + 1);
        std::string name = slash == std::string::npos ? t.output : t.output.substr(slash + 1);
        if (request.output.kind == gs::OutputKind::Sequence || name.find('.') == std::string::npos)
            name = "demo";
        else
            name = name.substr(0, name.find_last_of('.'));
        base = folder + name;
    }
    const std::string picturePath = base + "-picture.tga";
    const std::string showPath = base + ".gsx";
    // The show beside the video may be the user's own by now: nothing is
    // replaced without -y, as with render.
    if (!request.overwrite) {
        std::vector<std::string> there{showPath, picturePath};
        if (request.output.kind == gs::OutputKind::Video) there.push_back(request.output.path);
        for (const std::string& path : there) {
            struct stat st;
            if (lstat(path.c_str(), &st) == 0) return Fail(path + " already exists; add -y to replace it");
        }
    }
    std::string error;
    if (!MakeParentFolders(base, error)) return Fail(error);
    request.showPath = showPath;
    request.frames = gs::FrameRange{};  // the whole show

    gs::InstallInterruptHandlers();
    gs::StartTool();
    CDIB picture(1, 1, 24);
    bool ok = gs::DrawDemoPicture(picture) && gs::WriteTarga(picture, picturePath, error);
    if (ok) {
        gs::BuildDemoShow(*pDoc, picturePath, request.frameRate);
        ok = gs::WriteShowFile(*pDoc, showPath, error);
    }
    if (!ok) {
        gs::StopTool();
        return Fail(error.empty() ? "cannot draw the demo picture" : error);
    }
    const gs::RenderResult result = gs::RunRender(request);
    gs::StopTool();
    const bool raw = request.output.kind == gs::OutputKind::Raw;
    if (raw) {
        // The example's files were only the render's input.
        std::remove(picturePath.c_str());
        std::remove(showPath.c_str());
        rmdir(base.substr(0, base.find_last_of('/')).c_str());
    }
    const int status = Report(result);
    if (status != 0) return status;
    // Raw frames own standard output; the summary goes beside them.
    std::FILE* summary = raw ? stderr : stdout;
    std::fprintf(summary, "demo: %s (%ld frames, %dx%d, %s fps)\n", result.where.c_str(), result.frames,
                 request.size.width, request.size.height, t.fps.c_str());
    if (!raw) std::fprintf(summary, "show: %s  picture: %s\n", showPath.c_str(), picturePath.c_str());
    return 0;
}

// `edit` runs the editor program installed beside this one (glimmerstroll-edit),
// so that this tool never loads a windowing library.
int RunEditCommand(std::string showPath, std::string fps) {
    std::string program = "glimmerstroll-edit";
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        self[n] = '\0';
        const std::string path(self);
        program = path.substr(0, path.rfind('/') + 1) + program;
    }
    std::vector<char*> args{program.data()};
    std::string fpsOption = "--fps";
    if (!fps.empty()) {
        args.push_back(fpsOption.data());
        args.push_back(fps.data());
    }
    if (!showPath.empty()) args.push_back(showPath.data());
    args.push_back(nullptr);
    execv(program.c_str(), args.data());
    // The editor never started: no quit of the user's, but a failure to start.
    return Fail("cannot run " + program + ": " + std::strerror(errno) +
                    " (the editor is built when GTK 3 is installed: make deps)",
                kExitCannotStart);
}


// The options of `slideshow`, as the user typed them; a reel file fills those
// the command line leaves out.
struct SlideshowText {
    std::vector<std::string> items;
    std::string output;
    std::string size = "1920x1080";
    std::string fps = "25";
    std::string duration = "5";
    std::string transition = "crossfade";
    std::string transitionDuration = "1";
    std::string music;
    std::string seed = "1";
    std::string minZoom = "1.1";
    std::string maxZoom = "1.4";
    std::string saveShows;
    std::string mlt;
    std::string threads = "0";
    std::string quality = "exact";
    bool fitMusic = false;
    bool allowUpscale = false;
    bool skipBad = false;
    bool quiet = false;
    bool overwrite = false;
};

bool ParseNumber(const std::string& text, const char* what, double low, double high, double& out,
                 std::string& error) {
    char* end = nullptr;
    out = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !(out >= low && out <= high)) {
        error = std::string(what) + " must be a number from " + CLI::detail::to_string(low) + " to " +
                CLI::detail::to_string(high) + ", not \"" + text + "\"";
        return false;
    }
    return true;
}

int RunSlideshowCommand(SlideshowText t, CLI::App* command) {
    gs::SlideshowRequest request;
    std::string error;
    // One reel file stands for the whole list; its settings count as typed
    // unless the command line gave them.
    if (t.items.size() == 1 && gs::IsReel(t.items[0])) {
        gs::Reel reel;
        if (!gs::ReadReel(t.items[0], reel, error)) return Fail(error);
        struct Setting {
            const char* name;
            std::string* text;
        };
        const Setting settings[] = {{"size", &t.size},
                                    {"fps", &t.fps},
                                    {"duration", &t.duration},
                                    {"transition", &t.transition},
                                    {"transition-duration", &t.transitionDuration},
                                    {"music", &t.music},
                                    {"seed", &t.seed},
                                    {"min-zoom", &t.minZoom},
                                    {"max-zoom", &t.maxZoom},
                                    {"quality", &t.quality}};
        for (const auto& [name, value] : reel.settings) {
            if (name == "fit-music") {
                if (command->count("--fit-music") == 0) t.fitMusic = value == "true";
                continue;
            }
            for (const Setting& s : settings)
                if (name == s.name && command->count(std::string("--") + s.name) == 0) *s.text = value;
        }
        request.items = reel.items;
    } else {
        for (const std::string& path : t.items) {
            gs::SlideItem item;
            item.path = path;
            item.kind = gs::KindOf(path);
            request.items.push_back(item);
        }
    }

    double seed = 1;
    int transition = 0;
    const char* const transitions[] = {"crossfade", "fade-black", "cut"};
    for (int i = 0; i < 3; i++)
        if (t.transition == transitions[i]) transition = i + 1;
    bool ok = true;
    if (t.output.empty() && t.mlt.empty()) {
        error = "give the film's output with -o, or --mlt for an MLT project";
        ok = false;
    }
    ok = ok && (t.output.empty() || gs::ParseOutput(t.output, request.output, error)) &&
         gs::ParseSize(t.size, request.size, error) && gs::ParseFrameRate(t.fps, request.frameRate, error) &&
         ParseNumber(t.duration, "--duration", 0.04, 86400, request.seconds, error) &&
         ParseNumber(t.transitionDuration, "--transition-duration", 0, 3600, request.transitionSeconds, error) &&
         ParseNumber(t.seed, "--seed", 0, 4294967295.0, seed, error) &&
         ParseNumber(t.minZoom, "--min-zoom", 1, 20, request.limits.minZoom, error) &&
         ParseNumber(t.maxZoom, "--max-zoom", 1, 20, request.limits.maxZoom, error);
    if (ok && transition == 0) {
        error = "--transition must be crossfade, fade-black or cut, not \"" + t.transition + "\"";
        ok = false;
    }
    if (ok && request.limits.minZoom > request.limits.maxZoom) {
        error = "--min-zoom is larger than --max-zoom";
        ok = false;
    }
    if (ok && t.fitMusic && t.music.empty()) {
        error = "--fit-music needs --music";
        ok = false;
    }
    double threads = 0;
    ok = ok && ParseNumber(t.threads, "--threads", 0, 256, threads, error);
    if (ok && (threads != std::floor(threads))) {
        error = "--threads " + t.threads + ": expected 0 (one per processor) to 256";
        ok = false;
    }
    if (ok && t.quality != "kept" && t.quality != "exact") {
        error = "--quality " + t.quality + ": expected kept or exact";
        ok = false;
    }
    if (!ok) return Fail(error, kExitUsage);
    request.hasOutput = !t.output.empty();
    request.transition = static_cast<gs::TransitionKind>(transition - 1);
    request.seed = static_cast<uint32_t>(seed);
    request.music = t.music;
    request.fitMusic = t.fitMusic;
    request.limits.allowUpscale = t.allowUpscale;
    request.saveShows = t.saveShows;
    request.mlt = t.mlt;
    request.skipBad = t.skipBad;
    request.threads = static_cast<int>(threads);
    request.exact = t.quality == "exact";
    request.quiet = t.quiet;
    request.overwrite = t.overwrite;

    gs::InstallInterruptHandlers();
    gs::StartTool();
    const gs::RenderResult result = gs::RunSlideshow(request);
    gs::StopTool();
    if (result.ok && !request.quiet && isatty(2))
        std::fprintf(stderr, "glimmerstroll: wrote %ld frames to %s\n", result.frames, result.where.c_str());
    return Report(result);
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Glimmerstroll: a virtual camera over still pictures (pans, zooms, rolls).", "glimmerstroll"};
    app.set_version_flag("--version", std::string("glimmerstroll ") + GS_VERSION);
    app.require_subcommand(1);
    app.fallthrough(false);

    RenderText renderText;
    std::string renderShow;
    CLI::App* render = app.add_subcommand("render", "render a show to a video, pictures or raw RGBA frames");
    render->footer(
        "Levels: videos get full-range pictures that ffmpeg turns into limited-range YUV, so black "
        "plays back as black; the VideoColors setting (squeezing pictures to 15..234) applies to "
        "pictures and raw frames only.");
    render->add_option("show", renderShow, "the show file (.gsx)")->required();
    render->add_option("-o,--output", renderText.output,
                       "OUT.mp4 (H.264), OUT.mov (ProRes 422 HQ), OUT.mkv, a picture pattern such as "
                       "frames/f_%05d.png (.tga, .bmp, .png), or - for raw RGBA on standard output")
        ->required();
    AddRenderOptions(render, renderText, false);

    std::string infoShow;
    bool infoJson = false;
    std::string infoFps = "25";
    CLI::App* info = app.add_subcommand("info", "describe a show file: pictures, keys, trailer, byte order");
    info->add_option("show", infoShow, "the show file (.gsx)")->required();
    info->add_flag("--json", infoJson, "the stable JSON form (see the README)");
    info->add_option("--fps", infoFps, "frame rate for the timecodes (default 25)");

    std::string exportShow, exportOutput, exportFps = "25";
    bool exportOverwrite = false;
    CLI::App* exportCommand = app.add_subcommand("export", "write a show as JSON (the info --json form, complete)");
    exportCommand->add_option("show", exportShow, "the show file (.gsx)")->required();
    exportCommand->add_option("-o,--output", exportOutput, "FILE.json (default: standard output)");
    exportCommand->add_option("--fps", exportFps, "frame rate for frame numbers and timecodes (default 25)");
    exportCommand->add_flag("-y,--overwrite", exportOverwrite, "replace a file that is already there");

    std::string importJson, importOutput, importOrder;
    bool importOverwrite = false;
    CLI::App* importCommand = app.add_subcommand("import", "write a show file from its JSON form");
    importCommand->add_option("json", importJson, "the JSON file (- for standard input)")->required();
    importCommand->add_option("-o,--output", importOutput, "the show file to write (.gsx)")->required();
    importCommand->add_option("--byte-order", importOrder,
                              "little or big (default: the JSON's byteOrder, else this machine's)");
    importCommand->add_flag("-y,--overwrite", importOverwrite, "replace a show that is already there");

    gs::NewShowText newText;
    CLI::App* newCommand = app.add_subcommand("new", "make a show for one picture from a few options");
    newCommand->add_option("photo", newText.photo, "the picture")->required();
    newCommand->add_option("-o,--output", newText.output, "the show file to write (.gsx)")->required();
    newCommand->add_option("--move", newText.move, "zoom-in, zoom-out, pan-left, pan-right, pan-up or pan-down");
    newCommand->add_option("--from", newText.from,
                           "where the camera starts: x,y,width (its centre and width in picture pixels), "
                           "full, center, or W@X,Y (a share of the full width at shares of the picture)");
    newCommand->add_option("--to", newText.to, "where the camera ends, as --from");
    newCommand->add_option("--key", newText.keys, "a key between: TIME:x,y,width[,roll], TIME as 2s or frames")
        ->allow_extra_args(false);
    newCommand->add_option("--duration", newText.duration, "the show's length: 6s or frames (default 5s)");
    newCommand->add_option("--fps", newText.fps, "frame rate for seconds (default 25)");
    newCommand->add_option("--ease", newText.ease, "slow-in-out (both), slow-in, slow-out, none (default: the show's)");
    newCommand->add_option("--roll", newText.roll, "degrees the camera rolls on its way to the end");
    newCommand->add_option("--aspect", newText.aspect, "the camera's shape W:H, as it will be rendered (default 16:9)");
    newCommand->add_flag("--allow-outside", newText.allowOutside, "let the camera leave the picture");
    newCommand->add_flag("-y,--overwrite", newText.overwrite, "replace a show that is already there");

    RenderText demoText;
    CLI::App* demo = app.add_subcommand("demo", "render the built-in example show (default out/demo.mp4)");
    demo->add_option("-o,--output", demoText.output, "where the video goes (default out/demo.mp4)");
    AddRenderOptions(demo, demoText, true);

    std::string editShow;
    CLI::App* edit = app.add_subcommand("edit", "open the editor on a show file (a new one when it does not exist)");
    edit->add_option("show", editShow, "the show file (.gsx); none: an untitled show");
    std::string editFps;
    edit->add_option("--fps", editFps, "frame rate the show's frames are counted at: 25, 29.97, 23.976 (default 25)");

    SlideshowText slideText;
    CLI::App* slideshow = app.add_subcommand(
        "slideshow", "make one film of photos (moved automatically) and shows, with transitions and music");
    slideshow->add_option("items", slideText.items, "photos, shows (.gsx, .json), or one reel file (.json)")->required();
    slideshow->add_option("-o,--output", slideText.output, "the film: OUT.mp4, OUT.mov, OUT.mkv, a picture pattern, or -");
    slideshow->add_option("--duration", slideText.duration, "seconds each photo is on screen (default 5)");
    slideshow->add_option("--transition", slideText.transition, "crossfade (default), fade-black or cut");
    slideshow->add_option("--transition-duration", slideText.transitionDuration, "seconds of each transition (default 1)");
    slideshow->add_option("--size", slideText.size, "frame size WxH (default 1920x1080)");
    slideshow->add_option("--fps", slideText.fps, "frame rate (default 25)");
    slideshow->add_option("--music", slideText.music, "a sound file laid under the film, faded out at its end");
    slideshow->add_flag("--fit-music", slideText.fitMusic, "spread the photos over the music's length");
    slideshow->add_option("--seed", slideText.seed, "the moves' choices: the same inputs and seed give the same film (default 1)");
    slideshow->add_option("--min-zoom", slideText.minZoom, "the least zoom of a move (default 1.1)");
    slideshow->add_option("--max-zoom", slideText.maxZoom, "the most zoom of a move (default 1.4)");
    slideshow->add_flag("--allow-upscale", slideText.allowUpscale, "let the camera magnify past the photo's own pixels");
    slideshow->add_option("--save-shows", slideText.saveShows, "write each photo's move as a show into this folder");
    slideshow->add_option("--mlt", slideText.mlt, "also write the film as an MLT XML project (melt, Kdenlive, Shotcut)");
    slideshow->add_flag("--skip-bad", slideText.skipBad, "leave out photos that cannot be read, with a warning");
    slideshow->add_option("--quality", slideText.quality,
                          "exact (default): the true average of the picture under each pixel; kept: the effect's "
                          "own filter, as `render` draws by default");
    slideshow->add_option("--threads", slideText.threads,
                          "frames drawn at once, each on its own thread (default 0: one per processor)");
    slideshow->add_flag("-q,--quiet", slideText.quiet, "no progress bar");
    slideshow->add_flag("-y,--overwrite", slideText.overwrite, "replace an output that is already there");

    // A first word that names no subcommand is a mistyped subcommand: name it
    // and list the real ones, rather than ask for one.
    if (argc > 1 && argv[1][0] != '-') {
        std::string names;
        bool known = false;
        for (const CLI::App* command : app.get_subcommands([](CLI::App*) { return true; })) {
            names += (names.empty() ? "" : ", ") + command->get_name();
            known = known || command->get_name() == argv[1];
        }
        if (!known)
            return Fail(std::string("unknown subcommand \"") + argv[1] + "\"; the subcommands are " + names +
                            " (see glimmerstroll --help)",
                        kExitUsage);
    }

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& e) {
        // --help, --help-all, --version: printed on standard output.
        return app.exit(e, std::cout, std::cerr);
    } catch (const CLI::ParseError& e) {
        return Fail(std::string(e.what()) + " (see glimmerstroll --help)", kExitUsage);
    }

    if (render->parsed()) return RunRenderCommand(renderText, renderShow);
    if (info->parsed()) return RunInfoCommand(infoShow, infoJson, infoFps);
    std::string error;
    if (exportCommand->parsed()) {
        gs::StartTool();  // settings: pictures are looked for where a render looks
        const int code = gs::RunExport(exportShow, exportOutput, exportFps, exportOverwrite, error);
        gs::StopTool();
        return code == 0 ? 0 : Fail(error, code);
    }
    if (importCommand->parsed()) {
        const int code = gs::RunImport(importJson, importOutput, importOrder, importOverwrite, error);
        return code == 0 ? 0 : Fail(error, code);
    }
    if (newCommand->parsed()) {
        const int code = gs::RunNew(newText, error);
        return code == 0 ? 0 : Fail(error, code);
    }
    if (demo->parsed()) return RunDemoCommand(demoText);
    if (edit->parsed()) return RunEditCommand(editShow, editFps);
    if (slideshow->parsed()) return RunSlideshowCommand(slideText, slideshow);
    return Fail("no command given (see glimmerstroll --help)", kExitUsage);
}
