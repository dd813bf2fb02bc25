// Display conversions: int16 slices to (H, W) grey or (H, W, 3|4) colour
// arrays, lookup tables, masks, and pictures of colour volumes.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>

#include "ZelIGConverter.h"
#include "ZelImageGeneratorGammaTable.h"
#include "ZelImageGeneratorTable.h"
#include "generators.h"
#include "volume.h"

namespace zelpy {

namespace {

using C = ZelIGConverter;
using Palette = std::unique_ptr<ZelRGBBase<unsigned char>[]>;

// ---- arguments ----

// An int16 (H, W) slice seen as a ZelImage<short>.
struct Slice {
    py::array array;
    int width = 0;
    int height = 0;
    std::unique_ptr<ArrayImage<short>> wrap;

    explicit Slice(const py::object& object)
    {
        array = CheckArrayDims(object, "slice", false, 2);
        if (!array.dtype().equal(py::dtype::of<std::int16_t>())) Refuse("slice must be int16, not " + DtypeName(array));
        height = Extent(array, 0, "slice");
        width = Extent(array, 1, "slice");
        wrap = std::make_unique<ArrayImage<short>>(array, width, height);
    }
    const ZelImage<short>* image() const { return &wrap->image; }

    void ValueRange(short& low, short& high) const
    {
        const auto* v = static_cast<const short*>(array.data());
        const auto n = static_cast<std::size_t>(width) * height;
        low = high = v[0];
        for (std::size_t i = 1; i < n; ++i) {
            low = std::min(low, v[i]);
            high = std::max(high, v[i]);
        }
    }
};

int CheckDepth(int depth, bool allowFour = false)
{
    if (depth != 1 && depth != 3 && !(allowFour && depth == 4)) Refuse("depth must be 1 or 3");
    return depth;
}

unsigned int Bits(const py::object& bits)
{
    if (bits.is_none()) return ~0u;
    const long long value = bits.cast<long long>();
    if (value < 0 || value > 0xFFFFFFFFLL) Refuse("bits must lie in 0 .. 2**32 - 1");
    return static_cast<unsigned int>(value);
}

// A mask of the slice's shape: uint8, bool, uint16 or int16.
struct Mask {
    py::array array;
    std::unique_ptr<ZelImageBase> image;

    Mask(const py::object& object, int width, int height)
    {
        array = CheckArrayDims(object, "mask", false, 2);
        if (array.dtype().equal(py::dtype::of<bool>())) array = array.attr("view")("uint8");
        const int type = GreyVoxelType(array);
        if (!type) Refuse("mask must be uint8, bool, uint16 or int16, not " + DtypeName(array));
        if (array.shape(0) != height || array.shape(1) != width) Refuse("mask must have the shape of the picture");
        image.reset(ZelCreateImage(type, &BorrowingAllocator::Instance()));
        BorrowImage(*image, array, width, height, 1);
    }
};

// A lookup table: a Table object, or a 1-D uint8 array whose entry 0 belongs
// to min_value.
struct TableArg {
    ZelImageGeneratorTable* object = nullptr;
    const unsigned char* data = nullptr;
    short min = 0;
    short max = 0;

