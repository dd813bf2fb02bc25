// Grey conversions: the listed window, threshold, band, table and sigmoid
// values, the vector window stretch against its scalar twin, whole rows of odd
// widths against the per-pixel rules, and rejections that write nothing.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "ZelIGConverter.h"
#include "convert/table_kernels.h"
#include "convert/window_kernels.h"
#include "generators/dispatch.h"

namespace {

constexpr unsigned char kSentinel = 0xA5;

using Convert = std::function<bool(ZelImageBuffer*, const ZelImage<short>*)>;
#define CONVERT(call) [&](ZelImageBuffer* b, [[maybe_unused]] const ZelImage<short>* s) { return ZelIGConverter::call; }

// Converts `values` into a buffer `width` pixels wide whose every byte starts
// as the sentinel, and returns the grey level of every pixel (nothing when the
// call fails). The bytes of a pixel must agree and row padding stays as it was.
std::vector<int> Levels(const Convert& convert, const std::vector<short>& values, int width, int depth)
{
    ZelImage<short> slice;  // read as dense rows of the buffer's width
    EXPECT_EQ(slice.Allocate(ZEL_ALIGNMENT_LINEAR, static_cast<int>(values.size()), 1, 1), 0);
    std::copy(values.begin(), values.end(), slice.GetDataPtr());
    const int height = static_cast<int>(values.size()) / width;
    ZelImageBuffer buffer;
    EXPECT_TRUE(buffer.CreateImage(width, height, depth));
    const int stride = buffer.GetSizePerLine();
    std::memset(buffer.GetDataPtr(), kSentinel, static_cast<std::size_t>(stride) * height);
    if (!convert(&buffer, &slice)) {
        const unsigned char* data = buffer.GetDataPtr();
        EXPECT_TRUE(std::all_of(data, data + stride * height, [](unsigned char v) { return v == kSentinel; }))
            << "a refused call wrote";
        return {};
    }
    std::vector<int> levels;
    for (int y = 0; y < height; ++y) {
        const unsigned char* row = buffer.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * stride;
        for (int x = 0; x < width; ++x) {
            for (int c = 1; c < depth; ++c) EXPECT_EQ(row[x * depth + c], row[x * depth]) << x << "," << y;
            levels.push_back(row[x * depth]);
        }
        for (int p = depth * width; p < stride; ++p) EXPECT_EQ(row[p], kSentinel) << "padding of row " << y;
    }
    return levels;
}

// One value across 17 columns: 0..15 take the vector stretch, 16 the
// double-precision remainder.
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
        std::vector<int> expected(16, r.vector);
        expected.push_back(r.remainder);
        for (int depth : {1, 3}) {
            EXPECT_EQ(Levels(CONVERT(Window(b, s, 400, 40, r.invert)), std::vector<short>(17, r.value), 17, depth),
                      expected)
                << r.value << " invert " << r.invert << " depth " << depth;
        }
    }
}

