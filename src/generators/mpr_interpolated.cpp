// Interpolated axis-aligned slices of signed 16-bit volumes: the fixed-point
// walk with bilinear weights, eight pixels at a time with SSE2.
//
// Every pixel blends its four voxels a (i, j), b (i + 1, j), c (i, j + 1) and
// d (i + 1, j + 1) with the 15-bit fractions fu (along display x) and fv
// (along display y) of the walk:
//   X * 2^30 = a (32768 - fu)(32768 - fv) + b fu (32768 - fv) + c (32768 - fu) fv + d fu fv
// and the result is X truncated toward zero, the rounding of the
// floating-point bilinear rule. This is computed exactly, so it differs from
// a float evaluation of that rule only where float rounding pushes a blend
// that is (nearly) a whole number across it, by one.
//
// 16-bit lanes with 32-bit sums (pmaddwd) compute it exactly in two stages:
//   P = a (32767 - fu) + b fu + a               (= a (32768 - fu) + b fu, exact)
// keeping the weights below 32768 so they fit a signed 16-bit lane. Each P is
// split into a whole part P >> 15 and a fraction P & 32767, which the second
// stage blends separately with (32767 - fv, fv) the same way:
//   A = Phi0 (32767 - fv) + Phi1 fv + Phi0,   B = Plo0 (32767 - fv) + Plo1 fv + Plo0
// so that X * 2^30 = A * 2^15 + B. With S = A + (B >> 15), floor(X) = S >> 15,
// and X is fractional when S & 32767 or B & 32767 is non-zero; a negative
// fractional X then takes floor + 1.
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "generators/dispatch.h"
#include "generators/mpr_kernels.h"

#if ZEL_HAVE_SSE2
#include <emmintrin.h>
#endif

namespace {

// Per column of the visible span: the offsets of voxel i and of voxel i + 1
// (i itself on the last index, where the fraction is 0 and the weight of
// the neighbour with it) along the axis display x follows, and the fraction.
struct ColumnTables {
    std::unique_ptr<std::ptrdiff_t[]> off0;
    std::unique_ptr<std::ptrdiff_t[]> off1;
    std::unique_ptr<short[]> frac;
    std::unique_ptr<std::int32_t[]> weights;  // (32767 - frac, frac) as the two halves of a pmaddwd lane
    // Columns [pairBegin, pairEnd) have voxel i + 1 right after voxel i in a
    // row of consecutive elements; they read the row blend of voxels
    // first .. first + count - 1 at index[k] = off0[k] - first.
    int pairBegin = 0;
    int pairEnd = 0;
    int first = 0;
    int count = 0;
    std::unique_ptr<int[]> index;
    std::unique_ptr<short[]> whole;
    std::unique_ptr<short[]> fracs;

    bool Allocate(int n)
    {
        off0.reset(new (std::nothrow) std::ptrdiff_t[n]);
        off1.reset(new (std::nothrow) std::ptrdiff_t[n]);
        frac.reset(new (std::nothrow) short[n]);
        weights.reset(new (std::nothrow) std::int32_t[n]);
        return off0 && off1 && frac && weights;
    }
};

// The exact blend, one pixel.
inline short BlendScalar(int a, int b, int c, int d, int fu, int fv)
{
    const std::int64_t gu = 32768 - fu, gv = 32768 - fv;
    const std::int64_t x = a * gu * gv + b * fu * gv + c * gu * fv + static_cast<std::int64_t>(d) * fu * fv;
    return static_cast<short>(x / (std::int64_t{1} << 30));  // C++ division truncates toward zero
}

void RowScalar(const short* r0, const short* r1, const ColumnTables& t, int begin, int end, int fv, short* out)
{
    for (int k = begin; k < end; ++k) {
        out[k] = BlendScalar(r0[t.off0[k]], r0[t.off1[k]], r1[t.off0[k]], r1[t.off1[k]], t.frac[k], fv);
    }
}

#if ZEL_HAVE_SSE2

inline __m128i SignExtendLo(__m128i v)
{
    return _mm_srai_epi32(_mm_unpacklo_epi16(v, v), 16);
}

inline __m128i SignExtendHi(__m128i v)
{
    return _mm_srai_epi32(_mm_unpackhi_epi16(v, v), 16);
}

// first (32767 - w) + second w + first, for the low and the high four lanes,
// given the interleaved weights.
inline void Blend(__m128i first, __m128i second, __m128i weightsLo, __m128i weightsHi, __m128i& lo, __m128i& hi)
{
    lo = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(first, second), weightsLo), SignExtendLo(first));
    hi = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(first, second), weightsHi), SignExtendHi(first));
}

