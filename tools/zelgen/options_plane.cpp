// Options of the plane-choice stage: which planes, seen how, at what size.
#include <cmath>

#include "options.h"

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
             [&o](const std::string& v, std::string& e) {
                 if (v == "axial")
                     o.plane = PlaneKind::Axial;
                 else if (v == "coronal")
                     o.plane = PlaneKind::Coronal;
                 else if (v == "sagittal")
                     o.plane = PlaneKind::Sagittal;
                 else
                     return Fail(e, "--plane must be axial, coronal or sagittal, got '" + v + "'");
                 return true;
             }},
            {"--slice", "N", "slice index along the plane's normal (default: the middle)",
             [&o](const std::string& v, std::string& e) {
                 o.haveSlice = true;
                 return ParseInt(v, -(1 << 30), 1 << 30, o.slice, e, "--slice");
             }},
            {"--position", "MM",
             "the slice nearest to this patient coordinate in mm\n(z for axial, y for coronal, x for sagittal; NIfTI "
             "axes)",
             [&o](const std::string& v, std::string& e) {
                 o.havePosition = true;
                 return ParseDouble(v, -1e6, 1e6, o.positionMm, e, "--position");
             }},
            {"--center", "I,J,K",
             "voxel shown at the picture's centre (default: the volume's);\non a standard plane it picks the slice "
             "too",
             [&o](const std::string& v, std::string& e) {
                 o.haveCenter = true;
                 return ParseDoubleList(v, 3, -1e6, 1e6, o.center, e, "--center");
             }},
            {"--slices", "A:B[:STEP]", "the slices A..B: a numbered series of pictures, or the cells of --mosaic",
             [&o](const std::string& v, std::string& e) { return ParseSeries(v, o, e); }},
            {"--zoom", "Z", "magnification; 1 (default) fits the whole plane",
             [&o](const std::string& v, std::string& e) { return ParseDouble(v, 0.01, 100, o.zoom, e, "--zoom"); }},
            {"--rotate", "DEG", "clockwise rotation of the picture; multiples of 90 are exact",
             [&o](const std::string& v, std::string& e) {
                 return ParseDouble(v, -3600, 3600, o.rotateDegrees, e, "--rotate");
             }},
            {"--flip-h", nullptr, "mirror left-right (after the rotation)", SetFlag(o.flipH)},
            {"--flip-v", nullptr, "mirror top-bottom (after the rotation)", SetFlag(o.flipV)},
            {"--nearest", nullptr, "nearest voxel instead of interpolation", SetFlag(o.nearest)},
            {"--interpolate", nullptr, "interpolate between voxels (the default)",
             [&o](const std::string&, std::string&) {
                 o.nearest = false;
                 return true;
             }},
            {"--background", "V", "value shown outside the volume (default: the volume's minimum)",
             [&o](const std::string& v, std::string& e) {
                 o.haveBackground = true;
                 return ParseDouble(v, -1e30, 1e30, o.background, e, "--background");
             }},
            {"--size", "W[xH]",
             "picture size in pixels (default: one pixel per finest voxel spacing,\nat least 256 on the longer side; "
             "with W alone the height keeps the aspect)",
             [&o](const std::string& v, std::string& e) {
                 long long w, h;
                 if (!ParsePair(v, 'x', 1, 8192, true, w, h, e, "--size")) return false;
                 o.width = static_cast<int>(w);
                 o.height = static_cast<int>(h);
                 return true;
             }},
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
    auto mode = [&o](SlabMode m) {
        return [&o, m](const std::string&, std::string&) {
            o.slabMode = m;
            return true;
        };
    };
    return {"thick slabs",
            {
                {"--slab", "MM", "slab thickness in mm, centred on the plane",
                 [&o](const std::string& v, std::string& e) { return ParseDouble(v, 0, 1000, o.slabMm, e, "--slab"); }},
                {"--mode", "M", "avg (default), max or min",
                 [&o](const std::string& v, std::string& e) {
                     if (v == "avg" || v == "average")
                         o.slabMode = SlabMode::Average;
                     else if (v == "max" || v == "mip")
                         o.slabMode = SlabMode::Maximum;
                     else if (v == "min" || v == "minip")
                         o.slabMode = SlabMode::Minimum;
                     else
                         return Fail(e, "--mode must be avg, max or min, got '" + v + "'");
                     return true;
                 }},
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
