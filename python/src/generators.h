// Parameter records of the generators, for the other families that read them
// (the colour volume conversions take MPR and oblique views).
#pragma once

#include "ZelMPRImageGenerator.h"
#include "ZelObliqueImageGenerator.h"
#include "common.h"

namespace zelpy {

// The record of an MPRParam object, checked like the generator checks it.
ZelMPRImageGeneratorParam ToMPRParam(const py::handle& object);
// The record of an ObliqueParam object, unchecked.
ZelObliqueImageGeneratorParam ToObliqueParam(const py::handle& object);
// Refuses a centre, orientation, zoom or thickness that is not finite, and zoom 0.
void CheckObliqueParam(const ZelObliqueImageGeneratorParam& param);

// The (height, width) output of a grey generator of the given voxel type:
// `out` when given (checked), else a new array.
py::array OutputImage(int voxelType, int width, int height, const py::object& out);
// A linear image of that type over the output's memory.
struct OutputImageWrap {
    std::unique_ptr<ZelImageBase> image;
    OutputImageWrap(int voxelType, const py::array& array, int width, int height);
};

}  // namespace zelpy
