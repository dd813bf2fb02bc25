// Volume model: addressing of both layouts, allocation, cloning with layout
// conversion, and allocators that refuse.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <random>

#include "ZelImage.h"
#include "ZelMatrix3x3.h"
#include "ZelVoxelIndex.h"
#include "test_allocators.h"

static_assert(sizeof(ZelRGBBase<unsigned char>) == 3, "RGB voxels are three bytes");
static_assert(sizeof(ZelRGBABase<unsigned char>) == 4, "RGBA voxels are four bytes");
static_assert(sizeof(ZelMatrix3x3<float>) == 9 * sizeof(float), "row-major 3x3");

namespace {

TEST(VoxelIndex, KnownPositions)
{
    struct Row {
        int x, y, z;
        int alignment;
        int sx, sy, sz;
        std::ptrdiff_t expected;
    };
    const Row rows[] = {
        {1, 2, 3, 1, 10, 20, 30, 801},      {1, 2, 3, 0, 10, 20, 30, 621},       {16, 0, 0, 1, 17, 1, 1, 4096},
        {0, 16, 0, 1, 33, 33, 1, 3 * 4096}, {0, 0, 16, 1, 33, 33, 17, 9 * 4096}, {15, 15, 15, 1, 16, 16, 16, 4095},
    };
    for (const Row& r : rows) {
        ZelImage<short> image;
        ASSERT_EQ(image.Allocate(r.alignment, r.sx, r.sy, r.sz), 0);
        EXPECT_EQ(ZelVoxelAddressing(image)(r.x, r.y, r.z), r.expected) << r.x << "," << r.y << "," << r.z;
    }
}

// The mask form against the tiled index written the long way, with divisions.
TEST(VoxelIndex, MaskFormEqualsDivisionForm)
{
    std::mt19937 rng(7);
    for (int i = 0; i < 100000; ++i) {
        const int bx = 1 + static_cast<int>(rng() % 40);
        const int bxy = bx * (1 + static_cast<int>(rng() % 40));
        const int x = static_cast<int>(rng() % (bx * 16u));
        const int y = static_cast<int>(rng() % (bxy / bx * 16u));
        const int z = static_cast<int>(rng() % 640u);
        const std::ptrdiff_t block = x / 16 + (y / 16) * bx + (z / 16) * bxy;
        ASSERT_EQ(ZelTiledIndex(x, y, z, bx, bxy), block * 4096 + (z % 16) * 256 + (y % 16) * 16 + (x % 16));
    }
}

TEST(VolumeModel, AllocateGeometry)
{
    struct Row {
        int alignment, sx, sy, sz;
        bool pad;
        int bx, by, bz;
        bool padded;
        long long elements;
    };
    const Row rows[] = {
        {1, 17, 1, 1, false, 2, 1, 1, true, 8192},
        {0, 17, 1, 1, false, 1, 1, 1, false, 17},
        {0, 17, 1, 1, true, 1, 1, 1, true, 8192},
        {1, 100, 60, 33, false, 7, 4, 3, true, 7LL * 4 * 3 * 4096},
        {0, 10, 20, 30, false, 1, 1, 1, false, 6000},
        {2, 16, 16, 16, false, 1, 1, 1, false, 4096},  // any non-zero layout is tiled, not padded by itself
    };
    for (const Row& r : rows) {
        ZelImage<unsigned short> image;
        ASSERT_EQ(image.Allocate(r.alignment, r.sx, r.sy, r.sz, r.pad), 0);
        const Zel3DVector<int> blocks = image.GetTilingBlockNum();
        EXPECT_EQ(blocks.x * 100 + blocks.y * 10 + blocks.z, r.bx * 100 + r.by * 10 + r.bz) << r.sx;
        EXPECT_EQ(image.GetBlocksPerSlice(), r.bx * r.by);
        EXPECT_EQ(image.IsBlockPadded(), r.padded);
        EXPECT_EQ(image.GetElementCount(), r.elements);
    }
}

TEST(VolumeModel, TypeCodes)
{
    EXPECT_EQ(ZelImage<unsigned char>().GetVoxelType(), 1);
    EXPECT_EQ(ZelImage<unsigned short>().GetVoxelType(), 3);
    EXPECT_EQ(ZelImage<short>().GetVoxelType(), 4);
    EXPECT_EQ(ZelImage<ZelRGBBase<unsigned char>>().GetVoxelType(), 9);
    for (int code : {1, 3, 4, 9, 10}) {
        std::unique_ptr<ZelImageBase> image(ZelCreateImage(code));
        EXPECT_TRUE(image && image->GetVoxelType() == code) << code;
    }
    EXPECT_EQ(ZelCreateImage(2), nullptr);
}

// A refused or impossible allocation, and a release, leave no block and no
// geometry behind.
TEST(VolumeModel, RefusalsAndReleaseResetGeometry)
{
    CountingAllocator allocator;
    ZelImage<short> image(&allocator);
    auto expectEmpty = [&](const char* what) {
        EXPECT_EQ(image.GetDataPtr(), nullptr) << what;
        EXPECT_EQ(image.GetImageSize().x, 0) << what;
        EXPECT_EQ(image.GetTilingBlockNum().x, 0) << what;
        EXPECT_EQ(image.GetBlocksPerSlice(), 0) << what;
    };
    allocator.refuse = true;
    EXPECT_EQ(image.Allocate(1, 20, 20, 20), 7);
    expectEmpty("refused");
    allocator.refuse = false;
    EXPECT_EQ(image.Allocate(0, -1, 4, 4), 7);
    EXPECT_EQ(image.Allocate(0, 0, 4, 4), 7);
    expectEmpty("empty size");

    ASSERT_EQ(image.Allocate(1, 20, 20, 20), 0);
    image.SetImageScale({0.5f, 0.5f, 2.0f});
    allocator.refuse = true;
    EXPECT_EQ(image.Clone(0), nullptr);  // the half-made clone is destroyed
    image.Release();
    expectEmpty("released");
    EXPECT_EQ(image.GetImageScale().z, 1.0f);
    EXPECT_EQ(allocator.live, 0);
}

template <class T>
bool SameVoxels(const ZelImage<T>& a, const ZelImage<T>& b)
{
    const ZelVoxelAddressing at(a);
    const ZelVoxelAddressing bt(b);
    const Zel3DVector<int> size = a.GetImageSize();
    for (int z = 0; z < size.z; ++z)
        for (int y = 0; y < size.y; ++y)
            for (int x = 0; x < size.x; ++x)
                if (std::memcmp(&a.GetDataPtr()[at(x, y, z)], &b.GetDataPtr()[bt(x, y, z)], sizeof(T)) != 0)
                    return false;
    return true;
}

// Linear -> tiled -> linear gives back every voxel, for sizes that are not
// multiples of 16, and Clone(-1) of a tiled image copies its whole storage.
template <class T>
void CloneRoundTrip()
{
    std::mt19937 rng(11);
    for (const Zel3DVector<int> size :
         {Zel3DVector<int>{1, 1, 1}, {17, 5, 3}, {33, 16, 18}, {16, 16, 16}, {5, 40, 2}}) {
        ZelImage<T> linear;
        ASSERT_EQ(linear.Allocate(0, size.x, size.y, size.z), 0);
        linear.SetImageScale({0.7f, 0.8f, 1.5f});
        auto* bytes = reinterpret_cast<unsigned char*>(linear.GetDataPtr());
        for (long long i = 0; i < linear.GetElementCount() * static_cast<long long>(sizeof(T)); ++i) bytes[i] = rng();

        std::unique_ptr<ZelImage<T>> tiled(linear.Clone(1));
        ASSERT_TRUE(tiled && tiled->IsTiled());
        EXPECT_EQ(tiled->GetImageScale().z, 1.5f);
        EXPECT_TRUE(SameVoxels(linear, *tiled)) << sizeof(T) << " bytes, " << size.x << "x" << size.y;
        std::unique_ptr<ZelImage<T>> same(tiled->Clone(-1));
        ASSERT_NE(same, nullptr);
        EXPECT_EQ(std::memcmp(same->GetDataPtr(), tiled->GetDataPtr(), tiled->GetElementCount() * sizeof(T)), 0);
        std::unique_ptr<ZelImage<T>> back(same->Clone(0));
        ASSERT_TRUE(back && !back->IsTiled());
        EXPECT_TRUE(back->IsBlockPadded());  // block padding travels with the clone
        EXPECT_TRUE(SameVoxels(linear, *back));
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

}  // namespace
