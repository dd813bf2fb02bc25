// Lookup tables: range handling, shallow copies, and the exact entries of the
// gamma table (single- and double-precision steps, truncation).
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>

#include "ZelImageGeneratorGammaTable.h"
#include "ZelImageGeneratorTable.h"

namespace {

// Drops a shared array without releasing it: operator= does not free.
template <class Table>
void Forget(Table& table)
{
    table = Table();
}

TEST(ImageGeneratorTable, CreateTableRanges)
{
    struct Row {
        int min, max;
        bool ok;
        int expectMin, expectMax;
        bool hasArray;
    };
    const Row rows[] = {
        {-1024, 3071, true, -1024, 3071, true},
        {5, 5, true, 5, 5, true},
        {10, 5, false, 0, 0, false},
        {0, 0, true, 0, 0, false},  // fresh table: unchanged range, no array
        {-2147483647 - 1, -2147483647 - 1, true, -2147483647 - 1, -2147483647 - 1, true},
        {2147483647, -2147483647 - 1, false, 0, 0, false},  // reversed by the widest margin
    };
    for (const Row& r : rows) {
        ZelImageGeneratorTable t;
        EXPECT_EQ(t.CreateTable(r.min, r.max), r.ok) << r.min << ".." << r.max;
        int min = 99;
        int max = 99;
        t.GetTableRange(min, max);
        EXPECT_EQ(min, r.expectMin);
        EXPECT_EQ(max, r.expectMax);
        EXPECT_EQ(t.GetTable() != nullptr, r.hasArray);
    }
}

TEST(ImageGeneratorTable, SameRangeKeepsEntriesOtherRangeReplaces)
{
    ZelImageGeneratorTable t;
    ASSERT_TRUE(t.CreateTable(-1024, 3071));
    unsigned char* first = t.GetTable();
    first[0] = 17;
    first[4095] = 42;
    EXPECT_TRUE(t.CreateTable(-1024, 3071));
    EXPECT_EQ(t.GetTable(), first);
    EXPECT_EQ(t.GetTable()[0], 17);
    EXPECT_EQ(t.GetTable()[4095], 42);

    // A reversed range releases what was held.
    EXPECT_FALSE(t.CreateTable(10, 5));
    EXPECT_EQ(t.GetTable(), nullptr);
    int min = 1;
    int max = 1;
    t.GetTableRange(min, max);
    EXPECT_EQ(min, 0);
    EXPECT_EQ(max, 0);
}

TEST(ImageGeneratorTable, CopiesShareTheArray)
{
    ZelImageGeneratorGammaTable source;
    ASSERT_TRUE(source.CreateTable(-10, 10, 40, 3, 2.0f, true));
    ZelImageGeneratorGammaTable copy(source);
    EXPECT_EQ(copy.GetTable(), source.GetTable());
    EXPECT_EQ(copy.GetWindowWidth(), 40);
    EXPECT_EQ(copy.GetWindowCentre(), 3);
    EXPECT_EQ(copy.GetGamma(), 2.0f);
    EXPECT_TRUE(copy.GetInvert());

    // operator= neither duplicates nor releases the target's old array.
    ZelImageGeneratorTable plain;
    ASSERT_TRUE(plain.CreateTable(0, 3));
    unsigned char* old = plain.GetTable();
    ZelImageGeneratorTable keeper(plain);  // will release `old`
    plain = source;
    EXPECT_EQ(plain.GetTable(), source.GetTable());
    int min = 0;
    int max = 0;
    plain.GetTableRange(min, max);
    EXPECT_EQ(min, -10);
    EXPECT_EQ(max, 10);
    EXPECT_EQ(keeper.GetTable(), old);
    Forget(copy);
    Forget(plain);
}

// Entries of a gamma table over 0..255 for a window of width 256 at 128.
TEST(ImageGeneratorGammaTable, KnownEntries)
{
    struct Row {
        float gamma;
        bool invert;
        int value;
        int entry;
    };
    const Row rows[] = {
        // Not the mirror image of the rising ramp: float steps and truncation.
        {1.0f, true, 0, 255},    {1.0f, true, 1, 254},    {1.0f, true, 127, 127},  {1.0f, true, 128, 126},
        {1.0f, true, 129, 125},  {1.0f, true, 254, 0},    {1.0f, true, 255, 0},    {2.2f, false, 0, 0},
        {2.2f, false, 1, 20},    {2.2f, false, 127, 185}, {2.2f, false, 128, 186}, {2.2f, false, 129, 187},
        {2.2f, false, 254, 254}, {2.2f, false, 255, 255},
    };
    for (const Row& r : rows) {
        ZelImageGeneratorGammaTable t;
        ASSERT_TRUE(t.CreateTable(0, 255, 256, 128, r.gamma, r.invert));
        EXPECT_EQ(t.GetTable()[r.value], r.entry)
            << "gamma " << r.gamma << " invert " << r.invert << " value " << r.value;
    }
}

TEST(ImageGeneratorGammaTable, LinearWindowOfWidth256IsTheIdentity)
{
    ZelImageGeneratorGammaTable t;
    ASSERT_TRUE(t.CreateTable(-100, 400, 256, 128, 1.0f, false));
    for (int v = -100; v <= 400; ++v) ASSERT_EQ(t.GetTable()[v + 100], std::min(std::max(v, 0), 255)) << v;
}

// Widths below 2 act as 2, gammas that are not positive as 1.
TEST(ImageGeneratorGammaTable, DegenerateParametersActAsTheirSubstitutes)
{
    struct Row {
        int width;
        float gamma;
        int actsWidth;
        float actsGamma;
    };
    const Row rows[] = {{1, 1.0f, 2, 1.0f},   {0, 1.0f, 2, 1.0f},    {-7, 1.7f, 2, 1.7f},
                        {90, 0.0f, 90, 1.0f}, {90, -3.0f, 90, 1.0f}, {90, std::nanf(""), 90, 1.0f}};
    for (const Row& r : rows) {
        ZelImageGeneratorGammaTable odd;
        ZelImageGeneratorGammaTable plain;
        ASSERT_TRUE(odd.CreateTable(0, 199, r.width, 100, r.gamma, false));
        ASSERT_TRUE(plain.CreateTable(0, 199, r.actsWidth, 100, r.actsGamma, false));
        EXPECT_EQ(odd.GetWindowWidth(), r.actsWidth);
        EXPECT_EQ(std::memcmp(odd.GetTable(), plain.GetTable(), 200), 0) << r.width << " " << r.gamma;
    }
    // Width 2 at centre 100: 99 is the bottom, 100 already the top.
    ZelImageGeneratorGammaTable t;
    ASSERT_TRUE(t.CreateTable(0, 199, 1, 100, 1.0f, false));
    EXPECT_EQ(t.GetTable()[99], 0);
    EXPECT_EQ(t.GetTable()[100], 255);
    EXPECT_EQ(t.GetTable()[101], 255);
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
    EXPECT_EQ(t.GetGamma(), 2.0f);

    // A rejected range keeps the window members of the last computation.
    EXPECT_FALSE(t.CreateTable(5, 4, 300, 7, 3.0f, true));
    EXPECT_EQ(t.GetWindowWidth(), 60);
    EXPECT_EQ(t.GetWindowCentre(), 0);
    EXPECT_EQ(t.GetGamma(), 2.0f);
    EXPECT_FALSE(t.GetInvert());
}

TEST(ImageGeneratorGammaTable, FreshObjectAskedForZeroRangeGetsAnArray)
{
    ZelImageGeneratorGammaTable t;
    // All defaults: the unchanged test holds and nothing is computed.
    EXPECT_TRUE(t.CreateTable(0, 0, 0, 0, 1.0f, false));
    EXPECT_EQ(t.GetTable(), nullptr);
    ASSERT_TRUE(t.CreateTable(0, 0, 10, 0, 1.0f, false));
    ASSERT_NE(t.GetTable(), nullptr);
    EXPECT_EQ(t.GetTable()[0], 141);  // (0 + 0.5) / 9 + 0.5 of 255
}

// The table skips pow where the result is known (clamped ends, exponent 1);
// every entry must still be what the plain curve gives.
TEST(ImageGeneratorGammaTable, EqualsThePlainCurve)
{
    std::mt19937 random(7);
    const float gammas[] = {1.0f, 2.2f, 0.45f, 1.0e-30f, 1.0e30f, INFINITY, 0.0f, -1.0f};
    for (int trial = 0; trial < 200; ++trial) {
        const int width = std::uniform_int_distribution<int>(-3, 3000)(random);
        const int centre = std::uniform_int_distribution<int>(-1500, 3000)(random);
        const float gamma = gammas[trial % 8];
        const bool invert = trial % 3 == 0;
        ZelImageGeneratorGammaTable t;
        ASSERT_TRUE(t.CreateTable(-1024, 3071, width, centre, gamma, invert));
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
