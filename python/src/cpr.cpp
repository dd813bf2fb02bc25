// Curved planar reformations: the parameter record with its path, the rows
// as a numpy structured array, the generator and its mappings.
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <type_traits>

#include <pybind11/stl.h>

#include "ZelCPRImageGenerator.h"
#include "generators.h"
#include "paths.h"
#include "volume.h"

namespace zelpy {

namespace {

using Param = ZelCPRImageGeneratorParam;
using Row = ZelCPRRenderingPoint;
using Vec = Zel3DVector<float>;
using Curve = ZelSplineCurve<Vec>;
static_assert(std::is_trivially_copyable<Row>::value, "rows are copied as bytes");

// The rows' numpy dtype, laid out exactly as ZelCPRRenderingPoint.
py::dtype RowDtype()
{
    // Made once and never released: the interpreter may be gone when static
    // objects are destroyed.
    static PyObject* const dtype = [] {
        const py::module_ np = py::module_::import("numpy");
        py::list names, formats, offsets;
        const auto field = [&](const char* name, const py::object& format, std::size_t offset) {
            names.append(name), formats.append(format), offsets.append(offset);
        };
        const py::tuple vec = py::make_tuple("<f4", py::make_tuple(3));
        field("start", vec, offsetof(Row, start));
        field("normal", vec, offsetof(Row, normal));
        field("step", vec, offsetof(Row, step));
        field("row_axis", vec, offsetof(Row, rowAxis));
        field("cross_axis", vec, offsetof(Row, crossAxis));
        field("shift", py::str("<f4"), offsetof(Row, shift));
        field("valid", py::str("?"), offsetof(Row, valid));
        field("constructed", py::str("?"), offsetof(Row, constructed));
        field("position", py::str("<f4"), offsetof(Row, position));
        field("diameter", py::str("<f4"), offsetof(Row, diameter));
        py::dict layout;
        layout["names"] = names, layout["formats"] = formats, layout["offsets"] = offsets;
        layout["itemsize"] = sizeof(Row);
        return np.attr("dtype")(layout).release().ptr();
    }();
    return py::reinterpret_borrow<py::dtype>(dtype);
}

py::array FromRows(const std::vector<Row>& rows)
{
    py::array a(RowDtype(), std::vector<py::ssize_t>{static_cast<py::ssize_t>(rows.size())});
    if (!rows.empty()) std::memcpy(a.mutable_data(), rows.data(), rows.size() * sizeof(Row));
    return a;
}

std::vector<Row> ToRows(const py::object& object)
{
    py::array a = CheckArrayDims(object, "rendering points", false, 1);
    if (!a.dtype().equal(RowDtype())) Refuse("rendering points must be an array of zelimage.CPR_ROW_DTYPE");
    std::vector<Row> rows(static_cast<std::size_t>(a.shape(0)));
    if (!rows.empty()) std::memcpy(rows.data(), a.data(), rows.size() * sizeof(Row));
    return rows;
}

int ParseName(const py::handle& value, std::initializer_list<const char*> names, const char* what)
{
    const int count = static_cast<int>(names.size());
    if (py::isinstance<py::str>(value)) {
        const auto name = value.cast<std::string>();
        int i = 0;
        std::string known;
        for (const char* n : names) {
            if (name == n) return i;
            known += (i ? ", '" : "'") + std::string(n) + "'";
            ++i;
        }
        Refuse("unknown " + std::string(what) + " '" + name + "': expected " + known);
    }
    int index = -1;
    try {
        index = py::int_(py::reinterpret_borrow<py::object>(value)).cast<int>();
    } catch (const py::error_already_set&) {
        Refuse(std::string(what) + " must be a name or a number");
    }
    if (index < 0 || index >= count) Refuse("unknown " + std::string(what) + " " + std::to_string(index));
    return index;
}

int ParseConstruction(const py::handle& v)
{
    return ParseName(v, {"straight", "fixed", "stretch"}, "construction");
}

int ParseLayout(const py::handle& v)
{
    return ParseName(v, {"columns", "rows", "projection"}, "layout");
}

int ParseSlabMode(const py::handle& v)
{
    return ParseName(v, {"none", "maximum", "minimum", "average"}, "slab mode");
}

// The record with the path it reads, and a lock: a rebuild writes the record
// while the GIL is released.
struct CPRParam {
    Param p;
    py::object path = py::none();
    mutable std::mutex lock;

