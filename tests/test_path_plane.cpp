// Planes along a path: counts and spacing, transported frames, the economy
// of updates, interpolation by position, and the twist smoothing against the
// algorithm written out literally.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include "ZelPathPlane.h"
#include "generators/dispatch.h"
#include "path/uniformalize_kernels.h"
#include "path_reference.h"

using namespace path_test;

namespace {

const double kPi = 3.14159265358979323846;

double Dot(const P3& a, const P3& b)
{
    return double(a.x) * b.x + double(a.y) * b.y + double(a.z) * b.z;
}
P3 Mix(double a, const P3& u, double b, const P3& v)
{
    return {float(a * u.x + b * v.x), float(a * u.y + b * v.y), float(a * u.z + b * v.z)};
}
bool SameBits(const std::vector<ZelPlaneData>& a, const std::vector<ZelPlaneData>& b)
{
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(ZelPlaneData)) == 0;
}
bool SameBits(const ZelPlaneData& a, const ZelPlaneData& b)
{
    return std::memcmp(&a, &b, sizeof a) == 0;
}

// Largest departure of (axisU, axisV, tangent) from a right-handed
// orthonormal frame.
double FrameError(const ZelPlaneData& p)
{
    const P3 &u = p.axisU, &v = p.axisV, &t = p.tangent;
    const D3 uv{double(u.y) * v.z - double(u.z) * v.y, double(u.z) * v.x - double(u.x) * v.z,
                double(u.x) * v.y - double(u.y) * v.x};
    double worst = Distance(uv, t);
    for (double e : {Dot(u, u) - 1, Dot(v, v) - 1, Dot(t, t) - 1, Dot(u, v), Dot(u, t), Dot(v, t)})
        worst = std::fmax(worst, std::fabs(e));
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
    } const cases[] = {{10.5, 1.0, 10}, {10.5, 20.0, 2}, {10.5, 0.0, 2}, {10.5, -1.0, 2}, {100.0, 0.5, 200}};
    for (const Case& c : cases) {
        auto path = MakePath({{0, 0, 0}, {float(c.length), 0, 0}});
        ZelPathPlane planes;
        planes.SetPath(path.get());
        ASSERT_TRUE(planes.UpdatePlaneData(0.0f, c.pitch, 0.01, {0, 0, 1}));
        ASSERT_EQ(planes.GetPlaneDataNum(), c.count) << c.length << " / " << c.pitch;
        EXPECT_NEAR(planes.GetLength(), c.length, 1e-5 * c.length);
        for (int i = 0; i < c.count; ++i) {
            const ZelPlaneData& p = planes.GetPlaneObject()[i];
            EXPECT_NEAR(p.position.x, i * c.length / (c.count - 1), 1e-5 * c.length) << i;
            // axisU comes from up, and a straight path carries it over as it is.
            EXPECT_EQ(
                Distance(p.tangent, P3{1, 0, 0}) + Distance(p.axisU, P3{0, 0, 1}) + Distance(p.axisV, P3{0, -1, 0}),
                0.0)
                << i;
        }
    }
}

// On a curved path every frame is orthonormal and right-handed (to float
// steps gathered over hundreds of planes), and turns from one plane to the
// next without any turn about the tangent.
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
    const P3 upInPlane = Mix(1.0, up, -Dot(up, list[0].tangent), list[0].tangent);
    EXPECT_NEAR(Dot(list[0].axisU, upInPlane) / std::sqrt(Dot(upInPlane, upInPlane)), 1.0, 1e-6);
    for (std::size_t i = 0; i < list.size(); ++i) {
        EXPECT_LT(FrameError(list[i]), 1e-5) << i;
        if (i == 0) continue;
        const ZelPlaneData &a = list[i - 1], &b = list[i];
        EXPECT_LT(Dot(a.tangent, b.tangent), 0.99999) << i;  // every step is a rotation
        EXPECT_NEAR(Dot(a.axisU, b.axisV) - Dot(a.axisV, b.axisU), 0.0, 2e-6) << i;
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
    planes.UpdatePlaneData(0.5f, 2.0, 0.2, {1, 0, 0});  // new angle, span and up alone: kept
    EXPECT_TRUE(SameBits(planes.GetPlaneObject(), built));
    planes.UpdatePlaneData(0.0f, 2.5, 0.01, {0, 0, 1});  // new pitch
    EXPECT_LT(planes.GetPlaneDataNum(), int(built.size()));
    path->UpdatePoint(0, {0, 0, 0});  // edited path, pitch as before
    planes.UpdatePlaneData(0.0f, 2.5, 0.01, {0, 0, 1});
    EXPECT_NE(planes.GetPlaneObject()[0].position.x, built[0].position.x);
    path->UpdatePoint(1, {INFINITY, 0, 0});  // garbage in: two planes, no failure
    EXPECT_TRUE(planes.UpdatePlaneData(0.0f, 2.5, 0.01, {0, 0, 1}));
    EXPECT_EQ(planes.GetPlaneDataNum(), 2);
}

