// The MPR generator's plane rules: in-image axes from plane, rotation and
// flips, and the plane frame of a view that the kernels walk and the
// mappings read.
#pragma once

#include "ZelImageBase.h"
#include "ZelMPRImageGenerator.h"
#include "generators/plane_frame.h"

// In-image axes of one MPR view, in voxel-axis components.
struct ZelMPRAxes {
    double right[3];
    double down[3];
    double normal[3];  // the axis the plane turns about
    int normalAxis;    // 0, 1 or 2: the axis the plane is normal to
};

// Snapping of a rotated axis component to -1, 0 or 1. The thresholds are
// intentionally asymmetric (0.5 snaps to 1, -0.5 snaps to 0); keep them.
inline double ZelMPRSnap(double v)
{
    return v >= 0.5 ? 1.0 : (v < -0.5 ? -1.0 : 0.0);
}

// The view of param is defined apart from its plane: a positive finite zoom
// and a finite centre.
bool ZelMPRViewDefined(const ZelMPRImageGeneratorParam& param);

// Axes of the view described by param; false for a plane other than 0, 1, 2.
bool ZelMPRComputeAxes(const ZelMPRImageGeneratorParam& param, ZelMPRAxes& axes);

// The frame of a view of a width x height output, with the plane's normal
// axis and the finest spacing of the volume. The walk starts on the slice
// param names: its normal-axis component is that slice index.
struct ZelMPRFrame {
    ZelPlaneFrame<double> plane;
    int normalAxis;
    float finest;
};
bool ZelMPRMakeFrame(const ZelImageBase& volume, const ZelMPRImageGeneratorParam& param, int width, int height,
                     ZelMPRFrame& frame);
