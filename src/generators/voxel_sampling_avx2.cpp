#include "generators/voxel_sampling_avx2.h"

#include "generators/dispatch.h"
#include "generators/slab_reducers.h"

#if ZEL_HAVE_AVX2
#include <immintrin.h>

#include <climits>
#include <cstddef>
#include <cstring>
#endif

#if ZEL_HAVE_AVX2

#define ZEL_AVX2 ZEL_TARGET_AVX2

namespace {

using std::int64_t;
using std::ptrdiff_t;
using std::uint32_t;

// Per-call constants of the sample, from the volume's layout (the volume
// has fewer than 2^31 elements, so every offset fits a lane).
template <bool kTiled>
struct Consts {
    __m256i high[3];  // last interpolation cell: (size - 1) * 32768 - 1
    __m256i strideY;  // linear: elements per row and per slice
    __m256i strideZ;
    ptrdiff_t offsetY;  // the same as pointer offsets
    ptrdiff_t offsetZ;
    __m256i blockRowY;  // tiled: elements per row of blocks and per layer of blocks (16 outer strides)
    __m256i blockRowZ;
    ZEL_AVX2 explicit Consts(const ZelVolumeLayout& layout)
    {
        for (int a = 0; a < 3; ++a)
            high[a] = _mm256_set1_epi32(static_cast<int>((layout.size[a] - 1) * kZelFixedOne - 1));
        offsetY = kTiled ? 0 : layout.axis[1].outer;
        offsetZ = kTiled ? 0 : layout.axis[2].outer;
        strideY = _mm256_set1_epi32(static_cast<int>(offsetY));
        strideZ = _mm256_set1_epi32(static_cast<int>(offsetZ));
        blockRowY = _mm256_set1_epi32(kTiled ? static_cast<int>(layout.axis[1].outer * 16) : 0);
        blockRowZ = _mm256_set1_epi32(kTiled ? static_cast<int>(layout.axis[2].outer * 16) : 0);
    }
};

ZEL_AVX2 inline __m256i Gather(const short* volume, __m256i index)
{
    // Two neighbouring elements per lane: index in the low half, index + 1 in
    // the high half.
    return _mm256_i32gather_epi32(reinterpret_cast<const int*>(volume), index, 2);
}

// The pair (x0, x0 + 1) of one cell row as a single 32-bit word.
inline int LoadPair(const short* p)
{
    int pair;
    std::memcpy(&pair, p, sizeof pair);
    return pair;
}

// Eight pairs of one cell row, one plain load per lane. In a linear volume
// the index vector, stored once, serves all four rows of the cell, and eight
// scalar loads with the inserts that assemble them cost less than one
// vpgatherdd (a quarter less slab time on the 512^3 benchmark). In a tiled
// volume the two ways measured the same, and the gathers stay.
ZEL_AVX2 inline __m256i LoadPairs(const short* row, const int* index)
{
    return _mm256_setr_epi32(LoadPair(row + index[0]), LoadPair(row + index[1]), LoadPair(row + index[2]),
                             LoadPair(row + index[3]), LoadPair(row + index[4]), LoadPair(row + index[5]),
                             LoadPair(row + index[6]), LoadPair(row + index[7]));
}

// Rounded x blend of one pair per lane, then the y blend of two rows.
ZEL_AVX2 inline __m256i BlendX(__m256i pair, __m256i weights)
{
    return _mm256_srai_epi32(_mm256_add_epi32(_mm256_madd_epi16(pair, weights), _mm256_set1_epi32(1024)), 11);
}

ZEL_AVX2 inline __m256i Lerp12(__m256i a0, __m256i a1, __m256i w)
{
    return _mm256_add_epi32(_mm256_slli_epi32(a0, 12), _mm256_mullo_epi32(_mm256_sub_epi32(a1, a0), w));
}

// Tiled lanes whose pair straddles two blocks (split): g holds (x0 - 1, x0)
// read at c = index - 1; the successor x0 + 1 is element 0 of the next block,
// 4096 - 15 after x0, that is 4082 after c.
ZEL_AVX2 inline __m256i JoinSplitPair(const short* volume, __m256i g, __m256i c, __m256i split)
{
    const __m256i next = _mm256_mask_i32gather_epi32(_mm256_setzero_si256(), reinterpret_cast<const int*>(volume),
                                                     _mm256_add_epi32(c, _mm256_set1_epi32(4082)), split, 2);
    const __m256i pair = _mm256_or_si256(_mm256_srli_epi32(g, 16), _mm256_slli_epi32(next, 16));
    return _mm256_blendv_epi8(g, pair, split);
}

// Eight interpolated samples; the arithmetic of the scalar Interpolate.
// A position on the last index of an axis is moved to the end of the cell
// before it: (size - 1) * 32768 becomes cell size - 2 with fraction 32767,
// whose rounded weight puts the whole value on the last voxel, the very same
// number the scalar sample computes. So every cell has a successor and each
// corner pair (x0, x0 + 1) is one 32-bit read that stays inside the volume
// (this needs a size of at least 2 on every axis). In a tiled volume a pair
// that would straddle two blocks (x0 & 15 == 15) is read one element earlier
// and its successor is fetched from the next block.
// Always inlined: as a call it reloads its constants and spills on every
// sample, which costs the slab about a tenth of its time.
template <bool kTiled>
ZEL_AVX2 inline __attribute__((always_inline)) __m256i Sample(const short* volume, const Consts<kTiled>& k, __m256i px,
                                                              __m256i py, __m256i pz)
{
    px = _mm256_min_epi32(px, k.high[0]);
    py = _mm256_min_epi32(py, k.high[1]);
    pz = _mm256_min_epi32(pz, k.high[2]);
    const __m256i fraction = _mm256_set1_epi32(0x7fff);
    const __m256i one = _mm256_set1_epi32(1);
    const __m256i four = _mm256_set1_epi32(4);
    const __m256i x0 = _mm256_srli_epi32(px, 15);
    const __m256i y0 = _mm256_srli_epi32(py, 15);
    const __m256i z0 = _mm256_srli_epi32(pz, 15);
    const __m256i wx = _mm256_srli_epi32(_mm256_add_epi32(_mm256_and_si256(px, fraction), one), 1);
    const __m256i wy = _mm256_srli_epi32(_mm256_add_epi32(_mm256_and_si256(py, fraction), four), 3);
    const __m256i wz = _mm256_srli_epi32(_mm256_add_epi32(_mm256_and_si256(pz, fraction), four), 3);

    __m256i g00;
    __m256i g10;
    __m256i g01;
    __m256i g11;
    if (kTiled) {
        const __m256i low = _mm256_set1_epi32(15);
        const __m256i xLow = _mm256_and_si256(x0, low);
        const __m256i yLow = _mm256_and_si256(y0, low);
        const __m256i zLow = _mm256_and_si256(z0, low);
        // The tiled index as a sum of one term per axis (ZelAxisOffset).
        const __m256i tx = _mm256_add_epi32(_mm256_slli_epi32(_mm256_sub_epi32(x0, xLow), 8), xLow);
        const __m256i ty =
            _mm256_add_epi32(_mm256_mullo_epi32(_mm256_srli_epi32(y0, 4), k.blockRowY), _mm256_slli_epi32(yLow, 4));
        const __m256i tz =
            _mm256_add_epi32(_mm256_mullo_epi32(_mm256_srli_epi32(z0, 4), k.blockRowZ), _mm256_slli_epi32(zLow, 8));
        // Successor steps: within a block 16 and 256, across a block edge the
        // jump to the next block's first row or slice.
        const __m256i dy =
            _mm256_blendv_epi8(_mm256_set1_epi32(16), _mm256_sub_epi32(k.blockRowY, _mm256_set1_epi32(240)),
                               _mm256_cmpeq_epi32(yLow, low));
        const __m256i dz =
            _mm256_blendv_epi8(_mm256_set1_epi32(256), _mm256_sub_epi32(k.blockRowZ, _mm256_set1_epi32(3840)),
                               _mm256_cmpeq_epi32(zLow, low));
        const __m256i split = _mm256_cmpeq_epi32(xLow, low);
        // split is -1 where set: those pairs are read one element earlier.
        const __m256i c00 = _mm256_add_epi32(_mm256_add_epi32(tx, split), _mm256_add_epi32(ty, tz));
        const __m256i c10 = _mm256_add_epi32(c00, dy);
        const __m256i c01 = _mm256_add_epi32(c00, dz);
        const __m256i c11 = _mm256_add_epi32(c01, dy);
        g00 = Gather(volume, c00);
        g10 = Gather(volume, c10);
        g01 = Gather(volume, c01);
        g11 = Gather(volume, c11);
        if (!_mm256_testz_si256(split, split)) {
            g00 = JoinSplitPair(volume, g00, c00, split);
            g10 = JoinSplitPair(volume, g10, c10, split);
            g01 = JoinSplitPair(volume, g01, c01, split);
            g11 = JoinSplitPair(volume, g11, c11, split);
        }
    } else {
        const __m256i c00 = _mm256_add_epi32(
            x0, _mm256_add_epi32(_mm256_mullo_epi32(y0, k.strideY), _mm256_mullo_epi32(z0, k.strideZ)));
        // The other three rows of the cell are fixed distances away.
        alignas(32) int index[8];
        _mm256_store_si256(reinterpret_cast<__m256i*>(index), c00);
        g00 = LoadPairs(volume, index);
        g10 = LoadPairs(volume + k.offsetY, index);
        g01 = LoadPairs(volume + k.offsetZ, index);
        g11 = LoadPairs(volume + k.offsetY + k.offsetZ, index);
    }
    // Weights (16384 - wx, wx) as two 16-bit halves.
    const __m256i weights = _mm256_or_si256(_mm256_sub_epi32(_mm256_set1_epi32(16384), wx), _mm256_slli_epi32(wx, 16));
    const __m256i round12 = _mm256_set1_epi32(2048);
    const __m256i b0 =
        _mm256_srai_epi32(_mm256_add_epi32(Lerp12(BlendX(g00, weights), BlendX(g10, weights), wy), round12), 12);
    const __m256i b1 =
        _mm256_srai_epi32(_mm256_add_epi32(Lerp12(BlendX(g01, weights), BlendX(g11, weights), wy), round12), 12);
    return _mm256_srai_epi32(_mm256_add_epi32(Lerp12(b0, b1, wz), _mm256_set1_epi32(16384)), 15);
}

// Positions of pixels first .. first + 7 and the step to the next group.
struct Columns {
    __m256i p[3];
    __m256i step[3];
    ZEL_AVX2 Columns(const ZelTrilinearRun& run, const int64_t start[3], int first)
    {
        const __m256i lane = _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7);
        for (int a = 0; a < 3; ++a) {
            const uint32_t p0 = static_cast<uint32_t>(start[a] + static_cast<int64_t>(first) * run.step[a]);
            const __m256i d = _mm256_set1_epi32(run.step[a]);
            p[a] = _mm256_add_epi32(_mm256_set1_epi32(static_cast<int>(p0)), _mm256_mullo_epi32(lane, d));
            step[a] = _mm256_slli_epi32(d, 3);
        }
    }
    ZEL_AVX2 void Next()
    {
        for (int a = 0; a < 3; ++a) p[a] = _mm256_add_epi32(p[a], step[a]);
    }
};