    TableArg(const py::object& table, int minValue)
    {
        if (py::isinstance<ZelImageGeneratorTable>(table)) {
            object = table.cast<ZelImageGeneratorTable*>();
            int lo = 0, hi = 0;
            object->GetTableRange(lo, hi);
            if (!object->GetTable()) Refuse("the table holds no entries");
            data = object->GetTable();
            min = static_cast<short>(std::max(lo, SHRT_MIN));
            max = static_cast<short>(std::min(hi, SHRT_MAX));
            return;
        }
        py::array array = CheckArrayDims(table, "table", false, 1);
        if (!array.dtype().equal(py::dtype::of<std::uint8_t>())) Refuse("table must be uint8, not " + DtypeName(array));
        const long long last = static_cast<long long>(minValue) + array.shape(0) - 1;
        if (array.shape(0) < 1 || minValue < SHRT_MIN || last > SHRT_MAX) {
            Refuse("table entries must cover values inside -32768 .. 32767 from min_value on");
        }
        data = static_cast<const unsigned char*>(array.data());
        min = static_cast<short>(minValue);
        max = static_cast<short>(last);
    }
};

// A table object for the converter forms that only take one.
struct TableObject : ZelImageGeneratorTable {
    TableObject(const unsigned char* data, short min, short max)
    {
        m_min = min;
        m_max = max;
        m_table = const_cast<unsigned char*>(data);
    }
    ~TableObject() override { m_table = nullptr; }  // the memory is the caller's
};

// A colour table: (N, 4) red, green, blue, opacity in 0..1, row k for value
// first + k, stored so that the entry of value 0 can be addressed.
struct ColourTable {
    std::vector<ZelRGBABase<float>> entries;
    ZelRGBABase<float>* zero = nullptr;

