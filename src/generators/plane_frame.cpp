#include "generators/plane_frame.h"

#include <algorithm>
#include <cmath>

template <class Real>
Zel3DVector<float> ZelPlaneFrame<Real>::DisplayToVoxel(int width, int height, const Zel2DVector<float>& display) const
{
    const Real dx = static_cast<Real>(display.x) - static_cast<Real>(width - 1) * static_cast<Real>(0.5);
    const Real dy = static_cast<Real>(display.y) - static_cast<Real>(height - 1) * static_cast<Real>(0.5);
    float v[3];
    for (int a = 0; a < 3; ++a)
        v[a] = static_cast<float>((dx * right[a] / zoom + centre[a] * s[a] + dy * down[a] / zoom) / s[a]);
    return {v[0], v[1], v[2]};
}

template <class Real>
Zel2DVector<float> ZelPlaneFrame<Real>::VoxelToDisplay(int width, int height, const Zel3DVector<float>& voxel) const
{
    const Real v[3] = {voxel.x, voxel.y, voxel.z};
    Real x = static_cast<Real>(width - 1) * static_cast<Real>(0.5);
    Real y = static_cast<Real>(height - 1) * static_cast<Real>(0.5);
    for (int a = 0; a < 3; ++a) {
        const Real d = (v[a] * s[a] - centre[a] * s[a]) * zoom;
        x += d * right[a];
        y += d * down[a];
    }
    return {static_cast<float>(x), static_cast<float>(y)};
}

template struct ZelPlaneFrame<float>;
template struct ZelPlaneFrame<double>;

bool ZelNormalisedSpacing(const ZelImageBase& volume, float s[3], float& finest)
{
    const Zel3DVector<float> scale = volume.GetImageScale();
    finest = std::min(scale.x, std::min(scale.y, scale.z));
    s[0] = scale.x / finest;
    s[1] = scale.y / finest;
    s[2] = scale.z / finest;
    const float spacing[3] = {scale.x, scale.y, scale.z};
    for (float v : spacing)
        if (!(std::isfinite(v) && v > 0.0f)) return false;
    return true;
}

bool ZelInsideVolume(const Zel3DVector<float>& voxel, const ZelImageBase& volume)
{
    const Zel3DVector<int> size = volume.GetImageSize();
    return voxel.x >= 0.0f && voxel.x <= static_cast<float>(size.x - 1) && voxel.y >= 0.0f &&
           voxel.y <= static_cast<float>(size.y - 1) && voxel.z >= 0.0f && voxel.z <= static_cast<float>(size.z - 1);
}

bool ZelInsideDisplay(const Zel2DVector<float>& display, int width, int height)
{
    return display.x >= 0.0f && display.x <= static_cast<float>(width - 1) && display.y >= 0.0f &&
           display.y <= static_cast<float>(height - 1);
}
