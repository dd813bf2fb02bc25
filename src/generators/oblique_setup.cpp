#include "generators/oblique_setup.h"

#include <cmath>

#include "ZelCPUController.h"
#include "ZelParallel.h"
#include "generators/oblique_kernels.h"
#include "generators/voxel_sampling_avx2.h"

namespace zel_oblique {

namespace {

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

bool ObliqueFrame(const ZelImageBase& volume, const ZelObliqueImageGeneratorParam& param, int width, int height,
                  float halfSlab, ZelPlaneFrame<float>& frame, float& m)
{
    if (!ZelNormalisedSpacing(volume, frame.s, m)) return false;
    frame.zoom = param.zoom;
    const float halfWidth = static_cast<float>(width - 1) * 0.5f;
    const float halfHeight = static_cast<float>(height - 1) * 0.5f;
    const float center[3] = {param.center.x, param.center.y, param.center.z};
    for (int a = 0; a < 3; ++a) {
        frame.right[a] = param.orientation.m[a][0];
        frame.down[a] = param.orientation.m[a][1];
        frame.normal[a] = param.orientation.m[a][2];
        frame.centre[a] = center[a];
        // The directions are divided by the zoom, in float.
        const float right = frame.right[a] / frame.zoom;
        const float down = frame.down[a] / frame.zoom;
        const float first = center[a] * frame.s[a] - right * halfWidth - down * halfHeight - frame.normal[a] * halfSlab;
        frame.start[a] = first / frame.s[a];
        frame.stepX[a] = right / frame.s[a];
        frame.stepY[a] = down / frame.s[a];
        frame.stepNormal[a] = frame.normal[a] / frame.s[a];
    }
    return true;
}

bool ObliquePlaneDefined(const ZelObliqueImageGeneratorParam& param)
{
    return Finite(param.center) && Finite(param.orientation) && std::isfinite(param.zoom) && param.zoom != 0.0f;
}

ObliquePrepared PrepareOblique(const ZelImageBase* volume, const ZelImageBase* output,
                               const ZelObliqueImageGeneratorParam& param, ObliquePlan& plan)
{
    if (volume == nullptr || output == nullptr) return ObliquePrepared::kRejected;
    if (volume->GetVoxelType() != output->GetVoxelType() || output->IsTiled()) return ObliquePrepared::kRejected;
    float s[3];
    float m;
    if (!ZelNormalisedSpacing(*volume, s, m)) return ObliquePrepared::kRejected;
    if (!ObliquePlaneDefined(param) || !std::isfinite(param.thickness)) return ObliquePrepared::kRejected;
    plan.outputScale = m / param.zoom;

    // A negative thickness is a thin slice; an absurdly long slab is refused
    // before its step count could overflow.
    const float slabSteps = std::floor(param.thickness / m);
    if (!(slabSteps <= static_cast<float>(kMaxSlabSteps))) return ObliquePrepared::kUnsupported;
    const int n = slabSteps > 0.0f ? static_cast<int>(slabSteps) : 0;

    ObliqueSetup& setup = plan.setup;
    if (!SelectObliqueKernel(volume->GetVoxelType(), volume->GetAlignmentType(), param.interpolation, n, param.slabMode,
                             ZelVectorFriendly(*volume), plan.kernel, plan.threaded))
        return ObliquePrepared::kUnsupported;

    const Zel3DVector<int> outSize = output->GetImageSize();
    setup.width = outSize.x > 0 ? outSize.x : 0;
    setup.height = outSize.y > 0 ? outSize.y : 0;
    ZelPlaneFrame<float> frame;
    ObliqueFrame(*volume, param, setup.width, setup.height, static_cast<float>(n) * 0.5f, frame, m);
    if (!setup.walk.Set(frame)) return ObliquePrepared::kUnsupported;

    setup.volume = volume->GetVoidDataPtr();
    setup.layout = ZelVolumeLayout(*volume);
    setup.output = output->GetVoidDataPtr();
    setup.steps = n;
    setup.background = param.backgroundValue;
    setup.slabMode = param.slabMode;
    for (int a = 0; a < 3; ++a) {
        // Nearest: the rounded voxel (p + 16384) >> 15 must be below size,
        // that is p < size - 0.5 voxel = ((size - 1) << 15) | 0x4000.
        setup.nearestHigh[a] = setup.layout.size[a] * kZelFixedOne - kZelFixedHalf - 1;
        setup.linearHigh[a] = (setup.layout.size[a] - 1) * kZelFixedOne;
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

}  // namespace zel_oblique
