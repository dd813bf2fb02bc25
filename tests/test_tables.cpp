// Lookup tables: range handling, shallow copies, and the exact entries of the
// gamma table (single- and double-precision steps, truncation).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "ZelImageGeneratorGammaTable.h"
#include "ZelImageGeneratorTable.h"

namespace {

// A table that held -1024..3071 asked for another range; a reversed range
// releases what was held and resets the range to 0..0.
TEST(ImageGeneratorTable, RangesAndReuse)
{
    constexpr int kLowest = -2147483647 - 1;
    struct Row {
        int min, max;
        bool ok, freshGetsArray;
    };
    const Row rows[] = {
        {-1024, 3071, true, true},      {5, 5, true, true},
        {10, 5, false, false},          {0, 0, true, false},  // a fresh table asked for its own range keeps no array
        {kLowest, kLowest, true, true}, {2147483647, kLowest, false, false}};
    for (const Row& r : rows) {
        ZelImageGeneratorTable t;
        ASSERT_TRUE(t.CreateTable(-1024, 3071));
        t.GetTable()[4095] = 42;
        EXPECT_EQ(t.CreateTable(r.min, r.max), r.ok) << r.min << ".." << r.max;
        int min = 99;
        int max = 99;
        t.GetTableRange(min, max);
        EXPECT_EQ(min, r.ok ? r.min : 0);
        EXPECT_EQ(max, r.ok ? r.max : 0);
        EXPECT_EQ(t.GetTable() != nullptr, r.ok);
        // The same range keeps its entries, so that callers may re-create every frame.
        EXPECT_TRUE(r.min != -1024 || t.GetTable()[4095] == 42);
        ZelImageGeneratorTable fresh;
        EXPECT_EQ(fresh.CreateTable(r.min, r.max), r.ok);
        EXPECT_EQ(fresh.GetTable() != nullptr, r.freshGetsArray) << r.min << ".." << r.max;
    }
}

TEST(ImageGeneratorTable, CopiesShareTheArray)
{
    ZelImageGeneratorGammaTable source;
    ASSERT_TRUE(source.CreateTable(-10, 10, 40, 3, 2.0f, true));
    ZelImageGeneratorGammaTable copy(source);
    EXPECT_EQ(copy.GetTable(), source.GetTable());
    EXPECT_EQ(copy.GetWindowWidth(), 40);

    // operator= neither duplicates nor releases the target's old array.
    ZelImageGeneratorTable plain;
    ASSERT_TRUE(plain.CreateTable(0, 3));
    ZelImageGeneratorTable keeper(plain);  // will release the old array
    plain = source;
    EXPECT_EQ(plain.GetTable(), source.GetTable());
    int min = 0;
    int max = 0;
    plain.GetTableRange(min, max);
    EXPECT_EQ(min, -10);
    EXPECT_EQ(max, 10);
    // Drop the shared arrays without releasing them: operator= does not free.
    copy = ZelImageGeneratorGammaTable();
    plain = ZelImageGeneratorTable();
}

// Entries over 0..255. The inverted ramp is not the mirror image of the rising
// one: float steps and truncation. Widths below 2 act as 2.
TEST(ImageGeneratorGammaTable, KnownEntries)
{
    struct Row {
        int width, centre;
        float gamma;
        bool invert;
        std::vector<int> values, entries;
    };
    const Row rows[] = {
        {256, 128, 1.0f, true, {0, 1, 127, 128, 129, 254, 255}, {255, 254, 127, 126, 125, 0, 0}},
        {256, 128, 2.2f, false, {0, 1, 127, 128, 129, 254, 255}, {0, 20, 185, 186, 187, 254, 255}},
        {1, 100, 1.0f, false, {99, 100, 101}, {0, 255, 255}},  // width 2: 99 is the bottom, 100 already the top
    };
    for (const Row& r : rows) {
        ZelImageGeneratorGammaTable t;
        ASSERT_TRUE(t.CreateTable(0, 255, r.width, r.centre, r.gamma, r.invert));
        std::vector<int> entries;
        for (int v : r.values) entries.push_back(t.GetTable()[v]);
        EXPECT_EQ(entries, r.entries) << "width " << r.width << " gamma " << r.gamma << " invert " << r.invert;
    }
    ZelImageGeneratorGammaTable fresh;  // all defaults: nothing to compute
    EXPECT_TRUE(fresh.CreateTable(0, 0, 0, 0, 1.0f, false));
    EXPECT_EQ(fresh.GetTable(), nullptr);
    ASSERT_TRUE(fresh.CreateTable(0, 0, 10, 0, 1.0f, false));  // a 0..0 range still gets an array
    EXPECT_EQ(fresh.GetTable()[0], 141);                       // (0 + 0.5) / 9 + 0.5 of 255
}

TEST(ImageGeneratorGammaTable, UnchangedArgumentsRecomputeNothing)
{
    ZelImageGeneratorGammaTable t;
    ASSERT_TRUE(t.CreateTable(-50, 50, 60, 0, 1.0f, false));
    unsigned char* array = t.GetTable();
    array[0] = 77;  // a marker the recomputation would overwrite with 0
    EXPECT_TRUE(t.CreateTable(-50, 50, 60, 0, 1.0f, false));
    EXPECT_EQ(t.GetTable()[0], 77);
    // Only the gamma changes: same array, fresh entries.
    EXPECT_TRUE(t.CreateTable(-50, 50, 60, 0, 2.0f, false));
    EXPECT_EQ(t.GetTable(), array);
    EXPECT_EQ(t.GetTable()[0], 0);
    // A rejected range keeps the window of the last computation.
    EXPECT_FALSE(t.CreateTable(5, 4, 300, 7, 3.0f, true));
    EXPECT_EQ(t.GetWindowWidth(), 60);
    EXPECT_EQ(t.GetGamma(), 2.0f);
}

// The table skips pow where the result is known (clamped ends, exponent 1);
// every entry must still be what the plain curve gives, also for widths
// below 2 and gammas that are not positive (which act as 1).
TEST(ImageGeneratorGammaTable, EqualsThePlainCurve)
{
    std::mt19937 random(7);
    const float gammas[] = {1.0f, 2.2f, 0.45f, 1.0e-30f, 1.0e30f, INFINITY, 0.0f, -1.0f, std::nanf("")};
    for (int trial = 0; trial < 200; ++trial) {
        const int width = trial < 9 ? trial - 3 : std::uniform_int_distribution<int>(-3, 3000)(random);
        const int centre = std::uniform_int_distribution<int>(-1500, 3000)(random);
        const float gamma = gammas[trial % 9];
        const bool invert = trial % 3 == 0;
        ZelImageGeneratorGammaTable t;
        ASSERT_TRUE(t.CreateTable(-1024, 3071, width, centre, gamma, invert));
        EXPECT_EQ(t.GetWindowWidth(), std::max(width, 2));
        const float e = gamma > 0.0f ? 1.0f / gamma : 1.0f;
        const float d = static_cast<float>(std::max(width, 2) - 1);
        for (int v = -1024; v <= 3071; ++v) {
            float x = static_cast<float>((v - (static_cast<double>(static_cast<float>(centre)) - 0.5)) / d + 0.5);
            if (invert) x = 1.0f - x;
            x = x < 0.0f ? 0.0f : (x > 1.0f ? 1.0f : x);
            const float p = static_cast<float>(std::pow(static_cast<double>(x), static_cast<double>(e)));
            ASSERT_EQ(t.GetTable()[v + 1024], static_cast<int>(p * 255.0))
                << "width " << width << " centre " << centre << " gamma " << gamma << " value " << v;
        }
    }
}

}  // namespace
