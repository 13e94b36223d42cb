// SPDX-License-Identifier: GPL-2.0-or-later
// Writes the show of the end-to-end benchmark (bench/endtoend.py) over a
// picture of W x H, and the camera of every frame as the renderer places it,
// so that the other programs of the table can follow the very same path.
//
//   gs_bench_show SHOW.gsx PICTURE W H FRAMES kenburns|rolled|slowpan CAMERAS.txt
//
// CAMERAS.txt: one line a frame, "left top width height roll" in picture
// pixels from the top-left corner, roll in degrees.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/Demo.h"
#include "app/Session.h"
#include "doc/CDoc.h"
#include "motion/Interp.h"
#include "platform/Files.h"

int main(int argc, char** argv) {
    if (argc != 8) {
        std::fprintf(stderr, "usage: gs_bench_show SHOW.gsx PICTURE W H FRAMES kenburns|rolled|slowpan CAMERAS.txt\n");
        return 2;
    }
    const float w = std::strtof(argv[3], nullptr), h = std::strtof(argv[4], nullptr);
    const long frames = std::strtol(argv[5], nullptr, 10);
    const std::string mode = argv[6];
    if (w < 16 || h < 16 || frames < 2 || (mode != "kenburns" && mode != "rolled" && mode != "slowpan")) {
        std::fprintf(stderr, "gs_bench_show: bad arguments\n");
        return 2;
    }
    CDoc doc;
    doc.ClearShow();
    MakePathSpec(doc.pictureFile[0], argv[2]);
    doc.pictureCount = 1;
    doc.easeType = 3;    // no slows: an even pace between the two keys
    doc.videoColors = 0;  // the picture as it is, for the comparison with the other programs
    KeyStruct first, last;
    KeyIdentity(first);
    KeyIdentity(last);
    first.time = 0;
    last.time = static_cast<int32_t>(frames - 1);
    if (mode == "slowpan") {
        // Half the picture's width, moving 0.37 picture pixels a frame.
        first.width = last.width = w / 2;
        first.horizontalPos = w * 0.3f;
        last.horizontalPos = w * 0.3f + 0.37f * static_cast<float>(frames - 1);
        first.verticalPos = last.verticalPos = h / 2;
    } else {
        // A zoom from the whole width to 1 / 1.6 of it, panning left and down.
        first.width = w;
        first.horizontalPos = w / 2;
        first.verticalPos = h / 2;
        last.width = w / 1.6f;
        last.horizontalPos = w * 0.4f;
        last.verticalPos = h * 0.55f;
        if (mode == "rolled") last.rotation3 = 6.0f;
    }
    doc.keys[0][0] = first;
    doc.keys[0][1] = last;
    doc.keyCount[0] = 2;
    doc.showLength = static_cast<int32_t>(frames);
    std::string error;
    if (!gs::WriteShowFile(doc, argv[1], error)) {
        std::fprintf(stderr, "gs_bench_show: %s\n", error.c_str());
        return 1;
    }
    gs::FitCamera(doc, 1920, 1080, gs::AspectChoice::FollowFrame);
    FILE* out = std::fopen(argv[7], "w");
    if (!out) {
        std::fprintf(stderr, "gs_bench_show: cannot write %s\n", argv[7]);
        return 1;
    }
    for (long f = 0; f < frames; f++) {
        KeyStruct k;
        doc.QueueKey(&k, 0, f, 0);
        const double cw = k.width, ch = double(doc.aspect) * k.width;
        std::fprintf(out, "%.6f %.6f %.6f %.6f %.6f\n", k.horizontalPos - cw / 2, k.verticalPos - ch / 2, cw, ch,
                     double(k.rotation3));
    }
    return std::fclose(out) == 0 ? 0 : 1;
}
