// The innermost piece of the twist smoothing: the pair term of two
// neighbouring planes' rings. A plain version and, on x86-64 processors with
// AVX2, a four-wide twin that gives the same bits (no fused multiply-add, the
// terms summed in ring order).
#pragma once

namespace zel_path {

constexpr int kRingPoints = 8;

// One plane's ring points, coordinate by coordinate.
struct Ring {
    alignas(32) double x[kRingPoints];
    alignas(32) double y[kRingPoints];
    alignas(32) double z[kRingPoints];
};

// Sum over k of (|p[k] - q[k]| - d)^2 / d^2 for two planes whose centres lie
// d apart.
double PairTermScalar(const Ring& p, const Ring& q, double d);

using PairTermKernel = double (*)(const Ring& p, const Ring& q, double d);

// The fastest twin the dispatch allows on this processor.
PairTermKernel SelectPairTerm();

}  // namespace zel_path
