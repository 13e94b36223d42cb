// SPDX-License-Identifier: GPL-2.0-or-later
// The exact area filter against its definition: a flat picture stays exactly
// flat at every scale, and every pixel is within one level of the average of
// the picture over the pixel's footprint, worked out in double precision.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "host/Resample.h"
#include "image/CDIB.h"

namespace {

struct Camera {
    double left, bottom, width, height, angle;
};

// Random cameras over a picture of sw x sh, shrinking by up to 6 and
// enlarging by up to 3, wholly inside the picture when `inside`.
std::vector<Camera> RandomCameras(int sw, int sh, int dw, int dh, bool rolled, bool inside, std::mt19937& rng) {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<Camera> cameras;
    for (int i = 0; i < 12; i++) {
        const double scale = 0.33 + unit(rng) * (inside ? 1.5 : 5.7);
        Camera c{0, 0, dw * scale, dh * scale, rolled ? (unit(rng) - 0.5) * 50.0 : 0.0};
        if (inside) {
            // The centre keeps the camera's reach (its half diagonal when it
            // may turn) from the picture's edges.
            const double rx = rolled ? std::hypot(c.width, c.height) / 2 : c.width / 2;
            const double ry = rolled ? rx : c.height / 2;
            c.left = rx + unit(rng) * (sw - 2 * rx) - c.width / 2;
            c.bottom = ry + unit(rng) * (sh - 2 * ry) - c.height / 2;
        } else {
            c.left = (unit(rng) - 0.3) * sw;
            c.bottom = (unit(rng) - 0.3) * sh;
        }
        cameras.push_back(c);
    }
    return cameras;
}

bool Draw(CDIB& dest, CDIB& source, const Camera& c) {
    return FilterExact(&dest, &source, float(c.left), float(c.bottom), float(c.width), float(c.height),
                       float(c.angle), 0.0f, 0.0f, 0);
}

// The picture as a function of a position: pixel (floor x, floor y), the
// outside grey beyond it.
double Value(CDIB& pic, double x, double y, int k) {
    const int bpp = pic.GetBitCount() / 8;
    if (x < 0 || y < 0 || x >= pic.GetWid() || y >= pic.GetHgt()) return k == 3 ? 0.0 : 17.0;
    return pic.GetBitsAdd(int(y))[int(x) * bpp + k];
}

// Exact average over an axis-aligned box: the covered area of each pixel.
double BoxAverage(CDIB& pic, double x0, double x1, double y0, double y1, int k) {
    double sum = 0;
    for (double y = std::floor(y0); y < y1; y += 1)
        for (double x = std::floor(x0); x < x1; x += 1) {
            const double w = (std::min(x + 1, x1) - std::max(x, x0)) * (std::min(y + 1, y1) - std::max(y, y0));
            sum += w * Value(pic, x, y, k);
        }
    return sum / ((x1 - x0) * (y1 - y0));
}

TEST(ExactFilter, FlatPictureStaysExactlyFlatAtEveryScale) {
    std::mt19937 rng(7);
    for (int bits : {24, 32})
        for (int grey : {1, 98, 100, 253, 255})
            for (bool rolled : {false, true}) {
                CDIB pic(300, 200, bits), dest(40, 30, 32);
                std::fill(pic.bits, pic.bits + pic.GetRowBytes() * 200, uint8_t(grey));
                for (const Camera& c : RandomCameras(300, 200, 40, 30, rolled, true, rng)) {
                    ASSERT_TRUE(Draw(dest, pic, c));
                    for (int y = 0; y < 30; y++)
                        for (int x = 0; x < 40; x++)
                            for (int k = 0; k < 3; k++)
                                ASSERT_EQ(dest.GetBitsAdd(y)[4 * x + k], grey)
                                    << bits << " bits, camera " << c.width << " wide at " << c.left << ","
                                    << c.bottom << " roll " << c.angle << ", pixel " << x << "," << y;
                }
            }
}

TEST(ExactFilter, AxisAlignedPixelsAreTheAreaAverageWithinOneLevel) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> byte(0, 255);
    for (int bits : {24, 32}) {
        CDIB pic(120, 90, bits), dest(23, 17, 32);
        for (long i = 0; i < pic.GetRowBytes() * 90; i++) pic.bits[i] = uint8_t(byte(rng));
        for (const Camera& c : RandomCameras(120, 90, 23, 17, false, false, rng)) {
            ASSERT_TRUE(Draw(dest, pic, c));
            const double sx = c.width / 23, sy = c.height / 17;
            for (int y = 0; y < 17; y++)
                for (int x = 0; x < 23; x++)
                    for (int k = 0; k < bits / 8; k++) {
                        const double want = BoxAverage(pic, c.left + x * sx, c.left + (x + 1) * sx,
                                                       c.bottom + y * sy, c.bottom + (y + 1) * sy, k);
                        ASSERT_NEAR(dest.GetBitsAdd(y)[4 * x + k], want, 1.0)
                            << bits << " bits, camera " << c.width << "x" << c.height << " at " << c.left << ","
                            << c.bottom << ", pixel " << x << "," << y << " byte " << k;
                    }
        }
    }
}

