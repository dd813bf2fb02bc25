// The render pipeline: options and volume in, display picture out.
//
// Check and prepare once (PlanRender: plane, frame, size, zoom, window), then
// render any number of pictures from the plan (RenderPicture: generate the
// slice with the library's generators, convert it for display). A plan is
// read-only while pictures are rendered, so a series renders its slices in
// parallel from one plan.
#pragma once

#include <memory>
#include <string>

#include "ZelImageBuffer.h"
#include "ZelMPRImageGenerator.h"
#include "ZelObliqueImageGenerator.h"
#include "options.h"
#include "volume.h"

struct DisplaySettings {
    DisplayMode mode = DisplayMode::Window;
    // In the units of the 16-bit slice handed to the converters.
    int width = 1;
    int centre = 0;
    int threshold = 0;
    float gamma = 1.0f;
    bool invert = false;
    // Unsigned 16-bit slices go to the converters as signed values minus this.
    int offset = 0;
    bool rgb = false;
    std::string caption;  // "brain window 80/40", ...
};

struct RenderPlan {
    bool oblique = false;
    int width = 0;
    int height = 0;

    // Axis-aligned planes.
    PlaneKind kind = PlaneKind::Axial;
    int mprPlane = 2;    // 0 normal x, 1 normal y, 2 normal z
    int sliceCount = 0;  // voxels along the plane's normal
    int slice = 0;       // the slice of a single picture
    ZelMPRImageGeneratorParam mpr;
    int slabSteps = 0;  // > 0: a stacked slab of slabSteps + 1 slices
    ZelMPRStackImageMode stackMode = ZEL_MPR_STACK_AVERAGE;
    ZelMPRImageGeneratorParam slabView;  // second pass over the stacked slice

    // Oblique planes.
    ZelObliqueImageGeneratorParam obliqueParam;
    bool obliqueSlab = false;  // gathers several planes: needs signed 16-bit voxels

    DisplaySettings display;
    std::string caption;  // what the picture shows, for people
};

// Checks the options against the volume and works out everything a picture
// needs. False with a message for a slice outside the volume and the like.
bool PlanRender(const Volume& volume, const ValueStats& stats, const RenderOptions& options, RenderPlan& plan,
                std::string& error);

// Renders slice `slice` of the plan (ignored for oblique planes) from
// `image` (the volume's voxels, in either layout) into `out`.
bool RenderPicture(ZelImageBase* image, const RenderPlan& plan, int slice, ZelImageBuffer& out, std::string& error);

// Whether holding the volume tiled pays for `pictures` pictures of this plan.
bool PreferTiled(const Volume& volume, const RenderPlan& plan, int pictures, LayoutChoice choice);

// Fills the display settings: the window asked for, or one that suits the
// data.
void PlanDisplay(const Volume& volume, const ValueStats& stats, const RenderOptions& options, DisplaySettings& display);
// Converts a generated slice (any voxel type) to display pixels.
bool ConvertForDisplay(const ZelImageBase& slice, const DisplaySettings& display, ZelImageBuffer& out,
                       std::string& error);
