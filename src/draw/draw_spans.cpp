// The six span fillers (plain colour, coverage texture, colour texture, on 3-
// and 4-byte targets) and FillRectangle, their simplest user.
#include <algorithm>
#include <cstring>

#include "draw/draw_pixels.h"

namespace zel_draw {
namespace {

template <int D>
void FillColourSpan(const Target& t, const Brush& brush, int y, int x0, int x1)
{
    const Colour c(brush.colour);
    unsigned char* p = t.At(x0, y);
    const int n = x1 - x0 + 1;
    if (c.a == 255) {
        if (D == 3 && c.b == c.g && c.g == c.r) {
            std::memset(p, static_cast<int>(c.b), static_cast<std::size_t>(n) * 3);
        } else if (D == 4) {
            const unsigned char bytes[4] = {static_cast<unsigned char>(c.b), static_cast<unsigned char>(c.g),
                                            static_cast<unsigned char>(c.r), 255};
            std::uint32_t word;
            std::memcpy(&word, bytes, 4);
            for (int i = 0; i < n; ++i) std::memcpy(p + 4 * i, &word, 4);
        } else {
            for (int i = 0; i < n; ++i, p += D) WritePixel<D>(p, c);
        }
    } else if (c.a != 0) {
        for (int i = 0; i < n; ++i, p += D) BlendPixel<D>(p, c, c.a);
    }
}

template <int D>
void FillCoverageSpan(const Target& t, const Brush& brush, int y, int x0, int x1)
{
    const Colour c(brush.colour);
    const unsigned char* row =
        brush.texture + static_cast<std::ptrdiff_t>(y % brush.textureHeight) * brush.textureWidth;
    int tx = x0 % brush.textureWidth;
    unsigned char* p = t.At(x0, y);
    for (int x = x0; x <= x1; ++x, p += D) {
        const unsigned a = Div255(row[tx] * c.a);
        if (a) BlendPixel<D>(p, c, a);
        if (++tx == brush.textureWidth) tx = 0;
    }
}

template <int D>
void FillTextureSpan(const Target& t, const Brush& brush, int y, int x0, int x1)
{
    const Colour c(brush.colour);
    const unsigned char* row =
        brush.texture + static_cast<std::ptrdiff_t>(y % brush.textureHeight) * brush.textureWidth * 4;
    int tx = x0 % brush.textureWidth;
    unsigned char* p = t.At(x0, y);
    for (int x = x0; x <= x1; ++x, p += D) {
        const unsigned char* texel = row + 4 * tx;
        const Colour m(Div255(texel[0] * c.b), Div255(texel[1] * c.g), Div255(texel[2] * c.r), Div255(texel[3] * c.a));
        if (m.a) BlendPixel<D>(p, m, m.a);
        if (++tx == brush.textureWidth) tx = 0;
    }
}

}  // namespace

SpanFiller SelectSpanFiller(const Brush& brush, int depth)
{
    const bool four = depth == 4;
    switch (brush.texture ? brush.textureBytes : 0) {
    case 1: return four ? FillCoverageSpan<4> : FillCoverageSpan<3>;
    case 4: return four ? FillTextureSpan<4> : FillTextureSpan<3>;
    default: return four ? FillColourSpan<4> : FillColourSpan<3>;
    }
}

}  // namespace zel_draw

using namespace zel_draw;

void ZelImageDrawEngine::FillRectangle(int x0, int y0, int x1, int y1)
{
    Target t;
    if (!ZelDrawAccess::GetTarget(*this, t)) return;
    if (x0 > x1) std::swap(x0, x1);
    if (y0 > y1) std::swap(y0, y1);
    if (x1 < t.left || x0 > t.right || y1 < t.top || y0 > t.bottom) return;
    x0 = std::max(x0, t.left);
    x1 = std::min(x1, t.right);
    y0 = std::max(y0, t.top);
    y1 = std::min(y1, t.bottom);
    const Brush brush = ZelDrawAccess::GetBrush(*this);
    const SpanFiller fill = SelectSpanFiller(brush, t.depth);
    for (int y = y0; y <= y1; ++y) fill(t, brush, y, x0, x1);
}