    CPRParam()
    {
        p.rowBandCenter = 0;
        p.columnBandCenter = 0;
        p.slabOffset = 0;
    }
    void SetPath(const py::object& object)
    {
        if (!object.is_none() && !py::isinstance<ZelPath>(object)) Refuse("path must be a zelimage.Path");
        p.pathPlane.SetPath(object.is_none() ? nullptr : object.cast<ZelPath*>());
        path = object;
    }
};

std::unique_ptr<CPRParam> MakeParam(const py::object& path, const py::object& construction, float scale, int offset,
                                    int centerColumn, const py::object& direction, float rotationAngle, double pitch,
                                    double tangentSpan, const py::object& up, const py::object& view,
                                    const py::object& layout, const py::object& interpolation, int background,
                                    const py::object& slabMode, int slabSamples, const py::object& bandWidth,
                                    int bandCenter, int slabOffset)
{
    auto c = std::make_unique<CPRParam>();
    Param& p = c->p;
    c->SetPath(path);
    p.construction = ParseConstruction(construction);
    p.scale = scale;
    p.offset = offset;
    p.centerColumn = centerColumn;
    if (!direction.is_none()) p.direction = ToVector3(direction, "direction");
    p.rotationAngle = rotationAngle;
    p.pitch = pitch;
    p.tangentSpan = tangentSpan;
    if (!up.is_none()) p.up = ToVector3(up, "up");
    if (!view.is_none()) p.view = ToMatrix(view, "view");
    p.layout = ParseLayout(layout);
    p.interpolation = ParseName(interpolation, {"nearest", "linear"}, "interpolation");
    if (background < SHRT_MIN || background > SHRT_MAX) Refuse("background must fit int16");
    p.backgroundValue = static_cast<short>(background);
    p.slabMode = ParseSlabMode(slabMode);
    p.slabSampleCount = slabSamples;
    p.bandEnabled = !bandWidth.is_none();
    p.bandWidth = bandWidth.is_none() ? 0 : bandWidth.cast<int>();
    p.rowBandCenter = p.columnBandCenter = bandCenter;
    p.slabOffset = slabOffset;
    return c;
}

void CheckGeneration(const Param& p, const ZelImageBase& volume)
{
    if (p.slabSampleCount < 0 || p.slabSampleCount > 16385) Refuse("slab_samples must lie in 0 .. 16385");
    if (p.layout == ZEL_CPR_LAYOUT_PROJECTION && volume.GetVoxelType() != ZEL_VOXEL_SHORT) {
        Refuse("the projection layout needs a signed 16-bit volume");
    }
    if (!(p.scale > 0.0f) || !std::isfinite(p.scale)) Refuse("scale must be positive and finite");
}

using CPRGenerator = GeneratorOf<ZelCPRImageGenerator>;

py::array Generate(const CPRGenerator& self, int width, int height, CPRParam& param, bool rebuild,
                   const py::object& out)
{
    const py::object keepVolume = self.volume;
    const py::object keepPath = param.path;
    ZelCPRImageGenerator generator = self.Make();
    if (width < 1 || height < 1) Refuse("width and height must be at least 1");
    CheckGeneration(param.p, *generator.GetImage());
    const int type = generator.GetImage()->GetVoxelType();
    py::array target = OutputImage(type, width, height, out);
    OutputImageWrap output(type, target, width, height);
    bool ok = false;
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> guard(param.lock);
        ok = generator.GenerateImage(output.image.get(), param.p, rebuild);
    }
    if (!ok) {
        Refuse(rebuild ? "the CPR generator has nothing to build its rows from (set a path with two or more points)"
                       : "the CPR generator refused the parameters");
    }
    return target;
}

const char* kParamDoc = R"(Parameters of a curved planar reformation.

With rebuild (the default of CPRGenerator.generate) the rows are made from
the path: construction 'straight' (the path straightened along its
twist-free frames; rotation_angle, pitch, tangent_span and up shape the
frames), 'fixed' (rows along `direction`) or 'stretch' (rows along
`direction`, aligned to one depth). scale: pixels per voxel of the finest
spacing. center_column: the path lies that many pixels past the middle of a
line. layout: 'columns' (one row record per image column), 'rows' or
'projection' (the curve seen along view's normal, int16 volumes). slab_mode
'maximum', 'minimum' or 'average' over slab_samples samples across the line;
band_width (None for no band) limits sampling to a band of each line around
band_center. The rows (rendering_points) are kept between calls: without
rebuild they are used as they are, in voxel units.)";

}  // namespace

