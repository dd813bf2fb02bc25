// Colour conversions: the listed values, every conversion against its grey
// conversion plus a per-pixel model of the colour stage (random slices, masks
// of both element widths, rows that are not multiples of 16 wide), the plain
// window twin against the vector stretch, and rejections that write nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "ZelIGConverter.h"
#include "convert/colour_kernels.h"

namespace {

constexpr unsigned char kSentinel = 0xA5;
using Palette = std::vector<ZelRGBBase<unsigned char>>;
using Convert = std::function<bool(ZelImageBuffer*, const ZelImage<short>*)>;
#define CONVERT(call) [&](ZelImageBuffer* b, [[maybe_unused]] const ZelImage<short>* s) { return ZelIGConverter::call; }

// A one-row image of the given elements (slices and masks are read as dense
// rows of the buffer's width whatever their own shape).
template <class T, class V>
std::unique_ptr<ZelImage<T>> MakeImage(const std::vector<V>& elements)
{
    auto image = std::make_unique<ZelImage<T>>();
    EXPECT_EQ(image->Allocate(ZEL_ALIGNMENT_LINEAR, static_cast<int>(elements.size()), 1, 1), 0);
    std::copy(elements.begin(), elements.end(), image->GetDataPtr());
    return image;
}

// Runs `convert` on a buffer whose bytes all start as the sentinel and returns
// the pixel bytes row after row (empty when the call refused, which must then
// have written nothing); row padding must keep the sentinel.
std::vector<int> Pixels(const Convert& convert, const std::vector<short>& values, int width, int depth,
                        const std::vector<int>& before = {})
{
    const auto slice = MakeImage<short>(values);
    const int height = static_cast<int>(values.size()) / width;
    ZelImageBuffer buffer;
    EXPECT_TRUE(buffer.CreateImage(width, height, depth));
    const int stride = buffer.GetSizePerLine();
    unsigned char* data = buffer.GetDataPtr();
    std::memset(data, kSentinel, static_cast<std::size_t>(stride) * height);
    for (std::size_t i = 0; i < before.size(); ++i) {
        data[(i / (width * depth)) * stride + i % (width * depth)] = static_cast<unsigned char>(before[i]);
    }
    const std::vector<unsigned char> start(data, data + stride * height);
    if (!convert(&buffer, slice.get())) {
        EXPECT_TRUE(std::equal(start.begin(), start.end(), data)) << "a refused call wrote";
        return {};
    }
    std::vector<int> pixels;
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = data + static_cast<std::ptrdiff_t>(y) * stride;
        pixels.insert(pixels.end(), row, row + width * depth);
        for (int p = depth * width; p < stride; ++p) EXPECT_EQ(row[p], kSentinel) << "padding of row " << y;
    }
    return pixels;
}

Palette RampPalette()
{
    Palette palette(256);
    for (int i = 0; i < 256; ++i) palette[i] = {static_cast<unsigned char>(i), 0, static_cast<unsigned char>(255 - i)};
    return palette;
}

