// What the plane kinds share: fitting the picture, the centre, captions.
#include "planes.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace plane_detail {

void NormalisedScale(const Volume& volume, double s[3], double& finest)
{
    finest = std::min({volume.spacing[0], volume.spacing[1], volume.spacing[2]});
    for (int a = 0; a < 3; ++a) s[a] = volume.spacing[a] / finest;
}

double Extent(const Vec3& axis, const Volume& volume, int skipAxis)
{
    double s[3], finest;
    NormalisedScale(volume, s, finest);
    double e = 0;
    for (int a = 0; a < 3; ++a)
        if (a != skipAxis) e += std::fabs(axis[a]) * volume.size[a] * s[a];
    return e;
}

void FitPicture(const PlaneOptions& options, double extentRight, double extentDown, int& width, int& height,
                float& zoom)
{
    extentRight = std::max(1.0, extentRight);
    extentDown = std::max(1.0, extentDown);
    width = options.width;
    height = options.height;
    if (width == 0) {
        // One pixel per finest voxel; small volumes (a 4 mm functional map)
        // are enlarged to a readable size, huge ones reduced.
        const double longer = std::max(extentRight, extentDown);
        const double scale = std::min(2048.0, std::max(256.0, longer)) / longer;
        width = std::max(1, static_cast<int>(std::lround(extentRight * scale)));
        height = std::max(1, static_cast<int>(std::lround(extentDown * scale)));
    } else if (height == 0) {
        height = std::max(1, std::min(8192, static_cast<int>(std::lround(width * extentDown / extentRight))));
    }
    const double fit = std::min(width / extentRight, height / extentDown);
    zoom = static_cast<float>(fit * options.zoom);
}

bool CenterOf(const Volume& volume, const PlaneOptions& options, double center[3], std::string& error)
{
    for (int a = 0; a < 3; ++a) center[a] = options.haveCenter ? options.center[a] : 0.5 * (volume.size[a] - 1);
    if (!options.haveCenter) return true;
    for (int a = 0; a < 3; ++a)
        if (!(center[a] >= 0 && center[a] <= volume.size[a] - 1)) {
            char text[200];
            std::snprintf(text, sizeof(text), "--center %g,%g,%g lies outside the volume (0..%d, 0..%d, 0..%d)",
                          center[0], center[1], center[2], volume.size[0] - 1, volume.size[1] - 1, volume.size[2] - 1);
            error = text;
            return false;
        }
    return true;
}

std::string CaptionTail(const PlaneOptions& options)
{
    std::string tail;
    char text[64];
    if (options.rotateDegrees != 0) {
        std::snprintf(text, sizeof(text), ", turned %g deg", options.rotateDegrees);
        tail += text;
    }
    if (options.flipH) tail += ", mirrored";
    if (options.flipV) tail += ", upside down";
    if (options.zoom != 1.0) {
        std::snprintf(text, sizeof(text), ", zoom %g", options.zoom);
        tail += text;
    }
    return tail;
}

const char* PlaneName(PlaneKind kind)
{
    return kind == PlaneKind::Axial ? "axial" : kind == PlaneKind::Coronal ? "coronal" : "sagittal";
}

const char* SlabModeName(SlabMode mode)
{
    return mode == SlabMode::Maximum ? "MIP" : mode == SlabMode::Minimum ? "MinIP" : "average";
}

}  // namespace plane_detail

std::unique_ptr<PlaneChoice> ChoosePlanes(const Volume& volume, const PlaneOptions& options, int cells,
                                          std::string& error)
{
    if (options.IsOblique()) return MakeObliquePlane(volume, options, error);
    return MakeMprPlanes(volume, options, cells, error);
}
