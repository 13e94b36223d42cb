// SPDX-License-Identifier: GPL-2.0-or-later
// `glimmerstroll edit` on the example show under Xvfb with GTK: the editor
// opens, a screenshot of the whole screen is kept for looking at
// (build/testhome/editor_xvfb_tests/editor.png), the menus open, and
// command-Q ends the editor with the show saved.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "tests/common/TestKit.h"
#include "tests/common/Xvfb.h"

namespace {

namespace fs = std::filesystem;
const std::string kBin = std::string(GS_BINARY_DIR) + "/bin/";

// The mean grey level (0..1) of a region of a screenshot.
double Mean(const fs::path& png, const char* crop) {
    return std::atof(Shell("convert '" + png.string() + "' -crop " + crop + " +repage -format '%[fx:mean]' info:").c_str());
}

class EditorUnderXvfb : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* tool : {"Xvfb", "xdotool", "import", "convert", "ffmpeg"})
            if (Shell(std::string("command -v ") + tool).empty()) GTEST_SKIP() << tool << " is not installed";
        folder = fs::path(GS_BINARY_DIR) / "testhome" / "editor_xvfb_tests";
        fs::create_directories(folder);
        ASSERT_TRUE(server.Start());
    }
    void TearDown() override {
        if (editor <= 0) return;
        kill(editor, SIGTERM);
        waitpid(editor, nullptr, 0);
    }

    std::string X(const std::string& command) { return Shell("DISPLAY=" + server.display + " " + command); }

    Xvfb server;
    fs::path folder;
    pid_t editor = -1;
};

TEST_F(EditorUnderXvfb, OpensDrawsShowsItsMenusAndSavesOnCommandQ) {
    int status = -1;
    const std::string demo = Shell("'" + kBin + "glimmerstroll' demo -y --size 160x120 -o '" +
                                   (folder / "demo.mp4").string() + "'", &status);
    ASSERT_EQ(0, status) << demo;
    const fs::path show = folder / "demo.gsx";
    const std::string before = ReadFile(show);
    ASSERT_GT(before.size(), 274u);

    editor = fork();
    if (editor == 0) {
        setenv("DISPLAY", server.display.c_str(), 1);
        setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
        unsetenv("GLIMMERSTROLL_PLATFORM");
        setenv("NO_AT_BRIDGE", "1", 1);            // no accessibility bus on this display
        setenv("GSETTINGS_BACKEND", "memory", 1);  // nor a session bus for dconf
        execl((kBin + "glimmerstroll").c_str(), "glimmerstroll", "edit", show.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    const std::string found = X("timeout 20 xdotool search --sync --name 'demo.gsx - Glimmerstroll'");
    ASSERT_FALSE(found.empty()) << "the editor window did not appear";
    std::this_thread::sleep_for(std::chrono::seconds(2));

    // The whole editor: menu bar, stage with the picture, timeline, status area.
    const fs::path shot = folder / "editor.png";
    X("import -window root '" + shot.string() + "'");
    ASSERT_TRUE(fs::exists(shot));
    EXPECT_EQ("1280x1024", Shell("identify -format '%wx%h' '" + shot.string() + "'"));
    const double sky = Mean(shot, "300x150+100+60");  // the demo picture's night sky on the stage
    EXPECT_LT(sky, 0.4);
    EXPECT_GT(Mean(shot, "200x20+0+0"), 0.8);          // the menu bar

    // The File menu opens over the stage.
    const double closed = Mean(shot, "250x140+5+30");
    X("xdotool mousemove 18 12 click 1");
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const fs::path menu = folder / "editor-menu.png";
    X("import -window root '" + menu.string() + "'");
    EXPECT_GT(Mean(menu, "250x140+5+30"), closed + 0.3);
    X("xdotool key Escape");
    std::this_thread::sleep_for(std::chrono::milliseconds(500));

    // Command-Q (Ctrl-Q here) applies: the show is saved and the editor ends.
    X("xdotool mousemove 600 400");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    X("xdotool key ctrl+q");
    EXPECT_EQ(0, WaitChild(editor, 15));
    const std::string after = ReadFile(show);
    ASSERT_EQ(before.size(), after.size());
    EXPECT_NE(before.substr(2, 2), after.substr(2, 2));  // a new serial
    EXPECT_EQ(before.substr(4), after.substr(4));        // the same show
}

}  // namespace
