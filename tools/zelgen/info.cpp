// `zelgen info`: what a volume is, and what its header says about it.
#include <cmath>
#include <cstdio>

#include "commands.h"
#include "readers.h"
#include "value_stats.h"

namespace {

const char* kAxisWords[3][2] = {{"left", "right"}, {"posterior", "anterior"}, {"inferior", "superior"}};

}  // namespace

int RunInfo(const std::vector<std::string>& args)
{
    InputOptions input;
    bool help = false;
    std::string error;
    if (!ParseInfoOptions(args, input, help, error)) return ReportError(error);
    if (help) {
        std::fputs(InfoUsage().c_str(), stdout);
        return 0;
    }
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
