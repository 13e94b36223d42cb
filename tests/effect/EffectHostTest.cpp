// SPDX-License-Identifier: GPL-2.0-or-later
// The effect module as a host sees it: gs_testhost loads build/effect/
// Glimmerstroll.so and sends it the host's commands; these tests read what it
// reports and the frames it writes.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "show/ShowTestUtil.h"

namespace {

using Bytes = std::vector<uint8_t>;

// The host runs under the sanitizers when the tests do.
const std::string kSuppressions = std::string(GS_SOURCE_DIR) + "/tests/effect/lsan.supp";

struct HostRun {
    int status = -1;
    std::string out;
    bool Has(const std::string& line) const { return out.find(line + "\n") != std::string::npos; }
};

// One test's world: a settings folder, a picture and a show file on disk.
class EffectHost : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(WriteTestPicture(folder / "picture.tga", 120, 90));
        // The camera moves and zooms on every frame of the first 40.
        const KeyStruct keys[] = {CameraKey(0, 60, 45, 60), CameraKey(20, 80, 50, 40),
                                  CameraKey(40, 40, 40, 80)};
        auto doc = DocWithSettings();
        SetShow(*doc, folder / "picture.tga", keys);
        show = SaveBlock(*doc);
        std::ofstream(folder / "show.gsx", std::ios::binary)
            .write(show.data(), static_cast<std::streamsize>(show.size()));
        Settings("");
    }

    void Settings(const std::string& lines) {
        std::ofstream(folder / "Glimmerstroll", std::ios::binary) << "[Glimmerstroll]\r\n" << lines;
    }

    HostRun Host(const std::string& args) {
        const std::string command = "LSAN_OPTIONS=suppressions='" + kSuppressions + "' XDG_CONFIG_HOME='" +
                                    folder.path + "' GLIMMERSTROLL_PLATFORM=headless " +
                                    TestHostCommand(folder.path) + args + " setdown";
        HostRun run;
        run.out = Capture(command, &run.status);
        return run;
    }

    // A serial that differs from the one the show was saved with.
    int OtherSerial() const {
        uint16_t serial;
        std::memcpy(&serial, show.data() + 2, 2);
        return static_cast<int16_t>(serial + 1);
    }

    Bytes Frame(long t) {
        std::string name = "t";
        return ReadBytes<uint8_t>(folder / name.append(std::to_string(t)).append(".argb"));
    }

    // Renders host times with the given options in a fresh host session and
    // returns the frames, in order.
    std::vector<Bytes> Frames(const std::string& options, long first, long last) {
        const HostRun run = Host(options + " setup load=" + folder / "show.gsx" + " render=" +
                             std::to_string(first) + ".." + std::to_string(last));
        EXPECT_EQ(0, run.status) << run.out;
        std::vector<Bytes> frames;
        for (long t = first; t <= last; t++) frames.push_back(Frame(t));
        return frames;
    }

    ScratchFolder folder;
    std::vector<char> show;
};

TEST_F(EffectHost, AnswersTheSetUpCommands) {
    HostRun run = Host("about setup params cmd=2 cmd=5 cmd=10 cmd=12 cmd=40 setdown");
    ASSERT_EQ(0, run.status) << run.out;
    EXPECT_TRUE(run.Has("about: err=0 text=Glimmerstroll\\rPans and Zooms on Stills")) << run.out;
    EXPECT_TRUE(run.Has("setup: err=0 version=0x100001 flags=0x465")) << run.out;
    EXPECT_TRUE(run.Has("param: index=-1 type=1 id=1 name=Quality value=100 default=100 valid=0..100 "
                        "slider=0..100 value_str=\"\" value_desc=\"\""))
        << run.out;
    EXPECT_TRUE(run.Has("params: err=0 num_params=2")) << run.out;
    for (int code : {2, 5, 10, 12, 40}) EXPECT_TRUE(run.Has("cmd: " + std::to_string(code) + " err=0"));
    EXPECT_TRUE(run.Has("setdown: err=0")) << run.out;

    // Without the host's string callbacks the text still arrives; a host that
    // refuses the parameter gets its own error back and no count.
    run = Host("--no-strings about --refuse-params 513 params");
    ASSERT_EQ(0, run.status) << run.out;
    EXPECT_TRUE(run.Has("about: err=0 text=Glimmerstroll\\rPans and Zooms on Stills")) << run.out;
    EXPECT_TRUE(run.Has("params: err=513 num_params=0")) << run.out;
}

