// Standard planes (axial, coronal, sagittal) along the voxel axes, through
// the MPR generator: one slice, a series, or evenly spaced slices for a
// mosaic, each optionally a thick slab.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ZelMPRImageGenerator.h"
#include "planes.h"

using namespace plane_detail;

namespace {

class MprPlanes : public PlaneChoice {
public:
    bool Plan(const Volume& volume, const PlaneOptions& options, int cells, std::string& error);

    int Count() const override { return static_cast<int>(m_slices.size()); }
    int Number(int index) const override { return m_slices[static_cast<std::size_t>(index)]; }
    std::string Caption(int index) const override
    {
        char text[80];
        std::snprintf(text, sizeof(text), "%s slice %d", PlaneName(m_kind), Number(index));
        return text + m_slabCaption + m_captionTail;
    }
    bool Generate(ZelImageBase* volume, int index, std::unique_ptr<ZelImageBase>& slice,
                  std::string& error) const override;
    bool PrefersTiled(const Volume& volume) const override;
    SlabInfo Slab() const override { return m_slab; }
    bool Locate(ZelImageBase* volume, int index, PixelPlane& plane) const override
    {
        if (!volume) return false;
        ZelMPRImageGenerator generator;
        generator.SetImage(volume);
        const ZelMPRImageGeneratorParam param = SliceParam(index);
        plane = LocateWith(m_width, m_height, [&](const Zel2DVector<float>& display, Zel3DVector<float>& voxel) {
            generator.DisplayToVoxel(m_width, m_height, display, voxel, param);
        });
        return true;
    }

private:
    ZelMPRImageGeneratorParam SliceParam(int index) const
    {
        ZelMPRImageGeneratorParam param = m_param;
        param.backgroundValue = m_background;
        (m_axis == 0   ? param.slicePosition.x
         : m_axis == 1 ? param.slicePosition.y
                       : param.slicePosition.z) = Number(index);
        return param;
    }
    bool ChooseSlices(const Volume& volume, const PlaneOptions& options, int cells, const AxisMap& map,
                      std::string& error);

