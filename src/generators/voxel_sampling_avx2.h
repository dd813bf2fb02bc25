// Vector (AVX2) spans of interpolated samples: eight adjacent pixels at a
// time, with the arithmetic of ZelSampleTrilinear (voxel_sampling.h) lane by
// lane, so both give the same bytes. Every generator that walks arbitrary
// directions through a signed 16-bit volume (oblique planes and slabs, curved
// reformations) renders its inside spans here when the dispatch allows AVX2;
// the scalar loops remain the reference and serve every other processor.
#pragma once

#include <cstdint>

#include "generators/voxel_space.h"

// One walk of trilinear samples: pixel k of a run lies at start + k * step,
// and a slab pixel gathers steps + 1 samples from there, `normal` apart. All
// in 17.15 fixed point.
struct ZelTrilinearRun {
    const short* volume;
    const ZelVolumeLayout* layout;
    int step[3];
    int normal[3];
    int steps;
};

// Renders pixels first, first + 8, ... of a run whose pixel 0 lies at
// `start` while a whole group of eight fits before end, writing pixel k to
// out[k - first], and returns the first pixel not rendered. Every sample of
// those pixels must lie inside the volume (0 <= p <= (size - 1) << 15); the
// volume needs a size of at least 2 on every axis and fewer than 2^31
// elements. Mode: a ZelSlabReduction; the average divides the sum by
// steps + 1, truncating toward zero.
template <bool kTiled>
int ZelTrilinearSpanAvx2(const ZelTrilinearRun& run, const std::int64_t start[3], int first, int end, short* out);
template <bool kTiled, int kMode>
int ZelSlabSpanAvx2(const ZelTrilinearRun& run, const std::int64_t start[3], int first, int end, short* out);

// Whether a volume suits the vector spans (see above).
bool ZelVectorFriendly(const ZelImageBase& volume);
