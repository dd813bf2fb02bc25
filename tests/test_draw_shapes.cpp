// Circles, arcs, pies, polygons and the fill variants: outlines against the
// point table and a plain midpoint walk, fills against their outlines, huge
// shapes against a walk over every point, polygons against a direct
// per-row even-odd rule.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <map>
#include <random>
#include <vector>

#include "draw_test_helpers.h"

namespace {

using I64 = long long;

// First-quadrant points from (r, 0) to (0, r): the fixed table up to
// diameter 16, above it the midpoint walk with the decision value starting at
// (5 - 4r) / 4, mirrored about the diagonal.
std::vector<Pixel> QuadrantPoints(int diameter)
{
    static const std::map<int, std::vector<Pixel>> table = {
        {1, {{0, 0}}},
        {3, {{1, 0}, {0, 1}}},
        {5, {{2, 0}, {2, 1}, {1, 2}, {0, 2}}},
        {6, {{2, 0}, {1, 1}, {0, 2}}},
        {7, {{3, 0}, {3, 1}, {2, 2}, {1, 3}, {0, 3}}},
        {9, {{4, 0}, {4, 1}, {3, 2}, {2, 3}, {1, 4}, {0, 4}}},
        {11, {{5, 0}, {5, 1}, {5, 2}, {4, 3}, {3, 4}, {2, 5}, {1, 5}, {0, 5}}},
        {12, {{5, 0}, {5, 1}, {4, 2}, {4, 3}, {3, 4}, {2, 4}, {1, 5}, {0, 5}}},
        {13, {{6, 0}, {6, 1}, {5, 2}, {5, 3}, {4, 4}, {3, 5}, {2, 5}, {1, 6}, {0, 6}}},
        {15, {{7, 0}, {7, 1}, {7, 2}, {6, 3}, {6, 4}, {5, 5}, {4, 6}, {3, 6}, {2, 7}, {1, 7}, {0, 7}}},
        {16, {{7, 0}, {7, 1}, {6, 2}, {6, 3}, {5, 4}, {4, 5}, {3, 6}, {2, 6}, {1, 7}, {0, 7}}},
    };
    if (diameter <= 16) {
        const int key = diameter % 2 == 0 && !table.count(diameter) ? diameter - 1 : diameter;
        return table.at(key);
    }
    const int r = (diameter - 1) / 2;
    std::vector<Pixel> octant;
    int x = 0, y = r, d = (5 - 4 * r) / 4;
    octant.push_back({x, y});
    while (x < y) {
        ++x;
        if (d < 0) {
            d += 2 * x + 1;
        } else {
            --y;
            d += 2 * (x - y) + 1;
        }
        if (x <= y) octant.push_back({x, y});
    }
    std::vector<Pixel> quadrant;
    for (const Pixel& p : octant) quadrant.push_back({p.second, p.first});
    for (auto it = octant.rbegin(); it != octant.rend(); ++it) {
        if (it->first != it->second) quadrant.push_back(*it);
    }
    return quadrant;
}

// The outline: quadrant points mirrored around the halves' centres.
PixelSet Outline(I64 cx, I64 cy, int diameter, int w, int h)
{
    const I64 e = diameter % 2 == 0;
    PixelSet set;
    for (const Pixel& p : QuadrantPoints(diameter)) {
        for (int sx : {-1, 1}) {
            for (int sy : {-1, 1}) {
                const I64 x = (sx > 0 ? cx + e : cx) + sx * p.first, y = (sy > 0 ? cy + e : cy) + sy * p.second;
                if (x >= 0 && x < w && y >= 0 && y < h) set.insert({int(x), int(y)});
            }
        }
    }
    return set;
}

}  // namespace

TEST(DrawShapes, CircleOutlinesFollowTableAndMidpoint)
{
    for (int d = 1; d <= 130; ++d) {
        DrawCanvas c(140, 140);
        c.engine.DrawCircle(69, 69, d);
        ASSERT_EQ(c.Drawn(), Outline(69, 69, d, 140, 140)) << "diameter " << d;
        // Pen width 1: every outline pixel is written once (a half-opaque
        // colour shows no double blend).
        c.Clear();
        c.engine.SetColor(0x80FFFFFF);
        c.engine.DrawCircle(69, 69, d);
        for (const Pixel& p : c.Drawn()) ASSERT_EQ(c.Get(p.first, p.second), 0x80808080u) << d;
    }
    // Diameter 1 with a wide pen is a chain of zero-length lines without end
    // points: nothing.
    DrawCanvas dot(5, 5);
    dot.engine.SetPenWidth(3);
    dot.engine.DrawCircle(2, 2, 1);
    EXPECT_TRUE(dot.Drawn().empty());
}

