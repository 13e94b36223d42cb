// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "tests/common/TestKit.h"
#include "platform/Env.h"
#include "platform/Platform.h"
#include "platform/Settings.h"

namespace {

const char kHeader[] = "[Glimmerstroll]\r\n";

// Settings of the program "Glimmerstroll" kept in a fresh configuration folder.
class SettingsTest : public ::testing::Test {
protected:
    ScratchFolder dir;
    std::string oldXdg;
    void SetUp() override {
        if (const char* xdg = std::getenv("XDG_CONFIG_HOME")) oldXdg = xdg;
        setenv("XDG_CONFIG_HOME", (dir / "config").c_str(), 1);
        std::snprintf(gEnv.programName, sizeof gEnv.programName, "Glimmerstroll");
        std::snprintf(gIniString, sizeof gIniString, "%s", kHeader);
    }
    void TearDown() override { setenv("XDG_CONFIG_HOME", oldXdg.c_str(), 1); }
    std::string FileText() const {
        std::ifstream in(dir / "config/Glimmerstroll", std::ios::binary);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    }
    void WriteFile(const std::string& text) const {
        std::ofstream(dir / "config/Glimmerstroll", std::ios::binary) << text;
    }
};

std::string Value(const char* key, long max = 255) {
    char out[1024];
    GetIniString(key, "none", out, max);
    return out;
}

}  // namespace

TEST_F(SettingsTest, StoresAndReplacesItemsByteForByte) {
    SetIniItem("FrameRate", 2500L);
    EXPECT_EQ(GetIniItem("FrameRate", 2997), 2500);
    EXPECT_STREQ(gIniString, "[Glimmerstroll]\r\nFrameRate=2500\r\n");

    SetIniItem("InitialFolder", "/pics/");
    SetIniItem("StageScale", 50);
    SetIniItem("FrameRate", 2997);
    EXPECT_STREQ(gIniString, "[Glimmerstroll]\r\nFrameRate=2997\r\nInitialFolder=/pics/\r\nStageScale=50\r\n");
    SetIniItem("InitialFolder", "/home/me/shows/");
    EXPECT_STREQ(gIniString,
                 "[Glimmerstroll]\r\nFrameRate=2997\r\nInitialFolder=/home/me/shows/\r\nStageScale=50\r\n");

    EXPECT_EQ(GetIniItem("Missing", -7), -7);
    SetIniItem("FlashFPS", "thirty");
    EXPECT_EQ(GetIniItem("FlashFPS", 30), 0);  // non-numeric text reads as 0
}

TEST_F(SettingsTest, GetIniStringCutsAndFallsBack) {
    SetIniItem("RootVolume", "abcdef");
    EXPECT_EQ(Value("RootVolume", 3), "abc");
    EXPECT_EQ(Value("RootVolume"), "abcdef");
    EXPECT_EQ(Value("Absent"), "none");
    // A value with no carriage return after it is not found.
    std::strcat(gIniString, "Tail=5");
    EXPECT_EQ(Value("Tail"), "none");
}

TEST_F(SettingsTest, ValuesLoseTheirLineEnds) {
    char value[] = "one\rtwo\nthree";
    SetIniItem("AltImageFolder", value);
    EXPECT_STREQ(value, "onetwothree");
    EXPECT_EQ(Value("AltImageFolder"), "onetwothree");
    // Only the first 512 characters of a value are kept.
    SetIniItem("AltImageFolder", std::string(600, 'v').c_str());
    EXPECT_EQ(Value("AltImageFolder", 1000).size(), 512u);
}

TEST_F(SettingsTest, NewItemsStopAt1021Characters) {
    SetIniItem("F1", std::string(500, 'x').c_str());  // 17 + 505 = 522 characters
    SetIniItem("F2", std::string(486, 'x').c_str());  // 522 + 491 = 1013
    ASSERT_EQ(std::strlen(gIniString), 1013u);
    SetIniItem("ABC", "12345");  // 1013 + 4 + 5 = 1022: dropped
    EXPECT_EQ(Value("ABC"), "none");
    SetIniItem("AB", "12345");  // 1013 + 3 + 5 = 1021: added
    EXPECT_EQ(Value("AB"), "12345");
    EXPECT_EQ(std::strlen(gIniString), 1023u);
    SetIniItem("C", "1");
    EXPECT_EQ(Value("C"), "none");

    // Replacing an existing item is not limited by the rule, only by the buffer.
    SetIniItem("F1", std::string(510, 'y').c_str());
    EXPECT_EQ(std::strlen(gIniString), 1023u);
    EXPECT_EQ(Value("F1", 1000), std::string(510, 'y'));
}

