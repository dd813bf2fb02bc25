#include "generators/cpr_setup.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ZelCPUController.h"
#include "ZelParallel.h"
#include "generators/dispatch.h"
#include "generators/plane_frame.h"

namespace zel_cpr {

namespace {

// Positions further out than this (2^45 voxels) are refused, which leaves the
// walks, offsets and slab samples of a line room in 64 bits.
constexpr std::int64_t kFarthest = std::int64_t{1} << 60;

bool Finite(const Zel3DVector<float>& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

Zel3DVector<float> Divided(const Zel3DVector<float>& v, const float s[3])
{
    return {v.x / s[0], v.y / s[1], v.z / s[2]};
}

// One line of the output: background where there is no record or the band
// leaves it out, the kernel's pixels elsewhere. Image rows are written in
// place; image columns go through a small buffer and are scattered down.
template <class T>
void RenderLine(const CprSetup& s, const CprRoutine& routine, int index)
{
    const T background = static_cast<T>(s.background);
    const std::ptrdiff_t stride = s.columns ? s.width : 1;
    T* first = static_cast<T*>(s.output) +
               (s.columns ? static_cast<std::ptrdiff_t>(index) : static_cast<std::ptrdiff_t>(index) * s.width);
    auto fill = [&](int begin, int end) {
        for (int p = begin; p < end; ++p) first[p * stride] = background;
    };
    CprLine line;
    if (index >= s.recordCount || !LineOf(s.records[index], s.length, routine.offset, line)) {
        fill(0, s.length);
        return;
    }
    fill(0, s.bandBegin);
    fill(s.bandEnd, s.length);
    if (!s.columns) {
        routine.kernel(s, line, s.bandBegin, s.bandEnd, first + s.bandBegin);
        return;
    }
    constexpr int kChunk = 256;
    T chunk[kChunk];
    for (int begin = s.bandBegin; begin < s.bandEnd; begin += kChunk) {
        const int end = std::min(begin + kChunk, s.bandEnd);
        routine.kernel(s, line, begin, end, chunk);
        for (int p = begin; p < end; ++p) first[p * stride] = chunk[p - begin];
    }
}

template <class T>
void RunLines(const CprPlan& plan)
{
    const CprSetup& s = plan.setup;
    const CprRoutine& routine = plan.routine;
    auto lines = [&s, &routine](int begin, int end) {
        for (int i = begin; i < end; ++i) RenderLine<T>(s, routine, i);
    };
    if (routine.threaded)
        ZelParallelSplit(s.lines, ZelCPUController::GetAvailableCPUNumInThread(), lines);
    else
        lines(0, s.lines);
}

// The length of a pixel step in the volume's units, of the first valid line.
bool PixelLength(const ZelImageBase& volume, const ZelCPRRenderingPoint* records, int count, float& length)
{
    const Zel3DVector<float> spacing = volume.GetImageScale();
    for (int i = 0; i < count; ++i) {
        if (!records[i].valid || !Finite(records[i].step)) continue;
        const double x = static_cast<double>(records[i].step.x) * spacing.x;
        const double y = static_cast<double>(records[i].step.y) * spacing.y;
        const double z = static_cast<double>(records[i].step.z) * spacing.z;
        length = static_cast<float>(std::sqrt(x * x + y * y + z * z));
        return std::isfinite(length);
    }
    return false;
}

}  // namespace

void BandOf(const ZelCPRImageGeneratorParam& param, int n, int& b0, int& b1)
{
    b0 = 0;
    b1 = n;
    if (!param.bandEnabled || param.bandWidth < 0) return;
    const int centre = param.layout == ZEL_CPR_LAYOUT_COLUMNS ? param.columnBandCenter : param.rowBandCenter;
    const long long first = (static_cast<long long>(n) - param.bandWidth) / 2 + centre;
    const long long last = first + param.bandWidth;
    b0 = static_cast<int>(std::min<long long>(std::max<long long>(first, 0), n));
    b1 = static_cast<int>(std::min<long long>(std::max<long long>(last, 0), n));
    b1 = std::max(b0, b1);
}

bool LineOf(const ZelCPRRenderingPoint& record, int length, int offsetSteps, CprLine& line)
{
    if (!record.valid) return false;
    const float half = static_cast<float>(length - 1) * 0.5f;
    const float start[3] = {record.start.x - record.step.x * half, record.start.y - record.step.y * half,
                            record.start.z - record.step.z * half};
    const float step[3] = {record.step.x, record.step.y, record.step.z};
    const float slab[3] = {record.crossAxis.x, record.crossAxis.y, record.crossAxis.z};
    for (int a = 0; a < 3; ++a) {
        if (!ZelToFixed(start[a], line.start[a]) || !ZelToFixed(step[a], line.step[a]) ||
            !ZelToFixed(slab[a], line.slab[a]))
            return false;
        // |offset * slab| < 2^62: the sum stays inside 64 bits.
        line.start[a] += static_cast<std::int64_t>(offsetSteps) * line.slab[a];
        if (line.start[a] >= kFarthest || line.start[a] <= -kFarthest) return false;
    }
    return true;
}

CprLines LinesOf(const ZelImageBase& volume, const ZelCPRImageGeneratorParam& param, int width, int height,
                 std::vector<ZelCPRRenderingPoint>& projected)
{
    CprLines lines;
    lines.columns = param.layout == ZEL_CPR_LAYOUT_COLUMNS;
    lines.lines = lines.columns ? width : height;
    lines.length = lines.columns ? height : width;
    if (param.layout == ZEL_CPR_LAYOUT_PROJECTION) {
        ProjectionRows(volume, param, width, height, projected);
        lines.records = projected.data();
        lines.count = static_cast<int>(projected.size());
    } else {
        lines.records = param.renderingPoints.data();
        lines.count =
            static_cast<int>(std::min<std::size_t>(param.renderingPoints.size(), std::numeric_limits<int>::max()));
    }
    return lines;
}

bool RefreshCurve(const ZelImageBase& volume, ZelCPRImageGeneratorParam& param)
{
    ZelPath* path = param.pathPlane.GetPath();
    if (path == nullptr) return !param.curve.GetResampledPoints().empty();
    float s[3];
    float finest;
    if (!ZelNormalisedSpacing(volume, s, finest)) return false;
    const Zel3DVector<float> aspect{s[0], s[1], s[2]};
    const Zel3DVector<float> current = path->GetAspect();
    if (current.x != aspect.x || current.y != aspect.y || current.z != aspect.z) {
        path->SetAspect(aspect);
        path->UpdatePointsCounter();
    }
    param.curve = path->GetSplineCurveObject();
    param.controlPoints = path->GetAspectPoint();
    return !param.curve.GetResampledPoints().empty();
}

bool RebuildRows(const ZelImageBase& volume, ZelCPRImageGeneratorParam& param, int lines)
{
    float s[3];
    float finest;
    if (!ZelNormalisedSpacing(volume, s, finest) || !(param.scale > 0.0f) || !std::isfinite(param.scale)) return false;
    const bool haveCurve = RefreshCurve(volume, param);
    std::vector<ZelCPRRenderingPoint> rows;
    switch (param.construction) {
    case ZEL_CPR_STRAIGHT:
        if (!param.pathPlane.UpdatePlaneData(param.rotationAngle, param.pitch, param.tangentSpan, param.up) ||
            param.pathPlane.GetPlaneDataNum() == 0)
            return false;
        ZelCPRImageGenerator::ConstructStraightPath(lines, param.scale, param.offset, param.centerColumn,
                                                    param.pathPlane, rows);
        break;
    case ZEL_CPR_FIXED:
        if (!haveCurve) return false;
        ZelCPRImageGenerator::ConstructFixedPath(lines, param.scale, param.offset, param.centerColumn, param.direction,
                                                 param.curve, rows);
        break;
    case ZEL_CPR_STRETCH:
        if (!haveCurve) return false;
        ZelCPRImageGenerator::ConstructStretchPath(lines, param.scale, param.offset, param.centerColumn,
                                                   param.direction, param.curve, param.controlPoints, rows);
        break;
    default: return false;
    }
    // From normalised voxel space to voxel index units.
    for (ZelCPRRenderingPoint& row : rows) {
        if (!row.valid) continue;
        row.start = Divided(row.start, s);
        row.normal = Divided(row.normal, s);
        row.step = Divided(row.step, s);
        row.rowAxis = Divided(row.rowAxis, s);
        row.crossAxis = Divided(row.crossAxis, s);
    }
    param.renderingPoints.swap(rows);
    return true;
}

bool PrepareCpr(const ZelImageBase* volume, const ZelImageBase* output, ZelCPRImageGeneratorParam& param, bool rebuild,
                CprPlan& plan)
{
    if (volume == nullptr || output == nullptr) return false;
    if (volume->GetVoxelType() != output->GetVoxelType() || output->IsTiled()) return false;
    float s[3];
    float finest;
    if (!ZelNormalisedSpacing(*volume, s, finest)) return false;
    if (param.layout < ZEL_CPR_LAYOUT_COLUMNS || param.layout > ZEL_CPR_LAYOUT_PROJECTION) return false;
    if (param.layout == ZEL_CPR_LAYOUT_PROJECTION && volume->GetVoxelType() != ZEL_VOXEL_SHORT) return false;
    if (!SelectCprRoutine(*volume, param, plan.routine)) return false;

    const Zel3DVector<int> outSize = output->GetImageSize();
    const int width = std::max(outSize.x, 0);
    const int height = std::max(outSize.y, 0);
    if (rebuild) {
        const int lines = param.layout == ZEL_CPR_LAYOUT_COLUMNS ? width : height;
        const bool rebuilt = param.layout == ZEL_CPR_LAYOUT_PROJECTION ? RefreshCurve(*volume, param)
                                                                       : RebuildRows(*volume, param, lines);
        if (!rebuilt) return false;
    }

    CprSetup& setup = plan.setup;
    plan.voxelType = volume->GetVoxelType();
    const CprLines lines = LinesOf(*volume, param, width, height, plan.projected);
    setup.volume = volume->GetVoidDataPtr();
    setup.layout = ZelVolumeLayout(*volume);
    setup.records = lines.records;
    setup.recordCount = lines.count;
    setup.output = output->GetVoidDataPtr();
    setup.width = width;
    setup.height = height;
    setup.columns = lines.columns;
    setup.lines = lines.lines;
    setup.length = lines.length;
    BandOf(param, setup.length, setup.bandBegin, setup.bandEnd);
    setup.background = ZelDispatchGreyVoxel(volume->GetVoxelType(), 0, [&](auto tag) {
        using T = typename decltype(tag)::type;
        return static_cast<int>(static_cast<T>(param.backgroundValue));
    });
    setup.samples = plan.routine.threaded ? param.slabSampleCount : 0;
    setup.offset = plan.routine.offset;
    for (int a = 0; a < 3; ++a) {
        const std::int64_t size = setup.layout.size[a];
        // Nearest: the rounded voxel (p + 16384) >> 15 must be below size.
        setup.nearestHigh[a] = size * kZelFixedOne - kZelFixedHalf - 1;
        setup.linearHigh[a] = std::max<std::int64_t>((size - 1) * kZelFixedOne, -1);
        setup.slabHigh[a] = std::max<std::int64_t>((size - 1) * kZelFixedOne - 1, -1);
    }
    plan.haveOutputScale = PixelLength(*volume, setup.records, setup.recordCount, plan.outputScale);
    return true;
}

void RunCpr(const CprPlan& plan)
{
    ZelDispatchGreyVoxel(plan.voxelType, false, [&](auto tag) {
        RunLines<typename decltype(tag)::type>(plan);
        return true;
    });
}

}  // namespace zel_cpr
