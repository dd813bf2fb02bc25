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

bool ZelObliqueImageGenerator::DisplayToVoxel(int width, int height, const Zel2DVector<float>& display,
                                              Zel3DVector<float>& voxel,
                                              const ZelObliqueImageGeneratorParam& param) const
{
    float s[3];
    float m;
    if (m_image == nullptr || !zel_oblique::ObliqueNormalisedSpacing(*m_image, s, m)) return false;
    const float dx = display.x - static_cast<float>(width - 1) * 0.5f;
    const float dy = display.y - static_cast<float>(height - 1) * 0.5f;
    const float center[3] = {param.center.x, param.center.y, param.center.z};
    float v[3];
    for (int a = 0; a < 3; ++a) {
        v[a] = (center[a] * s[a] + dx * param.orientation.m[a][0] / param.zoom +
                dy * param.orientation.m[a][1] / param.zoom) /
               s[a];
    }
    voxel = {v[0], v[1], v[2]};
    const Zel3DVector<int> size = m_image->GetImageSize();
    const float high[3] = {static_cast<float>(size.x - 1), static_cast<float>(size.y - 1),
                           static_cast<float>(size.z - 1)};
    for (int a = 0; a < 3; ++a)
        if (!(v[a] >= 0.0f && v[a] <= high[a])) return false;  // NaN is outside too
    return true;
}

namespace {

// Display position of a voxel; false when outside the output.
bool ProjectToDisplay(const float s[3], int width, int height, const Zel3DVector<float>& voxel,
                      Zel2DVector<float>& display, const ZelObliqueImageGeneratorParam& param)
{
    const float v[3] = {voxel.x, voxel.y, voxel.z};
    const float c[3] = {param.center.x, param.center.y, param.center.z};
    float x = static_cast<float>(width - 1) * 0.5f;
    float y = static_cast<float>(height - 1) * 0.5f;
    for (int a = 0; a < 3; ++a) {
        const float d = (v[a] * s[a] - c[a] * s[a]) * param.zoom;
        x += param.orientation.m[a][0] * d;
        y += param.orientation.m[a][1] * d;
    }
    display = {x, y};
    return x >= 0.0f && x <= static_cast<float>(width - 1) && y >= 0.0f && y <= static_cast<float>(height - 1);
}

}  // namespace

bool ZelObliqueImageGenerator::VoxelToDisplay(int width, int height, const Zel3DVector<float>& voxel,
                                              Zel2DVector<float>& display,
                                              const ZelObliqueImageGeneratorParam& param) const
{
    float s[3];
    float m;
    if (m_image == nullptr || !zel_oblique::ObliqueNormalisedSpacing(*m_image, s, m)) return false;
    return ProjectToDisplay(s, width, height, voxel, display, param);
}

bool ZelObliqueImageGenerator::VoxelToDisplay(int width, int height, const std::vector<Zel3DVector<float>>& voxels,
                                              std::vector<Zel2DVector<float>>& displays,
                                              const ZelObliqueImageGeneratorParam& param) const
{
    float s[3];
    float m;
    if (m_image == nullptr || !zel_oblique::ObliqueNormalisedSpacing(*m_image, s, m)) return false;
    displays.resize(voxels.size());
    for (std::size_t i = 0; i < voxels.size(); ++i) ProjectToDisplay(s, width, height, voxels[i], displays[i], param);
    return true;
}
