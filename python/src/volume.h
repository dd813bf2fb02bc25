// The Python volume: a ZelImage over a numpy array's memory, or over memory of
// its own (tiled volumes, conversions).
#pragma once

#include <memory>

#include "common.h"

namespace zelpy {

struct Volume {
    // The array whose memory holds the voxels (None when the image owns them).
    // Declared first so that it outlives the image.
    py::object array;
    std::unique_ptr<ZelImageBase> image;
};

// The image of a Volume object; refuses None and other objects.
ZelImageBase* ImageOf(const py::handle& volume, const char* what);
// The same for volumes a generator reads: grey voxels only.
ZelImageBase* GreyImageOf(const py::handle& volume, const char* what);

}  // namespace zelpy
