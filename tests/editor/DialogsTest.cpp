// SPDX-License-Identifier: GPL-2.0-or-later
// The picture preparation and advanced options dialogs, and the status texts.
#include "EditorTestUtil.h"

#include "image/CDIB.h"

namespace {

// Where to click in a dialog that the frame shows over the stage at 50, 50.
struct DialogGeometry {
    DialogGeometry() = default;
    DialogGeometry(std::initializer_list<const char*> items) {
        void* saved = GetSelectedFont();
        SelectFont(Sans10);
        for (const char* item : items) L = std::max(L, static_cast<int>(GetTextWidth(item)));
        SelectFont(saved);
    }
    int Row(int row) const { return 50 + 36 + 20 * row + 8; }
    int Value() const { return 50 + L + 20; }
    int Slider(float at) const { return 50 + L + 16 + static_cast<int>(at * (L - 34)); }
    int SliderValue(int x) const {
        const float t = std::clamp(float(x - (50 + L) - 16) / float(L - 34), 0.0f, 1.0f);
        return static_cast<int>(100 * t);
    }
    int L = 0;
};

class PrepDialog : public EditorFrameTest {
protected:
    // Measured once the interface fonts exist.
    void SetUp() override {
        EditorFrameTest::SetUp();
        kPrep = DialogGeometry{"@CVideo Safe Color", "@CPre-Blur", "@SBorder Size %", "@LBorder/Tint Color",
                               "@SContrast", "@SBrightness", "@RColor Mode|Normal / Border", "@RImage Tint",
                               "@CIgnore Alpha Channel"};
    }
    void Click(int x, int row) { backend->Click(pStage, x, kPrep.Row(row)); }
    DialogGeometry kPrep{};
};

TEST_F(PrepDialog, PreviewShowsTheDialogAgainAndCancelRestoresAllSix) {
    pDoc->videoColors = 1;
    pDoc->matteBorder = 10;
    pDoc->ignoreAlpha = 1;
    // A picture on disk, which every press reloads.
    CDIB picture(40, 30, 24);
    MakePathSpec(pDoc->pictureFile[0], (folder / "picture.tga").c_str());
    ASSERT_EQ(1, picture.Save(&pDoc->pictureFile[0], 0));
    pDoc->modified = 0;
    QueueMenu(1025);
    Click(kPrep.Value(), 0);        // video safe off
    Click(kPrep.Value(), 7);        // tint
    Click(kPrep.Slider(0.5f), 4);   // contrast
    Click(kPrep.Value(), 8);        // alpha kept
    Click(50 + 40, 9);              // Apply: preview, and the dialog again
    Click(kPrep.Value(), 10);       // Cancel
    Pump();
    EXPECT_EQ(1, pDoc->videoColors);
    EXPECT_EQ(10, pDoc->matteBorder);
    EXPECT_EQ(1, pDoc->ignoreAlpha);
    EXPECT_EQ('2', pDoc->contrastCode[0]);
    EXPECT_EQ(1, GetIniItem("VideoColors", -1));
    EXPECT_EQ(0, pDoc->modified);  // nothing changed, and the show says so

    QueueMenu(1025);
    Click(kPrep.Value(), 0);
    Click(50 + 40, 9);
    Click(kPrep.Value(), 9);  // OK on the dialog shown again
    Pump();
    EXPECT_EQ(0, pDoc->videoColors);
    EXPECT_EQ(0, GetIniItem("VideoColors", -1));
}

TEST_F(PrepDialog, OkKeepsTheValuesWithContrastAndBrightnessInOneCode) {
    pDoc->matteBorder = -1;  // tint mode: "Image Tint" is set
    QueueMenu(1025);
    Click(kPrep.Value(), 1);  // pre-blur on
    Click(kPrep.Value(), 6);  // back to normal: the negative border becomes 0
    const int x = kPrep.Slider(0.3f);
    Click(x, 5);              // brightness
    Click(kPrep.Value(), 9);  // OK
    Pump();
    EXPECT_EQ(1, pDoc->preBlur);
    EXPECT_EQ(0, pDoc->matteBorder);
    EXPECT_EQ(kPrep.SliderValue(x), static_cast<unsigned char>(pDoc->contrastCode[1]));
    EXPECT_EQ('2', pDoc->contrastCode[0]);
    EXPECT_EQ(1, GetIniItem("PreBlur", -1));
    StatusTexts texts;
    MakeStatusTexts(pDoc->keys[0][0], texts);
    EXPECT_NE(std::string::npos, std::string(texts.line).find(" / Pre-Blur / Con / VS"));

    // Tint again: the border becomes -1 whatever the slider says.
    QueueMenu(1025);
    Click(kPrep.Slider(0.8f), 2);
    Click(kPrep.Value(), 7);
    Click(kPrep.Value(), 9);
    Pump();
    EXPECT_EQ(-1, pDoc->matteBorder);
}

TEST_F(EditorFrameTest, AdvancedOptionsRefuseABadOffsetAndStoreAll) {
    const DialogGeometry g{"@CFlop Top Field", "Multiprocessor Row Offset", "@FAlternate Picture Folder",
                           "@CReport Missing Pictures", "@CSwap Field Order", "@CViewer on Second Screen"};
    backend->offerEditField = false;
    const std::string picked = (folder / "pics" / "a.bmp").string();
    QueueMenu(1036);
    backend->Click(pStage, g.Value(), g.Row(0));
    backend->AnswerString("99");
    backend->Click(pStage, g.Value(), g.Row(1));
    backend->AnswerOpenFile(picked.c_str());
    backend->Click(pStage, g.Value(), g.Row(2));
    backend->Click(pStage, g.Value(), g.Row(4));
    backend->Click(pStage, g.Value(), g.Row(6));  // OK: refused
    backend->AnswerString("-3");
    backend->Click(pStage, g.Value(), g.Row(1));
    backend->Click(pStage, g.Value(), g.Row(6));
    Pump();
    EXPECT_TRUE(Asked("error", "Multiprocessor Row Offset must be a whole number"));
    EXPECT_EQ(-3, gMultiProcOffset);
    EXPECT_EQ(1, pDoc->flopTopField);
    EXPECT_EQ(1, pDoc->fieldSwap);
    EXPECT_EQ((folder / "pics").string() + "/", pDoc->altImageFolder);
    EXPECT_EQ(-3, GetIniItem("MultiProcOffset", 0));
    EXPECT_EQ(1, GetIniItem("FlopTopField", 0));
    EXPECT_EQ(1, GetIniItem("FieldSwap", 0));
    EXPECT_EQ(0, GetIniItem("DualScreenViewer", -1));
    gMultiProcOffset = 0;
}

TEST_F(EditorFrameTest, StatusTextsFollowTheKeyAndTheOptions) {
    KeyStruct key = CameraKey(0, 10.7f, 20.2f, 99.9f);
    key.rotation1 = 1.5f;
    key.rotation2 = -2.5f;
    key.rotation3 = 3.0f;
    std::snprintf(pDoc->pictureFile[0].name, sizeof pDoc->pictureFile[0].name, "/pics/lake.view.tga");
    StatusTexts texts;
    MakeStatusTexts(key, texts);
    EXPECT_STREQ("Pos   10,20", texts.position);
    EXPECT_STREQ("Wid  99", texts.width);
    EXPECT_STREQ("Rot   1,-2,3", texts.rotation);
    EXPECT_STREQ("25.00 fps / VS / lake", texts.line);

    gFrameRate = 2997;
    pDoc->draftRender = pDoc->fieldSwap = pDoc->blurFrames = pDoc->preBlur = 1;
    pDoc->videoColors = 0;
    pDoc->contrastCode[1] = '4';
    ASSERT_TRUE(pDoc->Create(8, 8, 32));
    MakeStatusTexts(key, texts);
    EXPECT_STREQ("29.97 fps / Draft Mode / Field order swapped / Motion Blur / Pre-Blur / Con / Alpha / lake",
                 texts.line);
    gFrameRate = 2500;
    // Without a picture the line ends with the last option.
    pDoc->pictureFile[0].name[0] = 0;
    MakeStatusTexts(key, texts);
    EXPECT_STREQ("25.00 fps / Draft Mode / Field order swapped / Motion Blur / Pre-Blur / Con / Alpha", texts.line);
}

}  // namespace
