#pragma once

#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelExport.h"

// Splines of the path code
// ------------------------
// * ZelCurveInterpolation is an interpolating cubic spline through 3-D points.
//   Its parameter is the normalised chord length: 0.0 at the first knot, 1.0
//   at the last, each knot at its cumulative chord length divided by the
//   total. Consecutive points closer than 1e-10 (in accumulated chord length)
//   collapse into one knot.
// * Knots and second derivatives are single precision, parameters and
//   lengths double; every evaluation is done in double and rounded once.
// * ZelSplineCurve resamples the spline through its control points at
//   resolution + 1 evenly spaced parameters and lays a second spline through
//   those points. Its parameter is the chord length of that fine polyline, so
//   evaluation is close to uniform in arc length, and the cumulative lengths
//   of the resampled points turn a length into a parameter by table look-up.
// * Builds return a status: 0 success, 7 the work array could not be had,
//   10 fewer than two points. After a failed build the object is empty:
//   evaluation gives (0, 0, 0); a spline of one knot gives that knot.
// * Nothing here is thread safe on its own; ZelPath guards its curve.

enum ZEL_SPLINE_STATUS {
    ZEL_SPLINE_SUCCESS = 0,
    ZEL_SPLINE_OUT_OF_MEMORY = 7,
    ZEL_SPLINE_TOO_FEW_POINTS = 10,
};

// One interpolating cubic spline of 3-D points, open (natural ends: zero
// second derivative at the first and last knot) or closed (periodic).
//
// A closed spline joins the last input point back to the first with a closing
// knot equal to the first, and is continuous in value, slope and curvature
// across that seam. Its stored values are one sixth of the second
// derivatives, found by Gaussian elimination of the cyclic tridiagonal system
// without pivoting (it is strictly diagonally dominant): rows are eliminated
// top to bottom while the fill-in of the wrap-around corner is carried in the
// last column, the last row is reduced against every row above it, and the
// unknowns are recovered from the last one upward. Evaluation takes the
// parameter modulo 1.
class ZEL_API ZelCurveInterpolation {
public:
    ZelCurveInterpolation() = default;

    // Builds through points; a status of ZEL_SPLINE_STATUS. The closed flag
    // must be set before.
    int Build(const std::vector<Zel3DVector<float>>& points);
    // Point at parameter t: clamped to [0, 1] on an open spline, taken modulo
    // 1 on a closed one.
    Zel3DVector<float> Evaluate(double t) const;
    // Parameter of input point i: 0.0 for the first knot, 1.0 for the last,
    // -1.0 when i is not an input point.
    double GetParameter(int i) const;
    void Clear();

    void SetClosed(bool closed) { m_closed = closed; }
    bool IsClosed() const { return m_closed; }
    double GetTotalLength() const { return m_totalLength; }
    const std::vector<Zel3DVector<float>>& GetKnots() const { return m_knots; }
    // For every input point (and, when closed, once more for the seam) the
    // index of its knot.
    const std::vector<int>& GetKnotIndex() const { return m_knotIndex; }
    const std::vector<double>& GetParameters() const { return m_parameters; }
    // Open: second derivatives by the parameter. Closed: one sixth of them.
    const std::vector<Zel3DVector<float>>& GetSecondDerivatives() const { return m_secondDerivatives; }

private:
    std::vector<Zel3DVector<float>> m_knots;
    std::vector<int> m_knotIndex;
    std::vector<double> m_parameters;
    std::vector<Zel3DVector<float>> m_secondDerivatives;
    bool m_closed = false;
    double m_totalLength = 0.0;
};

// A natural cubic spline y(x) through (x, y) points with increasing x (the
// diameter along a path). Coefficients are one sixth of the second
// derivatives, 0 at both ends. One point gives a constant, two a straight
// line (extended beyond its ends), three or more the cubic; outside the
// points the end pieces continue.
class ZEL_API ZelSplineInterpolation {
public:
    ZelSplineInterpolation() = default;
    ZelSplineInterpolation(const ZelSplineInterpolation&) = default;
    ZelSplineInterpolation& operator=(const ZelSplineInterpolation&) = default;
    virtual ~ZelSplineInterpolation();

    void Build(const std::vector<Zel2DVector<float>>& points);
    float Evaluate(float x) const;
    void Clear();

    const std::vector<Zel2DVector<float>>& GetPoints() const { return m_points; }
    const std::vector<float>& GetCoefficients() const { return m_coefficients; }

private:
    std::vector<Zel2DVector<float>> m_points;
    std::vector<float> m_coefficients;
    std::vector<float> m_work;
};

// A path's curve: a spline through the control points, resampled at
// resolution + 1 parameters i / resolution, and a spline through the
// resampled points that is evaluated. Only T = Zel3DVector<float> exists.
template <class T>
class ZEL_API ZelSplineCurve {
public:
    ZelSplineCurve() = default;

    // Builds from the control points; a status of ZEL_SPLINE_STATUS. On
    // failure every member is emptied.
    int Build(const std::vector<T>& points);
    // Point at parameter t (0..1, close to the fraction of arc length), from
    // the resampled spline.
    T Evaluate(double t) const;
    void Clear();

    int GetResolution() const { return m_resolution; }
    // Total length of the resampled polyline: the curve's length.
    double GetLength() const { return m_resampledSpline.GetTotalLength(); }
    const ZelCurveInterpolation& GetControlSpline() const { return m_controlSpline; }
    const ZelCurveInterpolation& GetResampledSpline() const { return m_resampledSpline; }
    // For each control point, its arc-length fraction along the curve (0..1);
    // -1.0 for a point with no knot.
    const std::vector<double>& GetControlParameters() const { return m_controlParameters; }
    // The control spline at i / resolution, i = 0 .. resolution.
    const std::vector<T>& GetResampledPoints() const { return m_resampledPoints; }
    // Polyline length from the first resampled point to each one.
    const std::vector<double>& GetCumulativeLengths() const { return m_cumulativeLengths; }

private:
    int m_resolution = 4096;
    ZelCurveInterpolation m_controlSpline;
    ZelCurveInterpolation m_resampledSpline;
    std::vector<double> m_controlParameters;
    std::vector<T> m_resampledPoints;
    std::vector<double> m_cumulativeLengths;
};

extern template class ZEL_API ZelSplineCurve<Zel3DVector<float>>;
