// MPR parameter record, in-image axes and the display <-> voxel mappings.
#include "generators/mpr_geometry.h"

#include <algorithm>
#include <cmath>

// rotationAngle is left unset on purpose: it only means something with
// rotation 4, and whoever selects rotation 4 sets it.
ZelMPRImageGeneratorParam::ZelMPRImageGeneratorParam()
    : slicePosition{0, 0, 0},
      center{0.0f, 0.0f, 0.0f},
      zoom(1.0f),
      backgroundValue(0),
      rotation(ZEL_MPR_ROTATION_0),
      plane(ZEL_MPR_PLANE_YZ),
      flipHorizontal(false),
      flipVertical(false),
      interpolation(1)
{
}

namespace {

// Right-hand rotation of v about the unit axis u by angle (Rodrigues).
void Rotate(const double u[3], double angle, double v[3])
{
    const double c = std::cos(angle), k = std::sin(angle), t = 1.0 - c;
    const double m[3][3] = {
        {t * u[0] * u[0] + c, t * u[0] * u[1] - k * u[2], t * u[0] * u[2] + k * u[1]},
        {t * u[0] * u[1] + k * u[2], t * u[1] * u[1] + c, t * u[1] * u[2] - k * u[0]},
        {t * u[0] * u[2] - k * u[1], t * u[1] * u[2] + k * u[0], t * u[2] * u[2] + c},
    };
    const double in[3] = {v[0], v[1], v[2]};
    for (int i = 0; i < 3; ++i) v[i] = m[i][0] * in[0] + m[i][1] * in[1] + m[i][2] * in[2];
}

}  // namespace

bool ZelMPRComputeAxes(const ZelMPRImageGeneratorParam& param, ZelMPRAxes& axes)
{
    static const double kRight[3][3] = {{0, 1, 0}, {1, 0, 0}, {1, 0, 0}};
    static const double kDown[3][3] = {{0, 0, 1}, {0, 0, 1}, {0, 1, 0}};
    static const double kNormal[3][3] = {{1, 0, 0}, {0, -1, 0}, {0, 0, 1}};
    if (param.plane < 0 || param.plane > 2) return false;
    const int p = param.plane;
    for (int i = 0; i < 3; ++i) {
        axes.right[i] = kRight[p][i];
        axes.down[i] = kDown[p][i];
    }
    axes.normalAxis = p;

    double angle = 0.0;
    switch (param.rotation) {
    case ZEL_MPR_ROTATION_90: angle = 1.5707963267948966; break;
    case ZEL_MPR_ROTATION_180: angle = 3.141592653589793; break;
    case ZEL_MPR_ROTATION_270: angle = 4.71238898038469; break;
    case ZEL_MPR_ROTATION_FREE: angle = param.rotationAngle; break;
    default: break;
    }
    if (param.rotation >= ZEL_MPR_ROTATION_90 && param.rotation <= ZEL_MPR_ROTATION_FREE) {
        Rotate(kNormal[p], angle, axes.right);
        Rotate(kNormal[p], angle, axes.down);
    }
    for (int i = 0; i < 3; ++i) {
        if (param.flipHorizontal) axes.right[i] = -axes.right[i];
        if (param.flipVertical) axes.down[i] = -axes.down[i];
    }
    if (param.rotation != ZEL_MPR_ROTATION_FREE) {
        for (int i = 0; i < 3; ++i) {
            axes.right[i] = ZelMPRSnap(axes.right[i]);
            axes.down[i] = ZelMPRSnap(axes.down[i]);
        }
    }
    return true;
}

void ZelMPRNormalisedScale(const ZelImageBase& volume, double s[3], float& finest)
{
    const Zel3DVector<float> scale = volume.GetImageScale();
    finest = std::min(scale.x, std::min(scale.y, scale.z));
    s[0] = scale.x / finest;
    s[1] = scale.y / finest;
    s[2] = scale.z / finest;
}

