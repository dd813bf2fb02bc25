// The compositor: every function checks its buffers, picks the pair of depths
// once, and runs the loop written for that pair; the equal-depth Alpha and Add
// run the vector byte kernels.
#include "ZelIGCompositor.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "compose/compose_kernels.h"
#include "foundation/zel_numbers.h"

namespace {

int Weight(float factor)
{
    return ZelTruncateToInt(static_cast<double>(factor) * 256.0);
}

int Pair(const ZelImageBuffer& a, const ZelImageBuffer& b)
{
    return a.GetDepth() * 10 + b.GetDepth();
}

// Whether b holds every byte that a loop over a's rows reads from it: with a's
// row length for equal depths, with its own otherwise.
bool Covers(const ZelImageBuffer& a, const ZelImageBuffer& b)
{
    if (a.GetDataPtr() == nullptr) return true;  // nothing is read
    if (b.GetDataPtr() == nullptr) return false;
    if (a.GetDepth() != b.GetDepth()) return b.GetWidth() >= a.GetWidth() && b.GetHeight() >= a.GetHeight();
    const long long needed = static_cast<long long>(a.GetSizePerLine()) * (a.GetHeight() - 1) +
                             static_cast<long long>(a.GetWidth()) * a.GetDepth();
    return needed <= static_cast<long long>(b.GetSizePerLine()) * b.GetHeight();
}

// The loop of one pair: op(pixel of a, pixel of b) over a's width and height.
template <int DepthA, int DepthB, class Op>
void Pixels(ZelImageBuffer& a, ZelImageBuffer& b, Op op)
{
    const int strideA = a.GetSizePerLine();
    const int strideB = DepthA == DepthB ? strideA : b.GetSizePerLine();
    for (int y = 0; y < a.GetHeight(); ++y) {
        unsigned char* pa = a.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * strideA;
        unsigned char* pb = b.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * strideB;
        for (int x = 0; x < a.GetWidth(); ++x) op(pa + DepthA * x, pb + DepthB * x);
    }
}

// Runs the pair's loop after the size check; returns `written`, or null when
// b is too small.
template <int DepthA, int DepthB, class Op>
ZelImageBuffer* Run(ZelImageBuffer* a, ZelImageBuffer* b, ZelImageBuffer* written, Op op)
{
    if (!Covers(*a, *b)) return nullptr;
    if (a->GetDataPtr() != nullptr) Pixels<DepthA, DepthB>(*a, *b, op);
    return written;
}

// Equal depths through a byte kernel, row by row.
template <class Kernel>
ZelImageBuffer* RunBytes(ZelImageBuffer* a, ZelImageBuffer* b, Kernel kernel)
{
    if (!Covers(*a, *b)) return nullptr;
    const int stride = a->GetSizePerLine();
    for (int y = 0; y < a->GetHeight(); ++y) {
        const std::ptrdiff_t offset = static_cast<std::ptrdiff_t>(y) * stride;
        kernel(ZelComposeRow{a->GetDataPtr() + offset, b->GetDataPtr() + offset, a->GetWidth() * a->GetDepth(),
                             a->GetDepth() == 4});
    }
    return a;
}

// Colour bytes of a pixel of the given depth.
constexpr int Channels(int depth)
{
    return depth == 1 ? 1 : 3;
}

// Alpha and Add share their pairs and written buffers; `byte(first, second)`
// combines a byte of the first-weighted picture with one of the other.
template <class Kernel, class Byte>
ZelImageBuffer* ConstantBlend(ZelImageBuffer* a, ZelImageBuffer* b, Kernel kernel, Byte byte)
{
    // The grey byte stands for all three channels of the colour buffer.
    const auto greyFirst = [byte](unsigned char* grey, unsigned char* colour) {
        for (int c = 0; c < 3; ++c) colour[c] = byte(grey[0], colour[c]);
    };
    const auto colourFirst = [byte](unsigned char* colour, unsigned char* grey) {
        for (int c = 0; c < 3; ++c) colour[c] = byte(colour[c], grey[0]);
    };
    // Depths 3 and 4: the 3-byte picture comes first whatever the order.
    const auto under = [byte](unsigned char* three, unsigned char* four) {
        for (int c = 0; c < 3; ++c) three[c] = byte(three[c], four[c]);
    };
    switch (Pair(*a, *b)) {
    case 11:
    case 33:
    case 44: return RunBytes(a, b, kernel);
    case 13: return Run<1, 3>(a, b, b, greyFirst);
    case 14: return Run<1, 4>(a, b, b, greyFirst);
    case 31: return Run<3, 1>(a, b, a, colourFirst);
    case 41: return Run<4, 1>(a, b, a, colourFirst);
    case 34: return Run<3, 4>(a, b, a, under);
    case 43: return Run<4, 3>(a, b, b, [under](unsigned char* four, unsigned char* three) { under(three, four); });
    default: return nullptr;
    }
}

// Per-pixel opacity of the 4-byte image: w for every alpha byte.
struct AlphaWeights {
    int w[256];
    explicit AlphaWeights(float factor)
    {
        for (int alpha = 0; alpha < 256; ++alpha) w[alpha] = ZelTruncateToInt(alpha * static_cast<double>(factor));
    }
};

// PixelAlpha and PixelAdd: byte(f, o, w) gives the written byte from the
// overlay's byte f, the other picture's byte o and the overlay's weight. Only
// PixelAdd takes the pair (4, 3).
template <class Byte>
ZelImageBuffer* OverlayBlend(ZelImageBuffer* a, ZelImageBuffer* b, float factor, bool takesFourThree, Byte byte)
{
    const AlphaWeights weights(factor);
    const int* w = weights.w;
    const auto greyUnder = [w, byte](unsigned char* four, const unsigned char* grey) {
        for (int c = 0; c < 3; ++c) four[c] = byte(four[c], grey[0], w[four[3]]);
    };
    const auto pictureUnder = [w, byte](unsigned char* picture, const unsigned char* four) {
        for (int c = 0; c < 3; ++c) picture[c] = byte(four[c], picture[c], w[four[3]]);
    };
    switch (Pair(*a, *b)) {
    case 14: return Run<1, 4>(a, b, b, [greyUnder](unsigned char* g, unsigned char* f) { greyUnder(f, g); });
    case 41: return Run<4, 1>(a, b, a, greyUnder);
    case 34: return Run<3, 4>(a, b, a, pictureUnder);
    case 44: return Run<4, 4>(a, b, a, pictureUnder);
    case 43:
        if (!takesFourThree) return a;
        return Run<4, 3>(a, b, b, [pictureUnder](unsigned char* f, unsigned char* t) { pictureUnder(t, f); });
    default: return a;
    }
}

// Multiply and MultiplyAlpha: scale(byte of a, byte of b, channel) for the
// equal depths and for a colour a over a grey b.
template <class Scale>
ZelImageBuffer* Modulate(ZelImageBuffer* a, ZelImageBuffer* b, Scale scale)
{
    const auto equal = [scale](auto depth) {
        return [scale](unsigned char* pa, unsigned char* pb) {
            for (int c = 0; c < Channels(decltype(depth)::value); ++c) pa[c] = scale(pa[c], pb[c], c);
        };
    };
    const auto byGrey = [scale](unsigned char* pa, unsigned char* grey) {
        for (int c = 0; c < 3; ++c) pa[c] = scale(pa[c], grey[0], c);
    };
    switch (Pair(*a, *b)) {
    case 11: return Run<1, 1>(a, b, a, equal(std::integral_constant<int, 1>()));
    case 33: return Run<3, 3>(a, b, a, equal(std::integral_constant<int, 3>()));
    case 44: return Run<4, 4>(a, b, a, equal(std::integral_constant<int, 4>()));
    case 31: return Run<3, 1>(a, b, a, byGrey);
    case 41: return Run<4, 1>(a, b, a, byGrey);
    default: return nullptr;
    }
}

// Overwrite and OverwriteAlpha: put(byte of a, byte of b) at every pixel of b
// whose colour bytes are not the key's.
template <class Put>
ZelImageBuffer* Keyed(ZelImageBuffer* a, ZelImageBuffer* b, ZelRGBBase<unsigned char> key, Put put)
{
    const unsigned char keyBytes[3] = {key.r, key.g, key.b};
    const auto keyed = [&keyBytes, put](auto depth) {
        constexpr int kChannels = Channels(decltype(depth)::value);
        const unsigned char* k = kChannels == 1 ? keyBytes + 1 : keyBytes;
        return [k, put](unsigned char* pa, unsigned char* pb) {
            if (std::memcmp(pb, k, kChannels) == 0) return;
            for (int c = 0; c < kChannels; ++c) pa[c] = put(pa[c], pb[c]);
        };
    };
    switch (Pair(*a, *b)) {
    case 11: return Run<1, 1>(a, b, a, keyed(std::integral_constant<int, 1>()));
    case 33: return Run<3, 3>(a, b, a, keyed(std::integral_constant<int, 3>()));
    case 44: return Run<4, 4>(a, b, a, keyed(std::integral_constant<int, 4>()));
    default: return nullptr;
    }
}

int Luminance(const unsigned char* bgr)
{
    return (29 * bgr[0] + 150 * bgr[1] + 77 * bgr[2]) >> 8;
}

}  // namespace

