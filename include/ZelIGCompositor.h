#pragma once

#include "ZelExport.h"
#include "ZelImageBuffer.h"
#include "ZelRGBBase.h"

// Fusion of two display buffers (depth 1 grey, 3 blue-green-red, 4 with a
// fourth byte). Each function writes into one of the two buffers (Color may
// write into a third) and returns the buffer that holds the result.
//
// Conventions of every function:
// * The loops run over a's width and height. Where both buffers have the same
//   depth, b is read with a's row length, as if it had a's geometry; where the
//   depths differ each buffer steps by its own row length. Sizes are not
//   compared beyond that, but a b too small for what the pair reads is
//   refused (null), as are null buffers.
// * Only colour bytes are written: the fourth byte of a depth-4 pixel is kept.
// * Weights: factor * 256 truncated toward zero (256 = 1.0), saturated to the
//   int range. Channel arithmetic is on bytes widened to signed integers.
// * A ZelRGBBase colour meets pixels component by byte: r with byte 0, g with
//   byte 1, b with byte 2, as the converters' palettes do; on a depth-1 buffer
//   the colour's g stands for it.
// * Nothing is allocated except by Color, and no threads are used.
class ZEL_API ZelIGCompositor {
public:
    ZelIGCompositor() = delete;

    // Constant opacity k of b over a. Equal depths (1, 3, 4): a = ((b - a) * k
    // + a * 256) >> 8, storing the low byte (factors outside 0..1 extrapolate).
    // Grey with colour (1/3, 3/1, 1/4, 4/1): the colour buffer is written, the
    // grey byte standing for its three channels; the first argument weighs
    // 256 - k and the second k. Depths 3 and 4: the 3-byte buffer is written
    // and always weighs 256 - k against the 4-byte one's k, whatever the
    // argument order (intended: the 4-byte image is the overlay). Other pairs:
    // null.
    static ZelImageBuffer* Alpha(ZelImageBuffer* a, ZelImageBuffer* b, float factor);
    // The pairs and written buffers of Alpha. The first argument weighs 256,
    // the second k, and the sum is clamped to 0..255: a = (a * 256 + b * k) >> 8. Depths 3
    // and 4: as in Alpha the 3-byte picture weighs 256 and the 4-byte overlay
    // k, whatever the order. Other pairs: null.
    static ZelImageBuffer* Add(ZelImageBuffer* a, ZelImageBuffer* b, float factor);
    // Per-pixel opacity w = (alpha byte of the 4-byte image) * factor,
    // truncated. Pairs (1, 4) and (4, 1): the 4-byte image f is written, f =
    // ((f - o) * w + o * 255) / 255 with o the grey byte. (3, 4) and (4, 4): a
    // is written with b's alpha, a = ((b - a) * w + a * 255) / 255. Divisions
    // truncate toward zero; the low byte is stored. Other pairs: a, unchanged.
    static ZelImageBuffer* PixelAlpha(ZelImageBuffer* a, ZelImageBuffer* b, float factor);
    // The 4-byte image's colour added in proportion to its alpha: the written
    // byte is (f * w + o * 255) / 255 clamped to 0..255, with the pairs and
    // written buffers of PixelAlpha, and (4, 3) as well, which writes b (the
    // picture under the overlay, as (3, 4) writes a). Other pairs: a, unchanged.
    static ZelImageBuffer* PixelAdd(ZelImageBuffer* a, ZelImageBuffer* b, float factor);
    // Checkerboard of cells cellSize pixels wide: cell (i, j) shows b where
    // i + j is odd, a elsewhere (the top left cell keeps a). Equal depths 1, 3,
    // 4; returns a, unchanged for other pairs or a cell size below 1.
    static ZelImageBuffer* Checker(ZelImageBuffer* a, ZelImageBuffer* b, int cellSize);
    // a darkened by b: with k clamped to 0..255, a = a * (b * k + (256 - k) *
    // 255) / 65280, truncated; k = 0 leaves a, k = 255 gives about a * b / 255.
    // Equal depths, or a colour a with a grey b (its byte for every channel).
    // Returns a; null for other pairs.
    static ZelImageBuffer* Multiply(ZelImageBuffer* a, ZelImageBuffer* b, float factor);
    // a tinted toward the colour where b is low: with k clamped to 0..255 and t
    // = (colour - 255) * k per channel, a = a * ((255 - b) * t + 16646400) /
    // 16646400, truncated (16646400 = 255 * 255 * 256). Where b is 255 a is
    // kept; where b is 0 and k is 255, a becomes about a * colour / 255. The
    // pairs of Multiply; returns a, null for other pairs.
    static ZelImageBuffer* MultiplyAlpha(ZelImageBuffer* a, ZelImageBuffer* b, ZelRGBBase<unsigned char> colour,
                                         float factor);
    // Fusion of two pictures in complementary colours, as image fusion shows a
    // registered pair: a in green, b in magenta, so that where they agree the
    // result is grey. Two grey buffers: the result goes to `result`, a 3-byte
    // buffer of a's size (created when null, recreated when its size or depth
    // differ; the caller owns it), blue = b, green = a, red = b; returns
    // `result`. Two 3-byte buffers: their luminances (29 * blue + 150 * green
    // + 77 * red) >> 8 are fused the same way into a; returns a. Other pairs,
    // a `result` that is a or b, or a failed allocation: null.
    static ZelImageBuffer* Color(ZelImageBuffer* a, ZelImageBuffer* b, ZelImageBuffer*& result);
    // Colour-keyed copy: every pixel of b that is not the key colour replaces
    // a's (the colour bytes; a's fourth byte is kept). Equal depths; returns
    // a, null for other pairs.
    static ZelImageBuffer* Overwrite(ZelImageBuffer* a, ZelImageBuffer* b, ZelRGBBase<unsigned char> colour);
    // As Overwrite, but b's pixels are laid over a with Alpha's constant
    // opacity arithmetic instead of copied.
    static ZelImageBuffer* OverwriteAlpha(ZelImageBuffer* a, ZelImageBuffer* b, ZelRGBBase<unsigned char> colour,
                                          float factor);
};
