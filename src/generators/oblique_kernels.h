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
// the processor has them and they are allowed.
bool SelectObliqueKernel(int voxelType, int alignment, int interpolation, int steps, int slabMode, bool vectorFriendly,
                         ObliqueRowKernel& kernel, bool& threaded);

// Lets the tests run the scalar kernels on a processor with vector ones (the
// two must give the same bytes). Allowed by default.
void ObliqueAllowVectorKernels(bool allowed);

}  // namespace zel_oblique
