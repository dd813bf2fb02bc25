// Text: font heights, markup measurement, alignment boxes, rotation, outline
// and the glyph cache.
#include <gtest/gtest.h>

#include <climits>

#include "ZelFont.h"
#include "ZelImageDrawEngineFlat.h"
#include "draw_test_helpers.h"

using Engine = ZelImageDrawEngine;

namespace {

struct Font {
    HFONT font;
    explicit Font(int points, bool bold = false, int dpi = 96, int minHeight = 0)
        : font(Engine::CreateFont(L"DejaVu Sans", points, bold, dpi, minHeight))
    {
    }
    ~Font() { Engine::DeleteFont(font); }
};

struct Box {
    int left = INT_MAX, top = INT_MAX, right = INT_MIN, bottom = INT_MIN;
};

Box Bounds(const PixelSet& set)
{
    Box b;
    for (const Pixel& p : set) {
        b.left = std::min(b.left, p.first);
        b.right = std::max(b.right, p.first);
        b.top = std::min(b.top, p.second);
        b.bottom = std::max(b.bottom, p.second);
    }
    return b;
}

}  // namespace

TEST(DrawText, FontHeightsFollowThePointSize)
{
    struct Row {
        int points, dpi, minHeight, pixels;
    } rows[] = {{9, 96, 0, 12}, {9, 96, 14, 14}, {9, 96, 12, 12}, {12, 72, 0, 12}, {10, 300, 0, 42}, {0, 96, 0, 0}};
    for (const Row& r : rows) {
        Font f(r.points, false, r.dpi, r.minHeight);
        EXPECT_EQ(ZelFontGetMetrics(f.font).pixelHeight, r.pixels) << r.points << "pt at " << r.dpi;
        int w = -1, h = -1;
        Engine::MeasureString(L"M", f.font, Engine::TEXT_CELL_HEIGHT, w, h);
        EXPECT_EQ(h, r.pixels);
    }
    // Family names resolve through the system's matching; bold is wider.
    for (const wchar_t* family : {L"DejaVu Sans", L"Sans", L"Arial", L"", L"No Such Family"}) {
        HFONT regular = Engine::CreateFont(family, 12, false, 96, 0),
              bold = Engine::CreateFont(family, 12, true, 96, 0);
        ASSERT_NE(regular, nullptr);
        ASSERT_NE(bold, nullptr);
        int wr, wb, h;
        Engine::MeasureString(L"Hello", regular, 0, wr, h);
        Engine::MeasureString(L"Hello", bold, 0, wb, h);
        EXPECT_GT(wb, wr);
        int ascent, descent, line;
        Engine::GetFontMetrics(regular, ascent, descent, line);
        EXPECT_EQ(h, ascent + descent);
        EXPECT_GE(line, ascent + descent - 1);
        Engine::DeleteFont(regular);
        Engine::DeleteFont(bold);
    }
}

TEST(DrawText, MarkupMeasuresScriptsWithTheSmallerFont)
{
    Font f(12), script(0, false, 96, 11);  // 16 px and its 70 %: 11 px
    int w, h, wx, hx, w2, h2;
    Engine::MeasureString(L"x^2", f.font, Engine::TEXT_MARKUP, w, h);
    Engine::MeasureString(L"x", f.font, 0, wx, hx);
    Engine::MeasureString(L"2", script.font, 0, w2, h2);
    EXPECT_EQ(w, wx + w2);
    EXPECT_EQ(h, std::max(hx, h2));
    struct Row {
        const wchar_t *marked, *plain;
    } rows[] = {{L"a\\^b", L"a^b"}, {L"H_{2}O", L"HO"}, {L"mm^2", L"mm"}, {L"x^{a\\}b}", L"x"}, {L"a^", L"a"}};
    for (const Row& r : rows) {
        int wm, hm, wp, hp;
        Engine::MeasureString(r.marked, f.font, Engine::TEXT_MARKUP, wm, hm);
        Engine::MeasureString(r.plain, f.font, 0, wp, hp);
        if (std::wstring(r.marked).find(L"\\^") != std::wstring::npos || r.marked == std::wstring(L"a^")) {
            EXPECT_EQ(wm, wp) << "escaped or empty script";
        } else {
            EXPECT_GT(wm, wp);
        }
    }
    // Without markup every character is plain text.
    Engine::MeasureString(L"x^2", f.font, 0, w2, h2);
    EXPECT_GT(w2, w);
}

