// Lines: the clipped floating-point walk, dashes and their chaining, wide
// pens, gradient lines and rectangle outlines.
#include <algorithm>
#include <climits>
#include <cmath>
#include <type_traits>
#include <vector>

#include "draw/draw_lines.h"

namespace zel_draw {
namespace {

// floor(v) for |v| < 2^63.
inline I64 FloorToI64(double v)
{
    const I64 i = static_cast<I64>(v);
    return i - (static_cast<double>(i) > v);
}

template <int D>
using Depth = std::integral_constant<int, D>;

// Steps through the walk, taking a dash step at every position, and hands
// each drawn pixel with its step index on the unclipped line to `plot`.
template <int D, bool Dash, class Plot>
void WalkBody(const Target& t, const LineWalk& w, const bool* pattern, unsigned* offset, Plot& plot)
{
    const std::ptrdiff_t majorStride = w.xMajor ? D : t.stride, minorStride = w.xMajor ? t.stride : D;
    unsigned phase = Dash ? *offset : 0;
    double f = w.f;
    I64 major = w.start;
    for (I64 i = 0; i < w.count; ++i, major += w.step, f += w.slope) {
        const bool on = !Dash || pattern[phase++ & 7];
        const I64 minor = FloorToI64(f);
        if (on && minor >= w.minorLo && minor <= w.minorHi) {
            plot(Depth<D>{}, t.pixels + major * majorStride + minor * minorStride, w.skipped + i);
        }
    }
    if (Dash) *offset = phase;
}

// The one-pixel line around a plot of its body pixels: clip, the dash phase
// over the steps clipped away, the walk, then the end point in `endColour`.
template <class Plot>
void DrawWalk(const LinePen& pen, I64 x0, I64 y0, I64 x1, I64 y1, bool drawLastPoint, const Colour& endColour,
              Plot plot)
{
    const Target& t = pen.target;
    LineWalk w;
    if (!ClipLine(t, x0, y0, x1, y1, w)) return;
    if (pen.dash) *pen.offset += static_cast<unsigned>(w.skipped);
    if (w.count > 0) {
        if (t.depth == 3) {
            pen.dash ? WalkBody<3, true>(t, w, pen.pattern, pen.offset, plot)
                     : WalkBody<3, false>(t, w, pen.pattern, pen.offset, plot);
        } else {
            pen.dash ? WalkBody<4, true>(t, w, pen.pattern, pen.offset, plot)
                     : WalkBody<4, false>(t, w, pen.pattern, pen.offset, plot);
        }
    }
    if (!drawLastPoint) return;
    if (pen.dash && !pen.pattern[(*pen.offset)++ & 7]) return;
    if (t.Inside(x1, y1)) PutPixel(t, static_cast<int>(x1), static_cast<int>(y1), endColour);
}

// The displacements d = [lo, hi] across the line (in y when `acrossY`, else
// in x) at which a parallel line can have a pixel in the clip: the line's
// pixels whose coordinate along the other axis lies in the clip, moved across
// into it. The other axis always steps by whole pixels (it is the major axis,
// or the minor one of a 45-degree line); across it the walk is bounded by
// the exact line with a margin for its rounding.
void ParallelRange(const Target& t, bool acrossY, I64 x0, I64 y0, I64 x1, I64 y1, bool drawLastPoint, I64& lo, I64& hi)
{
    lo = 1, hi = 0;  // empty
    const I64 along0 = acrossY ? x0 : y0, alongDelta = acrossY ? x1 - x0 : y1 - y0;
    const I64 across0 = acrossY ? y0 : x0, acrossDelta = acrossY ? y1 - y0 : x1 - x0;
    const I64 steps = alongDelta < 0 ? -alongDelta : alongDelta;
    const I64 kLast = drawLastPoint ? steps : steps - 1;
    const I64 bandLo = acrossY ? t.left : t.top, bandHi = acrossY ? t.right : t.bottom;
    const I64 kLo = std::max<I64>(0, alongDelta < 0 ? along0 - bandHi : bandLo - along0);
    const I64 kHi = std::min<I64>(kLast, alongDelta < 0 ? along0 - bandLo : bandHi - along0);
    if (kLo > kHi) return;
    const auto at = [&](I64 k) {
        return steps == 0 ? across0 + 0.5 : across0 + 0.5 + static_cast<double>(k) * acrossDelta / steps;
    };
    // Coordinates stay below 2^34, where a double's unit in the last place is
    // 2^-18; a walk rounds at most once per step over at most the clip's
    // extent, after a jump that rounds a few times.
    const double margin = 2 + static_cast<double>(bandHi - bandLo + 1) * std::ldexp(1.0, -17);
    const double a = at(kLo), b = at(kHi);
    const I64 aMin = FloorToI64(std::min(a, b) - margin), aMax = FloorToI64(std::max(a, b) + margin);
    lo = (acrossY ? t.top : t.left) - aMax;
    hi = (acrossY ? t.bottom : t.right) - aMin;
}

}  // namespace

bool ClipLine(const Target& t, I64 x0, I64 y0, I64 x1, I64 y1, LineWalk& w)
{
    if ((x0 < t.left && x1 < t.left) || (x0 > t.right && x1 > t.right) || (y0 < t.top && y1 < t.top) ||
        (y0 > t.bottom && y1 > t.bottom)) {
        return false;
    }
    const I64 dx = x1 - x0, dy = y1 - y0;
    if (dx < INT32_MIN || dx > INT32_MAX || dy < INT32_MIN || dy > INT32_MAX) return false;
    w = LineWalk();
    if (dx == 0 && dy == 0) return true;  // the end point alone

    w.xMajor = (dx < 0 ? -dx : dx) >= (dy < 0 ? -dy : dy);
    const I64 majorDelta = w.xMajor ? dx : dy, minorDelta = w.xMajor ? dy : dx;
    const I64 m0 = w.xMajor ? x0 : y0, m1 = w.xMajor ? x1 : y1;
    w.step = majorDelta >= 0 ? 1 : -1;
    w.steps = majorDelta < 0 ? -majorDelta : majorDelta;
    w.slope = static_cast<double>(minorDelta) / static_cast<double>(w.steps);
    w.f = static_cast<double>(w.xMajor ? y0 : x0) + 0.5;
    w.minorLo = w.xMajor ? t.top : t.left;
    w.minorHi = w.xMajor ? t.bottom : t.right;

    // Along the major axis: start at the clip's near edge, end (exclusive)
    // one past its far edge. The quick rejection keeps both inside the line.
    const I64 lo = w.xMajor ? t.left : t.top, hi = w.xMajor ? t.right : t.bottom;
    I64 start = m0, end;
    if (w.step > 0) {
        if (m0 < lo) {
            w.f += static_cast<double>(lo - m0) * w.slope;
            start = lo;
        }
        end = m1 > hi ? hi + 1 : m1;
    } else {
        if (m0 > hi) {
            w.f += static_cast<double>(m0 - hi) * w.slope;
            start = hi;
        }
        end = m1 < lo ? lo - 1 : m1;
    }
    I64 remain = (end - start) * w.step;

    // Along the minor axis: the steps before floor(f) enters the clip are
    // skipped, the walk ends where it leaves. Step counts are compared as
    // doubles before they become integers: a slope near 0 makes them huge.
    if (minorDelta != 0) {
        const double near = static_cast<double>(w.minorLo), far1 = static_cast<double>(w.minorHi) + 1;
        double skip = 0, inside;
        if (w.slope > 0) {
            if (w.f >= far1) return false;
            if (w.f < near) skip = std::ceil((near - w.f) / w.slope);
        } else {
            if (w.f < near) return false;
            if (w.f >= far1) skip = std::floor((far1 - w.f) / w.slope) + 1;
        }
        if (skip > static_cast<double>(remain)) return false;
        if (skip > 0) {
            start += static_cast<I64>(skip) * w.step;
            remain -= static_cast<I64>(skip);
            w.f += skip * w.slope;
        }
        inside = w.slope > 0 ? std::ceil((far1 - w.f) / w.slope) : std::floor((near - w.f) / w.slope) + 1;
        if (inside < static_cast<double>(remain)) remain = inside > 0 ? static_cast<I64>(inside) : 0;
    }
    w.start = start;
    w.count = remain;
    w.skipped = (start - m0) * w.step;
    return true;
}

void InnerLine(const LinePen& pen, I64 x0, I64 y0, I64 x1, I64 y1, bool drawLastPoint)
{
    const Colour& c = pen.colour;
    if (c.a == 255) {  // opaque: no blend test per pixel
        DrawWalk(pen, x0, y0, x1, y1, drawLastPoint, c,
                 [&c](auto depth, unsigned char* p, I64) { WritePixel<decltype(depth)::value>(p, c); });
    } else {
        DrawWalk(pen, x0, y0, x1, y1, drawLastPoint, c,
                 [&c](auto depth, unsigned char* p, I64) { PutPixel<decltype(depth)::value>(p, c); });
    }
}

void WideLine(const LinePen& pen, int width, I64 x0, I64 y0, I64 x1, I64 y1, bool drawLastPoint)
{
    const unsigned start = pen.dash ? *pen.offset : 0;
    InnerLine(pen, x0, y0, x1, y1, drawLastPoint);
    if (width < 2) return;
    // Parallel line i = 2, 3, ... width lies at d = +1, -1, +2, -2, ...;
    // across y when |dx| > |dy|, else across x.
    const I64 dx = x1 - x0, dy = y1 - y0;
    const bool acrossY = (dx < 0 ? -dx : dx) > (dy < 0 ? -dy : dy);
    I64 lo, hi;
    ParallelRange(pen.target, acrossY, x0, y0, x1, y1, drawLastPoint, lo, hi);
    const auto displacement = [](I64 i) { return (i / 2) * (i % 2 ? -1 : 1); };
    const I64 last = displacement(width);
    const auto draw = [&](I64 d) {
        if (pen.dash) *pen.offset = start;
        if (acrossY) {
            InnerLine(pen, x0, y0 + d, x1, y1 + d, drawLastPoint);
        } else {
            InnerLine(pen, x0 + d, y0, x1 + d, y1, drawLastPoint);
        }
    };
    const I64 dMin = std::max<I64>(lo, -(static_cast<I64>(width) - 1) / 2);
    const I64 dMax = std::min<I64>(hi, width / 2);
    for (I64 d = dMin; d <= dMax; ++d) {
        if (d != 0 && d != last) draw(d);
    }
    // The phase after the call is the one the last parallel line leaves.
    draw(last);
}

bool GetLinePen(ZelImageDrawEngine& engine, LinePen& pen)
{
    if (!ZelDrawAccess::GetTarget(engine, pen.target)) return false;
    pen.colour = Colour(engine.GetColor());
    pen.dash = ZelDrawAccess::DashOn(engine);
    pen.pattern = ZelDrawAccess::DashPattern(engine);
    pen.offset = &ZelDrawAccess::DashOffset(engine);
    return true;
}

}  // namespace zel_draw

