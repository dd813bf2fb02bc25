#pragma once

// Element index of a voxel in the two storage layouts. Multiply by the voxel
// size for a byte offset. Every kernel that reads or writes voxels by position
// goes through these, so that there is one definition of the layouts.

#include <cstddef>

#include "ZelImageBase.h"

// Linear layout: x fastest, then y, then z.
inline std::ptrdiff_t ZelLinearIndex(int x, int y, int z, int sizeX, int sizeY)
{
    return (static_cast<std::ptrdiff_t>(sizeY) * z + y) * sizeX + x;
}

// Tiled layout: 16x16x16 blocks, x fastest inside a block, then y, then z;
// blocks follow in x, then y, then z. `blocksX` is the tiling block num in x,
// `blocksPerSlice` the number of blocks in one 16-voxel layer. The mask form
// needs no division: it equals
//   ((x/16) + (y/16)*blocksX + (z/16)*blocksPerSlice) * 4096
//   + (z%16)*256 + (y%16)*16 + (x%16).
inline std::ptrdiff_t ZelTiledIndex(int x, int y, int z, int blocksX, int blocksPerSlice)
{
    return ((((static_cast<std::ptrdiff_t>(y & ~15) * blocksX + static_cast<std::ptrdiff_t>(z & ~15) * blocksPerSlice +
               (x & ~15) + (z & 15)) *
              16) +
             (y & 15)) *
            16) +
           (x & 15);
}

// Precomputed addressing of one image: the index of any voxel with the right
// formula for its layout.
struct ZelVoxelAddressing {
    int sizeX;
    int sizeY;
    int blocksX;
    int blocksPerSlice;
    bool tiled;

    explicit ZelVoxelAddressing(const ZelImageBase& image)
        : sizeX(image.GetImageSize().x),
          sizeY(image.GetImageSize().y),
          blocksX(image.GetTilingBlockNum().x),
          blocksPerSlice(image.GetBlocksPerSlice()),
          tiled(image.IsTiled())
    {
    }

    std::ptrdiff_t operator()(int x, int y, int z) const
    {
        return tiled ? ZelTiledIndex(x, y, z, blocksX, blocksPerSlice) : ZelLinearIndex(x, y, z, sizeX, sizeY);
    }
};
