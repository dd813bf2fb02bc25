// Colour volumes to display pixels: the bicubic x-y slice, reslices of RGB and
// RGBA volumes on the generators' planes, and the join of a colour and an
// alpha volume. Each call checks its arguments and works out its geometry
// (on the MPR and oblique frames, so that pixels and DisplayToVoxel agree)
// before one kernel writes every row.
#include <cmath>
#include <cstring>

#include "ZelIGConverter.h"
#include "ZelMPRImageGenerator.h"
#include "ZelObliqueImageGenerator.h"
#include "ZelVoxelIndex.h"
#include "convert/colour_volume_kernels.h"
#include "generators/mpr_geometry.h"
#include "generators/oblique_setup.h"

namespace {

using Rgb = ZelRGBBase<unsigned char>;
using Rgba = ZelRGBABase<unsigned char>;

// The common checks: a buffer, a volume with voxels, and (unless the buffer
// is empty, which converts to nothing) a depth equal to the voxel's size.
bool PrepareVolumeRows(ZelImageBuffer* buffer, const ZelImageBase* volume, ZelVolumeRows& rows)
{
    if (buffer == nullptr || volume == nullptr || volume->GetVoidDataPtr() == nullptr) return false;
    rows.dst = buffer->GetDataPtr();
    if (rows.dst == nullptr) return true;
    rows.depth = buffer->GetDepth();
    rows.width = buffer->GetWidth();
    rows.height = buffer->GetHeight();
    rows.stride = buffer->GetSizePerLine();
    return rows.depth == volume->GetVoxelBytes();
}

void FillBlack(const ZelVolumeRows& rows)
{
    for (int y = 0; y < rows.height; ++y)
        std::memset(rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride, 0,
                    static_cast<std::size_t>(rows.width) * rows.depth);
}

// The placement of the x-y views: pixel (0, 0) at centre - (size - 1) / 2 /
// k per axis, one pixel = 1 / k voxels, with k = spacing ratio * zoom (the
// ratio in single precision, the product exact in double). 17.15 values;
// false when they do not fit (steps in 32 bits, positions in 64).
struct SlicePlacement {
    std::int64_t start[2];
    std::int64_t step[2];
};

bool PlaceSlice(const float centre[2], const float ratio[2], float zoom, int width, int height, SlicePlacement& out)
{
    const int extent[2] = {width, height};
    for (int a = 0; a < 2; ++a) {
        const double k = static_cast<double>(ratio[a]) * zoom;
        const double first = centre[a] - (extent[a] - 1) * 0.5 / k;
        int step = 0;
        if (!ZelToFixed(first, out.start[a]) || !ZelToFixed(1.0 / k, step)) return false;
        out.step[a] = step;
    }
    return true;
}

// An axis-aligned view from its placement: averaged below zoom 1, bilinear
// otherwise (inside up to `last` before the end of each axis: 0 for the
// whole range, 1 to keep off the last voxel).
bool AxisView(const ZelImageBase& volume, int colAxis, int rowAxis, std::ptrdiff_t sliceOffset,
              const SlicePlacement& place, float zoom, int last, const ZelVolumeRows& rows)
{
    ZelAxisView view;
    view.volume = volume.GetVoidDataPtr();
    view.layout = ZelVolumeLayout(volume);
    view.voxelBytes = volume.GetVoxelBytes();
    view.colAxis = colAxis;
    view.rowAxis = rowAxis;
    view.sliceOffset = sliceOffset;
    view.colStart = place.start[0];
    view.colStep = place.step[0];
    view.rowStart = place.start[1];
    view.rowStep = place.step[1];
    view.colEnd = (view.layout.size[colAxis] - 1) * kZelFixedOne - last;
    view.rowEnd = (view.layout.size[rowAxis] - 1) * kZelFixedOne - last;
    return zoom < 1.0f ? ZelColourReduce(view, rows) : ZelColourAxisBilinear(view, rows);
}

int AxisOf(const double v[3])
{
    return v[0] != 0.0 ? 0 : (v[1] != 0.0 ? 1 : 2);
}

// The MPR views of RGB and RGBA volumes.
bool ResliceMPR(ZelImageBuffer* buffer, const ZelImageBase* volume, const ZelMPRImageGeneratorParam& param,
                bool fastPath)
{
    ZelVolumeRows rows;
    if (!PrepareVolumeRows(buffer, volume, rows) || !ZelMPRViewDefined(param)) return false;
    float s[3];
    float finest;
    ZelMPRFrame frame;
    if (!ZelNormalisedSpacing(*volume, s, finest) || !ZelMPRMakeFrame(*volume, param, rows.width, rows.height, frame))
        return false;
    const Zel3DVector<int> size = volume->GetImageSize();
    const ZelPlaneFrame<double>& f = frame.plane;
    const int normal = frame.normalAxis;
    const int slice = static_cast<int>(f.start[normal]);
    const int sizes[3] = {size.x, size.y, size.z};
    const bool sliceInside = slice >= 0 && slice < sizes[normal];
    const ZelColourSampling sampling =
        param.interpolation == 0 ? ZelColourSampling::kNearest : ZelColourSampling::kLinear;

    if (fastPath && param.plane == ZEL_MPR_PLANE_XY && param.rotation == ZEL_MPR_ROTATION_0 && !param.flipHorizontal &&
        !param.flipVertical && size.z == 1) {
        // The one-slice view: its own placement, off the last voxel.
        const float centre[2] = {param.center.x, param.center.y};
        SlicePlacement place;
        if (!PlaceSlice(centre, s, param.zoom, rows.width, rows.height, place)) return false;
        return rows.dst == nullptr || AxisView(*volume, 0, 1, 0, place, param.zoom, 1, rows);
    }

    if (param.rotation != ZEL_MPR_ROTATION_FREE && sampling == ZelColourSampling::kLinear) {
        // Each display axis follows one volume axis (the axes are snapped):
        // the generator's walk on those two axes.
        const int colAxis = AxisOf(f.right);
        const int rowAxis = AxisOf(f.down);
        SlicePlacement place;
        int colStep = 0;
        int rowStep = 0;
        if (!ZelToFixed(f.start[colAxis], place.start[0]) || !ZelToFixed(f.start[rowAxis], place.start[1]) ||
            !ZelToFixed(f.stepX[colAxis], colStep) || !ZelToFixed(f.stepY[rowAxis], rowStep))
            return false;
        place.step[0] = colStep;
        place.step[1] = rowStep;
        if (rows.dst == nullptr) return true;
        if (!sliceInside) {
            FillBlack(rows);
            return true;
        }
        const std::ptrdiff_t sliceOffset = ZelVolumeLayout(*volume).axis[normal].Offset(slice);
        return AxisView(*volume, colAxis, rowAxis, sliceOffset, place, param.zoom, 0, rows);
    }

    ZelColourPlane plane;
    if (!plane.walk.Set(f)) return false;
    if (rows.dst == nullptr) return true;
    plane.volume = volume->GetVoidDataPtr();
    plane.layout = ZelVolumeLayout(*volume);
    // The plane lies on its slice, as DisplayToVoxel says.
    plane.walk.stepX[normal] = 0;
    plane.walk.stepY[normal] = 0;
    ZelSetColourBounds(plane, sampling);
    ZelSelectColourPlaneKernel(volume->GetVoxelBytes(), volume->IsTiled(), sampling, normal)(plane, rows);
    return true;
}

}  // namespace

