// Walking kernels of the MPR generator: nearest voxel along the fixed-point
// walk, and the two floating-point samplers of free rotation.
#include "generators/mpr_kernels.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace {

template <class T>
void Fill(T* out, int count, T value)
{
    std::fill(out, out + count, value);
}

}  // namespace

template <class T>
void ZelMPRFillBackground(T* out, std::size_t count, int background)
{
    std::fill(out, out + count, static_cast<T>(background));
}

template <class T>
bool ZelMPRNearest(const ZelMPRSliceSetup& g, const T* volume, T* out)
{
    const ZelVolumeLayout& layout = g.layout;
    // Half a voxel added rounds every position to its nearest voxel.
    const std::int64_t colStart = g.colStart + kZelFixedHalf, rowStart = g.rowStart + kZelFixedHalf;
    const ZelSpan across = ZelFixedSpan(colStart, g.colStep, 0, layout.size[g.colAxis] * kZelFixedOne - 1, g.width);
    const ZelSpan down = ZelFixedSpan(rowStart, g.rowStep, 0, layout.size[g.rowAxis] * kZelFixedOne - 1, g.height);
    const int x0 = across.begin, x1 = across.end, y0 = down.begin, y1 = down.end;
    const T background = static_cast<T>(g.background);
    if (x0 >= x1 || y0 >= y1) {
        ZelMPRFillBackground(out, static_cast<std::size_t>(g.width) * g.height, g.background);
        return true;
    }

    // The column walk is the same for every row: run it once. Where it
    // moves one element per pixel (zoom 1 along x) the row is copied in runs:
    // whole rows of a linear volume, 16-voxel runs of a tiled one.
    const int n = x1 - x0;
    std::unique_ptr<std::ptrdiff_t[]> columns(new (std::nothrow) std::ptrdiff_t[n]);
    std::unique_ptr<int[]> runStart(new (std::nothrow) int[n + 1]);
    if (!columns || !runStart) return false;
    ZelAxisWalk column(colStart + x0 * g.colStep, layout.axis[g.colAxis]);
    int runs = 0;
    for (int k = 0; k < n; ++k) {
        if (k > 0) column.Advance(g.colStep);
        columns[k] = column.Offset();
        if (k == 0 || columns[k] != columns[k - 1] + 1) runStart[runs++] = k;
    }
    runStart[runs] = n;
    const bool copyRuns = runs * 4 <= n;

    const T* slice = volume + g.sliceOffset;
    ZelAxisWalk row(rowStart + y0 * g.rowStep, layout.axis[g.rowAxis]);
    for (int y = 0; y < g.height; ++y) {
        T* o = out + static_cast<std::ptrdiff_t>(y) * g.width;
        if (y < y0 || y >= y1) {
            Fill(o, g.width, background);
            continue;
        }
        if (y > y0) row.Advance(g.rowStep);
        Fill(o, x0, background);
        const T* src = slice + row.Offset();
        if (copyRuns) {
            for (int r = 0; r < runs; ++r) {
                const int k = runStart[r];
                std::memcpy(o + x0 + k, src + columns[k], static_cast<std::size_t>(runStart[r + 1] - k) * sizeof(T));
            }
        } else {
            for (int k = 0; k < n; ++k) o[x0 + k] = src[columns[k]];
        }
        Fill(o + x1, g.width - x1, background);
    }
    return true;
}

namespace {

// Element offsets of every coordinate of one axis: the per-pixel addressing
// of free rotation becomes two table reads.
std::unique_ptr<std::ptrdiff_t[]> AxisTable(const ZelVolumeLayout& layout, int axis)
{
    const int n = layout.size[axis];
    std::unique_ptr<std::ptrdiff_t[]> table(new (std::nothrow) std::ptrdiff_t[n]);
    if (table) {
        for (int c = 0; c < n; ++c) table[c] = layout.axis[axis].Offset(c);
    }
    return table;
}

}  // namespace

