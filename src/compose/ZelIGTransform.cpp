// Rotation: the source position walks by additions in double precision, the
// source is read and the destination written through their layouts' indices,
// and the sampling rule is picked once per call by pixel type.
#include "ZelIGTransform.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "foundation/zel_numbers.h"
#include "generators/voxel_space.h"

namespace {

// Plane z = 0 of an image in the layout chosen at compile time.
template <class Pointer, bool Tiled>
struct Plane {
    Pointer data;
    ZelLayoutView<Tiled> view;
    Plane(Pointer voxels, const ZelImageBase& image) : data(voxels), view(ZelVolumeLayout(image)) {}
    auto& operator()(int x, int y) const { return data[view.X(x) + view.Y(y)]; }
};

// Bilinear sample inside [0, w - 1] x [0, h - 1]. The neighbours right of and
// below the last column and row have weight 0 there; they are clamped so that
// they are never read past the image, and the sum is the same.
#if defined(__GNUC__)
#define ZEL_ROTATE_INLINE inline __attribute__((always_inline))
#else
#define ZEL_ROTATE_INLINE inline
#endif

// Inlined into the pixel loop: as a call it spills the walk and costs a third
// of the time.
template <class SourcePlane>
ZEL_ROTATE_INLINE short Bilinear(const SourcePlane& source, int w, int h, double sx, double sy)
{
    const int ix = static_cast<int>(sx);  // sx >= 0: truncation is floor
    const int iy = static_cast<int>(sy);
    const double fx = sx - ix;
    const double fy = sy - iy;
    const int ix1 = std::min(ix + 1, w - 1);
    const int iy1 = std::min(iy + 1, h - 1);
    const double c00 = source(ix, iy);
    const double c01 = source(ix1, iy);
    const double c10 = source(ix, iy1);
    const double c11 = source(ix1, iy1);
    const double value = (c10 * (1.0 - fx) + c11 * fx) * fy + (1.0 - fy) * (c00 * (1.0 - fx) + c01 * fx);
    return static_cast<short>(static_cast<int>(value));
}

// The walk of one call: source position of destination pixel (0, 0) and its
// steps, all in double precision.
struct Walk {
    double rowX, rowY;  // position of the row's first pixel
    double c, s;        // per column (c, s), per row (-s, c)
};

template <class T, bool Interpolate, bool SourceTiled, bool DestinationTiled>
void RotateRows(ZelImage<T>& destination, const ZelImage<T>& source, Walk walk, T fill)
{
    const int sw = source.GetImageSize().x;
    const int sh = source.GetImageSize().y;
    const int dw = destination.GetImageSize().x;
    const int dh = destination.GetImageSize().y;
    const Plane<const T*, SourceTiled> from(source.GetDataPtr(), source);
    const Plane<T*, DestinationTiled> to(destination.GetDataPtr(), destination);
    const double right = sw - 1;
    const double bottom = sh - 1;
    // Whether a position is sampled: bilinear needs 0 <= p <= size - 1;
    // nearest takes trunc(p + 0.5), in 0..size - 1 exactly when -1 < p + 0.5
    // < size.
    const auto inside = [=](double sx, double sy) {
        if constexpr (Interpolate) {
            return sx >= 0.0 && sx <= right && sy >= 0.0 && sy <= bottom;
        } else {
            const double px = sx + 0.5;
            const double py = sy + 0.5;
            return px > -1.0 && px < sw && py > -1.0 && py < sh;
        }
    };
    const auto sample = [&](double sx, double sy) {
        if constexpr (Interpolate) {
            return Bilinear(from, sw, sh, sx, sy);
        } else {
            return from(static_cast<int>(sx + 0.5), static_cast<int>(sy + 0.5));
        }
    };
    for (int y = 0; y < dh; ++y, walk.rowX -= walk.s, walk.rowY += walk.c) {
        // Adding the same step never reverses the order of two positions, so
        // along a row each coordinate is monotonic and the sampled pixels are
        // one run: fill before it, sample it, fill after it.
        double sx = walk.rowX;
        double sy = walk.rowY;
        int x = 0;
        for (; x < dw && !inside(sx, sy); ++x, sx += walk.c, sy += walk.s) to(x, y) = fill;
        for (; x < dw && inside(sx, sy); ++x, sx += walk.c, sy += walk.s) to(x, y) = sample(sx, sy);
        for (; x < dw; ++x) to(x, y) = fill;
    }
}

template <class T, bool Interpolate>
bool RotateImage(ZelImage<T>* destination, const ZelImage<T>* source, float angle, T fill)
{
    if (destination == nullptr || source == nullptr) return false;
    const auto empty = [](const ZelImageBase& image) {
        const Zel3DVector<int> size = image.GetImageSize();
        return size.x <= 0 || size.y <= 0 || size.z <= 0;
    };
    if ((!empty(*source) && source->GetDataPtr() == nullptr) ||
        (!empty(*destination) && destination->GetDataPtr() == nullptr)) {
        return false;
    }
    if (empty(*destination)) return true;

    const int sw = empty(*source) ? 0 : source->GetImageSize().x;
    const int sh = empty(*source) ? 0 : source->GetImageSize().y;
    const int dw = destination->GetImageSize().x;
    const int dh = destination->GetImageSize().y;
    Walk walk;
    walk.c = std::cos(static_cast<double>(angle));
    walk.s = std::sin(static_cast<double>(angle));
    const double cdx = (dw - 1) * 0.5;
    const double cdy = (dh - 1) * 0.5;
    walk.rowX = (sw - 1) * 0.5 + walk.c * (0.0 - cdx) - walk.s * (0.0 - cdy);
    walk.rowY = (sh - 1) * 0.5 + walk.s * (0.0 - cdx) + walk.c * (0.0 - cdy);
    if (sw == 0 || sh == 0) {
        // Nothing to sample: every position is outside.
        walk.rowX = walk.rowY = -2.0;
        walk.c = walk.s = 0.0;
    }
    const bool sourceTiled = source->IsTiled();
    if (destination->IsTiled()) {
        if (sourceTiled) {
            RotateRows<T, Interpolate, true, true>(*destination, *source, walk, fill);
        } else {
            RotateRows<T, Interpolate, false, true>(*destination, *source, walk, fill);
        }
    } else if (sourceTiled) {
        RotateRows<T, Interpolate, true, false>(*destination, *source, walk, fill);
    } else {
        RotateRows<T, Interpolate, false, false>(*destination, *source, walk, fill);
    }
    return true;
}

}  // namespace

