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
#include "generators/mpr_geometry.h"
#include "mpr_reference.h"
#include "test_oblique_helpers.h"

namespace {

using Rgb = ZelRGBBase<unsigned char>;
using Rgba = ZelRGBABase<unsigned char>;
using Call = std::function<bool(ZelImageBuffer*)>;
constexpr unsigned char kSentinel = 0xA5;

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

// Runs `call` on a width x height buffer of sentinel bytes and returns the
// pixel bytes row after row; empty when the call refused, which must then
// have written nothing. Row padding must keep the sentinel.
std::vector<int> Render(const Call& call, int width, int height, int depth)
{
    ZelImageBuffer buffer;
    EXPECT_TRUE(buffer.CreateImage(width, height, depth));
    const int stride = buffer.GetSizePerLine();
    std::memset(buffer.GetDataPtr(), kSentinel, static_cast<std::size_t>(stride) * height);
    if (!call(&buffer)) {
        const unsigned char* data = buffer.GetDataPtr();
        EXPECT_TRUE(std::all_of(data, data + stride * height, [](unsigned char b) { return b == kSentinel; }))
            << "a refused call wrote";
        return {};
    }
    std::vector<int> pixels;
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = buffer.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * stride;
        pixels.insert(pixels.end(), row, row + width * depth);
        for (int p = width * depth; p < stride; ++p) EXPECT_EQ(row[p], kSentinel);
    }
    return pixels;
}

// The placement of the x-y views: X of column j is trunc(x0 * 32768) + j *
// trunc(32768 / kx), x0 = centre - (W - 1) / 2 / kx, kx = ratio * zoom.
struct Axis {
    long long start;
    long long step;
    Axis(float centre, float ratio, float zoom, int count)
    {
        const double k = static_cast<double>(ratio) * zoom;
        start = static_cast<long long>((centre - (count - 1) * 0.5 / k) * 32768.0);
        step = static_cast<long long>(32768.0 / k);
    }
    long long At(int j) const { return start + j * step; }
};

// Cubic convolution weights (a = -1) of a 15-bit fraction, as the formulas
// give them, in 64-bit arithmetic (the shifts floor).
void Cubic(long long t, long long w[4])
{
    const long long t1 = t - 32768, t2 = (t * t) >> 15, t3 = t2 - t - 32768;
    w[0] = -((((t1 * t1) >> 15) * t) >> 15);
    w[1] = (t3 * t1) >> 15;
    w[2] = -((t3 * t) >> 15);
    w[3] = (t2 * t1) >> 15;
}

