// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "DocTestUtil.h"
#include "motion/Timecode.h"

TEST(DocSettings, ConstructorReadsTheSettingsFileAndClearsTheShow) {
    // A settings file in a folder of our own, loaded as the environment does.
    const auto folder = std::filesystem::temp_directory_path() / ("gs_doc_" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    std::ofstream(folder / "Glimmerstroll", std::ios::binary)
        << "[Glimmerstroll]\r\nAspectMode=7503\r\nEaseType=17\r\nFrameRate=2500\r\n"
           "AutoAddKey=0\r\nRootVolume=/media/pics\r\nMultiProcess=1\r\n";
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    std::snprintf(gEnv.programName, sizeof gEnv.programName, "Glimmerstroll");
    LoadIniFile();
    auto doc = std::make_unique<CDoc>();
    std::filesystem::remove_all(folder);

    EXPECT_FLOAT_EQ(doc->aspect, 0.75f);  // 7503 rounds down to 7500
    EXPECT_EQ(doc->aspectMode, 7503);
    EXPECT_EQ(doc->easeType, 17);
    EXPECT_EQ(gFrameRate, 2500);
    EXPECT_EQ(doc->autoAddKey, 0);
    EXPECT_STREQ(doc->rootVolume, "/media/pics");
    EXPECT_EQ(gMultiProcess, 1);
    gMultiProcess = 0;
    // Keys the file lacks take their defaults.
    EXPECT_EQ(doc->videoColors, 1);
    EXPECT_EQ(doc->ignoreAlpha, 1);
    EXPECT_EQ(doc->showLength, 1800);

    // Clearing keeps the show's length; a cleared show has one key at 0,
    // centred at 200,200, 100 wide, on an 8 x 8 image, and no undo records.
    KeyStruct key = CameraKey(30, 1);
    doc->SetKey(1, key, 0);
    doc->Do(key, 1, 0);
    doc->showLength = 900;
    doc->Create(64, 32, 32);
    doc->ClearShow();
    EXPECT_EQ(doc->showLength, 900);
    EXPECT_EQ(doc->keyCount[0], 1);
    EXPECT_EQ(doc->keys[0][0].time, 0);
    EXPECT_FLOAT_EQ(doc->keys[0][0].horizontalPos, 200.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][0].verticalPos, 200.0f);
    EXPECT_FLOAT_EQ(doc->keys[0][0].width, 100.0f);
    EXPECT_EQ(doc->GetWid() * doc->GetBitCount(), 8 * 24);
    EXPECT_EQ(doc->pictureCount + doc->modified + doc->undoCount, 0);
    EXPECT_EQ(doc->undoHead, -1);
}