inline __m128i Gather(const short* row, const std::ptrdiff_t* off)
{
    return _mm_set_epi16(row[off[7]], row[off[6]], row[off[5]], row[off[4]], row[off[3]], row[off[2]], row[off[1]],
                         row[off[0]]);
}

// Truncation toward zero of X, given S and B with X * 2^30 = S * 2^15 + (B & 32767):
// floor(X) = S >> 15, plus one for a negative X with a fraction (the compare
// masks are -1 where that applies).
inline __m128i Truncate(__m128i s, __m128i b)
{
    const __m128i mask15 = _mm_set1_epi32(32767);
    const __m128i zero = _mm_setzero_si128();
    const __m128i fraction = _mm_or_si128(_mm_and_si128(s, mask15), _mm_and_si128(b, mask15));
    const __m128i up = _mm_andnot_si128(_mm_cmpeq_epi32(fraction, zero), _mm_cmplt_epi32(s, zero));
    return _mm_sub_epi32(_mm_srai_epi32(s, 15), up);
}

// Stage 2 and the truncation, from the exact stage-1 sums of both rows
// (P0 for pixels 0-3 and 4-7, P1 likewise).
inline __m128i BlendRows(__m128i p0lo, __m128i p0hi, __m128i p1lo, __m128i p1hi, __m128i weightsV)
{
    const __m128i mask15 = _mm_set1_epi32(32767);
    // Whole parts and fractions back to 16-bit lanes (no saturation: whole
    // parts lie in [-32768, 32767], fractions in [0, 32767]).
    const __m128i whole0 = _mm_packs_epi32(_mm_srai_epi32(p0lo, 15), _mm_srai_epi32(p0hi, 15));
    const __m128i whole1 = _mm_packs_epi32(_mm_srai_epi32(p1lo, 15), _mm_srai_epi32(p1hi, 15));
    const __m128i frac0 = _mm_packs_epi32(_mm_and_si128(p0lo, mask15), _mm_and_si128(p0hi, mask15));
    const __m128i frac1 = _mm_packs_epi32(_mm_and_si128(p1lo, mask15), _mm_and_si128(p1hi, mask15));

    __m128i aLo, aHi, bLo, bHi;
    Blend(whole0, whole1, weightsV, weightsV, aLo, aHi);
    Blend(frac0, frac1, weightsV, weightsV, bLo, bHi);
    const __m128i sLo = _mm_add_epi32(aLo, _mm_srli_epi32(bLo, 15));
    const __m128i sHi = _mm_add_epi32(aHi, _mm_srli_epi32(bHi, 15));

    return _mm_packs_epi32(Truncate(sLo, bLo), Truncate(sHi, bHi));
}

inline __m128i RowWeights(int fv)
{
    // (32767 - fv, fv) in every 32-bit lane.
    return _mm_set1_epi32(static_cast<int>((static_cast<unsigned>(fv) << 16) | (32767u - fv)));
}

void RowSse2(const short* r0, const short* r1, const ColumnTables& t, int begin, int end, int fv, short* out)
{
    const __m128i max15 = _mm_set1_epi16(32767);
    const __m128i weightsV = RowWeights(fv);
    int k = begin;
    for (; k + 8 <= end; k += 8) {
        const __m128i a = Gather(r0, &t.off0[k]);
        const __m128i b = Gather(r0, &t.off1[k]);
        const __m128i c = Gather(r1, &t.off0[k]);
        const __m128i d = Gather(r1, &t.off1[k]);
        const __m128i fu = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&t.frac[k]));
        const __m128i gu = _mm_sub_epi16(max15, fu);
        __m128i p0lo, p0hi, p1lo, p1hi;
        Blend(a, b, _mm_unpacklo_epi16(gu, fu), _mm_unpackhi_epi16(gu, fu), p0lo, p0hi);
        Blend(c, d, _mm_unpacklo_epi16(gu, fu), _mm_unpackhi_epi16(gu, fu), p1lo, p1hi);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + k), BlendRows(p0lo, p0hi, p1lo, p1hi, weightsV));
    }
    RowScalar(r0, r1, t, k, end, fv, out);
}

