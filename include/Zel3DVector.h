#pragma once

#include "ZelExport.h"

// A plain 3-D vector: voxel positions, directions and spacings (float), volume
// sizes and block counts (int).
template <class T>
struct ZEL_VALUE_TYPE Zel3DVector {
    T x;
    T y;
    T z;
};

// Component-wise difference.
template <class T>
inline Zel3DVector<T> operator-(const Zel3DVector<T>& a, const Zel3DVector<T>& b)
{
    return Zel3DVector<T>{a.x - b.x, a.y - b.y, a.z - b.z};
}
