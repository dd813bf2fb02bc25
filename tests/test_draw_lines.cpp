// Lines: the walk against a reference written from its description, clipped
// lines against the unclipped walk, dash phases and their chaining, wide
// pens, gradients and rectangle outlines.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <random>

#include "draw_test_helpers.h"

namespace {

using I64 = std::int64_t;
__extension__ typedef __int128 Wide;

struct Clip {
    int left, top, right, bottom;
    bool Inside(I64 x, I64 y) const { return x >= left && x <= right && y >= top && y <= bottom; }
};

struct Walked {
    PixelSet pixels;
    unsigned phase;
};

// DrawLineInner told step by step: reject; walk the major axis from m0 with
// f = minor0 + 1/2 growing by the slope; jump over the part before the clip
// (major axis: by distance x slope; minor axis: by the ceil / floor step
// counts), stop where the clip ends; the dash phase takes the skipped steps.
Walked LiteralLine(int x0, int y0, int x1, int y1, Clip c, const bool* dash, unsigned phase, bool last)
{
    Walked out{{}, phase};
    if ((x0 < c.left && x1 < c.left) || (x0 > c.right && x1 > c.right) || (y0 < c.top && y1 < c.top) ||
        (y0 > c.bottom && y1 > c.bottom))
        return out;
    const I64 dx = I64(x1) - x0, dy = I64(y1) - y0;
    if (dx != int(dx) || dy != int(dy)) return out;
    const auto dashStep = [&] { return !dash || dash[out.phase++ % 8]; };
    if (dx != 0 || dy != 0) {
        const bool yMajor = std::llabs(dx) < std::llabs(dy);
        const I64 major0 = yMajor ? y0 : x0, major1 = yMajor ? y1 : x1, minorDelta = yMajor ? dx : dy;
        const int s = (yMajor ? dy : dx) >= 0 ? 1 : -1;
        const I64 near = s > 0 ? (yMajor ? c.top : c.left) : (yMajor ? c.bottom : c.right);
        const I64 far = s > 0 ? (yMajor ? c.bottom : c.right) : (yMajor ? c.top : c.left);
        const double lo = yMajor ? c.left : c.top, hi = yMajor ? c.right : c.bottom;
        const double slope = double(minorDelta) / double(std::llabs(yMajor ? dy : dx));
        double f = (yMajor ? x0 : y0) + 0.5;
        I64 m = major0;
        if ((near - m) * s > 0) {
            f += double((near - m) * s) * slope;
            m = near;
        }
        I64 left = ((major1 - far) * s > 0 ? far + s - m : major1 - m) * s;  // steps to walk
        double skip = 0;
        if (minorDelta > 0) {
            if (f >= hi + 1) return out;
            if (f < lo) skip = std::ceil((lo - f) / slope);
        } else if (minorDelta < 0) {
            if (f < lo) return out;
            if (f >= hi + 1) skip = std::floor((hi + 1 - f) / slope) + 1;
        }
        if (skip > left) return out;
        m += I64(skip) * s, left -= I64(skip), f += skip * slope;
        if (minorDelta != 0) {
            const double inside = minorDelta > 0 ? std::ceil((hi + 1 - f) / slope) : std::floor((lo - f) / slope) + 1;
            if (inside < left) left = I64(inside);
        }
        if (dash) out.phase += unsigned((m - major0) * s);
        for (; left > 0; --left, m += s, f += slope) {
            const bool on = dashStep();
            const I64 minor = I64(std::floor(f));
            const I64 x = yMajor ? minor : m, y = yMajor ? m : minor;
            if (on && c.Inside(x, y)) out.pixels.insert({int(x), int(y)});
        }
    }
    if (last && dashStep() && c.Inside(x1, y1)) out.pixels.insert({x1, y1});
    return out;
}

// The unclipped line, exactly: step k at minor0 + floor(1/2 + k * md / n),
// and, when `tiesDown`, one lower where that value is a whole number (a
// tie, which the rounding of the walk may put on either side). Pixels in
// [0, w) x [0, h) with their dash phase.
PixelSet ExactLine(I64 x0, I64 y0, I64 x1, I64 y1, int w, int h, const bool* dash, unsigned phase, bool last,
                   bool tiesDown)
{
    PixelSet set;
    const I64 dx = x1 - x0, dy = y1 - y0;
    const bool xMajor = std::llabs(dx) >= std::llabs(dy);
    const I64 md = xMajor ? dy : dx, M = xMajor ? dx : dy, n = std::llabs(M);
    const I64 m0 = xMajor ? x0 : y0, mn0 = xMajor ? y0 : x0;
    for (I64 major = 0; major < (xMajor ? w : h) && n > 0; ++major) {
        const I64 k = M > 0 ? major - m0 : m0 - major;
        if (k < 0 || k >= n) continue;
        const Wide num = n + Wide(2) * k * md, den = 2 * n;
        I64 minor = mn0 + I64(num / den - (num % den < 0));
        if (tiesDown && num % den == 0) --minor;
        const I64 x = xMajor ? major : minor, y = xMajor ? minor : major;
        if (x < 0 || x >= w || y < 0 || y >= h) continue;
        if (dash && !dash[(phase + unsigned(k)) & 7]) continue;
        set.insert({int(x), int(y)});
    }
    const bool endOn = !dash || dash[(phase + unsigned(n)) & 7];
    if (last && endOn && x1 >= 0 && x1 < w && y1 >= 0 && y1 < h) set.insert({int(x1), int(y1)});
    return set;
}

const bool kDefaultDash[8] = {true, true, true, true, false, false, false, false};
const Clip kWhole{0, 0, 31, 31};

}  // namespace

