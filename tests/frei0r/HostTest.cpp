// SPDX-License-Identifier: GPL-2.0-or-later
// The frei0r plug-ins loaded by real hosts (ffmpeg's frei0r_src and frei0r
// filters, melt's frei0r producer) with FREI0R_PATH pointing at the build. Their
// frames, after the host's own conversion to RGBA, must equal the tool's raw
// output for the same show, size and rate, byte for byte.
#include <gtest/gtest.h>

#include "tests/cli/CliTestUtil.h"

using namespace gstest;

namespace {

constexpr int kW = 160;
constexpr int kH = 90;
constexpr size_t kFrameBytes = static_cast<size_t>(kW) * kH * 4;

class Hosts : public ::testing::Test {
protected:
    void SetUp() override {
        if (!HaveProgram("ffmpeg")) GTEST_SKIP() << "ffmpeg is not installed";
        WriteStandardShow(dir, "show");
        // A second show, over another picture, with other moves.
        WriteTestShow(dir / "other.gsx", dir / "other-picture.tga", 200, 150,
                      {{0, 100, 75, 200, 0}, {6, 140, 60, 90, -15}, {12, 70, 90, 110, 5}}, 25);
    }

    // The tool's raw frames.
    std::string Tool(const std::string& show, const std::string& fps, const std::string& frames) {
        const RunResult r = RunProgram({ToolPath(), "render", show, "-o", "-", "--size", "160x90", "--fps", fps, "--frames", frames},
                                dir.path);
        EXPECT_EQ(r.exitCode, 0) << r.err;
        return r.out;
    }

    // Runs a host with the build's plug-ins; its output file's bytes.
    std::string Host(std::vector<std::string> args, const std::string& output, RunResult* result = nullptr) {
        const RunResult r = RunProgram(args, dir.path, {"FREI0R_PATH=" + plugins});
        EXPECT_EQ(r.exitCode, 0) << args[0] << ": " << r.err;
        if (result) *result = r;
        return ReadFile(output);
    }

    std::string FfmpegSource(const std::string& show, const std::string& rate, const std::string& fps, int frames,
                             RunResult* result = nullptr) {
        const std::string out = dir / "ffmpeg-source.rgba";
        return Host({"ffmpeg", "-v", "error", "-y", "-f", "lavfi", "-i",
                     "frei0r_src=size=160x90:framerate=" + rate + ":filter_name=glimmerstroll:filter_params=" + show +
                         "|" + fps,
                     "-frames:v", std::to_string(frames), "-f", "rawvideo", "-pix_fmt", "rgba", out},
                    out, result);
    }

    // The filter over `input` (ffmpeg input arguments).
    std::string FfmpegFilter(const std::vector<std::string>& input, const std::string& show, int frames,
                             RunResult* result = nullptr) {
        const std::string out = dir / "ffmpeg-filter.rgba";
        std::vector<std::string> args = {"ffmpeg", "-v", "error", "-y"};
        args.insert(args.end(), input.begin(), input.end());
        args.insert(args.end(), {"-vf", "format=rgba,frei0r=filter_name=glimmerstroll_filter:filter_params=" + show + "|25",
                                 "-frames:v", std::to_string(frames), "-f", "rawvideo", "-pix_fmt", "rgba", out});
        return Host(args, out, result);
    }

    // `threads` render threads (MLT's real_time=-threads), each with its own
    // instance of the plug-in.
    std::string Melt(const std::vector<std::string>& producers, int threads = 1) {
        if (!HaveProgram("melt")) return "";
        {
            std::ofstream profile(dir / "profile");
            profile << "description=test\nframe_rate_num=25\nframe_rate_den=1\nwidth=160\nheight=90\n"
                       "progressive=1\nsample_aspect_num=1\nsample_aspect_den=1\n"
                       "display_aspect_num=16\ndisplay_aspect_den=9\ncolorspace=709\n";
        }
        const std::string out = dir / "melt.rgba";
        std::vector<std::string> args = {"melt", "-silent", "-profile", dir / "profile"};
        args.insert(args.end(), producers.begin(), producers.end());
        args.insert(args.end(), {"-consumer", "avformat:" + out, "f=rawvideo", "vcodec=rawvideo", "pix_fmt=rgba",
                                 "an=1", "real_time=-" + std::to_string(threads)});
        // On a busy machine melt now and then ends at once, successfully and
        // with no frame written; a second run then gives the frames.
        std::string frames = Host(args, out);
        if (frames.empty()) frames = Host(args, out);
        return frames;
    }