TEST(ColourConverters, ListedValues)
{
    const Palette ramp = RampPalette();
    const ZelRGBBase<unsigned char>* p = ramp.data();
    const ZelRGBBase<unsigned char>* noPalette = nullptr;
    std::vector<unsigned char> table(256);
    for (int k = 0; k < 256; ++k) table[k] = static_cast<unsigned char>(255 - k);
    std::vector<ZelRGBABase<float>> colours(65536, ZelRGBABase<float>{0.0f, 0.0f, 0.0f, 0.0f});
    ZelRGBABase<float>* zero = colours.data() + 32768;
    zero[1] = {1.0f, 0.5f, 0.0f, 1.0f};
    zero[2] = {1.0f, 1.0f, 1.0f, 0.5f};
    zero[3] = {0.2f, 0.4f, 1.0f, 1.0f};
    zero[-1] = {0.5f, 0.5f, 0.5f, 0.25f};
    const auto region = MakeImage<unsigned char>(std::vector<int>{0, 1, 1, 0});
    const auto region16 = MakeImage<unsigned short>(std::vector<int>{0, 0x100, 0x101, 0});
    const ZelImage<unsigned char>* m8 = region.get();
    const ZelImage<unsigned short>* m16 = region16.get();
    const ZelRGBBase<unsigned char> blue{0, 0, 255};
    const ZelRGBBase<unsigned char> grey3{1, 2, 3};
    struct Row {
        const char* what;
        Convert convert;
        std::vector<short> values;
        int depth;
        std::vector<int> before;
        std::vector<int> pixels;
    };
    const Row rows[] = {
        {"ramp palette",
         CONVERT(WindowPseudoColor(b, s, 256, 128, false, p)),
         {0, 255, 128},
         3,
         {},
         {0, 0, 255, 255, 0, 0, 128, 0, 127}},
        {"width 1", CONVERT(WindowPseudoColor(b, s, 1, 0, false, p)), {-1, 0}, 3, {}, {0, 0, 255, 255, 0, 0}},
        {"width 1 inv", CONVERT(WindowPseudoColor(b, s, 1, 0, true, p)), {-1, 0}, 3, {}, {255, 0, 0, 0, 0, 255}},
        {"width 1 masked",
         CONVERT(WindowPseudoColorWithMask(b, s, 1, 0, false, m8, 1, p)),
         {-1, -1, 0, 0},
         3,
         {},
         {0, 0, 0, 0, 0, 255, 255, 0, 0, 255, 255, 255}},
        {"depth 1, no palette",
         CONVERT(PseudoColorTable(b, s, table.data(), 0, 255, noPalette)),
         {-5, 0, 10, 300},
         1,
         {},
         {255, 255, 245, 0}},
        {"colour table",
         CONVERT(ColorTable(b, s, zero)),
         {1, 2, 3, 0},
         4,
         {},
         {255, 127, 0, 255, 255, 255, 255, 127, 51, 102, 255, 255, 0, 0, 0, 0}},
        {"premultiplied",
         CONVERT(ColorTableWithOpacity(b, s, zero)),
         {2, 1, -1},
         4,
         {},
         {127, 127, 127, 127, 255, 127, 0, 255, 31, 31, 31, 63}},
        // More pixels than values: each value is converted once.
        {"tabulated",
         CONVERT(ColorTableWithOpacity(b, s, zero)),
         {2, 1, -1, 2, 1, -1, 2},
         4,
         {},
         {127, 127, 127, 127, 255, 127, 0,  255, 31, 31, 31,  63,  127, 127,
          127, 127, 255, 127, 0,   255, 31, 31,  31, 63, 127, 127, 127, 127}},
        // 256/128 is the identity window: opacity 0 keeps the grey, 1 is the colour.
        {"over grey",
         CONVERT(WindowColorTable(b, s, 256, 128, false, zero)),
         {0, 1, 3, -1},
         3,
         {},
         {0, 0, 0, 255, 127, 0, 51, 102, 255, 31, 31, 31}},
        {"blend",
         CONVERT(BlendingMask(b, m8, 1, 0.5f, blue)),
         {0, 0, 0, 0},
         3,
         std::vector<int>(12, 200),
         {200, 200, 200, 100, 100, 227, 100, 100, 227, 200, 200, 200}},
        {"blend half",
         CONVERT(BlendingMask(b, m8, 1, 0.5f, blue)),
         {0, 0},
         4,
         {0, 0, 0, 0, 200, 100, 0, 9},
         {0, 0, 0, 0, 100, 50, 127, 9}},
        {"blend wraps",
         CONVERT(BlendingMask(b, m16, 0x100, 2.0f, blue)),
         {0, 0},
         3,
         {0, 0, 0, 10, 0, 0},
         {0, 0, 0, 246, 0, 254}},
        {"paint outside",
         CONVERT(ApplyMask(b, m8, 1, blue)),
         {0, 0, 0, 0},
         4,
         std::vector<int>(16, 7),
         {0, 0, 255, 0, 7, 7, 7, 7, 7, 7, 7, 7, 0, 0, 255, 0}},
        {"paint all", CONVERT(ApplyMask(b, m8, 2, grey3)), {0, 0, 0, 0}, 1, std::vector<int>(4, 7), {2, 2, 2, 2}},
        {"paint 16-bit",
         CONVERT(ApplyMask(b, m16, 1, blue)),
         {0, 0, 0, 0},
         3,
         std::vector<int>(12, 7),
         {0, 0, 255, 0, 0, 255, 7, 7, 7, 0, 0, 255}},
    };
    for (const Row& r : rows) {
        EXPECT_EQ(Pixels(r.convert, r.values, static_cast<int>(r.values.size()), r.depth, r.before), r.pixels)
            << r.what;
    }
}

