// SPDX-License-Identifier: GPL-2.0-or-later
// The effect's options command under Xvfb, through the test host: the effect
// module, which does not link GTK, loads its GTK module, the editor opens in a
// real window, and command-Q applies the moves into the host's handle.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "show/ShowTestUtil.h"
#include "tests/common/Xvfb.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<char>;

const std::string kBin = GS_BINARY_DIR;

class HostEditorUnderXvfb : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* tool : {"Xvfb", "xdotool"})
            if (Shell(std::string("command -v ") + tool).empty()) GTEST_SKIP() << tool << " is not installed";
        ASSERT_TRUE(server.Start());
    }
    void TearDown() override {
        if (host <= 0) return;
        kill(host, SIGTERM);
        waitpid(host, nullptr, 0);
    }

    std::string X(const std::string& command) { return Shell("DISPLAY=" + server.display + " " + command); }

    Xvfb server;
    ScratchFolder folder;
    pid_t host = -1;
};

TEST_F(HostEditorUnderXvfb, OptionsCommandOpensTheGtkEditorAndAppliesOnCommandQ) {
    ASSERT_TRUE(WriteTestPicture(folder / "picture.tga", 160, 120));
    const KeyStruct keys[] = {CameraKey(0, 80, 60, 80), CameraKey(25, 100, 70, 50)};
    auto doc = DocWithSettings();
    SetShow(*doc, folder / "picture.tga", keys);
    const Bytes show = SaveBlock(*doc);
    std::ofstream(folder / "show.gsx", std::ios::binary).write(show.data(), std::streamsize(show.size()));

    const std::string log = folder / "host.log";
    const std::string load = "load=" + folder / "show.gsx";
    const std::string save = "save=" + folder / "applied.bin";
    host = fork();
    if (host == 0) {
        const int out = open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(out, 1);
        dup2(out, 2);
        setenv("DISPLAY", server.display.c_str(), 1);
        setenv("XDG_CONFIG_HOME", folder.path.c_str(), 1);
        unsetenv("GLIMMERSTROLL_PLATFORM");
        unsetenv("GLIMMERSTROLL_EDITOR_SCRIPT");
        unsetenv("WAYLAND_DISPLAY");
        setenv("NO_AT_BRIDGE", "1", 1);            // no accessibility bus on this display
        setenv("GSETTINGS_BACKEND", "memory", 1);  // nor a session bus for dconf
        execl((kBin + "/tools/gs_testhost").c_str(), "gs_testhost", (kBin + "/effect/Glimmerstroll.so").c_str(),
              "--out", folder.path.c_str(), "setup", load.c_str(), "dialog", save.c_str(), "setdown",
              static_cast<char*>(nullptr));
        _exit(127);
    }
    // The editor's viewer window shows once the frame is up.
    const std::string window = X("timeout 20 xdotool search --sync --onlyvisible --name '^Viewer$' | head -1");
    ASSERT_FALSE(window.empty()) << "the editor did not open\n" << ReadFile(log);
    // The backend came from the GTK module, loaded into the host beside the
    // effect module.
    const std::string maps = ReadFile("/proc/" + std::to_string(host) + "/maps");
    EXPECT_NE(std::string::npos, maps.find("/effect/Glimmerstroll-gtk.so"));
    std::this_thread::sleep_for(std::chrono::seconds(1));

    // Command-Q (Ctrl-Q here) over the frame applies the moves and closes the
    // editor.
    X("xdotool mousemove 300 300");
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    X("xdotool key ctrl+q");
    ASSERT_EQ(0, WaitChild(host, 15)) << ReadFile(log);
    const std::string applied = ReadFile(folder / "applied.bin");
    ASSERT_EQ(4096u, applied.size());
    EXPECT_NE(std::string(show.data() + 2, 2), applied.substr(2, 2));  // a new serial
    EXPECT_EQ(std::string(show.data() + 4, show.size() - 4), applied.substr(4, show.size() - 4));  // the same show
    EXPECT_EQ(std::string::npos, ReadFile(log).find("could not")) << ReadFile(log);
}

}  // namespace
