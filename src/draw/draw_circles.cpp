// Circles, arcs and pies. Huge circles cost only their visible part: the
// quadrant points have random access and each arm's coordinates are monotonic,
// so the visible stretch of an arm is found by binary search.
#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "draw/circle_points.h"
#include "draw/draw_lines.h"

using namespace zel_draw;

namespace {

constexpr double kDegrees = 180.0 / 3.14159265358979323846;
constexpr double kAngleSlack = 1e-7;  // points exactly on a bounding angle belong to the arc

// Arm points [begin, end) with x in [x0, x1] and y in [y0, y1].
void ArmRange(const CircleChain& chain, int arm, I64 x0, I64 x1, I64 y0, I64 y1, I64& begin, I64& end)
{
    I64 cx, cy;
    int sx, sy;
    chain.Arm(arm, cx, cy, sx, sy);
    const CircleQuadrant& q = chain.Quadrant();
    const auto at = [&](I64 i, bool x) {
        I64 dx, dy;
        q.Point(chain.QuadrantIndex(arm, i), dx, dy);
        return x ? cx + sx * dx : cy + sy * dy;
    };
    I64 b0, e0, b1, e1;
    MonotoneRange(
        chain.PerArm(), [&](I64 i) { return at(i, true); }, x0, x1, b0, e0);
    MonotoneRange(
        chain.PerArm(), [&](I64 i) { return at(i, false); }, y0, y1, b1, e1);
    begin = std::max(b0, b1);
    end = std::max(begin, std::min(e0, e1));
}

// The arm's segments (by start point) that a pen `width` wide can bring into
// the clip, as sorted disjoint ranges. A unit step is widened across one
// axis only, so its start must lie within a pixel or two of the clip on the
// other axis: in the clip's column band or its row band, and within reach of
// the pen across the band. A circle far larger than the image thus costs
// about sqrt(r * image size) segments, not r.
std::vector<std::pair<I64, I64>> ReachableSegments(const CircleChain& chain, int arm, const Target& t, int width)
{
    const I64 reach = width / 2 + 2;
    std::pair<I64, I64> a, b;
    ArmRange(chain, arm, t.left - 2, t.right + 2, t.top - reach, t.bottom + reach, a.first, a.second);
    ArmRange(chain, arm, t.left - reach, t.right + reach, t.top - 2, t.bottom + 2, b.first, b.second);
    if (a.first > b.first) std::swap(a, b);
    std::vector<std::pair<I64, I64>> ranges;
    if (a.first < a.second) ranges.push_back(a);
    if (b.first < b.second) {
        if (!ranges.empty() && b.first <= ranges.back().second) {
            ranges.back().second = std::max(ranges.back().second, b.second);
        } else {
            ranges.push_back(b);
        }
    }
    return ranges;
}

// Joins `count` chain points from `first`, stepping by `dir` around the
// chain, with lines without end points: the dash phase runs on from line
// to line. Lines far from the clip are skipped; they would be rejected
// without touching the phase.
void WalkChain(ZelImageDrawEngine& engine, const LinePen& pen, const CircleChain& chain, I64 first, I64 count, int dir)
{
    const I64 n = chain.Count();
    if (count < 2 || n < 1) return;
    const int width = ZelDrawAccess::PenWidth(engine);
    const auto at = [&](I64 m, I64& x, I64& y) { chain.Point(((first + dir * m) % n + n) % n, x, y); };
    I64 x0, y0, x1, y1;
    at(0, x0, y0);
    at(1, x1, y1);
    if (pen.dash)
        ZelDrawAccess::CheckDash(engine, static_cast<int>(x0), static_cast<int>(y0), static_cast<int>(x1),
                                 static_cast<int>(y1));
    std::vector<std::pair<I64, I64>> reachable[4];
    for (int arm = 0; arm < 4; ++arm) reachable[arm] = ReachableSegments(chain, arm, pen.target, width);
    // Segment m starts at point m; walk the run arm by arm, in its order.
    I64 m = 0;
    while (m < count - 1) {
        const I64 j = ((first + dir * m) % n + n) % n;
        const int arm = static_cast<int>(j / chain.PerArm());
        const I64 i = j % chain.PerArm();
        // Points of this arm still ahead in the run, in the walking direction.
        const I64 inArm = std::min(count - 1 - m, dir > 0 ? chain.PerArm() - i : i + 1);
        const I64 lo = dir > 0 ? i : i - inArm + 1, hi = dir > 0 ? i + inArm : i + 1;  // arm indices [lo, hi)
        const auto& ranges = reachable[arm];
        for (std::size_t k = 0; k < ranges.size(); ++k) {
            const auto& range = ranges[dir > 0 ? k : ranges.size() - 1 - k];
            const I64 vLo = std::max(lo, range.first), vHi = std::min(hi, range.second);
            for (I64 c = 0; c < vHi - vLo; ++c) {
                const I64 v = dir > 0 ? vLo + c : vHi - 1 - c;
                const I64 step = dir > 0 ? v - i : i - v;
                at(m + step, x0, y0);
                at(m + step + 1, x1, y1);
                WideLine(pen, width, x0, y0, x1, y1, false);
            }
        }
        m += inArm;
    }
    at(count - 1, x1, y1);
    if (pen.dash) ZelDrawAccess::SetLastLineEnd(engine, static_cast<int>(x1), static_cast<int>(y1));
}

// True when the direction `theta` (degrees counter-clockwise from +x) lies in
// the sweep from `start` by `sweep` degrees (negative: clockwise).
bool InSweep(double theta, double start, double sweep)
{
    double u = std::fmod(sweep >= 0 ? theta - start : start - theta, 360.0);
    if (u < 0) u += 360.0;
    if (u > 360.0 - kAngleSlack) u -= 360.0;
    return u <= std::fabs(sweep) + kAngleSlack;
}

// In float, as the angles come: a difference that rounds to 360 is a full turn.
bool FullTurn(float a, float b)
{
    return std::fabs(a - b) >= 360.0f;
}

}  // namespace

