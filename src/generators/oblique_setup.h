// Checks and fixed-point set-up of one oblique image, shared by the oblique
// and the multi-oblique generators: everything a row kernel needs, computed
// once per call before any pixel is written.
#pragma once

#include <cstdint>

#include "ZelImageBase.h"
#include "ZelObliqueImageGenerator.h"
#include "generators/plane_frame.h"
#include "generators/voxel_space.h"

namespace zel_oblique {

// Longest slab, in steps: keeps the average's integer sum well inside 32 bits
// and is longer than the diagonal of any volume the library meets.
constexpr int kMaxSlabSteps = 16384;

// Everything the row kernels read. Positions and steps are 17.15 fixed point
// in voxel index units.
struct ObliqueSetup {
    const void* volume;
    ZelVolumeLayout layout;
    void* output;  // linear rows of `width` elements
    int width;
    int height;
    // First sample of row 0, column 0 (slab: of the slab's first plane), and
    // the steps per column (stepX), per row (stepY) and per slab step.
    ZelFixedFrame<int> walk;
    int steps;  // slab steps n; n + 1 samples per pixel
    int background;
    int slabMode;
    // Inclusive upper bounds of the inside test per axis: nearest sampling
    // (size - 0.5 voxel, exclusive, so minus one unit) and interpolated
    // sampling (size - 1 voxel). The lower bounds are -16384 and 0.
    std::int64_t nearestHigh[3];
    std::int64_t linearHigh[3];
};

// Renders one output row. Rows are independent: any number of threads may run
// different rows of one set-up at once.
using ObliqueRowKernel = void (*)(const ObliqueSetup& setup, int row);

struct ObliquePlan {
    ObliqueSetup setup;
    ObliqueRowKernel kernel;  // null: the rows are left as they are (unknown slab mode)
    bool threaded;            // slab rows are spread over the workers
    float outputScale;        // m / zoom
};

enum class ObliquePrepared {
    kRejected,     // nothing to do, the output is left alone
    kUnsupported,  // the combination has no kernel; only the output's scale is to be set
    kReady,
};

// The frame of the plane param describes (directions from its matrix, the
// walk of a width x height output whose slab starts halfSlab steps behind
// the plane, in float); false when a spacing is not positive and finite.
bool ObliqueFrame(const ZelImageBase& volume, const ZelObliqueImageGeneratorParam& param, int width, int height,
                  float halfSlab, ZelPlaneFrame<float>& frame, float& m);

// The plane of param is defined: finite centre and matrix, a finite zoom
// other than 0.
bool ObliquePlaneDefined(const ZelObliqueImageGeneratorParam& param);

// Checks volume, output and parameters and fills plan. Writes nothing.
ObliquePrepared PrepareOblique(const ZelImageBase* volume, const ZelImageBase* output,
                               const ZelObliqueImageGeneratorParam& param, ObliquePlan& plan);

// Runs every row of a prepared plan on the calling thread, or over the
// workers when the plan is threaded.
void RunOblique(const ObliquePlan& plan);

}  // namespace zel_oblique
