// MPR benchmarks: axis-aligned slices, interpolated and freely rotated
// slices and thick slabs of a 512^3 head phantom, each with the same
// geometry through vtkImageReslice (one thread, and VTK's default).
// A table of our time against VTK's is printed when the program ends.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "ZelMPRImageGenerator.h"
#include "bench_volume.h"

#ifdef ZEL_HAVE_VTK
#include <vtkImageData.h>
#include <vtkImageReslice.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkSMPTools.h>
#include <vtkShortArray.h>
#include <vtkSmartPointer.h>
#endif

namespace {

constexpr int kOutput = 512;

struct MprCase {
    const char* name;
    int plane;
    bool tiled;
    int interpolation;
    float zoom;
    bool offGrid;
    int rotation;  // 0 or 4
    float angle;   // radians, with rotation 4
    int slabMode;  // -1: thin slice; otherwise a stacked slab of 21 slices
};

const MprCase kCases[] = {
    {"axial_nearest", 2, false, 0, 1.0f, false, 0, 0.0f, -1},
    {"coronal_nearest", 1, false, 0, 1.0f, false, 0, 0.0f, -1},
    {"sagittal_nearest", 0, false, 0, 1.0f, false, 0, 0.0f, -1},
    {"axial_nearest_tiled", 2, true, 0, 1.0f, false, 0, 0.0f, -1},
    {"coronal_nearest_tiled", 1, true, 0, 1.0f, false, 0, 0.0f, -1},
    {"sagittal_nearest_tiled", 0, true, 0, 1.0f, false, 0, 0.0f, -1},
    {"axial_interp_offgrid_z1.37", 2, false, 1, 1.37f, true, 0, 0.0f, -1},
    {"coronal_interp_offgrid_z1.37", 1, false, 1, 1.37f, true, 0, 0.0f, -1},
    {"sagittal_interp_offgrid_z1.37", 0, false, 1, 1.37f, true, 0, 0.0f, -1},
    {"sagittal_interp_offgrid_z1.37_tiled", 0, true, 1, 1.37f, true, 0, 0.0f, -1},
    {"axial_rot30_bilinear", 2, false, 1, 1.0f, true, 4, 0.5235987755982988f, -1},
    {"axial_slab21_max", 2, false, 0, 1.0f, false, 0, 0.0f, ZEL_MPR_STACK_MAXIMUM},
    {"axial_slab21_mean", 2, false, 0, 1.0f, false, 0, 0.0f, ZEL_MPR_STACK_AVERAGE},
    {"axial_slab21_max_tiled", 2, true, 0, 1.0f, false, 0, 0.0f, ZEL_MPR_STACK_MAXIMUM},
    {"axial_slab21_mean_tiled", 2, true, 0, 1.0f, false, 0, 0.0f, ZEL_MPR_STACK_AVERAGE},
};

ZelMPRImageGeneratorParam ParamOf(const MprCase& c)
{
    ZelMPRImageGeneratorParam p;
    p.plane = c.plane;
    p.slicePosition = {256, 256, 256};
    p.center = c.offGrid ? Zel3DVector<float>{255.3f, 250.7f, 240.6f} : Zel3DVector<float>{256.0f, 256.0f, 256.0f};
    p.zoom = c.zoom;
    p.rotation = c.rotation;
    p.rotationAngle = c.angle;
    p.interpolation = c.interpolation;
    p.backgroundValue = -1000;
    return p;
}

// Seconds per iteration of each run, by case: ours, VTK on one thread, VTK
// at its default threading. The table lives in the object that prints it
// when the program ends, so it outlives every benchmark.
struct Timing {
    double ours = 0, vtkOne = 0, vtkDefault = 0;
};

struct TimingTable {
    std::vector<std::pair<std::string, Timing>> rows;
    std::string vtkThreading;

    Timing& operator[](const std::string& name)
    {
        for (auto& row : rows) {
            if (row.first == name) return row.second;
        }
        rows.emplace_back(name, Timing{});
        return rows.back().second;
    }

