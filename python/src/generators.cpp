// The reslicing generators: MPR, oblique and multi-oblique, their parameter
// records and coordinate mappings.
#include <cmath>
#include <cstring>
#include <map>

#include <pybind11/stl.h>

#include "ZelMPRImageGenerator.h"
#include "ZelMultiObliqueImageGenerator.h"
#include "ZelObliqueImageGenerator.h"
#include "generators.h"
#include "volume.h"

namespace zelpy {

using MPRParam = ZelMPRImageGeneratorParam;
using ObliqueParam = ZelObliqueImageGeneratorParam;
using MultiParam = ZelMultiObliqueImageGeneratorParam;
using MultiImageParam = ZelMultiObliqueImageGeneratorImageParam;

namespace {

const char* const kPlaneNames[] = {"yz", "xz", "xy"};

// ---- argument checks shared by the generators ----

void CheckSize(int width, int height)
{
    if (width < 1 || height < 1) Refuse("width and height must be at least 1");
}

void CheckFinite(const Zel3DVector<float>& v, const char* what)
{
    if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z))
        Refuse(std::string(what) + " must be finite");
}

int ParseChoice(const py::handle& value, int count, const char* what)
{
    int index = -1;
    try {
        index = py::int_(py::reinterpret_borrow<py::object>(value)).cast<int>();
    } catch (const py::error_already_set&) {
        Refuse(std::string(what) + " must be an integer");
    }
    if (index < 0 || index >= count) {
        Refuse("unknown " + std::string(what) + " " + std::to_string(index) + ": expected 0 to " +
               std::to_string(count - 1));
    }
    return index;
}

int ParsePlane(const py::handle& value)
{
    if (py::isinstance<py::str>(value)) {
        const auto name = value.cast<std::string>();
        if (name == "yz" || name == "sagittal") return ZEL_MPR_PLANE_YZ;
        if (name == "xz" || name == "coronal") return ZEL_MPR_PLANE_XZ;
        if (name == "xy" || name == "axial") return ZEL_MPR_PLANE_XY;
        Refuse("unknown plane '" + name + "': expected 'yz' (sagittal), 'xz' (coronal), 'xy' (axial) or 0 to 2");
    }
    return ParseChoice(value, 3, "plane");
}

int NormalAxis(int plane)
{
    return plane == ZEL_MPR_PLANE_YZ ? 0 : plane == ZEL_MPR_PLANE_XZ ? 1 : 2;
}

int& Component(Zel3DVector<int>& v, int axis)
{
    return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
}

// A width x height picture of the generator's volume (or `out` filled),
// made without the GIL; `refusal` is the reason the library said no.
template <class Generator, class Param>
py::array Fill(Generator& generator, int width, int height, const Param& param, const py::object& out,
               const char* refusal)
{
    const int type = generator.GetImage()->GetVoxelType();
    py::array target = OutputImage(type, width, height, out);
    OutputImageWrap output(type, target, width, height);
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = generator.GenerateImage(output.image.get(), param);
    }
    if (!ok) Refuse(refusal);
    return target;
}

// ---- MPR ----

std::string PlaneName(int plane)
{
    return plane >= 0 && plane < 3 ? "'" + std::string(kPlaneNames[plane]) + "'" : std::to_string(plane);
}

std::string Repr(const MPRParam& p)
{
    const Zel3DVector<int>& s = p.slicePosition;
    return "MPRParam(plane=" + PlaneName(p.plane) + ", slice_position=(" + std::to_string(s.x) + ", " +
           std::to_string(s.y) + ", " + std::to_string(s.z) + "), center=" + FormatVector(p.center) +
           ", zoom=" + FormatFloat(p.zoom) + ", rotation=" + std::to_string(p.rotation) +
           ", rotation_angle=" + FormatFloat(p.rotationAngle) +
           ", flip_horizontal=" + (p.flipHorizontal ? "True" : "False") +
           ", flip_vertical=" + (p.flipVertical ? "True" : "False") +
           ", interpolation=" + std::to_string(p.interpolation) + ", background=" + std::to_string(p.backgroundValue) +
           ")";
}

bool Equal(const MPRParam& a, const MPRParam& b)
{
    return a.slicePosition.x == b.slicePosition.x && a.slicePosition.y == b.slicePosition.y &&
           a.slicePosition.z == b.slicePosition.z && a.center.x == b.center.x && a.center.y == b.center.y &&
           a.center.z == b.center.z && a.zoom == b.zoom && a.backgroundValue == b.backgroundValue &&
           a.rotation == b.rotation && a.rotationAngle == b.rotationAngle && a.plane == b.plane &&
           a.flipHorizontal == b.flipHorizontal && a.flipVertical == b.flipVertical &&
           a.interpolation == b.interpolation;
}

