// SPDX-License-Identifier: GPL-2.0-or-later
// The glimmerstroll program run as a user runs it: the demo, every kind of
// output, the show description, and bad input of every kind a new user tries.
#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <thread>

#include "tests/cli/CliTestUtil.h"

using namespace gstest;

namespace {

constexpr int kW = 160;
constexpr int kH = 90;
constexpr size_t kFrameBytes = static_cast<size_t>(kW) * kH * 4;

class Tool : public ::testing::Test {
protected:
    void SetUp() override { WriteStandardShow(dir); }

    RunResult Gs(std::vector<std::string> args, const std::vector<std::string>& env = {}) {
        args.insert(args.begin(), ToolPath());
        return RunProgram(args, dir.path, env);
    }

    // ffprobe's view of the first video stream, as key=value pairs.
    std::map<std::string, std::string> Probe(const std::string& path) {
        const RunResult r = RunProgram({"ffprobe", "-v", "error", "-count_frames", "-select_streams", "v:0", "-show_entries",
                                 "stream=codec_name,profile,pix_fmt,width,height,nb_read_frames", "-of",
                                 "default=nw=1", path},
                                dir.path);
        std::map<std::string, std::string> fields;
        for (const std::string& line : Lines(r.out)) {
            const size_t eq = line.find('=');
            if (eq != std::string::npos) fields[line.substr(0, eq)] = line.substr(eq + 1);
        }
        return fields;
    }

    TempDir dir;
};

}  // namespace

TEST_F(Tool, DemoEndsWithAPlayableVideoAndItsShow) {
    if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) GTEST_SKIP() << "ffmpeg is not installed";
    const RunResult r = Gs({"demo", "-o", dir / "out/demo.mp4", "--size", "320x180", "-q"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("demo: " + dir / "out/demo.mp4 (175 frames, 320x180, 25 fps)"), std::string::npos) << r.out;
    auto video = Probe(dir / "out/demo.mp4");
    EXPECT_EQ(video["nb_read_frames"], "175");
    EXPECT_EQ(video["width"], "320");
    EXPECT_EQ(video["height"], "180");
    EXPECT_EQ(video["codec_name"], "h264");
    EXPECT_EQ(video["pix_fmt"], "yuv420p");

    // The example's show is an ordinary show: it describes and renders.
    const RunResult info = Gs({"info", dir / "out/demo.gsx"});
    ASSERT_EQ(info.exitCode, 0) << info.err;
    EXPECT_NE(info.out.find(dir / "out/demo-picture.tga  found"), std::string::npos) << info.out;
    EXPECT_EQ(Lines(info.out).size(), 12u) << info.out;  // 4 keys
}

TEST_F(Tool, EveryCommandHasHelp) {
    for (const char* command : {"", "render", "info", "demo"}) {
        std::vector<std::string> args;
        if (*command) args.push_back(command);
        args.push_back("--help");
        const RunResult r = Gs(args);
        EXPECT_EQ(r.exitCode, 0) << command;
        EXPECT_NE(r.out.find("Usage:"), std::string::npos) << command;
        EXPECT_TRUE(r.err.empty()) << command;
    }
}