TEST_F(SettingsTest, SaveAndLoadRoundTripThroughTheConfigFolder) {
    // A missing file (and a missing folder) gives the header alone.
    LoadIniFile();
    EXPECT_STREQ(gIniString, kHeader);

    SetIniItem("FrameRate", 2500);
    SetIniItem("InitialFolder", "/pics/");
    std::string saved = gIniString;
    WriteFile(std::string(900, '#'));  // a longer old file is replaced, not overwritten
    SaveIniFile();
    EXPECT_EQ(FileText(), saved);

    std::snprintf(gIniString, sizeof gIniString, "%s", kHeader);
    LoadIniFile();
    EXPECT_EQ(std::string(gIniString), saved);
    EXPECT_EQ(GetIniItem("FrameRate", 2997), 2500);

    // A file written for another program starts afresh.
    WriteFile("[Other]\r\nFrameRate=2500\r\n");
    LoadIniFile();
    EXPECT_STREQ(gIniString, kHeader);

    // An oversized file still leaves a terminated buffer.
    WriteFile("[Glimmerstroll]\r\n" + std::string(2000, 'z'));
    LoadIniFile();
    EXPECT_EQ(std::strlen(gIniString), 1023u);
}

TEST_F(SettingsTest, FilesWrittenByHandWithAnyLineEndsAreRead) {
    // The user's lines stay as they are; a replaced value keeps its line end,
    // and a new item is written as the program writes every item.
    std::filesystem::create_directories(dir / "config");
    for (const char* end : {"\r\n", "\n", "\r"}) {
        SCOPED_TRACE(end == std::string("\n") ? "LF" : end == std::string("\r") ? "CR" : "CRLF");
        const std::string e = end;
        WriteFile("[Glimmerstroll]" + e + "# my pictures" + e + "AltImageFolder=/home/me/pics" + e +
                  "MultiProcess=1" + e + "FrameRate=2500" + e);
        LoadIniFile();
        EXPECT_EQ(Value("AltImageFolder"), "/home/me/pics");
        EXPECT_EQ(GetIniItem("MultiProcess", 0), 1);
        EXPECT_EQ(GetIniItem("FrameRate", 2997), 2500);
        SetIniItem("MultiProcess", 0);
        SetIniItem("StageScale", 75);
        EXPECT_EQ(GetIniItem("MultiProcess", 1), 0);
        EXPECT_EQ(GetIniItem("StageScale", 50), 75);
        SaveIniFile();
        EXPECT_EQ(FileText(), "[Glimmerstroll]" + e + "# my pictures" + e + "AltImageFolder=/home/me/pics" + e +
                                  "MultiProcess=0" + e + "FrameRate=2500" + e + "StageScale=75\r\n");
    }
    // A last line without a line end keeps its text; the new item goes below it.
    WriteFile("[Glimmerstroll]\nFrameRate=2500");
    LoadIniFile();
    SetIniItem("StageScale", 75);
    EXPECT_STREQ(gIniString, "[Glimmerstroll]\nFrameRate=2500\r\nStageScale=75\r\n");
}

namespace {
struct FontRecorder : PlatformBackend {
    struct Font {
        std::string face;
        int points;
        bool bold;
    };
    std::vector<Font*> live;
    int made = 0;
    void* MakeFont(const char* face, int points, bool bold) override {
        made++;
        live.push_back(new Font{face, points, bold});
        return live.back();
    }
    void RemoveFont(void* font) override {
        std::erase(live, static_cast<Font*>(font));
        delete static_cast<Font*>(font);
    }
    void ScreenSize(long& w, long& h) override {
        w = 1280;
        h = 720;
    }
};
}  // namespace

TEST_F(SettingsTest, EnvironmentStartsAndClosesRepeatedly) {
    FontRecorder backend;
    PlatformBackend* old = SetPlatformBackend(&backend);
    int stamp = 0;
    ASSERT_EQ(InitEnvironment(&stamp, "Glimmerstroll", kModeHost), 1);
    EXPECT_EQ(gEnv.screenWidth, 1279);
    EXPECT_EQ(gEnv.screenHeight, 719);
    EXPECT_STREQ(gIniString, kHeader);
    ASSERT_EQ(backend.made, 5);

    InitEnvironment(&stamp, "Glimmerstroll", kModeHost);  // existing fonts are kept
    EXPECT_EQ(backend.made, 5);

    SetIniItem("StageScale", 75);
    CloseEnvironment();
    EXPECT_TRUE(backend.live.empty());
    EXPECT_EQ(Sans10, nullptr);
    EXPECT_EQ(gCanMultiProcess, 0);
    EXPECT_EQ(FileText(), "[Glimmerstroll]\r\nStageScale=75\r\n");
    CloseEnvironment();

    // A long program name is cut to 63 characters; the console fallback makes fonts too.
    SetPlatformBackend(old);
    InitEnvironment(nullptr, std::string(80, 'P').c_str(), 1000);
    EXPECT_EQ(std::strlen(gEnv.programName), 63u);
    EXPECT_NE(Sans12, nullptr);
    EXPECT_EQ(gEnv.screenWidth, 1919);
    CloseEnvironment();
    EXPECT_EQ(Sans12, nullptr);
}
