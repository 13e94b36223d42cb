// SPDX-License-Identifier: GPL-2.0-or-later
// The exact area filter against its definition: a flat picture stays exactly
// flat at every scale and turn, and every pixel is within one level of the
// average of the picture over the pixel's footprint, worked out in double
// precision (for turned cameras by clipping the footprint to each pixel).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "host/Resample.h"
#include "image/CDIB.h"

namespace {

struct Camera {
    double left, bottom, width, height, angle, tilt1 = 0, tilt2 = 0;
};

enum Turn { kStraight, kRolled, kTilted };

// Random cameras over a picture of sw x sh, shrinking by up to 6 and
// enlarging by up to 3, wholly inside the picture when `inside`; rolled by up
// to 25 degrees either way, and tilted by up to 30 when kTilted.
std::vector<Camera> RandomCameras(int sw, int sh, int dw, int dh, Turn turn, bool inside, std::mt19937& rng) {
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<Camera> cameras;
    for (int i = 0; i < 12; i++) {
        const double scale = 0.33 + unit(rng) * (inside ? 1.5 : 5.7);
        Camera c{0, 0, dw * scale, dh * scale, turn != kStraight ? (unit(rng) - 0.5) * 50.0 : 0.0};
        if (turn == kTilted) c.tilt1 = (unit(rng) - 0.5) * 60.0, c.tilt2 = (unit(rng) - 0.5) * 60.0;
        if (inside) {
            // The centre keeps the camera's reach (its half diagonal, with
            // the tilts' spread, when it may turn) from the picture's edges.
            const double spreadX = std::fabs(c.tilt1) / 360 * c.height, spreadY = std::fabs(c.tilt2) / 360 * c.width;
            const double rx = turn != kStraight ? std::hypot(c.width / 2 + spreadX, c.height / 2 + spreadY) : c.width / 2;
            const double ry = turn != kStraight ? rx : c.height / 2;
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

bool Draw(CDIB& dest, CDIB& source, const Camera& c, int fieldSelector = 0) {
    return FilterExact(&dest, &source, float(c.left), float(c.bottom), float(c.width), float(c.height),
                       float(c.angle), float(c.tilt1), float(c.tilt2), fieldSelector);
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
            for (Turn turn : {kStraight, kRolled, kTilted}) {
                CDIB pic(300, 200, bits), dest(40, 30, 32);
                std::fill(pic.bits, pic.bits + pic.GetRowBytes() * 200, uint8_t(grey));
                for (const Camera& c : RandomCameras(300, 200, 40, 30, turn, true, rng)) {
                    ASSERT_TRUE(Draw(dest, pic, c));
                    for (int y = 0; y < 30; y++)
                        for (int x = 0; x < 40; x++)
                            for (int k = 0; k < 3; k++)
                                ASSERT_EQ(dest.GetBitsAdd(y)[4 * x + k], grey)
                                    << bits << " bits, camera " << c.width << " wide at " << c.left << ","
                                    << c.bottom << " roll " << c.angle << " tilts " << c.tilt1 << "," << c.tilt2 << ", pixel "
                                    << x << "," << y;
                }
            }
}

TEST(ExactFilter, AxisAlignedPixelsAreTheAreaAverageWithinOneLevel) {
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> byte(0, 255);
    for (int bits : {24, 32}) {
        CDIB pic(120, 90, bits), dest(23, 17, 32);
        for (long i = 0; i < pic.GetRowBytes() * 90; i++) pic.bits[i] = uint8_t(byte(rng));
        for (const Camera& c : RandomCameras(120, 90, 23, 17, kStraight, false, rng)) {
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

using Polygon = std::vector<std::array<double, 2>>;

// The part of a polygon on one side of the line where coordinate `axis` is
// `bound` (Sutherland-Hodgman, one edge of the clipping box).
Polygon ClipSide(const Polygon& in, int axis, double bound, bool below) {
    Polygon out;
    for (size_t i = 0; i < in.size(); i++) {
        const auto& p = in[i];
        const auto& q = in[(i + 1) % in.size()];
        const bool pIn = below ? p[axis] <= bound : p[axis] >= bound;
        const bool qIn = below ? q[axis] <= bound : q[axis] >= bound;
        if (pIn) out.push_back(p);
        if (pIn != qIn) {
            const double t = (bound - p[axis]) / (q[axis] - p[axis]);
            out.push_back({p[0] + t * (q[0] - p[0]), p[1] + t * (q[1] - p[1])});
        }
    }
    return out;
}

double SignedArea(const Polygon& poly) {
    double twice = 0;
    for (size_t i = 0; i < poly.size(); i++) {
        const auto& p = poly[i];
        const auto& q = poly[(i + 1) % poly.size()];
        twice += p[0] * q[1] - q[0] * p[1];
    }
    return twice / 2;
}

// The average of the picture over a polygon: the polygon clipped to each
// pixel (or outside cell) its bounding box touches.
double PolygonAverage(CDIB& pic, const Polygon& poly, int k) {
    double x0 = poly[0][0], x1 = x0, y0 = poly[0][1], y1 = y0;
    for (const auto& p : poly) x0 = std::min(x0, p[0]), x1 = std::max(x1, p[0]), y0 = std::min(y0, p[1]), y1 = std::max(y1, p[1]);
    double sum = 0;
    for (double y = std::floor(y0); y < y1; y += 1)
        for (double x = std::floor(x0); x < x1; x += 1) {
            const Polygon cell = ClipSide(ClipSide(ClipSide(ClipSide(poly, 0, x, false), 0, x + 1, true), 1, y, false), 1, y + 1, true);
            if (cell.size() >= 3) sum += SignedArea(cell) * Value(pic, x, y, k);
        }
    return sum / SignedArea(poly);
}

// Cameras rolled and tilted over pictures of noise and hard edges, shrinking
// and enlarging, partly beyond the picture, with every field selector: each
// drawn pixel is the average over its quadrilateral footprint (the camera's
// trapezoid about its centre, rotated, cut into dw x dh cells) rounded to
// the nearest level; rows outside the selector keep what they held.
TEST(ExactFilter, TurnedPixelsAreTheAreaAverageRoundedToNearest) {
    std::mt19937 rng(5);
    std::uniform_int_distribution<int> byte(0, 255);
    const int dw = 13, dh = 11;
    for (int bits : {24, 32}) {
        CDIB pic(60, 45, bits), dest(dw, dh, 32);
        for (int y = 0; y < 45; y++)
            for (int x = 0; x < 60 * bits / 8; x++) {
                const int block = (x / (bits / 8) / 7 + y / 5) % 3;
                pic.GetBitsAdd(y)[x] = uint8_t(block == 0 ? byte(rng) : block == 1 ? 0 : 255);
            }
        int draw = 0;
        for (Turn turn : {kRolled, kTilted})
            for (const Camera& c : RandomCameras(60, 45, dw, dh, turn, false, rng)) {
                const int selector = std::array{0, 1, 10, 11}[size_t(draw++ % 4)];
                std::fill(dest.bits, dest.bits + dest.GetRowBytes() * dh, uint8_t(0x5A));
                ASSERT_TRUE(Draw(dest, pic, c, selector));
                // The camera as the filter receives it.
                const double w = float(c.width), h = float(c.height);
                const double cx = double(float(c.left)) + w * 0.5, cy = double(float(c.bottom)) + h * 0.5;
                const double t1 = h * (float(c.tilt1) / 90.0f) * 0.25f, t2 = w * (float(c.tilt2) / 90.0f) * 0.25f;
                const double cosA = std::cos(float(c.angle) * 0.0174532f), sinA = std::sin(-float(c.angle) * 0.0174532f);
                auto place = [&](double px, double py) {
                    return std::array{cx + px * cosA - py * sinA, cy + px * sinA + py * cosA};
                };
                const auto bl = place(-w / 2 + t1, -h / 2 - t2), br = place(w / 2 - t1, -h / 2 + t2);
                const auto tl = place(-w / 2 - t1, h / 2 + t2), tr = place(w / 2 + t1, h / 2 - t2);
                auto at = [&](double u, double v) {
                    std::array<double, 2> p;
                    for (int i = 0; i < 2; i++) {
                        const double a = bl[i] + (tl[i] - bl[i]) * v / dh, b = br[i] + (tr[i] - br[i]) * v / dh;
                        p[i] = a + (b - a) * u / dw;
                    }
                    return p;
                };
                const int step = selector / 10 + 1;
                const double shift = step == 1 ? 0.5 * (selector % 10) : 0.0;
                for (int y = 0; y < dh; y++)
                    for (int x = 0; x < dw; x++) {
                        const bool drawn = step == 1 || y % 2 == selector % 10;
                        const Polygon footprint{at(x, y + shift), at(x + 1, y + shift), at(x + 1, y + 1 + shift),
                                                at(x, y + 1 + shift)};
                        for (int k = 0; k < 4; k++) {
                            const double want = !drawn ? 0x5A : k == 3 && bits == 24 ? 255 : PolygonAverage(pic, footprint, k);
                            ASSERT_NEAR(dest.GetBitsAdd(y)[4 * x + k], want, drawn ? 0.5001 : 0.0)
                                << bits << " bits, camera " << c.width << "x" << c.height << " at " << c.left << ","
                                << c.bottom << " roll " << c.angle << " tilts " << c.tilt1 << "," << c.tilt2
                                << " selector " << selector << ", pixel " << x << "," << y << " byte " << k;
                        }
                    }
            }
    }
}

}  // namespace
