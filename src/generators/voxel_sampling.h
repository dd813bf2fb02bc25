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