bool ZelIGConverter::ConvertZelImageRGB_BiCubic(ZelImageBuffer* buffer, const ZelImage<Rgb>* volume,
                                                const Zel3DVector<float>& center, const Zel3DVector<float>& spacing,
                                                float zoom)
{
    ZelVolumeRows rows;
    if (!PrepareVolumeRows(buffer, volume, rows)) return false;
    const float m = std::fmin(spacing.x, std::fmin(spacing.y, spacing.z));
    const float spacings[3] = {spacing.x, spacing.y, spacing.z};
    for (float v : spacings)
        if (!(std::isfinite(v) && v > 0.0f)) return false;
    if (!(std::isfinite(zoom) && zoom > 0.0f) || !std::isfinite(center.x) || !std::isfinite(center.y) ||
        !std::isfinite(center.z))
        return false;
    const float centre[2] = {center.x, center.y};
    const float ratio[2] = {spacing.x / m, spacing.y / m};
    SlicePlacement place;
    if (!PlaceSlice(centre, ratio, zoom, rows.width, rows.height, place)) return false;
    if (rows.dst == nullptr) return true;

    const Zel3DVector<int> size = volume->GetImageSize();
    const float z = std::trunc(center.z);
    if (!(z >= 0.0f && z < static_cast<float>(size.z))) {
        FillBlack(rows);
        return true;
    }
    ZelColourBicubic view;
    view.volume = volume->GetVoidDataPtr();
    view.layout = ZelVolumeLayout(*volume);
    view.sliceOffset = view.layout.axis[2].Offset(static_cast<int>(z));
    view.colStart = place.start[0];
    view.colStep = place.step[0];
    view.rowStart = place.start[1];
    view.rowStep = place.step[1];
    return ZelColourBicubicRows(view, rows);
}

