// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/RenderJob.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>

#include "app/FramePipeline.h"
#include "app/FrameSink.h"
#include "app/Progress.h"
#include "app/Session.h"
#include "app/ShowBlock.h"
#include "doc/CDoc.h"
#include "doc/PictureLookup.h"
#include "motion/Timecode.h"
#include "platform/Env.h"
#include "platform/Platform.h"
#include "platform/Worker.h"

namespace gs {

namespace {

// The tool's platform services: messages are kept for the one error line,
// questions are answered "no" (nobody is there to answer them).
class ToolBackend final : public PlatformBackend {
public:
    void ShowError(const char* text) override { messages.emplace_back(text ? text : ""); }
    std::vector<std::string> messages;
};

ToolBackend gToolBackend;
volatile std::sig_atomic_t gInterrupted = 0;
// Set while the show's picture is read: a reader or the importer may sit in one
// picture for a long time, and nothing of the output exists yet.
volatile std::sig_atomic_t gLoadingPicture = 0;
// Where the user's standard error is while the load's is silenced.
volatile std::sig_atomic_t gUserErrors = 2;

// A video output opened before the picture is read (so that ffmpeg starts
// meanwhile): what an interrupt during the load undoes before the exit.
ExitCleanup gExitCleanup;
volatile std::sig_atomic_t gExitCleanupSet = 0;

constexpr char kInterruptedLine[] = "glimmerstroll: interrupted; nothing was written\n";
constexpr int kInterruptedStatus = 130;

void OnInterrupt(int) {
    gInterrupted = 1;
    if (!gLoadingPicture) return;  // the frame loop stops at the next frame
    // Nothing is written before the picture has been read, so there is
    // nothing to clean up but an output already opened: end here rather than
    // after the load. ffmpeg is stopped for good before its file is removed,
    // so that it cannot make the file again.
    if (gExitCleanupSet) {
        if (gExitCleanup.child > 0) {
            kill(gExitCleanup.child, SIGKILL);
            while (waitpid(gExitCleanup.child, nullptr, 0) < 0 && errno == EINTR) {
            }
        }
        if (gExitCleanup.removeFile[0]) unlink(gExitCleanup.removeFile);
    }
    const ssize_t ignored = write(gUserErrors, kInterruptedLine, sizeof kInterruptedLine - 1);
    (void)ignored;
    _exit(kInterruptedStatus);
}

// Marks the picture load as a place where an interrupt ends the program at
// once. Meanwhile standard error goes nowhere: the codec libraries behind the
// importer print their own complaints (libpng's "libpng error: ..."), and the
// user reads the tool's one line instead.
class InterruptibleLoad {
public:
    InterruptibleLoad() {
        std::fflush(stderr);
        saved_ = dup(2);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (saved_ >= 0 && nowhere >= 0) {
            gUserErrors = saved_;
            dup2(nowhere, 2);
        }
        if (nowhere >= 0) close(nowhere);
        gLoadingPicture = 1;
        if (gInterrupted) OnInterrupt(0);
    }
    ~InterruptibleLoad() {
        gLoadingPicture = 0;
        if (saved_ < 0) return;
        std::fflush(stderr);
        dup2(saved_, 2);
        gUserErrors = 2;
        close(saved_);
    }
    InterruptibleLoad(const InterruptibleLoad&) = delete;
    InterruptibleLoad& operator=(const InterruptibleLoad&) = delete;

private:
    int saved_ = -1;
};

// Renders without --frames stop here: a key far out (up to frame 2^31 - 1)
// must not start a render that never ends. One hour of frames at the rate.
long DefaultFramesCap(int32_t frameRate) { return 3600L * ((frameRate + 50) / 100 > 0 ? (frameRate + 50) / 100 : 1); }

std::string JoinMessages(const std::vector<std::string>& messages) {
    std::string all;
    for (const std::string& m : messages) {
        if (m.empty()) continue;
        if (!all.empty()) all += "; ";
        all += m;
    }
    return all;
}

}  // namespace

void StartTool() {
    SetPlatformBackend(&gToolBackend);
    InitEnvironment(nullptr, "Glimmerstroll", kModeHost);
    if (!pDoc) pDoc = new CDoc;
}

void StopTool() {
    delete pDoc;
    pDoc = nullptr;
    // Only the worker is ended: the tool reads the user's settings and never
    // writes them back (an editor open meanwhile keeps its changes).
    CloseMP();
    gCanMultiProcess = 0;
    SetPlatformBackend(nullptr);
}

std::vector<std::string> TakeToolMessages() {
    std::vector<std::string> out;
    out.swap(gToolBackend.messages);
    return out;
}

bool Interrupted() { return gInterrupted != 0; }

void InstallInterruptHandlers() {
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGHUP, &action, nullptr);  // the terminal went away
    // A closed pipe shows up as a failed write, which says more than a signal.
    std::signal(SIGPIPE, SIG_IGN);
}

