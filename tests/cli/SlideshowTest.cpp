// SPDX-License-Identifier: GPL-2.0-or-later
// `glimmerstroll slideshow` run as a user runs it, on real photos: the moves it
// saves, the film's frames and length, its memory, and bad photos.
#include <gtest/gtest.h>

#include <sys/resource.h>

#include "app/ShowBlock.h"
#include "app/Slideshow.h"
#include "tests/cli/CliTestUtil.h"

using namespace gstest;

namespace {

constexpr int kW = 256;
constexpr int kH = 144;
constexpr size_t kFrameBytes = static_cast<size_t>(kW) * kH * 4;
constexpr float kAspect = static_cast<float>(kH) / kW;
const char* const kAstronaut = "/usr/lib/python3/dist-packages/skimage/data/astronaut.png";

class Slideshow : public ::testing::Test {
protected:
    RunResult Gs(std::vector<std::string> args) {
        args.insert(args.begin(), ToolPath());
        return RunProgram(args, dir.path);
    }

    // A photo written by ImageMagick.
    std::string Photo(const std::string& name, const std::string& size, const std::string& source = "plasma:fractal") {
        const std::string path = dir / name;
        const RunResult r = RunProgram({"convert", "-seed", "7", "-size", size, source, path}, dir.path);
        EXPECT_EQ(r.exitCode, 0) << r.err;
        return path;
    }

    std::vector<KeyStruct> Keys(const std::string& show) {
        gs::ShowBlock block;
        std::string error;
        EXPECT_TRUE(gs::ReadShowFile(show, block, error)) << error;
        return block.pictures.empty() ? std::vector<KeyStruct>{} : block.pictures[0].keys;
    }

    // Frames of a show, rendered by `render` at the film's size with the
    // slideshow's default quality.
    std::string Render(const std::string& show, long first, long last) {
        const RunResult r = Gs({"render", show, "-o", "-", "--size", std::to_string(kW) + "x" + std::to_string(kH),
                                "--frames", std::to_string(first) + "-" + std::to_string(last), "--quality", "exact"});
        EXPECT_EQ(r.exitCode, 0) << r.err;
        return r.out;
    }

