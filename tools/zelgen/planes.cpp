// The plane-choice stage's options, and what the plane kinds share:
// fitting the picture, the centre, captions.
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

// The options of this stage.
namespace {

bool ParseSeries(const std::string& v, PlaneOptions& o, std::string& e)
{
    const std::size_t c1 = v.find(':');
    if (c1 == std::string::npos) return Fail(e, "--slices needs FIRST:LAST[:STEP], got '" + v + "'");
    const std::size_t c2 = v.find(':', c1 + 1);
    long long first, last, step = 1;
    if (!ParseInt(v.substr(0, c1), 0, 1 << 20, first, e, "--slices first slice") ||
        !ParseInt(v.substr(c1 + 1, c2 == std::string::npos ? std::string::npos : c2 - c1 - 1), 0, 1 << 20, last, e,
                  "--slices last slice"))
        return false;
    if (c2 != std::string::npos && !ParseInt(v.substr(c2 + 1), 1, 1 << 20, step, e, "--slices step")) return false;
    if (last < first) return Fail(e, "--slices: the last slice comes before the first in '" + v + "'");
    o.series = true;
    o.seriesFirst = static_cast<int>(first);
    o.seriesLast = static_cast<int>(last);
    o.seriesStep = static_cast<int>(step);
    return true;
}

OptionGroup PlaneGroup(PlaneOptions& o)
{
    return {
        "plane",
        {
            {"--plane", "P", "axial (default), coronal or sagittal",
             SetChoice(
                 o.plane,
                 {{"axial", PlaneKind::Axial}, {"coronal", PlaneKind::Coronal}, {"sagittal", PlaneKind::Sagittal}},
                 "--plane")},
            {"--slice", "N", "slice index along the plane's normal (default: the middle)",
             [&o](const std::string& v, std::string& e) {
                 o.haveSlice = true;
                 return ParseInt(v, -(1 << 30), 1 << 30, o.slice, e, "--slice");
             }},
            {"--position", "MM",
             "the slice nearest to this patient coordinate in mm\n(z for axial, y for coronal, x for sagittal; NIfTI "
             "axes)",
             SetNumber(o.positionMm, -1e6, 1e6, "--position", &o.havePosition)},
            {"--center", "I,J,K",
             "voxel shown at the picture's centre (default: the volume's);\non a standard plane it picks the slice "
             "too",
             [&o](const std::string& v, std::string& e) {
                 o.haveCenter = true;
                 return ParseDoubleList(v, 3, -1e6, 1e6, o.center, e, "--center");
             }},
            {"--slices", "A:B[:STEP]", "the slices A..B: a numbered series of pictures, or the cells of --mosaic",
             [&o](const std::string& v, std::string& e) { return ParseSeries(v, o, e); }},
            {"--zoom", "Z", "magnification; 1 (default) fits the whole plane", SetNumber(o.zoom, 0.01, 100, "--zoom")},
            {"--rotate", "DEG", "clockwise rotation of the picture; multiples of 90 are exact",
             SetNumber(o.rotateDegrees, -3600, 3600, "--rotate")},
            {"--flip-h", nullptr, "mirror left-right (after the rotation)", SetFlag(o.flipH)},
            {"--flip-v", nullptr, "mirror top-bottom (after the rotation)", SetFlag(o.flipV)},
            {"--nearest", nullptr, "nearest voxel instead of interpolation", SetFlag(o.nearest)},
            {"--interpolate", nullptr, "interpolate between voxels (the default)",
             [&o](const std::string&, std::string&) {
                 o.nearest = false;
                 return true;
             }},
            {"--background", "V", "value shown outside the volume (default: the volume's minimum)",
             SetNumber(o.background, -1e30, 1e30, "--background", &o.haveBackground)},
            {"--size", "W[xH]",
             "picture size in pixels (default: one pixel per finest voxel spacing,\nat least 256 on the longer side; "
             "with W alone the height keeps the aspect)",
             SetPictureSize(o.width, o.height, "--size")},
        }};
}

OptionGroup ObliqueGroup(PlaneOptions& o)
{
    return {"oblique planes (through --center)",
            {
                {"--tilt", "A[,B]",
                 "the plane of --plane tilted by A degrees about the picture's\nhorizontal axis (top towards the "
                 "viewer) and B degrees about\nits vertical axis (right side towards the viewer)",
                 [&o](const std::string& v, std::string& e) {
                     o.haveTilt = true;
                     if (v.find(',') == std::string::npos) {
                         o.tilt[1] = 0;
                         return ParseDouble(v, -360, 360, o.tilt[0], e, "--tilt");
                     }
                     return ParseDoubleList(v, 2, -360, 360, o.tilt, e, "--tilt");
                 }},
                {"--normal", "X,Y,Z",
                 "the plane with this normal (x right, y anterior, z superior);\nthe picture keeps the 'up' of the "
                 "nearest standard plane",
                 [&o](const std::string& v, std::string& e) {
                     if (!ParseDoubleList(v, 3, -1e6, 1e6, o.normal, e, "--normal")) return false;
                     if (std::sqrt(o.normal[0] * o.normal[0] + o.normal[1] * o.normal[1] + o.normal[2] * o.normal[2]) <
                         1e-6)
                         return Fail(e, "--normal must not be the zero vector");
                     o.haveNormal = true;
                     return true;
                 }},
                {"--world", nullptr,
                 "the plane of --plane along the patient's true axes rather than the\nvoxel axes of a tilted "
                 "acquisition (with --position or --center)",
                 SetFlag(o.world)},
            }};
}

OptionGroup SlabGroup(PlaneOptions& o)
{
    auto mode = [&o](SlabMode m) -> OptionAction {
        return [&o, m](const std::string&, std::string&) {
            o.slabMode = m;
            return true;
        };
    };
    return {"thick slabs",
            {
                {"--slab", "MM", "slab thickness in mm, centred on the plane", SetNumber(o.slabMm, 0, 1000, "--slab")},
                {"--mode", "M", "avg (default), max or min",
                 SetChoice(o.slabMode,
                           {{"avg", SlabMode::Average},
                            {"max", SlabMode::Maximum},
                            {"min", SlabMode::Minimum},
                            {"average", SlabMode::Average},
                            {"mip", SlabMode::Maximum},
                            {"minip", SlabMode::Minimum}},
                           "--mode")},
                {"--mip", nullptr, "short for --mode max", mode(SlabMode::Maximum)},
                {"--minip", nullptr, "short for --mode min", mode(SlabMode::Minimum)},
            }};
}

}  // namespace

