// Text and marks over display pictures, drawn by the library's drawing
// engine: fonts by family name, and drawing on pictures of either depth.
// The engine draws on colour pixels only, so a grey picture is drawn on
// through a colour copy whose green channel is taken back; marks in white,
// black and greys keep it exactly grey.
#pragma once

#include <functional>
#include <string>

#include "ZelImageBuffer.h"
#include "ZelImageDrawEngine.h"

// UTF-8 to wide characters; a byte that starts no valid sequence becomes
// U+FFFD.
std::wstring Widen(const std::string& text);

// An engine font `pixels` high, found by family name through fontconfig (an
// unknown family falls back as the engine's CreateFont does; empty means
// DejaVu Sans). Released with the object; may be shared by threads.
class TextFont {
public:
    TextFont() = default;
    TextFont(const std::string& family, int pixels, bool bold);
    ~TextFont();
    TextFont(TextFont&& other) noexcept : m_font(other.m_font) { other.m_font = nullptr; }
    TextFont& operator=(TextFont&& other) noexcept;
    TextFont(const TextFont&) = delete;
    TextFont& operator=(const TextFont&) = delete;

    HFONT Get() const { return m_font; }
    explicit operator bool() const { return m_font != nullptr; }
    // Baseline to baseline of outlined text.
    int LineHeight() const;

private:
    HFONT m_font = nullptr;
};

// White text in a black ring, which reads over bright and dark pixels alike.
const int kOutlinedText = ZelImageDrawEngine::TEXT_OUTLINE_SQUARE;
void UseOutlinedText(ZelImageDrawEngine& engine);

// Runs `draw` with an engine attached to `picture` (depth 1 or 3). False,
// with the picture unchanged, when memory for a grey picture's colour copy
// is short.
bool DrawOnPicture(ZelImageBuffer& picture, const std::function<void(ZelImageDrawEngine&)>& draw);