TEST(DrawShapes, FilledDiscIsBoundedByItsOutline)
{
    for (int d = 1; d <= 90; ++d) {
        DrawCanvas c(100, 100);
        c.engine.FillCircle(49, 49, d);
        const PixelSet fill = c.Drawn(), outline = Outline(49, 49, d, 100, 100);
        ASSERT_TRUE(std::includes(fill.begin(), fill.end(), outline.begin(), outline.end())) << d;
        // Each filled row runs between two outline pixels.
        std::map<int, std::pair<int, int>> rows;
        for (const Pixel& p : fill) {
            auto it = rows.emplace(p.second, std::make_pair(p.first, p.first)).first;
            it->second.first = std::min(it->second.first, p.first);
            it->second.second = std::max(it->second.second, p.first);
        }
        for (const auto& row : rows) {
            ASSERT_TRUE(outline.count({row.second.first, row.first}) && outline.count({row.second.second, row.first}))
                << "diameter " << d << " row " << row.first;
            ASSERT_EQ(static_cast<int>(std::count_if(fill.begin(), fill.end(),
                                                     [&](const Pixel& p) { return p.second == row.first; })),
                      row.second.second - row.second.first + 1);
        }
    }
}

TEST(DrawShapes, HugeCirclesDrawTheirVisiblePart)
{
    struct Row {
        I64 cx, cy;
        int diameter;
    } rows[] = {{-99970, 20, 200001}, {30, 100020, 200002}, {INT_MIN / 2 + 20, 10, INT_MAX}};
    for (const Row& r : rows) {
        DrawCanvas c(40, 40);
        c.engine.DrawCircle(int(r.cx), int(r.cy), r.diameter);
        if (r.diameter < 1000000) {
            EXPECT_EQ(c.Drawn(), Outline(r.cx, r.cy, r.diameter, 40, 40));
        } else {
            EXPECT_FALSE(c.Drawn().empty());
        }
        c.engine.FillCircle(int(r.cx), int(r.cy), r.diameter);
        c.engine.SetPenDash(true);
        c.engine.SetPenWidth(3);
        c.engine.DrawCircle(int(r.cx), int(r.cy), r.diameter);
        c.engine.DrawArc(int(r.cx), int(r.cy), r.diameter, 10, 350);
        c.engine.FillArc(int(r.cx), int(r.cy), r.diameter, -80, 80);
    }
}

// A dashed wide circle is one chain of lines; skipping the far ones must not
// change a pixel or the phase.
TEST(DrawShapes, DashedWideCircleEqualsItsChainOfLines)
{
    for (int d : {17, 40, 41, 3001}) {
        for (int width : {1, 3}) {
            DrawCanvas c(50, 50), chain(50, 50);
            for (ZelImageDrawEngine* e : {&c.engine, &chain.engine}) {
                e->SetPenDash(true);
                e->SetPenWidth(width);
                e->SetClipRectangle(3, 2, 45, 47);
            }
            const int cx = d > 100 ? 1520 : 24, cy = 25;
            c.engine.DrawCircle(cx, cy, d);
            // Clockwise from the rightmost point: right-lower, left-lower,
            // left-upper, right-upper.
            const std::vector<Pixel> q = QuadrantPoints(d);
            const int e = d % 2 == 0, n = static_cast<int>(q.size());
            std::vector<Pixel> points;
            for (int arm = 0; arm < 4; ++arm) {
                const int sx = arm == 0 || arm == 3 ? 1 : -1, sy = arm < 2 ? 1 : -1;
                for (int i = 0; i < n - (e ? 0 : 1); ++i) {
                    const Pixel& p = q[arm & 1 ? n - 1 - i : i];
                    points.push_back({(sx > 0 ? cx + e : cx) + sx * p.first, (sy > 0 ? cy + e : cy) + sy * p.second});
                }
            }
            points.push_back(points.front());
            for (std::size_t i = 0; i + 1 < points.size(); ++i) {
                chain.engine.DrawLine(points[i].first, points[i].second, points[i + 1].first, points[i + 1].second,
                                      false);
            }
            ASSERT_EQ(c.Drawn(), chain.Drawn()) << "diameter " << d << " width " << width;
            ASSERT_EQ(c.engine.GetPenDashOffset(), chain.engine.GetPenDashOffset()) << d;
        }
    }
}

