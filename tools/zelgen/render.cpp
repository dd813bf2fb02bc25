#include "render.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "orientation.h"

namespace {

const char* PlaneName(PlaneKind kind)
{
    return kind == PlaneKind::Axial ? "axial" : kind == PlaneKind::Coronal ? "coronal" : "sagittal";
}

// Normalised scale: spacing over the finest spacing, per axis.
void NormalisedScale(const Volume& volume, double s[3], double& finest)
{
    const Zel3DVector<float> sp = volume.Spacing();
    finest = std::min(sp.x, std::min(sp.y, sp.z));
    s[0] = sp.x / finest;
    s[1] = sp.y / finest;
    s[2] = sp.z / finest;
}

// Picture size and zoom: the extent of the volume box along the picture's
// axes, in normalised voxels, fitted into the picture.
void FitPicture(const RenderOptions& options, double extentRight, double extentDown, int& width, int& height,
                float& zoom)
{
    extentRight = std::max(1.0, extentRight);
    extentDown = std::max(1.0, extentDown);
    width = options.width;
    height = options.height;
    if (width == 0) {
        // One pixel per finest voxel, within sensible bounds.
        const double scale = std::min(1.0, 2048.0 / std::max(extentRight, extentDown));
        width = std::max(1, static_cast<int>(std::lround(extentRight * scale)));
        height = std::max(1, static_cast<int>(std::lround(extentDown * scale)));
    } else if (height == 0) {
        height = std::max(1, static_cast<int>(std::lround(width * extentDown / extentRight)));
    }
    const double fit = std::min(width / extentRight, height / extentDown);
    zoom = static_cast<float>(fit * options.zoom);
}

double Extent(const Vec3& axis, const double extent[3], int skipAxis)
{
    double e = 0;
    for (int a = 0; a < 3; ++a)
        if (a != skipAxis) e += std::fabs(axis[a]) * extent[a];
    return e;
}

bool Fail(std::string& error, const std::string& message)
{
    error = message;
    return false;
}

// The slice index for --position: the patient coordinate along the plane's
// own patient axis, through the volume's centre.
bool SliceFromPosition(const Volume& volume, int axis, int patientAxis, double mm, int& slice, std::string& error)
{
    const Zel3DVector<int> size = volume.Size();
    const double centre[3] = {0.5 * (size.x - 1), 0.5 * (size.y - 1), 0.5 * (size.z - 1)};
    const auto& m = volume.ijkToPatient[patientAxis];
    double base = m[3];
    for (int a = 0; a < 3; ++a)
        if (a != axis) base += m[a] * centre[a];
    const double step = m[axis];
    if (std::fabs(step) < 1e-9) return Fail(error, "--position: the volume's slices do not advance along that axis");
    const double index = std::round((mm - base) / step);
    const int count = axis == 0 ? size.x : axis == 1 ? size.y : size.z;
    if (index < 0 || index > count - 1) {
        const double a = base, b = base + step * (count - 1);
        char text[200];
        std::snprintf(text, sizeof(text), "position %g mm is outside the volume (%.1f to %.1f mm)", mm, std::min(a, b),
                      std::max(a, b));
        return Fail(error, text);
    }
    slice = static_cast<int>(index);
    return true;
}

bool PlanMpr(const Volume& volume, const RenderOptions& options, RenderPlan& plan, std::string& error)
{
    const AxisMap map = MapAxes(volume.ijkToPatient);
    const int axis = MprPlaneOf(options.plane, map);
    plan.kind = options.plane;
    plan.mprPlane = axis;
    const Zel3DVector<int> size = volume.Size();
    const int sizes[3] = {size.x, size.y, size.z};
    plan.sliceCount = sizes[axis];

    int slice = (sizes[axis] - 1) / 2;
    if (options.haveSlice) {
        if (options.slice < 0 || options.slice > sizes[axis] - 1)
            return Fail(error, "slice " + std::to_string(static_cast<long long>(options.slice)) +
                                   " is outside the volume (" + PlaneName(options.plane) + " slices 0 to " +
                                   std::to_string(sizes[axis] - 1) + ")");
        slice = static_cast<int>(options.slice);
    } else if (options.havePosition) {
        if (!SliceFromPosition(volume, axis, map.patientAxis[axis], options.positionMm, slice, error)) return false;
    }
    if (options.series && options.seriesLast > sizes[axis] - 1)
        return Fail(error, "--slices " + std::to_string(options.seriesFirst) + ":" +
                               std::to_string(options.seriesLast) + " goes beyond the volume (" +
                               PlaneName(options.plane) + " slices 0 to " + std::to_string(sizes[axis] - 1) + ")");
    plan.slice = slice;

    const Frame target =
        TurnAndFlip(SnappedFrame(options.plane, map), options.rotateDegrees, options.flipH, options.flipV);
    const MprOrientation turn = SolveMprOrientation(axis, target);

    double s[3], finest;
    NormalisedScale(volume, s, finest);
    const double extent[3] = {sizes[0] * s[0], sizes[1] * s[1], sizes[2] * s[2]};
    float zoom;
    FitPicture(options, Extent(target.right, extent, axis), Extent(target.down, extent, axis), plan.width, plan.height,
               zoom);

    ZelMPRImageGeneratorParam& p = plan.mpr;
    p.plane = axis;
    p.slicePosition = {0, 0, 0};
    for (int a = 0; a < 3; ++a) {
        const double c = options.haveCenter ? options.center[a] : 0.5 * (sizes[a] - 1);
        (a == 0 ? p.center.x : a == 1 ? p.center.y : p.center.z) = static_cast<float>(c);
    }
    p.zoom = zoom;
    p.rotation = turn.rotation;
    p.rotationAngle = static_cast<float>(turn.angle);
    p.flipHorizontal = turn.flipH;
    p.flipVertical = turn.flipV;
    p.interpolation = options.nearest ? 0 : 1;

    char text[200];
    std::snprintf(text, sizeof(text), "%s slice %d", PlaneName(options.plane), slice);
    plan.caption = text;

    if (options.slabMm > 0) {
        const double spacing[3] = {volume.Spacing().x, volume.Spacing().y, volume.Spacing().z};
        const int slices = std::max(1, static_cast<int>(std::lround(options.slabMm / spacing[axis])));
        plan.slabSteps = slices - 1;
        plan.stackMode = options.slabMode == SlabMode::Maximum   ? ZEL_MPR_STACK_MAXIMUM
                         : options.slabMode == SlabMode::Minimum ? ZEL_MPR_STACK_MINIMUM
                                                                 : ZEL_MPR_STACK_AVERAGE;
        // The stacked slice is a one-slice volume whose x and y are the
        // plane's first and second in-plane axes; the picture's frame is
        // carried over to those axes.
        static const int kFirst[3] = {1, 0, 0}, kSecond[3] = {2, 2, 1};
        const int u = kFirst[axis], v = kSecond[axis];
        const Frame flat{Vec3{{target.right[u], target.right[v], 0}}, Vec3{{target.down[u], target.down[v], 0}}};
        const MprOrientation flatTurn = SolveMprOrientation(2, flat);
        ZelMPRImageGeneratorParam& q = plan.slabView;
        q = p;
        q.plane = 2;
        q.center = {u == 0 ? p.center.x : p.center.y, v == 2 ? p.center.z : p.center.y, 0.0f};
        q.rotation = flatTurn.rotation;
        q.rotationAngle = static_cast<float>(flatTurn.angle);
        q.flipHorizontal = flatTurn.flipH;
        q.flipVertical = flatTurn.flipV;
        const char* mode = options.slabMode == SlabMode::Maximum   ? "MIP"
                           : options.slabMode == SlabMode::Minimum ? "MinIP"
                                                                   : "average";
        std::snprintf(text, sizeof(text), ", %s slab %.1f mm (%d slices)", mode, slices * spacing[axis], slices);
        plan.caption += text;
    }
    return true;
}

bool PlanOblique(const Volume& volume, const RenderOptions& options, RenderPlan& plan, std::string&)
{
    plan.oblique = true;
    Frame frame =
        options.haveNormal ? NormalFrame(volume, options.normal) : ObliqueFrame(volume, options.plane, options.tilt);
    frame = TurnAndFlip(frame, options.rotateDegrees, options.flipH, options.flipV);
    const Vec3 normal = frame.Normal();

    double s[3], finest;
    NormalisedScale(volume, s, finest);
    const Zel3DVector<int> size = volume.Size();
    const int sizes[3] = {size.x, size.y, size.z};
    const double extent[3] = {sizes[0] * s[0], sizes[1] * s[1], sizes[2] * s[2]};
    float zoom;
    FitPicture(options, Extent(frame.right, extent, -1), Extent(frame.down, extent, -1), plan.width, plan.height, zoom);

    ZelObliqueImageGeneratorParam& p = plan.obliqueParam;
    for (int a = 0; a < 3; ++a) {
        const double c = options.haveCenter ? options.center[a] : 0.5 * (sizes[a] - 1);
        (a == 0 ? p.center.x : a == 1 ? p.center.y : p.center.z) = static_cast<float>(c);
        p.orientation.m[a][0] = static_cast<float>(frame.right[a]);
        p.orientation.m[a][1] = static_cast<float>(frame.down[a]);
        p.orientation.m[a][2] = static_cast<float>(normal[a]);
    }
    p.zoom = zoom;
    p.interpolation = options.nearest ? 0 : 1;
    p.slabMode = options.slabMode == SlabMode::Maximum   ? ZEL_OBLIQUE_SLAB_MAXIMUM
                 : options.slabMode == SlabMode::Minimum ? ZEL_OBLIQUE_SLAB_MINIMUM
                                                         : ZEL_OBLIQUE_SLAB_AVERAGE;
    p.thickness = static_cast<float>(options.slabMm);
    // Slabs are gathered with interpolation only.
    plan.obliqueSlab = std::floor(options.slabMm / finest) >= 1;
    if (plan.obliqueSlab) p.interpolation = 1;

    char text[200];
    if (options.haveNormal)
        std::snprintf(text, sizeof(text), "oblique, normal %g,%g,%g", options.normal[0], options.normal[1],
                      options.normal[2]);
    else
        std::snprintf(text, sizeof(text), "oblique %s tilted %g/%g deg", PlaneName(options.plane), options.tilt[0],
                      options.tilt[1]);
    plan.caption = text;
    if (options.slabMm > 0) {
        const char* mode = options.slabMode == SlabMode::Maximum   ? "MIP"
                           : options.slabMode == SlabMode::Minimum ? "MinIP"
                                                                   : "average";
        std::snprintf(text, sizeof(text), ", %s slab %.1f mm", mode, options.slabMm);
        plan.caption += text;
    }
    return true;
}

}  // namespace