void ZelImageDrawEngine::DrawCircle(int cx, int cy, int diameter)
{
    LinePen pen;
    if (!GetLinePen(*this, pen) || diameter < 1) return;
    const Target& t = pen.target;
    const I64 r = (static_cast<I64>(diameter) - 1) / 2, even = diameter % 2 == 0, w = m_penWidth;
    if (cx + r + even + w < t.left || cx - r - w > t.right || cy + r + even + w < t.top || cy - r - w > t.bottom)
        return;

    if (m_penWidth >= 2 || m_penDash) {
        if (diameter == 1) {  // a chain of zero-length lines without end points: nothing to draw
            if (m_penDash) CheckLineDashOffset(cx, cy, cx, cy);
            return;
        }
        const CircleChain chain(cx, cy, diameter);
        WalkChain(*this, pen, chain, 0, chain.Count() + 1, 1);
        return;
    }
    // Every outline pixel once: the chain visits each of them once (an odd
    // circle's arms share their end points, and each arm leaves its last
    // one to the next).
    if (diameter == 1) {
        if (t.Inside(cx, cy)) PutPixel(t, cx, cy, pen.colour);
        return;
    }
    const CircleChain chain(cx, cy, diameter);
    for (int arm = 0; arm < 4; ++arm) {
        I64 begin, end;
        ArmRange(chain, arm, t.left, t.right, t.top, t.bottom, begin, end);
        for (I64 i = begin; i < end; ++i) {
            I64 x, y;
            chain.Point(arm * chain.PerArm() + i, x, y);
            PutPixel(t, static_cast<int>(x), static_cast<int>(y), pen.colour);
        }
    }
}

namespace {

// Calls span(y, x0, x1) for each clipped row of the disc.
template <class Span>
void DiscRows(const Target& t, I64 cx, I64 cy, int diameter, Span span)
{
    const CircleQuadrant q(diameter);
    const I64 r = q.Radius(), even = diameter % 2 == 0;
    const I64 cyB = cy + even, cxR = cx + even;
    const auto rows = [&](I64 centre, int sign, I64 dyFirst) {
        // Rows centre + sign * dy for dy in [dyFirst, r] that lie in the clip.
        I64 lo = sign > 0 ? t.top - centre : centre - t.bottom;
        I64 hi = sign > 0 ? t.bottom - centre : centre - t.top;
        lo = std::max(lo, dyFirst);
        hi = std::min(hi, r);
        for (I64 dy = lo; dy <= hi; ++dy) {
            const I64 mdx = q.MaxDx(dy);
            const I64 x0 = std::max<I64>(cx - mdx, t.left), x1 = std::min<I64>(cxR + mdx, t.right);
            if (x0 <= x1) span(static_cast<int>(centre + sign * dy), static_cast<int>(x0), static_cast<int>(x1));
        }
    };
    rows(cy, -1, 0);
    rows(cyB, 1, even ? 0 : 1);
}

}  // namespace

void ZelImageDrawEngine::FillCircle(int cx, int cy, int diameter)
{
    Target t;
    if (!ZelDrawAccess::GetTarget(*this, t) || diameter < 1) return;
    const Brush brush = ZelDrawAccess::GetBrush(*this);
    const SpanFiller fill = SelectSpanFiller(brush, t.depth);
    DiscRows(t, cx, cy, diameter, [&](int y, int x0, int x1) { fill(t, brush, y, x0, x1); });
}