MPRParam MakeMPRParam(const py::object& plane, const py::object& slice, const py::object& slicePosition,
                      const py::object& center, float zoom, int background, const py::object& rotation,
                      float rotationAngle, bool flipHorizontal, bool flipVertical, const py::object& interpolation)
{
    MPRParam p;
    p.plane = ParsePlane(plane);
    if (!slicePosition.is_none()) p.slicePosition = ToIntVector3(slicePosition, "slice_position");
    if (!slice.is_none()) Component(p.slicePosition, NormalAxis(p.plane)) = slice.cast<int>();
    if (!center.is_none()) p.center = ToVector3(center, "center");
    p.zoom = zoom;
    p.backgroundValue = background;
    p.rotation = ParseChoice(rotation, 5, "rotation");
    p.rotationAngle = rotationAngle;
    p.flipHorizontal = flipHorizontal;
    p.flipVertical = flipVertical;
    p.interpolation = ParseChoice(interpolation, 2, "interpolation");
    return p;
}

void CheckMPRParam(const MPRParam& p)
{
    if (p.plane < 0 || p.plane > 2) Refuse("unknown plane " + std::to_string(p.plane));
    if (!(p.zoom > 0.0f) || !std::isfinite(p.zoom)) Refuse("zoom must be positive and finite");
    CheckFinite(p.center, "center");
    if (p.rotation == ZEL_MPR_ROTATION_FREE && !std::isfinite(p.rotationAngle)) {
        Refuse("rotation_angle must be finite");
    }
}

using MPRGenerator = GeneratorOf<ZelMPRImageGenerator>;

py::array GenerateMPR(const MPRGenerator& self, int width, int height, const MPRParam& param, const py::object& out)
{
    const py::object keep = self.volume;  // alive for the whole call
    ZelMPRImageGenerator generator = self.Make();
    CheckSize(width, height);
    CheckMPRParam(param);
    return Fill(generator, width, height, param, out, "the MPR generator refused the parameters");
}

py::tuple StackMPR(const MPRGenerator& self, const MPRParam& param, int thickness, bool centred, const py::object& mode,
                   int filterStrength)
{
    const py::object keep = self.volume;
    ZelImageBase* volume = GreyImageOf(self.volume, "volume");
    CheckMPRParam(param);
    if (thickness < 0) Refuse("thickness must not be negative");
    const auto stackMode = static_cast<ZelMPRStackImageMode>(ParseChoice(mode, 5, "stack mode"));
    MPRParam rewritten = param;
    ZelImageBase* image = nullptr;
    {
        py::gil_scoped_release release;
        image =
            ZelMPRImageGenerator::GenerateFilterImage(volume, rewritten, filterStrength, thickness, centred, stackMode);
    }
    if (!image) throw std::bad_alloc();
    const auto size = image->GetImageSize();
    return py::make_tuple(AdoptImage(image, {size.y, size.x}), rewritten);
}

bool Overlaps(const py::array& a, const py::array& b)
{
    const auto* a0 = static_cast<const char*>(a.data());
    const auto* b0 = static_cast<const char*>(b.data());
    return a0 < b0 + b.nbytes() && b0 < a0 + a.nbytes();
}

py::array FilterMPR(const py::object& sourceObject, int strength, const py::object& out)
{
    py::array source = CheckArrayDims(sourceObject, "source", false, 2);
    if (!source.dtype().equal(py::dtype::of<std::int16_t>())) Refuse("source must be int16, not " + DtypeName(source));
    const int height = Extent(source, 0, "source");
    const int width = Extent(source, 1, "source");
    py::array target = OutputImage(ZEL_VOXEL_SHORT, width, height, out);
    if (Overlaps(source, target)) Refuse("out must not share memory with source");
    if (strength == 0 && out.is_none()) std::memcpy(target.mutable_data(), source.data(), source.nbytes());
    ArrayImage<short> src(source, width, height);
    ArrayImage<short> dst(target, width, height);
    {
        py::gil_scoped_release release;
        ZelMPRImageGenerator::GenerateFilterImage(&dst.image, &src.image, strength);
    }
    return target;
}

// ---- oblique ----

std::string Repr(const ObliqueParam& p)
{
    std::string m = "(";
    for (int r = 0; r < 3; ++r) {
        m += r ? ", (" : "(";
        for (int c = 0; c < 3; ++c) m += (c ? ", " : "") + FormatFloat(p.orientation.m[r][c]);
        m += ")";
    }
    m += ")";
    return "ObliqueParam(center=" + FormatVector(p.center) + ", orientation=" + m + ", zoom=" + FormatFloat(p.zoom) +
           ", interpolation=" + std::to_string(p.interpolation) + ", slab_mode=" + std::to_string(p.slabMode) +
           ", thickness=" + FormatFloat(p.thickness) + ", background=" + std::to_string(p.backgroundValue) + ")";
}

bool Equal(const ObliqueParam& a, const ObliqueParam& b)
{
    return a.center.x == b.center.x && a.center.y == b.center.y && a.center.z == b.center.z &&
           std::memcmp(&a.orientation, &b.orientation, sizeof a.orientation) == 0 && a.zoom == b.zoom &&
           a.backgroundValue == b.backgroundValue && a.interpolation == b.interpolation && a.slabMode == b.slabMode &&
           a.thickness == b.thickness;
}

