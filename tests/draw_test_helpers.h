// Shared pieces of the drawing engine tests: an engine over a 4-byte image
// whose pixels read back as 0xAARRGGBB, and the set of pixels a call drew.
#pragma once

#include <cstdint>
#include <cstring>
#include <set>
#include <utility>
#include <vector>

#include "ZelImageDrawEngine.h"

using Pixel = std::pair<int, int>;  // (x, y)
using PixelSet = std::set<Pixel>;

// An engine drawing into its own w x h image of `depth` bytes, cleared to 0.
struct DrawCanvas {
    ZelImageDrawEngine engine;
    DrawCanvas(int w, int h, int depth = 4) { engine.Resize(w, h, depth); }
    unsigned char* At(int x, int y)
    {
        return engine.GetImagePtr() + y * engine.GetSizePerLine() + x * engine.GetDepth();
    }
    std::uint32_t Get(int x, int y)
    {
        const unsigned char* p = At(x, y);
        std::uint32_t v = 0;
        for (int c = engine.GetDepth() - 1; c >= 0; --c) v = v << 8 | p[c];
        return v;
    }
    void Set(int x, int y, std::uint32_t v)
    {
        unsigned char* p = At(x, y);
        for (int c = 0; c < engine.GetDepth(); ++c) p[c] = static_cast<unsigned char>(v >> (8 * c));
    }
    // Pixels that are not 0.
    PixelSet Drawn()
    {
        PixelSet set;
        for (int y = 0; y < engine.GetHeight(); ++y) {
            for (int x = 0; x < engine.GetWidth(); ++x) {
                if (Get(x, y)) set.insert({x, y});
            }
        }
        return set;
    }
    void Clear() { std::memset(engine.GetImagePtr(), 0, engine.GetSizePerLine() * engine.GetHeight()); }
};
