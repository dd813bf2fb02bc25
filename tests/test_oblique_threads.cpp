// The threaded paths give the pixels of the single-threaded ones, for 1, 2
// and 7 workers: the slab rows of the oblique generator and the rows the
// multi-oblique generator shares out over all its images.
#include <gtest/gtest.h>

#include "ZelCPUController.h"
#include "ZelMultiObliqueImageGenerator.h"
#include "test_oblique_helpers.h"

using namespace oblique_test;

namespace {

TEST(ObliqueThreads, RowsDoNotDependOnTheWorkers)
{
    auto linear = MakeVolume<short>(33, 27, 21, {0.5f, 0.5f, 1.0f}, 1);
    std::unique_ptr<ZelImageBase> tiled(linear->Clone(ZEL_ALIGNMENT_TILED));
    ZelMultiObliqueImageGenerator multi;
    multi.SetImage(0, linear.get());
    multi.SetImage(1, tiled.get());
    std::mt19937 rng(3);
    ZelMultiObliqueImageGeneratorParam p;
    p.orientation = RandomRotation(rng);
    p.center = {8, 7, 10};
    p.pixelSpacing = 0.4f;
    p.images.resize(7);  // slabs of every mode in both layouts, and a thin plane
    for (int k = 0; k < 6; ++k) {
        p.images[k].volumeIndex = k / 3;
        p.images[k].thickness = 2.0f;
        p.images[k].slabMode = k % 3;
    }
    std::vector<std::vector<short>> first;
    for (int workers : {1, 2, 7}) {
        ZelCPUController::SetAvailableCPUNum(workers);
        std::vector<ZelImageBase*> images;
        std::vector<std::vector<short>> pixels;
        ASSERT_TRUE(multi.GenerateImage(45, 31, p, images));
        for (int k = 0; k < 7; ++k) {
            pixels.push_back(Pixels<short>(*std::unique_ptr<ZelImageBase>(images[k])));
            ZelObliqueImageGeneratorParam single;
            multi.GetObliqueParam(k, p, single);
            ZelObliqueImageGenerator g;
            g.SetImage(multi.GetImage(p.images[k].volumeIndex));
            pixels.push_back(Pixels<short>(*std::unique_ptr<ZelImageBase>(g.GenerateImage(45, 31, single))));
        }
        if (first.empty())
            first = pixels;
        else
            EXPECT_EQ(pixels, first) << workers << " workers";
    }
    ZelCPUController::SetAvailableCPUNum(0);
}

}  // namespace
