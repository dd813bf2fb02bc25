// Stacked (thick-slab) slices and the smoothing / sharpening filter against
// plain per-pixel references.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "ZelImage.h"
#include "ZelMPRImageGenerator.h"
#include "generators/mpr_kernels.h"
#include "mpr_reference.h"
#include "test_allocators.h"

namespace {

using mpr_test::PixelAt;
using mpr_test::RandomVolume;
using mpr_test::VoxelAt;

// The slab of one pixel folded the long way: every voxel fetched by its
// element index, the weighted sum in 64 bits.
template <class T>
T StackReference(const ZelImage<T>& volume, int plane, int ox, int oy, int first, int last, int mode)
{
    const int count = last - first + 1;
    std::vector<int> weights(count);
    ZelMPRStackWeights(mode, count, weights.data());
    std::int64_t sum = 0, total = 0;
    T best = 0;
    for (int k = 0; k < count; ++k) {
        const int n = first + k;
        const T v = plane == 0   ? VoxelAt(volume, n, ox, oy)
                    : plane == 1 ? VoxelAt(volume, ox, n, oy)
                                 : VoxelAt(volume, ox, oy, n);
        if (k == 0 || (mode == 1 && v > best) || (mode == 2 && v < best)) best = v;
        sum += std::int64_t{weights[k]} * v;
        total += weights[k];
    }
    return mode == 1 || mode == 2 ? best : static_cast<T>(sum / total);
}

template <class T>
void CheckStack(std::mt19937& rng, int lo, int hi)
{
    auto linear = RandomVolume<T>(37, 29, 23, {0.7f, 0.9f, 1.3f}, rng, lo, hi);
    std::unique_ptr<ZelImage<T>> tiled(linear->Clone(ZEL_ALIGNMENT_TILED));
    const int sizes[3] = {37, 29, 23};
    for (int mode = 0; mode < 5; ++mode) {
        for (int plane = 0; plane < 3; ++plane) {
            for (int repeat = 0; repeat < 4; ++repeat) {
                const int limit = sizes[plane];
                const int slice = static_cast<int>(rng() % limit);
                const int thickness = repeat == 0 ? 0 : static_cast<int>(rng() % 30);
                const bool centred = rng() % 2;
                int last = centred ? slice + thickness / 2 : slice + thickness;
                const int first = centred ? std::max(last - thickness, 0) : slice;
                last = std::min(last, limit - 1);
                for (int layout = 0; layout < 2; ++layout) {
                    ZelMPRImageGeneratorParam param;
                    param.plane = plane;
                    param.slicePosition = {slice, slice, slice};
                    std::unique_ptr<ZelImageBase> image(ZelMPRImageGenerator::GenerateFilterImage(
                        layout ? static_cast<ZelImageBase*>(tiled.get()) : linear.get(), param, 0, thickness, centred,
                        static_cast<ZelMPRStackImageMode>(mode)));
                    ASSERT_TRUE(image);
                    const int w = image->GetImageSize().x, h = image->GetImageSize().y;
                    ASSERT_EQ(w, plane == 0 ? sizes[1] : sizes[0]);
                    ASSERT_EQ(h, plane == 2 ? sizes[1] : sizes[2]);
                    for (int y = 0; y < h; ++y) {
                        for (int x = 0; x < w; ++x) {
                            ASSERT_EQ(PixelAt<T>(*image, x, y), StackReference(*linear, plane, x, y, first, last, mode))
                                << "mode " << mode << " plane " << plane << " layout " << layout << " slab " << first
                                << ".." << last << " pixel " << x << "," << y;
                        }
                    }
                }
            }
        }
    }
}

TEST(MPRStack, ModesMatchReference)
{
    std::mt19937 rng(3);
    CheckStack<unsigned char>(rng, 0, 255);
    CheckStack<unsigned short>(rng, 0, 65535);
    CheckStack<short>(rng, -32768, 32767);
}

// Triangle and Gaussian weights are symmetric, peak in the middle and never
// vanish; a one-slice slab is the slice itself.
TEST(MPRStack, Weights)
{
    struct Row {
        int mode, count;
        std::vector<int> expected;
    };
    const Row rows[] = {
        {3, 1, {2}},       {3, 2, {2, 2}}, {3, 3, {2, 4, 2}}, {3, 4, {2, 4, 4, 2}}, {3, 5, {2, 4, 6, 4, 2}},
        {0, 3, {1, 1, 1}}, {1, 2, {1, 1}}, {4, 1, {256}},
    };
    for (const Row& r : rows) {
        std::vector<int> w(r.count);
        ZelMPRStackWeights(r.mode, r.count, w.data());
        EXPECT_EQ(w, r.expected) << "mode " << r.mode << " count " << r.count;
    }
    for (int count = 1; count < 60; ++count) {
        std::vector<int> w(count);
        ZelMPRStackWeights(4, count, w.data());
        for (int k = 0; k < count; ++k) {
            EXPECT_EQ(w[k], w[count - 1 - k]);
            EXPECT_GT(w[k], 0);
            if (2 * k < count - 1) {
                EXPECT_LE(w[k], w[k + 1]);
            }
        }
    }
}

// Thickness counts steps, so t covers t + 1 slices, cut at the volume's end.
TEST(MPRStack, SlabBounds)
{
    ZelImage<short> volume;
    ASSERT_EQ(volume.Allocate(0, 3, 2, 7), 0);
    struct Row {
        int slice, thickness;
        bool centred;
        int first, last;
    };
    const Row rows[] = {
        {5, 2, false, 5, 6}, {5, 2, true, 4, 6}, {0, 4, true, 0, 2}, {3, 0, false, 3, 3}, {6, 100, true, 0, 6},
    };
    for (const Row& r : rows) {
        // Slice n holds the value 1 << n, so the sum names the slices used.
        for (int z = 0; z < 7; ++z) std::fill_n(volume.GetDataPtr() + z * 6, 6, static_cast<short>(1 << z));
        ZelMPRImageGeneratorParam param;
        param.plane = 2;
        param.slicePosition = {0, 0, r.slice};
        std::unique_ptr<ZelImageBase> image(ZelMPRImageGenerator::GenerateFilterImage(
            &volume, param, 0, r.thickness, r.centred, ZEL_MPR_STACK_AVERAGE));
        ASSERT_TRUE(image);
        const int count = r.last - r.first + 1;
        const int mask = ((1 << (r.last + 1)) - 1) & ~((1 << r.first) - 1);
        EXPECT_EQ(PixelAt<short>(*image, 1, 1), mask / count) << r.slice << " " << r.thickness;
    }
}

TEST(MPRStack, ParamIsRewrittenAsPlaneTwo)
{
    struct Row {
        int plane;
        Zel3DVector<float> center;
        Zel3DVector<float> expected;
        Zel3DVector<float> scale;
    };
    const Row rows[] = {
        {0, {1, 2, 3}, {2, 3, 0}, {0.9f, 1.3f, 0.7f}},
        {1, {1, 2, 3}, {1, 3, 0}, {0.7f, 1.3f, 0.9f}},
        {2, {1, 2, 3}, {1, 2, 0}, {0.7f, 0.9f, 1.3f}},
    };
    std::mt19937 rng(4);
    auto volume = RandomVolume<unsigned short>(7, 6, 5, {0.7f, 0.9f, 1.3f}, rng, 0, 100);
    for (const Row& r : rows) {
        for (int slice : {2, 99}) {  // inside, and outside (background) take the same path for these
            ZelMPRImageGeneratorParam param;
            param.plane = r.plane;
            param.center = r.center;
            param.slicePosition = {slice, slice, slice};
            param.backgroundValue = 4321;
            std::unique_ptr<ZelImageBase> image(
                ZelMPRImageGenerator::GenerateFilterImage(volume.get(), param, 0, 1, false, ZEL_MPR_STACK_MAXIMUM));
            ASSERT_TRUE(image);
            EXPECT_EQ(param.plane, 2);
            EXPECT_EQ(param.center.x, r.expected.x);
            EXPECT_EQ(param.center.y, r.expected.y);
            EXPECT_EQ(param.center.z, 0.0f);
            EXPECT_EQ(param.slicePosition.z, 0);
            EXPECT_EQ(image->GetImageScale().x, r.scale.x);
            EXPECT_EQ(image->GetImageScale().y, r.scale.y);
            EXPECT_EQ(image->GetImageScale().z, r.scale.z);
            if (slice == 99) {
                EXPECT_EQ(PixelAt<unsigned short>(*image, 0, 0), 4321);
            }
        }
    }
}

TEST(MPRStack, Refusals)
{
    ZelImage<ZelRGBBase<unsigned char>> colour;
    ASSERT_EQ(colour.Allocate(0, 4, 4, 4), 0);
    ZelImage<short> shorts;
    ASSERT_EQ(shorts.Allocate(0, 4, 4, 4), 0);
    struct Row {
        ZelImageBase* volume;
        int plane;
        int thickness;
        int mode;
    };
    const Row rows[] = {
        {nullptr, 2, 1, 0}, {&colour, 2, 1, 0}, {&shorts, 3, 1, 0}, {&shorts, 2, -1, 0}, {&shorts, 2, 1, 5}};
    for (const Row& r : rows) {
        ZelMPRImageGeneratorParam param;
        param.plane = r.plane;
        param.center = {1, 2, 3};
        EXPECT_EQ(ZelMPRImageGenerator::GenerateFilterImage(r.volume, param, 0, r.thickness, false,
                                                            static_cast<ZelMPRStackImageMode>(r.mode)),
                  nullptr);
        EXPECT_EQ(param.plane, r.plane);  // untouched when refused
        EXPECT_EQ(param.center.z, 3.0f);
    }
}

// A volume that is not signed 16-bit is not filtered: with a filter
// strength, the image returned is a new one whose pixels were never written.
TEST(MPRStack, UnfilterableTypeReturnsUnwrittenImage)
{
    CountingAllocator allocator;  // fills new blocks with 0xCD
    ZelImage<unsigned char> volume(&allocator);
    ASSERT_EQ(volume.Allocate(0, 6, 5, 4), 0);
    std::memset(volume.GetDataPtr(), 7, 120);
    ZelMPRImageGeneratorParam param;
    param.plane = 1;
    param.slicePosition = {0, 2, 0};
    std::unique_ptr<ZelImageBase> image(
        ZelMPRImageGenerator::GenerateFilterImage(&volume, param, 50, 1, false, ZEL_MPR_STACK_AVERAGE));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->GetImageSize().x, 6);
    EXPECT_EQ(image->GetImageSize().y, 4);
    for (int i = 0; i < 24; ++i) EXPECT_EQ(static_cast<unsigned char*>(image->GetVoidDataPtr())[i], 0xCD);
    image.reset();
    EXPECT_EQ(allocator.live, 1);  // only the volume: the stacked image was released
}

