// The engine object: its target image, settings, clip rectangle and clearing.
#include "ZelImageDrawEngine.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "draw/draw_pixels.h"
#include "draw/text_scratch.h"

using namespace zel_draw;

namespace {
// w - 1 without overflow for any width the caller passed.
int LastIndex(int size)
{
    return size > 0 ? size - 1 : -1;
}
}  // namespace

void ZelDrawAccess::SetWholeImageClip(ZelImageDrawEngine& e)
{
    e.m_clipLeft = 0;
    e.m_clipTop = 0;
    e.m_clipRight = LastIndex(e.m_width);
    e.m_clipBottom = LastIndex(e.m_height);
}

ZelImageDrawEngine::ZelImageDrawEngine() = default;

ZelImageDrawEngine::ZelImageDrawEngine(ZelIMemoryAllocator* allocator) : m_allocator(allocator) {}

ZelImageDrawEngine::ZelImageDrawEngine(const ZelImageDrawEngine& other)
{
    *this = other;
}

ZelImageDrawEngine& ZelImageDrawEngine::operator=(const ZelImageDrawEngine& other)
{
    if (this == &other) return *this;
    ClearCache();
    m_width = other.m_width;
    m_height = other.m_height;
    m_depth = other.m_depth;
    m_imageBuffer = other.m_imageBuffer;
    m_ownsImageBuffer = other.m_ownsImageBuffer;
    m_ownedBuffer = other.m_ownedBuffer;
    m_imagePtr = other.m_imagePtr;
    m_sizePerLine = other.m_sizePerLine;
    m_allocator = other.m_allocator;
    m_fontDPI = other.m_fontDPI;
    m_fontMinHeight = other.m_fontMinHeight;
    m_clipEmpty = other.m_clipEmpty;
    m_clipLeft = other.m_clipLeft;
    m_clipRight = other.m_clipRight;
    m_clipTop = other.m_clipTop;
    m_clipBottom = other.m_clipBottom;
    m_colour = other.m_colour;
    m_borderColour = other.m_borderColour;
    m_penWidth = other.m_penWidth;
    m_penDash = other.m_penDash;
    m_dashOffset = other.m_dashOffset;
    std::copy(other.m_dashPattern, other.m_dashPattern + 8, m_dashPattern);
    m_palette = other.m_palette;
    m_paletteCount = other.m_paletteCount;
    m_texture = other.m_texture;
    m_textureWidth = other.m_textureWidth;
    m_textureHeight = other.m_textureHeight;
    m_textureBytes = other.m_textureBytes;
    m_bilinear = other.m_bilinear;
    m_dashChainRestart = other.m_dashChainRestart;
    m_lastLineEndX = other.m_lastLineEndX;
    m_lastLineEndY = other.m_lastLineEndY;
    return *this;
}

ZelImageDrawEngine::~ZelImageDrawEngine()
{
    ClearCache();
}

void ZelImageDrawEngine::ClearCache()
{
    m_textScratch.reset();
}

ZelImageDrawEngine::TextScratch& ZelDrawAccess::Scratch(ZelImageDrawEngine& e)
{
    if (!e.m_textScratch) e.m_textScratch.reset(new ZelImageDrawEngine::TextScratch());
    return *e.m_textScratch;
}

int ZelImageDrawEngine::Resize(int width, int height, int depth)
{
    ClearCache();
    if (depth == 0) depth = m_depth;
    if (m_imageBuffer && m_imageBuffer->GetWidth() == width && m_imageBuffer->GetHeight() == height) return 0;

    m_ownedBuffer.reset();
    m_ownsImageBuffer = false;
    m_imageBuffer = nullptr;
    m_imagePtr = nullptr;

    std::shared_ptr<ZelImageBuffer> buffer(new (std::nothrow) ZelImageBuffer(m_allocator));
    if (!buffer || !buffer->CreateImage(width, height, depth)) return 7;
    m_imagePtr = buffer->GetDataPtr();
    m_sizePerLine = buffer->GetSizePerLine();
    if (m_imagePtr) std::memset(m_imagePtr, 0, static_cast<std::size_t>(m_sizePerLine) * buffer->GetHeight());
    m_width = width;
    m_height = height;
    m_depth = depth;
    m_ownedBuffer = std::move(buffer);
    m_imageBuffer = m_ownedBuffer.get();
    m_ownsImageBuffer = true;
    ZelDrawAccess::SetWholeImageClip(*this);
    return 0;
}

