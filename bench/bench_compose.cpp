// Fusion and rotation of a 512 x 512 head slice on one thread, each against
// its VTK peer on the same pixels and against a memcpy of the bytes it reads
// and writes:
// * Alpha (constant opacity 0.4 of one RGB picture over another) against
//   vtkImageBlend with the same opacity;
// * Rotate (short, 30 degrees, bilinear) against vtkImageReslice in 2-D with
//   linear interpolation.
// A table of the ratios follows the run.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ZelIGCompositor.h"
#include "ZelIGConverter.h"
#include "ZelIGTransform.h"
#include "phantom.h"

#if defined(ZEL_HAVE_VTK)
#include <vtkImageBlend.h>
#include <vtkImageData.h>
#include <vtkImageReslice.h>
#include <vtkNew.h>
#include <vtkSMPTools.h>
#include <vtkSmartPointer.h>
#endif

namespace {

constexpr int kSize = 512;
constexpr int kPixels = kSize * kSize;
constexpr float kOpacity = 0.4f;
constexpr double kAngle = 30.0 * 3.14159265358979323846 / 180.0;

const ZelImage<short>& Slice()
{
    static std::unique_ptr<ZelImage<short>> slice = [] {
        ZelPhantomOptions options;
        options.sizeX = options.sizeY = kSize;
        options.sizeZ = 1;
        options.spacingX = options.spacingY = 0.45f;
        return std::unique_ptr<ZelImage<short>>(ZelMakeHeadPhantom(options));
    }();
    return *slice;
}

// The two RGB pictures that Alpha fuses: the slice in a brain window and in a
// bone window with a colour palette.
const std::vector<unsigned char>& Picture(int which)
{
    static std::vector<unsigned char> pictures[2];
    if (pictures[which].empty()) {
        ZelImageBuffer buffer;
        buffer.CreateImage(kSize, kSize, 3);
        ZelRGBBase<unsigned char> palette[256];
        for (int i = 0; i < 256; ++i) {
            palette[i] = {static_cast<unsigned char>(i), static_cast<unsigned char>(i / 2),
                          static_cast<unsigned char>(255 - i)};
        }
        if (which == 0) {
            ZelIGConverter::Window(&buffer, &Slice(), 400, 40, false);
        } else {
            ZelIGConverter::WindowPseudoColor(&buffer, &Slice(), 2000, 500, false, palette);
        }
        pictures[which].assign(buffer.GetDataPtr(), buffer.GetDataPtr() + kPixels * 3);
    }
    return pictures[which];
}

double ThreadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Milliseconds per call of every case, by name; the table at exit pairs each
// of ours with its peer and its floor.
struct Timings {
    std::map<std::string, double> ms;
    ~Timings()
    {
        if (ms.empty()) return;
        std::printf("\nFusion and rotation, 512 x 512, one thread (ms per picture)\n");
        std::printf("%-8s %9s %9s %9s %9s %9s\n", "case", "ours", "VTK", "x_vtk", "memcpy", "x_memcpy");
        for (const char* what : {"Alpha", "Rotate"}) {
            const auto get = [&](const std::string& name) {
                const auto found = ms.find(name);
                return found == ms.end() ? 0.0 : found->second;
            };
            const double ours = get(what);
            const double vtk = get(std::string("VTK_") + what);
            const double copy = get(std::string("Memcpy_") + what);
            std::printf("%-8s %9.3f %9.3f %9.2f %9.3f %9.2f\n", what, ours, vtk, ours > 0 ? vtk / ours : 0.0, copy,
                        copy > 0 ? ours / copy : 0.0);
        }
    }
};
Timings& AllTimings()
{
    static Timings timings;
    return timings;
}

template <class Body>
void Run(benchmark::State& state, const std::string& name, Body body)
{
    const double start = ThreadSeconds();
    for (auto _ : state) body();
    const double ms = (ThreadSeconds() - start) * 1e3 / static_cast<double>(state.iterations());
    AllTimings().ms[name] = ms;
    state.counters["ms"] = ms;
}

void Compose_Alpha(benchmark::State& state)
{
    ZelImageBuffer a;
    ZelImageBuffer b;
    a.CreateImage(kSize, kSize, 3);
    b.CreateImage(kSize, kSize, 3);
    std::memcpy(b.GetDataPtr(), Picture(1).data(), kPixels * 3);
    Run(state, "Alpha", [&] {
        // The fusion writes into a: start from the same picture every time
        // (the copy is timed by the floor as well).
        std::memcpy(a.GetDataPtr(), Picture(0).data(), kPixels * 3);
        ZelIGCompositor::Alpha(&a, &b, kOpacity);
        benchmark::ClobberMemory();
    });
}
BENCHMARK(Compose_Alpha)->Unit(benchmark::kMicrosecond);

// Alpha's floor: reset a, read a and b, write a.
void Compose_Memcpy_Alpha(benchmark::State& state)
{
    std::vector<unsigned char> a(kPixels * 3), b(Picture(1)), out(kPixels * 3);
    Run(state, "Memcpy_Alpha", [&] {
        std::memcpy(a.data(), Picture(0).data(), a.size());
        std::memcpy(out.data(), b.data(), out.size());
        std::memcpy(a.data(), out.data(), a.size());
        benchmark::ClobberMemory();
    });
}
BENCHMARK(Compose_Memcpy_Alpha)->Unit(benchmark::kMicrosecond);

void Compose_Rotate(benchmark::State& state)
{
    ZelImage<short> turned;
    turned.Allocate(ZEL_ALIGNMENT_LINEAR, kSize, kSize, 1);
    Run(state, "Rotate", [&] {
        ZelIGTransform::Rotate(&turned, &Slice(), static_cast<float>(kAngle), -1024);
        benchmark::ClobberMemory();
    });
}
BENCHMARK(Compose_Rotate)->Unit(benchmark::kMicrosecond);

void Compose_Memcpy_Rotate(benchmark::State& state)
{
    std::vector<short> out(kPixels);
    Run(state, "Memcpy_Rotate", [&] {
        std::memcpy(out.data(), Slice().GetDataPtr(), kPixels * sizeof(short));
        benchmark::ClobberMemory();
    });
}
BENCHMARK(Compose_Memcpy_Rotate)->Unit(benchmark::kMicrosecond);

#if defined(ZEL_HAVE_VTK)
vtkSmartPointer<vtkImageData> VtkPicture(const void* bytes, int type, int components)
{
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(kSize, kSize, 1);
    image->AllocateScalars(type, components);
    std::memcpy(image->GetScalarPointer(), bytes,
                static_cast<std::size_t>(kPixels) * components * (type == VTK_SHORT ? 2 : 1));
    return image;
}

void Compose_VTK_Alpha(benchmark::State& state)
{
    vtkSMPTools::Initialize(1);
    auto a = VtkPicture(Picture(0).data(), VTK_UNSIGNED_CHAR, 3);
    auto b = VtkPicture(Picture(1).data(), VTK_UNSIGNED_CHAR, 3);
    vtkNew<vtkImageBlend> blend;
    blend->AddInputData(a);
    blend->AddInputData(b);
    blend->SetOpacity(1, kOpacity);
    blend->SetEnableSMP(false);
    blend->SetNumberOfThreads(1);
    blend->Update();
    Run(state, "VTK_Alpha", [&] {
        blend->Modified();
        blend->Update();
        benchmark::DoNotOptimize(blend->GetOutput()->GetScalarPointer());
    });
}
BENCHMARK(Compose_VTK_Alpha)->Unit(benchmark::kMicrosecond);

void Compose_VTK_Rotate(benchmark::State& state)
{
    vtkSMPTools::Initialize(1);
    auto image = VtkPicture(Slice().GetDataPtr(), VTK_SHORT, 1);
    const double centre = (kSize - 1) * 0.5;
    image->SetOrigin(-centre, -centre, 0.0);  // rotate about the picture's centre
    vtkNew<vtkImageReslice> reslice;
    reslice->SetInputData(image);
    const double c = std::cos(kAngle);
    const double s = std::sin(kAngle);
    reslice->SetResliceAxesDirectionCosines(c, s, 0.0, -s, c, 0.0, 0.0, 0.0, 1.0);
    reslice->SetOutputDimensionality(2);
    reslice->SetOutputOrigin(-centre, -centre, 0.0);
    reslice->SetOutputSpacing(1.0, 1.0, 1.0);
    reslice->SetOutputExtent(0, kSize - 1, 0, kSize - 1, 0, 0);
    reslice->SetInterpolationModeToLinear();
    reslice->SetBackgroundLevel(-1024);
    reslice->SetEnableSMP(false);
    reslice->SetNumberOfThreads(1);
    reslice->Update();
    Run(state, "VTK_Rotate", [&] {
        reslice->Modified();
        reslice->Update();
        benchmark::DoNotOptimize(reslice->GetOutput()->GetScalarPointer());
    });
}
BENCHMARK(Compose_VTK_Rotate)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
