// Stacked (thick-slab) slices of the unrotated plane, and the smoothing /
// sharpening filter of signed 16-bit slices.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "ZelImage.h"
#include "generators/dispatch.h"
#include "generators/mpr_kernels.h"
#include "generators/slab_reducers.h"

void ZelMPRStackWeights(int mode, int count, int* weights)
{
    for (int k = 0; k < count; ++k) {
        // Distance from the slab's middle in half slices, so that even slabs
        // stay symmetric.
        const int distance = std::abs(2 * k - (count - 1));
        switch (mode) {
        case ZEL_MPR_STACK_TRIANGLE: weights[k] = ZelSlabTriangleWeight(k, count); break;
        case ZEL_MPR_STACK_GAUSSIAN:
            weights[k] = static_cast<int>(
                std::lround(256.0 * std::exp(-2.0 * distance * distance / (static_cast<double>(count) * count))));
            break;
        default: weights[k] = 1; break;
        }
    }
}

namespace {

// How a slab is combined, over a reducer: Line() folds one slice into a row
// of accumulators; Run() folds a run of consecutive slab voxels into one.
template <class T, class Reducer, class Divisor, bool kWeighted>
struct StackOp {
    using AccType = typename Reducer::AccType;
    Divisor divide;
    AccType Init() const { return Reducer::Init(); }
    void Line(AccType* acc, const T* src, int n, int weight) const
    {
        for (int i = 0; i < n; ++i) acc[i] = Fold(acc[i], src[i], weight);
    }
    AccType Run(AccType acc, const T* src, int n, const int* weights) const
    {
        for (int i = 0; i < n; ++i) acc = Fold(acc, src[i], kWeighted ? weights[i] : 1);
        return acc;
    }
    T Finish(AccType acc) const { return static_cast<T>(Reducer::Finish(acc, divide)); }

private:
    static AccType Fold(AccType acc, T value, int weight)
    {
        return kWeighted ? Reducer::FoldWeighted(acc, static_cast<AccType>(value), static_cast<AccType>(weight))
                         : Reducer::Fold(acc, static_cast<AccType>(value));
    }
};

// The extremes need no divisor.
struct NoDivisor {
    template <class V>
    V operator()(V v) const
    {
        return v;
    }
};

struct Slab {
    int plane;
    int first;  // first slice along the normal
    int count;  // slices in the slab
    int width;  // output size
    int height;
};

// Length of the run of consecutive elements from coordinate c along x.
inline int RunLength(const ZelVoxelAxis& x, int c, int remaining)
{
    return x.outer == x.inner ? remaining : std::min(16 - (c & 15), remaining);
}

// Planes 1 and 2: output rows run along x, so every slab slice adds a row
// that lies in memory in runs (whole rows when linear, 16 voxels when tiled).
template <class T, class Op>
void StackRows(const T* volume, const ZelVolumeLayout& layout, const Slab& slab, const int* weights, const Op& op,
               typename Op::AccType* acc, T* out)
{
    const ZelVoxelAxis& xAxis = layout.axis[0];
    const ZelVoxelAxis& rowAxis = layout.axis[slab.plane == 2 ? 1 : 2];
    const ZelVoxelAxis& normal = layout.axis[slab.plane];
    for (int oy = 0; oy < slab.height; ++oy) {
        std::fill(acc, acc + slab.width, op.Init());
        for (int k = 0; k < slab.count; ++k) {
            const T* line = volume + rowAxis.Offset(oy) + normal.Offset(slab.first + k);
            for (int x = 0; x < slab.width;) {
                const int run = RunLength(xAxis, x, slab.width - x);
                op.Line(acc + x, line + xAxis.Offset(x), run, weights[k]);
                x += run;
            }
        }
        T* o = out + static_cast<std::ptrdiff_t>(oy) * slab.width;
        for (int x = 0; x < slab.width; ++x) o[x] = op.Finish(acc[x]);
    }
}

// Plane 0: the slab runs along x, the direction memory is laid out in, so
// each output pixel folds its own run.
template <class T, class Op>
void StackPixels(const T* volume, const ZelVolumeLayout& layout, const Slab& slab, const int* weights, const Op& op,
                 T* out)
{
    const ZelVoxelAxis& xAxis = layout.axis[0];
    for (int z = 0; z < slab.height; ++z) {
        T* o = out + static_cast<std::ptrdiff_t>(z) * slab.width;
        const std::ptrdiff_t zOffset = layout.axis[2].Offset(z);
        for (int y = 0; y < slab.width; ++y) {
            const T* line = volume + zOffset + layout.axis[1].Offset(y);
            typename Op::AccType acc = op.Init();
            for (int k = 0; k < slab.count;) {
                const int x = slab.first + k;
                const int run = RunLength(xAxis, x, slab.count - k);
                acc = op.Run(acc, line + xAxis.Offset(x), run, weights + k);
                k += run;
            }
            o[y] = op.Finish(acc);
        }
    }
}

template <class T, class Op>
bool Stack(const T* volume, const ZelVolumeLayout& layout, const Slab& slab, const int* weights, const Op& op, T* out)
{
    if (slab.plane == 0) {
        StackPixels(volume, layout, slab, weights, op, out);
        return true;
    }
    std::unique_ptr<typename Op::AccType[]> acc(new (std::nothrow) typename Op::AccType[slab.width]);
    if (!acc) return false;
    StackRows(volume, layout, slab, weights, op, acc.get(), out);
    return true;
}

template <class T, class Acc, class Divisor>
bool StackMean(const T* volume, const ZelVolumeLayout& layout, const Slab& slab, const int* weights, bool weighted,
               std::int64_t totalWeight, T* out)
{
    const Divisor divide(totalWeight);
    using Mean = ZelSlabReducer<kZelSlabAverage, Acc>;
    if (weighted) return Stack(volume, layout, slab, weights, StackOp<T, Mean, Divisor, true>{divide}, out);
    return Stack(volume, layout, slab, weights, StackOp<T, Mean, Divisor, false>{divide}, out);
}

// Mode dispatch, once per call.
template <class T>
bool StackSlab(const T* volume, const ZelVolumeLayout& layout, const Slab& slab, ZelMPRStackImageMode mode, T* out)
{
    std::unique_ptr<int[]> weights(new (std::nothrow) int[slab.count]);
    if (!weights) return false;
    ZelMPRStackWeights(mode, slab.count, weights.get());
    switch (mode) {
    case ZEL_MPR_STACK_MAXIMUM:
        return Stack(volume, layout, slab, weights.get(),
                     StackOp<T, ZelSlabReducer<kZelSlabMaximum, T>, NoDivisor, false>{}, out);
    case ZEL_MPR_STACK_MINIMUM:
        return Stack(volume, layout, slab, weights.get(),
                     StackOp<T, ZelSlabReducer<kZelSlabMinimum, T>, NoDivisor, false>{}, out);
    default: break;
    }
    std::int64_t totalWeight = 0;
    for (int k = 0; k < slab.count; ++k) totalWeight += weights[k];
    const std::int64_t largest =
        std::max<std::int64_t>(std::numeric_limits<T>::max(), -std::int64_t{std::numeric_limits<T>::min()});
    const bool weighted = mode != ZEL_MPR_STACK_AVERAGE;
    if (totalWeight * largest < (std::int64_t{1} << 31)) {
        return StackMean<T, std::int32_t, ZelFixedDivisor>(volume, layout, slab, weights.get(), weighted, totalWeight,
                                                           out);
    }
    return StackMean<T, std::int64_t, ZelPlainDivisor>(volume, layout, slab, weights.get(), weighted, totalWeight, out);
}

template <class T>
ZelImageBase* StackedSlice(const ZelImageBase& volume, ZelMPRImageGeneratorParam& param, int filterStrength,
                           int thickness, bool centred, ZelMPRStackImageMode mode)
{
    const Zel3DVector<int> size = volume.GetImageSize();
    const Zel3DVector<float> scale = volume.GetImageScale();
    if (param.plane < ZEL_MPR_PLANE_YZ || param.plane > ZEL_MPR_PLANE_XY) return nullptr;
    // The volume axes along the output's x and y and along the normal of
    // each unrotated plane.
    static const int kAxes[3][3] = {{1, 2, 0}, {0, 2, 1}, {0, 1, 2}};
    const int* axes = kAxes[param.plane];
    const int sizes[3] = {size.x, size.y, size.z};
    const float scales[3] = {scale.x, scale.y, scale.z};
    const int slices[3] = {param.slicePosition.x, param.slicePosition.y, param.slicePosition.z};
    Slab slab{};
    slab.plane = param.plane;
    slab.width = sizes[axes[0]];
    slab.height = sizes[axes[1]];
    const int slice = slices[axes[2]], limit = sizes[axes[2]];
    const Zel3DVector<float> outScale{scales[axes[0]], scales[axes[1]], scales[axes[2]]};

    // The new image is a plane-2 view of a one-slice volume.
    if (param.plane == ZEL_MPR_PLANE_YZ) {
        param.center.x = param.center.y;
        param.center.y = param.center.z;
    } else if (param.plane == ZEL_MPR_PLANE_XZ) {
        param.center.y = param.center.z;
    }
    param.center.z = 0.0f;
    param.slicePosition.z = 0;
    param.plane = ZEL_MPR_PLANE_XY;

    auto* stacked = new (std::nothrow) ZelImage<T>(volume.GetMemoryAllocator());
    if (!stacked) return nullptr;
    if (stacked->Allocate(ZEL_ALIGNMENT_LINEAR, slab.width, slab.height, 1, false) != 0) {
        delete stacked;
        return nullptr;
    }
    const std::size_t pixels = static_cast<std::size_t>(slab.width) * slab.height;
    if (slice < 0 || slice >= limit) {
        ZelMPRFillBackground(stacked->GetDataPtr(), pixels, param.backgroundValue);
        stacked->SetImageScale(outScale);
        return stacked;
    }

    // thickness counts the steps between the first and the last slice, so
    // the slab holds thickness + 1 slices (fewer at the volume's ends).
    std::int64_t first, last;
    if (centred) {
        last = std::int64_t{slice} + thickness / 2;
        first = std::max<std::int64_t>(last - thickness, 0);
    } else {
        first = slice;
        last = std::int64_t{slice} + thickness;
    }
    last = std::min<std::int64_t>(last, limit - 1);
    slab.first = static_cast<int>(first);
    slab.count = static_cast<int>(last - first + 1);

    // Only the two known layouts are read; any other leaves the image unwritten.
    const int alignment = volume.GetAlignmentType();
    if (alignment == ZEL_ALIGNMENT_LINEAR || alignment == ZEL_ALIGNMENT_TILED) {
        const ZelVolumeLayout layout(volume);
        if (!StackSlab(static_cast<const T*>(volume.GetVoidDataPtr()), layout, slab, mode, stacked->GetDataPtr())) {
            delete stacked;
            return nullptr;
        }
    }

    ZelImageBase* result = stacked;
    if (filterStrength != 0) {
        auto* filtered = new (std::nothrow) ZelImage<T>(volume.GetMemoryAllocator());
        if (!filtered || filtered->Allocate(ZEL_ALIGNMENT_LINEAR, slab.width, slab.height, 1, false) != 0) {
            delete filtered;
            delete stacked;
            return nullptr;
        }
        // The filter refuses anything but signed 16-bit slices; the image
        // returned is then the new one, never written. Intended.
        ZelMPRImageGenerator::GenerateFilterImage(filtered, stacked, filterStrength);
        delete stacked;
        result = filtered;
    }
    result->SetImageScale(outScale);
    return result;
}

// Smoothing with weight k per neighbour, 128 - k for the centre, eight
// times over: the weights sum to 1024. Values wrap to 16 bits.
void Smooth(const short* src, short* dst, int width, int height, std::int64_t k)
{
    const auto row = [width](const short* p, int y) { return p + static_cast<std::ptrdiff_t>(y) * width; };
    std::memcpy(dst, src, static_cast<std::size_t>(width) * sizeof(short));
    std::memcpy(dst + static_cast<std::ptrdiff_t>(height - 1) * width, row(src, height - 1),
                static_cast<std::size_t>(width) * sizeof(short));
    const std::int64_t centreWeight = (128 - k) * 8;
    for (int y = 1; y < height - 1; ++y) {
        const short* up = row(src, y - 1);
        const short* mid = row(src, y);
        const short* down = row(src, y + 1);
        short* o = dst + static_cast<std::ptrdiff_t>(y) * width;
        o[0] = mid[0];
        o[width - 1] = mid[width - 1];
        for (int x = 1; x < width - 1; ++x) {
            const std::int64_t ring = std::int64_t{up[x - 1]} + up[x] + up[x + 1] + mid[x - 1] + mid[x + 1] +
                                      down[x - 1] + down[x] + down[x + 1];
            o[x] = static_cast<short>(static_cast<std::uint16_t>((ring * k + mid[x] * centreWeight) >> 10));
        }
    }
}

}  // namespace

