// Multi-oblique generator: each image equals the single generator's image of
// its volume, the images of a fused pair show the same physical points, and a
// failing image fails the whole call without a pixel written.
#include <gtest/gtest.h>

#include <cstring>

#include "ZelMultiObliqueImageGenerator.h"
#include "test_oblique_helpers.h"
#include "test_refusal.h"

using namespace oblique_test;

namespace {

// A CT-like signed volume and a coarser PET-like volume of another type,
// shifted by a registration offset.
struct Fusion {
    std::unique_ptr<ZelImage<short>> ct = MakeVolume<short>(33, 27, 21, {0.5f, 0.5f, 1.0f}, 1);
    std::unique_ptr<ZelImage<unsigned short>> pet = MakeVolume<unsigned short>(9, 8, 7, {2.0f, 2.0f, 3.0f}, 2);
    ZelMultiObliqueImageGenerator multi;
    Fusion()
    {
        static_cast<ZelImageGeneratorBase&>(multi).SetImage(pet.get());  // index 0 until replaced
        multi.SetImage(1, pet.get());
        multi.SetImage(0, ct.get());
    }
};

ZelMultiObliqueImageGeneratorParam FusionParam(std::mt19937& rng)
{
    ZelMultiObliqueImageGeneratorParam p;
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    p.orientation = RandomRotation(rng);
    p.center = {16.0f * unit(rng), 13.0f * unit(rng), 20.0f * unit(rng)};
    p.pixelSpacing = 0.3f + 0.5f * unit(rng);
    p.images.resize(2);
    p.images[0].thickness = 2.0f;  // CT, slab
    p.images[0].slabMode = ZEL_OBLIQUE_SLAB_MAXIMUM;
    p.images[0].backgroundValue = -1000;
    p.images[1].volumeIndex = 1;  // PET, shifted
    p.images[1].origin = {-1.0f, 0.5f, 0.25f};
    return p;
}

TEST(MultiOblique, EachImageEqualsTheSingleGeneratorAtOnePhysicalPoint)
{
    Fusion f;
    ZelImageBase* volumes[] = {f.ct.get(), f.pet.get()};
    std::mt19937 rng(3);
    for (int trial = 0; trial < 12; ++trial) {
        const ZelMultiObliqueImageGeneratorParam p = FusionParam(rng);
        std::vector<ZelImageBase*> images;
        ASSERT_TRUE(f.multi.GenerateImage(23, 19, p, images));
        ASSERT_EQ(images.size(), 2u);
        for (int k = 0; k < 2; ++k) {
            std::unique_ptr<ZelImageBase> made(images[k]);
            ZelObliqueImageGeneratorParam single;
            ASSERT_TRUE(f.multi.GetObliqueParam(k, p, single));
            ZelObliqueImageGenerator g;
            g.SetImage(volumes[k]);
            std::unique_ptr<ZelImageBase> expected(g.GenerateImage(23, 19, single));
            ASSERT_TRUE(expected && made->GetVoxelType() == expected->GetVoxelType());
            EXPECT_EQ(std::memcmp(made->GetVoidDataPtr(), expected->GetVoidDataPtr(), 23 * 19 * made->GetVoxelBytes()),
                      0)
                << "image " << k << " trial " << trial;
            EXPECT_NEAR(made->GetImageScale().x, p.pixelSpacing, 1e-6f);
        }
        // Pixel (i, j) of the CT and of the PET image is one physical point,
        // and the centre pixel is the plane's centre.
        for (const Zel2DVector<float> display : {Zel2DVector<float>{0, 0}, {30, 2}, {11.5f, 40}, {15, 20}}) {
            Zel3DVector<float> ct, pet;
            f.multi.DisplayToVoxel(31, 41, 0, display, ct, p);
            f.multi.DisplayToVoxel(31, 41, 1, display, pet, p);
            EXPECT_NEAR(ct.x * 0.5f, pet.x * 2.0f - 1.0f, 1e-3f);
            EXPECT_NEAR(ct.y * 0.5f, pet.y * 2.0f + 0.5f, 1e-3f);
            EXPECT_NEAR(ct.z * 1.0f, pet.z * 3.0f + 0.25f, 1e-3f);
            if (display.x == 15) {
                EXPECT_NEAR(ct.x * 0.5f, p.center.x, 1e-3f);
            }
        }
    }
}

TEST(MultiOblique, AnyFailureWritesNothing)
{
    Fusion f;
    std::mt19937 rng(5);
    ZelMultiObliqueImageGeneratorParam good = FusionParam(rng);
    using Edit = void (*)(ZelMultiObliqueImageGeneratorParam&);
    const struct {
        const char* what;
        Edit edit;
        bool creatingFails;  // false where only the given outputs do not fit
    } rows[] = {
        {"missing volume", [](ZelMultiObliqueImageGeneratorParam& p) { p.images[1].volumeIndex = 5; }, true},
        {"negative index", [](ZelMultiObliqueImageGeneratorParam& p) { p.images[0].volumeIndex = -1; }, true},
        {"interpolation 2", [](ZelMultiObliqueImageGeneratorParam& p) { p.images[1].interpolation = 2; }, true},
        {"nearest slab of short", [](ZelMultiObliqueImageGeneratorParam& p) { p.images[0].interpolation = 0; }, true},
        {"pixel spacing 0", [](ZelMultiObliqueImageGeneratorParam& p) { p.pixelSpacing = 0.0f; }, true},
        {"more images than outputs", [](ZelMultiObliqueImageGeneratorParam& p) { p.images.resize(3); }, false},
        {"output of another type", [](ZelMultiObliqueImageGeneratorParam& p) { p.images[1].volumeIndex = 0; }, false},
    };
    for (const auto& r : rows) {
        ZelMultiObliqueImageGeneratorParam p = good;
        r.edit(p);
        ZelImage<short> ctOut;
        ZelImage<unsigned short> petOut;
        ctOut.Allocate(ZEL_ALIGNMENT_LINEAR, 8, 8, 1);
        petOut.Allocate(ZEL_ALIGNMENT_LINEAR, 8, 8, 1);
        const MarkedCall call = CallOnMarkedOutputs({&ctOut, &petOut}, [&] {
            return f.multi.GenerateImage({&ctOut, &petOut}, p);
        });
        EXPECT_TRUE(!call.returned && call.untouched && !call.scaleSet) << r.what;
        std::vector<ZelImageBase*> images{nullptr};
        EXPECT_EQ(!f.multi.GenerateImage(8, 8, p, images), r.creatingFails) << r.what;
        EXPECT_EQ(images.size(), r.creatingFails ? 0u : p.images.size()) << r.what;
        for (ZelImageBase* image : images) delete image;
    }
    // No images asked for: nothing to do.
    good.images.clear();
    std::vector<ZelImageBase*> images;
    EXPECT_TRUE(f.multi.GenerateImage(8, 8, good, images) && images.empty());
}

}  // namespace
