// MPR parameters, in-image axes and the display <-> voxel mappings.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "ZelImage.h"
#include "ZelMPRImageGenerator.h"
#include "generators/mpr_geometry.h"
#include "mpr_reference.h"

namespace {

TEST(MPRMapping, ParamDefaultsAndSnap)
{
    const ZelMPRImageGeneratorParam p;
    EXPECT_TRUE(p.slicePosition.x == 0 && p.slicePosition.y == 0 && p.slicePosition.z == 0 && p.center.x == 0 &&
                p.center.y == 0 && p.center.z == 0 && p.zoom == 1.0f && p.backgroundValue == 0 && p.rotation == 0 &&
                p.plane == 0 && !p.flipHorizontal && !p.flipVertical && p.interpolation == 1);
    // The snapping thresholds are asymmetric: 0.5 snaps to 1, -0.5 to 0.
    const double rows[][2] = {{0.5, 1}, {-0.5, 0}, {-0.5000001, -1}, {0.4999999, 0}, {1e-17, 0}, {-0.999, -1}};
    for (const auto& r : rows) EXPECT_EQ(ZelMPRSnap(r[0]), r[1]) << r[0];
}

// Right-angle rotations and flips give exact axis vectors; free rotation is
// not snapped, so a quarter turn leaves rounding noise where they hold zeros.
TEST(MPRMapping, Axes)
{
    // plane, rotation, flip horizontal, flip vertical, right (x, y, z), down (x, y, z)
    const int rows[][10] = {
        {0, 0, 0, 0, 0, 1, 0, 0, 0, 1},   {1, 0, 0, 0, 1, 0, 0, 0, 0, 1},   {2, 0, 0, 0, 1, 0, 0, 0, 1, 0},
        {2, 1, 0, 0, 0, 1, 0, -1, 0, 0},  {2, 2, 0, 0, -1, 0, 0, 0, -1, 0}, {2, 3, 0, 0, 0, -1, 0, 1, 0, 0},
        {2, 1, 1, 0, 0, -1, 0, -1, 0, 0}, {2, 1, 0, 1, 0, 1, 0, 1, 0, 0},   {0, 1, 0, 0, 0, 0, 1, 0, -1, 0},
        {1, 1, 0, 0, 0, 0, 1, -1, 0, 0},  {1, 0, 1, 1, -1, 0, 0, 0, 0, -1}, {0, 9, 0, 0, 0, 1, 0, 0, 0, 1},
        {1, -3, 0, 1, 1, 0, 0, 0, 0, -1},
    };
    ZelMPRImageGeneratorParam p;
    ZelMPRAxes axes;
    for (const auto& r : rows) {
        p.plane = r[0];
        p.rotation = r[1];
        p.flipHorizontal = r[2];
        p.flipVertical = r[3];
        ASSERT_TRUE(ZelMPRComputeAxes(p, axes));
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(axes.right[i], r[4 + i]) << "plane " << r[0] << " rotation " << r[1] << " axis " << i;
            EXPECT_EQ(axes.down[i], r[7 + i]) << "plane " << r[0] << " rotation " << r[1] << " axis " << i;
        }
        EXPECT_EQ(axes.normalAxis, r[0]);
    }
    p = ZelMPRImageGeneratorParam();
    p.plane = 2;
    p.rotation = 4;
    p.rotationAngle = static_cast<float>(M_PI / 2);
    ASSERT_TRUE(ZelMPRComputeAxes(p, axes));
    EXPECT_TRUE(std::fabs(axes.right[1] - 1) < 1e-6 && std::fabs(axes.down[0] + 1) < 1e-6 && axes.right[0] != 0 &&
                axes.down[1] != 0);
}

