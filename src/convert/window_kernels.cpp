#include "window_kernels.h"

#include <cmath>

#include "generators/dispatch.h"

#if ZEL_HAVE_SSE2
#include <emmintrin.h>
#endif

#include "grey_triples.h"

ZelWindowRamp ZelMakeWindowRamp(int width, int centre, bool invert)
{
    const float top = invert ? 0.0f : 255.0f;
    const float bottom = invert ? 255.0f : 0.0f;
    const float range = top - bottom;
    const float span = static_cast<float>(width - 1);
    ZelWindowRamp ramp;
    ramp.slope = range / span;
    // The offset is formed in double and rounded once; this rounding is part
    // of the result bytes.
    ramp.offset = static_cast<float>(range * 0.5 + (0.5 - centre) * range / span + bottom);
    return ramp;
}

bool ZelWindowRampIsFlat(const ZelWindowRamp& ramp)
{
    // |value * slope| <= 32768 * 255, far below this bound.
    return std::fabs(ramp.offset) > 1.0e9f;
}

namespace {

template <int Depth>
void StretchScalar(const short* src, unsigned char* dst, int groups, const ZelWindowRamp& ramp)
{
    const int count = groups * 16;
    for (int x = 0; x < count; ++x) ZelPutGrey<Depth>(dst + x * Depth, ZelWindowByteFloat(src[x], ramp));
}

#if ZEL_HAVE_SSE2

// Eight signed 16-bit values to eight saturated 16-bit levels. Each value is
// taken as value * 2^16 (no sign extension needed) against slope * 2^-16:
// scaling by powers of two leaves the rounded product unchanged.
inline __m128i Levels8(__m128i values, __m128 slope, __m128 offset)
{
    const __m128i zero = _mm_setzero_si128();
    const __m128 lo = _mm_cvtepi32_ps(_mm_unpacklo_epi16(zero, values));
    const __m128 hi = _mm_cvtepi32_ps(_mm_unpackhi_epi16(zero, values));
    const __m128 ylo = _mm_add_ps(_mm_mul_ps(lo, slope), offset);
    const __m128 yhi = _mm_add_ps(_mm_mul_ps(hi, slope), offset);
    return _mm_packs_epi32(_mm_cvttps_epi32(ylo), _mm_cvttps_epi32(yhi));
}

template <int Depth>
void StretchVector(const short* src, unsigned char* dst, int groups, const ZelWindowRamp& ramp)
{
    const __m128 slope = _mm_set1_ps(ramp.slope * (1.0f / 65536.0f));
    const __m128 offset = _mm_set1_ps(ramp.offset);
    for (int g = 0; g < groups; ++g, src += 16, dst += 16 * Depth) {
        const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
        const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 8));
        const __m128i grey = _mm_packus_epi16(Levels8(first, slope, offset), Levels8(second, slope, offset));
        if (Depth == 1) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), grey);
        } else {
            ZelStoreGreyTriples(dst, grey);
        }
    }
}

#else

template <int Depth>
void StretchVector(const short* src, unsigned char* dst, int groups, const ZelWindowRamp& ramp)
{
    StretchScalar<Depth>(src, dst, groups, ramp);
}

#endif

// The stretch of 16-value groups the dispatch allows: vector or twin.
template <int Depth>
using Stretch = void (*)(const short*, unsigned char*, int, const ZelWindowRamp&);

template <int Depth>
Stretch<Depth> ChooseStretch()
{
    return ZelSimdAllows(ZelSimd::kSse2) ? StretchVector<Depth> : StretchScalar<Depth>;
}

template <int Depth>
void WindowRows(const ZelGreyRows& rows, const ZelWindowRamp& ramp)
{
    const Stretch<Depth> stretch = ChooseStretch<Depth>();
    const int groups = rows.width / 16;
    const int done = groups * 16;
    for (int y = 0; y < rows.height; ++y) {
        const short* src = rows.src + static_cast<std::ptrdiff_t>(y) * rows.width;
        unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride;
        stretch(src, dst, groups, ramp);
        for (int x = done; x < rows.width; ++x) ZelPutGrey<Depth>(dst + x * Depth, ZelWindowByteDouble(src[x], ramp));
    }
}

}  // namespace

void ZelWindowStretch(const short* src, unsigned char* dst, int groups, int depth, const ZelWindowRamp& ramp)
{
    ZelDispatchDepth<1, 3>(depth, [&](auto d) { ChooseStretch<decltype(d)::value>()(src, dst, groups, ramp); });
}

void ZelWindowRows(const ZelGreyRows& rows, const ZelWindowRamp& ramp)
{
    ZelDispatchDepth<1, 3>(rows.depth, [&](auto d) { WindowRows<decltype(d)::value>(rows, ramp); });
}