ZelImageBuffer* ZelIGCompositor::Alpha(ZelImageBuffer* a, ZelImageBuffer* b, float factor)
{
    if (a == nullptr || b == nullptr) return nullptr;
    const int k = Weight(factor);
    return ConstantBlend(
        a, b, [k](const ZelComposeRow& row) { ZelAlphaBytes(row, k); },
        [k](int first, int second) { return ZelAlphaByte(first, second, k); });
}

ZelImageBuffer* ZelIGCompositor::Add(ZelImageBuffer* a, ZelImageBuffer* b, float factor)
{
    if (a == nullptr || b == nullptr) return nullptr;
    const int k = Weight(factor);
    return ConstantBlend(
        a, b, [k](const ZelComposeRow& row) { ZelAddBytes(row, k); },
        [k](int first, int second) { return ZelAddByte(first, second, k); });
}

ZelImageBuffer* ZelIGCompositor::PixelAlpha(ZelImageBuffer* a, ZelImageBuffer* b, float factor)
{
    if (a == nullptr || b == nullptr) return nullptr;
    return OverlayBlend(a, b, factor, false, [](int f, int o, int w) {
        return static_cast<unsigned char>((static_cast<long long>(f - o) * w + o * 255) / 255);
    });
}

ZelImageBuffer* ZelIGCompositor::PixelAdd(ZelImageBuffer* a, ZelImageBuffer* b, float factor)
{
    if (a == nullptr || b == nullptr) return nullptr;
    return OverlayBlend(a, b, factor, true, [](int f, int o, int w) {
        const long long sum = (static_cast<long long>(f) * w + o * 255) / 255;
        return static_cast<unsigned char>(sum < 0 ? 0 : (sum > 255 ? 255 : sum));
    });
}

