// Drawing engine core: colour packing, the pixel write, targets, clip
// rectangle rules, settings, clearing and shallow copies.
#include <gtest/gtest.h>

#include <climits>

#include "draw/draw_pixels.h"
#include "draw_test_helpers.h"

TEST(DrawCore, ColourPackingAndDivision)
{
    EXPECT_EQ(ZelImageDrawEngine::ColorFromRGB(0x12, 0x34, 0x56), 0xFF123456u);
    EXPECT_EQ(ZelImageDrawEngine::ColorFromRGBA(0x12, 0x34, 0x56, 0x78), 0x78123456u);
    // The fast division by 255 is exact over every value a blend can make.
    for (unsigned x = 0; x <= 255 * 255 + 255; ++x) ASSERT_EQ(zel_draw::Div255(x), x / 255) << x;
}

TEST(DrawCore, PixelWriteReplacesOrBlendsOnBothDepths)
{
    struct Row {
        int depth;
        std::uint32_t before, colour, after;
    } rows[] = {
        {4, 0x00000000, 0x80FF0000, 0x80800000},  // alpha byte 0 + 255 * 128 / 255
        {4, 0x40102030, 0xFFABCDEF, 0xFFABCDEF},  // opaque replaces, alpha 255
        {4, 0x40102030, 0x00ABCDEF, 0x40102030},  // alpha 0 changes nothing
        {4, 0xFF000000, 0x80FFFFFF, 0xFF808080},
        {3, 0x102030, 0x80FFFFFF, 0x878F97},  // (255 * 128 + 0x10 * 127) / 255 = 0x87
        {3, 0x102030, 0xFF445566, 0x445566},
    };
    for (const Row& r : rows) {
        DrawCanvas c(1, 1, r.depth);
        c.Set(0, 0, r.before);
        c.engine.SetColor(r.colour);
        c.engine.FillRectangle(0, 0, 0, 0);
        EXPECT_EQ(c.Get(0, 0), r.after) << std::hex << r.colour << " depth " << r.depth;
        c.Set(0, 0, r.before);
        c.engine.DrawLine(0, 0, 0, 0, true);
        EXPECT_EQ(c.Get(0, 0), r.after) << "line " << std::hex << r.colour;
    }
}

TEST(DrawCore, TargetsAndResizeShortcut)
{
    ZelImageDrawEngine e;
    EXPECT_EQ(e.GetDepth(), 4);
    EXPECT_EQ(e.Resize(8, 4, 3), 0);
    e.SetClipRectangle(2, 1, 3, 2);
    e.ClearImage(0xFF7F7F7F);
    // Same size, other depth: nothing changes, not even the clip.
    EXPECT_EQ(e.Resize(8, 4, 4), 0);
    EXPECT_EQ(e.GetDepth(), 3);
    int l, t, r, b;
    e.GetClipRectangle(l, t, r, b);
    EXPECT_EQ(r, 3);
    EXPECT_EQ(e.GetImagePtr()[0], 0x7F);
    // A new size clears to 0 and resets the clip.
    EXPECT_EQ(e.Resize(9, 4, 0), 0);
    EXPECT_EQ(e.GetDepth(), 3);
    e.GetClipRectangle(l, t, r, b);
    EXPECT_EQ(r, 8);
    EXPECT_EQ(e.GetImagePtr()[0], 0);
    EXPECT_EQ(e.Resize(-1, 4, 4), 7);
    EXPECT_EQ(e.GetImagePtr(), nullptr);
    e.FillRectangle(0, 0, 10, 10);  // no image: nothing, no crash

    unsigned char pixels[2 * 5 * 3 + 3] = {};
    e.SetExternalImagePtr(pixels, 2, 3, 3, 10);
    EXPECT_EQ(e.GetSizePerLine(), 10);
    e.ClearImage(0xFF010101);  // one fill over all but the last row's padding
    EXPECT_EQ(pixels[25], 1);
    EXPECT_EQ(pixels[26], 0);
    e.SetExternalImagePtr(pixels, 2, 3, 3, 0);
    EXPECT_EQ(e.GetSizePerLine(), 6);

    ZelImageBuffer padded;  // 5 x 2 x 3: 16-byte rows, one byte of padding
    padded.CreateImage(5, 2, 3);
    e.SetExternalImageBuffer(&padded);
    e.ClearImage(0xFF808080);
    EXPECT_EQ(padded.GetDataPtr()[31], 0x80);

    ZelImageBuffer buffer;
    buffer.CreateImage(5, 2, 4);
    e.SetExternalImageBuffer(&buffer);
    e.ClearImage(0xFF808080);  // alpha differs from grey: per pixel
    EXPECT_EQ(buffer.GetDataPtr()[3], 0xFF);
    EXPECT_EQ(buffer.GetDataPtr()[0], 0x80);
    ZelImageDrawEngine copy(e);
    EXPECT_EQ(copy.GetImageBuffer(), &buffer);
    e.SetExternalImageBuffer(nullptr);
    EXPECT_EQ(e.GetDepth(), 0);
}

