// Checks, line geometry and run of one curved reformation: everything the
// line kernels need, computed once per call before any pixel is written, and
// the very geometry the coordinate mappings read.
#pragma once

#include <cstdint>
#include <vector>

#include "ZelCPRImageGenerator.h"
#include "generators/voxel_space.h"

namespace zel_cpr {

// Longest slab, in samples (as the oblique generator's): sums stay well
// inside 32 bits.
constexpr int kMaxSlabSamples = 16385;

// The fixed-point walk of one line: pixel k lies at start + k * step (17.15),
// and slab samples are `slab` apart.
struct CprLine {
    std::int64_t start[3];
    int step[3];
    int slab[3];
};

// The line of a record with `length` pixels, centred on the record's start
// (pixel (length - 1) / 2), moved by offsetSteps slab steps. False for an
// invalid record and for geometry that does not fit the fixed point.
bool LineOf(const ZelCPRRenderingPoint& record, int length, int offsetSteps, CprLine& line);

// Pixels [b0, b1) of a line of n that the band leaves to be sampled.
void BandOf(const ZelCPRImageGeneratorParam& param, int n, int& b0, int& b1);

// 17.15 position of pixel k of a line.
inline void PixelPosition(const CprLine& line, int k, std::int64_t p[3])
{
    for (int a = 0; a < 3; ++a) p[a] = line.start[a] + static_cast<std::int64_t>(k) * line.step[a];
}

// Everything the line kernels read.
struct CprSetup {
    const void* volume;
    ZelVolumeLayout layout;
    const ZelCPRRenderingPoint* records;
    int recordCount;
    void* output;  // linear, width x height elements
    int width;
    int height;
    bool columns;  // lines are image columns (layout 0); else image rows
    int lines;     // L
    int length;    // n, pixels per line
    int bandBegin;
    int bandEnd;
    int background;  // already truncated to the voxel type
    int samples;     // slab samples c; 0 for thin lines
    int offset;      // slab steps the offset routines move a line by (signed)
    // Inclusive upper bounds of the inside tests per axis: nearest sampling
    // (lower bound -16384), thin interpolated sampling (0 .. size - 1) and
    // slab samples (0 .. below size - 1). Each is -1 or more.
    std::int64_t nearestHigh[3];
    std::int64_t linearHigh[3];
    std::int64_t slabHigh[3];
};

// Renders pixels [begin, end) of a line into out[0 .. end - begin). Lines are
// independent: any number of threads may run different lines at once.
using CprLineKernel = void (*)(const CprSetup& setup, const CprLine& line, int begin, int end, void* out);

// Which routine a call takes, from its volume and parameters.
struct CprRoutine {
    CprLineKernel kernel;
    bool threaded;  // the slab path, over the workers
    int offset;     // slab steps by which the routine moves a line
};

// The routine for a volume and parameters; false when refused. An offset
// routine (slabOffset != 0 on an interpolated thin line: backwards for a
// negative value, forwards for a positive one) is the interpolated walk of
// the moved line, and the offset slab is the weighted worker on it.
bool SelectCprRoutine(const ZelImageBase& volume, const ZelCPRImageGeneratorParam& param, CprRoutine& routine);

struct CprPlan {
    int voxelType;
    CprSetup setup;
    CprRoutine routine;
    std::vector<ZelCPRRenderingPoint> projected;  // layout 2: the rows of the projection
    float outputScale;                            // the length of a pixel step, when known
    bool haveOutputScale;
};

// Checks volume, output and parameters, rebuilds the rows if asked, and
// fills plan. Writes no pixel; false when refused.
bool PrepareCpr(const ZelImageBase* volume, const ZelImageBase* output, ZelCPRImageGeneratorParam& param, bool rebuild,
                CprPlan& plan);

// Renders every line of a prepared plan.
void RunCpr(const CprPlan& plan);

// Rebuilds param's rows for `lines` lines (see ZelCPRImageGenerator.h).
bool RebuildRows(const ZelImageBase& volume, ZelCPRImageGeneratorParam& param, int lines);

// The curve of param, through the path when there is one (its aspect set to
// the normalised spacing), else as param holds it; false when there is none.
bool RefreshCurve(const ZelImageBase& volume, ZelCPRImageGeneratorParam& param);

// The lines of an image of param: its records, or the rows of the
// projection display (held in `projected`) for layout 2.
struct CprLines {
    const ZelCPRRenderingPoint* records;
    int count;   // records
    int lines;   // L: image lines
    int length;  // n: pixels per line
    bool columns;
};
CprLines LinesOf(const ZelImageBase& volume, const ZelCPRImageGeneratorParam& param, int width, int height,
                 std::vector<ZelCPRRenderingPoint>& projected);

// The rows of the projection display of a width x height image, in voxel
// units, one per image row.
void ProjectionRows(const ZelImageBase& volume, const ZelCPRImageGeneratorParam& param, int width, int height,
                    std::vector<ZelCPRRenderingPoint>& rows);

// ConstructProjection, optionally with the curve parameter of every point.
void ProjectionSamples(float scale, const ZelMatrix3x3<float>& view, const ZelSplineCurve<Zel3DVector<float>>& curve,
                       const std::vector<Zel3DVector<float>>& controlPoints, std::vector<Zel3DVector<float>>& points,
                       std::vector<double>* parameters);

}  // namespace zel_cpr
