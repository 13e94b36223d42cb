// SPDX-License-Identifier: GPL-2.0-or-later
// Menus and the commands that change options, scales and the end of the editor.
#include "EditorTestUtil.h"

namespace {

class MenusFromSettings : public EditorFrameTest {
    const char* Settings() override {
        return "EaseType=18\r\nAspectMode=5626\r\nDraftRender=1\r\nAutoAddKey=0\r\nShowTVSafe=1\r\n";
    }
};

TEST_F(MenusFromSettings, FiveMenusWithTheirCommandsAndStartingMarks) {
    CPMenu& menu = *frame->GetMenu();
    const char* titles[] = {"File", "Edit", "Options", "Render", "View", "Help"};
    ASSERT_EQ(6, menu.menuCount);
    for (int m = 0; m < 6; ++m) EXPECT_STREQ(titles[m], menu.menus[m].title);
    EXPECT_EQ(9 + (gCanMultiProcess ? 1 : 0), menu.menus[3].itemCount);

    const int file[] = {1010, -1, 2005, 2004, 2003, -1, 2001, 2002};
    for (int i = 0; i < 8; ++i) EXPECT_EQ(file[i], menu.commands[0][i]) << i;

    for (int command : {9004, 9005, 9001, 9000, 9002, 9003}) EXPECT_FALSE(Item(command).enabled) << command;
    // EaseType 18: slow-out with the straight flag.
    const std::pair<int, bool> marks[] = {
        {1001, false}, {1000, false}, {1002, true}, {1003, false}, {1004, false}, {1005, true},
        {1006, false}, {1007, true},  {1030, false}, {1031, false}, {1032, true}, {1033, true},
        {1035, false}, {1041, false}, {1040, true}, {1050, false},
    };
    for (auto [command, checked] : marks) {
        EXPECT_EQ(checked, Item(command).checked) << command;
        EXPECT_TRUE(Item(command).checkable) << command;  // options carry a mark, ticked or not
    }
    // Actions are plain items.
    for (int command : {1010, 2005, 2003, 2001, 9004, 9000, 1024, 1025, 1036, 1042, 1044, 1020, 1026})
        EXPECT_FALSE(Item(command).checkable) << command;
}

TEST_F(EditorFrameTest, MenusLeaveOutLoadPictureWhenTheHostGivesThePicture) {
    delete frame;
    gGetImageFromTimeline = true;
    frame = new CMain(nullptr);
    gGetImageFromTimeline = false;
    EXPECT_EQ(2005, frame->GetMenu()->commands[0][0]);
    EXPECT_EQ(6, frame->GetMenu()->menus[0].itemCount);
}

TEST_F(EditorFrameTest, EveryToggleFlipsItsFlagAndWritesItsSettingAtOnce) {
    struct Row {
        int command;
        const char* key;
        int32_t* flag;
    };
    const Row rows[] = {
        {1001, "AutoAddKey", &pDoc->autoAddKey},   {1002, "RescaleShow", &pDoc->rescaleShow},
        {1000, "ShowCameraPath", &pStage->showPath}, {1033, "DraftRender", &pDoc->draftRender},
        {1035, "BlurFrames", &pDoc->blurFrames},   {1040, "ShowTVSafe", &pViewer->tvSafe},
        {1041, "CenterPic", &pStage->centerPic},   {1050, "ExactRender", &pDoc->exactRender},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.key);
        const int32_t before = *row.flag;
        Choose(row.command);
        EXPECT_EQ(before ? 0 : 1, *row.flag);
        EXPECT_EQ(*row.flag != 0, Item(row.command).checked);
        EXPECT_EQ(*row.flag, GetIniItem(row.key, -5));
        Choose(row.command);
        EXPECT_EQ(before != 0, *row.flag != 0);
        EXPECT_EQ(*row.flag, GetIniItem(row.key, -5));
    }
    // The settings reach their file when the editor closes.
    Choose(1033);
    delete frame;
    frame = nullptr;
    char path[1024];
    ASSERT_TRUE(GetIniFilePath(path, sizeof path));
    EXPECT_NE(std::string::npos, ReadFile(path).find("DraftRender=1\r\n"));
    frame = new CMain(nullptr);
}

