// The drawing engine's view of its target and the pixel rules every operation
// shares: the write-or-blend of one pixel, and the six span fillers (plain
// colour, coverage texture, colour texture; 3- or 4-byte targets).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "ZelImageDrawEngine.h"

namespace zel_draw {

using I64 = std::int64_t;
// Products of a step count (< 2^33) and a coordinate distance (< 2^34) need
// more than 64 bits.
__extension__ typedef __int128 Wide;

inline Wide FloorDiv(Wide a, Wide b)  // b > 0
{
    if (a == static_cast<I64>(a) && b == static_cast<I64>(b)) {  // the usual case: a 64-bit division
        const I64 a64 = static_cast<I64>(a), b64 = static_cast<I64>(b);
        I64 q = a64 / b64;
        if (a64 % b64 != 0 && a64 < 0) --q;
        return q;
    }
    Wide q = a / b;
    if (a % b != 0 && a < 0) --q;
    return q;
}

// Truncating x / 255 for 0 <= x <= 255 * 255 + 255.
inline unsigned Div255(unsigned x)
{
    return (x + 1 + (x >> 8)) >> 8;
}

// A drawable target with its clip rectangle (inclusive, inside the image).
struct Target {
    unsigned char* pixels = nullptr;
    std::ptrdiff_t stride = 0;
    int depth = 4;  // 3 or 4
    int width = 0;
    int height = 0;
    int left = 0, top = 0, right = -1, bottom = -1;

    unsigned char* At(int x, int y) const { return pixels + y * stride + static_cast<std::ptrdiff_t>(x) * depth; }
    bool Inside(I64 x, I64 y) const { return x >= left && x <= right && y >= top && y <= bottom; }
};

// The four bytes of a colour, lowest first.
struct Colour {
    unsigned b, g, r, a;
    explicit Colour(std::uint32_t c) : b(c & 255), g(c >> 8 & 255), r(c >> 16 & 255), a(c >> 24) {}
    Colour(unsigned b_, unsigned g_, unsigned r_, unsigned a_) : b(b_), g(g_), r(r_), a(a_) {}
};

template <int D>
inline void WritePixel(unsigned char* p, const Colour& c)
{
    p[0] = static_cast<unsigned char>(c.b);
    p[1] = static_cast<unsigned char>(c.g);
    p[2] = static_cast<unsigned char>(c.r);
    if (D == 4) p[3] = 255;
}

// All four bytes of the colour, alpha included.
inline void StorePixel4(unsigned char* p, const Colour& c)
{
    p[0] = static_cast<unsigned char>(c.b);
    p[1] = static_cast<unsigned char>(c.g);
    p[2] = static_cast<unsigned char>(c.r);
    p[3] = static_cast<unsigned char>(c.a);
}

// Blends colour c with weight a (0..255) over the pixel.
template <int D>
inline void BlendPixel(unsigned char* p, const Colour& c, unsigned a)
{
    const unsigned ia = 255 - a;
    p[0] = static_cast<unsigned char>(Div255(c.b * a + p[0] * ia));
    p[1] = static_cast<unsigned char>(Div255(c.g * a + p[1] * ia));
    p[2] = static_cast<unsigned char>(Div255(c.r * a + p[2] * ia));
    if (D == 4) p[3] = static_cast<unsigned char>(p[3] + Div255((255 - p[3]) * a));
}

// The pixel write: opaque colours replace, others blend by their alpha
// (alpha 0 blends to the same bytes, so it is skipped).
template <int D>
inline void PutPixel(unsigned char* p, const Colour& c)
{
    if (c.a == 255) {
        WritePixel<D>(p, c);
    } else if (c.a != 0) {
        BlendPixel<D>(p, c, c.a);
    }
}

inline void PutPixel(const Target& t, int x, int y, const Colour& c)
{
    if (t.depth == 3) {
        PutPixel<3>(t.At(x, y), c);
    } else {
        PutPixel<4>(t.At(x, y), c);
    }
}

// What the fills paint with: the colour, optionally through a texture
// anchored at the image origin.
struct Brush {
    std::uint32_t colour = 0;
    const unsigned char* texture = nullptr;
    int textureWidth = 0;
    int textureHeight = 0;
    int textureBytes = 0;  // 0 none, 1 coverage, 4 colour
};

// Fills pixels x0..x1 (inclusive, inside the clip) of row y.
using SpanFiller = void (*)(const Target& target, const Brush& brush, int y, int x0, int x1);
SpanFiller SelectSpanFiller(const Brush& brush, int depth);

}  // namespace zel_draw

// The engine's private state for the drawing sources.
struct ZelDrawAccess {
    // False when nothing can be drawn: no image, an unsupported depth, an
    // empty clip.
    static bool GetTarget(ZelImageDrawEngine& engine, zel_draw::Target& target);
    static zel_draw::Brush GetBrush(const ZelImageDrawEngine& engine);
    // Clip = the whole image (the empty flag untouched).
    static void SetWholeImageClip(ZelImageDrawEngine& engine);
    static const unsigned char* Palette(const ZelImageDrawEngine& e) { return e.m_palette.get(); }
    static unsigned& DashOffset(ZelImageDrawEngine& e) { return e.m_dashOffset; }
    static bool DashOn(const ZelImageDrawEngine& e) { return e.m_penDash; }
    static const bool* DashPattern(const ZelImageDrawEngine& e) { return e.m_dashPattern; }
    static int PenWidth(const ZelImageDrawEngine& e) { return e.m_penWidth; }
    static std::uint32_t BorderColour(const ZelImageDrawEngine& e) { return e.m_borderColour; }
    static bool Bilinear(const ZelImageDrawEngine& e) { return e.m_bilinear; }
    static void SetLastLineEnd(ZelImageDrawEngine& e, int x, int y)
    {
        e.m_lastLineEndX = x;
        e.m_lastLineEndY = y;
    }
    static void CheckDash(ZelImageDrawEngine& e, int x0, int y0, int x1, int y1)
    {
        e.CheckLineDashOffset(x0, y0, x1, y1);
    }
    // Text laid out and blended into the target (the font locked).
    static void DrawLaidOut(ZelImageDrawEngine& e, const zel_draw::Target& t, ZelImageDrawEngine::TextScratch& scratch,
                            const ZelString& text, int x, int y, int width, int height, HFONT font,
                            ZelFontObject* normal, ZelFontObject* script, int style);
    // Text scratch memory of the engine (made on first use).
    static ZelImageDrawEngine::TextScratch& Scratch(ZelImageDrawEngine& e);
};
