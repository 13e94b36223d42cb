// SPDX-License-Identifier: GPL-2.0-or-later
// Show files, pictures, the still image and the help commands.
#include "EditorTestUtil.h"

#include "image/CDIB.h"

namespace {

std::vector<std::string> gOpened;
int OpenNothing(const char* path) {
    gOpened.push_back(path);
    return 0;
}

TEST_F(EditorFrameTest, SaveAndLoadShowsRememberTheFolderAndTheName) {
    const std::string path = (folder / "first.gsx").string();
    // An older, longer file under the same name is replaced whole.
    std::ofstream(path) << std::string(9000, 'x');
    backend->AnswerSaveFile(path.c_str());
    Choose(2003);
    const std::string bytes = ReadFile(path);
    ASSERT_EQ(28u + 266 + 3 * 56, bytes.size());
    const uint16_t serial = pDoc->showSerial;
    EXPECT_EQ(0, std::memcmp(bytes.data() + 2, &serial, 2));
    EXPECT_EQ(0, pDoc->modified);
    EXPECT_STREQ("first.gsx - Glimmerstroll", frame->title);
    char remembered[256];
    GetIniString("InitialFolder", "", remembered, 255);
    EXPECT_EQ(folder.string() + "/", remembered);
    ASSERT_EQ("save", backend->asked.back().kind);
    EXPECT_EQ("Glimmerstroll Files (*.gsx)|*.gsx|All Files (*.*)|*.*|", backend->asked.back().filter);
    EXPECT_EQ(".gsx", backend->asked.back().extension);

    // Command-S writes to the show's file without asking.
    const size_t dialogs = backend->asked.size();
    pDoc->keys[0][1].horizontalPos = 123.0f;
    Chord('s');
    EXPECT_EQ(dialogs, backend->asked.size());
    EXPECT_NE(serial, pDoc->showSerial);

    // Load Show on a modified show: cancel stops, "no" goes on to the file.
    pDoc->keys[0][1].horizontalPos = 999.0f;
    pDoc->modified = 1;
    backend->AnswerYesNoCancel(-1);
    Choose(2004);
    EXPECT_EQ(999.0f, pDoc->keys[0][1].horizontalPos);
    backend->AnswerYesNoCancel(0);
    backend->AnswerOpenFile(path.c_str());
    Choose(2004);
    EXPECT_TRUE(Asked("yesnocancel", "Do you want to save current show?"));
    EXPECT_EQ(folder.string() + "/", backend->asked.back().folder);
    EXPECT_EQ(123.0f, pDoc->keys[0][1].horizontalPos);
    EXPECT_EQ(0, pDoc->modified);

    // A file that is no show is refused with a message and changes nothing.
    const std::string junk = (folder / "junk.gsx").string();
    std::ofstream(junk) << "not a show at all";
    backend->AnswerOpenFile(junk.c_str());
    Choose(2004);
    EXPECT_TRUE(Asked("error", "junk"));
    EXPECT_EQ(123.0f, pDoc->keys[0][1].horizontalPos);
    EXPECT_STREQ("first.gsx - Glimmerstroll", frame->title);
}

TEST_F(EditorFrameTest, OnItsOwnAShowKeepsItsLengthAndTheTimelineFollowsIt) {
    // The editor on its own, as `glimmerstroll edit` runs it.
    static EditorHost standalone;
    delete frame;
    frame = new CMain(&standalone);
    auto write = [&](const char* name, long length) {
        pDoc->showLength = static_cast<int32_t>(length);
        std::string block(8192, '\0');
        block.resize(static_cast<size_t>(pDoc->SaveShow(nullptr, block.data(), 8192)));
        // 0: a show written without its length (word 11 of the first key).
        if (length == 0) std::memset(block.data() + 274 + 44, 0, 4);
        std::ofstream(folder / name, std::ios::binary) << block;
        FSpec file;
        MakePathSpec(file, (folder / name).c_str());
        return file;
    };
    FSpec saved = write("short.gsx", 175);
    FSpec unsaved = write("unsaved.gsx", 0);
    pDoc->showLength = kDefaultShowLength;

    const struct {
        FSpec* file;
        long length;  // the show's own, or up to its last key (at 100) as the tool counts
        int scale;    // at 25 fps: 10 below 8 s, 5 below 3 s
    } rows[] = {{&saved, 175, 10}, {&unsaved, 101, 10}};
    for (const auto& row : rows) {
        pDoc->modified = 0;
        backend->AnswerOpenFile(row.file->name);  // Load Show, as a user chooses it
        Choose(2004);
        ASSERT_STREQ(frame->showFile.name, row.file->name);
        EXPECT_EQ(row.length, pDoc->showLength);
        EXPECT_EQ(row.scale, pTime->timeScale) << row.length;
        EXPECT_EQ(pTime->ToPix(row.length), pTime->hScroll.maximum) << row.length;
    }
    // Saved again untouched: the same keys and length.
    ASSERT_TRUE(frame->OpenDocumentFile(&saved, true));
    backend->AnswerSaveFile((folder / "again.gsx").c_str());
    Choose(2003);
    const std::string again = ReadFile((folder / "again.gsx").string());
    const std::string before = ReadFile((folder / "short.gsx").string());
    ASSERT_EQ(before.size(), again.size());
    EXPECT_EQ(0, std::memcmp(before.data() + 4, again.data() + 4, before.size() - 4));

    // Cleared: the timeline follows the length again (Enlarge had changed the scale).
    Choose(kCmdEnlargeTimeline);
    pDoc->modified = 0;
    Choose(2005);
    EXPECT_EQ(175, pDoc->showLength);
    EXPECT_EQ(10, pTime->timeScale);
}

TEST_F(EditorFrameTest, AFailedSaveSaysSoAndKeepsTheOldShow) {
    const std::string path = (folder / "kept.gsx").string();
    backend->AnswerSaveFile(path.c_str());
    Choose(2003);
    const std::string saved = ReadFile(path);
    ASSERT_FALSE(saved.empty());
    pDoc->keys[0][1].horizontalPos = 321.0f;
    pDoc->modified = 1;
    for (const bool dialog : {true, false}) {
        SetWriteFaultAfter(10);  // the disk fills up part way
        if (dialog) {
            backend->AnswerSaveFile(path.c_str());
            Choose(2003);
        } else {
            Chord('s');
        }
        SetWriteFaultAfter(-1);
        EXPECT_EQ("error", backend->asked.back().kind) << dialog;
        EXPECT_EQ("The show could not be written to " + path + ".", backend->asked.back().text);
        EXPECT_EQ(saved, ReadFile(path));
        EXPECT_NE(0, pDoc->modified);
    }
    EXPECT_EQ(1u, std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
}

TEST_F(EditorFrameTest, NewShowAsksOnlyForAModifiedShow) {
    pDoc->modified = 1;
    backend->AnswerYesNo(0);
    Choose(2005);
    EXPECT_EQ(3, pDoc->keyCount[0]);
    backend->AnswerYesNo(1);
    Choose(2005);
    EXPECT_EQ(1, pDoc->keyCount[0]);
    EXPECT_EQ(200.0f, pDoc->keys[0][0].horizontalPos);
    EXPECT_STREQ("Untitled Show - Glimmerstroll", frame->title);
    const size_t asked = backend->asked.size();
    Choose(2005);  // not modified: no question
    EXPECT_EQ(asked, backend->asked.size());
}

TEST_F(EditorFrameTest, MakeStillImageWritesAFullFrameTarga) {
    for (int rate : {2500, 2997}) {
        gFrameRate = rate;
        const std::string path = (folder / ("still" + std::to_string(rate) + ".tga")).string();
        const int beeps = backend->beeps;
        backend->AnswerSaveFile(path.c_str());
        Chord('t');
        const std::string tga = ReadFile(path);
        const int height = rate == 2500 ? 576 : 486;
        ASSERT_EQ(18u + 720 * height * 4, tga.size());
        EXPECT_EQ(720, static_cast<uint8_t>(tga[12]) | static_cast<uint8_t>(tga[13]) << 8);
        EXPECT_EQ(height, static_cast<uint8_t>(tga[14]) | static_cast<uint8_t>(tga[15]) << 8);
        EXPECT_EQ(32, tga[16]);
        EXPECT_EQ(beeps + 1, backend->beeps);
        EXPECT_EQ("Targa Image (*.tga)|*.tga|", backend->asked.back().filter);
    }
    gFrameRate = 2500;
}

TEST_F(EditorFrameTest, LoadPictureOffersToMatchTheMovesToItsSize) {
    CDIB picture(80, 60, 24);
    FSpec fileSpec;
    const std::string path = (folder / "picture.bmp").string();
    MakePathSpec(fileSpec, path.c_str());
    ASSERT_TRUE(picture.Save(&fileSpec, 0));
    ASSERT_EQ(8, pDoc->GetWid());
    backend->AnswerYesNo(1);
    backend->AnswerOpenFile(path.c_str());
    Choose(1010);
    EXPECT_EQ(80, pDoc->GetWid());
    EXPECT_EQ(1, pDoc->pictureCount);
    EXPECT_TRUE(Asked("yesno", "Match moves to new Picture size?"));
    EXPECT_EQ(400.0f * 10, pDoc->keys[0][0].horizontalPos);  // 8 -> 80 wide
    const std::string filter = backend->asked[backend->asked.size() - 2].filter;
    EXPECT_EQ(0u, filter.find("All Graphics Files|*.bmp;*.tga;*.tif;*.psd"));
    EXPECT_NE(std::string::npos, filter.find("|Photoshop Files (*.psd)|*.psd"));
    EXPECT_EQ(pDoc->jpegAvailable != 0, filter.find("|Jpeg Files (*.jpg)|*.jpg") != std::string::npos);
    EXPECT_EQ(filter.size() - 21, filter.find("|All Files (*.*)|*.*|"));

    // The same size again: nothing to ask.
    const size_t asked = backend->asked.size();
    backend->AnswerOpenFile(path.c_str());
    Choose(1010);
    EXPECT_EQ(asked + 1, backend->asked.size());
}

TEST_F(EditorFrameTest, ContentsOpensTheManualOrSaysWhereItIsAndAboutNamesTheProduct) {
    const DocumentOpener saved = gOpenDocument;
    gOpenDocument = OpenNothing;
    Choose(1020);
    gOpenDocument = saved;
    ASSERT_EQ(1u, gOpened.size());
    EXPECT_NE(std::string::npos, gOpened[0].find("README.md"));
    EXPECT_TRUE(Asked("error", gOpened[0].c_str()));
    Choose(1026);
    EXPECT_TRUE(Asked("error", "Glimmerstroll " GS_VERSION));
}

}  // namespace
