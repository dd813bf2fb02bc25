// MPR slices against plain per-pixel references, over every voxel type,
// layout, rotation, flip and a spread of zooms; SSE2 against the scalar
// twin; and the calls that must refuse.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "ZelImage.h"
#include "ZelMPRImageGenerator.h"
#include "generators/mpr_kernels.h"
#include "mpr_reference.h"

namespace {

using mpr_test::FixedView;
using mpr_test::OffWhole;
using mpr_test::PixelAt;
using mpr_test::RandomVolume;
using mpr_test::VoxelAt;

constexpr int kSize[3] = {37, 29, 23};
const Zel3DVector<float> kScale{0.7f, 0.9f, 1.3f};
const float kZooms[] = {0.45f, 1.0f, 1.37f, 2.5f};
const int kRotations[] = {0, 1, 2, 3, 4, 7};  // 7: not a rotation, behaves as 0

// A linear and a tiled copy of one random volume.
template <class T>
struct VolumePair {
    std::unique_ptr<ZelImage<T>> linear;
    std::unique_ptr<ZelImage<T>> tiled;
    VolumePair(std::mt19937& rng, int lo, int hi)
        : linear(RandomVolume<T>(kSize[0], kSize[1], kSize[2], kScale, rng, lo, hi)),
          tiled(linear->Clone(ZEL_ALIGNMENT_TILED))
    {
    }
};

ZelMPRImageGeneratorParam RandomParam(std::mt19937& rng, int rotation, int flips, float zoom)
{
    ZelMPRImageGeneratorParam p;
    p.plane = static_cast<int>(rng() % 3);
    p.rotation = rotation;
    p.rotationAngle = std::uniform_real_distribution<float>(-7.0f, 7.0f)(rng);
    p.flipHorizontal = (flips & 1) != 0;
    p.flipVertical = (flips & 2) != 0;
    p.zoom = zoom;
    std::uniform_real_distribution<float> pos(-6.0f, 42.0f);
    p.center = {pos(rng), pos(rng), pos(rng)};
    if (rng() % 3 == 0) p.center = {std::round(p.center.x), std::round(p.center.y), std::round(p.center.z)};
    const int limit = kSize[p.plane];
    const int slice = static_cast<int>(rng() % (limit + 2)) - 1;  // -1 .. size: both ends outside
    p.slicePosition = {slice, slice, slice};
    p.backgroundValue = 77;
    return p;
}

template <class T>
std::unique_ptr<ZelImageBase> Generate(ZelImage<T>& volume, int width, int height,
                                       const ZelMPRImageGeneratorParam& param)
{
    ZelMPRImageGenerator generator;
    generator.SetImage(&volume);
    return std::unique_ptr<ZelImageBase>(generator.GenerateImage(width, height, param));
}

bool SameBytes(const ZelImageBase& a, const ZelImageBase& b)
{
    const Zel3DVector<int> s = a.GetImageSize();
    return s.x == b.GetImageSize().x && s.y == b.GetImageSize().y &&
           std::memcmp(a.GetVoidDataPtr(), b.GetVoidDataPtr(),
                       static_cast<std::size_t>(s.x) * s.y * a.GetVoxelBytes()) == 0;
}

// Nearest voxel through the float mapping: DisplayToVoxel, then
// floor(v + 1/2) on each in-plane axis.
template <class T>
T NearestByMapping(const ZelMPRImageGenerator& generator, const ZelImage<T>& volume, int width, int height, int x,
                   int y, const ZelMPRImageGeneratorParam& param, double& closest)
{
    Zel3DVector<float> v;
    generator.DisplayToVoxel(width, height, {static_cast<float>(x), static_cast<float>(y)}, v, param);
    const double c[3] = {v.x, v.y, v.z};
    const int sizes[3] = {kSize[0], kSize[1], kSize[2]};
    int idx[3];
    bool inside = true;
    closest = 1.0;
    for (int i = 0; i < 3; ++i) {
        idx[i] = static_cast<int>(std::floor(c[i] + 0.5));
        if (i != param.plane) closest = std::min(closest, std::fabs(OffWhole(c[i] + 0.5)));
        inside = inside && idx[i] >= 0 && idx[i] < sizes[i];
    }
    return inside ? VoxelAt(volume, idx[0], idx[1], idx[2]) : static_cast<T>(param.backgroundValue);
}

// Every axis-aligned nearest slice equals the per-pixel fixed-point
// reference exactly, tiled equals linear, and the float mapping agrees
// except where the 17.15 truncation of start and steps moves a position
// across a half-voxel boundary: truncation drifts at most one unit of 2^-15
// per pixel walked, so a disagreement must lie that close to the boundary.
template <class T>
void CheckNearest(std::mt19937& rng, int lo, int hi)
{
    VolumePair<T> volumes(rng, lo, hi);
    ZelMPRImageGenerator generator;
    generator.SetImage(volumes.linear.get());
    int compared = 0, drifted = 0;
    for (int rotation : kRotations) {
        if (rotation == 4) continue;
        for (int flips = 0; flips < 4; ++flips) {
            for (float zoom : kZooms) {
                for (int repeat = 0; repeat < 3; ++repeat) {
                    ZelMPRImageGeneratorParam param = RandomParam(rng, rotation, flips, zoom);
                    // Interpolation only acts on signed 16-bit volumes.
                    param.interpolation = std::is_same<T, short>::value ? 0 : static_cast<int>(rng() % 3);
                    const int w = 1 + static_cast<int>(rng() % 48), h = 1 + static_cast<int>(rng() % 48);
                    auto linear = Generate(*volumes.linear, w, h, param);
                    auto tiled = Generate(*volumes.tiled, w, h, param);
                    ASSERT_TRUE(linear && tiled);
                    ASSERT_TRUE(SameBytes(*linear, *tiled)) << "rotation " << rotation << " zoom " << zoom;
                    const FixedView view(*volumes.linear, w, h, param);
                    for (int y = 0; y < h; ++y) {
                        for (int x = 0; x < w; ++x) {
                            const T got = PixelAt<T>(*linear, x, y);
                            ASSERT_EQ(got, mpr_test::NearestFixed(*volumes.linear, view, x, y, param.backgroundValue))
                                << "plane " << param.plane << " rotation " << rotation << " flips " << flips << " zoom "
                                << zoom << " pixel " << x << "," << y;
                            double closest;
                            const T mapped = NearestByMapping(generator, *volumes.linear, w, h, x, y, param, closest);
                            ++compared;
                            if (got != mapped) {
                                ++drifted;
                                ASSERT_LE(closest, (2.0 + x + y) / 32768.0 + 1e-4) << x << "," << y;
                            }
                        }
                    }
                }
            }
        }
    }
    EXPECT_LT(drifted, compared / 200);
}

TEST(MPRSlice, NearestMatchesReferenceUnsignedChar)
{
    std::mt19937 rng(11);
    CheckNearest<unsigned char>(rng, 0, 250);
}

TEST(MPRSlice, NearestMatchesReferenceUnsignedShort)
{
    std::mt19937 rng(12);
    CheckNearest<unsigned short>(rng, 0, 65535);
}

TEST(MPRSlice, NearestMatchesReferenceShort)
{
    std::mt19937 rng(13);
    CheckNearest<short>(rng, -32768, 32767);
}

// Interpolated signed 16-bit slices are the exact bilinear blend at the
// walk's positions, truncated toward zero; a float evaluation of the
// bilinear rule differs by at most one, and rarely.
TEST(MPRSlice, InterpolatedMatchesExactBlend)
{
    std::mt19937 rng(21);
    VolumePair<short> volumes(rng, -32768, 32767);
    int compared = 0, floatDiffers = 0;
    for (int rotation : kRotations) {
        if (rotation == 4) continue;
        for (int flips = 0; flips < 4; ++flips) {
            for (float zoom : kZooms) {
                for (int repeat = 0; repeat < 3; ++repeat) {
                    ZelMPRImageGeneratorParam param = RandomParam(rng, rotation, flips, zoom);
                    param.interpolation = 1;
                    const int w = 1 + static_cast<int>(rng() % 48), h = 1 + static_cast<int>(rng() % 48);
                    auto linear = Generate(*volumes.linear, w, h, param);
                    auto tiled = Generate(*volumes.tiled, w, h, param);
                    ASSERT_TRUE(linear && tiled);
                    ASSERT_TRUE(SameBytes(*linear, *tiled));
                    const FixedView view(*volumes.linear, w, h, param);
                    const bool sliceInside = view.slice >= 0 && view.slice < kSize[view.normalAxis];
                    for (int y = 0; y < h; ++y) {
                        for (int x = 0; x < w; ++x) {
                            const int got = PixelAt<short>(*linear, x, y);
                            const mpr_test::Blend blend = mpr_test::InterpolatedFixed(*volumes.linear, view, x, y);
                            if (!sliceInside || !blend.inside) {
                                ASSERT_EQ(got, param.backgroundValue) << x << "," << y;
                                continue;
                            }
                            ASSERT_EQ(got, blend.exact)
                                << "rotation " << rotation << " zoom " << zoom << " pixel " << x << "," << y;
                            ASSERT_LE(std::abs(got - blend.floatRule), 1);
                            ++compared;
                            floatDiffers += got != blend.floatRule;
                        }
                    }
                }
            }
        }
    }
    EXPECT_GT(compared, 10000);
    EXPECT_LT(floatDiffers, compared / 100);
}

// Free rotation against the float mapping: floor of each coordinate, or the
// bilinear rule. The generator steps its positions in double precision and
// the mapping rounds them to float, so pixels whose coordinates lie within
// 1e-3 of a whole number (where floor may go either way) are not compared,
// and bilinear values may differ by the float rounding of the position.
template <class T>
void CheckFreeRotation(std::mt19937& rng, int lo, int hi, int interpolation)
{
    VolumePair<T> volumes(rng, lo, hi);
    ZelMPRImageGenerator generator;
    generator.SetImage(volumes.linear.get());
    int compared = 0;
    for (int flips = 0; flips < 4; ++flips) {
        for (float zoom : kZooms) {
            for (int repeat = 0; repeat < 6; ++repeat) {
                ZelMPRImageGeneratorParam param = RandomParam(rng, 4, flips, zoom);
                param.interpolation = interpolation;
                const int w = 1 + static_cast<int>(rng() % 48), h = 1 + static_cast<int>(rng() % 48);
                auto linear = Generate(*volumes.linear, w, h, param);
                auto tiled = Generate(*volumes.tiled, w, h, param);
                ASSERT_TRUE(linear && tiled);
                ASSERT_TRUE(SameBytes(*linear, *tiled));
                const int u = param.plane == 0 ? 1 : 0, v = param.plane == 2 ? 1 : 2;
                for (int y = 0; y < h; ++y) {
                    for (int x = 0; x < w; ++x) {
                        Zel3DVector<float> p;
                        generator.DisplayToVoxel(w, h, {static_cast<float>(x), static_cast<float>(y)}, p, param);
                        const float c[3] = {p.x, p.y, p.z};
                        if (OffWhole(c[u]) < 1e-3 || OffWhole(c[v]) < 1e-3) continue;
                        const bool sliceInside = c[param.plane] >= 0 && c[param.plane] < kSize[param.plane];
                        const int got = PixelAt<T>(*linear, x, y);
                        ++compared;
                        const bool bilinear = interpolation == 1 && std::is_same<T, short>::value;
                        const float end[3] = {static_cast<float>(kSize[0] - (bilinear ? 1 : 0)),
                                              static_cast<float>(kSize[1] - (bilinear ? 1 : 0)),
                                              static_cast<float>(kSize[2] - (bilinear ? 1 : 0))};
                        const bool inside =
                            sliceInside && c[u] >= 0 && c[v] >= 0 &&
                            (bilinear ? c[u] <= end[u] && c[v] <= end[v] : c[u] < end[u] && c[v] < end[v]);
                        if (!inside) {
                            ASSERT_EQ(got, static_cast<T>(param.backgroundValue)) << x << "," << y;
                            continue;
                        }
                        int i[3] = {param.slicePosition.x, param.slicePosition.y, param.slicePosition.z};
                        i[u] = static_cast<int>(std::floor(c[u]));
                        i[v] = static_cast<int>(std::floor(c[v]));
                        if (!bilinear) {
                            ASSERT_EQ(got, VoxelAt(*volumes.linear, i[0], i[1], i[2])) << x << "," << y;
                            continue;
                        }
                        const float fu = c[u] - i[u], fv = c[v] - i[v];
                        auto at = [&](int du, int dv) {
                            int j[3] = {i[0], i[1], i[2]};
                            j[u] += du;
                            j[v] += dv;
                            return static_cast<float>(VoxelAt(*volumes.linear, j[0], j[1], j[2]));
                        };
                        const float value = ((at(0, 0) * (1 - fu) + at(1, 0) * fu) * (1 - fv)) +
                                            ((at(0, 1) * (1 - fu) + at(1, 1) * fu) * fv);
                        // A 1e-5 voxel shift of the position moves a blend of
                        // random 16-bit voxels by up to about one.
                        ASSERT_LE(std::abs(got - static_cast<int>(value)), 2) << x << "," << y;
                    }
                }
            }
        }
    }
    EXPECT_GT(compared, 5000);
}

TEST(MPRSlice, FreeRotationFloorSampling)
{
    std::mt19937 rng(31);
    CheckFreeRotation<unsigned char>(rng, 0, 250, 1);
    CheckFreeRotation<unsigned short>(rng, 0, 65535, 0);
    CheckFreeRotation<short>(rng, -32768, 32767, 0);
}

TEST(MPRSlice, FreeRotationBilinear)
{
    std::mt19937 rng(32);
    CheckFreeRotation<short>(rng, -32768, 32767, 1);
}

// The SSE2 kernel and its scalar twin give the same bytes, over volumes
// that mix the extreme values with random ones and over random geometry.
TEST(MPRSlice, InterpolatedSse2EqualsScalar)
{
    std::mt19937 rng(41);
    for (int round = 0; round < 4; ++round) {
        auto volume = RandomVolume<short>(kSize[0], kSize[1], kSize[2], kScale, rng, -32768, 32767);
        short* p = volume->GetDataPtr();
        for (int i = 0; i < kSize[0] * kSize[1] * kSize[2]; ++i) {
            const unsigned pick = rng() % 4;
            if (pick == 0) p[i] = -32768;
            if (pick == 1) p[i] = 32767;
        }
        std::unique_ptr<ZelImage<short>> tiled(volume->Clone(ZEL_ALIGNMENT_TILED));
        for (int i = 0; i < 150; ++i) {
            const float zoom = std::uniform_real_distribution<float>(0.3f, 5.0f)(rng);
            ZelMPRImageGeneratorParam param =
                RandomParam(rng, static_cast<int>(rng() % 4), static_cast<int>(rng() % 4), zoom);
            param.slicePosition = {static_cast<int>(rng() % kSize[0]), static_cast<int>(rng() % kSize[1]),
                                   static_cast<int>(rng() % kSize[2])};
            param.interpolation = 1;
            const ZelImage<short>& source = (i & 1) ? *tiled : *volume;
            ZelImage<short> simd, scalar;
            const int w = 1 + static_cast<int>(rng() % 70), h = 1 + static_cast<int>(rng() % 40);
            ASSERT_EQ(simd.Allocate(0, w, h, 1), 0);
            ASSERT_EQ(scalar.Allocate(0, w, h, 1), 0);
            ASSERT_TRUE(ZelMPRFillSlice(&source, &simd, param, true));
            ASSERT_TRUE(ZelMPRFillSlice(&source, &scalar, param, false));
            ASSERT_TRUE(SameBytes(simd, scalar)) << "case " << i;
        }
    }
}

// At zoom 1 on an isotropic volume with a whole-voxel centre and odd sizes,
// every pixel lies on a voxel: nearest and interpolated slices both show
// the voxels themselves, in every right-angle rotation.
TEST(MPRSlice, WholeVoxelPositions)
{
    std::mt19937 rng(51);
    auto volume = RandomVolume<short>(kSize[0], kSize[1], kSize[2], {1.0f, 1.0f, 1.0f}, rng, -2000, 2000);
    ZelMPRImageGenerator generator;
    generator.SetImage(volume.get());
    for (int interpolation = 0; interpolation < 2; ++interpolation) {
        for (int rotation = 0; rotation < 4; ++rotation) {
            ZelMPRImageGeneratorParam param;
            param.plane = 2;
            param.rotation = rotation;
            param.interpolation = interpolation;
            param.slicePosition = {0, 0, 7};
            param.center = {18.0f, 14.0f, 0.0f};
            std::unique_ptr<ZelImageBase> image(generator.GenerateImage(37, 29, param));
            ASSERT_TRUE(image);
            for (int y = 0; y < 29; ++y) {
                for (int x = 0; x < 37; ++x) {
                    Zel3DVector<float> v;
                    if (!generator.DisplayToVoxel(37, 29, {float(x), float(y)}, v, param)) continue;
                    EXPECT_EQ(PixelAt<short>(*image, x, y),
                              VoxelAt(*volume, static_cast<int>(v.x), static_cast<int>(v.y), 7))
                        << "rotation " << rotation;
                }
            }
        }
    }
}

// The background value is written with the output's width: a byte for
// unsigned char, 16 bits otherwise.
TEST(MPRSlice, SliceOutsideTheVolumeIsBackground)
{
    std::mt19937 rng(61);
    auto bytes = RandomVolume<unsigned char>(9, 8, 7, {1, 1, 1}, rng, 0, 255);
    auto words = RandomVolume<unsigned short>(9, 8, 7, {1, 1, 1}, rng, 0, 65535);
    struct Row {
        int plane;
        int slice;
        int background;
    };
    const Row rows[] = {{0, 9, 300}, {1, 8, -1}, {2, 7, 65537}, {2, -1, 5}};
    for (const Row& r : rows) {
        ZelMPRImageGeneratorParam param;
        param.plane = r.plane;
        param.slicePosition = {r.slice, r.slice, r.slice};
        param.backgroundValue = r.background;
        auto b = Generate(*bytes, 5, 4, param);
        auto w = Generate(*words, 5, 4, param);
        ASSERT_TRUE(b && w);
        for (int i = 0; i < 20; ++i) {
            EXPECT_EQ(PixelAt<unsigned char>(*b, i % 5, i / 5), static_cast<unsigned char>(r.background));
            EXPECT_EQ(PixelAt<unsigned short>(*w, i % 5, i / 5), static_cast<unsigned short>(r.background));
        }
    }
}

TEST(MPRSlice, InterpolationHasNoEffectOnUnsignedVolumes)
{
    std::mt19937 rng(71);
    auto volume = RandomVolume<unsigned char>(kSize[0], kSize[1], kSize[2], kScale, rng, 0, 255);
    for (int rotation : kRotations) {
        ZelMPRImageGeneratorParam param = RandomParam(rng, rotation, static_cast<int>(rng() % 4), 1.37f);
        param.interpolation = 0;
        auto nearest = Generate(*volume, 31, 17, param);
        param.interpolation = 1;
        auto interpolated = Generate(*volume, 31, 17, param);
        ASSERT_TRUE(nearest && interpolated);
        EXPECT_TRUE(SameBytes(*nearest, *interpolated)) << rotation;
    }
}

TEST(MPRSlice, OutputScale)
{
    std::mt19937 rng(81);
    auto volume = RandomVolume<short>(8, 8, 8, {0.5f, 0.5f, 2.0f}, rng, 0, 10);
    ZelMPRImageGeneratorParam param;
    param.zoom = 2.0f;
    param.slicePosition = {3, 3, 3};
    auto image = Generate(*volume, 6, 6, param);
    ASSERT_TRUE(image);
    EXPECT_FLOAT_EQ(image->GetImageScale().x, 0.25f);
    EXPECT_FLOAT_EQ(image->GetImageScale().y, 0.25f);
    EXPECT_FLOAT_EQ(image->GetImageScale().z, 0.25f);
}

// Calls that must refuse: false from the filling form with the pixels as
// they were, null from the creating form.
TEST(MPRSlice, Refusals)
{
    std::mt19937 rng(91);
    auto shorts = RandomVolume<short>(8, 8, 8, {0.5f, 0.5f, 0.5f}, rng, 0, 10);
    ZelImage<ZelRGBBase<unsigned char>> colour;
    ASSERT_EQ(colour.Allocate(0, 4, 4, 4), 0);
    ZelImage<unsigned char> bytesOut;
    ASSERT_EQ(bytesOut.Allocate(0, 6, 6, 1), 0);
    ZelImage<short> tiledOut;
    ASSERT_EQ(tiledOut.Allocate(ZEL_ALIGNMENT_TILED, 6, 6, 1), 0);
    ZelImage<short> emptyOut;

    struct Row {
        const char* what;
        ZelImageBase* volume;
        ZelImageBase* output;
        int plane;
        int interpolation;
        float zoom;
        bool scaleSet;         // the output's scale is still set
        bool creatingRefuses;  // the fault lies in the call's geometry, not in a given output
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
        ZelImage<short> sentinel;
        ASSERT_EQ(sentinel.Allocate(0, 6, 6, 1), 0);
        std::fill(sentinel.GetDataPtr(), sentinel.GetDataPtr() + 36, short{-123});
        ZelImageBase* output = r.output ? r.output : &sentinel;
        EXPECT_FALSE(generator.GenerateImage(output, param)) << r.what;
        if (output == &sentinel) {
            for (int i = 0; i < 36; ++i) ASSERT_EQ(sentinel.GetDataPtr()[i], -123) << r.what;
            EXPECT_EQ(sentinel.GetImageScale().x == 1.0f, !r.scaleSet) << r.what;
        }
        std::unique_ptr<ZelImageBase> created(generator.GenerateImage(6, 6, param));
        EXPECT_EQ(created == nullptr, r.creatingRefuses) << r.what;
        EXPECT_FALSE(generator.GenerateImage(nullptr, param)) << r.what;
    }

    // Colour volumes are not resliced.
    ZelMPRImageGenerator generator;
    generator.SetImage(&colour);
    ZelMPRImageGeneratorParam param;
    EXPECT_EQ(std::unique_ptr<ZelImageBase>(generator.GenerateImage(4, 4, param)), nullptr);
    EXPECT_EQ(std::unique_ptr<ZelImageBase>(generator.GenerateImage(0, 4, param)), nullptr);
}

}  // namespace