// The filter written the long way, pixel by pixel in 64 bits.
void FilterReference(const std::vector<short>& src, std::vector<short>& dst, int w, int h, int strength)
{
    const auto at = [&](int x, int y) { return std::int64_t{src[static_cast<std::size_t>(y) * w + x]}; };
    if (h < 3) {
        std::copy(src.begin(), src.begin() + std::min(h, 2) * w, dst.begin());
        return;
    }
    const std::int64_t k = std::int64_t{strength > 0 ? strength : 100} * 1024 / 900;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            std::int64_t v = at(x, y);
            if (x > 0 && y > 0 && x < w - 1 && y < h - 1) {
                std::int64_t ring = 0;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx)
                        if (dx || dy) ring += at(x + dx, y + dy);
                const std::int64_t smooth = static_cast<short>((ring * k + v * (128 - k) * 8) >> 10);
                v = strength > 0 ? smooth : v + (v - smooth) * -strength / 16;
            }
            dst[static_cast<std::size_t>(y) * w + x] = static_cast<short>(static_cast<std::uint16_t>(v));
        }
    }
}

TEST(MPRFilter, MatchesReference)
{
    std::mt19937 rng(9);
    const int strengths[] = {1, 37, 100, 900, 1000, -1, -16, -40, -100};
    const int sizes[][2] = {{1, 1}, {5, 1}, {5, 2}, {1, 5}, {2, 7}, {3, 3}, {17, 9}, {40, 31}};
    for (int strength : strengths) {
        for (const auto& size : sizes) {
            const int w = size[0], h = size[1];
            ZelImage<short> source, destination;
            ASSERT_EQ(source.Allocate(0, w, h, 1), 0);
            ASSERT_EQ(destination.Allocate(0, w, h, 1), 0);
            std::vector<short> src(static_cast<std::size_t>(w) * h), expected(src.size(), -555);
            for (short& v : src) {
                const unsigned pick = rng() % 8;
                v = pick == 0 ? -32768 : pick == 1 ? 32767 : static_cast<short>(rng() % 4001) - 2000;
            }
            std::copy(src.begin(), src.end(), source.GetDataPtr());
            std::fill_n(destination.GetDataPtr(), src.size(), short{-555});
            FilterReference(src, expected, w, h, strength);
            ASSERT_TRUE(ZelMPRImageGenerator::GenerateFilterImage(&destination, &source, strength));
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), destination.GetDataPtr()))
                << "strength " << strength << " size " << w << "x" << h;
        }
    }
}