TEST(ColourVolumes, BicubicMatchesTheFixedPointModel)
{
    std::mt19937 rng(3);
    const auto volume = RandomVolume<Rgb>(17, 13, 3, {1, 1, 1}, rng);
    const auto tiled = Tiled(*volume);
    struct Case {
        Zel3DVector<float> centre;
        Zel3DVector<float> spacing;
        float zoom;
        int width, height;
    };
    const Case cases[] = {
        {{8, 6, 1}, {1, 1, 1}, 1.0f, 15, 11},         {{8.3f, 5.7f, 2.9f}, {0.5f, 0.7f, 0.9f}, 1.7f, 33, 21},
        {{3, 9, 0}, {0.7f, 0.6f, 0.5f}, 0.45f, 9, 7}, {{10.5f, 2.25f, 1}, {1.2f, 0.8f, 2}, 3.3f, 40, 12},
        {{8, 6, -1}, {1, 1, 1}, 1.0f, 5, 5},
    };
    for (const Case& c : cases) {
        const float m = std::min({c.spacing.x, c.spacing.y, c.spacing.z});
        const Axis ax(c.centre.x, c.spacing.x / m, c.zoom, c.width), ay(c.centre.y, c.spacing.y / m, c.zoom, c.height);
        const int z = static_cast<int>(c.centre.z);
        std::vector<int> want;
        for (int j = 0; j < c.height; ++j)
            for (int i = 0; i < c.width; ++i) {
                const long long X = ax.At(i), Y = ay.At(j);
                const bool inside =
                    z >= 0 && X >= 32768 && X < (17 - 2) * 32768LL && Y >= 32768 && Y < (13 - 2) * 32768LL;
                long long wx[4], wy[4];
                Cubic(X & 32767, wx);
                Cubic(Y & 32767, wy);
                for (int b = 0; b < 3; ++b) {
                    long long sum = 0;
                    for (int r = 0; inside && r < 4; ++r)
                        for (int k = 0; k < 4; ++k)
                            sum += Byte(*volume, static_cast<int>(X >> 15) - 1 + k, static_cast<int>(Y >> 15) - 1 + r,
                                        z, b) *
                                   ((wy[r] * wx[k]) >> 15);
                    want.push_back(static_cast<int>(std::clamp(sum >> 15, 0LL, 255LL)));
                }
            }
        for (const ZelImage<Rgb>* v : {volume.get(), tiled.get()}) {
            EXPECT_EQ(Render(
                          [&](ZelImageBuffer* b) {
                              return ZelIGConverter::ConvertZelImageRGB_BiCubic(b, v, c.centre, c.spacing, c.zoom);
                          },
                          c.width, c.height, 3),
                      want)
                << "zoom " << c.zoom;
        }
    }
    // Zoom 1, equal spacings: the slice itself, centre on the middle pixel.
    const std::vector<int> copy = Render(
        [&](ZelImageBuffer* b) {
            return ZelIGConverter::ConvertZelImageRGB_BiCubic(b, volume.get(), {8, 6, 2}, {2, 2, 2}, 1);
        },
        15, 11, 3);
    ASSERT_EQ(copy.size(), 15u * 11 * 3);
    EXPECT_EQ(copy[(5 * 15 + 7) * 3 + 1], Byte(*volume, 8, 6, 2, 1));
    EXPECT_EQ(copy[(9 * 15 + 13) * 3 + 2], Byte(*volume, 14, 10, 2, 2));
}

