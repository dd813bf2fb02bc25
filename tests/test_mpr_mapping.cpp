// MPR parameters, in-image axes and the display <-> voxel mappings.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "ZelImage.h"
#include "ZelMPRImageGenerator.h"
#include "generators/mpr_geometry.h"

namespace {

struct Vec {
    double x, y, z;
};

TEST(MPRMapping, ParamDefaults)
{
    const ZelMPRImageGeneratorParam p;
    EXPECT_EQ(p.slicePosition.x, 0);
    EXPECT_EQ(p.slicePosition.y, 0);
    EXPECT_EQ(p.slicePosition.z, 0);
    EXPECT_EQ(p.center.x, 0.0f);
    EXPECT_EQ(p.center.y, 0.0f);
    EXPECT_EQ(p.center.z, 0.0f);
    EXPECT_EQ(p.zoom, 1.0f);
    EXPECT_EQ(p.backgroundValue, 0);
    EXPECT_EQ(p.rotation, 0);
    EXPECT_EQ(p.plane, 0);
    EXPECT_FALSE(p.flipHorizontal);
    EXPECT_FALSE(p.flipVertical);
    EXPECT_EQ(p.interpolation, 1);
}

TEST(MPRMapping, SnapIsAsymmetric)
{
    const double rows[][2] = {{0.5, 1},    {-0.5, 0},  {-0.5000001, -1}, {0.4999999, 0}, {1e-17, 0},
                              {-1e-17, 0}, {0.999, 1}, {-0.999, -1},     {-1.0, -1}};
    for (const auto& r : rows) EXPECT_EQ(ZelMPRSnap(r[0]), r[1]) << r[0];
}

// Right-angle rotations and flips give exact axis vectors.
TEST(MPRMapping, AxesOfRightAngles)
{
    struct Row {
        int plane, rotation;
        bool flipH, flipV;
        Vec right, down;
    };
    const Row rows[] = {
        {0, 0, false, false, {0, 1, 0}, {0, 0, 1}},   {1, 0, false, false, {1, 0, 0}, {0, 0, 1}},
        {2, 0, false, false, {1, 0, 0}, {0, 1, 0}},   {2, 1, false, false, {0, 1, 0}, {-1, 0, 0}},
        {2, 2, false, false, {-1, 0, 0}, {0, -1, 0}}, {2, 3, false, false, {0, -1, 0}, {1, 0, 0}},
        {2, 1, true, false, {0, -1, 0}, {-1, 0, 0}},  {2, 1, false, true, {0, 1, 0}, {1, 0, 0}},
        {0, 1, false, false, {0, 0, 1}, {0, -1, 0}},  {1, 1, false, false, {0, 0, 1}, {-1, 0, 0}},
        {1, 0, true, true, {-1, 0, 0}, {0, 0, -1}},   {0, 9, false, false, {0, 1, 0}, {0, 0, 1}},
        {1, -3, false, true, {1, 0, 0}, {0, 0, -1}},
    };
    for (const Row& r : rows) {
        ZelMPRImageGeneratorParam p;
        p.plane = r.plane;
        p.rotation = r.rotation;
        p.flipHorizontal = r.flipH;
        p.flipVertical = r.flipV;
        ZelMPRAxes axes;
        ASSERT_TRUE(ZelMPRComputeAxes(p, axes));
        const double want[2][3] = {{r.right.x, r.right.y, r.right.z}, {r.down.x, r.down.y, r.down.z}};
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(axes.right[i], want[0][i]) << "plane " << r.plane << " rotation " << r.rotation << " axis " << i;
            EXPECT_EQ(axes.down[i], want[1][i]) << "plane " << r.plane << " rotation " << r.rotation << " axis " << i;
        }
        EXPECT_EQ(axes.normalAxis, r.plane);
    }
}

// Free rotation is not snapped: a quarter turn leaves rounding noise where
// the snapped axes hold exact zeros.
TEST(MPRMapping, FreeRotationIsNotSnapped)
{
    ZelMPRImageGeneratorParam p;
    p.plane = 2;
    p.rotation = 4;
    p.rotationAngle = static_cast<float>(M_PI / 2);
    ZelMPRAxes axes;
    ASSERT_TRUE(ZelMPRComputeAxes(p, axes));
    EXPECT_NEAR(axes.right[1], 1.0, 1e-6);
    EXPECT_NEAR(axes.down[0], -1.0, 1e-6);
    EXPECT_NE(axes.right[0], 0.0);
    EXPECT_NE(axes.down[1], 0.0);
}

class MPRMappingVolume : public ::testing::Test {
protected:
    void Use(int sx, int sy, int sz, Zel3DVector<float> scale)
    {
        ASSERT_EQ(volume.Allocate(0, sx, sy, sz), 0);
        volume.SetImageScale(scale);
        generator.SetImage(&volume);
    }
    ZelImage<short> volume;
    ZelMPRImageGenerator generator;
};

