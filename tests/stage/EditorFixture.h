// SPDX-License-Identifier: GPL-2.0-or-later
// The editor built on a headless window layer whose clock a test can hold,
// with a show of one 800 x 600 picture.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <memory>

#include "doc/CDoc.h"
#include "editor/CMain.h"
#include "editor/CStage.h"
#include "editor/CTime.h"
#include "editor/CView.h"
#include "editor/EditorState.h"
#include "motion/Interp.h"
#include "platform/Env.h"
#include "platform/Settings.h"
#include "platform/window/CPWnd.h"
#include "platform/window/Headless.h"
#include "platform/window/WindowLayer.h"
#include "tests/common/TestDoc.h"

// A headless backend whose clock stands still while `simulated` is set and
// which lets a test act at every poll of the playback loop.
class TestBackend : public HeadlessBackend {
public:
    unsigned long Ticks() override { return simulated ? now : HeadlessBackend::Ticks(); }
    bool PollEvent(PlatformEvent& event) override {
        if (onPoll) onPoll();
        return HeadlessBackend::PollEvent(event);
    }
    bool simulated = false;
    unsigned long now = 1000;
    std::function<void()> onPoll;
};

constexpr long kRed = 0x0000FF;
constexpr long kBlue = 0xFF0000;

// Colours as drawn: the area filter's fixed point may lose a step or two.
inline ::testing::AssertionResult Near(long colour, long expected) {
    for (int shift = 0; shift < 24; shift += 8) {
        const long a = (colour >> shift) & 255;
        const long b = (expected >> shift) & 255;
        if (a < b - 4 || a > b + 4)
            return ::testing::AssertionFailure() << std::hex << colour << " is not " << expected;
    }
    return ::testing::AssertionSuccess();
}

class EditorTest : public ::testing::Test {
protected:
    // Extra settings lines ("Key=value\r\n") for a test.
    virtual const char* Settings() { return ""; }

    void SetUp() override {
        ClearTestSettings(Settings());
        backend = std::make_unique<TestBackend>();
        InstallWindowBackend(backend.get());
        doc = std::make_unique<CDoc>();
        pDoc = doc.get();
        PaintPicture(800, 600);
        pDoc->keys[0][0] = CameraKey(0, 400, 300, 200);
        pDoc->keyCount[0] = 1;
        gCurFrame = 0;
        gShowRotation = 0;
        frame = std::make_unique<CMain>(nullptr);
        stage = pStage;
        timeline = pTime;
        viewer = pViewer;
        pDoc->GotoFrame(0, true);
        Pump();
    }

    void TearDown() override {
        frame.reset();
        pDoc = nullptr;
        doc.reset();
        InstallWindowBackend(nullptr);
        backend.reset();
    }

    // The top half of the picture red, the bottom half blue (or the other
    // way round).
    void PaintPicture(int width, int height, bool redOnTop = true) {
        ASSERT_TRUE(pDoc->Create(width, height, 24));
        for (int row = 0; row < height; row++) {
            uint8_t* p = pDoc->GetBitsAdd(row);  // storage row 0 is the bottom
            const bool red = (row >= height / 2) == redOnTop;
            for (int x = 0; x < width; x++) {
                p[3 * x + 0] = red ? 0 : 255;
                p[3 * x + 1] = 0;
                p[3 * x + 2] = red ? 255 : 0;
            }
        }
    }

    // Delivers the queued events through the message loop, as a user's.
    void Pump() {
        backend->onIdle = [] { PostAMessage(pStage, kMsgEndLoop, 0, 0); };
        MessageLoop(false);
        backend->onIdle = nullptr;
    }

    void Drag(CPWnd* window, int x0, int y0, int x1, int y1, int modifiers = 0) {
        backend->MouseDown(window, x0, y0);
        backend->MouseMove(window, (x0 + x1) / 2, (y0 + y1) / 2, modifiers);
        backend->MouseMove(window, x1, y1, modifiers);
        backend->MouseUp(window, x1, y1, modifiers);
        Pump();
    }

    void SetKeys(std::initializer_list<KeyStruct> keys) {
        int n = 0;
        for (const KeyStruct& key : keys) pDoc->keys[0][n++] = key;
        pDoc->keyCount[0] = n;
        pDoc->GotoFrame(gCurFrame, true);
    }

    std::unique_ptr<TestBackend> backend;
    std::unique_ptr<CDoc> doc;
    std::unique_ptr<CMain> frame;
    CStage* stage = nullptr;
    CTime* timeline = nullptr;
    CView* viewer = nullptr;
};