// The one-slice view of plane 2: bilinear in the bicubic placement, black from
// the last column and row on; below zoom 1 the average of the voxels under a
// pixel (a zoom of 1/2 on a 4 x 4 slice: each pixel is a 2 x 2 block).
TEST(ColourVolumes, OneSliceView)
{
    std::mt19937 rng(5);
    const auto volume = RandomVolume<Rgb>(19, 14, 1, {0.6f, 0.9f, 3}, rng);
    const auto tiled = Tiled(*volume);
    for (const float zoom : {1.0f, 1.3f, 2.5f}) {
        ZelMPRImageGeneratorParam p;
        p.plane = ZEL_MPR_PLANE_XY;
        p.zoom = zoom;
        p.center = {9.4f, 6.1f, 0};
        const int w = 37, h = 29;
        const Axis ax(p.center.x, 1.0f, zoom, w), ay(p.center.y, 1.5f, zoom, h);
        std::vector<int> want;
        for (int j = 0; j < h; ++j)
            for (int i = 0; i < w; ++i) {
                const long long X = ax.At(i), Y = ay.At(j), fx = X & 32767, fy = Y & 32767;
                const bool inside = X >= 0 && X < 18 * 32768LL && Y >= 0 && Y < 13 * 32768LL;
                const long long weight[4] = {((32768 - fx) * (32768 - fy)) >> 15, (fx * (32768 - fy)) >> 15,
                                             ((32768 - fx) * fy) >> 15, (fx * fy) >> 15};
                for (int b = 0; b < 3; ++b) {
                    long long sum = 0;
                    for (int k = 0; inside && k < 4; ++k)
                        sum +=
                            Byte(*volume, static_cast<int>(X >> 15) + k % 2, static_cast<int>(Y >> 15) + k / 2, 0, b) *
                            weight[k];
                    want.push_back(static_cast<int>(sum >> 15));
                }
            }
        for (const ZelImage<Rgb>* v : {volume.get(), tiled.get()})
            EXPECT_EQ(Render([&](ZelImageBuffer* b) { return ZelIGConverter::ConvertZelImageRGB(b, v, p); }, w, h, 3),
                      want)
                << "zoom " << zoom;
    }

    // A position on the last column or row is black in this view.
    ZelImage<Rgb> three;
    ASSERT_EQ(three.Allocate(ZEL_ALIGNMENT_LINEAR, 3, 3, 1), 0);
    for (int i = 0; i < 9; ++i) three.GetDataPtr()[i] = {static_cast<unsigned char>(i + 1), 7, 9};
    ZelMPRImageGeneratorParam one;
    one.plane = ZEL_MPR_PLANE_XY;
    one.center = {1, 1, 0};
    EXPECT_EQ(Render([&](ZelImageBuffer* b) { return ZelIGConverter::ConvertZelImageRGB(b, &three, one); }, 3, 3, 3),
              (std::vector<int>{1, 7, 9, 2, 7, 9, 0, 0, 0, 4, 7, 9, 5, 7, 9, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));

    ZelImage<Rgb> small;
    ASSERT_EQ(small.Allocate(ZEL_ALIGNMENT_LINEAR, 4, 4, 1), 0);
    for (int i = 0; i < 16; ++i)
        small.GetDataPtr()[i] = {static_cast<unsigned char>(i * 10), static_cast<unsigned char>(i), 255};
    ZelMPRImageGeneratorParam half;
    half.plane = ZEL_MPR_PLANE_XY;
    half.zoom = 0.5f;
    half.center = {1.5f, 1.5f, 0};
    // Blocks {0, 1, 4, 5}, {2, 3, 6, 7}, {8, 9, 12, 13}, {10, 11, 14, 15}.
    EXPECT_EQ(Render([&](ZelImageBuffer* b) { return ZelIGConverter::ConvertZelImageRGB(b, &small, half); }, 2, 2, 3),
              (std::vector<int>{25, 2, 255, 45, 4, 255, 105, 10, 255, 125, 12, 255}));
}

// Exact trilinear value of byte c at a position (neighbours beyond the last
// voxel weigh nothing).
template <class Voxel>
double Trilinear(const ZelImage<Voxel>& volume, const float v[3], int c)
{
    int i0[3];
    double f[3];
    for (int a = 0; a < 3; ++a) {
        i0[a] = static_cast<int>(std::floor(v[a]));
        f[a] = v[a] - i0[a];
    }
    double sum = 0;
    for (int k = 0; k < 8; ++k) {
        double w = 1;
        int at[3];
        for (int a = 0; a < 3; ++a) {
            const int bit = k >> a & 1;
            w *= bit ? f[a] : 1 - f[a];
            at[a] = i0[a] + (bit && f[a] > 0);
        }
        if (w > 0) sum += w * Byte(volume, at[0], at[1], at[2], c);
    }
    return sum;
}

// Compares a picture with a per-pixel sampler at the positions `map` gives:
// nearest voxel or trilinear, black outside [0, size - 1] (nearest: outside
// [-1/2, size - 1/2)). The walk's positions differ from the mapped ones by a
// few 2^-15 per pixel, so pixels within 4e-3 voxel of an edge or a rounding
// boundary are skipped (except along `fixedAxis`, the exact slice of an MPR
// view), and blends may differ by 3 (position error times the steepest
// neighbour difference, plus truncation).
template <class Voxel, class Map>
long ComparePixels(const std::vector<int>& pixels, const ZelImage<Voxel>& volume, int w, int h, bool nearest,
                   int fixedAxis, Map map, const char* what)
{
    constexpr int kBytes = static_cast<int>(sizeof(Voxel));
    const Zel3DVector<int> n = volume.GetImageSize();
    const int size[3] = {n.x, n.y, n.z};
    long checked = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            float v[3];
            map(x, y, v);
            bool inside = true, edge = false;
            int voxel[3];
            for (int a = 0; a < 3; ++a) {
                const float q = nearest ? v[a] + 0.5f : v[a];
                const float lo = 0, hi = nearest ? static_cast<float>(size[a]) : static_cast<float>(size[a] - 1);
                inside = inside && q >= lo && (nearest ? q < hi : q <= hi);
                edge = edge || (a != fixedAxis && (std::fabs(q - lo) < 4e-3f || std::fabs(q - hi) < 4e-3f ||
                                                   (nearest && std::fabs(q - std::round(q)) < 4e-3f)));
                voxel[a] = static_cast<int>(std::floor(q));
            }
            if (edge) continue;
            for (int c = 0; c < kBytes; ++c) {
                const int got = pixels[(static_cast<std::size_t>(y) * w + x) * kBytes + c];
                if (!inside) {
                    EXPECT_EQ(got, 0) << what << " pixel " << x << "," << y;
                } else if (nearest) {
                    EXPECT_EQ(got, Byte(volume, voxel[0], voxel[1], voxel[2], c)) << what << " pixel " << x << "," << y;
                } else {
                    EXPECT_NEAR(got, Trilinear(volume, v, c), 3.0) << what << " pixel " << x << "," << y;
                }
            }
            if (::testing::Test::HasFailure()) return checked;  // one report is enough
            ++checked;
        }
    return checked;
}

