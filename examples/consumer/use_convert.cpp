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
    table.FreeTable();
    return table.GetTable() == nullptr;
}
