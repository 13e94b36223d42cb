// SPDX-License-Identifier: GPL-2.0-or-later
#include <gtest/gtest.h>

#include <vector>

#include "motion/Interp.h"

namespace {

// Keys with horizontalPos = values[i] at times[i]; every other word is zero.
std::vector<KeyStruct> Keys(std::vector<float> values, std::vector<int> times) {
    std::vector<KeyStruct> keys(values.size());
    for (size_t i = 0; i < keys.size(); ++i) {
        KeyIdentity(keys[i]);
        keys[i].horizontalPos = values[i];
        keys[i].time = times[i];
    }
    return keys;
}

float At(const std::vector<KeyStruct>& keys, long frame, int ease, int half = 0) {
    return CurveFit(static_cast<int>(keys.size()), keys.data(), 0, frame, half, ease);
}

// The cubic of a segment from a to a + delta with end tangents m0 and m1.
double Hermite(double a, double delta, double m0, double m1, double u) {
    const double c2 = 3 * delta - 2 * m0 - m1, c3 = m0 + m1 - 2 * delta;
    return ((c3 * u + c2) * u + m0) * u + a;
}

}  // namespace

TEST(CalcEase, EndpointsAndShapes) {
    const float ramps[][2] = {{0.5f, 0.5f}, {1, 1}, {0, 0}, {0, 1}, {0.25f, 0.75f}, {0.1f, 0.3f}};
    for (auto& r : ramps) {
        EXPECT_FLOAT_EQ(CalcEase(0, r[0], r[1]) + 1.0f, 1.0f) << r[0] << " " << r[1];
        EXPECT_NEAR(CalcEase(1, r[0], r[1]), 1.0f, 1e-4) << r[0] << " " << r[1];
        float prev = 0;
        for (int i = 1; i <= 100; ++i) {
            const float v = CalcEase(i / 100.0f, r[0], r[1]);
            EXPECT_GT(v, prev) << r[0] << " " << r[1] << " at " << i;
            prev = v;
        }
    }
    EXPECT_NEAR(CalcEase(0.5f, 0.5f, 0.5f), 0.5f, 1e-4);      // both: symmetric
    EXPECT_NEAR(CalcEase(0.5f, 1, 1), 0.2929f, 1e-3);         // in: 1 - cos
    EXPECT_NEAR(CalcEase(0.5f, 0, 0), 0.7071f, 1e-3);         // out: sin
    EXPECT_NEAR(CalcEase(0.37f, 0, 1), 0.37f, 1e-6);          // identity
    // Constant speed between the ramps.
    const float d1 = CalcEase(0.5f, 0.25f, 0.75f) - CalcEase(0.4f, 0.25f, 0.75f);
    const float d2 = CalcEase(0.6f, 0.25f, 0.75f) - CalcEase(0.5f, 0.25f, 0.75f);
    EXPECT_NEAR(d1, d2, 1e-6);
}

TEST(CurveFit, KeysOutsideAndAtSegments) {
    auto one = Keys({42.5f}, {10});
    for (int ease : {EASE_IN_OUT, EASE_NONE, EASE_HOLD, EASE_STRAIGHT})
        for (long f : {-5L, 0L, 10L, 1000L}) EXPECT_EQ(At(one, f, ease), 42.5f);

    auto keys = Keys({0, 10, 50}, {0, 100, 200});
    EXPECT_EQ(At(keys, 200, EASE_NONE), 50.0f);  // the last key exactly
    EXPECT_EQ(At(keys, -1, EASE_NONE), 50.0f);   // before the first key: the last key
    EXPECT_EQ(At(keys, 100, EASE_NONE), 10.0f);  // a middle key starts its segment
    // The eased start is zero up to the truncated constant 1.5707.
    EXPECT_NEAR(At(keys, 0, EASE_IN_OUT), 0.0f, 1e-6);

    // Equal times: the empty segment is skipped.
    auto twin = Keys({0, 100, 30}, {0, 100, 100});
    EXPECT_EQ(At(twin, 100, EASE_NONE), 30.0f);
    EXPECT_FLOAT_EQ(At(twin, 50, EASE_NONE), Hermite(0, 100, 0, 30.0 / 2, 0.5));

    // Words are read by index, and a bad index reads nothing.
    keys[1].width = 7;
    EXPECT_EQ(CurveFit(3, keys.data(), 3, 150, 0, EASE_HOLD), 7.0f);
    EXPECT_EQ(CurveFit(3, keys.data(), 12, 150, 0, EASE_NONE), 0.0f);
    EXPECT_EQ(CurveFit(0, keys.data(), 0, 150, 0, EASE_NONE), 0.0f);
}

