// Planes of any orientation through the oblique generator: a standard plane
// tilted, the plane with a given normal, or a standard plane along the
// patient's true axes (--world) for an acquisition tilted against them.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ZelObliqueImageGenerator.h"
#include "planes.h"

using namespace plane_detail;

namespace {

class ObliquePlane : public PlaneChoice {
public:
    bool Plan(const Volume& volume, const PlaneOptions& options, std::string& error);

    int Count() const override { return 1; }
    int Number(int) const override { return 0; }
    std::string Caption(int) const override { return m_caption + m_captionTail; }
    bool Generate(ZelImageBase* volume, int, std::unique_ptr<ZelImageBase>& slice, std::string& error) const override
    {
        ZelObliqueImageGeneratorParam param = m_param;
        param.backgroundValue = m_background;
        return ObliqueSlice(volume, m_width, m_height, param, slice, error);
    }
    bool Locate(ZelImageBase* volume, int, PixelPlane& plane) const override
    {
        if (!volume) return false;
        ZelObliqueImageGenerator generator;
        generator.SetImage(volume);
        plane = LocateWith(m_width, m_height, [&](const Zel2DVector<float>& display, Zel3DVector<float>& voxel) {
            generator.DisplayToVoxel(m_width, m_height, display, voxel, m_param);
        });
        return true;
    }
    bool PrefersTiled(const Volume& volume) const override
    {
        // Oblique walks cross slices at every step, where the blocks keep
        // neighbours close.
        const double voxels = static_cast<double>(volume.VoxelCount());
        if (voxels < 8e6) return false;
        const double pixels = static_cast<double>(m_width) * m_height;
        const double planes = m_slab ? std::max(1.0f, m_param.thickness) : 1.0;
        return pixels * planes * 8.0 > voxels;
    }

    SlabInfo Slab() const override { return m_slab ? SlabInfo{m_param.thickness, m_slabMode} : SlabInfo{}; }

private:
    ZelObliqueImageGeneratorParam m_param;
    SlabMode m_slabMode = SlabMode::Average;
    bool m_slab = false;
    std::string m_caption;
};

// Moves `center` (voxel units) along patient axis `axis` until the patient
// coordinate there is `mm`; false when no part of the volume lies there.
bool CenterAtPosition(const Volume& volume, int axis, double mm, double center[3], std::string& error)
{
    const auto& m = volume.ijkToPatient;
    double lo = 1e300, hi = -1e300;
    for (int corner = 0; corner < 8; ++corner) {
        double p = m[axis][3];
        for (int a = 0; a < 3; ++a) p += m[axis][a] * ((corner >> a) & 1 ? volume.size[a] - 1 : 0);
        lo = std::min(lo, p);
        hi = std::max(hi, p);
    }
    if (!(mm >= lo && mm <= hi)) {
        char text[200];
        std::snprintf(text, sizeof(text), "position %g mm is outside the volume (%.1f to %.1f mm)", mm, lo, hi);
        error = text;
        return false;
    }
    double now = m[axis][3];
    for (int a = 0; a < 3; ++a) now += m[axis][a] * center[a];
    Vec3 shift{{0, 0, 0}};
    shift[axis] = mm - now;
    const Vec3 step = PatientToIndex(volume, shift);
    for (int a = 0; a < 3; ++a) center[a] += step[a];
    return true;
}

bool ObliquePlane::Plan(const Volume& volume, const PlaneOptions& options, std::string& error)
{
    static const double kNoTilt[2] = {0, 0};
    Frame frame = options.haveNormal ? NormalFrame(volume, options.normal)
                                     : ObliqueFrame(volume, options.plane, options.world ? kNoTilt : options.tilt);
    frame = TurnAndFlip(frame, options.rotateDegrees, options.flipH, options.flipV);
    const Vec3 normal = frame.Normal();

    double center[3];
    if (!CenterOf(volume, options, center, error)) return false;
    const int patientAxis = options.plane == PlaneKind::Axial ? 2 : options.plane == PlaneKind::Coronal ? 1 : 0;
    if (options.world && options.havePosition &&
        !CenterAtPosition(volume, patientAxis, options.positionMm, center, error))
        return false;

    float zoom;
    FitPicture(options, Extent(frame.right, volume, -1), Extent(frame.down, volume, -1), m_width, m_height, zoom);
    ZelObliqueImageGeneratorParam& p = m_param;
    p.center = {static_cast<float>(center[0]), static_cast<float>(center[1]), static_cast<float>(center[2])};
    for (int a = 0; a < 3; ++a) {
        p.orientation.m[a][0] = static_cast<float>(frame.right[a]);
        p.orientation.m[a][1] = static_cast<float>(frame.down[a]);
        p.orientation.m[a][2] = static_cast<float>(normal[a]);
    }
    p.zoom = zoom;
    p.interpolation = options.nearest ? 0 : 1;
    p.slabMode = options.slabMode == SlabMode::Maximum   ? ZEL_OBLIQUE_SLAB_MAXIMUM
                 : options.slabMode == SlabMode::Minimum ? ZEL_OBLIQUE_SLAB_MINIMUM
                                                         : ZEL_OBLIQUE_SLAB_AVERAGE;
    // A slab thicker than the volume's diagonal is the whole volume.
    double diagonal = 0;
    for (int a = 0; a < 3; ++a) diagonal += std::pow(volume.size[a] * volume.spacing[a], 2);
    p.thickness = static_cast<float>(std::min(options.slabMm, std::sqrt(diagonal)));
    double s[3], finest;
    NormalisedScale(volume, s, finest);
    // Slabs are gathered with interpolation only.
    m_slab = std::floor(p.thickness / finest) >= 1;
    if (m_slab) p.interpolation = 1;
    m_slabMode = options.slabMode;

    char text[200];
    if (options.haveNormal)
        std::snprintf(text, sizeof(text), "oblique, normal %g,%g,%g", options.normal[0], options.normal[1],
                      options.normal[2]);
    else if (options.world)
        std::snprintf(text, sizeof(text), "%s along the patient axes", PlaneName(options.plane));
    else
        std::snprintf(text, sizeof(text), "oblique %s tilted %g/%g deg", PlaneName(options.plane), options.tilt[0],
                      options.tilt[1]);
    m_caption = text;
    if (options.slabMm > 0) {
        std::snprintf(text, sizeof(text), ", %s slab %.1f mm", SlabModeName(options.slabMode), p.thickness);
        m_caption += text;
    }
    m_captionTail = CaptionTail(options);
    return true;
}

}  // namespace

bool plane_detail::ObliqueSlice(ZelImageBase* volume, int width, int height, const ZelObliqueImageGeneratorParam& param,
                                std::unique_ptr<ZelImageBase>& slice, std::string& error)
{
    ZelObliqueImageGenerator generator;
    generator.SetImage(volume);
    slice.reset(generator.GenerateImage(width, height, param));
    if (slice) return true;
    error = "the plane could not be generated (out of memory, or too far from the volume's voxels)";
    return false;
}

std::unique_ptr<PlaneChoice> MakeObliquePlane(const Volume& volume, const PlaneOptions& options, std::string& error)
{
    auto plane = std::make_unique<ObliquePlane>();
    if (!plane->Plan(volume, options, error)) return nullptr;
    return plane;
}