TEST(DrawCore, CopiesShareAnOwnedImageSafely)
{
    auto* a = new ZelImageDrawEngine();
    a->Resize(4, 4, 4);
    ZelImageDrawEngine b(*a);
    EXPECT_EQ(b.GetImagePtr(), a->GetImagePtr());
    delete a;  // b still holds the image
    b.FillRectangle(0, 0, 3, 3);
    EXPECT_EQ(b.GetImagePtr()[0], 0xFF);
}

TEST(DrawCore, ClipRectangleRules)
{
    struct Row {
        int l, t, r, b;
        bool empty;
        int cl, ct, cr, cb;
    } rows[] = {
        {2, 3, 5, 6, false, 2, 3, 5, 6},
        {10, 0, 5, 0, true, 0, 0, 0, 0},
        {-50, -50, -10, -10, false, 0, 0, 0, 0},
        {100, 100, 200, 200, false, 19, 9, 19, 9},
        {INT_MIN, INT_MIN, INT_MAX, INT_MAX, false, 0, 0, 19, 9},
    };
    for (const Row& row : rows) {
        ZelImageDrawEngine e;
        e.Resize(20, 10, 4);
        e.SetClipRectangle(row.l, row.t, row.r, row.b);
        EXPECT_EQ(e.IsClipEmpty(), row.empty);
        if (row.empty) continue;
        int l, t, r, b;
        e.GetClipRectangle(l, t, r, b);
        EXPECT_EQ(l, row.cl);
        EXPECT_EQ(t, row.ct);
        EXPECT_EQ(r, row.cr);
        EXPECT_EQ(b, row.cb);
    }
    // An empty clip survives a change of target and stops all drawing.
    DrawCanvas c(4, 4);
    c.engine.SetClipRectangle(1, 0, 0, 0);
    c.engine.Resize(5, 5, 4);
    EXPECT_TRUE(c.engine.IsClipEmpty());
    c.engine.FillRectangle(0, 0, 4, 4);
    c.engine.DrawLine(0, 0, 4, 4, true);
    EXPECT_TRUE(c.Drawn().empty());
    c.engine.ClearClipRectangle();
    c.engine.FillRectangle(0, 0, 4, 4);
    EXPECT_EQ(c.Drawn().size(), 25u);
}

TEST(DrawCore, PenAndBrushSettings)
{
    ZelImageDrawEngine e;
    e.SetPenWidth(0);
    EXPECT_EQ(e.GetPenWidth(), 1);
    e.SetPenWidth(-5);
    EXPECT_EQ(e.GetPenWidth(), 1);
    // Switching dashes on restarts the phase unless a set phase is waiting.
    e.SetPenDashOffset(5);
    e.SetPenDash(true);
    EXPECT_EQ(e.GetPenDashOffset(), 5u);

    // A 3-entry pattern repeats over the 8 steps of the phase.
    DrawCanvas c(16, 1);
    const bool pattern[3] = {true, false, false};
    c.engine.SetPenDashPattern(pattern, 3);
    c.engine.SetPenDash(true);
    c.engine.DrawLine(0, 0, 15, 0, false);
    PixelSet expected;
    for (int x = 0; x < 15; ++x) {
        if (x % 8 % 3 == 0) expected.insert({x, 0});
    }
    EXPECT_EQ(c.Drawn(), expected);
    // No pattern at all turns every entry off.
    c.Clear();
    c.engine.SetPenDashPattern(nullptr, 8);
    c.engine.DrawLine(0, 0, 15, 0, true);
    EXPECT_TRUE(c.Drawn().empty());

    // A depth-2 texture is no texture: the fill uses the plain colour.
    DrawCanvas t(2, 1);
    const unsigned char texture[4] = {0, 0, 0, 0};
    t.engine.SetTextureBrush(texture, 2, 1, 2);
    t.engine.SetColor(0xFF112233);
    t.engine.FillRectangle(0, 0, 1, 0);
    EXPECT_EQ(t.Get(1, 0), 0xFF112233u);
}
