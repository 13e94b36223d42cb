// SPDX-License-Identifier: GPL-2.0-or-later
// The show block: its bytes as written here, reading in either byte order,
// default ease codes, older version stamps, rescaling and cutting on loading,
// and the refusal of damaged blocks.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "show/ShowTestUtil.h"

namespace {

template <typename T>
T At(const std::vector<char>& block, long offset) {
    T value;
    std::memcpy(&value, block.data() + offset, sizeof value);
    return value;
}

template <typename T>
void PutAt(std::vector<char>& block, long offset, T value) {
    std::memcpy(block.data() + offset, &value, sizeof value);
}

class ShowFile : public ::testing::Test {
protected:
    void SetUp() override {
        picture = folder / "picture.tga";
        ASSERT_TRUE(WriteTestPicture(picture, 40, 30));
    }

    // A document holding a three-key show on the test picture.
    std::unique_ptr<CDoc> ShowDoc(const char* settings = "") {
        auto doc = DocWithSettings(settings);
        const KeyStruct keys[] = {CameraKey(0, 20, 15, 30), CameraKey(40, 10, 12, 20),
                                  CameraKey(90, 25, 18, 10)};
        SetShow(*doc, picture, keys);
        doc->keys[0][1].easeCode = 3050.0f;  // an explicit ease of its own
        doc->keys[0][2].rotation3 = 12.5f;
        doc->matteColor = 0x00102030;
        doc->matteBorder = 7;
        doc->preBlur = 3;
        doc->contrastCode[0] = '1';
        doc->contrastCode[1] = '9';
        return doc;
    }

    static void ExpectSameShow(CDoc& a, CDoc& b) {
        ASSERT_EQ(a.keyCount[0], b.keyCount[0]);
        EXPECT_EQ(0, std::memcmp(a.keys[0], b.keys[0], sizeof(KeyStruct) * a.keyCount[0]));
        EXPECT_EQ(0, std::memcmp(&a.pictureFile[0], &b.pictureFile[0], sizeof(FSpec)));
        EXPECT_EQ(a.matteColor, b.matteColor);
        EXPECT_EQ(a.matteBorder, b.matteBorder);
        EXPECT_EQ(a.preBlur, b.preBlur);
        EXPECT_EQ(a.contrastCode[0], b.contrastCode[0]);
        EXPECT_EQ(a.contrastCode[1], b.contrastCode[1]);
        EXPECT_EQ(a.showSerial, b.showSerial);
        EXPECT_EQ(a.pictureCount, b.pictureCount);
    }

