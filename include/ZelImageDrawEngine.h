#pragma once

#include <cstdint>
#include <memory>

#include "ZelExport.h"
#include "ZelIMemoryAllocator.h"
#include "ZelImageBuffer.h"
#include "ZelRGBABase.h"
#include "ZelString.h"

// A font made by ZelImageDrawEngine::CreateFont: a face at a pixel height,
// weight and quality, with its own glyph cache. Owned by the caller, released
// with DeleteFont. Opaque.
struct ZelFontObject;
typedef struct ZelFontObject* HFONT;

// A software 2-D drawing engine over a packed pixel image of 3 bytes (blue,
// green, red) or 4 bytes (blue, green, red, alpha) per pixel.
//
// Conventions of every operation:
// * Colours are 0xAARRGGBB. Stored little-endian they are the bytes blue,
//   green, red, alpha of a pixel; a 3-byte pixel takes the first three.
// * Pixel write: an opaque colour (alpha 255) replaces the pixel (alpha byte
//   255 on 4-byte targets). Otherwise each channel becomes
//   (colour * a + pixel * (255 - a)) / 255 and a 4-byte pixel's alpha byte
//   a_p + (255 - a_p) * a / 255, both divisions truncating.
// * Pixel centres are at whole coordinates; (0, 0) is the first pixel of the
//   first row. Every drawing operation writes only inside the clip rectangle
//   (inclusive bounds, always inside the image) and does nothing while the
//   clip is empty or no image is attached. Only 3- and 4-byte targets are
//   drawn on (ClearImage included): a target of another depth is left alone,
//   as the 4-byte colour write would not fit a 1- or 2-byte pixel and deeper
//   pixels have no layout of their own.
// * Arguments are taken as given: no coordinate, size or count makes the
//   engine write outside its target. Coordinates may lie anywhere in the int
//   range; a line whose x1 - x0 or y1 - y0 does not fit an int is not drawn.
//   The lines that a wide pen or a wide rectangle adds beside the given ones
//   lie at their true coordinates, even past the int range.
// * Nothing is reported: a rejected or invisible shape draws nothing.
// * One engine is used by one thread at a time; fonts may be shared.
class ZEL_API ZelImageDrawEngine {
public:
    // Text styles, combined with |.
    enum TEXT_STYLE : int {
        // Outline field (two bits), drawn in the border colour before the
        // glyphs; the text box grows by 2 pixels each way and starts 1 pixel
        // up and left. 1: a ring from the 3 x 3 maximum of the coverage;
        // 2: a thinner ring from the maximum over the four side neighbours;
        // 3: a drop shadow, the coverage moved 1 pixel right and down.
        TEXT_OUTLINE = 0x0003,
        TEXT_OUTLINE_SQUARE = 0x0001,
        TEXT_OUTLINE_CROSS = 0x0002,
        TEXT_SHADOW = 0x0003,
        TEXT_NO_ANTIALIAS = 0x0004,   // glyphs rasterised in black and white
        TEXT_RIGHT = 0x0010,          // right aligned
        TEXT_HCENTER = 0x0020,        // centred (when TEXT_RIGHT is clear)
        TEXT_LEFT_SHOW_END = 0x0040,  // left, but a too wide text shows its right end
        TEXT_BOTTOM = 0x0100,         // bottom aligned
        TEXT_VCENTER = 0x0200,        // centred (when TEXT_BOTTOM is clear)
        TEXT_TOP_SHOW_END = 0x0400,   // top, but a too tall text shows its bottom
        TEXT_MARKUP = 0x1000,         // ^ and _ start super- and subscripts
        TEXT_ROTATE_90 = 0x2000,      // counter-clockwise: reads upwards
        TEXT_ROTATE_180 = 0x4000,
        TEXT_ROTATE_270 = 0x6000,  // reads downwards
        TEXT_ROTATION = 0x6000,
        TEXT_CELL_HEIGHT = 0x8000,  // MeasureString reports the font's pixel height
        TEXT_NO_ALIGN_WHEN_WIDER = 0x10000,
    };