    TempDir dir;
    std::string plugins = PluginFolder();  // the hosts' FREI0R_PATH
};

// Frame-by-frame comparison that names the first frame that differs.
void ExpectSameFrames(const std::string& host, const std::string& tool, const char* what) {
    ASSERT_EQ(host.size(), tool.size()) << what;
    for (size_t f = 0; f * kFrameBytes < tool.size(); f++)
        ASSERT_TRUE(host.compare(f * kFrameBytes, kFrameBytes, tool, f * kFrameBytes, kFrameBytes) == 0)
            << what << ": frame " << f << " differs";
}

}  // namespace

TEST_F(Hosts, FfmpegSourceGivesTheToolsFrames) {
    ExpectSameFrames(FfmpegSource(dir / "show.gsx", "25", "25", 25), Tool(dir / "show.gsx", "25", "0-24"),
                     "frei0r_src at 25");
    // ffmpeg passes times in milliseconds, rounded; 29.97 must still land on
    // every frame.
    ExpectSameFrames(FfmpegSource(dir / "other.gsx", "30000/1001", "29.97", 25),
                     Tool(dir / "other.gsx", "29.97", "0-24"), "frei0r_src at 29.97");
}

TEST_F(Hosts, FfmpegFilterOverTheShowsPictureGivesTheToolsFrames) {
    ExpectSameFrames(FfmpegFilter({"-loop", "1", "-framerate", "25", "-i", dir / "show-picture.tga"}, dir / "show.gsx", 25),
                     Tool(dir / "show.gsx", "25", "0-24"), "frei0r filter");
}

TEST_F(Hosts, FfmpegFilterTakesEveryInputFrameAfresh) {
    // A camera that holds still over the whole frame: what moves is the input.
    WriteTestShow(dir / "still.gsx", dir / "still-picture.tga", kW, kH, {{0, 80, 45, 150, 0}, {10, 80, 45, 150, 0}},
                  25);
    const std::string moving = FfmpegFilter({"-f", "lavfi", "-i", "testsrc2=size=160x90:rate=25"}, dir / "still.gsx", 3);
    ASSERT_EQ(moving.size(), 3 * kFrameBytes);
    EXPECT_NE(moving.substr(0, kFrameBytes), moving.substr(2 * kFrameBytes, kFrameBytes));

    const std::string still = FfmpegFilter({"-loop", "1", "-framerate", "25", "-i", dir / "still-picture.tga"},
                                           dir / "still.gsx", 3);
    ASSERT_EQ(still.size(), 3 * kFrameBytes);
    EXPECT_EQ(still.substr(0, kFrameBytes), still.substr(2 * kFrameBytes, kFrameBytes));
}

TEST_F(Hosts, MeltProducerGivesTheToolsFrames) {
    if (!HaveProgram("melt")) GTEST_SKIP() << "melt is not installed";
    ExpectSameFrames(Melt({"frei0r.glimmerstroll", "show=" + dir / "show.gsx", "fps=25", "out=24"}, 2),
                     Tool(dir / "show.gsx", "25", "0-24"), "melt");
}

// Two producers one after the other, each with instances on two render
// threads: every instance keeps its own show. MLT hands a source the time of
// the whole playlist, so the second clip starts at the show's frame 12.
TEST_F(Hosts, MeltInstancesKeepTheirOwnShows) {
    if (!HaveProgram("melt")) GTEST_SKIP() << "melt is not installed";
    const std::string host = Melt({"frei0r.glimmerstroll", "show=" + dir / "show.gsx", "fps=25", "out=11",
                                   "frei0r.glimmerstroll", "show=" + dir / "other.gsx", "fps=25", "out=11"},
                                  2);
    ExpectSameFrames(host, Tool(dir / "show.gsx", "25", "0-11") + Tool(dir / "other.gsx", "25", "12-23"),
                     "melt with two shows");
}