    ScratchFolder folder;
    std::string picture;
};

TEST_F(ShowFile, WritesTheBlockInThisMachinesOrder) {
    auto doc = ShowDoc();
    const long size = doc->SaveShow(nullptr, nullptr);
    EXPECT_EQ(28 + 266 + 56 * 3, size);
    EXPECT_EQ(110.0f, doc->keys[0][0].formatVersion);

    std::vector<char> block(static_cast<size_t>(size) + 8, static_cast<char>(0xEE));
    ASSERT_EQ(size, doc->SaveShow(nullptr, block.data()));

    EXPECT_EQ(0x34, static_cast<uint8_t>(block[0]));  // little-endian magic
    EXPECT_EQ(0x12, static_cast<uint8_t>(block[1]));
    EXPECT_EQ(doc->showSerial, At<uint16_t>(block, 2));
    EXPECT_EQ(static_cast<uint32_t>(size), At<uint32_t>(block, 4));
    EXPECT_EQ(0, std::memcmp(block.data() + 8, &doc->pictureFile[0], 262));
    EXPECT_EQ(3, At<int32_t>(block, 270));
    EXPECT_EQ(0, doc->modified);

    // Key 0 carries the stamp and the show length; the default ease of keys 0
    // and 2 goes out explicit, in the written copy only.
    const KeyStruct key0 = At<KeyStruct>(block, 274);
    EXPECT_EQ(110.0f, key0.formatVersion);
    EXPECT_EQ(1800.0f, key0.showLengthCopy);
    EXPECT_EQ(1000.0f, key0.easeCode);
    EXPECT_EQ(0.0f, doc->keys[0][0].easeCode);
    EXPECT_EQ(3050.0f, At<KeyStruct>(block, 274 + 56).easeCode);
    EXPECT_EQ(12.5f, At<KeyStruct>(block, 274 + 112).rotation3);

    const long trailer = size - 20;
    EXPECT_EQ(0x00102030, At<int32_t>(block, trailer));
    EXPECT_EQ(7, At<int32_t>(block, trailer + 4));
    EXPECT_EQ(3, At<int32_t>(block, trailer + 8));
    EXPECT_EQ(1, At<int16_t>(block, trailer + 12));
    EXPECT_EQ('1', block[trailer + 14]);
    EXPECT_EQ('9', block[trailer + 15]);
    for (long i = trailer + 16; i < size + 8; i++) EXPECT_EQ(static_cast<char>(0xEE), block[i]);

    // A show that does not fit the caller's buffer is not written.
    std::vector<char> small(100, 0x55);
    EXPECT_EQ(0, doc->SaveShow(nullptr, small.data(), static_cast<long>(small.size())));
    for (char c : small) EXPECT_EQ(0x55, c);
}

TEST_F(ShowFile, SingleKeyPicturesGetASecondKey) {
    auto doc = DocWithSettings("FrameRate=2997\r\n");
    const KeyStruct keys[] = {CameraKey(0, 20, 15, 30)};
    SetShow(*doc, picture, keys);
    // Sizing alone already adds the key, one second (30 frames) later.
    EXPECT_EQ(28 + 266 + 112, doc->SaveShow(nullptr, nullptr));
    ASSERT_EQ(2, doc->keyCount[0]);
    EXPECT_EQ(30, doc->keys[0][1].time);
    EXPECT_EQ(20.0f, doc->keys[0][1].horizontalPos);

    // A show without pictures is the bare header and trailer.
    auto empty = DocWithSettings();
    EXPECT_EQ(28, empty->SaveShow(nullptr, nullptr));
    EXPECT_EQ(1, empty->keyCount[0]);
}

TEST_F(ShowFile, BlocksOfEitherByteOrderLoadTheSame) {
    auto writer = ShowDoc();
    const std::vector<char> block = SaveBlock(*writer);
    const std::vector<char> twin = SwappedTwin(block);
    EXPECT_EQ(0x12, static_cast<uint8_t>(twin[0]));
    EXPECT_EQ(0x34, static_cast<uint8_t>(twin[1]));

    auto native = DocWithSettings();
    auto swapped = DocWithSettings();
    std::vector<char> a = block, b = twin;
    ASSERT_EQ(1, native->LoadShow(nullptr, a.data(), false, static_cast<long>(a.size())));
    ASSERT_EQ(1, swapped->LoadShow(nullptr, b.data(), false, static_cast<long>(b.size())));
    ExpectSameShow(*native, *swapped);

    // And both are the show that was written.
    EXPECT_EQ(writer->showSerial, native->showSerial);
    EXPECT_EQ(0, std::memcmp(writer->keys[0], native->keys[0], sizeof(KeyStruct) * 3));
    EXPECT_EQ(1, native->pictureCount);
    EXPECT_EQ(40 + 2 * 1, native->GetWid());  // the picture, with the trailer's matte border
    // The contrast code is two characters, the same bytes in either order: the
    // twins prepare the picture with the same contrast.
    EXPECT_EQ('1', swapped->contrastCode[0]);
    EXPECT_EQ('9', swapped->contrastCode[1]);
    ASSERT_EQ(native->GetHgt(), swapped->GetHgt());
    for (int row = 0; row < native->GetHgt(); row++)
        ASSERT_EQ(0, std::memcmp(native->GetBitsAdd(row), swapped->GetBitsAdd(row), native->GetRowBytes())) << row;
    EXPECT_EQ(1, swapped->useRotation);  // key 2 rolls
    EXPECT_EQ(-1, swapped->undoHead);
    EXPECT_EQ(0, swapped->modified);
}

TEST_F(ShowFile, DefaultEaseCodesSurviveARoundTrip) {
    struct Case {
        const char* writerSettings;
        float written;
    } cases[] = {{"EaseType=0\r\n", 1000.0f}, {"EaseType=1\r\n", 2000.0f}, {"EaseType=16\r\n", 1001.0f}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.writerSettings);
        auto writer = ShowDoc(c.writerSettings);
        std::vector<char> block = SaveBlock(*writer);
        EXPECT_EQ(c.written, At<KeyStruct>(block, 274).easeCode);

        // The same default turns the code back into "default"; another keeps it.
        auto same = DocWithSettings(c.writerSettings);
        ASSERT_EQ(1, same->LoadShow(nullptr, block.data(), false));
        EXPECT_EQ(0.0f, same->keys[0][0].easeCode);
        EXPECT_EQ(3050.0f, same->keys[0][1].easeCode);

        auto other = DocWithSettings("EaseType=2\r\n");
        ASSERT_EQ(1, other->LoadShow(nullptr, block.data(), false));
        EXPECT_EQ(c.written, other->keys[0][0].easeCode);
        EXPECT_EQ(3050.0f, other->keys[0][1].easeCode);
    }
}

