// Row kernels of the colour and mask conversions. The conversion functions
// check the arguments and fill in the rows, the grey stage and the mask once
// per call; the kernels then assume valid input.
#pragma once

#include <cstdint>

#include "ZelRGBABase.h"
#include "ZelRGBBase.h"
#include "grey_rows.h"
#include "grey_stage.h"

// The mask of a call: null data selects every pixel.
struct ZelMaskRows {
    const void* data = nullptr;
    int elementBytes = 1;  // 1 or 2
    unsigned int bits = 0;
};

// Reads the element type from the mask's type code (1, 2: 8-bit; 3, 4:
// 16-bit) and narrows bits to it. False for a null mask, another type code, or
// a mask with fewer elements than the rows need.
bool ZelPrepareMask(const ZelImageBase* mask, unsigned int bits, const ZelGreyRows& rows, ZelMaskRows& out);

// What the colour stage does with a pixel's grey level (and, for the colour
// tables, its value). Unselected pixels always get the grey level in three
// bytes.
enum class ZelColourStage {
    Palette,      // palette[level]
    TableBlend,   // the value's colour-table entry over the level, by its opacity
    TableOpaque,  // the value's colour-table entry at full strength
};

struct ZelColourSource {
    const ZelRGBBase<unsigned char>* palette = nullptr;
    const ZelRGBABase<float>* colours = nullptr;
};

// Depth-3 rows: the grey stage's levels of each run of columns, then the
// colour stage at each selected pixel, in one row loop.
void ZelColourRows(const ZelGreyRows& rows, const ZelGreyStage& grey, const ZelMaskRows& mask, ZelColourStage stage,
                   const ZelColourSource& source);

// Depth-4 rows straight from the colour table: component k * 255 to byte k,
// or with premultiplied opacity.
void ZelColourTableRows(const ZelGreyRows& rows, const ZelRGBABase<float>* colours, bool premultiplied);

// The two mask paints on a buffer that holds a picture (rows.src unused):
// ApplyMask paints unselected pixels, BlendingMask tints selected ones.
void ZelApplyMaskRows(const ZelGreyRows& rows, const ZelMaskRows& mask, const ZelRGBBase<unsigned char>& colour);
void ZelBlendingMaskRows(const ZelGreyRows& rows, const ZelMaskRows& mask, float opacity,
                         const ZelRGBBase<unsigned char>& colour);