    ColourTable(const py::object& object, int first, Order order, const Slice& slice)
    {
        auto array = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(object);
        if (!array || array.ndim() != 2 || array.shape(1) != 4 || array.shape(0) < 1) {
            PyErr_Clear();
            Refuse("colours must be an (N, 4) array of red, green, blue, opacity");
        }
        const long long n = array.shape(0);
        const long long last = first + n - 1;
        if (first < SHRT_MIN || last > SHRT_MAX) Refuse("colours must cover values inside -32768 .. 32767");
        if (first > SHRT_MIN || last < SHRT_MAX) {
            short low = 0, high = 0;
            slice.ValueRange(low, high);
            if (low < first || high > last) {
                Refuse("the slice holds values " + std::to_string(low) + " .. " + std::to_string(high) +
                       " outside the colour table's " + std::to_string(first) + " .. " + std::to_string(last));
            }
        }
        const long long begin = std::min<long long>(first, 0);
        const long long end = std::max<long long>(last, 0);
        entries.assign(static_cast<std::size_t>(end - begin + 1), ZelRGBABase<float>{0, 0, 0, 0});
        const float* src = array.data();
        for (long long k = 0; k < n; ++k, src += 4) {
            ZelRGBABase<float>& e = entries[static_cast<std::size_t>(first + k - begin)];
            e = order == Order::kRgb ? ZelRGBABase<float>{src[0], src[1], src[2], src[3]}
                                     : ZelRGBABase<float>{src[2], src[1], src[0], src[3]};
        }
        zero = entries.data() + (0 - begin);
    }
};

template <class Call>
py::array Convert(int width, int height, int depth, Call call, const char* name)
{
    ArrayBuffer out(width, height, depth);
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = call(out.buffer());
    }
    if (!ok) Refuse(std::string(name) + " refused the arguments");
    return out.Result();
}

// ---- grey ----

py::array Window(const py::object& s, int width, int centre, bool invert, int depth)
{
    const Slice slice(s);
    if (width < 1) Refuse("window width must be at least 1");
    return Convert(
        slice.width, slice.height, CheckDepth(depth),
        [&](ZelImageBuffer* b) { return C::Window(b, slice.image(), width, centre, invert); }, "window");
}

py::array Threshold(const py::object& s, int threshold, bool invert, int depth)
{
    const Slice slice(s);
    return Convert(
        slice.width, slice.height, CheckDepth(depth),
        [&](ZelImageBuffer* b) { return C::Threshold(b, slice.image(), threshold, invert); }, "threshold");
}

py::array HighAndLow(const py::object& s, short low, short high)
{
    const Slice slice(s);
    return Convert(
        slice.width, slice.height, 1, [&](ZelImageBuffer* b) { return C::HighAndLow(b, slice.image(), low, high); },
        "high_and_low");
}

py::array Table(const py::object& s, const py::object& table, int minValue, int depth)
{
    const Slice slice(s);
    TableArg t(table, minValue);
    return Convert(
        slice.width, slice.height, CheckDepth(depth),
        [&](ZelImageBuffer* b) {
            return t.object ? C::Table(b, slice.image(), t.object) : C::Table(b, slice.image(), t.data, t.min, t.max);
        },
        "table");
}

py::array Sigmoid(const py::object& s, int width, int centre, bool invert, int depth)
{
    const Slice slice(s);
    if (width == 0) Refuse("sigmoid width must not be 0");
    return Convert(
        slice.width, slice.height, CheckDepth(depth),
        [&](ZelImageBuffer* b) { return C::Sigmoid(b, slice.image(), width, centre, invert); }, "sigmoid");
}

py::object FillZero(const py::object& image)
{
    ArrayBuffer buffer(image, "image");
    C::FillZero(buffer.buffer());
    buffer.Commit();
    return image;
}

// ---- pseudo colour ----

py::array WindowPseudo(const py::object& s, int width, int centre, const py::object& palette, bool invert,
                       const py::object& mask, const py::object& bits, const std::string& order)
{
    const Slice slice(s);
    if (width < 1) Refuse("window width must be at least 1");
    const Palette p = ToPalette(palette, ParseOrder(order));
    if (mask.is_none()) {
        return Convert(
            slice.width, slice.height, 3,
            [&](ZelImageBuffer* b) { return C::WindowPseudoColor(b, slice.image(), width, centre, invert, p.get()); },
            "window_pseudo_color");
    }
    const Mask m(mask, slice.width, slice.height);
    const unsigned int selected = Bits(bits);
    return Convert(
        slice.width, slice.height, 3,
        [&](ZelImageBuffer* b) {
            return C::WindowPseudoColorWithMask(b, slice.image(), width, centre, invert, m.image.get(), selected,
                                                p.get());
        },
        "window_pseudo_color");
}

py::array TablePseudo(const py::object& s, const py::object& table, const py::object& palette, int minValue,
                      const py::object& mask, const py::object& bits, int depth, const std::string& order)
{
    const Slice slice(s);
    TableArg t(table, minValue);
    const Palette p = ToPalette(palette, ParseOrder(order));
    CheckDepth(depth);
    if (mask.is_none()) {
        return Convert(
            slice.width, slice.height, depth,
            [&](ZelImageBuffer* b) {
                return t.object ? C::PseudoColorTable(b, slice.image(), t.object, p.get())
                                : C::PseudoColorTable(b, slice.image(), t.data, t.min, t.max, p.get());
            },
            "table_pseudo_color");
    }
    const Mask m(mask, slice.width, slice.height);
    const unsigned int selected = Bits(bits);
    return Convert(
        slice.width, slice.height, depth,
        [&](ZelImageBuffer* b) {
            return t.object ? C::PseudoColorTableWithMask(b, slice.image(), t.object, m.image.get(), selected, p.get())
                            : C::PseudoColorTableWithMask(b, slice.image(), t.data, t.min, t.max, m.image.get(),
                                                          selected, p.get());
        },
        "table_pseudo_color");
}

py::array SigmoidPseudo(const py::object& s, int width, int centre, const py::object& palette, bool invert,
                        const py::object& mask, const py::object& bits, const std::string& order)
{
    const Slice slice(s);
    if (width == 0) Refuse("sigmoid width must not be 0");
    const Palette p = ToPalette(palette, ParseOrder(order));
    if (mask.is_none()) {
        return Convert(
            slice.width, slice.height, 3,
            [&](ZelImageBuffer* b) { return C::SigmoidPseudoColor(b, slice.image(), width, centre, invert, p.get()); },
            "sigmoid_pseudo_color");
    }
    const Mask m(mask, slice.width, slice.height);
    const unsigned int selected = Bits(bits);
    return Convert(
        slice.width, slice.height, 3,
        [&](ZelImageBuffer* b) {
            return C::SigmoidPseudoColorWithMask(b, slice.image(), width, centre, invert, m.image.get(), selected,
                                                 p.get());
        },
        "sigmoid_pseudo_color");
}

// ---- colour tables ----

py::array ColourTableConvert(const py::object& s, const py::object& colours, int first, bool premultiplied,
                             const std::string& order)
{
    const Slice slice(s);
    ColourTable table(colours, first, ParseOrder(order), slice);
    return Convert(
        slice.width, slice.height, 4,
        [&](ZelImageBuffer* b) {
            return premultiplied ? C::ColorTableWithOpacity(b, slice.image(), table.zero)
                                 : C::ColorTable(b, slice.image(), table.zero);
        },
        "color_table");
}

py::array WindowColourTable(const py::object& s, int width, int centre, const py::object& colours, bool invert,
                            int first, const py::object& mask, const py::object& bits, bool only,
                            const std::string& order)
{
    const Slice slice(s);
    if (width < 1) Refuse("window width must be at least 1");
    ColourTable table(colours, first, ParseOrder(order), slice);
    if (mask.is_none()) {
        if (only) Refuse("only=True needs a mask");
        return Convert(
            slice.width, slice.height, 3,
            [&](ZelImageBuffer* b) { return C::WindowColorTable(b, slice.image(), width, centre, invert, table.zero); },
            "window_color_table");
    }
    const Mask m(mask, slice.width, slice.height);
    const unsigned int selected = Bits(bits);
    return Convert(
        slice.width, slice.height, 3,
        [&](ZelImageBuffer* b) {
            return only ? C::WindowOnlyColorTableWithMask(b, slice.image(), width, centre, invert, m.image.get(),
                                                          selected, table.zero)
                        : C::WindowColorTableWithMask(b, slice.image(), width, centre, invert, m.image.get(), selected,
                                                      table.zero);
        },
        "window_color_table");
}

py::array TableColourTable(const py::object& s, const py::object& lut, const py::object& colours, int minValue,
                           int first, const py::object& mask, const py::object& bits, const std::string& order)
{
    const Slice slice(s);
    TableArg t(lut, minValue);
    TableObject temporary(t.data, t.min, t.max);
    ZelImageGeneratorTable* object = t.object ? t.object : &temporary;
    ColourTable table(colours, first, ParseOrder(order), slice);
    if (mask.is_none()) {
        return Convert(
            slice.width, slice.height, 3,
            [&](ZelImageBuffer* b) { return C::WindowColorTable(b, slice.image(), object, table.zero); },
            "table_color_table");
    }
    const Mask m(mask, slice.width, slice.height);
    const unsigned int selected = Bits(bits);
    return Convert(
        slice.width, slice.height, 3,
        [&](ZelImageBuffer* b) {
            return C::WindowColorTableWithMask(b, slice.image(), object, m.image.get(), selected, table.zero);
        },
        "table_color_table");
}

// ---- masks over existing pictures ----

template <class Call>
py::object OverPicture(const py::object& image, const py::object& maskObject, Call call, const char* name)
{
    ArrayBuffer buffer(image, "image");
    const Mask mask(maskObject, buffer.width(), buffer.height());
    const int type = mask.image->GetVoxelType();
    if (type != ZEL_VOXEL_UCHAR && type != ZEL_VOXEL_USHORT) Refuse("mask must be uint8, bool or uint16");
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = call(buffer.buffer(), mask.image.get(), type);
    }
    if (!ok) Refuse(std::string(name) + " refused the arguments");
    buffer.Commit();
    return image;
}

