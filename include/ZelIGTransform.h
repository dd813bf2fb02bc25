#pragma once

#include "Zel2DVector.h"
#include "ZelExport.h"
#include "ZelImage.h"
#include "ZelRGBABase.h"

// Rotation of 2-D images (size z = 1; only the plane z = 0 is used) about
// their centres. Pixel centres are at whole numbers and an image's centre is at
// ((W - 1) / 2, (H - 1) / 2). Angles are in radians.
class ZEL_API ZelIGTransform {
public:
    ZelIGTransform() = delete;

    // Span of the rotated corner pixel centres of a w x h image:
    // (ceil(max x') - floor(min x'), ceil(max y') - floor(min y')). There is
    // no + 1: at angle 0 it is (w - 1, h - 1), and callers that want a pixel
    // count add what they need.
    static Zel2DVector<int> GetRotateImageSize(const Zel2DVector<int>& size, float angle);

    // Fills the destination, at the size and layout it already has, with the
    // source turned by `angle` about the centres: destination pixel (x, y)
    // shows source position (cx + c (x - dx) - s (y - dy), cy + s (x - dx) +
    // c (y - dy)) with c = cos(angle), s = sin(angle), advanced by additions
    // along rows and columns in double precision. Positions outside the source
    // get `fill`. Either image may be linear or tiled.
    //
    // short: bilinear, inside when 0 <= position <= size - 1 on both axes,
    // truncated toward zero (-2.5 gives -2); a neighbour of weight 0 is never
    // read. The other types: the nearest pixel, at trunc(position + 0.5).
    //
    // False only for a null image, or an image without voxels that is not
    // empty; true otherwise.
    static bool Rotate(ZelImage<short>* destination, const ZelImage<short>* source, float angle, short fill);
    static bool Rotate(ZelImage<unsigned char>* destination, const ZelImage<unsigned char>* source, float angle,
                       unsigned char fill);
    static bool Rotate(ZelImage<unsigned short>* destination, const ZelImage<unsigned short>* source, float angle,
                       unsigned short fill);
    static bool Rotate(ZelImage<ZelRGBABase<unsigned char>>* destination,
                       const ZelImage<ZelRGBABase<unsigned char>>* source, float angle,
                       ZelRGBABase<unsigned char> fill);
};
