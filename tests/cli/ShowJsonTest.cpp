// SPDX-License-Identifier: GPL-2.0-or-later
// Shows as JSON: every block goes to JSON and back to the same bytes, and bad
// JSON is refused with the field it is about.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include <nlohmann/json.hpp>

#include "app/Demo.h"
#include "doc/CDoc.h"
#include "doc/ShowCodec.h"
#include "doc/ShowJson.h"
#include "motion/Interp.h"
#include "motion/Timecode.h"
#include "tests/common/TestDoc.h"

using namespace gs;

namespace {

std::vector<char> Saved(CDoc& doc) {
    std::vector<char> block(static_cast<size_t>(doc.SaveShow(nullptr, nullptr)));
    doc.SaveShow(nullptr, block.data(), static_cast<long>(block.size()));
    return block;
}

// Shows the program makes: the demo, a rolled show with an extra reference,
// a full list of keys, an empty show.
std::vector<std::vector<char>> ProgramShows() {
    std::vector<std::vector<char>> out;
    auto doc = DocWithSettings();
    gs::BuildDemoShow(*doc, "/tmp/demo-picture.tga", 2500);
    out.push_back(Saved(*doc));

    doc->ClearShow();
    MakePathSpec(doc->pictureFile[0], "/tmp/caf\xC3\xA9 picture.jpg");
    doc->pictureCount = 1;
    MakePathSpec(doc->extraFile, "/tmp/extra.dat");
    doc->keys[0][0].rotation3 = -12.25f;
    doc->keys[0][0].easeCode = 2051.0f;
    doc->matteColor = 0x00123456;
    doc->matteBorder = -1;
    doc->contrastCode[0] = '4';
    doc->contrastCode[1] = '7';
    doc->showLength = 0;  // no saved length
    out.push_back(Saved(*doc));

    for (int k = 1; k < kAddKeyLimit; k++) doc->keys[0][k] = CameraKey(k * 3, 0.1f * k, 7.0f / k, 100.0f + k);
    doc->keyCount[0] = kAddKeyLimit;
    doc->showLength = 400;
    out.push_back(Saved(*doc));

    doc->ClearShow();
    out.push_back(Saved(*doc));
    return out;
}

// Blocks only a hand (or an older program) makes: old version stamps, 64
// keys, values JSON has no number for, a name that is not UTF-8, a reference
// with bytes after its name, several pictures, odd trailer bytes.
std::vector<ShowDescription> HandMadeShows() {
    std::vector<ShowDescription> out;
    ShowDescription s;
    ShowRecord record;
    record.file = FSpec{};
    std::strcpy(record.file.name, "old\xFF\xFE.pct");
    record.file.volume = -3;
    record.file.parent = 77;
    record.file.name[200] = 'x';  // left over after the name
    for (int k = 0; k < kShowRecordKeys; k++) {
        KeyStruct key = CameraKey(k, 10.5f * k, 0.1f, 64.0f);
        for (int w = 0; w < 12; w++) KeyWord(key, w) += 0.001f * w;
        key.undoPicture = static_cast<uint16_t>(k);
        key.undoAction = 0xFFFF;
        record.keys.push_back(key);
    }
    record.keys[0].formatVersion = 100.0f;  // a trailer without contrast
    record.keys[1].easeCode = -5.0f;
    record.keys[2].rotation1 = std::numeric_limits<float>::quiet_NaN();
    record.keys[3].rotation2 = -std::numeric_limits<float>::infinity();
    record.keys[4].verticalSize = -0.0f;
    record.keys[5].easeCode = 1234.5f;
    s.pictures.push_back(record);
    record.keys.resize(2);
    record.keys[0].formatVersion = 0.0f;
    s.pictures.push_back(record);
    s.trailer.matteColor = static_cast<int32_t>(0xFF0000FFu);
    s.trailer.matteBorder = 250;
    s.trailer.videoColors = -2;
    s.trailer.contrast[0] = static_cast<char>(0xFF);
    s.trailer.contrast[1] = '\0';
    s.trailer.unused = std::array<uint8_t, 4>{1, 2, 3, 0xFF};
    out.push_back(s);

    for (float stamp : {90.0f, 0.0f}) {
        s.pictures.resize(1);
        s.pictures[0].keys[0].formatVersion = stamp;  // no trailer values
        s.extra = FSpec{};
        out.push_back(s);
    }
    return out;
}

void ExpectRoundTrip(const std::vector<char>& block) {
    ShowDescription show;
    std::string error;
    ASSERT_TRUE(DecodeShow(block.data(), static_cast<long>(block.size()), "a.gsx", show, error)) << error;
    ShowJsonContext context;
    context.file = "a.gsx";
    const std::string json = ShowToJson(show, context);
    // Valid JSON (the parser refuses what is not UTF-8) and back to the bytes.
    ASSERT_NO_THROW((void)nlohmann::json::parse(json)) << json;
    ShowDescription back;
    ASSERT_TRUE(ShowFromJson(json, back, error)) << error << "\n" << json;
    EXPECT_EQ(EncodeShow(back, back.bigEndian), block) << json;
}

TEST(ShowJson, EveryShowComesBackByteForByte) {
    int n = 0;
    for (const std::vector<char>& block : ProgramShows()) {
        SCOPED_TRACE("program show " + std::to_string(n++));
        ExpectRoundTrip(block);
    }
    n = 0;
    for (const ShowDescription& show : HandMadeShows()) {
        for (bool big : {false, true}) {
            SCOPED_TRACE("hand-made show " + std::to_string(n) + (big ? " big-endian" : " little-endian"));
            ExpectRoundTrip(EncodeShow(show, big));
        }
        n++;
    }
}

TEST(ShowJson, TwinsOfEitherByteOrderDescribeTheSameShow) {
    for (const ShowDescription& show : HandMadeShows()) {
        ShowDescription little, big;
        std::string error;
        const std::vector<char> a = EncodeShow(show, false), b = EncodeShow(show, true);
        ASSERT_NE(a, b);
        ASSERT_TRUE(DecodeShow(a.data(), static_cast<long>(a.size()), "a", little, error));
        ASSERT_TRUE(DecodeShow(b.data(), static_cast<long>(b.size()), "b", big, error));
        little.bigEndian = true;
        EXPECT_EQ(EncodeShow(little, true), b);
        EXPECT_EQ(0, std::memcmp(little.trailer.contrast, big.trailer.contrast, 2));
    }
}

// What a person writes: the least a show needs, with names for the ease.
TEST(ShowJson, HandWrittenShowsFillTheRest) {
    const char* text = R"({
      "pictures": [{"reference": "/photos/a.jpg", "keys": [
        {"time": 0, "x": 400, "y": 300, "width": 800},
        {"frame": 150, "x": 200, "y": 150, "width": 200, "rotation": {"roll": 10},
         "ease": {"typeName": "slow-in", "amount": 0.5, "straight": true}},
        {"time": 160, "x": 1, "y": 2, "width": 3, "ease": "no slows"}]}],
      "length": 175,
      "trailer": {"matteColor": "#102030", "contrast": "47"}})";
    ShowDescription show;
    std::string error;
    ASSERT_TRUE(ShowFromJson(text, show, error)) << error;
    ASSERT_EQ(show.pictures.size(), 1u);
    const std::vector<KeyStruct>& keys = show.pictures[0].keys;
    ASSERT_EQ(keys.size(), 3u);
    EXPECT_STREQ(show.pictures[0].file.name, "/photos/a.jpg");
    EXPECT_EQ(show.VersionStamp(), 110.0f);
    EXPECT_EQ(show.SavedLength(), 175);
    EXPECT_EQ(keys[1].time, 150);
    EXPECT_EQ(keys[1].rotation3, 10.0f);
    EXPECT_EQ(keys[1].easeCode, 2051.0f);
    EXPECT_EQ(keys[2].easeCode, 4000.0f);
    EXPECT_EQ(keys[0].easeCode, 0.0f);
    EXPECT_EQ(show.trailer.matteColor, 0x00302010);
    EXPECT_EQ(std::string(show.trailer.contrast, 2), "47");
    EXPECT_EQ(show.trailer.videoColors, 1);
}