py::object ApplyMask(const py::object& image, const py::object& mask, const py::object& colour, const py::object& bits,
                     const std::string& order)
{
    const ZelRGBBase<unsigned char> c = ToColour(colour, ParseOrder(order));
    const unsigned int selected = Bits(bits);
    return OverPicture(
        image, mask,
        [&](ZelImageBuffer* b, ZelImageBase* m, int type) {
            return type == ZEL_VOXEL_UCHAR ? C::ApplyMask(b, static_cast<ZelImage<unsigned char>*>(m),
                                                          static_cast<unsigned char>(selected), c)
                                           : C::ApplyMask(b, static_cast<ZelImage<unsigned short>*>(m),
                                                          static_cast<unsigned short>(selected), c);
        },
        "apply_mask");
}

py::object BlendingMask(const py::object& image, const py::object& mask, const py::object& colour, float opacity,
                        const py::object& bits, const std::string& order)
{
    const ZelRGBBase<unsigned char> c = ToColour(colour, ParseOrder(order));
    const unsigned int selected = Bits(bits);
    return OverPicture(
        image, mask,
        [&](ZelImageBuffer* b, ZelImageBase* m, int type) {
            return type == ZEL_VOXEL_UCHAR ? C::BlendingMask(b, static_cast<ZelImage<unsigned char>*>(m),
                                                             static_cast<unsigned char>(selected), opacity, c)
                                           : C::BlendingMask(b, static_cast<ZelImage<unsigned short>*>(m),
                                                             static_cast<unsigned short>(selected), opacity, c);
        },
        "blending_mask");
}

