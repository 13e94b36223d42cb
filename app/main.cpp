// glimmerstroll: renders shows from the command line, describes show files, and
// renders the built-in example.
//
// Exit codes: 0 success, 1 the work failed (a missing show, an unwritable
// output, ...), 2 the command line is wrong, 130 interrupted. Every failure is
// one line on standard error, "glimmerstroll: ...".
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "app/Demo.h"
#include "app/Options.h"
#include "app/RenderJob.h"
#include "app/ShowBlock.h"
#include "app/ShowInfo.h"
#include "doc/CDoc.h"
#include "image/CDIB.h"

#ifndef GS_VERSION
#define GS_VERSION "unknown"
#endif

namespace {

constexpr int kExitFailed = 1;
constexpr int kExitUsage = 2;
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
        command->add_flag("-y,--overwrite", t.overwrite, "replace an output that is already there");
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
    gs::ShowBlock show;
    if (!gs::ReadShowFile(showPath, show, error)) return Fail(error);
    const std::string text = json ? gs::ShowInfoJson(show, showPath, rate) : gs::ShowInfoText(show, showPath, rate);
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
        char folder[] = "/tmp/glimmerstroll-demo-XXXXXX";
        if (!mkdtemp(folder)) return Fail(std::string("cannot make a temporary folder: ") + std::strerror(errno));
        base = std::string(folder) + "/demo";
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
    std::string error;
    if (!MakeParentFolders(base, error)) return Fail(error);
    const std::string picturePath = base + "-picture.tga";
    const std::string showPath = base + ".gsx";
    request.showPath = showPath;
    request.frames = gs::FrameRange{};  // the whole show
    request.overwrite = true;           // the example is made afresh each time

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
int RunEditCommand(std::string showPath) {
    std::string program = "glimmerstroll-edit";
    char self[4096];
    const ssize_t n = readlink("/proc/self/exe", self, sizeof self - 1);
    if (n > 0) {
        self[n] = '\0';
        const std::string path(self);
        program = path.substr(0, path.rfind('/') + 1) + program;
    }
    std::vector<char*> args{program.data()};
    if (!showPath.empty()) args.push_back(showPath.data());
    args.push_back(nullptr);
    execv(program.c_str(), args.data());
    return Fail("cannot run " + program + ": " + std::strerror(errno) +
                " (the editor is built when GTK 3 is installed: make deps)");
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

    RenderText demoText;
    CLI::App* demo = app.add_subcommand("demo", "render the built-in example show (default out/demo.mp4)");
    demo->add_option("-o,--output", demoText.output, "where the video goes (default out/demo.mp4)");
    AddRenderOptions(demo, demoText, true);

    std::string editShow;
    CLI::App* edit = app.add_subcommand("edit", "open the editor on a show file (a new one when it does not exist)");
    edit->add_option("show", editShow, "the show file (.gsx); none: an untitled show");

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
    if (demo->parsed()) return RunDemoCommand(demoText);
    if (edit->parsed()) return RunEditCommand(editShow);
    return Fail("no command given (see glimmerstroll --help)", kExitUsage);
}
