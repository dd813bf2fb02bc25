// MPR slices against the plain per-pixel reference over every voxel type,
// layout, rotation, flip and a spread of zooms; tiled against linear; SSE2
// against the scalar twin; and the calls that must refuse.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <random>

#include "ZelImage.h"
#include "ZelMPRImageGenerator.h"
#include "generators/dispatch.h"
#include "mpr_reference.h"
#include "test_refusal.h"

namespace {

using mpr_test::PixelAt;

constexpr int kSize[3] = {37, 29, 23};
const Zel3DVector<float> kScale{0.7f, 0.9f, 1.3f};

bool SameBytes(const ZelImageBase& a, const ZelImageBase& b)
{
    const Zel3DVector<int> s = a.GetImageSize();
    return s.x == b.GetImageSize().x && s.y == b.GetImageSize().y &&
           std::memcmp(a.GetVoidDataPtr(), b.GetVoidDataPtr(),
                       static_cast<std::size_t>(s.x) * s.y * a.GetVoxelBytes()) == 0;
}

// Random geometry. Exact cases (isotropic volume, zoom a power of two,
// centre on half voxels, free angle 0) put samples on whole and half voxels
// and on the volume's last index; the others spread the positions.
ZelMPRImageGeneratorParam RandomParam(std::mt19937& rng, int rotation, bool exact, bool isShort)
{
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    ZelMPRImageGeneratorParam p;
    p.plane = static_cast<int>(rng() % 3);
    p.rotation = rotation;
    p.rotationAngle = exact ? 0.0f : unit(rng) * 14 - 7;
    p.flipHorizontal = rng() % 2;
    p.flipVertical = rng() % 2;
    p.zoom = exact ? std::ldexp(1.0f, static_cast<int>(rng() % 3) - 1) : 0.3f + 3 * unit(rng);
    p.center = {unit(rng) * 48 - 6, unit(rng) * 48 - 6, unit(rng) * 48 - 6};
    if (exact) p.center = {std::round(p.center.x * 2) / 2, std::round(p.center.y * 2) / 2, std::round(p.center.z)};
    const int slice = static_cast<int>(rng() % (kSize[p.plane] + 2)) - 1;  // -1 .. size: both ends outside
    p.slicePosition = {slice, slice, slice};
    const int backgrounds[] = {77, -1, 300, 65537};  // written with the output's width
    p.backgroundValue = backgrounds[rng() % 4];
    p.interpolation = static_cast<int>(rng() % (isShort ? 2 : 3));  // no effect on unsigned volumes
    return p;
}

// Every slice equals the reference pixel for pixel, the tiled volume gives
// the linear one's bytes, the scalar twin the SSE2 bytes, and the output's
// scale is the finest spacing over the zoom (set when the slice lies in the
// volume).
template <class T>
void CheckSlices(unsigned seed, int lo, int hi)
{
    std::mt19937 rng(seed);
    auto linear = mpr_test::RandomVolume<T>(kSize[0], kSize[1], kSize[2], kScale, rng, lo, hi);
    std::unique_ptr<ZelImage<T>> tiled(linear->Clone(ZEL_ALIGNMENT_TILED));
    const int rotations[] = {0, 1, 2, 3, 4, 7};  // 7: not a rotation, behaves as 0
    const bool isShort = std::is_same<T, short>::value;
    long compared = 0;
    for (int i = 0; i < 480; ++i) {
        const bool exact = i % 4 == 0;
        const Zel3DVector<float> scale = exact ? Zel3DVector<float>{1, 1, 1} : kScale;
        linear->SetImageScale(scale);
        tiled->SetImageScale(scale);
        const ZelMPRImageGeneratorParam param = RandomParam(rng, rotations[i % 6], exact, isShort);
        const int w = 1 + static_cast<int>(rng() % 48), h = 1 + static_cast<int>(rng() % 48);
        ZelMPRImageGenerator generator;
        generator.SetImage(linear.get());
        std::unique_ptr<ZelImageBase> image(generator.GenerateImage(w, h, param));
        generator.SetImage(tiled.get());
        std::unique_ptr<ZelImageBase> fromTiled(generator.GenerateImage(w, h, param));
        ASSERT_TRUE(image && fromTiled);
        ASSERT_TRUE(SameBytes(*image, *fromTiled)) << "case " << i;
        const int slice = param.slicePosition.x;  // all three components are equal
        if (slice >= 0 && slice < kSize[param.plane]) {
            EXPECT_EQ(image->GetImageScale().x, (exact ? 1.0f : 0.7f) / param.zoom);
        }
        if (isShort) {
            ZelImage<short> scalar;
            ASSERT_EQ(scalar.Allocate(0, w, h, 1), 0);
            const ZelSimdCapScope scalarTwin(ZelSimd::kScalar);
            generator.SetImage(i % 2 ? tiled.get() : linear.get());
            ASSERT_TRUE(generator.GenerateImage(&scalar, param));
            ASSERT_TRUE(SameBytes(*image, scalar)) << "case " << i;
        }
        for (int y = 0; y < h; ++y) {
            for (int x = 0; x < w; ++x) {
                const mpr_test::Sample want = mpr_test::Reference(*linear, w, h, param, x, y);
                if (want.skip) continue;
                ++compared;
                ASSERT_LE(std::abs(PixelAt<T>(*image, x, y) - want.value), want.tolerance)
                    << "case " << i << " plane " << param.plane << " rotation " << param.rotation << " pixel " << x
                    << "," << y;
            }
        }
    }
    EXPECT_GT(compared, 100000);
}

TEST(MPRSlice, MatchesReference)
{
    CheckSlices<unsigned char>(11, 0, 255);
    CheckSlices<unsigned short>(12, 0, 65535);
    CheckSlices<short>(13, -32768, 32767);
}

// Calls that must refuse: false from the filling form with the pixels and
// scale as they were, null from the creating form.
TEST(MPRSlice, Refusals)
{
    std::mt19937 rng(91);
    auto shorts = mpr_test::RandomVolume<short>(8, 8, 8, {0.5f, 0.5f, 0.5f}, rng, 0, 10);
    ZelImage<unsigned char> bytesOut;
    ZelImage<short> tiledOut, emptyOut;
    ASSERT_TRUE(bytesOut.Allocate(0, 6, 6, 1) == 0 && tiledOut.Allocate(ZEL_ALIGNMENT_TILED, 6, 6, 1) == 0);
    struct Row {
        const char* what;
        ZelImageBase* volume;
        ZelImageBase* output;
        int plane, interpolation;
        float zoom;
        bool scaleSet;         // the output's scale is still set (the kernel refuses)
        bool creatingRefuses;  // false where the fault lies in the given output
    };
    const Row rows[] = {
        {"no volume", nullptr, nullptr, 0, 1, 1.0f, false, true},
        {"output of another type", shorts.get(), &bytesOut, 0, 1, 1.0f, false, false},
        {"interpolation 2", shorts.get(), nullptr, 0, 2, 1.0f, true, true},
        {"plane 3", shorts.get(), nullptr, 3, 1, 1.0f, false, true},
        {"plane -1", shorts.get(), nullptr, -1, 1, 1.0f, false, true},
        {"zoom 0", shorts.get(), nullptr, 0, 1, 0.0f, false, true},
        {"zoom NaN", shorts.get(), nullptr, 0, 1, std::nanf(""), false, true},
        {"tiled output", shorts.get(), &tiledOut, 0, 1, 1.0f, false, false},
        {"output without voxels", shorts.get(), &emptyOut, 0, 1, 1.0f, false, false},
    };
    for (const Row& r : rows) {
        ZelMPRImageGenerator generator;
        generator.SetImage(r.volume);
        ZelMPRImageGeneratorParam param;
        param.plane = r.plane;
        param.interpolation = r.interpolation;
        param.zoom = r.zoom;
        param.slicePosition = {4, 4, 4};
        ZelImage<short> fresh;
        ASSERT_EQ(fresh.Allocate(0, 6, 6, 1), 0);
        ZelImageBase* output = r.output ? r.output : &fresh;
        const MarkedCall call = CallOnMarkedOutputs({output}, [&] { return generator.GenerateImage(output, param); });
        EXPECT_TRUE(!call.returned && call.untouched) << r.what;
        EXPECT_EQ(call.scaleSet, r.scaleSet) << r.what;
        std::unique_ptr<ZelImageBase> created(generator.GenerateImage(6, 6, param));
        EXPECT_EQ(created == nullptr, r.creatingRefuses) << r.what;
        EXPECT_FALSE(generator.GenerateImage(nullptr, param)) << r.what;
    }
    // Colour volumes are not resliced.
    ZelImage<ZelRGBBase<unsigned char>> colour;
    ASSERT_EQ(colour.Allocate(0, 4, 4, 4), 0);
    ZelMPRImageGenerator generator;
    generator.SetImage(&colour);
    EXPECT_EQ(std::unique_ptr<ZelImageBase>(generator.GenerateImage(4, 4, ZelMPRImageGeneratorParam())), nullptr);
}

}  // namespace