// ---- colour volumes ----

template <class T>
const ZelImage<T>* ColourVolume(const py::handle& volume, int type, const char* what)
{
    ZelImageBase* image = ImageOf(volume, "volume");
    if (image->GetVoxelType() != type) Refuse(std::string("volume must hold ") + what + " voxels");
    return static_cast<const ZelImage<T>*>(image);
}

using RGB = ZelRGBBase<unsigned char>;
using RGBA = ZelRGBABase<unsigned char>;

py::array FinishColour(ArrayBuffer& out, bool ok, Order order, const char* name)
{
    if (!ok)
        Refuse(std::string(name) +
               " refused the view (a zoom that is not positive and finite, or a view too "
               "far from the volume for 17.15 fixed point)");
    if (order == Order::kBgr) out.SwapRedBlue();
    return out.Result();
}

py::array ConvertRGB(const py::object& volume, int width, int height, const py::object& param,
                     const std::string& orderName)
{
    const Order order = ParseOrder(orderName);
    const py::object keep = volume;
    const ZelImage<RGB>* image = ColourVolume<RGB>(volume, ZEL_VOXEL_RGB, "RGB");
    ArrayBuffer out(width, height, 3);
    bool ok = false;
    if (py::isinstance<ZelObliqueImageGeneratorParam>(param)) {
        ZelObliqueImageGeneratorParam p = ToObliqueParam(param);
        CheckObliqueParam(p);
        py::gil_scoped_release release;
        ok = C::ConvertZelImageRGB(out.buffer(), image, p);
    } else {
        ZelMPRImageGeneratorParam p = ToMPRParam(param);
        py::gil_scoped_release release;
        ok = C::ConvertZelImageRGB(out.buffer(), image, p);
    }
    return FinishColour(out, ok, order, "convert_rgb");
}

py::array ConvertRGBBicubic(const py::object& volume, int width, int height, const py::object& center,
                            const py::object& spacing, float zoom, const std::string& orderName)
{
    const Order order = ParseOrder(orderName);
    const py::object keep = volume;
    const ZelImage<RGB>* image = ColourVolume<RGB>(volume, ZEL_VOXEL_RGB, "RGB");
    const Zel3DVector<float> c = ToVector3(center, "center");
    const Zel3DVector<float> s = spacing.is_none() ? image->GetImageScale() : ToVector3(spacing, "spacing");
    if (!(zoom > 0.0f) || !std::isfinite(zoom)) Refuse("zoom must be positive and finite");
    ArrayBuffer out(width, height, 3);
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = C::ConvertZelImageRGB_BiCubic(out.buffer(), image, c, s, zoom);
    }
    return FinishColour(out, ok, order, "convert_rgb_bicubic");
}