TEST(DrawLines, WalkFollowsItsDescription)
{
    struct Row {
        int x0, y0, x1, y1;
        Clip clip;
        bool dash, last;
        unsigned phase;
    } rows[] = {
        {2, 3, 29, 14, kWhole, false, true, 0},                    // shallow, increasing
        {29, 14, 2, 3, kWhole, true, true, 5},                     // the same backwards, dashed
        {5, 1, 12, 30, kWhole, false, false, 0},                   // steep
        {12, 30, 5, 1, kWhole, true, false, 2},                    // steep, decreasing x and y
        {1, 1, 20, 20, kWhole, false, true, 0},                    // 45 degrees runs along x
        {0, 0, 10, 1, kWhole, false, true, 0},                     // 1/10 accumulates below the tie at x = 5
        {0, 0, 10, 1, {5, 0, 31, 31}, false, true, 0},             // the jump lands on it
        {-40, -7, 70, 40, {4, 5, 27, 26}, true, true, 3},          // cut on both ends of the major axis
        {-100, -45, 100, 55, {0, 10, 31, 20}, true, false, 0},     // enters and leaves through the minor edges
        {-100, 75, 100, -25, {0, 10, 31, 20}, true, true, 1},      // the same, decreasing
        {-45, -100, 55, 100, {10, 0, 20, 31}, true, true, 6},      // steep, increasing minor
        {75, -100, -25, 100, {10, 0, 20, 31}, false, true, 0},     // steep, decreasing minor
        {25, 200, 35, -90, {3, 3, 28, 28}, true, true, 3},         // steep, upwards
        {-10, 20, 10, 40, {0, 0, 9, 9}, true, true, 4},            // passes the corner: given up, phase kept
        {-1000001, 3, 20, 9, kWhole, true, false, 0},              // from far outside
        {16, 16, 16, 16, kWhole, true, true, 2},                   // a point, dash on
        {40, 16, 40, 16, kWhole, true, true, 2},                   // a point outside: no dash step
        {INT_MIN, 5, INT_MAX, 6, kWhole, true, true, 0},           // x1 - x0 overflows: nothing
        {INT_MIN / 2, 5, INT_MAX / 2, 6, kWhole, false, true, 0},  // the widest that fits
    };
    for (const Row& r : rows) {
        DrawCanvas c(32, 32);
        c.engine.SetClipRectangle(r.clip.left, r.clip.top, r.clip.right, r.clip.bottom);
        c.engine.SetPenDash(r.dash);
        c.engine.SetPenDashOffset(r.phase);
        c.engine.DrawLine(r.x0, r.y0, r.x1, r.y1, r.last);
        const Walked expected =
            LiteralLine(r.x0, r.y0, r.x1, r.y1, r.clip, r.dash ? kDefaultDash : nullptr, r.phase, r.last);
        EXPECT_EQ(c.Drawn(), expected.pixels) << r.x0 << "," << r.y0 << " -> " << r.x1 << "," << r.y1;
        EXPECT_EQ(c.engine.GetPenDashOffset(), expected.phase) << r.x0 << "," << r.y0 << " -> " << r.x1 << "," << r.y1;
    }
    // Random lines into random clips.
    std::mt19937 rng(5);
    const auto uniform = [&](int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); };
    for (int i = 0; i < 3000; ++i) {
        const int span = i % 2 ? 50 : 100000;
        const int x0 = uniform(-span, span), y0 = uniform(-span, span), x1 = uniform(-40, 70), y1 = uniform(-40, 70);
        const Clip clip{uniform(0, 31), uniform(0, 31), uniform(0, 31), uniform(0, 31)};
        if (clip.left > clip.right || clip.top > clip.bottom) continue;
        DrawCanvas c(32, 32);
        c.engine.SetClipRectangle(clip.left, clip.top, clip.right, clip.bottom);
        c.engine.SetPenDash(true);
        c.engine.SetPenDashOffset(unsigned(i));
        c.engine.DrawLine(x0, y0, x1, y1, i % 3 != 0);
        const Walked expected = LiteralLine(x0, y0, x1, y1, clip, kDefaultDash, unsigned(i), i % 3 != 0);
        ASSERT_EQ(c.Drawn(), expected.pixels) << x0 << "," << y0 << " -> " << x1 << "," << y1;
        ASSERT_EQ(c.engine.GetPenDashOffset(), expected.phase) << x0 << "," << y0 << " -> " << x1 << "," << y1;
    }
    // The tie rows by hand: the walk from 0 reaches 0.5 + 5 x 0.1 just below
    // 1, the jump to x = 5 lands on 1.
    DrawCanvas walk(11, 2), jump(11, 2);
    walk.engine.DrawLine(0, 0, 10, 1, true);
    jump.engine.SetClipRectangle(5, 0, 10, 1);
    jump.engine.DrawLine(0, 0, 10, 1, true);
    EXPECT_EQ(walk.Get(5, 0), 0xFFFFFFFFu);
    EXPECT_EQ(jump.Get(5, 1), 0xFFFFFFFFu);
}

