// The rows of a curved reformation: one ZelCPRRenderingPoint per image line,
// made from the path planes (straightened), the curve and a fixed direction
// (fixed, stretched), and the densified curve of the projection display.
#include <algorithm>
#include <cmath>

#include "ZelCPRImageGenerator.h"
#include "generators/cpr_setup.h"
#include "path/frame_math.h"

using namespace zel_path;

namespace {

// A record of a row off the path: only its position is known.
ZelCPRRenderingPoint InvalidRow(float position)
{
    ZelCPRRenderingPoint row{};
    row.valid = false;
    row.constructed = true;
    row.position = position;
    return row;
}

ZelCPRRenderingPoint ValidRow(const Zel3DVector<float>& start, const Zel3DVector<float>& normal,
                              const Zel3DVector<float>& step, const Zel3DVector<float>& rowAxis,
                              const Zel3DVector<float>& crossAxis, float position, float diameter)
{
    ZelCPRRenderingPoint row;
    row.start = start;
    row.normal = normal;
    row.step = step;
    row.rowAxis = rowAxis;
    row.crossAxis = crossAxis;
    row.shift = 0.0f;
    row.valid = true;
    row.constructed = true;
    row.position = position;
    row.diameter = diameter;
    return row;
}

// Position along the path of row i of n, 1 / scale length units apart, the
// middle row on the middle of the path when offset is 0.
float RowPosition(int i, int n, int offset, double pixelsAlongPath)
{
    return static_cast<float>((static_cast<double>(i) - offset) / pixelsAlongPath + 0.5 -
                              (static_cast<double>(n) - 1.0) * 0.5 / pixelsAlongPath);
}

Vec3 Divided(const Vec3& v, float scale)
{
    return {v.x / scale, v.y / scale, v.z / scale};
}

bool OnPath(float s)
{
    return s >= 0.0f && s <= 1.0f;  // false for NaN
}

// Unit tangent of the curve at s from the points three length units either
// side; at the ends the point itself stands in for the missing side.
Vec3 FixedTangent(const ZelSplineCurve<Zel3DVector<float>>& curve, double s, double delta, const Vec3& point)
{
    const Vec3 back = s - delta <= 0.0 ? point : Widen(curve.Evaluate(s - delta));
    const Vec3 front = s + delta >= 1.0 ? point : Widen(curve.Evaluate(s + delta));
    return Normalise(front - back);
}

// A row along a fixed direction through the curve at s, starting h length
// units behind it: fixed rows take the curve's tangent as their normal,
// stretched ones its part square to the direction.
ZelCPRRenderingPoint DirectionRow(const ZelSplineCurve<Zel3DVector<float>>& curve, float s, double delta,
                                  const Zel3DVector<float>& direction, float scale, double h, bool stretched)
{
    const Vec3 d = Widen(direction);
    const Vec3 p = Widen(curve.Evaluate(s));
    const Vec3 t = FixedTangent(curve, s, delta, p);
    const Vec3 normal = stretched ? Normalise(t - Dot(t, d) * d) : t;
    return ValidRow(Narrow(p - h * d), Narrow(normal), Narrow(Divided(d, scale)), direction,
                    Narrow(Normalise(Cross(normal, d))), s, 0.0f);
}

}  // namespace

void ZelCPRImageGenerator::ConstructStraightPath(int rows, float scale, int offset, int centerColumn,
                                                 const ZelPathPlane& pathPlane,
                                                 std::vector<ZelCPRRenderingPoint>& points)
{
    const int n = std::max(rows, 0);
    points.reserve(points.size() + static_cast<std::size_t>(n));
    const double pixels = static_cast<double>(pathPlane.GetLength()) * scale;
    const double h = static_cast<double>(centerColumn) / scale;
    for (int i = 0; i < n; ++i) {
        const float s = RowPosition(i, n, offset, pixels);
        if (!OnPath(s)) {
            points.push_back(InvalidRow(s));
            continue;
        }
        const ZelPlaneData plane = pathPlane.GetPlaneData(s);
        const Vec3 u = Widen(plane.axisU);
        points.push_back(ValidRow(Narrow(Widen(plane.position) - h * u), plane.tangent, Narrow(Divided(u, scale)),
                                  plane.axisU, plane.axisV, s, plane.diameter));
    }
}

void ZelCPRImageGenerator::ConstructFixedPath(int rows, float scale, int offset, int centerColumn,
                                              Zel3DVector<float> direction,
                                              const ZelSplineCurve<Zel3DVector<float>>& curve,
                                              std::vector<ZelCPRRenderingPoint>& points)
{
    const int n = std::max(rows, 0);
    points.reserve(points.size() + static_cast<std::size_t>(n));
    const double length = curve.GetLength();
    const double pixels = length * scale;
    const double h = static_cast<double>(centerColumn) / scale;
    const double delta = 3.0 / length;
    for (int i = 0; i < n; ++i) {
        const float s = RowPosition(i, n, offset, pixels);
        points.push_back(OnPath(s) ? DirectionRow(curve, s, delta, direction, scale, h, false) : InvalidRow(s));
    }
}