py::array ConvertRGBA(const py::object& volume, int width, int height, const py::object& param,
                      const std::string& orderName)
{
    const Order order = ParseOrder(orderName);
    const py::object keep = volume;
    const ZelImage<RGBA>* image = ColourVolume<RGBA>(volume, ZEL_VOXEL_RGBA, "RGBA");
    ZelMPRImageGeneratorParam p = ToMPRParam(param);
    ArrayBuffer out(width, height, 4);
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = C::ConvertZelImageRGBA(out.buffer(), image, p);
    }
    return FinishColour(out, ok, order, "convert_rgba");
}

Volume ConvertColourImage(const py::object& volume, const py::object& alphaVolume)
{
    const ZelImage<RGB>* source = ColourVolume<RGB>(volume, ZEL_VOXEL_RGB, "RGB");
    const ZelImage<unsigned char>* alpha = ColourVolume<unsigned char>(alphaVolume, ZEL_VOXEL_UCHAR, "uint8");
    const auto a = source->GetImageSize();
    const auto b = alpha->GetImageSize();
    if (a.x != b.x || a.y != b.y || a.z != b.z) Refuse("the alpha volume must have the colour volume's size");
    Volume result;
    result.array = py::none();
    auto* joined = new ZelImage<RGBA>(&BorrowingAllocator::Instance());
    result.image.reset(joined);
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = C::ConvertColorImage(joined, source, alpha);
    }
    if (!ok) throw std::bad_alloc();
    return result;
}

// ---- tables ----

ZelImageGeneratorTable* MakeTable(int min, int max)
{
    if (max < min) Refuse("table max must not be below min");
    auto table = std::make_unique<ZelImageGeneratorTable>();
    if (!table->CreateTable(min, max)) throw std::bad_alloc();
    std::memset(table->GetTable(), 0, static_cast<std::size_t>(static_cast<long long>(max) - min + 1));
    return table.release();
}

py::array TableValues(const py::object& self)
{
    const auto& table = self.cast<const ZelImageGeneratorTable&>();
    int min = 0, max = 0;
    table.GetTableRange(min, max);
    if (!table.GetTable()) return py::array(py::dtype::of<std::uint8_t>(), std::vector<py::ssize_t>{0});
    return py::array(py::dtype::of<std::uint8_t>(), std::vector<py::ssize_t>{static_cast<long long>(max) - min + 1}, {},
                     table.GetTable(), self);
}

}  // namespace

