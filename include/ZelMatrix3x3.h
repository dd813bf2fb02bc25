#pragma once

#include "ZelExport.h"

// Three rows of three values, stored row by row. Users that treat the columns
// as axes (the oblique generator's right, down and normal) say so.
template <class T>
struct ZEL_VALUE_TYPE ZelMatrix3x3 {
    T m[3][3];
};
