// Volume model: addressing of both layouts, allocation, cloning with layout
// conversion, and allocators that refuse.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>

#include "ZelImage.h"
#include "ZelMatrix3x3.h"
#include "ZelVoxelIndex.h"
#include "test_allocators.h"

namespace {

// The tiled index written the long way, with divisions, as the reference for
// the mask form.
std::ptrdiff_t TiledByDivision(int x, int y, int z, int bx, int bxy)
{
    const std::ptrdiff_t block = x / 16 + (y / 16) * bx + (z / 16) * bxy;
    return block * 4096 + (z % 16) * 256 + (y % 16) * 16 + (x % 16);
}

TEST(VoxelIndex, KnownPositions)
{
    struct Row {
        int x, y, z;
        bool tiled;
        int sx, sy, sz;
        std::ptrdiff_t expected;
    };
    const Row rows[] = {
        {1, 2, 3, true, 10, 20, 30, 801},       {1, 2, 3, false, 10, 20, 30, 621},
        {16, 0, 0, true, 17, 1, 1, 4096},       {0, 16, 0, true, 33, 33, 1, 3 * 4096},
        {0, 0, 16, true, 33, 33, 17, 9 * 4096}, {15, 15, 15, true, 16, 16, 16, 4095},
    };
    for (const Row& r : rows) {
        ZelImage<short> image;
        ASSERT_EQ(image.Allocate(r.tiled ? 1 : 0, r.sx, r.sy, r.sz), 0);
        EXPECT_EQ(ZelVoxelAddressing(image)(r.x, r.y, r.z), r.expected) << r.x << "," << r.y << "," << r.z;
    }
}

TEST(VoxelIndex, MaskFormEqualsDivisionForm)
{
    std::mt19937 rng(7);
    for (int i = 0; i < 100000; ++i) {
        const int bx = 1 + static_cast<int>(rng() % 40);
        const int by = 1 + static_cast<int>(rng() % 40);
        const int x = static_cast<int>(rng() % (bx * 16u));
        const int y = static_cast<int>(rng() % (by * 16u));
        const int z = static_cast<int>(rng() % 640u);
        ASSERT_EQ(ZelTiledIndex(x, y, z, bx, bx * by), TiledByDivision(x, y, z, bx, bx * by));
    }
}

TEST(VolumeModel, AllocateGeometry)
{
    struct Row {
        int alignment;
        int sx, sy, sz;
        bool pad;
        Zel3DVector<int> blocks;
        int blocksPerSlice;
        bool padded;
        long long elements;
    };
    const Row rows[] = {
        {1, 17, 1, 1, false, {2, 1, 1}, 2, true, 8192},
        {0, 17, 1, 1, false, {1, 1, 1}, 1, false, 17},
        {0, 17, 1, 1, true, {1, 1, 1}, 1, true, 8192},
        {1, 100, 60, 33, false, {7, 4, 3}, 28, true, 7LL * 4 * 3 * 4096},
        {0, 10, 20, 30, false, {1, 1, 1}, 1, false, 6000},
        {2, 16, 16, 16, false, {1, 1, 1}, 1, false, 4096},  // any non-zero layout is tiled, not padded by itself
    };
    for (const Row& r : rows) {
        ZelImage<unsigned short> image;
        const int counter = image.GetImageCounter();
        ASSERT_EQ(image.Allocate(r.alignment, r.sx, r.sy, r.sz, r.pad), 0);
        EXPECT_NE(image.GetImageCounter(), counter);
        EXPECT_EQ(image.GetImageSize().x, r.sx);
        EXPECT_EQ(image.GetTilingBlockNum().x, r.blocks.x);
        EXPECT_EQ(image.GetTilingBlockNum().y, r.blocks.y);
        EXPECT_EQ(image.GetTilingBlockNum().z, r.blocks.z);
        EXPECT_EQ(image.GetBlocksPerSlice(), r.blocksPerSlice);
        EXPECT_EQ(image.IsBlockPadded(), r.padded);
        EXPECT_EQ(image.GetElementCount(), r.elements);
        EXPECT_NE(image.GetDataPtr(), nullptr);
    }
}

TEST(VolumeModel, TypeCodes)
{
    EXPECT_EQ(ZelImage<unsigned char>().GetVoxelType(), 1);
    EXPECT_EQ(ZelImage<unsigned short>().GetVoxelType(), 3);
    EXPECT_EQ(ZelImage<short>().GetVoxelType(), 4);
    EXPECT_EQ(ZelImage<ZelRGBBase<unsigned char>>().GetVoxelType(), 9);
    for (int code : {1, 3, 4, 9, 10}) {
        ZelImageBase* image = ZelCreateImage(code);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->GetVoxelType(), code);
        delete image;
    }
    EXPECT_EQ(ZelCreateImage(2), nullptr);
}

TEST(VolumeModel, ReallocationReleasesFirstAndResetsGeometry)
{
    ZelImage<short> image;
    ASSERT_EQ(image.Allocate(1, 40, 40, 40), 0);
    image.SetImageScale({0.5f, 0.5f, 2.0f});
    image.Release();
    EXPECT_EQ(image.GetDataPtr(), nullptr);
    EXPECT_EQ(image.GetImageSize().x, 0);
    EXPECT_EQ(image.GetImageScale().z, 1.0f);
    EXPECT_EQ(image.GetTilingBlockNum().x, 0);
    EXPECT_EQ(image.GetBlocksPerSlice(), 0);
}

