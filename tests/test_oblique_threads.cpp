// The threaded paths give the bytes of the single-threaded ones: the slab
// rows of the oblique generator and the shared rows of the multi-oblique
// generator, for 1, 2 and 7 workers.
#include <gtest/gtest.h>

#include <cstring>

#include "ZelCPUController.h"
#include "ZelMultiObliqueImageGenerator.h"
#include "test_oblique_helpers.h"

using namespace oblique_test;

namespace {

struct Workers {
    explicit Workers(int count) { ZelCPUController::SetAvailableCPUNum(count); }
    ~Workers() { ZelCPUController::SetAvailableCPUNum(0); }
};

TEST(ObliqueThreads, SlabRowsDoNotDependOnTheWorkers)
{
    auto linear = MakeVolume<short>(33, 27, 21, {0.7f, 0.7f, 1.0f}, 1);
    std::unique_ptr<ZelImageBase> tiled(linear->Clone(ZEL_ALIGNMENT_TILED));
    std::mt19937 rng(2);
    for (ZelImageBase* volume : {static_cast<ZelImageBase*>(linear.get()), tiled.get()})
        for (int mode = 0; mode < 3; ++mode) {
            ZelObliqueImageGeneratorParam p = RandomParam(rng, *volume);
            p.thickness = 4.0f;
            p.slabMode = mode;
            ZelObliqueImageGenerator g;
            g.SetImage(volume);
            std::vector<short> first;
            for (int workers : {1, 2, 7}) {
                Workers use(workers);
                std::unique_ptr<ZelImageBase> image(g.GenerateImage(45, 61, p));
                ASSERT_NE(image, nullptr);
                if (first.empty()) {
                    first = Pixels<short>(*image);
                    EXPECT_EQ(first, ReferenceInterpolated(*linear, SetupFor(*volume, 45, 61, p)));
                } else {
                    EXPECT_EQ(Pixels<short>(*image), first) << workers << " workers, mode " << mode;
                }
            }
        }
}

TEST(ObliqueThreads, MultiObliqueRowsDoNotDependOnTheWorkers)
{
    auto ct = MakeVolume<short>(33, 27, 21, {0.5f, 0.5f, 1.0f}, 3);
    auto pet = MakeVolume<unsigned char>(11, 9, 8, {1.5f, 1.5f, 2.5f}, 4);
    ZelMultiObliqueImageGenerator multi;
    multi.SetImage(0, ct.get());
    multi.SetImage(1, pet.get());
    std::mt19937 rng(5);
    ZelMultiObliqueImageGeneratorParam p;
    p.orientation = RandomRotation(rng);
    p.center = {8, 7, 10};
    p.pixelSpacing = 0.4f;
    p.images.resize(3);
    p.images[0].thickness = 3.0f;
    p.images[0].slabMode = ZEL_OBLIQUE_SLAB_MINIMUM;
    p.images[1].volumeIndex = 1;
    p.images[2].volumeIndex = 0;
    std::vector<std::vector<unsigned char>> first;
    for (int workers : {1, 2, 7}) {
        Workers use(workers);
        std::vector<ZelImageBase*> images;
        ASSERT_TRUE(multi.GenerateImage(37, 29, p, images));
        std::vector<std::vector<unsigned char>> bytes;
        for (ZelImageBase* image : images) {
            const auto* data = static_cast<const unsigned char*>(image->GetVoidDataPtr());
            bytes.emplace_back(data, data + 37 * 29 * image->GetVoxelBytes());
            delete image;
        }
        if (first.empty())
            first = bytes;
        else
            EXPECT_EQ(bytes, first) << workers << " workers";
    }
}

}  // namespace