// Rows of random values (a third near the window) with a random mask: every
// colour conversion equals its grey conversion at depth 1 followed by the
// colour stage applied pixel by pixel.
TEST(ColourConverters, EqualGreyConversionThenColourStage)
{
    std::mt19937 random(11);
    Palette palette(256);
    for (auto& p : palette) p = {static_cast<unsigned char>(random()), static_cast<unsigned char>(random()), 7};
    std::vector<ZelRGBABase<float>> colours(65536);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f);
    for (auto& c : colours) c = {unit(random), unit(random), unit(random), random() % 4 ? unit(random) : 1.0f};
    ZelRGBABase<float>* zero = colours.data() + 32768;
    std::vector<unsigned char> table(4096);
    for (auto& t : table) t = static_cast<unsigned char>(random());
    ZelImageGeneratorTable object;
    ASSERT_TRUE(object.CreateTable(-1024, 3071));
    std::copy(table.begin(), table.end(), object.GetTable());

    for (int width : {5, 16, 33, 130, 700}) {
        const int height = 3;
        std::vector<short> values(static_cast<std::size_t>(width) * height);
        std::vector<int> labels(values.size());
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = static_cast<short>(i % 3 ? random() : random() % 800 - 360);
            labels[i] = static_cast<int>(random() % 4 == 0 ? 0x0F00 : random() % 4);
        }
        const auto mask8 = MakeImage<unsigned char>(labels);
        const auto mask16 = MakeImage<unsigned short>(labels);
        const auto grey = [&](const Convert& convert) { return Pixels(convert, values, width, 1); };
        const std::vector<int> window = grey(CONVERT(Window(b, s, 400, 40, true)));
        const std::vector<int> tabled = grey(CONVERT(Table(b, s, &object)));
        const std::vector<int> sigmoid = grey(CONVERT(Sigmoid(b, s, 300, -20, false)));

        enum Stage { Pal, Blend, Opaque };
        struct Case {
            const char* what;
            Convert convert;
            const std::vector<int>& levels;
            Stage stage;
            const ZelImageBase* mask;  // null: every pixel selected
            unsigned bits;
        };
        const Case cases[] = {
            {"window", CONVERT(WindowPseudoColor(b, s, 400, 40, true, palette.data())), window, Pal, nullptr, 0},
            {"window mask8",
             CONVERT(WindowPseudoColorWithMask(b, s, 400, 40, true, mask8.get(), 0x102, palette.data())), window, Pal,
             mask8.get(), 0x102},
            {"table", CONVERT(PseudoColorTable(b, s, &object, palette.data())), tabled, Pal, nullptr, 0},
            {"table mask16", CONVERT(PseudoColorTableWithMask(b, s, &object, mask16.get(), 0x0101, palette.data())),
             tabled, Pal, mask16.get(), 0x0101},
            {"sigmoid", CONVERT(SigmoidPseudoColor(b, s, 300, -20, false, palette.data())), sigmoid, Pal, nullptr, 0},
            {"sigmoid mask8",
             CONVERT(SigmoidPseudoColorWithMask(b, s, 300, -20, false, mask8.get(), 1, palette.data())), sigmoid, Pal,
             mask8.get(), 1},
            {"blend", CONVERT(WindowColorTable(b, s, 400, 40, true, zero)), window, Blend, nullptr, 0},
            {"blend table", CONVERT(WindowColorTable(b, s, &object, zero)), tabled, Blend, nullptr, 0},
            {"blend mask16", CONVERT(WindowColorTableWithMask(b, s, 400, 40, true, mask16.get(), 0x0F02, zero)), window,
             Blend, mask16.get(), 0x0F02},
            {"blend table mask8", CONVERT(WindowColorTableWithMask(b, s, &object, mask8.get(), 2, zero)), tabled, Blend,
             mask8.get(), 2},
            {"opaque mask8", CONVERT(WindowOnlyColorTableWithMask(b, s, 400, 40, true, mask8.get(), 3, zero)), window,
             Opaque, mask8.get(), 3},
        };
        for (const Case& c : cases) {
            std::vector<int> expected;
            for (std::size_t i = 0; i < values.size(); ++i) {
                const int g = c.levels[i];
                const unsigned narrowed = c.mask && c.mask->GetVoxelBytes() == 1 ? c.bits & 0xFF : c.bits;
                if (c.mask && (labels[i] & narrowed & (c.mask->GetVoxelBytes() == 1 ? 0xFF : 0xFFFF)) == 0) {
                    expected.insert(expected.end(), {g, g, g});
                    continue;
                }
                const ZelRGBABase<float>& e = zero[values[i]];
                const float a = static_cast<float>(e.a * 255.0);
                const float rest = static_cast<float>((1.0 - e.a) * g);
                switch (c.stage) {
                case Pal: expected.insert(expected.end(), {palette[g].r, palette[g].g, palette[g].b}); break;
                case Blend:
                    for (float component : {e.r, e.g, e.b})
                        expected.push_back(static_cast<int>(static_cast<double>(component) * a + rest));
                    break;
                case Opaque:
                    for (float component : {e.r, e.g, e.b}) expected.push_back(static_cast<int>(component * 255.0));
                    break;
                }
            }
            EXPECT_EQ(Pixels(c.convert, values, width, 3), expected) << c.what << " width " << width;
        }
    }
}