ZEL_AVX2 inline void Store(short* out, __m128i low, __m128i high)
{
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packs_epi32(low, high));
}

ZEL_AVX2 inline void Store(short* out, __m256i v)
{
    Store(out, _mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1));
}

// The folds of ZelSlabReducer, eight lanes at a time.
template <int kMode>
ZEL_AVX2 inline __m256i Combine(__m256i acc, __m256i v)
{
    if (kMode == kZelSlabAverage) return _mm256_add_epi32(acc, v);
    if (kMode == kZelSlabMaximum) return _mm256_max_epi32(acc, v);
    return _mm256_min_epi32(acc, v);
}

// Stores eight slab results; the average divides the sum by the sample count.
// |sum| < 2^31 and the count is small, so the double quotient truncates to
// the integer quotient exactly.
template <int kMode>
ZEL_AVX2 inline void StoreSlab(short* out, __m256i acc, __m256d count)
{
    if (kMode == kZelSlabAverage) {
        const __m128i low = _mm256_cvttpd_epi32(_mm256_div_pd(_mm256_cvtepi32_pd(_mm256_castsi256_si128(acc)), count));
        const __m128i high =
            _mm256_cvttpd_epi32(_mm256_div_pd(_mm256_cvtepi32_pd(_mm256_extracti128_si256(acc, 1)), count));
        Store(out, low, high);
    } else {
        Store(out, acc);
    }
}

