// Conversions from floating point that every kernel shares. C++ leaves a
// float-to-int conversion of an out-of-range value undefined; these define it.
#pragma once

#include <climits>

// Truncation toward zero, saturated to the int range; NaN gives 0.
inline int ZelTruncateToInt(double value)
{
    if (!(value == value)) return 0;
    if (value <= static_cast<double>(INT_MIN)) return INT_MIN;
    if (value >= static_cast<double>(INT_MAX)) return INT_MAX;
    return static_cast<int>(value);
}

// Truncation toward zero into a byte, saturated at 0 and 255; NaN gives 0.
inline unsigned char ZelTruncateToByte(double value)
{
    return static_cast<unsigned char>(value > 0.0 ? (value < 255.0 ? static_cast<int>(value) : 255) : 0);
}