// A counter-clockwise arc walks the chain backwards: the same as its lines
// drawn from the start angle on, with the far ones skipped.
TEST(DrawShapes, DashedArcEqualsItsLinesInSweepOrder)
{
    for (int d : {41, 3001}) {
        DrawCanvas c(50, 50), lines(50, 50);
        for (ZelImageDrawEngine* e : {&c.engine, &lines.engine}) {
            e->SetPenDash(true);
            e->SetPenWidth(2);
        }
        const int cx = d > 100 ? -1480 : 24, cy = 45;
        c.engine.DrawArc(cx, cy, d, 0, 90);
        const std::vector<Pixel> q = QuadrantPoints(d);
        for (std::size_t i = 0; i + 1 < q.size(); ++i) {
            lines.engine.DrawLine(cx + q[i].first, cy - q[i].second, cx + q[i + 1].first, cy - q[i + 1].second, false);
        }
        ASSERT_EQ(c.Drawn(), lines.Drawn()) << d;
        ASSERT_EQ(c.engine.GetPenDashOffset(), lines.engine.GetPenDashOffset()) << d;
    }
}

TEST(DrawShapes, ArcsAndPies)
{
    DrawCanvas full(60, 60), circle(60, 60);
    full.engine.DrawArc(30, 30, 41, 10, 370);
    circle.engine.DrawCircle(30, 30, 41);
    EXPECT_EQ(full.Drawn(), circle.Drawn());
    // The turn is measured in float: 359.99997 + 0.00002 rounds to 360.
    full.Clear();
    full.engine.DrawArc(30, 30, 41, 359.99997f, -0.00002f);
    EXPECT_EQ(full.Drawn(), circle.Drawn());

    // Diameter 1 outlines the rectangle up to (1, 1), the pie too.
    DrawCanvas tiny(4, 4), pie(4, 4), rect(4, 4);
    tiny.engine.DrawArc(3, 3, 1, 0, 90);
    pie.engine.FillArc(3, 3, 1, 0, 90);
    rect.engine.DrawRectangle(3, 3, 1, 1);
    EXPECT_EQ(tiny.Drawn(), rect.Drawn());
    EXPECT_EQ(pie.Drawn(), rect.Drawn());

    // A quarter counter-clockwise from 0 is the upper right quadrant of the
    // outline, clockwise from 0 to -90 the lower right; the last point of an
    // arc is not drawn.
    for (const auto& [start, end, sx, sy] : {std::make_tuple(0.f, 90.f, 1, -1), std::make_tuple(0.f, -90.f, 1, 1)}) {
        DrawCanvas c(60, 60);
        c.engine.DrawArc(30, 30, 41, start, end);
        const PixelSet outline = Outline(30, 30, 41, 60, 60), arc = c.Drawn();
        PixelSet quadrant;
        for (const Pixel& p : outline) {
            if ((p.first - 30) * sx >= 0 && (p.second - 30) * sy >= 0) quadrant.insert(p);
        }
        EXPECT_EQ(arc.size() + 1, quadrant.size());
        EXPECT_TRUE(std::includes(quadrant.begin(), quadrant.end(), arc.begin(), arc.end()));
    }
    // Two pies that share their bounding angles make the disc.
    for (int d : {9, 30, 31}) {
        DrawCanvas halves(40, 40), disc(40, 40);
        halves.engine.FillArc(20, 20, d, 30, 200);
        halves.engine.FillArc(20, 20, d, 200, 390);
        disc.engine.FillCircle(20, 20, d);
        const PixelSet a = halves.Drawn(), b = disc.Drawn();
        EXPECT_EQ(a, b) << d;
    }
}

