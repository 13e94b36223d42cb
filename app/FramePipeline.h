// SPDX-License-Identifier: GPL-2.0-or-later
// Renders a run of frames on several threads and hands them on in order.
//
// Each frame goes through three steps: `prepare` on the calling thread, in
// frame order (it may use the document and anything else that is not shared
// with the drawing threads); `draw` on one of the drawing threads, any number
// of frames at once; `deliver` on the calling thread, in frame order. A frame
// occupies one of `Slots()` slots from prepare to deliver, so that whatever
// prepare and draw leave for deliver (a plan, a finished image) lives in
// per-slot storage of the caller.
#pragma once

#include <functional>
#include <string>

namespace gs {

class FramePipeline {
public:
    // Each step returns false to stop the run; its `error` says why.
    using Step = std::function<bool(long frame, int slot, std::string& error)>;

    // `threads` drawing threads (at least 1); the number of slots is twice that.
    explicit FramePipeline(int threads);
    int Slots() const { return slots_; }

    // Runs frames first..last. `stop` is asked before each frame is prepared;
    // when it says yes, the frames under way are finished and delivered and
    // Run returns true with `stopped` set. False on the first failed step,
    // after every drawing thread has finished.
    bool Run(long first, long last, const Step& prepare, const Step& draw, const Step& deliver,
             const std::function<bool()>& stop, std::string& error, bool& stopped);

    // From within prepare: draws and delivers every frame before the one being
    // prepared, so that prepare may change what they read. False when one of
    // them failed (Run then returns false).
    bool Drain();

    // The number of threads `--threads 0` stands for: every processor.
    static int MachineThreads();

private:
    struct State;
    int threads_;
    int slots_;
    State* state_ = nullptr;  // while Run runs
};

}  // namespace gs
