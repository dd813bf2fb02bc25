#include "draw/draw_rows.h"

#include <cstring>

#include "generators/dispatch.h"

#if ZEL_HAVE_SSE2
#include <emmintrin.h>
#endif

namespace zel_draw {

namespace {

void BlendCoverageRow4Plain(unsigned char* p, const unsigned char* coverage, int n, const Colour& colour)
{
    for (int i = 0; i < n; ++i, p += 4) {
        if (!coverage[i]) continue;
        const unsigned a = Div255(coverage[i] * colour.a);
        if (a == 255) {
            WritePixel<4>(p, colour);
        } else if (a) {
            BlendPixel<4>(p, colour, a);
        }
    }
}

void BilinearSpanPlain(const std::uint16_t* column, const int* cols, const std::uint16_t* weights, int n,
                       unsigned char* out)
{
    for (int i = 0; i < n; ++i, out += 4) {
        const std::uint16_t* c0 = column + 4 * cols[i];
        const unsigned fx = weights[8 * i + 4];
        for (int c = 0; c < 4; ++c) out[c] = static_cast<unsigned char>((c0[c] * (256 - fx) + c0[c + 4] * fx) >> 16);
    }
}

void BilinearColumns4Plain(const unsigned char* r0, const unsigned char* r1, int count, unsigned fy, std::uint16_t* out)
{
    for (int i = 0; i < 4 * count; ++i) out[i] = static_cast<std::uint16_t>(r0[i] * (256 - fy) + r1[i] * fy);
}

#if ZEL_HAVE_SSE2

// x / 255 truncated, for 16-bit lanes x <= 65025.
inline __m128i Div255x8(__m128i x)
{
    const __m128i one = _mm_set1_epi16(1);
    return _mm_srli_epi16(_mm_add_epi16(_mm_add_epi16(x, one), _mm_srli_epi16(x, 8)), 8);
}

void BlendCoverageRow4Sse2(unsigned char* p, const unsigned char* coverage, int n, const Colour& colour)
{
    // The alpha byte follows the same blend with a source of 255:
    // d + (255 - d) a / 255 == (255 a + d (255 - a)) / 255 in integers.
    const __m128i zero = _mm_setzero_si128();
    const __m128i source =
        _mm_setr_epi16(static_cast<short>(colour.b), static_cast<short>(colour.g), static_cast<short>(colour.r), 255,
                       static_cast<short>(colour.b), static_cast<short>(colour.g), static_cast<short>(colour.r), 255);
    const __m128i alpha = _mm_set1_epi16(static_cast<short>(colour.a));
    const __m128i full = _mm_set1_epi16(255);
    int i = 0;
    for (; i + 4 <= n; i += 4) {
        std::uint32_t cov4;
        std::memcpy(&cov4, coverage + i, 4);
        if (!cov4) continue;
        // Weights of the four pixels, each spread over its four channels.
        const __m128i c = _mm_unpacklo_epi8(_mm_cvtsi32_si128(static_cast<int>(cov4)), zero);
        const __m128i a = Div255x8(_mm_mullo_epi16(c, alpha));  // a0 a1 a2 a3 in lanes 0..3
        const __m128i a01 = _mm_unpacklo_epi16(a, a);           // a0 a0 a1 a1 a2 a2 a3 a3
        const __m128i w0 = _mm_unpacklo_epi32(a01, a01);        // a0 x4, a1 x4
        const __m128i w1 = _mm_unpackhi_epi32(a01, a01);        // a2 x4, a3 x4
        __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 4 * i));
        const __m128i d0 = _mm_unpacklo_epi8(d, zero), d1 = _mm_unpackhi_epi8(d, zero);
        const __m128i r0 =
            Div255x8(_mm_add_epi16(_mm_mullo_epi16(source, w0), _mm_mullo_epi16(d0, _mm_sub_epi16(full, w0))));
        const __m128i r1 =
            Div255x8(_mm_add_epi16(_mm_mullo_epi16(source, w1), _mm_mullo_epi16(d1, _mm_sub_epi16(full, w1))));
        d = _mm_packus_epi16(r0, r1);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(p + 4 * i), d);
    }
    BlendCoverageRow4Plain(p + 4 * i, coverage + i, n - i, colour);
}

