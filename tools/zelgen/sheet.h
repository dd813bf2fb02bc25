// A sheet of pictures in a grid: the mosaic of a plane's slices, and the
// demo's contact sheet with a one-line caption under each picture, drawn by
// the library's drawing engine.
#pragma once

#include <string>

#include "ZelImageBuffer.h"
#include "text.h"

class Sheet {
public:
    // `cell` is the size of each picture; `gap` pixels separate the cells;
    // with captions a strip below each cell holds its caption. `depth` is 1
    // (grey) or 3 (colour); a sheet with captions is in colour.
    Sheet(int columns, int rows, int cellWidth, int cellHeight, int gap, bool captions, int depth);

    // False when memory (or, with captions, a font) is short.
    bool Create();
    // Places a picture (grey or colour, at most the cell size, centred in its
    // cell) into cell `index`. Different cells may be placed from different
    // threads at once.
    void Place(int index, const ZelImageBuffer& picture, const std::string& caption = std::string());
    const ZelImageBuffer& Buffer() const { return m_buffer; }

private:
    int m_columns, m_rows, m_cellWidth, m_cellHeight, m_gap, m_captionHeight, m_depth;
    ZelImageBuffer m_buffer;
    TextFont m_font;
};
