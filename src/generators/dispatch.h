// The library's one dispatch: from a voxel type code or a display depth to a
// template instance, and from the instruction sets this build carries and this
// processor runs to the vector or the scalar twin of a kernel. Every
// generator and converter makes these choices here, once per call, never per
// pixel; the tests force the scalar twins through the single hook below.
#pragma once

#include <type_traits>
#include <utility>

#include "ZelImageBase.h"

// Vector instruction sets a kernel may use, in increasing order.
enum class ZelSimd { kScalar = 0, kSse2 = 1, kAvx2 = 2 };

// Compile time: what this build carries. SSE2 kernels are compiled when the
// target has SSE2 (every x86-64 target); AVX2 kernels are compiled for every
// x86 target that GCC or Clang builds and are only run when the processor
// has AVX2 (functions marked ZEL_TARGET_AVX2).
#if defined(__SSE2__)
#define ZEL_HAVE_SSE2 1
#else
#define ZEL_HAVE_SSE2 0
#endif
#if (defined(__x86_64__) || defined(__i386__)) && (defined(__GNUC__) || defined(__clang__))
#define ZEL_HAVE_AVX2 1
#define ZEL_TARGET_AVX2 __attribute__((target("avx2")))
#else
#define ZEL_HAVE_AVX2 0
#define ZEL_TARGET_AVX2
#endif

// Run time: the best set this build carries and this processor runs, capped
// by ZelSimdSetCap. Cheap; call it once per call of a kernel.
ZelSimd ZelSimdLevel();
inline bool ZelSimdAllows(ZelSimd level)
{
    return static_cast<int>(ZelSimdLevel()) >= static_cast<int>(level);
}

// The hook for the tests: caps the level every later call sees
// (ZelSimd::kScalar runs every scalar twin). The default is no cap.
void ZelSimdSetCap(ZelSimd cap);

// Scoped cap for a test; restores the previous cap.
class ZelSimdCapScope {
public:
    explicit ZelSimdCapScope(ZelSimd cap);
    ~ZelSimdCapScope();
    ZelSimdCapScope(const ZelSimdCapScope&) = delete;
    ZelSimdCapScope& operator=(const ZelSimdCapScope&) = delete;

private:
    ZelSimd m_previous;
};

// Voxel types. A kernel instantiated per voxel type is reached either by
// ZelDispatchVoxel, which calls f with a ZelVoxelTag<T>, or through a table
// indexed by ZelGreyVoxelSlot.
template <class T>
struct ZelVoxelTag {
    using type = T;
};

// Slot of a grey voxel type in kernel tables: 0 unsigned char (1), 1 unsigned
// short (3), 2 short (4); -1 for any other type.
constexpr int kZelGreyVoxelTypes = 3;
inline int ZelGreyVoxelSlot(int voxelType)
{
    switch (voxelType) {
    case ZEL_VOXEL_UCHAR: return 0;
    case ZEL_VOXEL_USHORT: return 1;
    case ZEL_VOXEL_SHORT: return 2;
    default: return -1;
    }
}

// Calls f(ZelVoxelTag<T>{}) for the grey voxel types and returns its result;
// returns `otherwise` for any other type.
template <class R, class F>
R ZelDispatchGreyVoxel(int voxelType, R otherwise, F&& f)
{
    switch (voxelType) {
    case ZEL_VOXEL_UCHAR: return f(ZelVoxelTag<unsigned char>{});
    case ZEL_VOXEL_USHORT: return f(ZelVoxelTag<unsigned short>{});
    case ZEL_VOXEL_SHORT: return f(ZelVoxelTag<short>{});
    default: return otherwise;
    }
}

// Display depths: calls f(std::integral_constant<int, D>{}) for the depth D
// among kDepths that equals `depth` and returns true; false when none does.
// A converter lists the depths it serves: ZelDispatchDepth<1, 3>(depth, f).
template <int... kDepths, class F>
bool ZelDispatchDepth(int depth, F&& f)
{
    bool served = false;
    ((depth == kDepths && !served ? (f(std::integral_constant<int, kDepths>{}), served = true) : false), ...);
    return served;
}
