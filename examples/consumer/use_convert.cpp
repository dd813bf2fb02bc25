// Lookup tables and every display conversion.
#include <ZelImageGenerator.h>

#include "consumer.h"

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
    return table.GetTable() == nullptr;
}
