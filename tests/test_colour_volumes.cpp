// Colour volumes: the bicubic slice and the one-slice bilinear view against a
// fixed-point model written here, the general reslices against a per-pixel
// sampler fed by the generators' DisplayToVoxel (every plane, rotation and
// flip, and oblique planes), the averaging below zoom 1, tiled volumes equal
// to linear ones, the RGBA join, and refusals that write nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "ZelIGConverter.h"
#include "ZelMPRImageGenerator.h"
#include "ZelVoxelIndex.h"
#include "mpr_reference.h"
#include "test_oblique_helpers.h"

namespace {

using Rgb = ZelRGBBase<unsigned char>;
using Rgba = ZelRGBABase<unsigned char>;
using Call = std::function<bool(ZelImageBuffer*)>;
#define CALL(expr) [&](ZelImageBuffer* b) { return ZelIGConverter::expr; }
constexpr unsigned char kSentinel = 0xA5;

// Random bytes, a quarter of them 0 or 255, in a linear volume.
template <class Voxel>
std::unique_ptr<ZelImage<Voxel>> RandomVolume(int sx, int sy, int sz, Zel3DVector<float> scale, std::mt19937& rng)
{
    auto volume = std::make_unique<ZelImage<Voxel>>();
    EXPECT_EQ(volume->Allocate(ZEL_ALIGNMENT_LINEAR, sx, sy, sz), 0);
    volume->SetImageScale(scale);
    auto* bytes = reinterpret_cast<unsigned char*>(volume->GetDataPtr());
    for (long long i = 0; i < volume->GetElementCount() * static_cast<long long>(sizeof(Voxel)); ++i)
        bytes[i] = static_cast<unsigned char>(rng() % 4 ? rng() : (rng() % 2) * 255);
    return volume;
}

template <class Voxel>
std::unique_ptr<ZelImage<Voxel>> Tiled(const ZelImage<Voxel>& volume)
{
    return std::unique_ptr<ZelImage<Voxel>>(volume.Clone(ZEL_ALIGNMENT_TILED));
}

// Byte c of voxel (x, y, z).
template <class Voxel>
int Byte(const ZelImage<Voxel>& volume, int x, int y, int z, int c)
{
    return reinterpret_cast<const unsigned char*>(volume.GetDataPtr() + ZelVoxelAddressing(volume)(x, y, z))[c];
}

// Runs `call` on a buffer of sentinel bytes and returns the pixel bytes row
// after row; empty when the call refused, which must then have written
// nothing. Row padding must keep the sentinel.
std::vector<int> Render(const Call& call, int width, int height, int depth)
{
    ZelImageBuffer buffer;
    EXPECT_TRUE(buffer.CreateImage(width, height, depth));
    const int stride = buffer.GetSizePerLine();
    unsigned char* data = buffer.GetDataPtr();
    std::memset(data, kSentinel, static_cast<std::size_t>(stride) * height);
    const bool done = call(&buffer);
    std::vector<int> pixels;
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = data + static_cast<std::ptrdiff_t>(y) * stride;
        pixels.insert(pixels.end(), row, row + width * depth);
        for (int p = done ? width * depth : 0; p < stride; ++p) EXPECT_EQ(row[p], kSentinel) << "row " << y;
    }
    return done ? pixels : std::vector<int>();
}

// The expected bytes of an x-y view: pixel (i, j) lies at X = trunc(x0 *
// 32768) + i * trunc(32768 / kx), x0 = centre - (W - 1) / 2 / kx, kx = ratio *
// zoom, and Y likewise; sample(X, Y, byte) gives each byte.
template <class Sample>
std::vector<int> ViewModel(Zel3DVector<float> centre, float rx, float ry, float zoom, int w, int h, Sample sample)
{
    const auto at = [zoom](float c, float ratio, int count, int k) {
        const double scale = static_cast<double>(ratio) * zoom;
        return static_cast<long long>((c - (count - 1) * 0.5 / scale) * 32768.0) +
               k * static_cast<long long>(32768.0 / scale);
    };
    std::vector<int> want;
    for (int j = 0; j < h; ++j)
        for (int i = 0; i < w; ++i)
            for (int b = 0; b < 3; ++b) want.push_back(sample(at(centre.x, rx, w, i), at(centre.y, ry, h, j), b));
    return want;
}

