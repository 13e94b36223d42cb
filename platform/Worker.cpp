// SPDX-License-Identifier: GPL-2.0-or-later
#include "platform/Worker.h"

#include <cstring>
#include <new>

MPTaskRecord* gTaskData = nullptr;
MPQueue* gNotificationQueue = nullptr;

namespace {
constexpr long kRunJob = 1;
constexpr long kJobDone = 0;
constexpr long kQuit = 2;       // any message other than kRunJob ends the worker
constexpr long kEnded = -1;
constexpr long kTerminated = 0;
}  // namespace

void MPQueue::Post(long message) {
    {
        std::lock_guard<std::mutex> hold(lock_);
        messages_.push_back(message);
    }
    ready_.notify_one();
}

long MPQueue::Wait() {
    std::unique_lock<std::mutex> hold(lock_);
    ready_.wait(hold, [this] { return !messages_.empty(); });
    const long message = messages_.front();
    messages_.pop_front();
    return message;
}

void TaskMP(MPTaskRecord* record) {
    for (;;) {
        const long message = record->request.Wait();
        if (message != kRunJob) {
            record->completion.Post(kEnded);
            return;
        }
        if (record->function) record->function(record->job);
        record->completion.Post(kJobDone);
    }
}

int StartMP() {
    if (gTaskData) return 1;
    if (std::thread::hardware_concurrency() <= 1) return 0;

    auto* record = new (std::nothrow) MPTaskRecord;
    auto* notification = new (std::nothrow) MPQueue;
    if (!record || !notification) {
        delete record;
        delete notification;
        return 0;
    }
    gTaskData = record;
    gNotificationQueue = notification;
    try {
        // The termination message goes out after TaskMP has returned, like the
        // notification a preemptive task sends when it ends.
        record->task = std::thread([record, notification] {
            TaskMP(record);
            notification->Post(kTerminated);
        });
    } catch (...) {  // no thread could be made: undo the partial set-up
        CloseMP();
        return 0;
    }
    return 1;
}

void CloseMP() {
    MPTaskRecord* record = gTaskData;
    if (record) {
        if (record->task.joinable()) {
            record->request.Post(kQuit);
            if (gNotificationQueue) gNotificationQueue->Wait();
            record->task.join();
        }
        delete record;
    }
    delete gNotificationQueue;
    gNotificationQueue = nullptr;
    gTaskData = nullptr;
}

int _beginthread(MPFunction function, long argument, void* block) {
    MPTaskRecord* record = gTaskData;
    if (!record || !record->task.joinable() || !block) return 0;
    std::memcpy(record->job, block, kMPJobBytes);
    record->function = function;
    record->argument = argument;
    record->request.Post(kRunJob);
    return 1;
}

void Sleep(long) {
    MPTaskRecord* record = gTaskData;
    if (!record || !record->task.joinable()) return;
    record->completion.Wait();
}
