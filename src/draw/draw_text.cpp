// Text: fonts, the super- and subscript markup, measuring, and drawing with
// alignment, rotation and outline. Glyphs come rasterised from the font's
// cache; a call lays them out into a coverage box and blends the box into
// the target by the pixel write.
#include <algorithm>
#include <climits>
#include <vector>

#include "ZelFont.h"
#include "draw/draw_pixels.h"
#include "draw/draw_rows.h"
#include "draw/text_scratch.h"

using namespace zel_draw;

namespace {

enum SegmentKind { kNormal = 0, kSuperscript = 1, kSubscript = 2 };

struct Segment {
    std::wstring text;
    int kind;
};

// A piece of text to lay out with one font.
struct Piece {
    const wchar_t* text;
    std::size_t length;
    int kind;
};

bool Escapable(wchar_t c)
{
    return c == L'^' || c == L'_' || c == L'}';
}

// Splits marked-up text into normal, superscript and subscript pieces. A
// backslash before ^, _ or } makes that character plain and is dropped.
std::vector<Segment> ParseMarkup(const ZelString& text)
{
    std::vector<Segment> segments;
    const int n = text.Length();
    std::wstring normal;
    int i = 0;
    while (i < n) {
        const wchar_t c = text[i];
        if (c == L'\\' && i + 1 < n && Escapable(text[i + 1])) {
            normal += text[i + 1];
            i += 2;
            continue;
        }
        if (c != L'^' && c != L'_') {
            normal += c;
            ++i;
            continue;
        }
        if (!normal.empty()) segments.push_back({std::move(normal), kNormal});
        normal.clear();
        const int kind = c == L'^' ? kSuperscript : kSubscript;
        std::wstring script;
        ++i;
        if (i < n && text[i] == L'{') {
            for (++i; i < n && text[i] != L'}'; ++i) {
                if (text[i] == L'\\' && i + 1 < n && Escapable(text[i + 1])) ++i;
                script += text[i];
            }
            if (i < n) ++i;  // the closing brace
        } else if (i < n) {
            script += text[i++];
        }
        if (!script.empty()) segments.push_back({std::move(script), kind});
    }
    if (!normal.empty()) segments.push_back({std::move(normal), kNormal});
    return segments;
}

// Script height: 70 % of the font's, rounded away from zero.
int ScriptHeight(int pixels)
{
    return (7 * pixels + 6) / 10;
}

// Texts laid out wider than this are neither measured nor drawn (a box of
// 2^24 pixels is far past any screen; the limit keeps the arithmetic in int).
constexpr int kMaxTextWidth = 1 << 24;

// Lays the text out (the fonts' family must be locked). Returns false when
// a font is missing or the text is too wide. Memory shortage throws
// std::bad_alloc, which the callers turn into drawing nothing.
bool LayOut(const ZelString& text, ZelFontObject* font, ZelFontObject* script, bool markup, Layout& layout)
{
    std::vector<Segment> segments;
    Piece whole{text.Text(), static_cast<std::size_t>(text.Length()), kNormal};
    std::vector<Piece> pieces;
    if (markup) {
        segments = ParseMarkup(text);
        for (const Segment& s : segments) pieces.push_back({s.text.data(), s.text.size(), s.kind});
    }
    const Piece* parsed = markup ? pieces.data() : &whole;
    const std::size_t count = markup ? pieces.size() : 1;
    const ZelFontMetrics normal = ZelFontGetMetrics(font);
    ZelFontMetrics small;
    if (script) small = ZelFontGetMetrics(script);
    layout.glyphs.clear();
    layout.width = 0;
    layout.height = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const Piece& s = parsed[i];
        if (s.kind != kNormal && !script) return false;
        const ZelFontMetrics& m = s.kind == kNormal ? normal : small;
        layout.height = std::max(layout.height, m.ascent + m.descent);
    }
    int x = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const Piece& s = parsed[i];
        ZelFontObject* f = s.kind == kNormal ? font : script;
        // Superscripts hang from the top of the box, subscripts stand on its
        // bottom.
        const int baseline = s.kind == kNormal        ? normal.ascent
                             : s.kind == kSuperscript ? small.ascent
                                                      : layout.height - small.descent;
        unsigned previous = 0;
        for (std::size_t k = 0; k < s.length; ++k) {
            const wchar_t c = s.text[k];
            const ZelGlyph* g = ZelFontGlyph(f, static_cast<std::uint32_t>(c));
            x += ZelFontKerning(f, previous, g->index);
            layout.glyphs.push_back({g, x, baseline});
            x += g->advance;
            previous = g->index;
            if (x > kMaxTextWidth || x < -kMaxTextWidth) return false;
        }
    }
    layout.width = x;
    return true;
}