TEST_F(EditorFrameTest, EaseCommandsKeepTheStraightFlagAndClearEveryKeysEase) {
    pDoc->keys[0][1].easeCode = 2050;
    Choose(1007);  // No Curves
    EXPECT_EQ(16, pDoc->easeType);
    EXPECT_TRUE(Item(1007).checked);
    EXPECT_EQ(0.0f, pDoc->keys[0][1].easeCode);
    pDoc->modified = 0;
    pDoc->keys[0][2].easeCode = 3000;
    Choose(1005);  // Slow-out
    EXPECT_EQ(18, pDoc->easeType);
    EXPECT_EQ(18, GetIniItem("EaseType", 0));
    EXPECT_EQ(0.0f, pDoc->keys[0][2].easeCode);
    EXPECT_EQ(1, pDoc->modified);
    for (int command = 1003; command <= 1006; ++command) EXPECT_EQ(command == 1005, Item(command).checked);
    Choose(1007);
    EXPECT_EQ(2, pDoc->easeType);
    EXPECT_FALSE(Item(1007).checked);
    EXPECT_EQ(2, GetIniItem("EaseType", 0));
}

TEST_F(EditorFrameTest, AspectCommandsSetTheDocumentAndCheckOneItem) {
    const struct {
        int command;
        float aspect;
        long mode;
    } rows[] = {{1031, 0.5625f, 5625}, {1032, 0.5625f, 5626}, {1030, 0.75f, 7500}};
    for (const auto& row : rows) {
        Choose(row.command);
        EXPECT_EQ(row.aspect, pDoc->aspect);
        EXPECT_EQ(row.mode, pDoc->aspectMode);
        EXPECT_EQ(row.mode, GetIniItem("AspectMode", 0));
        for (int c = 1030; c <= 1032; ++c) EXPECT_EQ(c == row.command, Item(c).checked);
    }
}

TEST_F(EditorFrameTest, StageZoomStepsAndTheScaleButtons) {
    const struct {
        float from;
        int command;
        float to;
    } steps[] = {
        {0.1f, 1042, 0.25f}, {0.25f, 1043, 0.1f}, {0.5f, 1042, 1.0f}, {1.0f, 1042, 1.0f},
        {1.0f, 1043, 0.5f},  {0.5f, 1043, 0.25f}, {0.1f, 1043, 0.1f},
    };
    for (const auto& step : steps) {
        pStage->scale = step.from;
        Choose(step.command);
        EXPECT_EQ(step.to, pStage->scale) << step.from << " " << step.command;
        EXPECT_EQ(static_cast<long>(step.to * 100), GetIniItem("StageScale", 0));
    }

    // The four buttons of the status area; a boundary or x = 40 changes nothing.
    const int b = Bottom();
    const struct {
        int x, y;
        float scale;
    } clicks[] = {{20, b - 75, 1.0f}, {20, b - 67, 0.5f}, {20, b - 57, 0.25f}, {20, b - 45, 0.1f},
                  {20, b - 72, 0.1f}, {40, b - 75, 0.1f}, {20, b - 42, 0.1f}};
    for (const auto& click : clicks) {
        backend->Click(frame, click.x, click.y);
        Pump();
        EXPECT_EQ(click.scale, pStage->scale) << click.y - b;
    }
}

TEST_F(EditorFrameTest, TimelineEnlargeAndContract) {
    const struct {
        int rate;
        int from;
        int command;
        int to;
    } steps[] = {
        {2500, 25, 1044, 50},   {2500, 15, 1044, 25}, {2500, 5, 1044, 10},  {2500, 1600, 1044, 1600},
        {2500, 1000, 1044, 1600}, {2500, 25, 1045, 10}, {2500, 5, 1045, 5},  {2500, 23, 1045, 10},
        {2997, 30, 1044, 60},   {2997, 8, 1045, 5},   {1000, 5, 1045, 0},
    };
    for (const auto& step : steps) {
        gFrameRate = step.rate;
        pTime->timeScale = step.from;
        Choose(step.command);
        EXPECT_EQ(step.to, pTime->timeScale) << step.rate << " " << step.from << " " << step.command;
    }
    gFrameRate = 2500;
}

TEST_F(EditorFrameTest, CloseBoxQuitKeyAndApplyEndWithZeroOnlyDropEndsWithOne) {
    backend->CloseBox(frame);
    EXPECT_EQ(0, Pump());
    delete frame;
    frame = new CMain(nullptr);
    EXPECT_EQ(1, Choose(2002));
    delete frame;
    frame = new CMain(nullptr);
    EXPECT_EQ(0, Choose(2001));
    delete frame;
    frame = new CMain(nullptr);
    EXPECT_EQ(0, Chord('q'));
    delete frame;
    frame = new CMain(nullptr);
    // The close button: pressed, then released on it.
    const tagRECT r = frame->closeButton.rect;
    backend->Click(frame, (r.left + r.right) / 2, (r.top + r.bottom) / 2);
    EXPECT_EQ(0, Pump());
}

}  // namespace
