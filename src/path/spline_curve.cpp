// The splines of a path: the 3-D interpolating spline (open and closed), the
// scalar spline of diameters, and the resampled arc-length curve built from
// them.
#include <cmath>
#include <memory>
#include <new>

#include "ZelSplineCurve.h"
#include "path/frame_math.h"

using zel_path::Distance;

namespace {

// Chord lengths closer than this count as one point.
constexpr double kDuplicateLength = 1e-10;

double Coordinate(const Zel3DVector<float>& v, int axis)
{
    return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
}
float& Coordinate(Zel3DVector<float>& v, int axis)
{
    return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
}

// Natural cubic spline (second derivatives 0 at both ends) by the
// tridiagonal sweep: u holds the elimination coefficients, M first the
// reduced right-hand sides and then the second derivatives.
void SolveOpen(const std::vector<double>& t, const std::vector<Zel3DVector<float>>& k, double* u,
               std::vector<Zel3DVector<float>>& m)
{
    const int n = static_cast<int>(t.size());
    m.assign(static_cast<std::size_t>(n), Zel3DVector<float>{0.0f, 0.0f, 0.0f});
    u[0] = 0.0;
    for (int i = 1; i < n - 1; ++i) {
        const double sig = (t[i] - t[i - 1]) / (t[i + 1] - t[i - 1]);
        const double p = sig * u[i - 1] + 2.0;
        u[i] = (sig - 1.0) / p;
        for (int a = 0; a < 3; ++a) {
            const double slopes = (Coordinate(k[i + 1], a) - Coordinate(k[i], a)) / (t[i + 1] - t[i]) -
                                  (Coordinate(k[i], a) - Coordinate(k[i - 1], a)) / (t[i] - t[i - 1]);
            Coordinate(m[i], a) =
                static_cast<float>((6.0 * slopes / (t[i + 1] - t[i - 1]) - sig * Coordinate(m[i - 1], a)) / p);
        }
    }
    for (int i = n - 2; i >= 0; --i)
        for (int a = 0; a < 3; ++a)
            Coordinate(m[i], a) = static_cast<float>(u[i] * Coordinate(m[i + 1], a) + Coordinate(m[i], a));
}

// Periodic cubic spline through knots 0 .. n-1 whose last knot closes the
// loop: unknowns S[0 .. n-2] (one sixth of the second derivatives), S[n-1] =
// S[0]. Row i of the cyclic system, with h[i] = t[i+1] - t[i] and indices
// taken modulo N = n - 1:
//   h[i-1] S[i-1] + 2 (h[i-1] + h[i]) S[i] + h[i] S[i+1]
//     = (K[i+1] - K[i]) / h[i] - (K[i] - K[i-1]) / h[i-1].
// work holds 7 N doubles.
void SolveClosed(const std::vector<double>& t, const std::vector<Zel3DVector<float>>& k, double* work,
                 std::vector<Zel3DVector<float>>& s)
{
    const int n = static_cast<int>(t.size());
    s.assign(static_cast<std::size_t>(n), Zel3DVector<float>{0.0f, 0.0f, 0.0f});
    const int count = n - 1;  // unknowns
    if (count < 2) return;
    double* h = work;                  // interval lengths, h[i] = t[i+1] - t[i]
    double* diagonal = h + count;      // reduced diagonal of rows 0 .. N-2
    double* upper = diagonal + count;  // coefficient of S[i+1] in reduced row i (i < N-2)
    double* corner = upper + count;    // coefficient of S[N-1] in reduced row i
    double* rhs = corner + count;      // reduced right-hand sides, three per row
    for (int i = 0; i < count; ++i) h[i] = t[i + 1] - t[i];
    auto previous = [count](int i) { return i == 0 ? count - 1 : i - 1; };
    for (int i = 0; i < count; ++i) {
        const int p = previous(i);
        for (int a = 0; a < 3; ++a)
            rhs[3 * i + a] = (Coordinate(k[i + 1], a) - Coordinate(k[i], a)) / h[i] -
                             (Coordinate(k[i], a) - Coordinate(k[p], a)) / h[p];
    }
    const int last = count - 1;
    double lastDiagonal;
    if (count == 2) {
        // Both neighbours of each unknown are the other one.
        diagonal[0] = 2.0 * (h[0] + h[1]);
        upper[0] = 0.0;
        corner[0] = h[0] + h[1];
        const double factor = corner[0] / diagonal[0];
        lastDiagonal = diagonal[0] - factor * corner[0];
        for (int a = 0; a < 3; ++a) rhs[3 * last + a] -= factor * rhs[a];
    } else {
        // Rows 0 .. N-2 top to bottom; row 0 starts with the corner h[N-1]
        // in the last column, and row N-2's upper neighbour is the last
        // column itself.
        diagonal[0] = 2.0 * (h[last] + h[0]);
        upper[0] = h[0];
        corner[0] = h[last];
        for (int i = 1; i < last; ++i) {
            const double factor = h[i - 1] / diagonal[i - 1];
            diagonal[i] = 2.0 * (h[i - 1] + h[i]) - factor * upper[i - 1];
            corner[i] = -factor * corner[i - 1];
            upper[i] = h[i];
            for (int a = 0; a < 3; ++a) rhs[3 * i + a] -= factor * rhs[3 * (i - 1) + a];
        }
        corner[last - 1] += upper[last - 1];
        upper[last - 1] = 0.0;
        // The last row: h[N-1] at column 0, h[N-2] at column N-2, the
        // diagonal at column N-1. Reduce it against rows 0 .. N-2 in order.
        lastDiagonal = 2.0 * (h[last - 1] + h[last]);
        double coefficient = h[last];  // at column 0
        for (int i = 0; i < last; ++i) {
            const double factor = coefficient / diagonal[i];
            lastDiagonal -= factor * corner[i];
            for (int a = 0; a < 3; ++a) rhs[3 * last + a] -= factor * rhs[3 * i + a];
            coefficient = -factor * upper[i] + (i + 1 == last - 1 ? h[last - 1] : 0.0);
        }
    }
    // Back substitution in double, from the last unknown upward; the interval
    // lengths are no longer needed and hold one coordinate's unknowns.
    double* unknown = h;
    for (int a = 0; a < 3; ++a) {
        unknown[last] = rhs[3 * last + a] / lastDiagonal;
        for (int i = last - 1; i >= 0; --i)
            unknown[i] = (rhs[3 * i + a] - upper[i] * unknown[i + 1] - corner[i] * unknown[last]) / diagonal[i];
        for (int i = 0; i < count; ++i) Coordinate(s[i], a) = static_cast<float>(unknown[i]);
        Coordinate(s[count], a) = static_cast<float>(unknown[0]);
    }
}

}  // namespace