TEST(MPRFilter, Refusals)
{
    ZelImage<short> a, b, small;
    ZelImage<unsigned short> words;
    ASSERT_EQ(a.Allocate(0, 4, 4, 1), 0);
    ASSERT_EQ(b.Allocate(0, 4, 4, 1), 0);
    ASSERT_EQ(small.Allocate(0, 3, 4, 1), 0);
    ASSERT_EQ(words.Allocate(0, 4, 4, 1), 0);
    std::fill_n(b.GetDataPtr(), 16, short{9});
    // Strength 0 succeeds without looking at anything.
    EXPECT_TRUE(ZelMPRImageGenerator::GenerateFilterImage(&b, &words, 0));
    EXPECT_TRUE(ZelMPRImageGenerator::GenerateFilterImage(nullptr, nullptr, 0));
    EXPECT_EQ(b.GetDataPtr()[5], 9);
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(&b, &words, 10));
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(&words, &a, 10));
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(&small, &a, 10));
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(&a, &a, 10));
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(nullptr, &a, 10));
    EXPECT_EQ(b.GetDataPtr()[5], 9);
}

// A stacked short slice with a filter strength is the filter applied to
// the unfiltered stacked slice.
TEST(MPRFilter, StackedSliceIsFilteredAfterStacking)
{
    std::mt19937 rng(10);
    auto volume = RandomVolume<short>(21, 18, 9, {1, 1, 1}, rng, -1000, 1000);
    for (int strength : {60, -30}) {
        ZelMPRImageGeneratorParam p1, p2;
        p1.plane = p2.plane = 0;
        p1.slicePosition = p2.slicePosition = {10, 0, 0};
        std::unique_ptr<ZelImageBase> plain(
            ZelMPRImageGenerator::GenerateFilterImage(volume.get(), p1, 0, 4, true, ZEL_MPR_STACK_GAUSSIAN));
        std::unique_ptr<ZelImageBase> filtered(
            ZelMPRImageGenerator::GenerateFilterImage(volume.get(), p2, strength, 4, true, ZEL_MPR_STACK_GAUSSIAN));
        ASSERT_TRUE(plain && filtered);
        ZelImage<short> expected;
        ASSERT_EQ(expected.Allocate(0, 18, 9, 1), 0);
        ASSERT_TRUE(ZelMPRImageGenerator::GenerateFilterImage(&expected, plain.get(), strength));
        EXPECT_EQ(std::memcmp(expected.GetDataPtr(), filtered->GetVoidDataPtr(), 18 * 9 * sizeof(short)), 0);
        EXPECT_EQ(filtered->GetImageScale().x, 1.0f);
    }
}

}  // namespace
