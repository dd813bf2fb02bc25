// The linear display window as straight-line arithmetic y = v * slope + offset,
// in three forms that the tests compare: the 16-wide vector stretch, its plain
// single-precision twin (same bytes, used where the dispatch allows no SSE2), and the
// double-precision form used for the last width mod 16 columns of a row.
#pragma once

#include "grey_rows.h"

struct ZelWindowRamp {
    float slope = 0.0f;
    float offset = 0.0f;
};

// Slope and offset of a window of width >= 2, rising from 0 to 255, or falling
// with invert.
ZelWindowRamp ZelMakeWindowRamp(int width, int centre, bool invert);

// True when |offset| is so large that every 16-bit value lands far beyond
// 0..255 on the same side, so that the whole picture is one grey. The vector
// conversion to int would overflow there, so the caller fills instead.
bool ZelWindowRampIsFlat(const ZelWindowRamp& ramp);

// One value in single precision (the vector stretch's arithmetic) and in
// double precision (the row remainder).
inline unsigned char ZelWindowByteFloat(short value, const ZelWindowRamp& ramp)
{
    // Two statements so that no compiler contracts them into one fused step.
    const float product = static_cast<float>(value) * ramp.slope;
    const float y = product + ramp.offset;
    const int level = static_cast<int>(y);  // |y| < 2^31: see ZelWindowRampIsFlat
    return static_cast<unsigned char>(level < 0 ? 0 : (level > 255 ? 255 : level));
}

inline unsigned char ZelWindowByteDouble(short value, const ZelWindowRamp& ramp)
{
    const double y = static_cast<double>(value) * static_cast<double>(ramp.slope) + static_cast<double>(ramp.offset);
    const int level = static_cast<int>(y);
    return static_cast<unsigned char>(level < 0 ? 0 : (level > 255 ? 255 : level));
}

// `groups` groups of 16 values to grey bytes, each byte written `depth` (1 or
// 3) times: the vector code where the dispatch allows SSE2, else its
// single-precision twin (same bytes).
void ZelWindowStretch(const short* src, unsigned char* dst, int groups, int depth, const ZelWindowRamp& ramp);

// Every row: the vector stretch over 16 * floor(width / 16) columns, then the
// double-precision remainder.
void ZelWindowRows(const ZelGreyRows& rows, const ZelWindowRamp& ramp);
