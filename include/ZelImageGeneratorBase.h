#pragma once

#include "ZelExport.h"
#include "ZelImageBase.h"

// Conventions of the reslicing generators
// ---------------------------------------
// * Display pixel centres lie at whole display coordinates; the centre of a
//   W x H output is ((W - 1) / 2, (H - 1) / 2), between pixels when W or H is
//   even. Voxel centres lie at whole voxel coordinates (index units).
// * Geometry is done in normalised voxel space: with m the smallest voxel
//   spacing of the volume, each axis is scaled by s = spacing / m, so the
//   finest axis has s = 1 and a plane that is orthonormal in normalised space
//   shows an anisotropic volume undistorted. zoom is output pixels per
//   normalised voxel: one output pixel covers m / zoom in the units of the
//   spacing, the scale a generator sets on every image it fills.
// * Sampling walks hold positions and steps in 17.15 fixed point (one voxel =
//   32768), truncated toward zero.
// * DisplayToVoxel and VoxelToDisplay use the very plane the pixels are
//   sampled on: the voxel a display position maps to is the one the pixel
//   there shows.
// * An image returned by a creating GenerateImage belongs to the caller, who
//   destroys it with delete. False or null means: no volume, no output image,
//   output type differs from the volume's, unsupported type or mode, or no
//   memory. Nothing is kept between calls: one generator may serve several
//   threads at once if each call has its own output image.

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