void BindConvert(py::module_& m)
{
    py::class_<ZelImageGeneratorTable>(m, "Table", R"(A byte lookup table over the closed value range [min, max].

values is a writable uint8 view of the entries (entry k belongs to value
min + k); the converters clamp slice values into the range.)")
        .def(py::init(&MakeTable), "min"_a, "max"_a)
        .def_property_readonly("values", &TableValues, "The entries as a writable uint8 array (no copy).")
        .def_property_readonly(
            "min",
            [](const ZelImageGeneratorTable& t) {
                int lo = 0, hi = 0;
                t.GetTableRange(lo, hi);
                return lo;
            },
            "Value of entry 0.")
        .def_property_readonly(
            "max",
            [](const ZelImageGeneratorTable& t) {
                int lo = 0, hi = 0;
                t.GetTableRange(lo, hi);
                return hi;
            },
            "Value of the last entry.")
        .def("__repr__", [](const ZelImageGeneratorTable& t) {
            int lo = 0, hi = 0;
            t.GetTableRange(lo, hi);
            return "Table(min=" + std::to_string(lo) + ", max=" + std::to_string(hi) + ")";
        });

    py::class_<ZelImageGeneratorGammaTable, ZelImageGeneratorTable>(m, "GammaTable",
                                                                    R"(A lookup table from a window and a gamma.

Value v maps to x = (v - (centre - 0.5)) / (width - 1) + 0.5 (1 - x with
invert), clamped to [0, 1], then 255 * x ** (1 / gamma), truncated. Widths
below 2 act as 2; a gamma that is not positive acts as 1.)")
        .def(py::init([](int min, int max, int width, int centre, float gamma, bool invert) {
                 if (max < min) Refuse("table max must not be below min");
                 auto table = std::make_unique<ZelImageGeneratorGammaTable>();
                 if (!table->CreateTable(min, max, width, centre, gamma, invert)) throw std::bad_alloc();
                 return table.release();
             }),
             "min"_a, "max"_a, "width"_a, "centre"_a, "gamma"_a = 1.0f, "invert"_a = false)
        .def(
            "set_window",
            [](ZelImageGeneratorGammaTable& t, int width, int centre, float gamma, bool invert) {
                int lo = 0, hi = 0;
                t.GetTableRange(lo, hi);
                if (!t.CreateTable(lo, hi, width, centre, gamma, invert)) throw std::bad_alloc();
            },
            "width"_a, "centre"_a, "gamma"_a = 1.0f, "invert"_a = false,
            "Recomputes the entries in place (views of values follow).")
        .def_property_readonly("width", &ZelImageGeneratorGammaTable::GetWindowWidth, "Window width (at least 2).")
        .def_property_readonly("centre", &ZelImageGeneratorGammaTable::GetWindowCentre, "Window centre.")
        .def_property_readonly("gamma", &ZelImageGeneratorGammaTable::GetGamma, "The gamma (not positive acts as 1).")
        .def_property_readonly("invert", &ZelImageGeneratorGammaTable::GetInvert, "True when the ramp falls.")
        .def("__repr__", [](const ZelImageGeneratorGammaTable& t) {
            int lo = 0, hi = 0;
            t.GetTableRange(lo, hi);
            return "GammaTable(min=" + std::to_string(lo) + ", max=" + std::to_string(hi) +
                   ", width=" + std::to_string(t.GetWindowWidth()) + ", centre=" + std::to_string(t.GetWindowCentre()) +
                   ", gamma=" + FormatFloat(t.GetGamma()) + ", invert=" + (t.GetInvert() ? "True" : "False") + ")";
        });

    const auto none = py::none();
    m.def("window", &Window, "slice"_a, "width"_a, "centre"_a, "invert"_a = false, "depth"_a = 1,
          R"(Linear display window of an int16 (H, W) slice: (H, W) uint8, or (H, W, 3) grey with depth=3.

v shows as 255 * ((v - (centre - 0.5)) / (width - 1) + 0.5), clamped and
truncated (falling with invert); width 1 is a threshold at centre. The first
16 * (W // 16) columns of a row are computed in single precision, the rest in
double precision.)");
    m.def("threshold", &Threshold, "slice"_a, "threshold"_a, "invert"_a = false, "depth"_a = 1,
          "255 where the value is >= threshold, 0 below (swapped with invert).");
    m.def("high_and_low", &HighAndLow, "slice"_a, "low"_a, "high"_a,
          "255 for values in [min(low, high), max(low, high)], 0 outside; (H, W) uint8.");
    m.def("table", &Table, "slice"_a, "table"_a, "min_value"_a = 0, "depth"_a = 1,
          R"(table[clamp(v, min, max) - min] for every value.

table is a Table (or GammaTable) or a 1-D uint8 array whose entry 0 belongs to min_value.)");
    m.def("sigmoid", &Sigmoid, "slice"_a, "width"_a, "centre"_a, "invert"_a = false, "depth"_a = 1,
          "Logistic curve 255 / (exp(-4 (v - centre) / width) + 1), rounded half up; width 0 is refused.");
    m.def("fill_zero", &FillZero, "image"_a, "Clears a uint8 picture in place; returns it.");

    m.def("window_pseudo_color", &WindowPseudo, "slice"_a, "width"_a, "centre"_a, "palette"_a, "invert"_a = false,
          "mask"_a = none, "bits"_a = none, "order"_a = "rgb",
          R"(The window's grey level looked up in a (256, 3) uint8 palette of red, green, blue rows: (H, W, 3).

With a mask (the slice's shape; uint8, bool, uint16 or int16), only pixels
where (mask & bits) != 0 take the palette; the rest stay grey.)");
    m.def("table_pseudo_color", &TablePseudo, "slice"_a, "table"_a, "palette"_a, "min_value"_a = 0, "mask"_a = none,
          "bits"_a = none, "depth"_a = 3, "order"_a = "rgb",
          "The table's level looked up in the palette: (H, W, 3); depth=1 gives the table entries themselves.");
    m.def("sigmoid_pseudo_color", &SigmoidPseudo, "slice"_a, "width"_a, "centre"_a, "palette"_a, "invert"_a = false,
          "mask"_a = none, "bits"_a = none, "order"_a = "rgb", "The sigmoid's level looked up in the palette.");
    m.def("color_table", &ColourTableConvert, "slice"_a, "colours"_a, "first"_a = -32768, "premultiplied"_a = false,
          "order"_a = "rgb",
          R"(Colours by value: (H, W, 4) from an (N, 4) table of red, green, blue, opacity in 0..1.

Row k of colours belongs to value first + k; a slice value outside the table
is refused. With premultiplied the colour is multiplied by the opacity.)");
    m.def("window_color_table", &WindowColourTable, "slice"_a, "width"_a, "centre"_a, "colours"_a, "invert"_a = false,
          "first"_a = -32768, "mask"_a = none, "bits"_a = none, "only"_a = false, "order"_a = "rgb",
          R"(The window's grey picture with each value's colour laid over it by the colour's opacity: (H, W, 3).

With a mask only selected pixels are coloured; with only=True (a mask needed)
they take the colour at full strength.)");
    m.def("table_color_table", &TableColourTable, "slice"_a, "table"_a, "colours"_a, "min_value"_a = 0,
          "first"_a = -32768, "mask"_a = none, "bits"_a = none, "order"_a = "rgb",
          "As window_color_table, with the grey picture of a lookup table.");
    m.def("apply_mask", &ApplyMask, "image"_a, "mask"_a, "colour"_a, "bits"_a = none, "order"_a = "rgb",
          R"(Paints every pixel the mask does NOT select with the colour, in place; returns image.

mask: uint8, bool or uint16 of the picture's shape; bits narrowed to its width.)");
    m.def("blending_mask", &BlendingMask, "image"_a, "mask"_a, "colour"_a, "opacity"_a, "bits"_a = none,
          "order"_a = "rgb", "Tints every pixel the mask selects toward the colour by opacity, in place (depth 3, 4).");

    m.def("convert_rgb", &ConvertRGB, "volume"_a, "width"_a, "height"_a, "param"_a, "order"_a = "rgb",
          R"(The MPR view (MPRParam) or oblique plane (ObliqueParam) of an RGB volume: (H, W, 3).

The same planes and positions as the grey generators; black outside the volume.)");
    m.def("convert_rgb_bicubic", &ConvertRGBBicubic, "volume"_a, "width"_a, "height"_a, "center"_a, "spacing"_a = none,
          "zoom"_a = 1.0f, "order"_a = "rgb",
          "The x-y slice z = trunc(center.z) of an RGB volume, scaled by cubic convolution: (H, W, 3).");
    m.def("convert_rgba", &ConvertRGBA, "volume"_a, "width"_a, "height"_a, "param"_a, "order"_a = "rgb",
          "The MPR view of an RGBA volume: (H, W, 4).");
    m.def("convert_color_image", &ConvertColourImage, "volume"_a, "alpha"_a,
          "An RGBA Volume joining an RGB volume and a uint8 volume of the same size (its fourth component).");
}

}  // namespace zelpy
