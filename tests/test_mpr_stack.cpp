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
using mpr_test::VoxelAt;

// The slab of one pixel folded the long way: every voxel fetched by its
// element index, the weighted sum in 64 bits. Slices outside the volume
// show the background.
template <class T>
T StackReference(const ZelImage<T>& volume, int plane, int ox, int oy, int slice, int thickness, bool centred, int mode,
                 int background)
{
    const int size[3] = {volume.GetImageSize().x, volume.GetImageSize().y, volume.GetImageSize().z};
    if (slice < 0 || slice >= size[plane]) return static_cast<T>(background);
    const int last = std::min(centred ? slice + thickness / 2 : slice + thickness, size[plane] - 1);
    const int first = centred ? std::max(slice + thickness / 2 - thickness, 0) : slice, count = last - first + 1;
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
                std::int64_t ring = -v;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx) ring += at(x + dx, y + dy);
                const std::int64_t smooth = static_cast<short>((ring * k + v * (128 - k) * 8) >> 10);
                v = strength > 0 ? smooth : v + (v - smooth) * -strength / 16;
            }
            dst[static_cast<std::size_t>(y) * w + x] = static_cast<short>(static_cast<std::uint16_t>(v));
        }
    }
}

// Every mode, plane and layout against the reference, signed 16-bit slabs
// also filtered after stacking. The param is rewritten as a plane-2 view of
// the in-plane axes (u, v) and the image takes the spacings (u, v, normal).
template <class T>
void CheckStack(unsigned seed, int lo, int hi)
{
    std::mt19937 rng(seed);
    const Zel3DVector<float> scale{0.7f, 0.9f, 1.3f};
    auto linear = mpr_test::RandomVolume<T>(37, 29, 23, scale, rng, lo, hi);
    std::unique_ptr<ZelImage<T>> tiled(linear->Clone(ZEL_ALIGNMENT_TILED));
    const int sizes[3] = {37, 29, 23}, strengths[] = {0, 0, 60, -30};
    const float spacing[3] = {scale.x, scale.y, scale.z}, center[3] = {1, 2, 3};
    for (int i = 0; i < 120; ++i) {
        const int mode = i % 5, plane = i % 3, u = plane == 0 ? 1 : 0, v = plane == 2 ? 1 : 2;
        const int slice = static_cast<int>(rng() % (sizes[plane] + 2)) - 1;  // -1 .. size
        const int thickness = i < 15 ? 0 : static_cast<int>(rng() % 30);
        const int strength = std::is_same<T, short>::value ? strengths[rng() % 4] : 0;
        const bool centred = rng() % 2;
        ZelMPRImageGeneratorParam param;
        param.plane = plane;
        param.center = {center[0], center[1], center[2]};
        param.slicePosition = {slice, slice, slice};
        param.backgroundValue = 4321;
        std::unique_ptr<ZelImageBase> image(ZelMPRImageGenerator::GenerateFilterImage(
            i % 2 ? static_cast<ZelImageBase*>(tiled.get()) : linear.get(), param, strength, thickness, centred,
            static_cast<ZelMPRStackImageMode>(mode)));
        ASSERT_TRUE(image);
        EXPECT_TRUE(param.plane == 2 && param.center.x == center[u] && param.center.y == center[v] &&
                    param.center.z == 0 && param.slicePosition.z == 0);
        const Zel3DVector<float> s = image->GetImageScale();
        EXPECT_TRUE(s.x == spacing[u] && s.y == spacing[v] && s.z == spacing[plane]) << plane;
        const int w = image->GetImageSize().x, h = image->GetImageSize().y;
        ASSERT_TRUE(w == sizes[u] && h == sizes[v]);
        std::vector<T> expected(static_cast<std::size_t>(w) * h);
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                expected[y * w + x] = StackReference(*linear, plane, x, y, slice, thickness, centred, mode, 4321);
            }
        }
        if constexpr (std::is_same<T, short>::value) {
            if (strength != 0) FilterReference(std::vector<short>(expected), expected, w, h, strength);
        }
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), static_cast<const T*>(image->GetVoidDataPtr())))
            << "mode " << mode << " plane " << plane << " layout " << i % 2 << " slice " << slice << " thickness "
            << thickness << " centred " << centred << " strength " << strength;
    }
}

TEST(MPRStack, ModesMatchReference)
{
    CheckStack<unsigned char>(1, 0, 255);
    CheckStack<unsigned short>(2, 0, 65535);
    CheckStack<short>(3, -32768, 32767);
}