bool ZelIGConverter::ConvertZelImageRGB(ZelImageBuffer* buffer, const ZelImage<Rgb>* volume,
                                        ZelMPRImageGeneratorParam& param)
{
    return ResliceMPR(buffer, volume, param, true);
}

bool ZelIGConverter::ConvertZelImageRGBA(ZelImageBuffer* buffer, const ZelImage<Rgba>* volume,
                                         ZelMPRImageGeneratorParam& param)
{
    return ResliceMPR(buffer, volume, param, false);
}

bool ZelIGConverter::ConvertZelImageRGB(ZelImageBuffer* buffer, const ZelImage<Rgb>* volume,
                                        ZelObliqueImageGeneratorParam& param)
{
    ZelVolumeRows rows;
    if (!PrepareVolumeRows(buffer, volume, rows) || !zel_oblique::ObliquePlaneDefined(param)) return false;
    ZelPlaneFrame<float> frame;
    float finest;
    if (!zel_oblique::ObliqueFrame(*volume, param, rows.width, rows.height, 0.0f, frame, finest)) return false;
    ZelColourPlane plane;
    if (!plane.walk.Set(frame)) return false;
    if (rows.dst == nullptr) return true;
    plane.volume = volume->GetVoidDataPtr();
    plane.layout = ZelVolumeLayout(*volume);
    const ZelColourSampling sampling =
        param.interpolation == 0 ? ZelColourSampling::kNearest : ZelColourSampling::kLinear;
    ZelSetColourBounds(plane, sampling);
    ZelSelectColourPlaneKernel(3, volume->IsTiled(), sampling, -1)(plane, rows);
    return true;
}

bool ZelIGConverter::ConvertColorImage(ZelImage<Rgba>* destination, const ZelImage<Rgb>* source,
                                       const ZelImage<unsigned char>* alpha)
{
    if (destination == nullptr || source == nullptr || alpha == nullptr) return false;
    const Zel3DVector<int> size = source->GetImageSize();
    const Zel3DVector<int> alphaSize = alpha->GetImageSize();
    if (size.x != alphaSize.x || size.y != alphaSize.y || size.z != alphaSize.z) return false;
    if (source->GetDataPtr() == nullptr || alpha->GetDataPtr() == nullptr) return false;
    if (destination->Allocate(source->GetAlignmentType(), size.x, size.y, size.z, source->IsBlockPadded()) != 0)
        return false;
    destination->SetImageScale(source->GetImageScale());

    const Rgb* colour = source->GetDataPtr();
    const unsigned char* opacity = alpha->GetDataPtr();
    Rgba* out = destination->GetDataPtr();
    if (alpha->IsTiled() == source->IsTiled() && alpha->IsBlockPadded() == source->IsBlockPadded()) {
        // One layout: element i of each is the same voxel.
        const long long count = source->GetElementCount();
        for (long long i = 0; i < count; ++i) out[i] = {colour[i].r, colour[i].g, colour[i].b, opacity[i]};
        return true;
    }
    const ZelVoxelAddressing at(*source);
    const ZelVoxelAddressing alphaAt(*alpha);
    for (int z = 0; z < size.z; ++z)
        for (int y = 0; y < size.y; ++y)
            for (int x = 0; x < size.x; ++x) {
                const std::ptrdiff_t i = at(x, y, z);
                out[i] = {colour[i].r, colour[i].g, colour[i].b, opacity[alphaAt(x, y, z)]};
            }
    return true;
}
