#include "generators/oblique_kernels.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>

#include "ZelVoxelIndex.h"
#include "generators/oblique_kernels_avx2.h"

namespace zel_oblique {

namespace {

using std::int64_t;
using std::ptrdiff_t;
using std::uint32_t;

// In both layouts the element index of (x, y, z) is the sum of one term per
// axis (ZelVoxelIndex.h with the other two coordinates 0), so a kernel can
// take the terms of a voxel and of its successor once per axis and add them
// up for all eight corners of an interpolation cell.
struct LinearAxes {
    static constexpr bool kTiled = false;
    int sizeX;
    int sizeY;
    ptrdiff_t strideZ;
    explicit LinearAxes(const ObliqueSetup& s)
        : sizeX(s.size[0]), sizeY(s.size[1]), strideZ(ZelLinearIndex(0, 0, 1, s.size[0], s.size[1]))
    {
    }
    ptrdiff_t X(int x) const { return ZelLinearIndex(x, 0, 0, sizeX, sizeY); }
    ptrdiff_t Y(int y) const { return ZelLinearIndex(0, y, 0, sizeX, sizeY); }
    ptrdiff_t Z(int z) const { return z * strideZ; }
};

struct TiledAxes {
    static constexpr bool kTiled = true;
    int blocksX;
    int blocksPerSlice;
    explicit TiledAxes(const ObliqueSetup& s) : blocksX(s.blocksX), blocksPerSlice(s.blocksPerSlice) {}
    ptrdiff_t X(int x) const { return ZelTiledIndex(x, 0, 0, blocksX, blocksPerSlice); }
    ptrdiff_t Y(int y) const { return ZelTiledIndex(0, y, 0, blocksX, blocksPerSlice); }
    ptrdiff_t Z(int z) const { return ZelTiledIndex(0, 0, z, blocksX, blocksPerSlice); }
};

// The interpolated sample, in 32-bit integers (the vector kernels do the very
// same arithmetic lane by lane, so both give the same bytes). The 15-bit
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
inline int BlendX(int v0, int v1, int wx)
{
    return (v0 * (16384 - wx) + v1 * wx + 1024) >> 11;
}

inline int Lerp12(int a0, int a1, int w)
{
    return a0 * 4096 + (a1 - a0) * w;
}

// Interpolated sample at a 17.15 position inside the volume (0 <= p <=
// (size - 1) << 15 on every axis). At the last index the fraction is 0 and the
// successor is the voxel itself, so nothing beyond the volume is read.
template <class Axes>
inline int Interpolate(const short* volume, const Axes& axes, const int last[3], uint32_t px, uint32_t py, uint32_t pz)
{
    const int x0 = static_cast<int>(px >> 15);
    const int y0 = static_cast<int>(py >> 15);
    const int z0 = static_cast<int>(pz >> 15);
    const int wx = (static_cast<int>(px & 0x7fff) + 1) >> 1;
    const int wy = (static_cast<int>(py & 0x7fff) + 4) >> 3;
    const int wz = (static_cast<int>(pz & 0x7fff) + 4) >> 3;
    const ptrdiff_t x0i = axes.X(x0);
    const ptrdiff_t x1i = axes.X(x0 + (x0 < last[0]));
    const ptrdiff_t y0i = axes.Y(y0);
    const ptrdiff_t y1i = axes.Y(y0 + (y0 < last[1]));
    const ptrdiff_t z0i = axes.Z(z0);
    const ptrdiff_t z1i = axes.Z(z0 + (z0 < last[2]));
    const short* r00 = volume + y0i + z0i;
    const short* r10 = volume + y1i + z0i;
    const short* r01 = volume + y0i + z1i;
    const short* r11 = volume + y1i + z1i;
    const int b0 = (Lerp12(BlendX(r00[x0i], r00[x1i], wx), BlendX(r10[x0i], r10[x1i], wx), wy) + 2048) >> 12;
    const int b1 = (Lerp12(BlendX(r01[x0i], r01[x1i], wx), BlendX(r11[x0i], r11[x1i], wx), wy) + 2048) >> 12;
    return (Lerp12(b0, b1, wz) + 16384) >> 15;
}

// Walks keep positions in unsigned 32-bit words: the values a kernel reads
// are inside the volume and so non-negative, and the one step taken past the
// end of a span may wrap without harm.
struct Walk {
    uint32_t p[3];
    uint32_t d[3];
    Walk(const int64_t rowStart[3], const int step[3], int column, int64_t offset)
    {
        for (int a = 0; a < 3; ++a) {
            p[a] = static_cast<uint32_t>(rowStart[a] + static_cast<int64_t>(column) * step[a] + offset);
            d[a] = static_cast<uint32_t>(step[a]);
        }
    }
    void Next()
    {
        p[0] += d[0];
        p[1] += d[1];
        p[2] += d[2];
    }
};

template <class T>
T* OutputRow(const ObliqueSetup& s, int row)
{
    return static_cast<T*>(s.output) + static_cast<ptrdiff_t>(row) * s.width;
}

template <class T, class Axes>
void NearestRow(const ObliqueSetup& s, int row)
{
    T* out = OutputRow<T>(s, row);
    const T background = static_cast<T>(s.background);
    int64_t p0[3];
    ObliqueRowStart(s, row, p0);
    const ObliqueSpan span = ObliqueInsideSpan(p0, s.right, -16384, s.nearestHigh, s.width);
    std::fill(out, out + span.first, background);
    const T* volume = static_cast<const T*>(s.volume);
    const Axes axes(s);
    Walk walk(p0, s.right, span.first, 16384);  // + one half: the shift then rounds to the nearest voxel
    for (int i = span.first; i < span.last; ++i) {
        out[i] = volume[axes.X(static_cast<int>(walk.p[0] >> 15)) + axes.Y(static_cast<int>(walk.p[1] >> 15)) +
                        axes.Z(static_cast<int>(walk.p[2] >> 15))];
        walk.Next();
    }
    std::fill(out + span.last, out + s.width, background);
}

template <class Axes, bool kVector>
void InterpolatedRow(const ObliqueSetup& s, int row)
{
    short* out = OutputRow<short>(s, row);
    const short background = static_cast<short>(s.background);
    int64_t p0[3];
    ObliqueRowStart(s, row, p0);
    const ObliqueSpan span = ObliqueInsideSpan(p0, s.right, 0, s.linearHigh, s.width);
    std::fill(out, out + span.first, background);
    const short* volume = static_cast<const short*>(s.volume);
    const Axes axes(s);
    const int last[3] = {s.size[0] - 1, s.size[1] - 1, s.size[2] - 1};
    int i = span.first;
    if (kVector) i = ObliquePlaneSpanAvx2<Axes::kTiled>(s, p0, i, span.last, out);
    Walk walk(p0, s.right, i, 0);
    for (; i < span.last; ++i) {
        out[i] = static_cast<short>(Interpolate(volume, axes, last, walk.p[0], walk.p[1], walk.p[2]));
        walk.Next();
    }
    std::fill(out + span.last, out + s.width, background);
}

// Slab combinations. The average truncates toward zero like the MPR stacked
// slice.
struct AverageMode {
    static constexpr int kId = ZEL_OBLIQUE_SLAB_AVERAGE;
    int sum = 0;
    void Add(int v) { sum += v; }
    int Result(int count) const { return sum / count; }
};

struct MaximumMode {
    static constexpr int kId = ZEL_OBLIQUE_SLAB_MAXIMUM;
    int value = INT_MIN;
    void Add(int v) { value = std::max(value, v); }
    int Result(int) const { return value; }
};

struct MinimumMode {
    static constexpr int kId = ZEL_OBLIQUE_SLAB_MINIMUM;
    int value = INT_MAX;
    void Add(int v) { value = std::min(value, v); }
    int Result(int) const { return value; }
};

// A slab pixel near the volume's edge: samples outside count as background.
template <class Axes, class Mode>
int CheckedSlabPixel(const ObliqueSetup& s, const short* volume, const Axes& axes, const int last[3],
                     const int64_t rowStart[3], int column)
{
    int64_t p[3];
    for (int a = 0; a < 3; ++a) p[a] = rowStart[a] + static_cast<int64_t>(column) * s.right[a];
    const int background = static_cast<short>(s.background);
    Mode mode;
    for (int k = 0; k <= s.steps; ++k) {
        bool inside = true;
        for (int a = 0; a < 3; ++a) inside = inside && p[a] >= 0 && p[a] <= s.linearHigh[a];
        mode.Add(inside ? Interpolate(volume, axes, last, static_cast<uint32_t>(p[0]), static_cast<uint32_t>(p[1]),
                                      static_cast<uint32_t>(p[2]))
                        : background);
        for (int a = 0; a < 3; ++a) p[a] += s.normal[a];
    }
    return mode.Result(s.steps + 1);
}

template <class Axes, class Mode, bool kVector>
void SlabRow(const ObliqueSetup& s, int row)
{
    short* out = OutputRow<short>(s, row);
    const short* volume = static_cast<const short*>(s.volume);
    const Axes axes(s);
    const int last[3] = {s.size[0] - 1, s.size[1] - 1, s.size[2] - 1};
    const int n = s.steps;
    int64_t p0[3];
    int64_t pn[3];
    ObliqueRowStart(s, row, p0);
    for (int a = 0; a < 3; ++a) pn[a] = p0[a] + static_cast<int64_t>(n) * s.normal[a];
    // The box is convex: a pixel's samples all lie inside when its first and
    // its last sample do.
    const ObliqueSpan front = ObliqueInsideSpan(p0, s.right, 0, s.linearHigh, s.width);
    const ObliqueSpan back = ObliqueInsideSpan(pn, s.right, 0, s.linearHigh, s.width);
    const int first = std::max(front.first, back.first);
    const int end = std::max(first, std::min(front.last, back.last));

    for (int i = 0; i < first; ++i)
        out[i] = static_cast<short>(CheckedSlabPixel<Axes, Mode>(s, volume, axes, last, p0, i));
    int i = first;
    if (kVector) i = ObliqueSlabSpanAvx2<Axes::kTiled, Mode::kId>(s, p0, i, end, out);
    Walk column(p0, s.right, i, 0);
    const uint32_t d[3] = {static_cast<uint32_t>(s.normal[0]), static_cast<uint32_t>(s.normal[1]),
                           static_cast<uint32_t>(s.normal[2])};
    for (; i < end; ++i) {
        uint32_t px = column.p[0];
        uint32_t py = column.p[1];
        uint32_t pz = column.p[2];
        Mode mode;
        mode.Add(Interpolate(volume, axes, last, px, py, pz));
        for (int k = 0; k < n; ++k) {
            px += d[0];
            py += d[1];
            pz += d[2];
            mode.Add(Interpolate(volume, axes, last, px, py, pz));
        }
        out[i] = static_cast<short>(mode.Result(n + 1));
        column.Next();
    }
    for (int i = end; i < s.width; ++i)
        out[i] = static_cast<short>(CheckedSlabPixel<Axes, Mode>(s, volume, axes, last, p0, i));
}

// [voxel type][layout]: types 1, 3, 4; linear, tiled.
const ObliqueRowKernel kNearest[3][2] = {
    {NearestRow<unsigned char, LinearAxes>, NearestRow<unsigned char, TiledAxes>},
    {NearestRow<unsigned short, LinearAxes>, NearestRow<unsigned short, TiledAxes>},
    {NearestRow<short, LinearAxes>, NearestRow<short, TiledAxes>},
};

// [vector][layout].
const ObliqueRowKernel kInterpolated[2][2] = {
    {InterpolatedRow<LinearAxes, false>, InterpolatedRow<TiledAxes, false>},
    {InterpolatedRow<LinearAxes, true>, InterpolatedRow<TiledAxes, true>},
};

// [vector][slab mode][layout].
const ObliqueRowKernel kSlab[2][3][2] = {
    {
        {SlabRow<LinearAxes, AverageMode, false>, SlabRow<TiledAxes, AverageMode, false>},
        {SlabRow<LinearAxes, MaximumMode, false>, SlabRow<TiledAxes, MaximumMode, false>},
        {SlabRow<LinearAxes, MinimumMode, false>, SlabRow<TiledAxes, MinimumMode, false>},
    },
    {
        {SlabRow<LinearAxes, AverageMode, true>, SlabRow<TiledAxes, AverageMode, true>},
        {SlabRow<LinearAxes, MaximumMode, true>, SlabRow<TiledAxes, MaximumMode, true>},
        {SlabRow<LinearAxes, MinimumMode, true>, SlabRow<TiledAxes, MinimumMode, true>},
    },
};

std::atomic<bool> g_vectorKernels{true};

}  // namespace

void ObliqueAllowVectorKernels(bool allowed)
{
    g_vectorKernels.store(allowed, std::memory_order_relaxed);
}

bool SelectObliqueKernel(int voxelType, int alignment, int interpolation, int steps, int slabMode, bool vectorFriendly,
                         ObliqueRowKernel& kernel, bool& threaded)
{
    static const bool vectorCpu = ObliqueAvx2Available();
    const int vector = vectorFriendly && vectorCpu && g_vectorKernels.load(std::memory_order_relaxed) ? 1 : 0;
    kernel = nullptr;
    threaded = false;
    if (alignment != ZEL_ALIGNMENT_LINEAR && alignment != ZEL_ALIGNMENT_TILED) return false;
    if (interpolation != 0 && interpolation != 1) return false;
    int type;
    switch (voxelType) {
    case ZEL_VOXEL_UCHAR: type = 0; break;
    case ZEL_VOXEL_USHORT: type = 1; break;
    case ZEL_VOXEL_SHORT: type = 2; break;
    default: return false;
    }
    // Unsigned volumes are always sampled nearest, whatever the slab.
    if (type != 2 || (interpolation == 0 && steps == 0)) {
        kernel = kNearest[type][alignment];
        return true;
    }
    if (interpolation == 0) return false;  // a nearest slab of a signed volume is not offered
    if (steps == 0) {
        kernel = kInterpolated[vector][alignment];
        return true;
    }
    threaded = true;
    if (slabMode >= 0 && slabMode < 3) kernel = kSlab[vector][slabMode][alignment];
    return true;
}

}  // namespace zel_oblique
