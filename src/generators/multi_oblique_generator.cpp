#include <algorithm>
#include <cmath>
#include <memory>

#include "ZelCPUController.h"
#include "ZelImage.h"
#include "ZelMultiObliqueImageGenerator.h"
#include "ZelParallel.h"
#include "generators/oblique_setup.h"

ZelMultiObliqueImageGeneratorImageParam::ZelMultiObliqueImageGeneratorImageParam()
    : volumeIndex(0),
      origin{0.0f, 0.0f, 0.0f},
      backgroundValue(0),
      interpolation(1),
      slabMode(ZEL_OBLIQUE_SLAB_AVERAGE),
      thickness(0.0f)
{
}

ZelMultiObliqueImageGeneratorParam::ZelMultiObliqueImageGeneratorParam()
    : center{0.0f, 0.0f, 0.0f},
      orientation{{{1.0f, 0.0f, 0.0f}, {0.0f, 1.0f, 0.0f}, {0.0f, 0.0f, 1.0f}}},
      pixelSpacing(1.0f)
{
}

ZelMultiObliqueImageGenerator::~ZelMultiObliqueImageGenerator() = default;

void ZelMultiObliqueImageGenerator::SetImage(ZelImageBase* image)
{
    SetImage(0, image);
}

ZelImageBase* ZelMultiObliqueImageGenerator::GetImage() const
{
    return m_image;
}

void ZelMultiObliqueImageGenerator::SetImage(int index, ZelImageBase* image)
{
    if (index < 0) return;
    if (static_cast<std::size_t>(index) >= m_volumes.size()) m_volumes.resize(static_cast<std::size_t>(index) + 1);
    m_volumes[static_cast<std::size_t>(index)] = image;
    if (index == 0) m_image = image;
}

ZelImageBase* ZelMultiObliqueImageGenerator::GetImage(int index) const
{
    if (index == 0) return m_image;
    if (index < 0 || static_cast<std::size_t>(index) >= m_volumes.size()) return nullptr;
    return m_volumes[static_cast<std::size_t>(index)];
}

int ZelMultiObliqueImageGenerator::GetImageCount() const
{
    return std::max(static_cast<int>(m_volumes.size()), m_image != nullptr ? 1 : 0);
}

const ZelImageBase* ZelMultiObliqueImageGenerator::VolumeOf(int imageIndex,
                                                            const ZelMultiObliqueImageGeneratorParam& param) const
{
    if (imageIndex < 0 || static_cast<std::size_t>(imageIndex) >= param.images.size()) return nullptr;
    return GetImage(param.images[static_cast<std::size_t>(imageIndex)].volumeIndex);
}

bool ZelMultiObliqueImageGenerator::GetObliqueParam(int imageIndex, const ZelMultiObliqueImageGeneratorParam& param,
                                                    ZelObliqueImageGeneratorParam& oblique) const
{
    const ZelImageBase* volume = VolumeOf(imageIndex, param);
    float s[3];
    float m;
    if (volume == nullptr || !ZelNormalisedSpacing(*volume, s, m)) return false;
    if (!(param.pixelSpacing > 0.0f)) return false;
    const ZelMultiObliqueImageGeneratorImageParam& image = param.images[static_cast<std::size_t>(imageIndex)];
    const Zel3DVector<float> spacing = volume->GetImageScale();
    oblique.center = {(param.center.x - image.origin.x) / spacing.x, (param.center.y - image.origin.y) / spacing.y,
                      (param.center.z - image.origin.z) / spacing.z};
    // Normalised voxel space is physical space scaled by 1 / m on every axis,
    // so the directions carry over unchanged.
    oblique.orientation = param.orientation;
    oblique.zoom = m / param.pixelSpacing;
    oblique.backgroundValue = image.backgroundValue;
    oblique.interpolation = image.interpolation;
    oblique.slabMode = image.slabMode;
    oblique.thickness = image.thickness;
    return true;
}

bool ZelMultiObliqueImageGenerator::DisplayToVoxel(int width, int height, int imageIndex,
                                                   const Zel2DVector<float>& display, Zel3DVector<float>& voxel,
                                                   const ZelMultiObliqueImageGeneratorParam& param) const
{
    ZelObliqueImageGeneratorParam oblique;
    if (!GetObliqueParam(imageIndex, param, oblique)) return false;
    ZelObliqueImageGenerator single;
    single.SetImage(const_cast<ZelImageBase*>(VolumeOf(imageIndex, param)));
    return single.DisplayToVoxel(width, height, display, voxel, oblique);
}

bool ZelMultiObliqueImageGenerator::GenerateImage(const std::vector<ZelImageBase*>& images,
                                                  const ZelMultiObliqueImageGeneratorParam& param)
{
    if (images.size() != param.images.size()) return false;
    const std::size_t count = images.size();
    std::vector<zel_oblique::ObliquePlan> plans(count);
    // First row of every image in the common row numbering, and the total.
    std::vector<int> firstRow(count + 1, 0);
    for (std::size_t k = 0; k < count; ++k) {
        ZelObliqueImageGeneratorParam oblique;
        if (!GetObliqueParam(static_cast<int>(k), param, oblique)) return false;
        if (zel_oblique::PrepareOblique(VolumeOf(static_cast<int>(k), param), images[k], oblique, plans[k]) !=
            zel_oblique::ObliquePrepared::kReady)
            return false;
        const long long rows = static_cast<long long>(firstRow[k]) + plans[k].setup.height;
        if (rows > 0x7fffffff) return false;
        firstRow[k + 1] = static_cast<int>(rows);
    }
    ZelParallelRows(firstRow[count], ZelCPUController::GetAvailableCPUNumInThread(), [&](int row) {
        const std::size_t k =
            static_cast<std::size_t>(std::upper_bound(firstRow.begin(), firstRow.end(), row) - firstRow.begin()) - 1;
        const zel_oblique::ObliquePlan& plan = plans[k];
        if (plan.kernel != nullptr) plan.kernel(plan.setup, row - firstRow[k]);
    });
    for (std::size_t k = 0; k < count; ++k) {
        const float scale = plans[k].outputScale;
        images[k]->SetImageScale({scale, scale, scale});
    }
    return true;
}

bool ZelMultiObliqueImageGenerator::GenerateImage(int width, int height,
                                                  const ZelMultiObliqueImageGeneratorParam& param,
                                                  std::vector<ZelImageBase*>& images)
{
    images.clear();
    if (width <= 0 || height <= 0) return false;
    std::vector<std::unique_ptr<ZelImageBase>> made;
    for (std::size_t k = 0; k < param.images.size(); ++k) {
        const ZelImageBase* volume = VolumeOf(static_cast<int>(k), param);
        if (volume == nullptr) return false;
        std::unique_ptr<ZelImageBase> image(ZelCreateImage(volume->GetVoxelType(), volume->GetMemoryAllocator()));
        if (image == nullptr || image->Allocate(ZEL_ALIGNMENT_LINEAR, width, height, 1) != 0) return false;
        made.push_back(std::move(image));
    }
    std::vector<ZelImageBase*> raw;
    for (auto& image : made) raw.push_back(image.get());
    if (!GenerateImage(raw, param)) return false;
    for (auto& image : made) images.push_back(image.release());
    return true;
}