TEST_F(MPRMappingVolume, KnownPositions)
{
    Use(100, 100, 100, {1, 1, 1});
    struct Row {
        int plane;
        float zoom;
        Zel3DVector<float> center;
        Zel2DVector<float> display;
        Vec voxel;
        bool inside;
    };
    const Row rows[] = {
        {0, 1, {0, 0, 0}, {49.5f, 49.5f}, {0, 0, 0}, true},
        {0, 1, {0, 0, 0}, {0, 0}, {0, -49.5, -49.5}, false},
        {2, 1, {50, 60, 0}, {49.5f, 49.5f}, {50, 60, 0}, true},
        {2, 2, {50, 60, 0}, {59.5f, 39.5f}, {55, 55, 0}, true},
        {1, 0.5f, {10, 0, 20}, {48.5f, 50.5f}, {8, 0, 22}, true},
        {2, 1, {49.5f, 49.5f, 0}, {99, 99}, {99, 99, 0}, true},  // the last pixel counts as inside
        {2, 1, {49.5f, 49.5f, 0}, {99.5f, 99}, {99.5, 99, 0}, false},
    };
    for (const Row& r : rows) {
        ZelMPRImageGeneratorParam p;
        p.plane = r.plane;
        p.zoom = r.zoom;
        p.center = r.center;
        Zel3DVector<float> v{-7, -7, -7};
        EXPECT_EQ(generator.DisplayToVoxel(100, 100, r.display, v, p), r.inside);
        EXPECT_FLOAT_EQ(v.x, static_cast<float>(r.voxel.x));
        EXPECT_FLOAT_EQ(v.y, static_cast<float>(r.voxel.y));
        EXPECT_FLOAT_EQ(v.z, static_cast<float>(r.voxel.z));
    }
}

// Spacing (0.5, 0.5, 2): one display pixel down a plane-0 image moves a
// quarter voxel in z.
TEST_F(MPRMappingVolume, AnisotropicSpacing)
{
    Use(20, 20, 20, {0.5f, 0.5f, 2.0f});
    ZelMPRImageGeneratorParam p;
    p.center = {5, 5, 5};
    Zel3DVector<float> a, b;
    generator.DisplayToVoxel(10, 10, {3, 3}, a, p);
    generator.DisplayToVoxel(10, 10, {3, 4}, b, p);
    EXPECT_FLOAT_EQ(b.z - a.z, 0.25f);
    EXPECT_FLOAT_EQ(b.y - a.y, 0.0f);
}

TEST_F(MPRMappingVolume, NanIsOutside)
{
    Use(20, 20, 20, {1, 1, 1});
    ZelMPRImageGeneratorParam p;
    p.center = {5, std::nanf(""), 5};
    Zel3DVector<float> v;
    EXPECT_FALSE(generator.DisplayToVoxel(10, 10, {3, 3}, v, p));
}

TEST_F(MPRMappingVolume, InvalidPlaneIsRefused)
{
    Use(4, 4, 4, {1, 1, 1});
    ZelMPRImageGeneratorParam p;
    p.plane = 3;
    Zel3DVector<float> v;
    Zel2DVector<float> d;
    std::vector<Zel2DVector<float>> list;
    EXPECT_FALSE(generator.DisplayToVoxel(4, 4, {1, 1}, v, p));
    EXPECT_FALSE(generator.VoxelToDisplay(4, 4, {1, 1, 1}, d, p));
    EXPECT_FALSE(generator.VoxelToDisplay(4, 4, {{1, 1, 1}}, list, p));
}

// VoxelToDisplay(DisplayToVoxel(p)) == p for any view: exactly when every
// number involved is a short binary fraction, to float rounding otherwise.
TEST_F(MPRMappingVolume, RoundTrips)
{
    Use(37, 29, 23, {0.7f, 0.9f, 1.3f});
    std::mt19937 rng(5);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (int i = 0; i < 4000; ++i) {
        ZelMPRImageGeneratorParam p;
        const bool exact = i % 2 == 0;
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
        if (exact) {
            // Exact arithmetic needs s = 1 on the plane's axes.
            volume.SetImageScale({1, 1, 1});
        } else {
            volume.SetImageScale({0.7f, 0.9f, 1.3f});
        }
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
    }
}

// The list form resizes its output and agrees with the single form; it
// tests no bounds.
TEST_F(MPRMappingVolume, ListFormAgreesWithSingleForm)
{
    Use(37, 29, 23, {0.7f, 0.9f, 1.3f});
    ZelMPRImageGeneratorParam p;
    p.plane = 1;
    p.rotation = 4;
    p.rotationAngle = 0.3f;
    p.zoom = 1.7f;
    p.center = {10, 11, 12};
    const std::vector<Zel3DVector<float>> voxels = {{0, 0, 0}, {10, 11, 12}, {-500, 3, 900}, {36, 28, 22}};
    std::vector<Zel2DVector<float>> displays(9, Zel2DVector<float>{1, 1});
    EXPECT_TRUE(generator.VoxelToDisplay(64, 48, voxels, displays, p));
    ASSERT_EQ(displays.size(), voxels.size());
    for (std::size_t i = 0; i < voxels.size(); ++i) {
        Zel2DVector<float> single;
        generator.VoxelToDisplay(64, 48, voxels[i], single, p);
        EXPECT_EQ(displays[i].x, single.x);
        EXPECT_EQ(displays[i].y, single.y);
    }
    // The slice index plays no part: moving along the normal changes nothing.
    Zel2DVector<float> a, b;
    generator.VoxelToDisplay(64, 48, {3, 4, 5}, a, p);
    generator.VoxelToDisplay(64, 48, {3, 40, 5}, b, p);
    EXPECT_EQ(a.x, b.x);
    EXPECT_EQ(a.y, b.y);
}

}  // namespace
