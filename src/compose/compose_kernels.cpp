#include "compose_kernels.h"

#include "generators/dispatch.h"

#if ZEL_HAVE_SSE2
#include <emmintrin.h>
#endif

namespace {

template <class Op>
void BytesScalar(const ZelComposeRow& row, int from, Op op)
{
    for (int i = from; i < row.count; ++i) {
        if (row.keepFourth && (i & 3) == 3) continue;
        row.a[i] = op(row.a[i], row.b[i]);
    }
}

#if ZEL_HAVE_SSE2

// 16 bytes at a time; Blend16 combines 16 bytes of a and b. Byte 3 of every
// pixel is put back from a when it must be kept. Returns the bytes done.
template <class Blend16>
int BytesVector(const ZelComposeRow& row, Blend16 blend)
{
    const __m128i colour = row.keepFourth ? _mm_set1_epi32(0x00FFFFFF) : _mm_set1_epi32(-1);
    int i = 0;
    for (; i + 16 <= row.count; i += 16) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row.a + i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row.b + i));
        const __m128i result = _mm_or_si128(_mm_and_si128(colour, blend(a, b)), _mm_andnot_si128(colour, a));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(row.a + i), result);
    }
    return i;
}

// Eight bytes of a and b widened to words: ((b - a) * k + (a << 8)) >> 8 in
// 16-bit lanes, whose wrap keeps bits 8 to 15 exact.
inline __m128i AlphaWords(__m128i a, __m128i b, __m128i k)
{
    const __m128i sum = _mm_add_epi16(_mm_mullo_epi16(_mm_sub_epi16(b, a), k), _mm_slli_epi16(a, 8));
    return _mm_srli_epi16(sum, 8);
}

#endif

}  // namespace

void ZelAlphaBytes(const ZelComposeRow& row, int k)
{
    int done = 0;
#if ZEL_HAVE_SSE2
    if (ZelSimdAllows(ZelSimd::kSse2)) {
        const __m128i weight = _mm_set1_epi16(static_cast<short>(k));
        const __m128i zero = _mm_setzero_si128();
        done = BytesVector(row, [&](__m128i a, __m128i b) {
            const __m128i low = AlphaWords(_mm_unpacklo_epi8(a, zero), _mm_unpacklo_epi8(b, zero), weight);
            const __m128i high = AlphaWords(_mm_unpackhi_epi8(a, zero), _mm_unpackhi_epi8(b, zero), weight);
            return _mm_packus_epi16(low, high);
        });
    }
#endif
    BytesScalar(row, done, [k](int a, int b) { return ZelAlphaByte(a, b, k); });
}

void ZelAddBytes(const ZelComposeRow& row, int k)
{
    int done = 0;
#if ZEL_HAVE_SSE2
    // (a * 256 + b * k) >> 8 = a + ((b * k) >> 8) exactly, and b * k fits 16
    // unsigned bits while 0 <= k <= 256; the byte add saturates at 255.
    if (ZelSimdAllows(ZelSimd::kSse2) && k >= 0 && k <= 256) {
        const __m128i weight = _mm_set1_epi16(static_cast<short>(k));
        const __m128i zero = _mm_setzero_si128();
        done = BytesVector(row, [&](__m128i a, __m128i b) {
            const __m128i low = _mm_srli_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(b, zero), weight), 8);
            const __m128i high = _mm_srli_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(b, zero), weight), 8);
            return _mm_adds_epu8(a, _mm_packus_epi16(low, high));
        });
    }
#endif
    BytesScalar(row, done, [k](int a, int b) { return ZelAddByte(a, b, k); });
}