// The colour stage behind the plain window twin writes the same bytes as
// behind the vector stretch.
TEST(ColourConverters, PlainWindowTwinGivesTheSameColours)
{
    std::mt19937 random(3);
    const Palette palette = RampPalette();
    constexpr int kWidth = 1100;  // two runs of levels and a remainder
    std::vector<short> values(kWidth * 2);
    std::vector<unsigned char> fast(values.size() * 3);
    std::vector<unsigned char> twin(values.size() * 3);
    for (int trial = 0; trial < 200; ++trial) {
        const int width = 2 + static_cast<int>(random() % 3000);
        const int centre = static_cast<int>(random() % 4000) - 1000;
        for (short& v : values) v = static_cast<short>(random() % 2 ? random() : centre + random() % 64 - 32);
        ZelGreyRows rows;
        rows.src = values.data();
        rows.width = kWidth;
        rows.height = 2;
        rows.stride = kWidth * 3;
        rows.depth = 3;
        for (ZelSimd level : {ZelSimd::kAvx2, ZelSimd::kScalar}) {
            const ZelSimdCapScope cap(level);
            rows.dst = level == ZelSimd::kScalar ? twin.data() : fast.data();
            ZelColourRows(rows, ZelGreyStage::Window(width, centre, trial % 2 == 1), ZelMaskRows(),
                          ZelColourStage::Palette, {palette.data(), nullptr});
        }
        ASSERT_EQ(fast, twin) << "width " << width << " centre " << centre;
    }
}

// The colour tables against a per-pixel model, vector and scalar twins alike:
// components outside 0..1 and NaN saturate, and a slice whose strips alternate
// between few values (tabulated) and the whole 16-bit range (converted pixel
// by pixel) gives the model's bytes everywhere.
TEST(ColourConverters, ColourTablesMatchTheModel)
{
    std::mt19937 random(5);
    std::vector<ZelRGBABase<float>> colours(65536);
    std::uniform_real_distribution<float> wide(-0.2f, 1.2f);
    const float odd[] = {std::nanf(""), -0.0f, 1.0f, 0.999999f, 128.0f / 255.0f, 1e30f};
    for (auto& c : colours)
        for (float* k = &c.r; k <= &c.a; ++k) *k = random() % 8 ? wide(random) : odd[random() % 6];
    ZelRGBABase<float>* zero = colours.data() + 32768;
    const auto byte = [](double x) { return x > 0 ? (x < 255 ? static_cast<int>(x) : 255) : 0; };
    for (const int width : {7, 700}) {
        std::vector<short> values(static_cast<std::size_t>(width) * (width == 7 ? 5 : 70));
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<short>((i / 20000) % 2 == 1 || width == 7 ? random() : random() % 300 - 1000);
        for (const bool premultiplied : {false, true}) {
            std::vector<int> expected;
            for (short v : values) {
                const ZelRGBABase<float>& e = zero[v];
                const float a = static_cast<float>(e.a * 255.0);
                const double scale = premultiplied ? a : 255.0;
                expected.insert(expected.end(), {byte(e.r * scale), byte(e.g * scale), byte(e.b * scale),
                                                 byte(premultiplied ? a : e.a * 255.0)});
            }
            for (const ZelSimd level : {ZelSimd::kAvx2, ZelSimd::kScalar}) {
                const ZelSimdCapScope cap(level);
                const Convert convert = premultiplied ? Convert(CONVERT(ColorTableWithOpacity(b, s, zero)))
                                                      : Convert(CONVERT(ColorTable(b, s, zero)));
                EXPECT_EQ(Pixels(convert, values, width, 4), expected)
                    << "width " << width << " premultiplied " << premultiplied << " level " << static_cast<int>(level);
            }
        }
    }
}

