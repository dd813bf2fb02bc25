// Image blits and effects: the source-to-target table for every source depth
// and palette on both target depths, partial and clipped copies, the scaled
// mapping (nearest and bilinear), and Monochrome / MakeTransparent.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "draw/draw_rows.h"
#include "generators/dispatch.h"

#include "draw_test_helpers.h"

TEST(DrawBlit, SourcePixelRules)
{
    // Palette entries as stored bytes: blue, green, red, alpha.
    std::vector<ZelRGBABase<unsigned char>> palette(3);
    palette[0] = {10, 20, 30, 255};
    palette[1] = {200, 100, 50, 0};
    palette[2] = {255, 255, 255, 128};
    struct Row {
        int sourceDepth;
        bool palette;
        int targetDepth;
        std::vector<unsigned char> source;  // one pixel, then padding bytes for the look-ahead
        std::uint32_t before, after;
    } rows[] = {
        {1, false, 3, {77}, 0x123456, 0x4D4D4D},
        {1, false, 4, {77}, 0x00123456, 0xFF4D4D4D},
        {1, true, 3, {0}, 0x123456, 0x1E140A},
        {1, true, 4, {0}, 0x00123456, 0xFF1E140A},
        {1, true, 4, {1}, 0x40123456, 0x40123456},  // alpha 0: untouched
        {1, true, 3, {2}, 0x000000, 0x808080},
        // Depth 4 with a half-transparent entry: the colour weight comes from
        // the source byte three pixels on (here 255, so no destination).
        {1, true, 4, {2, 0, 0, 255}, 0x00FFFFFF, 0x80808080},
        {3, false, 4, {1, 2, 3}, 0x00000000, 0xFF030201},
        {4, false, 3, {0, 0, 255, 128}, 0x0000FF, 0x80007F},
        {4, false, 4, {9, 9, 9, 0}, 0x11223344, 0x11223344},
        {4, false, 4, {9, 8, 7, 255}, 0x11223344, 0xFF070809},
        {4, false, 4, {255, 255, 255, 128}, 0x00000000, 0x80808080},
    };
    for (const Row& r : rows) {
        DrawCanvas c(1, 1, r.targetDepth);
        c.Set(0, 0, r.before);
        if (r.palette) c.engine.SetImageColorPalette(palette.data(), 3);
        const int width = static_cast<int>(r.source.size()) / r.sourceDepth;
        c.engine.DrawPartialImage(0, 0, 0, 0, 1, 1, r.source.data(), width, 1, r.sourceDepth, 0);
        EXPECT_EQ(c.Get(0, 0), r.after) << "source depth " << r.sourceDepth << " target " << r.targetDepth << " "
                                        << std::hex << r.after;
    }
}

TEST(DrawBlit, PartialAndClippedCopies)
{
    std::vector<unsigned char> grey(10 * 4);
    for (std::size_t i = 0; i < grey.size(); ++i) grey[i] = static_cast<unsigned char>(i + 1);
    DrawCanvas c(8, 8);
    // A block reaching past the source draws nothing at all.
    c.engine.DrawPartialImage(0, 0, 6, 0, 5, 2, grey.data(), 10, 4, 1, 10);
    EXPECT_TRUE(c.Drawn().empty());
    // Cut on the left: x = -5 starts at source column srcX + 5.
    c.engine.DrawPartialImage(-5, 0, 1, 1, 8, 2, grey.data(), 10, 4, 1, 0);
    EXPECT_EQ(c.Get(0, 0) & 0xFF, grey[1 * 10 + 6]);
    EXPECT_EQ(c.Get(2, 1) & 0xFF, grey[2 * 10 + 8]);
    EXPECT_EQ(c.Get(3, 0), 0u);
}