using namespace zel_draw;

void ZelImageDrawEngine::CheckLineDashOffset(int x0, int y0, int x1, int y1)
{
    if (m_dashChainRestart) {
        m_dashChainRestart = false;
    } else if (x0 != m_lastLineEndX || y0 != m_lastLineEndY) {
        m_dashOffset = 0;
    }
    m_lastLineEndX = x1;
    m_lastLineEndY = y1;
}

void ZelImageDrawEngine::DrawLineInner(int x0, int y0, int x1, int y1, bool drawLastPoint)
{
    LinePen pen;
    if (GetLinePen(*this, pen)) InnerLine(pen, x0, y0, x1, y1, drawLastPoint);
}

void ZelImageDrawEngine::DrawLine(int x0, int y0, int x1, int y1, bool drawLastPoint)
{
    LinePen pen;
    if (!GetLinePen(*this, pen)) return;
    if (m_penDash) CheckLineDashOffset(x0, y0, x1, y1);
    WideLine(pen, m_penWidth, x0, y0, x1, y1, drawLastPoint);
}

void ZelImageDrawEngine::DrawGradationLine(int x0, int y0, std::uint32_t colour0, int x1, int y1, std::uint32_t colour1)
{
    LinePen pen;
    if (!GetLinePen(*this, pen)) return;
    if (m_penDash) CheckLineDashOffset(x0, y0, x1, y1);
    const Colour c0(colour0), c1(colour1);
    const bool opaque = c0.a == 255 && c1.a == 255;
    // The colour parameter counts from the unclipped line's start.
    const I64 dx = I64(x1) - x0, dy = I64(y1) - y0;
    const I64 steps = std::max(dx < 0 ? -dx : dx, dy < 0 ? -dy : dy);
    DrawWalk(pen, x0, y0, x1, y1, true, c1, [&](auto depth, unsigned char* p, I64 k) {
        constexpr int D = decltype(depth)::value;
        const unsigned w = static_cast<unsigned>((256 * k) / steps);
        const Colour m((c1.b * w + c0.b * (256 - w)) >> 8, (c1.g * w + c0.g * (256 - w)) >> 8,
                       (c1.r * w + c0.r * (256 - w)) >> 8, (c1.a * w + c0.a * (256 - w)) >> 8);
        if (opaque) {
            WritePixel<D>(p, m);
        } else if (m.a) {
            BlendPixel<D>(p, m, m.a);
        }
    });
}

