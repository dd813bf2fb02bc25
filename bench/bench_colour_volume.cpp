// Colour volumes: 512 x 512 pictures of an RGB volume (the head phantom
// through a palette) on one thread: the one-slice bilinear and bicubic views,
// MPR reslices (bilinear, free rotation, averaging below zoom 1) from the
// linear and the tiled volume, and an oblique plane; the axis-aligned and
// oblique cases also through vtkImageReslice on the same voxels (linear
// interpolation, one thread). Times are this thread's CPU time; a table of
// ours against VTK's is printed when the program ends.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "ZelIGConverter.h"
#include "ZelMPRImageGenerator.h"
#include "ZelObliqueImageGenerator.h"
#include "bench_volume.h"
#include "phantom.h"

#ifdef ZEL_HAVE_VTK
#include <vtkImageData.h>
#include <vtkImageReslice.h>
#include <vtkNew.h>
#include <vtkPointData.h>
#include <vtkSMPTools.h>
#include <vtkSmartPointer.h>
#include <vtkUnsignedCharArray.h>
#endif

namespace {

using Rgb = ZelRGBBase<unsigned char>;
constexpr int kOutput = 512;
constexpr int kSize[3] = {512, 512, 256};
constexpr float kSpacing[3] = {0.45f, 0.45f, 0.5f};

// A palette over -200..600 HU: dark red through yellow to white, the vessel
// (contrast, 330 HU) blue.
Rgb Colour(short hu)
{
    const double t = std::min(1.0, std::max(0.0, (hu + 200) / 800.0));
    if (hu > 300 && hu < 400) return {40, 120, 255};
    return {static_cast<unsigned char>(255 * std::min(1.0, 3 * t)),
            static_cast<unsigned char>(255 * std::min(1.0, std::max(0.0, 3 * t - 1))),
            static_cast<unsigned char>(255 * std::max(0.0, 3 * t - 2))};
}

struct Volumes {
    std::unique_ptr<ZelImage<Rgb>> linear;
    std::unique_ptr<ZelImage<Rgb>> tiled;
    std::unique_ptr<ZelImage<Rgb>> slice;  // the middle x-y slice alone
};

const Volumes& ColourVolumes()
{
    static const Volumes volumes = [] {
        ZelPhantomOptions options;
        options.sizeX = kSize[0];
        options.sizeY = kSize[1];
        options.sizeZ = kSize[2];
        options.spacingX = kSpacing[0];
        options.spacingY = kSpacing[1];
        options.spacingZ = kSpacing[2];
        std::unique_ptr<ZelImage<short>> grey(ZelMakeHeadPhantom(options));
        Volumes v;
        v.linear = std::make_unique<ZelImage<Rgb>>();
        v.slice = std::make_unique<ZelImage<Rgb>>();
        const long long count = static_cast<long long>(kSize[0]) * kSize[1] * kSize[2];
        const long long sliceCount = static_cast<long long>(kSize[0]) * kSize[1];
        if (!grey || v.linear->Allocate(ZEL_ALIGNMENT_LINEAR, kSize[0], kSize[1], kSize[2]) != 0 ||
            v.slice->Allocate(ZEL_ALIGNMENT_LINEAR, kSize[0], kSize[1], 1) != 0) {
            std::fprintf(stderr, "bench: no memory for the colour volume\n");
            std::exit(1);
        }
        for (long long i = 0; i < count; ++i) v.linear->GetDataPtr()[i] = Colour(grey->GetDataPtr()[i]);
        for (long long i = 0; i < sliceCount; ++i)
            v.slice->GetDataPtr()[i] = v.linear->GetDataPtr()[sliceCount * (kSize[2] / 2) + i];
        for (auto* image : {v.linear.get(), v.slice.get()})
            image->SetImageScale({kSpacing[0], kSpacing[1], kSpacing[2]});
        v.tiled.reset(v.linear->Clone(ZEL_ALIGNMENT_TILED));
        if (!v.tiled) std::exit(1);
        return v;
    }();
    return volumes;
}

double ThreadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

struct Row {
    std::string name;
    double ours = 0;
    double vtk = 0;
    std::vector<unsigned char> ourPicture;  // the last picture of each, to compare
    std::vector<unsigned char> vtkPicture;
};

// Mean |ours - VTK| over the bytes of two pictures (VTK rounds its blends, we
// truncate: about 0.5 when both cut the same plane).
double MeanDifference(const Row& r)
{
    if (r.ourPicture.empty() || r.ourPicture.size() != r.vtkPicture.size()) return -1;
    double sum = 0;
    for (std::size_t i = 0; i < r.ourPicture.size(); ++i) sum += std::abs(r.ourPicture[i] - r.vtkPicture[i]);
    return sum / static_cast<double>(r.ourPicture.size());
}

struct Table {
    std::vector<Row> rows;
    Row& operator[](const std::string& name)
    {
        for (Row& r : rows)
            if (r.name == name) return r;
        rows.emplace_back();
        rows.back().name = name;
        return rows.back();
    }
    ~Table()
    {
        if (rows.empty()) return;
        std::printf("\nColour volumes, 512x512 RGB output, one thread (ms per image, CPU time; ratio = VTK / ours)\n");
        std::printf("%-34s %9s %9s %7s %9s\n", "case", "ours", "VTK", "ratio", "mean|d|");
        for (const Row& r : rows) {
            if (r.vtk <= 0) {
                std::printf("%-34s %9.3f %9s %7s %9s\n", r.name.c_str(), r.ours * 1e3, "-", "-", "-");
                continue;
            }
            std::printf("%-34s %9.3f %9.3f %7.2f %9.2f\n", r.name.c_str(), r.ours * 1e3, r.vtk * 1e3,
                        r.ours > 0 ? r.vtk / r.ours : 0.0, MeanDifference(r));
        }
    }
};

Table& Timings()
{
    static Table table;
    return table;
}

template <class Body>
void Timed(benchmark::State& state, double& slot, Body&& body)
{
    const double start = ThreadSeconds();
    for (auto _ : state) body();
    if (state.iterations() > 0) slot = (ThreadSeconds() - start) / static_cast<double>(state.iterations());
    state.counters["ms_cpu"] = slot * 1e3;
}

// The cases: an MPR view (plane, rotation, zoom), or the oblique plane, or
// one of the one-slice views.
enum class Kind { kMPR, kOblique, kOneSlice, kBicubic };

struct Case {
    const char* name;
    Kind kind;
    bool tiled;
    int plane;
    int rotation;  // 0 or 4 (30 degrees)
    float zoom;
};

const Case kCases[] = {
    {"one_slice_bilinear_z1.37", Kind::kOneSlice, false, 2, 0, 1.37f},
    {"one_slice_bicubic_z1.37", Kind::kBicubic, false, 2, 0, 1.37f},
    {"axial_bilinear_z1.37", Kind::kMPR, false, 2, 0, 1.37f},
    {"axial_bilinear_z1.37_tiled", Kind::kMPR, true, 2, 0, 1.37f},
    {"sagittal_bilinear_z1.37", Kind::kMPR, false, 0, 0, 1.37f},
    {"sagittal_bilinear_z1.37_tiled", Kind::kMPR, true, 0, 0, 1.37f},
    {"axial_rot30_bilinear", Kind::kMPR, false, 2, 4, 1.0f},
    {"axial_average_z0.5", Kind::kMPR, false, 2, 0, 0.5f},
    {"oblique_trilinear", Kind::kOblique, false, 0, 0, 1.0f},
    {"oblique_trilinear_tiled", Kind::kOblique, true, 0, 0, 1.0f},
};

constexpr float kAngle = 0.5235987755982988f;
const Zel3DVector<float> kCentre{255.3f, 250.7f, 128.4f};

ZelMPRImageGeneratorParam MPRParam(const Case& c)
{
    ZelMPRImageGeneratorParam p;
    p.plane = c.plane;
    p.rotation = c.rotation;
    p.rotationAngle = kAngle;
    p.zoom = c.zoom;
    p.center = kCentre;
    p.slicePosition = {256, 256, 128};
    return p;
}

// The oblique plane: turned 30 degrees about x, then 20 about y.
ZelObliqueImageGeneratorParam ObliqueParam()
{
    const double a = 0.5235987755982988, b = 0.3490658503988659;
    const double rx[3][3] = {{1, 0, 0}, {0, std::cos(a), -std::sin(a)}, {0, std::sin(a), std::cos(a)}};
    const double ry[3][3] = {{std::cos(b), 0, std::sin(b)}, {0, 1, 0}, {-std::sin(b), 0, std::cos(b)}};
    ZelObliqueImageGeneratorParam p;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            double v = 0;
            for (int k = 0; k < 3; ++k) v += ry[i][k] * rx[k][j];
            p.orientation.m[i][j] = static_cast<float>(v);
        }
    p.center = kCentre;
    return p;
}

