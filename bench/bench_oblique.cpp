// Oblique planes and slabs of a 512^3 signed 16-bit head phantom into a
// 512 x 512 image, the plane turned 30 degrees about x and then 20 degrees
// about y through the volume's centre. Each case times our generator and,
// when VTK is present, vtkImageReslice on the same plane (trilinear, and for
// the slabs 21 slices one smallest spacing apart), and reports both times and
// their ratio as counters: ours_ms, vtk_ms and ours/vtk (below 1 is faster).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>

#include "ZelCPUController.h"
#include "ZelObliqueImageGenerator.h"
#include "bench_volume.h"

#if ZEL_HAVE_VTK
#include <vtkImageData.h>
#include <vtkImageReslice.h>
#include <vtkMatrix4x4.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkSMPTools.h>
#include <vtkShortArray.h>
#include <vtkSmartPointer.h>
#endif

namespace {

constexpr int kOut = 512;
constexpr int kSlabSteps = 20;  // 21 samples

enum BenchCase { kPlane, kSlabMaximum, kSlabAverage };

ZelObliqueImageGeneratorParam OurParam(BenchCase c)
{
    ZelObliqueImageGeneratorParam p;
    double r[3][3];
    BenchPlaneAxes(r);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) p.orientation.m[i][j] = static_cast<float>(r[i][j]);
    const float mid = (kBenchVolumeSize - 1) * 0.5f;
    p.center = {mid, mid, mid};
    p.zoom = 1.0f;
    p.backgroundValue = -1000;
    p.interpolation = 1;
    p.slabMode = c == kSlabAverage ? ZEL_OBLIQUE_SLAB_AVERAGE : ZEL_OBLIQUE_SLAB_MAXIMUM;
    // Half a step over the slab keeps floor(thickness / m) at kSlabSteps.
    p.thickness = c == kPlane ? 0.0f : (kSlabSteps + 0.5f) * kBenchSpacingXY;
    return p;
}

double Milliseconds(std::chrono::steady_clock::duration d)
{
    return std::chrono::duration<double, std::milli>(d).count();
}

#if ZEL_HAVE_VTK
// vtkImageReslice over the same plane: output x, y and slab axes are the
// plane's right, down and normal in physical space, one smallest spacing per
// output pixel and per slab slice. threads 0 keeps VTK's default.
struct VtkReslice {
    vtkSmartPointer<vtkImageData> input;
    vtkSmartPointer<vtkImageReslice> reslice;

    VtkReslice(BenchCase c, int threads)
    {
        const ZelImage<short>& volume = BenchVolume(false);
        const int n = kBenchVolumeSize;
        input = vtkSmartPointer<vtkImageData>::New();
        input->SetDimensions(n, n, n);
        input->SetSpacing(kBenchSpacingXY, kBenchSpacingXY, kBenchSpacingZ);
        input->SetOrigin(0, 0, 0);
        vtkNew<vtkShortArray> scalars;
        // Shares our voxels; VTK must not free them (save = 1).
        scalars->SetArray(volume.GetDataPtr(), static_cast<vtkIdType>(n) * n * n, 1);
        input->GetPointData()->SetScalars(scalars);

        double r[3][3];
        BenchPlaneAxes(r);
        vtkNew<vtkMatrix4x4> axes;
        const double mid = (n - 1) * 0.5;
        const double centre[3] = {mid * kBenchSpacingXY, mid * kBenchSpacingXY, mid * kBenchSpacingZ};
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) axes->SetElement(i, j, r[i][j]);
            axes->SetElement(i, 3, centre[i]);
        }
        reslice = vtkSmartPointer<vtkImageReslice>::New();
        reslice->SetInputData(input);
        reslice->SetResliceAxes(axes);
        const double m = kBenchSpacingXY;
        reslice->SetOutputSpacing(m, m, m);
        reslice->SetOutputOrigin(-(kOut - 1) * 0.5 * m, -(kOut - 1) * 0.5 * m, 0.0);
        reslice->SetOutputExtent(0, kOut - 1, 0, kOut - 1, 0, 0);
        reslice->SetInterpolationModeToLinear();
        reslice->SetBackgroundLevel(-1000);
        if (c != kPlane) {
            reslice->SetSlabNumberOfSlices(kSlabSteps + 1);
            if (c == kSlabMaximum)
                reslice->SetSlabModeToMax();
            else
                reslice->SetSlabModeToMean();
        }
        if (threads > 0) {
            reslice->SetNumberOfThreads(threads);
            vtkSMPTools::Initialize(threads);
        } else {
            // VTK's default, one thread per processor, set by value: Initialize()
            // does not undo a count that another benchmark pinned before.
            vtkSMPTools::Initialize(static_cast<int>(std::max(1u, std::thread::hardware_concurrency())));
        }
    }

    const short* Run()
    {
        reslice->Modified();
        reslice->Update();
        return static_cast<const short*>(reslice->GetOutput()->GetScalarPointer());
    }
};
#endif

