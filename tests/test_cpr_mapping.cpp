// The coordinate mappings agree with the generated pixels: a display point
// maps to the voxel whose sample is the pixel's value; a path position maps
// to the pixel showing the path and back; the oblique cross-section at a path
// position runs along the very line of the picture; the projection display
// shows the path where its mapping says.
#include <gtest/gtest.h>

#include <cmath>

#include "test_cpr_helpers.h"

using namespace cpr_test;

namespace {

using V3 = Zel3DVector<float>;

struct Scene {
    std::unique_ptr<ZelImage<short>> volume = SmoothVolume(40, 36, 30, {0.8f, 0.8f, 1.2f});
    ZelPath path;
    ZelCPRImageGenerator generator;
    Scene()
    {
        path.SetPoints(WindingPath(volume->GetImageSize(), 6));
        generator.SetImage(volume.get());
    }
    // The volume's sample at a voxel position the generator reported.
    int Sample(const V3& voxel, int interpolation) const
    {
        const std::int64_t p[3] = {std::llround(voxel.x * 32768.0), std::llround(voxel.y * 32768.0),
                                   std::llround(voxel.z * 32768.0)};
        if (interpolation == 1) return ReferenceSample(*volume, p);
        return Voxel(*volume, RoundShift(p[0], 15), RoundShift(p[1], 15), RoundShift(p[2], 15));
    }
    // The path at a position, in voxels.
    V3 PathVoxel(const ZelCPRImageGeneratorParam& p, float position) const
    {
        const bool planes = p.construction == ZEL_CPR_STRAIGHT && p.layout != ZEL_CPR_LAYOUT_PROJECTION;
        const V3 a = planes ? p.pathPlane.GetPlaneData(position).position : p.curve.Evaluate(position);
        const V3 s = path.GetAspect();
        return {a.x / s.x, a.y / s.y, a.z / s.z};
    }
};

double Distance(const V3& a, const V3& b)
{
    return std::sqrt(double(a.x - b.x) * (a.x - b.x) + double(a.y - b.y) * (a.y - b.y) +
                     double(a.z - b.z) * (a.z - b.z));
}

TEST(CprMapping, AgreesWithPixels)
{
    Scene scene;
    const int width = 41, height = 37;
    const struct {
        int construction, layout, interpolation, centerColumn, offset;
    } rows[] = {{ZEL_CPR_STRAIGHT, 0, 1, 0, 0}, {ZEL_CPR_STRAIGHT, 1, 0, 3, 0}, {ZEL_CPR_FIXED, 1, 1, 0, 2},
                {ZEL_CPR_FIXED, 0, 0, -2, 0},   {ZEL_CPR_STRETCH, 1, 1, 0, 0},  {ZEL_CPR_STRETCH, 0, 1, 5, -1}};
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << "construction " << r.construction << " layout " << r.layout);
        ZelCPRImageGeneratorParam p;
        p.pathPlane.SetPath(&scene.path);
        p.construction = r.construction;
        p.layout = r.layout;
        p.interpolation = r.interpolation;
        p.centerColumn = r.centerColumn;
        p.slabOffset = r.offset;
        p.scale = 1.3f;
        p.direction = {0.0f, 0.6f, 0.8f};
        p.backgroundValue = -3000;
        std::unique_ptr<ZelImageBase> image(scene.generator.GenerateImage(width, height, p, true));
        ASSERT_TRUE(image);
        const std::vector<short> pixels = Pixels<short>(*image);

        // Every pixel whose voxel lies inside shows that voxel's sample.
        int inside = 0;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                V3 voxel;
                if (!scene.generator.DisplayToVoxel(width, height, {float(x), float(y)}, voxel, p)) continue;
                ++inside;
                ASSERT_EQ(pixels[y * width + x], scene.Sample(voxel, r.interpolation)) << x << "," << y;
            }
        EXPECT_GT(inside, width * height / 4);

        // Every valid line shows its path point where PathToDisplay says, and
        // DisplayToPath takes that display point back to the position.
        int lines = 0;
        for (const ZelCPRRenderingPoint& record : p.renderingPoints) {
            if (!record.valid) continue;
            Zel2DVector<float> display;
            if (!scene.generator.PathToDisplay(width, height, record.position, display, p)) continue;
            ++lines;
            const float across = r.layout == 0 ? display.x : display.y;
            EXPECT_NEAR(across, float(&record - p.renderingPoints.data()), 1e-3);
            const int n = r.layout == 0 ? height : width;
            if (r.construction != ZEL_CPR_STRETCH) {
                EXPECT_NEAR(r.layout == 0 ? display.y : display.x, (n - 1) * 0.5f + r.centerColumn, 1e-2);
            }
            V3 voxel;
            scene.generator.DisplayToVoxel(width, height, display, voxel, p);
            if (r.offset == 0) {
                EXPECT_LT(Distance(voxel, scene.PathVoxel(p, record.position)), 1e-2);
            }
            float position;
            ASSERT_TRUE(scene.generator.DisplayToPath(width, height, display, position, p));
            EXPECT_NEAR(position, record.position, 1e-5);
            // Halfway to the next line, halfway along the path.
            Zel2DVector<float> between = display;
            (r.layout == 0 ? between.x : between.y) += 0.5f;
            const std::size_t next = static_cast<std::size_t>(&record - p.renderingPoints.data()) + 1;
            if (next < p.renderingPoints.size() && p.renderingPoints[next].valid &&
                scene.generator.DisplayToPath(width, height, between, position, p)) {
                EXPECT_NEAR(position, 0.5f * (record.position + p.renderingPoints[next].position), 1e-5);
            }
        }
        EXPECT_GT(lines, 10);
    }
}

