// Volumes: numpy arrays indexed [z, y, x] seen by the library without a copy,
// and tiled copies of them.
#include <cmath>
#include <new>

#include "volume.h"

namespace zelpy {

namespace {

const char* kVolumeDoc = R"(A volume the generators and colour conversions read.

Volume(array, spacing=(1.0, 1.0, 1.0))

``array`` is a C-contiguous 3-D numpy array of int16, uint16 or uint8 indexed
``[z, y, x]`` (x varies fastest), or a 4-D uint8 array ``[z, y, x, 3|4]`` of
red, green, blue (and alpha) colour voxels. The volume reads the array's memory
directly, without a copy, and keeps the array alive as long as it lives; edits
of the array show in the next picture. Every vector of the library, ``spacing``
included, is ordered (x, y, z), so the spacing of a nibabel image is
``header.get_zooms()[:3]`` of its ``[x, y, z]`` data, whose ``.T`` is the
``[z, y, x]`` array wanted here.

``to_tiled()`` makes a copy stored in 16 x 16 x 16 blocks, which reslices along
any axis touch fewer memory pages; pictures are the same either way.)";

std::string LayoutName(const ZelImageBase& image)
{
    return image.IsTiled() ? "tiled" : "linear";
}

std::string TypeName(const ZelImageBase& image)
{
    switch (image.GetVoxelType()) {
    case ZEL_VOXEL_SHORT: return "int16";
    case ZEL_VOXEL_USHORT: return "uint16";
    case ZEL_VOXEL_UCHAR: return "uint8";
    case ZEL_VOXEL_RGB: return "rgb";
    default: return "rgba";
    }
}

int Components(const ZelImageBase& image)
{
    switch (image.GetVoxelType()) {
    case ZEL_VOXEL_RGB: return 3;
    case ZEL_VOXEL_RGBA: return 4;
    default: return 1;
    }
}

Zel3DVector<float> CheckSpacing(const py::handle& object)
{
    const Zel3DVector<float> s = ToVector3(object, "spacing");
    for (float v : {s.x, s.y, s.z}) {
        if (!(v > 0.0f) || !std::isfinite(v)) Refuse("spacing must be positive and finite on every axis");
    }
    return s;
}

std::vector<py::ssize_t> ArrayShape(const ZelImageBase& image)
{
    const auto size = image.GetImageSize();
    std::vector<py::ssize_t> shape{size.z, size.y, size.x};
    if (Components(image) > 1) shape.push_back(Components(image));
    return shape;
}

Volume MakeVolume(const py::object& object, const py::object& spacing)
{
    py::array array = CheckArrayDims(object, "volume array", false, 3, 4);
    int type = 0;
    if (array.ndim() == 3) {
        type = GreyVoxelType(array);
        if (!type) Refuse("volume array must be int16, uint16 or uint8, not " + DtypeName(array));
    } else {
        const auto components = array.shape(3);
        if (!array.dtype().equal(py::dtype::of<std::uint8_t>()) || (components != 3 && components != 4)) {
            Refuse("a 4-D volume array must be uint8 [z, y, x, 3] (RGB) or [z, y, x, 4] (RGBA)");
        }
        type = components == 3 ? ZEL_VOXEL_RGB : ZEL_VOXEL_RGBA;
    }
    const int sz = Extent(array, 0, "volume array");
    const int sy = Extent(array, 1, "volume array");
    const int sx = Extent(array, 2, "volume array");
    const Zel3DVector<float> scale = CheckSpacing(spacing);

    Volume volume;
    volume.image.reset(ZelCreateImage(type, &BorrowingAllocator::Instance()));
    if (!volume.image) throw std::bad_alloc();
    BorrowImage(*volume.image, array, sx, sy, sz);
    volume.image->SetImageScale(scale);
    volume.array = array;
    return volume;
}

// A volume owning a copy of `image` in the given layout.
Volume CloneVolume(const ZelImageBase& image, int alignment)
{
    Volume copy;
    {
        py::gil_scoped_release release;
        copy.image.reset(image.Clone(alignment));
    }
    if (!copy.image) throw std::bad_alloc();
    copy.array = py::none();
    return copy;
}

// The voxels of a linear volume as an array; `owner` keeps them alive.
py::array LinearArray(const Volume& volume, const py::handle& owner)
{
    if (!volume.array.is_none()) return volume.array;
    const ZelImageBase& image = *volume.image;
    return py::array(DtypeOfVoxelType(image.GetVoxelType()), ArrayShape(image), {}, image.GetVoidDataPtr(), owner);
}

py::array ToNumpy(const py::object& self)
{
    const Volume& volume = self.cast<const Volume&>();
    if (!volume.image->IsTiled()) return LinearArray(volume, self);
    ZelImageBase* linear = nullptr;
    {
        py::gil_scoped_release release;
        linear = volume.image->Clone(ZEL_ALIGNMENT_LINEAR);
    }
    if (!linear) throw std::bad_alloc();
    return AdoptImage(linear, ArrayShape(*linear));
}

}  // namespace

