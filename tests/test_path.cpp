// The 3-D spline against the textbook spline, its degenerate inputs, the
// resampled arc-length curve, and the path's counters and lazy rebuild.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>

#include "ZelPath.h"
#include "path_reference.h"

using namespace path_test;

namespace {

// Open and closed splines against the textbook one over the whole parameter
// range: within 4e-7 of the largest coordinate (four float steps; one is
// seen). Outside [0, 1] a closed curve repeats and an open one stays at its
// ends.
TEST(CurveInterpolation, MatchesTheTextbookSpline)
{
    struct Case {
        const char* name;
        std::vector<P3> points;
        bool closed;
    } const cases[] = {
        {"spiral of 50", Spiral(50), false},
        {"three points", {{0, 0, 0}, {10, 5, 0}, {12, -3, 4}}, false},
        {"two points", {{1, 2, 3}, {-4, 8, 30}}, false},
        {"closed loop of 13", Spiral(13), true},
        {"closed triangle", {{0, 0, 0}, {10, 0, 0}, {3, 7, 1}}, true},
        {"closed pair", {{0, 0, 0}, {10, 2, 0}}, true},
    };
    for (const Case& c : cases) {
        ZelCurveInterpolation spline;
        spline.SetClosed(c.closed);
        ASSERT_EQ(spline.Build(c.points), ZEL_SPLINE_SUCCESS) << c.name;
        EXPECT_EQ(spline.GetKnots().size(), c.points.size() + (c.closed ? 1 : 0)) << c.name;
        const RefCurve reference(c.points, c.closed);
        double scale = 0.0;
        for (const P3& p : c.points)
            scale = std::max({scale, std::fabs(double(p.x)), std::fabs(double(p.y)), std::fabs(double(p.z))});
        for (int k = 0; k <= 1024; ++k) {
            const double t = k / 1024.0;
            const P3 p = spline.Evaluate(t);
            ASSERT_LE(Distance(p, reference(t)), 4e-7 * scale) << c.name << " t " << t;
            const P3 q = spline.Evaluate(c.closed ? t - 3.0 : (t < 0.5 ? -t - 0.5 : t + 1.5));
            const P3 expected = c.closed ? p : (t < 0.5 ? c.points.front() : c.points.back());
            ASSERT_LE(Distance(q, expected), 1e-6 * scale) << c.name << " t " << t;
        }
    }
}

TEST(CurveInterpolation, DuplicatesAndTooFewPoints)
{
    const P3 a{1, 2, 3}, b{4, 6, 3}, c{0, 9, 9}, o{0, 0, 0}, tiny{1e-11f, 0, 0};
    const double inner = -2.0;  // an inner knot's parameter, not checked here
    struct Case {
        const char* name;
        std::vector<P3> points;
        bool closed;
        int status;
        std::vector<int> knotIndex;
        std::vector<double> parameters;  // of inputs 0, 1, ... and one past the end
    } const cases[] = {
        {"none", {}, false, ZEL_SPLINE_TOO_FEW_POINTS, {}, {-1.0}},
        {"one", {a}, false, ZEL_SPLINE_TOO_FEW_POINTS, {}, {-1.0}},
        {"all equal", {a, a, a}, false, 0, {0, 0, 0}, {0.0, 0.0, 0.0, -1.0}},
        {"middle repeats first", {a, a, b}, false, 0, {0, 0, 1}, {0.0, 0.0, 1.0, -1.0}},
        {"closer than 1e-10", {o, tiny, b}, false, 0, {0, 0, 1}, {0.0, 0.0, 1.0, -1.0}},
        {"closed, distinct", {a, b, c}, true, 0, {0, 1, 2, 0}, {0.0, inner, inner, 0.0, -1.0}},
        {"closed, repeat", {a, a, b}, true, 0, {0, 0, 1, 2}, {0.0, 0.0, inner, 1.0, -1.0}},
    };
    for (const Case& k : cases) {
        ZelCurveInterpolation spline;
        spline.SetClosed(k.closed);
        EXPECT_EQ(spline.Build(k.points), k.status) << k.name;
        EXPECT_EQ(spline.GetKnotIndex(), k.knotIndex) << k.name;
        for (std::size_t i = 0; i < k.parameters.size(); ++i) {
            if (k.parameters[i] == inner) continue;
            EXPECT_NEAR(spline.GetParameter(int(i)), k.parameters[i], 1e-9) << k.name << " input " << i;
        }
        EXPECT_EQ(spline.GetParameter(-1), -1.0);
        if (k.status != 0) {
            EXPECT_EQ(Distance(spline.Evaluate(0.3), o), 0.0) << k.name;
        }
    }
    ZelCurveInterpolation single;  // one knot: every evaluation gives it
    single.Build({a, a, a});
    EXPECT_EQ(Distance(single.Evaluate(0.3), a), 0.0);
}

// The curve's parameter is the fraction of arc length to within 2e-4 length
// units on a curve about 970 long, and each control point's parameter brings
// the curve back to that point to within a few float steps.
TEST(SplineCurve, ArcLengthParameterAndControlPoints)
{
    const std::vector<P3> points = Spiral(50);
    ZelSplineCurve<P3> curve;
    ASSERT_EQ(curve.Build(points), ZEL_SPLINE_SUCCESS);
    ASSERT_EQ(curve.GetResampledPoints().size(), 4097u);
    EXPECT_DOUBLE_EQ(curve.GetCumulativeLengths().back(), curve.GetLength());
    const RefCurve reference(points, false);
    const int samples = 200000;  // arc length of the textbook spline by chords
    std::vector<double> arc{0.0};
    for (int i = 1; i <= samples; ++i)
        arc.push_back(arc.back() + Distance(reference(double(i) / samples), reference(double(i - 1) / samples)));
    EXPECT_NEAR(curve.GetLength(), arc.back(), 1e-5 * arc.back());
    for (int k = 0; k <= 100; ++k) {
        const double target = k / 100.0 * arc.back();
        const auto at = std::max<std::ptrdiff_t>(1, std::lower_bound(arc.begin(), arc.end(), target) - arc.begin());
        const double t = (double(at) - (arc[at] - target) / (arc[at] - arc[at - 1])) / samples;
        EXPECT_LE(Distance(curve.Evaluate(k / 100.0), reference(t)), 2e-4) << k;
    }
    for (std::size_t i = 0; i < points.size(); ++i)
        EXPECT_LE(Distance(curve.Evaluate(curve.GetControlParameters()[i]), points[i]), 4e-5) << i;
}

TEST(Path, EditsBumpTheCounter)
{
    const P3 p{1, 2, 3};
    struct Case {
        const char* name;
        std::function<void(ZelPath&)> edit;
        int counterStep, points;
    } const cases[] = {
        {"SetPoints", [](ZelPath& path) { path.SetPoints(Spiral(4)); }, 1, 4},
        {"AddPoint", [&](ZelPath& path) { path.AddPoint(p); }, 1, 4},
        {"DeleteLastPoint", [](ZelPath& path) { path.DeleteLastPoint(); }, 1, 2},
        {"UpdatePoint in range", [&](ZelPath& path) { path.UpdatePoint(2, p); }, 1, 3},
        {"UpdatePoint out of range", [&](ZelPath& path) { path.UpdatePoint(3, p); }, 0, 3},
        {"ClearPoints", [](ZelPath& path) { path.ClearPoints(); }, 1, 0},
        {"UpdatePointsCounter", [](ZelPath& path) { path.UpdatePointsCounter(); }, 1, 3},
        {"SetAspect",
         [](ZelPath& path) {
             path.SetAspect({2, 2, 2});
         },
         0, 3},
    };
    for (const Case& c : cases) {
        ZelPath path;
        path.SetPoints(Spiral(3));
        const int before = path.GetUpdatePointsCounter();
        c.edit(path);
        EXPECT_EQ(path.GetUpdatePointsCounter() - before, c.counterStep) << c.name;
        EXPECT_EQ(path.IsUpdatePoints(before), c.counterStep != 0) << c.name;
        EXPECT_EQ(path.GetPointNum(), c.points) << c.name;
    }
    ZelPath empty;
    empty.DeleteLastPoint();
    EXPECT_EQ(empty.GetUpdatePointsCounter(), 1);
    EXPECT_EQ(Distance(empty.GetPoint(0), P3{0, 0, 0}), 0.0);
    EXPECT_TRUE(empty.GetSplineCurveObject().GetResampledPoints().empty());
}

// The curve follows the counter, not the aspect; Copy and Clone take the
// points only, the copy constructor everything.
TEST(Path, RebuildCopyAndClone)
{
    ZelPath path;
    path.SetPoints(Spiral(6));
    const float x0 = path.GetSplineCurveObject().Evaluate(0.0).x;
    path.SetAspect({2, 1, 1});
    EXPECT_EQ(path.GetSplineCurveObject().Evaluate(0.0).x, x0);
    path.UpdatePointsCounter();
    EXPECT_EQ(path.GetSplineCurveObject().Evaluate(0.0).x, 2 * x0);
    EXPECT_EQ(path.GetAspectPoint()[0].x, 2 * path.GetPoint(0).x);
    const double length = path.GetSplineCurveObject().GetLength();

    ZelPath copied(path);
    EXPECT_EQ(copied.GetUpdatePointsCounter(), 2);
    EXPECT_EQ(copied.GetAspect().x, 2.0f);
    EXPECT_EQ(copied.GetSplineCurveObject().GetLength(), length);
    std::unique_ptr<ZelPath> clone(path.Clone());
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->GetPoints().size(), 6u);
    EXPECT_EQ(clone->GetUpdatePointsCounter(), 0);
    EXPECT_NE(clone->GetSplineCurveObject().GetLength(), length);  // aspect 1, 1, 1
    clone->SetAspect({2, 1, 1});
    clone->Copy(&path);
    EXPECT_EQ(clone->GetSplineCurveObject().GetLength(), length);

    path.ClearPoints();  // empties the curve at once
    EXPECT_TRUE(path.GetSplineCurveObject().GetCumulativeLengths().empty());
}

}  // namespace