namespace {

// Even-odd rule per row, straight from the vertices: an edge counts at row
// y when min < y <= max, its x rounded half up, spans include both ends.
PixelSet ReferencePolygon(const std::vector<int>& xs, const std::vector<int>& ys, int w, int h)
{
    PixelSet set;
    const int n = static_cast<int>(xs.size());
    for (int y = 0; y < h; ++y) {
        std::vector<long long> cross;
        for (int i = 0; i < n; ++i) {
            long long xa = xs[i], ya = ys[i], xb = xs[(i + 1) % n], yb = ys[(i + 1) % n];
            if (std::min(ya, yb) >= y || std::max(ya, yb) < y) continue;
            if (ya > yb) std::swap(xa, xb), std::swap(ya, yb);
            const long long num = 2 * (y - ya) * (xb - xa) + (yb - ya), den = 2 * (yb - ya);
            cross.push_back(xa + (num >= 0 ? num / den : -((-num + den - 1) / den)));
        }
        std::sort(cross.begin(), cross.end());
        for (std::size_t i = 0; i + 1 < cross.size(); i += 2) {
            for (long long x = std::max(0LL, cross[i]); x <= std::min<long long>(w - 1, cross[i + 1]); ++x) {
                set.insert({int(x), y});
            }
        }
    }
    return set;
}

}  // namespace

TEST(DrawShapes, PolygonsFollowTheEvenOddRule)
{
    std::mt19937 rng(11);
    std::uniform_int_distribution<int> coord(-20, 60);
    for (int i = 0; i < 400; ++i) {
        std::vector<int> xs(3 + i % 9), ys(xs.size());
        for (std::size_t v = 0; v < xs.size(); ++v) xs[v] = coord(rng), ys[v] = coord(rng);
        DrawCanvas c(45, 41);
        c.engine.FillPolygon(xs.data(), ys.data(), static_cast<int>(xs.size()));
        ASSERT_EQ(c.Drawn(), ReferencePolygon(xs, ys, 45, 41)) << "polygon " << i;
    }
    // A horizontal edge adds no crossing: the square fills rows 1..4 only.
    DrawCanvas sq(8, 8);
    const int xs[] = {1, 5, 5, 1}, ys[] = {0, 0, 4, 4};
    sq.engine.FillPolygon(xs, ys, 4);
    EXPECT_EQ(sq.Drawn().size(), 4u * 5u);
    EXPECT_EQ(sq.Get(1, 0), 0u);
    // Vertices at the ends of the int range, and many of them.
    std::vector<int> bx(1000000), by(bx.size());
    for (std::size_t v = 0; v < bx.size(); ++v) {
        bx[v] = v % 2 ? INT_MAX - int(v % 7) : INT_MIN + int(v % 5);
        by[v] = v % 3 ? INT_MIN + int(v) : INT_MAX - int(v);
    }
    sq.engine.FillPolygon(bx.data(), by.data(), static_cast<int>(bx.size()));
}

TEST(DrawShapes, FillVariantsAnchorTheTextureAtTheOrigin)
{
    const unsigned char coverage[4] = {255, 128, 0, 64};
    const unsigned char colours[16] = {10, 20, 30, 255, 200, 100, 50, 128, 0, 0, 0, 0, 255, 255, 255, 255};
    struct Row {
        int depth, textureDepth;
        std::uint32_t colour, at33, at21;  // pixels (3, 3) and (2, 1) over a zero image
    } rows[] = {
        {4, 0, 0xFF102030, 0xFF102030, 0xFF102030}, {3, 0, 0x80FFFFFF, 0x808080, 0x808080},
        {4, 1, 0xFFFF0000, 0x40400000, 0x00000000},  // texels 64 at (1, 1), 0 at (0, 1)
        {3, 1, 0xFFFF0000, 0x400000, 0x000000},     {4, 4, 0xFFFFFFFF, 0xFFFFFFFF, 0x00000000},
        {3, 4, 0x80FFFFFF, 0x808080, 0x000000},
    };
    for (const Row& r : rows) {
        DrawCanvas c(6, 6, r.depth);
        if (r.textureDepth) c.engine.SetTextureBrush(r.textureDepth == 1 ? coverage : colours, 2, 2, r.textureDepth);
        c.engine.SetColor(r.colour);
        c.engine.FillRectangle(2, 1, 5, 4);
        EXPECT_EQ(c.Get(3, 3), r.at33) << r.depth << "/" << r.textureDepth;
        EXPECT_EQ(c.Get(2, 1), r.at21) << r.depth << "/" << r.textureDepth;
        // Circles and polygons use the same span rules.
        DrawCanvas d(6, 6, r.depth);
        if (r.textureDepth) d.engine.SetTextureBrush(r.textureDepth == 1 ? coverage : colours, 2, 2, r.textureDepth);
        d.engine.SetColor(r.colour);
        d.engine.FillCircle(3, 3, 3);
        EXPECT_EQ(d.Get(3, 3), r.at33);
    }
}