TEST(VolumeModel, RefusingAllocatorGivesCode7AndLeaksNothing)
{
    CountingAllocator allocator;
    allocator.refuse = true;
    ZelImage<short> image(&allocator);
    EXPECT_EQ(image.Allocate(1, 20, 20, 20), 7);
    EXPECT_EQ(image.GetDataPtr(), nullptr);
    EXPECT_EQ(image.GetImageSize().x, 0);
    EXPECT_EQ(image.GetTilingBlockNum().x, 0);
    EXPECT_EQ(image.GetBlocksPerSlice(), 0);
    EXPECT_EQ(image.GetMemoryAllocator(), &allocator);

    allocator.refuse = false;
    ASSERT_EQ(image.Allocate(0, 20, 20, 20), 0);
    allocator.refuse = true;
    EXPECT_EQ(image.Clone(1), nullptr);  // the half-made clone is destroyed
    image.Release();
    EXPECT_EQ(allocator.live, 0);
}

TEST(VolumeModel, NegativeOrEmptySizesAreRefused)
{
    ZelImage<unsigned char> image;
    EXPECT_EQ(image.Allocate(0, -1, 4, 4), 7);
    EXPECT_EQ(image.Allocate(0, 0, 4, 4), 7);
    EXPECT_EQ(image.GetDataPtr(), nullptr);
}

template <class T>
T ValueFor(std::uint32_t v)
{
    T value;
    std::memset(&value, 0, sizeof value);
    std::memcpy(&value, &v, sizeof value < sizeof v ? sizeof value : sizeof v);
    return value;
}

template <class T>
bool SameBytes(const T& a, const T& b)
{
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Linear -> tiled -> linear gives back every voxel, for sizes that are not
// multiples of 16, and Clone(-1) of a tiled image copies its whole storage.
template <class T>
void CloneRoundTrip()
{
    const Zel3DVector<int> sizes[] = {{1, 1, 1}, {17, 5, 3}, {33, 16, 18}, {16, 16, 16}, {5, 40, 2}};
    std::mt19937 rng(11);
    for (const auto& size : sizes) {
        ZelImage<T> linear;
        ASSERT_EQ(linear.Allocate(0, size.x, size.y, size.z), 0);
        linear.SetImageScale({0.7f, 0.8f, 1.5f});
        const long long n = linear.GetElementCount();
        for (long long i = 0; i < n; ++i) linear.GetDataPtr()[i] = ValueFor<T>(rng());

        ZelImage<T>* tiled = linear.Clone(1);
        ASSERT_NE(tiled, nullptr);
        EXPECT_TRUE(tiled->IsTiled());
        EXPECT_EQ(tiled->GetImageScale().z, 1.5f);
        const ZelVoxelAddressing at(*tiled);
        for (int z = 0; z < size.z; ++z)
            for (int y = 0; y < size.y; ++y)
                for (int x = 0; x < size.x; ++x)
                    ASSERT_TRUE(SameBytes(tiled->GetDataPtr()[at(x, y, z)],
                                          linear.GetDataPtr()[ZelLinearIndex(x, y, z, size.x, size.y)]));

        ZelImage<T>* same = tiled->Clone(-1);
        ASSERT_NE(same, nullptr);
        EXPECT_EQ(std::memcmp(same->GetDataPtr(), tiled->GetDataPtr(),
                              static_cast<std::size_t>(tiled->GetElementCount()) * sizeof(T)),
                  0);

        ZelImage<T>* back = same->Clone(0);
        ASSERT_NE(back, nullptr);
        EXPECT_FALSE(back->IsTiled());
        EXPECT_TRUE(back->IsBlockPadded());  // block padding travels with the clone
        for (int z = 0; z < size.z; ++z)
            for (int y = 0; y < size.y; ++y)
                for (int x = 0; x < size.x; ++x) {
                    const auto i = ZelLinearIndex(x, y, z, size.x, size.y);
                    ASSERT_TRUE(SameBytes(back->GetDataPtr()[i], linear.GetDataPtr()[i]));
                }
        delete tiled;
        delete same;
        delete back;
    }
}

TEST(VolumeModel, CloneRoundTripEveryType)
{
    CloneRoundTrip<unsigned char>();
    CloneRoundTrip<short>();
    CloneRoundTrip<unsigned short>();
    CloneRoundTrip<ZelRGBBase<unsigned char>>();
    CloneRoundTrip<ZelRGBABase<unsigned char>>();
}

TEST(ValueTypes, SubtractionIsComponentWise)
{
    const Zel3DVector<float> d = Zel3DVector<float>{3, 5, 7} - Zel3DVector<float>{1, 1, 2};
    EXPECT_EQ(d.x, 2.0f);
    EXPECT_EQ(d.y, 4.0f);
    EXPECT_EQ(d.z, 5.0f);
    static_assert(sizeof(ZelRGBBase<unsigned char>) == 3, "RGB voxels are three bytes");
    static_assert(sizeof(ZelRGBABase<unsigned char>) == 4, "RGBA voxels are four bytes");
    static_assert(sizeof(ZelMatrix3x3<float>) == 9 * sizeof(float), "row-major 3x3");
}

}  // namespace