void ZelImageDrawEngine::DrawArc(int cx, int cy, int diameter, float startAngle, float endAngle)
{
    LinePen pen;
    if (!GetLinePen(*this, pen)) return;
    if (FullTurn(startAngle, endAngle)) {
        DrawCircle(cx, cy, diameter);
        return;
    }
    if (diameter < 1) return;
    if (diameter == 1) {
        DrawRectangle(cx, cy, 1, 1);  // intended: the rectangle up to the point (1, 1)
        return;
    }
    if (diameter == 2) {
        DrawCircle(cx, cy, 2);
        return;
    }
    const double a = startAngle, sweep = static_cast<double>(endAngle) - a;
    if (!std::isfinite(sweep)) return;
    const CircleChain chain(cx, cy, diameter);
    const I64 n = chain.Count();
    // Chain angles run clockwise from 0 to 360; the arc starts at the chain
    // point nearest its start angle on the side of the sweep.
    double phiStart = std::fmod(360.0 - std::fmod(a, 360.0), 360.0);
    if (phiStart < 0) phiStart += 360.0;
    const auto firstAtLeast = [&](double v) {  // first j with angle >= v
        I64 lo = 0, hi = n;
        while (lo < hi) {
            const I64 m = lo + (hi - lo) / 2;
            if (chain.Angle(m) >= v - kAngleSlack) {
                hi = m;
            } else {
                lo = m + 1;
            }
        }
        return lo;
    };
    const auto countIn = [&](double lo, double hi) {  // points with angle in [lo, hi], 0 <= lo <= hi <= 360
        I64 upper = firstAtLeast(hi + 2 * kAngleSlack);
        return upper - firstAtLeast(lo);
    };
    const double len = std::fabs(sweep);
    // Clockwise on screen (a negative sweep) follows the chain forwards.
    const double lo = sweep < 0 ? phiStart : phiStart - len;
    const double hi = sweep < 0 ? phiStart + len : phiStart;
    I64 count = 0;
    if (lo < 0) {
        count = countIn(0, hi) + countIn(lo + 360.0, 360.0);
    } else if (hi > 360.0) {
        count = countIn(lo, 360.0) + countIn(0, hi - 360.0);
    } else {
        count = countIn(lo, hi);
    }
    if (count < 2) return;
    I64 first;
    if (sweep < 0) {
        first = firstAtLeast(lo < 0 ? lo + 360.0 : lo) % n;
    } else {
        first = firstAtLeast(hi + 2 * kAngleSlack) - 1;  // last point with angle <= hi
        if (first < 0) first += n;
    }
    WalkChain(*this, pen, chain, first, std::min(count, n), sweep < 0 ? 1 : -1);
}

void ZelImageDrawEngine::FillArc(int cx, int cy, int diameter, float startAngle, float endAngle)
{
    Target t;
    if (!ZelDrawAccess::GetTarget(*this, t)) return;
    if (FullTurn(startAngle, endAngle)) {
        FillCircle(cx, cy, diameter);
        return;
    }
    if (diameter < 1) return;
    if (diameter == 1) {
        DrawRectangle(cx, cy, 1, 1);  // intended: the outline, as DrawArc draws it
        return;
    }
    if (diameter == 2) {
        FillCircle(cx, cy, 2);
        return;
    }
    const double a = startAngle, sweep = static_cast<double>(endAngle) - a;
    if (!std::isfinite(sweep)) return;
    const Brush brush = ZelDrawAccess::GetBrush(*this);
    const SpanFiller fill = SelectSpanFiller(brush, t.depth);
    const I64 even = diameter % 2 == 0, cxR = cx + even, cyB = cy + even;
    DiscRows(t, cx, cy, diameter, [&](int y, int x0, int x1) {
        const I64 dyUp = y <= cy ? I64(cy) - y : cyB - y;
        int runStart = -1;
        for (int x = x0; x <= x1 + 1; ++x) {
            bool in = false;
            if (x <= x1) {
                const I64 dx = x >= cxR ? x - cxR : x - I64(cx);
                in = (dx == 0 && dyUp == 0) ||
                     InSweep(std::atan2(static_cast<double>(dyUp), static_cast<double>(dx)) * kDegrees, a, sweep);
            }
            if (in && runStart < 0) runStart = x;
            if (!in && runStart >= 0) {
                fill(t, brush, y, runStart, x - 1);
                runStart = -1;
            }
        }
    });
}