// Two planes from outside (no path) whose frames differ by a turn of
// `degrees` about the common tangent: the frames between them take the
// shorter way round, then turn by the angle; the planes stay as they are.
TEST(PathPlane, InterpolatedFramesTakeTheShorterArcAndTheAngle)
{
    for (double degrees : {10.0, 100.0, 170.0, -170.0, 179.0})
        for (float angle : {0.0f, 0.7f}) {
            const double a = degrees * kPi / 180.0;
            const P3 u{0, 1, 0}, v{0, 0, 1};
            ZelPathPlane planes;
            planes.SetPlaneObject({{{0, 0, 0}, {1, 0, 0}, u, v, 0.0f},
                                   {{10, 0, 0},
                                    {1, 0, 0},
                                    Mix(std::cos(a), u, std::sin(a), v),
                                    Mix(-std::sin(a), u, std::cos(a), v),
                                    0.0f}},
                                  false, false, 0.0);
            planes.SetReferenceExternalData(true);
            const std::vector<ZelPlaneData> stored = planes.GetPlaneObject();
            ASSERT_TRUE(planes.UpdatePlaneData(angle, 1.0, 0.01, {0, 0, 1}));
            EXPECT_TRUE(SameBits(planes.GetPlaneObject(), stored));
            for (double f : {0.0, 0.25, 0.5, 1.0}) {
                const ZelPlaneData p = planes.GetPlaneData(float(f));
                const double turn = f * a + angle;
                EXPECT_LT(Distance(p.axisU, Mix(std::cos(turn), u, std::sin(turn), v)), 1e-5) << degrees << " " << f;
                EXPECT_LT(Distance(p.position, P3{float(10 * f), 0, 0}) + Distance(p.tangent, P3{1, 0, 0}), 1e-5);
            }
            EXPECT_TRUE(SameBits(planes.GetPlaneData(1.5f), planes.GetPlaneData(1.0f)));
            EXPECT_TRUE(SameBits(planes.GetPlaneData(std::nanf("")), planes.GetPlaneData(0.0f)));
        }
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
    const float xs[] = {0, 1, 3, 3.5f, 6, 10}, ds[] = {2, 3, 2.5f, 4, 1, 1.5f};
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
    EXPECT_EQ(planes.GetDiameter(3.0f), 1.5f);  // clamped
}

// The smoothing as written: every energy evaluated afresh from the angles.
struct Literal {
    std::vector<ZelPlaneData> planes;
    double firstMean, lastMean;
};
Literal LiteralSmoothing(const std::vector<ZelPlaneData>& planes, double r)
{
    const int n = int(planes.size());
    auto frame = [&](int i, const double* g, D3 f[3]) {  // the columns of B * Rz Ry Rx
        const double sa = std::sin(g[0]), ca = std::cos(g[0]), sb = std::sin(g[1]), cb = std::cos(g[1]);
        const double sg = std::sin(g[2]), cg = std::cos(g[2]);
        const double m[3][3] = {{cb * cg, sa * sb * cg - ca * sg, ca * sb * cg + sa * sg},
                                {cb * sg, ca * cg + sa * sb * sg, ca * sb * sg - sa * cg},
                                {-sb, sa * cb, ca * cb}};
        const P3 &u = planes[i].axisU, &v = planes[i].axisV, &t = planes[i].tangent;
        for (int j = 0; j < 3; ++j)
            f[j] = {u.x * m[0][j] + v.x * m[1][j] + t.x * m[2][j], u.y * m[0][j] + v.y * m[1][j] + t.y * m[2][j],
                    u.z * m[0][j] + v.z * m[1][j] + t.z * m[2][j]};
        return ca * cb;
    };
    auto ring = [&](int i, const double* g, D3 p[8]) {
        D3 f[3];
        frame(i, g, f);
        const P3& c = planes[i].position;
        for (int k = 0; k < 8; ++k) {
            const double sx = -r * std::sin(k * 2.0 * kPi * 0.125), sy = r * std::cos(k * 2.0 * kPi * 0.125);
            p[k] = {c.x + (f[0].x * sx + f[1].x * sy + f[2].x * 0.0), c.y + (f[0].y * sx + f[1].y * sy + f[2].y * 0.0),
                    c.z + (f[0].z * sx + f[1].z * sy + f[2].z * 0.0)};
        }
    };
    auto pairTerm = [&](int i, const double* gi, const double* gj) {
        const double d = Distance(planes[i].position, planes[i + 1].position);
        D3 p[8], q[8];
        ring(i, gi, p);
        ring(i + 1, gj, q);
        double sum = 0.0;
        for (int k = 0; k < 8; ++k) sum += (Distance(p[k], q[k]) - d) * (Distance(p[k], q[k]) - d) / (d * d);
        return sum;
    };
    // Energy of inner plane j, plane `stepped` taking the angles `trial`.
    auto energy = [&](const std::vector<double>& g, int j, int stepped, const double* trial) {
        auto at = [&](int k) { return k == stepped ? trial : &g[3 * k]; };
        D3 f[3];
        return (1.0 - frame(j, at(j), f)) * 6.0 + pairTerm(j - 1, at(j - 1), at(j)) + pairTerm(j, at(j), at(j + 1));
    };
    std::vector<double> angles[2] = {std::vector<double>(3 * n, 0.0), std::vector<double>(3 * n, 0.0)};
    Literal out{planes, 0.0, 0.0};
    int old = 0;
    for (int iteration = 0; iteration < 100000; ++iteration) {
        double sum = 0.0;
        for (int i = 1; i < n - 1; ++i) sum += energy(angles[old], i, -1, nullptr);
        const double mean = sum / (n - 2), previous = out.lastMean;
        if (iteration == 0) out.firstMean = mean;
        out.lastMean = mean;
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
    }
    for (int i = 0; i < n; ++i) {
        D3 f[3];
        frame(i, &angles[old][3 * i], f);
        ZelPlaneData& p = out.planes[i];
        p.axisU = {float(f[0].x), float(f[0].y), float(f[0].z)};
        p.axisV = {float(f[1].x), float(f[1].y), float(f[1].z)};
        p.tangent = {float(f[2].x), float(f[2].y), float(f[2].z)};
    }
    return out;
}

