// Lines: clipped lines against the unclipped rule, dash phases and their
// chaining, wide pens, gradients and rectangle outlines.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>

#include "draw_test_helpers.h"

namespace {

using I64 = std::int64_t;
__extension__ typedef __int128 Wide;

I64 FloorDiv(Wide a, Wide b)
{
    Wide q = a / b;
    if (a % b != 0 && (a < 0) != (b < 0)) --q;
    return static_cast<I64>(q);
}

// The pixels of the unclipped line that fall in [0, w) x [0, h), with the
// dash phase each would take, evaluated one major position of the window
// at a time: step k sits at minor0 + floor(1/2 + k * md / n).
PixelSet ReferenceLine(I64 x0, I64 y0, I64 x1, I64 y1, int w, int h, const bool* dash, unsigned phase, bool last)
{
    PixelSet set;
    const I64 dx = x1 - x0, dy = y1 - y0;
    const bool xMajor = (dx < 0 ? -dx : dx) >= (dy < 0 ? -dy : dy);
    const I64 md = xMajor ? dy : dx, M = xMajor ? dx : dy, n = M < 0 ? -M : M;
    const I64 m0 = xMajor ? x0 : y0, mn0 = xMajor ? y0 : x0;
    const int extent = xMajor ? w : h;
    for (I64 major = 0; major < extent && n > 0; ++major) {
        const I64 k = M > 0 ? major - m0 : m0 - major;
        if (k < 0 || k >= n) continue;
        const I64 minor = mn0 + FloorDiv(n + Wide(2) * k * md, 2 * n);
        const I64 x = xMajor ? major : minor, y = xMajor ? minor : major;
        if (x < 0 || x >= w || y < 0 || y >= h) continue;
        if (dash && !dash[(phase + static_cast<unsigned>(k)) & 7]) continue;
        set.insert({static_cast<int>(x), static_cast<int>(y)});
    }
    const bool endOn = !dash || dash[(phase + static_cast<unsigned>(n)) & 7];
    if (last && endOn && x1 >= 0 && x1 < w && y1 >= 0 && y1 < h) set.insert({int(x1), int(y1)});
    return set;
}

const bool kDefaultDash[8] = {true, true, true, true, false, false, false, false};

}  // namespace

// Lines from anywhere in the int range, dashed or not, into a small image:
// the clipped walk draws exactly the unclipped line's pixels and phases.
TEST(DrawLines, ClippedEqualsUnclippedOverTheIntRange)
{
    std::mt19937 rng(7);
    const I64 spans[] = {40, 400, 100000, I64(1) << 31};
    for (int i = 0; i < 3000; ++i) {
        const I64 span = spans[i % 4];
        std::uniform_int_distribution<I64> coord(std::max<I64>(INT_MIN, 20 - span), std::min<I64>(INT_MAX, 20 + span));
        I64 c[4];
        for (I64& v : c) v = coord(rng);
        const bool dash = i % 2, last = i % 3 == 0;
        DrawCanvas canvas(41, 37);
        canvas.engine.SetPenDash(dash);
        canvas.engine.SetPenDashOffset(static_cast<unsigned>(i));
        canvas.engine.DrawLine(int(c[0]), int(c[1]), int(c[2]), int(c[3]), last);
        ASSERT_EQ(canvas.Drawn(),
                  ReferenceLine(c[0], c[1], c[2], c[3], 41, 37, dash ? kDefaultDash : nullptr, unsigned(i), last))
            << c[0] << "," << c[1] << " -> " << c[2] << "," << c[3] << " dash " << dash;
    }
}

