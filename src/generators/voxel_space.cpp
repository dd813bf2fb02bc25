#include "generators/voxel_space.h"

#include <algorithm>

ZelVolumeLayout::ZelVolumeLayout(const ZelImageBase& volume)
{
    const ZelVoxelAddressing addressing(volume);
    const Zel3DVector<int> n = volume.GetImageSize();
    for (int a = 0; a < 3; ++a) axis[a] = addressing.axis[a];
    size[0] = n.x;
    size[1] = n.y;
    size[2] = n.z;
}

ZelSpan ZelFixedSpan(std::int64_t start, std::int64_t step, std::int64_t lo, std::int64_t hi, int count)
{
    if (count <= 0 || lo > hi) return {0, 0};
    std::int64_t first, last;  // inclusive
    if (step == 0) {
        if (start < lo || start > hi) return {0, 0};
        first = 0;
        last = count - 1;
    } else {
        // A falling walk is the rising one mirrored.
        if (step < 0) {
            start = -start;
            step = -step;
            const std::int64_t mirroredLo = -hi;
            hi = -lo;
            lo = mirroredLo;
        }
        first = std::max<std::int64_t>(ZelCeilDiv(lo - start, step), 0);
        last = std::min<std::int64_t>(ZelFloorDiv(hi - start, step), count - 1);
    }
    if (first > last) return {0, 0};
    return {static_cast<int>(first), static_cast<int>(last + 1)};
}

ZelSpan ZelInsideSpan(const std::int64_t p[3], const int step[3], std::int64_t low, const std::int64_t high[3],
                      int count)
{
    ZelSpan span{0, count > 0 ? count : 0};
    for (int a = 0; a < 3; ++a) {
        const ZelSpan axis = ZelFixedSpan(p[a], step[a], low, high[a], count);
        span.begin = std::max(span.begin, axis.begin);
        span.end = std::min(span.end, axis.end);
    }
    if (span.end < span.begin) span.end = span.begin;
    return span;
}