// ---------------------------------------------------------------------------
// ZelCurveInterpolation

void ZelCurveInterpolation::Clear()
{
    m_knots.clear();
    m_knotIndex.clear();
    m_parameters.clear();
    m_secondDerivatives.clear();
    m_totalLength = 0.0;
}

int ZelCurveInterpolation::Build(const std::vector<Zel3DVector<float>>& points)
{
    Clear();
    const int n = static_cast<int>(points.size());
    if (n < 2) return ZEL_SPLINE_TOO_FEW_POINTS;
    m_knots.push_back(points[0]);
    m_parameters.push_back(0.0);
    m_knotIndex.push_back(0);
    int current = 0;
    for (int i = 1; i < n; ++i) {
        const double length = m_totalLength + Distance(points[i], m_knots.back());
        if (length - m_parameters.back() > kDuplicateLength) {
            m_totalLength = length;
            m_parameters.push_back(length);
            m_knots.push_back(points[i]);
            ++current;
        }
        m_knotIndex.push_back(current);
    }
    if (m_closed) {
        const double length = m_totalLength + Distance(points[0], m_knots.back());
        if (length - m_parameters.back() > kDuplicateLength) {
            m_totalLength = length;
            m_parameters.push_back(length);
            m_knots.push_back(points[0]);
            if (++current == n) current = 0;
        }
        m_knotIndex.push_back(current);
    }
    const int m = static_cast<int>(m_parameters.size());
    if (m > 1)
        for (double& t : m_parameters) t /= m_totalLength;

    const std::size_t workSize = static_cast<std::size_t>(m) * (m_closed ? 7 : 1);
    std::unique_ptr<double[]> work(new (std::nothrow) double[workSize]);
    if (!work) {
        Clear();
        return ZEL_SPLINE_OUT_OF_MEMORY;
    }
    if (m_closed)
        SolveClosed(m_parameters, m_knots, work.get(), m_secondDerivatives);
    else
        SolveOpen(m_parameters, m_knots, work.get(), m_secondDerivatives);
    return ZEL_SPLINE_SUCCESS;
}

