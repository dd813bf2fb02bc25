#pragma once

#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelExport.h"
#include "ZelImageGeneratorBase.h"
#include "ZelMatrix3x3.h"

// Slab modes of ZelObliqueImageGeneratorParam::slabMode (same numbering as the
// MPR stacked slice).
enum ZEL_OBLIQUE_SLAB_MODE {
    ZEL_OBLIQUE_SLAB_AVERAGE = 0,
    ZEL_OBLIQUE_SLAB_MAXIMUM = 1,
    ZEL_OBLIQUE_SLAB_MINIMUM = 2,
};

// Parameters of one oblique plane. orientation is stored row by row; its
// column 0 is the display x direction (right), column 1 the display y
// direction (down) and column 2 the plane normal (slab direction), all in
// normalised voxel space.
struct ZEL_API ZelObliqueImageGeneratorParam {
    Zel3DVector<float> center;  // voxel position at the output's centre
    ZelMatrix3x3<float> orientation;
    float zoom;
    int backgroundValue;
    int interpolation;  // 0 nearest, 1 interpolated; anything else fails
    int slabMode;       // ZEL_OBLIQUE_SLAB_MODE (left unset by the constructor)
    float thickness;    // slab thickness in units of the smallest voxel spacing

    ZelObliqueImageGeneratorParam();
};

// Planes of any orientation, optionally as thick slabs along the normal.
class ZEL_API ZelObliqueImageGenerator : public ZelImageGeneratorBase {
public:
    ZelObliqueImageGenerator() = default;
    ZelObliqueImageGenerator(const ZelObliqueImageGenerator&) = default;
    ZelObliqueImageGenerator& operator=(const ZelObliqueImageGenerator&) = default;
    ~ZelObliqueImageGenerator() override;

    ZelImageBase* GenerateImage(int width, int height, const ZelObliqueImageGeneratorParam& param);
    bool GenerateImage(ZelImageBase* image, const ZelObliqueImageGeneratorParam& param);

    bool DisplayToVoxel(int width, int height, const Zel2DVector<float>& display, Zel3DVector<float>& voxel,
                        const ZelObliqueImageGeneratorParam& param) const;
    bool VoxelToDisplay(int width, int height, const Zel3DVector<float>& voxel, Zel2DVector<float>& display,
                        const ZelObliqueImageGeneratorParam& param) const;
    bool VoxelToDisplay(int width, int height, const std::vector<Zel3DVector<float>>& voxels,
                        std::vector<Zel2DVector<float>>& displays, const ZelObliqueImageGeneratorParam& param) const;
};
