// SPDX-License-Identifier: GPL-2.0-or-later
// The options command with a display set but none to be had, through the
// test host: the effect module loads its GTK module (Glimmerstroll-gtk.so,
// beside it) and, when that cannot start or cannot be found, goes on headless
// with one line saying why. Headless, the command drops the moves unless an
// editor script drives the editor.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "show/ShowTestUtil.h"

namespace {

using Bytes = std::vector<char>;
namespace fs = std::filesystem;

const std::string kBin = GS_BINARY_DIR;
constexpr const char* kNotLoaded = "the GTK editor module could not be loaded";
constexpr const char* kNoDisplay = "no display could be opened";

size_t Occurrences(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) count++;
    return count;
}

class GtkModuleWithoutDisplay : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(WriteTestPicture(folder / "picture.tga", 120, 90));
        const KeyStruct keys[] = {CameraKey(0, 60, 45, 60), CameraKey(20, 80, 50, 40)};
        auto doc = DocWithSettings();
        SetShow(*doc, folder / "picture.tga", keys);
        show = SaveBlock(*doc);
        std::ofstream(folder / "show.gsx", std::ios::binary).write(show.data(), std::streamsize(show.size()));
        show.resize(4096, 0);
    }

    // The options command on `module` with a display named that no server
    // answers; the test host's exit status.
    int Options(const std::string& module, const std::string& saveAs, const char* script) {
        std::string line = "env -u GLIMMERSTROLL_PLATFORM -u WAYLAND_DISPLAY -u GDK_BACKEND DISPLAY=:9999 "
                           "NO_AT_BRIDGE=1 GSETTINGS_BACKEND=memory XDG_CONFIG_HOME='" + folder.path + "' ";
        if (script) line += std::string("GLIMMERSTROLL_EDITOR_SCRIPT='") + script + "' ";
        line += TestHostCommand(folder.path, module) + "setup load='" +
                (folder / "show.gsx") + "' dialog save='" + (folder / saveAs) + "' setdown 2>&1";
        int status = -1;
        output = Capture(line, &status);
        return status;
    }

    ScratchFolder folder;
    Bytes show;  // as the host keeps it: the show block in a 4096-byte handle
    std::string output;
};

TEST_F(GtkModuleWithoutDisplay, ModuleLoadsAndTheEditorFallsBackWhenNoDisplayOpens) {
    const std::string module = kBin + "/effect/Glimmerstroll.so";
    ASSERT_TRUE(fs::exists(kBin + "/effect/Glimmerstroll-gtk.so"));

    ASSERT_EQ(0, Options(module, "dropped.bin", nullptr)) << output;
    EXPECT_EQ(1u, Occurrences(output, kNoDisplay)) << output;
    EXPECT_EQ(0u, Occurrences(output, kNotLoaded)) << output;
    EXPECT_EQ(show, ReadBytes(folder / "dropped.bin"));

    ASSERT_EQ(0, Options(module, "applied.bin", "menu:1024 yes cmd:q")) << output;
    EXPECT_EQ(1u, Occurrences(output, kNoDisplay)) << output;
    EXPECT_EQ(2, KeyCount(ReadBytes(folder / "applied.bin")));  // one key left, and saving's own
}

TEST_F(GtkModuleWithoutDisplay, MissingModuleSaysSoOnceAndRunsHeadless) {
    // The effect module alone in a folder of its own.
    fs::create_directory(folder / "alone");
    const std::string module = folder / "alone/Glimmerstroll.so";
    fs::copy_file(kBin + "/effect/Glimmerstroll.so", module);

    ASSERT_EQ(0, Options(module, "dropped.bin", nullptr)) << output;
    EXPECT_EQ(1u, Occurrences(output, kNotLoaded)) << output;
    EXPECT_NE(std::string::npos, output.find("Glimmerstroll-gtk.so")) << output;
    EXPECT_EQ(show, ReadBytes(folder / "dropped.bin"));

    ASSERT_EQ(0, Options(module, "applied.bin", "menu:1024 yes cmd:q")) << output;
    EXPECT_EQ(1u, Occurrences(output, kNotLoaded)) << output;
    const Bytes applied = ReadBytes(folder / "applied.bin");
    EXPECT_NE(0, std::memcmp(applied.data() + 2, show.data() + 2, 2));  // a new serial
    EXPECT_EQ(2, KeyCount(applied));
}

}  // namespace
