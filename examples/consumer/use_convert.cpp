// Lookup tables and every display conversion.
#include <ZelImageGenerator.h>

#include "consumer.h"

namespace {

// A host that keeps colour volumes: an RGB volume joined with an alpha volume,
// shown as MPR, oblique and bicubic views.
bool UseColourVolumes()
{
    ZelImage<ZelRGBBase<unsigned char>> colour;
    ZelImage<unsigned char> alpha;
    CONSUMER_EXPECT(colour.Allocate(ZEL_ALIGNMENT_TILED, 24, 20, 8) == 0 &&
                    alpha.Allocate(ZEL_ALIGNMENT_LINEAR, 24, 20, 8) == 0);
    colour.SetImageScale({0.5f, 0.5f, 1.0f});
    for (int z = 0; z < 8; ++z)
        for (int y = 0; y < 20; ++y)
            for (int x = 0; x < 24; ++x) {
                colour.GetDataPtr()[ZelTiledIndex(x, y, z, 2, 4)] = {static_cast<unsigned char>(x * 10), 128,
                                                                     static_cast<unsigned char>(z * 30)};
                alpha.GetDataPtr()[ZelLinearIndex(x, y, z, 24, 20)] = 200;
            }
    ZelImage<ZelRGBABase<unsigned char>> joined;
    CONSUMER_EXPECT(ZelIGConverter::ConvertColorImage(&joined, &colour, &alpha) && joined.IsTiled());

    ZelImageBuffer rgb;
    ZelImageBuffer rgba;
    CONSUMER_EXPECT(rgb.CreateImage(32, 16, 3) && rgba.CreateImage(32, 16, 4));
    ZelMPRImageGeneratorParam mpr;
    mpr.plane = ZEL_MPR_PLANE_XY;
    mpr.center = {12, 10, 4};
    mpr.slicePosition = {12, 10, 4};
    CONSUMER_EXPECT(ZelIGConverter::ConvertZelImageRGB(&rgb, &colour, mpr));
    const unsigned char* middle = rgb.GetDataPtr() + 8 * rgb.GetSizePerLine() + 16 * 3;
    CONSUMER_EXPECT(middle[1] == 128 && middle[2] == 120);
    CONSUMER_EXPECT(ZelIGConverter::ConvertZelImageRGBA(&rgba, &joined, mpr));
    CONSUMER_EXPECT(rgba.GetDataPtr()[8 * rgba.GetSizePerLine() + 16 * 4 + 3] == 200);
    ZelObliqueImageGeneratorParam oblique;
    oblique.center = {12, 10, 4};
    CONSUMER_EXPECT(ZelIGConverter::ConvertZelImageRGB(&rgb, &colour, oblique));
    CONSUMER_EXPECT(ZelIGConverter::ConvertZelImageRGB_BiCubic(&rgb, &colour, {12, 10, 4}, {0.5f, 0.5f, 1.0f}, 1.5f));
    const int green = rgb.GetDataPtr()[8 * rgb.GetSizePerLine() + 16 * 3 + 1];
    return green >= 126 && green <= 128;  // cubic weights truncated: a level or two may go
}

}  // namespace