RenderResult RunRender(const RenderRequest& request) {
    RenderResult result;
    CDoc& doc = *pDoc;

    ShowBlock show;
    if (!ReadShowFile(request.showPath, show, result.error)) return result;
    if (show.pictures.empty()) {
        result.error = "show " + request.showPath + " has no picture to render";
        return result;
    }

    long first = 0;
    long last = show.DefaultLength() - 1;
    const long cap = DefaultFramesCap(request.frameRate);
    if (!request.frames.given && last >= cap) {
        result.warnings.push_back("the show runs " + std::to_string(last + 1) + " frames; rendering the first " +
                                  std::to_string(cap) + " (one hour): give --frames FIRST-LAST for more");
        last = cap - 1;
    }
    if (request.frames.given) {
        // A range wholly past the show's end is a mistake; one that runs past
        // it is cut there.
        const std::string range =
            "--frames " + std::to_string(request.frames.first) +
            (request.frames.last == request.frames.first ? "" : "-" + std::to_string(request.frames.last));
        const std::string frames = "the show has " + std::to_string(last + 1) + " frames (0-" +
                                   std::to_string(last) + ")";
        if (request.frames.first > last) {
            result.error = range + ": " + frames;
            result.badRequest = true;
            return result;
        }
        first = request.frames.first;
        if (request.frames.last > last)
            result.warnings.push_back(range + " runs past the end: " + frames + "; rendering " +
                                      std::to_string(first) + "-" + std::to_string(last));
        else
            last = request.frames.last;
    }

    // A name this short is no picture to the document, which would render
    // black: it is a missing picture like any other.
    if (show.pictures[0].reference.size() < 3) {
        result.error = "cannot load picture \"" + show.pictures[0].reference + "\" of show " + request.showPath +
                       ": the show names no picture file";
        return result;
    }

    gFrameRate = request.frameRate;
    TakeToolMessages();
    // Pictures missing at their stored paths are looked for beside the show.
    std::snprintf(doc.showFolder, sizeof doc.showFolder, "%s", ShowFolderOf(request.showPath).c_str());
    // A video's pictures stay full range: ffmpeg squeezes them into
    // limited-range YUV itself, and squeezing them here too would lift the
    // blacks. Pictures and raw frames keep the VideoColors setting.
    struct KeepLevels {
        CDoc& doc;
        int32_t setting;
        ~KeepLevels() { doc.videoColors = setting; }
    } keepLevels{doc, doc.videoColors};
    if (request.output.kind == OutputKind::Video) doc.videoColors = 0;

    SinkFormat format;
    format.width = request.size.width;
    format.height = request.size.height;
    format.frameRate = request.frameRate;
    format.first = first;
    format.last = last;
    format.overwrite = request.overwrite;
    format.encoding = request.encoding;
    std::unique_ptr<FrameSink> sink = MakeFrameSink(request.output, format);
    // A video is opened before the picture is read, so that ffmpeg starts up
    // while the picture is decoded. Its errors still come after the picture's,
    // as when it is opened afterwards.
    const bool openEarly = request.output.kind == OutputKind::Video;
    bool opened = false;
    std::string openError;
    if (openEarly) {
        opened = sink->Open(openError);
        if (!opened) sink->Abandon();
    }
    // Whatever returns from here on leaves no output behind.
    struct AbandonUnlessDone {
        FrameSink& sink;
        bool done = false;
        ~AbandonUnlessDone() {
            if (!done) sink.Abandon();
        }
    } abandon{*sink};

    bool put = false;
    {
        if (opened) {
            sink->DescribeExit(gExitCleanup);
            gExitCleanupSet = 1;
        }
        InterruptibleLoad load;
        put = PutShow(doc, show, result.error);
        gExitCleanupSet = 0;
    }
    if (!put) {
        result.error = "cannot load show " + request.showPath + ": " + result.error;
        return result;
    }
    // What became of the show's picture: loaded, refused with a message
    // ("ShowPicError" on), or replaced by the missing-picture image (off).
    const std::string picture = show.pictures[0].path;
    const std::string said = JoinMessages(TakeToolMessages());
    if (doc.picLoadStatus == 0) {
        result.error = "cannot load picture " + picture + " of show " + request.showPath +
                       (said.empty() ? "" : ": " + said);
        return result;
    }
    if (doc.picLoadStatus == 2)
        result.warnings.push_back("picture " + picture + " is missing; drawing the missing-picture image (ShowPicError=0)");

    if (request.draft) doc.draftRender = request.draft > 0 ? 1 : 0;
    if (request.blur) doc.blurFrames = request.blur > 0 ? 1 : 0;
    if (request.multiprocess) gMultiProcess = 1;
    doc.exactRender = request.exact ? 1 : 0;
    FitCamera(doc, request.size.width, request.size.height, request.aspect);

    if (openEarly && !opened) {
        result.error = openError;
        return result;
    }
    if (!openEarly && !sink->Open(result.error)) return result;

    const long total = last - first + 1;
    Progress progress(total, !request.quiet);
    FrameRun run;
    run.first = first;
    run.last = last;
    run.fieldMode = request.fieldMode;
    run.width = format.width;
    run.height = format.height;
    // The two-band worker draws one frame at a time.
    run.threads = request.multiprocess ? 1 : request.threads > 0 ? request.threads : FramePipeline::MachineThreads();
    run.bottomUp = sink->TakesWorkRows();
    gFrameRate = request.frameRate;
    auto take = [&](long frame, const uint8_t* pixels, std::string& why) {
        const bool written = run.bottomUp ? sink->WriteWorkRows(frame, pixels, why) : sink->Write(frame, pixels, why);
        if (!written) return false;
        result.frames++;
        progress.Update(result.frames);
        return true;
    };
    bool stopped = false;
    std::string why;
    if (!RenderFrames(doc, run, take, Interrupted, why, stopped) && !Interrupted()) {
        const std::string more = JoinMessages(TakeToolMessages());
        result.error = why + (more.empty() || why.find("could not be rendered") == std::string::npos ? "" : ": " + more);
        progress.Clear();
        sink->Abandon();
        return result;
    }
    if (Interrupted()) {
        progress.Clear();
        sink->Abandon();
        result.interrupted = true;
        result.error = "interrupted; nothing was written";
        return result;
    }
    if (!sink->Finish(result.error)) {
        progress.Clear();
        sink->Abandon();
        return result;
    }
    abandon.done = true;
    progress.Finish();
    result.ok = true;
    result.where = sink->Describe();
    return result;
}

}  // namespace gs