    PlaneKind m_kind = PlaneKind::Axial;
    int m_axis = 2;  // the MPR plane: 0 normal x, 1 normal y, 2 normal z
    std::vector<int> m_slices;
    ZelMPRImageGeneratorParam m_param;
    int m_slabSteps = 0;  // > 0: a stacked slab of m_slabSteps + 1 slices
    ZelMPRStackImageMode m_stackMode = ZEL_MPR_STACK_AVERAGE;
    ZelMPRImageGeneratorParam m_slabView;  // second pass over the stacked slice
    std::string m_slabCaption;
    SlabInfo m_slab;
};

// The slice index for --position: the patient coordinate along the plane's
// own patient axis, through the volume's centre.
bool SliceFromPosition(const Volume& volume, int axis, int patientAxis, double mm, int& slice, std::string& error)
{
    const double centre[3] = {0.5 * (volume.size[0] - 1), 0.5 * (volume.size[1] - 1), 0.5 * (volume.size[2] - 1)};
    const auto& m = volume.ijkToPatient[patientAxis];
    double base = m[3];
    for (int a = 0; a < 3; ++a)
        if (a != axis) base += m[a] * centre[a];
    const double step = m[axis];
    if (std::fabs(step) < 1e-9) {
        error = "--position: the volume's slices do not advance along that axis";
        return false;
    }
    const double index = std::round((mm - base) / step);
    const int count = volume.size[axis];
    if (!(index >= 0 && index <= count - 1)) {
        const double a = base, b = base + step * (count - 1);
        char text[200];
        std::snprintf(text, sizeof(text), "position %g mm is outside the volume (%.1f to %.1f mm)", mm, std::min(a, b),
                      std::max(a, b));
        error = text;
        return false;
    }
    slice = static_cast<int>(index);
    return true;
}

bool MprPlanes::ChooseSlices(const Volume& volume, const PlaneOptions& options, int cells, const AxisMap& map,
                             std::string& error)
{
    const int count = volume.size[m_axis];
    const std::string range = std::string(" (") + PlaneName(m_kind) + " slices 0 to " + std::to_string(count - 1) + ")";
    if (options.series) {
        if (options.seriesLast > count - 1) {
            error = "--slices " + std::to_string(options.seriesFirst) + ":" + std::to_string(options.seriesLast) +
                    " goes beyond the volume" + range;
            return false;
        }
        for (int s = options.seriesFirst; s <= options.seriesLast; s += options.seriesStep) m_slices.push_back(s);
        return true;
    }
    if (cells > 0) {
        // Evenly spread, each slice in the middle of its share of the volume.
        const int n = std::min(cells, count);
        for (int k = 0; k < n; ++k) m_slices.push_back(static_cast<int>(std::floor((k + 0.5) * count / n)));
        return true;
    }
    int slice = (count - 1) / 2;
    if (options.haveCenter) {
        // The centre names a voxel: its slice is the one shown.
        slice = static_cast<int>(std::lround(options.center[m_axis]));
    } else if (options.haveSlice) {
        if (options.slice < 0 || options.slice > count - 1) {
            error = "slice " + std::to_string(options.slice) + " is outside the volume" + range;
            return false;
        }
        slice = static_cast<int>(options.slice);
    } else if (options.havePosition &&
               !SliceFromPosition(volume, m_axis, map.patientAxis[m_axis], options.positionMm, slice, error)) {
        return false;
    }
    m_slices.push_back(slice);
    return true;
}

bool MprPlanes::Plan(const Volume& volume, const PlaneOptions& options, int cells, std::string& error)
{
    const AxisMap map = MapAxes(volume.ijkToPatient);
    m_kind = options.plane;
    m_axis = MprPlaneOf(options.plane, map);
    double center[3];
    if (!CenterOf(volume, options, center, error) || !ChooseSlices(volume, options, cells, map, error)) return false;

    const Frame target =
        TurnAndFlip(SnappedFrame(options.plane, map), options.rotateDegrees, options.flipH, options.flipV);
    const MprOrientation turn = SolveMprOrientation(m_axis, target);
    float zoom;
    FitPicture(options, Extent(target.right, volume, m_axis), Extent(target.down, volume, m_axis), m_width, m_height,
               zoom);

    ZelMPRImageGeneratorParam& p = m_param;
    p.plane = m_axis;
    p.slicePosition = {0, 0, 0};
    p.center = {static_cast<float>(center[0]), static_cast<float>(center[1]), static_cast<float>(center[2])};
    p.zoom = zoom;
    p.rotation = turn.rotation;
    p.rotationAngle = static_cast<float>(turn.angle);
    p.flipHorizontal = turn.flipH;
    p.flipVertical = turn.flipV;
    p.interpolation = options.nearest ? 0 : 1;
    m_captionTail = CaptionTail(options);

    if (options.slabMm > 0) {
        // A slab thicker than the volume is the whole volume.
        const double spacing = volume.spacing[m_axis];
        const double wanted = std::lround(std::min(options.slabMm / spacing, 1.0 * volume.size[m_axis]));
        const int slices = std::max(1, static_cast<int>(wanted));
        m_slabSteps = slices - 1;
        if (m_slabSteps > 0) m_slab = {slices * spacing, options.slabMode};
        m_stackMode = options.slabMode == SlabMode::Maximum   ? ZEL_MPR_STACK_MAXIMUM
                      : options.slabMode == SlabMode::Minimum ? ZEL_MPR_STACK_MINIMUM
                                                              : ZEL_MPR_STACK_AVERAGE;
        // The stacked slice is a one-slice volume whose x and y are the
        // plane's first and second in-plane axes; the picture's frame is
        // carried over to those axes.
        static const int kFirst[3] = {1, 0, 0}, kSecond[3] = {2, 2, 1};
        const int u = kFirst[m_axis], v = kSecond[m_axis];
        const Frame flat{Vec3{{target.right[u], target.right[v], 0}}, Vec3{{target.down[u], target.down[v], 0}}};
        const MprOrientation flatTurn = SolveMprOrientation(2, flat);
        ZelMPRImageGeneratorParam& q = m_slabView;
        q = p;
        q.plane = 2;
        q.center = {u == 0 ? p.center.x : p.center.y, v == 2 ? p.center.z : p.center.y, 0.0f};
        q.rotation = flatTurn.rotation;
        q.rotationAngle = static_cast<float>(flatTurn.angle);
        q.flipHorizontal = flatTurn.flipH;
        q.flipVertical = flatTurn.flipV;
        char text[120];
        std::snprintf(text, sizeof(text), ", %s slab %.1f mm (%d slices)", SlabModeName(options.slabMode),
                      slices * spacing, slices);
        m_slabCaption = text;
    }
    return true;
}

bool MprPlanes::Generate(ZelImageBase* volume, int index, std::unique_ptr<ZelImageBase>& slice,
                         std::string& error) const
{
    ZelMPRImageGeneratorParam param = SliceParam(index);
    ZelMPRImageGenerator generator;
    if (m_slabSteps > 0) {
        std::unique_ptr<ZelImageBase> stacked(
            ZelMPRImageGenerator::GenerateFilterImage(volume, param, 0, m_slabSteps, true, m_stackMode));
        if (!stacked) {
            error = "not enough memory for the slab";
            return false;
        }
        ZelMPRImageGeneratorParam view = m_slabView;
        view.backgroundValue = m_background;
        generator.SetImage(stacked.get());
        slice.reset(generator.GenerateImage(m_width, m_height, view));
    } else {
        generator.SetImage(volume);
        slice.reset(generator.GenerateImage(m_width, m_height, param));
    }
    if (slice) return true;
    error = "the plane could not be generated (out of memory?)";
    return false;
}

bool MprPlanes::PrefersTiled(const Volume& volume) const
{
    // Tiling costs one pass over the volume (about 1 ns a voxel), so it pays
    // only when the pictures read much of it. Axial and coronal walks run
    // along rows of a linear volume and gain nothing from blocks. A sagittal
    // walk crosses a whole row of memory at every pixel; from 16x16x16 blocks
    // it runs about 10 times faster (saving some 4 ns a picture pixel on a
    // 512-cube).
    const double voxels = static_cast<double>(volume.VoxelCount());
    if (voxels < 8e6) return false;
    const double pixels = static_cast<double>(m_width) * m_height * Count();
    return m_axis == 0 && m_slabSteps == 0 && pixels * 4.0 > voxels;
}

}  // namespace

std::unique_ptr<PlaneChoice> MakeMprPlanes(const Volume& volume, const PlaneOptions& options, int cells,
                                           std::string& error)
{
    auto planes = std::make_unique<MprPlanes>();
    if (!planes->Plan(volume, options, cells, error)) return nullptr;
    return planes;
}
