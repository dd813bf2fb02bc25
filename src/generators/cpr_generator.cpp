#include "ZelCPRImageGenerator.h"
#include "ZelImage.h"
#include "generators/cpr_setup.h"

ZelCPRImageGeneratorParam::ZelCPRImageGeneratorParam()
    : construction(ZEL_CPR_STRAIGHT),
      scale(1.0f),
      offset(0),
      centerColumn(0),
      direction{1.0f, 0.0f, 0.0f},
      rotationAngle(0.0f),
      pitch(1.0),
      tangentSpan(0.01),
      up{1.0f, 0.0f, 0.0f},
      view{{{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}}},
      layout(ZEL_CPR_LAYOUT_COLUMNS),
      interpolation(1),
      backgroundValue(0),
      slabMode(ZEL_CPR_SLAB_NONE),
      slabSampleCount(0),
      bandEnabled(false),
      bandWidth(0)
{
    // rowBandCenter, columnBandCenter and slabOffset are left as they are on
    // purpose: see the header.
}

ZelCPRImageGenerator::~ZelCPRImageGenerator() = default;

ZelImageBase* ZelCPRImageGenerator::GenerateImage(int width, int height, ZelCPRImageGeneratorParam& param, bool rebuild)
{
    if (m_image == nullptr || width <= 0 || height <= 0) return nullptr;
    ZelImageBase* image = ZelCreateImage(m_image->GetVoxelType(), m_image->GetMemoryAllocator());
    if (image == nullptr) return nullptr;
    if (image->Allocate(ZEL_ALIGNMENT_LINEAR, width, height, 1) != 0 || !GenerateImage(image, param, rebuild)) {
        delete image;
        return nullptr;
    }
    return image;
}

bool ZelCPRImageGenerator::GenerateImage(ZelImageBase* image, ZelCPRImageGeneratorParam& param, bool rebuild)
{
    zel_cpr::CprPlan plan;
    if (!zel_cpr::PrepareCpr(m_image, image, param, rebuild, plan)) return false;
    zel_cpr::RunCpr(plan);
    if (plan.haveOutputScale) image->SetImageScale({plan.outputScale, plan.outputScale, plan.outputScale});
    return true;
}