TEST_F(ShowFile, VersionStampDecidesWhatTheTrailerGives) {
    auto writer = ShowDoc();
    const std::vector<char> block = SaveBlock(*writer);

    struct Case {
        float stamp;
        bool trailer;
        bool contrast;
    } cases[] = {{110.0f, true, true}, {100.0f, true, false}, {90.0f, false, false}, {0.0f, false, false}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stamp);
        std::vector<char> b = block;
        KeyStruct key0 = At<KeyStruct>(b, 274);
        key0.formatVersion = c.stamp;
        PutAt(b, 274, key0);
        auto doc = DocWithSettings("MatteColor=5\r\n");
        doc->matteBorder = 40;
        doc->preBlur = 9;
        doc->contrastCode[0] = 'x';
        ASSERT_EQ(1, doc->LoadShow(nullptr, b.data(), false));
        EXPECT_EQ(c.trailer ? 0x00102030 : 5, doc->matteColor);
        EXPECT_EQ(c.trailer ? 7 : 0, doc->matteBorder);  // reset before reading
        EXPECT_EQ(c.trailer ? 3 : 0, doc->preBlur);
        EXPECT_EQ(c.contrast ? '1' : '2', doc->contrastCode[0]);
        EXPECT_EQ(c.contrast ? '9' : '2', doc->contrastCode[1]);
    }

    // Border levels outside -1..100 are clamped.
    std::vector<char> b = block;
    PutAt<int32_t>(b, static_cast<long>(b.size()) - 16, 250);
    auto doc = DocWithSettings();
    ASSERT_EQ(1, doc->LoadShow(nullptr, b.data(), false));
    EXPECT_EQ(100, doc->matteBorder);
}