// A clipped line draws the unclipped line's pixels inside, with their
// phases: exactly when the slope is a short binary fraction (every step and
// jump is exact), elsewhere up to a tie going either way.
TEST(DrawLines, ClippedEqualsUnclipped)
{
    std::mt19937 rng(7);
    const auto uniform = [&](I64 lo, I64 hi) { return std::uniform_int_distribution<I64>(lo, hi)(rng); };
    for (int i = 0; i < 4000; ++i) {
        const bool binary = i % 2 == 0, dash = i % 3 == 0, last = i % 5 < 2;
        I64 x0, y0, x1, y1;
        if (binary) {
            // Slope a / 2^q, from anywhere in the int range.
            const I64 q = uniform(0, 8), a = uniform(-(I64(1) << q), I64(1) << q);
            const I64 reach = (I64(1) << 30) >> q, mul = uniform(1, std::max<I64>(1, reach));
            const I64 major = (mul << q) * (uniform(0, 1) ? 1 : -1), minor = mul * a;
            const bool xMajor = uniform(0, 1);
            x0 = uniform(-30, 60) - uniform(0, 1) * (xMajor ? major : minor) / 2;
            y0 = uniform(-30, 60) - uniform(0, 1) * (xMajor ? minor : major) / 2;
            x1 = x0 + (xMajor ? major : minor), y1 = y0 + (xMajor ? minor : major);
            if (x0 != int(x0) || y0 != int(y0) || x1 != int(x1) || y1 != int(y1)) continue;
        } else {
            const I64 span = i % 4 == 1 ? 60 : 1 << 15;
            x0 = uniform(20 - span, 20 + span), y0 = uniform(20 - span, 20 + span);
            x1 = uniform(20 - span, 20 + span), y1 = uniform(20 - span, 20 + span);
        }
        DrawCanvas canvas(41, 37);
        canvas.engine.SetPenDash(dash);
        canvas.engine.SetPenDashOffset(unsigned(i));
        canvas.engine.DrawLine(int(x0), int(y0), int(x1), int(y1), last);
        const PixelSet drawn = canvas.Drawn();
        const bool* pattern = dash ? kDefaultDash : nullptr;
        const PixelSet up = ExactLine(x0, y0, x1, y1, 41, 37, pattern, unsigned(i), last, false);
        if (binary) {
            ASSERT_EQ(drawn, up) << x0 << "," << y0 << " -> " << x1 << "," << y1;
            continue;
        }
        const PixelSet down = ExactLine(x0, y0, x1, y1, 41, 37, pattern, unsigned(i), last, true);
        for (const Pixel& p : drawn) ASSERT_TRUE(up.count(p) || down.count(p)) << x0 << "," << y0 << " " << i;
        for (const Pixel& p : up) ASSERT_TRUE(!down.count(p) || drawn.count(p)) << x0 << "," << y0 << " " << i;
    }
}

