// SPDX-License-Identifier: GPL-2.0-or-later
// Reading show files outside the document: both byte orders, damaged files,
// and what `info` makes of them.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "app/ShowBlock.h"
#include "app/ShowInfo.h"
#include "doc/CDoc.h"
#include "motion/Interp.h"
#include "motion/Timecode.h"
#include "platform/Files.h"
#include "tests/cli/CliTestUtil.h"

using namespace gs;

namespace {

// A show of three keys over /tmp/pic.tga, saved by the document.
std::vector<char> SavedShow(CDoc& doc) {
    gFrameRate = 2500;
    doc.ClearShow();
    MakePathSpec(doc.pictureFile[0], "/tmp/gs-no-such-picture.tga");
    doc.pictureCount = 1;
    const float xs[] = {100, 150, 120};
    for (int i = 0; i < 3; i++) {
        KeyStruct k;
        KeyIdentity(k);
        k.horizontalPos = xs[i];
        k.verticalPos = 80;
        k.width = 200 - 30 * i;
        k.rotation3 = i == 1 ? 12.5f : 0;
        k.easeCode = i == 1 ? 2051.0f : 0.0f;
        k.time = 20 * i;
        doc.keys[0][i] = k;
    }
    doc.keyCount[0] = 3;
    doc.showLength = 60;
    doc.matteColor = 0x00332211;
    doc.matteBorder = 10;
    const long size = doc.SaveShow(nullptr, nullptr);
    std::vector<char> block(static_cast<size_t>(size));
    doc.SaveShow(nullptr, block.data(), size);
    return block;
}

void Swap(std::vector<char>& b, size_t at, int bytes) { std::reverse(b.begin() + at, b.begin() + at + bytes); }

// The same show as a machine of the other byte order writes it: every number
// reversed, the stored file reference and the contrast bytes as they are.
std::vector<char> OtherByteOrder(std::vector<char> b) {
    uint32_t size;
    std::memcpy(&size, b.data() + 4, 4);
    Swap(b, 0, 2);
    Swap(b, 2, 2);
    Swap(b, 4, 4);
    size_t at = 8;
    const size_t end = size - 20;
    while (at + 266 <= end) {
        int32_t count;
        std::memcpy(&count, b.data() + at + 262, 4);
        Swap(b, at + 262, 4);
        size_t key = at + 266;
        for (int k = 0; k < count; k++, key += 56) {
            for (int w = 0; w < 13; w++) Swap(b, key + 4 * w, 4);
            Swap(b, key + 52, 2);
            Swap(b, key + 54, 2);
        }
        at = key;
    }
    Swap(b, end, 4);
    Swap(b, end + 4, 4);
    Swap(b, end + 8, 4);
    Swap(b, end + 12, 2);
    return b;
}

}  // namespace

TEST(ShowBlock, ReadsWhatTheDocumentSavesInEitherByteOrder) {
    CDoc doc;
    const std::vector<char> block = SavedShow(doc);
    ShowBlock mine, other;
    std::string error;
    ASSERT_TRUE(ParseShowBlock(block, "a.gsx", mine, error)) << error;
    ASSERT_TRUE(ParseShowBlock(OtherByteOrder(block), "b.gsx", other, error)) << error;

    EXPECT_EQ(mine.bigEndian, std::endian::native == std::endian::big);
    EXPECT_NE(mine.bigEndian, other.bigEndian);
    for (const ShowBlock* s : {&mine, &other}) {
        EXPECT_EQ(s->serial, doc.showSerial);
        EXPECT_EQ(s->size, block.size());
        EXPECT_FLOAT_EQ(s->versionStamp, 110.0f);
        EXPECT_EQ(s->SavedLength(), 60);
        ASSERT_EQ(s->pictures.size(), 1u);
        const ShowPicture& p = s->pictures[0];
        EXPECT_EQ(p.path, "/tmp/gs-no-such-picture.tga");
        EXPECT_FALSE(p.found);
        ASSERT_EQ(p.keys.size(), 3u);
        EXPECT_FLOAT_EQ(p.keys[1].horizontalPos, 150.0f);
        EXPECT_FLOAT_EQ(p.keys[1].rotation3, 12.5f);
        EXPECT_EQ(p.keys[2].time, 40);
        // Keys that follow the default are stored with its explicit code.
        EXPECT_FLOAT_EQ(p.keys[0].easeCode, 1000.0f);
        EXPECT_FLOAT_EQ(p.keys[1].easeCode, 2051.0f);
        EXPECT_TRUE(s->trailer.read);
        EXPECT_EQ(s->trailer.matteColor, 0x00332211);
        EXPECT_EQ(s->trailer.matteBorder, 10);
        EXPECT_STREQ(s->trailer.contrast, "22");
    }
}