TEST_F(Tool, EveryOutputCarriesTheSameFrames) {
    const RunResult raw = Gs({"render", dir / "show.gsx", "-o", "-", "--size", "160x90", "--frames", "0-4"});
    ASSERT_EQ(raw.exitCode, 0) << raw.err;
    ASSERT_EQ(raw.out.size(), 5 * kFrameBytes);
    EXPECT_TRUE(raw.err.empty()) << "quiet when standard error is no terminal: " << raw.err;
    const auto* frames = reinterpret_cast<const uint8_t*>(raw.out.data());
    // The camera moves: frame 4 is not frame 0.
    EXPECT_NE(raw.out.substr(0, kFrameBytes), raw.out.substr(4 * kFrameBytes, kFrameBytes));
    for (size_t i = 3; i < raw.out.size(); i += 4) ASSERT_EQ(frames[i], 255) << "opaque";

    for (const char* ext : {"png", "tga", "bmp"}) {
        const std::string pattern = dir / (std::string("seq/f_%04d.") + ext);
        std::filesystem::create_directory(dir / "seq");
        const RunResult r = Gs({"render", dir / "show.gsx", "-o", pattern, "--size", "160x90", "--frames", "2-4"});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        for (int f = 2; f <= 4; f++)
            ExpectPictureEquals(dir / ("seq/f_000" + std::to_string(f) + "." + ext), frames + f * kFrameBytes, kW, kH);
        std::filesystem::remove_all(dir / "seq");
    }

    if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) GTEST_SKIP() << "ffmpeg is not installed";
    struct Case {
        const char* file;
        const char* codec;
        const char* pixels;
        const char* profile;
    };
    for (const Case& c : {Case{"a.mp4", "h264", "yuv420p", nullptr}, Case{"a.mov", "prores", "yuv422p10le", "HQ"},
                          Case{"a.mkv", "h264", "yuv420p", nullptr}}) {
        const RunResult r = Gs({"render", dir / "show.gsx", "-o", dir / c.file, "--size", "160x90", "--frames", "3-9"});
        ASSERT_EQ(r.exitCode, 0) << c.file << ": " << r.err;
        auto video = Probe(dir / c.file);
        EXPECT_EQ(video["nb_read_frames"], "7") << c.file;
        EXPECT_EQ(video["codec_name"], c.codec) << c.file;
        EXPECT_EQ(video["pix_fmt"], c.pixels) << c.file;
        if (c.profile) {
            EXPECT_EQ(video["profile"], c.profile) << c.file;
        }
        EXPECT_FALSE(Exists(dir / (std::string(c.file) + ".part")));
    }
}

TEST_F(Tool, WholeShowByDefaultOptionsChangeTheFramesAndTheSecondProcessorDoesNot) {
    const RunResult all = Gs({"render", dir / "show.gsx", "-o", "-", "--size", "160x90"});
    ASSERT_EQ(all.exitCode, 0) << all.err;
    EXPECT_EQ(all.out.size(), 25 * kFrameBytes);  // the show is 25 frames long

    const std::string plain = all.out.substr(12 * kFrameBytes, kFrameBytes);
    for (std::vector<std::string> extra : {std::vector<std::string>{"--fields", "both"},
                                           std::vector<std::string>{"--aspect", "letterbox"},
                                           std::vector<std::string>{"--aspect", "4:3"},
                                           std::vector<std::string>{"--blur"}, std::vector<std::string>{"--draft"},
                                           std::vector<std::string>{"--quality", "exact"}}) {
        std::vector<std::string> args = {"render", dir / "show.gsx", "-o", "-", "--size", "160x90", "--frames", "12"};
        args.insert(args.end(), extra.begin(), extra.end());
        const RunResult r = Gs(args);
        ASSERT_EQ(r.exitCode, 0) << extra[0] << ": " << r.err;
        ASSERT_EQ(r.out.size(), kFrameBytes);
        EXPECT_NE(r.out, plain) << extra[0] << " " << (extra.size() > 1 ? extra[1] : "");
    }
    // The second processor draws its half of the rows exactly as the first would.
    const RunResult split = Gs({"render", dir / "show.gsx", "-o", "-", "--size", "160x90", "--multiprocess"});
    ASSERT_EQ(split.exitCode, 0) << split.err;
    EXPECT_TRUE(split.out == all.out);
    // So do any number of threads, each drawing whole frames.
    for (const char* threads : {"1", "3"}) {
        const RunResult r = Gs({"render", dir / "show.gsx", "-o", "-", "--size", "160x90", "--threads", threads});
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_TRUE(r.out == all.out) << threads << " threads";
    }
}

