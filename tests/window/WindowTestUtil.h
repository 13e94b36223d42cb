// SPDX-License-Identifier: GPL-2.0-or-later
// A headless window layer per test, and a window that records its messages.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "platform/window/CPWnd.h"
#include "platform/window/Headless.h"
#include "platform/window/WindowLayer.h"

struct Delivered {
    std::string window;
    unsigned int msg;
    long wParam;
    long lParam;
    bool operator==(const Delivered&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Delivered& d) {
    return out << d.window << ":" << d.msg << "(" << d.wParam << "," << d.lParam << ")";
}

class RecordingWindow : public CPWnd {
public:
    RecordingWindow(std::string windowName, std::vector<Delivered>* sharedLog)
        : name(std::move(windowName)), log(sharedLog) {}
    long HandleEvent(unsigned int msg, long wParam, long lParam) override {
        if (msg != kMsgPaint || logPaint) log->push_back(Delivered{name, msg, wParam, lParam});
        if (onMessage) onMessage(msg, wParam, lParam);
        return 1;
    }
    std::string name;
    std::vector<Delivered>* log;
    bool logPaint = true;
    std::function<void(unsigned int, long, long)> onMessage;
};

class HeadlessTest : public ::testing::Test {
protected:
    void SetUp() override { backend = StartHeadlessWindowLayer(); }
    void TearDown() override { StopWindowLayer(); }
    HeadlessBackend* backend = nullptr;
};
