#include "text.h"

#include <cstdint>
#include <cstring>

std::wstring Widen(const std::string& text)
{
    std::wstring out;
    const std::size_t n = text.size();
    for (std::size_t i = 0; i < n;) {
        const auto lead = static_cast<unsigned char>(text[i]);
        // Sequence length and the bits of the lead byte.
        const int length = lead < 0x80           ? 1
                           : (lead >> 5) == 0x6  ? 2
                           : (lead >> 4) == 0xE  ? 3
                           : (lead >> 3) == 0x1E ? 4
                                                 : 0;
        std::uint32_t code = length == 1 ? lead : length == 0 ? 0 : lead & (0x7Fu >> length);
        bool valid = length > 0 && i + length <= n;
        for (int k = 1; valid && k < length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            valid = (next & 0xC0) == 0x80;
            code = code << 6 | (next & 0x3Fu);
        }
        // Overlong forms, surrogates and values past Unicode are not characters.
        static const std::uint32_t kSmallest[5] = {0, 0, 0x80, 0x800, 0x10000};
        valid = valid && code >= kSmallest[length] && code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
        out.push_back(static_cast<wchar_t>(valid ? code : 0xFFFD));
        i += valid ? static_cast<std::size_t>(length) : 1;
    }
    return out;
}

TextFont::TextFont(const std::string& family, int pixels, bool bold)
{
    // At 72 dpi a point is a pixel.
    const std::wstring face = Widen(family.empty() ? std::string("DejaVu Sans") : family);
    m_font = ZelImageDrawEngine::CreateFont(face.c_str(), pixels, bold, 72, 0);
}

TextFont::~TextFont()
{
    ZelImageDrawEngine::DeleteFont(m_font);
}

TextFont& TextFont::operator=(TextFont&& other) noexcept
{
    if (this != &other) {
        ZelImageDrawEngine::DeleteFont(m_font);
        m_font = other.m_font;
        other.m_font = nullptr;
    }
    return *this;
}

int TextFont::LineHeight() const
{
    int ascent = 0, descent = 0, line = 0;
    ZelImageDrawEngine::GetFontMetrics(m_font, ascent, descent, line);
    return line + 2;  // the outline's ring
}

void UseOutlinedText(ZelImageDrawEngine& engine)
{
    engine.SetColor(ZelImageDrawEngine::ColorFromRGB(255, 255, 255));
    engine.SetBorderColor(ZelImageDrawEngine::ColorFromRGB(0, 0, 0));
}

bool DrawOnPicture(ZelImageBuffer& picture, const std::function<void(ZelImageDrawEngine&)>& draw)
{
    ZelImageDrawEngine engine;
    if (picture.GetDepth() != 1) {
        engine.SetExternalImageBuffer(&picture);
        draw(engine);
        return true;
    }
    const int width = picture.GetWidth(), height = picture.GetHeight();
    ZelImageBuffer colour;
    if (!colour.CreateImage(width, height, 3)) return false;
    const int greyStride = picture.GetSizePerLine(), colourStride = colour.GetSizePerLine();
    for (int y = 0; y < height; ++y) {
        const unsigned char* in = picture.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * greyStride;
        unsigned char* out = colour.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * colourStride;
        for (int x = 0; x < width; ++x) std::memset(out + 3 * x, in[x], 3);
    }
    engine.SetExternalImageBuffer(&colour);
    draw(engine);
    for (int y = 0; y < height; ++y) {
        const unsigned char* in = colour.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * colourStride;
        unsigned char* out = picture.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * greyStride;
        for (int x = 0; x < width; ++x) out[x] = in[3 * x + 1];
    }
    return true;
}
