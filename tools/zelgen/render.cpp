// `zelgen render`: the pipeline from a volume file to PNG pictures.
#include <cstdio>

#include "ZelCPUController.h"
#include "commands.h"
#include "output.h"
#include "readers.h"

int ReportError(const std::string& message)
{
    std::fprintf(stderr, "zelgen: error: %s\n", message.c_str());
    return 2;
}

void Note(bool quiet, const std::string& message)
{
    if (!quiet) std::fprintf(stderr, "zelgen: note: %s\n", message.c_str());
}

int RunRender(const std::vector<std::string>& args)
{
    RenderOptions options;
    bool help = false;
    std::string error;
    if (!ParseRenderOptions(args, options, help, error)) return ReportError(error);
    if (help) {
        std::fputs(RenderUsage().c_str(), stdout);
        return 0;
    }
    const RunOptions& run = options.run;
    if (run.threads > 0) ZelCPUController::SetAvailableCPUNum(run.threads);

    // Reading: the header first, so that the voxels go straight into the
    // layout the planes prefer.
    Volume volume;
    std::unique_ptr<VolumeReader> reader = OpenVolumeReader(options.input, error);
    if (!reader || !reader->ReadHeader(volume, error)) return ReportError(error);
    const OutputOptions& output = options.output;
    const int cells = output.mosaic && !options.plane.series ? output.mosaicColumns * output.mosaicRows : 0;
    std::unique_ptr<PlaneChoice> planes = ChoosePlanes(volume, options.plane, cells, error);
    if (!planes) return ReportError(error);
    const bool tiled =
        run.layout == LayoutChoice::Auto ? planes->PrefersTiled(volume) : run.layout == LayoutChoice::Tiled;
    if (!reader->ReadVoxels(volume, tiled ? ZEL_ALIGNMENT_TILED : ZEL_ALIGNMENT_LINEAR, error))
        return ReportError(error);

    // The values: background, window.
    const ValueStats stats = ComputeValueStats(volume);
    const short background = StoredBackground(volume, stats, options.plane);
    FillNoValue(volume, background);
    planes->SetBackground(background);
    PictureRecipe recipe;
    if (!PlanDisplay(volume, stats, options.picture, recipe.display, error)) return ReportError(error);

    for (const std::string& note : volume.notes) Note(run.quiet, volume.source + ": " + note);
    if (volume.storage.find("steps") != std::string::npos || volume.hasNoValue)
        Note(run.quiet, volume.source + ": " + volume.storage);
    if (volume.frames > 1)
        Note(run.quiet, volume.source + " holds " + std::to_string(volume.frames) + " volumes; showing volume " +
                            std::to_string(volume.frame) + " (--volume picks another)");

    const RenderJob job{volume.image.get(), *planes, recipe};
    std::string summary;
    if (!WritePictures(job, output, run, options.plane.series, summary, error)) return ReportError(error);
    if (!run.quiet) std::fprintf(stderr, "zelgen: wrote %s\n", summary.c_str());
    return 0;
}
