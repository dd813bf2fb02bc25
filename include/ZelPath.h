#pragma once

#include <vector>

#include "Zel3DVector.h"
#include "ZelCriticalSection.h"
#include "ZelExport.h"
#include "ZelSplineCurve.h"
#include "ZelUserDataManager.h"

// A user's path through a volume
// ------------------------------
// * Control points are voxel coordinates, as the caller gives them. The curve
//   is built from the points multiplied axis by axis by the aspect (the voxel
//   spacing, say), so that its lengths are physical.
// * Every change of the points bumps the update counter; the curve is rebuilt
//   lazily, by the first GetSplineCurveObject() after a change. SetAspect()
//   alone changes no counter: call UpdatePointsCounter() after it.
// * A path of fewer than two distinct points has an empty curve (evaluation
//   gives (0, 0, 0)) or a curve of one point.
// * Threads: GetSplineCurveObject() holds the path's lock for the whole
//   check-and-rebuild, so any number of readers may ask for the curve at once
//   and one of them rebuilds it. Point edits take no lock: do not edit while
//   another thread reads the curve.
class ZEL_API ZelPath : public ZelUserDataManager {
public:
    ZelPath() = default;
    // Copies everything: points, both counters, curve, aspect points, aspect.
    ZelPath(const ZelPath& other);
    // Use Copy() (points only) or the copy constructor.
    ZelPath& operator=(const ZelPath&) = delete;
    ~ZelPath() override;

    virtual void SetPoints(const std::vector<Zel3DVector<float>>& points);
    virtual int GetPointNum() const;
    virtual std::vector<Zel3DVector<float>> GetPoints();
    // (0, 0, 0) when i is out of range.
    virtual Zel3DVector<float> GetPoint(int i);
    virtual void AddPoint(const Zel3DVector<float>& point);
    // Removes the last point if there is one; bumps the counter either way.
    virtual void DeleteLastPoint();
    // Ignored (counter unchanged) when i is out of range.
    virtual void UpdatePoint(int i, const Zel3DVector<float>& point);
    // Empties the curve, then the points.
    virtual void ClearPoints();
    // The curve, rebuilt first when the points changed since the last build.
    virtual const ZelSplineCurve<Zel3DVector<float>>& GetSplineCurveObject();
    // Takes src's points only: the aspect and the curve stay, the update
    // counter becomes 0 and the next GetSplineCurveObject() rebuilds. A null
    // src is ignored.
    virtual void Copy(ZelPath* src);
    // A new path (aspect 1, 1, 1) with this path's points, through Copy();
    // null when no memory could be had. The caller owns it.
    virtual ZelPath* Clone();

    void SetAspect(const Zel3DVector<float>& aspect) { m_aspect = aspect; }
    Zel3DVector<float> GetAspect() const { return m_aspect; }
    // The control points times the aspect, as used by the current curve
    // (GetSplineCurveObject() is called first).
    const std::vector<Zel3DVector<float>>& GetAspectPoint();
    void UpdatePointsCounter() { ++m_updateCounter; }
    bool IsUpdatePoints(int counter) const { return m_updateCounter != counter; }
    int GetUpdatePointsCounter() const { return m_updateCounter; }

private:
    std::vector<Zel3DVector<float>> m_points;
    int m_updateCounter = 0;
    ZelSplineCurve<Zel3DVector<float>> m_curve;
    std::vector<Zel3DVector<float>> m_aspectPoints;
    int m_builtCounter = -1;
    Zel3DVector<float> m_aspect{1.0f, 1.0f, 1.0f};
    mutable ZelCriticalSection m_lock;
};
