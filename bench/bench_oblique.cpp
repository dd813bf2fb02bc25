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
#include "bench_reslice.h"

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
    ZelObliqueImageGeneratorParam p = BenchObliquePlane();
    p.slabMode = c == kSlabAverage ? ZEL_OBLIQUE_SLAB_AVERAGE : ZEL_OBLIQUE_SLAB_MAXIMUM;
    // Half a step over the slab keeps floor(thickness / m) at kSlabSteps.
    p.thickness = c == kPlane ? 0.0f : (kSlabSteps + 0.5f) * kBenchSpacingXY;
    return p;
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
        const int n = kBenchVolumeSize;
        input = BenchVtkImage();

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
        if (threads > 0) reslice->SetNumberOfThreads(threads);
        PinVtkThreads(threads);
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
    std::unique_ptr<ZelImageBase> ours;
    const double oursMs =
        TimeOurImages(state, threads, ours, [&] { return generator.GenerateImage(kOut, kOut, param); });
    if (!ours) return;

#if ZEL_HAVE_VTK
    VtkReslice vtk(c, threads);
    // The two pictures differ only in rounding and at the volume's edge.
    MeasurePeer(state, 10, oursMs, *ours, vtk);
    state.counters["vtk_threads"] = vtk.reslice->GetNumberOfThreads();
    state.counters["vtk_smp"] = vtk.reslice->GetEnableSMP() ? 1 : 0;
#endif
}

void RegisterObliqueBenchmarks()
{
    const std::pair<BenchCase, const char*> cases[] = {
        {kPlane, "Plane"}, {kSlabMaximum, "SlabMax21"}, {kSlabAverage, "SlabMean21"}};
    RegisterReslicingCases("Oblique", cases, BM_Oblique);
}

[[maybe_unused]] const int kRegistered = (RegisterObliqueBenchmarks(), 0);

}  // namespace
