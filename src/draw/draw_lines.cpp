// Lines: the exact clipped walk, dashes and their chaining, wide pens,
// gradient lines and rectangle outlines.
#include <algorithm>
#include <climits>
#include <vector>

#include "draw/draw_lines.h"

namespace zel_draw {
namespace {

I64 Clamp(Wide v, I64 lo, I64 hi)
{
    return v < lo ? lo : v > hi ? hi : static_cast<I64>(v);
}

template <int D, bool Dash>
void WalkBody(const LinePen& pen, const LineClip& c)
{
    const Target& t = pen.target;
    const Wide twoN = static_cast<Wide>(2) * c.steps;
    const Wide num = c.steps + static_cast<Wide>(2) * c.begin * c.minorDelta;
    I64 q = static_cast<I64>(FloorDiv(num, twoN));
    I64 r = static_cast<I64>(num - static_cast<Wide>(q) * twoN);
    const I64 d2 = 2 * c.minorDelta, n2 = static_cast<I64>(twoN);
    I64 major = c.major0 + c.step * c.begin;
    unsigned offset = Dash ? *pen.offset : 0;
    for (I64 k = c.begin; k < c.end; ++k) {
        const bool on = !Dash || pen.pattern[offset++ & 7];
        if (on) {
            const I64 minor = c.minor0 + q;
            const int x = static_cast<int>(c.xMajor ? major : minor);
            const int y = static_cast<int>(c.xMajor ? minor : major);
            PutPixel<D>(t.At(x, y), pen.colour);
        }
        major += c.step;
        r += d2;
        if (r >= n2) {
            r -= n2;
            ++q;
        } else if (r < 0) {
            r += n2;
            --q;
        }
    }
    if (Dash) *pen.offset = offset;
}

}  // namespace

I64 PointOnLine(const LineClip& c, I64 k, bool x)
{
    if (x == c.xMajor) return c.major0 + c.step * k;
    if (c.steps == 0) return c.minor0;
    return c.minor0 + static_cast<I64>(FloorDiv(c.steps + Wide(2) * k * c.minorDelta, Wide(2) * c.steps));
}

LineClip ClipLine(const Target& t, I64 x0, I64 y0, I64 x1, I64 y1)
{
    LineClip c;
    if ((x0 < t.left && x1 < t.left) || (x0 > t.right && x1 > t.right) || (y0 < t.top && y1 < t.top) ||
        (y0 > t.bottom && y1 > t.bottom)) {
        return c;
    }
    const I64 dx = x1 - x0, dy = y1 - y0;
    c.endVisible = t.Inside(x1, y1);
    c.xMajor = (dx < 0 ? -dx : dx) >= (dy < 0 ? -dy : dy);
    const I64 majorDelta = c.xMajor ? dx : dy;
    c.major0 = c.xMajor ? x0 : y0;
    c.minor0 = c.xMajor ? y0 : x0;
    c.minorDelta = c.xMajor ? dy : dx;
    c.step = majorDelta < 0 ? -1 : 1;
    c.steps = majorDelta < 0 ? -majorDelta : majorDelta;
    if (c.steps == 0) {
        c.rejected = !c.endVisible;
        return c;
    }
    // Steps whose major position lies in the clip.
    const I64 lo = c.xMajor ? t.left : t.top, hi = c.xMajor ? t.right : t.bottom;
    I64 begin = c.step > 0 ? lo - c.major0 : c.major0 - hi;
    I64 end = (c.step > 0 ? hi - c.major0 : c.major0 - lo) + 1;
    begin = std::max<I64>(begin, 0);
    end = std::min<I64>(end, c.steps);
    // Steps whose minor position lies in the clip: minor(k) - minor0 =
    // floor((n + 2 k md) / 2n) is monotonic in k.
    if (c.minorDelta != 0 && begin < end) {
        const Wide n = c.steps, twoN = 2 * n;
        const Wide a = static_cast<Wide>(c.xMajor ? t.top : t.left) - c.minor0;
        const Wide b = static_cast<Wide>(c.xMajor ? t.bottom : t.right) - c.minor0;
        Wide kLo, kHi;
        if (c.minorDelta > 0) {
            const Wide m2 = static_cast<Wide>(2) * c.minorDelta;
            kLo = CeilDiv(twoN * a - n, m2);
            kHi = FloorDiv(twoN * (b + 1) - n - 1, m2);
        } else {
            const Wide e2 = static_cast<Wide>(-2) * c.minorDelta;
            kLo = CeilDiv(n - twoN * (b + 1) + 1, e2);
            kHi = FloorDiv(n - twoN * a, e2);
        }
        begin = std::max(begin, Clamp(kLo, 0, c.steps));
        end = std::min(end, Clamp(kHi + 1, 0, c.steps));
    }
    c.begin = begin;
    c.end = end;
    c.rejected = begin >= end && !c.endVisible;
    return c;
}

void InnerLine(const LinePen& pen, I64 x0, I64 y0, I64 x1, I64 y1, bool drawLastPoint)
{
    const LineClip c = ClipLine(pen.target, x0, y0, x1, y1);
    if (c.rejected) return;
    if (c.begin < c.end) {
        if (pen.dash) *pen.offset += static_cast<unsigned>(c.begin);  // the steps clipped away
        if (pen.target.depth == 3) {
            pen.dash ? WalkBody<3, true>(pen, c) : WalkBody<3, false>(pen, c);
        } else {
            pen.dash ? WalkBody<4, true>(pen, c) : WalkBody<4, false>(pen, c);
        }
    } else if (pen.dash) {
        *pen.offset += static_cast<unsigned>(c.steps);  // the whole body lies outside
    }
    if (!drawLastPoint) return;
    if (pen.dash && !pen.pattern[(*pen.offset)++ & 7]) return;
    if (c.endVisible) PutPixel(pen.target, static_cast<int>(x1), static_cast<int>(y1), pen.colour);
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
    // Only displacements that bring a pixel of the line into the clip can
    // draw: the points whose other coordinate lies in the clip's band, moved
    // across into it.
    const Target& t = pen.target;
    Target band = t;
    if (acrossY) {
        band.top = INT32_MIN, band.bottom = INT32_MAX;
    } else {
        band.left = INT32_MIN, band.right = INT32_MAX;
    }
    const LineClip inBand = ClipLine(band, x0, y0, x1, y1);
    I64 lo = 1, hi = 0;  // empty: no parallel line can show
    if (!inBand.rejected) {
        I64 aMin = INT64_MAX, aMax = INT64_MIN;
        const auto take = [&](I64 k) {
            const I64 a = PointOnLine(inBand, k, !acrossY);
            aMin = std::min(aMin, a);
            aMax = std::max(aMax, a);
        };
        if (inBand.begin < inBand.end) take(inBand.begin), take(inBand.end - 1);
        if (drawLastPoint && inBand.endVisible) take(inBand.steps);
        if (aMin <= aMax) {
            lo = (acrossY ? t.top : t.left) - aMax;
            hi = (acrossY ? t.bottom : t.right) - aMin;
        }
    }
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
    const LineClip c = ClipLine(pen.target, x0, y0, x1, y1);
    if (c.rejected) return;
    const Target& t = pen.target;
    const Colour c0(colour0), c1(colour1);
    const bool opaque = c0.a == 255 && c1.a == 255;
    if (c.begin < c.end) {
        if (m_penDash) m_dashOffset += static_cast<unsigned>(c.begin);
        for (I64 k = c.begin; k < c.end; ++k) {
            if (m_penDash && !m_dashPattern[m_dashOffset++ & 7]) continue;
            const I64 major = c.major0 + c.step * k;
            const I64 minor =
                c.minor0 + static_cast<I64>(FloorDiv(c.steps + Wide(2) * k * c.minorDelta, Wide(2) * c.steps));
            const unsigned w = static_cast<unsigned>((256 * k) / c.steps);
            const Colour m((c1.b * w + c0.b * (256 - w)) >> 8, (c1.g * w + c0.g * (256 - w)) >> 8,
                           (c1.r * w + c0.r * (256 - w)) >> 8, (c1.a * w + c0.a * (256 - w)) >> 8);
            unsigned char* p =
                t.At(static_cast<int>(c.xMajor ? major : minor), static_cast<int>(c.xMajor ? minor : major));
            if (opaque) {
                t.depth == 3 ? WritePixel<3>(p, m) : WritePixel<4>(p, m);
            } else if (m.a) {
                t.depth == 3 ? BlendPixel<3>(p, m, m.a) : BlendPixel<4>(p, m, m.a);
            }
        }
    } else if (m_penDash) {
        m_dashOffset += static_cast<unsigned>(c.steps);
    }
    if (m_penDash && !m_dashPattern[m_dashOffset++ & 7]) return;
    if (c.endVisible) PutPixel(t, x1, y1, c1);
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
