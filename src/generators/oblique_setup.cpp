#include "generators/oblique_setup.h"

#include <cmath>

#include "ZelCPUController.h"
#include "ZelParallel.h"
#include "generators/oblique_kernels.h"

namespace zel_oblique {

namespace {

// Floor and ceiling of a / b for b > 0.
std::int64_t FloorDiv(std::int64_t a, std::int64_t b)
{
    return a >= 0 ? a / b : -((-a + b - 1) / b);
}

std::int64_t CeilDiv(std::int64_t a, std::int64_t b)
{
    return -FloorDiv(-a, b);
}

// 17.15 fixed point, truncated toward zero; false when the value does not fit.
bool ToFixed(float value, int& fixed)
{
    const double scaled = static_cast<double>(value) * 32768.0;
    if (!(std::fabs(scaled) < 2147483648.0)) return false;  // also refuses NaN
    fixed = static_cast<int>(scaled);
    return true;
}

bool Finite(const Zel3DVector<float>& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

bool Finite(const ZelMatrix3x3<float>& matrix)
{
    for (const auto& row : matrix.m)
        for (float v : row)
            if (!std::isfinite(v)) return false;
    return true;
}

}  // namespace

bool ObliqueNormalisedSpacing(const ZelImageBase& volume, float s[3], float& m)
{
    const Zel3DVector<float> scale = volume.GetImageScale();
    if (!Finite(scale) || !(scale.x > 0.0f) || !(scale.y > 0.0f) || !(scale.z > 0.0f)) return false;
    m = std::fmin(scale.x, std::fmin(scale.y, scale.z));
    s[0] = scale.x / m;
    s[1] = scale.y / m;
    s[2] = scale.z / m;
    return true;
}

ObliquePrepared PrepareOblique(const ZelImageBase* volume, const ZelImageBase* output,
                               const ZelObliqueImageGeneratorParam& param, ObliquePlan& plan)
{
    if (volume == nullptr || output == nullptr) return ObliquePrepared::kRejected;
    if (volume->GetVoxelType() != output->GetVoxelType() || output->IsTiled()) return ObliquePrepared::kRejected;
    float s[3];
    float m;
    if (!ObliqueNormalisedSpacing(*volume, s, m)) return ObliquePrepared::kRejected;
    if (!Finite(param.center) || !Finite(param.orientation) || !std::isfinite(param.zoom) || param.zoom == 0.0f ||
        !std::isfinite(param.thickness))
        return ObliquePrepared::kRejected;
    plan.outputScale = m / param.zoom;

    // A negative thickness is a thin slice; an absurdly long slab is refused
    // before its step count could overflow.
    const float slabSteps = std::floor(param.thickness / m);
    if (!(slabSteps <= static_cast<float>(kMaxSlabSteps))) return ObliquePrepared::kUnsupported;
    const int n = slabSteps > 0.0f ? static_cast<int>(slabSteps) : 0;

    ObliqueSetup& setup = plan.setup;
    const Zel3DVector<int> volumeSize = volume->GetImageSize();
    const bool vectorFriendly =
        volumeSize.x >= 2 && volumeSize.y >= 2 && volumeSize.z >= 2 && volume->GetElementCount() < (1LL << 31);
    if (!SelectObliqueKernel(volume->GetVoxelType(), volume->GetAlignmentType(), param.interpolation, n, param.slabMode,
                             vectorFriendly, plan.kernel, plan.threaded))
        return ObliquePrepared::kUnsupported;

    const Zel3DVector<int> size = volume->GetImageSize();
    const Zel3DVector<int> outSize = output->GetImageSize();
    setup.width = outSize.x > 0 ? outSize.x : 0;
    setup.height = outSize.y > 0 ? outSize.y : 0;
    const float halfWidth = static_cast<float>(setup.width - 1) * 0.5f;
    const float halfHeight = static_cast<float>(setup.height - 1) * 0.5f;
    const float halfSlab = static_cast<float>(n) * 0.5f;
    const float center[3] = {param.center.x, param.center.y, param.center.z};
    for (int a = 0; a < 3; ++a) {
        const float right = param.orientation.m[a][0] / param.zoom;
        const float down = param.orientation.m[a][1] / param.zoom;
        const float normal = param.orientation.m[a][2];
        const float first = center[a] * s[a] - right * halfWidth - down * halfHeight - normal * halfSlab;
        if (!ToFixed(first / s[a], setup.start[a]) || !ToFixed(right / s[a], setup.right[a]) ||
            !ToFixed(down / s[a], setup.down[a]) || !ToFixed(normal / s[a], setup.normal[a]))
            return ObliquePrepared::kUnsupported;
    }

    setup.volume = volume->GetVoidDataPtr();
    setup.size[0] = size.x;
    setup.size[1] = size.y;
    setup.size[2] = size.z;
    setup.blocksX = volume->GetTilingBlockNum().x;
    setup.blocksPerSlice = volume->GetBlocksPerSlice();
    setup.output = output->GetVoidDataPtr();
    setup.steps = n;
    setup.background = param.backgroundValue;
    setup.slabMode = param.slabMode;
    for (int a = 0; a < 3; ++a) {
        // Nearest: the rounded voxel (p + 16384) >> 15 must be below size,
        // that is p < size - 0.5 voxel = ((size - 1) << 15) | 0x4000.
        setup.nearestHigh[a] = static_cast<std::int64_t>(setup.size[a]) * 32768 - 16384 - 1;
        setup.linearHigh[a] = (static_cast<std::int64_t>(setup.size[a]) - 1) * 32768;
    }
    return ObliquePrepared::kReady;
}

void RunOblique(const ObliquePlan& plan)
{
    if (plan.kernel == nullptr) return;
    const ObliqueSetup& setup = plan.setup;
    const ObliqueRowKernel kernel = plan.kernel;
    if (plan.threaded) {
        ZelParallelRows(setup.height, ZelCPUController::GetAvailableCPUNumInThread(),
                        [&setup, kernel](int row) { kernel(setup, row); });
    } else {
        for (int row = 0; row < setup.height; ++row) kernel(setup, row);
    }
}

ObliqueSpan ObliqueInsideSpan(const std::int64_t p[3], const int step[3], std::int64_t low, const std::int64_t high[3],
                              int width)
{
    std::int64_t first = 0;
    std::int64_t last = width;
    for (int a = 0; a < 3; ++a) {
        const std::int64_t d = step[a];
        std::int64_t lo;
        std::int64_t hi;  // exclusive
        if (d > 0) {
            lo = CeilDiv(low - p[a], d);
            hi = FloorDiv(high[a] - p[a], d) + 1;
        } else if (d < 0) {
            lo = CeilDiv(p[a] - high[a], -d);
            hi = FloorDiv(p[a] - low, -d) + 1;
        } else {
            const bool inside = low <= p[a] && p[a] <= high[a];
            lo = 0;
            hi = inside ? width : 0;
        }
        if (lo > first) first = lo;
        if (hi < last) last = hi;
    }
    if (first > width) first = width;
    if (last < first) last = first;
    return ObliqueSpan{static_cast<int>(first), static_cast<int>(last)};
}

}  // namespace zel_oblique