// Progress calls; each answers 1, a request to stop, which is ignored.
struct Log {
    static int Record(float p, const wchar_t* text, void* context)
    {
        calls.push_back(text == nullptr && context == nullptr ? p : -1.0f);
        return 1;
    }
    static std::vector<float> calls;
};
std::vector<float> Log::calls;

// 23 planes along a bent path, each inner one twisted about its tangent by
// up to 20 degrees; with radius 8 the smoothing settles in 1891 iterations.
TEST(Uniformalize, IsTheLiteralAlgorithmAndLowersTheEnergy)
{
    auto path = MakePath(Spiral(8));
    ZelPathPlane planes;
    planes.SetPath(path.get());
    planes.UpdatePlaneData(0.0f, 6.0, 0.002, {0, 0, 1});
    std::vector<ZelPlaneData> input = planes.GetPlaneObject();
    ASSERT_EQ(input.size(), 23u);
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> twist(-20.0 * kPi / 180.0, 20.0 * kPi / 180.0);
    for (std::size_t i = 1; i + 1 < input.size(); ++i) {
        const double a = twist(rng);
        const P3 u = input[i].axisU, v = input[i].axisV;
        input[i].axisU = Mix(std::cos(a), u, std::sin(a), v);
        input[i].axisV = Mix(-std::sin(a), u, std::cos(a), v);
    }
    const Literal literal = LiteralSmoothing(input, 8.0);
    EXPECT_LT(literal.lastMean, 0.8 * literal.firstMean);

    planes.SetPlaneObject(input, false, false, 0.0);
    planes.SetRadiusForUniformalize(8.0f);
    const ZelPlaneData before = planes.GetPlaneData(0.37f);
    ASSERT_TRUE(planes.Uniformalize(Log::Record, 0.25f, 0.75f));
    const std::vector<ZelPlaneData>& smoothed = planes.GetPlaneObject();
    EXPECT_TRUE(SameBits(smoothed, literal.planes));  // the stop request changed nothing
    ASSERT_EQ(smoothed.size(), input.size());
    for (std::size_t i = 0; i < input.size(); ++i) {
        const bool end = i == 0 || i + 1 == input.size();  // the end planes keep their frames
        EXPECT_EQ(end,
                  Distance(smoothed[i].axisU, input[i].axisU) + Distance(smoothed[i].axisV, input[i].axisV) == 0.0);
        EXPECT_EQ(Distance(smoothed[i].position, input[i].position), 0.0);
        EXPECT_LT(FrameError(smoothed[i]), FrameError(input[i]) + 1e-6) << i;  // turned, not distorted
    }
    ASSERT_GE(Log::calls.size(), 2u);
    EXPECT_EQ(Log::calls.front(), 0.25f);
    EXPECT_EQ(Log::calls.back(), 0.75f);
    for (std::size_t i = 1; i + 1 < Log::calls.size(); ++i) EXPECT_GT(Log::calls[i], Log::calls[i - 1]);

    EXPECT_TRUE(SameBits(planes.GetPlaneData(0.37f), before));  // followed only after a rebuild
    planes.SetPlaneObject(smoothed, false, false, 0.0);
    EXPECT_GT(Distance(planes.GetPlaneData(0.37f).axisU, before.axisU), 1e-3);

    // Left alone: three planes (without a call), and coincident centres.
    std::vector<ZelPlaneData> coincident = input;
    coincident[3].position = coincident[2].position;
    for (const auto& list : {std::vector<ZelPlaneData>(input.begin(), input.begin() + 3), coincident}) {
        Log::calls.clear();
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
    zel_path::PairTermKernel plain;
    {
        const ZelSimdCapScope scalar(ZelSimd::kScalar);
        plain = zel_path::SelectPairTerm();
    }
    for (int trial = 0; trial < 1000; ++trial) {
        zel_path::Ring p, q;
        for (double* c : {p.x, p.y, p.z, q.x, q.y, q.z})
            for (int k = 0; k < zel_path::kRingPoints; ++k) c[k] = coordinate(rng);
        const double d = distance(rng);
        ASSERT_EQ(fast(p, q, d), plain(p, q, d)) << trial;
    }
}

}  // namespace