std::vector<OptionGroup> PlaneOptionGroups(PlaneOptions& plane)
{
    return {PlaneGroup(plane), ObliqueGroup(plane), SlabGroup(plane)};
}

bool CheckPlaneOptions(const PlaneOptions& o, std::string& error)
{
    if (o.haveSlice && o.havePosition) return Fail(error, "give either --slice or --position, not both");
    if (o.haveCenter && (o.haveSlice || o.havePosition))
        return Fail(error, "--center picks the slice too; give either --center or --slice/--position");
    if (o.haveTilt + o.haveNormal + o.world > 1) return Fail(error, "give one of --tilt, --normal and --world");
    if ((o.haveTilt || o.haveNormal) && (o.haveSlice || o.havePosition))
        return Fail(error, "an oblique plane goes through --center; --slice and --position are for planes");
    if (o.world && o.haveSlice) return Fail(error, "--world places the plane by --position or --center, not --slice");
    if (o.series && (o.haveSlice || o.havePosition)) return Fail(error, "--slices replaces --slice and --position");
    if (o.series && o.IsOblique()) return Fail(error, "--slices needs an axial, coronal or sagittal plane");
    return true;
}

std::unique_ptr<PlaneChoice> ChoosePlanes(const Volume& volume, const PlaneOptions& options, int cells,
                                          std::string& error)
{
    if (options.IsOblique()) return MakeObliquePlane(volume, options, error);
    return MakeMprPlanes(volume, options, cells, error);
}