Zel3DVector<float> ZelCurveInterpolation::Evaluate(double t) const
{
    const int m = static_cast<int>(m_knots.size());
    if (m == 0) return {0.0f, 0.0f, 0.0f};
    if (m == 1) return m_knots[0];
    if (!m_closed)
        t = t < 0.0 ? 0.0 : (t > 1.0 ? 1.0 : t);
    else if (t < 0.0 || t > 1.0)
        t -= std::floor(t);
    int lo = 0;
    int hi = m - 1;
    while (hi - lo > 1) {
        const int mid = (hi + lo) / 2;
        if (t < m_parameters[mid])
            hi = mid;
        else
            lo = mid;
    }
    const double h = m_parameters[hi] - m_parameters[lo];
    Zel3DVector<float> result;
    if (!m_closed) {
        const double a = (m_parameters[hi] - t) / h;
        const double b = 1.0 - a;
        const double ca = (a * a * a - a) * h * h / 6.0;
        const double cb = (b * b * b - b) * h * h / 6.0;
        for (int axis = 0; axis < 3; ++axis)
            Coordinate(result, axis) = static_cast<float>(
                a * Coordinate(m_knots[lo], axis) + b * Coordinate(m_knots[hi], axis) +
                ca * Coordinate(m_secondDerivatives[lo], axis) + cb * Coordinate(m_secondDerivatives[hi], axis));
    } else {
        const double d = t - m_parameters[lo];
        for (int axis = 0; axis < 3; ++axis) {
            const double k0 = Coordinate(m_knots[lo], axis);
            const double k1 = Coordinate(m_knots[hi], axis);
            const double s0 = Coordinate(m_secondDerivatives[lo], axis);
            const double s1 = Coordinate(m_secondDerivatives[hi], axis);
            Coordinate(result, axis) =
                static_cast<float>(k0 + d * ((d * (s1 - s0) / h + 3.0 * s0) * d + (k1 - k0) / h - h * (s1 + 2.0 * s0)));
        }
    }
    return result;
}

double ZelCurveInterpolation::GetParameter(int i) const
{
    if (i < 0 || i >= static_cast<int>(m_knotIndex.size())) return -1.0;
    const int knot = m_knotIndex[i];
    const int m = static_cast<int>(m_parameters.size());
    if (knot < 0 || knot >= m) return -1.0;
    if (knot == 0) return 0.0;
    if (knot == m - 1) return 1.0;
    return m_parameters[knot];
}

// ---------------------------------------------------------------------------
// ZelSplineInterpolation

ZelSplineInterpolation::~ZelSplineInterpolation() = default;

void ZelSplineInterpolation::Clear()
{
    m_points.clear();
    m_coefficients.clear();
    m_work.clear();
}

void ZelSplineInterpolation::Build(const std::vector<Zel2DVector<float>>& points)
{
    m_points = points;
    const int n = static_cast<int>(points.size());
    m_coefficients.assign(static_cast<std::size_t>(n), 0.0f);
    m_work.assign(static_cast<std::size_t>(n), 0.0f);
    if (n < 3) return;
    // Rows 1 .. n-2 of h[i-1] S[i-1] + 2 (h[i-1] + h[i]) S[i] + h[i] S[i+1]
    // = slope[i] - slope[i-1], S[0] = S[n-1] = 0; m_work holds the reduced
    // upper coefficients, m_coefficients the reduced right-hand sides.
    auto x = [&](int i) { return static_cast<double>(points[i].x); };
    auto y = [&](int i) { return static_cast<double>(points[i].y); };
    double previousUpper = 0.0;
    double previousRhs = 0.0;
    for (int i = 1; i < n - 1; ++i) {
        const double h0 = x(i) - x(i - 1);
        const double h1 = x(i + 1) - x(i);
        const double diagonal = 2.0 * (h0 + h1) - h0 * previousUpper;
        const double rhs = (y(i + 1) - y(i)) / h1 - (y(i) - y(i - 1)) / h0;
        previousUpper = h1 / diagonal;
        previousRhs = (rhs - h0 * previousRhs) / diagonal;
        m_work[i] = static_cast<float>(previousUpper);
        m_coefficients[i] = static_cast<float>(previousRhs);
    }
    double next = 0.0;
    for (int i = n - 2; i >= 1; --i) {
        next = m_coefficients[i] - m_work[i] * next;
        m_coefficients[i] = static_cast<float>(next);
    }
}

