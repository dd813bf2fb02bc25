// ZelPath: the control points, their counters and the lazily rebuilt curve.
#include <new>

#include "ZelPath.h"

ZelPath::ZelPath(const ZelPath& other) : ZelUserDataManager(other)
{
    // The source's lock keeps a rebuild on another thread from tearing the
    // curve while it is copied.
    ZelCriticalSectionLocker lock(other.m_lock);
    m_points = other.m_points;
    m_updateCounter = other.m_updateCounter;
    m_curve = other.m_curve;
    m_aspectPoints = other.m_aspectPoints;
    m_builtCounter = other.m_builtCounter;
    m_aspect = other.m_aspect;
}

ZelPath::~ZelPath() = default;

void ZelPath::SetPoints(const std::vector<Zel3DVector<float>>& points)
{
    m_points = points;
    ++m_updateCounter;
}

int ZelPath::GetPointNum() const
{
    return static_cast<int>(m_points.size());
}

std::vector<Zel3DVector<float>> ZelPath::GetPoints()
{
    return m_points;
}

Zel3DVector<float> ZelPath::GetPoint(int i)
{
    if (i < 0 || i >= GetPointNum()) return {0.0f, 0.0f, 0.0f};
    return m_points[static_cast<std::size_t>(i)];
}

void ZelPath::AddPoint(const Zel3DVector<float>& point)
{
    m_points.push_back(point);
    ++m_updateCounter;
}

void ZelPath::DeleteLastPoint()
{
    if (!m_points.empty()) m_points.pop_back();
    ++m_updateCounter;
}

void ZelPath::UpdatePoint(int i, const Zel3DVector<float>& point)
{
    if (i < 0 || i >= GetPointNum()) return;
    m_points[static_cast<std::size_t>(i)] = point;
    ++m_updateCounter;
}

void ZelPath::ClearPoints()
{
    {
        ZelCriticalSectionLocker lock(m_lock);
        m_curve.Clear();
    }
    m_points.clear();
    ++m_updateCounter;
}

const ZelSplineCurve<Zel3DVector<float>>& ZelPath::GetSplineCurveObject()
{
    ZelCriticalSectionLocker lock(m_lock);
    if (m_updateCounter == m_builtCounter) return m_curve;
    m_aspectPoints.clear();
    m_aspectPoints.reserve(m_points.size());
    for (const Zel3DVector<float>& p : m_points)
        m_aspectPoints.push_back({p.x * m_aspect.x, p.y * m_aspect.y, p.z * m_aspect.z});
    // A failed build leaves the curve empty, which is what a path of fewer
    // than two points shows.
    m_curve.Build(m_aspectPoints);
    m_builtCounter = m_updateCounter;
    return m_curve;
}

void ZelPath::Copy(ZelPath* src)
{
    if (src == nullptr) return;
    if (src != this) m_points = src->m_points;
    m_updateCounter = 0;
    m_builtCounter = -1;
}

ZelPath* ZelPath::Clone()
{
    ZelPath* clone = new (std::nothrow) ZelPath;
    if (clone != nullptr) clone->Copy(this);
    return clone;
}

const std::vector<Zel3DVector<float>>& ZelPath::GetAspectPoint()
{
    GetSplineCurveObject();
    return m_aspectPoints;
}
