// The commands `info`, `render` and `cpr`: the stages wired together.
#include <cmath>
#include <cstdio>
#include <functional>

#include "ZelCPUController.h"
#include "commands.h"
#include "cpr.h"
#include "layers.h"
#include "output.h"
#include "readers.h"

namespace {

const char* kAxisWords[3][2] = {{"left", "right"}, {"posterior", "anterior"}, {"inferior", "superior"}};

// Parses a command's options (parse(help, error)); false when the command
// is already done, having printed its help or its error, with `status`.
template <class Parse>
bool Begin(Parse&& parse, std::string (*usage)(), int& status)
{
    bool help = false;
    std::string error;
    status = 0;
    if (!parse(help, error))
        status = ReportError(error);
    else if (help)
        std::fputs(usage().c_str(), stdout);
    return status == 0 && !help;
}

}  // namespace

int RunInfo(const std::vector<std::string>& args)
{
    InputOptions input;
    int status;
    if (!Begin([&](bool& help, std::string& e) { return ParseInfoOptions(args, input, help, e); }, InfoUsage, status))
        return status;
    std::string error;
    Volume volume;
    if (!LoadVolume(input, volume, error)) return ReportError(error);
    const ValueStats stats = ComputeValueStats(volume);
    const AxisMap map = MapAxes(volume.ijkToPatient);
    std::printf("file:         %s\n", volume.source.c_str());
    std::printf("format:       %s\n", volume.format.c_str());
    std::printf("size:         %d x %d x %d voxels\n", volume.size[0], volume.size[1], volume.size[2]);
    if (volume.frames > 1)
        std::printf("volumes:      %lld (0 to %lld; this is volume %lld, --volume picks another)\n",
                    static_cast<long long>(volume.frames), static_cast<long long>(volume.frames - 1),
                    static_cast<long long>(volume.frame));
    std::printf("voxel type:   %s (held as signed 16-bit: %s)\n", volume.fileType.c_str(), volume.storage.c_str());
    std::printf("spacing:      %g x %g x %g mm\n", volume.spacing[0], volume.spacing[1], volume.spacing[2]);
    if (stats.any)
        std::printf("value range:  %g to %g", stats.min, stats.max);
    else
        std::printf("value range:  none (no voxel has a value)");
    if (!volume.scale.IsIdentity()) {
        const ValueScale& scale = volume.scale;
        std::printf(" (stored value");
        if (scale.slope != 1) std::printf(" x %g", scale.slope);
        if (scale.intercept != 0) std::printf(" %c %g", scale.intercept < 0 ? '-' : '+', std::fabs(scale.intercept));
        std::printf(")");
    }
    if (stats.noValue) std::printf("; NaN voxels left out");
    std::printf("\norientation:  %s from %s: i towards %s, j towards %s, k towards %s\n", OrientationCode(map).c_str(),
                volume.geometrySource.c_str(), kAxisWords[map.patientAxis[0]][map.sign[0] > 0],
                kAxisWords[map.patientAxis[1]][map.sign[1] > 0], kAxisWords[map.patientAxis[2]][map.sign[2] > 0]);
    // Where the voxels lie in the world: the frame of mm paths (zelgen cpr).
    double first[3], last[3];
    for (int r = 0; r < 3; ++r) {
        first[r] = volume.ijkToPatient[r][3];
        last[r] = first[r];
        for (int a = 0; a < 3; ++a) last[r] += volume.ijkToPatient[r][a] * (volume.size[a] - 1);
    }
    std::printf("world:        voxel 0,0,0 at %.1f, %.1f, %.1f mm; voxel %d,%d,%d at %.1f, %.1f, %.1f mm\n", first[0],
                first[1], first[2], volume.size[0] - 1, volume.size[1] - 1, volume.size[2] - 1, last[0], last[1],
                last[2]);
    const double tilt = TiltDegrees(volume.ijkToPatient);
    if (tilt >= kTiltWorthMentioning)
        std::printf(
            "tilt:         the voxel axes are up to %.1f deg off the patient axes: standard planes follow\n"
            "              the voxel axes; render --world follows the patient's\n",
            tilt);
    const char* planeOf[3] = {"sagittal", "coronal", "axial"};
    std::printf("planes:       i = const is %s, j = const is %s, k = const is %s\n", planeOf[map.patientAxis[0]],
                planeOf[map.patientAxis[1]], planeOf[map.patientAxis[2]]);
    for (const std::string& note : volume.notes) std::printf("note:         %s\n", note.c_str());
    return 0;
}