bool HasScript(const ZelString& text)
{
    const int n = text.Length();
    for (int i = 0; i < n; ++i) {
        if ((text[i] == L'^' || text[i] == L'_') && (i == 0 || text[i - 1] != L'\\')) return true;
    }
    return false;
}

// The fonts a style asks for: the font itself (or its black-and-white
// variant) and, with markup, the 70 % script font.
bool StyleFonts(HFONT font, int style, const ZelString& text, ZelFontObject*& normal, ZelFontObject*& script)
{
    if (!font) return false;
    const int pixels = ZelFontGetMetrics(font).pixelHeight;
    const bool antialias = !(style & ZelImageDrawEngine::TEXT_NO_ANTIALIAS);
    normal = ZelFontVariant(font, pixels, antialias);
    script = nullptr;
    if ((style & ZelImageDrawEngine::TEXT_MARKUP) && HasScript(text)) {
        script = ZelFontVariant(font, std::max(1, ScriptHeight(pixels)), antialias);
    }
    return normal != nullptr;
}

}  // namespace

HFONT ZelImageDrawEngine::CreateFont(const wchar_t* face, int pointSize, bool bold)
{
    return CreateFont(face, pointSize, bold, m_fontDPI, m_fontMinHeight);
}

HFONT ZelImageDrawEngine::CreateFont(const wchar_t* face, int pointSize, bool bold, int dpi, int minHeight)
{
    I64 pixels = (static_cast<I64>(dpi) * pointSize + 36) / 72;
    if (minHeight > 0 && pixels <= minHeight) pixels = minHeight;
    if (pixels < 1 || pixels > 2048) return nullptr;
    return ZelFontCreate(face, static_cast<int>(pixels), bold);
}

void ZelImageDrawEngine::DeleteFont(HFONT font)
{
    ZelFontDestroy(font);
}

void ZelImageDrawEngine::GetFontMetrics(HFONT font, int& ascent, int& descent, int& lineHeight)
{
    const ZelFontMetrics m = ZelFontGetMetrics(font);
    ascent = m.ascent;
    descent = m.descent;
    lineHeight = m.lineHeight;
}

void ZelImageDrawEngine::MeasureString(const ZelString& text, HFONT font, int style, int& width, int& height)
{
    width = height = 0;
    ZelFontObject *normal, *script;
    if (!StyleFonts(font, style, text, normal, script)) return;
    Layout layout;
    {
        ZelFontLock lock(font);
        try {
            if (!LayOut(text, normal, script, (style & TEXT_MARKUP) != 0, layout)) return;
        } catch (const std::bad_alloc&) {
            return;
        }
    }
    width = layout.width;
    height = (style & TEXT_CELL_HEIGHT) ? ZelFontGetMetrics(font).pixelHeight : layout.height;
}

void ZelImageDrawEngine::DrawString(const ZelString& text, int x, int y, HFONT font, int style)
{
    DrawStringRect(text, x, y, INT_MIN, INT_MIN, font, style);
}