// Each row once as listed and once repeated over 50 rows of 80, which takes
// the vector paths and the sigmoid's per-value table.
TEST(ConverterGrey, ListedLevels)
{
    std::vector<unsigned char> table(4096);
    for (int k = 0; k < 4096; ++k) table[k] = static_cast<unsigned char>(k % 251);
    ZelImageGeneratorTable object;
    ASSERT_TRUE(object.CreateTable(-1024, 3071));
    std::copy(table.begin(), table.end(), object.GetTable());

    ZelImage<short> one;
    ASSERT_EQ(one.Allocate(ZEL_ALIGNMENT_LINEAR, 1, 1, 1), 0);
    const std::vector<short> edges = {-32768, -101, -100, 99, 100, 101, 300, 301, 32767};
    const std::vector<short> far = {-32768, -1, 0, 1, 32767};
    const std::vector<short> clamp = {-32768, -2000, -1025, -1024, -1023, 0, 3070, 3071, 3072, 5000, 32767};
    const std::vector<short> curve = {-1000, -160, 0, 40, 41, 240, 1000};
    const std::vector<int> band = {0, 0, 255, 255, 255, 255, 255, 0, 0};
    const std::vector<int> clamped = {0, 0, 0, 0, 1, 20, 78, 79, 79, 79, 79};
    struct Row {
        Convert convert;
        bool greyOnly;
        std::vector<short> values;
        std::vector<int> levels;
    };
    const Row rows[] = {
        {CONVERT(Threshold(b, s, 100, false)), false, edges, {0, 0, 0, 0, 255, 255, 255, 255, 255}},
        {CONVERT(Threshold(b, s, 100, true)), false, edges, {255, 255, 255, 255, 0, 0, 0, 0, 0}},
        {CONVERT(Threshold(b, s, 40000, false)), false, edges, std::vector<int>(9, 0)},
        {CONVERT(Window(b, s, 1, 100, true)), false, edges, {255, 255, 255, 255, 0, 0, 0, 0, 0}},
        {CONVERT(HighAndLow(b, s, 300, -100)), true, edges, band},
        {CONVERT(HighAndLow(b, s, -100, 300)), true, edges, band},
        {CONVERT(Window(b, s, 2, -2000000000, false)), false, far, std::vector<int>(5, 255)},
        {CONVERT(Window(b, s, 2, 2000000000, false)), false, far, std::vector<int>(5, 0)},
        {CONVERT(Window(b, s, 2, -2000000000, true)), false, far, std::vector<int>(5, 0)},
        {CONVERT(Table(b, s, table.data(), -1024, 3071)), false, clamp, clamped},
        {CONVERT(Table(b, s, &object)), false, clamp, clamped},
        {CONVERT(Sigmoid(b, s, 400, 40, false)), false, curve, {0, 30, 102, 128, 128, 225, 255}},
        {CONVERT(Sigmoid(b, s, 400, 40, true)), false, curve, {255, 225, 153, 128, 127, 30, 0}},
        {CONVERT(Sigmoid(b, s, -400, 40, false)), false, {-160, 40, 240}, {225, 128, 30}},
        {CONVERT(Sigmoid(b, s, -400, 40, true)), false, {-160, 40, 240}, {30, 128, 225}},
    };
    for (std::size_t k = 0; k < std::size(rows); ++k) {
        const Row& r = rows[k];
        const std::size_t n = r.values.size();
        std::vector<short> many;
        std::vector<int> expected;
        for (std::size_t i = 0; i < 4000; ++i) {
            many.push_back(r.values[i % n]);
            expected.push_back(r.levels[i % n]);
        }
        for (int depth : {1, 3}) {
            const bool ok = depth == 1 || !r.greyOnly;
            EXPECT_EQ(Levels(r.convert, r.values, static_cast<int>(n), depth), ok ? r.levels : std::vector<int>())
                << "row " << k << " depth " << depth;
            EXPECT_EQ(Levels(r.convert, many, 80, depth), ok ? expected : std::vector<int>())
                << "row " << k << " depth " << depth;
        }
        ZelImageBuffer empty;  // converts to nothing, successfully
        EXPECT_TRUE(r.convert(&empty, &one)) << "row " << k;
    }
}

// The vector code and its plain twin agree on every value, for windows from
// the narrowest to the widest, rising and falling.
TEST(ConverterWindow, VectorStretchEqualsScalarTwin)
{
    std::mt19937 random(2024);
    std::uniform_int_distribution<int> anyValue(-32768, 32767);
#if defined(__SANITIZE_ADDRESS__)
    const int trials = 400;
#else
    const int trials = 4000;
#endif
    constexpr int kGroups = 128;
    std::vector<short> values(kGroups * 16);
    std::vector<unsigned char> fast(kGroups * 48);
    std::vector<unsigned char> twin(kGroups * 48);
    for (int trial = 0; trial < trials; ++trial) {
        // Widths spread over orders of magnitude; centres near the values.
        const int width = 2 + static_cast<int>(random() % (1u << (1 + random() % 16)));
        const int centre = std::uniform_int_distribution<int>(-3000, 5000)(random);
        const bool invert = trial % 2 == 1;
        const int depth = trial % 5 == 0 ? 3 : 1;
        const ZelWindowRamp ramp = ZelMakeWindowRamp(width, centre, invert);
        // Half of the values near the window, where rounding decides the byte.
        std::uniform_int_distribution<int> near(std::max(-32768, centre - width), std::min(32767, centre + width));
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<short>(i % 2 ? anyValue(random) : near(random));
        values[0] = -32768;
        values[1] = 32767;
        ZelWindowStretch(values.data(), fast.data(), kGroups, depth, ramp);
        {
            const ZelSimdCapScope scalar(ZelSimd::kScalar);
            ZelWindowStretch(values.data(), twin.data(), kGroups, depth, ramp);
        }
        ASSERT_EQ(std::memcmp(fast.data(), twin.data(), values.size() * depth), 0)
            << "width " << width << " centre " << centre << " invert " << invert << " depth " << depth;
    }
}