// Pixel i's four channels as 32-bit sums c0 * (256 - fx) + c1 * fx.
inline __m128i BilinearSums(const std::uint16_t* column, int col, const std::uint16_t* weights)
{
    // c0 and c1 side by side: 8 lanes of 16 bits, weights to match.
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(column + 4 * col));
    const __m128i w = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weights));
    const __m128i lo = _mm_mullo_epi16(v, w), hi = _mm_mulhi_epu16(v, w);
    return _mm_srli_epi32(_mm_add_epi32(_mm_unpacklo_epi16(lo, hi), _mm_unpackhi_epi16(lo, hi)), 16);
}

void BilinearSpanSse2(const std::uint16_t* column, const int* cols, const std::uint16_t* weights, int n,
                      unsigned char* out)
{
    int i = 0;
    for (; i + 2 <= n; i += 2, out += 8) {
        const __m128i a = BilinearSums(column, cols[i], weights + 8 * i);
        const __m128i b = BilinearSums(column, cols[i + 1], weights + 8 * i + 8);
        const __m128i words = _mm_packs_epi32(a, b);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(words, words));
    }
    if (i < n) BilinearSpanPlain(column, cols + i, weights + 8 * i, n - i, out);
}

void BilinearColumns4Sse2(const unsigned char* r0, const unsigned char* r1, int count, unsigned fy, std::uint16_t* out)
{
    // Products stay below 2^16: 255 * 256.
    const __m128i zero = _mm_setzero_si128();
    const __m128i w0 = _mm_set1_epi16(static_cast<short>(256 - fy)), w1 = _mm_set1_epi16(static_cast<short>(fy));
    int i = 0;
    for (; i + 4 <= count; i += 4) {
        const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r0 + 4 * i));
        const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r1 + 4 * i));
        const __m128i lo = _mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(a, zero), w0),
                                         _mm_mullo_epi16(_mm_unpacklo_epi8(b, zero), w1));
        const __m128i hi = _mm_add_epi16(_mm_mullo_epi16(_mm_unpackhi_epi8(a, zero), w0),
                                         _mm_mullo_epi16(_mm_unpackhi_epi8(b, zero), w1));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * i), lo);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * i + 8), hi);
    }
    BilinearColumns4Plain(r0 + 4 * i, r1 + 4 * i, count - i, fy, out + 4 * i);
}

#endif

}  // namespace

// The vector rows where the dispatch allows SSE2, else the plain twins.
void BlendCoverageRow4(unsigned char* p, const unsigned char* coverage, int n, const Colour& colour)
{
#if ZEL_HAVE_SSE2
    if (ZelSimdAllows(ZelSimd::kSse2)) return BlendCoverageRow4Sse2(p, coverage, n, colour);
#endif
    BlendCoverageRow4Plain(p, coverage, n, colour);
}

void BilinearSpan(const std::uint16_t* column, const int* cols, const std::uint16_t* weights, int n, unsigned char* out)
{
#if ZEL_HAVE_SSE2
    if (ZelSimdAllows(ZelSimd::kSse2)) return BilinearSpanSse2(column, cols, weights, n, out);
#endif
    BilinearSpanPlain(column, cols, weights, n, out);
}

void BilinearColumns4(const unsigned char* r0, const unsigned char* r1, int count, unsigned fy, std::uint16_t* out)
{
#if ZEL_HAVE_SSE2
    if (ZelSimdAllows(ZelSimd::kSse2)) return BilinearColumns4Sse2(r0, r1, count, fy, out);
#endif
    BilinearColumns4Plain(r0, r1, count, fy, out);
}

}  // namespace zel_draw