    ZelImageDrawEngine();
    explicit ZelImageDrawEngine(ZelIMemoryAllocator* allocator);
    // Copies share the image buffer (an owned one stays alive until the last
    // engine holding it lets go), the texture and the palette; each copy
    // keeps its own settings from then on and its own text scratch memory.
    ZelImageDrawEngine(const ZelImageDrawEngine& other);
    ZelImageDrawEngine& operator=(const ZelImageDrawEngine& other);
    virtual ~ZelImageDrawEngine();

    // ---- Target image ----
    // Makes an owned, cleared (transparent black) image; depth 0 keeps the
    // current depth. When the attached buffer (owned or not) already has
    // this width and height, nothing changes, whatever depth was asked.
    // 0 on success, 7 when the image could not be made (the engine is then
    // without an image). A width or height of 0 succeeds with no pixels.
    int Resize(int width, int height, int depth);
    // Draws into a buffer the caller keeps; null detaches. The clip rectangle
    // becomes the whole image (an empty clip stays empty).
    void SetExternalImageBuffer(ZelImageBuffer* buffer);
    // Draws into caller memory: rows sizePerLine bytes apart (width * depth
    // when sizePerLine <= 0). The block must hold
    // (height - 1) * sizePerLine + width * depth bytes.
    void SetExternalImagePtr(unsigned char* pixels, int width, int height, int depth, int sizePerLine);
    ZelImageBuffer* GetImageBuffer() { return m_imageBuffer; }
    // The first byte of row 0 (of the buffer's current block when a buffer
    // is attached, so that a relocated block is followed).
    unsigned char* GetImagePtr();
    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }
    int GetDepth() const { return m_depth; }
    int GetSizePerLine() const { return m_sizePerLine; }
    // Fills every pixel with the colour (uniform grey in one memory fill).
    void ClearImage(std::uint32_t colour);

    static std::uint32_t ColorFromRGB(unsigned char r, unsigned char g, unsigned char b)
    {
        return 0xFF000000u | static_cast<std::uint32_t>(r) << 16 | static_cast<std::uint32_t>(g) << 8 | b;
    }
    static std::uint32_t ColorFromRGBA(unsigned char r, unsigned char g, unsigned char b, unsigned char a)
    {
        return static_cast<std::uint32_t>(a) << 24 | static_cast<std::uint32_t>(r) << 16 |
               static_cast<std::uint32_t>(g) << 8 | b;
    }

    // ---- Pen, brush and clip ----
    void SetColor(std::uint32_t colour) { m_colour = colour; }
    std::uint32_t GetColor() const { return m_colour; }
    void SetBorderColor(std::uint32_t colour) { m_borderColour = colour; }
    void SetPenWidth(int width) { m_penWidth = width < 1 ? 1 : width; }
    int GetPenWidth() const { return m_penWidth; }
    // Switching dashes on restarts the pattern at phase 0, unless a phase set
    // with SetPenDashOffset is still waiting for the next line.
    void SetPenDash(bool dash);
    // The next line starts at this phase wherever it starts.
    void SetPenDashOffset(unsigned int offset)
    {
        m_dashOffset = offset;
        m_dashChainRestart = true;
    }
    // After a dashed line: the phase reached at its end.
    unsigned int GetPenDashOffset() const { return m_dashOffset; }
    // One entry per pixel step (true draws); the phase always runs modulo 8.
    // Fewer than 8 entries repeat; entries past the 8th are not used. A null
    // pattern or a count below 1 replaces the pattern by one with every
    // entry off (a dashed line then draws nothing).
    void SetPenDashPattern(const bool* pattern, int count);
    // Colours of 1-byte source images. Each entry's bytes are read in their
    // stored order as blue, green, red, alpha (whatever the member names
    // say). Entries past `count` are transparent black. Null removes it.
    void SetImageColorPalette(const ZelRGBABase<unsigned char>* palette, int count);
    void ClearImageColorPalette();
    // Texture for the fills, anchored at the image origin: depth 1 is a
    // coverage mask, 3 and 4 are colours (3-byte pixels get alpha 255) that
    // are multiplied by the colour. Rows are packed without padding. Null, a
    // size below 1 or another depth removes the texture.
    void SetTextureBrush(const unsigned char* pixels, int width, int height, int depth);
    void SetBilinearFilter(bool on) { m_bilinear = on; }
    // Inclusive bounds, clamped into the image (a rectangle wholly outside
    // shrinks to the nearest edge column or row). left > right or
    // top > bottom makes the clip empty.
    void SetClipRectangle(int left, int top, int right, int bottom);
    void ClearClipRectangle();
    bool IsClipEmpty() const { return m_clipEmpty; }
    void GetClipRectangle(int& left, int& top, int& right, int& bottom) const
    {
        left = m_clipLeft;
        top = m_clipTop;
        right = m_clipRight;
        bottom = m_clipBottom;
    }

    // ---- Lines and shapes ----
    // Pen width and dash. A line steps one pixel at a time along its major
    // axis (x when |dx| >= |dy|); the minor coordinate f starts at
    // minor0 + 0.5, grows by slope = minorDelta / |majorDelta| per step, and
    // the pixel lies at floor(f). f and the slope are doubles and f is summed
    // step by step: that walk, ties included, is the line's definition and
    // part of the engine's contract (pictures are compared pixel for pixel),
    // so it must not be replaced by exact integer steps.
    // The clip is applied before the walk: f jumps by distance x slope to the
    // clip's first column (row), then by whole steps to its first row
    // (column). Inside the clip a line thus draws the unclipped line's
    // pixels up to the rounding of that jump against the sum: a pixel whose
    // exact minor coordinate is a whole number (a tie) may move by one, and
    // with slopes that are short binary fractions (1/2, 3/8) none does.
    // The dash phase takes one step per pixel position: over the steps
    // jumped, the steps walked and the end point, not past the clip's far
    // edge. A line that misses the clip, or whose walk cannot reach the clip
    // before its end, is given up whole: no end point, no dash step.
    // A dashed line that starts where the previous one ended continues its
    // phase, one that starts elsewhere restarts at 0. A wide pen adds
    // parallel lines at +1, -1, +2, -2, ... across the major axis (across x
    // for 45-degree lines).
    void DrawLine(int x0, int y0, int x1, int y1, bool drawLastPoint);
    // One pixel wide, walked and clipped as DrawLine; at step k of the
    // unclipped line the colour is colour0 + (colour1 - colour0) * t / 256
    // per byte with t = 256 k / |majorDelta| (integer). Always draws its end
    // point, in colour1.
    void DrawGradationLine(int x0, int y0, std::uint32_t colour0, int x1, int y1, std::uint32_t colour1);
    // Outline through both corners; wide pens grow it outwards and inwards.
    void DrawRectangle(int x0, int y0, int x1, int y1);
    // Corners inclusive, in either order, with the texture when one is set.
    void FillRectangle(int x0, int y0, int x1, int y1);
    // A circle `diameter` pixels across: with r = (diameter - 1) / 2 the
    // left and upper halves are centred on (cx, cy), and for an even
    // diameter the right and lower halves on (cx + 1, cy + 1). Up to
    // diameter 16 the points come from a fixed table, above it from the
    // midpoint algorithm (the decision value starting at (5 - 4r) / 4 in
    // integers). A wide or dashed pen draws the outline as one closed chain
    // of lines without end points, clockwise on screen from the rightmost
    // point (on an even circle the halves are joined by unit steps), so the
    // dash phase runs on round it; diameter 1 is then a chain of zero-length
    // lines without end points, which draws nothing.
    void DrawCircle(int cx, int cy, int diameter);
    // The disc that DrawCircle outlines: each row runs from the outline's
    // leftmost to its rightmost pixel.
    void FillCircle(int cx, int cy, int diameter);
    // Angles in degrees, 0 towards +x, counter-clockwise as seen on screen
    // (90 points up). The arc runs from startAngle to endAngle:
    // counter-clockwise when endAngle > startAngle, clockwise otherwise; a
    // difference of 360 or more (taken in float) is the whole circle. The
    // outline pixels whose direction from their half's centre lies in the
    // sweep are joined in order with lines without end points. Diameter 1 outlines the rectangle
    // between (cx, cy) and (1, 1), diameter 2 is the whole circle.
    void DrawArc(int cx, int cy, int diameter, float startAngle, float endAngle);
    // The pie: the pixels of FillCircle's disc whose direction from their
    // half's centre lies in the sweep (the centre pixel always). A full turn
    // and diameter 2 fill the disc; diameter 1 outlines the rectangle between
    // (cx, cy) and (1, 1) with the pen, as DrawArc does (intended: it is not
    // filled).
    void FillArc(int cx, int cy, int diameter, float startAngle, float endAngle);
    // Even-odd fill. A row y takes an edge when min(ya, yb) < y <= max(ya, yb);
    // its crossing is the edge's x at y rounded half up, and each span runs
    // between two crossings, both included.
    void FillPolygon(const int* xs, const int* ys, int count);

    // ---- Images ----
    // Sources of 1 (grey, or palette index), 3 or 4 bytes per pixel; a
    // sizePerLine <= 0 means packed rows. 4-byte sources blend by their
    // alpha. Blocks reaching outside the source draw nothing.
    void DrawImage(int x, int y, const ZelImageBuffer* source);
    void DrawImage(int x, int y, const unsigned char* pixels, int width, int height, int depth, int sizePerLine);
    void DrawPartialImage(int x, int y, int srcX, int srcY, int w, int h, const ZelImageBuffer* source);
    void DrawPartialImage(int x, int y, int srcX, int srcY, int w, int h, const unsigned char* pixels, int width,
                          int height, int depth, int sizePerLine);
    void DrawScaledImage(int x, int y, int w, int h, const ZelImageBuffer* source);
    void DrawScaledImage(int x, int y, int w, int h, const unsigned char* pixels, int width, int height, int depth,
                         int sizePerLine);
    // Corner-aligned: destination column i samples source position
    // i / (w - 1) * (srcW - 1). Bilinear with 8-bit weights per axis when the
    // filter is on, else the nearest sample below. A 1 x 1 block fills the
    // rectangle with its colour.
    void DrawPartialScaledImage(int x, int y, int w, int h, int srcX, int srcY, int srcW, int srcH,
                                const ZelImageBuffer* source);
    void DrawPartialScaledImage(int x, int y, int w, int h, int srcX, int srcY, int srcW, int srcH,
                                const unsigned char* pixels, int width, int height, int depth, int sizePerLine);
    // Grey = (77 red + 151 green + 28 blue) * factor / 65536, factor clamped
    // to 0..1; alpha unchanged.
    void Monochrome(float factor);
    // Alpha *= factor (clamped to 0..1, in steps of 1/256) on 4-byte targets.
    void MakeTransparent(float factor);

    // ---- Text ----
    // Fonts are found by family name through the system's font matching
    // ("DejaVu Sans", "Sans", "Arial"); bold takes the bold face or, without
    // one, emboldens the glyphs. The height is (dpi * pointSize + 36) / 72
    // pixels, raised to minHeight when that is above 0 and not below it.
    // Null when no font can be had, or for a height below 1 or above 2048.
    HFONT CreateFont(const wchar_t* face, int pointSize, bool bold);
    static HFONT CreateFont(const wchar_t* face, int pointSize, bool bold, int dpi, int minHeight);
    static void DeleteFont(HFONT font);
    // From the face's size metrics; lineHeight is the face's line spacing.
    // All 0 for a null font.
    static void GetFontMetrics(HFONT font, int& ascent, int& descent, int& lineHeight);
    // Size of the text box: the sum of the advances (with kerning) by the
    // font's ascent + descent. With TEXT_MARKUP, scripts use a font of 70 %
    // of the height and add their own widths; the height is the largest of
    // the pieces. 0 x 0 for a null font, and for a text wider than 2^24
    // pixels (which is not drawn either, nor is a box past 2^28 pixels).
    //
    // Markup: a ^ or _ starts a superscript or subscript of one character,
    // or of everything up to the next } when a { follows. A backslash
    // before ^, _ or } makes that character plain and is not shown. A
    // superscript's ascent starts at the top of the box, a subscript's
    // descent ends at its bottom.
    static void MeasureString(const ZelString& text, HFONT font, int style, int& width, int& height);
    // DrawStringRect with (x, y) as the anchor: left/top put the text's top
    // left corner there, right and bottom end the box there, the centring
    // flags centre it there.
    void DrawString(const ZelString& text, int x, int y, HFONT font, int style);
    // Text in the colour (outline in the border colour) aligned in the
    // rectangle and cut to it; width = height = INT_MIN means an anchor point
    // (DrawString). With TEXT_NO_ALIGN_WHEN_WIDER a text wider than the
    // rectangle starts at its left edge and runs on past its right edge.
    // Coverage blends by the pixel write with alpha = coverage * alpha / 255.
    void DrawStringRect(const ZelString& text, int x, int y, int width, int height, HFONT font, int style);

    // ---- Font settings used by CreateFont ----
    int GetFontDPI() const { return m_fontDPI; }
    void SetFontDPI(int dpi) { m_fontDPI = dpi; }
    int GetFontMinHeight() const { return m_fontMinHeight; }
    void SetFontMinHeight(int pixels) { m_fontMinHeight = pixels; }