ObliqueParam MakeObliqueParam(const py::object& center, const py::object& orientation, float zoom, int background,
                              const py::object& interpolation, const py::object& slabMode, float thickness)
{
    ObliqueParam p;
    if (!center.is_none()) p.center = ToVector3(center, "center");
    if (!orientation.is_none()) p.orientation = ToMatrix(orientation, "orientation");
    p.zoom = zoom;
    p.backgroundValue = background;
    p.interpolation = ParseChoice(interpolation, 2, "interpolation");
    p.slabMode = ParseChoice(slabMode, 3, "slab mode");
    p.thickness = thickness;
    return p;
}

void CheckObliqueGeometry(const ObliqueParam& p)
{
    CheckFinite(p.center, "center");
    for (const auto& row : p.orientation.m) {
        for (float v : row) {
            if (!std::isfinite(v)) Refuse("orientation must be finite");
        }
    }
    if (p.zoom == 0.0f || !std::isfinite(p.zoom)) Refuse("zoom must be finite and not 0");
    if (!std::isfinite(p.thickness)) Refuse("thickness must be finite");
}

float SmallestSpacing(const ZelImageBase& volume)
{
    const auto s = volume.GetImageScale();
    return std::fmin(s.x, std::fmin(s.y, s.z));
}

// The reasons the oblique generator refuses a combination, given here in words.
void CheckObliqueCombination(const ObliqueParam& p, const ZelImageBase& volume)
{
    if (p.interpolation != 0 && p.interpolation != 1) Refuse("interpolation must be 0 or 1");
    if (p.slabMode < 0 || p.slabMode > 2) Refuse("slab mode must be 0 (average), 1 (maximum) or 2 (minimum)");
    const double n = std::floor(p.thickness / SmallestSpacing(volume));
    if (n > 16384) Refuse("the slab is thicker than 16384 smallest spacings");
    if (volume.GetVoxelType() == ZEL_VOXEL_SHORT && p.interpolation == 0 && n >= 1) {
        Refuse("a signed 16-bit slab needs interpolation=1 (nearest sampling takes no slab)");
    }
}

using ObliqueGenerator = GeneratorOf<ZelObliqueImageGenerator>;

py::array GenerateOblique(const ObliqueGenerator& self, int width, int height, const ObliqueParam& param,
                          const py::object& out)
{
    const py::object keep = self.volume;
    ZelObliqueImageGenerator generator = self.Make();
    CheckSize(width, height);
    CheckObliqueGeometry(param);
    CheckObliqueCombination(param, *generator.GetImage());
    return Fill(generator, width, height, param, out,
                "the plane lies too far from the volume for 17.15 fixed point (65536 voxels)");
}

// ---- multi-oblique ----

std::string Repr(const MultiImageParam& p)
{
    return "MultiObliqueImageParam(volume_index=" + std::to_string(p.volumeIndex) +
           ", origin=" + FormatVector(p.origin) + ", interpolation=" + std::to_string(p.interpolation) +
           ", slab_mode=" + std::to_string(p.slabMode) + ", thickness=" + FormatFloat(p.thickness) +
           ", background=" + std::to_string(p.backgroundValue) + ")";
}

std::string Repr(const MultiParam& p)
{
    std::string images = "[";
    for (std::size_t i = 0; i < p.images.size(); ++i) images += (i ? ", " : "") + Repr(p.images[i]);
    images += "]";
    ObliqueParam frame;
    frame.orientation = p.orientation;
    const std::string m = Repr(frame);
    const auto at = m.find("orientation=") + 12;
    const std::string orientation = m.substr(at, m.find("), zoom=") + 1 - at);
    return "MultiObliqueParam(center=" + FormatVector(p.center) + ", orientation=" + orientation +
           ", pixel_spacing=" + FormatFloat(p.pixelSpacing) + ", images=" + images + ")";
}

struct MultiObliqueGenerator {
    std::map<int, py::object> volumes;
};

ZelMultiObliqueImageGenerator MultiOf(const MultiObliqueGenerator& self)
{
    ZelMultiObliqueImageGenerator generator;
    for (const auto& entry : self.volumes) generator.SetImage(entry.first, GreyImageOf(entry.second, "volume"));
    return generator;
}

