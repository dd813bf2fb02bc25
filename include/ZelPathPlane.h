#pragma once

#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelExport.h"
#include "ZelPath.h"
#include "ZelSplineCurve.h"

// Planes along a path
// -------------------
// * Positions are in the path's aspect-scaled space (the space of its curve).
//   Each plane's tangent is the unit direction of the curve there and the
//   plane's normal; axisU and axisV span the plane. Together (axisU, axisV,
//   tangent) form a right-handed frame.
// * Planes are laid at a fixed pitch along the curve. The first frame takes
//   axisU from the up vector (its part square to the tangent); every further
//   frame is the previous one turned by the rotation that takes the previous
//   tangent to the new one (parallel transport), so the frames do not twist
//   about the curve. When successive tangents are closer than
//   acos(0.99999) = 0.26 degrees the axes are carried over unchanged; on a
//   curve sampled that finely the axes may lean off the plane by that much
//   per plane. Choose the pitch accordingly.
// * A position along the path is a fraction 0..1 of the polyline length
//   through the plane positions. GetPlaneData() interpolates the position with
//   a spline, the diameter with a scalar spline and the frame by spherical
//   interpolation of the planes' orientations, the axes turned about the
//   tangent by the rotation angle first.
// * The spherical interpolation takes the shorter arc: of q and -q (the same
//   rotation) it uses the one nearer the first orientation, so a frame never
//   spins a full turn between two neighbouring planes. The cosine between the
//   two is clamped to [-1, 1] before acos.
// * Change tracking: the planes remember the path's update counter they were
//   built from (GetUpdateCounter(), -1 never built); UpdatePlaneData()
//   rebuilds them only when that counter or the pitch changed. A new angle
//   alone only turns the interpolated frames.
// * Failures: UpdatePlaneData() is false only when it has to rebuild and no
//   path is set. A path of zero length makes every position along it a
//   division by zero: keep at least two distinct points.
// * No lock of its own: one thread updates, and no reader may run meanwhile.
//   Readers (the const functions) may run together.

// One cross-section plane: 13 single-precision values, copied by value.
struct ZEL_API ZelPlaneData {
    Zel3DVector<float> position;
    Zel3DVector<float> tangent;  // the plane's normal
    Zel3DVector<float> axisU;
    Zel3DVector<float> axisV;
    float diameter;  // 0 for planes built from a path
};

// Progress callback of ZelPathPlane::Uniformalize: (progress, text, context);
// text and context are always null, the return value is not looked at.
typedef int (*ZelPathPlaneProgress)(float progress, const wchar_t* text, void* context);

class ZEL_API ZelPathPlane {
public:
    ZelPathPlane() = default;
    ZelPathPlane(const ZelPathPlane&) = default;
    ZelPathPlane& operator=(const ZelPathPlane&) = default;
    virtual ~ZelPathPlane();

    // The path is not owned. Setting one (even the same) forces the next
    // UpdatePlaneData() to rebuild.
    void SetPath(ZelPath* path);
    ZelPath* GetPath() const { return m_path; }

    // The plane list, for direct editing; GetPlaneData() follows edits only
    // after the interpolation is rebuilt (a new angle, or SetPlaneObject()).
    std::vector<ZelPlaneData>& GetPlaneObject() { return m_planes; }
    // Takes planes from outside and rebuilds the interpolation. With
    // takePathCounter the planes count as built from the path's current state
    // (ignored without a path); with setPitch, as built at that pitch.
    void SetPlaneObject(const std::vector<ZelPlaneData>& planes, bool takePathCounter, bool setPitch, double pitch);
    // While set, UpdatePlaneData() keeps the plane list as it is (planes from
    // SetPlaneObject(), say) and only applies a new angle.
    void SetReferenceExternalData(bool reference) { m_referenceExternalData = reference; }

    int GetPlaneDataNum() const { return static_cast<int>(m_planes.size()); }
    // Polyline length through the plane positions at the last interpolation
    // rebuild.
    float GetLength() const { return m_length; }
    float GetMaxDiameter() const { return m_maxDiameter; }