ZelImageBuffer* ZelIGCompositor::Checker(ZelImageBuffer* a, ZelImageBuffer* b, int cellSize)
{
    if (a == nullptr || b == nullptr) return nullptr;
    const int depth = a->GetDepth();
    if (cellSize < 1 || depth != b->GetDepth() || (depth != 1 && depth != 3 && depth != 4)) return a;
    if (!Covers(*a, *b)) return nullptr;
    const int stride = a->GetSizePerLine();
    for (int y = 0; y < a->GetHeight(); ++y) {
        const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(y) * stride;
        // Cells whose column and row indices add up to an odd number show b.
        for (long long x = (y / cellSize + 1) % 2 * cellSize; x < a->GetWidth(); x += 2LL * cellSize) {
            const long long run = std::min<long long>(cellSize, a->GetWidth() - x);
            std::memcpy(a->GetDataPtr() + row + x * depth, b->GetDataPtr() + row + x * depth,
                        static_cast<std::size_t>(run) * depth);
        }
    }
    return a;
}

ZelImageBuffer* ZelIGCompositor::Multiply(ZelImageBuffer* a, ZelImageBuffer* b, float factor)
{
    if (a == nullptr || b == nullptr) return nullptr;
    const int k = std::clamp(Weight(factor), 0, 255);
    int scaleOf[256];  // b * k + (256 - k) * 255 for every byte b
    for (int v = 0; v < 256; ++v) scaleOf[v] = v * k + (256 - k) * 255;
    return Modulate(a, b,
                    [&scaleOf](int pa, int pb, int) { return static_cast<unsigned char>(pa * scaleOf[pb] / 65280); });
}