    // Peak resident memory of the program in kilobytes.
    long PeakKilobytes(std::vector<std::string> args) {
        args.insert(args.begin(), ToolPath());
        std::vector<char*> argv;
        for (std::string& a : args) argv.push_back(a.data());
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        pid_t pid = -1;
        EXPECT_EQ(posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        int status = 0;
        struct rusage usage {};
        wait4(pid, &status, 0, &usage);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        return usage.ru_maxrss;
    }

    TempDir dir;
};

// The camera's rectangle of a key, in picture pixels.
struct Rect {
    float left, top, right, bottom;
};
Rect CameraOf(const KeyStruct& k) {
    const float h = k.width * kAspect;
    return {k.horizontalPos - k.width / 2, k.verticalPos - h / 2, k.horizontalPos + k.width / 2,
            k.verticalPos + h / 2};
}

// One film of a face, a portrait and a panorama: the moves aim where they
// should, the film is as long as its items less the transitions, and the
// frames of a cross-fade are the dissolve of the two shows' own frames.
TEST_F(Slideshow, MovesFramingLengthAndCrossfade) {
    if (!Exists(kAstronaut)) GTEST_SKIP() << "python3-skimage is not installed";
    const std::string portrait = Photo("portrait.png", "900x1600");
    const std::string panorama = Photo("panorama.png", "3000x700");
    const std::vector<std::string> args = {"slideshow", kAstronaut, portrait, panorama, "-o", "-", "--size", "256x144",
                                           "--duration", "1", "--transition-duration", "0.4", "--seed", "4",
                                           "--save-shows", dir / "shows"};
    std::vector<std::string> withShows = args;
    const RunResult r = Gs(withShows);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    // 3 items of 25 frames, two transitions of 10.
    EXPECT_EQ(r.out.size(), (3 * 25 - 2 * 10) * kFrameBytes);

    // The face in astronaut.png lies around (220, 115); the final camera
    // holds it, closer than the whole picture.
    const std::vector<KeyStruct> face = Keys(dir / "shows/001-astronaut.gsx");
    ASSERT_EQ(face.size(), 2u);
    const Rect end = CameraOf(face[1]);
    EXPECT_TRUE(end.left <= 185 && end.right >= 260 && end.top <= 75 && end.bottom >= 160)
        << end.left << "," << end.top << " - " << end.right << "," << end.bottom;
    EXPECT_LT(face[1].width, 512.0f);

    const std::vector<KeyStruct> tall = Keys(dir / "shows/002-portrait.gsx");
    const std::vector<KeyStruct> wide = Keys(dir / "shows/003-panorama.gsx");
    ASSERT_EQ(tall.size(), 2u);
    ASSERT_EQ(wide.size(), 2u);
    EXPECT_GT(std::fabs(tall[1].verticalPos - tall[0].verticalPos), 100.0f);
    EXPECT_LT(std::fabs(tall[1].horizontalPos - tall[0].horizontalPos), 50.0f);
    EXPECT_GT(std::fabs(wide[1].horizontalPos - wide[0].horizontalPos), 1000.0f);
    EXPECT_LT(std::fabs(wide[1].verticalPos - wide[0].verticalPos), 50.0f);

    // Item 2 starts at frame 15; frames 15..24 blend item 1's frames 15..24
    // with item 2's frames 0..9.
    const std::string outgoing = Render(dir / "shows/001-astronaut.gsx", 15, 24);
    const std::string incoming = Render(dir / "shows/002-portrait.gsx", 0, 9);
    ASSERT_EQ(outgoing.size(), 10 * kFrameBytes);
    ASSERT_EQ(incoming.size(), 10 * kFrameBytes);
    CDIB a(kW, kH, 32), b(kW, kH, 32);
    for (long k = 0; k < 10; k++) {
        std::memcpy(a.GetBitsAdd(0), outgoing.data() + k * kFrameBytes, kFrameBytes);
        std::memcpy(b.GetBitsAdd(0), incoming.data() + k * kFrameBytes, kFrameBytes);
        a.Dissolve(&b, gs::OutgoingWeight(k, 10));
        const uint8_t* want = a.GetBitsAdd(0);
        const uint8_t* got = reinterpret_cast<const uint8_t*>(r.out.data()) + (15 + k) * kFrameBytes;
        for (size_t i = 0; i < kFrameBytes; i++)
            if (i % 4 != 3) ASSERT_EQ(got[i], want[i]) << "frame " << 15 + k << ", byte " << i;
    }

    // The same inputs and seed give the same film, drawn on one thread or
    // several; the kept filter gives another.
    withShows.insert(withShows.end(), {"--threads", "1"});
    EXPECT_TRUE(Gs(withShows).out == r.out);
    withShows.insert(withShows.end(), {"--quality", "kept"});
    EXPECT_FALSE(Gs(withShows).out == r.out);
}

// Fifty photos need no more memory than three: at most two are held at once.
TEST_F(Slideshow, MemoryStaysBoundedWithManyPhotos) {
    // 2000 x 2000: 12 MB a picture once decoded.
    const std::string photo = Photo("big.jpg", "2000x2000", "gradient:red-blue");
    auto film = [&](int count) {
        std::vector<std::string> args = {"slideshow"};
        for (int i = 0; i < count; i++) args.push_back(photo);
        args.insert(args.end(), {"-o", "-", "--size", "64x36", "--duration", "0.12", "--transition-duration", "0.04",
                                 "-q"});
        return PeakKilobytes(args);
    };
    const long few = film(3);
    const long many = film(50);
    EXPECT_LT(many, few + 12 * 1024) << "3 photos: " << few << " KB, 50 photos: " << many << " KB";
}

TEST_F(Slideshow, BadPhotosAreNamedBeforeTheFirstFrameOrSkipped) {
    const std::string good = Photo("good.png", "320x240");
    {
        std::ofstream(dir / "bad.jpg") << "not a picture";
    }
    const RunResult failed = Gs({"slideshow", good, dir / "missing.jpg", dir / "bad.jpg", "-o", dir / "film.mp4"});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_EQ(Lines(failed.err).size(), 1u) << failed.err;
    EXPECT_NE(failed.err.find("missing.jpg"), std::string::npos) << failed.err;
    EXPECT_FALSE(Exists(dir / "film.mp4"));
    EXPECT_FALSE(Exists(dir / "film.mp4.part"));

    const RunResult skipped = Gs({"slideshow", good, dir / "missing.jpg", dir / "bad.jpg", "--skip-bad", "-o", "-",
                                  "--size", "256x144", "--duration", "0.2"});
    EXPECT_EQ(skipped.exitCode, 0) << skipped.err;
    EXPECT_EQ(skipped.out.size(), 5 * kFrameBytes);
    EXPECT_NE(skipped.err.find("missing.jpg"), std::string::npos) << skipped.err;
    EXPECT_NE(skipped.err.find("bad.jpg"), std::string::npos) << skipped.err;
}

// The MLT project renders in melt, with the tool's frames outside the
// transitions; the shows it keeps can come back as items.
TEST_F(Slideshow, MeltRendersTheMltProject) {
    if (RunProgram({"sh", "-c", "command -v melt"}, dir.path).exitCode != 0) GTEST_SKIP() << "melt is not installed";
    const std::string one = Photo("one.png", "640x480");
    const std::string two = Photo("two.png", "480x640", "gradient:yellow-blue");
    const RunResult film = Gs({"slideshow", one, two, "-o", "-", "--size", "256x144", "--duration", "1",
                               "--transition-duration", "0.4", "--mlt", dir / "film.mlt"});
    ASSERT_EQ(film.exitCode, 0) << film.err;
    ASSERT_EQ(film.out.size(), 40 * kFrameBytes);

    const RunResult melt = RunProgram({"melt", "-silent", dir / "film.mlt", "-consumer", "avformat:" + dir / "melt.rgba",
                                       "f=rawvideo", "vcodec=rawvideo", "pix_fmt=rgba", "an=1"},
                                      dir.path, {"FREI0R_PATH=" + PluginFolder()});
    const std::string frames = ReadFile(dir / "melt.rgba");
    ASSERT_EQ(frames.size(), film.out.size()) << melt.err;
    for (long f : {0L, 10L, 30L, 39L})
        EXPECT_TRUE(frames.compare(f * kFrameBytes, kFrameBytes, film.out, f * kFrameBytes, kFrameBytes) == 0)
            << "frame " << f;

    // A show in JSON form is an item that moves as it says.
    ASSERT_EQ(Gs({"export", dir / "film-shows/001-one.gsx", "-o", dir / "one.json"}).exitCode, 0);
    const RunResult json = Gs({"slideshow", dir / "one.json", "-o", "-", "--size", "256x144"});
    ASSERT_EQ(json.exitCode, 0) << json.err;
    EXPECT_TRUE(json.out == Render(dir / "film-shows/001-one.gsx", 0, 24));
}

}  // namespace
