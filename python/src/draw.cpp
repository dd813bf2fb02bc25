// The drawing engine over numpy arrays, and fonts.
#include <climits>
#include <mutex>
#include <string>
#include <tuple>

#include <pybind11/stl.h>

#include "ZelImageDrawEngine.h"
#include "common.h"

namespace zelpy {

namespace {

using Engine = ZelImageDrawEngine;

// A drawing colour as the engine wants it for a target of `order`. Users give
// 0xAARRGGBB or (red, green, blue[, alpha]); the engine stores the value's
// bytes little-endian as blue, green, red, alpha, so an RGB target takes it
// with red and blue exchanged.
std::uint32_t SwapRedBlue(std::uint32_t c)
{
    return (c & 0xFF00FF00u) | ((c >> 16) & 0xFFu) | ((c & 0xFFu) << 16);
}

std::uint32_t ToArgb(const py::handle& colour)
{
    if (py::isinstance<py::int_>(colour)) {
        const long long v = colour.cast<long long>();
        if (v < 0 || v > 0xFFFFFFFFLL) Refuse("a colour number must be 0xAARRGGBB");
        return static_cast<std::uint32_t>(v);
    }
    std::vector<int> c;
    try {
        c = colour.cast<std::vector<int>>();
    } catch (const py::cast_error&) {
    }
    if (c.size() != 3 && c.size() != 4) Refuse("a colour is 0xAARRGGBB or (red, green, blue[, alpha])");
    for (int v : c) {
        if (v < 0 || v > 255) Refuse("colour components must lie in 0..255");
    }
    const auto a = static_cast<unsigned char>(c.size() == 4 ? c[3] : 255);
    return Engine::ColorFromRGBA(static_cast<unsigned char>(c[0]), static_cast<unsigned char>(c[1]),
                                 static_cast<unsigned char>(c[2]), a);
}

// A source image for the blits: (h, w) or (h, w, 3|4) uint8 with packed pixels.
struct Source {
    py::array array;
    const unsigned char* pixels = nullptr;
    int width = 0, height = 0, depth = 0, stride = 0;

    explicit Source(const py::object& object, const char* what)
    {
        if (!py::isinstance<py::array>(object)) Refuse(std::string(what) + " must be a numpy array");
        array = py::reinterpret_borrow<py::array>(object);
        if (!array.dtype().equal(py::dtype::of<std::uint8_t>()) || (array.ndim() != 2 && array.ndim() != 3)) {
            Refuse(std::string(what) + " must be a uint8 (H, W), (H, W, 3) or (H, W, 4) array");
        }
        depth = array.ndim() == 2 ? 1 : static_cast<int>(array.shape(2));
        if (depth != 1 && depth != 3 && depth != 4) Refuse(std::string(what) + " must have 1, 3 or 4 channels");
        height = Extent(array, 0, what);
        width = Extent(array, 1, what);
        const bool packed = array.strides(1) == depth && (depth == 1 || array.strides(2) == 1);
        if (!packed || array.strides(0) < static_cast<py::ssize_t>(width) * depth || array.strides(0) > INT_MAX) {
            Refuse(std::string(what) + " must have packed pixels and rows in order (numpy.ascontiguousarray)");
        }
        stride = static_cast<int>(array.strides(0));
        pixels = static_cast<const unsigned char*>(array.data());
    }
};

struct Font {
    HFONT font = nullptr;
    std::wstring face;
    int pointSize = 0;
    bool bold = false;
    ~Font() { Engine::DeleteFont(font); }
};

std::unique_ptr<Font> MakeFont(const std::wstring& face, int pointSize, bool bold, int dpi, int minHeight)
{
    auto f = std::make_unique<Font>();
    f->font = Engine::CreateFont(face.c_str(), pointSize, bold, dpi, minHeight);
    if (!f->font) Refuse("no font can be had for this face and size (pixel height 1 .. 2048)");
    f->face = face;
    f->pointSize = pointSize;
    f->bold = bold;
    return f;
}

struct DrawEngine {
    Engine engine;
    py::object target = py::none();
    Order order = Order::kRgb;
    bool bilinear = true;
    bool dash = false;
    std::uint32_t border = 0;  // as the user gave it
    mutable std::mutex lock;   // one call at a time: the GIL is released while drawing