// The axis-aligned path's bytes are pinned: every processor's form (the
// vector one here, the plain one in the plain build) gives these bytes for a
// table of cameras that enlarge, shrink by up to nine (and one by 78 down),
// leave the picture and
// draw fields, over noise of both depths and a destination of odd width.
TEST(ExactFilter, AxisAlignedBytesAreTheSameOnEveryProcessor) {
    struct Shot {
        float left, bottom, width, height;
        int field;
    };
    const Shot shots[] = {{10.25f, 5.5f, 14.8f, 9.2f, 0},     {0, 0, 37, 23, 0},
                          {3.7f, 2.1f, 115.3f, 71.6f, 0},    {-20.5f, -9.3f, 200.1f, 130.7f, 11},
                          {20.9f, 14.2f, 333.3f, 207.0f, 10}, {140.5f, 60.5f, 50, 40, 1},
                          {-1e9f, 3, 2e9f, 60, 0},           {5, 5, 0, 0, 0},
                          {-5, -30, 60, 1800, 0}};
    uint64_t digest = 14695981039346656037u;
    std::mt19937 rng(3);
    for (int bits : {24, 32}) {
        CDIB pic(150, 70, bits), dest(37, 23, 32);
        for (long i = 0; i < pic.GetRowBytes() * 70; i++) pic.bits[i] = uint8_t(rng());
        for (const Shot& s : shots) {
            ASSERT_TRUE(FilterExact(&dest, &pic, s.left, s.bottom, s.width, s.height, 0, 0, 0, s.field));
            for (long i = 0; i < dest.GetRowBytes() * 23; i++) digest = (digest ^ dest.bits[i]) * 1099511628211u;
        }
    }
    EXPECT_EQ(digest, 15628422867548781532u);
}

// Rolled cameras over a picture of soft detail (the sampled footprint then
// converges on the true average): the average over the rotated footprint,
// worked out on a fine grid of 48 x 48 points a pixel.
TEST(ExactFilter, RolledPixelsAreTheAreaAverageWithinOneLevel) {
    std::mt19937 rng(5);
    CDIB pic(160, 120, 24), dest(20, 15, 32);
    for (int y = 0; y < 120; y++)
        for (int x = 0; x < 160; x++)
            for (int k = 0; k < 3; k++)
                pic.GetBitsAdd(y)[3 * x + k] =
                    uint8_t(128 + 90 * std::sin(x * 0.05 * (k + 1) + y * 0.03) * std::cos(y * 0.04 * (3 - k)));
    for (const Camera& c : RandomCameras(160, 120, 20, 15, true, false, rng)) {
        ASSERT_TRUE(Draw(dest, pic, c));
        const double a = c.angle * 0.0174532f;
        const double cosA = std::cos(a), sinA = std::sin(-a);
        const double cx = c.left + c.width / 2, cy = c.bottom + c.height / 2;
        const int n = 48;
        for (int y = 0; y < 15; y++)
            for (int x = 0; x < 20; x++)
                for (int k = 0; k < 3; k++) {
                    double sum = 0;
                    for (int j = 0; j < n; j++)
                        for (int i = 0; i < n; i++) {
                            const double px = (x + (i + 0.5) / n) / 20 * c.width - c.width / 2;
                            const double py = (y + (j + 0.5) / n) / 15 * c.height - c.height / 2;
                            sum += Value(pic, cx + px * cosA - py * sinA, cy + px * sinA + py * cosA, k);
                        }
                    ASSERT_NEAR(dest.GetBitsAdd(y)[4 * x + k], sum / (n * n), 1.0)
                        << "camera " << c.width << " at " << c.left << "," << c.bottom << " roll " << c.angle
                        << ", pixel " << x << "," << y << " byte " << k;
                }
    }
}

}  // namespace