TEST(DrawText, AnchorsAndRectanglesPlaceTheBox)
{
    Font f(9);
    int w, h;
    Engine::MeasureString(L"Wide label", f.font, 0, w, h);
    struct Row {
        int style, x, y, width, height;
        int boxX, boxY;  // where the text box must lie (inside it, touching the stated edges)
        bool right, bottom;
    } rows[] = {
        {0, 20, 10, INT_MIN, INT_MIN, 20, 10, false, false},
        {Engine::TEXT_RIGHT, 150, 10, INT_MIN, INT_MIN, 150 - w, 10, true, false},
        {Engine::TEXT_BOTTOM | Engine::TEXT_RIGHT, 150, 60, INT_MIN, INT_MIN, 150 - w, 60 - h, true, true},
        {Engine::TEXT_HCENTER | Engine::TEXT_VCENTER, 100, 50, INT_MIN, INT_MIN, 100 - w / 2, 50 - h / 2, false, false},
        {Engine::TEXT_RIGHT | Engine::TEXT_BOTTOM, 10, 10, 150, 70, 160 - w, 80 - h, true, true},
    };
    for (const Row& r : rows) {
        DrawCanvas c(200, 100);
        c.engine.DrawStringRect(L"Wide label", r.x, r.y, r.width, r.height, f.font, r.style);
        const Box b = Bounds(c.Drawn());
        EXPECT_GE(b.left, r.boxX) << r.style;
        EXPECT_LE(b.right, r.boxX + w - 1) << r.style;
        EXPECT_GE(b.top, r.boxY) << r.style;
        EXPECT_LE(b.bottom, r.boxY + h - 1) << r.style;
        if (r.right) {
            EXPECT_GE(b.right, r.boxX + w - 3);
        } else {
            EXPECT_LE(b.left, r.boxX + 2);
        }
    }
    // A rectangle narrower than the text cuts it: left shows the start, the
    // end flag and right alignment the end; the no-align flag lets it run on.
    struct Cut {
        int style;
        bool leftEdge, rightEdge, pastRight;
    } cuts[] = {{0, true, false, false},
                {Engine::TEXT_LEFT_SHOW_END, false, true, false},
                {Engine::TEXT_RIGHT, false, true, false},
                {Engine::TEXT_NO_ALIGN_WHEN_WIDER | Engine::TEXT_RIGHT, true, false, true}};
    for (const Cut& cut : cuts) {
        DrawCanvas c(200, 40), whole(200, 40);
        c.engine.DrawStringRect(L"Wide label", 50, 5, w / 2, h, f.font, cut.style);
        const Box b = Bounds(c.Drawn());
        EXPECT_GE(b.left, 50);
        EXPECT_EQ(b.right > 50 + w / 2 - 1, cut.pastRight) << cut.style;
        whole.engine.DrawStringRect(L"Wide label", cut.leftEdge || cut.pastRight ? 50 : 50 + w / 2 - w, 5, INT_MIN,
                                    INT_MIN, f.font, 0);
        for (const Pixel& p : c.Drawn()) EXPECT_EQ(c.Get(p.first, p.second), whole.Get(p.first, p.second));
    }
}

TEST(DrawText, RotationExchangesTheBox)
{
    Font f(10);
    int w, h;
    Engine::MeasureString(L"Rotated", f.font, 0, w, h);
    DrawCanvas plain(100, 100);
    plain.engine.DrawString(L"Rotated", 10, 10, f.font, 0);
    const PixelSet base = plain.Drawn();
    for (int turn : {1, 2, 3}) {
        DrawCanvas c(100, 100);
        c.engine.DrawString(L"Rotated", 10, 10, f.font, turn << 13);
        const Box b = Bounds(c.Drawn());
        EXPECT_LE(b.right - b.left + 1, turn % 2 ? h : w);
        EXPECT_LE(b.bottom - b.top + 1, turn % 2 ? w : h);
        // Every pixel is a pixel of the unrotated text, turned.
        for (const Pixel& p : base) {
            const int u = p.first - 10, v = p.second - 10;
            const int x = turn == 1 ? v : turn == 2 ? w - 1 - u : h - 1 - v;
            const int y = turn == 1 ? w - 1 - u : turn == 2 ? h - 1 - v : u;
            EXPECT_EQ(c.Get(10 + x, 10 + y), plain.Get(p.first, p.second)) << turn;
        }
    }
}

TEST(DrawText, OutlineAndQuality)
{
    Font f(10);
    DrawCanvas plain(80, 30), outlined(80, 30), mono(80, 30);
    plain.engine.DrawString(L"Ag", 5, 5, f.font, 0);
    outlined.engine.SetBorderColor(0xFF0000FF);
    outlined.engine.DrawString(L"Ag", 5, 5, f.font, Engine::TEXT_OUTLINE_SQUARE);
    mono.engine.DrawString(L"Ag", 5, 5, f.font, Engine::TEXT_NO_ANTIALIAS);
    // The outline surrounds the glyphs by one pixel and leaves them on top.
    for (const Pixel& p : plain.Drawn()) {
        for (int dy = -1; dy <= 1; ++dy) {
            for (int dx = -1; dx <= 1; ++dx) EXPECT_NE(outlined.Get(p.first + dx, p.second + dy), 0u);
        }
        if (plain.Get(p.first, p.second) == 0xFFFFFFFF) {
            EXPECT_EQ(outlined.Get(p.first, p.second), 0xFFFFFFFFu);
        }
    }
    // Black-and-white glyphs have only full coverage; anti-aliased ones blend.
    for (const Pixel& p : mono.Drawn()) EXPECT_EQ(mono.Get(p.first, p.second), 0xFFFFFFFFu);
    bool partial = false;
    for (const Pixel& p : plain.Drawn()) partial |= plain.Get(p.first, p.second) != 0xFFFFFFFF;
    EXPECT_TRUE(partial);
}

TEST(DrawText, GlyphsAreRasterisedOnce)
{
    Font f(9);
    DrawCanvas c(120, 30);
    c.engine.DrawString(L"W 400 L 40", 2, 2, f.font, 0);
    const long after = ZelFontRasterCount(f.font);
    c.engine.DrawString(L"W 400 L 40", 2, 15, f.font, 0);
    c.engine.DrawString(L"L 40 W 400", 2, 15, f.font, 0);
    EXPECT_EQ(ZelFontRasterCount(f.font), after);
    EXPECT_EQ(after, 5);  // W, space, 4, 0, L

    // The flat interface: null results are not written.
    ZelImageDrawEngine* e = ZelImageDrawEngine_New();
    int w = 0;
    ZelImageDrawEngine_MeasureString(e, L"abc", f.font, 0, &w, nullptr);
    ZelImageDrawEngine_MeasureString(e, L"abc", f.font, 0, nullptr, nullptr);
    EXPECT_GT(w, 0);
    ZelImageDrawEngine_Delete(e);
    ZelImageDrawEngine_Delete(nullptr);
}
