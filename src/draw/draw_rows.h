// Row kernels of the drawing engine: an SSE2 path where the dispatch allows
// it, else a plain twin that gives the same bytes (the tests compare them).
#pragma once

#include <cstdint>

#include "draw/draw_pixels.h"

namespace zel_draw {

// Blends `colour` into n pixels of 4 bytes, pixel i with weight
// coverage[i] * alpha / 255, by the pixel write.
void BlendCoverageRow4(unsigned char* pixels, const unsigned char* coverage, int n, const Colour& colour);

// The horizontal pass of the bilinear blit: destination pixel i takes
// (c0 * (256 - fx) + c1 * fx) >> 16 per channel, where c0 and c1 are the
// four 16-bit channels (blue, green, red, alpha) of column cols[i] and the
// next one in `column`, and weights[8 i ..] holds 256 - fx four times, then
// fx four times. Writes the four result bytes of each pixel to out.
void BilinearSpan(const std::uint16_t* column, const int* cols, const std::uint16_t* weights, int n,
                  unsigned char* out);

// The vertical pass for 4-byte sources: out[4 k + c] = r0 * (256 - fy) +
// r1 * fy for the bytes of `count` pixels of two source rows.
void BilinearColumns4(const unsigned char* r0, const unsigned char* r1, int count, unsigned fy, std::uint16_t* out);

}  // namespace zel_draw
