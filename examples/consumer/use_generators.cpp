// The MPR, oblique and multi-oblique generators with their coordinate
// mappings and parameter records.
#include <ZelImageGenerator.h>

#include <memory>
#include <vector>

#include "consumer.h"

bool UseGenerators()
{
    ZelImage<short> volume;
    CONSUMER_EXPECT(volume.Allocate(ZEL_ALIGNMENT_TILED, 32, 32, 32) == 0);
    volume.GetDataPtr()[0] = 100;

    ZelMPRImageGenerator mpr;
    ZelImageGeneratorBase& base = mpr;
    base.SetImage(&volume);
    CONSUMER_EXPECT(base.GetImage() == &volume);
    ZelMPRImageGeneratorParam param;
    param.center = {15.5f, 15.5f, 15.5f};
    param.slicePosition = {16, 16, 16};
    std::unique_ptr<ZelImageBase> slice(mpr.GenerateImage(32, 32, param));
    CONSUMER_EXPECT(slice && mpr.GenerateImage(slice.get(), param));
    Zel3DVector<float> voxel{};
    Zel2DVector<float> display{};
    CONSUMER_EXPECT(mpr.DisplayToVoxel(32, 32, {3.0f, 4.0f}, voxel, param));
    CONSUMER_EXPECT(mpr.VoxelToDisplay(32, 32, voxel, display, param) && display.x == 3.0f);
    std::vector<Zel2DVector<float>> displays;
    CONSUMER_EXPECT(mpr.VoxelToDisplay(32, 32, std::vector<Zel3DVector<float>>{voxel}, displays, param));
    std::unique_ptr<ZelImageBase> slab(
        ZelMPRImageGenerator::GenerateFilterImage(&volume, param, 0, 4, true, ZEL_MPR_STACK_MAXIMUM));
    CONSUMER_EXPECT(slab != nullptr);
    ZelMPRImageGenerator::GenerateFilterImage(slab.get(), slice.get(), 1);

    ZelObliqueImageGenerator oblique;
    oblique.SetImage(&volume);
    ZelObliqueImageGeneratorParam plane;
    plane.center = {16.0f, 16.0f, 16.0f};
    plane.slabMode = ZEL_OBLIQUE_SLAB_AVERAGE;
    std::unique_ptr<ZelImageBase> cut(oblique.GenerateImage(24, 24, plane));
    CONSUMER_EXPECT(cut && oblique.GenerateImage(cut.get(), plane));
    CONSUMER_EXPECT(oblique.DisplayToVoxel(24, 24, {1.0f, 2.0f}, voxel, plane));
    CONSUMER_EXPECT(oblique.VoxelToDisplay(24, 24, voxel, display, plane));
    CONSUMER_EXPECT(oblique.VoxelToDisplay(24, 24, std::vector<Zel3DVector<float>>{voxel}, displays, plane));

    ZelMultiObliqueImageGenerator multi;
    multi.SetImage(&volume);
    multi.SetImage(1, &volume);
    CONSUMER_EXPECT(multi.GetImage() == &volume && multi.GetImage(1) == &volume && multi.GetImageCount() == 2);
    ZelMultiObliqueImageGeneratorParam planes;
    planes.center = {16.0f, 16.0f, 16.0f};
    planes.images.resize(2);
    planes.images[1].volumeIndex = 1;
    std::vector<ZelImageBase*> images;
    CONSUMER_EXPECT(multi.GenerateImage(16, 16, planes, images) && images.size() == 2);
    CONSUMER_EXPECT(multi.GenerateImage(images, planes));
    ZelObliqueImageGeneratorParam single;
    CONSUMER_EXPECT(multi.GetObliqueParam(1, planes, single));
    CONSUMER_EXPECT(multi.DisplayToVoxel(16, 16, 0, {0.0f, 0.0f}, voxel, planes));
    for (ZelImageBase* image : images) delete image;
    return true;
}