TEST(DrawLines, DashChainingAndPhase)
{
    // Two lines meeting end to start continue the phase: the same pixels as
    // one line.
    DrawCanvas chained(40, 1), single(40, 1);
    chained.engine.SetPenDash(true);
    chained.engine.DrawLine(0, 0, 13, 0, false);
    chained.engine.DrawLine(13, 0, 30, 0, false);
    single.engine.SetPenDash(true);
    single.engine.DrawLine(0, 0, 30, 0, false);
    EXPECT_EQ(chained.Drawn(), single.Drawn());
    EXPECT_EQ(chained.engine.GetPenDashOffset(), 30u);

    // A line that starts elsewhere restarts at phase 0; a set offset holds
    // wherever the next line starts.
    DrawCanvas c(40, 1);
    c.engine.SetPenDash(true);
    c.engine.DrawLine(0, 0, 3, 0, false);
    c.Clear();
    c.engine.DrawLine(20, 0, 35, 0, false);
    EXPECT_EQ(c.Drawn(), ExactLine(20, 0, 35, 0, 40, 1, kDefaultDash, 0, false, false));
    c.Clear();
    c.engine.SetPenDashOffset(3);
    c.engine.DrawLine(1, 0, 20, 0, false);
    EXPECT_EQ(c.Drawn(), ExactLine(1, 0, 20, 0, 40, 1, kDefaultDash, 3, false, false));
}

TEST(DrawLines, WidePens)
{
    // Width 4 on a shallow line: rows y, y + 1, y - 1, y + 2.
    DrawCanvas four(20, 20);
    four.engine.SetPenWidth(4);
    four.engine.DrawLine(2, 10, 17, 10, true);
    EXPECT_EQ(four.Drawn().size(), 64u);
    EXPECT_TRUE(four.Get(2, 9) && four.Get(17, 12) && !four.Get(2, 8) && !four.Get(2, 13));
    // Clipped, from anywhere: the same as its parallel lines drawn one by one
    // (far ones skipped without changing a pixel or the phase).
    std::mt19937 rng(11);
    const auto coord = [&](int i) {
        const int span = i % 3 == 0 ? 1 << 30 : i % 3 == 1 ? 5000 : 60;
        return std::uniform_int_distribution<int>(20 - span, 20 + span)(rng);
    };
    for (int i = 0; i < 600; ++i) {
        const int x0 = coord(i), y0 = coord(i), x1 = coord(i), y1 = coord(i), width = 2 + i % 6;
        const bool dash = i % 2;
        DrawCanvas c(40, 40), expected(40, 40);
        for (ZelImageDrawEngine* e : {&c.engine, &expected.engine}) {
            e->SetClipRectangle(5, 7, 30, 25);
            e->SetPenDash(dash);
        }
        c.engine.SetPenWidth(width);
        c.engine.SetPenDashOffset(unsigned(i));
        c.engine.DrawLine(x0, y0, x1, y1, true);
        const bool acrossY = std::llabs(I64(x1) - x0) > std::llabs(I64(y1) - y0);
        for (int k = 1; k <= width; ++k) {
            const int d = k / 2 * (k % 2 ? -1 : 1);
            expected.engine.SetPenDashOffset(unsigned(i));
            expected.engine.DrawLine(x0 + (acrossY ? 0 : d), y0 + (acrossY ? d : 0), x1 + (acrossY ? 0 : d),
                                     y1 + (acrossY ? d : 0), true);
        }
        ASSERT_EQ(c.Drawn(), expected.Drawn()) << x0 << "," << y0 << " -> " << x1 << "," << y1 << " w " << width;
        ASSERT_EQ(c.engine.GetPenDashOffset(), expected.engine.GetPenDashOffset()) << i;
    }
    // A huge pen on a small image costs only the lines that can show.
    DrawCanvas huge(8, 8);
    huge.engine.SetPenWidth(INT_MAX);
    huge.engine.DrawLine(INT_MIN / 2, 3, INT_MAX / 2, 4, true);
    EXPECT_EQ(huge.Drawn().size(), 64u);
}