bool ZelMPRImageGenerator::GenerateFilterImage(ZelImageBase* destination, ZelImageBase* source, int strength)
{
    if (strength == 0) return true;
    if (!source || source->GetVoxelType() != ZEL_VOXEL_SHORT) return false;
    // The destination must be a distinct signed 16-bit image of the source's
    // size: anything else would be written out of bounds or read after being
    // overwritten.
    if (!destination || destination == source || destination->GetVoxelType() != ZEL_VOXEL_SHORT) return false;
    const Zel3DVector<int> size = source->GetImageSize();
    const Zel3DVector<int> destinationSize = destination->GetImageSize();
    if (destinationSize.x != size.x || destinationSize.y != size.y || !source->GetVoidDataPtr() ||
        !destination->GetVoidDataPtr()) {
        return false;
    }
    const short* src = static_cast<const short*>(source->GetVoidDataPtr());
    short* dst = static_cast<short*>(destination->GetVoidDataPtr());
    const int width = size.x, height = size.y;
    if (height < 3) {
        std::memcpy(dst, src, static_cast<std::size_t>(std::min(height, 2)) * width * sizeof(short));
        return true;
    }

    if (strength > 0) {
        Smooth(src, dst, width, height, std::int64_t{strength} * 1024 / 900);
        return true;
    }
    // Sharpening: push every inner pixel away from its smoothed value.
    const std::int64_t amount = -std::int64_t{strength};
    Smooth(src, dst, width, height, std::int64_t{100} * 1024 / 900);
    for (int y = 1; y < height - 1; ++y) {
        const short* s = src + static_cast<std::ptrdiff_t>(y) * width;
        short* o = dst + static_cast<std::ptrdiff_t>(y) * width;
        for (int x = 1; x < width - 1; ++x) {
            const std::int64_t value = s[x] + (std::int64_t{s[x]} - o[x]) * amount / 16;
            o[x] = static_cast<short>(static_cast<std::uint16_t>(value));
        }
    }
    return true;
}

ZelImageBase* ZelMPRImageGenerator::GenerateFilterImage(ZelImageBase* volume, ZelMPRImageGeneratorParam& param,
                                                        int filterStrength, int thickness, bool centred,
                                                        ZelMPRStackImageMode mode)
{
    if (!volume || !volume->GetVoidDataPtr() || thickness < 0 || mode < ZEL_MPR_STACK_AVERAGE ||
        mode > ZEL_MPR_STACK_GAUSSIAN) {
        return nullptr;
    }
    return ZelDispatchGreyVoxel(volume->GetVoxelType(), static_cast<ZelImageBase*>(nullptr), [&](auto tag) {
        return StackedSlice<typename decltype(tag)::type>(*volume, param, filterStrength, thickness, centred, mode);
    });
}
