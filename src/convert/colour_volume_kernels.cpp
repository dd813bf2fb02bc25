#include "colour_volume_kernels.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "ZelRGBABase.h"
#include "ZelRGBBase.h"
#include "generators/slab_reducers.h"
#include "generators/voxel_sampling.h"

namespace {

using std::int64_t;
using std::ptrdiff_t;

using Rgb = ZelRGBBase<unsigned char>;
using Rgba = ZelRGBABase<unsigned char>;

unsigned char* RowOf(const ZelVolumeRows& rows, int y)
{
    return rows.dst + static_cast<ptrdiff_t>(y) * rows.stride;
}

void Black(unsigned char* pixels, int count, int depth)
{
    if (count > 0) std::memset(pixels, 0, static_cast<std::size_t>(count) * depth);
}

// Every row: black / inside / black spans, the inside span walked.
template <class Voxel, class View, ZelColourSampling kSampling, int kFixedAxis>
void PlaneRows(const ZelColourPlane& plane, const ZelVolumeRows& rows)
{
    constexpr int kBytes = static_cast<int>(sizeof(Voxel));
    const auto* volume = static_cast<const Voxel*>(plane.volume);
    const View view(plane.layout);
    const int last[3] = {plane.layout.size[0] - 1, plane.layout.size[1] - 1, plane.layout.size[2] - 1};
    for (int y = 0; y < rows.height; ++y) {
        unsigned char* out = RowOf(rows, y);
        int64_t p0[3];
        plane.walk.RowStart(y, p0);
        const ZelSpan span = ZelInsideSpan(p0, plane.walk.stepX, plane.low, plane.high, rows.width);
        Black(out, span.begin, kBytes);
        ZelFixedWalk walk(p0, plane.walk.stepX, span.begin, plane.offset);
        for (int x = span.begin; x < span.end; ++x) {
            unsigned char* pixel = out + static_cast<ptrdiff_t>(x) * kBytes;
            if constexpr (kSampling == ZelColourSampling::kNearest) {
                const Voxel v = ZelSampleNearest(volume, view, walk.p[0], walk.p[1], walk.p[2]);
                std::memcpy(pixel, &v, kBytes);
            } else {
                ZelSampleLinearColour<kFixedAxis>(volume, view, last, walk.p[0], walk.p[1], walk.p[2], pixel);
            }
            walk.Next();
        }
        Black(out + static_cast<ptrdiff_t>(span.end) * kBytes, rows.width - span.end, kBytes);
    }
}

using Linear = ZelLayoutView<false>;
using Tiled = ZelLayoutView<true>;
constexpr ZelColourSampling kNearest = ZelColourSampling::kNearest;
constexpr ZelColourSampling kLinear = ZelColourSampling::kLinear;

// [layout][sampling]: nearest; linear with axis 0, 1 or 2 fixed; linear.
template <class Voxel>
constexpr ZelColourPlaneKernel kPlaneKernels[2][5] = {
    {PlaneRows<Voxel, Linear, kNearest, -1>, PlaneRows<Voxel, Linear, kLinear, 0>, PlaneRows<Voxel, Linear, kLinear, 1>,
     PlaneRows<Voxel, Linear, kLinear, 2>, PlaneRows<Voxel, Linear, kLinear, -1>},
    {PlaneRows<Voxel, Tiled, kNearest, -1>, PlaneRows<Voxel, Tiled, kLinear, 0>, PlaneRows<Voxel, Tiled, kLinear, 1>,
     PlaneRows<Voxel, Tiled, kLinear, 2>, PlaneRows<Voxel, Tiled, kLinear, -1>},
};

}  // namespace

ZelColourPlaneKernel ZelSelectColourPlaneKernel(int voxelBytes, bool tiled, ZelColourSampling sampling, int fixedAxis)
{
    const int mode = sampling == kNearest ? 0 : (fixedAxis >= 0 && fixedAxis < 3 ? 1 + fixedAxis : 4);
    return voxelBytes == 4 ? kPlaneKernels<Rgba>[tiled][mode] : kPlaneKernels<Rgb>[tiled][mode];
}

