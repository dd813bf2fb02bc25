// Kernels of the colour-volume conversions. The conversion functions check the
// arguments and compute the geometry of a call (a plane walk, the placement of
// an axis-aligned view, or the bicubic placement) before anything is written;
// a kernel then fills every row of the buffer.
#pragma once

#include <cstdint>

#include "generators/plane_frame.h"
#include "generators/voxel_space.h"

// The buffer rows a colour conversion fills: depth 3 or 4, the voxel's bytes
// in order, black (all bytes 0) where the view leaves the volume.
struct ZelVolumeRows {
    unsigned char* dst = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;
    int depth = 3;  // bytes per pixel = bytes per voxel
};

// A plane walked in 17.15 fixed point: pixel (x, y) lies at
// walk.start + x * walk.stepX + y * walk.stepY, is inside when that position
// lies in [low, high[a]] on every axis a, and is sampled at the position plus
// `offset` (half a voxel for the nearest voxel).
struct ZelColourPlane {
    const void* volume = nullptr;
    ZelVolumeLayout layout;
    ZelFixedFrame<int> walk;
    std::int64_t offset = 0;
    std::int64_t low = 0;
    std::int64_t high[3] = {};
};

// How a plane is sampled: the nearest voxel, or the linear blend of
// ZelSampleLinearColour over the moving axes.
enum class ZelColourSampling { kNearest, kLinear };

using ZelColourPlaneKernel = void (*)(const ZelColourPlane& plane, const ZelVolumeRows& rows);

// The kernel for a voxel size (3 or 4 bytes), layout and sampling; fixedAxis
// is the axis whose position never has a fraction (-1 for none).
ZelColourPlaneKernel ZelSelectColourPlaneKernel(int voxelBytes, bool tiled, ZelColourSampling sampling, int fixedAxis);

// The inside bounds of a sampling: nearest voxels round (offset one half,
// inside up to size - 1/2 voxel), linear samples reach the last voxel.
void ZelSetColourBounds(ZelColourPlane& plane, ZelColourSampling sampling);

// An axis-aligned view: display x follows volume axis colAxis, display y
// rowAxis, on the slice at sliceOffset (the element offset along the third
// axis). Pixel (x, y) lies at colStart + x * colStep along colAxis and
// rowStart + y * rowStep along rowAxis, in 17.15.
struct ZelAxisView {
    const void* volume = nullptr;
    ZelVolumeLayout layout;
    int voxelBytes = 3;
    int colAxis = 0;
    int rowAxis = 1;
    std::ptrdiff_t sliceOffset = 0;
    std::int64_t colStart = 0;
    std::int64_t colStep = 0;
    std::int64_t rowStart = 0;
    std::int64_t rowStep = 0;
    // Bilinear views: a pixel is inside when 0 <= position <= end on both
    // axes (end = (size - 1) * 32768, or one less to keep off the last voxel).
    std::int64_t colEnd = 0;
    std::int64_t rowEnd = 0;
};

// The bilinear blend of ZelSampleLinearColour on the two in-plane axes,
// from per-column and per-row tables; black outside. False only when the
// tables cannot be allocated (nothing written then).
bool ZelColourAxisBilinear(const ZelAxisView& view, const ZelVolumeRows& rows);

// A view made smaller than the volume (zoom below 1): every pixel is the
// average of the voxels whose centres lie within half a step (at least half a
// voxel) of its position on each axis, the bytes of their sum divided by
// their count and truncated. Voxels outside the volume do not count; a pixel
// with none is black. False only when the tables cannot be allocated.
bool ZelColourReduce(const ZelAxisView& view, const ZelVolumeRows& rows);

// The bicubic view of one x-y slice of an RGB volume: positions
// X = colStart + x * colStep and Y = rowStart + y * rowStep in 17.15; a pixel
// is black unless 1 <= X >> 15 < size.x - 2 and the same for Y. Depth 3.
struct ZelColourBicubic {
    const void* volume = nullptr;
    ZelVolumeLayout layout;
    std::ptrdiff_t sliceOffset = 0;
    std::int64_t colStart = 0;
    std::int64_t colStep = 0;
    std::int64_t rowStart = 0;
    std::int64_t rowStep = 0;
};

// The four cubic convolution weights (a = -1) of a 15-bit fraction t, in 15-bit
// fixed point, for the neighbours at -1, 0, +1 and +2.
void ZelCubicWeights(int t, int weights[4]);

// False only when the weight table cannot be allocated (nothing written then).
bool ZelColourBicubicRows(const ZelColourBicubic& view, const ZelVolumeRows& rows);