void CheckMultiParam(const MultiObliqueGenerator& self, const MultiParam& p)
{
    ObliqueParam frame;
    frame.center = p.center;
    frame.orientation = p.orientation;
    frame.zoom = 1.0f;
    frame.thickness = 0.0f;
    CheckObliqueGeometry(frame);
    if (!(p.pixelSpacing > 0.0f) || !std::isfinite(p.pixelSpacing)) Refuse("pixel_spacing must be positive and finite");
    if (p.images.empty()) Refuse("param.images is empty: add one MultiObliqueImageParam per output image");
    for (const auto& image : p.images) {
        const auto it = self.volumes.find(image.volumeIndex);
        if (it == self.volumes.end()) Refuse("no volume is set at index " + std::to_string(image.volumeIndex));
        const ZelImageBase& volume = *GreyImageOf(it->second, "volume");
        CheckFinite(image.origin, "origin");
        ObliqueParam derived;
        derived.interpolation = image.interpolation;
        derived.slabMode = image.slabMode;
        derived.thickness = image.thickness;
        if (!std::isfinite(image.thickness)) Refuse("thickness must be finite");
        CheckObliqueCombination(derived, volume);
    }
}

py::list GenerateMulti(const MultiObliqueGenerator& self, int width, int height, const MultiParam& param,
                       const py::object& out)
{
    std::vector<py::object> keep;
    for (const auto& entry : self.volumes) keep.push_back(entry.second);
    ZelMultiObliqueImageGenerator generator = MultiOf(self);
    CheckSize(width, height);
    CheckMultiParam(self, param);
    const std::size_t count = param.images.size();
    py::list outs;
    if (!out.is_none()) {
        outs = py::list(out);
        if (outs.size() != count) Refuse("out must hold one array per entry of param.images");
    }
    py::list targets;
    std::vector<OutputImageWrap> wraps;
    wraps.reserve(count);
    std::vector<ZelImageBase*> images;
    for (std::size_t i = 0; i < count; ++i) {
        const int type = generator.GetImage(param.images[i].volumeIndex)->GetVoxelType();
        py::array target = OutputImage(type, width, height, out.is_none() ? py::object(py::none()) : outs[i]);
        wraps.emplace_back(type, target, width, height);
        images.push_back(wraps.back().image.get());
        targets.append(target);
    }
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = generator.GenerateImage(images, param);
    }
    if (!ok) Refuse("the multi-oblique generator refused the parameters (a plane too far for 17.15 fixed point)");
    return targets;
}

}  // namespace

// The (H, W) output of a grey generator: `out` when given (checked), else new.
py::array OutputImage(int voxelType, int width, int height, const py::object& out)
{
    const py::dtype dtype = DtypeOfVoxelType(voxelType);
    if (out.is_none()) return py::array(dtype, std::vector<py::ssize_t>{height, width});
    py::array array = CheckArrayDims(out, "out", true, 2);
    if (!array.dtype().equal(dtype))
        Refuse("out must be " + py::str(py::handle(dtype)).cast<std::string>() + " like the volume");
    if (array.shape(0) != height || array.shape(1) != width) Refuse("out must have shape (height, width)");
    return array;
}

OutputImageWrap::OutputImageWrap(int voxelType, const py::array& array, int width, int height)
    : image(ZelCreateImage(voxelType, &BorrowingAllocator::Instance()))
{
    BorrowImage(*image, array, width, height, 1);
}

ZelObliqueImageGeneratorParam ToObliqueParam(const py::handle& object)
{
    if (!py::isinstance<ObliqueParam>(object)) Refuse("param must be a zelimage.ObliqueParam");
    return object.cast<ObliqueParam>();
}

ZelMPRImageGeneratorParam ToMPRParam(const py::handle& object)
{
    if (!py::isinstance<MPRParam>(object)) Refuse("param must be a zelimage.MPRParam");
    const MPRParam p = object.cast<MPRParam>();
    CheckMPRParam(p);
    return p;
}

void CheckObliqueParam(const ZelObliqueImageGeneratorParam& p)
{
    CheckObliqueGeometry(p);
}

