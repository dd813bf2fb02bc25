// Multi-oblique generator: each image equals the single generator's image of
// its volume, the images of a fused pair show the same physical points, and a
// failing image fails the whole call without a pixel written.
#include <gtest/gtest.h>

#include <cstring>

#include "ZelMultiObliqueImageGenerator.h"
#include "test_oblique_helpers.h"

using namespace oblique_test;

namespace {

// A CT-like signed volume and a coarser PET-like volume of another type over
// roughly the same region, shifted by a registration offset.
struct FusionPair {
    std::unique_ptr<ZelImage<short>> ct = MakeVolume<short>(33, 27, 21, {0.5f, 0.5f, 1.0f}, 1);
    std::unique_ptr<ZelImage<unsigned short>> pet = MakeVolume<unsigned short>(9, 8, 7, {2.0f, 2.0f, 3.0f}, 2);
    std::unique_ptr<ZelImageBase> ctTiled{ct->Clone(ZEL_ALIGNMENT_TILED)};
};

ZelMultiObliqueImageGeneratorParam FusionParam(std::mt19937& rng)
{
    ZelMultiObliqueImageGeneratorParam p;
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    p.orientation = RandomRotation(rng);
    p.center = {16.0f * unit(rng), 13.0f * unit(rng), 20.0f * unit(rng)};
    p.pixelSpacing = 0.3f + 0.5f * unit(rng);
    p.images.resize(3);
    p.images[0].volumeIndex = 0;  // CT, slab
    p.images[0].thickness = 2.0f;
    p.images[0].slabMode = ZEL_OBLIQUE_SLAB_MAXIMUM;
    p.images[0].backgroundValue = -1000;
    p.images[1].volumeIndex = 1;  // PET, shifted
    p.images[1].origin = {-1.0f, 0.5f, 0.25f};
    p.images[2].volumeIndex = 2;  // CT in tiles, thin and interpolated
    return p;
}

TEST(MultiOblique, EachImageEqualsTheSingleGenerator)
{
    FusionPair v;
    ZelMultiObliqueImageGenerator multi;
    multi.SetImage(v.ct.get());
    multi.SetImage(1, v.pet.get());
    multi.SetImage(2, v.ctTiled.get());
    ZelImageBase* volumes[] = {v.ct.get(), v.pet.get(), v.ctTiled.get()};
    std::mt19937 rng(3);
    for (int trial = 0; trial < 12; ++trial) {
        const ZelMultiObliqueImageGeneratorParam p = FusionParam(rng);
        std::vector<ZelImageBase*> images;
        ASSERT_TRUE(multi.GenerateImage(23, 19, p, images));
        ASSERT_EQ(images.size(), 3u);
        for (int k = 0; k < 3; ++k) {
            std::unique_ptr<ZelImageBase> made(images[k]);
            ZelObliqueImageGeneratorParam single;
            ASSERT_TRUE(multi.GetObliqueParam(k, p, single));
            ZelObliqueImageGenerator g;
            g.SetImage(volumes[k]);
            std::unique_ptr<ZelImageBase> expected(g.GenerateImage(23, 19, single));
            ASSERT_NE(expected, nullptr);
            ASSERT_EQ(made->GetVoxelType(), expected->GetVoxelType());
            EXPECT_EQ(std::memcmp(made->GetVoidDataPtr(), expected->GetVoidDataPtr(), 23 * 19 * made->GetVoxelBytes()),
                      0)
                << "image " << k << " trial " << trial;
            // Every output reports the shared pixel spacing.
            EXPECT_NEAR(made->GetImageScale().x, p.pixelSpacing, 1e-6f);
        }
    }
}

// Pixel (i, j) of the CT and of the PET image is one physical point.
TEST(MultiOblique, ImagesShowTheSamePhysicalPoint)
{
    FusionPair v;
    ZelMultiObliqueImageGenerator multi;
    multi.SetImage(0, v.ct.get());
    multi.SetImage(1, v.pet.get());
    std::mt19937 rng(4);
    for (int trial = 0; trial < 20; ++trial) {
        const ZelMultiObliqueImageGeneratorParam p = FusionParam(rng);
        for (const Zel2DVector<float> display : {Zel2DVector<float>{0, 0}, Zel2DVector<float>{30, 2}, {11.5f, 40}}) {
            Zel3DVector<float> ct, pet;
            multi.DisplayToVoxel(31, 41, 0, display, ct, p);
            multi.DisplayToVoxel(31, 41, 1, display, pet, p);
            const Zel3DVector<float> a{ct.x * 0.5f, ct.y * 0.5f, ct.z * 1.0f};
            const Zel3DVector<float> b{pet.x * 2.0f - 1.0f, pet.y * 2.0f + 0.5f, pet.z * 3.0f + 0.25f};
            EXPECT_NEAR(a.x, b.x, 1e-3f);
            EXPECT_NEAR(a.y, b.y, 1e-3f);
            EXPECT_NEAR(a.z, b.z, 1e-3f);
        }
        // The centre pixel is the plane's centre.
        Zel3DVector<float> ct;
        multi.DisplayToVoxel(31, 41, 0, {15, 20}, ct, p);
        EXPECT_NEAR(ct.x * 0.5f, p.center.x, 1e-3f);
        EXPECT_NEAR(ct.z, p.center.z, 1e-3f);
    }
}

TEST(MultiOblique, AnyFailureWritesNothing)
{
    FusionPair v;
    ZelMultiObliqueImageGenerator multi;
    multi.SetImage(0, v.ct.get());
    multi.SetImage(1, v.pet.get());
    std::mt19937 rng(5);
    const ZelMultiObliqueImageGeneratorParam good = [&] {
        ZelMultiObliqueImageGeneratorParam p = FusionParam(rng);
        p.images.resize(2);
        return p;
    }();
    struct Row {
        const char* what;
        void (*edit)(ZelMultiObliqueImageGeneratorParam&);
    };
    const Row rows[] = {
        {"missing volume", [](ZelMultiObliqueImageGeneratorParam& p) { p.images[1].volumeIndex = 5; }},
        {"negative index", [](ZelMultiObliqueImageGeneratorParam& p) { p.images[0].volumeIndex = -1; }},
        {"interpolation 2", [](ZelMultiObliqueImageGeneratorParam& p) { p.images[1].interpolation = 2; }},
        {"nearest slab of short",
         [](ZelMultiObliqueImageGeneratorParam& p) {
             p.images[0].interpolation = 0;
             p.images[0].thickness = 3.0f;
         }},
        {"pixel spacing 0", [](ZelMultiObliqueImageGeneratorParam& p) { p.pixelSpacing = 0.0f; }},
    };
    for (const Row& r : rows) {
        ZelMultiObliqueImageGeneratorParam p = good;
        r.edit(p);
        ZelImage<short> ctOut;
        ZelImage<unsigned short> petOut;
        ctOut.Allocate(ZEL_ALIGNMENT_LINEAR, 8, 8, 1);
        petOut.Allocate(ZEL_ALIGNMENT_LINEAR, 8, 8, 1);
        std::fill(ctOut.GetDataPtr(), ctOut.GetDataPtr() + 64, short{9});
        std::fill(petOut.GetDataPtr(), petOut.GetDataPtr() + 64, static_cast<unsigned short>(9));
        EXPECT_FALSE(multi.GenerateImage({&ctOut, &petOut}, p)) << r.what;
        EXPECT_EQ(Pixels<short>(ctOut), std::vector<short>(64, 9)) << r.what;
        EXPECT_EQ(Pixels<unsigned short>(petOut), std::vector<unsigned short>(64, 9)) << r.what;
        std::vector<ZelImageBase*> images{nullptr};
        EXPECT_FALSE(multi.GenerateImage(8, 8, p, images)) << r.what;
        EXPECT_TRUE(images.empty());
    }
    // Output list of the wrong length, or of the wrong type.
    ZelImage<short> a, b;
    a.Allocate(ZEL_ALIGNMENT_LINEAR, 4, 4, 1);
    b.Allocate(ZEL_ALIGNMENT_LINEAR, 4, 4, 1);
    EXPECT_FALSE(multi.GenerateImage({&a}, good));
    EXPECT_FALSE(multi.GenerateImage({&a, &b}, good));
    // No images asked for: nothing to do.
    ZelMultiObliqueImageGeneratorParam none = good;
    none.images.clear();
    std::vector<ZelImageBase*> images;
    EXPECT_TRUE(multi.GenerateImage(8, 8, none, images));
    EXPECT_TRUE(images.empty());
}

TEST(MultiOblique, VolumesByIndex)
{
    FusionPair v;
    ZelMultiObliqueImageGenerator multi;
    EXPECT_EQ(multi.GetImageCount(), 0);
    multi.SetImage(2, v.pet.get());
    EXPECT_EQ(multi.GetImageCount(), 3);
    EXPECT_EQ(multi.GetImage(1), nullptr);
    EXPECT_EQ(multi.GetImage(7), nullptr);
    multi.SetImage(-1, v.ct.get());  // ignored
    ZelImageGeneratorBase& base = multi;
    base.SetImage(v.ct.get());  // index 0
    EXPECT_EQ(multi.GetImage(0), v.ct.get());
    EXPECT_EQ(base.GetImage(), v.ct.get());
    multi.SetImage(0, v.pet.get());
    EXPECT_EQ(base.GetImage(), v.pet.get());
    const ZelMultiObliqueImageGenerator copy = multi;
    EXPECT_EQ(copy.GetImage(2), v.pet.get());
}

}  // namespace