void ZelCPRImageGenerator::ConstructStretchPath(int rows, float scale, int offset, int centerColumn,
                                                Zel3DVector<float> direction,
                                                const ZelSplineCurve<Zel3DVector<float>>& curve,
                                                const std::vector<Zel3DVector<float>>& controlPoints,
                                                std::vector<ZelCPRRenderingPoint>& points)
{
    const int n = std::max(rows, 0);
    points.reserve(points.size() + static_cast<std::size_t>(n));
    const Vec3 d = Widen(direction);

    // Centre of the control points' bounding box.
    Vec3 lo{0.0, 0.0, 0.0};
    Vec3 hi{0.0, 0.0, 0.0};
    for (std::size_t k = 0; k < controlPoints.size(); ++k) {
        const Vec3 p = Widen(controlPoints[k]);
        lo = k == 0 ? p : Vec3{std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z)};
        hi = k == 0 ? p : Vec3{std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z)};
    }
    const Vec3 centre = 0.5 * (lo + hi);

    // Parameters of the rows: the curve walked five times per pixel, a row
    // wherever the length square to the direction has grown by one pixel. The
    // pixel is subtracted, not the accumulator reset, so that rounding does
    // not pile up along the path.
    const double length = curve.GetLength();
    const double samples = std::trunc(length * scale * 5.0);
    const int m = samples > 0.0 && samples < 2147483647.0 ? static_cast<int>(samples) : 0;
    const double pixel = 1.0 / scale;
    std::vector<float> parameters{0.0f};
    double accumulated = 0.0;
    Vec3 previous = Widen(curve.Evaluate(0.0));
    for (int j = 1; j < m; ++j) {
        const double t = static_cast<double>(j) / (m - 1);
        const Vec3 p = Widen(curve.Evaluate(t));
        const Vec3 step = p - previous;
        accumulated += Length(step - Dot(step, d) * d);
        previous = p;
        if (accumulated >= pixel) {
            parameters.push_back(static_cast<float>(t));
            accumulated -= pixel;
        }
    }

    const double delta = 3.0 / length;
    const int k = static_cast<int>(parameters.size());
    const long long first = static_cast<long long>((k - n) / 2) - offset;
    const std::size_t begin = points.size();
    for (int i = 0; i < n; ++i) {
        const long long entry = first + i;
        if (entry < 0 || entry >= k) {
            points.push_back(InvalidRow(entry < 0 ? 0.0f : 1.0f));
            continue;
        }
        const float s = parameters[static_cast<std::size_t>(entry)];
        points.push_back(DirectionRow(curve, s, delta, direction, scale, 0.0, true));
    }

    // Alignment: every row puts the depth of the box centre along the
    // direction on column centerColumn.
    const double target = Dot(d, centre) - centerColumn * pixel;
    for (std::size_t r = begin; r < points.size(); ++r) {
        ZelCPRRenderingPoint& row = points[r];
        if (!row.valid) continue;
        const Vec3 start = Widen(row.start);
        const double shift = target - Dot(d, start);
        row.shift = static_cast<float>(shift);
        row.start = Narrow(start + shift * d);
    }
}

void ZelCPRImageGenerator::ConstructProjection(float scale, const ZelMatrix3x3<float>& view,
                                               const ZelSplineCurve<Zel3DVector<float>>& curve,
                                               const std::vector<Zel3DVector<float>>& controlPoints,
                                               std::vector<Zel3DVector<float>>& curvePoints)
{
    zel_cpr::ProjectionSamples(scale, view, curve, controlPoints, curvePoints, nullptr);
}

namespace zel_cpr {

void ProjectionSamples(float scale, const ZelMatrix3x3<float>& view, const ZelSplineCurve<Zel3DVector<float>>& curve,
                       const std::vector<Zel3DVector<float>>& controlPoints, std::vector<Zel3DVector<float>>& points,
                       std::vector<double>* parameters)
{
    double length = 0.0;
    for (std::size_t k = 1; k < controlPoints.size(); ++k) length += Distance(controlPoints[k], controlPoints[k - 1]);
    const double count = std::trunc(length * scale);
    const int m = count > 0.0 && count < 2147483647.0 ? static_cast<int>(count) : 0;
    points.reserve(points.size() + static_cast<std::size_t>(m));
    if (parameters != nullptr) parameters->reserve(parameters->size() + static_cast<std::size_t>(m));
    const Vec3 axis = static_cast<double>(scale) * Vec3{view.m[0][1], view.m[1][1], view.m[2][1]};
    auto append = [&](double t, const Zel3DVector<float>& p) {
        points.push_back(p);
        if (parameters != nullptr) parameters->push_back(t);
    };
    double previous = std::floor(Dot(Widen(curve.Evaluate(0.0)), axis));
    // A single sample stands at the start of the curve (m - 1 would be 0).
    const double intervals = m > 1 ? m - 1 : 1;
    for (int i = 0; i < m; ++i) {
        const double t = i / intervals;
        const Zel3DVector<float> p = curve.Evaluate(t);
        const double v = Dot(Widen(p), axis);
        const double gap = std::fabs(previous - v);
        if (gap > 1.0) {
            // The filler points walk back from t: decreasing parameters, on
            // purpose.
            const double fillers = std::min(std::trunc(gap), 1e6);
            for (int j = 1; j < fillers + 1; ++j) {
                const double filler = t - (j / (fillers + 1)) / intervals;
                append(filler, curve.Evaluate(filler));
            }
        }
        append(t, p);
        previous = v;
    }
}

}  // namespace zel_cpr
