// Geometry of the projection display, shared by its generation and its
// coordinate mappings.
#pragma once

#include "Zel2DVector.h"
#include "ZelCPRImageGenerator.h"
#include "path/frame_math.h"

namespace zel_cpr {

// The screen of a width x height projection display, in normalised voxel
// space: the view's columns, the centre of the control points' bounding box
// (shown at the middle of the picture) and the scale.
struct ProjectionView {
    zel_path::Vec3 right;
    zel_path::Vec3 down;
    zel_path::Vec3 normal;
    zel_path::Vec3 centre;
    double scale;
    double middleX;
    double middleY;

    ProjectionView(const ZelCPRImageGeneratorParam& param, int width, int height);
    // Display position of a point in normalised voxel space.
    Zel2DVector<float> Screen(const Zel3DVector<float>& point) const;
};

// A vector of normalised voxel space in voxel index units.
Zel3DVector<float> ToVoxels(const zel_path::Vec3& v, const float s[3]);

}  // namespace zel_cpr
