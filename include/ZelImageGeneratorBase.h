#pragma once

#include "ZelExport.h"
#include "ZelImageBase.h"

// Base of the reslicing generators: holds the input volume. The generator
// never owns the volume: SetImage stores the pointer, the destructor leaves
// the volume alone, and copies share the pointer.
class ZEL_API ZelImageGeneratorBase {
public:
    ZelImageGeneratorBase() = default;
    ZelImageGeneratorBase(const ZelImageGeneratorBase&) = default;
    ZelImageGeneratorBase& operator=(const ZelImageGeneratorBase&) = default;
    virtual ~ZelImageGeneratorBase();

    virtual void SetImage(ZelImageBase* image);
    virtual ZelImageBase* GetImage() const;

protected:
    ZelImageBase* m_image = nullptr;
};
