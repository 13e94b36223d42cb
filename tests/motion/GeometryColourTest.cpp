// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include "motion/Colour.h"
#include "motion/Geometry.h"

namespace {
tagRECT Rect(long l, long t, long r, long b) {
    tagRECT rc;
    MakeRect(rc, l, t, r, b);
    return rc;
}
void ExpectRect(const tagRECT& r, int l, int t, int rt, int b) {
    EXPECT_EQ(r.left, l);
    EXPECT_EQ(r.top, t);
    EXPECT_EQ(r.right, rt);
    EXPECT_EQ(r.bottom, b);
}
}  // namespace

TEST(RectHelpers, SizesCentresAndMoves) {
    tagRECT r = Rect(10, 0, 21, 5);
    EXPECT_EQ(RectWidth(r), 11);
    EXPECT_EQ(RectWidth(r, true), 15);
    EXPECT_EQ(RectWidth(Rect(-21, 0, 0, 0), true), -11);  // division toward zero

    ScaleRect(r, 2, -1);
    ExpectRect(r, 8, 1, 23, 4);
    MoveRectTo(r, -5, 7);
    ExpectRect(r, -5, 7, 10, 10);
    MoveRectBy(r, 5, -7);
    ExpectRect(r, 0, 0, 15, 3);

    tagRECT s = Rect(-7, 3, 9, 11);
    SizeRect(s, -2.0f, -2.0f);  // a negative factor divides, truncating toward zero
    ExpectRect(s, -3, 1, 4, 5);
    SizeRect(s, 2.0f, 0.5f);  // about the origin, not the centre
    ExpectRect(s, -6, 0, 8, 2);
}

TEST(RectHelpers, ContainmentIncludesRightAndBottomEdges) {
    const tagRECT r = Rect(0, 0, 10, 10);
    EXPECT_TRUE(XYInRect(r, 10, 10));
    EXPECT_FALSE(XYInRect(r, 11, 10));
    EXPECT_FALSE(XYInRect(r, tagPOINT{5, -1}));

    // The outer rectangle is taken sorted.
    EXPECT_TRUE(RectInRect(Rect(0, 0, 10, 10), Rect(10, 10, 0, 0)));
    EXPECT_TRUE(RectInRect(Rect(2, 8, 3, 4), r));
    EXPECT_FALSE(RectInRect(Rect(2, 2, 11, 4), r));

    tagRECT inv = Rect(5, 9, 1, 2);
    SortRect(inv);
    ExpectRect(inv, 1, 2, 5, 9);
}

TEST(RectHelpers, ClipReportsOnlyExactlyEmptyResults) {
    tagRECT r = Rect(0, 0, 10, 10);
    EXPECT_TRUE(ClipByRect(r, Rect(5, -5, 20, 8)));
    ExpectRect(r, 5, 0, 10, 8);

    r = Rect(0, 0, 10, 10);
    EXPECT_FALSE(ClipByRect(r, Rect(10, 0, 20, 10)));  // touching: zero width

    r = Rect(0, 0, 10, 10);
    EXPECT_TRUE(ClipByRect(r, Rect(20, 20, 30, 30)));  // disjoint: inverted, yet true
    ExpectRect(r, 20, 20, 10, 10);
}

TEST(Rotation, PointsTurnClockwiseAndRoundOnlyUpward) {
    const tagPOINT origin{0, 0};
    tagPOINT p{10, 0};
    RotatePoint(p, 90.0f, origin);
    EXPECT_EQ(p.x, 0);
    EXPECT_EQ(p.y, 10);

    // -9.99999 + 0.5 truncates toward zero to -9.
    p = {10, 0};
    RotatePoint(p, 180.0f, origin);
    EXPECT_EQ(p.x, -9);
    EXPECT_EQ(p.y, 0);
}

TEST(Rotation, RectTopIsRoundedWithItsOwnNudge) {
    const tagPOINT origin{0, 0};
    tagRECT r = Rect(10, 0, 20, 10);
    RotateRect(r, 60.0f, origin);

    tagPOINT topLeft{10, 0}, bottomRight{20, 10};
    RotatePoint(topLeft, 60.0f, origin);
    RotatePoint(bottomRight, 60.0f, origin);
    EXPECT_EQ(r.left, topLeft.x);
    EXPECT_EQ(topLeft.y, 9);  // 8.66 + 0.5
    EXPECT_EQ(r.top, 8);      // 8.66 + 0.05
    EXPECT_EQ(r.right, bottomRight.x);
    EXPECT_EQ(r.bottom, bottomRight.y);

    // Even by 0 degrees, sides left or above the centre move one toward it:
    // -4 + 0.5 and -3 + 0.05 truncate toward zero.
    tagRECT same = Rect(-4, -3, 7, 9);
    RotateRect(same, 0.0f, origin);
    ExpectRect(same, -3, -2, 7, 9);
}

TEST(Colour, PrimariesAndGreysRoundTrip) {
    int h, l, s;
    RGB2HLS(255, 0, 0, &h, &l, &s);
    EXPECT_EQ(h, 0);
    EXPECT_EQ(l, 120);
    EXPECT_EQ(s, 240);

    int r, g, b;
    struct Rgb { int r, g, b, hue; };
    const Rgb colours[] = {{255, 0, 0, 0},     {0, 255, 0, 80},     {0, 0, 255, 160},
                           {255, 255, 0, 40},  {0, 255, 255, 120},  {255, 0, 255, 200},
                           {0, 0, 0, 0},       {255, 255, 255, 0},  {128, 128, 128, 0}};
    for (const Rgb& c : colours) {
        RGB2HLS(c.r, c.g, c.b, &h, &l, &s);
        EXPECT_EQ(h, c.hue) << c.r << "," << c.g << "," << c.b;
        HLS2RGB(h, l, s, &r, &g, &b);
        EXPECT_EQ(r, c.r);
        EXPECT_EQ(g, c.g);
        EXPECT_EQ(b, c.b);
    }
    // Hue wraps once in either direction.
    EXPECT_EQ(gun(0, 240, -80), gun(0, 240, 160));
    EXPECT_EQ(gun(0, 240, 280), gun(0, 240, 40));
    EXPECT_EQ(gun(0, 240, 140), 120);  // (240 * 20 + 20) / 40
}
