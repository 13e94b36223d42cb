// SPDX-License-Identifier: GPL-2.0-or-later
// The editor inside the effect (through gs_testhost) and on its own
// (glimmerstroll-edit, and `glimmerstroll edit`), driven by editor scripts on
// the headless backend.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "show/ShowTestUtil.h"

namespace {

using Bytes = std::vector<char>;

const std::string kBin = GS_BINARY_DIR;

class ScriptedEditor : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(WriteTestPicture(folder / "picture.tga", 120, 90));
        const KeyStruct keys[] = {CameraKey(0, 60, 45, 60), CameraKey(20, 80, 50, 40),
                                  CameraKey(40, 40, 40, 80)};
        auto doc = DocWithSettings();
        SetShow(*doc, folder / "picture.tga", keys);
        show = SaveBlock(*doc);
        for (const char* name : {"show.gsx", "other.gsx"})
            std::ofstream(folder / name, std::ios::binary).write(show.data(), std::streamsize(show.size()));
    }

    // Runs `command` with the headless backend and `script`; the exit status.
    int Run(const std::string& command, const char* script) {
        std::string line = "XDG_CONFIG_HOME='" + folder.path + "' GLIMMERSTROLL_PLATFORM=headless ";
        if (script) line += std::string("GLIMMERSTROLL_EDITOR_SCRIPT='") + script + "' ";
        line += command + " 2>&1";
        int status = -1;
        output = Capture(line, &status);
        return status;
    }
    int Host(const std::string& commands, const char* script) {
        return Run(TestHostCommand(folder.path) + commands + " setdown", script);
    }
    int Edit(const std::string& show, const char* script) {
        return Run("'" + kBin + "/bin/glimmerstroll-edit' " + show, script);
    }

    ScratchFolder folder;
    Bytes show;
    std::string output;
};

TEST_F(ScriptedEditor, OptionsCommandAppliesWithANewSerialOrLeavesTheHandleAlone) {
    const std::string load = "setup load=" + folder / "show.gsx";
    ASSERT_EQ(0, Host(load + " render=30", nullptr)) << output;
    const Bytes untouched = ReadBytes(folder / "t30.argb");

    // Apply: every key but the first deleted, the editor closed with command-Q.
    ASSERT_EQ(0, Host(load + " dialog save=" + folder / "applied.bin render=30", "menu:1024 yes cmd:q"))
        << output;
    const Bytes applied = ReadBytes(folder / "applied.bin");
    ASSERT_EQ(4096u, applied.size());
    EXPECT_NE(0, std::memcmp(applied.data() + 2, show.data() + 2, 2));
    EXPECT_EQ(2, KeyCount(applied));  // one key, and the second that saving adds
    EXPECT_NE(untouched, ReadBytes(folder / "t30.argb"));

    // Drop: the same edit, left with "Quit - DON'T Apply changes".
    ASSERT_EQ(0, Host(load + " dialog save=" + folder / "kept.bin render=30", "menu:1024 yes menu:2002"))
        << output;
    Bytes expected = show;
    expected.resize(4096, 0);
    EXPECT_EQ(expected, ReadBytes(folder / "kept.bin"));
    EXPECT_EQ(untouched, ReadBytes(folder / "t30.argb"));  // the document was restored

    // Without a script there is nobody to edit: the handle keeps its bytes.
    ASSERT_EQ(0, Host(load + " dialog save=" + folder / "alone.bin", nullptr)) << output;
    EXPECT_EQ(expected, ReadBytes(folder / "alone.bin"));
}

