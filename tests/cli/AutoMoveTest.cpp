// SPDX-License-Identifier: GPL-2.0-or-later
// Planning a photo's move: the zoom limits, the picture's own pixels, the
// direction by shape, and the film's layout of items and transitions.
#include <gtest/gtest.h>

#include <cmath>

#include "app/AutoMove.h"
#include "app/Slideshow.h"

namespace {

constexpr double kAspect = 9.0 / 16.0;

gs::Subject At(double x, double y, double size) {
    gs::Subject s;
    s.kind = gs::SubjectKind::Salient;
    s.box = gs::Region{x - size / 2, y - size / 2, size, size};
    return s;
}

TEST(AutoMove, ZoomStaysWithinTheLimitsAndThePicturesPixels) {
    struct Case {
        double width, height;
        int outWidth;
        bool upscale;
        double amount;
        double zoom;  // expected ratio of the wide to the tight width
    };
    const Case cases[] = {
        {6000, 3375, 1920, false, 0.0, 1.1},    // plenty of pixels: the limits decide
        {6000, 3375, 1920, false, 1.0, 1.4},
        {2000, 1125, 1920, false, 1.0, 2000.0 / 1920},  // the output's pixels stop the zoom
        {1280, 720, 1920, false, 1.0, 1.0},     // a small photo is not magnified
        {1280, 720, 1920, true, 1.0, 1.4},      // unless that is allowed
    };
    for (const Case& c : cases) {
        gs::MoveLimits limits;
        limits.allowUpscale = c.upscale;
        const gs::MovePlan plan = gs::PlanMove(c.width, c.height, kAspect, c.outWidth,
                                               At(c.width / 2, c.height / 2, 10), limits, true, c.amount);
        EXPECT_NEAR(plan.from.width / plan.to.width, c.zoom, 1e-6) << c.width << " amount " << c.amount;
        EXPECT_LE(plan.from.width, c.width);
        EXPECT_LE(plan.from.width * kAspect, c.height + 1e-9);
    }
}

TEST(AutoMove, ShapeDecidesTheDirectionAndTheLastFrameHoldsTheSubject) {
    struct Case {
        double width, height, x, y;
        gs::PictureShape shape;
    };
    const Case cases[] = {
        {3000, 4500, 1500, 900, gs::PictureShape::Portrait},
        {9000, 2000, 7000, 1000, gs::PictureShape::Panorama},
        {4000, 3000, 3000, 800, gs::PictureShape::Ordinary},
    };
    for (const Case& c : cases)
        for (bool zoomIn : {true, false}) {
            const gs::MovePlan plan =
                gs::PlanMove(c.width, c.height, kAspect, 1920, At(c.x, c.y, 200), gs::MoveLimits{}, zoomIn, 0.5);
            EXPECT_EQ(plan.shape, c.shape);
            const double dx = std::fabs(plan.to.x - plan.from.x), dy = std::fabs(plan.to.y - plan.from.y);
            if (c.shape == gs::PictureShape::Portrait) {
                EXPECT_GT(dy, 10 * dx + 100);
            } else if (c.shape == gs::PictureShape::Panorama) {
                EXPECT_GT(dx, 10 * dy + 100);
            }
            const double halfW = plan.to.width / 2, halfH = plan.to.width * kAspect / 2;
            EXPECT_TRUE(std::fabs(plan.to.x - c.x) <= halfW - 100 && std::fabs(plan.to.y - c.y) <= halfH - 100)
                << c.width << "x" << c.height << (zoomIn ? " in" : " out");
        }
}

TEST(Slideshow, LayOutOverlapsEachItemWithTheNextByItsTransition) {
    // Lengths 100, 40, 100 with transitions of 25 and 30: the second is cut to
    // half of the 40-frame item, the last transition is ignored.
    const std::vector<gs::Placement> place = gs::LayOut({100, 40, 100}, {25, 30, 50});
    ASSERT_EQ(place.size(), 3u);
    EXPECT_EQ(place[0].fadeOut, 20);  // half of the shorter neighbour
    EXPECT_EQ(place[1].start, 80);
    EXPECT_EQ(place[1].fadeOut, 20);
    EXPECT_EQ(place[2].start, 100);
    EXPECT_EQ(place[2].fadeOut, 0);
    EXPECT_EQ(place[2].start + place[2].length, 100 + 40 + 100 - 20 - 20);
}

}  // namespace
