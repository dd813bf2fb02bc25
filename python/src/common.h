// Shared pieces of the zelimage module: numpy arrays seen as the library's
// images and display buffers without a copy, argument checks that turn into
// ValueError, and the colour byte order of display arrays.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelIMemoryAllocator.h"
#include "ZelImage.h"
#include "ZelImageBuffer.h"
#include "ZelMatrix3x3.h"
#include "ZelRGBABase.h"
#include "ZelRGBBase.h"

namespace py = pybind11;

namespace zelpy {

using namespace pybind11::literals;

// Binders of the module's families, one per source file.
void BindVolumes(py::module_& m);
void BindGenerators(py::module_& m);
void BindConvert(py::module_& m);
void BindCompose(py::module_& m);
void BindDraw(py::module_& m);
void BindPaths(py::module_& m);
void BindCPR(py::module_& m);

[[noreturn]] void Refuse(const std::string& reason);

// The allocator behind every image and buffer the module makes. A block lent
// with LendBlock on the calling thread (the memory of a numpy array) is handed
// to the next request of exactly its size on that thread, and never freed by
// the allocator; every other request is served, and freed, by the default
// allocator. It lives for the whole process, so images made on it (clones of
// volumes, images the library creates) never outlive it.
class BorrowingAllocator final : public ZelIMemoryAllocator {
public:
    static BorrowingAllocator& Instance();

    bool Allocate(ZelAllocationRecord& record, ZelIRelocationEvent* event, std::size_t bytes) override;
    void Free(ZelAllocationRecord& record) override;
    std::size_t GetSize(const ZelAllocationRecord& record) const override;
    void QueryRelocation(ZelAllocationRecord& record) override;
};

// Lends a block to the next allocation of `bytes` bytes on this thread, for as
// long as the object lives (or until that allocation takes it).
class LendBlock {
public:
    LendBlock(void* block, std::size_t bytes);
    ~LendBlock();
    LendBlock(const LendBlock&) = delete;
    LendBlock& operator=(const LendBlock&) = delete;
};

// ---- numpy arrays ----

// The numpy dtype of a voxel type code (1, 3, 4; 9 and 10 are bytes).
py::dtype DtypeOfVoxelType(int voxelType);
// The grey voxel type code of an array's dtype (uint8 1, uint16 3, int16 4);
// 0 for any other dtype, a byte-swapped one included.
int GreyVoxelType(const py::array& array);
std::string DtypeName(const py::array& array);

// Refuses (ValueError naming `what`) an object that is not a numpy array, an
// array that is not C-contiguous or not aligned, and, when writeable is set,
// a read-only one.
py::array CheckArray(const py::handle& object, const char* what, bool writeable);
// The same, and the number of dimensions must be one of the given.
py::array CheckArrayDims(const py::handle& object, const char* what, bool writeable, int dimsA, int dimsB = -1);
// A dimension of an array as an int; refused when it does not fit or is 0.
int Extent(const py::array& array, int axis, const char* what);

// Makes `image` (empty, on the borrowing allocator) a linear image of
// sx x sy x sz voxels in the array's memory.
void BorrowImage(ZelImageBase& image, const py::array& array, int sx, int sy, int sz);

// A 2-D grey image ((H, W) array, or an (H, W, 4) uint8 array for RGBA) held in
// the memory of a numpy array.
template <class T>
struct ArrayImage {
    ZelImage<T> image{&BorrowingAllocator::Instance()};
    ArrayImage(const py::array& array, int width, int height) { BorrowImage(image, array, width, height, 1); }
};

// An ndarray over the voxels of an image the library made, owning it: the
// image is deleted when the array (and every view of it) is gone.
py::array AdoptImage(ZelImageBase* image, std::vector<py::ssize_t> shape);

// ---- display arrays ----

// The byte order of a colour display array: RGB (red first, what numpy,
// matplotlib and PIL expect) or BGR (the library's own, that of a Windows
// bitmap and of OpenCV).
enum class Order { kRgb, kBgr };
Order ParseOrder(const std::string& order);

// A display buffer over numpy memory. For a fresh result the buffer's rows
// (padded to 4 bytes) live in a new array, which Result() packs into an
// (H, W) or (H, W, depth) C-contiguous array in place. Over an existing array
// whose rows are already a multiple of 4 bytes the buffer is the array itself;
// otherwise it is a padded copy that Commit() writes back.
class ArrayBuffer {
public:
    // A new buffer of width x height x depth.
    ArrayBuffer(int width, int height, int depth);
    // Over an existing (H, W) or (H, W, 3|4) uint8 array.
    ArrayBuffer(const py::handle& array, const char* what);
    ArrayBuffer(const ArrayBuffer&) = delete;
    ArrayBuffer& operator=(const ArrayBuffer&) = delete;

