#include "common.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <cstring>
#include <sstream>
#include <utility>

namespace zelpy {

namespace {

struct Lent {
    void* block = nullptr;
    std::size_t bytes = 0;
};
thread_local Lent t_lent;

// handle[0] of a record whose block was lent: the allocator must not free it.
constexpr int kBorrowed = 0x5A454C;

ZelIMemoryAllocator& Fallback()
{
    return ZelDefaultMemoryAllocator::Instance();
}

}  // namespace

void Refuse(const std::string& reason)
{
    throw py::value_error(reason);
}

BorrowingAllocator& BorrowingAllocator::Instance()
{
    static BorrowingAllocator instance;
    return instance;
}

bool BorrowingAllocator::Allocate(ZelAllocationRecord& record, ZelIRelocationEvent* event, std::size_t bytes)
{
    if (t_lent.block && bytes == t_lent.bytes) {
        record.address = t_lent.block;
        record.handle[0] = kBorrowed;
        record.tag = bytes;
        t_lent = Lent{};
        return true;
    }
    return Fallback().Allocate(record, event, bytes);
}

void BorrowingAllocator::Free(ZelAllocationRecord& record)
{
    if (record.handle[0] == kBorrowed) {
        record = ZelAllocationRecord{};
        return;
    }
    Fallback().Free(record);
}

std::size_t BorrowingAllocator::GetSize(const ZelAllocationRecord& record) const
{
    return record.handle[0] == kBorrowed ? record.tag : Fallback().GetSize(record);
}

void BorrowingAllocator::QueryRelocation(ZelAllocationRecord&) {}

LendBlock::LendBlock(void* block, std::size_t bytes)
{
    t_lent = Lent{block, bytes};
}

LendBlock::~LendBlock()
{
    t_lent = Lent{};
}

// ---- numpy arrays ----

py::dtype DtypeOfVoxelType(int voxelType)
{
    switch (voxelType) {
    case ZEL_VOXEL_SHORT: return py::dtype::of<std::int16_t>();
    case ZEL_VOXEL_USHORT: return py::dtype::of<std::uint16_t>();
    default: return py::dtype::of<std::uint8_t>();
    }
}

int GreyVoxelType(const py::array& array)
{
    const py::dtype dtype = array.dtype();
    if (dtype.equal(py::dtype::of<std::int16_t>())) return ZEL_VOXEL_SHORT;
    if (dtype.equal(py::dtype::of<std::uint16_t>())) return ZEL_VOXEL_USHORT;
    if (dtype.equal(py::dtype::of<std::uint8_t>())) return ZEL_VOXEL_UCHAR;
    return 0;
}

std::string DtypeName(const py::array& array)
{
    return py::str(py::handle(array.dtype())).cast<std::string>();
}

py::array CheckArray(const py::handle& object, const char* what, bool writeable)
{
    if (!py::isinstance<py::array>(object)) {
        Refuse(std::string(what) + " must be a numpy array, not " +
               py::str(py::type::of(object).attr("__name__")).cast<std::string>());
    }
    py::array array = py::reinterpret_borrow<py::array>(object);
    if (!(array.flags() & py::array::c_style)) {
        Refuse(std::string(what) + " is not C-contiguous; pass numpy.ascontiguousarray(...) of it");
    }
    if (!(array.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_)) {
        Refuse(std::string(what) + " is not aligned to its element size; pass a copy of it");
    }
    if (writeable && !array.writeable()) Refuse(std::string(what) + " is read-only");
    return array;
}

py::array CheckArrayDims(const py::handle& object, const char* what, bool writeable, int dimsA, int dimsB)
{
    py::array array = CheckArray(object, what, writeable);
    const int dims = static_cast<int>(array.ndim());
    if (dims != dimsA && dims != dimsB) {
        std::ostringstream out;
        out << what << " must have " << dimsA;
        if (dimsB >= 0) out << " or " << dimsB;
        out << " dimensions, not " << dims;
        Refuse(out.str());
    }
    return array;
}

int Extent(const py::array& array, int axis, const char* what)
{
    const py::ssize_t n = array.shape(axis);
    if (n < 1) Refuse(std::string(what) + " is empty");
    if (n > INT_MAX / 4) Refuse(std::string(what) + " is too large");
    return static_cast<int>(n);
}

void BorrowImage(ZelImageBase& image, const py::array& array, int sx, int sy, int sz)
{
    void* data = const_cast<void*>(array.data());
    const std::size_t bytes = static_cast<std::size_t>(sx) * sy * sz * image.GetVoxelBytes();
    if (static_cast<py::ssize_t>(bytes) != array.nbytes()) Refuse("internal error: array size mismatch");
    LendBlock lend(data, bytes);
    if (image.Allocate(ZEL_ALIGNMENT_LINEAR, sx, sy, sz) != 0 || image.GetVoidDataPtr() != data) {
        throw std::runtime_error("zelimage: the array's memory could not be lent to the image");
    }
}

py::array AdoptImage(ZelImageBase* image, std::vector<py::ssize_t> shape)
{
    std::unique_ptr<ZelImageBase> owned(image);
    const py::dtype dtype = DtypeOfVoxelType(image->GetVoxelType());
    void* data = image->GetVoidDataPtr();
    py::capsule owner(owned.get(), [](void* p) { delete static_cast<ZelImageBase*>(p); });
    owned.release();
    return py::array(dtype, std::move(shape), {}, data, owner);
}

// ---- display arrays ----

Order ParseOrder(const std::string& order)
{
    if (order == "rgb") return Order::kRgb;
    if (order == "bgr") return Order::kBgr;
    Refuse("unknown order '" + order + "': expected 'rgb' or 'bgr'");
}

namespace {

int PaddedStride(int width, int depth)
{
    return (width * depth + 3) & ~3;
}

}  // namespace

ArrayBuffer::ArrayBuffer(int width, int height, int depth)
{
    if (width < 1 || height < 1) Refuse("width and height must be at least 1");
    if (static_cast<long long>(width) * depth > INT_MAX / 2) Refuse("width is too large");
    const std::size_t bytes = static_cast<std::size_t>(PaddedStride(width, depth)) * height;
    m_array = py::array(py::dtype::of<std::uint8_t>(), std::vector<py::ssize_t>{static_cast<py::ssize_t>(bytes)});
    LendBlock lend(m_array.mutable_data(), bytes);
    if (!m_buffer.CreateImage(width, height, depth) || m_buffer.GetDataPtr() != m_array.data()) {
        throw std::runtime_error("zelimage: the display array could not be lent to the buffer");
    }
}

ArrayBuffer::ArrayBuffer(const py::handle& object, const char* what)
{
    py::array array = CheckArrayDims(object, what, true, 2, 3);
    if (!array.dtype().equal(py::dtype::of<std::uint8_t>())) {
        Refuse(std::string(what) + " must be uint8, not " + DtypeName(array));
    }
    const int height = Extent(array, 0, what);
    const int width = Extent(array, 1, what);
    const int depth = array.ndim() == 2 ? 1 : static_cast<int>(array.shape(2));
    if (depth != 1 && depth != 3 && depth != 4) {
        Refuse(std::string(what) + " must be (H, W), (H, W, 3) or (H, W, 4)");
    }
    const int stride = PaddedStride(width, depth);
    const std::size_t bytes = static_cast<std::size_t>(stride) * height;
    if (stride == width * depth) {
        m_array = array;
        m_target = py::none();
    } else {
        m_target = array;
        m_array = py::array(py::dtype::of<std::uint8_t>(), std::vector<py::ssize_t>{static_cast<py::ssize_t>(bytes)});
    }
    LendBlock lend(m_array.mutable_data(), bytes);
    if (!m_buffer.CreateImage(width, height, depth) || m_buffer.GetDataPtr() != m_array.data()) {
        throw std::runtime_error("zelimage: the display array could not be lent to the buffer");
    }
    if (!m_target.is_none()) {
        const auto* src = static_cast<const unsigned char*>(array.data());
        unsigned char* dst = m_buffer.GetDataPtr();
        const std::size_t row = static_cast<std::size_t>(width) * depth;
        for (int y = 0; y < height; ++y) std::memcpy(dst + std::size_t(y) * stride, src + y * row, row);
    }
}

void ArrayBuffer::SwapRedBlue()
{
    const int depth = m_buffer.GetDepth();
    if (depth < 3) return;
    for (int y = 0; y < m_buffer.GetHeight(); ++y) {
        unsigned char* p = m_buffer.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * m_buffer.GetSizePerLine();
        for (int x = 0; x < m_buffer.GetWidth(); ++x, p += depth) std::swap(p[0], p[2]);
    }
}

py::array ArrayBuffer::Result()
{
    const int width = m_buffer.GetWidth();
    const int height = m_buffer.GetHeight();
    const int depth = m_buffer.GetDepth();
    const std::size_t row = static_cast<std::size_t>(width) * depth;
    const std::size_t stride = static_cast<std::size_t>(m_buffer.GetSizePerLine());
    unsigned char* data = m_buffer.GetDataPtr();
    // Rows move towards the start: row y's new place ends before its old one.
    if (stride != row) {
        for (int y = 1; y < height; ++y) std::memmove(data + y * row, data + y * stride, row);
    }
    std::vector<py::ssize_t> shape{height, width};
    if (depth > 1) shape.push_back(depth);
    return py::array(py::dtype::of<std::uint8_t>(), shape, {}, data, m_array);
}

void ArrayBuffer::Commit()
{
    if (m_target.is_none()) return;
    const std::size_t row = static_cast<std::size_t>(m_buffer.GetWidth()) * m_buffer.GetDepth();
    const unsigned char* src = m_buffer.GetDataPtr();
    auto* dst = static_cast<unsigned char*>(py::reinterpret_borrow<py::array>(m_target).mutable_data());
    for (int y = 0; y < m_buffer.GetHeight(); ++y) {
        std::memcpy(dst + y * row, src + static_cast<std::size_t>(y) * m_buffer.GetSizePerLine(), row);
    }
}

// ---- small values ----

namespace {

template <class T>
std::vector<T> ToValues(const py::handle& object, std::size_t count, const char* what)
{
    std::vector<T> values;
    try {
        auto seq = py::cast<py::sequence>(object);
        if (seq.size() == count) {
            for (const auto& item : seq) values.push_back(item.cast<T>());
        }
    } catch (const py::cast_error&) {
        values.clear();
    } catch (const py::error_already_set&) {
        values.clear();
    }
    if (values.size() != count) {
        Refuse(std::string(what) + " must be a sequence of " + std::to_string(count) + " numbers");
    }
    return values;
}

}  // namespace

Zel3DVector<float> ToVector3(const py::handle& object, const char* what)
{
    const auto v = ToValues<float>(object, 3, what);
    return {v[0], v[1], v[2]};
}

py::tuple FromVector3(const Zel3DVector<float>& v)
{
    return py::make_tuple(v.x, v.y, v.z);
}

Zel3DVector<int> ToIntVector3(const py::handle& object, const char* what)
{
    const auto v = ToValues<int>(object, 3, what);
    return {v[0], v[1], v[2]};
}

py::tuple FromIntVector3(const Zel3DVector<int>& v)
{
    return py::make_tuple(v.x, v.y, v.z);
}

ZelMatrix3x3<float> ToMatrix(const py::handle& object, const char* what)
{
    auto array = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(object);
    if (!array || array.ndim() != 2 || array.shape(0) != 3 || array.shape(1) != 3) {
        PyErr_Clear();
        Refuse(std::string(what) + " must be a 3 x 3 array");
    }
    ZelMatrix3x3<float> m;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) m.m[r][c] = array.at(r, c);
    }
    return m;
}

