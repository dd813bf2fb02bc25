// The rows a path makes: spacing and validity of the row positions, where
// the path lies on each row, the frames, the stretched rows' alignment and
// spacing, and the projection's densified curve.
#include <gtest/gtest.h>

#include <cmath>

#include "ZelCPRImageGenerator.h"
#include "test_cpr_helpers.h"

using namespace cpr_test;

namespace {

using V3 = Zel3DVector<float>;

double Dot(const V3& a, const V3& b)
{
    return double(a.x) * b.x + double(a.y) * b.y + double(a.z) * b.z;
}

V3 Along(const V3& start, const V3& step, double k)
{
    return {static_cast<float>(start.x + k * step.x), static_cast<float>(start.y + k * step.y),
            static_cast<float>(start.z + k * step.z)};
}

double Distance(const V3& a, const V3& b)
{
    return std::sqrt(Dot({a.x - b.x, a.y - b.y, a.z - b.z}, {a.x - b.x, a.y - b.y, a.z - b.z}));
}

struct Curve {
    ZelPath path;
    ZelPathPlane planes;
    explicit Curve(const std::vector<V3>& points)
    {
        path.SetPoints(points);
        planes.SetPath(&path);
        planes.UpdatePlaneData(0.0f, 0.5, 0.01, {1, 0, 0});
    }
};

// Straightened and fixed rows: successive rows 1 / scale apart along the
// path, the middle row on the middle of the path, valid exactly on [0, 1],
// scrolled by offset; the path on column centerColumn of every row; frames
// square.
TEST(CprRows, StraightAndFixedRows)
{
    Curve curve(WindingPath({40, 36, 30}, 6));
    const ZelSplineCurve<V3>& spline = curve.path.GetSplineCurveObject();
    const struct {
        int n;
        float scale;
        int offset, centerColumn;
    } rows[] = {{1, 1.0f, 0, 0}, {31, 1.0f, 0, 0}, {80, 2.5f, 7, -3}, {25, 0.4f, -30, 5}, {9, 0.7f, 9, 2}};
    for (bool fixed : {false, true})
        for (const auto& r : rows) {
            std::vector<ZelCPRRenderingPoint> points, scrolled;
            const V3 direction{0.0f, 0.6f, 0.8f};
            if (fixed) {
                ZelCPRImageGenerator::ConstructFixedPath(r.n, r.scale, 0, r.centerColumn, direction, spline, points);
                ZelCPRImageGenerator::ConstructFixedPath(r.n, r.scale, r.offset, r.centerColumn, direction, spline,
                                                         scrolled);
            } else {
                ZelCPRImageGenerator::ConstructStraightPath(r.n, r.scale, 0, r.centerColumn, curve.planes, points);
                ZelCPRImageGenerator::ConstructStraightPath(r.n, r.scale, r.offset, r.centerColumn, curve.planes,
                                                            scrolled);
            }
            ASSERT_EQ(points.size(), static_cast<std::size_t>(r.n));
            const double length = fixed ? spline.GetLength() : curve.planes.GetLength();
            if (r.n % 2 == 1) {
                EXPECT_FLOAT_EQ(points[r.n / 2].position, 0.5f);
            }
            for (int i = 0; i < r.n; ++i) {
                const ZelCPRRenderingPoint& p = points[i];
                SCOPED_TRACE(testing::Message() << "fixed " << fixed << " n " << r.n << " row " << i);
                EXPECT_TRUE(p.constructed);
                EXPECT_EQ(p.valid, p.position >= 0.0f && p.position <= 1.0f);
                if (i > 0) {
                    EXPECT_NEAR(p.position - points[i - 1].position, 1.0 / (length * r.scale), 1e-6);
                }
                if (i >= r.offset && i - r.offset < r.n) {
                    EXPECT_NEAR(scrolled[i].position, points[i - r.offset].position, 1e-6);
                }
                if (!p.valid) continue;
                const V3 onPath = fixed ? spline.Evaluate(p.position) : curve.planes.GetPlaneData(p.position).position;
                EXPECT_LT(Distance(Along(p.start, p.step, r.centerColumn), onPath), 1e-4);
                EXPECT_NEAR(Dot(p.step, p.rowAxis) * r.scale, 1.0, 1e-5);
                EXPECT_NEAR(Dot(p.rowAxis, p.crossAxis), 0.0, 1e-5);
                EXPECT_NEAR(Dot(p.normal, p.crossAxis), 0.0, 1e-5);
                if (!fixed) {
                    EXPECT_NEAR(Dot(p.normal, p.rowAxis), 0.0, 1e-4);
                }
                EXPECT_EQ(p.shift, 0.0f);
            }
        }
}

// Stretched rows keep the depth along the direction: every row puts the box
// centre's depth on column centerColumn, successive rows are one pixel of
// length apart square to the direction, and a path along the direction has
// one row.
TEST(CprRows, StretchedRows)
{
    const std::vector<V3> points = WindingPath({40, 36, 30}, 6);
    ZelPath path;
    path.SetPoints(points);
    const ZelSplineCurve<V3>& spline = path.GetSplineCurveObject();
    V3 lo = points[0], hi = points[0];
    for (const V3& p : points) {
        lo = {std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z)};
        hi = {std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z)};
    }
    const V3 centre{(lo.x + hi.x) / 2, (lo.y + hi.y) / 2, (lo.z + hi.z) / 2};
    const V3 direction{0.6f, 0.8f, 0.0f};
    for (const float scale : {0.8f, 1.5f})
        for (const int centerColumn : {0, 4}) {
            std::vector<ZelCPRRenderingPoint> rows;
            ZelCPRImageGenerator::ConstructStretchPath(120, scale, 0, centerColumn, direction, spline, points, rows);
            ASSERT_EQ(rows.size(), 120u);
            int valid = 0;
            for (std::size_t i = 0; i < rows.size(); ++i) {
                const ZelCPRRenderingPoint& r = rows[i];
                if (!r.valid) continue;
                ++valid;
                const V3 onPath = Along(r.start, direction, -r.shift);
                EXPECT_LT(Distance(onPath, spline.Evaluate(r.position)), 1e-3);
                EXPECT_NEAR(Dot(r.start, direction) + centerColumn / scale, Dot(centre, direction), 1e-3);
                EXPECT_NEAR(Dot(r.normal, direction), 0.0, 1e-5);
                if (i == 0 || !rows[i - 1].valid) continue;
                // One pixel of length square to the direction, to within the
                // walk's fifth of a pixel and the curvature of one pixel.
                const V3 previous = Along(rows[i - 1].start, direction, -rows[i - 1].shift);
                V3 d{onPath.x - previous.x, onPath.y - previous.y, onPath.z - previous.z};
                const double along = Dot(d, direction);
                d = {static_cast<float>(d.x - along * direction.x), static_cast<float>(d.y - along * direction.y),
                     static_cast<float>(d.z - along * direction.z)};
                EXPECT_NEAR(std::sqrt(Dot(d, d)) * scale, 1.0, 0.25);
            }
            EXPECT_GT(valid, 20);
        }

    // Along the direction: nothing accumulates, the list holds 0 alone, and
    // only the row that maps to it is valid.
    ZelPath straight;
    straight.SetPoints({{5, 5, 2}, {5, 5, 20}});
    std::vector<ZelCPRRenderingPoint> rows;
    ZelCPRImageGenerator::ConstructStretchPath(9, 1.0f, 0, 0, {0, 0, 1}, straight.GetSplineCurveObject(),
                                               {{5, 5, 2}, {5, 5, 20}}, rows);
    int valid = 0;
    for (const ZelCPRRenderingPoint& r : rows) valid += r.valid;
    EXPECT_EQ(valid, 1);
    EXPECT_TRUE(rows[4].valid);  // entry (1 - 9) / 2 + 4 = 0
}

// The projection's curve: a sample whose screen row moves 3.5 rows past the
// last gets three filler points before it, in decreasing parameter order.
TEST(CprRows, ProjectionFillsGaps)
{
    ZelPath path;
    path.SetPoints({{0, 0, 0}, {0, 5, 0}});  // length 5: samples 1.25 apart
    const ZelSplineCurve<V3>& spline = path.GetSplineCurveObject();
    ZelMatrix3x3<float> view{{{1, 0, 0}, {0, 2.8f, 0}, {0, 0, 1}}};  // 3.5 rows per sample
    std::vector<V3> curvePoints;
    ZelCPRImageGenerator::ConstructProjection(1.0f, view, spline, path.GetPoints(), curvePoints);
    ASSERT_EQ(curvePoints.size(), 5u + 4u * 3u);
    for (int sample = 1; sample < 5; ++sample) {
        const std::size_t closing = 4 * static_cast<std::size_t>(sample);
        EXPECT_NEAR(curvePoints[closing].y, 1.25f * sample, 1e-4);
        for (int j = 1; j <= 3; ++j)
            EXPECT_NEAR(curvePoints[closing - 4 + j].y, 1.25f * (sample - j / 4.0f), 1e-4) << sample << " " << j;
    }
}

}  // namespace