namespace {

// Free rotation: each pixel's in-plane coordinates (u, v) are computed from
// the row start and the steps; `sample` writes the pixel from the slice and
// the axis tables, or returns false for background.
template <class T, class Sample>
bool FreeRotationWalk(const ZelMPRSliceSetup& g, const T* volume, T* out, Sample sample)
{
    const std::unique_ptr<std::ptrdiff_t[]> uTable = AxisTable(g.layout, g.uAxis);
    const std::unique_ptr<std::ptrdiff_t[]> vTable = AxisTable(g.layout, g.vAxis);
    if (!uTable || !vTable) return false;
    const T background = static_cast<T>(g.background);
    const T* slice = volume + g.sliceOffset;
    for (int y = 0; y < g.height; ++y) {
        const double uRow = g.u0 + y * g.uStepY, vRow = g.v0 + y * g.vStepY;
        T* o = out + static_cast<std::ptrdiff_t>(y) * g.width;
        for (int x = 0; x < g.width; ++x) {
            const double u = uRow + x * g.uStepX, v = vRow + x * g.vStepX;
            if (!sample(slice, uTable.get(), vTable.get(), u, v, o[x])) o[x] = background;
        }
    }
    return true;
}

}  // namespace

template <class T>
bool ZelMPRFreeFloor(const ZelMPRSliceSetup& g, const T* volume, T* out)
{
    const double uEnd = g.layout.size[g.uAxis], vEnd = g.layout.size[g.vAxis];
    return FreeRotationWalk(
        g, volume, out,
        [=](const T* slice, const std::ptrdiff_t* uTable, const std::ptrdiff_t* vTable, double u, double v, T& pixel) {
            // floor(u) in [0, size - 1] is u in [0, size); NaN falls outside.
            if (!(u >= 0.0 && u < uEnd && v >= 0.0 && v < vEnd)) return false;
            pixel = slice[uTable[static_cast<int>(u)] + vTable[static_cast<int>(v)]];
            return true;
        });
}

bool ZelMPRFreeBilinear(const ZelMPRSliceSetup& g, const short* volume, short* out)
{
    const double uLast = g.layout.size[g.uAxis] - 1, vLast = g.layout.size[g.vAxis] - 1;
    return FreeRotationWalk(
        g, volume, out,
        [=](const short* slice, const std::ptrdiff_t* uTable, const std::ptrdiff_t* vTable, double u, double v,
            short& pixel) {
            if (!(u >= 0.0 && u <= uLast && v >= 0.0 && v <= vLast)) return false;
            const int iu = static_cast<int>(u), iv = static_cast<int>(v);
            const float fu = static_cast<float>(u - iu), fv = static_cast<float>(v - iv);
            const float v00 = slice[uTable[iu] + vTable[iv]];
            // The exact-zero tests keep a sample on the last index from
            // reading the (absent) voxel after it.
            float value;
            if (fu == 0.0f && fv == 0.0f) {
                value = v00;
            } else if (fv == 0.0f) {
                value = v00 * (1.0f - fu) + static_cast<float>(slice[uTable[iu + 1] + vTable[iv]]) * fu;
            } else if (fu == 0.0f) {
                value = v00 * (1.0f - fv) + static_cast<float>(slice[uTable[iu] + vTable[iv + 1]]) * fv;
            } else {
                const float v10 = slice[uTable[iu + 1] + vTable[iv]];
                const float v01 = slice[uTable[iu] + vTable[iv + 1]];
                const float v11 = slice[uTable[iu + 1] + vTable[iv + 1]];
                value = ((v00 * (1.0f - fu) + v10 * fu) * (1.0f - fv)) + ((v01 * (1.0f - fu) + v11 * fu) * fv);
            }
            pixel = static_cast<short>(static_cast<int>(value));
            return true;
        });
}

#define ZEL_MPR_INSTANTIATE(T)                                             \
    template void ZelMPRFillBackground<T>(T*, std::size_t, int);           \
    template bool ZelMPRNearest<T>(const ZelMPRSliceSetup&, const T*, T*); \
    template bool ZelMPRFreeFloor<T>(const ZelMPRSliceSetup&, const T*, T*);
ZEL_MPR_INSTANTIATE(unsigned char)
ZEL_MPR_INSTANTIATE(unsigned short)
ZEL_MPR_INSTANTIATE(short)
#undef ZEL_MPR_INSTANTIATE