// Whole conversions of rows that are not multiples of 16 wide: the window's
// first 16 * floor(width / 16) columns follow the single-precision rule, the
// rest the double-precision one; the table's vector clamp equals the plain
// lookup for ranges from one value to the whole 16-bit span. Vector code
// and scalar twins alike.
TEST(ConverterRows, EqualThePerPixelRules)
{
    for (ZelSimd level : {ZelSimd::kAvx2, ZelSimd::kScalar}) {
        const ZelSimdCapScope cap(level);
        std::mt19937 random(5);
        std::vector<unsigned char> table(65536);
        for (unsigned char& entry : table) entry = static_cast<unsigned char>(random());
        const std::pair<short, short> ranges[] = {{-1024, 3071}, {-32768, 32767}, {7, 7}, {-5, 40}, {32000, 32767}};
        for (int width : {1, 3, 15, 16, 17, 31, 33, 47, 64, 85, 130}) {
            for (int depth : {1, 3}) {
                std::vector<short> values(static_cast<std::size_t>(width) * 3);
                for (short& v : values) v = static_cast<short>(random() % 2 ? random() : random() % 3000 - 1200);
                const ZelWindowRamp ramp = ZelMakeWindowRamp(37, 11, depth == 3);
                std::vector<int> expected;
                for (std::size_t i = 0; i < values.size(); ++i) {
                    const bool inVector = static_cast<int>(i) % width < width / 16 * 16;
                    expected.push_back(inVector ? ZelWindowByteFloat(values[i], ramp)
                                                : ZelWindowByteDouble(values[i], ramp));
                }
                EXPECT_EQ(Levels(CONVERT(Window(b, s, 37, 11, depth == 3)), values, width, depth), expected)
                    << "width " << width << " depth " << depth;
                for (const auto& range : ranges) {
                    const short min = range.first;
                    const short max = range.second;
                    expected.clear();
                    for (short v : values) expected.push_back(ZelTableByte(v, table.data(), min, max));
                    EXPECT_EQ(Levels(CONVERT(Table(b, s, table.data(), min, max)), values, width, depth), expected)
                        << "width " << width << " depth " << depth << " range " << min << ".." << max;
                }
            }
        }
    }
}

// Every rejected call returns false with the buffer as it was.
TEST(ConverterGrey, RejectionsWriteNothing)
{
    unsigned char table[4] = {1, 2, 3, 4};
    ZelImageGeneratorTable noArray;
    ZelImageGeneratorTable reversed;  // a 16-bit view of 0..40000 is reversed
    ASSERT_TRUE(reversed.CreateTable(0, 40000));
    ZelImage<short> small;  // fewer values than the 20 x 2 buffers below
    ASSERT_EQ(small.Allocate(ZEL_ALIGNMENT_LINEAR, 20, 1, 1), 0);
    const ZelImage<short>* none = nullptr;
    struct Case {
        const char* what;
        int depth;
        Convert call;
    };
    const Case cases[] = {
        {"threshold depth 4", 4, CONVERT(Threshold(b, s, 0, false))},
        {"threshold null slice", 1, CONVERT(Threshold(b, none, 0, false))},
        {"window width 0", 1, CONVERT(Window(b, s, 0, 0, false))},
        {"window width -5", 1, CONVERT(Window(b, s, -5, 0, false))},
        {"window depth 4", 4, CONVERT(Window(b, s, 400, 40, false))},
        {"window width 1 depth 4", 4, CONVERT(Window(b, s, 1, 40, false))},
        {"window depth 2", 2, CONVERT(Window(b, s, 400, 40, false))},
        {"window null slice", 3, CONVERT(Window(b, none, 400, 40, false))},
        {"window small slice", 1, CONVERT(Window(b, &small, 400, 40, false))},
        {"table null array", 1, CONVERT(Table(b, s, nullptr, 0, 3))},
        {"table reversed range", 1, CONVERT(Table(b, s, table, 3, 0))},
        {"table depth 4", 4, CONVERT(Table(b, s, table, 0, 3))},
        {"table null object", 1, CONVERT(Table(b, s, static_cast<ZelImageGeneratorTable*>(nullptr)))},
        {"table object without array", 1, CONVERT(Table(b, s, &noArray))},
        {"table object too wide", 1, CONVERT(Table(b, s, &reversed))},
        {"sigmoid width 0", 1, CONVERT(Sigmoid(b, s, 0, 0, false))},
        {"sigmoid depth 4", 4, CONVERT(Sigmoid(b, s, 10, 0, false))},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(Levels(c.call, std::vector<short>(40, 7), 20, c.depth).empty()) << c.what;
        EXPECT_FALSE(c.call(nullptr, &small)) << c.what;
    }
    ZelImageBuffer empty;
    EXPECT_TRUE(ZelIGConverter::FillZero(&empty));
    EXPECT_FALSE(ZelIGConverter::FillZero(nullptr));

    ZelImageBuffer padded;  // FillZero alone also clears the padding
    ASSERT_TRUE(padded.CreateImage(5, 3, 3));
    std::memset(padded.GetDataPtr(), kSentinel, 48);
    ASSERT_TRUE(ZelIGConverter::FillZero(&padded));
    EXPECT_TRUE(std::all_of(padded.GetDataPtr(), padded.GetDataPtr() + 48, [](unsigned char v) { return v == 0; }));
}

}  // namespace