protected:
    // One pixel wide line without dash chaining.
    void DrawLineInner(int x0, int y0, int x1, int y1, bool drawLastPoint);
    // The dash chaining step of a line from (x0, y0) to (x1, y1).
    void CheckLineDashOffset(int x0, int y0, int x1, int y1);
    void DrawPartialScaledImageNearest(int x, int y, int w, int h, int srcX, int srcY, int srcW, int srcH,
                                       const unsigned char* pixels, int width, int height, int depth, int sizePerLine);
    // Releases the text scratch memory.
    void ClearCache();

private:
    friend struct ZelDrawAccess;

    int m_width = 0;
    int m_height = 0;
    int m_depth = 4;
    ZelImageBuffer* m_imageBuffer = nullptr;
    bool m_ownsImageBuffer = false;
    unsigned char* m_imagePtr = nullptr;
    int m_sizePerLine = 0;
    ZelIMemoryAllocator* m_allocator = nullptr;
    int m_fontDPI = 96;
    int m_fontMinHeight = 0;
    // Scratch memory of the text renderer, kept between calls.
    struct TextScratch;
    std::unique_ptr<TextScratch> m_textScratch;
    bool m_clipEmpty = false;
    int m_clipLeft = 0;
    int m_clipRight = 0;
    int m_clipTop = 0;
    int m_clipBottom = 0;
    std::uint32_t m_colour = 0xFFFFFFFFu;
    std::uint32_t m_borderColour = 0;
    int m_penWidth = 1;
    bool m_penDash = false;
    unsigned int m_dashOffset = 0;
    bool m_dashPattern[8] = {true, true, true, true, false, false, false, false};
    std::shared_ptr<const unsigned char> m_palette;  // 256 entries of 4 bytes
    int m_paletteCount = 0;
    std::shared_ptr<const unsigned char> m_texture;
    int m_textureWidth = 0;
    int m_textureHeight = 0;
    int m_textureBytes = 0;
    bool m_bilinear = true;
    bool m_dashChainRestart = true;
    int m_lastLineEndX = 0;
    int m_lastLineEndY = 0;
    // Keeps an owned buffer alive while copies of the engine use it.
    std::shared_ptr<ZelImageBuffer> m_ownedBuffer;
};