TEST(ShowBlock, RefusesWhatIsNoShowOrIsDamaged) {
    CDoc doc;
    const std::vector<char> good = SavedShow(doc);
    ShowBlock s;
    std::string error;

    const std::string text = "just some text, long enough to look like anything at all";
    EXPECT_FALSE(ParseShowBlock(std::vector<char>(text.begin(), text.end()), "x.txt", s, error));
    EXPECT_EQ(error, "x.txt is not a Glimmerstroll show (.gsx)");

    std::vector<char> cut(good.begin(), good.end() - 30);
    EXPECT_FALSE(ParseShowBlock(cut, "cut.gsx", s, error));
    EXPECT_NE(error.find("truncated"), std::string::npos);

    // A record holds at most the 64 key slots of a picture.
    std::vector<char> tooMany = good;
    const int32_t keys = 65;
    std::memcpy(tooMany.data() + 8 + 262, &keys, 4);
    EXPECT_FALSE(ParseShowBlock(tooMany, "k.gsx", s, error));
    EXPECT_NE(error.find("65 keys"), std::string::npos);

    std::vector<char> negative = good;
    const int32_t minus = -1;
    std::memcpy(negative.data() + 8 + 262, &minus, 4);
    EXPECT_FALSE(ParseShowBlock(negative, "n.gsx", s, error));

    std::vector<char> stray = good;
    const uint32_t longer = static_cast<uint32_t>(good.size() + 3);
    std::memcpy(stray.data() + 4, &longer, 4);
    stray.insert(stray.end(), 3, 0);
    EXPECT_FALSE(ParseShowBlock(stray, "s.gsx", s, error));

    // An empty show (no pictures) is a show.
    doc.ClearShow();
    const long size = doc.SaveShow(nullptr, nullptr);
    std::vector<char> empty(static_cast<size_t>(size));
    doc.SaveShow(nullptr, empty.data(), size);
    EXPECT_TRUE(ParseShowBlock(empty, "e.gsx", s, error)) << error;
    EXPECT_TRUE(s.pictures.empty());
}

TEST(ShowInfo, EaseCodesAreTakenApart) {
    const EaseInfo byDefault = DecodeEase(0.0f);
    EXPECT_TRUE(byDefault.isDefault);
    const EaseInfo slowIn = DecodeEase(2050.0f);
    EXPECT_FALSE(slowIn.isDefault);
    EXPECT_EQ(slowIn.type, 1);
    EXPECT_DOUBLE_EQ(slowIn.amount, 0.5);
    EXPECT_FALSE(slowIn.straight);
    const EaseInfo straight = DecodeEase(4001.0f);
    EXPECT_EQ(straight.type, 3);
    EXPECT_TRUE(straight.straight);
    EXPECT_STREQ(EaseTypeName(3), "no slows");
    // Past an int's range (checked by the sanitizer builds): the largest code.
    for (const float huge : {3e9f, 1e38f, INFINITY}) EXPECT_STREQ(EaseTypeName(DecodeEase(huge).type), "unknown");
}

TEST(ShowInfo, TimecodesFollowTheGivenRate) {
    CDoc doc;
    ShowBlock s;
    std::string error;
    ASSERT_TRUE(ParseShowBlock(SavedShow(doc), "a.gsx", s, error));
    // Key 2 lies at frame 40: 1 s 15 f at 25 fps, 1 s 10 f at 30.
    const std::string at25 = ShowInfoText(s, "a.gsx", 2500);
    const std::string at2997 = ShowInfoJson(s, "a.gsx", 2997);
    EXPECT_NE(at25.find("00:00:01:15"), std::string::npos) << at25;
    EXPECT_NE(at25.find("MISSING"), std::string::npos);
    EXPECT_NE(at2997.find("\"timecode\": \"00:00:01:10\""), std::string::npos) << at2997;
    EXPECT_NE(at2997.find("\"frameRate\": 29.97"), std::string::npos);
}