void ZelImageDrawEngine::SetExternalImageBuffer(ZelImageBuffer* buffer)
{
    ClearCache();
    m_ownedBuffer.reset();
    m_ownsImageBuffer = false;
    m_imageBuffer = buffer;
    if (buffer) {
        m_imagePtr = buffer->GetDataPtr();
        m_width = buffer->GetWidth();
        m_height = buffer->GetHeight();
        m_depth = buffer->GetDepth();
        m_sizePerLine = buffer->GetSizePerLine();
    } else {
        m_imagePtr = nullptr;
        m_width = m_height = m_depth = m_sizePerLine = 0;
    }
    ZelDrawAccess::SetWholeImageClip(*this);
}

void ZelImageDrawEngine::SetExternalImagePtr(unsigned char* pixels, int width, int height, int depth, int sizePerLine)
{
    ClearCache();
    m_ownedBuffer.reset();
    m_ownsImageBuffer = false;
    m_imageBuffer = nullptr;
    m_imagePtr = pixels;
    m_width = width;
    m_height = height;
    m_depth = depth;
    // A packed row length that does not fit an int leaves the engine
    // without a usable target (GetTarget refuses it).
    const I64 packed = static_cast<I64>(width) * depth;
    m_sizePerLine = sizePerLine > 0 ? sizePerLine : (packed > 0 && packed <= INT32_MAX ? static_cast<int>(packed) : 0);
    ZelDrawAccess::SetWholeImageClip(*this);
}

unsigned char* ZelImageDrawEngine::GetImagePtr()
{
    return m_imageBuffer ? m_imageBuffer->GetDataPtr() : m_imagePtr;
}

bool ZelDrawAccess::GetTarget(ZelImageDrawEngine& e, Target& t)
{
    if (e.m_clipEmpty || (e.m_depth != 3 && e.m_depth != 4) || e.m_width < 1 || e.m_height < 1) return false;
    unsigned char* pixels = e.m_imagePtr;
    if (e.m_imageBuffer) {
        // Follow a block the allocator moved; refuse a buffer that changed
        // shape behind the engine's back.
        ZelImageBuffer& b = *e.m_imageBuffer;
        if (b.GetWidth() != e.m_width || b.GetHeight() != e.m_height || b.GetDepth() != e.m_depth) return false;
        pixels = b.GetDataPtr();
    }
    if (!pixels || e.m_sizePerLine < 1) return false;
    t.pixels = pixels;
    t.stride = e.m_sizePerLine;
    t.depth = e.m_depth;
    t.width = e.m_width;
    t.height = e.m_height;
    t.left = std::max(e.m_clipLeft, 0);
    t.top = std::max(e.m_clipTop, 0);
    t.right = std::min(e.m_clipRight, e.m_width - 1);
    t.bottom = std::min(e.m_clipBottom, e.m_height - 1);
    return t.left <= t.right && t.top <= t.bottom;
}

Brush ZelDrawAccess::GetBrush(const ZelImageDrawEngine& e)
{
    Brush brush;
    brush.colour = e.m_colour;
    if (e.m_texture) {
        brush.texture = e.m_texture.get();
        brush.textureWidth = e.m_textureWidth;
        brush.textureHeight = e.m_textureHeight;
        brush.textureBytes = e.m_textureBytes;
    }
    return brush;
}

void ZelImageDrawEngine::ClearImage(std::uint32_t colour)
{
    Target t;
    {
        // The whole image, whatever the clip says.
        const bool clipEmpty = m_clipEmpty;
        m_clipEmpty = false;
        const int l = m_clipLeft, r = m_clipRight, tp = m_clipTop, b = m_clipBottom;
        ZelDrawAccess::SetWholeImageClip(*this);
        const bool ok = ZelDrawAccess::GetTarget(*this, t);
        m_clipEmpty = clipEmpty;
        m_clipLeft = l, m_clipRight = r, m_clipTop = tp, m_clipBottom = b;
        if (!ok) return;
    }
    const Colour c(colour);
    const std::size_t rowBytes = static_cast<std::size_t>(t.width) * t.depth;
    const bool uniform = c.b == c.g && c.g == c.r && (t.depth == 3 || c.r == c.a);
    if (uniform && t.stride >= static_cast<std::ptrdiff_t>(rowBytes)) {
        // One fill, row padding included; a bare pointer's block may end
        // with the last pixel, so its last row's padding is left alone.
        const std::size_t last = m_imageBuffer ? static_cast<std::size_t>(t.stride) : rowBytes;
        std::memset(t.pixels, static_cast<int>(c.b), static_cast<std::size_t>(t.stride) * (t.height - 1) + last);
        return;
    }
    for (int y = 0; y < t.height; ++y) {
        unsigned char* p = t.pixels + y * t.stride;
        if (t.depth == 3) {
            for (int x = 0; x < t.width; ++x, p += 3) WritePixel<3>(p, c);
        } else {
            for (int x = 0; x < t.width; ++x, p += 4) StorePixel4(p, c);
        }
    }
}