ZelImageBuffer* ZelIGCompositor::MultiplyAlpha(ZelImageBuffer* a, ZelImageBuffer* b, ZelRGBBase<unsigned char> colour,
                                               float factor)
{
    if (a == nullptr || b == nullptr) return nullptr;
    const int k = std::clamp(Weight(factor), 0, 255);
    // Per channel of the pixel; a grey a takes the colour's g.
    const bool grey = a->GetDepth() == 1;
    const long long t[3] = {(static_cast<int>(grey ? colour.g : colour.r) - 255) * k,
                            (static_cast<int>(colour.g) - 255) * k, (static_cast<int>(colour.b) - 255) * k};
    return Modulate(a, b, [t](int pa, int pb, int c) {
        constexpr long long kOne = 255LL * 255 * 256;
        return static_cast<unsigned char>(pa * ((255 - pb) * t[c] + kOne) / kOne);
    });
}

ZelImageBuffer* ZelIGCompositor::Color(ZelImageBuffer* a, ZelImageBuffer* b, ZelImageBuffer*& result)
{
    if (a == nullptr || b == nullptr) return nullptr;
    const int pair = Pair(*a, *b);
    if (pair == 33) {
        return Run<3, 3>(a, b, a, [](unsigned char* pa, unsigned char* pb) {
            const auto green = static_cast<unsigned char>(Luminance(pa));
            const auto magenta = static_cast<unsigned char>(Luminance(pb));
            pa[0] = magenta;
            pa[1] = green;
            pa[2] = magenta;
        });
    }
    if (pair != 11 || result == a || result == b || !Covers(*a, *b)) return nullptr;
    if (result == nullptr) {
        result = new (std::nothrow) ZelImageBuffer();
        if (result == nullptr) return nullptr;
    }
    if (result->GetWidth() != a->GetWidth() || result->GetHeight() != a->GetHeight() || result->GetDepth() != 3) {
        if (!result->CreateImage(a->GetWidth(), a->GetHeight(), 3)) return nullptr;
    }
    if (a->GetDataPtr() == nullptr) return result;
    const int strideA = a->GetSizePerLine();
    for (int y = 0; y < a->GetHeight(); ++y) {
        const unsigned char* pa = a->GetDataPtr() + static_cast<std::ptrdiff_t>(y) * strideA;
        const unsigned char* pb = b->GetDataPtr() + static_cast<std::ptrdiff_t>(y) * strideA;
        unsigned char* out = result->GetDataPtr() + static_cast<std::ptrdiff_t>(y) * result->GetSizePerLine();
        for (int x = 0; x < a->GetWidth(); ++x) {
            out[3 * x] = pb[x];
            out[3 * x + 1] = pa[x];
            out[3 * x + 2] = pb[x];
        }
    }
    return result;
}

ZelImageBuffer* ZelIGCompositor::Overwrite(ZelImageBuffer* a, ZelImageBuffer* b, ZelRGBBase<unsigned char> colour)
{
    if (a == nullptr || b == nullptr) return nullptr;
    return Keyed(a, b, colour, [](unsigned char, unsigned char pb) { return pb; });
}

ZelImageBuffer* ZelIGCompositor::OverwriteAlpha(ZelImageBuffer* a, ZelImageBuffer* b, ZelRGBBase<unsigned char> colour,
                                                float factor)
{
    if (a == nullptr || b == nullptr) return nullptr;
    const int k = Weight(factor);
    return Keyed(a, b, colour, [k](unsigned char pa, unsigned char pb) { return ZelAlphaByte(pa, pb, k); });
}