bool PlanRender(const Volume& volume, const ValueStats& stats, const RenderOptions& options, RenderPlan& plan,
                std::string& error)
{
    const bool ok =
        options.IsOblique() ? PlanOblique(volume, options, plan, error) : PlanMpr(volume, options, plan, error);
    if (!ok) return false;
    const int background = RealToStored(volume, options.haveBackground ? options.background : stats.min);
    plan.mpr.backgroundValue = background;
    plan.slabView.backgroundValue = background;
    plan.obliqueParam.backgroundValue = background;
    PlanDisplay(volume, stats, options, plan.display);
    if (options.rotateDegrees != 0) {
        char text[64];
        std::snprintf(text, sizeof(text), ", turned %g deg", options.rotateDegrees);
        plan.caption += text;
    }
    if (options.flipH) plan.caption += ", mirrored";
    if (options.flipV) plan.caption += ", upside down";
    if (options.zoom != 1.0) {
        char text[64];
        std::snprintf(text, sizeof(text), ", zoom %g", options.zoom);
        plan.caption += text;
    }
    return true;
}

bool RenderPicture(ZelImageBase* image, const RenderPlan& plan, int slice, ZelImageBuffer& out, std::string& error)
{
    std::unique_ptr<ZelImageBase> picture;
    if (plan.oblique) {
        ZelObliqueImageGenerator generator;
        generator.SetImage(image);
        picture.reset(generator.GenerateImage(plan.width, plan.height, plan.obliqueParam));
    } else {
        ZelMPRImageGeneratorParam param = plan.mpr;
        (plan.mprPlane == 0   ? param.slicePosition.x
         : plan.mprPlane == 1 ? param.slicePosition.y
                              : param.slicePosition.z) = slice;
        ZelMPRImageGenerator generator;
        std::unique_ptr<ZelImageBase> stacked;
        if (plan.slabSteps > 0) {
            stacked.reset(
                ZelMPRImageGenerator::GenerateFilterImage(image, param, 0, plan.slabSteps, true, plan.stackMode));
            if (!stacked) return Fail(error, "not enough memory for the slab");
            generator.SetImage(stacked.get());
            picture.reset(generator.GenerateImage(plan.width, plan.height, plan.slabView));
        } else {
            generator.SetImage(image);
            picture.reset(generator.GenerateImage(plan.width, plan.height, param));
        }
    }
    if (!picture) return Fail(error, "the plane could not be generated (out of memory?)");
    return ConvertForDisplay(*picture, plan.display, out, error);
}

bool PreferTiled(const Volume& volume, const RenderPlan& plan, int pictures, LayoutChoice choice)
{
    if (choice != LayoutChoice::Auto) return choice == LayoutChoice::Tiled;
    // Tiling costs one pass over the volume (about 1 ns a voxel), so it pays
    // only when the pictures read much of it. Axial and coronal walks run
    // along rows of a linear volume and gain nothing from blocks. A sagittal
    // walk crosses a whole row of memory at every pixel; from 16x16x16 blocks
    // it runs about 10 times faster (saving some 4 ns a picture pixel on a
    // 512-cube). Oblique walks cross slices at every step, where the blocks
    // keep neighbours close.
    const Zel3DVector<int> size = volume.Size();
    const double voxels = static_cast<double>(size.x) * size.y * size.z;
    if (voxels < 8e6) return false;
    const double pixels = static_cast<double>(plan.width) * plan.height * pictures;
    if (!plan.oblique) return plan.mprPlane == 0 && plan.slabSteps == 0 && pixels * 4.0 > voxels;
    const double planes = plan.obliqueSlab ? std::max(1.0f, plan.obliqueParam.thickness) : 1.0;
    return pixels * planes * 8.0 > voxels;
}
