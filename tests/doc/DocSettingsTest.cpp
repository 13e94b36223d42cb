#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include <unistd.h>

#include "DocTestUtil.h"
#include "motion/Timecode.h"

namespace {

// Writes a settings file into a fresh folder, points XDG_CONFIG_HOME at it and
// loads it, as the environment does at start-up.
class SettingsFile {
public:
    explicit SettingsFile(const std::string& lines) {
        folder = std::filesystem::temp_directory_path() /
                 ("gs_doc_settings_" + std::to_string(::getpid()));
        std::filesystem::create_directories(folder);
        const char* old = std::getenv("XDG_CONFIG_HOME");
        if (old) savedHome = old;
        hadHome = old != nullptr;
        ::setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
        std::snprintf(gEnv.programName, sizeof gEnv.programName, "Glimmerstroll");
        std::FILE* f = std::fopen((folder / "Glimmerstroll").c_str(), "wb");
        if (f) {
            const std::string text = "[Glimmerstroll]\r\n" + lines;
            std::fwrite(text.data(), 1, text.size(), f);
            std::fclose(f);
        }
        LoadIniFile();
    }
    ~SettingsFile() {
        if (hadHome) ::setenv("XDG_CONFIG_HOME", savedHome.c_str(), 1);
        else ::unsetenv("XDG_CONFIG_HOME");
        std::filesystem::remove_all(folder);
    }

private:
    std::filesystem::path folder;
    std::string savedHome;
    bool hadHome = false;
};

}  // namespace

TEST(DocSettings, ConstructorReadsOptionsFromTheSettingsFile) {
    SettingsFile file(
        "AspectMode=7503\r\nEaseType=17\r\nFrameRate=2500\r\nAutoAddKey=0\r\n"
        "BlurFrames=2\r\nMatteColor=255\r\nRootVolume=/media/pictures\r\n"
        "AltImageFolder=/tmp/alt\r\nMultiProcess=1\r\nMultiProcOffset=3\r\n"
        "VideoColors=0\r\nAlwaysUseRotation=1\r\n");
    CDoc doc;
    EXPECT_FLOAT_EQ(doc.aspect, 0.75f);  // 7503 rounds down to 7500
    EXPECT_EQ(doc.aspectMode, 7503);
    EXPECT_EQ(doc.easeType, 17);
    EXPECT_EQ(gFrameRate, 2500);
    EXPECT_EQ(doc.autoAddKey, 0);
    EXPECT_EQ(doc.blurFrames, 2);
    EXPECT_EQ(doc.matteColor, 255);
    EXPECT_STREQ(doc.rootVolume, "/media/pictures");
    EXPECT_STREQ(doc.altImageFolder, "/tmp/alt");
    EXPECT_EQ(gMultiProcess, 1);
    EXPECT_EQ(gMultiProcOffset, 3);
    EXPECT_EQ(doc.videoColors, 0);
    EXPECT_EQ(doc.HasRotationInShow(0), 1);  // forced by AlwaysUseRotation
    gMultiProcess = 0;
    gMultiProcOffset = 0;
}

TEST(DocSettings, DefaultsAndClearedShow) {
    SettingsFile file("AspectMode=5625\r\n");
    auto doc = std::make_unique<CDoc>();
    EXPECT_FLOAT_EQ(doc->aspect, 0.5625f);
    EXPECT_EQ(doc->easeType, 0);
    EXPECT_EQ(gFrameRate, 2997);
    EXPECT_EQ(doc->showLength, 1800);
    EXPECT_STREQ(doc->rootVolume, "C:\\");
    EXPECT_STREQ(doc->altImageFolder, "");
    EXPECT_EQ(doc->fieldSwap, 0);
    EXPECT_EQ(doc->draftRender, 0);
    EXPECT_EQ(doc->rescaleShow, 0);
    EXPECT_EQ(doc->videoColors, 1);
    EXPECT_EQ(doc->showPicError, 1);
    EXPECT_EQ(doc->autoAddKey, 1);
    EXPECT_EQ(doc->ignoreAlpha, 1);
    EXPECT_EQ(doc->depthLimit, 32);
    EXPECT_EQ(doc->contrastCode[0], '2');
    EXPECT_EQ(doc->contrastCode[1], '2');
    EXPECT_EQ(doc->tessmarine, 0);

    // A cleared show: one key at 0, centred at 200,200, 100 wide, on an 8 x 8 image.
    EXPECT_EQ(doc->keyCount[0], 1);
    EXPECT_EQ(doc->keys[0][0].time, 0);
    EXPECT_FLOAT_EQ(doc->keys[0][0].horizontalPos, 200.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][0].verticalPos, 200.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][0].width, 100.0f);
    EXPECT_EQ(doc->GetWid(), 8);
    EXPECT_EQ(doc->GetHgt(), 8);
    EXPECT_EQ(doc->GetBitCount(), 24);
    EXPECT_EQ(doc->pictureCount, 0);
    EXPECT_EQ(doc->undoHead, -1);
    EXPECT_EQ(doc->prefetchedPicture, -1);
    EXPECT_EQ(doc->picLoadStatus, 1);

    // Clearing resets an edited show but keeps its length and options.
    doc->showLength = 900;
    doc->pictureCount = 1;
    doc->matteBorder = 40;
    doc->showSerial = 77;
    std::strcpy(doc->pictureFile[0].name, "/pictures/a.bmp");
    std::strcpy(doc->extraFile.name, "/pictures/extra");
    KeyStruct moved = MakeKey(0, 5, 6, 7);
    doc->SetKey(0, moved, 0);
    KeyStruct later = MakeKey(30, 1, 2, 3);
    doc->SetKey(1, later, 0);
    doc->Do(later, 1, 0);
    doc->Create(64, 32, 32);
    doc->ClearShow();
    EXPECT_EQ(doc->showLength, 900);
    EXPECT_EQ(doc->keyCount[0], 1);
    EXPECT_FLOAT_EQ(doc->keys[0][0].horizontalPos, 200.0f);
    EXPECT_EQ(doc->keys[0][1].time, 0);  // every slot back to the identity key
    EXPECT_EQ(doc->pictureCount, 0);
    EXPECT_EQ(doc->matteBorder, 0);
    EXPECT_EQ(doc->showSerial, 0);
    EXPECT_EQ(doc->modified, 0);
    EXPECT_STREQ(doc->pictureFile[0].name, "");
    EXPECT_STREQ(doc->extraFile.name, "");
    EXPECT_EQ(doc->undoCount, 0);
    EXPECT_EQ(doc->undoHead, -1);
    EXPECT_EQ(doc->GetWid(), 8);
    EXPECT_EQ(doc->GetBitCount(), 24);
}

TEST(DocSettings, SisterProductModeFollowsTheProgramName) {
    std::snprintf(gEnv.programName, sizeof gEnv.programName, "Tessmarine Stills");
    std::snprintf(gIniString, sizeof gIniString, "[Tessmarine Stills]\r\n");
    CDoc doc;
    EXPECT_EQ(doc.tessmarine, 1);
    std::snprintf(gEnv.programName, sizeof gEnv.programName, "Glimmerstroll");
}
