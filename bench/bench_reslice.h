// What the reslicing benchmarks against a peer share: timing our images and
// the peer's runs, comparing the two pictures, the benchmark volume as VTK
// image data, and the registration of each case for both layouts and both
// thread counts.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

#include "ZelCPUController.h"
#include "ZelImageBase.h"
#include "ZelObliqueImageGenerator.h"
#include "bench_volume.h"

#if ZEL_HAVE_VTK
#include <vtkImageData.h>
#include <vtkPointData.h>
#include <vtkSMPTools.h>
#include <vtkShortArray.h>
#include <vtkSmartPointer.h>
#endif

// The oblique benchmarks' thin plane (BenchPlaneAxes) through the volume's
// centre, zoom 1, interpolated, background -1000.
inline ZelObliqueImageGeneratorParam BenchObliquePlane()
{
    ZelObliqueImageGeneratorParam p;
    double r[3][3];
    BenchPlaneAxes(r);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) p.orientation.m[i][j] = static_cast<float>(r[i][j]);
    const float mid = (kBenchVolumeSize - 1) * 0.5f;
    p.center = {mid, mid, mid};
    p.backgroundValue = -1000;
    p.slabMode = ZEL_OBLIQUE_SLAB_AVERAGE;
    return p;
}

inline double BenchMilliseconds(std::chrono::steady_clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

// Times make() (which returns a new image) over the benchmark's iterations
// with `threads` workers (0: the processor count), as manual time; sets the
// counter ours_ms and returns the mean in ms, with the last image in `last`
// (null, and the case skipped, when an image could not be made).
template <class Make>
double TimeOurImages(benchmark::State& state, int threads, std::unique_ptr<ZelImageBase>& last, Make&& make)
{
    ZelCPUController::SetAvailableCPUNum(threads);
    double total = 0.0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        last.reset(make());
        const auto t1 = std::chrono::steady_clock::now();
        if (!last) {
            state.SkipWithError("GenerateImage failed");
            break;
        }
        benchmark::DoNotOptimize(last.get());
        total += BenchMilliseconds(t1 - t0);
        state.SetIterationTime(std::chrono::duration<double>(t1 - t0).count());
    }
    ZelCPUController::SetAvailableCPUNum(0);
    if (!last) return 0.0;
    const double mean = total / static_cast<double>(state.iterations());
    state.counters["ours_ms"] = mean;
    return mean;
}

// Mean time in ms of up to `most` further calls of run() (as many as the
// benchmark's iterations), after one untimed call that allocates; returns
// the last result.
template <class Run>
auto TimePeer(benchmark::State& state, int most, double& milliseconds, Run&& run)
{
    auto result = run();
    const int runs = static_cast<int>(std::min<benchmark::IterationCount>(state.iterations(), most));
    const auto t0 = std::chrono::steady_clock::now();
    for (int k = 0; k < runs; ++k) result = run();
    milliseconds = BenchMilliseconds(std::chrono::steady_clock::now() - t0) / runs;
    return result;
}

// Counters vtk_ms, ours/vtk and mean_abs_diff (mean |ours - peer| over the
// picture: a check that both sampled the same points).
inline void ComparePeer(benchmark::State& state, double oursMs, double peerMs, const ZelImageBase& ours,
                        const short* peer)
{
    state.counters["vtk_ms"] = peerMs;
    state.counters["ours/vtk"] = oursMs / peerMs;
    const short* mine = static_cast<const short*>(ours.GetVoidDataPtr());
    const long long count = ours.GetElementCount();
    double diff = 0.0;
    for (long long i = 0; i < count; ++i) diff += std::abs(mine[i] - peer[i]);
    state.counters["mean_abs_diff"] = diff / static_cast<double>(count);
}

// Registers family/NAME/{linear,tiled}/{threads:1,threads:default} for every
// (case, NAME) pair, calling bench(state, case, tiled, threads) with threads
// 1 or 0 (each library's default).
template <class Case, class Bench, std::size_t kCount>
void RegisterReslicingCases(const char* family, const std::pair<Case, const char*> (&cases)[kCount], Bench bench)
{
    for (const auto& k : cases)
        for (bool tiled : {false, true})
            for (int threads : {1, 0}) {
                const std::string name = std::string(family) + "/" + k.second + (tiled ? "/tiled" : "/linear") +
                                         (threads == 1 ? "/threads:1" : "/threads:default");
                benchmark::RegisterBenchmark(name.c_str(), bench, k.first, tiled, threads)
                    ->UseManualTime()
                    ->Unit(benchmark::kMillisecond);
            }
}

#if ZEL_HAVE_VTK
// VTK's SMP threads: `threads`, or for 0 its default of one per processor,
// set by value (Initialize() does not undo a count that another benchmark
// pinned before).
inline void PinVtkThreads(int threads)
{
    vtkSMPTools::Initialize(threads > 0 ? threads
                                        : static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
}

// Times peer.Run() (which returns its picture) as TimePeer does, gives VTK
// back its default threads and sets the comparison counters.
template <class Peer>
void MeasurePeer(benchmark::State& state, int most, double oursMs, const ZelImageBase& ours, Peer& peer)
{
    double peerMs;
    const short* picture = TimePeer(state, most, peerMs, [&peer] { return peer.Run(); });
    vtkSMPTools::Initialize();
    ComparePeer(state, oursMs, peerMs, ours, picture);
}

// The linear benchmark volume as VTK image data, its voxels shared (VTK must
// not free them), origin 0, named "values".
inline vtkSmartPointer<vtkImageData> BenchVtkImage()
{
    const ZelImage<short>& volume = BenchVolume(false);
    const int n = kBenchVolumeSize;
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(n, n, n);
    image->SetSpacing(kBenchSpacingXY, kBenchSpacingXY, kBenchSpacingZ);
    image->SetOrigin(0, 0, 0);
    auto scalars = vtkSmartPointer<vtkShortArray>::New();
    scalars->SetName("values");
    scalars->SetArray(volume.GetDataPtr(), static_cast<vtkIdType>(n) * n * n, 1);
    image->GetPointData()->SetScalars(scalars);
    return image;
}
#endif