// Two 16-bit entries i and i + 1 as one 32-bit lane: the pair pmaddwd wants.
inline std::int32_t Pair(const short* p)
{
    std::int32_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline __m128i GatherPairs(const short* base, const int* index)
{
    return _mm_set_epi32(Pair(base + index[3]), Pair(base + index[2]), Pair(base + index[1]), Pair(base + index[0]));
}

// Rows whose columns are consecutive elements (display x along x in a linear
// volume) blend in the other order, which the same algebra allows: first
// the two rows, on the source voxels themselves with plain vector loads
// (whole parts and fractions stored in `whole` and `frac`, from voxel
// `first` on), then along the row, where one 32-bit load fetches the pair
// (i, i + 1) of each part.
void RowSse2Consecutive(const short* r0, const short* r1, const ColumnTables& t, int begin, int end, int fv, short* out)
{
    const int first = t.first, count = t.count;
    short* whole = t.whole.get();
    short* frac = t.fracs.get();
    const __m128i weightsV = RowWeights(fv);
    const __m128i mask15 = _mm_set1_epi32(32767);
    int c = 0;
    for (; c + 8 <= count; c += 8) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r0 + first + c));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r1 + first + c));
        __m128i lo, hi;
        Blend(a, b, weightsV, weightsV, lo, hi);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(whole + c),
                         _mm_packs_epi32(_mm_srai_epi32(lo, 15), _mm_srai_epi32(hi, 15)));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(frac + c),
                         _mm_packs_epi32(_mm_and_si128(lo, mask15), _mm_and_si128(hi, mask15)));
    }
    for (; c < count; ++c) {
        const std::int32_t p = r0[first + c] * (32768 - fv) + r1[first + c] * fv;
        whole[c] = static_cast<short>(p >> 15);
        frac[c] = static_cast<short>(p & 32767);
    }

    const __m128i low16 = _mm_set1_epi32(0xFFFF);
    int k = begin;
    for (; k + 4 <= end; k += 4) {
        const __m128i weightsU = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&t.weights[k]));
        const __m128i wholes = GatherPairs(whole, &t.index[k]);
        const __m128i fracs = GatherPairs(frac, &t.index[k]);
        const __m128i a =
            _mm_add_epi32(_mm_madd_epi16(wholes, weightsU), _mm_srai_epi32(_mm_slli_epi32(wholes, 16), 16));
        const __m128i b = _mm_add_epi32(_mm_madd_epi16(fracs, weightsU), _mm_and_si128(fracs, low16));
        const __m128i result = Truncate(_mm_add_epi32(a, _mm_srli_epi32(b, 15)), b);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + k), _mm_packs_epi32(result, result));
    }
    RowScalar(r0, r1, t, k, end, fv, out);
}

#else  // no SSE2: the vector rows are the scalar twin

void RowSse2(const short* r0, const short* r1, const ColumnTables& t, int begin, int end, int fv, short* out)
{
    RowScalar(r0, r1, t, begin, end, fv, out);
}

void RowSse2Consecutive(const short* r0, const short* r1, const ColumnTables& t, int begin, int end, int fv, short* out)
{
    RowScalar(r0, r1, t, begin, end, fv, out);
}

#endif

}  // namespace

