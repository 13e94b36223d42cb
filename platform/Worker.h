// SPDX-License-Identifier: GPL-2.0-or-later
// The one background worker used to draw half of a frame's rows on a second
// processor: a std::thread with a request queue and a completion queue.
//
// Protocol: the caller hands one job at a time to the worker with _beginthread,
// which copies the job block into the task record and posts message 1 to the
// request queue. The worker runs the job on its copy and posts 0 to the
// completion queue; the caller waits for that with Sleep. Any other request
// ends the worker (it posts -1 and returns). The queues' locks are the only
// synchronisation: everything the caller wrote before posting is visible to the
// worker, and everything the worker wrote before completing is visible to the
// caller once Sleep returns.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <thread>

// A message queue of longs; Wait blocks without time limit.
class MPQueue {
public:
    void Post(long message);
    long Wait();

private:
    std::mutex lock_;
    std::condition_variable ready_;
    std::deque<long> messages_;
};

using MPFunction = void (*)(void* block);

// Bytes of a job block that travel to the worker.
constexpr size_t kMPJobBytes = 255;

// The worker's task record: task, its two queues, the job to run and the
// worker's own copy of the job block.
struct MPTaskRecord {
    std::thread task;
    MPQueue request;
    MPQueue completion;
    MPFunction function = nullptr;
    long argument = 0;  // kept with the job; the job function does not read it
    alignas(16) unsigned char job[kMPJobBytes] = {};
};

extern MPTaskRecord* gTaskData;        // null when no worker runs
extern MPQueue* gNotificationQueue;    // receives the worker's termination message

// Starts the worker when the machine has more than one processor.
// Returns 1 when the worker is running, else 0 (and nothing is left behind).
int StartMP();
// Ends the worker, waits for its termination message and frees its task
// record; safe when none is running.
void CloseMP();

// Hands one job to the worker: copies kMPJobBytes of `block` into the task
// record, stores `function` and `argument`, and posts message 1. The worker
// runs `function` on its copy, so `block` itself is never touched by it.
// Returns 1, or 0 when no worker runs (nothing is started then).
int _beginthread(MPFunction function, long argument, void* block);
// Waits, without time limit, for the worker's completion message. Returns at
// once when no worker runs.
void Sleep(long unused);
// The worker's loop (the body of its thread).
void TaskMP(MPTaskRecord* record);
