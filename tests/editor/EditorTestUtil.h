// SPDX-License-Identifier: GPL-2.0-or-later
// The editor frame on a headless window layer, with a show of three keys, and
// helpers that act as the user: menu choices, keys and clicks go through the
// layer's platform events and the message loop.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "doc/CDoc.h"
#include "editor/CMain.h"
#include "editor/CStage.h"
#include "editor/CTime.h"
#include "editor/CView.h"
#include "editor/EditorState.h"
#include "image/HostImage.h"
#include "motion/Interp.h"
#include "motion/Timecode.h"
#include "platform/Env.h"
#include "platform/Settings.h"
#include "platform/window/CPWnd.h"
#include "platform/window/Headless.h"
#include "platform/window/WindowLayer.h"
#include "tests/common/TestDoc.h"
#include "tests/common/TestKit.h"

namespace fs = std::filesystem;

class EditorFrameTest : public ::testing::Test {
protected:
    static constexpr long kIdle = 77;  // the loop's result when the events ran out

    // Extra settings lines ("Key=value\r\n") read by the document and the menus.
    virtual const char* Settings() { return ""; }

    void SetUp() override {
        backend = StartHeadlessWindowLayer();
        InitEnvironment(nullptr, "Glimmerstroll", kModeHost);
        std::snprintf(gIniString, sizeof gIniString, "[Glimmerstroll]\r\n%s", Settings());
        pDoc = new CDoc;
        gFrameRate = 2500;
        gCurFrame = 0;
        gSelectedKey = -1;
        gClipKey = KeyStruct{};
        gShowRotation = 0;
        pDoc->keys[0][0] = CameraKey(0, 400, 300, 200);
        pDoc->keys[0][1] = CameraKey(50, 300, 200, 100);
        pDoc->keys[0][2] = CameraKey(100, 500, 250, 150);
        pDoc->keyCount[0] = 3;
        pDoc->pictureCount = 1;
        folder = fs::temp_directory_path() / ("gs-editor-" + std::to_string(getpid()));
        fs::create_directories(folder);
        frame = new CMain(nullptr);
        Pump();
    }

    void TearDown() override {
        delete frame;
        delete pDoc;
        pDoc = nullptr;
        CloseEnvironment();
        StopWindowLayer();
        fs::remove_all(folder);
    }

    // Runs the loop over the queued events; kIdle when they ran out.
    long Pump() {
        CMain* main = frame;
        backend->onIdle = [main] { PostAMessage(main, kMsgEndLoop, kIdle, 0); };
        const long result = MessageLoop(true);
        backend->onIdle = nullptr;
        return result;
    }
    // Queues the menu choice of `command` without running the loop.
    void QueueMenu(int command) {
        CPMenu& menu = *frame->GetMenu();
        for (int m = 0; m < menu.menuCount; ++m)
            for (int i = 0; i < kMenuItems; ++i)
                if (menu.commands[m][i] == command) {
                    backend->MenuChoice(kFirstMenuId + m, i + 1);
                    return;
                }
        ADD_FAILURE() << "no menu item for " << command;
    }
    long Choose(int command) {
        QueueMenu(command);
        return Pump();
    }
    long Press(int key, int modifiers = 0) {
        backend->Key(frame, key, modifiers);
        return Pump();
    }
    long Chord(int key) { return Press(key, kModCommand); }
    // The menu item of `command` (a blank one when there is none).
    CPMenu::Item Item(int command) {
        CPMenu& menu = *frame->GetMenu();
        for (int m = 0; m < menu.menuCount; ++m)
            for (int i = 0; i < kMenuItems; ++i)
                if (menu.commands[m][i] == command) return menu.menus[m].items[i];
        return CPMenu::Item{};
    }
    bool Asked(const char* kind, const char* text) {
        for (const auto& a : backend->asked)
            if (a.kind == kind && a.text.find(text) != std::string::npos) return true;
        return false;
    }
    // Puts the current frame on key `index`, selected as the timeline does.
    void Select(int index) {
        pDoc->GotoFrame(pDoc->keys[0][index].time, true);
        gSelectedKey = index;
    }
    int Bottom() {
        tagRECT r;
        frame->GetClientRect(r);
        return r.bottom;
    }

    HeadlessBackend* backend = nullptr;
    CMain* frame = nullptr;
    fs::path folder;
};