TEST_F(EffectHost, ReadsTheShowHandleOnlyWhenItsSerialChanges) {
    for (const char* handles : {"", "--no-handles"}) {
        SCOPED_TRACE(handles);
        // No sequence data: the document renders as it stands (an empty show).
        HostRun run = Host(std::string(handles) + " setup render=0 load=" + folder / "show.gsx" +
                           " render=1..3 serial=" + std::to_string(OtherSerial()) + " render=4 render=5 setdown");
        ASSERT_EQ(0, run.status) << run.out;
        EXPECT_TRUE(run.Has("render: t=0 err=0 file=" + folder / "t0.argb")) << run.out;
        EXPECT_TRUE(run.Has("show_loads: 2")) << run.out;
        EXPECT_NE(Frame(0), Frame(1));  // the show's picture replaced the empty one
        EXPECT_NE(Frame(1), Frame(2));
    }

    // A render before any set-up makes its own document.
    const HostRun run = Host("load=" + folder / "show.gsx" + " render=1 render=1");
    ASSERT_EQ(0, run.status) << run.out;
    EXPECT_TRUE(run.Has("show_loads: 1")) << run.out;
}

TEST_F(EffectHost, CountsFramesFromTheHostsTimeValues) {
    const std::vector<Bytes> base = Frames("--scale 25 --step 1", 0, 5);
    for (size_t i = 1; i < base.size(); i++) EXPECT_NE(base[i - 1], base[i]) << i;

    // 50 steps a second are fields: two steps to a frame.
    const std::vector<Bytes> fields = Frames("--scale 50 --step 1", 8, 10);
    EXPECT_EQ(base[4], fields[0]);
    EXPECT_EQ(base[4], fields[1]);
    EXPECT_EQ(base[5], fields[2]);
    // 29.97 counts whole frames, 59.94 counts fields.
    EXPECT_EQ(base[5], Frames("--scale 30000 --step 1001", 5, 5)[0]);
    EXPECT_EQ(base[5], Frames("--scale 60000 --step 1001", 10, 10)[0]);
    // Frames before the show's start render its first frame.
    EXPECT_EQ(base[0], Frames("--scale 25 --step 1", -3, -3)[0]);

    // A host without a step gets nothing rendered and no error.
    const HostRun run = Host("--step 0 setup load=" + folder / "show.gsx" + " render=0 dialog");
    ASSERT_EQ(0, run.status) << run.out;
    EXPECT_TRUE(run.Has("render: t=0 err=0 file=" + folder / "t0.argb")) << run.out;
    EXPECT_EQ(Bytes(64 * 48 * 4, 0xA5), Frame(0));
    EXPECT_TRUE(run.Has("show_loads: 0")) << run.out;
}

TEST_F(EffectHost, CopiesTheWorkImageTopRowFirstAsArgb) {
    const int width = 50, height = 31, pad = 12;
    const HostRun run = Host("--size 50x31 --pad 12 setup load=" + folder / "show.gsx" + " render=7");
    ASSERT_EQ(0, run.status) << run.out;
    const Bytes frame = Frame(7);
    const int rowBytes = width * 4 + pad;
    ASSERT_EQ(static_cast<size_t>(rowBytes * height), frame.size());

    // The same frame rendered here, as the effect renders it.
    auto doc = DocWithSettings();
    std::vector<char> block = show;
    ASSERT_EQ(1, doc->LoadShow(nullptr, block.data(), false));
    gFrameRate = 2500;
    CDIB work(width, height, 32);
    ASSERT_TRUE(doc->RenderFrame(7, 0, true, width, height, &work, false));

    for (int r = 0; r < height; r++) {
        const uint8_t* host = frame.data() + r * rowBytes;
        const uint8_t* mine = work.GetBitsAdd(height - 1 - r);
        for (int x = 0; x < width; x++) {
            ASSERT_EQ(mine[4 * x + 3], host[4 * x + 0]) << r << "," << x;  // alpha
            ASSERT_EQ(mine[4 * x + 2], host[4 * x + 1]) << r << "," << x;  // red
            ASSERT_EQ(mine[4 * x + 1], host[4 * x + 2]) << r << "," << x;  // green
            ASSERT_EQ(mine[4 * x + 0], host[4 * x + 3]) << r << "," << x;  // blue
        }
        for (int i = width * 4; i < rowBytes; i++) ASSERT_EQ(0xA5, host[i]) << "padding of row " << r;
    }
    // The picture's red grows to the right and its green toward the top.
    const uint8_t* top = frame.data();
    const uint8_t* bottom = frame.data() + (height - 1) * rowBytes;
    EXPECT_LT(top[1], top[(width - 1) * 4 + 1]);
    EXPECT_GT(top[2], bottom[2]);
}

