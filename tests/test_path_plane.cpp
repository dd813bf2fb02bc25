// Planes along a path: counts and spacing, transported frames, interpolation
// by position, the economy of updates, and the twist smoothing against a
// literal evaluation of its energy.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include "ZelPathPlane.h"
#include "path/uniformalize_kernels.h"
#include "path_reference.h"

using namespace path_test;

namespace {

const double kPi = 3.14159265358979323846;

double Dot(const P3& a, const P3& b)
{
    return double(a.x) * b.x + double(a.y) * b.y + double(a.z) * b.z;
}
D3 Cross(const P3& a, const P3& b)
{
    return {double(a.y) * b.z - double(a.z) * b.y, double(a.z) * b.x - double(a.x) * b.z,
            double(a.x) * b.y - double(a.y) * b.x};
}
P3 Mix(double a, const P3& u, double b, const P3& v)
{
    return {float(a * u.x + b * v.x), float(a * u.y + b * v.y), float(a * u.z + b * v.z)};
}
bool SameBits(const std::vector<ZelPlaneData>& a, const std::vector<ZelPlaneData>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(ZelPlaneData)) == 0;
}

// Largest departure of (axisU, axisV, tangent) from a right-handed
// orthonormal frame.
double FrameError(const ZelPlaneData& p)
{
    const double e[] = {Dot(p.axisU, p.axisU) - 1,
                        Dot(p.axisV, p.axisV) - 1,
                        Dot(p.tangent, p.tangent) - 1,
                        Dot(p.axisU, p.axisV),
                        Dot(p.axisU, p.tangent),
                        Dot(p.axisV, p.tangent),
                        Distance(Cross(p.axisU, p.axisV), p.tangent)};
    double worst = 0.0;
    for (double v : e) worst = std::fmax(worst, std::fabs(v));
    return worst;
}

std::unique_ptr<ZelPath> MakePath(const std::vector<P3>& points)
{
    auto path = std::make_unique<ZelPath>();
    path->SetPoints(points);
    return path;
}

TEST(PathPlane, CountsAndSpacingAlongAStraightPath)
{
    struct Case {
        double length, pitch;
        int count;
    };
    const Case cases[] = {{10.5, 1.0, 10}, {10.5, 20.0, 2}, {10.5, 0.0, 2}, {10.5, -1.0, 2}, {100.0, 0.5, 200}};
    for (const Case& c : cases) {
        auto path = MakePath({{0, 0, 0}, {float(c.length), 0, 0}});
        ZelPathPlane planes;
        planes.SetPath(path.get());
        ASSERT_TRUE(planes.UpdatePlaneData(0.0f, c.pitch, 0.01, {0, 0, 1}));
        ASSERT_EQ(planes.GetPlaneDataNum(), c.count) << c.length << " / " << c.pitch;
        const std::vector<ZelPlaneData>& list = planes.GetPlaneObject();
        for (int i = 0; i < c.count; ++i) {
            const ZelPlaneData& p = list[i];
            EXPECT_NEAR(p.position.x, i * c.length / (c.count - 1), 1e-5 * c.length) << i;
            // The first frame takes axisU from up; a straight path carries it
            // over unchanged.
            EXPECT_EQ(
                Distance(p.tangent, P3{1, 0, 0}) + Distance(p.axisU, P3{0, 0, 1}) + Distance(p.axisV, P3{0, -1, 0}),
                0.0)
                << i;
        }
        EXPECT_NEAR(planes.GetLength(), c.length, 1e-5 * c.length);
    }
}

