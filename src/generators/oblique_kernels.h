// Row kernels of the oblique generator: nearest sampling for every supported
// voxel type and layout, the interpolated plane and the three slab
// combinations for signed 16-bit volumes.
#pragma once

#include "generators/oblique_setup.h"

namespace zel_oblique {

// The row kernel for a voxel type code, volume alignment, interpolation mode,
// slab step count and slab mode. False when the combination is not supported
// (see ZelObliqueImageGenerator::GenerateImage). An unknown slab mode is
// supported with a null kernel: its rows are left unwritten. threaded is true
// for the slab kernels. vectorFriendly says the volume suits the vector
// kernels (every size >= 2, fewer than 2^31 elements); they are then used when
// the processor has them and the dispatch allows them.
bool SelectObliqueKernel(int voxelType, int alignment, int interpolation, int steps, int slabMode, bool vectorFriendly,
                         ObliqueRowKernel& kernel, bool& threaded);

}  // namespace zel_oblique
