// Fonts for the drawing engine's text: a face found by family name,
// rasterised at a pixel height into coverage bitmaps, with a glyph cache per
// font. The library's own service behind HFONT; hosts use fonts through
// ZelImageDrawEngine::CreateFont and DeleteFont.
#pragma once

#include <cstdint>

struct ZelFontObject;

// A rasterised glyph. Coverage rows are `width` bytes, top row first; the
// bitmap's top left pixel lies `left` pixels right of the pen position and
// `top` rows above the baseline.
struct ZelGlyph {
    unsigned index = 0;  // the face's glyph index
    int advance = 0;     // pixels
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    const unsigned char* coverage = nullptr;
};

struct ZelFontMetrics {
    int ascent = 0;       // pixels above the baseline
    int descent = 0;      // pixels below it
    int lineHeight = 0;   // baseline to baseline
    int pixelHeight = 0;  // the em height asked for
};

// Null when no face can be had or the height is outside 1..2048. A bold font
// takes the family's bold face or, when it has none, emboldens the glyphs.
ZelFontObject* ZelFontCreate(const wchar_t* family, int pixelHeight, bool bold);
// Releases the font and its variants.
void ZelFontDestroy(ZelFontObject* font);
// The same face at another height and quality, made once and owned by
// `font` (it lives as long as the font). Null when it cannot be made.
ZelFontObject* ZelFontVariant(ZelFontObject* font, int pixelHeight, bool antialias);
ZelFontMetrics ZelFontGetMetrics(ZelFontObject* font);

// Glyph lookups happen while the font is locked (a font may be shared between
// threads); the lock covers the font and all its variants.
void ZelFontAcquire(ZelFontObject* font);
void ZelFontRelease(ZelFontObject* font);
class ZelFontLock {
public:
    explicit ZelFontLock(ZelFontObject* font) : m_font(font) { ZelFontAcquire(font); }
    ~ZelFontLock() { ZelFontRelease(m_font); }
    ZelFontLock(const ZelFontLock&) = delete;
    ZelFontLock& operator=(const ZelFontLock&) = delete;

private:
    ZelFontObject* m_font;
};
// The glyph of a character, rasterised on first use and cached; valid as long
// as the font. Never null.
const ZelGlyph* ZelFontGlyph(ZelFontObject* font, std::uint32_t character);
// Kerning between two glyphs of the font, in whole pixels.
int ZelFontKerning(ZelFontObject* font, unsigned leftIndex, unsigned rightIndex);
// Glyphs rasterised by this font so far (its variants count their own).
long ZelFontRasterCount(ZelFontObject* font);