TEST(ShowJson, BadJsonNamesTheFieldOrThePlace) {
    const struct {
        const char* text;
        const char* says;
    } cases[] = {
        {"{\n  \"pictures\": [\n", "malformed JSON: parse error at line 3, column 1"},
        {"{\"pictures\": [{\"reference\": \"a\", \"keys\": [{\"x\":1}]}]}", "pictures[0].keys[0].y: missing"},
        {"{\"pictures\": [{\"reference\": \"a\", \"keys\": []}]}", "pictures[0].keys: a picture needs at least one key"},
        {"{\"pictures\": [{\"keys\": [{\"x\":1,\"y\":1,\"width\":1,\"time\":0}]}]}", "pictures[0].reference: missing"},
        {"{\"pictures\": [{\"reference\": \"a\", \"keys\": [{\"x\":\"far\",\"y\":1,\"width\":1,\"time\":0}]}]}",
         "pictures[0].keys[0].x: expected a number"},
        {"{\"pictures\": [{\"reference\": \"a\", \"keys\": [{\"x\":1,\"y\":1,\"width\":1e300,\"time\":0}]}]}",
         "pictures[0].keys[0].width: out of range for a 32-bit float"},
        {"{\"pictures\": [{\"reference\": \"a\", \"keys\": [{\"x\":1,\"y\":1,\"width\":1,\"time\":0.5}]}]}",
         "pictures[0].keys[0].time: expected a whole number"},
        {"{\"pictures\": [{\"reference\": \"a\", \"keys\": [{\"x\":1,\"y\":1,\"width\":1,\"tme\":0}]}]}",
         "pictures[0].keys[0].tme: unknown field"},
        {"{\"pictures\": [{\"reference\": \"a\", \"keys\": [{\"x\":1,\"y\":1,\"width\":1,\"time\":0,\"ease\":\"fast\"}]}]}",
         "pictures[0].keys[0].ease: unknown ease \"fast\""},
        {"{\"serial\": 70000}", "serial: must be from 0 to 65535"},
        {"{\"byteOrder\": \"middle\"}", "byteOrder: expected"},
        {"{\"trailer\": {\"contrast\": \"123\"}}", "trailer.contrast: expected two characters"},
        {"{\"trailer\": {\"matteColor\": \"red\"}}", "trailer.matteColor: expected \"#rrggbb\""},
        {"{\"trailerBytes\": \"00\"}", "trailerBytes: expected 40 hexadecimal digits"},
        {"[1, 2]", "expected an object"},
        {"{\"pictures\": [{\"reference\": \"\xFF\"}]}", "malformed JSON"},
        {"{\"pictures\": [{\"keys\": [{\"time\": 4e4444}]}]}", "malformed JSON: number overflow"},
    };
    for (const auto& c : cases) {
        ShowDescription show;
        std::string error;
        EXPECT_FALSE(ShowFromJson(c.text, show, error)) << c.text;
        EXPECT_NE(error.find(c.says), std::string::npos) << c.text << "\n" << error;
    }
}

}  // namespace
