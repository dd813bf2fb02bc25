// Curved reformations of the 512^3 signed 16-bit head phantom along its
// vessel: 512 straightened rows of 512 pixels, thin and interpolated, and a
// 21-sample maximum slab across the cut. The peer samples the very same
// points the way a CPR module built on VTK does: vtkProbeFilter over a
// structured grid of the sample positions (trilinear, the image data's own
// interpolation), taking the maximum of each pixel's 21 samples afterwards
// for the slab. Counters: ours_ms, vtk_ms, ours/vtk (below 1 is faster), and
// for the thin case our oblique plane of the same size as the yardstick of
// time per pixel (cpr/oblique).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ZelCPRImageGenerator.h"
#include "ZelCPUController.h"
#include "ZelObliqueImageGenerator.h"
#include "bench_reslice.h"

#if ZEL_HAVE_VTK
#include <vtkDataArray.h>
#include <vtkImageData.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkPoints.h>
#include <vtkProbeFilter.h>
#include <vtkSMPTools.h>
#include <vtkShortArray.h>
#include <vtkSmartPointer.h>
#include <vtkStructuredGrid.h>
#endif

namespace {

constexpr int kOut = 512;
constexpr int kSlabSamples = 21;

enum CprCase { kThin, kSlabMaximum };

// The vessel's path and the rows along it, built once: the rows are spaced
// so that all 512 lie on the path.
struct Scene {
    ZelPath path;
    ZelCPRImageGeneratorParam param;

    Scene()
    {
        ZelPhantomOptions options;
        options.sizeX = options.sizeY = options.sizeZ = kBenchVolumeSize;
        path.SetPoints(ZelPhantomVesselPath(options));
        param.pathPlane.SetPath(&path);
        param.layout = ZEL_CPR_LAYOUT_ROWS;
        param.direction = {1.0f, 0.0f, 0.0f};
        param.up = {1.0f, 0.0f, 0.0f};
        param.backgroundValue = -1000;
        param.slabOffset = 0;
        ZelCPRImageGenerator generator;
        generator.SetImage(const_cast<ZelImage<short>*>(&BenchVolume(false)));
        std::unique_ptr<ZelImageBase> first(generator.GenerateImage(kOut, kOut, param, true));
        param.scale = (kOut + 1) / param.pathPlane.GetLength();
        first.reset(generator.GenerateImage(kOut, kOut, param, true));
    }

    ZelCPRImageGeneratorParam For(CprCase c) const
    {
        ZelCPRImageGeneratorParam p = param;
        p.slabMode = c == kThin ? ZEL_CPR_SLAB_NONE : ZEL_CPR_SLAB_MAXIMUM;
        p.slabSampleCount = c == kThin ? 0 : kSlabSamples;
        return p;
    }
};

const Scene& TheScene()
{
    static const Scene scene;
    return scene;
}

#if ZEL_HAVE_VTK
// vtkProbeFilter over the sample positions of our picture, in millimetres:
// per pixel the thin sample, or the slab's 21 samples one crossAxis apart.
// threads 0 keeps VTK's default.
struct VtkProbe {
    vtkSmartPointer<vtkImageData> image;
    vtkSmartPointer<vtkStructuredGrid> grid;
    vtkSmartPointer<vtkProbeFilter> probe;
    int samples;
    std::vector<short> picture;

    VtkProbe(CprCase c, int threads) : samples(c == kThin ? 1 : kSlabSamples), picture(kOut * kOut)
    {
        const ZelImage<short>& volume = BenchVolume(false);
        image = BenchVtkImage();
        ZelCPRImageGenerator generator;
        generator.SetImage(const_cast<ZelImage<short>*>(&volume));
        const ZelCPRImageGeneratorParam& param = TheScene().param;
        const double spacing[3] = {kBenchSpacingXY, kBenchSpacingXY, kBenchSpacingZ};
        vtkNew<vtkPoints> points;
        points->SetDataTypeToDouble();
        points->SetNumberOfPoints(static_cast<vtkIdType>(kOut) * kOut * samples);
        const vtkIdType plane = static_cast<vtkIdType>(kOut) * kOut;
        for (int y = 0; y < kOut; ++y) {
            const Zel3DVector<float>& cross = param.renderingPoints[static_cast<std::size_t>(y)].crossAxis;
            for (int x = 0; x < kOut; ++x) {
                Zel3DVector<float> v;
                generator.DisplayToVoxel(kOut, kOut, {float(x), float(y)}, v, param);
                for (int k = 0; k < samples; ++k) {
                    const double t = k - samples / 2;
                    points->SetPoint(k * plane + y * kOut + x, (v.x + t * cross.x) * spacing[0],
                                     (v.y + t * cross.y) * spacing[1], (v.z + t * cross.z) * spacing[2]);
                }
            }
        }
        grid = vtkSmartPointer<vtkStructuredGrid>::New();
        grid->SetDimensions(kOut, kOut, samples);
        grid->SetPoints(points);
        probe = vtkSmartPointer<vtkProbeFilter>::New();
        probe->SetInputData(grid);
        probe->SetSourceData(image);
        PinVtkThreads(threads);
    }