// On a curved path every frame is orthonormal and right-handed, and turns
// from one plane to the next without any turn about the tangent.
TEST(PathPlane, TransportedFramesAreOrthonormalAndUntwisted)
{
    auto path = MakePath(Spiral(50));
    path->SetAspect({0.5f, 0.5f, 1.0f});
    ZelPathPlane planes;
    planes.SetPath(path.get());
    const P3 up{0.3f, -0.2f, 1.0f};
    ASSERT_TRUE(planes.UpdatePlaneData(0.0f, 4.0, 0.002, up));
    const std::vector<ZelPlaneData>& list = planes.GetPlaneObject();
    ASSERT_GT(list.size(), 100u);
    const ZelPlaneData& first = list[0];
    const P3 upInPlane = Mix(1.0, up, -Dot(up, first.tangent), first.tangent);
    EXPECT_NEAR(Dot(first.axisU, upInPlane) / std::sqrt(Dot(upInPlane, upInPlane)), 1.0, 1e-6);
    for (std::size_t i = 0; i < list.size(); ++i) {
        EXPECT_LT(FrameError(list[i]), 1e-5) << i;  // float steps over hundreds of planes
        if (i == 0) continue;
        const ZelPlaneData& a = list[i - 1];
        const ZelPlaneData& b = list[i];
        EXPECT_LT(Dot(a.tangent, b.tangent), 0.99999) << i;  // every step is a rotation
        EXPECT_NEAR(Dot(a.axisU, b.axisV) - Dot(a.axisV, b.axisU), 0.0, 2e-6) << i;
    }
}

TEST(PathPlane, InterpolationFollowsThePlanesAndTheAngle)
{
    auto path = MakePath(Spiral(12));
    ZelPathPlane planes;
    planes.SetPath(path.get());
    ASSERT_TRUE(planes.UpdatePlaneData(0.0f, 3.0, 0.002, {0, 0, 1}));
    const std::vector<ZelPlaneData> list = planes.GetPlaneObject();
    std::vector<double> station{0.0};
    for (std::size_t i = 1; i < list.size(); ++i)
        station.push_back(station.back() + Distance(list[i].position, list[i - 1].position));
    EXPECT_NEAR(planes.GetLength(), station.back(), 1e-5 * station.back());
    for (double& s : station) s /= station.back();

    for (float angle : {0.0f, 0.7f, -2.5f}) {
        ASSERT_TRUE(planes.UpdatePlaneData(angle, 3.0, 0.5, {1, 0, 0}));  // the angle alone is applied
        ASSERT_TRUE(SameBits(planes.GetPlaneObject(), list));
        for (std::size_t i = 0; i < list.size(); i += 7) {
            const ZelPlaneData p = planes.GetPlaneData(float(station[i]));
            EXPECT_LT(Distance(p.position, list[i].position), 1e-3) << i;
            const P3 u = Mix(std::cos(angle), list[i].axisU, std::sin(angle), list[i].axisV);
            EXPECT_LT(Distance(p.axisU, u) + Distance(p.tangent, list[i].tangent), 3e-5) << i << " " << angle;
        }
        for (float s = 0.0f; s <= 1.0f; s += 0.013f) EXPECT_LT(FrameError(planes.GetPlaneData(s)), 3e-5) << s;
        const ZelPlaneData high = planes.GetPlaneData(1.5f), end = planes.GetPlaneData(1.0f);
        const ZelPlaneData nan = planes.GetPlaneData(std::nanf("")), start = planes.GetPlaneData(0.0f);
        EXPECT_EQ(std::memcmp(&high, &end, sizeof high), 0);
        EXPECT_EQ(std::memcmp(&nan, &start, sizeof nan), 0);
    }
}

