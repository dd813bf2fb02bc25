// Independent references for the path tests, in double: the textbook cubic
// spline through chord-length parameters.
#pragma once

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "Zel3DVector.h"

namespace path_test {

using P3 = Zel3DVector<float>;
struct D3 {
    double x, y, z;
};

template <class A, class B>
double Distance(const A& a, const B& b)
{
    const double dx = double(a.x) - b.x, dy = double(a.y) - b.y, dz = double(a.z) - b.z;
    return std::sqrt(dx * dx + dy * dy + dz * dz);
}

// Cubic spline through (t[i], y[i]) from the textbook system for the second
// derivatives M: h[i-1] M[i-1] + 2 (h[i-1] + h[i]) M[i] + h[i] M[i+1] =
// 6 (slope[i] - slope[i-1]); natural (M = 0 at both ends) or periodic
// (y[n-1] = y[0], indices wrap). Solved densely, Gauss-Jordan with pivoting.
class RefSpline {
public:
    RefSpline(std::vector<double> t, std::vector<double> y, bool periodic)
        : m_t(std::move(t)), m_y(std::move(y)), m_m(m_t.size(), 0.0)
    {
        const int n = int(m_t.size()), wrap = n - 1, unknowns = periodic ? n - 1 : n - 2, first = periodic ? 0 : 1;
        auto h = [&](int i) { return m_t[(i + wrap) % wrap + 1] - m_t[(i + wrap) % wrap]; };
        auto slope = [&](int i) { return (m_y[(i + wrap) % wrap + 1] - m_y[(i + wrap) % wrap]) / h(i); };
        std::vector<std::vector<double>> a(std::max(unknowns, 0), std::vector<double>(unknowns + 1, 0.0));
        for (int r = 0; r < unknowns; ++r) {
            const int i = r + first;
            a[r][r] = 2.0 * (h(i - 1) + h(i));
            a[r][unknowns] = 6.0 * (slope(i) - slope(i - 1));
            if (periodic || r > 0) a[r][(r + unknowns - 1) % unknowns] += h(i - 1);
            if (periodic || r < unknowns - 1) a[r][(r + 1) % unknowns] += h(i);
        }
        for (int c = 0; c < unknowns; ++c) {
            int pivot = c;
            for (int r = c + 1; r < unknowns; ++r)
                if (std::fabs(a[r][c]) > std::fabs(a[pivot][c])) pivot = r;
            std::swap(a[c], a[pivot]);
            for (int r = 0; r < unknowns; ++r)  // k descends, so a[r][c] changes last
                for (int k = unknowns; r != c && k >= c; --k) a[r][k] -= a[r][c] / a[c][c] * a[c][k];
        }
        for (int r = 0; r < unknowns; ++r) m_m[r + first] = a[r][unknowns] / a[r][r];
        if (periodic) m_m[n - 1] = m_m[0];
    }

    double operator()(double x) const
    {
        std::size_t k = 0;
        while (k + 2 < m_t.size() && x > m_t[k + 1]) ++k;
        const double h = m_t[k + 1] - m_t[k], a = (m_t[k + 1] - x) / h, b = 1.0 - a;
        return a * m_y[k] + b * m_y[k + 1] + ((a * a * a - a) * m_m[k] + (b * b * b - b) * m_m[k + 1]) * h * h / 6.0;
    }

private:
    std::vector<double> m_t, m_y, m_m;
};

// 3-D curve through distinct points, parameter = normalised chord length;
// a closed curve comes back to the first point.
struct RefCurve {
    std::vector<RefSpline> axes;
    RefCurve(std::vector<P3> points, bool closed)
    {
        if (closed) points.push_back(points[0]);
        std::vector<double> t{0.0}, c[3];
        for (std::size_t i = 1; i < points.size(); ++i) t.push_back(t.back() + Distance(points[i], points[i - 1]));
        for (double& v : t) v /= t.back();
        for (const P3& p : points) c[0].push_back(p.x), c[1].push_back(p.y), c[2].push_back(p.z);
        for (auto& values : c) axes.emplace_back(t, values, closed);
    }
    D3 operator()(double t) const { return {axes[0](t), axes[1](t), axes[2](t)}; }
};

// A loose spiral of n unevenly spaced points, coordinates up to about 200.
inline std::vector<P3> Spiral(int n)
{
    std::vector<P3> points;
    for (int i = 0; i < n; ++i) {
        const double a = i * 0.37 + 0.1 * std::sin(i * 1.7);
        points.push_back({float(100 + 60 * std::cos(a)), float(100 + 45 * std::sin(a)), float(3.0 * i + std::sin(i))});
    }
    return points;
}

}  // namespace path_test
