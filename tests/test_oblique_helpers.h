// Volumes, random planes and a plain per-pixel reference for the oblique
// tests. The reference follows the documented sampling rules one pixel and one
// sample at a time, with no spans, walks or vectors.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "ZelImage.h"
#include "ZelObliqueImageGenerator.h"
#include "ZelVoxelIndex.h"
#include "generators/oblique_setup.h"

namespace oblique_test {

// Random voxels over the whole range of T: neighbours differ as much as they
// can, which is what stresses the integer interpolation.
template <class T>
std::unique_ptr<ZelImage<T>> MakeVolume(int sx, int sy, int sz, Zel3DVector<float> scale, unsigned seed)
{
    auto volume = std::make_unique<ZelImage<T>>();
    if (volume->Allocate(ZEL_ALIGNMENT_LINEAR, sx, sy, sz) != 0) return nullptr;
    volume->SetImageScale(scale);
    std::mt19937 rng(seed);
    std::uniform_int_distribution<int> value(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
    for (long long i = 0; i < static_cast<long long>(sx) * sy * sz; ++i)
        volume->GetDataPtr()[i] = static_cast<T>(value(rng));
    return volume;
}

// A random rotation (from a random unit quaternion): columns right, down, normal.
inline ZelMatrix3x3<float> RandomRotation(std::mt19937& rng)
{
    std::normal_distribution<double> g;
    double q[4];
    double norm = 0.0;
    for (double& c : q) {
        c = g(rng);
        norm += c * c;
    }
    norm = std::sqrt(norm);
    const double w = q[0] / norm, x = q[1] / norm, y = q[2] / norm, z = q[3] / norm;
    const double r[3][3] = {{1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)},
                            {2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)},
                            {2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)}};
    ZelMatrix3x3<float> m;
    for (int i = 0; i < 9; ++i) m.m[i / 3][i % 3] = static_cast<float>(r[i / 3][i % 3]);
    return m;
}

// A random plane through (or near) the volume.
inline ZelObliqueImageGeneratorParam RandomParam(std::mt19937& rng, const ZelImageBase& volume)
{
    const Zel3DVector<int> size = volume.GetImageSize();
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    ZelObliqueImageGeneratorParam p;
    p.orientation = RandomRotation(rng);
    p.center = {(unit(rng) * 1.2f - 0.1f) * (size.x - 1), (unit(rng) * 1.2f - 0.1f) * (size.y - 1),
                (unit(rng) * 1.2f - 0.1f) * (size.z - 1)};
    p.zoom = 0.6f + 1.6f * unit(rng);
    p.backgroundValue = static_cast<int>(unit(rng) * 2000.0f) - 1000;
    p.slabMode = ZEL_OBLIQUE_SLAB_AVERAGE;
    return p;
}

// The checked fixed-point set-up of a width x height output.
inline zel_oblique::ObliqueSetup SetupFor(const ZelImageBase& volume, int width, int height,
                                          const ZelObliqueImageGeneratorParam& param)
{
    std::unique_ptr<ZelImageBase> output(ZelCreateImage(volume.GetVoxelType()));
    output->Allocate(ZEL_ALIGNMENT_LINEAR, width, height, 1);
    zel_oblique::ObliquePlan plan{};
    EXPECT_EQ(zel_oblique::PrepareOblique(&volume, output.get(), param, plan), zel_oblique::ObliquePrepared::kReady);
    return plan.setup;
}

// 17.15 position of sample k of pixel (i, j).
inline void SamplePosition(const zel_oblique::ObliqueSetup& s, int i, int j, int k, std::int64_t p[3])
{
    for (int a = 0; a < 3; ++a)
        p[a] = std::int64_t{s.walk.start[a]} + std::int64_t{i} * s.walk.stepX[a] + std::int64_t{j} * s.walk.stepY[a] +
               std::int64_t{k} * s.walk.stepNormal[a];
}

template <class T>
T Voxel(const ZelImage<T>& volume, int x, int y, int z)
{
    return volume.GetDataPtr()[ZelVoxelAddressing(volume)(x, y, z)];
}