py::array FromMatrix(const ZelMatrix3x3<float>& m)
{
    py::array_t<float> array({3, 3});
    auto view = array.mutable_unchecked<2>();
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) view(r, c) = m.m[r][c];
    }
    return std::move(array);
}

ZelRGBBase<unsigned char> ToColour(const py::handle& object, Order order)
{
    const auto v = ToValues<int>(object, 3, "a colour (red, green, blue)");
    for (int c : v) {
        if (c < 0 || c > 255) Refuse("colour components must lie in 0..255");
    }
    const auto r = static_cast<unsigned char>(v[0]);
    const auto g = static_cast<unsigned char>(v[1]);
    const auto b = static_cast<unsigned char>(v[2]);
    return order == Order::kRgb ? ZelRGBBase<unsigned char>{r, g, b} : ZelRGBBase<unsigned char>{b, g, r};
}

std::unique_ptr<ZelRGBBase<unsigned char>[]> ToPalette(const py::handle& object, Order order) {
    py::array array = CheckArrayDims(object, "palette", false, 2);
    if (!array.dtype().equal(py::dtype::of<std::uint8_t>()) || array.shape(0) != 256 || array.shape(1) != 3) {
        Refuse("palette must be a (256, 3) uint8 array of red, green, blue rows");
    }
    std::unique_ptr<ZelRGBBase<unsigned char>[]> palette(new ZelRGBBase<unsigned char>[256]);
    const auto* p = static_cast<const unsigned char*>(array.data());
    for (int i = 0; i < 256; ++i, p += 3) {
        palette[i] = order == Order::kRgb ? ZelRGBBase<unsigned char>{p[0], p[1], p[2]}
                                          : ZelRGBBase<unsigned char>{p[2], p[1], p[0]};
    }
    return palette;
}