namespace {

// Where the box goes along one axis, and the part of it that may show.
struct Placement {
    I64 start;         // first pixel of the box
    I64 size;          // pixels of the box that are drawn from `start`
    I64 visLo, visHi;  // the window it is cut to (inclusive)
};

// `end` and `centre` are the axis's alignment flags, `showEnd` the flag that
// shows the far end of a box that does not fit.
Placement Place(I64 anchor, int extent, I64 box, int grow, bool end, bool centre, bool showEnd, bool noAlignWhenWider)
{
    Placement p{0, box, INT64_MIN, INT64_MAX};
    if (extent == INT_MIN) {  // an anchor point
        p.start = end ? anchor - box : centre ? anchor - box / 2 : anchor - grow;
        return p;
    }
    if (noAlignWhenWider && box > extent) {
        // Starts at the rectangle's edge and runs on; the outline's growth
        // is given back.
        p.start = anchor;
        p.size = box - 2 * grow;
        return p;
    }
    const bool far = end || (showEnd && box > extent);
    p.start = far ? anchor + extent - box : centre ? anchor + (extent - box) / 2 : anchor;
    p.visLo = anchor;
    p.visHi = anchor + static_cast<I64>(extent) - 1;
    return p;
}

template <int D>
void BlendCoverage(const Target& t, const unsigned char* cov, int covStride, int x0, int y0, int x1, int y1, I64 boxX,
                   I64 boxY, const Colour& colour, int rotation, int cw, int ch)
{
    if (rotation == 0 && D == 4) {
        for (int y = y0; y <= y1; ++y) {
            BlendCoverageRow4(t.At(x0, y), cov + static_cast<std::ptrdiff_t>(y - boxY) * covStride + (x0 - boxX),
                              x1 - x0 + 1, colour);
        }
        return;
    }
    if (rotation == 0) {
        for (int y = y0; y <= y1; ++y) {
            unsigned char* p = t.At(x0, y);
            const unsigned char* c = cov + static_cast<std::ptrdiff_t>(y - boxY) * covStride + (x0 - boxX);
            for (int x = x0; x <= x1; ++x, p += D, ++c) {
                if (!*c) continue;
                const unsigned a = Div255(*c * colour.a);
                if (a == 255) {
                    WritePixel<D>(p, colour);
                } else if (a) {
                    BlendPixel<D>(p, colour, a);
                }
            }
        }
        return;
    }
    for (int y = y0; y <= y1; ++y) {
        unsigned char* p = t.At(x0, y);
        for (int x = x0; x <= x1; ++x, p += D) {
            // Box pixel (u, v) back to the unrotated coverage.
            const int u = static_cast<int>(x - boxX), v = static_cast<int>(y - boxY);
            int cu = u, cv = v;
            switch (rotation) {
            case 1: cu = cw - 1 - v, cv = u; break;  // 90: reads upwards
            case 2: cu = cw - 1 - u, cv = ch - 1 - v; break;
            case 3: cu = v, cv = ch - 1 - u; break;  // 270: reads downwards
            default: break;
            }
            const unsigned c = cov[cv * covStride + cu];
            if (!c) continue;
            const unsigned a = Div255(c * colour.a);
            if (a == 255) {
                WritePixel<D>(p, colour);
            } else if (a) {
                BlendPixel<D>(p, colour, a);
            }
        }
    }
}

}  // namespace

void ZelImageDrawEngine::DrawStringRect(const ZelString& text, int x, int y, int width, int height, HFONT font,
                                        int style)
{
    Target t;
    if (!ZelDrawAccess::GetTarget(*this, t) || text.Length() == 0) return;
    ZelFontObject *normal, *script;
    if (!StyleFonts(font, style, text, normal, script)) return;
    TextScratch& scratch = ZelDrawAccess::Scratch(*this);
    ZelFontLock lock(font);
    try {
        ZelDrawAccess::DrawLaidOut(*this, t, scratch, text, x, y, width, height, font, normal, script, style);
    } catch (const std::bad_alloc&) {
        // Not enough memory for the layout or the coverage box: nothing drawn.
    }
}

