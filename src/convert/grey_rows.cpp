#include "grey_rows.h"

#include <algorithm>

#if ZEL_HAVE_AVX2
#include <immintrin.h>
#endif

bool ZelCoversRows(const ZelImageBase& image, const ZelGreyRows& rows)
{
    return image.GetVoidDataPtr() != nullptr &&
           image.GetElementCount() >= static_cast<long long>(rows.width) * rows.height;
}

bool ZelPrepareRows(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelGreyRows& rows)
{
    if (buffer == nullptr || slice == nullptr) return false;
    rows.depth = buffer->GetDepth();
    rows.dst = buffer->GetDataPtr();
    if (rows.dst == nullptr) return true;  // an empty buffer: nothing to write
    rows.width = buffer->GetWidth();
    rows.height = buffer->GetHeight();
    rows.stride = buffer->GetSizePerLine();
    rows.src = slice->GetDataPtr();
    return ZelCoversRows(*slice, rows);
}

namespace {

void ValueRangeScalar(const short* values, long long count, short& low, short& high)
{
    short lo = 32767;
    short hi = -32768;
    for (long long i = 0; i < count; ++i) {
        lo = std::min(lo, values[i]);
        hi = std::max(hi, values[i]);
    }
    low = lo;
    high = hi;
}

#if ZEL_HAVE_AVX2
// 32 values a step into two pairs of running minima and maxima (one pair
// would wait on its own latency every step), folded at the end.
ZEL_TARGET_AVX2 void ValueRangeVector(const short* values, long long count, short& low, short& high)
{
    __m256i lo0 = _mm256_set1_epi16(32767);
    __m256i hi0 = _mm256_set1_epi16(-32768);
    __m256i lo1 = lo0;
    __m256i hi1 = hi0;
    long long i = 0;
    for (; i + 32 <= count; i += 32) {
        const __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(values + i));
        const __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(values + i + 16));
        lo0 = _mm256_min_epi16(lo0, a);
        hi0 = _mm256_max_epi16(hi0, a);
        lo1 = _mm256_min_epi16(lo1, b);
        hi1 = _mm256_max_epi16(hi1, b);
    }
    alignas(32) short lows[16];
    alignas(32) short highs[16];
    _mm256_store_si256(reinterpret_cast<__m256i*>(lows), _mm256_min_epi16(lo0, lo1));
    _mm256_store_si256(reinterpret_cast<__m256i*>(highs), _mm256_max_epi16(hi0, hi1));
    ValueRangeScalar(values + i, count - i, low, high);
    for (int k = 0; k < 16; ++k) {
        low = std::min(low, lows[k]);
        high = std::max(high, highs[k]);
    }
}
#endif

}  // namespace

void ZelValueRange(const short* values, long long count, short& low, short& high)
{
#if ZEL_HAVE_AVX2
    if (ZelSimdAllows(ZelSimd::kAvx2)) return ValueRangeVector(values, count, low, high);
#endif
    ValueRangeScalar(values, count, low, high);
}
