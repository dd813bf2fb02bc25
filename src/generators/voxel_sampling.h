// Samples of a volume at 17.15 positions, shared by the kernels that walk
// arbitrary directions (oblique planes and slabs, curved reformations). The
// vector kernels compute the very same numbers lane by lane.
#pragma once

#include <cstddef>
#include <cstdint>

#include "generators/voxel_space.h"

// Nearest voxel: the position must already carry the half voxel, so that the
// shift rounds it; every rounded coordinate must lie inside the volume.
template <class T, class View>
inline T ZelSampleNearest(const T* volume, const View& view, std::uint32_t px, std::uint32_t py, std::uint32_t pz)
{
    return volume[view.X(static_cast<int>(px >> kZelFixedShift)) + view.Y(static_cast<int>(py >> kZelFixedShift)) +
                  view.Z(static_cast<int>(pz >> kZelFixedShift))];
}

// Trilinear sample of a signed 16-bit volume, in 32-bit integers. The 15-bit
// fractions f are rounded to fewer bits so that every product fits 32 bits:
//   x: wx = (fx + 1) >> 1 (0 .. 16384); a = v0 * (16384 - wx) + v1 * wx,
//      kept in eighths of a unit: (a + 1024) >> 11;
//   y: wy = (fy + 4) >> 3 (0 .. 4096); b = a0 * 4096 + (a1 - a0) * wy, kept in
//      eighths: (b + 2048) >> 12;
//   z: wz = (fz + 4) >> 3; c = b0 * 4096 + (b1 - b0) * wz; result (c + 16384)
//      >> 15.
// Every rounding is half up. |a1 - a0| <= 65535 * 8 and wy <= 4096 keep the
// products below 2^31. Against exact trilinear the result is off by at most
// the final rounding, 1/8, and the gradient times the position rounding
// (2^-15 in x, 2^-13 in y and z).
inline int ZelBlendX(int v0, int v1, int wx)
{
    return (v0 * (16384 - wx) + v1 * wx + 1024) >> 11;
}

inline int ZelLerp12(int a0, int a1, int w)
{
    return a0 * 4096 + (a1 - a0) * w;
}

// The position must lie inside the volume (0 <= p <= (size - 1) << 15 on
// every axis; `last` holds size - 1). At the last index the fraction is 0 and
// the successor is the voxel itself, so nothing beyond the volume is read.
template <class View>
inline int ZelSampleTrilinear(const short* volume, const View& view, const int last[3], std::uint32_t px,
                              std::uint32_t py, std::uint32_t pz)
{
    const int x0 = static_cast<int>(px >> kZelFixedShift);
    const int y0 = static_cast<int>(py >> kZelFixedShift);
    const int z0 = static_cast<int>(pz >> kZelFixedShift);
    const int wx = (static_cast<int>(px & kZelFixedMask) + 1) >> 1;
    const int wy = (static_cast<int>(py & kZelFixedMask) + 4) >> 3;
    const int wz = (static_cast<int>(pz & kZelFixedMask) + 4) >> 3;
    const std::ptrdiff_t x0i = view.X(x0);
    const std::ptrdiff_t x1i = view.X(x0 + (x0 < last[0]));
    const std::ptrdiff_t y0i = view.Y(y0);
    const std::ptrdiff_t y1i = view.Y(y0 + (y0 < last[1]));
    const std::ptrdiff_t z0i = view.Z(z0);
    const std::ptrdiff_t z1i = view.Z(z0 + (z0 < last[2]));
    const short* r00 = volume + y0i + z0i;
    const short* r10 = volume + y1i + z0i;
    const short* r01 = volume + y0i + z1i;
    const short* r11 = volume + y1i + z1i;
    const int b0 = (ZelLerp12(ZelBlendX(r00[x0i], r00[x1i], wx), ZelBlendX(r10[x0i], r10[x1i], wx), wy) + 2048) >> 12;
    const int b1 = (ZelLerp12(ZelBlendX(r01[x0i], r01[x1i], wx), ZelBlendX(r11[x0i], r11[x1i], wx), wy) + 2048) >> 12;
    return (ZelLerp12(b0, b1, wz) + 16384) >> 15;
}

// Linear sample of a colour volume, whose voxels are kChannels bytes
// (ZelRGBBase or ZelRGBABase of unsigned char), in 32-bit integers. Along each
// axis the two voxels around the position weigh (32768 - f, f) by the 15-bit
// fraction f; a voxel's weight is the product of its axes' weights, shifted
// right by 15 after each product, and each byte is the weighted sum of the
// voxels' bytes shifted right by 15. So with a fraction of 0 on one axis the
// sample is exactly the bilinear one of the other two, and the bytes never
// exceed 255 (the weights sum to at most 32768). kFixedAxis names an axis
// whose fraction is known to be 0 (the normal of an axis-aligned plane); its
// neighbours are then not read. The position must lie inside the volume as
// for ZelSampleTrilinear.
template <int kFixedAxis, class Voxel, class View>
inline void ZelSampleLinearColour(const Voxel* volume, const View& view, const int last[3], std::uint32_t px,
                                  std::uint32_t py, std::uint32_t pz, unsigned char* out)
{
    constexpr int kChannels = static_cast<int>(sizeof(Voxel));
    const std::uint32_t p[3] = {px, py, pz};
    std::ptrdiff_t offset[3][2];
    int weight[3][2];
    for (int a = 0; a < 3; ++a) {
        const int c = static_cast<int>(p[a] >> kZelFixedShift);
        const int f = a == kFixedAxis ? 0 : static_cast<int>(p[a] & kZelFixedMask);
        const int next = c + (c < last[a]);
        offset[a][0] = a == 0 ? view.X(c) : (a == 1 ? view.Y(c) : view.Z(c));
        offset[a][1] = a == 0 ? view.X(next) : (a == 1 ? view.Y(next) : view.Z(next));
        weight[a][0] = 32768 - f;
        weight[a][1] = f;
    }
    const int nx = kFixedAxis == 0 ? 1 : 2;
    const int ny = kFixedAxis == 1 ? 1 : 2;
    const int nz = kFixedAxis == 2 ? 1 : 2;
    int sum[kChannels] = {};
    for (int k = 0; k < nz; ++k)
        for (int j = 0; j < ny; ++j)
            for (int i = 0; i < nx; ++i) {
                const int w = (((weight[0][i] * weight[1][j]) >> kZelFixedShift) * weight[2][k]) >> kZelFixedShift;
                const auto* v =
                    reinterpret_cast<const unsigned char*>(volume + offset[0][i] + offset[1][j] + offset[2][k]);
                for (int c = 0; c < kChannels; ++c) sum[c] += v[c] * w;
            }
    for (int c = 0; c < kChannels; ++c) out[c] = static_cast<unsigned char>(sum[c] >> kZelFixedShift);
}