    // The probe, and for a slab the maximum over each pixel's samples (with
    // the background, as ours); points outside the volume count as
    // background.
    const short* Run()
    {
        probe->Modified();
        probe->Update();
        vtkDataArray* values = probe->GetOutput()->GetPointData()->GetArray("values");
        const char* valid = static_cast<const char*>(
            probe->GetOutput()->GetPointData()->GetArray(probe->GetValidPointMaskArrayName())->GetVoidPointer(0));
        const short* v = static_cast<const short*>(values->GetVoidPointer(0));
        const std::size_t plane = static_cast<std::size_t>(kOut) * kOut;
        for (std::size_t i = 0; i < plane; ++i) {
            short best = -1000;
            for (int k = 0; k < samples; ++k)
                if (valid[i + k * plane] != 0) best = samples == 1 ? v[i] : std::max(best, v[i + k * plane]);
            picture[i] = best;
        }
        return picture.data();
    }
};
#endif

// Our oblique plane of the same size through the volume's centre, turned as
// in the oblique benchmark: the per-pixel yardstick of the thin CPR.
double ObliqueMs(bool tiled, benchmark::IterationCount runs)
{
    const ZelImage<short>& volume = BenchVolume(tiled);
    ZelObliqueImageGenerator generator;
    generator.SetImage(const_cast<ZelImage<short>*>(&volume));
    const ZelObliqueImageGeneratorParam p = BenchObliquePlane();
    std::unique_ptr<ZelImageBase> image(generator.GenerateImage(kOut, kOut, p));  // warm
    const auto t0 = std::chrono::steady_clock::now();
    for (benchmark::IterationCount k = 0; k < runs; ++k) image.reset(generator.GenerateImage(kOut, kOut, p));
    return BenchMilliseconds(std::chrono::steady_clock::now() - t0) / static_cast<double>(runs);
}

// threads: our worker count and VTK's (0: each library's default).
void BM_Cpr(benchmark::State& state, CprCase c, bool tiled, int threads)
{
    const ZelImage<short>& volume = BenchVolume(tiled);
    ZelCPRImageGenerator generator;
    generator.SetImage(const_cast<ZelImage<short>*>(&volume));
    ZelCPRImageGeneratorParam param = TheScene().For(c);
    std::unique_ptr<ZelImageBase> ours;
    const double oursMs =
        TimeOurImages(state, threads, ours, [&] { return generator.GenerateImage(kOut, kOut, param, false); });
    if (!ours) return;
    if (c == kThin) {
        const double oblique = ObliqueMs(tiled, std::min<benchmark::IterationCount>(state.iterations(), 50));
        state.counters["oblique_ms"] = oblique;
        state.counters["cpr/oblique"] = oursMs / oblique;
    }

#if ZEL_HAVE_VTK
    VtkProbe vtk(c, threads);
    // Both sample the same points; they differ in rounding, and where a slab
    // reaches the volume's edge.
    MeasurePeer(state, 5, oursMs, *ours, vtk);
#endif
}

void RegisterCprBenchmarks()
{
    const std::pair<CprCase, const char*> cases[] = {{kThin, "Thin"}, {kSlabMaximum, "SlabMax21"}};
    RegisterReslicingCases("CPR", cases, BM_Cpr);
}

[[maybe_unused]] const int kRegistered = (RegisterCprBenchmarks(), 0);

}  // namespace