// The cross-section at a path position runs along the line that shows it:
// the oblique picture's middle row samples the line's positions.
TEST(CprMapping, ObliqueCrossSectionFollowsTheLine)
{
    Scene scene;
    const int width = 41, height = 33;
    for (int construction : {ZEL_CPR_STRAIGHT, ZEL_CPR_FIXED}) {
        ZelCPRImageGeneratorParam p;
        p.pathPlane.SetPath(&scene.path);
        p.construction = construction;
        p.layout = ZEL_CPR_LAYOUT_ROWS;
        p.scale = 1.1f;
        p.direction = {1.0f, 0.0f, 0.0f};
        p.slabOffset = 0;
        std::unique_ptr<ZelImageBase> image(scene.generator.GenerateImage(width, height, p, true));
        ASSERT_TRUE(image);
        const std::vector<short> pixels = Pixels<short>(*image);
        ZelObliqueImageGenerator oblique;
        oblique.SetImage(scene.volume.get());
        for (int line = 0; line < height; line += 4) {
            const ZelCPRRenderingPoint& record = p.renderingPoints[static_cast<std::size_t>(line)];
            if (!record.valid) continue;
            ZelObliqueImageGeneratorParam cut;
            ASSERT_TRUE(scene.generator.PathToOblique(width, height, record.position, cut, p));
            std::unique_ptr<ZelImageBase> section(oblique.GenerateImage(width, 5, cut));
            ASSERT_TRUE(section);
            const std::vector<short> row = Pixels<short>(*section);
            for (int x = 0; x < width; ++x) {
                V3 a, b;
                const bool inA = scene.generator.DisplayToVoxel(width, height, {float(x), float(line)}, a, p);
                oblique.DisplayToVoxel(width, 5, {float(x), 2.0f}, b, cut);
                EXPECT_LT(Distance(a, b), 2e-3) << "line " << line << " pixel " << x;
                if (inA) {
                    EXPECT_NEAR(row[2 * width + x], pixels[line * width + x], 1) << "line " << line;
                }
            }
        }
    }
}

// The projection display: each crossed row shows the curve where
// PathToDisplay puts it, pixels show the samples DisplayToVoxel names, and
// the oblique plane of the view through a path point maps the screen alike.
TEST(CprMapping, ProjectionDisplay)
{
    Scene scene;
    const int width = 48, height = 44;
    ZelCPRImageGeneratorParam p;
    p.pathPlane.SetPath(&scene.path);
    p.layout = ZEL_CPR_LAYOUT_PROJECTION;
    p.scale = 1.0f;
    // A coronal view turned about the vertical: right (c, s, 0), down -z.
    const float c = std::cos(0.4f), s = std::sin(0.4f);
    p.view = ZelMatrix3x3<float>{{{c, 0, -s}, {s, 0, c}, {0, -1, 0}}};
    p.backgroundValue = -3000;
    p.slabOffset = 0;
    std::unique_ptr<ZelImageBase> image(scene.generator.GenerateImage(width, height, p, true));
    ASSERT_TRUE(image);
    const std::vector<short> pixels = Pixels<short>(*image);
    int rowsShown = 0;
    for (int y = 0; y < height; ++y) {
        bool any = false;
        for (int x = 0; x < width; ++x) {
            V3 voxel;
            if (!scene.generator.DisplayToVoxel(width, height, {float(x), float(y)}, voxel, p)) continue;
            any = true;
            ASSERT_EQ(pixels[y * width + x], scene.Sample(voxel, 1)) << x << "," << y;
        }
        rowsShown += any;
    }
    EXPECT_GT(rowsShown, height / 3);
    int onScreen = 0;
    for (int k = 0; k <= 20; ++k) {
        const float t = k / 20.0f;
        Zel2DVector<float> display;
        if (!scene.generator.PathToDisplay(width, height, t, display, p)) continue;
        ++onScreen;
        V3 voxel, onPlane;
        ASSERT_TRUE(scene.generator.DisplayToVoxel(width, height, display, voxel, p));
        const V3 point = scene.PathVoxel(p, t);
        EXPECT_LT(Distance(voxel, point), 1.5) << t;
        ZelObliqueImageGeneratorParam cut;
        ASSERT_TRUE(scene.generator.PathToOblique(width, height, t, cut, p));
        ZelObliqueImageGenerator oblique;
        oblique.SetImage(scene.volume.get());
        oblique.DisplayToVoxel(width, height, display, onPlane, cut);
        EXPECT_LT(Distance(onPlane, point), 1e-2) << t;
    }
    EXPECT_GT(onScreen, 10);
}

}  // namespace