// A filter attached to a clip counts time from the clip's start.
TEST_F(Hosts, MeltFilterOverTheShowsPictureGivesTheToolsFrames) {
    if (!HaveProgram("melt")) GTEST_SKIP() << "melt is not installed";
    ExpectSameFrames(Melt({dir / "show-picture.tga", "out=24", "-attach", "frei0r.glimmerstroll_filter",
                           "show=" + dir / "show.gsx", "fps=25"}),
                     Tool(dir / "show.gsx", "25", "0-24"), "melt filter");
}

// The clip files the README gives for Kdenlive and Shotcut, placed after five
// black frames: both count the show's time from the clip's start.
TEST_F(Hosts, MeltClipFilesCountFromTheClipsStart) {
    if (!HaveProgram("melt")) GTEST_SKIP() << "melt is not installed";
    {
        std::ofstream(dir / "show.mlt")
            << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<mlt>\n"
               "  <producer id=\"show\" in=\"0\" out=\"9\">\n"
               "    <property name=\"mlt_service\">frei0r.glimmerstroll</property>\n"
               "    <property name=\"length\">10</property>\n"
               "    <property name=\"show\">" << dir / "show.gsx" << "</property>\n"
               "    <property name=\"fps\">25</property>\n"
               "  </producer>\n"
               "  <tractor id=\"clip\" in=\"0\" out=\"9\">\n    <track producer=\"show\"/>\n  </tractor>\n</mlt>\n";
        std::ofstream(dir / "pan.mlt")
            << "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<mlt>\n"
               "  <producer id=\"photo\" in=\"0\" out=\"9\">\n"
               "    <property name=\"resource\">" << dir / "show-picture.tga" << "</property>\n"
               "    <property name=\"length\">10</property>\n"
               "    <filter>\n"
               "      <property name=\"mlt_service\">frei0r.glimmerstroll_filter</property>\n"
               "      <property name=\"show\">" << dir / "show.gsx" << "</property>\n"
               "      <property name=\"fps\">25</property>\n"
               "    </filter>\n  </producer>\n"
               "  <tractor id=\"clip\" in=\"0\" out=\"9\">\n    <track producer=\"photo\"/>\n  </tractor>\n</mlt>\n";
    }
    const std::string tool = Tool(dir / "show.gsx", "25", "0-9");
    for (const char* clip : {"show.mlt", "pan.mlt"}) {
        const std::string host = Melt({"color:black", "out=4", dir / clip});
        ASSERT_EQ(host.size(), 15 * kFrameBytes) << clip;
        ExpectSameFrames(host.substr(5 * kFrameBytes), tool, clip);
    }
}

TEST_F(Hosts, MissingShowGivesBlackOrTheInputAndOneMessage) {
    RunResult r;
    const std::string black = FfmpegSource(dir / "nope.gsx", "25", "25", 4, &r);
    ASSERT_EQ(black.size(), 4 * kFrameBytes);
    for (size_t i = 0; i < black.size(); i++)
        ASSERT_EQ(static_cast<uint8_t>(black[i]), i % 4 == 3 ? 255 : 0) << "byte " << i;
    const auto lines = Lines(r.err);
    ASSERT_EQ(lines.size(), 1u) << r.err;
    EXPECT_EQ(lines[0], "glimmerstroll frei0r: cannot open show " + dir / "nope.gsx" + ": No such file or directory");

    // The filter passes its input through.
    const std::vector<std::string> picture = {"-loop", "1", "-framerate", "25", "-i", dir / "show-picture.tga"};
    const std::string through = FfmpegFilter(picture, dir / "nope.gsx", 2);
    std::vector<std::string> plain = {"ffmpeg", "-v", "error", "-y"};
    plain.insert(plain.end(), picture.begin(), picture.end());
    plain.insert(plain.end(), {"-frames:v", "2", "-f", "rawvideo", "-pix_fmt", "rgba", dir / "plain.rgba"});
    ASSERT_EQ(RunProgram(plain, dir.path).exitCode, 0);
    EXPECT_EQ(through, ReadFile(dir / "plain.rgba"));
}