// Videos are full range into ffmpeg, which makes video levels itself: a black
// picture plays back black whatever "VideoColors" says (it is on by default).
TEST_F(Tool, VideosDecodeBlackAsBlack) {
    if (!HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
    WriteTestShow(dir / "black.gsx", dir / "black.tga", 64, 36, {{0, 32, 18, 64, 0}, {4, 32, 18, 48, 0}}, 5);
    CDIB black(64, 36, 24);
    std::memset(black.GetBitsAdd(0), 0, static_cast<size_t>(black.GetRowBytes() * 36));
    std::string error;
    ASSERT_TRUE(gs::WriteTarga(black, dir / "black.tga", error)) << error;
    const RunResult r = Gs({"render", dir / "black.gsx", "-o", dir / "black.mp4", "--size", "64x36", "--frames", "2"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string rgb = Shell("ffmpeg -v error -i '" + std::string(dir / "black.mp4") +
                                  "' -vf crop=16:8:24:14 -f rawvideo -pix_fmt rgb24 -");
    ASSERT_EQ(rgb.size(), 16u * 8 * 3);
    for (char c : rgb) ASSERT_LE(static_cast<uint8_t>(c), 1);
}

TEST_F(Tool, InfoDescribesTheShowInTextAndStableJson) {
    const RunResult text = Gs({"info", dir / "show.gsx", "--fps", "29.97"});
    ASSERT_EQ(text.exitCode, 0) << text.err;
    EXPECT_NE(text.out.find("little-endian"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("version stamp 110"), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("00:00:00:20"), std::string::npos) << "key 2 at frame 20, 30 frames a second";

    if (!HaveProgram("python3")) GTEST_SKIP() << "python3 is not installed";
    const RunResult json = Gs({"info", dir / "show.gsx", "--json"});
    ASSERT_EQ(json.exitCode, 0) << json.err;
    {
        std::ofstream(dir / "info.json") << json.out;
    }
    const std::string check =
        "import json,sys\n"
        "d=json.load(open(sys.argv[1]))\n"
        "assert d['infoVersion']==2 and d['byteOrder']=='little-endian' and d['versionStamp']==110\n"
        "assert d['length']=={'frames':25,'timecode':'00:00:01:00'}\n"
        "p=d['pictures'][0]\n"
        "assert p['found'] is True and p['path'].endswith('show-picture.tga')\n"
        "k=p['keys'][1]\n"
        "assert (k['frame'],k['timecode'],k['x'],k['y'],k['width'])==(10,'00:00:00:10',60,40,80)\n"
        "assert k['rotation']=={'tilt':0,'turn':0,'roll':8}\n"
        "assert k['ease']['code']==1000 and k['ease']['typeName']=='slow-in & slow-out'\n"
        "assert d['trailer']['contrast']=='22' and d['extraReference'] is None\n";
    const RunResult checked = RunProgram({"python3", "-c", check, dir / "info.json"}, dir.path);
    EXPECT_EQ(checked.exitCode, 0) << checked.err << json.out;
}

// A show goes to JSON and back through the program, in both byte orders, and
// comes back as it was but for its serial.
TEST_F(Tool, ExportedShowsImportToTheSameBlock) {
    const std::string show = dir / "show.gsx";
    ASSERT_EQ(Gs({"export", show, "-o", dir / "show.json"}).exitCode, 0);
    const RunResult big = Gs({"import", dir / "show.json", "-o", dir / "big.gsx", "--byte-order", "big"});
    ASSERT_EQ(big.exitCode, 0) << big.err;
    const RunResult json = Gs({"export", dir / "big.gsx"});
    ASSERT_EQ(json.exitCode, 0) << json.err;
    EXPECT_NE(json.out.find("\"byteOrder\": \"big-endian\""), std::string::npos);
    { std::ofstream(dir / "big.json") << json.out; }
    ASSERT_EQ(Gs({"import", dir / "big.json", "-o", dir / "back.gsx", "--byte-order", "little"}).exitCode, 0);
    std::string before = ReadFile(show), after = ReadFile(dir / "back.gsx");
    ASSERT_EQ(before.size(), after.size());
    before.replace(2, 2, "..");  // the serial
    after.replace(2, 2, "..");
    EXPECT_TRUE(before == after);
}

// `new` puts the camera where its options say, measured on the rendered frames
// of a picture whose red grows with x and whose blue grows with y.
TEST_F(Tool, NewShowsPutTheCameraWhereTheOptionsSay) {
    constexpr float W = 320, H = 180;  // 16:9, like the camera: "full" is the whole picture
    CDIB picture(1, 1, 24);
    DrawTestPicture(picture, static_cast<int>(W), static_cast<int>(H));
    std::string error;
    ASSERT_TRUE(gs::WriteTarga(picture, dir / "photo.tga", error)) << error;
    // Full-range colours, so that a colour reads back as its place.
    std::filesystem::create_directory(dir / "config");
    { std::ofstream(dir / "config/Glimmerstroll") << "[Glimmerstroll]\r\nVideoColors=0\r\n"; }
    const std::vector<std::string> env = {"XDG_CONFIG_HOME=" + dir / "config"};

    struct Camera {
        float x, y, width;
    };
    struct Case {
        std::vector<std::string> options;
        Camera first, last;
    };
    // Zooms go between the whole picture and its middle half; pans move a
    // camera of 0.6 of the full width from one edge to the other.
    const std::vector<Case> cases = {
        {{"--move", "zoom-in"}, {160, 90, 320}, {160, 90, 160}},
        {{"--move", "zoom-out"}, {160, 90, 160}, {160, 90, 320}},
        {{"--move", "pan-left"}, {W - 96, 90, 192}, {96, 90, 192}},
        {{"--move", "pan-right"}, {96, 90, 192}, {W - 96, 90, 192}},
        {{"--move", "pan-up"}, {160, H - 54, 192}, {160, 54, 192}},
        {{"--move", "pan-down"}, {160, 54, 192}, {160, H - 54, 192}},
        {{"--from", "100,60,120", "--to", "0.25@0.75,0.5"}, {100, 60, 120}, {240, 90, 80}},
    };
    for (const Case& c : cases) {
        const std::string what = c.options[0] + " " + c.options[1];
        std::vector<std::string> args = {"new", dir / "photo.tga", "-o", dir / "new.gsx", "-y", "--duration", "10"};
        args.insert(args.end(), c.options.begin(), c.options.end());
        const RunResult made = Gs(args, env);
        ASSERT_EQ(made.exitCode, 0) << what << ": " << made.err;
        const RunResult r = Gs({"render", dir / "new.gsx", "-o", "-", "--size", "160x90", "-q"}, env);
        ASSERT_EQ(r.exitCode, 0) << what << ": " << r.err;
        ASSERT_EQ(r.out.size(), 10 * kFrameBytes) << what;
        for (int frame : {0, 9}) {
            auto at = [&](int x, int y, int channel) {
                return static_cast<float>(static_cast<uint8_t>(r.out[frame * kFrameBytes + (y * kW + x) * 4 + channel]));
            };
            // The outermost pixels of a camera on the picture's edge fall
            // outside it: the width is measured one pixel in from each side.
            const Camera seen{(at(79, 45, 0) + at(80, 45, 0)) / 2 / 255 * W, (at(80, 44, 2) + at(80, 45, 2)) / 2 / 255 * H,
                              (at(kW - 2, 45, 0) - at(1, 45, 0)) / 255 * W * kW / (kW - 3)};
            const Camera& want = frame == 0 ? c.first : c.last;
            EXPECT_NEAR(seen.x, want.x, 4) << what << " frame " << frame;
            EXPECT_NEAR(seen.y, want.y, 4) << what << " frame " << frame;
            EXPECT_NEAR(seen.width, want.width, 6) << what << " frame " << frame;
        }
    }
}

// Each mistake gives one line on standard error, a non-zero exit and no output
// file, whole or partial.
TEST_F(Tool, BadInputFailsWithOneLineAndNoOutput) {
    { std::ofstream(dir / "notashow.txt") << "these are some words, not a show"; }
    { std::ofstream(dir / "plain") << "a file, not a folder"; }
    { std::ofstream(dir / "taken.mp4") << "the user's earlier video"; }
    { std::ofstream(dir / "bad.json") << "{\n  \"pictures\": [\n"; }
    { std::ofstream(dir / "keyless.json") << R"({"pictures": [{"reference": "a.jpg", "keys": []}]})"; }
    WriteTestShow(dir / "lost.gsx", dir / "lost-picture.tga", 64, 36, {{0, 32, 18, 64, 0}, {10, 30, 18, 40, 0}}, 20);
    std::filesystem::remove(dir / "lost-picture.tga");
    const std::vector<std::string> before = dir.List();
    const std::string show = dir / "show.gsx";
    const std::string out = dir / "out.mp4";

    struct Case {
        const char* what;
        std::vector<std::string> args;
        std::vector<std::string> env;
        int exitCode;
        std::string says;
    };
    const std::vector<Case> cases = {
        {"missing show", {"render", dir / "nope.gsx", "-o", out}, {}, 1, "cannot open show"},
        {"not a show", {"render", dir / "notashow.txt", "-o", out}, {}, 1, "is not a Glimmerstroll show"},
        {"picture missing", {"render", dir / "lost.gsx", "-o", out}, {}, 1, "cannot load picture"},
        {"size 0x0", {"render", show, "-o", out, "--size", "0x0"}, {}, 2, "--size 0x0"},
        {"frames 9-3", {"render", show, "-o", out, "--frames", "9-3"}, {}, 2, "--frames 9-3"},
        {"unwritable video", {"render", show, "-o", dir / "plain/out.mp4"}, {}, 1, "cannot write"},
        {"unwritable pictures", {"render", show, "-o", dir / "plain/f_%03d.png"}, {}, 1, "cannot write"},
        {"no ffmpeg", {"render", show, "-o", out}, {"PATH=/nonexistent"}, 1, "ffmpeg was not found"},
        {"unknown output", {"render", show, "-o", dir / "out.avi"}, {}, 2, "unknown output type"},
        {"output exists", {"render", show, "-o", dir / "taken.mp4"}, {}, 1, "already exists; add -y"},
        {"odd size for H.264", {"render", show, "-o", out, "--size", "161x90"}, {}, 1, "even width and height"},
        {"bad rate", {"render", show, "-o", out, "--fps", "fast"}, {}, 2, "--fps fast"},
        {"bad threads", {"render", show, "-o", out, "--threads", "many"}, {}, 2, "--threads many"},
        {"bad quality", {"render", show, "-o", out, "--quality", "best"}, {}, 2, "--quality best"},
        {"bad crf", {"render", show, "-o", out, "--crf", "70"}, {}, 2, "--crf 70"},
        {"ProRes in mp4", {"render", show, "-o", out, "--codec", "prores"}, {}, 1, "not .mp4"},
        {"no output", {"render", show}, {}, 2, "--output is required"},
        {"unknown option", {"render", show, "-o", out, "--speed", "2"}, {}, 2, "--speed"},
        {"no command", {}, {}, 2, "subcommand"},
        {"mistyped command", {"rendr", show, "-o", out}, {}, 2,
         "unknown subcommand \"rendr\"; the subcommands are render, info,"},
        {"frames past the end", {"render", show, "-o", out, "--frames", "25-30"}, {}, 2,
         "--frames 25-30: the show has 25 frames (0-24)"},
        {"frame past the end", {"render", show, "-o", out, "--frames", "99"}, {}, 2,
         "--frames 99: the show has 25 frames"},
        {"no temporary folder", {"render", show, "-o", out}, {"TMPDIR=" + dir / "gone"}, 1,
         "temporary file in " + dir / "gone"},
        {"info of a missing show", {"info", dir / "nope.gsx"}, {}, 1, "cannot open show"},
        {"info of a folder", {"info", dir.path}, {}, 1, "it is a folder"},
        {"malformed JSON", {"import", dir / "bad.json", "-o", dir / "new.gsx"}, {}, 2, "bad.json: malformed JSON: parse error at line 3, column 1"},
        {"a picture without keys", {"import", dir / "keyless.json", "-o", dir / "new.gsx"}, {}, 2, "pictures[0].keys: a picture needs"},
        {"import over a show", {"import", dir / "keyless.json", "-o", show, "--byte-order", "middle"}, {}, 2, "--byte-order middle"},
        {"export over a file", {"export", show, "-o", dir / "taken.mp4"}, {}, 1, "already exists; add -y"},
        {"new without a move", {"new", dir / "show-picture.tga", "-o", dir / "new.gsx"}, {}, 2, "say how the camera moves"},
        {"new outside the picture", {"new", dir / "show-picture.tga", "-o", dir / "new.gsx", "--from", "full", "--to", "150,80,100"}, {}, 2, "--to 150,80,100: the camera leaves the picture (160x90)"},
        {"new over a show", {"new", dir / "show-picture.tga", "-o", show, "--move", "zoom-in"}, {}, 1, "already exists; add -y"},
    };
    for (const Case& c : cases) {
        const RunResult r = Gs(c.args, c.env);
        EXPECT_EQ(r.exitCode, c.exitCode) << c.what << ": " << r.err;
        const auto lines = Lines(r.err);
        ASSERT_EQ(lines.size(), 1u) << c.what << ": " << r.err;
        EXPECT_EQ(lines[0].rfind("glimmerstroll: ", 0), 0u) << c.what << ": " << lines[0];
        EXPECT_NE(lines[0].find(c.says), std::string::npos) << c.what << ": " << lines[0];
        EXPECT_TRUE(r.out.empty()) << c.what;
        EXPECT_EQ(dir.List(), before) << c.what;
    }
    EXPECT_EQ(ReadFile(dir / "taken.mp4"), "the user's earlier video");
}

// With "ShowPicError" off the missing picture is drawn as the placeholder:
// the render succeeds and says so once.
TEST_F(Tool, MissingPictureWithMessagesOffDrawsThePlaceholder) {
    WriteTestShow(dir / "lost.gsx", dir / "lost-picture.tga", 64, 36, {{0, 32, 18, 64, 0}, {10, 30, 18, 40, 0}}, 20);
    std::filesystem::remove(dir / "lost-picture.tga");
    std::filesystem::create_directory(dir / "config");
    { std::ofstream(dir / "config/Glimmerstroll") << "[Glimmerstroll]\r\nShowPicError=0\r\n"; }
    const RunResult r = Gs({"render", dir / "lost.gsx", "-o", "-", "--size", "160x90", "--frames", "0-1"},
                           {"XDG_CONFIG_HOME=" + dir / "config"});
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out.size(), 2 * kFrameBytes);
    ASSERT_EQ(Lines(r.err).size(), 1u) << r.err;
    EXPECT_NE(r.err.find("warning: picture " + dir / "lost-picture.tga is missing"), std::string::npos) << r.err;
}

TEST_F(Tool, InterruptedRenderLeavesNothingBehind) {
    if (!HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
    WriteTestShow(dir / "long.gsx", dir / "long-picture.tga", 160, 90, {{0, 80, 45, 160, 0}, {20, 60, 40, 80, 8}},
                  50000);
    // The user's own file of the name a careless temporary would take.
    { std::ofstream(dir / "long.mp4.part") << "mine"; }
    Process render({ToolPath(), "render", dir / "long.gsx", "-o", dir / "long.mp4", "--size", "1280x720"}, dir.path);
    auto temporaries = [&] {
        int n = 0;
        for (const std::string& name : dir.List()) n += name.rfind("long.mp4.", 0) == 0 && name != "long.mp4.part";
        return n;
    };
    for (int i = 0; i < 400 && !temporaries(); i++) std::this_thread::sleep_for(std::chrono::milliseconds(25));
    ASSERT_EQ(temporaries(), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    kill(render.Pid(), SIGHUP);
    const RunResult r = render.Wait();
    EXPECT_EQ(r.exitCode, 130) << r.err;
    EXPECT_EQ(Lines(r.err).size(), 1u) << r.err;
    EXPECT_NE(r.err.find("interrupted"), std::string::npos) << r.err;
    EXPECT_FALSE(Exists(dir / "long.mp4"));
    EXPECT_EQ(temporaries(), 0);
    EXPECT_EQ(ReadFile(dir / "long.mp4.part"), "mine");
}

TEST_F(Tool, DemoReplacesNoneOfItsFilesWithoutY) {
    std::filesystem::create_directory(dir / "out");
    for (const char* name : {"demo.gsx", "demo-picture.tga", "demo.mp4"}) {
        const std::string mine = dir / (std::string("out/") + name);
        { std::ofstream(mine) << "mine"; }
        const RunResult r = Gs({"demo", "-o", dir / "out/demo.mp4", "--size", "32x18", "-q"});
        EXPECT_EQ(r.exitCode, 1) << mine;
        EXPECT_NE(r.err.find(mine + " already exists; add -y"), std::string::npos) << r.err;
        EXPECT_EQ(ReadFile(mine), "mine");
        std::filesystem::remove(mine);
    }
}

TEST_F(Tool, OutputNamesReachFfmpegAsFilesAndTheUsersPartFilesStay) {
    if (!HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
    for (const char* name : {"x.mp4", "file:x.mp4", "pipe:1.mkv", "-x.mp4"}) {
        const std::string part = std::string(name) + ".part";
        { std::ofstream(dir / part) << "mine"; }
        // Named as given, from inside the folder.
        const RunResult r = RunProgram({"/bin/sh", "-c", "cd \"$0\" && exec \"$1\" render show.gsx --output=\"$2\" "
                                        "--size 32x18 --frames 0-2 -q", dir.path, ToolPath(), name},
                                       dir.path);
        EXPECT_EQ(r.exitCode, 0) << name << ": " << r.err;
        EXPECT_GT(ReadFile(dir / name).size(), 100u) << name;
        EXPECT_EQ(ReadFile(dir / part), "mine") << name;
    }
}

TEST_F(Tool, ShortPictureNamesAreMissingAndFarKeysAreCapped) {
    // A reference of two characters names no picture.
    std::string show = ReadFile(dir / "show.gsx");
    show.replace(8 + 6, 3, std::string("ab\0", 3));
    { std::ofstream(dir / "short.gsx", std::ios::binary) << show; }
    const RunResult missing = Gs({"render", dir / "short.gsx", "-o", "-", "--size", "16x16"});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(missing.out, "");
    EXPECT_NE(missing.err.find("cannot load picture \"ab\""), std::string::npos) << missing.err;

    // A key at the last frame there is: an hour of frames, and how to get more.
    WriteTestShow(dir / "far.gsx", dir / "far.tga", 16, 16, {{0, 8, 8, 16, 0}, {2147483647, 8, 8, 8, 0}}, 0);
    const RunResult far = Gs({"render", dir / "far.gsx", "-o", "-", "--size", "1x1", "--fps", "1"});
    EXPECT_EQ(far.exitCode, 0) << far.err;
    EXPECT_EQ(far.out.size(), 3600u * 4);
    EXPECT_NE(far.err.find("--frames"), std::string::npos) << far.err;
}

// Both fields drawn with the second processor are the fields drawn without it,
// also where half the frame height is odd (NTSC's 486 rows).
TEST_F(Tool, BothFieldsAreTheSameWithTheSecondProcessor) {
    for (const std::string height : {"486", "480"}) {
        std::vector<std::string> args = {"render", dir / "show.gsx", "-o", "-", "--size", "720x" + height,
                                         "--frames", "12", "--fields", "both"};
        const RunResult one = Gs(args);
        args.push_back("--multiprocess");
        const RunResult two = Gs(args);
        ASSERT_EQ(one.exitCode, 0) << one.err;
        ASSERT_EQ(two.exitCode, 0) << two.err;
        EXPECT_EQ(one.out.size(), 720u * std::stoul(height) * 4);
        EXPECT_TRUE(one.out == two.out) << height;
    }
}

// The rate written into a video is the rate asked for, exactly.
TEST_F(Tool, VideosCarryTheExactFrameRate) {
    if (!HaveProgram("ffmpeg") || !HaveProgram("ffprobe")) GTEST_SKIP() << "ffmpeg is not installed";
    const std::pair<const char*, const char*> rates[] = {
        {"23.976", "24000/1001"}, {"24000/1001", "24000/1001"}, {"23.98", "24000/1001"}, {"24", "24/1"},
        {"25", "25/1"},           {"29.97", "30000/1001"},     {"30000/1001", "30000/1001"}, {"30", "30/1"},
        {"50", "50/1"},           {"59.94", "60000/1001"},     {"60000/1001", "60000/1001"}, {"60", "60/1"},
        {"12.5", "25/2"},         {"1", "1/1"},                {"240", "240/1"}};
    for (const auto& [fps, ratio] : rates) {
        const RunResult r = Gs({"render", dir / "show.gsx", "-o", dir / "rate.mp4", "-y", "--size", "160x90",
                                "--frames", "0-1", "--fps", fps});
        ASSERT_EQ(r.exitCode, 0) << fps << ": " << r.err;
        const RunResult probe = RunProgram({"ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries",
                                            "stream=r_frame_rate", "-of", "default=nw=1:nk=1", dir / "rate.mp4"},
                                           dir.path);
        EXPECT_EQ(probe.out, std::string(ratio) + "\n") << fps;
    }
}

// A picture pattern's missing folders are made; a range that runs past the
// show's end is cut there with one warning.
TEST_F(Tool, PatternFoldersAreMadeAndLongRangesCut) {
    const RunResult r = Gs({"render", dir / "show.gsx", "-o", dir / "frames/new/f_%05d.png", "--size", "160x90",
                            "--frames", "22-40"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const auto lines = Lines(r.err);
    ASSERT_EQ(lines.size(), 1u) << r.err;
    EXPECT_NE(lines[0].find("warning: --frames 22-40 runs past the end: the show has 25 frames (0-24); "
                            "rendering 22-24"),
              std::string::npos) << lines[0];
    for (int f = 22; f <= 24; f++) EXPECT_TRUE(Exists(dir / ("frames/new/f_000" + std::to_string(f) + ".png"))) << f;
    EXPECT_FALSE(Exists(dir / "frames/new/f_00025.png"));
}

// Without a saved length the show runs to its last key, counted from the
// picture's start: start 8 and a last key at 30 make 39 frames.
TEST_F(Tool, DefaultLengthCountsFromThePictureStart) {
    WriteTestShow(dir / "late.gsx", dir / "late-picture.tga", 160, 90, {{0, 80, 45, 160, 0}, {30, 60, 40, 80, 0}}, 0,
                  8);
    const RunResult r = Gs({"render", dir / "late.gsx", "-o", "-", "--size", "160x90"});
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out.size(), 39 * kFrameBytes);
    const RunResult last = Gs({"render", dir / "late.gsx", "-o", "-", "--size", "160x90", "--frames", "38"});
    ASSERT_EQ(last.exitCode, 0) << last.err;
    EXPECT_NE(last.out, r.out.substr(37 * kFrameBytes, kFrameBytes)) << "the camera still moves into frame 38";
}

// A show moved together with its picture still renders, and `info` finds the
// picture where the render does: beside the show, or in "AltImageFolder" (set
// in a settings file written by hand, with LF line ends).
TEST_F(Tool, MovedShowsFindTheirPictures) {
    std::filesystem::create_directories(dir / "old");
    WriteStandardShow(dir, "old/trip");
    const RunResult before = Gs({"render", dir / "old/trip.gsx", "-o", "-", "--size", "160x90", "--frames", "0-4"});
    ASSERT_EQ(before.exitCode, 0) << before.err;
    std::filesystem::rename(dir / "old", dir / "moved");

    const RunResult after = Gs({"render", dir / "moved/trip.gsx", "-o", "-", "--size", "160x90", "--frames", "0-4"});
    ASSERT_EQ(after.exitCode, 0) << after.err;
    EXPECT_TRUE(after.out == before.out);
    const RunResult info = Gs({"info", dir / "moved/trip.gsx"});
    EXPECT_NE(info.out.find(dir / "moved/trip-picture.tga  found"), std::string::npos) << info.out;

    // The picture in the alternative folder only.
    std::filesystem::create_directories(dir / "alt");
    std::filesystem::rename(dir / "moved/trip-picture.tga", dir / "alt/trip-picture.tga");
    std::filesystem::create_directories(dir / "config");
    { std::ofstream(dir / "config/Glimmerstroll") << "[Glimmerstroll]\nAltImageFolder=" + dir / "alt/" + "\n"; }
    const std::vector<std::string> env = {"XDG_CONFIG_HOME=" + dir / "config"};
    const RunResult alt = Gs({"render", dir / "moved/trip.gsx", "-o", "-", "--size", "160x90", "--frames", "0-4"}, env);
    ASSERT_EQ(alt.exitCode, 0) << alt.err;
    EXPECT_TRUE(alt.out == before.out);
    const RunResult altInfo = Gs({"info", dir / "moved/trip.gsx"}, env);
    EXPECT_NE(altInfo.out.find(dir / "alt/trip-picture.tga  found"), std::string::npos) << altInfo.out;
    const RunResult lost = Gs({"info", dir / "moved/trip.gsx"});
    EXPECT_NE(lost.out.find("MISSING"), std::string::npos) << lost.out;
}

// `edit` without the editor program beside the tool could not start: exit 2.
TEST_F(Tool, EditWithoutTheEditorCannotStart) {
    std::filesystem::copy_file(ToolPath(), dir / "glimmerstroll");
    std::filesystem::permissions(dir / "glimmerstroll", std::filesystem::perms::owner_all);
    const RunResult r = RunProgram({dir / "glimmerstroll", "edit", dir / "show.gsx"}, dir.path);
    EXPECT_EQ(r.exitCode, 2) << r.err;
    EXPECT_NE(r.err.find("cannot run " + dir / "glimmerstroll-edit"), std::string::npos) << r.err;
}
