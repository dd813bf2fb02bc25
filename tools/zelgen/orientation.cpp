#include "orientation.h"

#include <cmath>

#include "ZelMPRImageGenerator.h"

namespace {

const double kPi = 3.14159265358979323846;

Vec3 Axis(int a, double sign)
{
    Vec3 v{{0, 0, 0}};
    v[a] = sign;
    return v;
}

double Distance2(const Frame& a, const Frame& b)
{
    const Vec3 dr = a.right - b.right, dd = a.down - b.down;
    return Dot(dr, dr) + Dot(dd, dd);
}

// The patient-space frame of a standard plane.
void PatientAxes(PlaneKind kind, Vec3& right, Vec3& down)
{
    switch (kind) {
    case PlaneKind::Axial:
        right = Axis(0, -1);  // patient left
        down = Axis(1, -1);   // posterior
        break;
    case PlaneKind::Coronal:
        right = Axis(0, -1);  // patient left
        down = Axis(2, -1);   // inferior
        break;
    case PlaneKind::Sagittal:
        right = Axis(1, -1);  // posterior
        down = Axis(2, -1);   // inferior
        break;
    }
}

Frame Orthonormal(const Vec3& right, const Vec3& down)
{
    Frame f;
    f.down = Normalised(down);
    f.right = Normalised(right - Dot(right, f.down) * f.down);
    return f;
}

}  // namespace

Vec3 operator+(const Vec3& a, const Vec3& b)
{
    return Vec3{{a[0] + b[0], a[1] + b[1], a[2] + b[2]}};
}
Vec3 operator-(const Vec3& a, const Vec3& b)
{
    return Vec3{{a[0] - b[0], a[1] - b[1], a[2] - b[2]}};
}
Vec3 operator*(double s, const Vec3& a)
{
    return Vec3{{s * a[0], s * a[1], s * a[2]}};
}
double Dot(const Vec3& a, const Vec3& b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}
Vec3 Cross(const Vec3& a, const Vec3& b)
{
    return Vec3{{a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]}};
}
Vec3 Normalised(const Vec3& a)
{
    const double n = std::sqrt(Dot(a, a));
    return n > 0 ? (1.0 / n) * a : a;
}

int MprPlaneOf(PlaneKind kind, const AxisMap& map)
{
    const int normalAxis = kind == PlaneKind::Axial ? 2 : kind == PlaneKind::Coronal ? 1 : 0;
    // Voxel axis x is plane 0, y plane 1, z plane 2.
    return map.VoxelAxisOf(normalAxis);
}

Frame PatientFrame(PlaneKind kind)
{
    Frame f{{{0, 0, 0}}, {{0, 0, 0}}};
    PatientAxes(kind, f.right, f.down);
    return f;
}

Frame SnappedFrame(PlaneKind kind, const AxisMap& map)
{
    const Frame patient = PatientFrame(kind);
    auto snap = [&map](const Vec3& p) {
        for (int axis = 0; axis < 3; ++axis)
            if (p[axis] != 0) {
                const int a = map.VoxelAxisOf(axis);
                return Axis(a, p[axis] * map.sign[a]);
            }
        return Vec3{{0, 0, 0}};
    };
    return Frame{snap(patient.right), snap(patient.down)};
}

Vec3 PatientToIndex(const Volume& volume, const Vec3& patient)
{
    // Solve M * index = patient for the 3x3 part of the transform (Cramer).
    const auto& m = volume.ijkToPatient;
    const double det = m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) -
                       m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
                       m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
    Vec3 index{{0, 0, 0}};
    if (std::fabs(det) > 1e-12) {
        for (int c = 0; c < 3; ++c) {
            double n[3][3];
            for (int r = 0; r < 3; ++r)
                for (int k = 0; k < 3; ++k) n[r][k] = k == c ? patient[r] : m[r][k];
            index[c] =
                (n[0][0] * (n[1][1] * n[2][2] - n[1][2] * n[2][1]) - n[0][1] * (n[1][0] * n[2][2] - n[1][2] * n[2][0]) +
                 n[0][2] * (n[1][0] * n[2][1] - n[1][1] * n[2][0])) /
                det;
        }
    }
    return index;
}

Vec3 PatientToNormalised(const Volume& volume, const Vec3& patient)
{
    Vec3 index = PatientToIndex(volume, patient);
    const double* spacing = volume.spacing;
    const double finest = std::fmin(spacing[0], std::fmin(spacing[1], spacing[2]));
    for (int a = 0; a < 3; ++a) index[a] *= spacing[a] / finest;
    return Normalised(index);
}

Vec3 IndexStepToPatient(const Volume& volume, const Vec3& step)
{
    const auto& m = volume.ijkToPatient;
    Vec3 p{{0, 0, 0}};
    for (int r = 0; r < 3; ++r) p[r] = m[r][0] * step[0] + m[r][1] * step[1] + m[r][2] * step[2];
    return p;
}

Vec3 IndexToPatient(const Volume& volume, const Vec3& index)
{
    const auto& m = volume.ijkToPatient;
    return IndexStepToPatient(volume, index) + Vec3{{m[0][3], m[1][3], m[2][3]}};
}