void BindCPR(py::module_& m)
{
    m.attr("CPR_ROW_DTYPE") = RowDtype();

    py::class_<CPRParam>(m, "CPRParam", kParamDoc)
        .def(py::init(&MakeParam), py::kw_only(), "path"_a = py::none(), "construction"_a = "straight",
             "scale"_a = 1.0f, "offset"_a = 0, "center_column"_a = 0, "direction"_a = py::none(),
             "rotation_angle"_a = 0.0f, "pitch"_a = 1.0, "tangent_span"_a = 0.01, "up"_a = py::none(),
             "view"_a = py::none(), "layout"_a = "columns", "interpolation"_a = 1, "background"_a = 0,
             "slab_mode"_a = "none", "slab_samples"_a = 0, "band_width"_a = py::none(), "band_center"_a = 0,
             "slab_offset"_a = 0)
        .def_property(
            "path", [](const CPRParam& c) { return c.path; }, [](CPRParam& c, const py::object& v) { c.SetPath(v); },
            "The Path the rows are built from (kept alive; rebuild sets its aspect to the normalised spacing).")
        .def_property(
            "construction", [](const CPRParam& c) { return c.p.construction; },
            [](CPRParam& c, const py::object& v) { c.p.construction = ParseConstruction(v); },
            "0 'straight', 1 'fixed', 2 'stretch'.")
        .def_property(
            "scale", [](const CPRParam& c) { return c.p.scale; }, [](CPRParam& c, float v) { c.p.scale = v; },
            "Pixels per voxel of the finest spacing along the rows and between them.")
        .def_property(
            "offset", [](const CPRParam& c) { return c.p.offset; }, [](CPRParam& c, int v) { c.p.offset = v; },
            "Rows by which the path is scrolled.")
        .def_property(
            "center_column", [](const CPRParam& c) { return c.p.centerColumn; },
            [](CPRParam& c, int v) { c.p.centerColumn = v; },
            "Pixels past the middle of a line at which the path lies.")
        .def_property(
            "direction", [](const CPRParam& c) { return FromVector3(c.p.direction); },
            [](CPRParam& c, const py::object& v) { c.p.direction = ToVector3(v, "direction"); },
            "Unit row direction (x, y, z) of fixed and stretched rows, in voxels.")
        .def_property(
            "rotation_angle", [](const CPRParam& c) { return c.p.rotationAngle; },
            [](CPRParam& c, float v) { c.p.rotationAngle = v; },
            "Straightened rows: turn of the frames about the path, radians.")
        .def_property(
            "pitch", [](const CPRParam& c) { return c.p.pitch; }, [](CPRParam& c, double v) { c.p.pitch = v; },
            "Straightened rows: distance between the path planes.")
        .def_property(
            "tangent_span", [](const CPRParam& c) { return c.p.tangentSpan; },
            [](CPRParam& c, double v) { c.p.tangentSpan = v; },
            "Straightened rows: half the chord that gives each tangent, a fraction of the curve.")
        .def_property(
            "up", [](const CPRParam& c) { return FromVector3(c.p.up); },
            [](CPRParam& c, const py::object& v) { c.p.up = ToVector3(v, "up"); },
            "Straightened rows: the first row points this way (x, y, z).")
        .def_property(
            "view", [](const CPRParam& c) { return FromMatrix(c.p.view); },
            [](CPRParam& c, const py::object& v) { c.p.view = ToMatrix(v, "view"); },
            "Projection layout: 3 x 3, columns right, down, normal (a copy).")
        .def_property(
            "layout", [](const CPRParam& c) { return c.p.layout; },
            [](CPRParam& c, const py::object& v) { c.p.layout = ParseLayout(v); },
            "0 'columns', 1 'rows', 2 'projection'.")
        .def_property(
            "interpolation", [](const CPRParam& c) { return c.p.interpolation; },
            [](CPRParam& c, const py::object& v) {
                c.p.interpolation = ParseName(v, {"nearest", "linear"}, "interpolation");
            },
            "0 'nearest', 1 'linear' (signed 16-bit volumes; others are always nearest).")
        .def_property(
            "background", [](const CPRParam& c) { return c.p.backgroundValue; },
            [](CPRParam& c, short v) { c.p.backgroundValue = v; }, "Value of pixels with no sample (int16).")
        .def_property(
            "slab_mode", [](const CPRParam& c) { return c.p.slabMode; },
            [](CPRParam& c, const py::object& v) { c.p.slabMode = ParseSlabMode(v); },
            "0 'none', 1 'maximum', 2 'minimum', 3 'average'.")
        .def_property(
            "slab_samples", [](const CPRParam& c) { return c.p.slabSampleCount; },
            [](CPRParam& c, int v) { c.p.slabSampleCount = v; }, "Samples across the line; 2 or more makes a slab.")
        .def_property(
            "band_width",
            [](const CPRParam& c) { return c.p.bandEnabled ? py::object(py::int_(c.p.bandWidth)) : py::none(); },
            [](CPRParam& c, const py::object& v) {
                c.p.bandEnabled = !v.is_none();
                c.p.bandWidth = v.is_none() ? 0 : v.cast<int>();
            },
            "Pixels of each line that are sampled (None: all).")
        .def_property(
            "band_center", [](const CPRParam& c) { return c.p.layout == 0 ? c.p.columnBandCenter : c.p.rowBandCenter; },
            [](CPRParam& c, int v) { c.p.rowBandCenter = c.p.columnBandCenter = v; },
            "Offset of the band from the middle of each line.")
        .def_property(
            "slab_offset", [](const CPRParam& c) { return c.p.slabOffset; },
            [](CPRParam& c, int v) { c.p.slabOffset = v; },
            "Slab steps by which every line is moved across (a parallel surface).")
        .def_property(
            "rendering_points",
            [](const CPRParam& c) {
                std::lock_guard<std::mutex> guard(c.lock);
                return FromRows(c.p.renderingPoints);
            },
            [](CPRParam& c, const py::object& v) {
                auto rows = ToRows(v);
                std::lock_guard<std::mutex> guard(c.lock);
                c.p.renderingPoints = std::move(rows);
            },
            "One record per line (a structured array of CPR_ROW_DTYPE, a copy), in voxel units.")
        .def_property(
            "curve", [](const CPRParam& c) { return c.p.curve; }, [](CPRParam& c, const Curve& v) { c.p.curve = v; },
            "The curve of fixed, stretched and projected rows (a copy).")
        .def_property(
            "control_points", [](const CPRParam& c) { return FromVectorList(c.p.controlPoints); },
            [](CPRParam& c, const py::object& v) { c.p.controlPoints = ToVectorList(v, "control_points"); },
            "The control points of fixed, stretched and projected rows, (N, 3) (a copy).")
        .def(
            "copy",
            [](const CPRParam& c) {
                auto copy = std::make_unique<CPRParam>();
                std::lock_guard<std::mutex> guard(c.lock);
                copy->p = c.p;
                copy->path = c.path;
                return copy;
            },
            "A copy sharing the path.")
        .def("__repr__", [](const CPRParam& c) {
            static const char* constructions[] = {"straight", "fixed", "stretch"};
            static const char* layouts[] = {"columns", "rows", "projection"};
            const Param& p = c.p;
            return std::string("CPRParam(construction='") + constructions[p.construction % 3] +
                   "', scale=" + FormatFloat(p.scale) + ", offset=" + std::to_string(p.offset) +
                   ", center_column=" + std::to_string(p.centerColumn) + ", direction=" + FormatVector(p.direction) +
                   ", layout='" + layouts[p.layout % 3] + "', interpolation=" + std::to_string(p.interpolation) +
                   ", slab_mode=" + std::to_string(p.slabMode) + ", slab_samples=" + std::to_string(p.slabSampleCount) +
                   ", rows=" + std::to_string(p.renderingPoints.size()) + ")";
        });

    py::class_<CPRGenerator> cPRGenerator(m, "CPRGenerator", R"(Curved planar reformations along a path.

Pictures come back as (height, width) arrays of the volume's dtype; the GIL is
released while a picture is made.)");
    BindVolumeSlot(cPRGenerator);
    cPRGenerator
        .def("generate", &Generate, "width"_a, "height"_a, "param"_a, "rebuild"_a = true, "out"_a = py::none(),
             "The reformation as a (height, width) array; with rebuild the rows are made from the path first.")
        .def(
            "display_to_voxel",
            [](const CPRGenerator& self, int width, int height, const py::object& points, const CPRParam& param,
               bool returnInside) {
                std::lock_guard<std::mutex> guard(param.lock);
                return DisplayToVoxel(self, width, height, points, param.p, returnInside);
            },
            "width"_a, "height"_a, "points"_a, "param"_a, "return_inside"_a = false,
            "Voxel positions (..., 3) the pixels at display positions (..., 2) sample.")
        .def(
            "display_to_path",
            [](const CPRGenerator& self, int width, int height, const py::object& points, const CPRParam& param,
               bool returnInside) {
                const py::object keep = self.volume;
                const ZelCPRImageGenerator g = self.Make();
                std::lock_guard<std::mutex> guard(param.lock);
                return MapEach(ToPoints(points, 2, "points"), 2, 1, returnInside, [&](const float* in, float* out) {
                    return g.DisplayToPath(width, height, {in[0], in[1]}, *out, param.p);
                });
            },
            "width"_a, "height"_a, "points"_a, "param"_a, "return_inside"_a = false,
            "Path positions (0..1) under display positions (..., 2); with return_inside, where a line answers.")
        .def(
            "path_to_display",
            [](const CPRGenerator& self, int width, int height, const py::object& positions, const CPRParam& param,
               bool returnInside) {
                const py::object keep = self.volume;
                const ZelCPRImageGenerator g = self.Make();
                std::lock_guard<std::mutex> guard(param.lock);
                return MapEach(ToScalars(positions, "positions"), 1, 2, returnInside, [&](const float* in, float* out) {
                    Zel2DVector<float> d{};
                    const bool inside = g.PathToDisplay(width, height, *in, d, param.p);
                    out[0] = d.x, out[1] = d.y;
                    return inside;
                });
            },
            "width"_a, "height"_a, "positions"_a, "param"_a, "return_inside"_a = false,
            "Display positions (..., 2) of path positions (...).")
        .def(
            "path_to_oblique",
            [](const CPRGenerator& self, int width, int height, float position, const CPRParam& param) {
                const py::object keep = self.volume;
                const ZelCPRImageGenerator g = self.Make();
                ZelObliqueImageGeneratorParam oblique;
                oblique.slabMode = 0;
                bool ok = false;
                {
                    std::lock_guard<std::mutex> guard(param.lock);
                    ok = g.PathToOblique(width, height, position, oblique, param.p);
                }
                if (!ok) Refuse("no valid line of the reformation answers at this path position");
                return oblique;
            },
            "width"_a, "height"_a, "position"_a, "param"_a,
            "The ObliqueParam of the cross-section of the path at a path position.")
        .def_static(
            "construct_straight_path",
            [](int rows, float scale, int offset, int centerColumn, const py::object& pathPlane) {
                std::vector<Row> points;
                const auto& planes = PathPlaneOf(pathPlane);
                ZelCPRImageGenerator::ConstructStraightPath(rows, scale, offset, centerColumn, planes, points);
                return FromRows(points);
            },
            "rows"_a, "scale"_a, "offset"_a, "center_column"_a, "path_plane"_a,
            "Rows straightened along a PathPlane's frames, in the path's space.")
        .def_static(
            "construct_fixed_path",
            [](int rows, float scale, int offset, int centerColumn, const py::object& direction, const Curve& curve) {
                std::vector<Row> points;
                ZelCPRImageGenerator::ConstructFixedPath(rows, scale, offset, centerColumn,
                                                         ToVector3(direction, "direction"), curve, points);
                return FromRows(points);
            },
            "rows"_a, "scale"_a, "offset"_a, "center_column"_a, "direction"_a, "curve"_a,
            "Rows along a fixed unit direction, spaced by arc length.")
        .def_static(
            "construct_stretch_path",
            [](int rows, float scale, int offset, int centerColumn, const py::object& direction, const Curve& curve,
               const py::object& controlPoints) {
                std::vector<Row> points;
                ZelCPRImageGenerator::ConstructStretchPath(rows, scale, offset, centerColumn,
                                                           ToVector3(direction, "direction"), curve,
                                                           ToVectorList(controlPoints, "control_points"), points);
                return FromRows(points);
            },
            "rows"_a, "scale"_a, "offset"_a, "center_column"_a, "direction"_a, "curve"_a, "control_points"_a,
            "Rows along a fixed direction, aligned to the depth of the control points' bounding-box centre.")
        .def_static(
            "construct_projection",
            [](float scale, const py::object& view, const Curve& curve, const py::object& controlPoints) {
                std::vector<Vec> points;
                ZelCPRImageGenerator::ConstructProjection(scale, ToMatrix(view, "view"), curve,
                                                          ToVectorList(controlPoints, "control_points"), points);
                return FromVectorList(points);
            },
            "scale"_a, "view"_a, "curve"_a, "control_points"_a,
            "The curve densified to about one screen row per point along the view's down direction.");
}

}  // namespace zelpy
