// A contact sheet: pictures in a grid, each with a one-line caption drawn in
// a small built-in bitmap font (upper case, digits and a little punctuation).
#pragma once

#include <string>
#include <vector>

#include "ZelImageBuffer.h"

class ContactSheet {
public:
    // `cell` is the size of each picture; captions take a strip below it.
    ContactSheet(int columns, int rows, int cellWidth, int cellHeight);

    bool Create();
    // Places a picture (grey or colour buffer of at most the cell size,
    // centred in its cell) with its caption into cell `index`.
    void Place(int index, const ZelImageBuffer& picture, const std::string& caption);
    const ZelImageBuffer& Buffer() const { return m_buffer; }

    // Pixel width of a caption; characters the font lacks draw as spaces.
    static int TextWidth(const std::string& text);
    static const int kCaptionHeight = 14;

private:
    void DrawText(int x, int y, const std::string& text);

    int m_columns, m_rows, m_cellWidth, m_cellHeight;
    ZelImageBuffer m_buffer;
};
