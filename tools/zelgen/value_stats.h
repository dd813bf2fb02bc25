// What the values of a volume look like, for the automatic window, the
// percentile windows and `info`: a histogram of the stored values (every
// voxel of small volumes, an even sample of large ones). Voxels without a
// value are counted apart and take no part in anything else.
#pragma once

#include <cstdint>
#include <vector>

#include "volume.h"

struct ValueStats {
    bool any = false;  // some voxel has a value
    // Real values.
    double min = 0;
    double max = 0;
    double low = 0;             // 0.5 % quantile, background at the minimum excluded
    double high = 0;            // 99.5 % quantile
    double airFraction = 0;     // share of voxels at or below -900 (real units)
    double brainFraction = 0;   // share of the non-air voxels in 0..80
    double tissueFraction = 0;  // share of the non-air voxels in -200..200
    std::uint64_t counted = 0;  // voxels looked at that have a value
    std::uint64_t noValue = 0;  // voxels looked at that have none

    // Real value below which `percent` % of the valued voxels lie.
    double Percentile(double percent) const;

    std::vector<std::uint32_t> bins;  // per stored value + 32768
    ValueScale scale;
};

ValueStats ComputeValueStats(const Volume& volume);