TEST_F(ShowFile, BlocksWithoutPictures) {
    // 28 bytes: no picture; the trailer is read at offset 8 when the
    // document's own key 0 carries a stamp that allows it.
    auto writer = DocWithSettings();
    writer->matteColor = 0x00AABBCC;
    writer->matteBorder = 12;
    const std::vector<char> block = SaveBlock(*writer);
    ASSERT_EQ(28u, block.size());

    auto fresh = DocWithSettings();
    std::vector<char> b = block;
    ASSERT_EQ(1, fresh->LoadShow(nullptr, b.data(), false, 28));
    EXPECT_EQ(0, fresh->matteColor);
    EXPECT_EQ(0, fresh->matteBorder);
    EXPECT_EQ(1, fresh->keyCount[0]);
    EXPECT_EQ(0, fresh->pictureCount);
    EXPECT_EQ(writer->showSerial, fresh->showSerial);

    auto stamped = DocWithSettings();
    stamped->SaveShow(nullptr, nullptr);  // stamps its own key 0
    ASSERT_EQ(1, stamped->LoadShow(nullptr, b.data(), false, 28));
    EXPECT_EQ(0x00AABBCC, stamped->matteColor);
    EXPECT_EQ(12, stamped->matteBorder);

    // Only the extra file reference: its record has no keys and the trailer
    // follows it directly.
    auto extra = DocWithSettings();
    MakePathSpec(extra->extraFile, (folder / "extra.dat").c_str());
    extra->preBlur = 4;
    std::vector<char> withExtra = SaveBlock(*extra);
    ASSERT_EQ(28u + 266u, withExtra.size());
    EXPECT_EQ(0, At<int32_t>(withExtra, 270));
    auto reader = DocWithSettings();
    reader->keys[0][0].formatVersion = 110.0f;
    MakePathSpec(reader->pictureFile[0], picture.c_str());
    ASSERT_EQ(1, reader->LoadShow(nullptr, withExtra.data(), false));
    EXPECT_EQ(0, std::memcmp(&reader->extraFile, &extra->extraFile, sizeof(FSpec)));
    EXPECT_TRUE(IsEmptySpec(reader->pictureFile[0]));
    EXPECT_EQ(4, reader->preBlur);
}

TEST_F(ShowFile, LongShowsAreRescaledOrCut) {
    auto writer = ShowDoc();
    writer->showLength = 300;
    const KeyStruct keys[] = {CameraKey(0, 20, 15, 30), CameraKey(60, 10, 12, 20),
                              CameraKey(150, 25, 18, 10)};
    SetShow(*writer, picture, keys);
    std::vector<char> block = SaveBlock(*writer);

    // Without rescaling the show is cut at the reader's length: the camera
    // ends where it was at frame 100.
    auto cut = DocWithSettings();
    cut->showLength = 100;
    KeyStruct expected;
    {
        auto probe = DocWithSettings();
        SetShow(*probe, picture, keys);
        probe->QueueKey(&expected, 0, 100, 0);
    }
    ASSERT_EQ(1, cut->LoadShow(nullptr, block.data(), false));
    ASSERT_EQ(3, cut->keyCount[0]);
    EXPECT_EQ(100, cut->keys[0][2].time);
    EXPECT_FLOAT_EQ(expected.horizontalPos, cut->keys[0][2].horizontalPos);
    EXPECT_FLOAT_EQ(expected.width, cut->keys[0][2].width);

    // With "RescaleShow" the key times follow the new length: x 100/300.
    auto scaled = DocWithSettings("RescaleShow=1\r\n");
    scaled->showLength = 100;
    ASSERT_EQ(1, scaled->LoadShow(nullptr, block.data(), false));
    ASSERT_EQ(3, scaled->keyCount[0]);
    EXPECT_EQ(0, scaled->keys[0][0].time);
    EXPECT_EQ(20, scaled->keys[0][1].time);
    EXPECT_EQ(50, scaled->keys[0][2].time);
    EXPECT_EQ(100.0f, scaled->keys[0][0].showLengthCopy);

    // Lengths within one frame of each other change nothing.
    auto near = DocWithSettings("RescaleShow=1\r\n");
    near->showLength = 301;
    ASSERT_EQ(1, near->LoadShow(nullptr, block.data(), false));
    EXPECT_EQ(150, near->keys[0][2].time);
}