    ~TimingTable()
    {
        if (rows.empty()) return;
        std::printf("\nMPR, 512x512 output from a 512^3 short volume (ms per image; ratio = VTK time / ours)\n");
        if (!vtkThreading.empty()) std::printf("VTK default threading: %s\n", vtkThreading.c_str());
        std::printf("%-38s %9s %9s %7s %9s %7s\n", "case", "ours", "VTK 1thr", "ratio", "VTK dflt", "ratio");
        for (const auto& [name, t] : rows) {
            const auto ratio = [&](double vtk) { return t.ours > 0 && vtk > 0 ? vtk / t.ours : 0.0; };
            std::printf("%-38s %9.3f %9.3f %7.2f %9.3f %7.2f\n", name.c_str(), t.ours * 1e3, t.vtkOne * 1e3,
                        ratio(t.vtkOne), t.vtkDefault * 1e3, ratio(t.vtkDefault));
        }
    }
};

TimingTable& Timings()
{
    static TimingTable table;
    return table;
}

// Runs the benchmark loop and records the time per iteration.
template <class Body>
void Timed(benchmark::State& state, double& slot, Body&& body)
{
    const auto begin = std::chrono::steady_clock::now();
    for (auto _ : state) body();
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - begin;
    if (state.iterations() > 0) slot = elapsed.count() / static_cast<double>(state.iterations());
}

void RunOurs(benchmark::State& state, const MprCase& c)
{
    auto& volume = const_cast<ZelImage<short>&>(BenchVolume(c.tiled));
    ZelMPRImageGenerator generator;
    generator.SetImage(&volume);
    const ZelMPRImageGeneratorParam param = ParamOf(c);
    Timed(state, Timings()[c.name].ours, [&] {
        std::unique_ptr<ZelImageBase> image;
        if (c.slabMode >= 0) {
            ZelMPRImageGeneratorParam slab = param;  // rewritten by the call
            image.reset(ZelMPRImageGenerator::GenerateFilterImage(&volume, slab, 0, 20, true,
                                                                  static_cast<ZelMPRStackImageMode>(c.slabMode)));
        } else {
            image.reset(generator.GenerateImage(kOutput, kOutput, param));
        }
        if (!image) {
            state.SkipWithError("generation failed");
            return;
        }
        benchmark::DoNotOptimize(image->GetVoidDataPtr());
        benchmark::ClobberMemory();
    });
}

#ifdef ZEL_HAVE_VTK

// The linear benchmark volume seen by VTK, sharing its voxels.
vtkImageData* VtkVolume()
{
    static vtkSmartPointer<vtkImageData> image = [] {
        const ZelImage<short>& volume = BenchVolume(false);
        auto data = vtkSmartPointer<vtkImageData>::New();
        data->SetDimensions(kBenchVolumeSize, kBenchVolumeSize, kBenchVolumeSize);
        data->SetSpacing(kBenchSpacingXY, kBenchSpacingXY, kBenchSpacingZ);
        data->SetOrigin(0, 0, 0);
        auto scalars = vtkSmartPointer<vtkShortArray>::New();
        const vtkIdType count = static_cast<vtkIdType>(kBenchVolumeSize) * kBenchVolumeSize * kBenchVolumeSize;
        scalars->SetArray(volume.GetDataPtr(), count, 1);  // 1: VTK must not free our voxels
        data->GetPointData()->SetScalars(scalars);
        return data;
    }();
    return image;
}

// vtkImageReslice set to the geometry of a case: the output's pixel (i, j)
// lies at world origin + i * spacing * right + j * spacing * down, exactly
// where our display pixel (i, j) samples.
vtkSmartPointer<vtkImageReslice> MakeReslice(const MprCase& c, bool oneThread)
{
    const ZelMPRImageGeneratorParam p = ParamOf(c);
    // In-image axes (world directions equal normalised-voxel directions).
    double right[3], down[3], normal[3];
    BenchMPRAxes(c.plane, c.rotation == 4 ? c.angle : 0.0, right, down, normal);

    const double spacing[3] = {kBenchSpacingXY, kBenchSpacingXY, kBenchSpacingZ};
    const double finest = kBenchSpacingXY;
    const double pixel = finest / c.zoom;
    const double center[3] = {p.center.x, p.center.y, p.center.z};
    const int slice[3] = {p.slicePosition.x, p.slicePosition.y, p.slicePosition.z};
    double origin[3];
    for (int i = 0; i < 3; ++i) {
        origin[i] = center[i] * spacing[i] - (kOutput - 1) * 0.5 * pixel * (right[i] + down[i]);
    }
    origin[c.plane] = slice[c.plane] * spacing[c.plane];

    auto reslice = vtkSmartPointer<vtkImageReslice>::New();
    reslice->SetInputData(VtkVolume());
    reslice->SetResliceAxesDirectionCosines(right, down, normal);
    reslice->SetResliceAxesOrigin(origin);
    reslice->SetOutputOrigin(0, 0, 0);
    reslice->SetOutputSpacing(pixel, pixel, spacing[c.plane]);
    reslice->SetOutputExtent(0, kOutput - 1, 0, kOutput - 1, 0, 0);
    reslice->SetOutputDimensionality(2);
    reslice->SetBackgroundLevel(-1000);
    if (c.interpolation == 1) {
        reslice->SetInterpolationModeToLinear();
    } else {
        reslice->SetInterpolationModeToNearestNeighbor();
    }
    if (c.slabMode >= 0) {
        reslice->SetSlabNumberOfSlices(21);
        if (c.slabMode == ZEL_MPR_STACK_MAXIMUM) {
            reslice->SetSlabModeToMax();
        } else {
            reslice->SetSlabModeToMean();
        }
    }
    if (oneThread) {
        reslice->SetNumberOfThreads(1);
        reslice->SetEnableSMP(false);
    }
    return reslice;
}

void RunVtk(benchmark::State& state, const MprCase& c, bool oneThread)
{
    VtkVolume();
    auto reslice = MakeReslice(c, oneThread);
    Timing& timing = Timings()[c.name];
    // Both of VTK's threading mechanisms are pinned for the one-thread runs:
    // the multithreader by the filter's thread count (set in MakeReslice),
    // SMP by its backend's thread count. (VTK 9.1 with TBB keeps a
    // LocalScope's count after the scope and ignores Initialize(0), so the
    // default, one thread per processor, is set back by value. Other
    // benchmarks in this program may have pinned VTK before this runs.)
    static const int defaultThreads = static_cast<int>(std::max(1u, std::thread::hardware_concurrency()));
    vtkSMPTools::Initialize(oneThread ? 1 : defaultThreads);
    Timed(state, oneThread ? timing.vtkOne : timing.vtkDefault, [&] {
        reslice->Modified();
        reslice->Update();
        benchmark::DoNotOptimize(reslice->GetOutput()->GetScalarPointer());
        benchmark::ClobberMemory();
    });
    if (!oneThread) {
        Timings().vtkThreading =
            reslice->GetEnableSMP() ? std::string("SMP (") + vtkSMPTools::GetBackend() + "), " +
                                          std::to_string(vtkSMPTools::GetEstimatedNumberOfThreads()) + " threads"
                                    : "vtkMultiThreader, " + std::to_string(reslice->GetNumberOfThreads()) + " threads";
    }
}

#endif

// Registered before main runs, in case order: ours, VTK on one thread,
// VTK's default.
const bool g_registered = [] {
    for (const MprCase& c : kCases) {
        const std::string name = std::string("MPR/") + c.name;
        benchmark::RegisterBenchmark((name + "/ours").c_str(), [&c](benchmark::State& s) {
            RunOurs(s, c);
        })->Unit(benchmark::kMillisecond);
#ifdef ZEL_HAVE_VTK
        benchmark::RegisterBenchmark((name + "/vtk_1thread").c_str(), [&c](benchmark::State& s) {
            RunVtk(s, c, true);
        })->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((name + "/vtk_default").c_str(), [&c](benchmark::State& s) {
            RunVtk(s, c, false);
        })->Unit(benchmark::kMillisecond);
#endif
    }
    return true;
}();

}  // namespace