ZelImageBase* ImageOf(const py::handle& volume, const char* what)
{
    if (volume.is_none()) Refuse(std::string("no ") + what + " is set");
    if (!py::isinstance<Volume>(volume)) Refuse(std::string(what) + " must be a zelimage.Volume");
    return volume.cast<Volume&>().image.get();
}

ZelImageBase* GreyImageOf(const py::handle& volume, const char* what)
{
    ZelImageBase* image = ImageOf(volume, what);
    const int type = image->GetVoxelType();
    if (type == ZEL_VOXEL_RGB || type == ZEL_VOXEL_RGBA) {
        Refuse(std::string(what) + " holds colour voxels; show colour volumes with convert_rgb / convert_rgba");
    }
    return image;
}

void BindVolumes(py::module_& m)
{
    py::class_<Volume>(m, "Volume", kVolumeDoc)
        .def(py::init(&MakeVolume), "array"_a, "spacing"_a = py::make_tuple(1.0f, 1.0f, 1.0f))
        .def_property_readonly(
            "shape",
            [](const Volume& v) {
                const auto shape = ArrayShape(*v.image);
                py::tuple t(shape.size());
                for (std::size_t i = 0; i < shape.size(); ++i) t[i] = shape[i];
                return t;
            },
            "Shape of the voxel array: (z, y, x), with the colour components last.")
        .def_property_readonly(
            "size", [](const Volume& v) { return FromIntVector3(v.image->GetImageSize()); }, "Voxels along x, y and z.")
        .def_property(
            "spacing", [](const Volume& v) { return FromVector3(v.image->GetImageScale()); },
            [](Volume& v, const py::object& s) { v.image->SetImageScale(CheckSpacing(s)); },
            "Voxel spacing (x, y, z), usually in mm; positive and finite.")
        .def_property_readonly(
            "dtype", [](const Volume& v) { return DtypeOfVoxelType(v.image->GetVoxelType()); },
            "numpy dtype of a voxel (of one component for colour volumes).")
        .def_property_readonly(
            "voxel_type", [](const Volume& v) { return TypeName(*v.image); },
            "'int16', 'uint16', 'uint8', 'rgb' or 'rgba'.")
        .def_property_readonly(
            "tiled", [](const Volume& v) { return v.image->IsTiled(); },
            "True when the voxels are stored in 16 x 16 x 16 blocks.")
        .def_property_readonly(
            "centre",
            [](const Volume& v) {
                const auto s = v.image->GetImageSize();
                return FromVector3({(s.x - 1) * 0.5f, (s.y - 1) * 0.5f, (s.z - 1) * 0.5f});
            },
            "Voxel position (x, y, z) of the middle of the volume.")
        .def_property_readonly(
            "array",
            [](const py::object& self) -> py::object {
                const Volume& v = self.cast<const Volume&>();
                if (v.image->IsTiled()) return py::none();
                return LinearArray(v, self);
            },
            "The voxels as a numpy array [z, y, x] without a copy; None for a tiled volume (see to_numpy).")
        .def(
            "to_tiled",
            [](const Volume& v) { return v.image->IsTiled() ? CloneVolume(*v.image, -1) : CloneVolume(*v.image, 1); },
            "A copy stored in 16 x 16 x 16 blocks, with the same spacing.")
        .def(
            "to_linear", [](const Volume& v) { return CloneVolume(*v.image, ZEL_ALIGNMENT_LINEAR); },
            "A copy stored linearly (x fastest), with the same spacing.")
        .def("to_numpy", &ToNumpy,
             "The voxels as an array [z, y, x]: the volume's own array when it is linear, a new one when it is tiled.")
        .def("__repr__",
             [](const Volume& v) {
                 const auto size = v.image->GetImageSize();
                 return "Volume(size=(" + std::to_string(size.x) + ", " + std::to_string(size.y) + ", " +
                        std::to_string(size.z) + "), voxel_type='" + TypeName(*v.image) +
                        "', spacing=" + FormatVector(v.image->GetImageScale()) + ", layout='" + LayoutName(*v.image) +
                        "')";
             })
        .def(py::pickle(
            [](const py::object& self) {
                const Volume& v = self.cast<const Volume&>();
                return py::make_tuple(ToNumpy(self), FromVector3(v.image->GetImageScale()), v.image->IsTiled());
            },
            [](const py::tuple& state) {
                Volume v = MakeVolume(state[0], state[1]);
                return state[2].cast<bool>() ? CloneVolume(*v.image, ZEL_ALIGNMENT_TILED) : std::move(v);
            }));
}

}  // namespace zelpy