TEST(ColourConverters, RejectionsWriteNothing)
{
    const Palette palette = RampPalette();
    const ZelRGBBase<unsigned char>* noPalette = nullptr;
    ZelRGBABase<float> colours[4] = {};
    ZelRGBABase<float>* noColours = nullptr;
    unsigned char table[4] = {1, 2, 3, 4};
    ZelImageGeneratorTable noArray;
    const auto mask = MakeImage<unsigned char>(std::vector<int>(8, 1));
    const auto small = MakeImage<unsigned char>(std::vector<int>(7, 1));
    ZelImage<ZelRGBBase<unsigned char>> colourMask;
    ASSERT_EQ(colourMask.Allocate(ZEL_ALIGNMENT_LINEAR, 8, 1, 1), 0);
    const ZelImageBase* noMask = nullptr;
    const ZelImage<unsigned char>* noMask8 = nullptr;
    const ZelRGBBase<unsigned char> red{255, 0, 0};
    struct Case {
        const char* what;
        int depth;
        Convert call;
    };
    const Case cases[] = {
        {"null palette", 3, CONVERT(WindowPseudoColor(b, s, 40, 0, false, noPalette))},
        {"window width 0", 3, CONVERT(WindowPseudoColor(b, s, 0, 0, false, palette.data()))},
        {"pseudo colour depth 1", 1, CONVERT(WindowPseudoColor(b, s, 40, 0, false, palette.data()))},
        {"null mask", 3, CONVERT(WindowPseudoColorWithMask(b, s, 40, 0, false, noMask, 1, palette.data()))},
        {"colour mask", 3, CONVERT(WindowPseudoColorWithMask(b, s, 40, 0, false, &colourMask, 1, palette.data()))},
        {"small mask", 3, CONVERT(WindowPseudoColorWithMask(b, s, 40, 0, false, small.get(), 1, palette.data()))},
        {"mask at depth 1", 1, CONVERT(PseudoColorTableWithMask(b, s, table, 0, 3, &colourMask, 1, palette.data()))},
        {"table null palette", 3, CONVERT(PseudoColorTable(b, s, table, 0, 3, noPalette))},
        {"table without array", 1, CONVERT(PseudoColorTable(b, s, &noArray, palette.data()))},
        {"sigmoid width 0", 3, CONVERT(SigmoidPseudoColor(b, s, 0, 0, false, palette.data()))},
        {"colour table depth 3", 3, CONVERT(ColorTable(b, s, colours))},
        {"null colour table", 4, CONVERT(ColorTableWithOpacity(b, s, noColours))},
        {"over grey null colours", 3, CONVERT(WindowColorTable(b, s, 40, 0, false, noColours))},
        {"over grey null table", 3,
         CONVERT(WindowColorTable(b, s, static_cast<ZelImageGeneratorTable*>(nullptr), colours))},
        {"opaque width 0", 3, CONVERT(WindowOnlyColorTableWithMask(b, s, 0, 0, false, mask.get(), 1, colours))},
        {"paint depth 2", 2, CONVERT(ApplyMask(b, mask.get(), 1, red))},
        {"paint null mask", 3, CONVERT(ApplyMask(b, noMask8, 1, red))},
        {"blend depth 1", 1, CONVERT(BlendingMask(b, mask.get(), 1, 0.5f, red))},
        {"blend small mask", 3, CONVERT(BlendingMask(b, small.get(), 1, 0.5f, red))},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(Pixels(c.call, std::vector<short>(8, 1), 4, c.depth).empty()) << c.what;
        EXPECT_FALSE(c.call(nullptr, MakeImage<short>(std::vector<short>{1}).get())) << c.what;
    }
    ZelImageBuffer empty;  // converts to nothing, successfully, at any depth asked
    EXPECT_TRUE(ZelIGConverter::ColorTable(&empty, MakeImage<short>(std::vector<short>{1}).get(), colours));
    EXPECT_TRUE(ZelIGConverter::BlendingMask(&empty, mask.get(), 1, 0.5f, red));
}

}  // namespace