Zel2DVector<int> ZelIGTransform::GetRotateImageSize(const Zel2DVector<int>& size, float angle)
{
    const double c = std::cos(static_cast<double>(angle));
    const double s = std::sin(static_cast<double>(angle));
    double minX = DBL_MAX, maxX = -DBL_MAX, minY = DBL_MAX, maxY = -DBL_MAX;
    const double xs[2] = {0.0, static_cast<double>(size.x) - 1.0};
    const double ys[2] = {0.0, static_cast<double>(size.y) - 1.0};
    for (double y : ys) {
        for (double x : xs) {
            const double rx = x * c - y * s;
            const double ry = x * s + y * c;
            minX = std::min(minX, rx);
            maxX = std::max(maxX, rx);
            minY = std::min(minY, ry);
            maxY = std::max(maxY, ry);
        }
    }
    return {ZelTruncateToInt(std::ceil(maxX) - std::floor(minX)), ZelTruncateToInt(std::ceil(maxY) - std::floor(minY))};
}

bool ZelIGTransform::Rotate(ZelImage<short>* destination, const ZelImage<short>* source, float angle, short fill)
{
    return RotateImage<short, true>(destination, source, angle, fill);
}

bool ZelIGTransform::Rotate(ZelImage<unsigned char>* destination, const ZelImage<unsigned char>* source, float angle,
                            unsigned char fill)
{
    return RotateImage<unsigned char, false>(destination, source, angle, fill);
}

bool ZelIGTransform::Rotate(ZelImage<unsigned short>* destination, const ZelImage<unsigned short>* source, float angle,
                            unsigned short fill)
{
    return RotateImage<unsigned short, false>(destination, source, angle, fill);
}

bool ZelIGTransform::Rotate(ZelImage<ZelRGBABase<unsigned char>>* destination,
                            const ZelImage<ZelRGBABase<unsigned char>>* source, float angle,
                            ZelRGBABase<unsigned char> fill)
{
    return RotateImage<ZelRGBABase<unsigned char>, false>(destination, source, angle, fill);
}
