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

// A Python generator: the volume it reads, kept alive. Every call makes its
// own library generator on it, so threads never share one.
template <class Generator>
struct GeneratorOf {
    py::object volume = py::none();

    Generator Make() const
    {
        Generator generator;
        generator.SetImage(GreyImageOf(volume, "volume"));
        return generator;
    }
};

// The mappings every single-plane generator offers, over arrays of points:
// display (..., 2) to voxel (..., 3) and back, with the inside flags on request.
template <class Holder, class Param>
py::object DisplayToVoxel(const Holder& self, int width, int height, const py::object& points, const Param& param,
                          bool returnInside)
{
    const py::object keep = self.volume;
    const auto generator = self.Make();
    return MapEach(ToPoints(points, 2, "points"), 2, 3, returnInside, [&](const float* in, float* out) {
        Zel3DVector<float> v{};
        const bool inside = generator.DisplayToVoxel(width, height, {in[0], in[1]}, v, param);
        out[0] = v.x, out[1] = v.y, out[2] = v.z;
        return inside;
    });
}

template <class Holder, class Param>
py::object VoxelToDisplay(const Holder& self, int width, int height, const py::object& points, const Param& param,
                          bool returnInside)
{
    const py::object keep = self.volume;
    const auto generator = self.Make();
    return MapEach(ToPoints(points, 3, "points"), 3, 2, returnInside, [&](const float* in, float* out) {
        Zel2DVector<float> d{};
        const bool inside = generator.VoxelToDisplay(width, height, {in[0], in[1], in[2]}, d, param);
        out[0] = d.x, out[1] = d.y;
        return inside;
    });
}

// The constructor GeneratorOf(volume=None) and its volume property.
template <class Holder>
void BindVolumeSlot(py::class_<Holder>& c)
{
    c.def(py::init([](const py::object& volume) {
              Holder g;
              if (!volume.is_none()) GreyImageOf(volume, "volume");
              g.volume = volume;
              return g;
          }),
          "volume"_a = py::none())
        .def_property(
            "volume", [](const Holder& g) { return g.volume; },
            [](Holder& g, const py::object& v) {
                if (!v.is_none()) GreyImageOf(v, "volume");
                g.volume = v;
            },
            "The Volume read (grey voxels), kept alive.");
}

}  // namespace zelpy