template <bool kTiled, int kMode>
ZEL_AVX2 int SlabSpan(const ZelTrilinearRun& run, const int64_t start[3], int first, int end, short* out)
{
    const short* volume = run.volume;
    const Consts<kTiled> k(*run.layout);
    const __m256i normal[3] = {_mm256_set1_epi32(run.normal[0]), _mm256_set1_epi32(run.normal[1]),
                               _mm256_set1_epi32(run.normal[2])};
    const int n = run.steps;
    const __m256d count = _mm256_set1_pd(n + 1);
    Columns columns(run, start, first);
    int i = first;
    // Two groups of eight columns at a time: their samples are independent,
    // which keeps more loads in flight while earlier ones wait for memory.
    for (; i + 16 <= end; i += 16) {
        __m256i a[2][3];
        for (int g = 0; g < 2; ++g) {
            for (int axis = 0; axis < 3; ++axis) a[g][axis] = columns.p[axis];
            columns.Next();
        }
        __m256i acc0 = Sample<kTiled>(volume, k, a[0][0], a[0][1], a[0][2]);
        __m256i acc1 = Sample<kTiled>(volume, k, a[1][0], a[1][1], a[1][2]);
        for (int step = 0; step < n; ++step) {
            for (int g = 0; g < 2; ++g)
                for (int axis = 0; axis < 3; ++axis) a[g][axis] = _mm256_add_epi32(a[g][axis], normal[axis]);
            acc0 = Combine<kMode>(acc0, Sample<kTiled>(volume, k, a[0][0], a[0][1], a[0][2]));
            acc1 = Combine<kMode>(acc1, Sample<kTiled>(volume, k, a[1][0], a[1][1], a[1][2]));
        }
        StoreSlab<kMode>(out + (i - first), acc0, count);
        StoreSlab<kMode>(out + (i - first) + 8, acc1, count);
    }
    for (; i + 8 <= end; i += 8) {
        __m256i px = columns.p[0];
        __m256i py = columns.p[1];
        __m256i pz = columns.p[2];
        __m256i acc = Sample<kTiled>(volume, k, px, py, pz);
        for (int step = 0; step < n; ++step) {
            px = _mm256_add_epi32(px, normal[0]);
            py = _mm256_add_epi32(py, normal[1]);
            pz = _mm256_add_epi32(pz, normal[2]);
            acc = Combine<kMode>(acc, Sample<kTiled>(volume, k, px, py, pz));
        }
        StoreSlab<kMode>(out + (i - first), acc, count);
        columns.Next();
    }
    return i;
}

