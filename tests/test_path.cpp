// The 3-D spline against the textbook spline, its degenerate inputs and
// status codes, the resampled arc-length curve, and the path's counters and
// lazy rebuild.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <memory>
#include <new>

#include "ZelPath.h"
#include "path_reference.h"

using namespace path_test;

// Sanitizer runtimes own the allocation functions; only plain builds replace
// one of them.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ZEL_TEST_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ZEL_TEST_SANITIZED 1
#endif
#endif

#if !defined(ZEL_TEST_SANITIZED)
// Refuses the nothrow array allocations (the splines' work arrays) while set.
static bool g_refuseArrays = false;
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    if (g_refuseArrays) return nullptr;
    try {
        return ::operator new[](size);
    } catch (...) {
        return nullptr;
    }
}
#endif

namespace {

// Open and closed splines against the textbook one, over the whole parameter
// range: within 4e-7 of the largest coordinate (four float steps; one is
// seen).
TEST(CurveInterpolation, MatchesTheTextbookSpline)
{
    struct Case {
        const char* name;
        std::vector<P3> points;
        bool closed;
    };
    const Case cases[] = {
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
        float scale = 0.0f;
        for (const P3& p : c.points) scale = std::max({scale, std::fabs(p.x), std::fabs(p.y), std::fabs(p.z)});
        for (int k = 0; k <= 1024; ++k) {
            const double t = k / 1024.0;
            const P3 p = spline.Evaluate(t);
            ASSERT_LE(Distance(p, reference(t)), 4e-7 * scale) << c.name << " t " << t;
            // A closed curve repeats with period 1; an open one stays at its ends.
            const P3 q = spline.Evaluate(c.closed ? t - 3.0 : (t < 0.5 ? -t - 0.5 : t + 1.5));
            const P3 expected = c.closed ? p : (t < 0.5 ? c.points.front() : c.points.back());
            ASSERT_LE(Distance(q, expected), 1e-6 * scale) << c.name << " t " << t;
        }
    }
}

TEST(CurveInterpolation, DuplicatesAndTooFewPoints)
{
    const P3 a{1, 2, 3}, b{4, 6, 3}, c{0, 9, 9}, o{0, 0, 0}, tiny{1e-11f, 0, 0};
    const P3 nearA{1, 2, std::nextafter(3.0f, 4.0f)};  // 2.4e-7 apart: a knot of its own
    const double nearParameter = Distance(a, nearA) / (Distance(a, nearA) + Distance(nearA, b));
    struct Case {
        const char* name;
        std::vector<P3> points;
        bool closed;
        int status;
        std::vector<int> knotIndex;
        std::vector<double> parameters;  // of input points 0, 1, ... and one past the end
    };
    const Case cases[] = {
        {"none", {}, false, ZEL_SPLINE_TOO_FEW_POINTS, {}, {-1.0}},
        {"one", {a}, false, ZEL_SPLINE_TOO_FEW_POINTS, {}, {-1.0}},
        {"all equal", {a, a, a}, false, 0, {0, 0, 0}, {0.0, 0.0, 0.0, -1.0}},
        {"middle repeats first", {a, a, b}, false, 0, {0, 0, 1}, {0.0, 0.0, 1.0, -1.0}},
        {"nearly equal", {a, nearA, b}, false, 0, {0, 1, 2}, {0.0, nearParameter, 1.0, -1.0}},
        {"closer than 1e-10", {o, tiny, b}, false, 0, {0, 0, 1}, {0.0, 0.0, 1.0, -1.0}},
        {"closed, distinct", {a, b, c}, true, 0, {0, 1, 2, 0}, {0.0, -2.0, -2.0, 0.0, -1.0}},
        {"closed, repeat", {a, a, b}, true, 0, {0, 0, 1, 2}, {0.0, 0.0, -2.0, 1.0, -1.0}},
    };
    for (const Case& k : cases) {
        ZelCurveInterpolation spline;
        spline.SetClosed(k.closed);
        EXPECT_EQ(spline.Build(k.points), k.status) << k.name;
        EXPECT_EQ(spline.GetKnotIndex(), k.knotIndex) << k.name;
        for (std::size_t i = 0; i < k.parameters.size(); ++i) {
            if (k.parameters[i] == -2.0) continue;  // an inner parameter, not checked here
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

#if !defined(ZEL_TEST_SANITIZED)
TEST(CurveInterpolation, WorkArrayRefusedClearsEverything)
{
    ZelSplineCurve<P3> curve;
    ASSERT_EQ(curve.Build(Spiral(5)), ZEL_SPLINE_SUCCESS);
    g_refuseArrays = true;
    const int status = curve.Build(Spiral(6));
    g_refuseArrays = false;
    EXPECT_EQ(status, ZEL_SPLINE_OUT_OF_MEMORY);
    EXPECT_TRUE(curve.GetControlSpline().GetKnots().empty());
    EXPECT_TRUE(curve.GetResampledPoints().empty());
    EXPECT_EQ(curve.GetLength(), 0.0);
    EXPECT_EQ(Distance(curve.Evaluate(0.5), P3{0, 0, 0}), 0.0);
}
#endif

// The curve's parameter is the fraction of arc length to within 2e-4 length
// units on a curve about 970 long, and each control point's parameter brings the
// curve back to that point to within a few float steps.
TEST(SplineCurve, ArcLengthParameterAndControlPoints)
{
    const std::vector<P3> points = Spiral(50);
    ZelSplineCurve<P3> curve;
    ASSERT_EQ(curve.Build(points), ZEL_SPLINE_SUCCESS);
    ASSERT_EQ(curve.GetResampledPoints().size(), 4097u);
    EXPECT_DOUBLE_EQ(curve.GetCumulativeLengths().back(), curve.GetLength());

    // Arc length of the textbook spline, by 200000 chords.
    const RefCurve reference(points, false);
    const int samples = 200000;
    std::vector<double> arc{0.0};
    D3 previous = reference(0.0);
    for (int i = 1; i <= samples; ++i) {
        const D3 p = reference(double(i) / samples);
        arc.push_back(arc.back() + Distance(p, previous));
        previous = p;
    }
    EXPECT_NEAR(curve.GetLength(), arc.back(), 1e-5 * arc.back());
    for (int k = 0; k <= 100; ++k) {
        const double s = k / 100.0;
        const double target = s * arc.back();
        const auto at = std::max<std::ptrdiff_t>(1, std::lower_bound(arc.begin(), arc.end(), target) - arc.begin());
        const double t = (double(at) - (arc[at] - target) / (arc[at] - arc[at - 1])) / samples;
        EXPECT_LE(Distance(curve.Evaluate(s), reference(t)), 2e-4) << s;
    }
    for (std::size_t i = 0; i < points.size(); ++i)
        EXPECT_LE(Distance(curve.Evaluate(curve.GetControlParameters()[i]), points[i]), 4e-5) << i;
}

TEST(Path, EditsBumpTheCounter)
{
    struct Case {
        const char* name;
        std::function<void(ZelPath&)> edit;
        int counterStep;
        int points;
    };
    const P3 p{1, 2, 3};
    const Case cases[] = {
        {"SetPoints", [](ZelPath& path) { path.SetPoints(Spiral(4)); }, 1, 4},
        {"AddPoint", [&](ZelPath& path) { path.AddPoint(p); }, 1, 4},
        {"DeleteLastPoint", [](ZelPath& path) { path.DeleteLastPoint(); }, 1, 2},
        {"UpdatePoint in range", [&](ZelPath& path) { path.UpdatePoint(2, p); }, 1, 3},
        {"UpdatePoint out of range", [&](ZelPath& path) { path.UpdatePoint(3, p); }, 0, 3},
        {"UpdatePoint negative", [&](ZelPath& path) { path.UpdatePoint(-1, p); }, 0, 3},
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

TEST(Path, RebuildsOnlyWhenTheCounterMoved)
{
    ZelPath path;
    path.SetPoints(Spiral(6));
    const float x0 = path.GetSplineCurveObject().Evaluate(0.0).x;
    path.SetAspect({2, 1, 1});  // alone: not yet applied
    EXPECT_EQ(path.GetSplineCurveObject().Evaluate(0.0).x, x0);
    path.UpdatePointsCounter();
    EXPECT_EQ(path.GetSplineCurveObject().Evaluate(0.0).x, 2 * x0);
    EXPECT_EQ(path.GetAspectPoint()[0].x, 2 * path.GetPoint(0).x);
    path.ClearPoints();  // empties the curve at once
    EXPECT_TRUE(path.GetSplineCurveObject().GetCumulativeLengths().empty());
}

TEST(Path, CopyCloneAndCopyConstructor)
{
    ZelPath source;
    source.SetPoints(Spiral(5));
    source.SetAspect({0.5f, 0.5f, 2.0f});
    source.UpdatePointsCounter();
    const double length = source.GetSplineCurveObject().GetLength();

    ZelPath copied(source);  // everything
    EXPECT_EQ(copied.GetUpdatePointsCounter(), 2);
    EXPECT_EQ(copied.GetAspect().z, 2.0f);
    EXPECT_EQ(copied.GetSplineCurveObject().GetLength(), length);

    std::unique_ptr<ZelPath> clone(source.Clone());  // points only, default aspect
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->GetPoints().size(), 5u);
    EXPECT_EQ(clone->GetUpdatePointsCounter(), 0);
    EXPECT_EQ(clone->GetAspect().x, 1.0f);
    EXPECT_NE(clone->GetSplineCurveObject().GetLength(), length);

    ZelPath target;  // Copy keeps the target's aspect and rebuilds
    target.SetAspect({0.5f, 0.5f, 2.0f});
    target.GetSplineCurveObject();
    target.Copy(&source);
    EXPECT_EQ(target.GetUpdatePointsCounter(), 0);
    EXPECT_EQ(target.GetSplineCurveObject().GetLength(), length);
}

}  // namespace
