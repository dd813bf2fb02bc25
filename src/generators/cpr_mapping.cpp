// Coordinate mappings of the curved reformation. They read the very line
// geometry the kernels walk (LineOf, the routine's offset, the projection's
// rows), so that a mapped point and the pixel that shows it agree.
#include <cmath>

#include "ZelCPRImageGenerator.h"
#include "generators/cpr_projection.h"
#include "generators/cpr_setup.h"
#include "generators/plane_frame.h"
#include "path/frame_math.h"

using namespace zel_path;
using namespace zel_cpr;

namespace {

bool ValidLayout(const ZelCPRImageGeneratorParam& param)
{
    return param.layout >= ZEL_CPR_LAYOUT_COLUMNS && param.layout <= ZEL_CPR_LAYOUT_PROJECTION;
}

Vec3 Scaled(const Zel3DVector<float>& v, const float s[3])
{
    return {static_cast<double>(v.x) * s[0], static_cast<double>(v.y) * s[1], static_cast<double>(v.z) * s[2]};
}

// The lines of an image of param, with what the mappings need around them.
struct Mapping {
    float s[3];
    float finest;
    std::vector<ZelCPRRenderingPoint> projected;
    CprLines lines;

    bool Set(const ZelImageBase* volume, const ZelCPRImageGeneratorParam& param, int width, int height)
    {
        if (volume == nullptr || !ValidLayout(param) || !ZelNormalisedSpacing(*volume, s, finest)) return false;
        lines = LinesOf(*volume, param, width, height, projected);
        return true;
    }
    bool Valid(long long i) const { return i >= 0 && i < lines.lines && i < lines.count && lines.records[i].valid; }
    const ZelCPRRenderingPoint& Record(long long i) const { return lines.records[i]; }

    // The path at a position, in normalised voxel space: the path plane's
    // position for straightened rows, the curve's for the others.
    Vec3 PathPoint(const ZelCPRImageGeneratorParam& param, float position) const
    {
        if (param.layout != ZEL_CPR_LAYOUT_PROJECTION && param.construction == ZEL_CPR_STRAIGHT)
            return Widen(param.pathPlane.GetPlaneData(position).position);
        return Widen(param.curve.Evaluate(position));
    }

    // Where a point (normalised space) lies along line i, in pixels: its
    // projection onto the line.
    double Along(long long i, const Vec3& point) const
    {
        const ZelCPRRenderingPoint& r = Record(i);
        const Vec3 step = Scaled(r.step, s);
        const double t = Dot(point - Scaled(r.start, s), step) / Dot(step, step);
        return static_cast<double>(lines.length - 1) * 0.5 + t;
    }

    // Nearest display line across; -1 when it is out of range.
    long long LineAt(const Zel2DVector<float>& display) const
    {
        const double across = lines.columns ? display.x : display.y;
        const double index = std::floor(across + 0.5);
        return index >= 0.0 && index < lines.lines ? static_cast<long long>(index) : -1;
    }

    Zel2DVector<float> Display(double across, double along) const
    {
        const float a = static_cast<float>(across);
        const float b = static_cast<float>(along);
        return lines.columns ? Zel2DVector<float>{a, b} : Zel2DVector<float>{b, a};
    }
};

}  // namespace

bool ZelCPRImageGenerator::DisplayToVoxel(int width, int height, const Zel2DVector<float>& display,
                                          Zel3DVector<float>& voxel, const ZelCPRImageGeneratorParam& param) const
{
    Mapping map;
    if (!map.Set(m_image, param, width, height)) return false;
    const long long i = map.LineAt(display);
    CprRoutine routine;
    const int offset = SelectCprRoutine(*m_image, param, routine) ? routine.offset : 0;
    CprLine line;
    if (!map.Valid(i) || !LineOf(map.Record(i), map.lines.length, offset, line)) return false;
    const double along = map.lines.columns ? display.y : display.x;
    float v[3];
    for (int a = 0; a < 3; ++a)
        v[a] = static_cast<float>((static_cast<double>(line.start[a]) + along * line.step[a]) / kZelFixedOne);
    voxel = {v[0], v[1], v[2]};
    int b0, b1;
    BandOf(param, map.lines.length, b0, b1);
    const double pixel = std::floor(along + 0.5);
    return pixel >= b0 && pixel < b1 && ZelInsideVolume(voxel, *m_image);
}

