// ZelPathPlane: planes laid along a path with parallel-transported frames,
// and their interpolation by position along the path.
#include <algorithm>
#include <climits>
#include <cmath>

#include "ZelPathPlane.h"
#include "path/frame_math.h"

using namespace zel_path;

namespace {

// Successive tangents at least this close keep the previous axes as they are.
constexpr double kParallelTangents = 0.99999;

// Number of planes for a curve of length `length` at `pitch`: the length over
// the pitch truncated, at least 2, and no more than an int holds. A pitch
// that is not positive, or a length that is not finite, gives 2.
int PlaneCount(double length, double pitch)
{
    if (!(pitch > 0.0) || !std::isfinite(length)) return 2;
    const double count = length / pitch;
    if (!(count >= 2.0)) return 2;
    return count < static_cast<double>(INT_MAX) ? static_cast<int>(count) : INT_MAX;
}

// Lays `count` planes at parameters i / (count - 1) of the curve. The first
// frame takes axisU from up; each further one is the previous frame turned
// by the rotation that takes the previous tangent to the new one. Every
// vector is rounded to float as it is stored, and the next plane starts from
// the stored values.
void LayPlanes(const ZelSplineCurve<Zel3DVector<float>>& curve, int count, double tangentSpan,
               const Zel3DVector<float>& up, std::vector<ZelPlaneData>& planes)
{
    planes.reserve(static_cast<std::size_t>(count));
    Vec3 previousTangent{0.0, 0.0, 0.0};
    Vec3 u{0.0, 0.0, 0.0};
    Vec3 v{0.0, 0.0, 0.0};
    for (int i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / (count - 1);
        const Zel3DVector<float> position = curve.Evaluate(t);
        const Zel3DVector<float> back = curve.Evaluate(t - tangentSpan <= 0.0 ? 0.0 : t - tangentSpan);
        const Zel3DVector<float> front = curve.Evaluate(t + tangentSpan >= 1.0 ? 1.0 : t + tangentSpan);
        const Vec3 tangent = Widen(Narrow(Normalise(Widen(front) - Widen(back))));
        if (i == 0) {
            v = Widen(Narrow(Normalise(Cross(tangent, Widen(up)))));
            u = Widen(Narrow(Normalise(Cross(v, tangent))));
        } else {
            const double cosine = Dot(tangent, previousTangent);
            if (cosine < kParallelTangents) {
                const Mat3 r =
                    AxisRotation(Normalise(Cross(previousTangent, tangent)), std::acos(std::max(-1.0, cosine)));
                u = Widen(Narrow(r * u));
                v = Widen(Narrow(r * v));
            }
        }
        previousTangent = tangent;
        planes.push_back({position, Narrow(tangent), Narrow(u), Narrow(v), 0.0f});
    }
}

}  // namespace

ZelPathPlane::~ZelPathPlane() = default;

void ZelPathPlane::SetPath(ZelPath* path)
{
    m_path = path;
    m_pathCounter = -1;
    m_interpolationCounter = -1;
}

void ZelPathPlane::SetPlaneObject(const std::vector<ZelPlaneData>& planes, bool takePathCounter, bool setPitch,
                                  double pitch)
{
    m_planes = planes;
    m_interpolationCounter = -2;
    if (takePathCounter && m_path != nullptr) m_pathCounter = m_path->GetUpdatePointsCounter();
    if (setPitch) m_pitch = pitch;
    UpdateInterpolationObject(true);
}

bool ZelPathPlane::UpdatePlaneData(float angle, double pitch, double tangentSpan, const Zel3DVector<float>& up)
{
    if (!m_referenceExternalData) {
        if (m_path == nullptr) return false;
        const bool samePath = m_path->GetUpdatePointsCounter() == m_pathCounter;
        if (!samePath || pitch != m_pitch) {
            m_planes.clear();
            m_rotationAngle = angle;
            m_pitch = pitch;
            m_pathCounter = m_path->GetUpdatePointsCounter();
            const ZelSplineCurve<Zel3DVector<float>>& curve = m_path->GetSplineCurveObject();
            LayPlanes(curve, PlaneCount(curve.GetLength(), pitch), tangentSpan, up, m_planes);
            // On the same path only the pitch changed, which the counters do
            // not show: the interpolation is forced.
            UpdateInterpolationObject(samePath);
            return true;
        }
    }
    if (angle != m_rotationAngle) {
        m_rotationAngle = angle;
        UpdateInterpolationObject(true);
    }
    return true;
}