void ZelSetColourBounds(ZelColourPlane& plane, ZelColourSampling sampling)
{
    const bool nearest = sampling == kNearest;
    plane.offset = nearest ? kZelFixedHalf : 0;
    plane.low = nearest ? -kZelFixedHalf : 0;
    for (int a = 0; a < 3; ++a) {
        // Nearest: the rounded voxel (p + 16384) >> 15 must be below size.
        const int64_t size = plane.layout.size[a];
        plane.high[a] = nearest ? size * kZelFixedOne - kZelFixedHalf - 1 : (size - 1) * kZelFixedOne;
    }
}

namespace {

// Voxels [begin, end) along one axis.
struct VoxelRange {
    int begin;
    int end;
    int Count() const { return end - begin; }
};

// The voxels whose centres lie within half a step (at least half a voxel) of
// a 17.15 position, cut to the volume.
VoxelRange Footprint(int64_t centre, int64_t step, int size)
{
    const int64_t half = std::max<int64_t>(step < 0 ? -step : step, kZelFixedOne) / 2;
    const int64_t begin = std::max<int64_t>(ZelCeilDiv(centre - half, kZelFixedOne), 0);
    const int64_t end = std::min<int64_t>(ZelCeilDiv(centre + half, kZelFixedOne), size);
    if (begin >= end) return {0, 0};
    return {static_cast<int>(begin), static_cast<int>(end)};
}

// The sums of a pixel's bytes divided by its voxel count, truncated: with one
// multiply (ZelFixedDivisor) while every sum fits 31 bits, plainly beyond.
template <class Divisor, class Sum>
void AveragePixel(const std::uint64_t* total, int bytes, const Divisor& divide, unsigned char* pixel)
{
    for (int c = 0; c < bytes; ++c) pixel[c] = static_cast<unsigned char>(divide(static_cast<Sum>(total[c])));
}

template <class Voxel>
bool ReduceRows(const ZelAxisView& v, const ZelVolumeRows& rows)
{
    constexpr int kBytes = static_cast<int>(sizeof(Voxel));
    const int colSize = v.layout.size[v.colAxis];
    const int rowSize = v.layout.size[v.rowAxis];
    const int width = rows.width;

    // Columns: each pixel's voxel range, and the voxels any pixel reads.
    std::unique_ptr<VoxelRange[]> columns(new (std::nothrow) VoxelRange[width > 0 ? width : 1]);
    if (!columns) return false;
    int first = colSize;
    int end = 0;
    int widest = 0;
    for (int x = 0; x < width; ++x) {
        columns[x] = Footprint(v.colStart + static_cast<int64_t>(x) * v.colStep, v.colStep, colSize);
        if (columns[x].Count() == 0) continue;
        first = std::min(first, columns[x].begin);
        end = std::max(end, columns[x].end);
        widest = std::max(widest, columns[x].Count());
    }
    const int span = std::max(end - first, 0);
    std::unique_ptr<ptrdiff_t[]> offsets(new (std::nothrow) ptrdiff_t[span > 0 ? span : 1]);
    std::unique_ptr<std::uint64_t[]> sums(new (std::nothrow)
                                              std::uint64_t[static_cast<std::size_t>(span) * kBytes + 1]);
    if (!offsets || !sums) return false;
    for (int c = 0; c < span; ++c) offsets[c] = v.layout.axis[v.colAxis].Offset(first + c);

    const auto* volume = static_cast<const Voxel*>(v.volume) + v.sliceOffset;
    const ZelVoxelAxis& rowAxis = v.layout.axis[v.rowAxis];
    for (int y = 0; y < rows.height; ++y) {
        unsigned char* out = RowOf(rows, y);
        const VoxelRange down = Footprint(v.rowStart + static_cast<int64_t>(y) * v.rowStep, v.rowStep, rowSize);
        if (down.Count() == 0 || span == 0) {
            Black(out, width, kBytes);
            continue;
        }
        // The column sums of the row's voxel rows, then each pixel's columns.
        std::fill(sums.get(), sums.get() + static_cast<std::ptrdiff_t>(span) * kBytes, 0);
        for (int r = down.begin; r < down.end; ++r) {
            const Voxel* line = volume + rowAxis.Offset(r);
            for (int c = 0; c < span; ++c) {
                const auto* bytes = reinterpret_cast<const unsigned char*>(line + offsets[c]);
                for (int k = 0; k < kBytes; ++k) sums[static_cast<ptrdiff_t>(c) * kBytes + k] += bytes[k];
            }
        }
        // Every sum is at most 255 * count; below 2^31 the divisor is one
        // multiply. The count of a pixel takes few values, so the divisor of
        // the previous pixel is kept while the count stays.
        const bool small = 255.0 * down.Count() * widest < 2147483648.0;
        int64_t divisorCount = 0;
        ZelFixedDivisor fixed(1);
        for (int x = 0; x < width; ++x) {
            unsigned char* pixel = out + static_cast<ptrdiff_t>(x) * kBytes;
            const VoxelRange across = columns[x];
            if (across.Count() == 0) {
                Black(pixel, 1, kBytes);
                continue;
            }
            std::uint64_t total[kBytes] = {};
            for (int c = across.begin - first; c < across.end - first; ++c)
                for (int k = 0; k < kBytes; ++k) total[k] += sums[static_cast<ptrdiff_t>(c) * kBytes + k];
            const int64_t count = static_cast<int64_t>(down.Count()) * across.Count();
            if (small) {
                if (count != divisorCount) {
                    fixed = ZelFixedDivisor(count);
                    divisorCount = count;
                }
                AveragePixel<ZelFixedDivisor, std::int32_t>(total, kBytes, fixed, pixel);
            } else {
                AveragePixel<ZelPlainDivisor, std::int64_t>(total, kBytes, ZelPlainDivisor(count), pixel);
            }
        }
    }
    return true;
}

}  // namespace

