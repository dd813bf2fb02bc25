#include <new>

#include "ZelImage.h"
#include "ZelObliqueImageGenerator.h"
#include "generators/oblique_setup.h"

ZelObliqueImageGeneratorParam::ZelObliqueImageGeneratorParam()
    : center{0.0f, 0.0f, 0.0f},
      orientation{{{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}}},
      zoom(1.0f),
      backgroundValue(0),
      interpolation(1),
      thickness(0.0f)
{
    // slabMode is left as it is on purpose: see the header.
}

ZelObliqueImageGenerator::~ZelObliqueImageGenerator() = default;

ZelImageBase* ZelObliqueImageGenerator::GenerateImage(int width, int height, const ZelObliqueImageGeneratorParam& param)
{
    if (m_image == nullptr || width <= 0 || height <= 0) return nullptr;
    ZelImageBase* image = ZelCreateImage(m_image->GetVoxelType(), m_image->GetMemoryAllocator());
    if (image == nullptr) return nullptr;
    if (image->Allocate(ZEL_ALIGNMENT_LINEAR, width, height, 1) != 0 || !GenerateImage(image, param)) {
        delete image;
        return nullptr;
    }
    return image;
}

bool ZelObliqueImageGenerator::GenerateImage(ZelImageBase* image, const ZelObliqueImageGeneratorParam& param)
{
    zel_oblique::ObliquePlan plan;
    switch (zel_oblique::PrepareOblique(m_image, image, param, plan)) {
    case zel_oblique::ObliquePrepared::kRejected: return false;
    case zel_oblique::ObliquePrepared::kUnsupported:
        image->SetImageScale({plan.outputScale, plan.outputScale, plan.outputScale});
        return false;
    case zel_oblique::ObliquePrepared::kReady: break;
    }
    zel_oblique::RunOblique(plan);
    image->SetImageScale({plan.outputScale, plan.outputScale, plan.outputScale});
    return true;
}

namespace {

// The frame of a thin plane of a width x height output; false without a
// volume or with a spacing that is not positive and finite.
bool MappingFrame(const ZelImageBase* volume, int width, int height, const ZelObliqueImageGeneratorParam& param,
                  ZelPlaneFrame<float>& frame)
{
    float m;
    return volume != nullptr && zel_oblique::ObliqueFrame(*volume, param, width, height, 0.0f, frame, m);
}

}  // namespace

bool ZelObliqueImageGenerator::DisplayToVoxel(int width, int height, const Zel2DVector<float>& display,
                                              Zel3DVector<float>& voxel,
                                              const ZelObliqueImageGeneratorParam& param) const
{
    ZelPlaneFrame<float> frame;
    if (!MappingFrame(m_image, width, height, param, frame)) return false;
    voxel = frame.DisplayToVoxel(width, height, display);
    return ZelInsideVolume(voxel, *m_image);
}

bool ZelObliqueImageGenerator::VoxelToDisplay(int width, int height, const Zel3DVector<float>& voxel,
                                              Zel2DVector<float>& display,
                                              const ZelObliqueImageGeneratorParam& param) const
{
    ZelPlaneFrame<float> frame;
    if (!MappingFrame(m_image, width, height, param, frame)) return false;
    display = frame.VoxelToDisplay(width, height, voxel);
    return ZelInsideDisplay(display, width, height);
}

bool ZelObliqueImageGenerator::VoxelToDisplay(int width, int height, const std::vector<Zel3DVector<float>>& voxels,
                                              std::vector<Zel2DVector<float>>& displays,
                                              const ZelObliqueImageGeneratorParam& param) const
{
    ZelPlaneFrame<float> frame;
    if (!MappingFrame(m_image, width, height, param, frame)) return false;
    displays.resize(voxels.size());
    for (std::size_t i = 0; i < voxels.size(); ++i) displays[i] = frame.VoxelToDisplay(width, height, voxels[i]);
    return true;
}
