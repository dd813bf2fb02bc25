// The planes of one volume cut through another volume of the same patient
// (a label atlas, a PET): the pixels of the first volume's picture are taken
// to patient millimetres by its transform and into the other volume's voxels
// by the inverse of that one's, and the oblique generator samples the other
// volume on the plane found. The generator takes any orientation, so the two
// grids may differ in size, spacing, origin and direction alike.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ZelObliqueImageGenerator.h"
#include "planes.h"

namespace {

// Voxel index of one volume to voxel index of another: v' = a * v + t.
struct IndexMap {
    double a[3][3];
    double t[3];

    Vec3 Point(const Vec3& v) const { return Vec3{{Row(0, v) + t[0], Row(1, v) + t[1], Row(2, v) + t[2]}}; }
    Vec3 Direction(const Vec3& v) const { return Vec3{{Row(0, v), Row(1, v), Row(2, v)}}; }
    double Row(int r, const Vec3& v) const { return a[r][0] * v[0] + a[r][1] * v[1] + a[r][2] * v[2]; }
};

// The map from `from`'s voxels to `to`'s, through the patient.
IndexMap MapBetween(const Volume& from, const Volume& to)
{
    const double(&m)[3][4] = to.ijkToPatient;
    // Inverse of the 3x3 part by cofactors; SetTransform has made sure it
    // spans a volume.
    double inverse[3][3];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            const int r1 = (c + 1) % 3, r2 = (c + 2) % 3, c1 = (r + 1) % 3, c2 = (r + 2) % 3;
            inverse[r][c] = m[r1][c1] * m[r2][c2] - m[r1][c2] * m[r2][c1];
        }
    const double det = m[0][0] * inverse[0][0] + m[0][1] * inverse[1][0] + m[0][2] * inverse[2][0];
    for (auto& row : inverse)
        for (double& v : row) v /= det;
    IndexMap map{};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 3; ++k) map.a[r][c] += inverse[r][k] * from.ijkToPatient[k][c];
        for (int k = 0; k < 3; ++k) map.t[r] += inverse[r][k] * (from.ijkToPatient[k][3] - m[k][3]);
    }
    return map;
}

// Whether the boxes of the voxels of `a`, seen in `b`'s voxel space, lie
// wholly beyond one face of b's box. Testing the faces of both boxes finds
// every separation of axis-parallel grids and nearly every one of turned ones.
bool Beyond(const Volume& a, const Volume& b)
{
    const IndexMap map = MapBetween(a, b);
    for (int axis = 0; axis < 3; ++axis) {
        double lo = 1e300, hi = -1e300;
        for (int corner = 0; corner < 8; ++corner) {
            Vec3 v;
            for (int k = 0; k < 3; ++k) v[k] = (corner >> k) & 1 ? a.size[k] - 0.5 : -0.5;
            const double p = map.Point(v)[axis];
            lo = std::min(lo, p);
            hi = std::max(hi, p);
        }
        if (hi < -0.5 || lo > b.size[axis] - 0.5) return true;
    }
    return false;
}

// The volume's extent in patient millimetres, for messages.
std::string Extent(const Volume& volume)
{
    double lo[3] = {1e300, 1e300, 1e300}, hi[3] = {-1e300, -1e300, -1e300};
    for (int corner = 0; corner < 8; ++corner)
        for (int r = 0; r < 3; ++r) {
            double p = volume.ijkToPatient[r][3];
            for (int k = 0; k < 3; ++k)
                p += volume.ijkToPatient[r][k] * ((corner >> k) & 1 ? volume.size[k] - 0.5 : -0.5);
            lo[r] = std::min(lo[r], p);
            hi[r] = std::max(hi[r], p);
        }
    char text[160];
    std::snprintf(text, sizeof(text), "x %.0f..%.0f, y %.0f..%.0f, z %.0f..%.0f mm", lo[0], hi[0], lo[1], hi[1], lo[2],
                  hi[2]);
    return text;
}

