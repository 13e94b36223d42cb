// SPDX-License-Identifier: GPL-2.0-or-later
// Loading a camera-sized JPEG (6000 x 4000) and preparing it into the picture
// buffer, the way a show's picture is loaded.
//
//   gs_picture_load_bench [--work DIR] [--runs N]
//
// The pictures are written once into the work folder by ffmpeg (a test pattern
// with film grain, so the JPEG carries a photograph's amount of detail): one
// stored upright and one stored sideways with EXIF orientation 6, as phones and
// cameras write portrait shots. For each it prints the median of N runs of:
//   - decode: CDIB::Load into a temporary buffer (the importer: libjpeg-turbo
//     decoding straight into the rows, bottom-up as blue, green, red,
//     orientation applied);
//   - prepare: CDoc::LoadPicture with the default options (decode, then the
//     picture buffer taken over, and video-safe colours);
//   - with matte and blur: LoadPicture with a matte border of 10 and pre-blur.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "doc/CDoc.h"
#include "image/CDIB.h"
#include "platform/Env.h"
#include "platform/Files.h"
#include "platform/Settings.h"

namespace {

constexpr int kW = 6000, kH = 4000;

using Clock = std::chrono::steady_clock;

bool Run(const std::string& cmd) { return std::system(cmd.c_str()) == 0; }

// Writes the two JPEGs unless they are there already.
bool MakePictures(const std::string& work, std::string& upright, std::string& sideways) {
    std::filesystem::create_directories(work);
    upright = work + "/photo_6000x4000.jpg";
    sideways = work + "/photo_6000x4000_exif6.jpg";
    if (!std::filesystem::exists(upright)) {
        const std::string cmd = "ffmpeg -nostdin -loglevel error -y -f lavfi -i testsrc2=size=" + std::to_string(kW) +
                                "x" + std::to_string(kH) +
                                " -vf noise=alls=30:allf=u -frames:v 1 -q:v 2 '" + upright + "'";
        if (!Run(cmd)) return false;
    }
    if (!std::filesystem::exists(sideways)) {
        // The same picture turned a quarter clockwise for display: stored as it
        // came from the sensor, 6000 x 4000, with the tag that says so.
        const std::string cmd = "/usr/bin/python3 -c \"import sys; from PIL import Image; "
                                "im = Image.open(sys.argv[1]); ex = Image.Exif(); ex[0x0112] = 6; "
                                "im.save(sys.argv[2], quality=90, exif=ex.tobytes())\" '" +
                                upright + "' '" + sideways + "'";
        if (!Run(cmd)) return false;
    }
    return true;
}

double Median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v[v.size() / 2];
}

double Time(int runs, const std::function<void()>& job) {
    std::vector<double> t;
    for (int i = 0; i < runs; ++i) {
        const auto a = Clock::now();
        job();
        t.push_back(std::chrono::duration<double, std::milli>(Clock::now() - a).count());
    }
    return Median(t);
}

}  // namespace

int main(int argc, char** argv) {
    std::string work = "bench-work";
    int runs = 5;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (!std::strcmp(argv[i], "--work")) work = argv[i + 1];
        else if (!std::strcmp(argv[i], "--runs")) runs = std::max(1, std::atoi(argv[i + 1]));
    }
    std::string upright, sideways;
    if (!MakePictures(work, upright, sideways)) {
        std::fprintf(stderr, "gs_picture_load_bench: could not write the test pictures (ffmpeg, Pillow)\n");
        return 1;
    }

    // Default options, whatever the user's settings say.
    std::snprintf(gEnv.programName, sizeof gEnv.programName, "Glimmerstroll");
    std::snprintf(gIniString, sizeof gIniString, "[Glimmerstroll]\r\n");
    CDoc doc;

    std::printf("6000 x 4000 JPEG into the picture buffer, median of %d runs (ms)\n", runs);
    std::printf("%-34s %10s %10s %16s\n", "picture", "decode", "prepare", "matte+blur");
    for (const std::string* path : {&upright, &sideways}) {
        FSpec fileSpec;
        MakePathSpec(fileSpec, path->c_str());
        long w = 0, h = 0;
        const double decode = Time(runs, [&] {
            CDIB dib(1, 1, 24);
            if (dib.Load(&fileSpec, nullptr, true) != 1) std::exit(1);
            w = dib.GetWid();
            h = dib.GetHgt();
        });
        doc.matteBorder = 0;
        doc.preBlur = 0;
        const double prepare = Time(runs, [&] { doc.LoadPicture(&fileSpec, 0, 0); });
        doc.matteBorder = 10;
        doc.preBlur = 1;
        const double matte = Time(runs, [&] { doc.LoadPicture(&fileSpec, 0, 0); });
        char label[64];
        std::snprintf(label, sizeof label, "%s (%ld x %ld)", path == &upright ? "upright" : "EXIF orientation 6", w, h);
        std::printf("%-34s %10.0f %10.0f %16.0f\n", label, decode, prepare, matte);
    }
    return 0;
}