    std::uint32_t Colour(const py::handle& colour) const
    {
        const std::uint32_t argb = ToArgb(colour);
        return order == Order::kRgb ? SwapRedBlue(argb) : argb;
    }
    std::uint32_t User(std::uint32_t stored) const { return order == Order::kRgb ? SwapRedBlue(stored) : stored; }

    // Runs `draw` on the engine without the GIL, one call at a time.
    template <class Draw>
    void Run(Draw draw)
    {
        py::gil_scoped_release release;
        std::lock_guard<std::mutex> guard(lock);
        draw(engine);
    }

    // Runs `use` on the engine under the lock, keeping the GIL (quick calls).
    template <class Use>
    auto With(Use use) const
    {
        std::lock_guard<std::mutex> guard(lock);
        return use(const_cast<Engine&>(engine));
    }

    void SetTarget(const py::object& object)
    {
        if (object.is_none()) {
            Run([](Engine& e) { e.SetExternalImageBuffer(nullptr); });
            target = object;
            return;
        }
        if (!py::isinstance<py::array>(object)) Refuse("target must be a numpy array");
        py::array array = py::reinterpret_borrow<py::array>(object);
        if (!array.dtype().equal(py::dtype::of<std::uint8_t>()) || array.ndim() != 3 ||
            (array.shape(2) != 3 && array.shape(2) != 4)) {
            Refuse("target must be a uint8 (H, W, 3) or (H, W, 4) array");
        }
        if (!array.writeable()) Refuse("target is read-only");
        const int depth = static_cast<int>(array.shape(2));
        const int height = Extent(array, 0, "target");
        const int width = Extent(array, 1, "target");
        if (array.strides(2) != 1 || array.strides(1) != depth ||
            array.strides(0) < static_cast<py::ssize_t>(width) * depth || array.strides(0) > INT_MAX) {
            Refuse("target must have packed pixels and rows in order (a C-contiguous array or a row range of one)");
        }
        auto* pixels = static_cast<unsigned char*>(array.mutable_data());
        const int stride = static_cast<int>(array.strides(0));
        Run([&](Engine& e) { e.SetExternalImagePtr(pixels, width, height, depth, stride); });
        target = object;
    }
};

std::unique_ptr<DrawEngine> MakeEngine(const py::object& target, const std::string& order)
{
    auto d = std::make_unique<DrawEngine>();
    d->order = ParseOrder(order);
    d->SetTarget(target);
    return d;
}

const char* kEngineDoc = R"(A software 2-D drawing engine that draws straight into a numpy array.

DrawEngine(target=None, order='rgb')

target: a uint8 (H, W, 3) or (H, W, 4) array (or a row range of one); the
engine writes into its memory, with no copy. order says how the target's
channels are ordered: 'rgb' (red, green, blue[, alpha]) or 'bgr' (the
library's own blue, green, red[, alpha]). Colours are always given as
0xAARRGGBB or (red, green, blue[, alpha]) and land in the right channels
either way; source images, textures and palettes of blits are in the
target's order. Opaque colours (alpha 255) replace pixels, others blend.
Every call clips to the target and the clip rectangle, whatever its
arguments. The GIL is released while drawing; one engine draws for one call
at a time, and fonts may be shared.)";

}  // namespace

void BindDraw(py::module_& m)
{
    py::enum_<Engine::TEXT_STYLE>(m, "TextStyle", py::arithmetic(), "Text style flags, combined with |.")
        .value("OUTLINE_SQUARE", Engine::TEXT_OUTLINE_SQUARE, "ring from the 3 x 3 maximum, in the border colour")
        .value("OUTLINE_CROSS", Engine::TEXT_OUTLINE_CROSS, "thinner ring from the four side neighbours")
        .value("SHADOW", Engine::TEXT_SHADOW, "drop shadow one pixel right and down")
        .value("NO_ANTIALIAS", Engine::TEXT_NO_ANTIALIAS)
        .value("RIGHT", Engine::TEXT_RIGHT)
        .value("HCENTER", Engine::TEXT_HCENTER)
        .value("LEFT_SHOW_END", Engine::TEXT_LEFT_SHOW_END)
        .value("BOTTOM", Engine::TEXT_BOTTOM)
        .value("VCENTER", Engine::TEXT_VCENTER)
        .value("TOP_SHOW_END", Engine::TEXT_TOP_SHOW_END)
        .value("MARKUP", Engine::TEXT_MARKUP, "^ and _ start super- and subscripts: mm^2, H_{2}O")
        .value("ROTATE_90", Engine::TEXT_ROTATE_90, "reads upwards")
        .value("ROTATE_180", Engine::TEXT_ROTATE_180)
        .value("ROTATE_270", Engine::TEXT_ROTATE_270, "reads downwards")
        .value("CELL_HEIGHT", Engine::TEXT_CELL_HEIGHT)
        .value("NO_ALIGN_WHEN_WIDER", Engine::TEXT_NO_ALIGN_WHEN_WIDER);

    py::class_<Font>(m, "Font", R"(A font found by family name ('DejaVu Sans', 'Sans', 'Arial'; DejaVu Sans
when the family is missing), at (dpi * point_size + 36) // 72 pixels, at least min_height.)")
        .def(py::init(&MakeFont), "face"_a = L"DejaVu Sans", "point_size"_a = 10, "bold"_a = false, "dpi"_a = 96,
             "min_height"_a = 0)
        .def_property_readonly(
            "metrics",
            [](const Font& f) {
                int ascent = 0, descent = 0, line = 0;
                Engine::GetFontMetrics(f.font, ascent, descent, line);
                return py::make_tuple(ascent, descent, line);
            },
            "(ascent, descent, line height) in pixels.")
        .def(
            "measure",
            [](const Font& f, const std::wstring& text, int style) {
                int w = 0, h = 0;
                {
                    py::gil_scoped_release release;
                    Engine::MeasureString(ZelString(text), f.font, style, w, h);
                }
                return py::make_tuple(w, h);
            },
            "text"_a, "style"_a = 0, "Size (width, height) of the text's box in pixels.")
        .def("__repr__", [](const Font& f) {
            return "Font(face=" + py::repr(py::cast(f.face)).cast<std::string>() +
                   ", point_size=" + std::to_string(f.pointSize) + ", bold=" + (f.bold ? "True" : "False") + ")";
        });

    py::class_<DrawEngine>(m, "DrawEngine", kEngineDoc)
        .def(py::init(&MakeEngine), "target"_a = py::none(), "order"_a = "rgb")
        .def_property(
            "target", [](const DrawEngine& d) { return d.target; },
            [](DrawEngine& d, const py::object& t) { d.SetTarget(t); },
            "The array drawn into (None detaches); the clip becomes the whole image.")
        .def_property_readonly(
            "order", [](const DrawEngine& d) { return d.order == Order::kRgb ? "rgb" : "bgr"; },
            "'rgb' or 'bgr': the channel order of the target.")
        .def_property_readonly(
            "width", [](const DrawEngine& d) { return d.With([](Engine& e) { return e.GetWidth(); }); },
            "Width of the target in pixels.")
        .def_property_readonly(
            "height", [](const DrawEngine& d) { return d.With([](Engine& e) { return e.GetHeight(); }); },
            "Height of the target in pixels.")
        .def(
            "clear",
            [](DrawEngine& d, const py::object& c) { d.Run([&, v = d.Colour(c)](Engine& e) { e.ClearImage(v); }); },
            "colour"_a = 0, "Fills every pixel of the target with the colour, whatever the clip.")
        .def_property(
            "color", [](const DrawEngine& d) { return d.User(d.With([](Engine& e) { return e.GetColor(); })); },
            [](DrawEngine& d, const py::object& c) {
                const auto v = d.Colour(c);
                d.With([&](Engine& e) { e.SetColor(v); });
            },
            "Pen and fill colour, 0xAARRGGBB (set from a number or (r, g, b[, a])).")
        .def_property(
            "border_color", [](const DrawEngine& d) { return d.border; },
            [](DrawEngine& d, const py::object& c) {
                const auto v = d.Colour(c);
                d.With([&](Engine& e) { e.SetBorderColor(v); });
                d.border = ToArgb(c);
            },
            "Colour of text outlines and shadows, 0xAARRGGBB.")
        .def_property(
            "pen_width", [](const DrawEngine& d) { return d.With([](Engine& e) { return e.GetPenWidth(); }); },
            [](DrawEngine& d, int w) { d.With([&](Engine& e) { e.SetPenWidth(w); }); },
            "Pen width in pixels (at least 1).")
        .def_property(
            "pen_dash", [](const DrawEngine& d) { return d.dash; },
            [](DrawEngine& d, bool on) {
                d.With([&](Engine& e) { e.SetPenDash(on); });
                d.dash = on;
            },
            "Dashed lines on or off; switching on restarts the pattern.")
        .def_property(
            "pen_dash_offset",
            [](const DrawEngine& d) { return d.With([](Engine& e) { return e.GetPenDashOffset(); }); },
            [](DrawEngine& d, unsigned offset) { d.With([&](Engine& e) { e.SetPenDashOffset(offset); }); },
            "Dash phase: set, the next line starts there; read, where the last dashed line ended.")
        .def(
            "set_pen_dash_pattern",
            [](DrawEngine& d, const std::vector<bool>& pattern) {
                if (pattern.empty()) Refuse("the dash pattern needs at least one entry");
                bool entries[8] = {};
                const int n = static_cast<int>(std::min<std::size_t>(pattern.size(), 8));
                for (int i = 0; i < n; ++i) entries[i] = pattern[static_cast<std::size_t>(i)];
                d.With([&](Engine& e) { e.SetPenDashPattern(entries, n); });
            },
            "pattern"_a, "One bool per pixel step (True draws), repeated to 8 steps.")
        .def(
            "set_palette",
            [](DrawEngine& d, const py::object& palette) {
                if (palette.is_none()) {
                    d.With([&](Engine& e) { e.ClearImageColorPalette(); });
                    return;
                }
                py::array array = CheckArrayDims(palette, "palette", false, 2);
                if (!array.dtype().equal(py::dtype::of<std::uint8_t>()) || array.shape(1) != 4 || array.shape(0) < 1 ||
                    array.shape(0) > 256) {
                    Refuse("palette must be an (N, 4) uint8 array of red, green, blue, alpha, N <= 256");
                }
                const int n = static_cast<int>(array.shape(0));
                std::vector<ZelRGBABase<unsigned char>> entries(static_cast<std::size_t>(n));
                const auto* p = static_cast<const unsigned char*>(array.data());
                for (int i = 0; i < n; ++i, p += 4) {
                    // Entries are read as the bytes of a pixel of the target.
                    entries[static_cast<std::size_t>(i)] = d.order == Order::kRgb
                                                               ? ZelRGBABase<unsigned char>{p[0], p[1], p[2], p[3]}
                                                               : ZelRGBABase<unsigned char>{p[2], p[1], p[0], p[3]};
                }
                d.With([&](Engine& e) { e.SetImageColorPalette(entries.data(), n); });
            },
            "palette"_a, "Colours of 1-channel source images: (N, 4) red, green, blue, alpha; None removes it.")
        .def(
            "set_texture",
            [](DrawEngine& d, const py::object& texture) {
                if (texture.is_none()) {
                    d.With([&](Engine& e) { e.SetTextureBrush(nullptr, 0, 0, 0); });
                    return;
                }
                py::array array = CheckArrayDims(texture, "texture", false, 2, 3);
                const Source s(array, "texture");
                d.With([&](Engine& e) { e.SetTextureBrush(s.pixels, s.width, s.height, s.depth); });
            },
            "texture"_a,
            "Texture of the fills, anchored at the image origin: (h, w) coverage or (h, w, 3|4) colours in the "
            "target's order, multiplied by the colour. None removes it.")
        .def_property(
            "bilinear_filter", [](const DrawEngine& d) { return d.bilinear; },
            [](DrawEngine& d, bool on) {
                d.bilinear = on;
                d.With([&](Engine& e) { e.SetBilinearFilter(on); });
            },
            "Scaled blits: bilinear (True) or nearest.")
        .def(
            "set_clip",
            [](DrawEngine& d, int l, int t, int r, int b) {
                d.With([&](Engine& e) { e.SetClipRectangle(l, t, r, b); });
            },
            "left"_a, "top"_a, "right"_a, "bottom"_a,
            "Clip rectangle, inclusive bounds, clamped into the image; left > right or top > bottom is empty.")
        .def(
            "clear_clip", [](DrawEngine& d) { d.With([&](Engine& e) { e.ClearClipRectangle(); }); },
            "The clip becomes the whole image.")
        .def_property_readonly(
            "clip",
            [](const DrawEngine& d) -> py::object {
                if (d.With([](Engine& e) { return e.IsClipEmpty(); })) return py::none();
                int l = 0, t = 0, r = 0, b = 0;
                d.With([&](Engine& e) { e.GetClipRectangle(l, t, r, b); });
                return py::make_tuple(l, t, r, b);
            },
            "(left, top, right, bottom), or None when empty.")
        .def(
            "draw_line",
            [](DrawEngine& d, int x0, int y0, int x1, int y1, bool last) {
                d.Run([=](Engine& e) { e.DrawLine(x0, y0, x1, y1, last); });
            },
            "x0"_a, "y0"_a, "x1"_a, "y1"_a, "draw_last_point"_a = true,
            "A line with the pen's width and dash; a dashed line starting where the last ended continues its phase.")
        .def(
            "draw_polyline",
            [](DrawEngine& d, const py::object& points, bool closed) {
                auto p = py::array_t<int, py::array::c_style | py::array::forcecast>::ensure(points);
                if (!p || p.ndim() != 2 || p.shape(1) != 2) {
                    PyErr_Clear();
                    Refuse("points must be an (N, 2) array of x, y");
                }
                const int* xy = p.data();
                const py::ssize_t n = p.shape(0);
                d.Run([&](Engine& e) {
                    for (py::ssize_t i = 1; i < n; ++i) {
                        e.DrawLine(xy[2 * i - 2], xy[2 * i - 1], xy[2 * i], xy[2 * i + 1], !closed && i == n - 1);
                    }
                    if (closed && n > 1) e.DrawLine(xy[2 * n - 2], xy[2 * n - 1], xy[0], xy[1], false);
                });
            },
            "points"_a, "closed"_a = false,
            "Lines through (N, 2) points, joined so that the dash runs on; the last point drawn once.")
        .def(
            "draw_gradation_line",
            [](DrawEngine& d, int x0, int y0, const py::object& c0, int x1, int y1, const py::object& c1) {
                d.Run(
                    [=, a = d.Colour(c0), b = d.Colour(c1)](Engine& e) { e.DrawGradationLine(x0, y0, a, x1, y1, b); });
            },
            "x0"_a, "y0"_a, "colour0"_a, "x1"_a, "y1"_a, "colour1"_a,
            "A one-pixel line whose colour runs from colour0 to colour1.")
        .def(
            "draw_rectangle",
            [](DrawEngine& d, int x0, int y0, int x1, int y1) {
                d.Run([=](Engine& e) { e.DrawRectangle(x0, y0, x1, y1); });
            },
            "x0"_a, "y0"_a, "x1"_a, "y1"_a, "Outline through both corners.")
        .def(
            "fill_rectangle",
            [](DrawEngine& d, int x0, int y0, int x1, int y1) {
                d.Run([=](Engine& e) { e.FillRectangle(x0, y0, x1, y1); });
            },
            "x0"_a, "y0"_a, "x1"_a, "y1"_a, "Corners inclusive, with the texture when one is set.")
        .def(
            "draw_circle",
            [](DrawEngine& d, int cx, int cy, int diameter) {
                d.Run([=](Engine& e) { e.DrawCircle(cx, cy, diameter); });
            },
            "cx"_a, "cy"_a, "diameter"_a, "A circle `diameter` pixels across, centred on (cx, cy).")
        .def(
            "fill_circle",
            [](DrawEngine& d, int cx, int cy, int diameter) {
                d.Run([=](Engine& e) { e.FillCircle(cx, cy, diameter); });
            },
            "cx"_a, "cy"_a, "diameter"_a, "The disc that draw_circle outlines.")
        .def(
            "draw_arc",
            [](DrawEngine& d, int cx, int cy, int diameter, float start, float end) {
                d.Run([=](Engine& e) { e.DrawArc(cx, cy, diameter, start, end); });
            },
            "cx"_a, "cy"_a, "diameter"_a, "start_angle"_a, "end_angle"_a,
            "Arc in degrees, 0 towards +x, 90 up; counter-clockwise when end > start.")
        .def(
            "fill_arc",
            [](DrawEngine& d, int cx, int cy, int diameter, float start, float end) {
                d.Run([=](Engine& e) { e.FillArc(cx, cy, diameter, start, end); });
            },
            "cx"_a, "cy"_a, "diameter"_a, "start_angle"_a, "end_angle"_a, "The pie of draw_arc.")
        .def(
            "fill_polygon",
            [](DrawEngine& d, const py::object& points) {
                auto p = py::array_t<int, py::array::c_style | py::array::forcecast>::ensure(points);
                if (!p || p.ndim() != 2 || p.shape(1) != 2 || p.shape(0) > INT_MAX) {
                    PyErr_Clear();
                    Refuse("points must be an (N, 2) array of x, y");
                }
                std::vector<int> xs, ys;
                for (py::ssize_t i = 0; i < p.shape(0); ++i) xs.push_back(p.at(i, 0)), ys.push_back(p.at(i, 1));
                d.Run([&](Engine& e) { e.FillPolygon(xs.data(), ys.data(), static_cast<int>(xs.size())); });
            },
            "points"_a, "Even-odd fill of an (N, 2) polygon.")
        .def(
            "draw_image",
            [](DrawEngine& d, int x, int y, const py::object& image) {
                const Source s(image, "image");
                d.Run([&](Engine& e) { e.DrawImage(x, y, s.pixels, s.width, s.height, s.depth, s.stride); });
            },
            "x"_a, "y"_a, "image"_a,
            "Blits a uint8 (h, w) (grey, or palette index), (h, w, 3) or (h, w, 4) (blended by alpha) image.")
        .def(
            "draw_partial_image",
            [](DrawEngine& d, int x, int y, const py::object& image, int srcX, int srcY, int w, int h) {
                const Source s(image, "image");
                d.Run([&](Engine& e) {
                    e.DrawPartialImage(x, y, srcX, srcY, w, h, s.pixels, s.width, s.height, s.depth, s.stride);
                });
            },
            "x"_a, "y"_a, "image"_a, "src_x"_a, "src_y"_a, "width"_a, "height"_a,
            "Blits the block (src_x, src_y, width, height) of the image; a block outside it draws nothing.")
        .def(
            "draw_scaled_image",
            [](DrawEngine& d, int x, int y, int w, int h, const py::object& image) {
                const Source s(image, "image");
                d.Run(
                    [&](Engine& e) { e.DrawScaledImage(x, y, w, h, s.pixels, s.width, s.height, s.depth, s.stride); });
            },
            "x"_a, "y"_a, "width"_a, "height"_a, "image"_a, "Blits the image scaled to width x height.")
        .def(
            "draw_partial_scaled_image",
            [](DrawEngine& d, int x, int y, int w, int h, const py::object& image, int srcX, int srcY, int srcW,
               int srcH) {
                const Source s(image, "image");
                d.Run([&](Engine& e) {
                    e.DrawPartialScaledImage(x, y, w, h, srcX, srcY, srcW, srcH, s.pixels, s.width, s.height, s.depth,
                                             s.stride);
                });
            },
            "x"_a, "y"_a, "width"_a, "height"_a, "image"_a, "src_x"_a, "src_y"_a, "src_width"_a, "src_height"_a,
            "A block of the image scaled to width x height, corner-aligned.")
        .def(
            "monochrome",
            [](DrawEngine& d, float factor) {
                // The grey weighs the bytes as blue, green, red.
                const bool swap = d.order == Order::kRgb;
                d.Run([&](Engine& e) {
                    auto flip = [&] {
                        const int depth = e.GetDepth();
                        for (int y = 0; y < e.GetHeight(); ++y) {
                            unsigned char* p = e.GetImagePtr() + static_cast<std::ptrdiff_t>(y) * e.GetSizePerLine();
                            for (int x = 0; x < e.GetWidth(); ++x, p += depth) std::swap(p[0], p[2]);
                        }
                    };
                    if (swap && e.GetImagePtr()) flip();
                    e.Monochrome(factor);
                    if (swap && e.GetImagePtr()) flip();
                });
            },
            "factor"_a = 1.0f, "Grey = (77 red + 151 green + 28 blue) * factor / 65536 over the whole target.")
        .def(
            "make_transparent",
            [](DrawEngine& d, float factor) { d.Run([=](Engine& e) { e.MakeTransparent(factor); }); }, "factor"_a,
            "Alpha *= factor (0..1) on 4-channel targets.")
        .def_property(
            "font_dpi", [](const DrawEngine& d) { return d.With([](Engine& e) { return e.GetFontDPI(); }); },
            [](DrawEngine& d, int dpi) { d.With([&](Engine& e) { e.SetFontDPI(dpi); }); },
            "Resolution create_font uses (96).")
        .def_property(
            "font_min_height",
            [](const DrawEngine& d) { return d.With([](Engine& e) { return e.GetFontMinHeight(); }); },
            [](DrawEngine& d, int h) { d.With([&](Engine& e) { e.SetFontMinHeight(h); }); },
            "Smallest pixel height create_font makes.")
        .def(
            "create_font",
            [](const DrawEngine& d, const std::wstring& face, int pointSize, bool bold) {
                const auto dpi = d.With([](Engine& e) { return e.GetFontDPI(); });
                const auto minHeight = d.With([](Engine& e) { return e.GetFontMinHeight(); });
                return MakeFont(face, pointSize, bold, dpi, minHeight);
            },
            "face"_a = L"DejaVu Sans", "point_size"_a = 10, "bold"_a = false,
            "A Font at this engine's font_dpi and font_min_height.")
        .def(
            "draw_string",
            [](DrawEngine& d, const std::wstring& text, int x, int y, const Font& font, int style) {
                const ZelString s(text);
                d.Run([&](Engine& e) { e.DrawString(s, x, y, font.font, style); });
            },
            "text"_a, "x"_a, "y"_a, "font"_a, "style"_a = 0,
            "Text anchored at (x, y) by the style's alignment (TextStyle flags).")
        .def(
            "draw_string_rect",
            [](DrawEngine& d, const std::wstring& text, int x, int y, int w, int h, const Font& font, int style) {
                const ZelString s(text);
                d.Run([&](Engine& e) { e.DrawStringRect(s, x, y, w, h, font.font, style); });
            },
            "text"_a, "x"_a, "y"_a, "width"_a, "height"_a, "font"_a, "style"_a = 0,
            "Text aligned in the rectangle and cut to it.")
        .def("__repr__", [](const DrawEngine& d) {
            const auto size =
                d.With([](Engine& e) { return std::make_tuple(e.GetWidth(), e.GetHeight(), e.GetDepth()); });
            return "DrawEngine(width=" + std::to_string(std::get<0>(size)) +
                   ", height=" + std::to_string(std::get<1>(size)) + ", depth=" + std::to_string(std::get<2>(size)) +
                   ", order='" + (d.order == Order::kRgb ? "rgb" : "bgr") + "')";
        });
}

}  // namespace zelpy
