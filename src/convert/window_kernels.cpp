#include "window_kernels.h"

#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

#if defined(__SSE2__)

// Eight signed 16-bit values to eight saturated 16-bit levels.
inline __m128i Levels8(__m128i values, __m128 slope, __m128 offset)
{
    // Sign-extend by placing each value in the high half and shifting back.
    const __m128i lo = _mm_srai_epi32(_mm_unpacklo_epi16(values, values), 16);
    const __m128i hi = _mm_srai_epi32(_mm_unpackhi_epi16(values, values), 16);
    const __m128 ylo = _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(lo), slope), offset);
    const __m128 yhi = _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(hi), slope), offset);
    return _mm_packs_epi32(_mm_cvttps_epi32(ylo), _mm_cvttps_epi32(yhi));
}

// Four 32-bit lanes each holding one grey byte four times -> the 12 bytes of
// four three-byte pixels at the bottom of the register, zeros above.
inline __m128i SqueezeTriples(__m128i lanes)
{
    const __m128i keepLow = _mm_set1_epi64x(0x0000000000FFFFFFll);
    const __m128i keepMid = _mm_set1_epi64x(0x0000FFFFFF000000ll);
    // Per 64-bit half: [a a a b b b 0 0].
    const __m128i halves =
        _mm_or_si128(_mm_and_si128(lanes, keepLow), _mm_and_si128(_mm_srli_epi64(lanes, 8), keepMid));
    // Bring the upper half down next to the lower one.
    return _mm_or_si128(_mm_move_epi64(halves), _mm_slli_si128(_mm_srli_si128(halves, 8), 6));
}

// Sixteen grey bytes to 48 bytes of three-byte pixels.
inline void StoreTriples(unsigned char* dst, __m128i grey)
{
    const __m128i pairsLo = _mm_unpacklo_epi8(grey, grey);
    const __m128i pairsHi = _mm_unpackhi_epi8(grey, grey);
    const __m128i a = SqueezeTriples(_mm_unpacklo_epi16(pairsLo, pairsLo));
    const __m128i b = SqueezeTriples(_mm_unpackhi_epi16(pairsLo, pairsLo));
    const __m128i c = SqueezeTriples(_mm_unpacklo_epi16(pairsHi, pairsHi));
    const __m128i d = SqueezeTriples(_mm_unpackhi_epi16(pairsHi, pairsHi));
    auto* out = reinterpret_cast<__m128i*>(dst);
    _mm_storeu_si128(out, _mm_or_si128(a, _mm_slli_si128(b, 12)));
    _mm_storeu_si128(out + 1, _mm_or_si128(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
    _mm_storeu_si128(out + 2, _mm_or_si128(_mm_srli_si128(c, 8), _mm_slli_si128(d, 4)));
}

template <int Depth>
void StretchVector(const short* src, unsigned char* dst, int groups, const ZelWindowRamp& ramp)
{
    const __m128 slope = _mm_set1_ps(ramp.slope);
    const __m128 offset = _mm_set1_ps(ramp.offset);
    for (int g = 0; g < groups; ++g, src += 16, dst += 16 * Depth) {
        const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
        const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 8));
        const __m128i grey = _mm_packus_epi16(Levels8(first, slope, offset), Levels8(second, slope, offset));
        if (Depth == 1) {
            _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), grey);
        } else {
            StoreTriples(dst, grey);
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

template <int Depth>
void WindowRows(const ZelGreyRows& rows, const ZelWindowRamp& ramp)
{
    const int groups = rows.width / 16;
    const int done = groups * 16;
    for (int y = 0; y < rows.height; ++y) {
        const short* src = rows.src + static_cast<std::ptrdiff_t>(y) * rows.width;
        unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride;
        StretchVector<Depth>(src, dst, groups, ramp);
        for (int x = done; x < rows.width; ++x) ZelPutGrey<Depth>(dst + x * Depth, ZelWindowByteDouble(src[x], ramp));
    }
}

}  // namespace

void ZelWindowStretch(const short* src, unsigned char* dst, int groups, int depth, const ZelWindowRamp& ramp)
{
    if (depth == 3) {
        StretchVector<3>(src, dst, groups, ramp);
    } else {
        StretchVector<1>(src, dst, groups, ramp);
    }
}

void ZelWindowStretchScalar(const short* src, unsigned char* dst, int groups, int depth, const ZelWindowRamp& ramp)
{
    if (depth == 3) {
        StretchScalar<3>(src, dst, groups, ramp);
    } else {
        StretchScalar<1>(src, dst, groups, ramp);
    }
}

void ZelWindowRows(const ZelGreyRows& rows, const ZelWindowRamp& ramp)
{
    if (rows.depth == 3) {
        WindowRows<3>(rows, ramp);
    } else {
        WindowRows<1>(rows, ramp);
    }
}
