// Vector (AVX2) spans of the interpolated oblique kernels: eight adjacent
// columns at a time, with the arithmetic of the scalar sample in
// voxel_sampling.h lane by lane, so both give the same bytes. Chosen at run
// time by the dispatch when the processor has AVX2; the scalar kernels remain
// the reference and serve every other processor.
#pragma once

#include <cstdint>

#include "generators/oblique_setup.h"

namespace zel_oblique {

// Renders columns first, first + 8, ... of one row while a whole group of
// eight fits before end, and returns the first column not rendered. Every
// sample of those columns must lie inside the volume (0 <= p <= (size - 1) <<
// 15); the volume needs a size of at least 2 on every axis and fewer than
// 2^31 elements. rowStart is
// the 17.15 position of column 0. Mode: a ZelSlabReduction.
template <bool kTiled, int kMode>
int ObliqueSlabSpanAvx2(const ObliqueSetup& s, const std::int64_t rowStart[3], int first, int end, short* out);
template <bool kTiled>
int ObliquePlaneSpanAvx2(const ObliqueSetup& s, const std::int64_t rowStart[3], int first, int end, short* out);

}  // namespace zel_oblique