bool ZelMPRInterpolated(const ZelMPRSliceSetup& g, const short* volume, short* out)
{
    const bool useSimd = ZelSimdAllows(ZelSimd::kSse2);
    const ZelVolumeLayout& layout = g.layout;
    const int colLast = layout.size[g.colAxis] - 1, rowLast = layout.size[g.rowAxis] - 1;
    const ZelSpan across = ZelFixedSpan(g.colStart, g.colStep, 0, colLast * kZelFixedOne, g.width);
    const ZelSpan down = ZelFixedSpan(g.rowStart, g.rowStep, 0, rowLast * kZelFixedOne, g.height);
    const int x0 = across.begin, x1 = across.end, y0 = down.begin, y1 = down.end;
    if (x0 >= x1 || y0 >= y1) {
        ZelMPRFillBackground(out, static_cast<std::size_t>(g.width) * g.height, g.background);
        return true;
    }

    // Entry k of the column tables is display pixel x0 + k.
    const int n = x1 - x0;
    ColumnTables tables;
    if (!tables.Allocate(n)) return false;
    const ZelVoxelAxis& colAxis = layout.axis[g.colAxis];
    ZelAxisWalk column(g.colStart + x0 * g.colStep, colAxis);
    for (int k = 0; k < n; ++k) {
        if (k > 0) column.Advance(g.colStep);
        tables.off0[k] = column.Offset();
        tables.off1[k] = column.Coord() < colLast ? column.Offset() + ZelAxisWalk::Step(colAxis, column.Coord(), 1)
                                                  : column.Offset();
        tables.frac[k] = static_cast<short>(column.Fraction());
        tables.weights[k] = static_cast<std::int32_t>((static_cast<unsigned>(column.Fraction()) << 16) |
                                                      (32767u - static_cast<unsigned>(column.Fraction())));
    }
    // With display x along x in a linear volume every column's neighbour is
    // the next element, except on the last index, which only the ends of the
    // span can reach.
    if (colAxis.inner == 1 && colAxis.outer == 1 && n >= 8) {
        int pairBegin = 0, pairEnd = n;
        while (pairBegin < n && tables.off1[pairBegin] != tables.off0[pairBegin] + 1) ++pairBegin;
        while (pairEnd > pairBegin && tables.off1[pairEnd - 1] != tables.off0[pairEnd - 1] + 1) --pairEnd;
        if (pairEnd - pairBegin >= 8) {
            const std::ptrdiff_t lo = std::min(tables.off0[pairBegin], tables.off0[pairEnd - 1]);
            const std::ptrdiff_t hi = std::max(tables.off0[pairBegin], tables.off0[pairEnd - 1]) + 1;
            tables.first = static_cast<int>(lo);
            tables.count = static_cast<int>(hi - lo + 1);
            tables.index.reset(new (std::nothrow) int[n]);
            tables.whole.reset(new (std::nothrow) short[tables.count]);
            tables.fracs.reset(new (std::nothrow) short[tables.count]);
            if (!tables.index || !tables.whole || !tables.fracs) return false;
            for (int k = pairBegin; k < pairEnd; ++k) tables.index[k] = static_cast<int>(tables.off0[k] - lo);
            tables.pairBegin = pairBegin;
            tables.pairEnd = pairEnd;
        }
    }

    const short background = static_cast<short>(g.background);
    const ZelVoxelAxis& rowAxis = layout.axis[g.rowAxis];
    ZelAxisWalk row(g.rowStart + y0 * g.rowStep, rowAxis);
    const short* slice = volume + g.sliceOffset;
    for (int y = 0; y < g.height; ++y) {
        short* o = out + static_cast<std::ptrdiff_t>(y) * g.width;
        if (y < y0 || y >= y1) {
            for (int x = 0; x < g.width; ++x) o[x] = background;
            continue;
        }
        if (y > y0) row.Advance(g.rowStep);
        const short* r0 = slice + row.Offset();
        const short* r1 = row.Coord() < rowLast ? r0 + ZelAxisWalk::Step(rowAxis, row.Coord(), 1) : r0;
        for (int x = 0; x < x0; ++x) o[x] = background;
        if (useSimd && tables.pairEnd > 0) {
            RowScalar(r0, r1, tables, 0, tables.pairBegin, row.Fraction(), o + x0);
            RowSse2Consecutive(r0, r1, tables, tables.pairBegin, tables.pairEnd, row.Fraction(), o + x0);
            RowScalar(r0, r1, tables, tables.pairEnd, n, row.Fraction(), o + x0);
        } else if (useSimd) {
            RowSse2(r0, r1, tables, 0, n, row.Fraction(), o + x0);
        } else {
            RowScalar(r0, r1, tables, 0, n, row.Fraction(), o + x0);
        }
        for (int x = x1; x < g.width; ++x) o[x] = background;
    }
    return true;
}
