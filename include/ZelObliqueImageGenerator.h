#pragma once

#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelExport.h"
#include "ZelImageGeneratorBase.h"
#include "ZelMatrix3x3.h"

// Oblique planes and slabs (conventions: ZelImageGeneratorBase.h)
// ---------------------------------------------------------------
// * A set-up whose start or steps do not fit 32-bit 17.15 fixed point
//   (further than 65536 voxels) is refused.
// * Nearest sampling takes the voxel at (position + 16384) >> 15 on each axis;
//   a column whose rounded voxel lies outside the volume shows
//   backgroundValue. Each row is split into background / inside / background
//   spans, so exactly those columns are background.
// * Interpolated sampling (signed 16-bit volumes) is trilinear over the 8
//   neighbours, in 32-bit integers. The 15-bit fractions f of the position
//   are rounded to weights of 14 bits in x and 12 bits in y and z; the x blend
//   v0 * (16384 - wx) + v1 * wx and the y blend are kept in eighths of a unit,
//   the z blend is rounded to a whole value; every rounding is half up. The
//   result is within 5/8 of exact trilinear plus the steepest neighbour
//   difference times 2.8e-4 (well below one unit for CT data). A sample is
//   inside when 0 <= position <= size - 1 on every axis (the range
//   DisplayToVoxel reports as inside); at the last index the successor's
//   weight is 0 and it is not read. On processors with AVX2 eight columns are
//   computed at once with the same arithmetic, so the bytes do not depend on
//   the processor.
// * Slabs (signed 16-bit, interpolation 1, n = floor(thickness / m) > 0):
//   n + 1 interpolated samples one normalised voxel apart along the normal,
//   centred on the plane (the first sample lies n / 2 steps behind it). A
//   sample outside the volume counts as backgroundValue. slabMode 0 averages
//   (integer sum divided by n + 1, truncated toward zero, as the MPR stacked
//   slice does), 1 takes the maximum, 2 the minimum. The rows of a slab are
//   spread over ZelCPUController::GetAvailableCPUNumInThread() workers; every
//   other path runs on the calling thread.
// * Unsigned volumes (types 1 and 3) are always sampled nearest and never
//   gathered into a slab; their start is still moved back by n / 2 steps, so
//   a non-zero thickness shows the plane n / 2 steps behind the centre. This is
//   kept as it is on purpose.

// Slab modes of ZelObliqueImageGeneratorParam::slabMode (same numbering as the
// MPR stacked slice).
enum ZEL_OBLIQUE_SLAB_MODE {
    ZEL_OBLIQUE_SLAB_AVERAGE = 0,
    ZEL_OBLIQUE_SLAB_MAXIMUM = 1,
    ZEL_OBLIQUE_SLAB_MINIMUM = 2,
};

// Parameters of one oblique plane; a plain record copied member for member.
// orientation is stored row by row; its column 0 is the display x direction
// (right), column 1 the display y direction (down) and column 2 the plane
// normal (slab direction), all in normalised voxel space.
struct ZEL_API ZelObliqueImageGeneratorParam {
    Zel3DVector<float> center;        // voxel position at the output's centre; (0, 0, 0)
    ZelMatrix3x3<float> orientation;  // identity
    float zoom;                       // output pixels per normalised voxel; 1
    int backgroundValue;              // shown outside the volume, truncated to the voxel type; 0
    int interpolation;                // 0 nearest, 1 interpolated, anything else fails; 1
    int slabMode;                     // ZEL_OBLIQUE_SLAB_MODE; deliberately left unset by the constructor
    float thickness;                  // slab thickness in the units of the voxel spacing (below 0: 0); 0

    // Every field but slabMode gets the default above: a caller who asks for a
    // slab has to choose its mode.
    ZelObliqueImageGeneratorParam();
};

// Planes of any orientation, optionally as thick slabs along the normal.
class ZEL_API ZelObliqueImageGenerator : public ZelImageGeneratorBase {
public:
    ZelObliqueImageGenerator() = default;
    ZelObliqueImageGenerator(const ZelObliqueImageGenerator&) = default;
    ZelObliqueImageGenerator& operator=(const ZelObliqueImageGenerator&) = default;
    ~ZelObliqueImageGenerator() override;

    // New width x height x 1 linear image of the volume's type, on the
    // volume's allocator, filled by the second form; null on any failure.
    ZelImageBase* GenerateImage(int width, int height, const ZelObliqueImageGeneratorParam& param);

    // Fills image (linear layout, size x by size y; only its first slice is
    // written). False, with nothing written, when image or volume is null,
    // their types differ, the output is not linear, the geometry is not finite
    // or does not fit the fixed point, or the combination is not supported:
    //   type 1 or 3: interpolation 0 or 1, any thickness (nearest);
    //   type 4: interpolation 0 with n = 0 (nearest), interpolation 1 (n = 0
    //   interpolated plane, n > 0 slab);
    //   any other type or interpolation value, a volume layout other than
    //   linear or tiled, or n > 16384, fails.
    // When only the combination is refused the output's scale is still set.
    // A slabMode other than 0, 1, 2 leaves the pixels as they were and the call
    // still succeeds; the output scale is m / zoom on all three axes.
    bool GenerateImage(ZelImageBase* image, const ZelObliqueImageGeneratorParam& param);

    // Voxel position under a display position; true when it lies inside the
    // volume (0 <= voxel <= size - 1 on all axes). The voxel is written in
    // either case. False without a volume, voxel untouched.
    bool DisplayToVoxel(int width, int height, const Zel2DVector<float>& display, Zel3DVector<float>& voxel,
                        const ZelObliqueImageGeneratorParam& param) const;
    // Display position of a voxel position (its component along the normal is
    // dropped); true when it lies inside the output (0 <= display <= W - 1,
    // H - 1). The display is written in either case. False without a volume.
    bool VoxelToDisplay(int width, int height, const Zel3DVector<float>& voxel, Zel2DVector<float>& display,
                        const ZelObliqueImageGeneratorParam& param) const;
    // The same for a list: displays is resized to the length of voxels and
    // filled in order. Like the MPR generator's list form it reports no
    // per-point range test (points off the image are normal when projecting a
    // path); it returns false only without a volume, leaving displays as it
    // was. Use the single form where the range matters.
    bool VoxelToDisplay(int width, int height, const std::vector<Zel3DVector<float>>& voxels,
                        std::vector<Zel2DVector<float>>& displays, const ZelObliqueImageGeneratorParam& param) const;
};