TEST(DrawBlit, ScaledMappingIsCornerAligned)
{
    const unsigned char two[2 * 3] = {0, 0, 0, 200, 100, 50};
    DrawCanvas c(3, 1, 3);
    c.engine.DrawScaledImage(0, 0, 3, 1, two, 2, 1, 3, 0);
    // The middle pixel has fx = 128 between the two.
    EXPECT_EQ(c.Get(0, 0), 0x000000u);
    EXPECT_EQ(c.Get(1, 0), 0x193264u);
    EXPECT_EQ(c.Get(2, 0), 0x3264C8u);
    c.engine.SetBilinearFilter(false);
    c.engine.DrawScaledImage(0, 0, 3, 1, two, 2, 1, 3, 0);
    EXPECT_EQ(c.Get(1, 0), 0x000000u);

    // Enlarging by whole steps of the corner mapping keeps the sources on
    // their grid; a 1 x 1 block is a filled rectangle of its colour.
    std::vector<unsigned char> src(5 * 5 * 4);
    for (std::size_t i = 0; i < src.size(); ++i) src[i] = static_cast<unsigned char>(i * 37 | 3);
    for (bool bilinear : {true, false}) {
        DrawCanvas s(9, 9);
        s.engine.SetBilinearFilter(bilinear);
        s.engine.DrawScaledImage(0, 0, 9, 9, src.data(), 5, 5, 4, 0);
        for (int j = 0; j < 5; ++j) {
            for (int i = 0; i < 5; ++i) {
                DrawCanvas one(1, 1);
                one.engine.DrawImage(0, 0, src.data() + 4 * (j * 5 + i), 1, 1, 4, 0);
                EXPECT_EQ(s.Get(2 * i, 2 * j), one.Get(0, 0));
            }
        }
    }
    // An opaque 4-byte source scales to the bytes of its 3-byte twin.
    std::vector<unsigned char> rgb(7 * 5 * 3), rgba(7 * 5 * 4);
    for (int i = 0; i < 35; ++i) {
        for (int c = 0; c < 3; ++c) rgb[3 * i + c] = rgba[4 * i + c] = static_cast<unsigned char>(i * 53 + c * 91);
        rgba[4 * i + 3] = 255;
    }
    DrawCanvas from3(23, 17), from4(23, 17);
    from3.engine.DrawScaledImage(-2, 1, 26, 15, rgb.data(), 7, 5, 3, 0);
    from4.engine.DrawScaledImage(-2, 1, 26, 15, rgba.data(), 7, 5, 4, 0);
    for (int y = 0; y < 17; ++y) {
        for (int x = 0; x < 23; ++x) ASSERT_EQ(from3.Get(x, y), from4.Get(x, y)) << x << "," << y;
    }

    DrawCanvas fill(6, 6);
    const unsigned char red[3] = {0, 0, 255};
    fill.engine.DrawScaledImage(1, 1, 4, 3, red, 1, 1, 3, 0);
    EXPECT_EQ(fill.Drawn().size(), 12u);
    EXPECT_EQ(fill.Get(4, 3), 0xFFFF0000u);
}

TEST(DrawBlit, MonochromeAndTransparency)
{
    struct Row {
        float factor;
        std::uint32_t before, mono, transparent;
    } rows[] = {
        {1.0f, 0xFFFF0000, 0xFF4C4C4C, 0xFFFF0000}, {2.0f, 0xFFFF0000, 0xFF4C4C4C, 0xFFFF0000},
        {0.5f, 0xFFFF0000, 0xFF262626, 0x7FFF0000}, {0.0f, 0x80FFFFFF, 0x80000000, 0x00FFFFFF},
        {-1.f, 0x80FFFFFF, 0x80000000, 0x00FFFFFF},
    };
    for (const Row& r : rows) {
        DrawCanvas m(2, 1), t(2, 1);
        m.Set(1, 0, r.before);
        t.Set(1, 0, r.before);
        m.engine.Monochrome(r.factor);
        t.engine.MakeTransparent(r.factor);
        EXPECT_EQ(m.Get(1, 0), r.mono) << r.factor;
        EXPECT_EQ(t.Get(1, 0), r.transparent) << r.factor;
    }
}

// The vector row kernels give the bytes of their plain twins.
TEST(DrawBlit, VectorRowsEqualPlainRows)
{
    std::mt19937 rng(5);
    const auto byte = [&] { return static_cast<unsigned char>(rng()); };
    for (int trial = 0; trial < 300; ++trial) {
        const int n = 1 + trial % 37;
        std::vector<unsigned char> coverage(n), r0(4 * n + 4), r1(4 * n + 4), pixels(4 * n);
        for (auto& c : coverage) c = trial % 3 ? byte() : static_cast<unsigned char>(byte() & 0x81);
        for (auto& v : pixels) v = byte();
        for (auto& v : r0) v = byte();
        for (auto& v : r1) v = byte();
        const zel_draw::Colour colour(static_cast<std::uint32_t>(rng()) | (trial % 2 ? 0xFF000000u : 0));
        const unsigned fy = rng() % 256;
        std::vector<int> cols(n);
        std::vector<std::uint16_t> weights(8 * n);
        for (int i = 0; i < n; ++i) {
            cols[i] = static_cast<int>(rng() % static_cast<unsigned>(n));
            const unsigned fx = rng() % 256;
            for (int c = 0; c < 4; ++c) weights[8 * i + c] = 256 - fx, weights[8 * i + 4 + c] = fx;
        }
        // Every kernel once with the vector code allowed, once forced plain.
        struct Out {
            std::vector<unsigned char> blended;
            std::vector<std::uint16_t> columns;
            std::vector<unsigned char> span;
        } out[2];
        for (int k = 0; k < 2; ++k) {
            const ZelSimdCapScope cap(k == 0 ? ZelSimd::kAvx2 : ZelSimd::kScalar);
            out[k].blended = pixels;
            zel_draw::BlendCoverageRow4(out[k].blended.data(), coverage.data(), n, colour);
            out[k].columns.assign(4 * (n + 2), 0);
            zel_draw::BilinearColumns4(r0.data(), r1.data(), n + 1, fy, out[k].columns.data());
            out[k].span.assign(4 * n, 0);
            zel_draw::BilinearSpan(out[0].columns.data(), cols.data(), weights.data(), n, out[k].span.data());
        }
        ASSERT_EQ(out[0].blended, out[1].blended) << trial;
        ASSERT_EQ(out[0].columns, out[1].columns) << trial;
        ASSERT_EQ(out[0].span, out[1].span) << trial;
    }
}
