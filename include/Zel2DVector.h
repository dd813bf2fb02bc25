#pragma once

#include "ZelExport.h"

// A plain 2-D vector: display positions (float) and image sizes (int).
template <class T>
struct ZEL_VALUE_TYPE Zel2DVector {
    T x;
    T y;
};