TEST(PathPlane, RebuildsOnlyForANewPathOrPitch)
{
    auto path = MakePath(Spiral(8));
    ZelPathPlane planes;
    EXPECT_FALSE(planes.UpdatePlaneData(0.0f, 2.0, 0.01, {0, 0, 1}));  // no path
    planes.SetPath(path.get());
    ASSERT_TRUE(planes.UpdatePlaneData(0.0f, 2.0, 0.01, {0, 0, 1}));
    EXPECT_EQ(planes.GetUpdateCounter(), path->GetUpdatePointsCounter());
    const std::vector<ZelPlaneData> built = planes.GetPlaneObject();
    planes.UpdatePlaneData(0.0f, 2.0, 0.2, {1, 0, 0});  // new span and up alone: kept
    EXPECT_TRUE(SameBits(planes.GetPlaneObject(), built));
    planes.UpdatePlaneData(0.0f, 2.5, 0.01, {0, 0, 1});  // new pitch
    EXPECT_LT(planes.GetPlaneDataNum(), int(built.size()));
    path->UpdatePoint(0, {0, 0, 0});  // edited path, pitch as before
    planes.UpdatePlaneData(0.0f, 2.5, 0.01, {0, 0, 1});
    EXPECT_NE(planes.GetPlaneObject()[0].position.x, built[0].position.x);

    ZelPathPlane external;  // planes from outside, no path
    external.SetPlaneObject(built, true, false, 0.0);
    external.SetReferenceExternalData(true);
    EXPECT_TRUE(external.UpdatePlaneData(0.3f, 9.0, 0.01, {0, 0, 1}));
    EXPECT_TRUE(SameBits(external.GetPlaneObject(), built));
}

// Frames of two planes turned about the common tangent by `degrees` are
// interpolated the shorter way round.
TEST(PathPlane, OrientationsInterpolateAlongTheShorterArc)
{
    for (double degrees : {10.0, 100.0, 170.0, -170.0, 179.0}) {
        const double a = degrees * kPi / 180.0;
        const P3 u{0, 1, 0}, v{0, 0, 1};
        const std::vector<ZelPlaneData> list = {
            {{0, 0, 0}, {1, 0, 0}, u, v, 0.0f},
            {{10, 0, 0}, {1, 0, 0}, Mix(std::cos(a), u, std::sin(a), v), Mix(-std::sin(a), u, std::cos(a), v), 0.0f}};
        ZelPathPlane planes;
        planes.SetPlaneObject(list, false, false, 0.0);
        for (double f : {0.25, 0.5, 0.75}) {
            const ZelPlaneData p = planes.GetPlaneData(float(f));
            EXPECT_LT(Distance(p.axisU, Mix(std::cos(f * a), u, std::sin(f * a), v)), 1e-5) << degrees << " " << f;
            EXPECT_LT(Distance(p.position, P3{float(10 * f), 0, 0}), 1e-5);
        }
    }
    ZelPathPlane none;  // identity frame
    const ZelPlaneData identity = none.GetPlaneData(0.5f);
    EXPECT_EQ(identity.axisU.x + identity.axisV.y + identity.tangent.z, 3.0f);
    ZelPathPlane one;  // the stored frame, whatever the angle
    const ZelPlaneData single{{1, 2, 3}, {0, 1, 0}, {0, 0, 1}, {1, 0, 0}, 4.0f};
    one.SetPlaneObject({single}, false, false, 0.0);
    one.SetReferenceExternalData(true);
    one.UpdatePlaneData(1.0f, 1.0, 0.01, {0, 0, 1});
    const ZelPlaneData p = one.GetPlaneData(0.3f);
    EXPECT_EQ(Distance(p.axisU, single.axisU) + Distance(p.tangent, single.tangent), 0.0);
    EXPECT_EQ(one.GetDiameter(0.7f), 4.0f);
}

