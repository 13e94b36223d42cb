// SPDX-License-Identifier: GPL-2.0-or-later
// How long the viewer takes to show one frame: CView::Refresh of a 640 x 480
// preview from a 24-megapixel picture (6000 x 4000, 24 bits), resampling and
// drawing into the window included, on the headless window layer.
//
//   gs_refresh_bench [--runs N]
//
// Cameras: the whole picture (every source pixel is read), a quarter of its
// width, and a quarter with a 10 degree roll (the rotating filter). Each is
// timed at full quality, as playback and the stage's redraws show it, with the
// worker off and on, and in the fast form used while the camera is dragged.
// Playback at 30 frames a second leaves 33.3 ms for a frame.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "doc/CDoc.h"
#include "editor/CStage.h"
#include "editor/CView.h"
#include "editor/EditorState.h"
#include "motion/Interp.h"
#include "platform/Env.h"
#include "platform/Settings.h"
#include "platform/Worker.h"
#include "platform/window/Headless.h"
#include "platform/window/WindowLayer.h"

namespace {

constexpr int kPicW = 6000, kPicH = 4000;
constexpr int kViewW = 640, kViewH = 480;

using Clock = std::chrono::steady_clock;

// A photograph-like picture: smooth gradients with fine noise, so that no
// row is cheaper than another.
void PaintPicture(CDIB& pic) {
    std::mt19937 random(7);
    for (int row = 0; row < kPicH; row++) {
        uint8_t* p = pic.GetBitsAdd(row);
        for (int x = 0; x < kPicW; x++) {
            const int noise = static_cast<int>(random() & 15);
            p[3 * x + 0] = static_cast<uint8_t>((x * 255 / kPicW + noise) & 255);
            p[3 * x + 1] = static_cast<uint8_t>((row * 255 / kPicH + noise) & 255);
            p[3 * x + 2] = static_cast<uint8_t>(((x + row) * 127 / kPicW + noise) & 255);
        }
    }
}

struct Stats {
    double median, mean, worst;
};

template <typename Step>
Stats Time(int runs, Step step) {
    std::vector<double> ms;
    step();  // warm the caches and the buffers
    for (int i = 0; i < runs; i++) {
        const auto a = Clock::now();
        step();
        ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - a).count());
    }
    std::sort(ms.begin(), ms.end());
    double sum = 0;
    for (double v : ms) sum += v;
    return Stats{ms[ms.size() / 2], sum / static_cast<double>(ms.size()), ms.back()};
}

}  // namespace

int main(int argc, char** argv) {
    int runs = 30;
    for (int i = 1; i + 1 < argc; i++)
        if (std::strcmp(argv[i], "--runs") == 0) runs = std::max(1, std::atoi(argv[++i]));

    std::snprintf(gEnv.programName, sizeof gEnv.programName, "Glimmerstroll");
    std::snprintf(gIniString, sizeof gIniString, "[Glimmerstroll]\r\nViewerWidth=%d\r\n", kViewW);
    StartHeadlessWindowLayer();
    auto doc = std::make_unique<CDoc>();
    pDoc = doc.get();
    if (!pDoc->Create(kPicW, kPicH, 24)) {
        std::fprintf(stderr, "no memory for a %d x %d picture\n", kPicW, kPicH);
        return 1;
    }
    PaintPicture(*pDoc);

    auto view = std::make_unique<CView>(nullptr);
    view->SetWinRect(0, 0, kViewW, 0, false);
    view->Layout();
    tagRECT area;
    view->GetPictureArea(area);
    if (area.right != kViewW || area.bottom != kViewH) {
        std::fprintf(stderr, "preview is %d x %d, not %d x %d\n", area.right, area.bottom, kViewW, kViewH);
        return 1;
    }

    struct Camera {
        const char* name;
        float x, y, width, roll;
    } cameras[] = {
        {"whole picture", 3000, 2000, 5333, 0},
        {"quarter width", 2400, 1700, 1500, 0},
        {"quarter, 10 deg roll", 2400, 1700, 1500, 10},
    };

    const bool worker = StartMP() == 1;
    gCanMultiProcess = worker ? 1 : 0;
    std::printf("CView::Refresh, %d x %d preview from a %d x %d 24-bit picture, %d runs each\n", kViewW, kViewH,
                kPicW, kPicH, runs);
    if (const char* load = std::getenv("GS_BENCH_LOAD")) std::printf("load: %s\n", load);
    std::printf("%-22s %-26s %10s %10s %10s\n", "camera", "refresh", "median ms", "mean ms", "worst ms");
    for (const Camera& c : cameras) {
        KeyStruct& key = pDoc->keys[0][0];
        KeyIdentity(key);
        key.horizontalPos = c.x;
        key.verticalPos = c.y;
        key.width = c.width;
        key.rotation3 = c.roll;
        pDoc->keyCount[0] = 1;
        const struct {
            const char* name;
            bool full;
            int multi;
        } modes[] = {
            {"full quality, one thread", true, 0},
            {"full quality, worker", true, 1},
            {"drag preview", false, 0},
        };
        for (const auto& mode : modes) {
            if (mode.multi && !worker) continue;
            gMultiProcess = mode.multi;
            const Stats s = Time(runs, [&] { view->Refresh(mode.full); });
            std::printf("%-22s %-26s %10.2f %10.2f %10.2f\n", c.name, mode.name, s.median, s.mean, s.worst);
        }
    }
    gMultiProcess = 0;

    // A whole stage redraw (picture, camera frame, and the viewer's refresh
    // that goes with it) in a 1280 x 800 stage, at the stage scales.
    {
        auto stage = std::make_unique<CStage>(nullptr);
        stage->SetWinRect(0, 0, 1280, 800, false);
        for (float scale : {0.1f, 0.25f, 0.5f}) {
            stage->scale = scale;
            char name[32];
            std::snprintf(name, sizeof name, "stage at %d %%", static_cast<int>(scale * 100));
            const Stats s = Time(runs, [&] { stage->OnDraw(); });
            std::printf("%-22s %-26s %10.2f %10.2f %10.2f\n", "-", name, s.median, s.mean, s.worst);
        }
    }
    gCanMultiProcess = 0;
    CloseMP();
    view.reset();
    pDoc = nullptr;
    doc.reset();
    StopWindowLayer();
    return 0;
}