ZelMPRVolumeLayout::ZelMPRVolumeLayout(const ZelImageBase& volume)
{
    const Zel3DVector<int> n = volume.GetImageSize();
    size[0] = n.x;
    size[1] = n.y;
    size[2] = n.z;
    if (volume.IsTiled()) {
        const Zel3DVector<int> blocks = volume.GetTilingBlockNum();
        const std::ptrdiff_t outer[3] = {256, static_cast<std::ptrdiff_t>(blocks.x) * 256,
                                         static_cast<std::ptrdiff_t>(volume.GetBlocksPerSlice()) * 256};
        const std::ptrdiff_t inner[3] = {1, 16, 256};
        for (int i = 0; i < 3; ++i) axis[i] = {inner[i], outer[i], 16 * (outer[i] - inner[i])};
    } else {
        const std::ptrdiff_t stride[3] = {1, n.x, static_cast<std::ptrdiff_t>(n.x) * n.y};
        for (int i = 0; i < 3; ++i) axis[i] = {stride[i], stride[i], 0};
    }
}

bool ZelMPRImageGenerator::DisplayToVoxel(int width, int height, const Zel2DVector<float>& display,
                                          Zel3DVector<float>& voxel, const ZelMPRImageGeneratorParam& param) const
{
    ZelMPRAxes axes;
    if (!m_image || !ZelMPRComputeAxes(param, axes)) return false;
    double s[3];
    float finest;
    ZelMPRNormalisedScale(*m_image, s, finest);

    const double dx = display.x - (width - 1) * 0.5;
    const double dy = display.y - (height - 1) * 0.5;
    const double center[3] = {param.center.x, param.center.y, param.center.z};
    const int slice[3] = {param.slicePosition.x, param.slicePosition.y, param.slicePosition.z};
    float v[3];
    for (int i = 0; i < 3; ++i) {
        v[i] = static_cast<float>(
            (dx * axes.right[i] / param.zoom + center[i] * s[i] + dy * axes.down[i] / param.zoom) / s[i]);
    }
    v[axes.normalAxis] = static_cast<float>(slice[axes.normalAxis]);
    voxel = {v[0], v[1], v[2]};

    // Written so that a NaN coordinate counts as outside.
    const Zel3DVector<int> size = m_image->GetImageSize();
    const int last[3] = {size.x - 1, size.y - 1, size.z - 1};
    bool inside = true;
    for (int i = 0; i < 3; ++i) inside = inside && v[i] >= 0.0f && v[i] <= static_cast<float>(last[i]);
    return inside;
}

namespace {

// Display position of a voxel position; the component along the normal drops
// out of the projection.
Zel2DVector<float> Project(int width, int height, const Zel3DVector<float>& voxel, const ZelMPRAxes& axes,
                           const double s[3], const ZelMPRImageGeneratorParam& param)
{
    const double v[3] = {voxel.x, voxel.y, voxel.z};
    const double center[3] = {param.center.x, param.center.y, param.center.z};
    double x = (width - 1) * 0.5, y = (height - 1) * 0.5;
    for (int i = 0; i < 3; ++i) {
        const double p = (v[i] * s[i] - center[i] * s[i]) * param.zoom;
        x += p * axes.right[i];
        y += p * axes.down[i];
    }
    return {static_cast<float>(x), static_cast<float>(y)};
}

}  // namespace

bool ZelMPRImageGenerator::VoxelToDisplay(int width, int height, const Zel3DVector<float>& voxel,
                                          Zel2DVector<float>& display, const ZelMPRImageGeneratorParam& param) const
{
    ZelMPRAxes axes;
    if (!m_image || !ZelMPRComputeAxes(param, axes)) return false;
    double s[3];
    float finest;
    ZelMPRNormalisedScale(*m_image, s, finest);
    display = Project(width, height, voxel, axes, s, param);
    return display.x >= 0.0f && display.x <= static_cast<float>(width - 1) && display.y >= 0.0f &&
           display.y <= static_cast<float>(height - 1);
}

bool ZelMPRImageGenerator::VoxelToDisplay(int width, int height, const std::vector<Zel3DVector<float>>& voxels,
                                          std::vector<Zel2DVector<float>>& displays,
                                          const ZelMPRImageGeneratorParam& param) const
{
    ZelMPRAxes axes;
    if (!m_image || !ZelMPRComputeAxes(param, axes)) return false;
    double s[3];
    float finest;
    ZelMPRNormalisedScale(*m_image, s, finest);
    displays.resize(voxels.size());
    for (std::size_t i = 0; i < voxels.size(); ++i) displays[i] = Project(width, height, voxels[i], axes, s, param);
    return true;
}
