// Fusion of two display arrays and rotation of images.
#include <cmath>
#include <functional>
#include <utility>

#include <pybind11/stl.h>

#include "ZelIGCompositor.h"
#include "ZelIGTransform.h"
#include "common.h"

namespace zelpy {

namespace {

using Comp = ZelIGCompositor;

// Which pairs of depths (a, b) an operation combines.
enum class Pairs { kAny, kPixel, kPixelAdd, kEqual, kMultiply };

bool Allowed(Pairs pairs, int a, int b)
{
    switch (pairs) {
    case Pairs::kAny: return true;
    case Pairs::kPixel: return (a == 4 && b == 4) || (a == 1 && b == 4) || (a == 4 && b == 1) || (a == 3 && b == 4);
    case Pairs::kPixelAdd: return Allowed(Pairs::kPixel, a, b) || (a == 4 && b == 3);
    case Pairs::kEqual: return a == b;
    case Pairs::kMultiply: return a == b || (a != 1 && b == 1);
    }
    return false;
}

using Operation = std::function<ZelImageBuffer*(ZelImageBuffer*, ZelImageBuffer*)>;

// Runs `op` over arrays a and b (both written in place where the library
// writes them) and returns the array that holds the result.
py::object Compose(const py::object& a, const py::object& b, Pairs pairs, const char* name, const Operation& op)
{
    ArrayBuffer bufferA(a, "a");
    ArrayBuffer bufferB(b, "b");
    if (bufferA.width() != bufferB.width() || bufferA.height() != bufferB.height()) {
        Refuse(std::string(name) + ": a and b must have the same height and width");
    }
    if (!Allowed(pairs, bufferA.depth(), bufferB.depth())) {
        Refuse(std::string(name) + " does not combine depths " + std::to_string(bufferA.depth()) + " and " +
               std::to_string(bufferB.depth()));
    }
    ZelImageBuffer* result = nullptr;
    {
        py::gil_scoped_release release;
        result = op(bufferA.buffer(), bufferB.buffer());
    }
    if (result == bufferA.buffer()) {
        bufferA.Commit();
        return a;
    }
    if (result == bufferB.buffer()) {
        bufferB.Commit();
        return b;
    }
    Refuse(std::string(name) + " refused the pair of pictures");
}

py::object Colour(const py::object& a, const py::object& b, const std::string& orderName)
{
    const Order order = ParseOrder(orderName);
    ArrayBuffer bufferA(a, "a");
    ArrayBuffer bufferB(b, "b");
    if (bufferA.width() != bufferB.width() || bufferA.height() != bufferB.height()) {
        Refuse("color: a and b must have the same height and width");
    }
    const int depth = bufferA.depth();
    if (depth != bufferB.depth() || (depth != 1 && depth != 3)) {
        Refuse("color combines two grey (H, W) or two (H, W, 3) pictures");
    }
    if (depth == 1) {
        ArrayBuffer result(bufferA.width(), bufferA.height(), 3);
        ZelImageBuffer* target = result.buffer();
        ZelImageBuffer* written = nullptr;
        {
            py::gil_scoped_release release;
            written = Comp::Color(bufferA.buffer(), bufferB.buffer(), target);
        }
        if (written != result.buffer()) throw std::bad_alloc();
        return result.Result();
    }
    // Luminance weighs the bytes as blue, green, red: hand the library that order.
    ZelImageBuffer* none = nullptr;
    {
        py::gil_scoped_release release;
        if (order == Order::kRgb) bufferA.SwapRedBlue(), bufferB.SwapRedBlue();
        Comp::Color(bufferA.buffer(), bufferB.buffer(), none);
        if (order == Order::kRgb) bufferA.SwapRedBlue(), bufferB.SwapRedBlue();
    }
    bufferA.Commit();
    return a;
}

// ---- rotation ----

Zel2DVector<int> RotatedSize(int width, int height, float angle)
{
    if (!std::isfinite(angle)) Refuse("angle must be finite");
    return ZelIGTransform::GetRotateImageSize({width, height}, angle);
}

template <class T, class Fill>
void RotateTyped(const py::array& source, const py::array& target, float angle, Fill fill)
{
    ArrayImage<T> src(source, static_cast<int>(source.shape(1)), static_cast<int>(source.shape(0)));
    ArrayImage<T> dst(target, static_cast<int>(target.shape(1)), static_cast<int>(target.shape(0)));
    py::gil_scoped_release release;
    ZelIGTransform::Rotate(&dst.image, &src.image, angle, fill);
}

py::array Rotate(const py::object& imageObject, float angle, const py::object& fill, const py::object& size,
                 const py::object& out, const std::string& orderName)
{
    const Order order = ParseOrder(orderName);
    py::array image = CheckArrayDims(imageObject, "image", false, 2, 3);
    const bool rgba = image.ndim() == 3;
    const int type = rgba ? 0 : GreyVoxelType(image);
    if (rgba ? (!image.dtype().equal(py::dtype::of<std::uint8_t>()) || image.shape(2) != 4) : !type) {
        Refuse("image must be an (H, W) int16, uint16 or uint8 array, or (H, W, 4) uint8");
    }
    const int height = Extent(image, 0, "image");
    const int width = Extent(image, 1, "image");
    if (!std::isfinite(angle)) Refuse("angle must be finite");

    py::array target;
    if (!out.is_none()) {
        target = CheckArrayDims(out, "out", true, image.ndim());
        if (!target.dtype().equal(image.dtype()) || (rgba && target.shape(2) != 4)) {
            Refuse("out must have the image's dtype and channels");
        }
        Extent(target, 0, "out"), Extent(target, 1, "out");
    } else {
        Zel2DVector<int> s{};
        if (size.is_none()) {
            s = RotatedSize(width, height, angle);
            s.x += 1, s.y += 1;
        } else {
            const auto pair = size.cast<std::pair<int, int>>();
            s = {pair.first, pair.second};
            if (s.x < 1 || s.y < 1) Refuse("size must be at least (1, 1)");
        }
        std::vector<py::ssize_t> shape{s.y, s.x};
        if (rgba) shape.push_back(4);
        target = py::array(image.dtype(), shape);
    }

    if (rgba) {
        ZelRGBABase<unsigned char> f{0, 0, 0, 0};
        if (!fill.is_none() && !(py::isinstance<py::int_>(fill) && fill.cast<int>() == 0)) {
            const auto v = fill.cast<std::vector<int>>();
            if (v.size() != 4) Refuse("fill of an RGBA image is (red, green, blue, alpha)");
            for (int c : v) {
                if (c < 0 || c > 255) Refuse("fill components must lie in 0..255");
            }
            const auto byte = [&](int i) { return static_cast<unsigned char>(v[static_cast<std::size_t>(i)]); };
            f = order == Order::kRgb ? ZelRGBABase<unsigned char>{byte(0), byte(1), byte(2), byte(3)}
                                     : ZelRGBABase<unsigned char>{byte(2), byte(1), byte(0), byte(3)};
        }
        RotateTyped<ZelRGBABase<unsigned char>>(image, target, angle, f);
        return target;
    }
    const int value = fill.is_none() ? 0 : fill.cast<int>();
    switch (type) {
    case ZEL_VOXEL_SHORT: RotateTyped<short>(image, target, angle, static_cast<short>(value)); break;
    case ZEL_VOXEL_USHORT: RotateTyped<unsigned short>(image, target, angle, static_cast<unsigned short>(value)); break;
    default: RotateTyped<unsigned char>(image, target, angle, static_cast<unsigned char>(value)); break;
    }
    return target;
}

}  // namespace

void BindCompose(py::module_& m)
{
    m.def(
        "alpha",
        [](const py::object& a, const py::object& b, float factor) {
            return Compose(a, b, Pairs::kAny, "alpha", [=](auto* x, auto* y) { return Comp::Alpha(x, y, factor); });
        },
        "a"_a, "b"_a, "factor"_a,
        R"(b laid over a with constant opacity factor; returns the array written (in place).

Equal depths write a. A grey and a colour picture write the colour one; a
(H, W, 3) with a (H, W, 4) picture writes the 3-channel one, the 4-channel
one being the overlay whatever the order.)");
    m.def(
        "add",
        [](const py::object& a, const py::object& b, float factor) {
            return Compose(a, b, Pairs::kAny, "add", [=](auto* x, auto* y) { return Comp::Add(x, y, factor); });
        },
        "a"_a, "b"_a, "factor"_a, "a + b * factor, clamped to 0..255, written like alpha; returns the array written.");
    m.def(
        "pixel_alpha",
        [](const py::object& a, const py::object& b, float factor) {
            return Compose(a, b, Pairs::kPixel, "pixel_alpha",
                           [=](auto* x, auto* y) { return Comp::PixelAlpha(x, y, factor); });
        },
        "a"_a, "b"_a, "factor"_a,
        "The 4-channel picture laid over the other by its own alpha times factor; returns the array written.");
    m.def(
        "pixel_add",
        [](const py::object& a, const py::object& b, float factor) {
            return Compose(a, b, Pairs::kPixelAdd, "pixel_add",
                           [=](auto* x, auto* y) { return Comp::PixelAdd(x, y, factor); });
        },
        "a"_a, "b"_a, "factor"_a, "The 4-channel picture's colour added in proportion to its alpha.");
    m.def(
        "checker",
        [](const py::object& a, const py::object& b, int cellSize) {
            if (cellSize < 1) Refuse("cell_size must be at least 1");
            return Compose(a, b, Pairs::kEqual, "checker",
                           [=](auto* x, auto* y) { return Comp::Checker(x, y, cellSize); });
        },
        "a"_a, "b"_a, "cell_size"_a, "Checkerboard written into a: cell (i, j) shows b where i + j is odd.");
    m.def(
        "multiply",
        [](const py::object& a, const py::object& b, float factor) {
            return Compose(a, b, Pairs::kMultiply, "multiply",
                           [=](auto* x, auto* y) { return Comp::Multiply(x, y, factor); });
        },
        "a"_a, "b"_a, "factor"_a, "a darkened by b (factor 0..255 is the strength); written into a.");
    m.def(
        "multiply_alpha",
        [](const py::object& a, const py::object& b, const py::object& colour, float factor, const std::string& order) {
            const auto c = ToColour(colour, ParseOrder(order));
            return Compose(a, b, Pairs::kMultiply, "multiply_alpha",
                           [=](auto* x, auto* y) { return Comp::MultiplyAlpha(x, y, c, factor); });
        },
        "a"_a, "b"_a, "colour"_a, "factor"_a, "order"_a = "rgb", "a tinted toward the colour where b is low.");
    m.def("color", &Colour, "a"_a, "b"_a, "order"_a = "rgb",
          R"(Fusion in complementary colours: a in green, b in magenta.

Two grey pictures give a new (H, W, 3) array; two (H, W, 3) pictures are
fused by their luminances into a, which is returned.)");
    m.def(
        "overwrite",
        [](const py::object& a, const py::object& b, const py::object& key, const std::string& order) {
            const auto c = ToColour(key, ParseOrder(order));
            return Compose(a, b, Pairs::kEqual, "overwrite",
                           [=](auto* x, auto* y) { return Comp::Overwrite(x, y, c); });
        },
        "a"_a, "b"_a, "key"_a, "order"_a = "rgb", "Every pixel of b that is not the key colour replaces a's.");
    m.def(
        "overwrite_alpha",
        [](const py::object& a, const py::object& b, const py::object& key, float factor, const std::string& order) {
            const auto c = ToColour(key, ParseOrder(order));
            return Compose(a, b, Pairs::kEqual, "overwrite_alpha",
                           [=](auto* x, auto* y) { return Comp::OverwriteAlpha(x, y, c, factor); });
        },
        "a"_a, "b"_a, "key"_a, "factor"_a, "order"_a = "rgb",
        "As overwrite, with b's pixels laid over a at opacity factor.");

    m.def(
        "rotated_size",
        [](int width, int height, float angle) {
            const auto s = RotatedSize(width, height, angle);
            return py::make_tuple(s.x, s.y);
        },
        "width"_a, "height"_a, "angle"_a,
        "Span (w, h) of the rotated corner pixel centres of a width x height image; (width - 1, height - 1) at 0.");
    m.def("rotate", &Rotate, "image"_a, "angle"_a, "fill"_a = 0, "size"_a = py::none(), "out"_a = py::none(),
          "order"_a = "rgb",
          R"(The image turned by angle (radians) about the centres.

image: (H, W) int16 (bilinear), uint16 or uint8 (nearest), or (H, W, 4) uint8
(nearest; fill given as red, green, blue, alpha). The result has `size`
(width, height), the shape of `out`, or by default rotated_size + 1.)");
}

}  // namespace zelpy
