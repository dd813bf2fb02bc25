// Image blits (whole, partial, scaled by nearest sample or bilinearly) and the
// whole-image effects Monochrome and MakeTransparent.
#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <new>
#include <vector>

#include "draw/draw_pixels.h"
#include "draw/draw_rows.h"

using namespace zel_draw;

namespace {

struct Source {
    const unsigned char* pixels;
    I64 stride;
    int width, height, depth;
    const unsigned char* palette;  // 256 entries of blue, green, red, alpha, or null
    const unsigned char* Row(int y) const { return pixels + y * stride; }
};

Source MakeSource(const unsigned char* pixels, int width, int height, int depth, int sizePerLine,
                  const unsigned char* palette)
{
    return Source{pixels, sizePerLine > 0 ? sizePerLine : static_cast<I64>(width) * depth,
                  width,  height,
                  depth,  depth == 1 ? palette : nullptr};
}

// Source pixel `sx` of `row` onto the target pixel p.
template <int SD, int DD, bool Pal>
inline void Transfer(unsigned char* p, const Source& s, const unsigned char* row, int sx)
{
    if (SD == 1 && !Pal) {
        const unsigned g = row[sx];
        WritePixel<DD>(p, Colour(g, g, g, 255));
    } else if (SD == 1) {
        const unsigned char* e = s.palette + 4 * row[sx];
        const unsigned ea = e[3];
        if (ea == 255) {
            WritePixel<DD>(p, Colour(e[0], e[1], e[2], 255));
        } else if (ea != 0) {
            if (DD == 3) {
                BlendPixel<3>(p, Colour(e[0], e[1], e[2], ea), ea);
            } else {
                // The colour keeps the weight of the source byte three pixels
                // on (intended); past the row's end the entry's alpha stands in.
                const unsigned w = sx + 3 < s.width ? row[sx + 3] : ea;
                for (int c = 0; c < 3; ++c) p[c] = static_cast<unsigned char>((e[c] * ea + p[c] * (255 - w)) / 255);
                p[3] = static_cast<unsigned char>(p[3] + Div255((255 - p[3]) * ea));
            }
        }
    } else if (SD == 3) {
        const unsigned char* q = row + 3 * sx;
        WritePixel<DD>(p, Colour(q[0], q[1], q[2], 255));
    } else {
        const unsigned char* q = row + 4 * sx;
        if (q[3] == 255) {
            WritePixel<DD>(p, Colour(q[0], q[1], q[2], 255));
        } else if (q[3] != 0) {
            BlendPixel<DD>(p, Colour(q[0], q[1], q[2], q[3]), q[3]);
        }
    }
}

// Destination columns cols[i] (already clipped) take source columns srcCols[i].
template <int SD, int DD, bool Pal>
void CopyRows(const Target& t, const Source& s, int x0, const std::vector<int>& srcCols, int y0,
              const std::vector<int>& srcRows)
{
    for (std::size_t j = 0; j < srcRows.size(); ++j) {
        const unsigned char* row = s.Row(srcRows[j]);
        unsigned char* p = t.At(x0, y0 + static_cast<int>(j));
        for (std::size_t i = 0; i < srcCols.size(); ++i, p += DD) Transfer<SD, DD, Pal>(p, s, row, srcCols[i]);
    }
}

using CopyFn = void (*)(const Target&, const Source&, int, const std::vector<int>&, int, const std::vector<int>&);

CopyFn SelectCopy(int sourceDepth, bool palette, int targetDepth)
{
    const bool four = targetDepth == 4;
    switch (sourceDepth) {
    case 1:
        if (palette) return four ? CopyRows<1, 4, true> : CopyRows<1, 3, true>;
        return four ? CopyRows<1, 4, false> : CopyRows<1, 3, false>;
    case 3: return four ? CopyRows<3, 4, false> : CopyRows<3, 3, false>;
    default: return four ? CopyRows<4, 4, false> : CopyRows<4, 3, false>;
    }
}

// The 4 bytes (blue, green, red, alpha) of source pixel sx of a row.
template <int SD, bool Pal>
inline void Fetch(const Source& s, const unsigned char* row, int sx, std::uint32_t out[4])
{
    if (SD == 1 && Pal) {
        const unsigned char* e = s.palette + 4 * row[sx];
        out[0] = e[0], out[1] = e[1], out[2] = e[2], out[3] = e[3];
    } else if (SD == 1) {
        out[0] = out[1] = out[2] = row[sx], out[3] = 255;
    } else if (SD == 3) {
        const unsigned char* q = row + 3 * sx;
        out[0] = q[0], out[1] = q[1], out[2] = q[2], out[3] = 255;
    } else {
        const unsigned char* q = row + 4 * sx;
        out[0] = q[0], out[1] = q[1], out[2] = q[2], out[3] = q[3];
    }
}

struct BilinearScratch {
    std::vector<std::uint16_t> column;   // one source row pair blended, 4 channels a column, one spare
    std::vector<int> relative;           // destination column -> column index
    std::vector<std::uint16_t> weights;  // 256 - fx four times, fx four times, a column
    std::vector<unsigned char> pixels;   // the blended row, 4 bytes a pixel
};

// Bilinear rows. The weights separate exactly,
// ((c00 (256 - fx) + c01 fx) (256 - fy) + (c10 (256 - fx) + c11 fx) fy) >> 16
// = ((c00 (256 - fy) + c10 fy) (256 - fx) + (c01 (256 - fy) + c11 fy) fx) >> 16,
// so each destination row first blends the two source rows over the columns
// it uses and then blends along the row. A zero weight never reads its
// neighbour.
template <int SD, bool Pal, int DD>
void BilinearRows(const Target& t, const Source& s, int x0, const std::vector<int>& cols,
                  const std::vector<unsigned>& fxs, int y0, const std::vector<int>& rows,
                  const std::vector<unsigned>& fys, BilinearScratch& scratch)
{
    // Sources without alpha of their own (grey, 3 bytes) are written as they
    // come; the others blend by the interpolated alpha.
    const int first = cols.front(), last = std::min(cols.back() + 1, s.width - 1);
    // A 4-byte source whose sampled pixels are all opaque interpolates to
    // alpha 255 everywhere: it is written like a source without alpha.
    bool carriesAlpha = Pal;
    if (SD == 4) {
        const int rowLast = std::min(rows.back() + 1, s.height - 1);
        for (int y = rows.front(); y <= rowLast && !carriesAlpha; ++y) {
            const unsigned char* q = s.Row(y) + 4 * first + 3;
            for (int x = first; x <= last; ++x, q += 4) carriesAlpha |= *q != 255;
        }
    }
    const int n = static_cast<int>(cols.size());
    for (int i = 0; i < n; ++i) {
        scratch.relative[i] = cols[i] - first;
        for (int c = 0; c < 4; ++c) {
            scratch.weights[8 * i + c] = static_cast<std::uint16_t>(256 - fxs[i]);
            scratch.weights[8 * i + 4 + c] = static_cast<std::uint16_t>(fxs[i]);
        }
    }
    for (std::size_t j = 0; j < rows.size(); ++j) {
        const unsigned fy = fys[j];
        const unsigned char* r0 = s.Row(rows[j]);
        const unsigned char* r1 = fy ? s.Row(rows[j] + 1) : r0;
        std::uint16_t* v = scratch.column.data();
        if (SD == 4) {
            BilinearColumns4(r0 + 4 * first, r1 + 4 * first, last - first + 1, fy, v);
        } else {
            for (int sx = first; sx <= last; ++sx, v += 4) {
                std::uint32_t a[4], b[4] = {0, 0, 0, 0};
                Fetch<SD, Pal>(s, r0, sx, a);
                if (fy) Fetch<SD, Pal>(s, r1, sx, b);
                for (int c = 0; c < 4; ++c) v[c] = static_cast<std::uint16_t>(a[c] * (256 - fy) + b[c] * fy);
            }
        }
        unsigned char* p = t.At(x0, y0 + static_cast<int>(j));
        if (DD == 4 && !carriesAlpha) {  // alpha comes out 255: straight into the target
            BilinearSpan(scratch.column.data(), scratch.relative.data(), scratch.weights.data(), n, p);
            continue;
        }
        unsigned char* m = scratch.pixels.data();
        BilinearSpan(scratch.column.data(), scratch.relative.data(), scratch.weights.data(), n, m);
        if (DD == 4) {
            bool opaque = true;
            for (int i = 0; i < n; ++i) opaque &= m[4 * i + 3] == 255;
            if (opaque) {
                std::memcpy(p, m, 4 * static_cast<std::size_t>(n));
                continue;
            }
        }
        for (int i = 0; i < n; ++i, p += DD, m += 4) {
            if (DD == 4 && m[3] == 255) {
                std::memcpy(p, m, 4);
            } else if (!carriesAlpha || m[3] > 254) {
                WritePixel<DD>(p, Colour(m[0], m[1], m[2], 255));
            } else if (m[3]) {
                BlendPixel<DD>(p, Colour(m[0], m[1], m[2], m[3]), m[3]);
            }
        }
    }
}

using BilinearFn = void (*)(const Target&, const Source&, int, const std::vector<int>&, const std::vector<unsigned>&,
                            int, const std::vector<int>&, const std::vector<unsigned>&, BilinearScratch&);

BilinearFn SelectBilinear(int sourceDepth, bool palette, int targetDepth)
{
    const bool four = targetDepth == 4;
    switch (sourceDepth) {
    case 1:
        if (palette) return four ? BilinearRows<1, true, 4> : BilinearRows<1, true, 3>;
        return four ? BilinearRows<1, false, 4> : BilinearRows<1, false, 3>;
    case 3: return four ? BilinearRows<3, false, 4> : BilinearRows<3, false, 3>;
    default: return four ? BilinearRows<4, false, 4> : BilinearRows<4, false, 3>;
    }
}

// The clipped destination span [first, last] of [pos, pos + size) on the
// clip bounds [lo, hi]; false when nothing remains.
bool ClipSpan(I64 pos, I64 size, int lo, int hi, int& first, int& last)
{
    const I64 a = std::max<I64>(pos, lo), b = std::min<I64>(pos + size - 1, hi);
    if (a > b) return false;
    first = static_cast<int>(a);
    last = static_cast<int>(b);
    return true;
}

// A source of a supported depth whose w x h block at (srcX, srcY) lies
// wholly inside it (blocks are never trimmed).
bool ValidBlock(const unsigned char* pixels, int width, int height, int depth, int srcX, int srcY, int w, int h)
{
    return pixels && (depth == 1 || depth == 3 || depth == 4) && width >= 1 && height >= 1 && w >= 0 && h >= 0 &&
           srcX >= 0 && srcY >= 0 && I64(srcX) + w <= width && I64(srcY) + h <= height;
}

// The clipped destination of a w x h block at (x, y), with a source column
// per destination column and a source row per destination row to fill in.
bool ClipBlock(const Target& t, int x, int y, int w, int h, int& x0, int& y0, std::vector<int>& cols,
               std::vector<int>& rows)
{
    int x1, y1;
    if (!ClipSpan(x, w, t.left, t.right, x0, x1) || !ClipSpan(y, h, t.top, t.bottom, y0, y1)) return false;
    try {
        cols.resize(static_cast<std::size_t>(x1 - x0 + 1));
        rows.resize(static_cast<std::size_t>(y1 - y0 + 1));
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

}  // namespace

void ZelImageDrawEngine::DrawImage(int x, int y, const ZelImageBuffer* source)
{
    if (!source) return;
    DrawPartialImage(x, y, 0, 0, source->GetWidth(), source->GetHeight(), source->GetDataPtr(), source->GetWidth(),
                     source->GetHeight(), source->GetDepth(), source->GetSizePerLine());
}

void ZelImageDrawEngine::DrawImage(int x, int y, const unsigned char* pixels, int width, int height, int depth,
                                   int sizePerLine)
{
    DrawPartialImage(x, y, 0, 0, width, height, pixels, width, height, depth, sizePerLine);
}

void ZelImageDrawEngine::DrawPartialImage(int x, int y, int srcX, int srcY, int w, int h, const ZelImageBuffer* source)
{
    if (!source) return;
    DrawPartialImage(x, y, srcX, srcY, w, h, source->GetDataPtr(), source->GetWidth(), source->GetHeight(),
                     source->GetDepth(), source->GetSizePerLine());
}

void ZelImageDrawEngine::DrawPartialImage(int x, int y, int srcX, int srcY, int w, int h, const unsigned char* pixels,
                                          int width, int height, int depth, int sizePerLine)
{
    Target t;
    if (!ZelDrawAccess::GetTarget(*this, t) || !ValidBlock(pixels, width, height, depth, srcX, srcY, w, h)) return;
    int x0, y0;
    std::vector<int> cols, rows;
    if (!ClipBlock(t, x, y, w, h, x0, y0, cols, rows)) return;
    const Source s = MakeSource(pixels, width, height, depth, sizePerLine, m_palette.get());
    for (std::size_t i = 0; i < cols.size(); ++i) cols[i] = static_cast<int>(srcX + (x0 - I64(x)) + I64(i));
    for (std::size_t j = 0; j < rows.size(); ++j) rows[j] = static_cast<int>(srcY + (y0 - I64(y)) + I64(j));
    SelectCopy(depth, s.palette != nullptr, t.depth)(t, s, x0, cols, y0, rows);
}

void ZelImageDrawEngine::DrawScaledImage(int x, int y, int w, int h, const ZelImageBuffer* source)
{
    if (!source) return;
    DrawPartialScaledImage(x, y, w, h, 0, 0, source->GetWidth(), source->GetHeight(), source);
}

void ZelImageDrawEngine::DrawScaledImage(int x, int y, int w, int h, const unsigned char* pixels, int width, int height,
                                         int depth, int sizePerLine)
{
    DrawPartialScaledImage(x, y, w, h, 0, 0, width, height, pixels, width, height, depth, sizePerLine);
}

void ZelImageDrawEngine::DrawPartialScaledImage(int x, int y, int w, int h, int srcX, int srcY, int srcW, int srcH,
                                                const ZelImageBuffer* source)
{
    if (!source) return;
    DrawPartialScaledImage(x, y, w, h, srcX, srcY, srcW, srcH, source->GetDataPtr(), source->GetWidth(),
                           source->GetHeight(), source->GetDepth(), source->GetSizePerLine());
}

namespace {

// Source position of destination offset i: i / (w - 1) * (srcW - 1).
double SourcePos(I64 i, int w, int srcW)
{
    return w < 2 ? 0.0 : static_cast<double>(i) / static_cast<double>(w - 1) * static_cast<double>(srcW - 1);
}

}  // namespace

void ZelImageDrawEngine::DrawPartialScaledImage(int x, int y, int w, int h, int srcX, int srcY, int srcW, int srcH,
                                                const unsigned char* pixels, int width, int height, int depth,
                                                int sizePerLine)
{
    Target t;
    if (!ZelDrawAccess::GetTarget(*this, t) || w < 1 || h < 1 || srcW < 1 || srcH < 1 ||
        !ValidBlock(pixels, width, height, depth, srcX, srcY, srcW, srcH)) {
        return;
    }
    const Source s = MakeSource(pixels, width, height, depth, sizePerLine, m_palette.get());
    if (srcW == 1 && srcH == 1) {
        // One source pixel: a filled rectangle of its colour. (A palette
        // entry's bytes are read as red, green, blue here, unlike the blits;
        // intended.)
        const unsigned char* q = s.Row(srcY) + static_cast<I64>(srcX) * depth;
        std::uint32_t colour;
        if (depth == 1 && s.palette) {
            const unsigned char* e = s.palette + 4 * q[0];
            colour = ColorFromRGBA(e[0], e[1], e[2], e[3]);
        } else if (depth == 1) {
            colour = ColorFromRGB(q[0], q[0], q[0]);
        } else {
            colour = ColorFromRGBA(q[2], q[1], q[0], depth == 4 ? q[3] : 255);
        }
        const std::uint32_t saved = m_colour;
        m_colour = colour;
        FillRectangle(x, y, static_cast<int>(std::min<I64>(I64(x) + w - 1, INT_MAX)),
                      static_cast<int>(std::min<I64>(I64(y) + h - 1, INT_MAX)));
        m_colour = saved;
        return;
    }
    if (w == srcW && h == srcH) {
        DrawPartialImage(x, y, srcX, srcY, w, h, pixels, width, height, depth, sizePerLine);
        return;
    }
    if (!m_bilinear) {
        DrawPartialScaledImageNearest(x, y, w, h, srcX, srcY, srcW, srcH, pixels, width, height, depth, sizePerLine);
        return;
    }
    int x0, y0;
    std::vector<int> cols, rows;
    if (!ClipBlock(t, x, y, w, h, x0, y0, cols, rows)) return;
    std::vector<unsigned> fxs, fys;
    BilinearScratch scratch;
    try {
        fxs.resize(cols.size());
        fys.resize(rows.size());
        scratch.column.resize(4 * static_cast<std::size_t>(srcW + 2));
        scratch.relative.resize(cols.size());
        scratch.weights.resize(8 * cols.size());
        scratch.pixels.resize(4 * cols.size());
    } catch (const std::bad_alloc&) {
        return;
    }
    const auto table = [](std::vector<int>& index, std::vector<unsigned>& frac, I64 first, int size, int srcStart,
                          int srcSize) {
        for (std::size_t i = 0; i < index.size(); ++i) {
            const double pos = SourcePos(first + static_cast<I64>(i), size, srcSize);
            const double whole = std::trunc(pos);
            index[i] = srcStart + static_cast<int>(whole);
            frac[i] = static_cast<unsigned>((pos - whole) * 256);
        }
    };
    table(cols, fxs, x0 - I64(x), w, srcX, srcW);
    table(rows, fys, y0 - I64(y), h, srcY, srcH);
    SelectBilinear(depth, s.palette != nullptr, t.depth)(t, s, x0, cols, fxs, y0, rows, fys, scratch);
}

void ZelImageDrawEngine::DrawPartialScaledImageNearest(int x, int y, int w, int h, int srcX, int srcY, int srcW,
                                                       int srcH, const unsigned char* pixels, int width, int height,
                                                       int depth, int sizePerLine)
{
    Target t;
    if (!ZelDrawAccess::GetTarget(*this, t) || w < 1 || h < 1 || srcW < 1 || srcH < 1 ||
        !ValidBlock(pixels, width, height, depth, srcX, srcY, srcW, srcH)) {
        return;
    }
    int x0, y0;
    std::vector<int> cols, rows;
    if (!ClipBlock(t, x, y, w, h, x0, y0, cols, rows)) return;
    const Source s = MakeSource(pixels, width, height, depth, sizePerLine, m_palette.get());
    for (std::size_t i = 0; i < cols.size(); ++i) {
        cols[i] = srcX + static_cast<int>(SourcePos(x0 - I64(x) + static_cast<I64>(i), w, srcW));
    }
    for (std::size_t j = 0; j < rows.size(); ++j) {
        rows[j] = srcY + static_cast<int>(SourcePos(y0 - I64(y) + static_cast<I64>(j), h, srcH));
    }
    SelectCopy(depth, s.palette != nullptr, t.depth)(t, s, x0, cols, y0, rows);
}

namespace {

// trunc(factor * 256) clamped to 0..256 (NaN gives 0).
unsigned Factor256(float factor)
{
    const float k = factor * 256.0f;
    if (!(k > 0.0f)) return 0;
    return k >= 256.0f ? 256u : static_cast<unsigned>(k);
}

// The whole image (the clip does not apply to the effects).
bool WholeTarget(ZelImageDrawEngine& e, Target& t)
{
    unsigned char* p = e.GetImagePtr();
    if (!p || (e.GetDepth() != 3 && e.GetDepth() != 4) || e.GetWidth() < 1 || e.GetHeight() < 1 ||
        e.GetSizePerLine() < 1) {
        return false;
    }
    if (e.GetImageBuffer() &&
        (e.GetImageBuffer()->GetWidth() != e.GetWidth() || e.GetImageBuffer()->GetHeight() != e.GetHeight() ||
         e.GetImageBuffer()->GetDepth() != e.GetDepth())) {
        return false;
    }
    t.pixels = p;
    t.stride = e.GetSizePerLine();
    t.depth = e.GetDepth();
    t.width = e.GetWidth();
    t.height = e.GetHeight();
    return true;
}

}  // namespace

void ZelImageDrawEngine::Monochrome(float factor)
{
    const unsigned k = Factor256(factor);
    Target t;
    if (!WholeTarget(*this, t)) return;
    for (int y = 0; y < t.height; ++y) {
        unsigned char* p = t.pixels + y * t.stride;
        for (int x = 0; x < t.width; ++x, p += t.depth) {
            const unsigned grey = 77u * p[2] + 151u * p[1] + 28u * p[0];
            const unsigned char v = static_cast<unsigned char>(k == 256 ? grey >> 8 : grey * k / 65536);
            p[0] = p[1] = p[2] = v;
        }
    }
}

void ZelImageDrawEngine::MakeTransparent(float factor)
{
    const unsigned k = Factor256(factor);
    Target t;
    if (k == 256 || !WholeTarget(*this, t) || t.depth != 4) return;
    for (int y = 0; y < t.height; ++y) {
        unsigned char* p = t.pixels + y * t.stride + 3;
        for (int x = 0; x < t.width; ++x, p += 4) *p = static_cast<unsigned char>(*p * k / 256);
    }
}
