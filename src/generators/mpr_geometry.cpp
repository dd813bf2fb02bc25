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

bool ZelMPRViewDefined(const ZelMPRImageGeneratorParam& param)
{
    return std::isfinite(param.zoom) && param.zoom > 0.0f && std::isfinite(param.center.x) &&
           std::isfinite(param.center.y) && std::isfinite(param.center.z);
}

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
    for (int i = 0; i < 3; ++i) axes.normal[i] = kNormal[p][i];
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

bool ZelMPRMakeFrame(const ZelImageBase& volume, const ZelMPRImageGeneratorParam& param, int width, int height,
                     ZelMPRFrame& frame)
{
    ZelMPRAxes axes;
    if (!ZelMPRComputeAxes(param, axes)) return false;
    float s[3];
    ZelNormalisedSpacing(volume, s, frame.finest);
    frame.normalAxis = axes.normalAxis;
    ZelPlaneFrame<double>& f = frame.plane;
    f.zoom = param.zoom;
    const double center[3] = {param.center.x, param.center.y, param.center.z};
    const int slice[3] = {param.slicePosition.x, param.slicePosition.y, param.slicePosition.z};
    for (int i = 0; i < 3; ++i) {
        f.right[i] = axes.right[i];
        f.down[i] = axes.down[i];
        f.normal[i] = axes.normal[i];
        f.s[i] = s[i];
        f.centre[i] = center[i];
        // The half extents are divided by the zoom, in double.
        f.start[i] = (center[i] * f.s[i] - ((width - 1) * 0.5 / f.zoom) * f.right[i] -
                      ((height - 1) * 0.5 / f.zoom) * f.down[i]) /
                     f.s[i];
        f.stepX[i] = f.right[i] / (f.s[i] * f.zoom);
        f.stepY[i] = f.down[i] / (f.s[i] * f.zoom);
        f.stepNormal[i] = f.normal[i] / f.s[i];
    }
    f.start[axes.normalAxis] = slice[axes.normalAxis];
    return true;
}

bool ZelMPRImageGenerator::DisplayToVoxel(int width, int height, const Zel2DVector<float>& display,
                                          Zel3DVector<float>& voxel, const ZelMPRImageGeneratorParam& param) const
{
    ZelMPRFrame frame;
    if (!m_image || !ZelMPRMakeFrame(*m_image, param, width, height, frame)) return false;
    // The plane lies on its slice, whatever the centre says along the normal.
    const Zel3DVector<float> v = frame.plane.DisplayToVoxel(width, height, display);
    float c[3] = {v.x, v.y, v.z};
    const int slice[3] = {param.slicePosition.x, param.slicePosition.y, param.slicePosition.z};
    c[frame.normalAxis] = static_cast<float>(slice[frame.normalAxis]);
    voxel = {c[0], c[1], c[2]};
    return ZelInsideVolume(voxel, *m_image);
}

bool ZelMPRImageGenerator::VoxelToDisplay(int width, int height, const Zel3DVector<float>& voxel,
                                          Zel2DVector<float>& display, const ZelMPRImageGeneratorParam& param) const
{
    ZelMPRFrame frame;
    if (!m_image || !ZelMPRMakeFrame(*m_image, param, width, height, frame)) return false;
    display = frame.plane.VoxelToDisplay(width, height, voxel);
    return ZelInsideDisplay(display, width, height);
}

bool ZelMPRImageGenerator::VoxelToDisplay(int width, int height, const std::vector<Zel3DVector<float>>& voxels,
                                          std::vector<Zel2DVector<float>>& displays,
                                          const ZelMPRImageGeneratorParam& param) const
{
    ZelMPRFrame frame;
    if (!m_image || !ZelMPRMakeFrame(*m_image, param, width, height, frame)) return false;
    displays.resize(voxels.size());
    for (std::size_t i = 0; i < voxels.size(); ++i) displays[i] = frame.plane.VoxelToDisplay(width, height, voxels[i]);
    return true;
}
