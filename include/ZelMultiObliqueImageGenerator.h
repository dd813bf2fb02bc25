#pragma once

#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelExport.h"
#include "ZelImageGeneratorBase.h"
#include "ZelMatrix3x3.h"
#include "ZelObliqueImageGenerator.h"

// Several oblique images in one call
// ----------------------------------
// The typical use is fusion: a CT and a PET of one patient cut on the same
// plane, each volume with its own size and voxel spacing, so that pixel (i, j)
// of every output shows the same point of the patient and the images can be
// overlaid pixel for pixel.
//
// * Volumes are set by index with SetImage(index, volume); SetImage(volume)
//   and GetImage() mean index 0. The generator owns none of them.
// * The plane is given once, in physical units (the units of the voxel
//   spacing, usually mm), in a frame shared by all volumes: voxel v of a volume
//   lies at origin + v * spacing per axis, origin being that image's
//   ZelMultiObliqueImageGeneratorImageParam::origin. The volumes' axes are
//   taken to be parallel (a rotated registration is outside this generator).
// * Each image is exactly the single oblique image of its volume with the
//   parameters GetObliqueParam derives:
//     center = (plane center - origin) / spacing (voxel index units);
//     orientation = the plane's orientation (normalised voxel space is
//       physical space scaled by 1 / m, so directions are unchanged);
//     zoom = m / pixelSpacing, m being that volume's smallest spacing;
//     thickness = the image's thickness (already physical);
//   and the other fields from the image's settings. So every output gets the
//   same pixel spacing (pixelSpacing on all three axes), a slab covers the same
//   physical thickness in every volume (in steps of that volume's own smallest
//   spacing), and the bytes equal those of ZelObliqueImageGenerator called
//   with the derived parameters.
// * One call checks every image before writing any pixel (all or nothing),
//   then spreads the rows of all images over one set of
//   ZelCPUController::GetAvailableCPUNumInThread() workers, one row at a time.
//   Every row is computed as the single generator computes it, so the number
//   of workers never changes a byte.

// Per-image settings.
struct ZEL_API ZelMultiObliqueImageGeneratorImageParam {
    int volumeIndex;            // index given to SetImage; 0
    Zel3DVector<float> origin;  // physical position of the volume's voxel (0, 0, 0); (0, 0, 0)
    int backgroundValue;        // 0
    int interpolation;          // 0 nearest, 1 interpolated (signed 16-bit volumes); 1
    int slabMode;               // ZEL_OBLIQUE_SLAB_MODE; average
    float thickness;            // physical slab thickness; 0 (a thin plane)

    ZelMultiObliqueImageGeneratorImageParam();
};

// The shared plane and the list of images.
struct ZEL_API ZelMultiObliqueImageGeneratorParam {
    Zel3DVector<float> center;        // physical point shown at every output's centre; (0, 0, 0)
    ZelMatrix3x3<float> orientation;  // columns right, down, normal (unit vectors, physical space); identity
    float pixelSpacing;               // physical size of one output pixel; 1
    std::vector<ZelMultiObliqueImageGeneratorImageParam> images;  // one entry per output image

    ZelMultiObliqueImageGeneratorParam();
};

class ZEL_API ZelMultiObliqueImageGenerator : public ZelImageGeneratorBase {
public:
    ZelMultiObliqueImageGenerator() = default;
    ZelMultiObliqueImageGenerator(const ZelMultiObliqueImageGenerator&) = default;
    ZelMultiObliqueImageGenerator& operator=(const ZelMultiObliqueImageGenerator&) = default;
    ~ZelMultiObliqueImageGenerator() override;

    // Volume of index 0.
    void SetImage(ZelImageBase* image) override;
    ZelImageBase* GetImage() const override;
    // Volume of any index >= 0 (a negative index is ignored); null clears it.
    void SetImage(int index, ZelImageBase* image);
    ZelImageBase* GetImage(int index) const;
    // One more than the highest index set so far.
    int GetImageCount() const;

    // New width x height images, one per entry of param.images, in that
    // order; the caller owns them. False (images left empty) when any image
    // fails, with nothing leaked.
    bool GenerateImage(int width, int height, const ZelMultiObliqueImageGeneratorParam& param,
                       std::vector<ZelImageBase*>& images);
    // Fills caller-supplied images (images[k] for param.images[k]; sizes may
    // differ). False, with no pixel written, when the counts differ, an
    // image's volume index has no volume, or any image fails the checks of
    // ZelObliqueImageGenerator::GenerateImage.
    bool GenerateImage(const std::vector<ZelImageBase*>& images, const ZelMultiObliqueImageGeneratorParam& param);

    // The single-oblique parameters of image imageIndex (see above), for the
    // coordinate mappings of ZelObliqueImageGenerator on that image's volume.
    // False when the index or its volume is missing or the volume's spacing is
    // not positive.
    bool GetObliqueParam(int imageIndex, const ZelMultiObliqueImageGeneratorParam& param,
                         ZelObliqueImageGeneratorParam& oblique) const;
    // Voxel of image imageIndex's volume under a display position of a width
    // x height output; as ZelObliqueImageGenerator::DisplayToVoxel.
    bool DisplayToVoxel(int width, int height, int imageIndex, const Zel2DVector<float>& display,
                        Zel3DVector<float>& voxel, const ZelMultiObliqueImageGeneratorParam& param) const;

private:
    const ZelImageBase* VolumeOf(int imageIndex, const ZelMultiObliqueImageGeneratorParam& param) const;

    std::vector<ZelImageBase*> m_volumes;  // by index; entry 0 mirrors the base's m_image
};