TEST(MPRMapping, KnownPositions)
{
    struct Row {
        Zel3DVector<float> scale;
        int plane;
        float zoom;
        Zel3DVector<float> center;
        Zel2DVector<float> display;
        Zel3DVector<float> voxel;
        bool inside;
    };
    const Row rows[] = {
        {{1, 1, 1}, 0, 1, {0, 0, 0}, {49.5f, 49.5f}, {0, 0, 0}, true},
        {{1, 1, 1}, 0, 1, {0, 0, 0}, {0, 0}, {0, -49.5f, -49.5f}, false},
        {{1, 1, 1}, 2, 1, {50, 60, 0}, {49.5f, 49.5f}, {50, 60, 0}, true},
        {{1, 1, 1}, 2, 2, {50, 60, 0}, {59.5f, 39.5f}, {55, 55, 0}, true},
        {{1, 1, 1}, 1, 0.5f, {10, 0, 20}, {48.5f, 50.5f}, {8, 0, 22}, true},
        {{1, 1, 1}, 2, 1, {49.5f, 49.5f, 0}, {99, 99}, {99, 99, 0}, true},  // the last voxel counts as inside
        {{1, 1, 1}, 2, 1, {49.5f, 49.5f, 0}, {99.5f, 99}, {99.5f, 99, 0}, false},
        // Spacing (0.5, 0.5, 2): a display pixel down a plane-0 view is a quarter voxel in z.
        {{0.5f, 0.5f, 2}, 0, 1, {5, 5, 5}, {49.5f, 53.5f}, {0, 5, 6}, true},
    };
    ZelImage<short> volume;
    ASSERT_EQ(volume.Allocate(0, 100, 100, 100), 0);
    ZelMPRImageGenerator generator;
    generator.SetImage(&volume);
    for (const Row& r : rows) {
        volume.SetImageScale(r.scale);
        ZelMPRImageGeneratorParam p;
        p.plane = r.plane;
        p.zoom = r.zoom;
        p.center = r.center;
        Zel3DVector<float> v{-7, -7, -7};
        EXPECT_EQ(generator.DisplayToVoxel(100, 100, r.display, v, p), r.inside);
        EXPECT_TRUE(v.x == r.voxel.x && v.y == r.voxel.y && v.z == r.voxel.z) << r.display.x << "," << r.display.y;
    }
    ZelMPRImageGeneratorParam p;
    p.center = {5, std::nanf(""), 5};
    Zel3DVector<float> v;
    EXPECT_FALSE(generator.DisplayToVoxel(10, 10, {3, 3}, v, p));  // NaN lies outside
    p.plane = 3;
    Zel2DVector<float> d;
    std::vector<Zel2DVector<float>> list;
    EXPECT_FALSE(generator.DisplayToVoxel(4, 4, {1, 1}, v, p));
    EXPECT_FALSE(generator.VoxelToDisplay(4, 4, {1, 1, 1}, d, p));
    EXPECT_FALSE(generator.VoxelToDisplay(4, 4, {{1, 1, 1}}, list, p));
}

// VoxelToDisplay(DisplayToVoxel(p)) == p for any view: exactly when every
// number involved is a short binary fraction, to float rounding otherwise.
// The list form gives the single form's results without a range test, and
// moving a voxel along the plane's normal does not move it on the display.
TEST(MPRMapping, RoundTrips)
{
    ZelImage<short> volume;
    ASSERT_EQ(volume.Allocate(0, 37, 29, 23), 0);
    ZelMPRImageGenerator generator;
    generator.SetImage(&volume);
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int i = 0; i < 4000; ++i) {
        ZelMPRImageGeneratorParam p;
        const bool exact = i % 2 == 0;
        // Exact arithmetic needs s = 1 on the plane's axes.
        volume.SetImageScale(exact ? Zel3DVector<float>{1, 1, 1} : Zel3DVector<float>{0.7f, 0.9f, 1.3f});
        p.plane = static_cast<int>(rng() % 3);
        p.rotation = static_cast<int>(rng() % (exact ? 4 : 5));
        p.rotationAngle = unit(rng) * 12 - 6;
        p.flipHorizontal = rng() % 2;
        p.flipVertical = rng() % 2;
        p.zoom = exact ? std::ldexp(1.0f, static_cast<int>(rng() % 5) - 2) : 0.2f + 4 * unit(rng);
        p.center = {unit(rng) * 40, unit(rng) * 40, unit(rng) * 40};
        if (exact) p.center = {std::round(p.center.x * 4) / 4, std::round(p.center.y * 4) / 4, std::round(p.center.z)};
        p.slicePosition = {static_cast<int>(rng() % 40), static_cast<int>(rng() % 40), static_cast<int>(rng() % 40)};
        const int w = 1 + static_cast<int>(rng() % 600), h = 1 + static_cast<int>(rng() % 600);
        Zel2DVector<float> display{unit(rng) * w, unit(rng) * h};
        if (exact) display = {std::round(display.x * 2) / 2, std::round(display.y * 2) / 2};
        Zel3DVector<float> voxel;
        Zel2DVector<float> back{-1, -1};
        generator.DisplayToVoxel(w, h, display, voxel, p);
        const bool shown = generator.VoxelToDisplay(w, h, voxel, back, p);
        EXPECT_EQ(shown, back.x >= 0 && back.x <= w - 1 && back.y >= 0 && back.y <= h - 1);
        if (exact) {
            ASSERT_EQ(back.x, display.x) << i;
            ASSERT_EQ(back.y, display.y) << i;
        } else {
            ASSERT_NEAR(back.x, display.x, 2e-3f * (1 + p.zoom)) << i;
            ASSERT_NEAR(back.y, display.y, 2e-3f * (1 + p.zoom)) << i;
        }
        float* normal = p.plane == 0 ? &voxel.x : p.plane == 1 ? &voxel.y : &voxel.z;
        *normal += 500;
        std::vector<Zel2DVector<float>> list(3);
        ASSERT_TRUE(generator.VoxelToDisplay(w, h, {voxel, {-500, 3, 900}}, list, p));
        ASSERT_EQ(list.size(), 2u);
        EXPECT_TRUE(list[0].x == back.x && list[0].y == back.y) << i;
    }
}