    ZelImageBuffer* buffer() { return &m_buffer; }
    int width() const { return m_buffer.GetWidth(); }
    int height() const { return m_buffer.GetHeight(); }
    int depth() const { return m_buffer.GetDepth(); }
    // Swaps the first and third byte of every pixel (depth 3 and 4).
    void SwapRedBlue();
    // The finished picture (new buffers), packed to H x W x depth bytes.
    py::array Result();
    // Writes a padded copy back into its array (existing arrays).
    void Commit();
    const py::array& array() const { return m_array; }

private:
    py::array m_array;                 // the memory the buffer lives in, or the caller's array
    py::object m_target = py::none();  // the caller's array when m_array is a padded copy, else None
    ZelImageBuffer m_buffer{&BorrowingAllocator::Instance()};
};

// ---- small values ----

Zel3DVector<float> ToVector3(const py::handle& object, const char* what);
py::tuple FromVector3(const Zel3DVector<float>& v);
Zel3DVector<int> ToIntVector3(const py::handle& object, const char* what);
py::tuple FromIntVector3(const Zel3DVector<int>& v);
// A 3x3 array-like, stored row by row.
ZelMatrix3x3<float> ToMatrix(const py::handle& object, const char* what);
py::array FromMatrix(const ZelMatrix3x3<float>& m);
// A colour given as (red, green, blue), in the byte order of `order`: the
// library writes component k to byte k.
ZelRGBBase<unsigned char> ToColour(const py::handle& object, Order order);
// A 256 x 3 uint8 palette given as red, green, blue rows, in the byte order of
// `order`.
std::unique_ptr<ZelRGBBase<unsigned char>[]> ToPalette(const py::handle& object, Order order);
// Points as a float32 array whose last axis has `components` entries; the
// leading shape is kept for the result.
py::array_t<float, py::array::c_style> ToPoints(const py::handle& object, int components, const char* what);
// A result of `components` per point with the leading shape of `points`.
py::array_t<float> NewPoints(const py::array& points, int components);
// Numbers of any shape as float32.
py::array_t<float, py::array::c_style> ToScalars(const py::handle& object, const char* what);
// An (N, 3) array as a list of vectors, and back.
std::vector<Zel3DVector<float>> ToVectorList(const py::handle& object, const char* what);
py::array_t<float> FromVectorList(const std::vector<Zel3DVector<float>>& v);

// Maps every entry of `in` (points with `inComponents` on the last axis, or
// scalars when it is 1) to `outComponents` values with `map(in, out)`, which
// returns the entry's inside flag. The result keeps the leading shape; with
// returnInside it comes with a bool array of the flags. Runs without the GIL.
template <class Map>
py::object MapEach(const py::array_t<float, py::array::c_style>& in, int inComponents, int outComponents,
                   bool returnInside, Map map)
{
    std::vector<py::ssize_t> leading(in.shape(), in.shape() + in.ndim() - (inComponents > 1 ? 1 : 0));
    std::vector<py::ssize_t> shape = leading;
    if (outComponents > 1) shape.push_back(outComponents);
    py::array_t<float> result(shape);
    py::array_t<bool> inside(leading);
    const py::ssize_t n = in.size() / inComponents;
    const float* src = in.data();
    float* dst = result.mutable_data();
    bool* flags = inside.mutable_data();
    {
        py::gil_scoped_release release;
        for (py::ssize_t i = 0; i < n; ++i) flags[i] = map(src + i * inComponents, dst + i * outComponents);
    }
    if (returnInside) return py::make_tuple(result, inside);
    return std::move(result);
}

std::string FormatFloat(float value);
std::string FormatVector(const Zel3DVector<float>& v);

}  // namespace zelpy
