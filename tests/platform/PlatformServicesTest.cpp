// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <string>

#include "platform/Platform.h"

namespace {
struct RecordingBackend : PlatformBackend {
    std::string last;
    void ShowError(const char* text) override { last = text; }
};
}  // namespace

TEST(PlatformServices, ErrorBoxAppendsTheCodeUnlessItIsTheGeneralOne) {
    RecordingBackend rec;
    PlatformBackend* old = SetPlatformBackend(&rec);
    ErrorBox("Can't read image file", 3);
    EXPECT_EQ(rec.last, "Can't read image file  [ 3 ]");
    ErrorBox("Not enough memory to load image", -9999);
    EXPECT_EQ(rec.last, "Not enough memory to load image");
    ErrorBox(std::string(400, 'x').c_str(), -9999);
    EXPECT_EQ(rec.last.size(), 255u);
    SetPlatformBackend(old);
}

TEST(PlatformServices, ConsoleFallbackAnswersNoAndCancel) {
    EXPECT_EQ(YesNoBox("Are you sure?", "New Show"), 0);
    EXPECT_EQ(YesNoCancelBox("Save?", "Quit"), -1);
    EXPECT_EQ(OpenFileDialog(nullptr, nullptr, "All Files (*.*)|*.*|", ".bmp", nullptr, false), 0);
    EXPECT_EQ(AllocMemBlock(0), nullptr);
    FreeMemBlock(nullptr);
}