template <bool kTiled>
ZEL_AVX2 int PlaneSpan(const ZelTrilinearRun& run, const int64_t start[3], int first, int end, short* out)
{
    const short* volume = run.volume;
    const Consts<kTiled> k(*run.layout);
    Columns columns(run, start, first);
    int i = first;
    for (; i + 8 <= end; i += 8) {
        Store(out + (i - first), Sample<kTiled>(volume, k, columns.p[0], columns.p[1], columns.p[2]));
        columns.Next();
    }
    return i;
}

}  // namespace

// The entry points carry no target attribute of their own (they only pass
// plain arguments on), so that they match their declarations.
template <bool kTiled, int kMode>
int ZelSlabSpanAvx2(const ZelTrilinearRun& run, const std::int64_t start[3], int first, int end, short* out)
{
    return SlabSpan<kTiled, kMode>(run, start, first, end, out);
}

template <bool kTiled>
int ZelTrilinearSpanAvx2(const ZelTrilinearRun& run, const std::int64_t start[3], int first, int end, short* out)
{
    return PlaneSpan<kTiled>(run, start, first, end, out);
}

#else  // no vector kernels in this build

template <bool kTiled, int kMode>
int ZelSlabSpanAvx2(const ZelTrilinearRun&, const std::int64_t*, int first, int, short*)
{
    return first;
}

template <bool kTiled>
int ZelTrilinearSpanAvx2(const ZelTrilinearRun&, const std::int64_t*, int first, int, short*)
{
    return first;
}

#endif

template int ZelSlabSpanAvx2<false, 0>(const ZelTrilinearRun&, const std::int64_t*, int, int, short*);
template int ZelSlabSpanAvx2<false, 1>(const ZelTrilinearRun&, const std::int64_t*, int, int, short*);
template int ZelSlabSpanAvx2<false, 2>(const ZelTrilinearRun&, const std::int64_t*, int, int, short*);
template int ZelSlabSpanAvx2<true, 0>(const ZelTrilinearRun&, const std::int64_t*, int, int, short*);
template int ZelSlabSpanAvx2<true, 1>(const ZelTrilinearRun&, const std::int64_t*, int, int, short*);
template int ZelSlabSpanAvx2<true, 2>(const ZelTrilinearRun&, const std::int64_t*, int, int, short*);
template int ZelTrilinearSpanAvx2<false>(const ZelTrilinearRun&, const std::int64_t*, int, int, short*);
template int ZelTrilinearSpanAvx2<true>(const ZelTrilinearRun&, const std::int64_t*, int, int, short*);

bool ZelVectorFriendly(const ZelImageBase& volume)
{
    const Zel3DVector<int> size = volume.GetImageSize();
    return size.x >= 2 && size.y >= 2 && size.z >= 2 && volume.GetElementCount() < (1LL << 31);
}