bool ZelColourReduce(const ZelAxisView& view, const ZelVolumeRows& rows)
{
    return view.voxelBytes == 4 ? ReduceRows<Rgba>(view, rows) : ReduceRows<Rgb>(view, rows);
}

namespace {

// One table entry of a bilinear axis: the element offsets of the voxel at or
// before the position and of its successor (the voxel itself at the last
// index, where the fraction is 0), and the 15-bit fraction.
struct Tap {
    ptrdiff_t first;
    ptrdiff_t second;
    int fraction;
};

// The taps of the inside span of `count` positions start + k * step, k in
// [span.begin, span.end).
std::unique_ptr<Tap[]> Taps(int64_t start, int64_t step, int64_t end, int count, const ZelVoxelAxis& axis, int size,
                            ZelSpan& span)
{
    span = ZelFixedSpan(start, step, 0, end, count);
    std::unique_ptr<Tap[]> taps(new (std::nothrow) Tap[std::max(span.end - span.begin, 1)]);
    if (!taps) return taps;
    for (int k = span.begin; k < span.end; ++k) {
        const int64_t position = start + static_cast<int64_t>(k) * step;
        const int c = static_cast<int>(position >> kZelFixedShift);
        taps[k - span.begin] = {axis.Offset(c), axis.Offset(c + (c < size - 1)),
                                static_cast<int>(position & kZelFixedMask)};
    }
    return taps;
}

template <class Voxel>
bool AxisBilinearRows(const ZelAxisView& v, const ZelVolumeRows& rows)
{
    constexpr int kBytes = static_cast<int>(sizeof(Voxel));
    ZelSpan across;
    ZelSpan down;
    const std::unique_ptr<Tap[]> columns =
        Taps(v.colStart, v.colStep, v.colEnd, rows.width, v.layout.axis[v.colAxis], v.layout.size[v.colAxis], across);
    const std::unique_ptr<Tap[]> lines =
        Taps(v.rowStart, v.rowStep, v.rowEnd, rows.height, v.layout.axis[v.rowAxis], v.layout.size[v.rowAxis], down);
    if (!columns || !lines) return false;
    const auto* slice = reinterpret_cast<const unsigned char*>(static_cast<const Voxel*>(v.volume) + v.sliceOffset);
    const int n = across.end - across.begin;
    for (int y = 0; y < rows.height; ++y) {
        unsigned char* out = RowOf(rows, y);
        if (y < down.begin || y >= down.end || n == 0) {
            Black(out, rows.width, kBytes);
            continue;
        }
        const Tap& line = lines[y - down.begin];
        const unsigned char* top = slice + line.first * kBytes;
        const unsigned char* bottom = slice + line.second * kBytes;
        const int fy = line.fraction, gy = 32768 - fy;
        Black(out, across.begin, kBytes);
        unsigned char* pixel = out + static_cast<ptrdiff_t>(across.begin) * kBytes;
        for (int k = 0; k < n; ++k, pixel += kBytes) {
            const Tap& column = columns[k];
            const int fx = column.fraction, gx = 32768 - fx;
            // The weights of ZelSampleLinearColour: each product shifted right by 15.
            const int w00 = (gx * gy) >> 15, w10 = (fx * gy) >> 15, w01 = (gx * fy) >> 15, w11 = (fx * fy) >> 15;
            const unsigned char* a = top + column.first * kBytes;
            const unsigned char* b = top + column.second * kBytes;
            const unsigned char* c = bottom + column.first * kBytes;
            const unsigned char* d = bottom + column.second * kBytes;
            for (int i = 0; i < kBytes; ++i)
                pixel[i] = static_cast<unsigned char>((a[i] * w00 + b[i] * w10 + c[i] * w01 + d[i] * w11) >> 15);
        }
        Black(out + static_cast<ptrdiff_t>(across.end) * kBytes, rows.width - across.end, kBytes);
    }
    return true;
}

}  // namespace

