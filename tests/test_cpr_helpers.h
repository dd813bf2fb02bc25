// Volumes, paths, random line records and a plain per-pixel reference for
// the curved reformation tests. The reference follows the documented line
// geometry and sampling rules one pixel and one sample at a time, with no
// spans, walks or vectors.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "ZelCPRImageGenerator.h"
#include "test_oblique_helpers.h"

namespace cpr_test {

using namespace oblique_test;

// Smooth values (a few long waves): nearby positions give nearby samples, so
// two computations of nearly one position agree within a unit.
inline std::unique_ptr<ZelImage<short>> SmoothVolume(int sx, int sy, int sz, Zel3DVector<float> scale)
{
    auto volume = std::make_unique<ZelImage<short>>();
    if (volume->Allocate(ZEL_ALIGNMENT_LINEAR, sx, sy, sz) != 0) return nullptr;
    volume->SetImageScale(scale);
    short* v = volume->GetDataPtr();
    for (int z = 0; z < sz; ++z)
        for (int y = 0; y < sy; ++y)
            for (int x = 0; x < sx; ++x)
                *v++ = static_cast<short>(800.0 * std::sin(0.21 * x + 0.1 * z) + 600.0 * std::cos(0.17 * y - 0.05 * x) +
                                          300.0 * std::sin(0.3 * z));
    return volume;
}

// A winding path through a volume of the given size, in voxel coordinates.
inline std::vector<Zel3DVector<float>> WindingPath(const Zel3DVector<int>& size, int points)
{
    std::vector<Zel3DVector<float>> path;
    for (int k = 0; k < points; ++k) {
        const float t = static_cast<float>(k) / (points - 1);
        path.push_back({(0.5f + 0.25f * std::sin(4.0f * t)) * (size.x - 1),
                        (0.5f + 0.25f * std::cos(3.0f * t)) * (size.y - 1), (0.15f + 0.7f * t) * (size.z - 1)});
    }
    return path;
}

// Random records, in voxel units, around and through the volume: random
// directions and step lengths, slab directions square to the row, and about
// one in eight invalid.
inline std::vector<ZelCPRRenderingPoint> RandomRecords(std::mt19937& rng, const Zel3DVector<int>& size, int count)
{
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    std::normal_distribution<float> g;
    std::vector<ZelCPRRenderingPoint> records;
    for (int i = 0; i < count; ++i) {
        ZelCPRRenderingPoint r{};
        r.valid = rng() % 8 != 0;
        r.constructed = true;
        r.position = static_cast<float>(i) / count;
        r.start = {(unit(rng) * 1.4f - 0.2f) * (size.x - 1), (unit(rng) * 1.4f - 0.2f) * (size.y - 1),
                   (unit(rng) * 1.4f - 0.2f) * (size.z - 1)};
        const float d[3] = {g(rng), g(rng), g(rng)};
        const float e[3] = {g(rng), g(rng), g(rng)};
        const float c[3] = {d[1] * e[2] - d[2] * e[1], d[2] * e[0] - d[0] * e[2], d[0] * e[1] - d[1] * e[0]};
        const float dn = (0.3f + 1.1f * unit(rng)) / std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
        const float cn = (0.5f + 0.7f * unit(rng)) / std::sqrt(c[0] * c[0] + c[1] * c[1] + c[2] * c[2]);
        r.step = {d[0] * dn, d[1] * dn, d[2] * dn};
        r.rowAxis = r.step;
        r.crossAxis = {c[0] * cn, c[1] * cn, c[2] * cn};
        records.push_back(r);
    }
    return records;
}

// The documented 17.15 walk of a record's line of n pixels: pixel 0 at
// start - step * (n - 1) / 2 in float, times 32768, truncated; moved by
// `offset` slab steps.
struct RefLine {
    std::int64_t first[3];
    std::int64_t step[3];
    std::int64_t slab[3];
};

inline RefLine LineOfRecord(const ZelCPRRenderingPoint& r, int n, int offset)
{
    const float half = static_cast<float>(n - 1) * 0.5f;
    const float start[3] = {r.start.x, r.start.y, r.start.z};
    const float step[3] = {r.step.x, r.step.y, r.step.z};
    const float slab[3] = {r.crossAxis.x, r.crossAxis.y, r.crossAxis.z};
    RefLine line;
    for (int a = 0; a < 3; ++a) {
        line.step[a] = static_cast<std::int64_t>(static_cast<double>(step[a]) * 32768.0);
        line.slab[a] = static_cast<std::int64_t>(static_cast<double>(slab[a]) * 32768.0);
        line.first[a] =
            static_cast<std::int64_t>(static_cast<double>(start[a] - step[a] * half) * 32768.0) + offset * line.slab[a];
    }
    return line;
}

// The whole image by the documented rules: lines are columns (layout 0) or
// rows; nearest, thin interpolated, or a slab of slabSampleCount samples in
// mode 1 maximum (with the background), 2 minimum, 3 average, or (offset
// != 0) the triangle-weighted mean; samples of a slab count inside
// [0, (size - 1) * 32768).
template <class T>
std::vector<T> ReferenceImage(const ZelImage<T>& volume, const ZelCPRImageGeneratorParam& p, int width, int height)
{
    const Zel3DVector<int> size = volume.GetImageSize();
    const std::int64_t limit[3] = {size.x, size.y, size.z};
    const bool interpolated = volume.GetVoxelType() == ZEL_VOXEL_SHORT && p.interpolation == 1;
    const bool slab = interpolated && p.slabSampleCount >= 2 && p.slabMode != 0;
    const int offset = interpolated ? p.slabOffset : 0;
    const bool columns = p.layout == 0;
    const int lines = columns ? width : height, n = columns ? height : width;
    int b0 = 0, b1 = n;
    if (p.bandEnabled && p.bandWidth >= 0) {
        b0 = (n - p.bandWidth) / 2 + (columns ? p.columnBandCenter : p.rowBandCenter);
        b1 = std::min(std::max(b0 + p.bandWidth, 0), n);
        b0 = std::min(std::max(b0, 0), n);
    }
    const T background = static_cast<T>(p.backgroundValue);
    std::vector<T> out(static_cast<std::size_t>(width) * height, background);
    for (int i = 0; i < lines && i < static_cast<int>(p.renderingPoints.size()); ++i) {
        const ZelCPRRenderingPoint& r = p.renderingPoints[static_cast<std::size_t>(i)];
        if (!r.valid) continue;
        const RefLine line = LineOfRecord(r, n, offset);
        for (int k = b0; k < b1; ++k) {
            std::int64_t pos[3];
            for (int a = 0; a < 3; ++a) pos[a] = line.first[a] + k * line.step[a];
            int value = background;
            if (slab) {
                const int c = p.slabSampleCount;
                long long sum = 0, weights = 0;
                int counted = 0, best = p.slabMode == 2 ? 1 << 20 : -(1 << 20);
                for (int j = 0; j < c; ++j) {
                    std::int64_t q[3];
                    bool inside = true;
                    for (int a = 0; a < 3; ++a) {
                        q[a] = pos[a] - line.slab[a] * (c / 2) + j * line.slab[a];
                        inside = inside && q[a] >= 0 && q[a] < (limit[a] - 1) * 32768;
                    }
                    if (!inside) continue;
                    const int v = ReferenceSample(volume, q);
                    const int w = c + 1 - std::abs(2 * j - (c - 1));
                    ++counted;
                    sum += (offset != 0 ? w : 1) * static_cast<long long>(v);
                    weights += offset != 0 ? w : 1;
                    best = p.slabMode == 2 ? std::min(best, v) : std::max(best, v);
                }
                if (offset == 0 && p.slabMode == 1)
                    value = std::max<int>(best, background);
                else if (counted > 0)
                    value = offset != 0 || p.slabMode == 3 ? static_cast<int>(sum / weights) : best;
            } else if (interpolated) {
                bool inside = true;
                for (int a = 0; a < 3; ++a) inside = inside && pos[a] >= 0 && pos[a] <= (limit[a] - 1) * 32768;
                if (inside) value = ReferenceSample(volume, pos);
            } else {
                int v[3];
                bool inside = true;
                for (int a = 0; a < 3; ++a) {
                    v[a] = RoundShift(pos[a], 15);
                    inside = inside && v[a] >= 0 && v[a] < limit[a];
                }
                if (inside) value = Voxel(volume, v[0], v[1], v[2]);
            }
            out[columns ? static_cast<std::size_t>(k) * width + i : static_cast<std::size_t>(i) * width + k] =
                static_cast<T>(value);
        }
    }
    return out;
}

}  // namespace cpr_test
