// Memory the text renderer keeps between calls of one engine.
#pragma once

#include <vector>

#include "ZelFont.h"
#include "ZelImageDrawEngine.h"

namespace zel_draw {

struct PlacedGlyph {
    const ZelGlyph* glyph;
    int x, baseline;
};

// Laid-out text: glyphs at pen positions inside a box of width x height.
struct Layout {
    std::vector<PlacedGlyph> glyphs;
    int width = 0;
    int height = 0;
};

}  // namespace zel_draw

struct ZelImageDrawEngine::TextScratch {
    zel_draw::Layout layout;
    std::vector<unsigned char> coverage;  // the text box, one byte a pixel
    std::vector<unsigned char> outline;
};
