#pragma once

#include "ZelExport.h"

// One colour of three components, stored r, g, b.
template <class T>
struct ZEL_VALUE_TYPE ZelRGBBase {
    T r;
    T g;
    T b;
};
