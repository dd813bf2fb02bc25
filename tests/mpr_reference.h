// Plain references for the MPR tests: random volumes and per-pixel samplers
// that compute every position from scratch, with no walk, span or table.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>

#include "ZelImage.h"
#include "ZelMPRImageGenerator.h"
#include "ZelVoxelIndex.h"
#include "generators/mpr_geometry.h"

namespace mpr_test {

template <class T>
std::unique_ptr<ZelImage<T>> RandomVolume(int sx, int sy, int sz, Zel3DVector<float> scale, std::mt19937& rng, int lo,
                                          int hi)
{
    auto volume = std::make_unique<ZelImage<T>>();
    if (volume->Allocate(ZEL_ALIGNMENT_LINEAR, sx, sy, sz) != 0) return nullptr;
    volume->SetImageScale(scale);
    std::uniform_int_distribution<int> value(lo, hi);
    T* p = volume->GetDataPtr();
    for (long long i = 0; i < static_cast<long long>(sx) * sy * sz; ++i) p[i] = static_cast<T>(value(rng));
    return volume;
}

template <class T>
T VoxelAt(const ZelImage<T>& volume, int x, int y, int z)
{
    return volume.GetDataPtr()[ZelVoxelAddressing(volume)(x, y, z)];
}

template <class T>
T PixelAt(const ZelImageBase& image, int x, int y)
{
    return static_cast<const T*>(image.GetVoidDataPtr())[static_cast<std::ptrdiff_t>(y) * image.GetImageSize().x + x];
}

// The 17.15 positions of a view, computed per pixel: trunc(start * 32768)
// plus the pixel's coordinates times trunc(step * 32768), for each volume
// axis (the normal axis holds the slice index).
struct FixedView {
    std::int64_t start[3];
    std::int64_t stepX[3];
    std::int64_t stepY[3];
    int normalAxis;
    int slice;

    FixedView(const ZelImageBase& volume, int width, int height, const ZelMPRImageGeneratorParam& param)
    {
        ZelMPRAxes axes;
        ZelMPRComputeAxes(param, axes);
        double s[3];
        float finest;
        ZelMPRNormalisedScale(volume, s, finest);
        const double c[3] = {param.center.x, param.center.y, param.center.z};
        const int slices[3] = {param.slicePosition.x, param.slicePosition.y, param.slicePosition.z};
        normalAxis = axes.normalAxis;
        slice = slices[normalAxis];
        for (int i = 0; i < 3; ++i) {
            const double first = (c[i] * s[i] - ((width - 1) * 0.5 / param.zoom) * axes.right[i] -
                                  ((height - 1) * 0.5 / param.zoom) * axes.down[i]) /
                                 s[i];
            start[i] = static_cast<std::int64_t>(first * 32768.0);
            stepX[i] = static_cast<std::int64_t>(axes.right[i] / (s[i] * param.zoom) * 32768.0);
            stepY[i] = static_cast<std::int64_t>(axes.down[i] / (s[i] * param.zoom) * 32768.0);
        }
    }
    std::int64_t Position(int axis, int x, int y) const { return start[axis] + x * stepX[axis] + y * stepY[axis]; }
};

// Nearest voxel by the fixed-point positions: floor(position + 1/2).
template <class T>
T NearestFixed(const ZelImage<T>& volume, const FixedView& view, int x, int y, int background)
{
    const Zel3DVector<int> size = volume.GetImageSize();
    const int sizes[3] = {size.x, size.y, size.z};
    int v[3];
    for (int i = 0; i < 3; ++i) {
        const std::int64_t p = view.Position(i, x, y) + 16384;
        v[i] = i == view.normalAxis ? view.slice : static_cast<int>(std::floor(p / 32768.0));
        if (v[i] < 0 || v[i] >= sizes[i]) return static_cast<T>(background);
    }
    return VoxelAt(volume, v[0], v[1], v[2]);
}

// The bilinear blend at the fixed-point positions, in exact arithmetic and
// truncated toward zero; `inside` tells whether the position lies in the
// volume. `floatRule` gives the floating-point rule at the same position.
struct Blend {
    bool inside;
    int exact;
    int floatRule;
};

inline Blend InterpolatedFixed(const ZelImage<short>& volume, const FixedView& view, int x, int y)
{
    const Zel3DVector<int> size = volume.GetImageSize();
    const int sizes[3] = {size.x, size.y, size.z};
    int i0[3], i1[3], f[3];
    for (int i = 0; i < 3; ++i) {
        if (i == view.normalAxis) {
            if (view.slice < 0 || view.slice >= sizes[i]) return {false, 0, 0};
            i0[i] = i1[i] = view.slice;
            f[i] = 0;
            continue;
        }
        const std::int64_t p = view.Position(i, x, y);
        if (p < 0 || p > std::int64_t{sizes[i] - 1} * 32768) return {false, 0, 0};
        i0[i] = static_cast<int>(p >> 15);
        f[i] = static_cast<int>(p & 32767);
        i1[i] = f[i] ? i0[i] + 1 : i0[i];
    }
    // u and v: the in-plane axes in volume order.
    const int u = view.normalAxis == 0 ? 1 : 0, v = view.normalAxis == 2 ? 1 : 2;
    auto at = [&](bool nextU, bool nextV) {
        int c[3] = {i0[0], i0[1], i0[2]};
        if (nextU) c[u] = i1[u];
        if (nextV) c[v] = i1[v];
        return VoxelAt(volume, c[0], c[1], c[2]);
    };
    const std::int64_t fu = f[u], fv = f[v], gu = 32768 - fu, gv = 32768 - fv;
    const std::int64_t sum =
        at(false, false) * gu * gv + at(true, false) * fu * gv + at(false, true) * gu * fv + at(true, true) * fu * fv;
    const float a = static_cast<float>(fu) / 32768.0f, b = static_cast<float>(fv) / 32768.0f;
    const float rule = ((at(false, false) * (1.0f - a) + at(true, false) * a) * (1.0f - b)) +
                       ((at(false, true) * (1.0f - a) + at(true, true) * a) * b);
    return {true, static_cast<int>(sum / (std::int64_t{1} << 30)), static_cast<int>(rule)};
}

// Distance from x to the nearest whole number.
inline double OffWhole(double x)
{
    return std::fabs(x - std::nearbyint(x));
}

}  // namespace mpr_test