bool ZelColourAxisBilinear(const ZelAxisView& view, const ZelVolumeRows& rows)
{
    return view.voxelBytes == 4 ? AxisBilinearRows<Rgba>(view, rows) : AxisBilinearRows<Rgb>(view, rows);
}

void ZelCubicWeights(int t, int weights[4])
{
    // Arithmetic shifts throughout; every product fits 32 bits.
    const int t1 = t - 32768;
    const int t2 = (t * t) >> 15;
    const int t3 = t2 - t - 32768;
    weights[0] = -((((t1 * t1) >> 15) * t) >> 15);
    weights[1] = (t3 * t1) >> 15;
    weights[2] = -((t3 * t) >> 15);
    weights[3] = (t2 * t1) >> 15;
}

bool ZelColourBicubicRows(const ZelColourBicubic& v, const ZelVolumeRows& rows)
{
    const int width = rows.width;
    const int64_t xEnd = static_cast<int64_t>(v.layout.size[0] - 2) * kZelFixedOne;
    const int64_t yEnd = static_cast<int64_t>(v.layout.size[1] - 2) * kZelFixedOne;
    // Per column: its four weights, and the element offsets of its four
    // neighbours (inside columns only; -1 marks a black column).
    struct Column {
        int weight[4];
        ptrdiff_t offset[4];
        bool inside;
    };
    std::unique_ptr<Column[]> columns(new (std::nothrow) Column[width > 0 ? width : 1]);
    if (!columns) return false;
    for (int x = 0; x < width; ++x) {
        const int64_t position = v.colStart + static_cast<int64_t>(x) * v.colStep;
        Column& c = columns[x];
        ZelCubicWeights(static_cast<int>(position & kZelFixedMask), c.weight);
        c.inside = position >= kZelFixedOne && position < xEnd;
        if (!c.inside) continue;
        const int xi = static_cast<int>(position >> kZelFixedShift);
        for (int j = 0; j < 4; ++j) c.offset[j] = v.layout.axis[0].Offset(xi - 1 + j);
    }
    const auto* slice = static_cast<const Rgb*>(v.volume) + v.sliceOffset;
    for (int y = 0; y < rows.height; ++y) {
        unsigned char* out = RowOf(rows, y);
        const int64_t position = v.rowStart + static_cast<int64_t>(y) * v.rowStep;
        if (position < kZelFixedOne || position >= yEnd) {
            Black(out, width, 3);
            continue;
        }
        int weight[4];
        ZelCubicWeights(static_cast<int>(position & kZelFixedMask), weight);
        const int yi = static_cast<int>(position >> kZelFixedShift);
        const Rgb* line[4];
        for (int i = 0; i < 4; ++i) line[i] = slice + v.layout.axis[1].Offset(yi - 1 + i);
        for (int x = 0; x < width; ++x) {
            unsigned char* pixel = out + 3 * static_cast<ptrdiff_t>(x);
            const Column& c = columns[x];
            if (!c.inside) {
                Black(pixel, 1, 3);
                continue;
            }
            int sum[3] = {};
            for (int i = 0; i < 4; ++i)
                for (int j = 0; j < 4; ++j) {
                    const int w = (weight[i] * c.weight[j]) >> 15;
                    const Rgb& voxel = line[i][c.offset[j]];
                    sum[0] += voxel.r * w;
                    sum[1] += voxel.g * w;
                    sum[2] += voxel.b * w;
                }
            for (int k = 0; k < 3; ++k) pixel[k] = static_cast<unsigned char>(std::clamp(sum[k] >> 15, 0, 255));
        }
    }
    return true;
}