TEST_F(ShowFile, SisterProductCarriesTheAspectRatio) {
    auto writer = ShowDoc();
    writer->tessmarine = 1;
    writer->aspect = 0.5625f;
    std::vector<char> block = SaveBlock(*writer);
    EXPECT_EQ(0.5625f, At<KeyStruct>(block, 274).showLengthCopy);

    auto reader = DocWithSettings();
    reader->tessmarine = 1;
    ASSERT_EQ(1, reader->LoadShow(nullptr, block.data(), false));
    EXPECT_EQ(0.5625f, reader->aspect);
    EXPECT_EQ(5625, GetIniItem("AspectMode", 0));

    // Elsewhere the word is a show length and the aspect stays.
    auto plain = DocWithSettings();
    ASSERT_EQ(1, plain->LoadShow(nullptr, block.data(), false));
    EXPECT_EQ(0.75f, plain->aspect);
}

TEST_F(ShowFile, DamagedBlocksAreRefusedAndChangeNothing) {
    auto writer = ShowDoc();
    const std::vector<char> block = SaveBlock(*writer);

    auto doc = DocWithSettings();
    const KeyStruct keys[] = {CameraKey(0, 1, 2, 3), CameraKey(5, 4, 5, 6)};
    SetShow(*doc, picture, keys);
    doc->matteBorder = 33;
    doc->showSerial = 77;
    std::vector<char> before(sizeof(CDoc::keys) + sizeof(CDoc::keyCount));
    auto snapshot = [&] {
        std::vector<char> s(before.size());
        std::memcpy(s.data(), doc->keys, sizeof(CDoc::keys));
        std::memcpy(s.data() + sizeof(CDoc::keys), doc->keyCount, sizeof(CDoc::keyCount));
        return s;
    };
    before = snapshot();

    auto refused = [&](std::vector<char> b, long available) {
        EXPECT_EQ(0, doc->LoadShow(nullptr, b.data(), false, available));
        EXPECT_EQ(before, snapshot());
        EXPECT_EQ(33, doc->matteBorder);
        EXPECT_EQ(77, doc->showSerial);
    };
    const long size = static_cast<long>(block.size());

    EXPECT_EQ(0, doc->LoadShow(nullptr, nullptr, false));
    {
        SCOPED_TRACE("unknown magic");
        std::vector<char> b = block;
        b[0] = 0x35;
        refused(b, size);
    }
    for (int32_t count : {64, 1000, -1, 0x7FFFFFFF}) {
        SCOPED_TRACE(count);
        std::vector<char> b = block;
        PutAt<int32_t>(b, 270, count);
        refused(b, size);
    }
    {
        SCOPED_TRACE("more bytes stated than given");
        refused(std::vector<char>(block.begin(), block.end() - 1), size - 1);
        refused(block, 7);
    }
    {
        SCOPED_TRACE("keys past the stated size");
        std::vector<char> b = block;
        PutAt<uint32_t>(b, 4, 274 + 56 * 2);
        refused(b, size);
    }
    {
        SCOPED_TRACE("stated size below the header");
        std::vector<char> b = block;
        PutAt<uint32_t>(b, 4, 4);
        refused(b, size);
    }
    {
        SCOPED_TRACE("a picture start that is no frame number");
        std::vector<char> b = block;
        KeyStruct key0 = At<KeyStruct>(b, 274);
        key0.picStart = NAN;
        PutAt(b, 274, key0);
        refused(b, size);
        key0.picStart = 3e9f;
        PutAt(b, 274, key0);
        refused(b, size);
    }
    {
        SCOPED_TRACE("the other byte order is checked the same way");
        std::vector<char> b = SwappedTwin(block);
        int32_t count = 64;
        FlopEndian(&count, 4);
        PutAt<int32_t>(b, 270, count);
        refused(b, size);
    }
    // The sound block still loads afterwards.
    std::vector<char> b = block;
    EXPECT_EQ(1, doc->LoadShow(nullptr, b.data(), false, size));
    EXPECT_EQ(3, doc->keyCount[0]);
}

}  // namespace