// A generator's DisplayToVoxel as the map of ComparePixels.
template <class Generator, class Param>
auto DisplayToVoxelOf(const Generator& generator, int w, int h, const Param& p)
{
    return [&generator, &p, w, h](int x, int y, float v[3]) {
        Zel3DVector<float> voxel;
        generator.DisplayToVoxel(w, h, {static_cast<float>(x), static_cast<float>(y)}, voxel, p);
        v[0] = voxel.x;
        v[1] = voxel.y;
        v[2] = voxel.z;
    };
}

TEST(ColourVolumes, MPRViewsFollowDisplayToVoxel)
{
    std::mt19937 rng(7);
    const auto rgba = RandomVolume<Rgba>(13, 11, 9, {0.7f, 0.9f, 1.3f}, rng);
    ZelImage<Rgb> rgb;  // the first three bytes of every voxel
    ASSERT_EQ(rgb.Allocate(ZEL_ALIGNMENT_LINEAR, 13, 11, 9), 0);
    rgb.SetImageScale(rgba->GetImageScale());
    for (int i = 0; i < 13 * 11 * 9; ++i) {
        const Rgba& v = rgba->GetDataPtr()[i];
        rgb.GetDataPtr()[i] = {v.r, v.g, v.b};
    }
    const auto rgbTiled = Tiled(rgb);
    const auto rgbaTiled = Tiled(*rgba);
    ZelMPRImageGenerator generator;
    generator.SetImage(rgba.get());
    const int size[3] = {13, 11, 9};
    long checked = 0;
    for (int i = 0; i < 300; ++i) {
        ZelMPRImageGeneratorParam p = mpr_test::RandomView(i, size, rng);
        p.interpolation = i / 15 % 2;
        // Averaging takes over below zoom 1 for right-angle blends.
        if (p.interpolation == 1 && p.rotation != ZEL_MPR_ROTATION_FREE) p.zoom = std::max(p.zoom, 1.0f);
        const int w = 5 + static_cast<int>(rng() % 35), h = 5 + static_cast<int>(rng() % 35);
        const auto view = [&](auto* volume, int depth) {
            return Render(
                [&](ZelImageBuffer* b) {
                    if constexpr (sizeof(*volume->GetDataPtr()) == 4) {
                        return ZelIGConverter::ConvertZelImageRGBA(b, volume, p);
                    } else {
                        return ZelIGConverter::ConvertZelImageRGB(b, volume, p);
                    }
                },
                w, h, depth);
        };
        const std::vector<int> four = view(rgba.get(), 4), three = view(&rgb, 3);
        ASSERT_EQ(view(rgbaTiled.get(), 4), four) << "tiled, case " << i;
        ASSERT_EQ(view(rgbTiled.get(), 3), three) << "tiled, case " << i;
        ASSERT_EQ(three.size() * 4, four.size() * 3);
        for (std::size_t k = 0; k < three.size(); ++k) ASSERT_EQ(three[k], four[k / 3 * 4 + k % 3]) << "case " << i;
        checked += ComparePixels(four, *rgba, w, h, p.interpolation == 0, p.plane, DisplayToVoxelOf(generator, w, h, p),
                                 "MPR");
    }
    EXPECT_GT(checked, 50000);
}

