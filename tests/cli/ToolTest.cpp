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
        "assert d['infoVersion']==1 and d['byteOrder']=='little-endian' and d['versionStamp']==110\n"
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

// Each mistake gives one line on standard error, a non-zero exit and no output
// file, whole or partial.
TEST_F(Tool, BadInputFailsWithOneLineAndNoOutput) {
    { std::ofstream(dir / "notashow.txt") << "these are some words, not a show"; }
    { std::ofstream(dir / "plain") << "a file, not a folder"; }
    { std::ofstream(dir / "taken.mp4") << "the user's earlier video"; }
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
        const char* says;
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
        {"info of a missing show", {"info", dir / "nope.gsx"}, {}, 1, "cannot open show"},
        {"info of a folder", {"info", dir.path}, {}, 1, "it is a folder"},
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
    Process render({ToolPath(), "render", dir / "show.gsx", "-o", dir / "long.mp4", "--size", "1280x720", "--frames",
                    "0-100000"},
                   dir.path);
    for (int i = 0; i < 400 && !Exists(dir / "long.mp4.part"); i++)
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
    ASSERT_TRUE(Exists(dir / "long.mp4.part"));
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    kill(render.Pid(), SIGINT);
    const RunResult r = render.Wait();
    EXPECT_EQ(r.exitCode, 130) << r.err;
    EXPECT_EQ(Lines(r.err).size(), 1u) << r.err;
    EXPECT_NE(r.err.find("interrupted"), std::string::npos) << r.err;
    EXPECT_FALSE(Exists(dir / "long.mp4"));
    EXPECT_FALSE(Exists(dir / "long.mp4.part"));
}