TEST(DrawLines, ClipRectangleCutsWithoutMovingPixels)
{
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> coord(-30, 70);
    for (int i = 0; i < 500; ++i) {
        const int x0 = coord(rng), y0 = coord(rng), x1 = coord(rng), y1 = coord(rng);
        DrawCanvas whole(40, 40), cut(40, 40);
        whole.engine.SetPenWidth(1 + i % 4);
        cut.engine.SetPenWidth(1 + i % 4);
        whole.engine.DrawLine(x0, y0, x1, y1, true);
        cut.engine.SetClipRectangle(5, 7, 30, 25);
        cut.engine.DrawLine(x0, y0, x1, y1, true);
        PixelSet expected;
        for (const Pixel& p : whole.Drawn()) {
            if (p.first >= 5 && p.first <= 30 && p.second >= 7 && p.second <= 25) expected.insert(p);
        }
        ASSERT_EQ(cut.Drawn(), expected) << x0 << "," << y0 << " -> " << x1 << "," << y1;
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
    EXPECT_EQ(c.Drawn(), ReferenceLine(20, 0, 35, 0, 40, 1, kDefaultDash, 0, false));
    c.Clear();
    c.engine.SetPenDashOffset(3);
    c.engine.DrawLine(1, 0, 20, 0, false);
    EXPECT_EQ(c.Drawn(), ReferenceLine(1, 0, 20, 0, 40, 1, kDefaultDash, 3, false));

    // Zero-length lines.
    DrawCanvas p(3, 3);
    p.engine.DrawLine(1, 1, 1, 1, false);
    EXPECT_TRUE(p.Drawn().empty());
    p.engine.DrawLine(1, 1, 1, 1, true);
    EXPECT_EQ(p.Drawn(), PixelSet({{1, 1}}));

    // A line from far outside advances the phase by the steps cut away.
    DrawCanvas far(16, 1);
    far.engine.SetPenDash(true);
    far.engine.SetPenDashOffset(0);
    far.engine.DrawLine(-1000001, 0, 9, 0, false);
    EXPECT_EQ(far.engine.GetPenDashOffset(), 1000010u);
    EXPECT_EQ(far.Drawn(), ReferenceLine(-1000001, 0, 9, 0, 16, 1, kDefaultDash, 0, false));
}

TEST(DrawLines, WidePens)
{
    struct Row {
        int width;
        int x0, y0, x1, y1;
        std::vector<int> offsets;  // across the major axis
        bool acrossY;
    } rows[] = {
        {4, 2, 10, 17, 10, {0, 1, -1, 2}, true},
        {3, 10, 2, 10, 17, {0, 1, -1}, false},
        {2, 2, 2, 12, 12, {0, 1}, false},  // 45 degrees widens across x
        {5, 2, 9, 17, 12, {0, 1, -1, 2, -2}, true},
    };
    for (const Row& r : rows) {
        DrawCanvas c(20, 20), expected(20, 20);
        c.engine.SetPenWidth(r.width);
        c.engine.DrawLine(r.x0, r.y0, r.x1, r.y1, true);
        for (int d : r.offsets) {
            if (r.acrossY) {
                expected.engine.DrawLine(r.x0, r.y0 + d, r.x1, r.y1 + d, true);
            } else {
                expected.engine.DrawLine(r.x0 + d, r.y0, r.x1 + d, r.y1, true);
            }
        }
        EXPECT_EQ(c.Drawn(), expected.Drawn()) << "width " << r.width;
    }
    // A huge pen on a small image costs only the lines that can show.
    DrawCanvas huge(8, 8);
    huge.engine.SetPenWidth(INT_MAX);
    huge.engine.DrawLine(INT_MIN, 3, INT_MAX, 4, true);
    EXPECT_EQ(huge.Drawn().size(), 64u);
}

TEST(DrawLines, GradientRunsInSteps256)
{
    DrawCanvas c(5, 1);
    c.engine.DrawGradationLine(0, 0, 0xFF000000, 4, 0, 0xFF0000FF);
    // t = 256 k / 4 for the body; the end point takes colour1.
    const std::uint32_t expected[5] = {0xFF000000, 0xFF00003F, 0xFF00007F, 0xFF0000BF, 0xFF0000FF};
    for (int x = 0; x < 5; ++x) EXPECT_EQ(c.Get(x, 0), expected[x]) << x;
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
