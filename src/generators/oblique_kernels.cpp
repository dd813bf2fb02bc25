#include "generators/oblique_kernels.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>

#include "generators/dispatch.h"
#include "generators/slab_reducers.h"
#include "generators/voxel_sampling.h"
#include "generators/voxel_sampling_avx2.h"

namespace zel_oblique {

namespace {

using std::int64_t;
using std::ptrdiff_t;
using std::uint32_t;

// The walk of a row for the vector spans: columns `right` apart, slab
// samples `normal` apart.
ZelTrilinearRun RunOf(const ObliqueSetup& s)
{
    return {static_cast<const short*>(s.volume),
            &s.layout,
            {s.walk.stepX[0], s.walk.stepX[1], s.walk.stepX[2]},
            {s.walk.stepNormal[0], s.walk.stepNormal[1], s.walk.stepNormal[2]},
            s.steps};
}

template <class T>
T* OutputRow(const ObliqueSetup& s, int row)
{
    return static_cast<T*>(s.output) + static_cast<ptrdiff_t>(row) * s.width;
}

// Size - 1 per axis: the last index a trilinear sample may start from.
struct LastIndex {
    int v[3];
    explicit LastIndex(const ObliqueSetup& s) : v{s.layout.size[0] - 1, s.layout.size[1] - 1, s.layout.size[2] - 1} {}
};

// The samples of a plane row. Nearest: positions carry half a voxel, so that
// the shift rounds them, and are inside from -1/2 to size - 1/2 voxel.
template <class T, class View>
struct NearestSample {
    const T* volume;
    View view;
    explicit NearestSample(const ObliqueSetup& s) : volume(static_cast<const T*>(s.volume)), view(s.layout) {}
    static std::int64_t Low() { return -kZelFixedHalf; }
    static const std::int64_t* High(const ObliqueSetup& s) { return s.nearestHigh; }
    static std::int64_t Offset() { return kZelFixedHalf; }
    T operator()(const ZelFixedWalk& w) const { return ZelSampleNearest(volume, view, w.p[0], w.p[1], w.p[2]); }
};

// Trilinear: inside from 0 to size - 1 voxel.
template <class View>
struct TrilinearSample {
    const short* volume;
    View view;
    LastIndex last;
    explicit TrilinearSample(const ObliqueSetup& s)
        : volume(static_cast<const short*>(s.volume)), view(s.layout), last(s)
    {
    }
    static std::int64_t Low() { return 0; }
    static const std::int64_t* High(const ObliqueSetup& s) { return s.linearHigh; }
    static std::int64_t Offset() { return 0; }
    short operator()(const ZelFixedWalk& w) const
    {
        return static_cast<short>(ZelSampleTrilinear(volume, view, last.v, w.p[0], w.p[1], w.p[2]));
    }
};

// One row of a plane: background / inside / background spans, the inside
// span walked (eight columns at a time first, where the vector kernel runs).
template <class T, class Sample, bool kVector>
void PlaneRow(const ObliqueSetup& s, int row)
{
    T* out = OutputRow<T>(s, row);
    const T background = static_cast<T>(s.background);
    int64_t p0[3];
    s.walk.RowStart(row, p0);
    const ZelSpan span = ZelInsideSpan(p0, s.walk.stepX, Sample::Low(), Sample::High(s), s.width);
    std::fill(out, out + span.begin, background);
    const Sample sample(s);
    int i = span.begin;
    if constexpr (kVector)
        i = ZelTrilinearSpanAvx2<decltype(sample.view)::kIsTiled>(RunOf(s), p0, i, span.end, out + i);
    ZelFixedWalk walk(p0, s.walk.stepX, i, Sample::Offset());
    for (; i < span.end; ++i) {
        out[i] = sample(walk);
        walk.Next();
    }
    std::fill(out + span.end, out + s.width, background);
}

// Slab reducers over 32-bit samples. The average truncates toward zero like
// the MPR stacked slice.
template <int kMode>
using Reducer = ZelSlabReducer<kMode, int>;

// A slab pixel near the volume's edge: samples outside count as background.
template <class View, class Mode>
int CheckedSlabPixel(const ObliqueSetup& s, const short* volume, const View& view, const int last[3],
                     const int64_t rowStart[3], int column, const ZelFixedDivisor& count)
{
    int64_t p[3];
    for (int a = 0; a < 3; ++a) p[a] = rowStart[a] + static_cast<int64_t>(column) * s.walk.stepX[a];
    const int background = static_cast<short>(s.background);
    int acc = Mode::Init();
    for (int k = 0; k <= s.steps; ++k) {
        bool inside = true;
        for (int a = 0; a < 3; ++a) inside = inside && p[a] >= 0 && p[a] <= s.linearHigh[a];
        acc = Mode::Fold(acc, inside ? ZelSampleTrilinear(volume, view, last, static_cast<uint32_t>(p[0]),
                                                          static_cast<uint32_t>(p[1]), static_cast<uint32_t>(p[2]))
                                     : background);
        for (int a = 0; a < 3; ++a) p[a] += s.walk.stepNormal[a];
    }
    return Mode::Finish(acc, count);
}

template <class View, class Mode, bool kVector>
void SlabRow(const ObliqueSetup& s, int row)
{
    short* out = OutputRow<short>(s, row);
    const short* volume = static_cast<const short*>(s.volume);
    const View view(s.layout);
    const LastIndex lastIndex(s);
    const int* last = lastIndex.v;
    const int n = s.steps;
    const ZelFixedDivisor count(n + 1);
    int64_t p0[3];
    int64_t pn[3];
    s.walk.RowStart(row, p0);
    for (int a = 0; a < 3; ++a) pn[a] = p0[a] + static_cast<int64_t>(n) * s.walk.stepNormal[a];
    // The box is convex: a pixel's samples all lie inside when its first and
    // its last sample do.
    const ZelSpan front = ZelInsideSpan(p0, s.walk.stepX, 0, s.linearHigh, s.width);
    const ZelSpan back = ZelInsideSpan(pn, s.walk.stepX, 0, s.linearHigh, s.width);
    const int first = std::max(front.begin, back.begin);
    const int end = std::max(first, std::min(front.end, back.end));

    for (int i = 0; i < first; ++i)
        out[i] = static_cast<short>(CheckedSlabPixel<View, Mode>(s, volume, view, last, p0, i, count));
    int i = first;
    if (kVector) i = ZelSlabSpanAvx2<View::kIsTiled, Mode::kMode>(RunOf(s), p0, i, end, out + i);
    ZelFixedWalk column(p0, s.walk.stepX, i, 0);
    const uint32_t d[3] = {static_cast<uint32_t>(s.walk.stepNormal[0]), static_cast<uint32_t>(s.walk.stepNormal[1]),
                           static_cast<uint32_t>(s.walk.stepNormal[2])};
    for (; i < end; ++i) {
        uint32_t px = column.p[0];
        uint32_t py = column.p[1];
        uint32_t pz = column.p[2];
        int acc = Mode::Fold(Mode::Init(), ZelSampleTrilinear(volume, view, last, px, py, pz));
        for (int k = 0; k < n; ++k) {
            px += d[0];
            py += d[1];
            pz += d[2];
            acc = Mode::Fold(acc, ZelSampleTrilinear(volume, view, last, px, py, pz));
        }
        out[i] = static_cast<short>(Mode::Finish(acc, count));
        column.Next();
    }
    for (int i = end; i < s.width; ++i)
        out[i] = static_cast<short>(CheckedSlabPixel<View, Mode>(s, volume, view, last, p0, i, count));
}

using Linear = ZelLayoutView<false>;
using Tiled = ZelLayoutView<true>;
using Average = Reducer<kZelSlabAverage>;
using Maximum = Reducer<kZelSlabMaximum>;
using Minimum = Reducer<kZelSlabMinimum>;

// [voxel type slot][layout]: types 1, 3, 4; linear, tiled.
template <class T, class View>
constexpr ObliqueRowKernel kNearestRow = PlaneRow<T, NearestSample<T, View>, false>;
const ObliqueRowKernel kNearest[kZelGreyVoxelTypes][2] = {
    {kNearestRow<unsigned char, Linear>, kNearestRow<unsigned char, Tiled>},
    {kNearestRow<unsigned short, Linear>, kNearestRow<unsigned short, Tiled>},
    {kNearestRow<short, Linear>, kNearestRow<short, Tiled>},
};

// [vector][layout].
const ObliqueRowKernel kInterpolated[2][2] = {
    {PlaneRow<short, TrilinearSample<Linear>, false>, PlaneRow<short, TrilinearSample<Tiled>, false>},
    {PlaneRow<short, TrilinearSample<Linear>, true>, PlaneRow<short, TrilinearSample<Tiled>, true>},
};

// [vector][slab mode][layout].
const ObliqueRowKernel kSlab[2][3][2] = {
    {
        {SlabRow<Linear, Average, false>, SlabRow<Tiled, Average, false>},
        {SlabRow<Linear, Maximum, false>, SlabRow<Tiled, Maximum, false>},
        {SlabRow<Linear, Minimum, false>, SlabRow<Tiled, Minimum, false>},
    },
    {
        {SlabRow<Linear, Average, true>, SlabRow<Tiled, Average, true>},
        {SlabRow<Linear, Maximum, true>, SlabRow<Tiled, Maximum, true>},
        {SlabRow<Linear, Minimum, true>, SlabRow<Tiled, Minimum, true>},
    },
};

}  // namespace

bool SelectObliqueKernel(int voxelType, int alignment, int interpolation, int steps, int slabMode, bool vectorFriendly,
                         ObliqueRowKernel& kernel, bool& threaded)
{
    const int vector = vectorFriendly && ZelSimdAllows(ZelSimd::kAvx2) ? 1 : 0;
    kernel = nullptr;
    threaded = false;
    if (alignment != ZEL_ALIGNMENT_LINEAR && alignment != ZEL_ALIGNMENT_TILED) return false;
    if (interpolation != 0 && interpolation != 1) return false;
    const int type = ZelGreyVoxelSlot(voxelType);
    if (type < 0) return false;
    // Unsigned volumes are always sampled nearest, whatever the slab.
    if (voxelType != ZEL_VOXEL_SHORT || (interpolation == 0 && steps == 0)) {
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
