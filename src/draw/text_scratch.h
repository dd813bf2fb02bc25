// Memory the text renderer keeps between calls of one engine.
#pragma once

#include <vector>

#include "ZelImageDrawEngine.h"

struct ZelImageDrawEngine::TextScratch {
    std::vector<unsigned char> coverage;  // the text box, one byte a pixel
    std::vector<unsigned char> outline;
    std::vector<unsigned char> rotated;
};