// Round half up of value / 2^bits.
inline int RoundShift(long long value, int bits)
{
    const long long d = 1LL << bits;
    const long long t = value + d / 2;
    return static_cast<int>(t >= 0 ? t / d : -((-t + d - 1) / d));
}

// The documented interpolation at an inside position: rounded 14-bit x
// weights, blend kept in eighths; rounded 12-bit y weights, blend kept in
// eighths; rounded 12-bit z weights, blend rounded to a whole value.
template <class T>
int ReferenceSample(const ZelImage<T>& volume, const std::int64_t p[3])
{
    const Zel3DVector<int> size = volume.GetImageSize();
    const int last[3] = {size.x - 1, size.y - 1, size.z - 1};
    int c[2][3], f[3];
    for (int a = 0; a < 3; ++a) {
        c[0][a] = static_cast<int>(p[a] / 32768);
        c[1][a] = std::min(c[0][a] + 1, last[a]);
        f[a] = static_cast<int>(p[a] % 32768);
    }
    const int wx = RoundShift(f[0], 1), wy = RoundShift(f[1], 3), wz = RoundShift(f[2], 3);
    int b[2];
    for (int dz = 0; dz < 2; ++dz) {
        int a[2];
        for (int dy = 0; dy < 2; ++dy) {
            const int y = c[dy][1], z = c[dz][2];
            a[dy] = RoundShift(static_cast<long long>(Voxel(volume, c[0][0], y, z)) * (16384 - wx) +
                                   static_cast<long long>(Voxel(volume, c[1][0], y, z)) * wx,
                               11);
        }
        b[dz] = RoundShift(static_cast<long long>(a[0]) * (4096 - wy) + static_cast<long long>(a[1]) * wy, 12);
    }
    return RoundShift(static_cast<long long>(b[0]) * (4096 - wz) + static_cast<long long>(b[1]) * wz, 15);
}

// Nearest: the voxel at (p + 16384) >> 15 (floor), background when that lies
// outside the volume. Interpolated: n + 1 samples along the normal (one on a
// plane), a sample outside 0 .. size - 1 counting as background; slab mode 0
// averages (truncated), 1 takes the maximum, 2 the minimum.
template <class T>
std::vector<T> Reference(const ZelImage<T>& volume, const zel_oblique::ObliqueSetup& s, bool interpolated)
{
    const Zel3DVector<int> size = volume.GetImageSize();
    const int limit[3] = {size.x, size.y, size.z};
    std::vector<T> out;
    for (int j = 0; j < s.height; ++j)
        for (int i = 0; i < s.width; ++i) {
            std::vector<int> samples;
            for (int k = 0; k <= (interpolated ? s.steps : 0); ++k) {
                std::int64_t p[3];
                SamplePosition(s, i, j, k, p);
                int v[3];
                bool inside = true;
                for (int a = 0; a < 3; ++a) {
                    v[a] = RoundShift(p[a], 15);
                    inside = inside && (interpolated ? p[a] >= 0 && p[a] <= (limit[a] - 1) * 32768LL
                                                     : v[a] >= 0 && v[a] < limit[a]);
                }
                samples.push_back(!inside        ? static_cast<T>(s.background)
                                  : interpolated ? ReferenceSample(volume, p)
                                                 : Voxel(volume, v[0], v[1], v[2]));
            }
            long long sum = 0;
            for (int v : samples) sum += v;
            const int count = static_cast<int>(samples.size());
            const int value = s.slabMode == 1   ? *std::max_element(samples.begin(), samples.end())
                              : s.slabMode == 2 ? *std::min_element(samples.begin(), samples.end())
                                                : static_cast<int>(sum / count);
            out.push_back(static_cast<T>(value));
        }
    return out;
}

template <class T>
std::vector<T> Pixels(const ZelImageBase& image)
{
    const T* data = static_cast<const T*>(image.GetVoidDataPtr());
    const Zel3DVector<int> size = image.GetImageSize();
    return std::vector<T>(data, data + static_cast<std::size_t>(size.x) * size.y);
}

}  // namespace oblique_test
