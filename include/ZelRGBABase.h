#pragma once

#include "ZelExport.h"

// One colour of four components, stored r, g, b, a. The float form is a
// colour-table entry.
template <class T>
struct ZEL_VALUE_TYPE ZelRGBABase {
    T r;
    T g;
    T b;
    T a;
};
