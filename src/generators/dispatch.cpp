#include "generators/dispatch.h"

#include <atomic>

namespace {

ZelSimd Detected()
{
#if ZEL_HAVE_AVX2
    if (__builtin_cpu_supports("avx2")) return ZelSimd::kAvx2;
#endif
    return ZEL_HAVE_SSE2 ? ZelSimd::kSse2 : ZelSimd::kScalar;
}

std::atomic<int> g_cap{static_cast<int>(ZelSimd::kAvx2)};

}  // namespace

ZelSimd ZelSimdLevel()
{
    static const int detected = static_cast<int>(Detected());
    const int cap = g_cap.load(std::memory_order_relaxed);
    return static_cast<ZelSimd>(cap < detected ? cap : detected);
}

void ZelSimdSetCap(ZelSimd cap)
{
    g_cap.store(static_cast<int>(cap), std::memory_order_relaxed);
}

ZelSimdCapScope::ZelSimdCapScope(ZelSimd cap) : m_previous(static_cast<ZelSimd>(g_cap.load()))
{
    ZelSimdSetCap(cap);
}

ZelSimdCapScope::~ZelSimdCapScope()
{
    ZelSimdSetCap(m_previous);
}
