// ZelMPRImageGenerator: argument checks, geometry of the call and the one
// dispatch on the voxel type.
#include <new>

#include "ZelImage.h"
#include "generators/dispatch.h"
#include "generators/mpr_kernels.h"

namespace {

int AxisOf(const double v[3])
{
    return v[0] != 0.0 ? 0 : (v[1] != 0.0 ? 1 : 2);
}

template <class T>
bool RunKernel(const ZelImageBase& volume, ZelImageBase& image, const ZelMPRImageGeneratorParam& param,
               const ZelMPRFrame& frame)
{
    const ZelPlaneFrame<double>& f = frame.plane;
    const T* voxels = static_cast<const T*>(volume.GetVoidDataPtr());
    T* out = static_cast<T*>(image.GetVoidDataPtr());
    const Zel3DVector<int> outSize = image.GetImageSize();
    ZelMPRSliceSetup g(volume);
    g.width = outSize.x;
    g.height = outSize.y;
    g.background = param.backgroundValue;
    const int normal = frame.normalAxis;
    g.sliceOffset = g.layout.axis[normal].Offset(static_cast<int>(f.start[normal]));

    const bool isShort = volume.GetVoxelType() == ZEL_VOXEL_SHORT;
    if (isShort && param.interpolation != 0 && param.interpolation != 1) return false;
    const bool interpolate = isShort && param.interpolation == 1;

    if (param.rotation == ZEL_MPR_ROTATION_FREE) {
        g.uAxis = normal == 0 ? 1 : 0;
        g.vAxis = normal == 2 ? 1 : 2;
        g.u0 = f.start[g.uAxis];
        g.v0 = f.start[g.vAxis];
        g.uStepX = f.stepX[g.uAxis];
        g.vStepX = f.stepX[g.vAxis];
        g.uStepY = f.stepY[g.uAxis];
        g.vStepY = f.stepY[g.vAxis];
        if (interpolate) {
            return ZelMPRFreeBilinear(g, reinterpret_cast<const short*>(voxels), reinterpret_cast<short*>(out));
        }
        return ZelMPRFreeFloor(g, voxels, out);
    }

    // Snapped axes: each display direction follows exactly one volume axis.
    g.colAxis = AxisOf(f.right);
    g.rowAxis = AxisOf(f.down);
    if (!ZelToFixed(f.start[g.colAxis], g.colStart) || !ZelToFixed(f.start[g.rowAxis], g.rowStart) ||
        !ZelToFixed(f.stepX[g.colAxis], g.colStep) || !ZelToFixed(f.stepY[g.rowAxis], g.rowStep)) {
        ZelMPRFillBackground(out, static_cast<std::size_t>(g.width) * g.height, g.background);
        return true;
    }
    if (interpolate) {
        return ZelMPRInterpolated(g, reinterpret_cast<const short*>(voxels), reinterpret_cast<short*>(out));
    }
    return ZelMPRNearest(g, voxels, out);
}

}  // namespace

bool ZelMPRImageGenerator::GenerateImage(ZelImageBase* image, const ZelMPRImageGeneratorParam& param)
{
    const ZelImageBase* volume = m_image;
    if (!image || !volume || image->GetVoxelType() != volume->GetVoxelType()) return false;
    // Volumes and outputs without voxels, tiled outputs, and geometry that
    // defines no plane or no scale are refused before anything is written.
    if (!volume->GetVoidDataPtr() || !image->GetVoidDataPtr() || image->IsTiled()) return false;
    if (!ZelMPRViewDefined(param)) return false;
    const Zel3DVector<int> outSize = image->GetImageSize();
    ZelMPRFrame frame;
    if (!ZelMPRMakeFrame(*volume, param, outSize.x, outSize.y, frame)) return false;

    const Zel3DVector<int> size = volume->GetImageSize();
    const int normal = frame.normalAxis;
    const int slice = static_cast<int>(frame.plane.start[normal]);
    const int sliceLimit = normal == 0 ? size.x : (normal == 1 ? size.y : size.z);
    const std::size_t pixels = static_cast<std::size_t>(outSize.x) * outSize.y;
    if (slice < 0 || slice >= sliceLimit) {
        ZelDispatchGreyVoxel(image->GetVoxelType(), false, [&](auto tag) {
            using T = typename decltype(tag)::type;
            ZelMPRFillBackground(static_cast<T*>(image->GetVoidDataPtr()), pixels, param.backgroundValue);
            return true;
        });
        return true;
    }

    // Colour volumes are not resliced here.
    const bool written = ZelDispatchGreyVoxel(volume->GetVoxelType(), false, [&](auto tag) {
        return RunKernel<typename decltype(tag)::type>(*volume, *image, param, frame);
    });
    const float pixelSpacing = frame.finest / param.zoom;
    image->SetImageScale({pixelSpacing, pixelSpacing, pixelSpacing});
    return written;
}

ZelMPRImageGenerator::~ZelMPRImageGenerator() = default;

ZelImageBase* ZelMPRImageGenerator::GenerateImage(int width, int height, const ZelMPRImageGeneratorParam& param)
{
    if (!m_image) return nullptr;
    const int type = m_image->GetVoxelType();
    if (ZelGreyVoxelSlot(type) < 0) return nullptr;
    ZelImageBase* image = ZelCreateImage(type, m_image->GetMemoryAllocator());
    if (!image) return nullptr;
    if (image->Allocate(ZEL_ALIGNMENT_LINEAR, width, height, 1, false) != 0 || !GenerateImage(image, param)) {
        delete image;
        return nullptr;
    }
    return image;
}