Frame TurnAndFlip(const Frame& frame, double degrees, bool flipH, bool flipV)
{
    // Content at picture offset p moves to R p (clockwise with y down), so
    // the axes become R^-1 applied to (right, down).
    const double t = degrees * kPi / 180.0;
    double c = std::cos(t), s = std::sin(t);
    // Right angles exactly, so that snapped frames stay exact.
    const double quarter = degrees / 90.0;
    if (quarter == std::floor(quarter)) {
        const int q = ((static_cast<int>(std::fmod(quarter, 4.0)) % 4) + 4) % 4;
        const double cs[4][2] = {{1, 0}, {0, 1}, {-1, 0}, {0, -1}};
        c = cs[q][0];
        s = cs[q][1];
    }
    Frame out{c * frame.right - s * frame.down, s * frame.right + c * frame.down};
    if (flipH) out.right = -1.0 * out.right;
    if (flipV) out.down = -1.0 * out.down;
    return out;
}

Frame MprFrame(int plane, int rotation, double angle, bool flipH, bool flipV)
{
    // The generator is asked where one pixel right and one pixel down land,
    // on a one-voxel volume of unit spacing: its frame (rotation, flips and
    // the snapping of right angles) is its own, and ours must agree with it.
    struct UnitVolume {
        ZelImage<short> image;
        UnitVolume() { image.Allocate(ZEL_ALIGNMENT_LINEAR, 1, 1, 1); }
    };
    static UnitVolume unit;
    ZelMPRImageGenerator generator;
    generator.SetImage(&unit.image);
    ZelMPRImageGeneratorParam param;
    param.plane = plane;
    param.rotation = rotation;
    param.rotationAngle = static_cast<float>(angle);
    param.flipHorizontal = flipH;
    param.flipVertical = flipV;
    Zel3DVector<float> origin, right, down;
    generator.DisplayToVoxel(3, 3, {1, 1}, origin, param);
    generator.DisplayToVoxel(3, 3, {2, 1}, right, param);
    generator.DisplayToVoxel(3, 3, {1, 2}, down, param);
    return Frame{Vec3{{right.x - origin.x, right.y - origin.y, right.z - origin.z}},
                 Vec3{{down.x - origin.x, down.y - origin.y, down.z - origin.z}}};
}

MprOrientation SolveMprOrientation(int plane, const Frame& target)
{
    MprOrientation best;
    best.residual = 1e300;
    for (int rotation = 0; rotation < 4; ++rotation)
        for (int flips = 0; flips < 4; ++flips) {
            const bool h = flips & 1, v = flips & 2;
            const double d = Distance2(MprFrame(plane, rotation, 0, h, v), target);
            if (d < best.residual) best = MprOrientation{rotation, 0, h, v, d};
        }
    if (best.residual < 1e-12) return best;
    // A free angle: rotating the base right vector r0 about n gives
    // cos(a) r0 + sin(a) (n x r0); read a off the wanted right vector.
    const Frame base = MprFrame(plane, 0, 0, false, false);
    const Vec3 n = Cross(base.right, base.down);
    const Vec3 side = Cross(n, base.right);
    for (int flips = 0; flips < 4; ++flips) {
        const bool h = flips & 1, v = flips & 2;
        const Vec3 r = h ? -1.0 * target.right : target.right;
        const double angle = std::atan2(Dot(r, side), Dot(r, base.right));
        const double d = Distance2(MprFrame(plane, 4, angle, h, v), target);
        if (d < best.residual - 1e-12) best = MprOrientation{4, angle, h, v, d};
    }
    return best;
}

Frame ObliqueFrame(const Volume& volume, PlaneKind kind, const double tilt[2])
{
    Vec3 r{{0, 0, 0}}, d{{0, 0, 0}};
    PatientAxes(kind, r, d);
    Vec3 n = Cross(r, d);  // into the screen
    const double a = tilt[0] * kPi / 180.0, b = tilt[1] * kPi / 180.0;
    // About the horizontal axis: the top comes towards the viewer.
    const Vec3 d1 = std::cos(a) * d + std::sin(a) * n;
    const Vec3 n1 = std::cos(a) * n - std::sin(a) * d;
    // About the vertical axis: the right side comes towards the viewer.
    const Vec3 r1 = std::cos(b) * r - std::sin(b) * n1;
    return Orthonormal(PatientToNormalised(volume, r1), PatientToNormalised(volume, d1));
}

Frame NormalFrame(const Volume& volume, const double normal[3])
{
    const Vec3 n = Normalised(Vec3{{normal[0], normal[1], normal[2]}});
    // The standard plane whose normal is nearest gives the picture's up.
    PlaneKind kind = PlaneKind::Axial;
    double best = std::fabs(n[2]);
    if (std::fabs(n[1]) > best) kind = PlaneKind::Coronal, best = std::fabs(n[1]);
    if (std::fabs(n[0]) > best) kind = PlaneKind::Sagittal;
    Vec3 r0{{0, 0, 0}}, d0{{0, 0, 0}};
    PatientAxes(kind, r0, d0);
    Vec3 nn = Dot(n, Cross(r0, d0)) < 0 ? -1.0 * n : n;
    const Vec3 d = Normalised(d0 - Dot(d0, nn) * nn);
    const Vec3 r = Cross(d, nn);
    return Orthonormal(PatientToNormalised(volume, r), PatientToNormalised(volume, d));
}