TEST(CurveFit, HermiteTangents) {
    // Start tangent 0, end tangent the chord: the curve starts slowly unassisted.
    auto two = Keys({0, 100}, {0, 100});
    EXPECT_FLOAT_EQ(At(two, 50, EASE_NONE), 37.5f);
    auto odd = Keys({0, 100}, {0, 99});
    EXPECT_FLOAT_EQ(At(odd, 49, EASE_NONE, 1), 37.5f);  // half a frame: u = 49.5 / 99

    // Differences 10 and 40: the inner tangent is damped by s = 0.75.
    auto damped = Keys({0, 10, 50}, {0, 100, 200});
    const double m = 0.75 * 50 / 2;
    EXPECT_FLOAT_EQ(At(damped, 50, EASE_NONE), Hermite(0, 10, 0, m, 0.5));
    EXPECT_FLOAT_EQ(At(damped, 150, EASE_NONE), Hermite(10, 40, m, 40, 0.5));

    // Differences 10 and 20: s caps at 1.
    auto even = Keys({0, 10, 30}, {0, 100, 200});
    EXPECT_FLOAT_EQ(At(even, 50, EASE_NONE), Hermite(0, 10, 0, 15, 0.5));

    // Differences are truncated to whole numbers: 0.5 and 0.5 give 0 and (raised
    // to) 1, so s = 0.
    auto flat = Keys({0, 0.5f, 1.0f}, {0, 100, 200});
    EXPECT_FLOAT_EQ(At(flat, 50, EASE_NONE), Hermite(0, 0.5, 0, 0, 0.5));
}

TEST(CurveFit, ShowEaseModes) {
    auto keys = Keys({0, 10, 50}, {0, 100, 200});
    EXPECT_EQ(At(keys, 50, EASE_HOLD), 0.0f);
    EXPECT_EQ(At(keys, 199, EASE_HOLD), 10.0f);
    EXPECT_EQ(At(keys, 200, EASE_HOLD), 50.0f);

    auto two = Keys({0, 100}, {0, 100});
    EXPECT_FLOAT_EQ(At(two, 30, EASE_NONE | EASE_STRAIGHT), 30.0f);
    EXPECT_FLOAT_EQ(At(two, 30, EASE_IN_OUT | EASE_STRAIGHT), 100 * CalcEase(0.3f, 0.5f, 0.5f));

    // With more segments slow-in & slow-out eases only the first start and last end.
    auto four = Keys({0, 100, 200, 300}, {0, 100, 200, 300});
    const int mode = EASE_IN_OUT | EASE_STRAIGHT;
    EXPECT_FLOAT_EQ(At(four, 30, mode), 100 * CalcEase(0.3f, 1, 1));
    EXPECT_FLOAT_EQ(At(four, 130, mode), 130.0f);
    EXPECT_FLOAT_EQ(At(four, 230, mode), 200 + 100 * CalcEase(0.3f, 0, 0));
    EXPECT_FLOAT_EQ(At(four, 230, EASE_IN | EASE_STRAIGHT), 230.0f);
}

TEST(CurveFit, KeyEaseCodesOverrideTheShow) {
    // 1050: both ends eased over a quarter each, curved path whatever the show says.
    auto two = Keys({0, 100}, {0, 100});
    two[0].easeCode = 1050;
    for (long f : {10L, 25L, 50L, 80L}) {
        const double u = CalcEase(f / 100.0f, 0.25f, 0.75f);
        EXPECT_FLOAT_EQ(At(two, f, EASE_NONE | EASE_STRAIGHT), Hermite(0, 100, 0, 100, u)) << f;
    }

    // 1051: the same on a straight path, with e = 0.51.
    two[0].easeCode = 1051;
    EXPECT_FLOAT_EQ(At(two, 50, EASE_NONE), 50.0f);
    EXPECT_FLOAT_EQ(At(two, 20, EASE_NONE), 100 * CalcEase(0.2f, 0.245f, 0.755f));
    EXPECT_NEAR(At(two, 50, EASE_NONE) - At(two, 40, EASE_NONE),
                At(two, 60, EASE_NONE) - At(two, 50, EASE_NONE), 1e-3);

    // Only the segment that begins at the key is affected; 3031 is slow-out, e = 0.31.
    auto three = Keys({0, 100, 200}, {0, 100, 200});
    three[1].easeCode = 3031;
    EXPECT_FLOAT_EQ(At(three, 150, EASE_NONE), 100 + 100 * CalcEase(0.5f, 0, 0.31f));
    EXPECT_FLOAT_EQ(At(three, 50, EASE_NONE | EASE_STRAIGHT), 50.0f);

    // A hold show mode wins over any key code.
    EXPECT_EQ(At(three, 150, EASE_HOLD), 100.0f);
}