void ZelPathPlane::UpdateInterpolationObject(bool force)
{
    if (m_interpolationCounter == m_pathCounter && !force) return;
    m_interpolationCounter = m_pathCounter;
    m_orientations.clear();
    m_maxDiameter = 0.0f;
    std::vector<Zel2DVector<float>> diameters;
    std::vector<Zel3DVector<float>> positions;
    diameters.reserve(m_planes.size());
    positions.reserve(m_planes.size());
    m_orientations.reserve(m_planes.size());
    std::vector<double> running;
    running.reserve(m_planes.size());
    double length = 0.0;
    for (std::size_t k = 0; k < m_planes.size(); ++k) {
        const ZelPlaneData& plane = m_planes[k];
        if (k > 0) length += Distance(plane.position, m_planes[k - 1].position);
        running.push_back(length);
        m_maxDiameter = std::max(m_maxDiameter, plane.diameter);
        const Vec3 tangent = Widen(plane.tangent);
        const Mat3 turn = AxisRotation(tangent, m_rotationAngle);
        const Vec3 u = Widen(Narrow(turn * Widen(plane.axisU)));
        const Vec3 v = Widen(Narrow(turn * Widen(plane.axisV)));
        const Quat q = QuaternionOfColumns(u, v, tangent);
        m_orientations.push_back(
            {static_cast<float>(q.w), static_cast<float>(q.x), static_cast<float>(q.y), static_cast<float>(q.z)});
        positions.push_back(plane.position);
    }
    m_length = static_cast<float>(length);
    for (std::size_t k = 0; k < m_planes.size(); ++k)
        diameters.push_back({static_cast<float>(running[k] / length), m_planes[k].diameter});
    m_positionSpline.Build(positions);
    m_diameterSpline.Build(diameters);
}

ZelPlaneData ZelPathPlane::GetPlaneData(float position) const
{
    const float s = std::isnan(position) ? 0.0f : std::min(1.0f, std::max(0.0f, position));
    ZelPlaneData plane;
    plane.position = m_positionSpline.Evaluate(s);
    plane.diameter = m_diameterSpline.Evaluate(s);
    const std::vector<Zel2DVector<float>>& stations = m_diameterSpline.GetPoints();
    if (stations.empty() || (stations.size() == 1 && m_planes.empty())) {
        plane.axisU = {1.0f, 0.0f, 0.0f};
        plane.axisV = {0.0f, 1.0f, 0.0f};
        plane.tangent = {0.0f, 0.0f, 1.0f};
    } else if (stations.size() == 1) {
        plane.axisU = m_planes[0].axisU;
        plane.axisV = m_planes[0].axisV;
        plane.tangent = m_planes[0].tangent;
    } else {
        const int k = IntervalBelow(stations, s);
        const double f =
            (static_cast<double>(s) - stations[k].x) / (static_cast<double>(stations[k + 1].x) - stations[k].x);
        const Quaternion& a = m_orientations[static_cast<std::size_t>(k)];
        const Quaternion& b = m_orientations[static_cast<std::size_t>(k) + 1];
        const Quat q = Slerp({a.w, a.x, a.y, a.z}, {b.w, b.x, b.y, b.z}, f);
        Vec3 u, v, t;
        ColumnsOfQuaternion(q, u, v, t);
        plane.axisU = Narrow(u);
        plane.axisV = Narrow(v);
        plane.tangent = Narrow(t);
    }
    return plane;
}

float ZelPathPlane::GetDiameter(float position) const
{
    const float s = std::isnan(position) ? 0.0f : std::min(1.0f, std::max(0.0f, position));
    return m_diameterSpline.Evaluate(s);
}