TEST(DrawLines, GradientRunsInSteps256)
{
    DrawCanvas c(5, 1);
    c.engine.DrawGradationLine(0, 0, 0xFF000000, 4, 0, 0xFF0000FF);
    // t = 256 k / 4 for the body; the end point takes colour1.
    const std::uint32_t expected[5] = {0xFF000000, 0xFF00003F, 0xFF00007F, 0xFF0000BF, 0xFF0000FF};
    for (int x = 0; x < 5; ++x) EXPECT_EQ(c.Get(x, 0), expected[x]) << x;
    // Clipped, the colours still count from the unclipped start, dashed too.
    for (const bool dash : {false, true}) {
        DrawCanvas whole(40, 40), cut(40, 40);
        for (ZelImageDrawEngine* e : {&whole.engine, &cut.engine}) e->SetPenDash(dash);
        cut.engine.SetClipRectangle(10, 3, 30, 20);
        whole.engine.DrawGradationLine(-50, 0, 0xFF000000, 78, 32, 0x80FF8040);
        cut.engine.DrawGradationLine(-50, 0, 0xFF000000, 78, 32, 0x80FF8040);
        PixelSet inside;
        for (const Pixel& p : whole.Drawn()) {
            if (p.first >= 10 && p.first <= 30 && p.second >= 3 && p.second <= 20) inside.insert(p);
        }
        ASSERT_EQ(cut.Drawn(), inside);
        for (const Pixel& p : inside) EXPECT_EQ(cut.Get(p.first, p.second), whole.Get(p.first, p.second));
    }
}

TEST(DrawLines, RectangleOutlines)
{
    const auto perimeter = [](int l, int t, int r, int b) {
        PixelSet s;
        for (int x = l; x <= r; ++x) s.insert({x, t}), s.insert({x, b});
        for (int y = t; y <= b; ++y) s.insert({l, y}), s.insert({r, y});
        return s;
    };
    DrawCanvas c(12, 12);
    c.engine.DrawRectangle(3, 3, 8, 6);
    EXPECT_EQ(c.Drawn(), perimeter(3, 3, 8, 6));
    c.Clear();
    c.engine.SetPenWidth(3);
    c.engine.DrawRectangle(3, 3, 8, 6);
    PixelSet rings = perimeter(2, 2, 9, 7);
    for (const auto& ring : {perimeter(3, 3, 8, 6), perimeter(4, 4, 7, 5)}) rings.insert(ring.begin(), ring.end());
    EXPECT_EQ(c.Drawn(), rings);
    // A ring far larger than the image costs only its visible edges.
    DrawCanvas huge(6, 6);
    huge.engine.SetPenWidth(INT_MAX);
    huge.engine.DrawRectangle(2, 2, 3, 3);
    EXPECT_EQ(huge.Drawn().size(), 36u);
}
