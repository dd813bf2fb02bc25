// Sixteen grey bytes to the 48 bytes of sixteen three-byte pixels, with SSE2
// only (no byte shuffle): every output word is either a grey byte twice
// (from the byte-doubled source) or two neighbouring grey bytes (a word of the
// source itself), so each output register is a word shuffle of the two,
// blended with a fixed mask.
#pragma once

#include "generators/dispatch.h"

#if ZEL_HAVE_SSE2
#include <emmintrin.h>

inline __m128i ZelBlendWords(__m128i pairs, __m128i neighbours, __m128i neighbourMask)
{
    return _mm_or_si128(_mm_andnot_si128(neighbourMask, pairs), _mm_and_si128(neighbourMask, neighbours));
}

// Writes dst[0..47]; the rows need no alignment.
inline void ZelStoreGreyTriples(unsigned char* dst, __m128i grey)
{
    // Word k of `pairs` is grey byte k doubled; word k of `grey` is bytes 2k, 2k+1.
    const __m128i pairsLow = _mm_unpacklo_epi8(grey, grey);   // bytes 0..7
    const __m128i pairsHigh = _mm_unpackhi_epi8(grey, grey);  // bytes 8..15
    const __m128i shifted = _mm_srli_si128(grey, 5);
    const __m128i pairsMid = _mm_unpacklo_epi8(shifted, shifted);  // bytes 5..12

    // Bytes 0..15: g0 g0 g0 g1 | g1 g1 g2 g2 | g2 g3 g3 g3 | g4 g4 g4 g5.
    const __m128i a0 = _mm_shufflehi_epi16(
        _mm_shufflelo_epi16(_mm_shuffle_epi32(pairsLow, _MM_SHUFFLE(2, 1, 1, 0)), _MM_SHUFFLE(2, 1, 0, 0)),
        _MM_SHUFFLE(2, 2, 1, 1));
    const __m128i b0 = _mm_shufflehi_epi16(
        _mm_shufflelo_epi16(_mm_shuffle_epi32(grey, _MM_SHUFFLE(1, 0, 0, 0)), _MM_SHUFFLE(0, 0, 0, 0)),
        _MM_SHUFFLE(2, 1, 1, 1));
    const __m128i m0 = _mm_set_epi16(-1, 0, 0, -1, 0, 0, -1, 0);

    // Bytes 16..31: g5 g5 g6 g6 | g6 g7 g7 g7 | g8 g8 g8 g9 | g9 g9 g10 g10.
    const __m128i a1 = _mm_shufflehi_epi16(
        _mm_shufflelo_epi16(_mm_shuffle_epi32(pairsMid, _MM_SHUFFLE(2, 1, 1, 0)), _MM_SHUFFLE(2, 1, 1, 0)),
        _MM_SHUFFLE(3, 2, 1, 1));
    const __m128i b1 = _mm_shufflehi_epi16(_mm_shufflelo_epi16(grey, _MM_SHUFFLE(0, 3, 0, 0)), _MM_SHUFFLE(0, 0, 0, 0));
    const __m128i m1 = _mm_set_epi16(0, 0, -1, 0, 0, -1, 0, 0);

    // Bytes 32..47: g10 g11 g11 g11 | g12 g12 g12 g13 | g13 g13 g14 g14 | g14 g15 g15 g15.
    const __m128i a2 =
        _mm_shufflehi_epi16(_mm_shuffle_epi32(pairsHigh, _MM_SHUFFLE(3, 2, 2, 1)), _MM_SHUFFLE(3, 3, 2, 1));
    const __m128i b2 = _mm_shufflehi_epi16(
        _mm_shufflelo_epi16(_mm_shuffle_epi32(grey, _MM_SHUFFLE(3, 3, 3, 2)), _MM_SHUFFLE(2, 2, 1, 1)),
        _MM_SHUFFLE(1, 1, 1, 1));
    const __m128i m2 = _mm_set_epi16(0, -1, 0, 0, -1, 0, 0, -1);

    auto* out = reinterpret_cast<__m128i*>(dst);
    _mm_storeu_si128(out, ZelBlendWords(a0, b0, m0));
    _mm_storeu_si128(out + 1, ZelBlendWords(a1, b1, m1));
    _mm_storeu_si128(out + 2, ZelBlendWords(a2, b2, m2));
}

#endif
