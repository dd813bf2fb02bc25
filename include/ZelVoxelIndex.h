#pragma once

// Element index of a voxel in the two storage layouts. Multiply by the voxel
// size for a byte offset. This header is the one definition of the layouts:
// every kernel, walk and copy of the library addresses voxels through it.
//
// In both layouts a voxel's index is the sum of one term per axis,
//   index(x, y, z) = Offset_x(x) + Offset_y(y) + Offset_z(z),
//   Offset(c)      = (c & ~15) * outer + (c & 15) * inner,
// which needs no division and no branch on the layout:
// * linear (x fastest, then y, then z): inner = outer = the axis stride
//   (1, sizeX, sizeX * sizeY), and the term is c * stride;
// * tiled in 16x16x16 blocks (x fastest inside a block, then y, then z;
//   blocks follow in x, then y, then z): inner = 1, 16, 256 (the strides
//   inside a block) and outer = 256, blocksX * 256, blocksPerSlice * 256
//   (c & ~15 is 16 times the block coordinate, and a block holds 4096 voxels).

#include <cstddef>

#include "ZelImageBase.h"

// The term of one axis with its two strides.
inline std::ptrdiff_t ZelAxisOffset(int c, std::ptrdiff_t outer, std::ptrdiff_t inner)
{
    return (c & ~15) * outer + (c & 15) * inner;
}

// Linear layout.
inline std::ptrdiff_t ZelLinearIndex(int x, int y, int z, int sizeX, int sizeY)
{
    return (static_cast<std::ptrdiff_t>(sizeY) * z + y) * sizeX + x;
}

// Tiled layout. `blocksX` is the tiling block num in x, `blocksPerSlice` the
// number of blocks in one 16-voxel layer. Equals
//   ((x/16) + (y/16)*blocksX + (z/16)*blocksPerSlice) * 4096
//   + (z%16)*256 + (y%16)*16 + (x%16).
inline std::ptrdiff_t ZelTiledIndex(int x, int y, int z, int blocksX, int blocksPerSlice)
{
    return ZelAxisOffset(x, 256, 1) + ZelAxisOffset(y, static_cast<std::ptrdiff_t>(blocksX) * 256, 16) +
           ZelAxisOffset(z, static_cast<std::ptrdiff_t>(blocksPerSlice) * 256, 256);
}

// One axis of an image's storage.
struct ZelVoxelAxis {
    std::ptrdiff_t inner;  // elements per voxel inside a run of 16
    std::ptrdiff_t outer;  // elements per unit of (c & ~15): block size / 16 when tiled, inner when linear

    std::ptrdiff_t Offset(int c) const { return ZelAxisOffset(c, outer, inner); }
};

// Precomputed addressing of one image: the index of any voxel in its layout.
struct ZelVoxelAddressing {
    ZelVoxelAxis axis[3];

    explicit ZelVoxelAddressing(const ZelImageBase& image)
    {
        const Zel3DVector<int> n = image.GetImageSize();
        if (image.IsTiled()) {
            const Zel3DVector<int> blocks = image.GetTilingBlockNum();
            axis[0] = {1, 256};
            axis[1] = {16, static_cast<std::ptrdiff_t>(blocks.x) * 256};
            axis[2] = {256, static_cast<std::ptrdiff_t>(image.GetBlocksPerSlice()) * 256};
        } else {
            const std::ptrdiff_t strideZ = static_cast<std::ptrdiff_t>(n.x) * n.y;
            axis[0] = {1, 1};
            axis[1] = {n.x, n.x};
            axis[2] = {strideZ, strideZ};
        }
    }

    std::ptrdiff_t operator()(int x, int y, int z) const
    {
        return axis[0].Offset(x) + axis[1].Offset(y) + axis[2].Offset(z);
    }
};
