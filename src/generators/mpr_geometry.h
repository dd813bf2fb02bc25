// Geometry shared by the MPR mappings and the MPR kernels: normalised scale,
// in-image axes, and the per-axis element offsets of both storage layouts.
#pragma once

#include <cstddef>

#include "ZelImageBase.h"
#include "ZelMPRImageGenerator.h"

// In-image axes of one MPR view, in voxel-axis components.
struct ZelMPRAxes {
    double right[3];
    double down[3];
    int normalAxis;  // 0, 1 or 2: the axis the plane is normal to
};

// Snapping of a rotated axis component to -1, 0 or 1. The thresholds are
// intentionally asymmetric (0.5 snaps to 1, -0.5 snaps to 0); keep them.
inline double ZelMPRSnap(double v)
{
    return v >= 0.5 ? 1.0 : (v < -0.5 ? -1.0 : 0.0);
}

// Axes of the view described by param; false for a plane other than 0, 1, 2.
bool ZelMPRComputeAxes(const ZelMPRImageGeneratorParam& param, ZelMPRAxes& axes);

// Spacing of each axis divided by the finest spacing (s), and that finest
// spacing (m).
void ZelMPRNormalisedScale(const ZelImageBase& volume, double s[3], float& finest);

// Element offsets along one axis of a volume. For both layouts the element
// index of (x, y, z) is Offset(0, x) + Offset(1, y) + Offset(2, z): the tiled
// index splits into a part per axis, because (c & ~15) picks the block and
// (c & 15) the place inside it. Walks use Step() to move along an axis by
// whole voxels without recomputing the index: inside a 16-voxel run a move is
// `inner` elements per voxel, and each block edge crossed adds `blockJump`
// (4096 - 16 along x, blocks-in-x * 4096 - 256 along y, blocks-per-slice *
// 4096 - 4096 along z; zero in a linear volume).
struct ZelMPRAxisLayout {
    std::ptrdiff_t inner;      // elements per voxel inside a run of 16
    std::ptrdiff_t outer;      // elements per voxel of (c & ~15): block size / 16 when tiled, inner when linear
    std::ptrdiff_t blockJump;  // 16 * (outer - inner): added once per block edge crossed

    std::ptrdiff_t Offset(int c) const { return (c & ~15) * outer + (c & 15) * inner; }
    // Offset change from coordinate c to c + delta.
    std::ptrdiff_t Step(int c, int delta) const
    {
        return delta * inner + static_cast<std::ptrdiff_t>(((c + delta) >> 4) - (c >> 4)) * blockJump;
    }
};

// Layout of the three axes of a volume.
struct ZelMPRVolumeLayout {
    ZelMPRAxisLayout axis[3];
    int size[3];

    explicit ZelMPRVolumeLayout(const ZelImageBase& volume);
    std::ptrdiff_t Index(int x, int y, int z) const
    {
        return axis[0].Offset(x) + axis[1].Offset(y) + axis[2].Offset(z);
    }
};
