#include "ZelImageGeneratorBase.h"

ZelImageGeneratorBase::~ZelImageGeneratorBase() = default;

void ZelImageGeneratorBase::SetImage(ZelImageBase* image)
{
    m_image = image;
}

ZelImageBase* ZelImageGeneratorBase::GetImage() const
{
    return m_image;
}