TEST_F(ScriptedEditor, StandaloneEditorSavesOnApplyAndWritesNothingOnQuit) {
    const std::string path = folder / "show.gsx";
    // Quitting a changed show asks; "no" goes back to the editor, command-Q saves.
    EXPECT_EQ(0, Edit(path, "menu:1024 yes menu:2002 no cmd:q")) << output;
    EXPECT_EQ(2, KeyCount(ReadBytes(path)));

    const std::string other = folder / "other.gsx";
    EXPECT_EQ(1, Edit(other, "menu:1024 yes menu:2002 yes")) << output;
    EXPECT_EQ(show, ReadBytes(other));
    EXPECT_EQ(1, Edit(other, "menu:2002")) << output;
    EXPECT_EQ(show, ReadBytes(other));

    // A new name is created by the first save; an untitled show asks for one.
    // (A show without a picture is the 28-byte header and trailer.)
    const Bytes empty = {0x34, 0x12};
    EXPECT_EQ(0, Edit(folder / "new.gsx", "cmd:q")) << output;
    Bytes written = ReadBytes(folder / "new.gsx");
    ASSERT_EQ(28u, written.size());
    EXPECT_EQ(empty, Bytes(written.begin(), written.begin() + 2));
    const std::string named = "save:" + folder / "named.gsx" + " cmd:q";
    EXPECT_EQ(0, Edit("", named.c_str())) << output;
    EXPECT_EQ(28u, ReadBytes(folder / "named.gsx").size());
    // `glimmerstroll edit` is the same program.
    EXPECT_EQ(1, Run("'" + kBin + "/bin/glimmerstroll' edit '" + other + "'", "menu:2002")) << output;

    // What cannot start says why.
    EXPECT_EQ(2, Edit(other, nullptr));
    EXPECT_NE(std::string::npos, output.find("no display")) << output;
    std::ofstream(folder / "junk.gsx") << "junk";
    EXPECT_EQ(2, Edit(folder / "junk.gsx", "cmd:q")) << output;
    EXPECT_EQ(2, Edit(other, "menu:77")) << output;
    EXPECT_NE(std::string::npos, output.find("\"menu:77\"")) << output;
    // A save on closing that cannot be done ends a scripted editor as failed,
    // with the message, instead of asking for ever; nor does a device open.
    EXPECT_EQ(2, Edit(folder / "no-folder/show.gsx", "cmd:q")) << output;
    EXPECT_NE(std::string::npos, output.find("The show could not be written to")) << output;
    EXPECT_EQ(2, Edit("/dev/zero", "cmd:q")) << output;
}

TEST_F(ScriptedEditor, StandaloneEditorCountsFramesAtTheToolsRateUnlessToldOtherwise) {
    // A picture with one key: saving adds the second one second later.
    Bytes one = show;
    const int32_t count = 1;
    std::memcpy(one.data() + 8 + 262, &count, 4);
    const std::string path = folder / "one.gsx";
    const struct {
        const char* options;
        int32_t second;  // frames in one second
    } rows[] = {{"", 25}, {"--fps 29.97 ", 30}, {"--fps 23.976 ", 24}};
    for (const auto& row : rows) {
        std::ofstream(path, std::ios::binary).write(one.data(), std::streamsize(one.size()));
        ASSERT_EQ(0, Edit(row.options + ("'" + path + "'"), "cmd:q")) << output;
        const Bytes saved = ReadBytes(path);
        ASSERT_EQ(2, KeyCount(saved));
        int32_t time = 0;
        std::memcpy(&time, saved.data() + 274 + 56 + 48, 4);
        EXPECT_EQ(row.second, time) << row.options;
    }
    // `glimmerstroll edit` passes the rate on; a rate the editor has no choice for is refused.
    std::ofstream(path, std::ios::binary).write(one.data(), std::streamsize(one.size()));
    ASSERT_EQ(0, Run("'" + kBin + "/bin/glimmerstroll' edit --fps 29.97 '" + path + "'", "cmd:q")) << output;
    int32_t time = 0;
    std::memcpy(&time, ReadBytes(path).data() + 274 + 56 + 48, 4);
    EXPECT_EQ(30, time);
    EXPECT_EQ(2, Edit("--fps 12 '" + path + "'", "cmd:q"));
    EXPECT_NE(std::string::npos, output.find("--fps 12")) << output;
}

}  // namespace