void ZelDrawAccess::DrawLaidOut(ZelImageDrawEngine& e, const Target& t, ZelImageDrawEngine::TextScratch& scratch,
                                const ZelString& text, int x, int y, int width, int height, HFONT font,
                                ZelFontObject* normal, ZelFontObject* script, int style)
{
    using Engine = ZelImageDrawEngine;
    Layout& layout = scratch.layout;
    if (!LayOut(text, normal, script, (style & Engine::TEXT_MARKUP) != 0, layout)) return;
    if (style & Engine::TEXT_CELL_HEIGHT) layout.height = ZelFontGetMetrics(font).pixelHeight;
    if (layout.width < 1 || layout.height < 1) return;

    // The coverage box, grown by one pixel each way for an outline.
    const int outline = style & Engine::TEXT_OUTLINE;
    const int grow = outline ? 1 : 0;
    const int cw = layout.width + 2 * grow, ch = layout.height + 2 * grow;
    const int rotation = (style & Engine::TEXT_ROTATION) >> 13;
    const int bw = rotation & 1 ? ch : cw, bh = rotation & 1 ? cw : ch;

    const bool anchor = width == INT_MIN && height == INT_MIN;
    const Placement px = Place(x, anchor ? INT_MIN : width, bw, grow, (style & Engine::TEXT_RIGHT) != 0,
                               (style & Engine::TEXT_HCENTER) != 0, (style & Engine::TEXT_LEFT_SHOW_END) != 0,
                               (style & Engine::TEXT_NO_ALIGN_WHEN_WIDER) != 0);
    const Placement py = Place(y, anchor ? INT_MIN : height, bh, grow, (style & Engine::TEXT_BOTTOM) != 0,
                               (style & Engine::TEXT_VCENTER) != 0, (style & Engine::TEXT_TOP_SHOW_END) != 0, false);
    const I64 x0 = std::max({px.start, px.visLo, I64(t.left)});
    const I64 x1 = std::min({px.start + px.size - 1, px.visHi, I64(t.right)});
    const I64 y0 = std::max({py.start, py.visLo, I64(t.top)});
    const I64 y1 = std::min({py.start + py.size - 1, py.visHi, I64(t.bottom)});
    if (x0 > x1 || y0 > y1) return;

    // Rasterise into the coverage box (a box past 2^28 pixels is not drawn).
    if (static_cast<I64>(cw) * ch > (I64(1) << 28)) return;
    std::vector<unsigned char>& cov = scratch.coverage;
    cov.assign(static_cast<std::size_t>(cw) * ch, 0);
    for (const PlacedGlyph& pg : layout.glyphs) {
        const ZelGlyph& g = *pg.glyph;
        const int gx = grow + pg.x + g.left, gy = grow + pg.baseline - g.top;
        const int ya = std::max(0, -gy), yb = std::min(g.height, ch - gy);
        const int xa = std::max(0, -gx), xb = std::min(g.width, cw - gx);
        for (int row = ya; row < yb; ++row) {
            const unsigned char* src = g.coverage + row * g.width;
            unsigned char* dst = cov.data() + (gy + row) * cw + gx;
            for (int col = xa; col < xb; ++col) dst[col] = std::max(dst[col], src[col]);
        }
    }
    const auto blend = [&](const unsigned char* coverage, const Colour& colour) {
        const I64 bx = px.start, by = py.start;
        if (t.depth == 3) {
            BlendCoverage<3>(t, coverage, cw, int(x0), int(y0), int(x1), int(y1), bx, by, colour, rotation, cw, ch);
        } else {
            BlendCoverage<4>(t, coverage, cw, int(x0), int(y0), int(x1), int(y1), bx, by, colour, rotation, cw, ch);
        }
    };
    if (outline) {
        std::vector<unsigned char>& ring = scratch.outline;
        ring.assign(cov.size(), 0);
        for (int v = 0; v < ch; ++v) {
            for (int u = 0; u < cw; ++u) {
                unsigned m = 0;
                if (outline == Engine::TEXT_SHADOW) {
                    if (u > 0 && v > 0) m = cov[(v - 1) * cw + u - 1];
                } else {
                    for (int dv = -1; dv <= 1; ++dv) {
                        for (int du = -1; du <= 1; ++du) {
                            if (outline == Engine::TEXT_OUTLINE_CROSS && du && dv) continue;
                            const int uu = u + du, vv = v + dv;
                            if (uu >= 0 && uu < cw && vv >= 0 && vv < ch) m = std::max<unsigned>(m, cov[vv * cw + uu]);
                        }
                    }
                }
                ring[v * cw + u] = static_cast<unsigned char>(m);
            }
        }
        blend(ring.data(), Colour(e.m_borderColour));
    }
    blend(cov.data(), Colour(e.m_colour));
}
