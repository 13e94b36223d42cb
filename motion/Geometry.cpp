// SPDX-License-Identifier: GPL-2.0-or-later
// Rectangle and rotation helpers.
#include "motion/Geometry.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

// Degrees to radians with the constant the camera code has always used; the
// stage's frame corners and saved layouts depend on this exact value.
constexpr double kDegToRad = 0.0174532;

// Truncation toward zero of a rotated offset.
long TruncToLong(double v) { return static_cast<long>(std::trunc(v)); }

}  // namespace

void MakeRect(tagRECT& r, long left, long top, long right, long bottom) {
    r.left = static_cast<int32_t>(left);
    r.top = static_cast<int32_t>(top);
    r.right = static_cast<int32_t>(right);
    r.bottom = static_cast<int32_t>(bottom);
}

long RectWidth(const tagRECT& r, bool centre) {
    const long w = static_cast<long>(r.right) - r.left;
    return centre ? r.left + w / 2 : w;
}

long RectHgt(const tagRECT& r, bool centre) {
    const long h = static_cast<long>(r.bottom) - r.top;
    return centre ? r.top + h / 2 : h;
}

void ScaleRect(tagRECT& r, long dx, long dy) {
    MakeRect(r, r.left - dx, r.top - dy, r.right + dx, r.bottom + dy);
}

void SizeRect(tagRECT& r, float fx, float fy) {
    // A negative factor is a divisor: -2 halves.
    if (fx < 0.0f) fx = -1.0f / fx;
    if (fy < 0.0f) fy = -1.0f / fy;
    const float left = static_cast<float>(r.left) * fx;
    const float top = static_cast<float>(r.top) * fy;
    const float right = static_cast<float>(r.right) * fx;
    const float bottom = static_cast<float>(r.bottom) * fy;
    MakeRect(r, static_cast<long>(left), static_cast<long>(top), static_cast<long>(right),
             static_cast<long>(bottom));
}

void MoveRectBy(tagRECT& r, long dx, long dy) {
    MakeRect(r, r.left + dx, r.top + dy, r.right + dx, r.bottom + dy);
}

void MoveRectTo(tagRECT& r, long x, long y) {
    MakeRect(r, x, y, x + RectWidth(r), y + RectHgt(r));
}

bool XYInRect(const tagRECT& r, long x, long y) {
    return r.left <= x && x <= r.right && r.top <= y && y <= r.bottom;
}

bool XYInRect(const tagRECT& r, tagPOINT p) { return XYInRect(r, p.x, p.y); }

bool ClipByRect(tagRECT& r, const tagRECT& clip) {
    r.left = std::max(r.left, clip.left);
    r.top = std::max(r.top, clip.top);
    r.right = std::min(r.right, clip.right);
    r.bottom = std::min(r.bottom, clip.bottom);
    // Only a result of exactly zero width or height counts as nothing left; an
    // inverted rectangle is reported as a result and left to the caller.
    return RectWidth(r) != 0 && RectHgt(r) != 0;
}

void SortRect(tagRECT& r) {
    if (r.left > r.right) std::swap(r.left, r.right);
    if (r.top > r.bottom) std::swap(r.top, r.bottom);
}

bool RectInRect(const tagRECT& inner, const tagRECT& outer) {
    tagRECT o = outer;
    SortRect(o);
    return XYInRect(o, inner.left, inner.top) && XYInRect(o, inner.right, inner.bottom);
}

void RotatePoint(tagPOINT& p, float degrees, const tagPOINT& centre) {
    const double a = degrees * kDegToRad;
    const double c = std::cos(a);
    const double s = std::sin(a);
    const double dx = static_cast<double>(p.x) - centre.x;
    const double dy = static_cast<double>(p.y) - centre.y;
    // + 0.5 then truncation: rounds non-negative results only.
    p.x = static_cast<int32_t>(centre.x + TruncToLong(c * dx - s * dy + 0.5));
    p.y = static_cast<int32_t>(centre.y + TruncToLong(s * dx + c * dy + 0.5));
}

void RotateRect(tagRECT& r, float degrees, const tagPOINT& centre) {
    const double a = degrees * kDegToRad;
    const double c = std::cos(a);
    const double s = std::sin(a);
    const double dxl = static_cast<double>(r.left) - centre.x;
    const double dyt = static_cast<double>(r.top) - centre.y;
    const double dxr = static_cast<double>(r.right) - centre.x;
    const double dyb = static_cast<double>(r.bottom) - centre.y;

    // The new top is rounded differently from the other three sides: its two
    // products are added as floats and it is nudged by 0.05 rather than 0.5.
    // The asymmetry is deliberate and kept.
    const float topSin = static_cast<float>(s * dxl);
    const float topCos = static_cast<float>(c * dyt);
    const float topSum = topSin + topCos;

    const long left = centre.x + TruncToLong(c * dxl - s * dyt + 0.5);
    const long top = centre.y + TruncToLong(topSum + 0.05);
    const long right = centre.x + TruncToLong(c * dxr - s * dyb + 0.5);
    const long bottom = centre.y + TruncToLong(s * dxr + c * dyb + 0.5);
    MakeRect(r, left, top, right, bottom);
}