void ZelImageDrawEngine::SetPenDash(bool dash)
{
    if (!m_penDash && dash && !m_dashChainRestart) {
        m_dashChainRestart = true;
        m_dashOffset = 0;
    }
    m_penDash = dash;
}

void ZelImageDrawEngine::SetPenDashPattern(const bool* pattern, int count)
{
    // The old pattern goes in every case; entries the caller does not supply
    // are off, so a null or empty pattern draws no dash at all.
    for (int i = 0; i < 8; ++i) m_dashPattern[i] = pattern && count >= 1 && pattern[i % count];
}

void ZelImageDrawEngine::SetImageColorPalette(const ZelRGBABase<unsigned char>* palette, int count)
{
    ClearImageColorPalette();
    if (!palette) return;
    std::shared_ptr<unsigned char> table(new (std::nothrow) unsigned char[1024](),
                                         std::default_delete<unsigned char[]>());
    if (!table) return;
    const int n = std::max(0, std::min(count, 256));
    for (int i = 0; i < n; ++i) {
        unsigned char* entry = table.get() + 4 * i;
        entry[0] = palette[i].r;  // byte order as stored: blue, green, red, alpha
        entry[1] = palette[i].g;
        entry[2] = palette[i].b;
        entry[3] = palette[i].a;
    }
    m_palette = std::move(table);
    m_paletteCount = count;
}

void ZelImageDrawEngine::ClearImageColorPalette()
{
    m_palette.reset();
    m_paletteCount = 0;
}

void ZelImageDrawEngine::SetTextureBrush(const unsigned char* pixels, int width, int height, int depth)
{
    m_texture.reset();
    m_textureWidth = m_textureHeight = m_textureBytes = 0;
    if (!pixels || width < 1 || height < 1) return;
    const int bytes = depth == 1 ? 1 : (depth == 3 || depth == 4) ? 4 : 0;
    if (!bytes) return;
    const I64 count = static_cast<I64>(width) * height;
    if (count > (I64(1) << 31)) return;  // no texture a host could mean
    std::shared_ptr<unsigned char> texture(new (std::nothrow) unsigned char[static_cast<std::size_t>(count * bytes)],
                                           std::default_delete<unsigned char[]>());
    if (!texture) return;
    unsigned char* out = texture.get();
    if (depth == 3) {
        for (I64 i = 0; i < count; ++i) {
            out[4 * i] = pixels[3 * i];
            out[4 * i + 1] = pixels[3 * i + 1];
            out[4 * i + 2] = pixels[3 * i + 2];
            out[4 * i + 3] = 255;
        }
    } else {
        std::memcpy(out, pixels, static_cast<std::size_t>(count * bytes));
    }
    m_texture = std::move(texture);
    m_textureWidth = width;
    m_textureHeight = height;
    m_textureBytes = bytes;
}

void ZelImageDrawEngine::SetClipRectangle(int left, int top, int right, int bottom)
{
    if (left > right || top > bottom) {
        m_clipEmpty = true;
        return;
    }
    m_clipEmpty = false;
    // Limit to the last index first, then raise negatives to 0: a rectangle
    // wholly outside shrinks to the nearest edge.
    const auto clamp = [](int v, int size) {
        const int last = size > 0 ? size - 1 : 0;
        v = std::min(v, last);
        return v < 0 ? 0 : v;
    };
    m_clipLeft = clamp(left, m_width);
    m_clipRight = clamp(right, m_width);
    m_clipTop = clamp(top, m_height);
    m_clipBottom = clamp(bottom, m_height);
}

void ZelImageDrawEngine::ClearClipRectangle()
{
    m_clipEmpty = false;
    ZelDrawAccess::SetWholeImageClip(*this);
}
