// ZelMPRImageGenerator: argument checks, geometry of the call and the one
// dispatch on the voxel type.
#include <cmath>
#include <new>

#include "ZelImage.h"
#include "generators/mpr_kernels.h"

namespace {

// Fixed-point values are kept well inside 64 bits so that the span and walk
// arithmetic cannot overflow; geometry beyond this lies far outside any
// volume.
constexpr double kFixedLimit = 1152921504606846976.0;  // 2^60

bool ToFixed(double voxels, std::int64_t& fixed)
{
    const double scaled = voxels * 32768.0;
    if (!(std::fabs(scaled) < kFixedLimit)) return false;
    fixed = static_cast<std::int64_t>(scaled);  // truncation toward zero
    return true;
}

int AxisOf(const double v[3])
{
    return v[0] != 0.0 ? 0 : (v[1] != 0.0 ? 1 : 2);
}

template <class T>
bool RunKernel(const ZelImageBase& volume, ZelImageBase& image, const ZelMPRImageGeneratorParam& param,
               const ZelMPRAxes& axes, const double s[3], const double start[3], bool useSimd)
{
    const T* voxels = static_cast<const T*>(volume.GetVoidDataPtr());
    T* out = static_cast<T*>(image.GetVoidDataPtr());
    const Zel3DVector<int> outSize = image.GetImageSize();
    ZelMPRSliceSetup g(volume);
    g.width = outSize.x;
    g.height = outSize.y;
    g.background = param.backgroundValue;
    const int normal = axes.normalAxis;
    g.sliceOffset = g.layout.axis[normal].Offset(static_cast<int>(start[normal]));

    const bool isShort = volume.GetVoxelType() == ZEL_VOXEL_SHORT;
    if (isShort && param.interpolation != 0 && param.interpolation != 1) return false;
    const bool interpolate = isShort && param.interpolation == 1;

    double stepX[3], stepY[3];
    for (int i = 0; i < 3; ++i) {
        stepX[i] = axes.right[i] / (s[i] * param.zoom);
        stepY[i] = axes.down[i] / (s[i] * param.zoom);
    }

    if (param.rotation == ZEL_MPR_ROTATION_FREE) {
        g.uAxis = normal == 0 ? 1 : 0;
        g.vAxis = normal == 2 ? 1 : 2;
        g.u0 = start[g.uAxis];
        g.v0 = start[g.vAxis];
        g.uStepX = stepX[g.uAxis];
        g.vStepX = stepX[g.vAxis];
        g.uStepY = stepY[g.uAxis];
        g.vStepY = stepY[g.vAxis];
        if (interpolate) {
            return ZelMPRFreeBilinear(g, reinterpret_cast<const short*>(voxels), reinterpret_cast<short*>(out));
        }
        return ZelMPRFreeFloor(g, voxels, out);
    }

    // Snapped axes: each display direction follows exactly one volume axis.
    g.colAxis = AxisOf(axes.right);
    g.rowAxis = AxisOf(axes.down);
    if (!ToFixed(start[g.colAxis], g.colStart) || !ToFixed(start[g.rowAxis], g.rowStart) ||
        !ToFixed(stepX[g.colAxis], g.colStep) || !ToFixed(stepY[g.rowAxis], g.rowStep)) {
        ZelMPRFillBackground(out, static_cast<std::size_t>(g.width) * g.height, g.background);
        return true;
    }
    if (interpolate) {
        return ZelMPRInterpolated(g, reinterpret_cast<const short*>(voxels), reinterpret_cast<short*>(out), useSimd);
    }
    return ZelMPRNearest(g, voxels, out);
}

}  // namespace

