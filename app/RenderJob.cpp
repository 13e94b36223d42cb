#include "app/RenderJob.h"

#include <csignal>
#include <cstring>
#include <memory>

#include "app/FramePipeline.h"
#include "app/FrameSink.h"
#include "app/Progress.h"
#include "app/Session.h"
#include "app/ShowBlock.h"
#include "doc/CDoc.h"
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

void OnInterrupt(int) { gInterrupted = 1; }

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
    if (request.frames.given) {
        first = request.frames.first;
        last = request.frames.last;
    }

    gFrameRate = request.frameRate;
    TakeToolMessages();
    // A video's pictures stay full range: ffmpeg squeezes them into
    // limited-range YUV itself, and squeezing them here too would lift the
    // blacks. Pictures and raw frames keep the VideoColors setting.
    struct KeepLevels {
        CDoc& doc;
        int32_t setting;
        ~KeepLevels() { doc.videoColors = setting; }
    } keepLevels{doc, doc.videoColors};
    if (request.output.kind == OutputKind::Video) doc.videoColors = 0;
    if (!PutShow(doc, show, result.error)) {
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

    SinkFormat format;
    format.width = request.size.width;
    format.height = request.size.height;
    format.frameRate = request.frameRate;
    format.first = first;
    format.last = last;
    format.overwrite = request.overwrite;
    format.encoding = request.encoding;
    std::unique_ptr<FrameSink> sink = MakeFrameSink(request.output, format);
    if (!sink->Open(result.error)) {
        sink->Abandon();
        return result;
    }

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
    progress.Finish();
    result.ok = true;
    result.where = sink->Describe();
    return result;
}

}  // namespace gs