TEST_F(EffectHost, DrawsLetterboxBars) {
    Settings("AspectMode=5626\r\n");
    const HostRun run = Host("--size 720x486 setup load=" + folder / "show.gsx" + " render=3");
    ASSERT_EQ(0, run.status) << run.out;
    const Bytes frame = Frame(3);
    ASSERT_EQ(720u * 486u * 4u, frame.size());
    auto barRow = [&](int row) {
        const uint8_t* p = frame.data() + row * 720 * 4;
        for (int x = 0; x < 720; x++)
            if (p[4 * x] != 0xFF || p[4 * x + 1] != 0x11 || p[4 * x + 2] != 0x11 || p[4 * x + 3] != 0x11)
                return false;
        return true;
    };
    for (int row = 0; row < 61; row++) {
        EXPECT_TRUE(barRow(row)) << row;
        EXPECT_TRUE(barRow(485 - row)) << 485 - row;
    }
    EXPECT_FALSE(barRow(61));
    EXPECT_FALSE(barRow(424));
}

TEST_F(EffectHost, FieldsAndMotionBlur) {
    // The upper field is the frame's own moment; the lower one is half a frame
    // later, which is neither this frame nor the next.
    const std::vector<Bytes> whole = Frames("--field 0", 4, 5);
    const Bytes upper = Frames("--field 1", 4, 4)[0];
    const Bytes lower = Frames("--field 2", 4, 4)[0];
    EXPECT_EQ(whole[0], upper);
    EXPECT_NE(whole[0], lower);
    EXPECT_NE(whole[1], lower);

    // Swapped fields exchange the two moments.
    Settings("FieldSwap=1\r\n");
    EXPECT_EQ(lower, Frames("--field 1", 4, 4)[0]);
    EXPECT_EQ(upper, Frames("--field 2", 4, 4)[0]);

    // Blur at frame 0 mixes frame 0 with itself drawn as a lower field (the
    // frame before it does not exist).
    Settings("");
    const Bytes first = Frames("--field 0", 0, 0)[0];
    const Bytes firstLower = Frames("--field 2", 0, 0)[0];
    ASSERT_NE(first, firstLower);
    Settings("BlurFrames=1\r\n");
    const Bytes blurred = Frames("--field 0", 0, 0)[0];
    ASSERT_EQ(first.size(), blurred.size());
    for (size_t i = 0; i < blurred.size(); i++)
        ASSERT_NEAR((first[i] + firstLower[i]) / 2.0, blurred[i], 1.0) << i;
}

TEST_F(EffectHost, OptionsCommandKeepsTheShowInItsHandle) {
    // Without an editor the options command drops the edits: a new handle of
    // 4096 bytes stays empty, a loaded one keeps its bytes and is read again.
    for (const char* handles : {"", "--no-handles"}) {
        SCOPED_TRACE(handles);
        HostRun run = Host(std::string(handles) + " setup dialog save=" + folder / "new.bin");
        ASSERT_EQ(0, run.status) << run.out;
        EXPECT_TRUE(run.Has("dialog: err=0 sequence=4096")) << run.out;
        EXPECT_EQ(Bytes(4096, 0), ReadBytes<uint8_t>(folder / "new.bin"));

        run = Host(std::string(handles) + " setup load=" + folder / "show.gsx" + " dialog save=" +
                   folder / "kept.bin" + " render=2");
        ASSERT_EQ(0, run.status) << run.out;
        EXPECT_TRUE(run.Has("show_loads: 2")) << run.out;
        Bytes expected(show.begin(), show.end());
        expected.resize(4096, 0);
        EXPECT_EQ(expected, ReadBytes<uint8_t>(folder / "kept.bin"));
    }
}

