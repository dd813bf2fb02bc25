// Line kernels of the curved reformation: nearest lines for every voxel type
// and layout, interpolated lines, and the slab workers (maximum, minimum,
// average, and the centre-weighted mean of an offset slab) for signed 16-bit
// volumes. Each renders a range of one line's pixels; the set-up
// (cpr_setup.cpp) hands out lines, applies the band and fills the background.
#include <algorithm>
#include <cstdint>

#include "generators/cpr_setup.h"
#include "generators/dispatch.h"
#include "generators/slab_reducers.h"
#include "generators/voxel_sampling.h"
#include "generators/voxel_sampling_avx2.h"

namespace zel_cpr {

namespace {

using std::int64_t;
using std::uint32_t;

using Linear = ZelLayoutView<false>;
using Tiled = ZelLayoutView<true>;

struct LastIndex {
    int v[3];
    explicit LastIndex(const CprSetup& s) : v{s.layout.size[0] - 1, s.layout.size[1] - 1, s.layout.size[2] - 1} {}
};

ZelTrilinearRun RunOf(const CprSetup& s, const CprLine& line, int steps)
{
    return {static_cast<const short*>(s.volume),
            &s.layout,
            {line.step[0], line.step[1], line.step[2]},
            {line.slab[0], line.slab[1], line.slab[2]},
            steps};
}

// The samples of a thin line. Nearest: positions carry half a voxel, so that
// the shift rounds them, and are inside from -1/2 to size - 1/2 voxel.
template <class T, class View>
struct NearestSample {
    using Voxel = T;
    static constexpr bool kVector = false;
    const T* volume;
    View view;
    explicit NearestSample(const CprSetup& s) : volume(static_cast<const T*>(s.volume)), view(s.layout) {}
    static int64_t Low() { return -kZelFixedHalf; }
    static const int64_t* High(const CprSetup& s) { return s.nearestHigh; }
    static int64_t Offset() { return kZelFixedHalf; }
    T operator()(const ZelFixedWalk& w) const { return ZelSampleNearest(volume, view, w.p[0], w.p[1], w.p[2]); }
};

// Trilinear: inside from 0 to size - 1 voxel; eight pixels at a time where
// the vector span runs.
template <class View, bool kVectorSpan>
struct TrilinearSample {
    using Voxel = short;
    static constexpr bool kVector = kVectorSpan;
    const short* volume;
    View view;
    LastIndex last;
    explicit TrilinearSample(const CprSetup& s) : volume(static_cast<const short*>(s.volume)), view(s.layout), last(s)
    {
    }
    static int64_t Low() { return 0; }
    static const int64_t* High(const CprSetup& s) { return s.linearHigh; }
    static int64_t Offset() { return 0; }
    short operator()(const ZelFixedWalk& w) const
    {
        return static_cast<short>(ZelSampleTrilinear(volume, view, last.v, w.p[0], w.p[1], w.p[2]));
    }
};

// A thin line: background / inside / background spans.
template <class Sample>
void ThinLine(const CprSetup& s, const CprLine& line, int begin, int end, void* out)
{
    using T = typename Sample::Voxel;
    T* o = static_cast<T*>(out);
    const int count = end - begin;
    const T background = static_cast<T>(s.background);
    int64_t p0[3];
    PixelPosition(line, begin, p0);
    const ZelSpan span = ZelInsideSpan(p0, line.step, Sample::Low(), Sample::High(s), count);
    std::fill(o, o + span.begin, background);
    const Sample sample(s);
    int i = span.begin;
    if constexpr (Sample::kVector)
        i = ZelTrilinearSpanAvx2<decltype(sample.view)::kIsTiled>(RunOf(s, line, 0), p0, i, span.end, o + i);
    ZelFixedWalk walk(p0, line.step, i, Sample::Offset());
    for (; i < span.end; ++i) {
        o[i] = sample(walk);
        walk.Next();
    }
    std::fill(o + span.end, o + count, background);
}

// Slab samples of one pixel whose first sample lies at q: every sample that
// lies inside counts (0 <= q < (size - 1) << 15), each with its weight.
template <class View, class Visit>
void VisitSlab(const CprSetup& s, const short* volume, const View& view, const int last[3], const int64_t q0[3],
               const int slab[3], Visit&& visit)
{
    int64_t q[3] = {q0[0], q0[1], q0[2]};
    for (int j = 0; j < s.samples; ++j) {
        bool inside = true;
        for (int a = 0; a < 3; ++a) inside = inside && q[a] >= 0 && q[a] <= s.slabHigh[a];
        if (inside)
            visit(j, ZelSampleTrilinear(volume, view, last, static_cast<uint32_t>(q[0]), static_cast<uint32_t>(q[1]),
                                        static_cast<uint32_t>(q[2])));
        for (int a = 0; a < 3; ++a) q[a] += slab[a];
    }
}

// The combinations of the three slab modes over the samples that count: the
// maximum never falls below the background; the minimum and the average show
// the background where no sample counts.
template <int kReduction>
struct SlabCombination {
    using Reducer = ZelSlabReducer<kReduction, int>;
    int background;
    int acc = Reducer::Init();
    int counted = 0;
    void Add(int, int value)
    {
        acc = Reducer::Fold(acc, value);
        ++counted;
    }
    int Result() const
    {
        if (kReduction == kZelSlabMaximum) return std::max(acc, background);
        if (counted == 0) return background;
        return kReduction == kZelSlabAverage ? acc / counted : acc;
    }
};

// The offset slab's centre-weighted mean, in 64 bits: the weights grow with
// the square of the slab.
struct WeightedCombination {
    int background;
    int count;
    int64_t acc = 0;
    int64_t weights = 0;
    void Add(int j, int value)
    {
        const int w = ZelSlabTriangleWeight(j, count);
        acc += static_cast<int64_t>(w) * value;
        weights += w;
    }
    int Result() const { return weights == 0 ? background : static_cast<int>(acc / weights); }
};

// The pixels [first, end) of a line whose every slab sample lies inside,
// when a fast span of the combination exists; returns the first pixel it
// did not render. The maximum is raised to the background afterwards.
template <class View, int kReduction, bool kVector>
int FastSlabSpan(const CprSetup& s, const CprLine& line, const int64_t q0[3], int first, int end, short* o)
{
    const short* volume = static_cast<const short*>(s.volume);
    const View view(s.layout);
    const LastIndex last(s);
    using Reducer = ZelSlabReducer<kReduction, int>;
    const ZelFixedDivisor count(s.samples);
    int i = first;
    if (kVector) i = ZelSlabSpanAvx2<View::kIsTiled, kReduction>(RunOf(s, line, s.samples - 1), q0, i, end, o + i);
    ZelFixedWalk column(q0, line.step, i, 0);
    const uint32_t d[3] = {static_cast<uint32_t>(line.slab[0]), static_cast<uint32_t>(line.slab[1]),
                           static_cast<uint32_t>(line.slab[2])};
    for (; i < end; ++i) {
        uint32_t px = column.p[0];
        uint32_t py = column.p[1];
        uint32_t pz = column.p[2];
        int acc = Reducer::Init();
        for (int j = 0; j < s.samples; ++j) {
            acc = Reducer::Fold(acc, ZelSampleTrilinear(volume, view, last.v, px, py, pz));
            px += d[0];
            py += d[1];
            pz += d[2];
        }
        o[i] = static_cast<short>(Reducer::Finish(acc, count));
        column.Next();
    }
    if (kReduction == kZelSlabMaximum)
        for (int k = first; k < end; ++k) o[k] = std::max(o[k], static_cast<short>(s.background));
    return end;
}

// A slab line. The box is convex: a pixel's samples all lie inside when its
// first and its last do; those pixels take the fast span, the others are
// checked sample by sample.
template <class View, int kReduction, bool kVector, bool kWeighted>
void SlabLine(const CprSetup& s, const CprLine& line, int begin, int end, void* out)
{
    short* o = static_cast<short*>(out);
    const int count = end - begin;
    const short* volume = static_cast<const short*>(s.volume);
    const View view(s.layout);
    const LastIndex last(s);
    const int half = s.samples / 2;
    int64_t q0[3];
    int64_t q1[3];
    PixelPosition(line, begin, q0);
    for (int a = 0; a < 3; ++a) {
        q0[a] -= static_cast<int64_t>(half) * line.slab[a];
        q1[a] = q0[a] + static_cast<int64_t>(s.samples - 1) * line.slab[a];
    }
    const ZelSpan front = ZelInsideSpan(q0, line.step, 0, s.slabHigh, count);
    const ZelSpan back = ZelInsideSpan(q1, line.step, 0, s.slabHigh, count);
    const int first = std::max(front.begin, back.begin);
    const int inside = std::max(first, std::min(front.end, back.end));
    auto checked = [&](int i) {
        int64_t q[3];
        for (int a = 0; a < 3; ++a) q[a] = q0[a] + static_cast<int64_t>(i) * line.step[a];
        if constexpr (kWeighted) {
            WeightedCombination c{s.background, s.samples};
            VisitSlab(s, volume, view, last.v, q, line.slab, [&c](int j, int v) { c.Add(j, v); });
            return static_cast<short>(c.Result());
        } else {
            SlabCombination<kReduction> c{s.background};
            VisitSlab(s, volume, view, last.v, q, line.slab, [&c](int j, int v) { c.Add(j, v); });
            return static_cast<short>(c.Result());
        }
    };
    for (int i = 0; i < first; ++i) o[i] = checked(i);
    int i = first;
    if constexpr (!kWeighted) i = FastSlabSpan<View, kReduction, kVector>(s, line, q0, first, inside, o);
    for (; i < count; ++i) o[i] = checked(i);
}

// [voxel type slot][layout]: types 1, 3, 4; linear, tiled.
template <class T, class View>
constexpr CprLineKernel kNearestLine = ThinLine<NearestSample<T, View>>;
const CprLineKernel kNearest[kZelGreyVoxelTypes][2] = {
    {kNearestLine<unsigned char, Linear>, kNearestLine<unsigned char, Tiled>},
    {kNearestLine<unsigned short, Linear>, kNearestLine<unsigned short, Tiled>},
    {kNearestLine<short, Linear>, kNearestLine<short, Tiled>},
};

// [vector][layout].
const CprLineKernel kInterpolated[2][2] = {
    {ThinLine<TrilinearSample<Linear, false>>, ThinLine<TrilinearSample<Tiled, false>>},
    {ThinLine<TrilinearSample<Linear, true>>, ThinLine<TrilinearSample<Tiled, true>>},
};

// [vector][slabMode - 1][layout]: maximum, minimum, average.
template <class View, int kReduction, bool kVector>
constexpr CprLineKernel kSlabLine = SlabLine<View, kReduction, kVector, false>;
const CprLineKernel kSlab[2][3][2] = {
    {
        {kSlabLine<Linear, kZelSlabMaximum, false>, kSlabLine<Tiled, kZelSlabMaximum, false>},
        {kSlabLine<Linear, kZelSlabMinimum, false>, kSlabLine<Tiled, kZelSlabMinimum, false>},
        {kSlabLine<Linear, kZelSlabAverage, false>, kSlabLine<Tiled, kZelSlabAverage, false>},
    },
    {
        {kSlabLine<Linear, kZelSlabMaximum, true>, kSlabLine<Tiled, kZelSlabMaximum, true>},
        {kSlabLine<Linear, kZelSlabMinimum, true>, kSlabLine<Tiled, kZelSlabMinimum, true>},
        {kSlabLine<Linear, kZelSlabAverage, true>, kSlabLine<Tiled, kZelSlabAverage, true>},
    },
};

// [layout]: the offset slab's weighted mean (scalar: a rarely used path).
const CprLineKernel kWeightedSlab[2] = {SlabLine<Linear, kZelSlabAverage, false, true>,
                                        SlabLine<Tiled, kZelSlabAverage, false, true>};

}  // namespace

bool SelectCprRoutine(const ZelImageBase& volume, const ZelCPRImageGeneratorParam& param, CprRoutine& routine)
{
    routine = {nullptr, false, 0};
    const int alignment = volume.GetAlignmentType();
    const int type = ZelGreyVoxelSlot(volume.GetVoxelType());
    if (type < 0 || (alignment != ZEL_ALIGNMENT_LINEAR && alignment != ZEL_ALIGNMENT_TILED)) return false;
    if (param.interpolation != 0 && param.interpolation != 1) return false;
    if (volume.GetVoxelType() != ZEL_VOXEL_SHORT || param.interpolation == 0) {
        routine.kernel = kNearest[type][alignment];
        return true;
    }
    const int vector = ZelVectorFriendly(volume) && ZelSimdAllows(ZelSimd::kAvx2) ? 1 : 0;
    routine.offset = param.slabOffset;
    if (param.slabSampleCount >= 2 && param.slabMode != ZEL_CPR_SLAB_NONE) {
        if (param.slabSampleCount > kMaxSlabSamples) return false;
        routine.threaded = true;
        if (param.slabOffset != 0) {
            routine.kernel = kWeightedSlab[alignment];
            return true;
        }
        if (param.slabMode < ZEL_CPR_SLAB_MAXIMUM || param.slabMode > ZEL_CPR_SLAB_AVERAGE) return false;
        routine.kernel = kSlab[vector][param.slabMode - 1][alignment];
        return true;
    }
    routine.kernel = kInterpolated[vector][alignment];
    return true;
}

}  // namespace zel_cpr