bool ZelCPRImageGenerator::DisplayToPath(int width, int height, const Zel2DVector<float>& display, float& position,
                                         const ZelCPRImageGeneratorParam& param) const
{
    Mapping map;
    if (!map.Set(m_image, param, width, height)) return false;
    const long long k = map.LineAt(display);
    if (!map.Valid(k)) return false;
    const double f = (map.lines.columns ? display.x : display.y) - static_cast<double>(k);
    const long long j = f >= 0.0 ? k + 1 : k - 1;
    double s = map.Record(k).position;
    if (f != 0.0 && map.Valid(j)) s += std::fabs(f) * (static_cast<double>(map.Record(j).position) - s);
    position = static_cast<float>(s);
    return true;
}

bool ZelCPRImageGenerator::PathToDisplay(int width, int height, float position, Zel2DVector<float>& display,
                                         const ZelCPRImageGeneratorParam& param) const
{
    Mapping map;
    if (!map.Set(m_image, param, width, height)) return false;
    if (param.layout == ZEL_CPR_LAYOUT_PROJECTION) {
        display = ProjectionView(param, width, height).Screen(param.curve.Evaluate(position));
        return ZelInsideDisplay(display, width, height);
    }
    // The valid lines whose positions bracket the position, or one that
    // shows it exactly.
    const double s = position;
    for (long long i = 0; i < map.lines.lines; ++i) {
        if (!map.Valid(i)) continue;
        const double a = map.Record(i).position;
        double f = -1.0;
        if (a == s) {
            f = 0.0;
        } else if (map.Valid(i + 1)) {
            const double b = map.Record(i + 1).position;
            if ((a < s && s <= b) || (b <= s && s < a)) f = (s - a) / (b - a);
        }
        if (f < 0.0) continue;
        const Vec3 point = map.PathPoint(param, position);
        const double along =
            f == 0.0 ? map.Along(i, point) : (1.0 - f) * map.Along(i, point) + f * map.Along(i + 1, point);
        display = map.Display(static_cast<double>(i) + f, along);
        return ZelInsideDisplay(display, width, height);
    }
    return false;
}

bool ZelCPRImageGenerator::PathToOblique(int width, int height, float position, ZelObliqueImageGeneratorParam& oblique,
                                         const ZelCPRImageGeneratorParam& param) const
{
    Mapping map;
    if (!map.Set(m_image, param, width, height)) return false;
    Vec3 centre;
    Vec3 right;
    Vec3 down;
    double zoom;
    if (param.layout == ZEL_CPR_LAYOUT_PROJECTION) {
        // The plane of the view through the path point: the view's screen
        // mapping moved along its normal.
        const ProjectionView view(param, width, height);
        const Vec3 point = Widen(param.curve.Evaluate(position));
        centre = view.centre + Dot(point - view.centre, view.normal) * view.normal;
        right = view.right;
        down = view.down;
        zoom = view.scale;
    } else {
        long long k = -1;
        for (long long i = 0; i < map.lines.lines; ++i)
            if (map.Valid(i) &&
                (k < 0 || std::fabs(map.Record(i).position - position) < std::fabs(map.Record(k).position - position)))
                k = i;
        if (k < 0) return false;
        const ZelCPRRenderingPoint& r = map.Record(k);
        const Vec3 step = Scaled(r.step, map.s);
        const double along = map.Along(k, map.PathPoint(param, r.position));
        centre = Scaled(r.start, map.s) + (along - static_cast<double>(map.lines.length - 1) * 0.5) * step;
        zoom = 1.0 / Length(step);
        right = zoom * step;
        const Vec3 cross = Scaled(r.crossAxis, map.s);
        down = Normalise(cross - Dot(cross, right) * right);
    }
    const Vec3 normal = Cross(right, down);
    const Vec3 columns[3] = {right, down, normal};
    for (int c = 0; c < 3; ++c) {
        const Zel3DVector<float> column = Narrow(columns[c]);
        oblique.orientation.m[0][c] = column.x;
        oblique.orientation.m[1][c] = column.y;
        oblique.orientation.m[2][c] = column.z;
    }
    oblique.center = {static_cast<float>(centre.x / map.s[0]), static_cast<float>(centre.y / map.s[1]),
                      static_cast<float>(centre.z / map.s[2])};
    oblique.zoom = static_cast<float>(zoom);
    oblique.backgroundValue = param.backgroundValue;
    oblique.interpolation = param.interpolation;
    oblique.slabMode = ZEL_OBLIQUE_SLAB_AVERAGE;
    oblique.thickness = 0.0f;
    return std::isfinite(oblique.zoom) && oblique.zoom > 0.0f;
}
