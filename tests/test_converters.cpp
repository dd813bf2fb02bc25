// Grey conversions: the listed window, table and sigmoid values, the vector
// window stretch against its scalar twin, both depths, odd row widths, row
// padding, and rejections that must leave the buffer untouched.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "ZelIGConverter.h"
#include "ZelImageGeneratorGammaTable.h"
#include "convert/table_kernels.h"
#include "convert/window_kernels.h"

namespace {

constexpr unsigned char kSentinel = 0xA5;

// A dense 2-D slice holding `values` row by row.
std::unique_ptr<ZelImage<short>> MakeSlice(int width, int height, const std::vector<short>& values)
{
    auto slice = std::make_unique<ZelImage<short>>();
    EXPECT_EQ(slice->Allocate(ZEL_ALIGNMENT_LINEAR, width, height, 1), 0);
    std::copy(values.begin(), values.end(), slice->GetDataPtr());
    return slice;
}

// A buffer whose every byte, padding included, holds the sentinel.
std::unique_ptr<ZelImageBuffer> MakeBuffer(int width, int height, int depth)
{
    auto buffer = std::make_unique<ZelImageBuffer>();
    EXPECT_TRUE(buffer->CreateImage(width, height, depth));
    std::memset(buffer->GetDataPtr(), kSentinel, static_cast<std::size_t>(buffer->GetSizePerLine()) * height);
    return buffer;
}

// The grey level of every pixel; checks that the pixel's bytes agree and that
// the row padding still holds the sentinel.
std::vector<int> Pixels(const ZelImageBuffer& buffer)
{
    std::vector<int> levels;
    const int depth = buffer.GetDepth();
    for (int y = 0; y < buffer.GetHeight(); ++y) {
        const unsigned char* row = buffer.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * buffer.GetSizePerLine();
        for (int x = 0; x < buffer.GetWidth(); ++x) {
            for (int c = 1; c < depth; ++c) EXPECT_EQ(row[x * depth + c], row[x * depth]) << "pixel " << x << "," << y;
            levels.push_back(row[x * depth]);
        }
        for (int p = depth * buffer.GetWidth(); p < buffer.GetSizePerLine(); ++p) {
            EXPECT_EQ(row[p], kSentinel) << "padding of row " << y;
        }
    }
    return levels;
}

using Convert = std::function<bool(ZelImageBuffer*, const ZelImage<short>*)>;

// Runs `convert` on a one-row slice of `values` at depths 1 and 3 and returns
// the levels of the depth-1 run (the depth-3 run must agree).
std::vector<int> ConvertRow(const std::vector<short>& values, const Convert& convert)
{
    const int width = static_cast<int>(values.size());
    auto slice = MakeSlice(width, 1, values);
    auto grey = MakeBuffer(width, 1, 1);
    auto triple = MakeBuffer(width, 1, 3);
    EXPECT_TRUE(convert(grey.get(), slice.get()));
    EXPECT_TRUE(convert(triple.get(), slice.get()));
    const std::vector<int> levels = Pixels(*grey);
    EXPECT_EQ(Pixels(*triple), levels);
    return levels;
}

Convert WindowOf(int width, int centre, bool invert)
{
    return [=](ZelImageBuffer* b, const ZelImage<short>* s) {
        return ZelIGConverter::Window(b, s, width, centre, invert);
    };
}

// Each value in a row of 17: columns 0..15 take the vector stretch, column 16
// the double-precision remainder.
TEST(ConverterWindow, ListedValuesInBothStretches)
{
    struct Row {
        bool invert;
        short value;
        int vector, remainder;
    };
    const Row rows[] = {
        {false, -1000, 0, 0},   {false, -160, 0, 0},    {false, -159, 0, 0},     {false, 0, 102, 102},
        {false, 39, 127, 127},  {false, 40, 127, 127},  {false, 41, 128, 128},   {false, 128, 184, 184},
        {false, 239, 255, 255}, {false, 240, 255, 255}, {false, 1000, 255, 255}, {true, -1000, 255, 255},
        {true, -160, 255, 254},  // single precision rounds up to 255, double stays below
        {true, -159, 254, 254}, {true, 0, 152, 152},    {true, 39, 127, 127},    {true, 40, 127, 127},
        {true, 41, 126, 126},   {true, 128, 70, 70},    {true, 239, 0, 0},       {true, 240, 0, 0},
        {true, 1000, 0, 0},
    };
    for (const Row& r : rows) {
        const std::vector<int> levels = ConvertRow(std::vector<short>(17, r.value), WindowOf(400, 40, r.invert));
        for (int x = 0; x < 16; ++x) ASSERT_EQ(levels[x], r.vector) << r.value << " invert " << r.invert;
        EXPECT_EQ(levels[16], r.remainder) << r.value << " invert " << r.invert;
    }
    const ZelWindowRamp ramp = ZelMakeWindowRamp(400, 40, false);
    EXPECT_FLOAT_EQ(ramp.slope, 0.6390977f);
    EXPECT_FLOAT_EQ(ramp.offset, 102.25564f);
}

TEST(ConverterWindow, Width256AtCentre128IsTheIdentity)
{
    std::vector<short> values;
    for (int v = -40; v < 300; ++v) values.push_back(static_cast<short>(v));  // 340 wide: both stretches
    const std::vector<int> levels = ConvertRow(values, WindowOf(256, 128, false));
    for (std::size_t i = 0; i < values.size(); ++i) ASSERT_EQ(levels[i], std::clamp<int>(values[i], 0, 255));
}

// The vector code and its plain twin agree on every value, for windows from
// the narrowest to the widest, rising and falling.
TEST(ConverterWindow, VectorStretchEqualsScalarTwin)
{
    std::mt19937 random(2024);
    std::uniform_int_distribution<int> anyValue(-32768, 32767);
    std::uniform_int_distribution<int> centreOf(-3000, 5000);
    std::uniform_int_distribution<int> logWidth(1, 16);
#if defined(__SANITIZE_ADDRESS__)
    const int trials = 400;
#else
    const int trials = 4000;
#endif
    constexpr int kGroups = 128;  // 2048 values per trial
    std::vector<short> values(kGroups * 16);
    std::vector<unsigned char> fast(kGroups * 48);
    std::vector<unsigned char> twin(kGroups * 48);
    for (int trial = 0; trial < trials; ++trial) {
        // Widths spread over orders of magnitude; centres near the values.
        const int width = 2 + static_cast<int>(random() % (1u << logWidth(random)));
        const int centre = centreOf(random);
        const bool invert = trial % 2 == 1;
        const int depth = trial % 5 == 0 ? 3 : 1;
        const ZelWindowRamp ramp = ZelMakeWindowRamp(width, centre, invert);
        // Half of the values near the window, where rounding decides the byte.
        std::uniform_int_distribution<int> nearWindow(std::max(-32768, centre - width),
                                                      std::min(32767, centre + width));
        for (std::size_t i = 0; i < values.size(); ++i) {
            values[i] = static_cast<short>(i % 2 ? anyValue(random) : nearWindow(random));
        }
        values[0] = -32768;
        values[1] = 32767;
        ZelWindowStretch(values.data(), fast.data(), kGroups, depth, ramp);
        ZelWindowStretchScalar(values.data(), twin.data(), kGroups, depth, ramp);
        const std::size_t bytes = values.size() * depth;
        ASSERT_EQ(std::memcmp(fast.data(), twin.data(), bytes), 0)
            << "width " << width << " centre " << centre << " invert " << invert << " depth " << depth;
    }
}

// Whole conversions of rows that are not multiples of 16 wide: the first
// 16 * floor(width / 16) columns follow the single-precision rule, the rest
// the double-precision one; padding is never written.
TEST(ConverterWindow, RowsSplitIntoVectorAndRemainder)
{
    std::mt19937 random(5);
    std::uniform_int_distribution<int> value(-1200, 1800);
    for (int width : {1, 3, 15, 16, 17, 31, 33, 47, 64, 85}) {
        for (int depth : {1, 3}) {
            const int height = 3;
            std::vector<short> values(static_cast<std::size_t>(width) * height);
            for (short& v : values) v = static_cast<short>(value(random));
            auto slice = MakeSlice(width, height, values);
            auto buffer = MakeBuffer(width, height, depth);
            const ZelWindowRamp ramp = ZelMakeWindowRamp(37, 11, depth == 3);
            ASSERT_TRUE(ZelIGConverter::Window(buffer.get(), slice.get(), 37, 11, depth == 3));
            const std::vector<int> levels = Pixels(*buffer);
            const int vectorColumns = width / 16 * 16;
            for (int i = 0; i < width * height; ++i) {
                const bool inVector = i % width < vectorColumns;
                const int expected =
                    inVector ? ZelWindowByteFloat(values[i], ramp) : ZelWindowByteDouble(values[i], ramp);
                ASSERT_EQ(levels[i], expected) << "width " << width << " depth " << depth << " pixel " << i;
            }
        }
    }
}

TEST(ConverterWindow, FarCentresClampToOneEnd)
{
    const std::vector<short> values = {-32768, -1, 0, 1, 32767};
    EXPECT_EQ(ConvertRow(values, WindowOf(2, -2000000000, false)), std::vector<int>(5, 255));
    EXPECT_EQ(ConvertRow(values, WindowOf(2, 2000000000, false)), std::vector<int>(5, 0));
    EXPECT_EQ(ConvertRow(values, WindowOf(2, -2000000000, true)), std::vector<int>(5, 0));
}

TEST(ConverterGrey, ThresholdHighAndLowAndWidthOneWindow)
{
    const std::vector<short> values = {-32768, -101, -100, 99, 100, 101, 300, 301, 32767};
    EXPECT_EQ(ConvertRow(values, [](ZelImageBuffer* b,
                                    const ZelImage<short>* s) { return ZelIGConverter::Threshold(b, s, 100, false); }),
              (std::vector<int>{0, 0, 0, 0, 255, 255, 255, 255, 255}));
    EXPECT_EQ(ConvertRow(values, [](ZelImageBuffer* b,
                                    const ZelImage<short>* s) { return ZelIGConverter::Threshold(b, s, 100, true); }),
              (std::vector<int>{255, 255, 255, 255, 0, 0, 0, 0, 0}));
    // Thresholds beyond the 16-bit range.
    EXPECT_EQ(
        ConvertRow(values, [](ZelImageBuffer* b,
                              const ZelImage<short>* s) { return ZelIGConverter::Threshold(b, s, 40000, false); }),
        std::vector<int>(values.size(), 0));
    EXPECT_EQ(ConvertRow(values, WindowOf(1, 100, true)),
              ConvertRow(values, [](ZelImageBuffer* b, const ZelImage<short>* s) {
                  return ZelIGConverter::Threshold(b, s, 100, true);
              }));

    // Band limits are inclusive and may come in either order (depth 1 only).
    auto slice = MakeSlice(9, 1, values);
    for (auto limits : {std::make_pair(300, -100), std::make_pair(-100, 300)}) {
        auto buffer = MakeBuffer(9, 1, 1);
        ASSERT_TRUE(ZelIGConverter::HighAndLow(buffer.get(), slice.get(), static_cast<short>(limits.first),
                                               static_cast<short>(limits.second)));
        EXPECT_EQ(Pixels(*buffer), (std::vector<int>{0, 0, 255, 255, 255, 255, 255, 0, 0}));
    }
}

TEST(ConverterTable, ClampsToTheRange)
{
    std::vector<unsigned char> table(4096);
    for (int k = 0; k < 4096; ++k) table[k] = static_cast<unsigned char>(k * 7 + 3);
    ZelImageGeneratorTable object;
    ASSERT_TRUE(object.CreateTable(-1024, 3071));
    std::memcpy(object.GetTable(), table.data(), table.size());

    const std::vector<short> values = {-32768, -2000, -1025, -1024, -1023, 0, 3070, 3071, 3072, 5000, 32767};
    const std::vector<int> entries = {0, 0, 0, 0, 1, 1024, 4094, 4095, 4095, 4095, 4095};
    std::vector<int> expected;
    for (int k : entries) expected.push_back(table[k]);
    EXPECT_EQ(ConvertRow(values,
                         [&](ZelImageBuffer* b, const ZelImage<short>* s) {
                             return ZelIGConverter::Table(b, s, table.data(), -1024, 3071);
                         }),
              expected);
    EXPECT_EQ(ConvertRow(values, [&](ZelImageBuffer* b,
                                     const ZelImage<short>* s) { return ZelIGConverter::Table(b, s, &object); }),
              expected);
}

// The vector clamp and register gather against the plain per-pixel lookup,
// for ranges from a single value to the whole 16-bit span.
TEST(ConverterTable, RowsEqualPlainLookup)
{
    std::mt19937 random(11);
    std::uniform_int_distribution<int> anyValue(-32768, 32767);
    std::vector<unsigned char> table(65536);
    for (unsigned char& entry : table) entry = static_cast<unsigned char>(random());
    const std::pair<int, int> ranges[] = {{-1024, 3071}, {-32768, 32767}, {7, 7}, {-5, 40}, {32000, 32767}};
    for (int width : {5, 16, 35, 130}) {
        for (int depth : {1, 3}) {
            for (const auto& range : ranges) {
                const int height = 4;
                std::vector<short> values(static_cast<std::size_t>(width) * height);
                for (short& v : values) v = static_cast<short>(anyValue(random) / (random() % 2 ? 1 : 16));
                auto slice = MakeSlice(width, height, values);
                auto buffer = MakeBuffer(width, height, depth);
                const auto min = static_cast<short>(range.first);
                const auto max = static_cast<short>(range.second);
                ASSERT_TRUE(ZelIGConverter::Table(buffer.get(), slice.get(), table.data(), min, max));
                const std::vector<int> levels = Pixels(*buffer);
                for (std::size_t i = 0; i < values.size(); ++i) {
                    ASSERT_EQ(levels[i], ZelTableByte(values[i], table.data(), min, max))
                        << "width " << width << " depth " << depth << " range " << min << ".." << max;
                }
            }
        }
    }
}

TEST(ConverterSigmoid, ListedValues)
{
    struct Row {
        int width;
        bool invert;
        std::vector<short> values;
        std::vector<int> levels;
    };
    const Row rows[] = {
        {400, false, {-1000, -160, 0, 40, 41, 240, 1000}, {0, 30, 102, 128, 128, 225, 255}},
        {400, true, {-1000, -160, 0, 40, 41, 240, 1000}, {255, 225, 153, 128, 127, 30, 0}},
        {-400, false, {-160, 40, 240}, {225, 128, 30}},
        {-400, true, {-160, 40, 240}, {30, 128, 225}},
    };
    for (const Row& r : rows) {
        auto sigmoid = [&](ZelImageBuffer* b, const ZelImage<short>* s) {
            return ZelIGConverter::Sigmoid(b, s, r.width, 40, r.invert);
        };
        // A short row spans more values than it has pixels (curve per pixel);
        // the same values repeated over a large block take the per-value table.
        EXPECT_EQ(ConvertRow(r.values, sigmoid), r.levels);
        std::vector<short> many;
        std::vector<int> expected;
        for (int i = 0; i < 4000; ++i) {
            many.push_back(r.values[i % r.values.size()]);
            expected.push_back(r.levels[i % r.values.size()]);
        }
        EXPECT_EQ(ConvertRow(many, sigmoid), expected);
    }
}

TEST(ConverterGrey, FillZeroClearsPaddingToo)
{
    auto buffer = MakeBuffer(5, 3, 3);
    ASSERT_TRUE(ZelIGConverter::FillZero(buffer.get()));
    for (int i = 0; i < buffer->GetSizePerLine() * 3; ++i) ASSERT_EQ(buffer->GetDataPtr()[i], 0);
    EXPECT_FALSE(ZelIGConverter::FillZero(nullptr));
}

// Every rejected call returns false with the buffer as it was; every call on
// an empty buffer succeeds.
TEST(ConverterGrey, RejectionsWriteNothing)
{
    unsigned char table[4] = {1, 2, 3, 4};
    ZelImageGeneratorTable noArray;
    ZelImageGeneratorTable reversed;  // a 16-bit view of 0..40000 is reversed
    ASSERT_TRUE(reversed.CreateTable(0, 40000));
    auto slice = MakeSlice(20, 2, std::vector<short>(40, 7));
    auto small = MakeSlice(20, 1, std::vector<short>(20, 7));
    struct Case {
        const char* what;
        int depth;
        std::function<bool(ZelImageBuffer*)> call;
    };
    const ZelImage<short>* s = slice.get();
    const Case cases[] = {
        {"threshold depth 4", 4, [&](ZelImageBuffer* b) { return ZelIGConverter::Threshold(b, s, 0, false); }},
        {"threshold null slice", 1, [&](ZelImageBuffer* b) { return ZelIGConverter::Threshold(b, nullptr, 0, false); }},
        {"band depth 3", 3, [&](ZelImageBuffer* b) { return ZelIGConverter::HighAndLow(b, s, 0, 9); }},
        {"window width 0", 1, [&](ZelImageBuffer* b) { return ZelIGConverter::Window(b, s, 0, 0, false); }},
        {"window width -5", 1, [&](ZelImageBuffer* b) { return ZelIGConverter::Window(b, s, -5, 0, false); }},
        {"window depth 4", 4, [&](ZelImageBuffer* b) { return ZelIGConverter::Window(b, s, 400, 40, false); }},
        {"window width 1 depth 4", 4, [&](ZelImageBuffer* b) { return ZelIGConverter::Window(b, s, 1, 40, false); }},
        {"window depth 2", 2, [&](ZelImageBuffer* b) { return ZelIGConverter::Window(b, s, 400, 40, false); }},
        {"window null slice", 3, [&](ZelImageBuffer* b) { return ZelIGConverter::Window(b, nullptr, 400, 40, false); }},
        {"window small slice", 1,
         [&](ZelImageBuffer* b) { return ZelIGConverter::Window(b, small.get(), 400, 40, false); }},
        {"table null array", 1, [&](ZelImageBuffer* b) { return ZelIGConverter::Table(b, s, nullptr, 0, 3); }},
        {"table reversed range", 1, [&](ZelImageBuffer* b) { return ZelIGConverter::Table(b, s, table, 3, 0); }},
        {"table depth 4", 4, [&](ZelImageBuffer* b) { return ZelIGConverter::Table(b, s, table, 0, 3); }},
        {"table null object", 1,
         [&](ZelImageBuffer* b) { return ZelIGConverter::Table(b, s, static_cast<ZelImageGeneratorTable*>(nullptr)); }},
        {"table object without array", 1, [&](ZelImageBuffer* b) { return ZelIGConverter::Table(b, s, &noArray); }},
        {"table object too wide", 1, [&](ZelImageBuffer* b) { return ZelIGConverter::Table(b, s, &reversed); }},
        {"sigmoid width 0", 1, [&](ZelImageBuffer* b) { return ZelIGConverter::Sigmoid(b, s, 0, 0, false); }},
        {"sigmoid depth 4", 4, [&](ZelImageBuffer* b) { return ZelIGConverter::Sigmoid(b, s, 10, 0, false); }},
    };
    for (const Case& c : cases) {
        auto buffer = MakeBuffer(20, 2, c.depth);
        EXPECT_FALSE(c.call(buffer.get())) << c.what;
        const unsigned char* data = buffer->GetDataPtr();
        const int bytes = buffer->GetSizePerLine() * 2;
        EXPECT_TRUE(std::all_of(data, data + bytes, [](unsigned char v) { return v == kSentinel; })) << c.what;
        EXPECT_FALSE(c.call(nullptr)) << c.what;
    }

    ZelImageBuffer empty;
    EXPECT_TRUE(ZelIGConverter::Threshold(&empty, s, 0, false));
    EXPECT_TRUE(ZelIGConverter::HighAndLow(&empty, s, 0, 1));
    EXPECT_TRUE(ZelIGConverter::Window(&empty, s, 400, 40, true));
    EXPECT_TRUE(ZelIGConverter::Table(&empty, s, table, 0, 3));
    EXPECT_TRUE(ZelIGConverter::Sigmoid(&empty, s, 400, 40, false));
    EXPECT_TRUE(ZelIGConverter::FillZero(&empty));
}

}  // namespace