// The ends of the inside range, hit exactly by a view of half-voxel steps
// from -1/2: the nearest voxel is inside from -1/2 to size - 1/2 (exclusive),
// a blend from 0 to size - 1 (inclusive).
TEST(ColourVolumes, InsideRangesEndExactly)
{
    std::mt19937 rng(29);
    auto volume = RandomVolume<Rgb>(6, 5, 4, {1, 1, 1}, rng);
    auto* bytes = reinterpret_cast<unsigned char*>(volume->GetDataPtr());
    for (int i = 0; i < 6 * 5 * 4 * 3; ++i) bytes[i] = static_cast<unsigned char>(std::max<int>(bytes[i], 2));
    ZelMPRImageGeneratorParam p;
    p.plane = ZEL_MPR_PLANE_XY;
    p.zoom = 2;
    p.center = {2.75f, 2.25f, 0};  // pixel (k, j) at (-0.5 + k / 2, -0.5 + j / 2)
    p.slicePosition = {0, 0, 3};
    for (const int interpolation : {0, 1}) {
        p.interpolation = interpolation;
        const std::vector<int> got = Render(
            [&](ZelImageBuffer* b) { return ZelIGConverter::ConvertZelImageRGB(b, volume.get(), p); }, 14, 12, 3);
        for (int j = 0; j < 12; ++j)
            for (int k = 0; k < 14; ++k) {
                const bool inside = k >= interpolation && k <= 11 && j >= interpolation && j <= 9;
                EXPECT_EQ(got[(j * 14 + k) * 3] != 0, inside)
                    << "interpolation " << interpolation << " pixel " << k << "," << j;
            }
    }
}

TEST(ColourVolumes, ObliquePlanesFollowDisplayToVoxel)
{
    std::mt19937 rng(13);
    const auto volume = RandomVolume<Rgb>(15, 12, 10, {0.6f, 0.9f, 1.5f}, rng);
    const auto tiled = Tiled(*volume);
    ZelObliqueImageGenerator generator;
    generator.SetImage(volume.get());
    long checked = 0;
    for (int i = 0; i < 60; ++i) {
        ZelObliqueImageGeneratorParam p = oblique_test::RandomParam(rng, *volume);
        p.interpolation = i % 2;
        p.thickness = 3;  // not used: the thin plane
        const int w = 10 + i % 25, h = 35 - i % 20;
        std::vector<int> pictures[2];
        for (int k = 0; k < 2; ++k) {
            const ZelImage<Rgb>* v = k ? tiled.get() : volume.get();
            pictures[k] =
                Render([&](ZelImageBuffer* b) { return ZelIGConverter::ConvertZelImageRGB(b, v, p); }, w, h, 3);
        }
        ASSERT_EQ(pictures[1], pictures[0]) << "tiled, case " << i;
        p.thickness = 0;
        checked += ComparePixels(pictures[0], *volume, w, h, p.interpolation == 0, -1,
                                 DisplayToVoxelOf(generator, w, h, p), "oblique");
    }
    EXPECT_GT(checked, 10000);
}