bool UseConvert()
{
    ZelImage<short> slice;
    CONSUMER_EXPECT(slice.Allocate(ZEL_ALIGNMENT_LINEAR, 20, 4, 1) == 0);
    for (int i = 0; i < 80; ++i) slice.GetDataPtr()[i] = static_cast<short>(i * 10 - 200);
    ZelImageBuffer grey;
    CONSUMER_EXPECT(grey.CreateImage(20, 4, 1));

    ZelImageGeneratorTable table;
    CONSUMER_EXPECT(table.CreateTable(-200, 600));
    for (int k = 0; k <= 800; ++k) table.GetTable()[k] = static_cast<unsigned char>(k / 4);
    ZelImageGeneratorGammaTable gamma;
    CONSUMER_EXPECT(gamma.CreateTable(-200, 600, 400, 40, 2.2f, false) && gamma.GetGamma() == 2.2f);

    CONSUMER_EXPECT(ZelIGConverter::Threshold(&grey, &slice, 0, false) && grey.GetDataPtr()[19] == 0);
    CONSUMER_EXPECT(ZelIGConverter::HighAndLow(&grey, &slice, -100, 100));
    CONSUMER_EXPECT(ZelIGConverter::Window(&grey, &slice, 400, 40, false));
    CONSUMER_EXPECT(ZelIGConverter::Table(&grey, &slice, table.GetTable(), -200, 600));
    CONSUMER_EXPECT(ZelIGConverter::Table(&grey, &slice, &gamma));
    CONSUMER_EXPECT(ZelIGConverter::Sigmoid(&grey, &slice, 400, 40, true));
    CONSUMER_EXPECT(ZelIGConverter::FillZero(&grey));

    ZelRGBBase<unsigned char> palette[256];
    for (int i = 0; i < 256; ++i) palette[i] = {static_cast<unsigned char>(i), 0, static_cast<unsigned char>(255 - i)};
    static ZelRGBABase<float> colours[65536];
    ZelRGBABase<float>* byValue = colours + 32768;
    byValue[0] = {1.0f, 0.5f, 0.0f, 1.0f};
    ZelImage<unsigned char> labels;
    CONSUMER_EXPECT(labels.Allocate(ZEL_ALIGNMENT_LINEAR, 20, 4, 1) == 0);
    labels.GetDataPtr()[0] = 1;
    ZelImage<unsigned short> labels16;
    CONSUMER_EXPECT(labels16.Allocate(ZEL_ALIGNMENT_LINEAR, 20, 4, 1) == 0);
    ZelImageBuffer colour;
    CONSUMER_EXPECT(colour.CreateImage(20, 4, 3));
    ZelImageBuffer rgba;
    CONSUMER_EXPECT(rgba.CreateImage(20, 4, 4));
    const ZelRGBBase<unsigned char> red{255, 0, 0};

    CONSUMER_EXPECT(ZelIGConverter::WindowPseudoColor(&colour, &slice, 256, 128, false, palette));
    CONSUMER_EXPECT(ZelIGConverter::WindowPseudoColorWithMask(&colour, &slice, 400, 40, false, &labels, 1, palette));
    CONSUMER_EXPECT(ZelIGConverter::PseudoColorTable(&colour, &slice, table.GetTable(), -200, 600, palette));
    CONSUMER_EXPECT(ZelIGConverter::PseudoColorTable(&grey, &slice, &gamma, nullptr));
    CONSUMER_EXPECT(
        ZelIGConverter::PseudoColorTableWithMask(&colour, &slice, table.GetTable(), -200, 600, &labels16, 1, palette));
    CONSUMER_EXPECT(ZelIGConverter::PseudoColorTableWithMask(&colour, &slice, &gamma, &labels, 1, palette));
    CONSUMER_EXPECT(ZelIGConverter::SigmoidPseudoColor(&colour, &slice, 400, 40, false, palette));
    CONSUMER_EXPECT(ZelIGConverter::SigmoidPseudoColorWithMask(&colour, &slice, 400, 40, false, &labels, 1, palette));
    CONSUMER_EXPECT(ZelIGConverter::ColorTable(&rgba, &slice, byValue));
    CONSUMER_EXPECT(ZelIGConverter::ColorTableWithOpacity(&rgba, &slice, byValue));
    CONSUMER_EXPECT(ZelIGConverter::WindowColorTable(&colour, &slice, 400, 40, false, byValue));
    CONSUMER_EXPECT(ZelIGConverter::WindowColorTable(&colour, &slice, &gamma, byValue));
    CONSUMER_EXPECT(ZelIGConverter::WindowColorTableWithMask(&colour, &slice, 400, 40, false, &labels, 1, byValue));
    CONSUMER_EXPECT(ZelIGConverter::WindowColorTableWithMask(&colour, &slice, &gamma, &labels16, 1, byValue));
    CONSUMER_EXPECT(ZelIGConverter::WindowOnlyColorTableWithMask(&colour, &slice, 400, 40, false, &labels, 1, byValue));
    CONSUMER_EXPECT(ZelIGConverter::ApplyMask(&colour, &labels, 1, red));
    CONSUMER_EXPECT(ZelIGConverter::ApplyMask(&rgba, &labels16, static_cast<unsigned short>(1), red));
    CONSUMER_EXPECT(ZelIGConverter::BlendingMask(&colour, &labels, 1, 0.5f, red));
    CONSUMER_EXPECT(ZelIGConverter::BlendingMask(&rgba, &labels16, static_cast<unsigned short>(1), 0.5f, red));
    table.FreeTable();
    return table.GetTable() == nullptr && UseColourVolumes();
}
