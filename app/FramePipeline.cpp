// SPDX-License-Identifier: GPL-2.0-or-later
#include "app/FramePipeline.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace gs {

struct FramePipeline::State {
    const Step* draw = nullptr;
    const Step* deliver = nullptr;
    long first = 0;
    long nextDeliver = 0;  // the oldest frame not delivered yet
    long preparing = 0;    // the frame being prepared
    int slots = 1;

    std::mutex lock;
    std::condition_variable changed;
    std::deque<std::pair<long, int>> queue;  // frames prepared, not yet taken by a thread
    std::vector<char> drawn;                 // per slot: its frame is drawn
    int running = 0;                         // frames being drawn
    bool failed = false;
    bool quit = false;
    std::string error;

    int SlotOf(long frame) const { return static_cast<int>((frame - first) % slots); }

    void Work() {
        for (;;) {
            std::pair<long, int> job;
            {
                std::unique_lock<std::mutex> hold(lock);
                changed.wait(hold, [&] { return quit || !queue.empty(); });
                if (queue.empty()) return;
                job = queue.front();
                queue.pop_front();
                running++;
            }
            std::string why;
            const bool ok = (*draw)(job.first, job.second, why);
            std::lock_guard<std::mutex> hold(lock);
            drawn[size_t(job.second)] = 1;
            running--;
            if (!ok && !failed) {
                failed = true;
                error = why;
                queue.clear();
            }
            changed.notify_all();
        }
    }

    // Waits for the oldest frame under way and delivers it.
    bool DeliverOne() {
        const int slot = SlotOf(nextDeliver);
        {
            std::unique_lock<std::mutex> hold(lock);
            changed.wait(hold, [&] { return failed || drawn[size_t(slot)]; });
            if (failed) return false;
            drawn[size_t(slot)] = 0;
        }
        std::string why;
        if (!(*deliver)(nextDeliver, slot, why)) {
            std::lock_guard<std::mutex> hold(lock);
            failed = true;
            error = why;
            queue.clear();
            return false;
        }
        nextDeliver++;
        return true;
    }
};

FramePipeline::FramePipeline(int threads) : threads_(std::max(1, threads)), slots_(2 * std::max(1, threads)) {}

int FramePipeline::MachineThreads() { return static_cast<int>(std::max(1u, std::thread::hardware_concurrency())); }

bool FramePipeline::Drain() {
    if (!state_) return true;
    while (state_->nextDeliver < state_->preparing) {
        if (state_->DeliverOne()) continue;
        // After a failure no frame is delivered any more, but none may still
        // be drawing either when Drain returns.
        std::unique_lock<std::mutex> hold(state_->lock);
        state_->queue.clear();
        state_->changed.wait(hold, [&] { return state_->running == 0; });
        return false;
    }
    return true;
}

bool FramePipeline::Run(long first, long last, const Step& prepare, const Step& draw, const Step& deliver,
                        const std::function<bool()>& stop, std::string& error, bool& stopped) {
    State state;
    state.draw = &draw;
    state.deliver = &deliver;
    state.first = first;
    state.nextDeliver = first;
    state.slots = slots_;
    state.drawn.assign(size_t(slots_), 0);
    state_ = &state;

    std::vector<std::thread> workers;
    for (int i = 0; i < threads_; i++) workers.emplace_back([&state] { state.Work(); });

    stopped = false;
    bool ok = true;
    long frame = first;
    for (; frame <= last; frame++) {
        if (stop && stop()) {
            stopped = true;
            break;
        }
        // A slot comes free when its frame has been delivered.
        while (ok && frame - state.nextDeliver >= slots_) ok = state.DeliverOne();
        if (!ok) break;
        state.preparing = frame;
        std::string why;
        const bool prepared = prepare(frame, state.SlotOf(frame), why);
        std::lock_guard<std::mutex> hold(state.lock);
        if (!prepared && !state.failed) {
            state.failed = true;
            state.error = why;
        }
        if (state.failed) {
            ok = false;
            break;
        }
        state.queue.emplace_back(frame, state.SlotOf(frame));
        state.changed.notify_one();
    }
    // Every frame that was queued is delivered, also after a stop.
    const long queued = frame;
    state.preparing = queued;
    while (ok && state.nextDeliver < queued) ok = state.DeliverOne();
    {
        std::lock_guard<std::mutex> hold(state.lock);
        state.quit = true;
        if (!ok) state.queue.clear();
        state.changed.notify_all();
    }
    for (std::thread& t : workers) t.join();
    state_ = nullptr;
    if (!ok) error = state.error;
    return ok;
}

}  // namespace gs
