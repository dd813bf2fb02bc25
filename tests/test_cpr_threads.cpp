// The slab lines of a curved reformation are split over the workers; the
// pictures are the same bytes for 1, 2 and 7 of them, for every slab worker,
// both volume layouts and both line layouts.
#include <gtest/gtest.h>

#include "ZelCPUController.h"
#include "test_cpr_helpers.h"

using namespace cpr_test;

namespace {

TEST(CprThreads, SlabLinesDoNotDependOnTheWorkers)
{
    auto linear = MakeVolume<short>(29, 23, 19, {0.6f, 0.6f, 1.0f}, 9);
    std::unique_ptr<ZelImageBase> tiled(linear->Clone(ZEL_ALIGNMENT_TILED));
    std::mt19937 rng(10);
    const int width = 43, height = 31;
    ZelCPRImageGeneratorParam p;
    p.slabSampleCount = 6;
    p.backgroundValue = -500;
    std::vector<std::vector<short>> first;
    for (int workers : {1, 2, 7}) {
        ZelCPUController::SetAvailableCPUNum(workers);
        std::vector<std::vector<short>> pictures;
        std::mt19937 again = rng;
        for (ZelImageBase* volume : {static_cast<ZelImageBase*>(linear.get()), tiled.get()})
            for (int layout : {ZEL_CPR_LAYOUT_COLUMNS, ZEL_CPR_LAYOUT_ROWS})
                for (int mode : {1, 2, 3, 4}) {
                    p.layout = layout;
                    p.slabMode = mode == 4 ? 1 : mode;
                    p.slabOffset = mode == 4 ? 2 : 0;  // the weighted offset slab
                    p.renderingPoints = RandomRecords(again, volume->GetImageSize(), layout == 0 ? width : height);
                    ZelCPRImageGenerator g;
                    g.SetImage(volume);
                    std::unique_ptr<ZelImageBase> image(g.GenerateImage(width, height, p, false));
                    ASSERT_TRUE(image);
                    pictures.push_back(Pixels<short>(*image));
                }
        if (first.empty())
            first = pictures;
        else
            EXPECT_EQ(pictures, first) << workers << " workers";
    }
    ZelCPUController::SetAvailableCPUNum(0);
}

}  // namespace
