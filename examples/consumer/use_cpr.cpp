// Curved reformations from the installed package: the four row
// constructions, both forms of generation (rebuilt from a path and from rows
// as they stand), and the four coordinate mappings.
#include <ZelImageGenerator.h>

#include <memory>
#include <vector>

#include "consumer.h"

bool UseCpr()
{
    ZelImage<short> volume;
    CONSUMER_EXPECT(volume.Allocate(ZEL_ALIGNMENT_TILED, 40, 40, 40) == 0);
    volume.SetImageScale({0.5f, 0.5f, 1.0f});
    for (int i = 0; i < 40 * 40 * 40; ++i) volume.GetDataPtr()[i] = static_cast<short>(i % 1000);
    ZelPath path;
    path.SetPoints({{10, 10, 5}, {20, 25, 15}, {30, 28, 30}});
    path.SetAspect({1.0f, 1.0f, 2.0f});
    path.UpdatePointsCounter();

    ZelCPRImageGeneratorParam param;
    param.pathPlane.SetPath(&path);
    param.layout = ZEL_CPR_LAYOUT_ROWS;
    param.slabOffset = 0;
    param.slabMode = ZEL_CPR_SLAB_MAXIMUM;
    param.slabSampleCount = 5;
    ZelCPRImageGenerator generator;
    generator.SetImage(&volume);
    std::unique_ptr<ZelImageBase> image(generator.GenerateImage(31, 41, param, true));
    CONSUMER_EXPECT(image && generator.GenerateImage(image.get(), param, false));
    CONSUMER_EXPECT(param.renderingPoints.size() == 41);

    Zel2DVector<float> display{};
    Zel3DVector<float> voxel{};
    float position = 0.0f;
    ZelObliqueImageGeneratorParam cut;
    CONSUMER_EXPECT(generator.PathToDisplay(31, 41, 0.5f, display, param));
    CONSUMER_EXPECT(generator.DisplayToVoxel(31, 41, display, voxel, param));
    CONSUMER_EXPECT(generator.DisplayToPath(31, 41, display, position, param));
    CONSUMER_EXPECT(generator.PathToOblique(31, 41, position, cut, param));

    const ZelSplineCurve<Zel3DVector<float>>& curve = path.GetSplineCurveObject();
    std::vector<ZelCPRRenderingPoint> rows;
    ZelCPRImageGenerator::ConstructStraightPath(9, 1.0f, 0, 0, param.pathPlane, rows);
    ZelCPRImageGenerator::ConstructFixedPath(9, 1.0f, 0, 0, {1, 0, 0}, curve, rows);
    ZelCPRImageGenerator::ConstructStretchPath(9, 1.0f, 0, 0, {1, 0, 0}, curve, path.GetAspectPoint(), rows);
    std::vector<Zel3DVector<float>> projected;
    const ZelMatrix3x3<float> view{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    ZelCPRImageGenerator::ConstructProjection(1.0f, view, curve, path.GetAspectPoint(), projected);
    CONSUMER_EXPECT(rows.size() == 27 && rows[4].constructed && !projected.empty());

    ZelCPRImageGeneratorParam copy(param);
    copy = param;
    copy.layout = ZEL_CPR_LAYOUT_PROJECTION;
    copy.view = view;
    std::unique_ptr<ZelImageBase> projection(generator.GenerateImage(32, 32, copy, true));
    ZelCPRImageGenerator other(generator);
    other = generator;
    return projection != nullptr && other.GetImage() == &volume;
}