void BindGenerators(py::module_& m)
{
    py::enum_<ZEL_MPR_PLANE>(m, "Plane", "Planes of an MPR view: the volume axis the plane is normal to.")
        .value("YZ", ZEL_MPR_PLANE_YZ, "normal x: right (0, 1, 0), down (0, 0, 1); sagittal in a usual scan")
        .value("XZ", ZEL_MPR_PLANE_XZ, "normal y: right (1, 0, 0), down (0, 0, 1); coronal")
        .value("XY", ZEL_MPR_PLANE_XY, "normal z: right (1, 0, 0), down (0, 1, 0); axial");
    py::enum_<ZEL_MPR_ROTATION>(m, "Rotation", "In-plane rotation of an MPR view.")
        .value("R0", ZEL_MPR_ROTATION_0)
        .value("R90", ZEL_MPR_ROTATION_90)
        .value("R180", ZEL_MPR_ROTATION_180)
        .value("R270", ZEL_MPR_ROTATION_270)
        .value("FREE", ZEL_MPR_ROTATION_FREE, "by rotation_angle, in radians");
    py::enum_<ZelMPRStackImageMode>(m, "StackMode", "How MPRGenerator.stack combines the slices of a slab.")
        .value("AVERAGE", ZEL_MPR_STACK_AVERAGE)
        .value("MAXIMUM", ZEL_MPR_STACK_MAXIMUM)
        .value("MINIMUM", ZEL_MPR_STACK_MINIMUM)
        .value("TRIANGLE", ZEL_MPR_STACK_TRIANGLE, "centre-weighted mean, weights falling linearly to the ends")
        .value("GAUSSIAN", ZEL_MPR_STACK_GAUSSIAN, "centre-weighted mean with Gaussian weights");
    py::enum_<ZEL_OBLIQUE_SLAB_MODE>(m, "SlabMode", "How an oblique slab combines its samples.")
        .value("AVERAGE", ZEL_OBLIQUE_SLAB_AVERAGE)
        .value("MAXIMUM", ZEL_OBLIQUE_SLAB_MAXIMUM)
        .value("MINIMUM", ZEL_OBLIQUE_SLAB_MINIMUM);

    // ---- MPR ----
    py::class_<MPRParam>(m, "MPRParam", R"(Parameters of one MPR (axis-aligned) view.

plane: 'yz' / 'sagittal' / 0, 'xz' / 'coronal' / 1, 'xy' / 'axial' / 2.
slice: the cut index along the plane's normal axis (sets that component of
slice_position). center: voxel position (x, y, z) at the picture's centre
((W - 1) / 2, (H - 1) / 2). zoom: output pixels per voxel of the finest
spacing. rotation: 0 to 3 quarter turns, 4 free by rotation_angle (radians).
interpolation: 0 nearest voxel, 1 bilinear (signed 16-bit volumes).
background: the value shown where the plane leaves the volume.)")
        .def(py::init(&MakeMPRParam), py::kw_only(), "plane"_a = 0, "slice"_a = py::none(),
             "slice_position"_a = py::none(), "center"_a = py::none(), "zoom"_a = 1.0f, "background"_a = 0,
             "rotation"_a = 0, "rotation_angle"_a = 0.0f, "flip_horizontal"_a = false, "flip_vertical"_a = false,
             "interpolation"_a = 1)
        .def_property(
            "plane", [](const MPRParam& p) { return p.plane; },
            [](MPRParam& p, const py::object& v) { p.plane = ParsePlane(v); },
            "0 (yz), 1 (xz) or 2 (xy); set from a number, a Plane or a name.")
        .def_property(
            "slice",
            [](MPRParam& p) {
                return p.plane >= 0 && p.plane < 3 ? Component(p.slicePosition, NormalAxis(p.plane)) : 0;
            },
            [](MPRParam& p, int v) { Component(p.slicePosition, NormalAxis(p.plane)) = v; },
            "Cut index along the plane's normal axis.")
        .def_property(
            "slice_position", [](const MPRParam& p) { return FromIntVector3(p.slicePosition); },
            [](MPRParam& p, const py::object& v) { p.slicePosition = ToIntVector3(v, "slice_position"); },
            "Cut index (x, y, z); only the component of the normal axis is used.")
        .def_property(
            "center", [](const MPRParam& p) { return FromVector3(p.center); },
            [](MPRParam& p, const py::object& v) { p.center = ToVector3(v, "center"); },
            "Voxel position (x, y, z) shown at the picture's centre.")
        .def_readwrite("zoom", &MPRParam::zoom, "Output pixels per voxel of the finest spacing.")
        .def_readwrite("background", &MPRParam::backgroundValue, "Value shown outside the volume.")
        .def_property(
            "rotation", [](const MPRParam& p) { return p.rotation; },
            [](MPRParam& p, const py::object& v) { p.rotation = ParseChoice(v, 5, "rotation"); },
            "0 to 3 quarter turns, 4 free (by rotation_angle).")
        .def_readwrite("rotation_angle", &MPRParam::rotationAngle, "Radians; used with rotation 4.")
        .def_readwrite("flip_horizontal", &MPRParam::flipHorizontal, "Mirror the picture left-right.")
        .def_readwrite("flip_vertical", &MPRParam::flipVertical, "Mirror the picture top-bottom.")
        .def_property(
            "interpolation", [](const MPRParam& p) { return p.interpolation; },
            [](MPRParam& p, const py::object& v) { p.interpolation = ParseChoice(v, 2, "interpolation"); },
            "0 nearest voxel, 1 bilinear (signed 16-bit volumes only; others are always nearest).")
        .def(
            "copy", [](const MPRParam& p) { return p; }, "A copy of the record.")
        .def("__repr__", [](const MPRParam& p) { return Repr(p); })
        .def("__eq__", [](const MPRParam& a, const MPRParam& b) { return Equal(a, b); })
        .def("__copy__", [](const MPRParam& p) { return p; })
        .def("__deepcopy__", [](const MPRParam& p, const py::dict&) { return p; })
        .def(py::pickle(
            [](const MPRParam& p) {
                return py::make_tuple(p.plane, FromIntVector3(p.slicePosition), FromVector3(p.center), p.zoom,
                                      p.backgroundValue, p.rotation, p.rotationAngle, p.flipHorizontal, p.flipVertical,
                                      p.interpolation);
            },
            [](const py::tuple& t) {
                return MakeMPRParam(t[0], py::none(), t[1], t[2], t[3].cast<float>(), t[4].cast<int>(), t[5],
                                    t[6].cast<float>(), t[7].cast<bool>(), t[8].cast<bool>(), t[9]);
            }));

    py::class_<MPRGenerator> mPRGenerator(m, "MPRGenerator", R"(Axis-aligned slices of a volume.

Pictures come back as (height, width) arrays of the volume's dtype; one pixel
is (smallest spacing / zoom) wide. The GIL is released while a picture is made,
so threads render in parallel; one generator serves any number of threads.)");
    BindVolumeSlot(mPRGenerator);
    mPRGenerator
        .def("generate", &GenerateMPR, "width"_a, "height"_a, "param"_a, "out"_a = py::none(),
             R"(The slice of param as a (height, width) array, or written into `out`.

A slice index outside the volume gives a picture of the background value.)")
        .def(
            "display_to_voxel",
            [](const MPRGenerator& self, int width, int height, const py::object& points, const MPRParam& param,
               bool returnInside) {
                CheckMPRParam(param);
                return DisplayToVoxel(self, width, height, points, param, returnInside);
            },
            "width"_a, "height"_a, "points"_a, "param"_a, "return_inside"_a = false,
            R"(Voxel positions (..., 3) under display positions (..., 2) of a width x height picture.

With return_inside, also a bool array: True where the voxel lies in the volume.)")
        .def(
            "voxel_to_display",
            [](const MPRGenerator& self, int width, int height, const py::object& points, const MPRParam& param,
               bool returnInside) {
                CheckMPRParam(param);
                return VoxelToDisplay(self, width, height, points, param, returnInside);
            },
            "width"_a, "height"_a, "points"_a, "param"_a, "return_inside"_a = false,
            R"(Display positions (..., 2) of voxel positions (..., 3).

With return_inside, also a bool array: True where the position lies in the picture.)")
        .def("stack", &StackMPR, "param"_a, "thickness"_a, "centred"_a = false, "mode"_a = 0, "filter_strength"_a = 0,
             R"(A thick slab of the unrotated plane at its native size.

Slices slice .. slice + thickness (or centred on the slice), cut at the
volume's ends, combined by `mode` (StackMode), then filtered when
filter_strength is not 0. Returns (picture, param), param describing the
picture as an 'xy' view of a one-slice volume.)")
        .def_static("filter", &FilterMPR, "source"_a, "strength"_a, "out"_a = py::none(),
                    R"(Smoothing (strength > 0) or sharpening (strength < 0) of an int16 (H, W) slice.

Border rows and columns are copied; results wrap to 16 bits. strength 0
returns a copy (or leaves `out` as it is).)");

    // ---- oblique ----
    py::class_<ObliqueParam>(m, "ObliqueParam", R"(Parameters of one oblique plane.

center: voxel position (x, y, z) at the picture's centre. orientation: a 3 x 3
matrix whose columns are the display right, display down and plane normal
directions (x, y, z components, in voxels of the finest spacing); see
zelimage.orientation. zoom: output pixels per voxel of the finest spacing.
interpolation: 0 nearest, 1 trilinear (signed 16-bit volumes). thickness: slab
thickness in the units of the spacing; slab_mode (SlabMode) combines it.)")
        .def(py::init(&MakeObliqueParam), py::kw_only(), "center"_a = py::none(), "orientation"_a = py::none(),
             "zoom"_a = 1.0f, "background"_a = 0, "interpolation"_a = 1, "slab_mode"_a = 0, "thickness"_a = 0.0f)
        .def_property(
            "center", [](const ObliqueParam& p) { return FromVector3(p.center); },
            [](ObliqueParam& p, const py::object& v) { p.center = ToVector3(v, "center"); },
            "Voxel position (x, y, z) at the picture's centre.")
        .def_property(
            "orientation", [](const ObliqueParam& p) { return FromMatrix(p.orientation); },
            [](ObliqueParam& p, const py::object& v) { p.orientation = ToMatrix(v, "orientation"); },
            "3 x 3 float32 array (a copy); columns right, down, normal.")
        .def_readwrite("zoom", &ObliqueParam::zoom, "Output pixels per voxel of the finest spacing (not 0).")
        .def_readwrite("background", &ObliqueParam::backgroundValue, "Value shown outside the volume.")
        .def_property(
            "interpolation", [](const ObliqueParam& p) { return p.interpolation; },
            [](ObliqueParam& p, const py::object& v) { p.interpolation = ParseChoice(v, 2, "interpolation"); },
            "0 nearest, 1 trilinear (signed 16-bit volumes; others are always nearest).")
        .def_property(
            "slab_mode", [](const ObliqueParam& p) { return p.slabMode; },
            [](ObliqueParam& p, const py::object& v) { p.slabMode = ParseChoice(v, 3, "slab mode"); },
            "SlabMode: 0 average, 1 maximum, 2 minimum.")
        .def_readwrite("thickness", &ObliqueParam::thickness,
                       "Slab thickness in the units of the spacing; below the finest spacing a thin plane.")
        .def(
            "copy", [](const ObliqueParam& p) { return p; }, "A copy of the record.")
        .def("__repr__", [](const ObliqueParam& p) { return Repr(p); })
        .def("__eq__", [](const ObliqueParam& a, const ObliqueParam& b) { return Equal(a, b); })
        .def("__copy__", [](const ObliqueParam& p) { return p; })
        .def("__deepcopy__", [](const ObliqueParam& p, const py::dict&) { return p; })
        .def(py::pickle(
            [](const ObliqueParam& p) {
                return py::make_tuple(FromVector3(p.center), FromMatrix(p.orientation), p.zoom, p.backgroundValue,
                                      p.interpolation, p.slabMode, p.thickness);
            },
            [](const py::tuple& t) {
                return MakeObliqueParam(t[0], t[1], t[2].cast<float>(), t[3].cast<int>(), t[4], t[5],
                                        t[6].cast<float>());
            }));

    py::class_<ObliqueGenerator> obliqueGenerator(m, "ObliqueGenerator",
                                                  R"(Planes of any orientation, optionally as slabs.

Pictures come back as (height, width) arrays of the volume's dtype; the GIL
is released while a picture is made.)");
    BindVolumeSlot(obliqueGenerator);
    obliqueGenerator
        .def("generate", &GenerateOblique, "width"_a, "height"_a, "param"_a, "out"_a = py::none(),
             "The plane of param as a (height, width) array, or written into `out`.")
        .def("display_to_voxel", &DisplayToVoxel<ObliqueGenerator, ObliqueParam>, "width"_a, "height"_a, "points"_a,
             "param"_a, "return_inside"_a = false,
             "Voxel positions (..., 3) under display positions (..., 2); the positions the pixels sample.")
        .def("voxel_to_display", &VoxelToDisplay<ObliqueGenerator, ObliqueParam>, "width"_a, "height"_a, "points"_a,
             "param"_a, "return_inside"_a = false,
             "Display positions (..., 2) of voxel positions (..., 3); the component along the normal is dropped.");

    // ---- multi-oblique ----
    py::class_<MultiImageParam>(m, "MultiObliqueImageParam", R"(One output of a MultiObliqueGenerator call.

volume_index: the index the volume was set at. origin: physical position of
the volume's voxel (0, 0, 0). thickness: physical slab thickness.)")
        .def(py::init([](int volumeIndex, const py::object& origin, int background, const py::object& interpolation,
                         const py::object& slabMode, float thickness) {
                 MultiImageParam p;
                 p.volumeIndex = volumeIndex;
                 if (!origin.is_none()) p.origin = ToVector3(origin, "origin");
                 p.backgroundValue = background;
                 p.interpolation = ParseChoice(interpolation, 2, "interpolation");
                 p.slabMode = ParseChoice(slabMode, 3, "slab mode");
                 p.thickness = thickness;
                 return p;
             }),
             py::kw_only(), "volume_index"_a = 0, "origin"_a = py::none(), "background"_a = 0, "interpolation"_a = 1,
             "slab_mode"_a = 0, "thickness"_a = 0.0f)
        .def_readwrite("volume_index", &MultiImageParam::volumeIndex,
                       "Index of the volume (set_volume) this output shows.")
        .def_property(
            "origin", [](const MultiImageParam& p) { return FromVector3(p.origin); },
            [](MultiImageParam& p, const py::object& v) { p.origin = ToVector3(v, "origin"); },
            "Physical position (x, y, z) of the volume's voxel (0, 0, 0).")
        .def_readwrite("background", &MultiImageParam::backgroundValue, "Value shown outside the volume.")
        .def_property(
            "interpolation", [](const MultiImageParam& p) { return p.interpolation; },
            [](MultiImageParam& p, const py::object& v) { p.interpolation = ParseChoice(v, 2, "interpolation"); },
            "0 nearest, 1 trilinear (signed 16-bit volumes).")
        .def_property(
            "slab_mode", [](const MultiImageParam& p) { return p.slabMode; },
            [](MultiImageParam& p, const py::object& v) { p.slabMode = ParseChoice(v, 3, "slab mode"); },
            "SlabMode of a slab.")
        .def_readwrite("thickness", &MultiImageParam::thickness, "Physical slab thickness; 0 for a thin plane.")
        .def("__repr__", [](const MultiImageParam& p) { return Repr(p); });

    py::class_<MultiParam>(m, "MultiObliqueParam", R"(The plane shared by every output, in physical units.

center: physical point at every picture's centre. orientation: 3 x 3, columns
right, down, normal (unit vectors). pixel_spacing: physical size of a pixel.
images: a list of MultiObliqueImageParam, one per output (assign a new list to
change it; the property returns a copy).)")
        .def(py::init([](const py::object& center, const py::object& orientation, float pixelSpacing,
                         const std::vector<MultiImageParam>& images) {
                 MultiParam p;
                 if (!center.is_none()) p.center = ToVector3(center, "center");
                 if (!orientation.is_none()) p.orientation = ToMatrix(orientation, "orientation");
                 p.pixelSpacing = pixelSpacing;
                 p.images = images;
                 return p;
             }),
             py::kw_only(), "center"_a = py::none(), "orientation"_a = py::none(), "pixel_spacing"_a = 1.0f,
             "images"_a = std::vector<MultiImageParam>())
        .def_property(
            "center", [](const MultiParam& p) { return FromVector3(p.center); },
            [](MultiParam& p, const py::object& v) { p.center = ToVector3(v, "center"); },
            "Physical point (x, y, z) at every picture's centre.")
        .def_property(
            "orientation", [](const MultiParam& p) { return FromMatrix(p.orientation); },
            [](MultiParam& p, const py::object& v) { p.orientation = ToMatrix(v, "orientation"); },
            "3 x 3, columns right, down, normal: unit vectors in physical space (a copy).")
        .def_readwrite("pixel_spacing", &MultiParam::pixelSpacing, "Physical size of one output pixel.")
        .def_readwrite("images", &MultiParam::images,
                       "One MultiObliqueImageParam per output (a copy: assign a new list).")
        .def("__repr__", [](const MultiParam& p) { return Repr(p); });

    py::class_<MultiObliqueGenerator>(m, "MultiObliqueGenerator", R"(Several oblique pictures in one call.

Volumes are set by index; every output shows the same physical plane, so a CT
and a PET of one patient overlay pixel for pixel. The rows of all outputs
are spread over the library's worker threads.)")
        .def(py::init([](const py::object& volumes) {
                 MultiObliqueGenerator g;
                 if (!volumes.is_none()) {
                     int i = 0;
                     for (const auto& v : volumes) {
                         GreyImageOf(v, "volume");
                         g.volumes[i++] = py::reinterpret_borrow<py::object>(v);
                     }
                 }
                 return g;
             }),
             "volumes"_a = py::none(), "Volumes in a sequence are set at indices 0, 1, ...")
        .def(
            "set_volume",
            [](MultiObliqueGenerator& g, int index, const py::object& volume) {
                if (index < 0) Refuse("volume index must not be negative");
                if (volume.is_none()) {
                    g.volumes.erase(index);
                } else {
                    GreyImageOf(volume, "volume");
                    g.volumes[index] = volume;
                }
            },
            "index"_a, "volume"_a, "Sets (or with None clears) the volume of an index.")
        .def(
            "get_volume",
            [](const MultiObliqueGenerator& g, int index) {
                const auto it = g.volumes.find(index);
                return it == g.volumes.end() ? py::object(py::none()) : it->second;
            },
            "index"_a, "The volume set at an index, or None.")
        .def_property_readonly(
            "volume_count", [](const MultiObliqueGenerator& g) { return MultiOf(g).GetImageCount(); },
            "One more than the highest index set.")
        .def("generate", &GenerateMulti, "width"_a, "height"_a, "param"_a, "out"_a = py::none(),
             "A list of (height, width) arrays, one per entry of param.images (or written into the arrays of `out`).")
        .def(
            "oblique_param",
            [](const MultiObliqueGenerator& self, int index, const MultiParam& param) {
                ObliqueParam oblique;
                oblique.slabMode = 0;
                if (!MultiOf(self).GetObliqueParam(index, param, oblique)) {
                    Refuse("no image " + std::to_string(index) + " with a volume in param.images");
                }
                return oblique;
            },
            "index"_a, "param"_a,
            "The ObliqueParam of output `index`, for ObliqueGenerator's mappings on that output's volume.")
        .def(
            "display_to_voxel",
            [](const MultiObliqueGenerator& self, int width, int height, int index, const py::object& points,
               const MultiParam& param, bool returnInside) {
                std::vector<py::object> keep;
                for (const auto& entry : self.volumes) keep.push_back(entry.second);
                const ZelMultiObliqueImageGenerator g = MultiOf(self);
                ObliqueParam check;
                if (!g.GetObliqueParam(index, param, check)) {
                    Refuse("no image " + std::to_string(index) + " with a volume in param.images");
                }
                return MapEach(ToPoints(points, 2, "points"), 2, 3, returnInside, [&](const float* in, float* out) {
                    Zel3DVector<float> v{};
                    const bool inside = g.DisplayToVoxel(width, height, index, {in[0], in[1]}, v, param);
                    out[0] = v.x, out[1] = v.y, out[2] = v.z;
                    return inside;
                });
            },
            "width"_a, "height"_a, "index"_a, "points"_a, "param"_a, "return_inside"_a = false,
            "Voxel positions (..., 3) in output `index`'s volume under display positions (..., 2).");
}

}  // namespace zelpy