bool ZelMPRFillSlice(const ZelImageBase* volume, ZelImageBase* image, const ZelMPRImageGeneratorParam& param,
                     bool useSimd)
{
    if (!image || !volume || image->GetVoxelType() != volume->GetVoxelType()) return false;
    // Volumes and outputs without voxels, tiled outputs, and geometry that
    // defines no plane or no scale are refused before anything is written.
    ZelMPRAxes axes;
    if (!volume->GetVoidDataPtr() || !image->GetVoidDataPtr() || image->IsTiled()) return false;
    if (!ZelMPRComputeAxes(param, axes)) return false;
    if (!(std::isfinite(param.zoom) && param.zoom > 0.0f) || !std::isfinite(param.center.x) ||
        !std::isfinite(param.center.y) || !std::isfinite(param.center.z)) {
        return false;
    }

    const Zel3DVector<int> outSize = image->GetImageSize();
    const int width = outSize.x, height = outSize.y;
    double s[3];
    float finest;
    ZelMPRNormalisedScale(*volume, s, finest);

    // Voxel position of display pixel (0, 0).
    const double center[3] = {param.center.x, param.center.y, param.center.z};
    const int slicePosition[3] = {param.slicePosition.x, param.slicePosition.y, param.slicePosition.z};
    double start[3];
    for (int i = 0; i < 3; ++i) {
        start[i] = (center[i] * s[i] - ((width - 1) * 0.5 / param.zoom) * axes.right[i] -
                    ((height - 1) * 0.5 / param.zoom) * axes.down[i]) /
                   s[i];
    }
    const int normal = axes.normalAxis;
    const int slice = slicePosition[normal];
    start[normal] = slice;

    const Zel3DVector<int> size = volume->GetImageSize();
    const int sliceLimit = normal == 0 ? size.x : (normal == 1 ? size.y : size.z);
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    if (slice < 0 || slice >= sliceLimit) {
        switch (image->GetVoxelType()) {
        case ZEL_VOXEL_UCHAR:
            ZelMPRFillBackground(static_cast<unsigned char*>(image->GetVoidDataPtr()), pixels, param.backgroundValue);
            break;
        case ZEL_VOXEL_USHORT:
        case ZEL_VOXEL_SHORT:
            ZelMPRFillBackground(static_cast<unsigned short*>(image->GetVoidDataPtr()), pixels, param.backgroundValue);
            break;
        default: break;
        }
        return true;
    }

    bool written = false;
    switch (volume->GetVoxelType()) {
    case ZEL_VOXEL_UCHAR: written = RunKernel<unsigned char>(*volume, *image, param, axes, s, start, useSimd); break;
    case ZEL_VOXEL_USHORT: written = RunKernel<unsigned short>(*volume, *image, param, axes, s, start, useSimd); break;
    case ZEL_VOXEL_SHORT: written = RunKernel<short>(*volume, *image, param, axes, s, start, useSimd); break;
    default: break;  // colour volumes are not resliced here
    }
    const float pixelSpacing = finest / param.zoom;
    image->SetImageScale({pixelSpacing, pixelSpacing, pixelSpacing});
    return written;
}

ZelMPRImageGenerator::~ZelMPRImageGenerator() = default;

bool ZelMPRImageGenerator::GenerateImage(ZelImageBase* image, const ZelMPRImageGeneratorParam& param)
{
    return ZelMPRFillSlice(m_image, image, param, true);
}

ZelImageBase* ZelMPRImageGenerator::GenerateImage(int width, int height, const ZelMPRImageGeneratorParam& param)
{
    if (!m_image) return nullptr;
    const int type = m_image->GetVoxelType();
    if (type != ZEL_VOXEL_UCHAR && type != ZEL_VOXEL_USHORT && type != ZEL_VOXEL_SHORT) return nullptr;
    ZelImageBase* image = ZelCreateImage(type, m_image->GetMemoryAllocator());
    if (!image) return nullptr;
    if (image->Allocate(ZEL_ALIGNMENT_LINEAR, width, height, 1, false) != 0 || !GenerateImage(image, param)) {
        delete image;
        return nullptr;
    }
    return image;
}
