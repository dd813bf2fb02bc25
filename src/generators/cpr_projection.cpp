// The projection display: the curved surface swept by the path along the
// view's right direction, seen along the view's normal, as one line record
// per image row; the line kernels then sample it like any row layout.
#include <algorithm>
#include <cmath>
#include <limits>

#include "generators/cpr_projection.h"
#include "generators/cpr_setup.h"
#include "generators/plane_frame.h"
#include "path/frame_math.h"

using namespace zel_path;

namespace zel_cpr {

ProjectionView::ProjectionView(const ZelCPRImageGeneratorParam& param, int width, int height)
    : right{param.view.m[0][0], param.view.m[1][0], param.view.m[2][0]},
      down{param.view.m[0][1], param.view.m[1][1], param.view.m[2][1]},
      normal{param.view.m[0][2], param.view.m[1][2], param.view.m[2][2]},
      centre{0.0, 0.0, 0.0},
      scale(param.scale),
      middleX(static_cast<double>(width - 1) * 0.5),
      middleY(static_cast<double>(height - 1) * 0.5)
{
    const std::vector<Zel3DVector<float>>& points = param.controlPoints;
    if (points.empty()) return;
    Vec3 lo = Widen(points[0]);
    Vec3 hi = lo;
    for (const Zel3DVector<float>& p : points) {
        lo = {std::min(lo.x, double{p.x}), std::min(lo.y, double{p.y}), std::min(lo.z, double{p.z})};
        hi = {std::max(hi.x, double{p.x}), std::max(hi.y, double{p.y}), std::max(hi.z, double{p.z})};
    }
    centre = 0.5 * (lo + hi);
}

Zel2DVector<float> ProjectionView::Screen(const Zel3DVector<float>& point) const
{
    const Vec3 d = Widen(point) - centre;
    return {static_cast<float>(middleX + Dot(d, right) * scale), static_cast<float>(middleY + Dot(d, down) * scale)};
}

void ProjectionRows(const ZelImageBase& volume, const ZelCPRImageGeneratorParam& param, int width, int height,
                    std::vector<ZelCPRRenderingPoint>& rows)
{
    ZelCPRRenderingPoint off{};
    off.constructed = true;
    rows.assign(static_cast<std::size_t>(height > 0 ? height : 0), off);
    float s[3];
    float finest;
    if (height <= 0 || !ZelNormalisedSpacing(volume, s, finest) || !(param.scale > 0.0f) || !std::isfinite(param.scale))
        return;
    std::vector<Zel3DVector<float>> points;
    std::vector<double> parameters;
    ProjectionSamples(param.scale, param.view, param.curve, param.controlPoints, points, &parameters);

    // For every row, the curve point nearest the viewer among those whose
    // screen row rounds to it.
    const ProjectionView view(param, width, height);
    std::vector<double> depth(rows.size(), std::numeric_limits<double>::infinity());
    std::vector<int> chosen(rows.size(), -1);
    for (std::size_t k = 0; k < points.size(); ++k) {
        const double y = std::floor(static_cast<double>(view.Screen(points[k]).y) + 0.5);
        if (!(y >= 0.0 && y < height)) continue;
        const std::size_t row = static_cast<std::size_t>(y);
        const double z = Dot(Widen(points[k]) - view.centre, view.normal);
        if (z < depth[row]) {
            depth[row] = z;
            chosen[row] = static_cast<int>(k);
        }
    }

    // Each row a line along right through its point, centred where the
    // screen's middle column lies; in voxel units.
    const Vec3 step = (1.0 / view.scale) * view.right;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (chosen[row] < 0) continue;
        const Vec3 p = Widen(points[static_cast<std::size_t>(chosen[row])]);
        const Vec3 middle = p - Dot(p - view.centre, view.right) * view.right;
        ZelCPRRenderingPoint& r = rows[row];
        r.start = ToVoxels(middle, s);
        r.step = ToVoxels(step, s);
        r.rowAxis = ToVoxels(view.right, s);
        r.crossAxis = ToVoxels(view.normal, s);
        r.normal = ToVoxels(view.down, s);
        r.valid = true;
        r.position = static_cast<float>(parameters[static_cast<std::size_t>(chosen[row])]);
    }
}

Zel3DVector<float> ToVoxels(const Vec3& v, const float s[3])
{
    return {static_cast<float>(v.x / s[0]), static_cast<float>(v.y / s[1]), static_cast<float>(v.z / s[2])};
}

}  // namespace zel_cpr
