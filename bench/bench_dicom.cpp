// Loading a DICOM series: zelgen's reader against ITK's series reader with
// GDCM (itk::ImageSeriesReader with GDCMImageIO, after GDCMSeriesFileNames
// sorts the files), which most tools build on. The series are 300 slices of
// 512 x 512 (12 bits stored), written once to /tmp by GDCM: uncompressed,
// and JPEG lossless. Each load runs in a process of its own (zel_dicom_load),
// so that its peak memory can be told; the time is the load's own, without
// the process start. A table of the ratios follows the run.
#include <benchmark/benchmark.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cstdio>
#include <map>
#include <string>
#include <utility>

#if defined(ZEL_DICOM_LOAD_PATH)

namespace {

const char* const kRoot = "/tmp/zel-bench-dicom";
const int kSlices = 300;

struct Series {
    const char* name;
    const char* syntax;  // empty: uncompressed
};
const Series kSeries[] = {{"uncompressed", ""}, {"jpeg-lossless", "1.2.840.10008.1.2.4.70"}};

// Runs zel_dicom_load with `args`; its first line of output.
std::string Run(const std::string& args)
{
    FILE* pipe = popen((std::string(ZEL_DICOM_LOAD_PATH) + " " + args).c_str(), "r");
    if (!pipe) return std::string();
    char line[256] = {0};
    const bool got = std::fgets(line, sizeof(line), pipe) != nullptr;
    return pclose(pipe) == 0 && got ? line : std::string();
}

const std::string& Directory(const Series& s)
{
    static std::map<std::string, std::string> made;
    auto found = made.find(s.name);
    if (found != made.end()) return found->second;
    const std::string dir = std::string(kRoot) + "/" + s.name + "-" + std::to_string(kSlices);
    struct stat st;
    if (stat(dir.c_str(), &st) != 0)
        Run("write " + dir + " " + std::to_string(kSlices) + " " + s.syntax + " >/dev/null && echo ok");
    return made[s.name] = dir;
}

struct Figures {
    double seconds = 0;  // best of the runs
    double peakMb = 0;
};
std::map<std::pair<std::string, std::string>, Figures> g_figures;  // (series, loader)

void Load(benchmark::State& state, const Series& series, const char* loader)
{
    const std::string dir = Directory(series);
    Figures& f = g_figures[{series.name, loader}];
    for (auto _ : state) {
        double seconds = 0;
        long peak = 0;
        if (std::sscanf(Run(std::string(loader) + " " + dir).c_str(), "%lf %ld", &seconds, &peak) != 2) {
            state.SkipWithError("the load failed");
            return;
        }
        state.SetIterationTime(seconds);
        f.seconds = f.seconds > 0 ? std::min(f.seconds, seconds) : seconds;
        f.peakMb = peak / 1024.0;
    }
    state.counters["peak_MB"] = f.peakMb;
}

struct Register {
    Register()
    {
        for (const Series& s : kSeries)
            for (const char* loader : {"ours", "itk"})
                benchmark::RegisterBenchmark(("DICOM/load/" + std::string(s.name) + "/" + loader).c_str(),
                                             [&s, loader](benchmark::State& st) { Load(st, s, loader); })
                    ->UseManualTime()
                    ->Iterations(3)
                    ->Unit(benchmark::kMillisecond);
    }
    ~Register()
    {
        if (g_figures.empty()) return;
        std::printf("\nDICOM series, %d slices of 512 x 512 (best of 3 loads; ratio = ITK / ours, higher is better)\n",
                    kSlices);
        std::printf("%-16s %9s %9s %7s %11s %11s %7s\n", "series", "ours ms", "ITK ms", "ratio", "ours MB", "ITK MB",
                    "ratio");
        for (const Series& s : kSeries) {
            const Figures ours = g_figures[{s.name, "ours"}], itk = g_figures[{s.name, "itk"}];
            if (ours.seconds <= 0 || itk.seconds <= 0) continue;
            std::printf("%-16s %9.1f %9.1f %7.2f %11.1f %11.1f %7.2f\n", s.name, ours.seconds * 1e3, itk.seconds * 1e3,
                        itk.seconds / ours.seconds, ours.peakMb, itk.peakMb, itk.peakMb / ours.peakMb);
        }
    }
} g_register;

}  // namespace

#endif  // ZEL_DICOM_LOAD_PATH
