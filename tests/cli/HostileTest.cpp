// SPDX-License-Identifier: GPL-2.0-or-later
// Hostile input through the tool and the frei0r source plug-in: pictures and
// shows cut at every tenth, headers that claim huge pictures, paths that are
// no files. Nothing may crash or hang; the tool must refuse every one of them
// with its one line and a non-zero exit (a picture that the importer decodes
// from a cut file may come back part black), the plug-in must say
// so once and fall back. And an interrupt must end a render at once even
// inside a slow load.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "tests/cli/CliTestUtil.h"

using namespace gstest;

namespace {

using Clock = std::chrono::steady_clock;

// Processor seconds of the children waited for so far.
double ChildSeconds() {
    rusage use{};
    getrusage(RUSAGE_CHILDREN, &use);
    return use.ru_utime.tv_sec + use.ru_stime.tv_sec + (use.ru_utime.tv_usec + use.ru_stime.tv_usec) / 1e6;
}

class Hostile : public ::testing::Test {
protected:
    void SetUp() override { WriteStandardShow(dir); }

    // A show like the standard one over the picture at `picture`, whatever it is.
    std::string ShowOver(const std::string& picture, const std::string& name) {
        const std::string show = dir / (name + std::to_string(++made_) + ".gsx");
        const std::string made = dir / (name + "-made.tga");
        WriteTestShow(show, made, 160, 90, {{0, 80, 45, 160, 0}, {10, 60, 40, 80, 8}}, 25);
        std::string bytes = ReadFile(show);
        FSpec fileSpec;
        MakePathSpec(fileSpec, picture.c_str());
        bytes.replace(8, sizeof fileSpec, reinterpret_cast<const char*>(&fileSpec), sizeof fileSpec);
        std::ofstream(show, std::ios::binary) << bytes;
        std::remove(made.c_str());
        return show;
    }

    // Runs the tool on `show` (`what` names the case): it must not hang (30 s)
    // and must refuse the show with its one line. With `partial` it may
    // instead render the frames whole: a picture that the importer decodes
    // from a cut file may come back with the rest of it black. With `prompt` it must be done
    // within a processor second and a few seconds of wall time (this machine
    // may be busy). The show is kept for ExpectPluginFallsBack.
    void ExpectRefused(const std::string& show, const std::string& what, bool prompt = false, bool partial = false) {
        const double cpu = ChildSeconds();
        const auto start = Clock::now();
        const RunResult tool = Process({ToolPath(), "render", show, "-o", "-", "--size", "32x18", "--frames", "0-1"},
                                       dir.path, {"XDG_CONFIG_HOME=" + dir / "config"})
                                   .Wait(30);
        if (partial && tool.exitCode == 0) {
            EXPECT_EQ(tool.out.size(), 2u * 32 * 18 * 4) << what;
            EXPECT_EQ(tool.err, "") << what;
            return;
        }
        EXPECT_EQ(tool.exitCode, 1) << what << ": " << tool.err;
        EXPECT_EQ(Lines(tool.err).size(), 1u) << what << ": " << tool.err;
        if (prompt) {
            EXPECT_LT(ChildSeconds() - cpu, 1.0) << what;
            EXPECT_LT(Clock::now() - start, std::chrono::seconds(5)) << what;
        }
        shows.push_back(show);
    }

    // Runs the frei0r source plug-in over every show refused so far, each an
    // input of one ffmpeg: it must neither crash nor hang, must fall back
    // to its black frames and must say each thing once, not every frame.
    void ExpectPluginFallsBack() {
        if (!HaveProgram("ffmpeg") || shows.empty()) return;
        std::vector<std::string> args = {"ffmpeg", "-v", "error"};
        for (const std::string& show : shows)
            args.insert(args.end(), {"-f", "lavfi", "-i",
                                     "frei0r_src=size=32x18:framerate=25:filter_name=glimmerstroll:filter_params=" +
                                         show + "|25"});
        for (size_t i = 0; i < shows.size(); i++) args.insert(args.end(), {"-map", std::to_string(i)});
        args.insert(args.end(), {"-frames:v", "3", "-f", "null", "-"});
        const RunResult plugin =
            Process(args, dir.path, {"FREI0R_PATH=" + PluginFolder(), "XDG_CONFIG_HOME=" + dir / "config"}).Wait(60);
        EXPECT_EQ(plugin.exitCode, 0) << plugin.err;
        const std::vector<std::string> lines = Lines(plugin.err);
        const std::string prefix = "glimmerstroll frei0r: ";
        for (const std::string& show : shows) {
            // "cannot open show S: ...", "S is truncated ...", "... of show S".
            const auto names = [&](const std::string& line) {
                return line.rfind(prefix, 0) == 0 && (line.find("show " + show) != std::string::npos ||
                                                      line.rfind(prefix + show + " ", 0) == 0);
            };
            EXPECT_EQ(std::count_if(lines.begin(), lines.end(), names), 1) << show << ":\n" << plugin.err;
        }
        shows.clear();
    }