int ReportError(const std::string& message)
{
    std::fprintf(stderr, "zelgen: error: %s\n", message.c_str());
    return 2;
}

void Note(bool quiet, const std::string& message)
{
    if (!quiet) std::fprintf(stderr, "zelgen: note: %s\n", message.c_str());
}

namespace {

using PlanesFor = std::function<std::unique_ptr<PlaneChoice>(const Volume& volume, std::string& error)>;

// The stages after the options: the header first, then the planes (planned
// from the volume's description, so that the voxels go straight into the
// layout they prefer), the voxels, the values (background, window) and the
// pictures. `plane` gives the background.
int RunStages(const InputOptions& input, const PlaneOptions& plane, const PictureOptions& picture,
              const LayerOptions& layers, const OutputOptions& output, const RunOptions& run, bool numbered,
              const PlanesFor& choosePlanes)
{
    std::string error;
    if (run.threads > 0) ZelCPUController::SetAvailableCPUNum(run.threads);
    Volume volume;
    std::unique_ptr<VolumeReader> reader = OpenVolumeReader(input, error);
    if (!reader || !reader->ReadHeader(volume, error)) return ReportError(error);
    std::unique_ptr<PlaneChoice> planes = choosePlanes(volume, error);
    if (!planes) return ReportError(error);
    const bool tiled =
        run.layout == LayoutChoice::Auto ? planes->PrefersTiled(volume) : run.layout == LayoutChoice::Tiled;
    if (!reader->ReadVoxels(volume, tiled ? ZEL_ALIGNMENT_TILED : ZEL_ALIGNMENT_LINEAR, error))
        return ReportError(error);

    const ValueStats stats = ComputeValueStats(volume);
    const short background = StoredBackground(volume, stats, plane);
    FillNoValue(volume, background);
    planes->SetBackground(background);
    PictureRecipe recipe;
    if (!PlanDisplay(volume, stats, picture, recipe.display, error)) return ReportError(error);
    std::vector<std::string> layerNotes;
    if (!AddLayers(volume, *planes, input, layers, plane.nearest, recipe, layerNotes, error)) return ReportError(error);

    for (const std::string& note : volume.notes) Note(run.quiet, volume.source + ": " + note);
    for (const std::string& note : layerNotes) Note(run.quiet, note);
    if (!volume.exact || volume.hasNoValue) Note(run.quiet, volume.source + ": " + volume.storage);
    if (volume.frames > 1)
        Note(run.quiet, volume.source + " holds " + std::to_string(volume.frames) + " volumes; showing volume " +
                            std::to_string(volume.frame) + " (--volume picks another)");

    const RenderJob job{volume.image.get(), *planes, recipe};
    std::string summary;
    if (!WritePictures(job, output, run, numbered, summary, error)) return ReportError(error);
    if (!run.quiet) std::fprintf(stderr, "zelgen: wrote %s\n", summary.c_str());
    return 0;
}

}  // namespace

int RunRender(const std::vector<std::string>& args)
{
    RenderOptions options;
    int status;
    if (!Begin([&](bool& help, std::string& e) { return ParseRenderOptions(args, options, help, e); }, RenderUsage,
               status))
        return status;
    const OutputOptions& output = options.output;
    const int cells = output.mosaic && !options.plane.series ? output.mosaicColumns * output.mosaicRows : 0;
    return RunStages(
        options.input, options.plane, options.picture, options.layers, output, options.run, options.plane.series,
        [&](const Volume& volume, std::string& error) { return ChoosePlanes(volume, options.plane, cells, error); });
}

int RunCpr(const std::vector<std::string>& args)
{
    CprOptions options;
    int status;
    if (!Begin([&](bool& help, std::string& e) { return ParseCprOptions(args, options, help, e); }, CprUsage, status))
        return status;
    PlaneOptions background;
    background.haveBackground = options.haveBackground;
    background.background = options.background;
    const LayerOptions noLayers;
    // The path is checked against the header before any voxel is read.
    return RunStages(options.input, background, options.picture, noLayers, options.output, options.run, false,
                     [&](const Volume& volume, std::string& error) { return MakeCprPlane(volume, options, error); });
}