void RunOurs(benchmark::State& state, const Case& c)
{
    const Volumes& v = ColourVolumes();
    const ZelImage<Rgb>* volume = c.tiled ? v.tiled.get() : v.linear.get();
    ZelImageBuffer buffer;
    buffer.CreateImage(kOutput, kOutput, 3);
    ZelMPRImageGeneratorParam mpr = MPRParam(c);
    ZelObliqueImageGeneratorParam oblique = ObliqueParam();
    const Zel3DVector<float> spacing{kSpacing[0], kSpacing[1], kSpacing[2]};
    Timed(state, Timings()[c.name].ours, [&] {
        bool done = false;
        switch (c.kind) {
        case Kind::kMPR: done = ZelIGConverter::ConvertZelImageRGB(&buffer, volume, mpr); break;
        case Kind::kOblique: done = ZelIGConverter::ConvertZelImageRGB(&buffer, volume, oblique); break;
        case Kind::kOneSlice:
            mpr.center.z = 0;
            done = ZelIGConverter::ConvertZelImageRGB(&buffer, v.slice.get(), mpr);
            break;
        case Kind::kBicubic:
            done = ZelIGConverter::ConvertZelImageRGB_BiCubic(&buffer, v.slice.get(), {kCentre.x, kCentre.y, 0},
                                                              spacing, c.zoom);
            break;
        }
        if (!done) state.SkipWithError("conversion refused");
        benchmark::DoNotOptimize(buffer.GetDataPtr());
        benchmark::ClobberMemory();
    });
    const unsigned char* pixels = buffer.GetDataPtr();  // rows of 512 * 3 bytes, no padding
    Timings()[c.name].ourPicture.assign(pixels, pixels + kOutput * kOutput * 3);
}