float ZelSplineInterpolation::Evaluate(float x) const
{
    const int n = static_cast<int>(m_points.size());
    if (n == 0) return 0.0f;
    if (n == 1) return m_points[0].y;
    if (n == 2) {
        const float f = (x - m_points[0].x) / (m_points[1].x - m_points[0].x);
        return (1.0f - f) * m_points[0].y + f * m_points[1].y;
    }
    const int k = zel_path::IntervalBelow(m_points, x);
    const double x0 = m_points[k].x;
    const double y0 = m_points[k].y;
    const double y1 = m_points[k + 1].y;
    const double s0 = m_coefficients[k];
    const double s1 = m_coefficients[k + 1];
    const double h = m_points[k + 1].x - x0;
    const double d = x - x0;
    return static_cast<float>(y0 + d * ((y1 - y0) / h - (2.0 * s0 + s1) * h + d * (3.0 * s0 + d * (s1 - s0) / h)));
}

// ---------------------------------------------------------------------------
// ZelSplineCurve

template <class T>
void ZelSplineCurve<T>::Clear()
{
    m_controlSpline.Clear();
    m_resampledSpline.Clear();
    m_controlParameters.clear();
    m_resampledPoints.clear();
    m_cumulativeLengths.clear();
}

template <class T>
int ZelSplineCurve<T>::Build(const std::vector<T>& points)
{
    int status = m_controlSpline.Build(points);
    if (status != ZEL_SPLINE_SUCCESS) {
        Clear();
        return status;
    }
    m_resampledPoints.clear();
    m_resampledPoints.reserve(static_cast<std::size_t>(m_resolution) + 1);
    for (int i = 0; i <= m_resolution; ++i)
        m_resampledPoints.push_back(m_controlSpline.Evaluate(static_cast<double>(i) / m_resolution));
    status = m_resampledSpline.Build(m_resampledPoints);
    if (status != ZEL_SPLINE_SUCCESS) {
        Clear();
        return status;
    }
    m_cumulativeLengths.assign(m_resampledPoints.size(), 0.0);
    for (std::size_t i = 1; i < m_resampledPoints.size(); ++i)
        m_cumulativeLengths[i] = m_cumulativeLengths[i - 1] + Distance(m_resampledPoints[i], m_resampledPoints[i - 1]);

    // Each control point's arc-length fraction: its place between the two
    // resampled points around it, measured by the distances to them.
    const double total = m_resampledSpline.GetTotalLength();
    m_controlParameters.assign(points.size(), 0.0);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double parameter = m_controlSpline.GetParameter(static_cast<int>(i));
        // -1, 0 and 1 are kept; so is anything outside (0, 1), which only a
        // curve through an infinite coordinate gives.
        if (!(parameter > 0.0 && parameter < 1.0)) {
            m_controlParameters[i] = parameter;
            continue;
        }
        const int j = static_cast<int>(parameter * m_resolution);
        const T q = m_controlSpline.Evaluate(parameter);
        const double before = Distance(q, m_resampledPoints[j]);
        const double after = Distance(m_resampledPoints[j + 1], q);
        const double share = before + after > 0.0 ? before / (before + after) : 0.0;
        m_controlParameters[i] =
            (m_cumulativeLengths[j] + (m_cumulativeLengths[j + 1] - m_cumulativeLengths[j]) * share) / total;
    }
    return ZEL_SPLINE_SUCCESS;
}

template <class T>
T ZelSplineCurve<T>::Evaluate(double t) const
{
    return m_resampledSpline.Evaluate(t);
}

template class ZelSplineCurve<Zel3DVector<float>>;
