// SPDX-License-Identifier: GPL-2.0-or-later
// Key interpolation: a cubic Hermite curve through the keys with flat start,
// damped Catmull-Rom tangents in the middle and the chord at the end, with time
// reshaped by a sine-ramp ease.
//
// Precision is part of the behaviour (rendered frames must not move by a pixel
// between builds): the places that work in single precision use float
// temporaries, everything else is double, and the library is built without
// floating-point contraction so that no multiply-add is fused behind our back.
// The one fused step is the Horner evaluation of the cubic, done with std::fma so
// that it rounds the same on every machine, with or without hardware FMA.
#include "motion/Interp.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace {

// Truncated forms of pi and pi/2; the ease curves have always used these (the
// pieces then join with a minute mismatch, which stays).
constexpr double kPi = 3.1414;
constexpr double kHalfPi = 1.5707;

enum class Shape { None, In, Out, Both };

// A per-key ease override, decoded from the key's easeCode.
struct Ease {
    Shape shape = Shape::None;
    bool straight = false;
    float amount = 0.0f;  // fraction of the segment at constant speed
};

// Float to int toward zero, saturating instead of overflowing.
int TruncInt(double v) {
    if (!(v > INT_MIN)) return v != v ? 0 : INT_MIN + 1;
    if (!(v < INT_MAX)) return INT_MAX;
    return static_cast<int>(v);
}

// |b - a| with the difference taken in single precision, truncated to an integer.
int WholeDistance(float a, float b) {
    const float diff = b - a;
    return std::abs(TruncInt(diff));
}

Shape ShapeOfType(int type) {
    static constexpr Shape kShapes[] = {Shape::Both, Shape::In, Shape::Out};
    return type >= 0 && type < 3 ? kShapes[type] : Shape::None;
}

// The show's mode: slow-in & slow-out eases the start of the first segment and
// the end of the last one (both ends when there is only one segment).
Ease EaseFromMode(int easeMode, int segment, int keyCount) {
    Ease ease;
    const int type = easeMode & EASE_TYPE_MASK;
    const bool last = segment == keyCount - 2;
    if (type == EASE_IN_OUT && keyCount == 2)
        ease.shape = Shape::Both;
    else if ((type == EASE_IN_OUT || type == EASE_IN) && segment == 0)
        ease.shape = Shape::In;
    else if ((type == EASE_IN_OUT || type == EASE_OUT) && last)
        ease.shape = Shape::Out;
    ease.straight = (easeMode & EASE_STRAIGHT) != 0;
    return ease;
}

// easeCode = 1000 * (type + 1) + amount; an odd amount means a straight path.
// The straight bit stays in the amount, so a straight key eases 0.01 more.
Ease EaseFromCode(float easeCode) {
    Ease ease;
    const int code = TruncInt(easeCode);
    const int type = TruncInt((easeCode - 900.0) / 1000.0);
    ease.shape = ShapeOfType(type);
    ease.straight = (code & 1) != 0;
    ease.amount = static_cast<float>(code % 1000) / 100.0f;
    return ease;
}

double Reshape(double u, const Ease& ease) {
    const float t = static_cast<float>(u);
    const float e = ease.amount;
    switch (ease.shape) {
    case Shape::Both: {
        const float half = e / 2.0f;
        return CalcEase(t, 0.5f - half, 0.5f + half);
    }
    case Shape::In:
        return CalcEase(t, 1.0f - e, 1.0f);
    case Shape::Out:
        return CalcEase(t, 0.0f, e);
    case Shape::None:
        break;
    }
    return u;
}

}  // namespace

float CalcEase(float t, float a, float b) {
    const float oneMinusB = 1.0f - b;
    const float mid = b - a;
    const double k1 = 2.0 * a / kPi;
    const double k2 = 2.0 * oneMinusB / kPi;

    double v;
    if (t < a) {
        const float ta = t / a;
        v = k1 * (std::sin(ta * kHalfPi - kHalfPi) + 1.0);
    } else if (t <= b) {
        v = k1 + t - a;
    } else {
        const float tb = t - b;
        const float q = tb / oneMinusB;
        v = k1 + mid + k2 * std::sin(q * kHalfPi);
    }
    return static_cast<float>(v / (k2 + (k1 + mid)));
}

float CurveFit(int keyCount, const KeyStruct* keys, int field, long frame, int halfFrame,
               int easeMode) {
    if (keyCount < 1 || keys == nullptr || field < 0 || field > 11) return 0.0f;
    if (keyCount == 1) return KeyWord(keys[0], field);

    const double h = halfFrame != 0 ? 0.5 : 0.0;
    const int lastSegment = keyCount - 2;

    float a = KeyWord(keys[0], field);
    float b = KeyWord(keys[1], field);
    int dPrev = WholeDistance(a, b);
    double mPrev = 0.0;  // so the first segment starts with tangent 0

    for (int i = 0; i <= lastSegment; ++i) {
        // Tangents at the segment's ends. The motion leaves the first key with
        // zero speed; inner keys get a Catmull-Rom tangent flattened when the
        // neighbouring segments differ in length by more than three times; the
        // last key gets the chord of the last segment.
        float c = b;
        int dNext = dPrev;
        const double m0 = mPrev;
        double m1;
        if (i == lastSegment) {
            m1 = b - a;
        } else {
            c = KeyWord(keys[i + 2], field);
            dNext = WholeDistance(b, c);
            if (dNext == 0) dNext = 1;
            const double s =
                std::min(1.0, 3.0 * std::min(dPrev, dNext) / std::max(dPrev, dNext));
            const float chord = c - a;
            m1 = s * chord / 2.0;
        }

        const long t0 = keys[i].time;
        const long t1 = keys[i + 1].time;
        if (t0 <= frame && frame < t1) {
            if ((easeMode & EASE_TYPE_MASK) == EASE_HOLD) return a;

            const float delta = b - a;
            const double c1 = m0;
            const double c2 = 3.0 * delta - 2.0 * m0 - m1;
            const double c3 = m0 + m1 - 2.0 * delta;

            double u = (h + static_cast<double>(frame - t0)) / static_cast<double>(t1 - t0);
            const float code = keys[i].easeCode;
            const Ease ease = code > 0.0f ? EaseFromCode(code) : EaseFromMode(easeMode, i, keyCount);
            u = Reshape(u, ease);

            double value;
            if (ease.straight)
                value = a + u * delta;
            else
                value = std::fma(std::fma(std::fma(c3, u, c2), u, c1), u, static_cast<double>(a));
            return static_cast<float>(value);
        }

        a = b;
        b = c;
        dPrev = dNext;
        mPrev = m1;
    }
    // Before the first key or at/after the last one: the last key's value.
    return KeyWord(keys[keyCount - 1], field);
}

void KeyIdentity(KeyStruct& key) { key = KeyStruct{}; }
