#include "sheet.h"

#include <cstring>

namespace {

const int kCaptionHeight = 18;
const int kCaptionPixels = 12;

}  // namespace

Sheet::Sheet(int columns, int rows, int cellWidth, int cellHeight, int gap, bool captions, int depth)
    : m_columns(columns),
      m_rows(rows),
      m_cellWidth(cellWidth),
      m_cellHeight(cellHeight),
      m_gap(gap),
      m_captionHeight(captions ? kCaptionHeight : 0),
      m_depth(captions ? 3 : depth)
{
}

bool Sheet::Create()
{
    const long long width = static_cast<long long>(m_columns) * (m_cellWidth + m_gap) + m_gap;
    const long long height = static_cast<long long>(m_rows) * (m_cellHeight + m_captionHeight + m_gap) + m_gap;
    // At most 256 MB of pixels, whatever the grid asked for.
    if (width > 32768 || height > 32768 || width * height * m_depth > (1LL << 28)) return false;
    if (!m_buffer.CreateImage(static_cast<int>(width), static_cast<int>(height), m_depth)) return false;
    m_buffer.ZeroClear();
    if (m_captionHeight > 0) m_font = TextFont(std::string(), kCaptionPixels, false);
    return m_captionHeight == 0 || m_font;
}

void Sheet::Place(int index, const ZelImageBuffer& picture, const std::string& caption)
{
    const int column = index % m_columns, row = index / m_columns;
    const int cellX = m_gap + column * (m_cellWidth + m_gap);
    const int cellY = m_gap + row * (m_cellHeight + m_captionHeight + m_gap);
    const int w = picture.GetWidth() < m_cellWidth ? picture.GetWidth() : m_cellWidth;
    const int h = picture.GetHeight() < m_cellHeight ? picture.GetHeight() : m_cellHeight;
    const int x0 = cellX + (m_cellWidth - w) / 2, y0 = cellY + (m_cellHeight - h) / 2;
    const int depth = picture.GetDepth();
    unsigned char* data = m_buffer.GetDataPtr();
    const int stride = m_buffer.GetSizePerLine();
    for (int y = 0; y < h; ++y) {
        const unsigned char* in = picture.GetDataPtr() + y * picture.GetSizePerLine();
        unsigned char* out = data + (y0 + y) * stride + x0 * m_depth;
        if (depth == m_depth) {
            std::memcpy(out, in, static_cast<std::size_t>(w * depth));
        } else if (m_depth == 1) {
            for (int x = 0; x < w; ++x) out[x] = in[x * depth + 1];  // green stands for grey
        } else {
            for (int x = 0; x < w; ++x) std::memset(out + x * m_depth, in[x], static_cast<std::size_t>(m_depth));
        }
    }
    if (m_captionHeight == 0 || caption.empty()) return;
    // Centred under the picture; a caption too long for the cell shows its
    // beginning. The clip keeps each caption in its own strip, so cells stay
    // independent.
    const ZelString text(Widen(caption));
    int width = 0, height = 0;
    ZelImageDrawEngine::MeasureString(text, m_font.Get(), 0, width, height);
    ZelImageDrawEngine engine;
    engine.SetExternalImageBuffer(&m_buffer);
    engine.SetClipRectangle(cellX, cellY + m_cellHeight, cellX + m_cellWidth - 1,
                            cellY + m_cellHeight + m_captionHeight - 1);
    engine.SetColor(ZelImageDrawEngine::ColorFromRGB(230, 230, 230));
    engine.DrawStringRect(
        text, cellX, cellY + m_cellHeight, m_cellWidth, m_captionHeight, m_font.Get(),
        (width <= m_cellWidth ? ZelImageDrawEngine::TEXT_HCENTER : 0) | ZelImageDrawEngine::TEXT_VCENTER);
}
