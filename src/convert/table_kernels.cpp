#include "table_kernels.h"

#include <cstdint>

#include "grey_triples.h"

namespace {

template <int Depth>
void TableRowsScalar(const ZelGreyRows& rows, const unsigned char* table, short min, short max)
{
    ZelMapGreyRows<Depth>(rows, [=](short value) { return ZelTableByte(value, table, min, max); });
}

#if ZEL_HAVE_SSE2

// The clamp and the subtraction run on 16 values at once; the indices go
// through a small aligned block so that the lookups are plain loads.
template <int Depth>
void TableRowsVector(const ZelGreyRows& rows, const unsigned char* table, short min, short max)
{
    const __m128i lowest = _mm_set1_epi16(min);
    const __m128i highest = _mm_set1_epi16(max);
    const int groups = rows.width / 16;
    alignas(16) std::uint16_t index[16];
    for (int y = 0; y < rows.height; ++y) {
        const short* src = rows.src + static_cast<std::ptrdiff_t>(y) * rows.width;
        unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride;
        for (int g = 0; g < groups; ++g, src += 16, dst += 16 * Depth) {
            // clamp - min lies in 0..max - min, which fits 16 unsigned bits.
            const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src));
            const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + 8));
            _mm_store_si128(reinterpret_cast<__m128i*>(index),
                            _mm_sub_epi16(_mm_min_epi16(_mm_max_epi16(first, lowest), highest), lowest));
            _mm_store_si128(reinterpret_cast<__m128i*>(index + 8),
                            _mm_sub_epi16(_mm_min_epi16(_mm_max_epi16(second, lowest), highest), lowest));
            // The bytes are gathered in registers and stored as one vector:
            // fewer stores, and no byte stores read back as a vector (that
            // stalls on store forwarding).
            std::uint64_t bytesLow = 0;
            std::uint64_t bytesHigh = 0;
            for (int i = 7; i >= 0; --i) {
                bytesLow = (bytesLow << 8) | table[index[i]];
                bytesHigh = (bytesHigh << 8) | table[index[i + 8]];
            }
            const __m128i grey = _mm_set_epi64x(static_cast<long long>(bytesHigh), static_cast<long long>(bytesLow));
            if (Depth == 1) {
                _mm_storeu_si128(reinterpret_cast<__m128i*>(dst), grey);
            } else {
                ZelStoreGreyTriples(dst, grey);
            }
        }
        for (int x = groups * 16; x < rows.width; ++x) {
            ZelPutGrey<Depth>(dst + (x - groups * 16) * Depth, ZelTableByte(src[x - groups * 16], table, min, max));
        }
    }
}

#else

template <int Depth>
void TableRowsVector(const ZelGreyRows& rows, const unsigned char* table, short min, short max)
{
    TableRowsScalar<Depth>(rows, table, min, max);
}

#endif

}  // namespace

void ZelTableRows(const ZelGreyRows& rows, const unsigned char* table, short min, short max)
{
    const bool vector = ZelSimdAllows(ZelSimd::kSse2);
    ZelDispatchDepth<1, 3>(rows.depth, [&](auto d) {
        constexpr int kDepth = decltype(d)::value;
        (vector ? TableRowsVector<kDepth> : TableRowsScalar<kDepth>)(rows, table, min, max);
    });
}
