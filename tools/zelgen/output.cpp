#include "output.h"

#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cstdio>
#include <mutex>
#include <vector>

#include "ZelCPUController.h"
#include "ZelParallel.h"
#include "png_writer.h"
#include "progress.h"
#include "sheet.h"

namespace {

// Runs work(index) for every picture over the run's workers, with a progress
// bar; the first error stops the rest. Whole pictures run in parallel, so
// the generators inside each stay on their worker's thread.
bool ForEachPicture(int count, const RunOptions& run, const std::function<bool(int, std::string&)>& work,
                    std::string& error)
{
    const int workers = run.threads > 0 ? run.threads : ZelCPUController::GetAvailableCPUNumInThread();
    if (count > 1) ZelCPUController::SetAvailableCPUNum(1);
    std::atomic<bool> failed{false};
    std::mutex errorLock;
    {
        Progress progress(count, "zelgen: rendering", !run.quiet && Progress::StderrIsTerminal());
        ZelParallelRows(count, count > 1 ? workers : 1, [&](int i) {
            if (failed.load()) return;
            std::string why;
            if (work(i, why)) {
                progress.Step();
                return;
            }
            std::lock_guard<std::mutex> lock(errorLock);
            if (!failed.exchange(true)) error = why;
        });
    }
    if (count > 1) ZelCPUController::SetAvailableCPUNum(run.threads);
    return !failed;
}

bool WriteMosaic(const RenderJob& job, const OutputOptions& output, const RunOptions& run, std::string& summary,
                 std::string& error)
{
    Sheet sheet(output.mosaicColumns, output.mosaicRows, job.planes.Width(), job.planes.Height(), 0, false,
                job.recipe.display.Depth());
    if (!sheet.Create()) {
        error = "the mosaic is too large (" + std::to_string(output.mosaicColumns) + "x" +
                std::to_string(output.mosaicRows) + " pictures of " + std::to_string(job.planes.Width()) + "x" +
                std::to_string(job.planes.Height()) + "); give a smaller --size";
        return false;
    }
    const bool ok = ForEachPicture(
        job.planes.Count(), run,
        [&](int i, std::string& why) {
            ZelImageBuffer picture;
            if (!RenderPicture(job, i, picture, why)) return false;
            sheet.Place(i, picture);
            return true;
        },
        error);
    if (!ok || !WritePng(output.path, sheet.Buffer(), error)) return false;
    const int count = job.planes.Count();
    summary = output.path + " (" + std::to_string(sheet.Buffer().GetWidth()) + "x" +
              std::to_string(sheet.Buffer().GetHeight()) + ", mosaic of " + std::to_string(count) + ": " +
              job.planes.Caption(0) + " to " + job.planes.Caption(count - 1) + ", " + job.recipe.display.caption + ")";
    return true;
}

bool WriteSeries(const RenderJob& job, const OutputOptions& output, const RunOptions& run, std::string& summary,
                 std::string& error)
{
    const int count = job.planes.Count();
    std::vector<std::string> names(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        if (!SeriesFileName(output.path, job.planes.Number(i), names[static_cast<std::size_t>(i)], error)) return false;
    std::vector<char> written(names.size(), 0);
    const bool ok = ForEachPicture(
        count, run,
        [&](int i, std::string& why) {
            ZelImageBuffer picture;
            const std::size_t k = static_cast<std::size_t>(i);
            if (!RenderPicture(job, i, picture, why) || !WritePng(names[k], picture, why)) return false;
            written[k] = 1;
            return true;
        },
        error);
    if (!ok) {
        // All or nothing, as for a single picture.
        for (std::size_t k = 0; k < names.size(); ++k)
            if (written[k]) unlink(names[k].c_str());
        return false;
    }
    summary = std::to_string(count) + " pictures (" + names.front() + " to " + names.back() + ")";
    return true;
}

}  // namespace

bool RenderPicture(const RenderJob& job, int index, ZelImageBuffer& out, std::string& error)
{
    std::unique_ptr<ZelImageBase> slice;
    return job.planes.Generate(job.voxels, index, slice, error) && MakePicture(*slice, index, job.recipe, out, error);
}

bool WritePictures(const RenderJob& job, const OutputOptions& output, const RunOptions& run, bool numbered,
                   std::string& summary, std::string& error)
{
    if (output.mosaic) return WriteMosaic(job, output, run, summary, error);
    if (numbered) return WriteSeries(job, output, run, summary, error);
    ZelImageBuffer picture;
    if (!RenderPicture(job, 0, picture, error) || !WritePng(output.path, picture, error)) return false;
    summary = output.path + " (" + std::to_string(job.planes.Width()) + "x" + std::to_string(job.planes.Height()) +
              ", " + job.planes.Caption(0) + ", " + job.recipe.display.caption + ")";
    return true;
}

bool SeriesFileName(const std::string& output, int index, std::string& name, std::string& error)
{
    const std::size_t percent = output.find('%');
    if (percent != std::string::npos) {
        // Only one conversion, of the form %[0][width]d.
        std::size_t i = percent + 1;
        if (i < output.size() && output[i] == '0') ++i;
        while (i < output.size() && std::isdigit(static_cast<unsigned char>(output[i]))) ++i;
        if (i >= output.size() || output[i] != 'd' || output.find('%', i) != std::string::npos || i - percent > 4) {
            error = "-o: a series pattern takes one %d (as in slice_%03d.png), got '" + output + "'";
            return false;
        }
        char buffer[32];
        std::snprintf(buffer, sizeof(buffer), output.substr(percent, i + 1 - percent).c_str(), index);
        name = output.substr(0, percent) + buffer + output.substr(i + 1);
        return true;
    }
    const std::size_t slash = output.rfind('/');
    std::size_t dot = output.rfind('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = output.size();
    char number[32];
    std::snprintf(number, sizeof(number), "_%04d", index);
    name = output.substr(0, dot) + number + output.substr(dot);
    return true;
}

// The options of this stage, and of the run.
OptionRule OutputFileRule(OutputOptions& o, const char* help)
{
    return {"-o", "OUT.png", help, SetText(o.path, "-o")};
}

OptionGroup OutputOptionGroup(OutputOptions& o)
{
    return {"output",
            {
                OutputFileRule(o,
                               "the picture (written whole or not at all); with --slices a series\nOUT_0042.png, ... "
                               "(or a printf pattern such as out/%03d.png)"),
                {"--mosaic", "COLSxROWS",
                 "one picture of many slices of the plane in a grid (a lightbox):\nevenly spaced through the volume, "
                 "or those of --slices",
                 [&o](const std::string& v, std::string& e) {
                     long long c, r;
                     if (!ParsePair(v, 'x', 1, 64, false, c, r, e, "--mosaic")) return false;
                     o.mosaic = true;
                     o.mosaicColumns = static_cast<int>(c);
                     o.mosaicRows = static_cast<int>(r);
                     return true;
                 }},
            }};
}

OptionGroup RunOptionGroup(RunOptions& o)
{
    return {
        "running",
        {
            {"--threads", "N", "worker threads (default: every core)", SetInt(o.threads, 1, 256, "--threads")},
            {"--layout", "L",
             "auto (default), linear or tiled: how the volume is held in memory;\nauto holds large volumes tiled "
             "for sagittal series and oblique planes",
             SetChoice(o.layout,
                       {{"auto", LayoutChoice::Auto}, {"linear", LayoutChoice::Linear}, {"tiled", LayoutChoice::Tiled}},
                       "--layout")},
            {"--quiet", nullptr, "no notes on standard error", SetFlag(o.quiet)},
        }};
}
