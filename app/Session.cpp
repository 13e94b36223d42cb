// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/Session.h"

#include <cmath>
#include <cstring>
#include <memory>

#include "app/FramePipeline.h"
#include "doc/CDoc.h"
#include "host/FramePlan.h"
#include "motion/Timecode.h"
#include "platform/Env.h"

namespace gs {

namespace {

constexpr int32_t kLetterBoxMode = 5626;  // "AspectMode" of "LetterBox 16:9"

}  // namespace

bool PutShow(CDoc& doc, const ShowBlock& show, std::string& error) {
    // LoadShow cuts the show at the document's length: give it the show's own.
    doc.showLength = static_cast<int32_t>(show.DefaultLength());
    std::vector<char> block = show.bytes;  // LoadShow reads a mutable block
    if (!doc.LoadShow(nullptr, block.data(), false)) {
        error = "the document refused the show";
        return false;
    }
    return true;
}

void FitCamera(CDoc& doc, int width, int height, AspectChoice choice) {
    switch (choice) {
    case AspectChoice::FourThree:
        doc.aspect = 0.75f;
        doc.aspectMode = 7500;
        return;
    case AspectChoice::SixteenNine:
        doc.aspect = 0.5625f;
        doc.aspectMode = 5625;
        return;
    case AspectChoice::LetterBox:
        doc.aspect = 0.75f;
        doc.aspectMode = kLetterBoxMode;
        return;
    case AspectChoice::FollowFrame:
        break;
    }
    doc.aspect = static_cast<float>(height) / static_cast<float>(width);
    // The raw mode only tells the renderer whether to letterbox; a frame whose
    // shape happens to round to the letterbox value must not get bars.
    int32_t mode = static_cast<int32_t>(std::lround(doc.aspect * 10000.0f));
    if (mode == kLetterBoxMode) mode = kLetterBoxMode - 1;
    doc.aspectMode = mode;
}

namespace {

// One row of blue, green, red, alpha into red, green, blue, 255: each pixel is
// one 32-bit word, so that the loop vectorises into byte shuffles.
inline __attribute__((always_inline)) void RowToRGBA(const uint8_t* __restrict src, uint8_t* __restrict dst,
                                                     int width) {
    for (int x = 0; x < width; x++) {
        uint32_t p;
        std::memcpy(&p, src + 4 * x, 4);
        const uint32_t q = ((p >> 16) & 0xFFu) | (p & 0xFF00u) | ((p & 0xFFu) << 16) | 0xFF000000u;
        std::memcpy(dst + 4 * x, &q, 4);
    }
}

void RowsBase(CDIB& work, int width, int height, uint8_t* rgba) {
    for (int r = 0; r < height; r++)
        RowToRGBA(work.GetBitsAdd(height - 1 - r), rgba + static_cast<size_t>(r) * width * 4, width);
}

#if defined(__GNUC__) && defined(__x86_64__)
__attribute__((target("avx2"))) void RowsAvx2(CDIB& work, int width, int height, uint8_t* rgba) {
    for (int r = 0; r < height; r++)
        RowToRGBA(work.GetBitsAdd(height - 1 - r), rgba + static_cast<size_t>(r) * width * 4, width);
}
#endif

}  // namespace

void WorkImageToRGBA(CDIB& work, int width, int height, uint8_t* rgba) {
    // Storage rows run bottom-up: the picture's top row is the last one.
#if defined(__GNUC__) && defined(__x86_64__)
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if (avx2) return RowsAvx2(work, width, height, rgba);
#endif
    RowsBase(work, width, height, rgba);
}

bool RenderRGBA(CDoc& doc, long frame, int fieldMode, int width, int height, CDIB& work,
                uint8_t* rgba) {
    if (!work.Create(width, height, 32)) return false;
    // The renderer may leave pixels outside the camera's view alone: start
    // every frame from black so that no earlier frame shows through.
    std::memset(work.GetBitsAdd(0), 0, static_cast<size_t>(work.GetRowBytes() * height));
    if (frame < 0) frame = 0;
    if (!doc.RenderFrame(frame, fieldMode, fieldMode != 2, width, height, &work, false)) return false;
    WorkImageToRGBA(work, width, height, rgba);
    return true;
}

namespace {

// What one frame in flight keeps from prepare to deliver.
struct FrameSlot {
    FramePlan plan;
    CDIB work{1, 1, 32};
    CDIB scratch{1, 1, 32};  // the blur's second moment
    std::vector<uint8_t> rgba;
};

void DrainPipeline(void* pipeline) { static_cast<FramePipeline*>(pipeline)->Drain(); }

}  // namespace

bool RenderFrames(CDoc& doc, const FrameRun& run, const TakeFrame& take, const std::function<bool()>& stop,
                  std::string& error, bool& stopped) {
    // With the two-band worker on and an offset between its bands, the rows
    // between them are not drawn and stay black; only the worker's own split
    // gives those frames, so they are drawn one at a time.
    const bool gaps = gMultiProcess && gCanMultiProcess && gMultiProcOffset > 1;
    const int threads = gaps ? 1 : std::max(1, run.threads);
    FramePipeline pipeline(threads);
    std::vector<std::unique_ptr<FrameSlot>> slots;
    for (int i = 0; i < pipeline.Slots(); i++) {
        auto slot = std::make_unique<FrameSlot>();
        if (!slot->work.Create(run.width, run.height, 32) || !slot->scratch.Create(run.width, run.height, 32)) {
            error = "not enough memory for the frames";
            return false;
        }
        if (!run.bottomUp) slot->rgba.resize(static_cast<size_t>(run.width) * run.height * 4);
        slots.push_back(std::move(slot));
    }
    const bool bands = threads == 1;
    const int32_t frameRate = gFrameRate;

    auto prepare = [&](long frame, int index, std::string& why) {
        FrameSlot& slot = *slots[size_t(index)];
        // The rate stays that of this run, whatever a failed blur did before.
        gFrameRate = frameRate;
        frame = std::max(frame, 0L);
        bool ok = doc.PlanFrame(frame, run.fieldMode, run.width, run.height, false, slot.plan, DrainPipeline,
                                &pipeline);
        slot.plan.bands = bands;
        if (ok && slot.plan.direct) {
            // This frame needs the document between its steps: draw it here
            // once nothing else reads the picture.
            ok = pipeline.Drain();
            if (ok) {
                std::memset(slot.work.GetBitsAdd(0), 0, static_cast<size_t>(slot.work.GetRowBytes() * run.height));
                ok = doc.RenderFrame(frame, run.fieldMode, run.fieldMode != 2, run.width, run.height, &slot.work,
                                     false);
            }
        }
        if (!ok) why = "frame " + std::to_string(frame) + " could not be rendered";
        return ok;
    };
    auto draw = [&](long frame, int index, std::string& why) {
        FrameSlot& slot = *slots[size_t(index)];
        if (!slot.plan.direct) {
            if (gaps) {
                std::memset(slot.work.GetBitsAdd(0), 0, static_cast<size_t>(slot.work.GetRowBytes() * run.height));
                std::memset(slot.scratch.GetBitsAdd(0), 0,
                            static_cast<size_t>(slot.scratch.GetRowBytes() * run.height));
            }
            if (!DrawFramePlan(slot.plan, &doc, &slot.work, &slot.scratch)) {
                why = "frame " + std::to_string(frame) + " could not be rendered";
                return false;
            }
        }
        if (!run.bottomUp) WorkImageToRGBA(slot.work, run.width, run.height, slot.rgba.data());
        return true;
    };
    auto deliver = [&](long frame, int index, std::string& why) {
        FrameSlot& slot = *slots[size_t(index)];
        return take(frame, run.bottomUp ? slot.work.GetBitsAdd(0) : slot.rgba.data(), why);
    };
    return pipeline.Run(run.first, run.last, prepare, draw, deliver, stop, error, stopped);
}

}  // namespace gs