// Field mode 3 is reached only from other callers than the host entry.
TEST(Renderer, InterleavesFieldsAndHonoursTheFieldRates) {
    ScratchFolder folder;
    ASSERT_TRUE(WriteTestPicture(folder / "picture.tga", 120, 90));
    const KeyStruct keys[] = {CameraKey(0, 60, 45, 60), CameraKey(20, 80, 50, 40)};
    const int kRow = 40 * 4;

    // The two moments of frame 6: its start and half a frame later.
    auto plain = DocWithSettings();
    SetShow(*plain, folder / "picture.tga", keys);
    plain->LoadPicture(&plain->pictureFile[0], 0, -1);
    gFrameRate = 2500;
    CDIB start(40, 30, 32), later(40, 30, 32);
    ASSERT_TRUE(plain->RenderFrame(6, 1, true, 40, 30, &start, false));
    ASSERT_TRUE(plain->RenderFrame(6, 2, false, 40, 30, &later, false));
    ASSERT_FALSE(std::equal(start.GetBitsAdd(0), start.GetBitsAdd(0) + kRow * 30, later.GetBitsAdd(0)));

    // Both fields: every row comes from one of the two moments, alternating;
    // swapping the fields exchanges the moments of the two sets of rows.
    bool evenRowsAtStart = false;
    for (int swap : {0, 1}) {
        SCOPED_TRACE(swap);
        auto doc = DocWithSettings(swap ? "FieldSwap=1\r\n" : "");
        SetShow(*doc, folder / "picture.tga", keys);
        doc->LoadPicture(&doc->pictureFile[0], 0, -1);
        gFrameRate = 2500;
        CDIB both(40, 30, 32);
        ASSERT_TRUE(doc->RenderFrame(6, 3, true, 40, 30, &both, false));
        for (int row = 0; row < 30; row++) {
            const uint8_t* p = both.GetBitsAdd(row);
            const bool a = std::equal(p, p + kRow, start.GetBitsAdd(row));
            const bool b = std::equal(p, p + kRow, later.GetBitsAdd(row));
            ASSERT_TRUE(a != b) << row;
            if (swap == 0 && row == 0) evenRowsAtStart = a;
            EXPECT_EQ(a, (row % 2 == 0) == (evenRowsAtStart != (swap == 1))) << row;
        }
    }

    // Outside 24.01 to 40 frames a second there are no fields; nor does a
    // show of one picture leave any key time changed.
    const std::vector<char> keysBefore(reinterpret_cast<char*>(plain->keys[0]),
                                       reinterpret_cast<char*>(plain->keys[0]) + sizeof plain->keys[0]);
    for (int rate : {2400, 5000}) {
        SCOPED_TRACE(rate);
        gFrameRate = rate;
        ASSERT_TRUE(plain->RenderFrame(6, 1, true, 40, 30, &start, false));
        ASSERT_TRUE(plain->RenderFrame(6, 2, false, 40, 30, &later, false));
        EXPECT_TRUE(std::equal(start.GetBitsAdd(0), start.GetBitsAdd(0) + kRow * 30, later.GetBitsAdd(0)));
    }
    EXPECT_EQ(0, std::memcmp(keysBefore.data(), plain->keys[0], keysBefore.size()));

    // Sizes outside 1..8192 and a missing destination draw nothing.
    EXPECT_FALSE(plain->RenderFrame(6, 0, true, 0, 30, &start, false));
    EXPECT_FALSE(plain->RenderFrame(6, 0, true, 40, 8193, &start, false));
    EXPECT_FALSE(plain->RenderFrame(6, 0, true, 40, 30, nullptr, false));
}

// With two pictures, frames in the second one's lead-in may come from the
// first, whose camera then runs on past its last key by the lead-in.
TEST(Renderer, HandsOverBetweenPictures) {
    ScratchFolder folder;
    ASSERT_TRUE(WriteTestPicture(folder / "first.tga", 120, 90));
    ASSERT_TRUE(WriteTestPicture(folder / "second.tga", 60, 90));
    const KeyStruct firstKeys[] = {CameraKey(0, 60, 45, 60), CameraKey(20, 80, 50, 40)};
    KeyStruct secondKeys[] = {CameraKey(0, 30, 45, 30), CameraKey(20, 20, 40, 20)};
    secondKeys[0].reservedB = 5.0f;  // a lead-in of five frames

    auto doc = DocWithSettings();
    SetShow(*doc, folder / "first.tga", firstKeys);
    MakePathSpec(doc->pictureFile[1], (folder / "second.tga").c_str());
    doc->keys[1][0] = secondKeys[0];
    doc->keys[1][1] = secondKeys[1];
    doc->keyCount[1] = 2;
    doc->pictureCount = 2;
    doc->LoadPicture(&doc->pictureFile[0], 0, -1);
    gFrameRate = 2500;
    const char* keyBytes = reinterpret_cast<const char*>(doc->keys);
    const std::vector<char> before(keyBytes, keyBytes + sizeof doc->keys);

    // What the first picture shows at frame 2 with its last key 5 frames later.
    auto alone = DocWithSettings();
    const KeyStruct stretched[] = {CameraKey(0, 60, 45, 60), CameraKey(25, 80, 50, 40)};
    SetShow(*alone, folder / "first.tga", stretched);
    alone->LoadPicture(&alone->pictureFile[0], 0, -1);
    CDIB expected(40, 30, 32);
    ASSERT_TRUE(alone->RenderFrame(2, 0, true, 40, 30, &expected, false));

    CDIB handed(40, 30, 32), kept(40, 30, 32);
    ASSERT_TRUE(doc->RenderFrame(2, 0, true, 40, 30, &handed, true));
    EXPECT_EQ(0, std::memcmp(expected.GetBitsAdd(0), handed.GetBitsAdd(0), 40 * 4 * 30));
    EXPECT_EQ(0, std::memcmp(before.data(), doc->keys, before.size()));
    // Without hand-over (the effect's case) the second picture is drawn.
    ASSERT_TRUE(doc->RenderFrame(2, 0, true, 40, 30, &kept, false));
    EXPECT_NE(0, std::memcmp(handed.GetBitsAdd(0), kept.GetBitsAdd(0), 40 * 4 * 30));
    EXPECT_EQ(0, std::memcmp(before.data(), doc->keys, before.size()));
}

}  // namespace