// "fps" is text, read as the tool reads --fps; a rate that cannot be read
// gives one message and 25.
TEST_F(Hosts, FpsTakesTheToolsRateText) {
    ExpectSameFrames(FfmpegSource(dir / "other.gsx", "30000/1001", "30000/1001", 12),
                     Tool(dir / "other.gsx", "29.97", "0-11"), "fps 30000/1001");
    RunResult r;
    ExpectSameFrames(FfmpegSource(dir / "show.gsx", "25", "fast", 12, &r), Tool(dir / "show.gsx", "25", "0-11"),
                     "fps fast");
    EXPECT_EQ(Lines(r.err), std::vector<std::string>{"glimmerstroll frei0r: fps fast: expected a frame rate such as "
                                                     "25, 29.97 or 30000/1001; using 25"});
}

// What MLT shows of the parameters (and Kdenlive and Shotcut build their
// fields from): each has a description, and fps is text with its default.
TEST_F(Hosts, MeltListsTheParametersWithDescriptions) {
    if (!HaveProgram("melt")) GTEST_SKIP() << "melt is not installed";
    const RunResult r = RunProgram({"melt", "-query", "filter=frei0r.glimmerstroll_filter"}, dir.path,
                                   {"FREI0R_PATH=" + PluginFolder()});
    const size_t params = r.out.find("parameters:");
    ASSERT_NE(params, std::string::npos) << r.out;
    const std::string list = r.out.substr(params);
    size_t identifiers = 0, descriptions = 0;
    for (const std::string& line : Lines(list)) {
        identifiers += line.find("- identifier:") != std::string::npos;
        descriptions += line.find("  description: ") != std::string::npos;
    }
    EXPECT_GE(identifiers, 2u) << list;
    EXPECT_EQ(descriptions, identifiers) << list;
    const size_t fps = list.find("title: fps");
    ASSERT_NE(fps, std::string::npos) << list;
    const std::string block = list.substr(fps, list.find("- identifier:", fps) - fps);
    EXPECT_NE(block.find("type: string"), std::string::npos) << block;
    EXPECT_NE(block.find("default: 25"), std::string::npos) << block;
}

// The portable pair: no OpenImageIO and no shared C++ runtime, and pictures
// that the built-in readers leave to the importer (here a PNG) read all the
// same, to the tool's frames.
TEST_F(Hosts, PortablePluginsNeedNoOpenImageIO) {
    plugins = std::string(GS_BINARY_DIR) + "/frei0r-1-portable";
    if (!std::filesystem::exists(plugins + "/glimmerstroll.so")) GTEST_SKIP() << "no portable plug-ins in this build";
    if (!HaveProgram("melt") || !HaveProgram("convert")) GTEST_SKIP() << "melt or ImageMagick is not installed";
    for (const char* plugin : {"/glimmerstroll.so", "/glimmerstroll_filter.so"}) {
        const RunResult ldd = RunProgram({"ldd", plugins + plugin}, dir.path);
        ASSERT_EQ(ldd.exitCode, 0) << ldd.err;
        EXPECT_EQ(ldd.out.find("OpenImageIO"), std::string::npos) << ldd.out;
        EXPECT_EQ(ldd.out.find("libstdc++"), std::string::npos) << ldd.out;
    }
    // The test show's picture, written as Targa under a .png name, made a real PNG.
    WriteTestShow(dir / "png.gsx", dir / "png-picture.png", kW, kH, {{0, 80, 45, 160, 0}, {10, 60, 40, 80, 8}}, 25);
    ASSERT_EQ(RunProgram({"convert", "tga:" + dir / "png-picture.png", "png:" + dir / "png-picture.png"}, dir.path).exitCode, 0);
    ExpectSameFrames(Melt({"frei0r.glimmerstroll", "show=" + dir / "png.gsx", "fps=25", "out=10"}),
                     Tool(dir / "png.gsx", "25", "0-10"), "portable source over a PNG");
}