// Byte b of the bicubic view at 17.15 position (X, Y) of slice z: the cubic
// convolution weights (a = -1) of each fraction, shifts flooring.
int BicubicByte(const ZelImage<Rgb>& volume, long long X, long long Y, int z, int b)
{
    const Zel3DVector<int> n = volume.GetImageSize();
    if (z < 0 || X < 32768 || X >= (n.x - 2) * 32768LL || Y < 32768 || Y >= (n.y - 2) * 32768LL) return 0;
    long long w[2][4], sum = 0;
    for (int a = 0; a < 2; ++a) {
        const long long t = (a ? Y : X) & 32767, t1 = t - 32768, t2 = (t * t) >> 15, t3 = t2 - t - 32768;
        w[a][0] = -((((t1 * t1) >> 15) * t) >> 15);
        w[a][1] = (t3 * t1) >> 15;
        w[a][2] = -((t3 * t) >> 15);
        w[a][3] = (t2 * t1) >> 15;
    }
    for (int k = 0; k < 16; ++k)
        sum += Byte(volume, static_cast<int>(X >> 15) - 1 + k % 4, static_cast<int>(Y >> 15) - 1 + k / 4, z, b) *
               ((w[1][k / 4] * w[0][k % 4]) >> 15);
    return static_cast<int>(std::clamp(sum >> 15, 0LL, 255LL));
}

TEST(ColourVolumes, BicubicMatchesTheFixedPointModel)
{
    std::mt19937 rng(3);
    const auto volume = RandomVolume<Rgb>(17, 13, 3, {1, 1, 1}, rng);
    const auto tiled = Tiled(*volume);
    struct Case {
        Zel3DVector<float> centre, spacing;
        float zoom;
        int w, h;
    } const cases[] = {
        {{8, 6, 1}, {1, 1, 1}, 1.0f, 15, 11},         {{8.3f, 5.7f, 2.9f}, {0.5f, 0.7f, 0.9f}, 1.7f, 33, 21},
        {{3, 9, 0}, {0.7f, 0.6f, 0.5f}, 0.45f, 9, 7}, {{10.5f, 2.25f, 1}, {1.2f, 0.8f, 2}, 3.3f, 40, 12},
        {{8, 6, -1}, {1, 1, 1}, 1.0f, 5, 5},
    };
    for (const Case& c : cases) {
        const float m = std::min({c.spacing.x, c.spacing.y, c.spacing.z});
        const auto want = ViewModel(c.centre, c.spacing.x / m, c.spacing.y / m, c.zoom, c.w, c.h,
                                    [&](long long X, long long Y, int b) {
                                        return BicubicByte(*volume, X, Y, static_cast<int>(c.centre.z), b);
                                    });
        for (const ZelImage<Rgb>* v : {volume.get(), tiled.get()})
            EXPECT_EQ(Render(CALL(ConvertZelImageRGB_BiCubic(b, v, c.centre, c.spacing, c.zoom)), c.w, c.h, 3), want)
                << "zoom " << c.zoom;
    }
}

