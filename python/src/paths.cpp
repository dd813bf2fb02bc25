// Paths through a volume, their splines, and planes laid along them.
#include <cmath>
#include <exception>

#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include "ZelPath.h"
#include "ZelPathPlane.h"
#include "ZelSplineCurve.h"
#include "paths.h"

namespace zelpy {

namespace {

using Vec = Zel3DVector<float>;
using Curve = ZelSplineCurve<Vec>;

py::array_t<double> FromDoubles(const std::vector<double>& v)
{
    py::array_t<double> a(static_cast<py::ssize_t>(v.size()));
    std::copy(v.begin(), v.end(), a.mutable_data());
    return a;
}

void CheckStatus(int status)
{
    if (status == ZEL_SPLINE_OUT_OF_MEMORY) throw std::bad_alloc();
}

// Evaluates `eval` at a scalar (a 3-tuple back) or at every entry of an array
// (an (..., 3) array back).
template <class Eval>
py::object EvaluateVec(const py::object& t, Eval eval)
{
    if (py::isinstance<py::float_>(t) || py::isinstance<py::int_>(t)) return FromVector3(eval(t.cast<double>()));
    auto in = py::array_t<double, py::array::c_style | py::array::forcecast>::ensure(t);
    if (!in) {
        PyErr_Clear();
        Refuse("parameters must be a number or an array of numbers");
    }
    std::vector<py::ssize_t> shape(in.shape(), in.shape() + in.ndim());
    shape.push_back(3);
    py::array_t<float> out(shape);
    const double* src = in.data();
    float* dst = out.mutable_data();
    for (py::ssize_t i = 0; i < in.size(); ++i) {
        const Vec v = eval(src[i]);
        dst[3 * i] = v.x, dst[3 * i + 1] = v.y, dst[3 * i + 2] = v.z;
    }
    return std::move(out);
}

// ---- plane data ----

std::string Repr(const ZelPlaneData& p)
{
    return "PlaneData(position=" + FormatVector(p.position) + ", tangent=" + FormatVector(p.tangent) +
           ", axis_u=" + FormatVector(p.axisU) + ", axis_v=" + FormatVector(p.axisV) +
           ", diameter=" + FormatFloat(p.diameter) + ")";
}

// The planes at many positions as arrays of their fields.
py::dict PlaneArrays(const ZelPathPlane& planes,
                     const py::array_t<float, py::array::c_style | py::array::forcecast>& at)
{
    std::vector<py::ssize_t> shape(at.shape(), at.shape() + at.ndim());
    std::vector<py::ssize_t> vshape = shape;
    vshape.push_back(3);
    py::array_t<float> position(vshape), tangent(vshape), u(vshape), v(vshape), diameter(shape);
    float* pp = position.mutable_data();
    float* pt = tangent.mutable_data();
    float* pu = u.mutable_data();
    float* pv = v.mutable_data();
    float* pd = diameter.mutable_data();
    const auto put = [](float* d, const Vec& e) { d[0] = e.x, d[1] = e.y, d[2] = e.z; };
    for (py::ssize_t i = 0; i < at.size(); ++i) {
        const ZelPlaneData p = planes.GetPlaneData(at.data()[i]);
        put(pp + 3 * i, p.position), put(pt + 3 * i, p.tangent), put(pu + 3 * i, p.axisU), put(pv + 3 * i, p.axisV);
        pd[i] = p.diameter;
    }
    py::dict d;
    d["position"] = position, d["tangent"] = tangent, d["axis_u"] = u, d["axis_v"] = v, d["diameter"] = diameter;
    return d;
}

struct Progress {
    const std::function<void(float)>* function = nullptr;
    std::exception_ptr error;
};
thread_local Progress t_progress;

struct PathPlane {
    ZelPathPlane planes;
    py::object path = py::none();  // keeps the path alive
    bool referenceExternal = false;
    float radius = 15.0f;
};

}  // namespace

const ZelPathPlane& PathPlaneOf(const py::handle& object)
{
    if (!py::isinstance<PathPlane>(object)) Refuse("path_plane must be a zelimage.PathPlane");
    return object.cast<const PathPlane&>().planes;
}

void BindPaths(py::module_& m)
{
    py::class_<ZelCurveInterpolation>(m, "CurveInterpolation", R"(An interpolating cubic spline through 3-D points.

Its parameter is the normalised chord length (0 at the first knot, 1 at the
last); closed splines join the last point back to the first.)")
        .def(py::init([](bool closed) {
                 ZelCurveInterpolation c;
                 c.SetClosed(closed);
                 return c;
             }),
             "closed"_a = false)
        .def(
            "build",
            [](ZelCurveInterpolation& c, const py::object& points) {
                const int status = c.Build(ToVectorList(points, "points"));
                CheckStatus(status);
                return status;
            },
            "points"_a, "Builds through (N, 3) points: 0, or 10 for fewer than two points.")
        .def(
            "evaluate",
            [](const ZelCurveInterpolation& c, const py::object& t) {
                return EvaluateVec(t, [&](double s) { return c.Evaluate(s); });
            },
            "t"_a, "Point(s) at parameter(s) t.")
        .def("parameter", &ZelCurveInterpolation::GetParameter, "i"_a, "Parameter of input point i; -1 if none.")
        .def("clear", &ZelCurveInterpolation::Clear, "Empties the spline.")
        .def_property("closed", &ZelCurveInterpolation::IsClosed, &ZelCurveInterpolation::SetClosed,
                      "True when the last point joins back to the first (set before build).")
        .def_property_readonly("total_length", &ZelCurveInterpolation::GetTotalLength,
                               "Chord length through the knots.")
        .def_property_readonly(
            "knots", [](const ZelCurveInterpolation& c) { return FromVectorList(c.GetKnots()); }, "The knots, (N, 3).")
        .def_property_readonly(
            "parameters", [](const ZelCurveInterpolation& c) { return FromDoubles(c.GetParameters()); },
            "Parameter of every knot, 0 .. 1.");

    py::class_<ZelSplineInterpolation>(m, "SplineInterpolation",
                                       "A natural cubic spline y(x) through (x, y) points with increasing x.")
        .def(py::init<>())
        .def(
            "build",
            [](ZelSplineInterpolation& s, const py::object& points) {
                auto p = ToPoints(points, 2, "points");
                std::vector<Zel2DVector<float>> v(static_cast<std::size_t>(p.size() / 2));
                for (std::size_t i = 0; i < v.size(); ++i) v[i] = {p.data()[2 * i], p.data()[2 * i + 1]};
                s.Build(v);
            },
            "points"_a, "Builds through (N, 2) points.")
        .def(
            "evaluate",
            [](const ZelSplineInterpolation& s, const py::object& x) -> py::object {
                if (py::isinstance<py::float_>(x) || py::isinstance<py::int_>(x))
                    return py::float_(s.Evaluate(x.cast<float>()));
                auto in = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(x);
                if (!in) {
                    PyErr_Clear();
                    Refuse("x must be a number or an array of numbers");
                }
                py::array_t<float> out(std::vector<py::ssize_t>(in.shape(), in.shape() + in.ndim()));
                for (py::ssize_t i = 0; i < in.size(); ++i) out.mutable_data()[i] = s.Evaluate(in.data()[i]);
                return std::move(out);
            },
            "x"_a, "y at x: a float for a number, an array for an array.")
        .def("clear", &ZelSplineInterpolation::Clear, "Empties the spline.");

    py::class_<Curve>(m, "SplineCurve", R"(A path's curve: a spline through control points, resampled so that its
parameter (0..1) runs almost proportionally to arc length.)")
        .def(py::init<>())
        .def(
            "build",
            [](Curve& c, const py::object& points) {
                const int status = c.Build(ToVectorList(points, "points"));
                CheckStatus(status);
                return status;
            },
            "points"_a, "Builds from (N, 3) control points: 0, or 10 for fewer than two points.")
        .def(
            "evaluate",
            [](const Curve& c, const py::object& t) { return EvaluateVec(t, [&](double s) { return c.Evaluate(s); }); },
            "t"_a, "Point(s) at parameter(s) t in 0..1: a tuple for a number, an (..., 3) array for an array.")
        .def("clear", &Curve::Clear, "Empties the curve.")
        .def_property_readonly("length", &Curve::GetLength, "Length of the curve.")
        .def_property_readonly("resolution", &Curve::GetResolution, "Resampled points - 1.")
        .def_property_readonly(
            "control_parameters", [](const Curve& c) { return FromDoubles(c.GetControlParameters()); },
            "Arc-length fraction of each control point along the curve.")
        .def_property_readonly(
            "resampled_points", [](const Curve& c) { return FromVectorList(c.GetResampledPoints()); },
            "The control spline at i / resolution, (resolution + 1, 3).")
        .def_property_readonly(
            "cumulative_lengths", [](const Curve& c) { return FromDoubles(c.GetCumulativeLengths()); },
            "Polyline length from the first resampled point to each one.");

    py::class_<ZelPath>(m, "Path", R"(A user's path through a volume: control points in voxel coordinates (x, y, z).

The curve is built from the points times `aspect` (the voxel spacing, say) so
that its lengths are physical, and rebuilt on first use after a change.)")
        .def(py::init([](const py::object& points, const py::object& aspect) {
                 auto p = std::make_unique<ZelPath>();
                 if (!aspect.is_none()) p->SetAspect(ToVector3(aspect, "aspect"));
                 if (!points.is_none()) p->SetPoints(ToVectorList(points, "points"));
                 return p;
             }),
             "points"_a = py::none(), "aspect"_a = py::none())
        .def_property(
            "points", [](ZelPath& p) { return FromVectorList(p.GetPoints()); },
            [](ZelPath& p, const py::object& points) { p.SetPoints(ToVectorList(points, "points")); },
            "The control points as an (N, 3) array (a copy); assign to replace them.")
        .def("__len__", &ZelPath::GetPointNum)
        .def(
            "get_point", [](ZelPath& p, int i) { return FromVector3(p.GetPoint(i)); }, "i"_a,
            "Point i; (0, 0, 0) when out of range.")
        .def(
            "add_point", [](ZelPath& p, const py::object& v) { p.AddPoint(ToVector3(v, "point")); }, "point"_a,
            "Appends a point (x, y, z).")
        .def("delete_last_point", &ZelPath::DeleteLastPoint, "Removes the last point, if any.")
        .def(
            "update_point", [](ZelPath& p, int i, const py::object& v) { p.UpdatePoint(i, ToVector3(v, "point")); },
            "i"_a, "point"_a, "Moves point i; ignored when out of range.")
        .def("clear_points", &ZelPath::ClearPoints, "Removes every point.")
        .def_property(
            "aspect", [](const ZelPath& p) { return FromVector3(p.GetAspect()); },
            [](ZelPath& p, const py::object& v) {
                p.SetAspect(ToVector3(v, "aspect"));
                p.UpdatePointsCounter();
            },
            "Per-axis factor of the points (the voxel spacing); setting it rebuilds the curve.")
        .def_property_readonly(
            "curve", [](ZelPath& p) -> const Curve& { return p.GetSplineCurveObject(); }, py::return_value_policy::copy,
            "The curve (a copy, rebuilt first when the points changed).")
        .def_property_readonly(
            "aspect_points", [](ZelPath& p) { return FromVectorList(p.GetAspectPoint()); },
            "The control points times the aspect.")
        .def_property_readonly("update_counter", &ZelPath::GetUpdatePointsCounter,
                               "Moves on every change of the points.")
        .def("update_points_counter", &ZelPath::UpdatePointsCounter, "Marks the points as changed.")
        .def(
            "copy_from", [](ZelPath& p, ZelPath& source) { p.Copy(&source); }, "source"_a,
            "Takes source's points only (the aspect stays).")
        .def(
            "clone",
            [](ZelPath& p) {
                std::unique_ptr<ZelPath> c(p.Clone());
                if (!c) throw std::bad_alloc();
                return c;
            },
            "A new path (aspect 1, 1, 1) with this path's points.")
        .def("__repr__", [](const ZelPath& p) {
            return "Path(" + std::to_string(p.GetPointNum()) + " points, aspect=" + FormatVector(p.GetAspect()) + ")";
        });

    py::class_<ZelPlaneData>(m, "PlaneData", "One cross-section plane along a path.")
        .def(py::init([](const py::object& position, const py::object& tangent, const py::object& u,
                         const py::object& v, float diameter) {
                 return ZelPlaneData{ToVector3(position, "position"), ToVector3(tangent, "tangent"),
                                     ToVector3(u, "axis_u"), ToVector3(v, "axis_v"), diameter};
             }),
             py::kw_only(), "position"_a = py::make_tuple(0, 0, 0), "tangent"_a = py::make_tuple(0, 0, 1),
             "axis_u"_a = py::make_tuple(1, 0, 0), "axis_v"_a = py::make_tuple(0, 1, 0), "diameter"_a = 0.0f)
        .def_property(
            "position", [](const ZelPlaneData& p) { return FromVector3(p.position); },
            [](ZelPlaneData& p, const py::object& v) { p.position = ToVector3(v, "position"); },
            "Point (x, y, z) of the plane on the path.")
        .def_property(
            "tangent", [](const ZelPlaneData& p) { return FromVector3(p.tangent); },
            [](ZelPlaneData& p, const py::object& v) { p.tangent = ToVector3(v, "tangent"); },
            "The curve's direction: the plane's normal.")
        .def_property(
            "axis_u", [](const ZelPlaneData& p) { return FromVector3(p.axisU); },
            [](ZelPlaneData& p, const py::object& v) { p.axisU = ToVector3(v, "axis_u"); }, "First in-plane axis.")
        .def_property(
            "axis_v", [](const ZelPlaneData& p) { return FromVector3(p.axisV); },
            [](ZelPlaneData& p, const py::object& v) { p.axisV = ToVector3(v, "axis_v"); }, "Second in-plane axis.")
        .def_readwrite("diameter", &ZelPlaneData::diameter,
                       "Diameter of the structure there (0 for planes from a path).")
        .def("__repr__", [](const ZelPlaneData& p) { return Repr(p); });

    py::class_<PathPlane>(m, "PathPlane", R"(Planes laid along a path at a fixed pitch, with frames that do not twist.

Positions are in the path's aspect-scaled space; (axis_u, axis_v, tangent) is
a right-handed frame. A position along the path is a fraction 0..1 of its length.)")
        .def(py::init([](const py::object& path) {
                 auto p = std::make_unique<PathPlane>();
                 if (!path.is_none()) {
                     p->planes.SetPath(path.cast<ZelPath*>());
                     p->path = path;
                 }
                 return p;
             }),
             "path"_a = py::none())
        .def_property(
            "path", [](const PathPlane& p) { return p.path; },
            [](PathPlane& p, const py::object& path) {
                p.planes.SetPath(path.is_none() ? nullptr : path.cast<ZelPath*>());
                p.path = path;
            },
            "The Path (kept alive); setting it forces the next update to rebuild.")
        .def(
            "update",
            [](PathPlane& p, float angle, double pitch, double tangentSpan, const py::object& up) {
                if (!(tangentSpan > 0.0) || !std::isfinite(tangentSpan)) Refuse("tangent_span must be positive");
                const Vec u = ToVector3(up, "up");
                if (!p.planes.UpdatePlaneData(angle, pitch, tangentSpan, u)) Refuse("no path is set");
            },
            "angle"_a = 0.0f, "pitch"_a = 1.0, "tangent_span"_a = 0.01, "up"_a = py::make_tuple(0.0f, 0.0f, 1.0f),
            R"(Lays planes every `pitch` length units (at least 2), when the path's points or the pitch changed.

tangent_span: half the span of the chord that gives each tangent, as a
fraction of the curve. up sets the first frame and must not be parallel to
the first tangent. angle (radians) turns every interpolated frame about its tangent.)")
        .def_property_readonly(
            "planes", [](PathPlane& p) { return std::vector<ZelPlaneData>(p.planes.GetPlaneObject()); },
            "The planes (a list of copies).")
        .def(
            "set_planes",
            [](PathPlane& p, const std::vector<ZelPlaneData>& planes, bool takePathCounter, bool setPitch,
               double pitch) { p.planes.SetPlaneObject(planes, takePathCounter, setPitch, pitch); },
            "planes"_a, "take_path_counter"_a = false, "set_pitch"_a = false, "pitch"_a = 0.0,
            "Takes planes from outside and rebuilds the interpolation.")
        .def_property(
            "reference_external_data", [](const PathPlane& p) { return p.referenceExternal; },
            [](PathPlane& p, bool on) {
                p.referenceExternal = on;
                p.planes.SetReferenceExternalData(on);
            },
            "While set, update keeps the plane list and only applies a new angle.")
        .def_property_readonly(
            "plane_count", [](const PathPlane& p) { return p.planes.GetPlaneDataNum(); }, "Number of planes.")
        .def_property_readonly(
            "length", [](const PathPlane& p) { return p.planes.GetLength(); },
            "Length of the polyline through the planes.")
        .def_property_readonly(
            "max_diameter", [](const PathPlane& p) { return p.planes.GetMaxDiameter(); },
            "Largest diameter of the planes.")
        .def_property_readonly(
            "update_counter", [](const PathPlane& p) { return p.planes.GetUpdateCounter(); },
            "The path's update counter the planes were built from; -1 never built.")
        .def(
            "get_plane_data",
            [](const PathPlane& p, const py::object& position) -> py::object {
                if (py::isinstance<py::float_>(position) || py::isinstance<py::int_>(position)) {
                    return py::cast(p.planes.GetPlaneData(position.cast<float>()));
                }
                auto at = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(position);
                if (!at) {
                    PyErr_Clear();
                    Refuse("position must be a number or an array of numbers");
                }
                return PlaneArrays(p.planes, at);
            },
            "position"_a,
            "The plane at a fraction of the length (a PlaneData), or for an array a dict of arrays: position, "
            "tangent, axis_u, axis_v (..., 3) and diameter.")
        .def(
            "get_diameter", [](const PathPlane& p, float position) { return p.planes.GetDiameter(position); },
            "position"_a, "Diameter at a fraction of the length.")
        .def_property(
            "radius_for_uniformalize", [](const PathPlane& p) { return p.radius; },
            [](PathPlane& p, float r) {
                p.radius = r;
                p.planes.SetRadiusForUniformalize(r);
            },
            "Radius of the rings uniformalize keeps apart (15).")
        .def(
            "uniformalize",
            [](PathPlane& p, const std::function<void(float)>& progress, float start, float end) {
                if (!progress) {
                    p.planes.Uniformalize(nullptr, start, end);
                    return;
                }
                // The library passes no context to the callback: the Python
                // function travels in a thread-local, and an exception it
                // raises waits until smoothing ends.
                t_progress = Progress{&progress, nullptr};
                p.planes.Uniformalize(
                    [](float value, const wchar_t*, void*) {
                        if (t_progress.function && !t_progress.error) {
                            try {
                                (*t_progress.function)(value);
                            } catch (...) {
                                t_progress.error = std::current_exception();
                            }
                        }
                        return 0;
                    },
                    start, end);
                const std::exception_ptr error = t_progress.error;
                t_progress = Progress{};
                if (error) std::rethrow_exception(error);
            },
            "progress"_a = py::none(), "start"_a = 0.0f, "end"_a = 1.0f,
            "Smooths the twist of the frames; progress(value) is called as the energy settles.");
}

}  // namespace zelpy
