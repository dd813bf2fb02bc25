#include "commands.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <mutex>

#include "ZelCPUController.h"
#include "ZelParallel.h"
#include "png_writer.h"
#include "progress.h"
#include "render.h"

namespace {

const char* kAxisWords[3][2] = {{"left", "right"}, {"posterior", "anterior"}, {"inferior", "superior"}};

// The volume's voxels in the layout that suits the plan; `holder` keeps a
// tiled copy alive.
ZelImageBase* ChooseLayout(const Volume& volume, const RenderPlan& plan, int pictures, LayoutChoice choice,
                           std::unique_ptr<ZelImageBase>& holder)
{
    if (!PreferTiled(volume, plan, pictures, choice)) return volume.image.get();
    holder.reset(volume.image->Clone(ZEL_ALIGNMENT_TILED));
    // Without memory for a copy the linear volume serves, only slower.
    return holder ? holder.get() : volume.image.get();
}

int RenderSeries(const Volume& volume, ZelImageBase* image, const RenderOptions& options, const RenderPlan& plan)
{
    std::vector<int> slices;
    for (int s = options.seriesFirst; s <= options.seriesLast; s += options.seriesStep) slices.push_back(s);
    std::vector<std::string> names(slices.size());
    for (std::size_t i = 0; i < slices.size(); ++i) {
        std::string error;
        if (!SeriesFileName(options.output, slices[i], names[i], error)) return ReportError(error);
    }
    const int workers = options.threads > 0 ? options.threads : ZelCPUController::GetAvailableCPUNumInThread();
    // Whole slices run in parallel; the generators inside stay on their
    // worker's thread.
    ZelCPUController::SetAvailableCPUNum(1);
    std::atomic<bool> failed{false};
    std::mutex errorLock;
    std::string firstError;
    std::vector<char> written(slices.size(), 0);
    {
        Progress progress(static_cast<int>(slices.size()), "zelgen: rendering", Progress::StderrIsTerminal());
        ZelParallelRows(static_cast<int>(slices.size()), workers, [&](int i) {
            if (failed.load()) return;
            ZelImageBuffer buffer;
            std::string error;
            const std::size_t k = static_cast<std::size_t>(i);
            bool ok = RenderPicture(image, plan, slices[k], buffer, error) && WritePng(names[k], buffer, error);
            if (ok) {
                written[k] = 1;
                progress.Step();
                return;
            }
            std::lock_guard<std::mutex> lock(errorLock);
            if (!failed.exchange(true)) firstError = error;
        });
    }
    ZelCPUController::SetAvailableCPUNum(options.threads);
    if (failed) {
        // All or nothing, as for a single picture.
        for (std::size_t k = 0; k < names.size(); ++k)
            if (written[k]) unlink(names[k].c_str());
        return ReportError(firstError);
    }
    if (!options.quiet)
        std::fprintf(stderr, "zelgen: wrote %zu pictures (%s to %s)\n", names.size(), names.front().c_str(),
                     names.back().c_str());
    (void)volume;
    return 0;
}

}  // namespace

int ReportError(const std::string& message)
{
    std::fprintf(stderr, "zelgen: error: %s\n", message.c_str());
    return 2;
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

int RunInfo(const std::vector<std::string>& args)
{
    InputOptions input;
    bool help = false;
    std::string error;
    if (!ParseInfoOptions(args, input, help, error)) return ReportError(error);
    if (help) {
        std::fputs(InfoUsage(), stdout);
        return 0;
    }
    Volume volume;
    if (!LoadVolume(input, volume, error, false)) return ReportError(error);
    const Zel3DVector<int> size = volume.Size();
    const Zel3DVector<float> sp = volume.Spacing();
    const ValueStats stats = ComputeValueStats(volume);
    const AxisMap map = MapAxes(volume.ijkToPatient);
    const char* held = volume.image->GetVoxelType() == ZEL_VOXEL_UCHAR    ? "unsigned 8-bit"
                       : volume.image->GetVoxelType() == ZEL_VOXEL_USHORT ? "unsigned 16-bit"
                                                                          : "signed 16-bit";
    std::printf("file:         %s\n", volume.source.c_str());
    std::printf("format:       %s\n", volume.format.c_str());
    std::printf("size:         %d x %d x %d voxels", size.x, size.y, size.z);
    if (volume.frames > 1) std::printf(" (%lld volumes; the first is used)", volume.frames);
    std::printf("\nvoxel type:   %s (held as %s)\n", volume.fileType.c_str(), held);
    std::printf("spacing:      %g x %g x %g mm\n", sp.x, sp.y, sp.z);
    std::printf("value range:  %g to %g", stats.min, stats.max);
    if (volume.slope != 1.0 || volume.intercept != 0.0)
        std::printf(" (stored value x %g + %g)", volume.slope, volume.intercept);
    std::printf("\norientation:  %s from %s: i towards %s, j towards %s, k towards %s\n", OrientationCode(map).c_str(),
                volume.orientationSource.c_str(), kAxisWords[map.patientAxis[0]][map.sign[0] > 0],
                kAxisWords[map.patientAxis[1]][map.sign[1] > 0], kAxisWords[map.patientAxis[2]][map.sign[2] > 0]);
    const char* planeOf[3] = {"sagittal", "coronal", "axial"};
    std::printf("planes:       i = const is %s, j = const is %s, k = const is %s\n", planeOf[map.patientAxis[0]],
                planeOf[map.patientAxis[1]], planeOf[map.patientAxis[2]]);
    return 0;
}

int RunRender(const std::vector<std::string>& args)
{
    RenderOptions options;
    bool help = false;
    std::string error;
    if (!ParseRenderOptions(args, options, help, error)) return ReportError(error);
    if (help) {
        std::fputs(RenderUsage(), stdout);
        return 0;
    }
    if (options.threads > 0) ZelCPUController::SetAvailableCPUNum(options.threads);
    Volume volume;
    if (!LoadVolume(options.input, volume, error, options.quiet)) return ReportError(error);
    const ValueStats stats = ComputeValueStats(volume);
    RenderPlan plan;
    if (!PlanRender(volume, stats, options, plan, error)) return ReportError(error);

    // Oblique slabs are gathered from signed 16-bit voxels only.
    Volume promoted;
    const Volume* source = &volume;
    if (plan.obliqueSlab && volume.image->GetVoxelType() != ZEL_VOXEL_SHORT) {
        if (!PromoteToShort(volume, promoted)) return ReportError("not enough memory for the volume");
        source = &promoted;
        PlanDisplay(promoted, ComputeValueStats(promoted), options, plan.display);
        plan.obliqueParam.backgroundValue =
            RealToStored(promoted, options.haveBackground ? options.background : stats.min);
    }

    const int pictures = options.series ? (options.seriesLast - options.seriesFirst) / options.seriesStep + 1 : 1;
    std::unique_ptr<ZelImageBase> tiled;
    ZelImageBase* image = ChooseLayout(*source, plan, pictures, options.layout, tiled);
    if (options.series) return RenderSeries(*source, image, options, plan);

    ZelImageBuffer buffer;
    if (!RenderPicture(image, plan, plan.slice, buffer, error)) return ReportError(error);
    if (!WritePng(options.output, buffer, error)) return ReportError(error);
    if (!options.quiet)
        std::fprintf(stderr, "zelgen: wrote %s (%dx%d, %s, %s)\n", options.output.c_str(), plan.width, plan.height,
                     plan.caption.c_str(), plan.display.caption.c_str());
    return 0;
}