// The one-slice view of plane 2: bilinear in the bicubic placement, black from
// the last column and row on; below zoom 1 the average of the voxels under a
// pixel (a zoom of 1/2 on a 4 x 4 slice: each pixel is a 2 x 2 block).
TEST(ColourVolumes, OneSliceView)
{
    std::mt19937 rng(5);
    const auto volume = RandomVolume<Rgb>(19, 14, 1, {0.6f, 0.9f, 3}, rng);
    const auto tiled = Tiled(*volume);
    ZelMPRImageGeneratorParam p;
    p.plane = ZEL_MPR_PLANE_XY;
    p.center = {9.4f, 6.1f, 0};
    for (const float zoom : {1.0f, 1.3f, 2.5f}) {
        p.zoom = zoom;
        const auto want = ViewModel(p.center, 1.0f, 1.5f, zoom, 37, 29, [&](long long X, long long Y, int b) {
            if (X < 0 || X >= 18 * 32768LL || Y < 0 || Y >= 13 * 32768LL) return 0;
            const long long fx = X & 32767, fy = Y & 32767, x = X >> 15, y = Y >> 15;
            const long long w[4] = {((32768 - fx) * (32768 - fy)) >> 15, (fx * (32768 - fy)) >> 15,
                                    ((32768 - fx) * fy) >> 15, (fx * fy) >> 15};
            long long sum = 0;
            for (int k = 0; k < 4; ++k)
                sum += Byte(*volume, static_cast<int>(x + k % 2), static_cast<int>(y + k / 2), 0, b) * w[k];
            return static_cast<int>(sum >> 15);
        });
        for (const ZelImage<Rgb>* v : {volume.get(), tiled.get()})
            EXPECT_EQ(Render(CALL(ConvertZelImageRGB(b, v, p)), 37, 29, 3), want) << "zoom " << zoom;
    }

    ZelImage<Rgb> small;
    ASSERT_EQ(small.Allocate(ZEL_ALIGNMENT_LINEAR, 4, 4, 1), 0);
    for (int i = 0; i < 16; ++i)
        small.GetDataPtr()[i] = {static_cast<unsigned char>(i * 10), static_cast<unsigned char>(i), 7};
    // Zoom 1 from voxel (1, 1): the last column and row show black.
    p.zoom = 1;
    p.center = {2, 2, 0};
    EXPECT_EQ(
        Render(CALL(ConvertZelImageRGB(b, &small, p)), 3, 3, 3),
        (std::vector<int>{50, 5, 7, 60, 6, 7, 0, 0, 0, 90, 9, 7, 100, 10, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    // Zoom 1/2: blocks {0, 1, 4, 5}, {2, 3, 6, 7}, {8, 9, 12, 13}, {10, 11, 14, 15}.
    p.zoom = 0.5f;
    p.center = {1.5f, 1.5f, 0};
    EXPECT_EQ(Render(CALL(ConvertZelImageRGB(b, &small, p)), 2, 2, 3),
              (std::vector<int>{25, 2, 7, 45, 4, 7, 105, 10, 7, 125, 12, 7}));
    // Mirrored (the general path), tiled, one voxel further right: pixel 0
    // covers x 3 and 4, of which only 3 lies in the volume; pixel 1 x 1 and 2.
    p.flipHorizontal = true;
    p.center.x = 2.5f;
    const auto tiledSmall = Tiled(small);
    EXPECT_EQ(Render(CALL(ConvertZelImageRGB(b, tiledSmall.get(), p)), 2, 2, 3),
              (std::vector<int>{50, 5, 7, 35, 3, 7, 130, 13, 7, 115, 11, 7}));
}

// Checks a picture against a per-pixel sampler at the positions the
// generator's DisplayToVoxel gives for param: the nearest voxel
// (interpolation 0) or exact trilinear, black outside [0, size - 1] (nearest:
// [-1/2, size - 1/2)). The walk's positions differ from the mapped ones by a
// few 2^-15 per pixel, so pixels within 4e-3 voxel of an edge or a rounding
// boundary are skipped (except on `fixedAxis`, the exact slice of an MPR
// view), and blends may differ by 3 (that error times the steepest neighbour
// difference, plus truncation). Returns the pixels checked.
template <class Voxel, class Generator, class Param>
long CheckPixels(const std::vector<int>& pixels, const ZelImage<Voxel>& volume, int w, int h,
                 const Generator& generator, const Param& param, int fixedAxis)
{
    const bool nearest = param.interpolation == 0;
    constexpr int kBytes = static_cast<int>(sizeof(Voxel));
    const Zel3DVector<int> n = volume.GetImageSize();
    const int size[3] = {n.x, n.y, n.z};
    long checked = 0;
    for (int y = 0; y < h && !::testing::Test::HasFailure(); ++y)
        for (int x = 0; x < w; ++x) {
            Zel3DVector<float> voxel;
            generator.DisplayToVoxel(w, h, {static_cast<float>(x), static_cast<float>(y)}, voxel, param);
            const float v[3] = {voxel.x, voxel.y, voxel.z};
            bool inside = true, edge = false;
            int i0[3];
            for (int a = 0; a < 3; ++a) {
                const float q = nearest ? v[a] + 0.5f : v[a], hi = nearest ? size[a] : size[a] - 1;
                inside = inside && q >= 0 && (nearest ? q < hi : q <= hi);
                edge = edge || (a != fixedAxis && (std::fabs(q) < 4e-3f || std::fabs(q - hi) < 4e-3f ||
                                                   std::fabs(q - std::round(q)) < 4e-3f));
                i0[a] = static_cast<int>(std::floor(q));
            }
            if (edge) continue;
            for (int c = 0; c < kBytes; ++c) {
                double want = 0;
                for (int k = 0; inside && k < (nearest ? 1 : 8); ++k) {
                    double weight = 1;
                    int at[3];
                    for (int a = 0; a < 3; ++a) {
                        const double f = nearest ? 0 : v[a] - i0[a];
                        weight *= k >> a & 1 ? f : 1 - f;
                        at[a] = i0[a] + ((k >> a & 1) && f > 0);
                    }
                    if (weight > 0) want += weight * Byte(volume, at[0], at[1], at[2], c);
                }
                EXPECT_NEAR(pixels[(static_cast<std::size_t>(y) * w + x) * kBytes + c], want, nearest ? 0 : 3)
                    << "pixel " << x << "," << y;
            }
            ++checked;
        }
    return checked;
}

TEST(ColourVolumes, MPRViewsFollowDisplayToVoxel)
{
    std::mt19937 rng(7);
    const int size[3] = {13, 11, 9};
    const auto rgba = RandomVolume<Rgba>(size[0], size[1], size[2], {0.7f, 0.9f, 1.3f}, rng);
    const auto tiled = Tiled(*rgba);
    ZelMPRImageGenerator generator;
    generator.SetImage(rgba.get());
    long checked = 0;
    for (int i = 0; i < 300 && !HasFailure(); ++i) {
        ZelMPRImageGeneratorParam p = mpr_test::RandomView(i, size, rng);
        p.interpolation = i / 15 % 2;
        // Averaging takes over below zoom 1 for right-angle blends.
        if (p.interpolation == 1 && p.rotation != ZEL_MPR_ROTATION_FREE) p.zoom = std::max(p.zoom, 1.0f);
        const int w = 5 + static_cast<int>(rng() % 35), h = 5 + static_cast<int>(rng() % 35);
        const std::vector<int> four = Render(CALL(ConvertZelImageRGBA(b, rgba.get(), p)), w, h, 4);
        ASSERT_EQ(Render(CALL(ConvertZelImageRGBA(b, tiled.get(), p)), w, h, 4), four) << "tiled, case " << i;
        checked += CheckPixels(four, *rgba, w, h, generator, p, p.plane);
    }
    EXPECT_GT(checked, 50000);
}

TEST(ColourVolumes, ObliquePlanesFollowDisplayToVoxel)
{
    std::mt19937 rng(13);
    const auto volume = RandomVolume<Rgb>(15, 12, 10, {0.6f, 0.9f, 1.5f}, rng);
    const auto tiled = Tiled(*volume);
    ZelObliqueImageGenerator generator;
    generator.SetImage(volume.get());
    long checked = 0;
    for (int i = 0; i < 60 && !HasFailure(); ++i) {
        ZelObliqueImageGeneratorParam p = oblique_test::RandomParam(rng, *volume);
        p.interpolation = i % 2;
        const int w = 10 + i % 25, h = 35 - i % 20;
        const std::vector<int> picture = Render(CALL(ConvertZelImageRGB(b, volume.get(), p)), w, h, 3);
        p.thickness = 3;  // not used: the thin plane
        ASSERT_EQ(Render(CALL(ConvertZelImageRGB(b, tiled.get(), p)), w, h, 3), picture) << "tiled, case " << i;
        p.thickness = 0;
        checked += CheckPixels(picture, *volume, w, h, generator, p, -1);
    }
    EXPECT_GT(checked, 10000);
}

// The ends of the inside range, hit exactly by half-voxel steps from -1/2: the
// nearest voxel is inside from -1/2 to size - 1/2 (exclusive), a blend from 0
// to size - 1 (inclusive).
TEST(ColourVolumes, InsideRangesEndExactly)
{
    ZelImage<Rgb> volume;
    ASSERT_EQ(volume.Allocate(ZEL_ALIGNMENT_LINEAR, 6, 5, 4), 0);
    std::fill(volume.GetDataPtr(), volume.GetDataPtr() + 120, Rgb{9, 9, 9});
    ZelMPRImageGeneratorParam p;
    p.plane = ZEL_MPR_PLANE_XY;
    p.zoom = 2;
    p.center = {2.75f, 2.25f, 0};  // pixel (k, j) at (-0.5 + k / 2, -0.5 + j / 2)
    p.slicePosition = {0, 0, 3};
    for (p.interpolation = 0; p.interpolation < 2; ++p.interpolation) {
        const std::vector<int> got = Render(CALL(ConvertZelImageRGB(b, &volume, p)), 14, 12, 3);
        for (int j = 0; j < 12; ++j)
            for (int k = 0; k < 14; ++k) {
                const bool inside = k >= p.interpolation && k <= 11 && j >= p.interpolation && j <= 9;
                EXPECT_EQ(got[(j * 14 + k) * 3] != 0, inside) << p.interpolation << " pixel " << k << "," << j;
            }
    }
}

TEST(ColourVolumes, ColorImageJoinsColourAndAlpha)
{
    std::mt19937 rng(19);
    const auto colour = RandomVolume<Rgb>(18, 5, 17, {0.5f, 0.6f, 0.7f}, rng);
    const auto alpha = RandomVolume<unsigned char>(18, 5, 17, {1, 1, 1}, rng);
    const auto colourTiled = Tiled(*colour);
    const auto alphaTiled = Tiled(*alpha);
    for (const ZelImage<Rgb>* c : {colour.get(), colourTiled.get()})
        for (const ZelImage<unsigned char>* a : {alpha.get(), alphaTiled.get()}) {
            ZelImage<Rgba> joined;
            ASSERT_TRUE(ZelIGConverter::ConvertColorImage(&joined, c, a));
            EXPECT_TRUE(joined.IsTiled() == c->IsTiled() && joined.GetImageScale().z == 0.7f);
            for (int i = 0; i < 18 * 5 * 17 * 4; ++i) {
                const int x = i / 4 % 18, y = i / 72 % 5, z = i / 360, k = i % 4;
                ASSERT_EQ(Byte(joined, x, y, z, k), k < 3 ? Byte(*colour, x, y, z, k) : Byte(*alpha, x, y, z, 0));
            }
        }
}

TEST(ColourVolumes, RefusalsWriteNothing)
{
    std::mt19937 rng(23);
    const auto rgb = RandomVolume<Rgb>(6, 5, 4, {1, 1, 1}, rng);
    const auto rgba = RandomVolume<Rgba>(6, 5, 4, {1, 1, 1}, rng);
    const auto flat = RandomVolume<Rgb>(6, 5, 4, {1, 0, 1}, rng);
    const ZelImage<Rgb> empty;
    const ZelImage<Rgb>* noRgb = nullptr;
    const float nan = std::nanf("");
    ZelMPRImageGeneratorParam plain, plane3, zoom0, faraway;
    plane3.plane = 3;
    zoom0.zoom = 0;
    faraway.center.y = 1e6f;  // beyond 32-bit positions, for the nearest voxel
    faraway.interpolation = 0;
    ZelObliqueImageGeneratorParam obliqueZoom0, obliqueNan;
    obliqueZoom0.zoom = 0;
    obliqueNan.orientation.m[1][1] = nan;
    const struct {
        const char* what;
        int depth;
        Call call;
    } cases[] = {
        {"bicubic null volume", 3, CALL(ConvertZelImageRGB_BiCubic(b, noRgb, {}, {1, 1, 1}, 1))},
        {"bicubic depth 4", 4, CALL(ConvertZelImageRGB_BiCubic(b, rgb.get(), {}, {1, 1, 1}, 1))},
        {"bicubic spacing 0", 3, CALL(ConvertZelImageRGB_BiCubic(b, rgb.get(), {}, {1, 0, 1}, 1))},
        {"bicubic zoom NaN", 3, CALL(ConvertZelImageRGB_BiCubic(b, rgb.get(), {}, {1, 1, 1}, nan))},
        {"null volume", 3, CALL(ConvertZelImageRGB(b, noRgb, plain))},
        {"depth 4", 4, CALL(ConvertZelImageRGB(b, rgb.get(), plain))},
        {"plane 3", 3, CALL(ConvertZelImageRGB(b, rgb.get(), plane3))},
        {"zoom 0", 3, CALL(ConvertZelImageRGB(b, rgb.get(), zoom0))},
        {"far away", 3, CALL(ConvertZelImageRGB(b, rgb.get(), faraway))},
        {"spacing 0", 3, CALL(ConvertZelImageRGB(b, flat.get(), plain))},
        {"rgba depth 3", 3, CALL(ConvertZelImageRGBA(b, rgba.get(), plain))},
        {"oblique zoom 0", 3, CALL(ConvertZelImageRGB(b, rgb.get(), obliqueZoom0))},
        {"oblique NaN matrix", 3, CALL(ConvertZelImageRGB(b, rgb.get(), obliqueNan))},
    };
    for (const auto& c : cases) {
        EXPECT_TRUE(Render(c.call, 7, 3, c.depth).empty()) << c.what;
        EXPECT_FALSE(c.call(nullptr)) << c.what;
    }

    // The join refuses mismatched sizes and leaves the destination as it was.
    ZelImage<Rgba> destination;
    ASSERT_EQ(destination.Allocate(ZEL_ALIGNMENT_LINEAR, 2, 2, 2), 0);
    destination.GetDataPtr()[3] = {1, 2, 3, 4};
    const auto alpha = RandomVolume<unsigned char>(6, 5, 3, {1, 1, 1}, rng);
    const ZelImage<unsigned char> noAlpha;
    EXPECT_FALSE(ZelIGConverter::ConvertColorImage(&destination, rgb.get(), alpha.get()));
    EXPECT_FALSE(ZelIGConverter::ConvertColorImage(&destination, rgb.get(), nullptr));
    EXPECT_FALSE(ZelIGConverter::ConvertColorImage(&destination, &empty, &noAlpha));
    EXPECT_TRUE(destination.GetImageSize().x == 2 && destination.GetDataPtr()[3].a == 4);
}

}  // namespace