py::array_t<float, py::array::c_style> ToPoints(const py::handle& object, int components, const char* what)
{
    auto points = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(object);
    if (!points) {
        PyErr_Clear();
        Refuse(std::string(what) + " must be an array of numbers");
    }
    if (points.ndim() < 1 || points.shape(points.ndim() - 1) != components) {
        Refuse(std::string(what) + " must have " + std::to_string(components) + " components on its last axis");
    }
    return points;
}

py::array_t<float> NewPoints(const py::array& points, int components)
{
    std::vector<py::ssize_t> shape(points.shape(), points.shape() + points.ndim());
    shape.back() = components;
    return py::array_t<float>(shape);
}

py::array_t<float, py::array::c_style> ToScalars(const py::handle& object, const char* what)
{
    auto a = py::array_t<float, py::array::c_style | py::array::forcecast>::ensure(object);
    if (!a) {
        PyErr_Clear();
        Refuse(std::string(what) + " must be numbers");
    }
    return a;
}

std::vector<Zel3DVector<float>> ToVectorList(const py::handle& object, const char* what)
{
    auto points = ToPoints(object, 3, what);
    if (points.ndim() != 2) Refuse(std::string(what) + " must be an (N, 3) array");
    std::vector<Zel3DVector<float>> v(static_cast<std::size_t>(points.shape(0)));
    const float* p = points.data();
    for (auto& e : v) e = {p[0], p[1], p[2]}, p += 3;
    return v;
}

py::array_t<float> FromVectorList(const std::vector<Zel3DVector<float>>& v)
{
    py::array_t<float> a({static_cast<py::ssize_t>(v.size()), py::ssize_t(3)});
    float* p = a.mutable_data();
    for (const auto& e : v) p[0] = e.x, p[1] = e.y, p[2] = e.z, p += 3;
    return a;
}

std::string FormatFloat(float value)
{
    // The shortest text that reads back as the same float, as Python prints a
    // float (1.0, 0.45, 1e-05).
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    std::string s(text, end);
    if (s.find_first_of(".ein") == std::string::npos) s += ".0";
    return s;
}

std::string FormatVector(const Zel3DVector<float>& v)
{
    return "(" + FormatFloat(v.x) + ", " + FormatFloat(v.y) + ", " + FormatFloat(v.z) + ")";
}

}  // namespace zelpy