// Triangle and Gaussian weights are symmetric, peak in the middle and never
// vanish; a one-slice slab is the slice itself.
TEST(MPRStack, Weights)
{
    // Mode, then the weights of a slab of that many slices.
    const std::vector<int> rows[] = {
        {3, 2},       {3, 2, 2}, {3, 2, 4, 2}, {3, 2, 4, 4, 2},       {3, 2, 4, 6, 4, 2},
        {0, 1, 1, 1}, {1, 1, 1}, {4, 256},     {4, 83, 226, 226, 83}, {4, 71, 186, 256, 186, 71},
    };
    for (const std::vector<int>& r : rows) {
        std::vector<int> w(r.size() - 1);
        ZelMPRStackWeights(r[0], static_cast<int>(w.size()), w.data());
        EXPECT_EQ(w, std::vector<int>(r.begin() + 1, r.end())) << "mode " << r[0];
    }
    for (int count = 1; count < 60; ++count) {
        std::vector<int> w(count);
        ZelMPRStackWeights(4, count, w.data());
        for (int k = 0; k < count; ++k) {
            EXPECT_TRUE(w[k] == w[count - 1 - k] && w[k] > 0 && (2 * k >= count - 1 || w[k] <= w[k + 1])) << count;
        }
    }
}

TEST(MPRFilter, MatchesReference)
{
    std::mt19937 rng(9);
    const int sizes[][2] = {{1, 1}, {5, 1}, {5, 2}, {1, 5}, {2, 7}, {3, 3}, {17, 9}, {40, 31}};
    for (int strength : {1, 37, 100, 900, 1000, -1, -16, -40, -100}) {
        for (const auto& size : sizes) {
            const int w = size[0], h = size[1];
            auto source = mpr_test::RandomVolume<short>(w, h, 1, {1, 1, 1}, rng, -32768, 32767);
            ZelImage<short> destination;
            ASSERT_EQ(destination.Allocate(0, w, h, 1), 0);
            std::vector<short> src(source->GetDataPtr(), source->GetDataPtr() + w * h), expected(src.size(), -555);
            std::fill_n(destination.GetDataPtr(), src.size(), short{-555});
            FilterReference(src, expected, w, h, strength);
            ASSERT_TRUE(ZelMPRImageGenerator::GenerateFilterImage(&destination, source.get(), strength));
            EXPECT_TRUE(std::equal(expected.begin(), expected.end(), destination.GetDataPtr()))
                << "strength " << strength << " size " << w << "x" << h;
        }
    }
}

TEST(MPRFilter, Refusals)
{
    ZelImage<short> a, b, small;
    ZelImage<unsigned short> words;
    ZelImage<ZelRGBBase<unsigned char>> colour;
    ASSERT_TRUE(a.Allocate(0, 4, 4, 1) == 0 && b.Allocate(0, 4, 4, 1) == 0 && small.Allocate(0, 3, 4, 1) == 0 &&
                words.Allocate(0, 4, 4, 1) == 0 && colour.Allocate(0, 4, 4, 4) == 0);
    std::fill_n(b.GetDataPtr(), 16, short{9});
    // Strength 0 succeeds without looking at anything.
    EXPECT_TRUE(ZelMPRImageGenerator::GenerateFilterImage(&b, &words, 0));
    EXPECT_TRUE(ZelMPRImageGenerator::GenerateFilterImage(nullptr, nullptr, 0));
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(&b, &words, 10));
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(&words, &a, 10));
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(&small, &a, 10));
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(&a, &a, 10));
    EXPECT_FALSE(ZelMPRImageGenerator::GenerateFilterImage(nullptr, &a, 10));
    EXPECT_EQ(std::count(b.GetDataPtr(), b.GetDataPtr() + 16, 9), 16);

    // The stacking form refuses, leaving the param untouched.
    struct Row {
        ZelImageBase* volume;
        int plane, thickness, mode;
    };
    const Row rows[] = {{nullptr, 2, 1, 0}, {&colour, 2, 1, 0}, {&a, 3, 1, 0}, {&a, 2, -1, 0}, {&a, 2, 1, 5}};
    for (const Row& r : rows) {
        ZelMPRImageGeneratorParam param;
        param.plane = r.plane;
        param.center = {1, 2, 3};
        EXPECT_EQ(ZelMPRImageGenerator::GenerateFilterImage(r.volume, param, 0, r.thickness, false,
                                                            static_cast<ZelMPRStackImageMode>(r.mode)),
                  nullptr);
        EXPECT_TRUE(param.plane == r.plane && param.center.z == 3.0f);
    }

    // A volume that is not signed 16-bit is not filtered: with a strength,
    // the image returned is a new one whose pixels were never written.
    CountingAllocator allocator;  // fills new blocks with 0xCD
    ZelImage<unsigned char> bytes(&allocator);
    ASSERT_EQ(bytes.Allocate(0, 6, 5, 4), 0);
    std::memset(bytes.GetDataPtr(), 7, 120);
    ZelMPRImageGeneratorParam param;
    param.plane = 1;
    param.slicePosition = {0, 2, 0};
    std::unique_ptr<ZelImageBase> image(
        ZelMPRImageGenerator::GenerateFilterImage(&bytes, param, 50, 1, false, ZEL_MPR_STACK_AVERAGE));
    ASSERT_TRUE(image && image->GetImageSize().x == 6 && image->GetImageSize().y == 4);
    const auto* p = static_cast<const unsigned char*>(image->GetVoidDataPtr());
    EXPECT_EQ(std::count(p, p + 24, 0xCD), 24);
    image.reset();
    EXPECT_EQ(allocator.live, 1);  // only the volume: the stacked image was released
}

}  // namespace
