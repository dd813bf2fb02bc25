// Row walking shared by the grey conversions: the source is dense with the
// buffer's width as row length, the destination steps by the buffer's stride.
#pragma once

#include <cstddef>

#include "ZelImage.h"
#include "ZelImageBuffer.h"
#include "generators/dispatch.h"

struct ZelGreyRows {
    const short* src = nullptr;
    unsigned char* dst = nullptr;
    int width = 0;
    int height = 0;
    int stride = 0;  // destination bytes per row, padding included
    int depth = 1;   // bytes per pixel: 1 or 3 for grey, 3 or 4 for colour
};

// The common checks of a conversion, made before anything is written: a
// buffer and a slice, and a slice that holds width * height values (its shape
// is not looked at, but one with too few values would be read past its end).
// Fills `rows` with dst null for an empty buffer, which converts to nothing.
// The caller checks the depth.
bool ZelPrepareRows(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelGreyRows& rows);

// The smallest and largest of `count` values (count > 0).
void ZelValueRange(const short* values, long long count, short& low, short& high);

// True when `image` holds at least width * height elements of its type.
bool ZelCoversRows(const ZelImageBase& image, const ZelGreyRows& rows);

// Writes `grey` into the Depth bytes of a pixel.
template <int Depth>
inline void ZelPutGrey(unsigned char* pixel, unsigned char grey)
{
    for (int c = 0; c < Depth; ++c) pixel[c] = grey;
}

// Calls map(value) for every pixel and stores the byte it returns. Map must be
// cheap and branch-free for the loop to vectorise at depth 1.
template <int Depth, class Map>
void ZelMapGreyRows(const ZelGreyRows& rows, Map map)
{
    for (int y = 0; y < rows.height; ++y) {
        const short* src = rows.src + static_cast<std::ptrdiff_t>(y) * rows.width;
        unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride;
        for (int x = 0; x < rows.width; ++x)
            ZelPutGrey<Depth>(dst + static_cast<std::ptrdiff_t>(x) * Depth, map(src[x]));
    }
}

// The depth switch of a call: runs ZelMapGreyRows for depth 1 or 3.
template <class Map>
void ZelMapGrey(const ZelGreyRows& rows, Map map)
{
    ZelDispatchDepth<1, 3>(rows.depth, [&](auto depth) { ZelMapGreyRows<decltype(depth)::value>(rows, map); });
}
