// SPDX-License-Identifier: GPL-2.0-or-later
#include <memory>

#include "WindowTestUtil.h"
#include "platform/Env.h"

namespace {

class Messages : public HeadlessTest {
protected:
    std::vector<Delivered> log;
};

TEST_F(Messages, NullTargetReachesEveryWindowInCreationOrderAndPostsNest) {
    RecordingWindow a("a", &log), b("b", &log), c("c", &log), stray("stray", &log);
    a.Create(nullptr, kStyleBehind, nullptr);
    b.Create(&a, 0, nullptr);
    c.Create(&a, 0, nullptr);
    a.onMessage = [&](unsigned int msg, long, long) {
        if (msg == 5000) PostAMessage(&c, 5001, 7, 0);
    };

    EXPECT_EQ(PostAMessage(nullptr, 5000, 1, 2), 1);
    const std::vector<Delivered> expected{{"a", 5000, 1, 2}, {"c", 5001, 7, 0}, {"b", 5000, 1, 2}, {"c", 5000, 1, 2}};
    EXPECT_EQ(log, expected);

    log.clear();
    PostAMessage(&b, 5002, 0, 0);
    PostAMessage(&stray, 5003, 0, 0);  // never created: not registered
    EXPECT_EQ(log, (std::vector<Delivered>{{"b", 5002, 0, 0}}));
}

TEST_F(Messages, RegistryKeepsTheMainAndFloatingWindowsAndAtMost256) {
    auto main = std::make_unique<RecordingWindow>("main", &log);
    main->Create(nullptr, kStyleBehind, nullptr);
    {
        RecordingWindow viewer("viewer", &log);
        viewer.Create(main.get(), 14, nullptr);
        EXPECT_EQ(gFirstWin, main.get());
        EXPECT_EQ(gFloatWin, &viewer);
        EXPECT_EQ(gEnv.windowCount, 2);
    }
    EXPECT_EQ(gFloatWin, nullptr);

    std::vector<std::unique_ptr<RecordingWindow>> more;
    for (int i = 0; i < 256; i++) {
        std::string name = "w";
        name += std::to_string(i);
        more.push_back(std::make_unique<RecordingWindow>(name, &log));
        more.back()->winRect = tagRECT{0, 0, 8, 8};
        more.back()->Create(main.get(), 0, nullptr);
    }
    EXPECT_EQ(gEnv.windowCount, 256);
    PostAMessage(more.back().get(), 5000, 0, 0);  // the 257th: works, but hears nothing
    EXPECT_TRUE(log.empty());

    main.reset();  // index 0 goes: the rest move down, the main window is forgotten
    EXPECT_EQ(gFirstWin, nullptr);
    EXPECT_EQ(gEnv.windowCount, 255);
    EXPECT_EQ(gEnv.windows[0], more[0].get());
    PostAMessage(more.back().get(), 5000, 0, 0);  // a free slot does not register it later
    PostAMessage(more[254].get(), 5000, 0, 0);
    EXPECT_EQ(log, (std::vector<Delivered>{{"w254", 5000, 0, 0}}));
}

class Loop : public HeadlessTest {
protected:
    void SetUp() override {
        HeadlessTest::SetUp();
        main.Create(nullptr, kStyleBehind, nullptr);
        main.SetWinRect(0, 0, 640, 480, true);
        child.Create(&main, 0, nullptr);
        child.SetWinRect(10, 60, 410, 360, true);
        main.logPaint = child.logPaint = false;
    }
    // Runs the loop until the events pushed so far are handled.
    long RunAll() {
        backend->Push(PlatformEvent{PlatformEvent::kQuit});
        return MessageLoop(false);
    }
    std::vector<Delivered> log;
    RecordingWindow main{"main", &log};
    RecordingWindow child{"child", &log};
};

TEST_F(Loop, EndLoopMessageEndsItAfterTheCurrentEventWithItsCode) {
    child.onMessage = [&](unsigned int msg, long, long) {
        if (msg != kMsgMouseDown) return;
        PostAMessage(&child, kMsgEndLoop, 0, 0);
        PostAMessage(&child, 6000, 0, 0);  // still delivered: the loop ends between events
    };
    backend->Click(&child, 5, 5);
    backend->Key(&child, 'x');
    EXPECT_EQ(MessageLoop(false), 0);
    EXPECT_EQ(log.back(), (Delivered{"child", 6000, 0, 0}));
    EXPECT_EQ(backend->Pending(), 3u);  // the release and the key wait for the next loop

    PostAMessage(&main, kMsgEndLoop, 9, 0);  // posted before the loop starts: forgotten
    main.onMessage = [&](unsigned int msg, long, long) {
        if (msg == kMsgClose) PostAMessage(&main, kMsgEndLoop, 3, 0);
    };
    EXPECT_EQ(RunAll(), 3);
}

TEST_F(Loop, CommandChordsGoToTheMainWindowAndKeysToTheWindowUnderThePoint) {
    main.onMessage = [&](unsigned int msg, long wParam, long lParam) {
        if (msg == kMsgCommandKey) {
            EXPECT_TRUE(ConvertControlKey(wParam, lParam));
        }
        if (msg == kMsgClose) PostAMessage(&main, kMsgEndLoop, 0, 0);
    };
    backend->Key(&child, 's', kModCommand);
    backend->Key(&child, 'a');
    RunAll();
    const std::vector<Delivered> expected{{"main", kMsgCommandKey, 's', 2048},
                                          {"child", kMsgKeyUp, 's', 0},
                                          {"child", kMsgKeyDown, 'a', 0},
                                          {"child", kMsgKeyUp, 'a', 0},
                                          {"main", kMsgClose, 0, 0},
                                          {"main", kMsgEndLoop, 0, 0}};
    EXPECT_EQ(log, expected);
}

TEST_F(Loop, HeldControlAndShiftAreComparedExactly) {
    std::vector<std::vector<bool>> seen;
    child.onMessage = [&](unsigned int msg, long, long) {
        if (msg == kMsgKeyDown) seen.push_back({IsKeyPressed(2048), IsKeyPressed(1024), IsKeyPressed(3072)});
    };
    main.onMessage = [&](unsigned int msg, long, long) {
        if (msg == kMsgClose) PostAMessage(&main, kMsgEndLoop, 0, 0);
    };
    backend->Key(&child, kKeyLeft, kModControl);
    backend->Key(&child, kKeyLeft, kModControl | kModShift);
    backend->Key(&child, kKeyLeft);
    RunAll();
    const std::vector<std::vector<bool>> expected{{true, false, false}, {false, false, true}, {false, false, false}};
    EXPECT_EQ(seen, expected);
}

TEST_F(Loop, MouseAndWindowEventsBecomeTheirMessages) {
    main.onMessage = [&](unsigned int msg, long, long) {
        if (msg == kMsgClose && log.size() > 8) PostAMessage(&main, kMsgEndLoop, 0, 0);
    };
    backend->MouseDown(&child, 300, 200, kModShift | kModCommand);
    backend->MouseUp(&child, 300, 200, kModControl);
    backend->MouseUp(&child, 1, 2, 0, 3);
    backend->MouseMove(&child, -5, 7, kModControl);
    backend->MouseMove(&child, 4, 4, kModShift);
    backend->CloseBox(&child);
    backend->Wheel(&child, 0, -2);
    backend->Resize(&main, 20, 900);
    backend->Move(&child, 30, 70);
    RunAll();
    const std::vector<Delivered> expected{
        {"child", kMsgMouseDown, 96, PackPoint(300, 200)}, {"child", kMsgSecondaryUp, 0, PackPoint(300, 200)},
        {"child", kMsgSecondaryUp, 0, PackPoint(1, 2)},    {"child", kMsgMouseMoved, 64, PackPoint(-5, 7)},
        {"child", kMsgMouseMoved, 32, PackPoint(4, 4)},    {"main", kMsgClose, 0, 0},
        {"child", kMsgScrollV, -2, 0},                     {"main", kMsgResized, 0, 0},
        {"child", kMsgMoved, 0, 0},                        {"main", kMsgClose, 0, 0},
        {"main", kMsgEndLoop, 0, 0}};
    EXPECT_EQ(log, expected);
    EXPECT_EQ(PointX(PackPoint(-5, 7)), -5);
    EXPECT_EQ(PointY(PackPoint(-5, 7)), 7);
    tagRECT r;
    main.GetWinRect(r);  // the grow box keeps at least 60 by 80 and at most the screen
    EXPECT_EQ(r.right - r.left, 60);
    EXPECT_EQ(r.bottom - r.top, 900);
    child.GetWinRect(r);
    EXPECT_EQ(r.left, 30);
    EXPECT_EQ(r.right, 430);
}

TEST_F(Loop, MenuChoicesPostTheTableCommandToEveryWindow) {
    CPMenu menu;
    menu.Create(&main);
    menu.AddTopLevel("File", 0);
    menu.AddItem(2005, "New Show/N", 0);
    menu.AddItem(-1, "", 0);
    menu.AddItem(2003, "Save Show/S", 2);
    menu.AddTopLevel("Options", 4);
    for (int i = 0; i < 17; i++) EXPECT_EQ(menu.AddItem(1100 + i, "Item", i == 3 ? 1 : 0), i < 16 ? 1 : 0);
    menu.SetState(2003, 1);
    menu.SetCheck(1103, false);

    EXPECT_EQ(menu.GetID(0, 2), 2003);
    EXPECT_EQ(menu.GetID(0, 3), kMenuEmpty);
    EXPECT_EQ(menu.GetID(1, 15), 1115);
    EXPECT_EQ(menu.GetID(8, 0), -1);
    EXPECT_EQ(menu.GetID(1, 16), -1);
    EXPECT_STREQ(menu.menus[0].items[2].label, "Save Show");
    EXPECT_EQ(menu.menus[0].items[2].shortcut, 'S');
    EXPECT_TRUE(menu.menus[0].items[2].enabled);
    EXPECT_TRUE(menu.menus[0].items[1].separator);
    EXPECT_FALSE(menu.menus[1].enabled);
    EXPECT_FALSE(menu.menus[1].items[3].checked);
    EXPECT_EQ(main.GetMenuSize(), 20);

    main.onMessage = [&](unsigned int msg, long, long) {
        if (msg == kMsgClose) PostAMessage(&main, kMsgEndLoop, 0, 0);
    };
    backend->MenuChoice(1000, 3);
    backend->MenuChoice(1001, 16);
    backend->MenuChoice(1008, 1);  // beyond the eight menus
    backend->MenuChoice(1001, 17);  // beyond the sixteen items
    backend->MenuChoice(kAppMenuId, 1);
    RunAll();
    std::vector<long> commands;
    for (const Delivered& d : log)
        if (d.msg == kMsgMenu) commands.push_back(d.wParam);
    EXPECT_EQ(commands, (std::vector<long>{2003, 2003, 1115, 1115, -1, -1, -1, -1}));
}

TEST_F(Loop, ScrollBarClicksStepByFractionsOfTheSpan) {
    RecordingWindow stage("stage", &log);
    stage.Create(&main, 99, nullptr);
    stage.SetWinRect(0, 0, 400, 300, true);
    stage.SetViewScrollRange(4096, 4096, 400, 300, false);
    // Both bars: the vertical one ends 15 above the bottom, the horizontal
    // one 14 before the right edge, each a pixel past the window's edge.
    EXPECT_EQ(stage.vScroll.rect.bottom, 285);
    EXPECT_EQ(stage.hScroll.rect.right, 386);
    const int vSpan = 4096 - 285 - (-1);
    const int hSpan = 4096 - 386 - (-1);
    EXPECT_EQ(stage.vScroll.Span(), vSpan);

    std::vector<int> values;
    stage.onMessage = [&](unsigned int msg, long, long) {
        if (msg == kMsgPaint) values.push_back(stage.GetViewScrollY() * 10000 + stage.GetViewScrollX());
    };
    main.onMessage = [&](unsigned int msg, long, long) {
        if (msg == kMsgClose) PostAMessage(&main, kMsgEndLoop, 0, 0);
    };
    backend->ClearEvents();
    backend->ScrollBar(&stage, 1, kPartDownArrow);
    backend->ScrollBar(&stage, 1, kPartPageDown);
    backend->ScrollBar(&stage, 1, kPartThumb, 5000);
    backend->ScrollBar(&stage, 1, kPartPageUp);
    backend->MouseDown(&stage, 392, 3);  // on the vertical bar's up arrow: no click message
    backend->ScrollBar(&stage, 0, kPartUpArrow);
    backend->ScrollBar(&stage, 0, kPartPageDown);
    RunAll();
    const int up = vSpan - vSpan / 8;
    EXPECT_EQ(values, (std::vector<int>{vSpan / 80 * 10000, (vSpan / 80 + vSpan / 8) * 10000, vSpan * 10000,
                                        up * 10000, (up - vSpan / 80) * 10000, (up - vSpan / 80) * 10000,
                                        (up - vSpan / 80) * 10000 + hSpan / 8}));
    for (const Delivered& d : log) EXPECT_NE(d.msg, kMsgMouseDown);

    EXPECT_EQ(stage.ScrollControl(kMsgScrollH, 2, 60), hSpan / 8 + 120);
    EXPECT_EQ(stage.ScrollControl(kMsgScrollV, 1000, 60), vSpan);
    stage.SetWinRect(0, 0, 500, 300, false);
    EXPECT_EQ(stage.vScroll.rect.left, 485);
}

TEST(WindowPlatform, TheSettingWinsThenTheDisplayDecides) {
    EXPECT_EQ(ChooseWindowPlatform("headless", true), WindowPlatform::Headless);
    EXPECT_EQ(ChooseWindowPlatform("gtk", false), WindowPlatform::Gtk);
    EXPECT_EQ(ChooseWindowPlatform(nullptr, true), WindowPlatform::Gtk);
    EXPECT_EQ(ChooseWindowPlatform("", false), WindowPlatform::Headless);
    EXPECT_EQ(ChooseWindowPlatform("cocoa", true), WindowPlatform::Gtk);
}

}  // namespace
