// Vector, rotation and quaternion helpers of the path code. Everything is
// computed in double: float vectors of the public types are widened on the
// way in and rounded once on the way out.
#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"

namespace zel_path {

struct Vec3 {
    double x, y, z;
};

inline Vec3 Widen(const Zel3DVector<float>& v)
{
    return {v.x, v.y, v.z};
}
inline Zel3DVector<float> Narrow(const Vec3& v)
{
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

inline Vec3 operator+(const Vec3& a, const Vec3& b)
{
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vec3 operator-(const Vec3& a, const Vec3& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vec3 operator*(double s, const Vec3& v)
{
    return {s * v.x, s * v.y, s * v.z};
}
inline double Dot(const Vec3& a, const Vec3& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vec3 Cross(const Vec3& a, const Vec3& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Length(const Vec3& v)
{
    return std::sqrt(Dot(v, v));
}

// Euclidean distance between two float points.
inline double Distance(const Zel3DVector<float>& a, const Zel3DVector<float>& b)
{
    return Length(Widen(a) - Widen(b));
}

// v scaled to unit length; the zero vector stays zero rather than becoming
// NaN.
inline Vec3 Normalise(const Vec3& v)
{
    const double length = Length(v);
    return length > 0.0 ? (1.0 / length) * v : v;
}

// Row-major 3 x 3 matrix.
struct Mat3 {
    double m[3][3];
};

inline Vec3 operator*(const Mat3& r, const Vec3& v)
{
    return {r.m[0][0] * v.x + r.m[0][1] * v.y + r.m[0][2] * v.z, r.m[1][0] * v.x + r.m[1][1] * v.y + r.m[1][2] * v.z,
            r.m[2][0] * v.x + r.m[2][1] * v.y + r.m[2][2] * v.z};
}

// Rotation about the unit axis a through angle (radians, right-handed).
inline Mat3 AxisRotation(const Vec3& a, double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double k = 1.0 - c;
    return {{{a.x * a.x * k + c, a.x * a.y * k - a.z * s, a.x * a.z * k + a.y * s},
             {a.x * a.y * k + a.z * s, a.y * a.y * k + c, a.y * a.z * k - a.x * s},
             {a.x * a.z * k - a.y * s, a.y * a.z * k + a.x * s, a.z * a.z * k + c}}};
}

// Unit quaternion w + xi + yj + zk.
struct Quat {
    double w, x, y, z;
};

inline Quat Normalise(const Quat& q)
{
    const double n = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
    return n > 0.0 ? Quat{q.w / n, q.x / n, q.y / n, q.z / n} : Quat{1.0, 0.0, 0.0, 0.0};
}

// Quaternion of the rotation whose matrix has the columns u, v, t. The
// largest of w, x, y, z is found first so that no small number is divided by.
inline Quat QuaternionOfColumns(const Vec3& u, const Vec3& v, const Vec3& t)
{
    const double m00 = u.x, m10 = u.y, m20 = u.z;
    const double m01 = v.x, m11 = v.y, m21 = v.z;
    const double m02 = t.x, m12 = t.y, m22 = t.z;
    const double trace = m00 + m11 + m22;
    Quat q;
    if (trace > 0.0) {
        const double s = 2.0 * std::sqrt(trace + 1.0);
        q = {0.25 * s, (m21 - m12) / s, (m02 - m20) / s, (m10 - m01) / s};
    } else if (m00 > m11 && m00 > m22) {
        const double s = 2.0 * std::sqrt(std::max(0.0, 1.0 + m00 - m11 - m22));
        q = {(m21 - m12) / s, 0.25 * s, (m01 + m10) / s, (m02 + m20) / s};
    } else if (m11 > m22) {
        const double s = 2.0 * std::sqrt(std::max(0.0, 1.0 + m11 - m00 - m22));
        q = {(m02 - m20) / s, (m01 + m10) / s, 0.25 * s, (m12 + m21) / s};
    } else {
        const double s = 2.0 * std::sqrt(std::max(0.0, 1.0 + m22 - m00 - m11));
        q = {(m10 - m01) / s, (m02 + m20) / s, (m12 + m21) / s, 0.25 * s};
    }
    return Normalise(q);
}

// The three columns of the rotation matrix of unit quaternion q.
inline void ColumnsOfQuaternion(const Quat& q, Vec3& u, Vec3& v, Vec3& t)
{
    const double xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z;
    const double xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z;
    const double wx = q.w * q.x, wy = q.w * q.y, wz = q.w * q.z;
    u = {1.0 - 2.0 * (yy + zz), 2.0 * (xy + wz), 2.0 * (xz - wy)};
    v = {2.0 * (xy - wz), 1.0 - 2.0 * (xx + zz), 2.0 * (yz + wx)};
    t = {2.0 * (xz + wy), 2.0 * (yz - wx), 1.0 - 2.0 * (xx + yy)};
}

// Spherical interpolation from a to b by f, along the shorter arc (b or -b,
// whichever is nearer a). When the two are closer than |sin theta| < 0.0001,
// a is returned unchanged. The result is normalised.
inline Quat Slerp(const Quat& a, Quat b, double f)
{
    double cosine = a.w * b.w + a.x * b.x + a.y * b.y + a.z * b.z;
    if (cosine < 0.0) {
        b = {-b.w, -b.x, -b.y, -b.z};
        cosine = -cosine;
    }
    const double theta = std::acos(std::min(cosine, 1.0));
    const double s = std::sin(theta);
    if (std::fabs(s) < 0.0001) return a;
    const double ka = std::sin((1.0 - f) * theta) / s;
    const double kb = std::sin(f * theta) / s;
    return Normalise(Quat{ka * a.w + kb * b.w, ka * a.x + kb * b.x, ka * a.y + kb * b.y, ka * a.z + kb * b.z});
}

// Interval k of sorted abscissae for argument x: the first index whose x is
// >= the argument, less one unless it is 0; the last interval when every x is
// below the argument. Needs at least two points.
inline int IntervalBelow(const std::vector<Zel2DVector<float>>& points, float x)
{
    const auto it = std::lower_bound(points.begin(), points.end(), x,
                                     [](const Zel2DVector<float>& p, float value) { return p.x < value; });
    const int index = static_cast<int>(it - points.begin());
    const int last = static_cast<int>(points.size()) - 2;
    return index == 0 ? 0 : std::min(index - 1, last);
}

}  // namespace zel_path
