// Paths: the lazy rebuild of a 50-point path's curve (4097 resampled points)
// and the twist smoothing of 100 and 400 planes laid along it. No peer.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "ZelPath.h"
#include "ZelPathPlane.h"

namespace {

// A vessel-like path through a 512^3 volume: a loose spiral that climbs in z
// and wanders in radius, 50 points, spacing 0.45 x 0.45 x 0.5 mm.
void MakeVesselPath(ZelPath& path)
{
    std::vector<Zel3DVector<float>> points;
    for (int i = 0; i < 50; ++i) {
        const double a = i * 0.19;
        const double r = 120.0 + 30.0 * std::sin(i * 0.31);
        points.push_back({static_cast<float>(256.0 + r * std::cos(a)), static_cast<float>(256.0 + r * std::sin(a)),
                          static_cast<float>(60.0 + 7.5 * i)});
    }
    path.SetPoints(points);
    path.SetAspect({0.45f, 0.45f, 0.5f});
}

void BM_PathRebuild(benchmark::State& state)
{
    ZelPath path;
    MakeVesselPath(path);
    for (auto _ : state) {
        path.UpdatePointsCounter();
        benchmark::DoNotOptimize(&path.GetSplineCurveObject());
    }
    state.counters["resampled"] = static_cast<double>(path.GetSplineCurveObject().GetResampledPoints().size());
}
BENCHMARK(BM_PathRebuild)->Unit(benchmark::kMicrosecond);

// Planes every length / (count + 0.5), so that exactly `count` are laid.
void BM_Uniformalize(benchmark::State& state)
{
    const int count = static_cast<int>(state.range(0));
    ZelPath path;
    MakeVesselPath(path);
    ZelPathPlane planes;
    planes.SetPath(&path);
    const double length = path.GetSplineCurveObject().GetLength();
    planes.UpdatePlaneData(0.0f, length / (count + 0.5), 0.002, {0.0f, 0.0f, 1.0f});
    const std::vector<ZelPlaneData> original = planes.GetPlaneObject();
    int calls = 0;
    for (auto _ : state) {
        planes.GetPlaneObject() = original;
        planes.Uniformalize(nullptr, 0.0f, 1.0f);
        ++calls;
    }
    state.counters["planes"] = planes.GetPlaneDataNum();
    // Twist smoothing turns the frames: the largest change of axisU, as a
    // check that the work was done.
    double moved = 0.0;
    for (std::size_t i = 0; i < original.size(); ++i) {
        const ZelPlaneData& a = original[i];
        const ZelPlaneData& b = planes.GetPlaneObject()[i];
        moved = std::fmax(moved, std::fabs(a.axisU.x - b.axisU.x) + std::fabs(a.axisU.y - b.axisU.y) +
                                     std::fabs(a.axisU.z - b.axisU.z));
    }
    state.counters["max_axis_change"] = moved;
}
BENCHMARK(BM_Uniformalize)->Arg(100)->Arg(400)->Unit(benchmark::kMillisecond);

}  // namespace