// Below zoom 1, right-angle views average the voxels whose centres lie within
// half a pixel step (at least half a voxel) of the pixel's position on each
// display axis, as DisplayToVoxel places it.
TEST(ColourVolumes, ZoomBelowOneAveragesTheVoxelsUnderEachPixel)
{
    std::mt19937 rng(17);
    const int size[3] = {40, 33, 21};
    const auto volume = RandomVolume<Rgb>(size[0], size[1], size[2], {0.8f, 0.8f, 1.1f}, rng);
    const auto tiled = Tiled(*volume);
    ZelMPRImageGenerator generator;
    generator.SetImage(volume.get());
    long checked = 0;
    for (int i = 0; i < 48; ++i) {
        ZelMPRImageGeneratorParam p = mpr_test::RandomView(i, size, rng);
        p.rotation %= 4;
        p.zoom = 0.15f + p.zoom / 4;
        const int w = 4 + static_cast<int>(rng() % 20), h = 4 + static_cast<int>(rng() % 20);
        const auto call = [&](const ZelImage<Rgb>* v) {
            return [&, v](ZelImageBuffer* b) { return ZelIGConverter::ConvertZelImageRGB(b, v, p); };
        };
        const std::vector<int> got = Render(call(volume.get()), w, h, 3);
        ASSERT_EQ(Render(call(tiled.get()), w, h, 3), got) << "tiled, case " << i;
        ZelMPRAxes axes;
        ZelMPRComputeAxes(p, axes);
        float s[3], finest;
        ZelNormalisedSpacing(*volume, s, finest);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                Zel3DVector<float> voxel;
                generator.DisplayToVoxel(w, h, {static_cast<float>(x), static_cast<float>(y)}, voxel, p);
                const float v[3] = {voxel.x, voxel.y, voxel.z};
                int first[3], end[3];
                bool edge = false;
                for (int a = 0; a < 3; ++a) {
                    const double along = std::fabs(axes.right[a]) + std::fabs(axes.down[a]);
                    const double half = along > 0 ? std::max(1.0 / (s[a] * p.zoom), 1.0) / 2 : 0.0;
                    first[a] = static_cast<int>(std::ceil(v[a] - half));
                    end[a] = along > 0 ? static_cast<int>(std::ceil(v[a] + half)) : first[a] + 1;
                    edge = edge || (along > 0 && (std::fabs(v[a] - half - std::round(v[a] - half)) < 4e-3 ||
                                                  std::fabs(v[a] + half - std::round(v[a] + half)) < 4e-3));
                    first[a] = std::max(first[a], 0);
                    end[a] = std::min(end[a], size[a]);
                }
                if (edge) continue;
                for (int c = 0; c < 3; ++c) {
                    long sum = 0, count = 0;
                    for (int k = first[2]; k < end[2]; ++k)
                        for (int j = first[1]; j < end[1]; ++j)
                            for (int n = first[0]; n < end[0]; ++n, ++count) sum += Byte(*volume, n, j, k, c);
                    ASSERT_EQ(got[(static_cast<std::size_t>(y) * w + x) * 3 + c], count ? sum / count : 0)
                        << "case " << i << " pixel " << x << "," << y;
                }
                ++checked;
            }
    }
    EXPECT_GT(checked, 4000);
}

