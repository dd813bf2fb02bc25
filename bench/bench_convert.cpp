// Display conversions of a 512 x 512 head slice to depth 1 and 3: the linear
// window (vector code and its scalar twin), the table lookup, the sigmoid and
// the gamma table's recomputation, against VTK's window/level mapping on one
// thread and against a plain memcpy of the same input and output bytes. The
// colour conversions: the windowed palette against VTK's window/level followed
// by a 256-entry lookup table, and the 65536-entry colour table against VTK's
// lookup table of the same size.
//
// Each result carries `ns/px`; `x_vtk` (VTK's time over ours: above 1 means
// faster) and `x_memcpy` (our time over the copy's) appear once the peer and
// the copy have run, and a summary table follows the run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ZelIGConverter.h"
#include "ZelImageGeneratorGammaTable.h"
#include "generators/dispatch.h"
#include "phantom.h"

#if defined(ZEL_HAVE_VTK)
#include <vtkImageData.h>
#include <vtkImageMapToColors.h>
#include <vtkImageMapToWindowLevelColors.h>
#include <vtkLookupTable.h>
#include <vtkNew.h>
#include <vtkSMPTools.h>
#include <vtkSmartPointer.h>
#endif

namespace {

constexpr int kSize = 512;
constexpr int kPixels = kSize * kSize;
constexpr int kWidth = 400;  // a brain window
constexpr int kCentre = 40;

// The middle slice of a 512 x 512 head: air, skin, bone, brain, contrast.
const ZelImage<short>& Slice()
{
    static std::unique_ptr<ZelImage<short>> slice = [] {
        ZelPhantomOptions options;
        options.sizeX = kSize;
        options.sizeY = kSize;
        options.sizeZ = 1;
        options.spacingX = options.spacingY = 0.45f;
        return std::unique_ptr<ZelImage<short>>(ZelMakeHeadPhantom(options));
    }();
    return *slice;
}

// ns per pixel of the last timed run of each benchmark, and the peer each
// conversion is measured against, for the ratios.
struct Results {
    std::map<std::string, double> nsPerPixel;
    std::map<std::string, std::string> peerOf;
    ~Results();
};
Results& AllResults()
{
    static Results results;
    return results;
}

double Lookup(const std::string& name)
{
    const auto& map = AllResults().nsPerPixel;
    const auto found = map.find(name);
    return found == map.end() ? 0.0 : found->second;
}

std::string Key(const char* what, int depth)
{
    return std::string(what) + "/depth:" + std::to_string(depth);
}

// CPU time of this thread: the figures then hold up while other work shares
// the machine (they are all single-threaded).
double ThreadSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// Times the loop on this thread's CPU clock and records ns per pixel and the
// ratios against `peer` (VTK's window/level unless said).
template <class Body>
void Run(benchmark::State& state, const char* what, int depth, Body body, const char* peer = "VTK_WindowLevel")
{
    const double start = ThreadSeconds();
    for (auto _ : state) body();
    const double seconds = ThreadSeconds() - start;
    const double ns = seconds * 1e9 / (static_cast<double>(state.iterations()) * kPixels);
    AllResults().nsPerPixel[Key(what, depth)] = ns;
    AllResults().peerOf[Key(what, depth)] = peer;
    state.counters["ns/px"] = ns;
    const double vtk = Lookup(Key(peer, depth));
    const double copy = Lookup(Key("Memcpy", depth));
    if (vtk > 0.0) state.counters["x_vtk"] = vtk / ns;
    if (copy > 0.0) state.counters["x_memcpy"] = ns / copy;
    state.SetItemsProcessed(state.iterations() * kPixels);
}

std::unique_ptr<ZelImageBuffer> Buffer(int depth)
{
    auto buffer = std::make_unique<ZelImageBuffer>();
    buffer->CreateImage(kSize, kSize, depth);
    return buffer;
}

// The floor: read the slice's bytes and write the picture's bytes once.
void Convert_Memcpy(benchmark::State& state)
{
    const int depth = static_cast<int>(state.range(0));
    std::vector<short> input(kPixels);
    std::vector<unsigned char> picture(static_cast<std::size_t>(kPixels) * depth, 1);
    auto buffer = Buffer(depth);
    Run(state, "Memcpy", depth, [&] {
        std::memcpy(input.data(), Slice().GetDataPtr(), kPixels * sizeof(short));
        std::memcpy(buffer->GetDataPtr(), picture.data(), picture.size());
        benchmark::DoNotOptimize(input.data());
        benchmark::ClobberMemory();
    });
}

#if defined(ZEL_HAVE_VTK)
// The slice as VTK image data (a copy of its values).
vtkSmartPointer<vtkImageData> VtkSlice()
{
    auto image = vtkSmartPointer<vtkImageData>::New();
    image->SetDimensions(kSize, kSize, 1);
    image->AllocateScalars(VTK_SHORT, 1);
    std::memcpy(image->GetScalarPointer(), Slice().GetDataPtr(), kPixels * sizeof(short));
    return image;
}

void Convert_VTK_WindowLevel(benchmark::State& state)
{
    const int depth = static_cast<int>(state.range(0));
    vtkSMPTools::Initialize(1);
    vtkSmartPointer<vtkImageData> image = VtkSlice();
    vtkNew<vtkImageMapToWindowLevelColors> map;
    map->SetInputData(image);
    map->SetEnableSMP(false);
    map->SetNumberOfThreads(1);
    map->SetWindow(kWidth);
    map->SetLevel(kCentre);
    if (depth == 1) {
        map->SetOutputFormatToLuminance();
    } else {
        map->SetOutputFormatToRGB();
    }
    map->Update();
    Run(state, "VTK_WindowLevel", depth, [&] {
        map->Modified();
        map->Update();
        benchmark::DoNotOptimize(map->GetOutput()->GetScalarPointer());
    });
}
BENCHMARK(Convert_VTK_WindowLevel)->Arg(1)->Arg(3)->Unit(benchmark::kMicrosecond);

// Window/level to grey, then a 256-entry lookup table to RGB: VTK's way to a
// windowed pseudo colour.
void Convert_VTK_WindowLevelLut256(benchmark::State& state)
{
    vtkSMPTools::Initialize(1);
    vtkSmartPointer<vtkImageData> image = VtkSlice();
    vtkNew<vtkImageMapToWindowLevelColors> window;
    window->SetInputData(image);
    window->SetEnableSMP(false);
    window->SetNumberOfThreads(1);
    window->SetWindow(kWidth);
    window->SetLevel(kCentre);
    window->SetOutputFormatToLuminance();
    vtkNew<vtkLookupTable> lut;
    lut->SetNumberOfTableValues(256);
    lut->SetTableRange(0, 255);
    for (int i = 0; i < 256; ++i) lut->SetTableValue(i, i / 255.0, 0.5, 1.0 - i / 255.0, 1.0);
    vtkNew<vtkImageMapToColors> colours;
    colours->SetInputConnection(window->GetOutputPort());
    colours->SetLookupTable(lut);
    colours->SetOutputFormatToRGB();
    colours->SetEnableSMP(false);
    colours->SetNumberOfThreads(1);
    colours->Update();
    Run(
        state, "VTK_WindowLevelLut256", 3,
        [&] {
            window->Modified();
            colours->Update();
            benchmark::DoNotOptimize(colours->GetOutput()->GetScalarPointer());
        },
        "VTK_WindowLevelLut256");
}
BENCHMARK(Convert_VTK_WindowLevelLut256)->Unit(benchmark::kMicrosecond);

// The short values straight through a 65536-entry table to RGBA.
void Convert_VTK_Lut65536(benchmark::State& state)
{
    vtkSMPTools::Initialize(1);
    vtkSmartPointer<vtkImageData> image = VtkSlice();
    vtkNew<vtkLookupTable> lut;
    lut->SetNumberOfTableValues(65536);
    lut->SetTableRange(-32768, 32767);
    for (int i = 0; i < 65536; ++i) lut->SetTableValue(i, (i & 255) / 255.0, 0.25, 0.5, (i >> 8) / 255.0);
    vtkNew<vtkImageMapToColors> colours;
    colours->SetInputData(image);
    colours->SetLookupTable(lut);
    colours->SetOutputFormatToRGBA();
    colours->SetEnableSMP(false);
    colours->SetNumberOfThreads(1);
    colours->Update();
    Run(
        state, "VTK_Lut65536", 4,
        [&] {
            colours->Modified();
            colours->Update();
            benchmark::DoNotOptimize(colours->GetOutput()->GetScalarPointer());
        },
        "VTK_Lut65536");
}
BENCHMARK(Convert_VTK_Lut65536)->Unit(benchmark::kMicrosecond);
#endif
BENCHMARK(Convert_Memcpy)->Arg(1)->Arg(3)->Arg(4)->Unit(benchmark::kMicrosecond);

void Convert_Window(benchmark::State& state)
{
    const int depth = static_cast<int>(state.range(0));
    auto buffer = Buffer(depth);
    Run(state, "Window", depth, [&] { ZelIGConverter::Window(buffer.get(), &Slice(), kWidth, kCentre, false); });
}
BENCHMARK(Convert_Window)->Arg(1)->Arg(3)->Unit(benchmark::kMicrosecond);

// The plain single-precision twin that stands in where there is no SSE2.
void Convert_WindowScalarTwin(benchmark::State& state)
{
    const int depth = static_cast<int>(state.range(0));
    auto buffer = Buffer(depth);
    const ZelSimdCapScope scalar(ZelSimd::kScalar);
    Run(state, "WindowScalarTwin", depth,
        [&] { ZelIGConverter::Window(buffer.get(), &Slice(), kWidth, kCentre, false); });
}
BENCHMARK(Convert_WindowScalarTwin)->Arg(1)->Arg(3)->Unit(benchmark::kMicrosecond);

void Convert_Table(benchmark::State& state)
{
    const int depth = static_cast<int>(state.range(0));
    auto buffer = Buffer(depth);
    ZelImageGeneratorGammaTable table;
    table.CreateTable(-1024, 3071, kWidth, kCentre, 2.2f, false);
    Run(state, "Table", depth, [&] { ZelIGConverter::Table(buffer.get(), &Slice(), &table); });
}
BENCHMARK(Convert_Table)->Arg(1)->Arg(3)->Unit(benchmark::kMicrosecond);

void Convert_Sigmoid(benchmark::State& state)
{
    const int depth = static_cast<int>(state.range(0));
    auto buffer = Buffer(depth);
    Run(state, "Sigmoid", depth, [&] { ZelIGConverter::Sigmoid(buffer.get(), &Slice(), kWidth, kCentre, false); });
}
BENCHMARK(Convert_Sigmoid)->Arg(1)->Arg(3)->Unit(benchmark::kMicrosecond);

void Convert_WindowPseudoColor(benchmark::State& state)
{
    auto buffer = Buffer(3);
    ZelRGBBase<unsigned char> palette[256];
    for (int i = 0; i < 256; ++i)
        palette[i] = {static_cast<unsigned char>(i), 128, static_cast<unsigned char>(255 - i)};
    Run(
        state, "WindowPseudoColor", 3,
        [&] { ZelIGConverter::WindowPseudoColor(buffer.get(), &Slice(), kWidth, kCentre, false, palette); },
        "VTK_WindowLevelLut256");
}
BENCHMARK(Convert_WindowPseudoColor)->Unit(benchmark::kMicrosecond);

void Convert_ColorTable(benchmark::State& state)
{
    auto buffer = Buffer(4);
    std::vector<ZelRGBABase<float>> table(65536);
    for (int i = 0; i < 65536; ++i) table[i] = {(i & 255) / 255.0f, 0.25f, 0.5f, (i >> 8) / 255.0f};
    Run(
        state, "ColorTable", 4, [&] { ZelIGConverter::ColorTable(buffer.get(), &Slice(), table.data() + 32768); },
        "VTK_Lut65536");
}
BENCHMARK(Convert_ColorTable)->Unit(benchmark::kMicrosecond);

// Recomputing all 4096 entries (the centre alternates so that the unchanged
// test never holds). Reported per entry; gamma 1 skips pow, 2.2 does not.
void Convert_GammaTableCreate(benchmark::State& state)
{
    const float gamma = static_cast<float>(state.range(0)) / 10.0f;
    ZelImageGeneratorGammaTable table;
    int centre = kCentre;
    const double start = ThreadSeconds();
    for (auto _ : state) {
        centre = centre == kCentre ? kCentre + 1 : kCentre;
        table.CreateTable(-1024, 3071, kWidth, centre, gamma, false);
        benchmark::DoNotOptimize(table.GetTable());
    }
    const double seconds = ThreadSeconds() - start;
    state.counters["ns/entry"] = seconds * 1e9 / (static_cast<double>(state.iterations()) * 4096);
}
BENCHMARK(Convert_GammaTableCreate)->Arg(10)->Arg(22)->Unit(benchmark::kMicrosecond);

Results::~Results()
{
    if (nsPerPixel.empty()) return;
    std::printf("\nDisplay conversions, 512 x 512 slice, one thread\n");
    std::printf("%-22s %5s %9s %8s %9s\n", "conversion", "depth", "ns/px", "x_vtk", "x_memcpy");
    for (const auto& [key, ns] : nsPerPixel) {
        const std::size_t slash = key.find('/');
        const std::string what = key.substr(0, slash);
        const int depth = key.back() - '0';
        const auto ratio = [&](const char* other, bool inverse) {
            const auto found = nsPerPixel.find(Key(other, depth));
            if (found == nsPerPixel.end() || found->second <= 0.0) return std::string("-");
            char text[32];
            std::snprintf(text, sizeof(text), "%.2f", inverse ? found->second / ns : ns / found->second);
            return std::string(text);
        };
        const auto peer = AllResults().peerOf.find(key);
        const std::string against = peer == AllResults().peerOf.end() ? "VTK_WindowLevel" : peer->second;
        std::printf("%-22s %5d %9.3f %8s %9s\n", what.c_str(), depth, ns, ratio(against.c_str(), true).c_str(),
                    ratio("Memcpy", false).c_str());
    }
}

}  // namespace