    // Lays planes along the path's curve every pitch length units: n =
    // trunc(length / pitch) planes, at least 2 (a pitch that is not positive
    // gives 2), at parameters i / (n - 1) of the curve. The tangent at
    // parameter t is the direction from the curve at t - tangentSpan to the
    // curve at t + tangentSpan (clamped to the ends; tangentSpan is a
    // fraction of the curve, and must be positive). up sets the first frame
    // and must not be parallel to the first tangent (that frame would be
    // zero). angle (radians) turns every interpolated frame about its
    // tangent. Rebuilds only when the path's points or the pitch changed: a
    // new tangentSpan or up vector alone is not applied. A count that cannot
    // be held raises std::bad_alloc or std::length_error.
    bool UpdatePlaneData(float angle, double pitch, double tangentSpan, const Zel3DVector<float>& up);

    // The plane at fraction position of the path's length, clamped to [0, 1]
    // (a NaN position counts as 0). With no planes the frame is the identity;
    // with one plane it is that plane's, not turned by the angle, and its
    // position (0, 0, 0) (no spline goes through one point).
    ZelPlaneData GetPlaneData(float position) const;
    // Diameter at fraction position, clamped to [0, 1].
    float GetDiameter(float position) const;

    void SetRadiusForUniformalize(float radius) { m_radiusForUniformalize = radius; }
    // Smooths the twist of the frames: each inner plane is turned a little at
    // a time (gradient steps on three angles) so that rings of radius
    // `radius` in neighbouring planes stay as far apart as the planes'
    // centres, against a penalty on tilting the plane away from its original
    // tangent. The first and the last plane keep their frames.
    // * The tilt term uses the cosine between the plane's turned normal and
    //   its original tangent, which for the three angles (alpha, beta, gamma)
    //   about x, y, z is cos(alpha) * cos(beta).
    // * The turned frame is written back whole: axisU, axisV and tangent
    //   become its three columns (a tilted plane's tangent is its new normal);
    //   positions and diameters stay.
    // * Each step moves an angle by 0.01 times the energy change of a
    //   half-degree trial turn, not divided by the turn, so the step does not
    //   shrink as the frames settle: on planes spaced closer than about a
    //   third of the radius the frames can wander and tilt, and the energy end
    //   higher than it started (400 planes 1.4 apart with the default radius
    //   15 do; bench/README.md has figures).
    // * progress, if given, is called with progressStart, with increasing
    //   values as the energy settles, and with progressEnd; smoothing cannot
    //   be cancelled. Three planes or fewer are left alone, without a call. A
    //   plane list whose energy is not finite (two planes at one centre) is
    //   left alone too.
    // * GetPlaneData() follows after the next forced interpolation rebuild (a
    //   new angle, or SetPlaneObject()). Always true.
    bool Uniformalize(ZelPathPlaneProgress progress, float progressStart, float progressEnd);

    // The path's update counter the planes were built from; -1 never built.
    int GetUpdateCounter() const { return m_pathCounter; }

protected:
    // Rebuilds the position spline, the diameter spline, the orientations,
    // the length and the maximum diameter from the plane list, when the plane
    // list is newer than them or force is set.
    void UpdateInterpolationObject(bool force);

private:
    struct Quaternion {
        float w, x, y, z;
    };

    ZelPath* m_path = nullptr;
    std::vector<ZelPlaneData> m_planes;
    int m_pathCounter = -1;
    double m_pitch = 0.0;  // meaningful once the planes are built
    float m_rotationAngle = 0.0f;
    bool m_referenceExternalData = false;
    int m_interpolationCounter = -1;  // -2: stale until the next forced rebuild
    ZelCurveInterpolation m_positionSpline;
    ZelSplineInterpolation m_diameterSpline;
    std::vector<Quaternion> m_orientations;
    float m_length = 0.0f;
    float m_maxDiameter = 0.0f;
    float m_radiusForUniformalize = 15.0f;
};
