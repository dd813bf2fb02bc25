// Table lookup over rows: the pixel is table[clamp(value, min, max) - min].
#pragma once

#include <algorithm>

#include "grey_rows.h"

inline unsigned char ZelTableByte(short value, const unsigned char* table, short min, short max)
{
    return table[std::min(std::max(value, min), max) - min];
}

// Requires min <= max and a table of max - min + 1 entries. Clamps 16 values
// at a time with SSE2 where the dispatch allows it; the lookups stay scalar.
void ZelTableRows(const ZelGreyRows& rows, const unsigned char* table, short min, short max);