// threads: our worker count and VTK's (0: each library's default).
void BM_Oblique(benchmark::State& state, BenchCase c, bool tiled, int threads)
{
    const ZelImage<short>& volume = BenchVolume(tiled);
    ZelObliqueImageGenerator generator;
    generator.SetImage(const_cast<ZelImage<short>*>(&volume));
    const ZelObliqueImageGeneratorParam param = OurParam(c);
    ZelCPUController::SetAvailableCPUNum(threads);

    std::unique_ptr<ZelImageBase> ours;
    double oursMs = 0.0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        ours.reset(generator.GenerateImage(kOut, kOut, param));
        const auto t1 = std::chrono::steady_clock::now();
        if (!ours) {
            state.SkipWithError("GenerateImage failed");
            break;
        }
        benchmark::DoNotOptimize(ours.get());
        oursMs += Milliseconds(t1 - t0);
        state.SetIterationTime(std::chrono::duration<double>(t1 - t0).count());
    }
    ZelCPUController::SetAvailableCPUNum(0);
    if (!ours) return;
    oursMs /= static_cast<double>(state.iterations());
    state.counters["ours_ms"] = oursMs;

#if ZEL_HAVE_VTK
    VtkReslice vtk(c, threads);
    const short* peer = vtk.Run();  // first run allocates; not timed
    const int runs = static_cast<int>(std::min<benchmark::IterationCount>(state.iterations(), 10));
    const auto t0 = std::chrono::steady_clock::now();
    for (int k = 0; k < runs; ++k) peer = vtk.Run();
    const double vtkMs = Milliseconds(std::chrono::steady_clock::now() - t0) / runs;
    vtkSMPTools::Initialize();
    state.counters["vtk_ms"] = vtkMs;
    state.counters["ours/vtk"] = oursMs / vtkMs;
    state.counters["vtk_threads"] = vtk.reslice->GetNumberOfThreads();
    state.counters["vtk_smp"] = vtk.reslice->GetEnableSMP() ? 1 : 0;
    // Mean absolute difference of the two pictures: a check that both cut the
    // same plane (they differ only in rounding and at the volume's edge).
    const short* mine = static_cast<const short*>(ours->GetVoidDataPtr());
    double diff = 0.0;
    for (int i = 0; i < kOut * kOut; ++i) diff += std::abs(mine[i] - peer[i]);
    state.counters["mean_abs_diff"] = diff / (kOut * kOut);
#endif
}

void RegisterObliqueBenchmarks()
{
    const struct {
        BenchCase c;
        const char* name;
    } cases[] = {{kPlane, "Plane"}, {kSlabMaximum, "SlabMax21"}, {kSlabAverage, "SlabMean21"}};
    for (const auto& k : cases)
        for (bool tiled : {false, true})
            for (int threads : {1, 0}) {
                const std::string name = std::string("Oblique/") + k.name + (tiled ? "/tiled" : "/linear") +
                                         (threads == 1 ? "/threads:1" : "/threads:default");
                benchmark::RegisterBenchmark(name.c_str(), BM_Oblique, k.c, tiled, threads)
                    ->UseManualTime()
                    ->Unit(benchmark::kMillisecond);
            }
}

[[maybe_unused]] const int kRegistered = (RegisterObliqueBenchmarks(), 0);

}  // namespace