class FollowingPlanes : public PlaneChoice {
public:
    FollowingPlanes(const PlaneChoice& main, ZelImageBase* mainVoxels, const IndexMap& map, bool nearest)
        : m_main(main), m_mainVoxels(mainVoxels), m_map(map), m_nearest(nearest)
    {
        m_width = main.Width();
        m_height = main.Height();
    }

    int Count() const override { return m_main.Count(); }
    int Number(int index) const override { return m_main.Number(index); }
    std::string Caption(int index) const override { return m_main.Caption(index); }
    bool PrefersTiled(const Volume&) const override { return false; }

    bool Locate(ZelImageBase*, int index, PixelPlane& plane) const override
    {
        PixelPlane main;
        if (!m_main.Locate(m_mainVoxels, index, main)) return false;
        plane = {m_map.Point(main.origin), m_map.Direction(main.right), m_map.Direction(main.down)};
        return true;
    }

    bool Generate(ZelImageBase* volume, int index, std::unique_ptr<ZelImageBase>& slice,
                  std::string& error) const override
    {
        PixelPlane plane;
        ZelObliqueImageGeneratorParam param;
        if (!volume || !Locate(volume, index, plane) || !ObliqueParam(*volume, plane, param)) {
            error = "internal: the plane has no volume";
            return false;
        }
        return plane_detail::ObliqueSlice(volume, m_width, m_height, param, slice, error);
    }

private:
    // The oblique plane whose pixels are exactly `plane`'s: zoom 1, and the
    // pixel steps themselves as the directions (in the generator's
    // normalised voxel space), whatever their length and angle.
    bool ObliqueParam(const ZelImageBase& volume, const PixelPlane& plane, ZelObliqueImageGeneratorParam& p) const
    {
        const Zel3DVector<float> scale = volume.GetImageScale();
        const float finest = std::min(scale.x, std::min(scale.y, scale.z));
        if (!(finest > 0.0f)) return false;
        const float s[3] = {scale.x / finest, scale.y / finest, scale.z / finest};
        Vec3 right, down;
        for (int a = 0; a < 3; ++a) {
            right[a] = plane.right[a] * s[a];
            down[a] = plane.down[a] * s[a];
        }
        const Vec3 normal = Normalised(Cross(right, down));
        const Vec3 centre = plane.origin + 0.5 * (m_width - 1) * plane.right + 0.5 * (m_height - 1) * plane.down;
        p.center = {static_cast<float>(centre[0]), static_cast<float>(centre[1]), static_cast<float>(centre[2])};
        for (int a = 0; a < 3; ++a) {
            p.orientation.m[a][0] = static_cast<float>(right[a]);
            p.orientation.m[a][1] = static_cast<float>(down[a]);
            p.orientation.m[a][2] = static_cast<float>(normal[a]);
        }
        p.zoom = 1.0f;
        p.thickness = 0.0f;
        p.slabMode = ZEL_OBLIQUE_SLAB_AVERAGE;
        p.interpolation = m_nearest ? 0 : 1;
        p.backgroundValue = m_background;
        return true;
    }

    const PlaneChoice& m_main;
    ZelImageBase* m_mainVoxels;
    IndexMap m_map;
    bool m_nearest;
};

}  // namespace

std::unique_ptr<PlaneChoice> FollowPlanes(const PlaneChoice& main, const Volume& mainVolume, const Volume& other,
                                          bool nearest, const std::string& what, std::string& error)
{
    if (Beyond(other, mainVolume) || Beyond(mainVolume, other)) {
        error = what + " does not meet the volume anywhere: it covers " + Extent(other) + ", the volume " +
                Extent(mainVolume) + " (patient coordinates from both headers)";
        return nullptr;
    }
    return std::make_unique<FollowingPlanes>(main, mainVolume.image.get(), MapBetween(mainVolume, other), nearest);
}
