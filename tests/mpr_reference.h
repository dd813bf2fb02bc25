// Plain references for the MPR tests: random volumes and a per-pixel sampler
// that computes every position from scratch, with no walk, span or table.
#pragma once

#include <cmath>
#include <cstdint>
#include <memory>
#include <random>
#include <type_traits>

#include "ZelImage.h"
#include "ZelMPRImageGenerator.h"
#include "ZelVoxelIndex.h"
#include "generators/mpr_geometry.h"

namespace mpr_test {

// Random voxels in [lo, hi]; one in four of them is lo or hi, so that the
// extremes meet in every blend.
template <class T>
std::unique_ptr<ZelImage<T>> RandomVolume(int sx, int sy, int sz, Zel3DVector<float> scale, std::mt19937& rng, int lo,
                                          int hi)
{
    auto volume = std::make_unique<ZelImage<T>>();
    if (volume->Allocate(ZEL_ALIGNMENT_LINEAR, sx, sy, sz) != 0) return nullptr;
    volume->SetImageScale(scale);
    std::uniform_int_distribution<int> value(lo, hi);
    T* p = volume->GetDataPtr();
    for (long long i = 0; i < static_cast<long long>(sx) * sy * sz; ++i) {
        const unsigned pick = rng() % 8;
        p[i] = static_cast<T>(pick == 0 ? lo : pick == 1 ? hi : value(rng));
    }
    return volume;
}

// View number i of a sweep over every plane and rotation (free rotation by a
// random angle), with random flips, a zoom in [0.4, 3.4), a centre inside the
// volume and a slice index from 0 to the size (one past the end).
inline ZelMPRImageGeneratorParam RandomView(int i, const int size[3], std::mt19937& rng)
{
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    ZelMPRImageGeneratorParam p;
    p.plane = i % 3;
    p.rotation = i / 3 % 5;
    p.rotationAngle = unit(rng) * 7 - 1;
    p.flipHorizontal = rng() % 2;
    p.flipVertical = rng() % 2;
    p.zoom = 0.4f + 3 * unit(rng);
    p.center = {unit(rng) * size[0], unit(rng) * size[1], unit(rng) * size[2]};
    for (int a = 0; a < 3; ++a) (&p.slicePosition.x)[a] = static_cast<int>(rng() % (size[a] + 1));
    return p;
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

// The value of output pixel (x, y), sampled the long way. Positions are
// start + x stepX + y stepY per volume axis, in double for free rotation
// and as the sum of the truncated 17.15 start and steps otherwise.
// `tolerance` is 1 for free bilinear (the float blend at a position that
// may differ in its last bits); `skip` marks free-rotation pixels within
// 1e-6 of a whole voxel, where floor may go either way.
struct Sample {
    int value;
    int tolerance;
    bool skip;
};

template <class T>
Sample Reference(const ZelImage<T>& volume, int width, int height, const ZelMPRImageGeneratorParam& param, int x, int y)
{
    ZelMPRAxes axes;
    ZelMPRComputeAxes(param, axes);
    float spacing[3];
    float finest;
    ZelNormalisedSpacing(volume, spacing, finest);
    const double s[3] = {spacing[0], spacing[1], spacing[2]};
    const Zel3DVector<int> n = volume.GetImageSize();
    const int size[3] = {n.x, n.y, n.z}, normal = axes.normalAxis;
    const double c[3] = {param.center.x, param.center.y, param.center.z};
    const int slice[3] = {param.slicePosition.x, param.slicePosition.y, param.slicePosition.z};
    const bool bilinear = std::is_same<T, short>::value && param.interpolation == 1;
    const bool free = param.rotation == ZEL_MPR_ROTATION_FREE;
    Sample out{static_cast<T>(param.backgroundValue), 0, false};
    if (slice[normal] < 0 || slice[normal] >= size[normal]) return out;

    int i0[3], i1[3];
    double f[3];
    for (int i = 0; i < 3; ++i) {
        i0[i] = i1[i] = slice[i];
        f[i] = 0;
        if (i == normal) continue;
        const double first = (c[i] * s[i] - ((width - 1) * 0.5 / param.zoom) * axes.right[i] -
                              ((height - 1) * 0.5 / param.zoom) * axes.down[i]) /
                             s[i];
        const double stepX = axes.right[i] / (s[i] * param.zoom), stepY = axes.down[i] / (s[i] * param.zoom);
        double p;  // position in voxels
        if (free) {
            p = first + x * stepX + y * stepY;
            const double off = std::fabs(p - std::nearbyint(p));
            out.skip = out.skip || (off > 0 && off < 1e-6);
        } else {
            const auto fixed = [](double v) { return static_cast<std::int64_t>(v * 32768.0); };
            std::int64_t q = fixed(first) + x * fixed(stepX) + y * fixed(stepY);
            if (!bilinear) q += 16384;  // nearest voxel: floor(position + 1/2)
            p = std::ldexp(static_cast<double>(q), -15);
        }
        i0[i] = static_cast<int>(std::floor(p));
        f[i] = bilinear ? p - i0[i] : 0.0;
        i1[i] = f[i] > 0 ? i0[i] + 1 : i0[i];
        if (p < 0 || (bilinear ? p > size[i] - 1 : i0[i] >= size[i])) return out;
    }
    const int u = normal == 0 ? 1 : 0, v = normal == 2 ? 1 : 2;
    auto at = [&](bool nextU, bool nextV) -> std::int64_t {
        int k[3] = {i0[0], i0[1], i0[2]};
        k[u] = nextU ? i1[u] : i0[u];
        k[v] = nextV ? i1[v] : i0[v];
        return VoxelAt(volume, k[0], k[1], k[2]);
    };
    if (!bilinear) {
        out.value = static_cast<int>(at(false, false));
    } else if (!free) {
        // Exact blend with the 15-bit weights (32768 - f, f), truncated toward zero.
        const std::int64_t fu = std::lround(f[u] * 32768), fv = std::lround(f[v] * 32768), gu = 32768 - fu,
                           gv = 32768 - fv;
        const std::int64_t sum = at(false, false) * gu * gv + at(true, false) * fu * gv + at(false, true) * gu * fv +
                                 at(true, true) * fu * fv;
        out.value = static_cast<int>(sum / (std::int64_t{1} << 30));
    } else {
        const float a = static_cast<float>(f[u]), b = static_cast<float>(f[v]);
        out.value = static_cast<int>(((at(false, false) * (1.0f - a) + at(true, false) * a) * (1.0f - b)) +
                                     ((at(false, true) * (1.0f - a) + at(true, true) * a) * b));
        out.tolerance = 1;
    }
    return out;
}

}  // namespace mpr_test
