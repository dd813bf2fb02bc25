// Curved reformation images: every routine (nearest for each voxel type,
// interpolated, offset, the slab workers; linear and tiled; lines as columns
// and rows; vector and scalar) against a plain per-pixel reference, the
// background and band rules, and the refusals.
#include <gtest/gtest.h>

#include "generators/dispatch.h"
#include "test_cpr_helpers.h"
#include "test_refusal.h"

using namespace cpr_test;

namespace {

struct Case {
    int type;  // voxel type code
    bool tiled;
    int layout, interpolation, slabMode, samples, offset;
    bool band;
};

template <class T>
void CheckCase(const ZelImage<T>& linear, const Case& c, std::mt19937& rng)
{
    std::unique_ptr<ZelImage<T>> tiled(linear.Clone(ZEL_ALIGNMENT_TILED));
    const ZelImage<T>& volume = c.tiled ? *tiled : linear;
    const int width = 37, height = 29;
    const int lines = c.layout == 0 ? width : height;
    ZelCPRImageGeneratorParam p;
    p.layout = c.layout;
    // A few lines have no record: they are background.
    p.renderingPoints = RandomRecords(rng, volume.GetImageSize(), lines - 3);
    p.interpolation = c.interpolation;
    p.slabMode = c.slabMode;
    p.slabSampleCount = c.samples;
    p.slabOffset = c.offset;
    p.backgroundValue = static_cast<short>(static_cast<int>(rng() % 2000) - 1000);
    p.bandEnabled = c.band;
    p.bandWidth = 17;
    p.rowBandCenter = 3;
    p.columnBandCenter = -4;
    const std::vector<T> expected = ReferenceImage(volume, p, width, height);
    for (ZelSimd cap : {ZelSimd::kAvx2, ZelSimd::kScalar}) {
        ZelSimdCapScope scope(cap);
        ZelCPRImageGenerator g;
        g.SetImage(const_cast<ZelImage<T>*>(&volume));
        std::unique_ptr<ZelImageBase> image(g.GenerateImage(width, height, p, false));
        ASSERT_TRUE(image);
        EXPECT_EQ(Pixels<T>(*image), expected)
            << "type " << c.type << " tiled " << c.tiled << " layout " << c.layout << " interpolation "
            << c.interpolation << " mode " << c.slabMode << " samples " << c.samples << " offset " << c.offset
            << " band " << c.band << " vector " << (cap == ZelSimd::kAvx2);
    }
}

TEST(CprImage, RoutinesMatchReference)
{
    auto bytes = MakeVolume<unsigned char>(23, 19, 17, {0.8f, 0.8f, 1.1f}, 31);
    auto words = MakeVolume<unsigned short>(23, 19, 17, {0.8f, 0.8f, 1.1f}, 32);
    auto shorts = MakeVolume<short>(23, 19, 17, {0.8f, 0.8f, 1.1f}, 33);
    const Case cases[] = {
        // Nearest: every type; unsigned volumes ignore interpolation, slab and offset.
        {1, false, 0, 1, 1, 5, 2, false},
        {1, true, 1, 0, 0, 0, 0, true},
        {3, false, 1, 1, 3, 4, -1, true},
        {3, true, 0, 0, 0, 0, 0, false},
        {4, false, 0, 0, 1, 5, 3, false},
        {4, true, 1, 0, 0, 0, 0, true},
        // Interpolated thin lines, moved backwards and forwards.
        {4, false, 1, 1, 0, 0, 0, false},
        {4, true, 0, 1, 0, 0, 0, true},
        {4, false, 0, 1, 0, 7, -2, false},
        {4, true, 1, 1, 2, 1, 3, false},
        // Slabs: maximum, minimum, average, and the weighted offset slab.
        {4, false, 1, 1, 1, 5, 0, false},
        {4, true, 0, 1, 1, 21, 0, true},
        {4, false, 0, 1, 2, 4, 0, true},
        {4, true, 1, 1, 2, 9, 0, false},
        {4, false, 1, 1, 3, 2, 0, false},
        {4, true, 0, 1, 3, 6, 0, false},
        {4, false, 1, 1, 3, 5, 2, true},
        {4, true, 0, 1, 9, 4, -3, false},
    };
    std::mt19937 rng(7);
    for (const Case& c : cases)
        for (int trial = 0; trial < 3; ++trial) {
            if (c.type == 1) CheckCase(*bytes, c, rng);
            if (c.type == 3) CheckCase(*words, c, rng);
            if (c.type == 4) CheckCase(*shorts, c, rng);
        }
}

// Lines with nothing to sample: beyond the records, invalid, banded away, or
// a slab wholly outside; a maximum slab never shows less than the
// background; slabSampleCount 1 or slabMode 0 is a thin line.
TEST(CprImage, BackgroundRules)
{
    auto volume = MakeVolume<short>(20, 20, 20, {1, 1, 1}, 5);
    const short background = -700;
    ZelCPRRenderingPoint inside{};
    inside.valid = inside.constructed = true;
    inside.start = {10, 10, 10};
    inside.step = {0.5f, 0, 0};
    inside.crossAxis = {0, 0, 1};
    ZelCPRRenderingPoint outside = inside;
    outside.start = {10, 10, 40};
    ZelCPRRenderingPoint invalid = inside;
    invalid.valid = false;
    const int n = 16;

    ZelCPRImageGeneratorParam thin;
    thin.layout = ZEL_CPR_LAYOUT_ROWS;
    thin.backgroundValue = background;
    thin.slabOffset = 0;
    thin.renderingPoints = {inside, outside, invalid};
    ZelCPRImageGenerator g;
    g.SetImage(volume.get());
    std::unique_ptr<ZelImageBase> image(g.GenerateImage(n, 5, thin, false));
    ASSERT_TRUE(image);
    const std::vector<short> thinPixels = Pixels<short>(*image);
    for (int i = n; i < 5 * n; ++i) EXPECT_EQ(thinPixels[i], background) << "pixel " << i;

    ZelCPRImageGeneratorParam p = thin;
    for (int count : {1, 5}) {
        p.slabSampleCount = count;
        p.slabMode = count == 1 ? ZEL_CPR_SLAB_MAXIMUM : ZEL_CPR_SLAB_NONE;
        image.reset(g.GenerateImage(n, 5, p, false));
        EXPECT_EQ(Pixels<short>(*image), thinPixels) << count << " samples";
    }

    p.slabSampleCount = 7;
    p.slabMode = ZEL_CPR_SLAB_MAXIMUM;
    p.backgroundValue = 32000;  // above every voxel
    image.reset(g.GenerateImage(n, 5, p, false));
    for (short v : Pixels<short>(*image)) EXPECT_EQ(v, 32000);

    p.backgroundValue = background;
    p.bandEnabled = true;
    p.bandWidth = 0;
    p.rowBandCenter = 0;
    for (int mode : {ZEL_CPR_SLAB_NONE, ZEL_CPR_SLAB_MINIMUM}) {
        p.slabMode = mode;
        image.reset(g.GenerateImage(n, 5, p, false));
        for (short v : Pixels<short>(*image)) EXPECT_EQ(v, background);
    }
}

TEST(CprImage, RefusalsWriteNothing)
{
    auto shorts = MakeVolume<short>(12, 12, 12, {0.5f, 0.5f, 1.0f}, 2);
    auto bytes = MakeVolume<unsigned char>(12, 12, 12, {0.5f, 0.5f, 1.0f}, 3);
    ZelImage<ZelRGBBase<unsigned char>> rgb;
    ZelImage<short> oddLayout;
    ASSERT_TRUE(rgb.Allocate(ZEL_ALIGNMENT_LINEAR, 4, 4, 4) == 0 && oddLayout.Allocate(2, 16, 16, 16, true) == 0);
    std::mt19937 rng(4);
    ZelCPRImageGeneratorParam base;
    base.slabOffset = 0;
    base.renderingPoints = RandomRecords(rng, {12, 12, 12}, 9);
    const struct {
        const char* what;
        ZelImageBase* volume;
        int outputType, outputAlignment, layout, interpolation, slabMode, samples;
        bool rebuild;
    } rows[] = {
        {"no volume", nullptr, ZEL_VOXEL_SHORT, 0, 0, 1, 0, 0, false},
        {"types differ", shorts.get(), ZEL_VOXEL_USHORT, 0, 0, 1, 0, 0, false},
        {"tiled output", shorts.get(), ZEL_VOXEL_SHORT, 1, 0, 1, 0, 0, false},
        {"layout 3", shorts.get(), ZEL_VOXEL_SHORT, 0, 3, 1, 0, 0, false},
        {"projection of bytes", bytes.get(), ZEL_VOXEL_UCHAR, 0, 2, 1, 0, 0, false},
        {"interpolation 2", shorts.get(), ZEL_VOXEL_SHORT, 0, 1, 2, 0, 0, false},
        {"interpolation -1 of bytes", bytes.get(), ZEL_VOXEL_UCHAR, 0, 1, -1, 0, 0, false},
        {"slab mode 4", shorts.get(), ZEL_VOXEL_SHORT, 0, 1, 1, 4, 3, false},
        {"slab too long", shorts.get(), ZEL_VOXEL_SHORT, 0, 1, 1, 1, 16386, false},
        {"colour volume", &rgb, ZEL_VOXEL_RGB, 0, 0, 0, 0, 0, false},
        {"unknown layout", &oddLayout, ZEL_VOXEL_SHORT, 0, 0, 1, 0, 0, false},
        {"rebuild without a path", shorts.get(), ZEL_VOXEL_SHORT, 0, 0, 1, 0, 0, true},
    };
    for (const auto& r : rows) {
        ZelCPRImageGenerator g;
        g.SetImage(r.volume);
        ZelCPRImageGeneratorParam p = base;
        p.layout = r.layout;
        p.interpolation = r.interpolation;
        p.slabMode = r.slabMode;
        p.slabSampleCount = r.samples;
        std::unique_ptr<ZelImageBase> output(ZelCreateImage(r.outputType));
        ASSERT_EQ(output->Allocate(r.outputAlignment, 9, 7, 1), 0);
        const MarkedCall call =
            CallOnMarkedOutputs({output.get()}, [&] { return g.GenerateImage(output.get(), p, r.rebuild); });
        EXPECT_FALSE(call.returned) << r.what;
        EXPECT_TRUE(call.untouched) << r.what;
        EXPECT_FALSE(call.scaleSet) << r.what;
        // The creating form makes a fitting output of its own.
        if (r.volume == nullptr || (r.outputType == r.volume->GetVoxelType() && r.outputAlignment == 0)) {
            EXPECT_EQ(std::unique_ptr<ZelImageBase>(g.GenerateImage(9, 7, p, r.rebuild)), nullptr) << r.what;
        }
    }
}

}  // namespace
