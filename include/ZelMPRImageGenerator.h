#pragma once

#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelExport.h"
#include "ZelImageGeneratorBase.h"

// Conventions shared by the reslicing generators
// ----------------------------------------------
// * Display pixel centres lie at whole display coordinates; the centre of a
//   W x H output is ((W - 1) / 2, (H - 1) / 2), between pixels when W or H is
//   even.
// * Voxel centres lie at whole voxel coordinates (index units).
// * Geometry is done in normalised voxel space: each axis is scaled by
//   s = spacing / (smallest spacing), so the finest axis has s = 1 and an
//   anisotropic volume is shown undistorted. zoom is output pixels per
//   normalised voxel.
// * Sampling walks hold positions and steps in 17.15 fixed point
//   (one voxel = 32768), truncated toward zero.
// * An image returned by a creating GenerateImage belongs to the caller, who
//   destroys it with delete. False or null means: no volume, no output image,
//   output type differs from the volume's, unsupported type or mode, or no
//   memory. A slice outside the volume is not a failure: it shows the
//   background value.

// Plane values of ZelMPRImageGeneratorParam::plane.
enum ZEL_MPR_PLANE {
    ZEL_MPR_PLANE_YZ = 0,  // normal x (sagittal in a usual CT volume)
    ZEL_MPR_PLANE_XZ = 1,  // normal y (coronal)
    ZEL_MPR_PLANE_XY = 2,  // normal z (axial)
};

// Rotation values of ZelMPRImageGeneratorParam::rotation.
enum ZEL_MPR_ROTATION {
    ZEL_MPR_ROTATION_0 = 0,
    ZEL_MPR_ROTATION_90 = 1,
    ZEL_MPR_ROTATION_180 = 2,
    ZEL_MPR_ROTATION_270 = 3,
    ZEL_MPR_ROTATION_FREE = 4,  // by rotationAngle (radians)
};

// How the slices of a thick slab are combined by the stacked GenerateFilterImage.
enum ZelMPRStackImageMode {
    ZEL_MPR_STACK_AVERAGE = 0,
    ZEL_MPR_STACK_MAXIMUM = 1,
    ZEL_MPR_STACK_MINIMUM = 2,
    ZEL_MPR_STACK_TRIANGLE = 3,  // centre-weighted average, weights falling linearly to the slab ends
    ZEL_MPR_STACK_GAUSSIAN = 4,  // centre-weighted average with Gaussian weights
};

// Parameters of one MPR view. Plain record, copied member for member.
struct ZEL_API ZelMPRImageGeneratorParam {
    Zel3DVector<int> slicePosition;  // cut index; only the component of the plane's normal axis is used
    Zel3DVector<float> center;       // voxel position shown at the output's centre
    float zoom;                      // output pixels per normalised voxel
    int backgroundValue;             // value where the output shows no volume
    int rotation;                    // ZEL_MPR_ROTATION
    float rotationAngle;             // radians; used only with rotation 4 (left unset by the constructor)
    int plane;                       // ZEL_MPR_PLANE
    bool flipHorizontal;
    bool flipVertical;
    int interpolation;  // 0 nearest voxel, 1 interpolated (signed 16-bit volumes only)

    ZelMPRImageGeneratorParam();
};

// Axis-aligned slices of a volume with rotation, flips, zoom, interpolation
// and thick slabs.
class ZEL_API ZelMPRImageGenerator : public ZelImageGeneratorBase {
public:
    ZelMPRImageGenerator() = default;
    ZelMPRImageGenerator(const ZelMPRImageGenerator&) = default;
    ZelMPRImageGenerator& operator=(const ZelMPRImageGenerator&) = default;
    ~ZelMPRImageGenerator() override;

    // New width x height x 1 image of the volume's type (1, 3 or 4), filled
    // with the slice; null on failure.
    ZelImageBase* GenerateImage(int width, int height, const ZelMPRImageGeneratorParam& param);
    // Fills an existing image; its size x and y are the output's width and height.
    bool GenerateImage(ZelImageBase* image, const ZelMPRImageGeneratorParam& param);

    // Voxel position under a display position; true when it lies in the volume.
    bool DisplayToVoxel(int width, int height, const Zel2DVector<float>& display, Zel3DVector<float>& voxel,
                        const ZelMPRImageGeneratorParam& param) const;
    // Display position of a voxel position; true when it lies in the output.
    bool VoxelToDisplay(int width, int height, const Zel3DVector<float>& voxel, Zel2DVector<float>& display,
                        const ZelMPRImageGeneratorParam& param) const;
    // The same for a list (no range test; always true).
    bool VoxelToDisplay(int width, int height, const std::vector<Zel3DVector<float>>& voxels,
                        std::vector<Zel2DVector<float>>& displays, const ZelMPRImageGeneratorParam& param) const;

    // Smoothing (strength > 0) or sharpening (strength < 0) of a signed 16-bit
    // slice into a destination of the same size; strength 0 leaves the
    // destination untouched. False when the source is not signed 16-bit.
    static bool GenerateFilterImage(ZelImageBase* destination, ZelImageBase* source, int strength);
    // Thick slab of the unrotated plane: slices slice..slice+thickness (or
    // centred on the slice) combined by `mode`, then filtered. Rewrites param
    // to describe the new image as a plane-2 view of a one-slice volume.
    static ZelImageBase* GenerateFilterImage(ZelImageBase* volume, ZelMPRImageGeneratorParam& param, int filterStrength,
                                             int thickness, bool centred, ZelMPRStackImageMode mode);
};