#ifdef ZEL_HAVE_VTK

// The linear colour volume seen by VTK (three components, voxels shared).
vtkImageData* VtkVolume()
{
    static vtkSmartPointer<vtkImageData> image = [] {
        const ZelImage<Rgb>& volume = *ColourVolumes().linear;
        auto data = vtkSmartPointer<vtkImageData>::New();
        data->SetDimensions(kSize[0], kSize[1], kSize[2]);
        data->SetSpacing(kSpacing[0], kSpacing[1], kSpacing[2]);
        auto scalars = vtkSmartPointer<vtkUnsignedCharArray>::New();
        scalars->SetNumberOfComponents(3);
        const vtkIdType count = static_cast<vtkIdType>(kSize[0]) * kSize[1] * kSize[2] * 3;
        scalars->SetArray(reinterpret_cast<unsigned char*>(volume.GetDataPtr()), count, 1);  // 1: not VTK's to free
        data->GetPointData()->SetScalars(scalars);
        return data;
    }();
    return image;
}

// vtkImageReslice with our output's geometry: pixel (i, j) at
// origin + (i right + j down) * pixel spacing, in world units.
void RunVtk(benchmark::State& state, const Case& c)
{
    double right[3], down[3], normal[3];
    BenchMPRAxes(c.plane, c.rotation == 4 ? kAngle : 0.0, right, down, normal);
    if (c.kind == Kind::kOblique) {
        const ZelObliqueImageGeneratorParam p = ObliqueParam();
        for (int i = 0; i < 3; ++i) {
            right[i] = p.orientation.m[i][0];
            down[i] = p.orientation.m[i][1];
            normal[i] = p.orientation.m[i][2];
        }
    }
    const double pixel = kSpacing[0] / c.zoom;
    const double centre[3] = {kCentre.x, kCentre.y, kCentre.z};
    const int slice[3] = {256, 256, 128};
    double origin[3];
    for (int i = 0; i < 3; ++i)
        origin[i] = centre[i] * kSpacing[i] - (kOutput - 1) * 0.5 * pixel * (right[i] + down[i]);
    if (c.kind != Kind::kOblique) origin[c.plane] = slice[c.plane] * kSpacing[c.plane];

    vtkSMPTools::Initialize(1);
    auto reslice = vtkSmartPointer<vtkImageReslice>::New();
    reslice->SetInputData(VtkVolume());
    reslice->SetResliceAxesDirectionCosines(right, down, normal);
    reslice->SetResliceAxesOrigin(origin);
    reslice->SetOutputOrigin(0, 0, 0);
    reslice->SetOutputSpacing(pixel, pixel, kSpacing[0]);
    reslice->SetOutputExtent(0, kOutput - 1, 0, kOutput - 1, 0, 0);
    reslice->SetOutputDimensionality(2);
    reslice->SetInterpolationModeToLinear();
    reslice->SetNumberOfThreads(1);
    reslice->SetEnableSMP(false);
    Timed(state, Timings()[c.name].vtk, [&] {
        reslice->Modified();
        reslice->Update();
        benchmark::DoNotOptimize(reslice->GetOutput()->GetScalarPointer());
        benchmark::ClobberMemory();
    });
    const auto* pixels = static_cast<const unsigned char*>(reslice->GetOutput()->GetScalarPointer());
    Timings()[c.name].vtkPicture.assign(pixels, pixels + kOutput * kOutput * 3);
}

#endif

const bool g_registered = [] {
    for (const Case& c : kCases) {
        benchmark::RegisterBenchmark((std::string("ColourVolume/") + c.name).c_str(), [c](benchmark::State& s) {
            RunOurs(s, c);
        })->Unit(benchmark::kMillisecond);
#ifdef ZEL_HAVE_VTK
        // VTK reads the linear volume; its one-slice, bicubic and averaging
        // views have no counterpart here.
        if (!c.tiled && (c.kind == Kind::kMPR || c.kind == Kind::kOblique) && c.zoom >= 1.0f) {
            benchmark::RegisterBenchmark((std::string("ColourVolume/VTK_") + c.name).c_str(), [c](benchmark::State& s) {
                RunVtk(s, c);
            })->Unit(benchmark::kMillisecond);
        }
#endif
    }
    return true;
}();

}  // namespace