void ZelImageDrawEngine::DrawRectangle(int x0, int y0, int x1, int y1)
{
    LinePen pen;
    if (!GetLinePen(*this, pen)) return;
    m_dashOffset = 0;  // rectangles never chain
    const auto ring = [&](I64 d, const unsigned* starts, unsigned* reached) {
        const I64 l = x0 - d, t = y0 - d, r = x1 + d, b = y1 + d;
        const I64 corners[5][2] = {{l, t}, {r, t}, {r, b}, {l, b}, {l, t}};
        for (int e = 0; e < 4; ++e) {
            if (starts) m_dashOffset = starts[e];
            InnerLine(pen, corners[e][0], corners[e][1], corners[e + 1][0], corners[e + 1][1], false);
            if (reached && e < 3) reached[e + 1] = m_dashOffset;
        }
    };
    unsigned base[4] = {0, 0, 0, 0};  // where each edge of the base ring started
    ring(0, nullptr, base);
    if (m_penWidth < 2) return;

    // Ring i = 2, 3, ... lies d = +1, -1, +2, -2, ... outwards. Only rings
    // with an edge in the clip's rows or columns can draw; the last ring is
    // always drawn, for the phase it leaves.
    const I64 width = m_penWidth;
    const I64 dLo = -(width - 1) / 2, dHi = width / 2;
    const Target& t = pen.target;
    const I64 bands[4][2] = {{I64(y0) - t.bottom, I64(y0) - t.top},
                             {I64(t.top) - y1, I64(t.bottom) - y1},
                             {I64(x0) - t.right, I64(x0) - t.left},
                             {I64(t.left) - x1, I64(t.right) - x1}};
    std::vector<I64> rings;
    for (const auto& band : bands) {
        for (I64 d = std::max(band[0], dLo); d <= std::min(band[1], dHi); ++d) {
            if (d != 0) rings.push_back(d > 0 ? 2 * d : -2 * d + 1);
        }
    }
    rings.push_back(width);
    std::sort(rings.begin(), rings.end());
    rings.erase(std::unique(rings.begin(), rings.end()), rings.end());
    for (const I64 i : rings) {
        const I64 d = (i / 2) * (i % 2 ? -1 : 1);
        const unsigned phase = static_cast<unsigned>(((-d) % 8 + 8) % 8);
        const unsigned starts[4] = {phase + base[0], phase + base[1], phase + base[2], phase + base[3]};
        ring(d, starts, nullptr);
    }
}
