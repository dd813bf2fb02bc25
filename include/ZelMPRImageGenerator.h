#pragma once

#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelExport.h"
#include "ZelImageGeneratorBase.h"

// Axis-aligned slices (conventions: ZelImageGeneratorBase.h). A slice
// outside the volume is not a failure: it shows the background value.

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
// The weighted modes weigh slice k of an n-slice slab (k = 0 .. n - 1) by
// its distance from the slab's middle counted in half slices,
// D = |2k - (n - 1)|, and divide the integer weighted sum by the sum of the
// weights, truncating toward zero like the average:
//   3 triangle: weight n + 1 - D (1:2:1 for three slices, never zero);
//   4 Gaussian: weight round(256 exp(-2 D^2 / n^2)), a Gaussian of sigma
//     n / 4 slices, so the slab's ends weigh about e^-2 of its middle.
// The middle is that of the slab actually used, after it is cut at the
// volume's ends.
enum ZelMPRStackImageMode {
    ZEL_MPR_STACK_AVERAGE = 0,   // integer mean of the slices
    ZEL_MPR_STACK_MAXIMUM = 1,   // maximum intensity projection
    ZEL_MPR_STACK_MINIMUM = 2,   // minimum intensity projection
    ZEL_MPR_STACK_TRIANGLE = 3,  // centre-weighted mean, weights falling linearly to the slab ends
    ZEL_MPR_STACK_GAUSSIAN = 4,  // centre-weighted mean with Gaussian weights
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
    //
    // Sampling. Right-angle rotations (0 to 3) walk the 17.15 fixed-point
    // positions of the pixels: nearest voxel (floor(position + 1/2)), or for
    // signed 16-bit volumes with interpolation 1 the bilinear blend of the
    // four voxels around the position, weighted by the 15-bit fractions
    // (32768 - f, f) and computed exactly, truncated toward zero. Pixels whose
    // sample lies outside the volume show backgroundValue. Free rotation (4)
    // takes the voxel at floor(position), or bilinear in floating point for
    // signed 16-bit volumes with interpolation 1. Interpolation has no effect
    // on unsigned volumes; a signed 16-bit volume with interpolation other
    // than 0 or 1 is refused (false / null).
    ZelImageBase* GenerateImage(int width, int height, const ZelMPRImageGeneratorParam& param);
    // Fills an existing linear image of the volume's type; its size x and y
    // are the output's width and height. Sets its scale to (finest spacing /
    // zoom) on all axes. A slice index outside the volume fills the image
    // with backgroundValue and returns true at once, leaving its scale as it
    // was. False, with nothing written, for
    // no volume, no or a tiled output, another voxel type, a plane other
    // than 0 to 2, or a zoom that is not a positive finite number.
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
    // slice into a distinct signed 16-bit destination of the same size;
    // strength 0 returns true and leaves the destination untouched.
    // Smoothing: k = strength * 1024 / 900; each inner pixel becomes
    // (sum of its 8 neighbours * k + centre * (128 - k) * 8) >> 10.
    // Sharpening by a = -strength: source + (source - smoothed at 100) * a / 16.
    // Results wrap to 16 bits; border rows and columns are copied, and an
    // image of fewer than 3 rows only has its first two rows copied.
    static bool GenerateFilterImage(ZelImageBase* destination, ZelImageBase* source, int strength);
    // Thick slab of the unrotated plane at its native size: slices slice ..
    // slice + thickness, or centred on the slice, cut at the volume's ends
    // (thickness t covers t + 1 slices), combined by `mode`, then filtered
    // with filterStrength when non-zero (a volume that is not signed 16-bit
    // then returns a new image that was never written). Rewrites param to
    // describe the new image as a plane-2 view of a one-slice volume. Null
    // for no volume, a voxel type other than 1, 3 or 4, a plane other than
    // 0 to 2, a negative thickness, an unknown mode, or no memory.
    static ZelImageBase* GenerateFilterImage(ZelImageBase* volume, ZelMPRImageGeneratorParam& param, int filterStrength,
                                             int thickness, bool centred, ZelMPRStackImageMode mode);
};
