// Voxel addressing and 17.15 fixed point for every reslicing kernel: the
// layout of a volume, a compile-time view of it for kernels instantiated per
// layout, conversion to fixed point, the span of a walk that lies inside the
// volume, and the walks themselves. Kernels take positions and steps from
// here and never compute a voxel index or a fixed-point value of their own.
#pragma once

#include <cstddef>
#include <cstdint>

#include "ZelImageBase.h"
#include "ZelVoxelIndex.h"

// 17.15 fixed point: one voxel is 32768.
constexpr int kZelFixedShift = 15;
constexpr std::int64_t kZelFixedOne = 32768;
constexpr std::int64_t kZelFixedHalf = 16384;
constexpr std::int64_t kZelFixedMask = 32767;

// The three axes of a volume (see ZelVoxelIndex.h) with its size.
struct ZelVolumeLayout {
    ZelVoxelAxis axis[3];
    int size[3];

    ZelVolumeLayout() = default;
    explicit ZelVolumeLayout(const ZelImageBase& volume);
    std::ptrdiff_t Index(int x, int y, int z) const
    {
        return axis[0].Offset(x) + axis[1].Offset(y) + axis[2].Offset(z);
    }
};

// One layout with its constants folded in, for kernels instantiated per
// layout: the same terms as ZelVoxelAxis::Offset, with the strides that are
// fixed by the layout (x always 1; 16 and 256 inside a block) known to the
// compiler.
template <bool kTiled>
struct ZelLayoutView {
    static constexpr bool kIsTiled = kTiled;
    std::ptrdiff_t outerY;  // linear: the stride of y and z; tiled: their outer strides
    std::ptrdiff_t outerZ;

    explicit ZelLayoutView(const ZelVolumeLayout& layout) : outerY(layout.axis[1].outer), outerZ(layout.axis[2].outer)
    {
    }
    std::ptrdiff_t X(int x) const { return kTiled ? ZelAxisOffset(x, 256, 1) : x; }
    std::ptrdiff_t Y(int y) const { return kTiled ? ZelAxisOffset(y, outerY, 16) : y * outerY; }
    std::ptrdiff_t Z(int z) const { return kTiled ? ZelAxisOffset(z, outerZ, 256) : z * outerZ; }
};

// Floor and ceiling of a / b for b > 0.
inline std::int64_t ZelFloorDiv(std::int64_t a, std::int64_t b)
{
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

inline std::int64_t ZelCeilDiv(std::int64_t a, std::int64_t b)
{
    return -ZelFloorDiv(-a, b);
}

// A position in voxels to 17.15, truncated toward zero. False for NaN and
// for values whose fixed-point form reaches the limit of the type: 2^31 for
// 32-bit walks, 2^60 for 64-bit ones (far outside any volume, and leaving the
// span and walk arithmetic room not to overflow).
template <class Fixed>
inline bool ZelToFixed(double voxels, Fixed& fixed)
{
    static_assert(sizeof(Fixed) == 4 || sizeof(Fixed) == 8, "32- or 64-bit fixed point");
    constexpr double kLimit = sizeof(Fixed) == 8 ? 1152921504606846976.0 : 2147483648.0;
    const double scaled = voxels * 32768.0;
    if (!(scaled < kLimit && scaled > -kLimit)) return false;
    fixed = static_cast<Fixed>(scaled);
    return true;
}

// The pixels [begin, end) of a walk; empty when begin == end.
struct ZelSpan {
    int begin;
    int end;
};

// Pixels k in [0, count) whose position start + k * step lies in [lo, hi].
ZelSpan ZelFixedSpan(std::int64_t start, std::int64_t step, std::int64_t lo, std::int64_t hi, int count);

// Pixels k in [0, count) whose position p + k * step lies in
// [low, high[a]] on every axis a: the intersection of the three spans.
ZelSpan ZelInsideSpan(const std::int64_t p[3], const int step[3], std::int64_t low, const std::int64_t high[3],
                      int count);

// A 17.15 position along one volume axis with the element offset of its
// voxel. Advance() moves by a fixed-point step and carries the whole voxels
// into the offset: inside a run of 16 each voxel is `inner` elements, and
// each block edge crossed adds 16 * (outer - inner) (nothing when linear).
class ZelAxisWalk {
public:
    ZelAxisWalk(std::int64_t position, const ZelVoxelAxis& axis)
        : m_inner(axis.inner),
          m_blockJump(16 * (axis.outer - axis.inner)),
          m_coord(static_cast<int>(position >> kZelFixedShift)),
          m_frac(position & kZelFixedMask),
          m_offset(axis.Offset(m_coord))
    {
    }

    // Offset change from coordinate c to c + delta along an axis.
    static std::ptrdiff_t Step(const ZelVoxelAxis& axis, int c, int delta)
    {
        return Move(c, delta, axis.inner, 16 * (axis.outer - axis.inner));
    }

    // Only called while the walk stays inside the volume, so the whole-voxel
    // move fits an int.
    void Advance(std::int64_t step)
    {
        m_frac += step;
        const int delta = static_cast<int>(m_frac >> kZelFixedShift);
        m_frac &= kZelFixedMask;
        m_offset += Move(m_coord, delta, m_inner, m_blockJump);
        m_coord += delta;
    }

    int Coord() const { return m_coord; }
    int Fraction() const { return static_cast<int>(m_frac); }
    std::ptrdiff_t Offset() const { return m_offset; }

private:
    static std::ptrdiff_t Move(int c, int delta, std::ptrdiff_t inner, std::ptrdiff_t blockJump)
    {
        return delta * inner + static_cast<std::ptrdiff_t>(((c + delta) >> 4) - (c >> 4)) * blockJump;
    }

    std::ptrdiff_t m_inner;
    std::ptrdiff_t m_blockJump;
    int m_coord;
    std::int64_t m_frac;
    std::ptrdiff_t m_offset;
};

// A 17.15 walk through the volume along a row of pixels, in unsigned 32-bit
// words: the positions a kernel reads lie inside the volume and so are
// non-negative, and the one step taken past the end of a span may wrap
// without harm.
struct ZelFixedWalk {
    std::uint32_t p[3];
    std::uint32_t d[3];

    // Position of pixel `column` of a row starting at rowStart, plus offset.
    ZelFixedWalk(const std::int64_t rowStart[3], const int step[3], int column, std::int64_t offset)
    {
        for (int a = 0; a < 3; ++a) {
            p[a] = static_cast<std::uint32_t>(rowStart[a] + static_cast<std::int64_t>(column) * step[a] + offset);
            d[a] = static_cast<std::uint32_t>(step[a]);
        }
    }
    void Next()
    {
        p[0] += d[0];
        p[1] += d[1];
        p[2] += d[2];
    }
};