// Every pixel shows the voxel that DisplayToVoxel names for it: the nearest
// voxel for right-angle rotations, the one at floor(position) for free
// rotation, the background where that voxel lies outside. Every voxel holds
// a value of its own, so a pixel taken from a neighbour is caught. Positions
// within the walk's fixed-point error of a rounding edge may go either way
// and are skipped.
TEST(MPRMapping, PixelsShowTheMappedVoxel)
{
    const int size[3] = {21, 17, 13};
    ZelImage<unsigned short> linear;
    ASSERT_EQ(linear.Allocate(ZEL_ALIGNMENT_LINEAR, size[0], size[1], size[2]), 0);
    for (int i = 0; i < size[0] * size[1] * size[2]; ++i) linear.GetDataPtr()[i] = static_cast<unsigned short>(i + 1);
    std::unique_ptr<ZelImageBase> tiled(linear.Clone(ZEL_ALIGNMENT_TILED));
    std::mt19937 rng(9);
    long checked = 0;
    for (int i = 0; i < 300; ++i) {
        ZelImageBase& volume = i % 2 ? *tiled : linear;
        volume.SetImageScale(i % 3 ? Zel3DVector<float>{0.7f, 0.9f, 1.3f} : Zel3DVector<float>{1, 1, 1});
        ZelMPRImageGeneratorParam p = mpr_test::RandomView(i, size, rng);
        const int w = 5 + static_cast<int>(rng() % 40), h = 5 + static_cast<int>(rng() % 40);
        ZelMPRImageGenerator generator;
        generator.SetImage(&volume);
        std::unique_ptr<ZelImageBase> image(generator.GenerateImage(w, h, p));
        ASSERT_TRUE(image);
        const auto* pixels = static_cast<const unsigned short*>(image->GetVoidDataPtr());
        const bool free = p.rotation == ZEL_MPR_ROTATION_FREE;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                Zel3DVector<float> v;
                generator.DisplayToVoxel(w, h, {static_cast<float>(x), static_cast<float>(y)}, v, p);
                const float position[3] = {v.x, v.y, v.z};
                int voxel[3];
                bool edge = false, inside = true;
                for (int a = 0; a < 3; ++a) {
                    const float q = free ? position[a] : position[a] + 0.5f;
                    voxel[a] = static_cast<int>(std::floor(q));
                    edge = edge || std::fabs(q - std::round(q)) < 4e-3f;
                    inside = inside && voxel[a] >= 0 && voxel[a] < size[a];
                }
                if (edge) continue;
                const int want = inside ? (voxel[2] * size[1] + voxel[1]) * size[0] + voxel[0] + 1 : 0;
                ASSERT_EQ(pixels[y * w + x], want) << "case " << i << " pixel " << x << "," << y;
                ++checked;
            }
    }
    EXPECT_GT(checked, 100000);
}

}  // namespace