    std::vector<std::string> shows;
    int made_ = 0;
    TempDir dir;
};

void WriteBytes(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

void Put32(std::string& bytes, size_t at, uint32_t v, bool big) {
    for (int i = 0; i < 4; i++) bytes[at + i] = static_cast<char>(v >> (big ? 24 - 8 * i : 8 * i));
}

TEST_F(Hostile, CutAndOversizedPicturesAndShowsAreRefused) {
    std::filesystem::create_directory(dir / "config");
    // Pictures of every kind, from the program's own writers and ImageMagick.
    CDIB picture(1, 1, 24);
    DrawTestPicture(picture, 40, 30);
    std::string error;
    ASSERT_TRUE(gs::WriteTarga(picture, dir / "p.tga", error)) << error;
    FSpec bmp;
    MakePathSpec(bmp, (dir / "p.bmp").c_str());
    ASSERT_TRUE(picture.Save(&bmp, 0));
    std::vector<std::string> pictures = {"p.tga", "p.bmp"};
    if (HaveProgram("convert")) {
        for (const char* ext : {"tif", "psd", "png", "jpg"}) {
            const RunResult r = RunProgram({"convert", dir / "p.tga", dir / (std::string("p.") + ext)}, dir.path);
            ASSERT_EQ(r.exitCode, 0) << r.err;
            pictures.push_back(std::string("p.") + ext);
        }
    }
    for (const std::string& name : pictures) {
        const std::string whole = ReadFile(dir / name);
        for (int tenth = 0; tenth < 10; tenth++) {
            const std::string cut = dir / ("cut-" + std::to_string(tenth) + "-" + name);
            WriteBytes(cut, whole.substr(0, whole.size() * tenth / 10));
            // Nothing left of the header: nothing to read.
            // The built-in readers refuse a cut picture; what the importer
            // decodes may come back part black.
            const bool builtIn = name == "p.tga" || name == "p.bmp";
            ExpectRefused(ShowOver(cut, "cut"), name + " cut at " + std::to_string(tenth) + "/10", false,
                          tenth > 0 && !builtIn);
        }
    }
    // Headers that claim pictures far beyond what is there.
    struct Oversized {
        const char* name;
        size_t at;
        bool big;
    };
    for (const Oversized& o : {Oversized{"p.bmp", 18, false}, Oversized{"p.psd", 14, true}}) {
        if (!Exists(dir / o.name)) continue;
        std::string bytes = ReadFile(dir / o.name);
        Put32(bytes, o.at, 0x7FFFFFFF, o.big);
        Put32(bytes, o.at + 4, 0x40000000, o.big);
        WriteBytes(dir / "big" + o.name, bytes);
        ExpectRefused(ShowOver(dir / "big" + o.name, "big"), std::string("oversized ") + o.name);
    }
    std::string tga = ReadFile(dir / "p.tga");
    tga[12] = tga[13] = tga[14] = tga[15] = '\xFF';
    WriteBytes(dir / "big.tga", tga);
    ExpectRefused(ShowOver(dir / "big.tga", "big"), "oversized p.tga");

    // Shows cut at every tenth, and one whose size field is absurd.
    const std::string show = ReadFile(dir / "show.gsx");
    for (int tenth = 0; tenth < 10; tenth++) {
        const std::string cut = dir / ("show-cut" + std::to_string(tenth) + ".gsx");
        WriteBytes(cut, show.substr(0, show.size() * tenth / 10));
        ExpectRefused(cut, "show cut at " + std::to_string(tenth) + "/10");
    }
    std::string huge = show;
    Put32(huge, 4, 0xFFFFFFF0u, false);
    WriteBytes(dir / "huge.gsx", huge);
    ExpectRefused(dir / "huge.gsx", "show with a huge size");
    ExpectPluginFallsBack();
}

TEST_F(Hostile, NoFileIsReadThatIsNotAFile) {
    ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
    std::filesystem::create_directory(dir / "folder");
    for (const std::string& path : {std::string("/dev/zero"), std::string("/dev/urandom"), dir / "fifo", dir / "folder"}) {
        ExpectRefused(path, "show " + path, true);
        ExpectRefused(ShowOver(path, "over"), "picture " + path, true);
    }
    ExpectPluginFallsBack();
    // Settings that are no file are passed over: the defaults hold.
    for (const std::string& path : {std::string("/dev/zero"), dir / "fifo"}) {
        std::filesystem::remove_all(dir / "config");
        std::filesystem::create_directory(dir / "config");
        std::filesystem::create_symlink(path, dir / "config/Glimmerstroll");
        const double cpu = ChildSeconds();
        const RunResult r = Process({ToolPath(), "render", dir / "show.gsx", "-o", "-", "--size", "32x18", "--frames", "0"},
                                    dir.path, {"XDG_CONFIG_HOME=" + dir / "config"})
                                .Wait(30);
        EXPECT_EQ(r.exitCode, 0) << path << ": " << r.err;
        EXPECT_EQ(r.out.size(), 32u * 18 * 4);
        EXPECT_LT(ChildSeconds() - cpu, 1.0) << path;
    }
}

TEST_F(Hostile, AnInterruptEndsASlowPictureLoadAtOnce) {
    // A large noisy PNG (Pillow): seconds of decoding and preparing.
    const RunResult made = RunProgram({"/usr/bin/python3", "-c",
                                       "import sys; from PIL import Image; "
                                       "Image.effect_noise((8000, 8000), 80).convert('RGB').save(sys.argv[1], compress_level=1)",
                                       dir / "slow.png"},
                                      dir.path);
    if (made.exitCode != 0) GTEST_SKIP() << "Pillow is not installed: " << made.err;
    const std::string show = ShowOver(dir / "slow.png", "slow");
    // Pictures, and a video, whose ffmpeg is started before the load.
    for (const char* output : {"out/f_%03d.tga", "out/v.mp4"}) {
        SCOPED_TRACE(output);
        if (std::string(output).find("mp4") != std::string::npos && !HaveProgram("ffmpeg")) continue;
        std::filesystem::create_directory(dir / "out");
        Process render({ToolPath(), "render", show, "-o", dir / output, "--size", "32x18", "--frames", "0-1"},
                       dir.path);
        // Inside the load: the picture is open.
        auto opened = [&] {
            const std::string fds = "/proc/" + std::to_string(render.Pid()) + "/fd";
            std::error_code ec;
            for (const auto& e : std::filesystem::directory_iterator(fds, ec))
                if (std::filesystem::read_symlink(e.path(), ec) == dir / "slow.png") return true;
            return false;
        };
        for (int i = 0; i < 3000 && !opened(); i++) std::this_thread::sleep_for(std::chrono::milliseconds(5));
        ASSERT_TRUE(opened());
        const auto start = Clock::now();
        kill(render.Pid(), SIGTERM);
        const RunResult r = render.Wait(30);
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(1));
        EXPECT_EQ(r.exitCode, 130) << r.err;
        EXPECT_NE(r.err.find("interrupted"), std::string::npos) << r.err;
        EXPECT_TRUE(std::filesystem::is_empty(dir / "out"));
    }
}

TEST_F(Hostile, OpenImageIOIsLoadedOnlyForPicturesThatNeedIt) {
    // The loader's record of the libraries it opened, per process.
    auto loadsOpenImageIO = [&](const std::string& picture) {
        const std::string show = ShowOver(picture, "lib");
        const std::string log = dir / "ld";
        const RunResult r = Process({ToolPath(), "render", show, "-o", "-", "--size", "32x18", "--frames", "0"},
                                    dir.path, {"LD_DEBUG=files", "LD_DEBUG_OUTPUT=" + log})
                                .Wait(30);
        EXPECT_EQ(r.exitCode, 0) << picture << ": " << r.err;
        bool loaded = false;
        for (const std::string& name : dir.List())
            if (name.rfind("ld.", 0) == 0) {
                loaded = loaded || ReadFile(dir / name).find("libOpenImageIO") != std::string::npos;
                std::filesystem::remove(dir / name);
            }
        return loaded;
    };
    const std::string jpeg = dir / "photo.jpg", png = dir / "photo.png";
    const RunResult made = RunProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=size=96x64", "-frames:v",
                                       "1", jpeg, "-frames:v", "1", png},
                                      dir.path);
    if (made.exitCode != 0) GTEST_SKIP() << "ffmpeg is not installed: " << made.err;
    EXPECT_FALSE(loadsOpenImageIO(jpeg));
    EXPECT_TRUE(loadsOpenImageIO(png));
}

}  // namespace