TEST(PathPlane, DiametersFollowANaturalSpline)
{
    const float xs[] = {0, 1, 3, 3.5f, 6, 10};
    const float ds[] = {2, 3, 2.5f, 4, 1, 1.5f};
    std::vector<ZelPlaneData> list;
    std::vector<double> x, d;
    for (int i = 0; i < 6; ++i) {
        list.push_back({{xs[i], 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, ds[i]});
        x.push_back(xs[i] / 10.0);
        d.push_back(ds[i]);
    }
    ZelPathPlane planes;
    planes.SetPlaneObject(list, false, false, 0.0);
    EXPECT_EQ(planes.GetMaxDiameter(), 4.0f);
    EXPECT_EQ(planes.GetLength(), 10.0f);
    const RefSpline reference(x, d, false);
    for (double s = 0.0; s <= 1.0; s += 0.01) EXPECT_NEAR(planes.GetDiameter(float(s)), reference(s), 1e-5) << s;
    EXPECT_EQ(planes.GetDiameter(-3.0f), 2.0f);
    EXPECT_EQ(planes.GetDiameter(3.0f), 1.5f);
    list.resize(2);  // two planes: a straight line
    planes.SetPlaneObject(list, false, false, 0.0);
    EXPECT_NEAR(planes.GetDiameter(0.25f), 2.25f, 1e-6);
}

// The smoothing as written: every energy evaluated afresh from the angles.
struct LiteralSmoothing {
    std::vector<ZelPlaneData> planes;
    double firstMean = 0.0, lastMean = 0.0;

    LiteralSmoothing(std::vector<ZelPlaneData> input, double r) : planes(std::move(input))
    {
        const int n = int(planes.size());
        std::vector<double> angles[2] = {std::vector<double>(3 * n, 0.0), std::vector<double>(3 * n, 0.0)};
        auto frame = [&](int i, const double* g, double f[3][3]) {
            const double sa = std::sin(g[0]), ca = std::cos(g[0]), sb = std::sin(g[1]), cb = std::cos(g[1]);
            const double sg = std::sin(g[2]), cg = std::cos(g[2]);
            const double m[3][3] = {{cb * cg, sa * sb * cg - ca * sg, ca * sb * cg + sa * sg},
                                    {cb * sg, ca * cg + sa * sb * sg, ca * sb * sg - sa * cg},
                                    {-sb, sa * cb, ca * cb}};
            const P3 base[3] = {planes[i].axisU, planes[i].axisV, planes[i].tangent};
            for (int a = 0; a < 3; ++a)
                for (int b = 0; b < 3; ++b) {
                    auto row = [&](int k) { return double(a == 0 ? base[k].x : a == 1 ? base[k].y : base[k].z); };
                    f[a][b] = row(0) * m[0][b] + row(1) * m[1][b] + row(2) * m[2][b];
                }
            return ca * cb;
        };
        double sx[8], sy[8];
        for (int k = 0; k < 8; ++k) {
            sx[k] = -r * std::sin(k * 2.0 * kPi * 0.125);
            sy[k] = r * std::cos(k * 2.0 * kPi * 0.125);
        }
        auto ring = [&](int i, const double* g, double p[8][3]) {
            double f[3][3];
            frame(i, g, f);
            const P3& c = planes[i].position;
            const double centre[3] = {c.x, c.y, c.z};
            for (int k = 0; k < 8; ++k)
                for (int a = 0; a < 3; ++a) p[k][a] = centre[a] + (f[a][0] * sx[k] + f[a][1] * sy[k] + f[a][2] * 0.0);
        };
        auto pairTerm = [&](int i, const double* gi, const double* gj) {
            const double d = Distance(planes[i].position, planes[i + 1].position);
            double p[8][3], q[8][3], sum = 0.0;
            ring(i, gi, p);
            ring(i + 1, gj, q);
            for (int k = 0; k < 8; ++k) {
                const double gap =
                    std::sqrt((p[k][0] - q[k][0]) * (p[k][0] - q[k][0]) + (p[k][1] - q[k][1]) * (p[k][1] - q[k][1]) +
                              (p[k][2] - q[k][2]) * (p[k][2] - q[k][2])) -
                    d;
                sum += gap * gap / (d * d);
            }
            return sum;
        };
        // Energy of inner plane j, plane `stepped` taking the angles `trial`.
        auto energy = [&](const std::vector<double>& g, int j, int stepped, const double* trial) {
            auto at = [&](int k) { return k == stepped ? trial : &g[3 * k]; };
            double f[3][3];
            return (1.0 - frame(j, at(j), f)) * 6.0 + pairTerm(j - 1, at(j - 1), at(j)) + pairTerm(j, at(j), at(j + 1));
        };
        int old = 0;
        double previous = 0.0;
        for (int iteration = 0; iteration < 100000; ++iteration) {
            double sum = 0.0;
            for (int i = 1; i < n - 1; ++i) sum += energy(angles[old], i, -1, nullptr);
            const double mean = sum / (n - 2);
            if (iteration == 0) firstMean = mean;
            lastMean = mean;
            angles[1 - old] = angles[old];
            for (int i = 1; i < n - 1; ++i) {
                const int low = std::max(1, i - 1), high = std::min(n - 2, i + 1);
                double before = 0.0;
                for (int j = low; j <= high; ++j) before += energy(angles[old], j, -1, nullptr);
                for (int a = 0; a < 3; ++a) {
                    double trial[3] = {angles[old][3 * i], angles[old][3 * i + 1], angles[old][3 * i + 2]};
                    trial[a] += 0.008726646259971648;
                    double after = 0.0;
                    for (int j = low; j <= high; ++j) after += energy(angles[old], j, i, trial);
                    angles[1 - old][3 * i + a] = angles[old][3 * i + a] - 0.01 * (after - before);
                }
            }
            old = 1 - old;
            if (mean == 0.0 || std::fabs((previous - mean) / mean) < 1e-6) break;
            previous = mean;
        }
        std::vector<ZelPlaneData> result = planes;
        for (int i = 0; i < n; ++i) {
            double f[3][3];
            frame(i, &angles[old][3 * i], f);
            result[i].axisU = {float(f[0][0]), float(f[1][0]), float(f[2][0])};
            result[i].axisV = {float(f[0][1]), float(f[1][1]), float(f[2][1])};
            result[i].tangent = {float(f[0][2]), float(f[1][2]), float(f[2][2])};
        }
        planes = result;
    }
};

// 23 planes along a bent path, each inner one twisted about its tangent by
// up to 20 degrees; with radius 8 the smoothing settles in 1891 iterations.
std::vector<ZelPlaneData> TwistedPlanes()
{
    auto path = MakePath(Spiral(8));
    ZelPathPlane planes;
    planes.SetPath(path.get());
    planes.UpdatePlaneData(0.0f, 6.0, 0.002, {0, 0, 1});
    std::vector<ZelPlaneData> list = planes.GetPlaneObject();
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> twist(-20.0 * kPi / 180.0, 20.0 * kPi / 180.0);
    for (std::size_t i = 1; i + 1 < list.size(); ++i) {
        const double a = twist(rng);
        const P3 u = list[i].axisU, v = list[i].axisV;
        list[i].axisU = Mix(std::cos(a), u, std::sin(a), v);
        list[i].axisV = Mix(-std::sin(a), u, std::cos(a), v);
    }
    return list;
}

TEST(Uniformalize, IsTheLiteralAlgorithmAndLowersTheEnergy)
{
    const std::vector<ZelPlaneData> input = TwistedPlanes();
    ASSERT_GT(input.size(), 10u);
    const LiteralSmoothing literal(input, 8.0);
    EXPECT_LT(literal.lastMean, 0.8 * literal.firstMean);

    ZelPathPlane planes;
    planes.SetPlaneObject(input, false, false, 0.0);
    planes.SetRadiusForUniformalize(8.0f);
    const ZelPlaneData before = planes.GetPlaneData(0.37f);
    ASSERT_TRUE(planes.Uniformalize(nullptr, 0.0f, 1.0f));
    const std::vector<ZelPlaneData>& smoothed = planes.GetPlaneObject();
    EXPECT_TRUE(SameBits(smoothed, literal.planes));
    ASSERT_EQ(smoothed.size(), input.size());
    for (std::size_t i = 0; i < input.size(); ++i) {
        const bool end = i == 0 || i + 1 == input.size();  // the end planes keep their frames
        const double moved = Distance(smoothed[i].axisU, input[i].axisU) + Distance(smoothed[i].axisV, input[i].axisV);
        EXPECT_EQ(end, moved == 0.0) << i;
        EXPECT_EQ(Distance(smoothed[i].position, input[i].position), 0.0);
        EXPECT_LT(FrameError(smoothed[i]), FrameError(input[i]) + 1e-6) << i;  // turned, not distorted
    }

    // The interpolation follows only when it is rebuilt.
    const ZelPlaneData stale = planes.GetPlaneData(0.37f);
    EXPECT_EQ(std::memcmp(&stale, &before, sizeof stale), 0);
    planes.SetPlaneObject(smoothed, false, false, 0.0);
    EXPECT_GT(Distance(planes.GetPlaneData(0.37f).axisU, before.axisU), 1e-3);
}

// Progress calls; each answers 1, a request to stop, which is ignored.
struct Log {
    static int Record(float p, const wchar_t* text, void* context)
    {
        calls.push_back(p);
        if (text != nullptr || context != nullptr) calls.push_back(-1.0f);
        return 1;
    }
    static std::vector<float> calls;
};
std::vector<float> Log::calls;

TEST(Uniformalize, ReportsProgressAndCannotBeCancelled)
{
    const std::vector<ZelPlaneData> input = TwistedPlanes();
    ZelPathPlane quiet, reporting;
    quiet.SetPlaneObject(input, false, false, 0.0);
    reporting.SetPlaneObject(input, false, false, 0.0);
    quiet.Uniformalize(nullptr, 0.0f, 1.0f);
    reporting.Uniformalize(Log::Record, 0.25f, 0.75f);
    EXPECT_TRUE(SameBits(reporting.GetPlaneObject(), quiet.GetPlaneObject()));
    ASSERT_GE(Log::calls.size(), 2u);
    EXPECT_EQ(Log::calls.front(), 0.25f);
    EXPECT_EQ(Log::calls.back(), 0.75f);
    for (std::size_t i = 1; i + 1 < Log::calls.size(); ++i) EXPECT_GT(Log::calls[i], Log::calls[i - 1]);

    // Left alone: three planes (without a call), coincident centres.
    std::vector<ZelPlaneData> coincident = input;
    coincident[3].position = coincident[2].position;
    for (const std::vector<ZelPlaneData>& list :
         {std::vector<ZelPlaneData>(input.begin(), input.begin() + 3), coincident}) {
        Log::calls.clear();
        ZelPathPlane planes;
        planes.SetPlaneObject(list, false, false, 0.0);
        EXPECT_TRUE(planes.Uniformalize(Log::Record, 0.0f, 1.0f));
        EXPECT_TRUE(SameBits(planes.GetPlaneObject(), list));
        EXPECT_EQ(Log::calls.size(), list.size() == 3 ? 0u : 2u);
    }
}

TEST(Uniformalize, PairTermTwinsAgree)
{
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> coordinate(-300.0, 300.0), distance(0.01, 40.0);
    const zel_path::PairTermKernel fast = zel_path::SelectPairTerm();
    for (int trial = 0; trial < 1000; ++trial) {
        zel_path::Ring p, q;
        for (int k = 0; k < zel_path::kRingPoints; ++k) {
            p.x[k] = coordinate(rng), p.y[k] = coordinate(rng), p.z[k] = coordinate(rng);
            q.x[k] = coordinate(rng), q.y[k] = coordinate(rng), q.z[k] = coordinate(rng);
        }
        const double d = distance(rng);
        ASSERT_EQ(fast(p, q, d), zel_path::PairTermScalar(p, q, d)) << trial;
    }
}

}  // namespace
