#pragma once

#include "ZelExport.h"
#include "ZelImage.h"
#include "ZelImageBuffer.h"
#include "ZelImageGeneratorTable.h"

// Display conversions: slice values to display pixels.
//
// Conventions of every conversion:
// * The destination buffer must already be created with the wanted width,
//   height and depth; a conversion never creates, resizes or clears it.
// * The source is read as a dense row-major array whose row length is the
//   buffer's width: buffer row r, column x takes value r * width + x. The
//   slice's own size is not consulted; it must hold width * height values
//   (a slice with fewer elements is refused rather than read past its end).
// * Depth 1 receives the grey byte; depth 3 receives it in all three bytes.
//   Row padding bytes are never written (except by FillZero).
// * False means a rejected argument (null pointer, unsupported depth, bad
//   width); nothing has been written then. An empty buffer converts to nothing
//   successfully.
class ZEL_API ZelIGConverter {
public:
    ZelIGConverter() = delete;

    // 255 for values >= threshold, 0 below (swapped with invert). Depth 1, 3.
    static bool Threshold(ZelImageBuffer* buffer, const ZelImage<short>* slice, int threshold, bool invert);
    // 255 for values in [min(a, b), max(a, b)], 0 outside. Depth 1.
    static bool HighAndLow(ZelImageBuffer* buffer, const ZelImage<short>* slice, short low, short high);
    // Linear display window: value v shows as
    // 255 * ((v - (centre - 0.5)) / (width - 1) + 0.5), clamped and truncated
    // (falling from 255 with invert). Width 1 is a threshold at centre; width
    // below 1 is rejected. Depth 1, 3.
    // The first 16 * floor(width / 16) columns of a row are computed in single
    // precision 16 at a time, the rest in double precision; the two may differ
    // by one where rounding crosses an integer. That split is intended and
    // keeps the bytes reproducible.
    static bool Window(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre, bool invert);
    // table[clamp(v, min, max) - min]; the table holds max - min + 1 entries.
    // min > max is rejected. Depth 1, 3.
    static bool Table(ZelImageBuffer* buffer, const ZelImage<short>* slice, const unsigned char* table, short min,
                      short max);
    // The same with the object's array and its range narrowed to 16 bits; an
    // object without an array is rejected.
    static bool Table(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelImageGeneratorTable* table);
    // Logistic curve: 255 / (exp(-4 (v - centre) / width) + 1), rounded half up;
    // invert or a negative width make it fall. Width 0 is rejected. Depth 1, 3.
    static bool Sigmoid(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre, bool invert);
    // Clears the whole block, row padding included. Any depth.
    static bool FillZero(ZelImageBuffer* buffer);
};
