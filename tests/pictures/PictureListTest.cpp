// SPDX-License-Identifier: GPL-2.0-or-later
// The picture list: loading a picture file into the show with its preparation,
// the picture buffer kept filled with the next picture ahead, and the slot
// operations.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "doc/CDoc.h"
#include "doc/PictureJob.h"
#include "platform/Env.h"
#include "platform/Settings.h"
#include "tests/common/TestDoc.h"
#include "tests/imagefiles/TestPictures.h"

namespace {

constexpr long kW = 37, kH = 23;  // the generated pattern

std::unique_ptr<CDoc> NewDoc() {
    auto doc = DocWithSettings();
    doc->videoColors = 0;  // the pattern is compared as it is in the file
    return doc;
}

// A picture of one colour written by ImageMagick.
std::string SolidBmp(const TestFolder& folder, const char* name, long w, long h, const char* colour) {
    const std::string path = folder / name;
    const std::string cmd = "/usr/bin/convert -size " + std::to_string(w) + "x" + std::to_string(h) + " 'xc:" +
                            colour + "' -type TrueColor BMP3:'" + path + "'";
    return std::system(cmd.c_str()) == 0 ? path : std::string();
}

// A picture as the file reader gives it, for comparisons.
void Loaded(const char* name, CDIB& dib) { EXPECT_EQ(LoadCode(PicturePath(name), dib), 0); }

bool SameRows(CDIB& a, CDIB& b) {
    return a.GetWid() == b.GetWid() && a.GetHgt() == b.GetHgt() && a.GetBitCount() == b.GetBitCount() &&
           std::memcmp(a.bits, b.bits, a.GetRowBytes() * a.GetHgt()) == 0;
}

TEST(LoadPicture, MatteBorderDepthAndCameraFraming) {
    TestFolder folder("gs_piclist");
    const std::string wide = SolidBmp(folder, "wide.bmp", 1000, 10, "#336699");
    ASSERT_FALSE(wide.empty());
    auto doc = NewDoc();
    doc->matteBorder = 50;
    doc->matteColor = 0x0000FF;  // red
    FSpec fileSpec = SpecFor(wide);
    doc->LoadPicture(&fileSpec, 0, 0);
    ASSERT_EQ(doc->picLoadStatus, 1);
    // 250 pixels on every side, computed from the width for both directions.
    EXPECT_EQ(doc->GetWid(), 1500);
    EXPECT_EQ(doc->GetHgt(), 510);
    EXPECT_EQ(doc->GetBitCount(), 24);
    const Rgba corner = PixelAt(*doc, 0, 0), inside = PixelAt(*doc, 600, 255);
    EXPECT_EQ(corner.r, 255);
    EXPECT_EQ(corner.b, 0);
    EXPECT_EQ(inside.r, 0x33);
    EXPECT_EQ(inside.b, 0x99);
    EXPECT_EQ(doc->pictureCount, 1);
    EXPECT_EQ(doc->loadedPicture, 0);
    EXPECT_EQ(std::strcmp(doc->pictureFile[0].name, fileSpec.name), 0);
    EXPECT_EQ(doc->modified, 1);

    // One key: recentred on the new picture.
    EXPECT_EQ(doc->keys[0][0].horizontalPos, 750.0f);
    EXPECT_EQ(doc->keys[0][0].verticalPos, 255.0f);
    EXPECT_EQ(doc->keys[0][0].width, 1500.0f);

    // Two keys: the camera is left alone; a start of 0 or more resets it to 0.
    doc->matteBorder = 0;
    doc->keyCount[0] = 2;
    doc->keys[0][0].horizontalPos = 12.0f;
    doc->keys[0][0].picStart = 30.0f;
    FSpec bmp32 = SpecFor(PicturePath("bmp32_im.bmp"));
    doc->LoadPicture(&bmp32, 0, 5);
    EXPECT_EQ(doc->keys[0][0].horizontalPos, 12.0f);
    EXPECT_EQ(doc->keys[0][0].picStart, 0.0f);
    // "IgnoreAlpha" makes every picture 24-bit; without it the alpha stays.
    EXPECT_EQ(doc->GetBitCount(), 24);
    doc->ignoreAlpha = 0;
    doc->LoadPicture(&bmp32, 0, -1);
    EXPECT_EQ(doc->GetBitCount(), 32);
    CDIB original(8, 8, 24);
    Loaded("bmp32_im.bmp", original);
    EXPECT_TRUE(SameRows(*doc, original));
    FSpec bmp8 = SpecFor(PicturePath("bmp8_im.bmp"));
    doc->LoadPicture(&bmp8, 0, -1);
    EXPECT_EQ(doc->GetBitCount(), 24);  // 8-bit pictures are made 24-bit
}

TEST(LoadPicture, PreparationRunsTheEffectsInOrder) {
    FSpec fileSpec = SpecFor(PicturePath("bmp24_im.bmp"));
    auto prepared = [&](auto configure) {
        auto doc = NewDoc();
        configure(*doc);
        doc->LoadPicture(&fileSpec, 0, 0);
        EXPECT_EQ(doc->picLoadStatus, 1);
        return doc;
    };
    // Each option gives what the effect itself gives on the loaded picture.
    auto expected = [&](auto apply) {
        auto dib = std::make_unique<CDIB>(8, 8, 24);
        Loaded("bmp24_im.bmp", *dib);
        apply(*dib);
        return dib;
    };

    auto plain = prepared([](CDoc&) {});
    auto file = expected([](CDIB&) {});
    EXPECT_TRUE(SameRows(*plain, *file));  // neutral contrast "22", no blur, no tint

    auto blurred = prepared([](CDoc& d) { d.preBlur = 1; });
    EXPECT_TRUE(SameRows(*blurred, *expected([](CDIB& d) { d.Blur(0); })));
    EXPECT_FALSE(SameRows(*blurred, *file));

    auto tinted = prepared([](CDoc& d) {
        d.matteBorder = -1;
        d.matteColor = 0x00FF8000;
    });
    EXPECT_EQ(tinted->GetWid(), kW);  // a negative level makes no border
    EXPECT_TRUE(SameRows(*tinted, *expected([](CDIB& d) { d.Tint(0x00FF8000); })));
    EXPECT_FALSE(SameRows(*tinted, *file));

    auto contrasted = prepared([](CDoc& d) {
        d.contrastCode[0] = 80;
        d.contrastCode[1] = 40;
        d.videoColors = 1;
    });
    EXPECT_TRUE(SameRows(*contrasted, *expected([](CDIB& d) {
        d.Contrast(80, 40);
        d.VideoColors();
    })));
    EXPECT_FALSE(SameRows(*contrasted, *expected([](CDIB& d) { d.Contrast(80, 40); })));

    // Digits 1 to 3 in both bytes are neutral.
    auto nearNeutral = prepared([](CDoc& d) {
        d.contrastCode[0] = '3';
        d.contrastCode[1] = '1';
    });
    EXPECT_TRUE(SameRows(*nearNeutral, *file));
}

TEST(LoadPicture, MissingPicturesAndTheAlternativeFolder) {
    const std::string gone = "/nonexistent_gs_folder/bmp24_im.bmp";
    FSpec fileSpec = SpecFor(gone);
    {
        MessageRecorder recorder;
        auto doc = NewDoc();
        doc->LoadPicture(&fileSpec, 0, 0);
        EXPECT_EQ(doc->picLoadStatus, 0);
        EXPECT_EQ(doc->GetWid(), 8);  // the buffer keeps what it had
        EXPECT_EQ(doc->pictureCount, 0);
        EXPECT_EQ(recorder.messages, std::vector<std::string>{"Can't open graphics file"});
    }
    {
        MessageRecorder recorder;
        auto doc = NewDoc();
        doc->showPicError = 0;  // quietly the placeholder
        doc->LoadPicture(&fileSpec, 0, 0);
        EXPECT_EQ(doc->picLoadStatus, 2);
        EXPECT_EQ(doc->pictureCount, 1);
        EXPECT_GT(doc->GetWid(), 8);
        EXPECT_TRUE(recorder.messages.empty());
    }
    {
        auto doc = NewDoc();
        std::snprintf(doc->altImageFolder, sizeof doc->altImageFolder, "%s/", GeneratedPictures().path.c_str());
        doc->LoadPicture(&fileSpec, 0, 0);
        EXPECT_EQ(doc->picLoadStatus, 1);
        EXPECT_EQ(doc->GetWid(), kW);
    }
    {
        auto doc = NewDoc();
        FSpec tooShort = SpecFor("");
        std::strcpy(tooShort.name, "ab");
        doc->LoadPicture(&tooShort, 0, 0);
        EXPECT_EQ(doc->picLoadStatus, 1);  // not even tried
    }
}

TEST(PictureBuffer, PrefetchReuseAndRotationFlag) {
    TestFolder folder("gs_picbuffer");
    const std::string second = folder / "second.bmp";
    std::filesystem::copy_file(PicturePath("bmp24_pil.bmp"), second);
    auto doc = NewDoc();
    doc->matteBorder = 20;  // 3 pixels a side on a 37-pixel picture
    doc->pictureCount = 2;
    doc->pictureFile[0] = SpecFor(PicturePath("tga_topleft_pil.tga"));
    doc->pictureFile[1] = SpecFor(second);
    doc->loadedPicture = -1;

    EXPECT_EQ(doc->LoadPictureBuffer(0, false), 1);
    EXPECT_EQ(doc->loadedPicture, 0);
    EXPECT_EQ(doc->prefetchedPicture, 1);
    EXPECT_EQ(doc->pictureBusy.load(), 0);
    EXPECT_EQ(doc->GetWid(), kW + 6);
    EXPECT_EQ(doc->nextPicture.GetWid(), kW + 6);
    EXPECT_EQ(doc->useRotation, 0);

    // The second picture comes from the second buffer, not from its file.
    std::filesystem::remove(second);
    doc->keys[1][0].rotation3 = 5.0f;  // only picture 0's keys count for rotation
    doc->keys[0][1].rotation3 = 5.0f;
    doc->keyCount[0] = 2;
    EXPECT_EQ(doc->LoadPictureBuffer(1, false), 1);
    EXPECT_EQ(doc->loadedPicture, 1);
    CDIB expected(8, 8, 24);
    ASSERT_EQ(LoadCode(PicturePath("bmp24_pil.bmp"), expected), 0);
    EXPECT_EQ(PixelAt(*doc, 3, 3).r, PixelAt(expected, 0, 0).r);
    EXPECT_EQ(PixelAt(*doc, 10, 10).b, PixelAt(expected, 7, 7).b);

    // The picture already in the buffer loads nothing.
    std::memset(doc->bits, 0x5A, doc->GetRowBytes() * doc->GetHgt());
    EXPECT_EQ(doc->LoadPictureBuffer(1, true), 1);
    EXPECT_EQ(doc->bits[0], 0x5A);

    // A failed load is reported to the caller and keeps the buffer.
    doc->prefetchedPicture = -1;
    doc->showPicError = 1;
    MessageRecorder recorder;
    EXPECT_EQ(doc->LoadPictureBuffer(0, true), 1);
    EXPECT_EQ(doc->LoadPictureBuffer(1, true), 0);
    EXPECT_EQ(doc->loadedPicture, 1);
    EXPECT_EQ(doc->LoadPictureBuffer(5, true), 0);
    doc->alwaysUseRotation = 1;
    doc->LoadPictureBuffer(1, true);
    EXPECT_EQ(doc->useRotation, 1);
}

TEST(PictureSlots, CopyExchangeAndDelete) {
    auto doc = NewDoc();
    doc->pictureCount = 2;
    doc->keyCount[0] = 3;
    doc->keys[0][0].picStart = 40.0f;
    doc->keys[0][1].horizontalPos = 1.0f;
    doc->keyCount[1] = 2;
    doc->keys[1][1].horizontalPos = 2.0f;
    doc->pictureFile[0] = SpecFor("/pics/zero.bmp");
    doc->pictureFile[1] = SpecFor("/pics/one.bmp");
    doc->loadedPicture = 0;
    doc->prefetchedPicture = 1;

    doc->CopyPic(2, 0);  // out of range: nothing
    doc->CopyPic(0, -1);
    EXPECT_EQ(doc->keyCount[0], 3);

    // Exchanging through slot 1 with two slots: both become the former slot 0.
    doc->FlopPic(0, 1);
    EXPECT_EQ(doc->keyCount[1], 3);
    EXPECT_EQ(doc->keys[1][1].horizontalPos, 1.0f);
    EXPECT_EQ(doc->keys[0][1].horizontalPos, 1.0f);
    EXPECT_STREQ(doc->pictureFile[1].name, "/pics/zero.bmp");
    EXPECT_EQ(doc->keys[0][0].picStart, 40.0f);
    EXPECT_EQ(doc->loadedPicture, -1);
    EXPECT_EQ(doc->prefetchedPicture, -1);

    // Deleting picture 0 of two moves slot 1 down and keeps the start.
    doc->keyCount[1] = 2;
    doc->keys[1][0].picStart = 99.0f;
    doc->keys[1][1].horizontalPos = 2.0f;
    doc->pictureFile[1] = SpecFor("/pics/one.bmp");
    doc->loadedPicture = 0;
    EXPECT_EQ(doc->DeletePic(1), 0);
    EXPECT_EQ(doc->DeletePic(0), 1);
    EXPECT_EQ(doc->pictureCount, 1);
    EXPECT_EQ(doc->keyCount[0], 2);
    EXPECT_EQ(doc->keys[0][1].horizontalPos, 2.0f);
    EXPECT_EQ(doc->keys[0][0].picStart, 40.0f);
    EXPECT_STREQ(doc->pictureFile[0].name, "/pics/one.bmp");
    EXPECT_EQ(doc->loadedPicture, -1);

    // Deleting the only picture clears the show.
    EXPECT_EQ(doc->DeletePic(0), 1);
    EXPECT_EQ(doc->pictureCount, 0);
    EXPECT_EQ(doc->keyCount[0], 1);
    EXPECT_EQ(doc->keys[0][0].horizontalPos, 200.0f);
    EXPECT_EQ(doc->GetWid(), 8);
}

TEST(PictureJob, RunsToCompletionAndFreesItself) {
    std::atomic<int32_t> busy{0};
    int result = -1;
    CDIB target(0, 0, 24);
    FSpec fileSpec = SpecFor(PicturePath("psd_rgba_rle_im.psd"));
    FSpec folder;
    FolderSpec(folder, "");
    lbThreadFunc(new PictureJob{&target, &fileSpec, &busy, 0x00FF00, 100, 32, &folder, 0, &result});
    EXPECT_EQ(result, 1);
    EXPECT_EQ(busy.load(), 0);
    // Level 100: half the width on every side, in the matte colour.
    EXPECT_EQ(target.GetWid(), kW + 2 * 18);
    EXPECT_EQ(target.GetHgt(), kH + 2 * 18);
    EXPECT_EQ(target.GetBitCount(), 32);
    EXPECT_EQ(PixelAt(target, 0, 0).g, 255);
}

}  // namespace