TEST(ColourVolumes, ColorImageJoinsColourAndAlpha)
{
    std::mt19937 rng(19);
    const auto colour = RandomVolume<Rgb>(18, 5, 17, {0.5f, 0.6f, 0.7f}, rng);
    const auto colourTiled = Tiled(*colour);
    const auto alpha = RandomVolume<unsigned char>(18, 5, 17, {1, 1, 1}, rng);
    const auto alphaTiled = Tiled(*alpha);
    for (const ZelImage<Rgb>* c : {colour.get(), colourTiled.get()})
        for (const ZelImage<unsigned char>* a : {alpha.get(), alphaTiled.get()}) {
            ZelImage<Rgba> joined;
            ASSERT_TRUE(ZelIGConverter::ConvertColorImage(&joined, c, a));
            EXPECT_EQ(joined.IsTiled(), c->IsTiled());
            EXPECT_EQ(joined.GetImageScale().z, 0.7f);
            for (int z = 0; z < 17; ++z)
                for (int y = 0; y < 5; ++y)
                    for (int x = 0; x < 18; ++x)
                        for (int k = 0; k < 4; ++k)
                            ASSERT_EQ(Byte(joined, x, y, z, k),
                                      k < 3 ? Byte(*colour, x, y, z, k) : Byte(*alpha, x, y, z, 0));
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
    const ZelImage<Rgba>* noRgba = nullptr;
    const float nan = std::nanf("");
    const auto mpr = [](auto change) {
        ZelMPRImageGeneratorParam p;
        p.rotationAngle = 0;
        change(p);
        return p;
    };
    ZelMPRImageGeneratorParam plain = mpr([](auto&) {});
    ZelMPRImageGeneratorParam plane3 = mpr([](auto& p) { p.plane = 3; });
    ZelMPRImageGeneratorParam zoom0 = mpr([](auto& p) { p.zoom = 0; });
    ZelMPRImageGeneratorParam nanCentre = mpr([&](auto& p) { p.center.y = nan; });
    ZelMPRImageGeneratorParam faraway = mpr([](auto& p) {
        p.center.y = 1e6f;
        p.interpolation = 0;
    });
    ZelObliqueImageGeneratorParam oblique;
    ZelObliqueImageGeneratorParam obliqueZoom0 = oblique;
    obliqueZoom0.zoom = 0;
    ZelObliqueImageGeneratorParam obliqueNan = oblique;
    obliqueNan.orientation.m[1][1] = nan;
    using C = ZelIGConverter;
    struct Case {
        const char* what;
        int depth;
        Call call;
    };
    const Case cases[] = {
        {"bicubic null volume", 3,
         [&](ZelImageBuffer* b) {
             return C::ConvertZelImageRGB_BiCubic(b, noRgb, {}, {1, 1, 1}, 1);
         }},
        {"bicubic depth 4", 4,
         [&](ZelImageBuffer* b) {
             return C::ConvertZelImageRGB_BiCubic(b, rgb.get(), {}, {1, 1, 1}, 1);
         }},
        {"bicubic spacing 0", 3,
         [&](ZelImageBuffer* b) {
             return C::ConvertZelImageRGB_BiCubic(b, rgb.get(), {}, {1, 0, 1}, 1);
         }},
        {"bicubic zoom NaN", 3,
         [&](ZelImageBuffer* b) {
             return C::ConvertZelImageRGB_BiCubic(b, rgb.get(), {}, {1, 1, 1}, nan);
         }},
        {"bicubic no voxels", 3,
         [&](ZelImageBuffer* b) {
             return C::ConvertZelImageRGB_BiCubic(b, &empty, {}, {1, 1, 1}, 1);
         }},
        {"rgb null volume", 3, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, noRgb, plain); }},
        {"rgb depth 4", 4, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, rgb.get(), plain); }},
        {"rgb plane 3", 3, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, rgb.get(), plane3); }},
        {"rgb zoom 0", 3, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, rgb.get(), zoom0); }},
        {"rgb centre NaN", 3, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, rgb.get(), nanCentre); }},
        {"rgb far away", 3, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, rgb.get(), faraway); }},
        {"rgb spacing 0", 3, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, flat.get(), plain); }},
        {"rgba null volume", 4, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGBA(b, noRgba, plain); }},
        {"rgba depth 3", 3, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGBA(b, rgba.get(), plain); }},
        {"oblique depth 4", 4, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, rgb.get(), oblique); }},
        {"oblique zoom 0", 3, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, rgb.get(), obliqueZoom0); }},
        {"oblique NaN matrix", 3, [&](ZelImageBuffer* b) { return C::ConvertZelImageRGB(b, rgb.get(), obliqueNan); }},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(Render(c.call, 7, 3, c.depth).empty()) << c.what;
        EXPECT_FALSE(c.call(nullptr)) << c.what;
    }

    // The join refuses mismatched sizes and leaves the destination as it was.
    ZelImage<Rgba> destination;
    ASSERT_EQ(destination.Allocate(ZEL_ALIGNMENT_LINEAR, 2, 2, 2), 0);
    destination.GetDataPtr()[3] = {1, 2, 3, 4};
    const auto alpha = RandomVolume<unsigned char>(6, 5, 3, {1, 1, 1}, rng);
    const ZelImage<unsigned char> noAlpha;
    EXPECT_FALSE(C::ConvertColorImage(&destination, rgb.get(), alpha.get()));
    EXPECT_FALSE(C::ConvertColorImage(&destination, rgb.get(), nullptr));
    EXPECT_FALSE(C::ConvertColorImage(&destination, &empty, &noAlpha));
    EXPECT_EQ(destination.GetImageSize().x, 2);
    EXPECT_EQ(destination.GetDataPtr()[3].a, 4);
}

}  // namespace
