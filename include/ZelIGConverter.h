#pragma once

#include "ZelExport.h"
#include "ZelImage.h"
#include "ZelImageBuffer.h"
#include "ZelImageGeneratorTable.h"
#include "ZelRGBABase.h"
#include "ZelRGBBase.h"

struct ZelMPRImageGeneratorParam;
struct ZelObliqueImageGeneratorParam;

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
//
// Colour conversions add:
// * A palette has 256 entries, one per grey level; a colour table is indexed
//   directly by the signed slice value (negative values included), so for the
//   whole 16-bit range pass a pointer to the entry of value 0 in the middle of
//   65536 entries. Component k of an entry goes to byte k of the pixel.
// * A mask is read like the slice (row length = the buffer's width). Its
//   elements are 8-bit (type codes 1, 2) or 16-bit (3, 4); a pixel is selected
//   when (element AND bits) is not zero, bits narrowed to the element width.
//   Masks of other types, or with fewer than width * height elements, are
//   rejected.
// * Byte results are truncated toward zero from double-precision arithmetic,
//   except where a value is said to be rounded to single precision first.
//   Colour-table components outside 0..1 saturate at 0 and 255.
// * A null palette or colour table is rejected wherever it would be read.
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

    // Pseudo colour: the grey level of Window, Table or Sigmoid (the same
    // bytes) looks up a 256-entry palette. Depth 3, except that the table
    // forms also take depth 1, where they write the table entry itself and
    // never read the palette. With a mask, unselected pixels get the grey level
    // in all three bytes (a window of width 1 gives them 0 or 255).
    static bool WindowPseudoColor(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre,
                                  bool invert, const ZelRGBBase<unsigned char>* palette);
    static bool WindowPseudoColorWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre,
                                          bool invert, const ZelImageBase* mask, unsigned int bits,
                                          const ZelRGBBase<unsigned char>* palette);
    static bool PseudoColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice, const unsigned char* table,
                                 short min, short max, const ZelRGBBase<unsigned char>* palette);
    static bool PseudoColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelImageGeneratorTable* table,
                                 const ZelRGBBase<unsigned char>* palette);
    static bool PseudoColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice,
                                         const unsigned char* table, short min, short max, const ZelImageBase* mask,
                                         unsigned int bits, const ZelRGBBase<unsigned char>* palette);
    static bool PseudoColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice,
                                         ZelImageGeneratorTable* table, const ZelImageBase* mask, unsigned int bits,
                                         const ZelRGBBase<unsigned char>* palette);
    static bool SigmoidPseudoColor(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre,
                                   bool invert, const ZelRGBBase<unsigned char>* palette);
    static bool SigmoidPseudoColorWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre,
                                           bool invert, const ZelImageBase* mask, unsigned int bits,
                                           const ZelRGBBase<unsigned char>* palette);

    // Colour tables, depth 4: byte k = component k * 255 for k = 0..3 (the
    // opacity in the fourth byte).
    static bool ColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelRGBABase<float>* table);
    // Depth 4, colour premultiplied: a = component 3 * 255 rounded to single
    // precision, bytes 0..2 = component k * a, byte 3 = a.
    static bool ColorTableWithOpacity(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelRGBABase<float>* table);
    // Depth 3: the grey picture of Window (or Table with the table object),
    // then the entry of each pixel's value laid over its grey level g with the
    // entry's opacity: byte k = component k * a + b, where a = opacity * 255
    // and b = (1 - opacity) * g are each rounded to single precision.
    // With a mask only selected pixels are blended; the rest stay grey.
    static bool WindowColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre,
                                 bool invert, ZelRGBABase<float>* colours);
    static bool WindowColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelImageGeneratorTable* table,
                                 ZelRGBABase<float>* colours);
    static bool WindowColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre,
                                         bool invert, const ZelImageBase* mask, unsigned int bits,
                                         ZelRGBABase<float>* colours);
    static bool WindowColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice,
                                         ZelImageGeneratorTable* table, const ZelImageBase* mask, unsigned int bits,
                                         ZelRGBABase<float>* colours);
    // Depth 3: the Window picture, with selected pixels replaced by their
    // entry's colour at full strength (byte k = component k * 255; the
    // opacity is ignored).
    static bool WindowOnlyColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width,
                                             int centre, bool invert, const ZelImageBase* mask, unsigned int bits,
                                             ZelRGBABase<float>* colours);

    // Paints every pixel the mask does NOT select with the colour, on a
    // buffer that already holds a picture: depth 1 takes the colour's second
    // component, depth 3 its three, depth 4 its three and 0 in the fourth byte.
    static bool ApplyMask(ZelImageBuffer* buffer, const ZelImage<unsigned char>* mask, unsigned char bits,
                          const ZelRGBBase<unsigned char>& colour);
    static bool ApplyMask(ZelImageBuffer* buffer, const ZelImage<unsigned short>* mask, unsigned short bits,
                          const ZelRGBBase<unsigned char>& colour);
    // Tints every pixel the mask DOES select, depth 3 or 4 (the fourth byte is
    // kept): with a = opacity * 256 truncated, byte k = (byte k * (256 - a) +
    // colour k * a) >> 8, in 16-bit unsigned arithmetic (so 1.0 gives the
    // colour, 0 leaves the pixel; opacities outside 0..1 wrap).
    static bool BlendingMask(ZelImageBuffer* buffer, const ZelImage<unsigned char>* mask, unsigned char bits,
                             float opacity, const ZelRGBBase<unsigned char>& colour);
    static bool BlendingMask(ZelImageBuffer* buffer, const ZelImage<unsigned short>* mask, unsigned short bits,
                             float opacity, const ZelRGBBase<unsigned char>& colour);

    // Colour volumes
    // --------------
    // These read a volume of colour voxels (ZelRGBBase: depth 3, ZelRGBABase:
    // depth 4) instead of a slice, in either storage layout, and write byte k
    // of a pixel from byte k of the voxels. Where the view leaves the volume
    // the pixel is black (every byte 0). 17.15 fixed point throughout.
    // Refused before anything is written: a null buffer or volume, a depth
    // other than the voxel's size, a volume without voxels, a spacing that is
    // not positive and finite, and a view that is not defined (see each
    // function). An empty buffer converts to nothing successfully.

    // The x-y slice z = trunc(center.z) of an RGB volume, scaled with cubic
    // convolution (a = -1). With m the smallest of the three spacings, the
    // pixels per voxel are kx = (spacing.x / m in single precision) * zoom and
    // ky likewise (the product in double); pixel (0, 0) lies at x0 = center.x
    // - (W - 1) / 2 / kx, y0 likewise, and the pixels step by 1 / kx and 1 / ky.
    // Positions X and steps are x0 * 32768 and 32768 / kx truncated; the 15-bit
    // fraction t of a position gives the weights of the neighbours at -1, 0,
    // +1, +2 (t1 = t - 32768, t2 = t * t >> 15, t3 = t2 - t - 32768, shifts
    // arithmetic): -((t1 * t1 >> 15) * t >> 15), t3 * t1 >> 15, -(t3 * t >> 15),
    // t2 * t1 >> 15. A byte is the sum over the 4 x 4 neighbours of voxel byte
    // * (row weight * column weight >> 15), shifted right by 15 and clamped to
    // 0..255. A pixel is black unless 1 <= X >> 15 < size.x - 2 and the same
    // for Y (so the first voxel row and column and the last two never show),
    // and a slice index outside the volume is black. zoom must be positive and
    // finite.
    static bool ConvertZelImageRGB_BiCubic(ZelImageBuffer* buffer, const ZelImage<ZelRGBBase<unsigned char>>* volume,
                                           const Zel3DVector<float>& center, const Zel3DVector<float>& spacing,
                                           float zoom);
    // The MPR view of param (see ZelMPRImageGenerator.h: the same planes,
    // rotations, flips and DisplayToVoxel positions), depth 3. A plane other
    // than 0 to 2 or a zoom that is not positive and finite is refused;
    // backgroundValue is not used.
    // * A one-slice volume shown as plane 2 unrotated and unflipped takes the
    //   placement of ConvertZelImageRGB_BiCubic with the volume's spacing and
    //   bilinear weights: with fractions fx, fy the four voxels weigh
    //   (32768 - fx) * (32768 - fy) >> 15, fx * (32768 - fy) >> 15,
    //   (32768 - fx) * fy >> 15 and fx * fy >> 15, and a byte is the weighted
    //   sum >> 15; a pixel is black unless 0 <= X < (size.x - 1) * 32768 and
    //   the same for Y. slicePosition is not read.
    // * Otherwise each pixel samples the position the MPR generator walks for
    //   it: interpolation 0 takes the nearest voxel, any other value the
    //   bilinear blend of the four voxels around it with the weights above
    //   (inside up to and including the last voxel, as DisplayToVoxel counts
    //   it). A slice index outside the volume shows black.
    // * Below zoom 1, a view with rotation 0 to 3 (and the one-slice view
    //   above) averages instead of sampling: a pixel is the mean of the voxels
    //   whose centres lie within half a pixel step (at least half a voxel) of
    //   its position along each display axis, its bytes summed and divided by
    //   their count, truncated. Voxels outside the volume do not count.
    //   Nearest sampling (interpolation 0) and free rotation keep sampling.
    // A view whose walk does not fit 32-bit 17.15 fixed point is refused: a
    // pixel step of 65536 voxels or more, or (nearest sampling, free
    // rotation) a first pixel that far from the volume.
    static bool ConvertZelImageRGB(ZelImageBuffer* buffer, const ZelImage<ZelRGBBase<unsigned char>>* volume,
                                   ZelMPRImageGeneratorParam& param);
    // The oblique plane of param (see ZelObliqueImageGenerator.h: the same
    // positions), depth 3: interpolation 0 takes the nearest voxel, any other
    // value blends the eight voxels around the position (weights as above,
    // each product shifted right by 15). thickness, slabMode and
    // backgroundValue are not used. Refused like the oblique generator: a
    // centre or matrix that is not finite, a zoom of 0 or not finite, a view
    // further than 65536 voxels away.
    static bool ConvertZelImageRGB(ZelImageBuffer* buffer, const ZelImage<ZelRGBBase<unsigned char>>* volume,
                                   ZelObliqueImageGeneratorParam& param);
    // The MPR view of an RGBA volume, depth 4, as the general path of
    // ConvertZelImageRGB with the fourth byte blended like the other three
    // (and 0 outside the volume).
    static bool ConvertZelImageRGBA(ZelImageBuffer* buffer, const ZelImage<ZelRGBABase<unsigned char>>* volume,
                                    ZelMPRImageGeneratorParam& param);
    // Joins a colour volume and an 8-bit volume of the same size into an RGBA
    // volume: the destination is (re)allocated with the source's size,
    // layout and block padding and takes its spacing; each voxel takes the
    // source's three bytes and the alpha voxel as its fourth. The alpha volume
    // may be stored in the other layout. False, with the destination
    // untouched, for a null argument, a size mismatch or a source or alpha
    // volume without voxels; false also when the destination cannot be
    // allocated.
    static bool ConvertColorImage(ZelImage<ZelRGBABase<unsigned char>>* destination,
                                  const ZelImage<ZelRGBBase<unsigned char>>* source,
                                  const ZelImage<unsigned char>* alpha);
};
