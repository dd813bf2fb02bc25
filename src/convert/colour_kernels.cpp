#include "colour_kernels.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/zel_numbers.h"

namespace {

// Mask element tests, chosen once per call.
struct SelectAll {
    SelectAll(const ZelMaskRows&, std::ptrdiff_t) {}
    bool operator()(int) const { return true; }
};

template <class Element>
struct SelectBits {
    const Element* row;
    Element bits;
    SelectBits(const ZelMaskRows& mask, std::ptrdiff_t first)
        : row(static_cast<const Element*>(mask.data) + first), bits(static_cast<Element>(mask.bits))
    {
    }
    bool operator()(int x) const { return (row[x] & bits) != 0; }
};

// A pixel's three bytes held in memory order in a word (the fourth is 0),
// so that a 4-byte copy writes them in order on any byte order.
inline std::uint32_t Word(unsigned char b0, unsigned char b1, unsigned char b2)
{
    const unsigned char bytes[4] = {b0, b1, b2, 0};
    std::uint32_t word;
    std::memcpy(&word, bytes, 4);
    return word;
}

inline void Put3(unsigned char* pixel, std::uint32_t word)
{
    std::memcpy(pixel, &word, 3);
}

// The grey level in three bytes, for every level.
struct GreyWords {
    std::uint32_t word[256];
    GreyWords()
    {
        for (int i = 0; i < 256; ++i) {
            const auto level = static_cast<unsigned char>(i);
            word[i] = Word(level, level, level);
        }
    }
};
const GreyWords kGrey;

// Palette entries (or grey) of `count` pixels. Each pixel but the last is
// stored as a 4-byte word whose fourth byte the next pixel overwrites; the
// last one is written byte by byte, so that nothing past the run (the row's
// padding, at the end of a row) is touched.
template <class Select>
void PaintPalette(const std::uint32_t* entries, const unsigned char* levels, Select selected, int x0, int count,
                  unsigned char* dst)
{
    const auto entry = [&](int x) {
        const unsigned char level = levels[x];
        return selected(x0 + x) ? entries[level] : kGrey.word[level];
    };
    for (int x = 0; x + 1 < count; ++x) {
        const std::uint32_t bytes = entry(x);
        std::memcpy(dst + 3 * x, &bytes, 4);
    }
    if (count > 0) Put3(dst + 3 * (count - 1), entry(count - 1));
}

// byte k = component k * a + b with a = opacity * 255 and b = (1 - opacity) *
// grey, each rounded to single precision; the rest in double.
inline void Blend(const ZelRGBABase<float>& e, unsigned char grey, unsigned char* pixel)
{
    const float a = static_cast<float>(e.a * 255.0);
    const float b = static_cast<float>((1.0 - e.a) * grey);
    pixel[0] = ZelTruncateToByte(static_cast<double>(e.r) * a + b);
    pixel[1] = ZelTruncateToByte(static_cast<double>(e.g) * a + b);
    pixel[2] = ZelTruncateToByte(static_cast<double>(e.b) * a + b);
}

inline void Opaque(const ZelRGBABase<float>& e, unsigned char* pixel)
{
    pixel[0] = ZelTruncateToByte(e.r * 255.0);
    pixel[1] = ZelTruncateToByte(e.g * 255.0);
    pixel[2] = ZelTruncateToByte(e.b * 255.0);
}

template <class Select>
void ColourRows(const ZelGreyRows& rows, const ZelGreyStage& grey, const ZelMaskRows& mask, ZelColourStage stage,
                const ZelColourSource& source)
{
    std::uint32_t entries[256] = {};
    if (stage == ZelColourStage::Palette) {
        for (int i = 0; i < 256; ++i) {
            const ZelRGBBase<unsigned char>& p = source.palette[i];
            entries[i] = Word(p.r, p.g, p.b);
        }
    }
    const ZelRGBABase<float>* colours = source.colours;
    alignas(16) unsigned char levels[kZelLevelRun];
    for (int y = 0; y < rows.height; ++y) {
        const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(y) * rows.width;
        const short* src = rows.src + first;
        const Select selected(mask, first);
        for (int x0 = 0; x0 < rows.width; x0 += kZelLevelRun) {
            const int count = std::min(kZelLevelRun, rows.width - x0);
            unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride + 3 * x0;
            grey.Levels(src, rows.width, x0, count, levels);
            switch (stage) {
            case ZelColourStage::Palette: PaintPalette(entries, levels, selected, x0, count, dst); break;
            case ZelColourStage::TableBlend:
                for (int x = 0; x < count; ++x) {
                    if (selected(x0 + x)) {
                        Blend(colours[src[x0 + x]], levels[x], dst + 3 * x);
                    } else {
                        Put3(dst + 3 * x, kGrey.word[levels[x]]);
                    }
                }
                break;
            case ZelColourStage::TableOpaque:
                for (int x = 0; x < count; ++x) {
                    if (selected(x0 + x)) {
                        Opaque(colours[src[x0 + x]], dst + 3 * x);
                    } else {
                        Put3(dst + 3 * x, kGrey.word[levels[x]]);
                    }
                }
                break;
            }
        }
    }
}

// Calls body(Select) with the element test of the mask: all pixels, 8-bit or
// 16-bit elements.
template <class Body>
void WithMask(const ZelMaskRows& mask, Body body)
{
    if (mask.data == nullptr) {
        body(SelectAll(mask, 0));
    } else if (mask.elementBytes == 1) {
        body(SelectBits<std::uint8_t>(mask, 0));
    } else {
        body(SelectBits<std::uint16_t>(mask, 0));
    }
}

template <int Depth, class Select>
void ApplyMaskRows(const ZelGreyRows& rows, const ZelMaskRows& mask, const unsigned char (&paint)[4])
{
    for (int y = 0; y < rows.height; ++y) {
        const Select selected(mask, static_cast<std::ptrdiff_t>(y) * rows.width);
        unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride;
        for (int x = 0; x < rows.width; ++x) {
            if (!selected(x)) std::memcpy(dst + Depth * x, paint, Depth);
        }
    }
}

template <int Depth, class Select>
void BlendingMaskRows(const ZelGreyRows& rows, const ZelMaskRows& mask, std::uint16_t keep,
                      const std::uint16_t (&add)[3])
{
    for (int y = 0; y < rows.height; ++y) {
        const Select selected(mask, static_cast<std::ptrdiff_t>(y) * rows.width);
        unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride;
        for (int x = 0; x < rows.width; ++x) {
            if (!selected(x)) continue;
            unsigned char* pixel = dst + Depth * x;
            for (int k = 0; k < 3; ++k) {
                const auto sum = static_cast<std::uint16_t>(pixel[k] * keep + add[k]);
                pixel[k] = static_cast<unsigned char>(sum >> 8);
            }
        }
    }
}

}  // namespace

bool ZelPrepareMask(const ZelImageBase* mask, unsigned int bits, const ZelGreyRows& rows, ZelMaskRows& out)
{
    if (mask == nullptr) return false;
    switch (mask->GetVoxelType()) {
    case 1:
    case 2: out.elementBytes = 1; break;
    case 3:
    case 4: out.elementBytes = 2; break;
    default: return false;
    }
    out.data = mask->GetVoidDataPtr();
    out.bits = out.elementBytes == 1 ? (bits & 0xFFu) : (bits & 0xFFFFu);
    if (rows.dst == nullptr) return true;  // nothing will be read
    return mask->GetVoxelBytes() >= out.elementBytes && ZelCoversRows(*mask, rows);
}

void ZelColourRows(const ZelGreyRows& rows, const ZelGreyStage& grey, const ZelMaskRows& mask, ZelColourStage stage,
                   const ZelColourSource& source)
{
    if (mask.data == nullptr) {
        ColourRows<SelectAll>(rows, grey, mask, stage, source);
    } else if (mask.elementBytes == 1) {
        ColourRows<SelectBits<std::uint8_t>>(rows, grey, mask, stage, source);
    } else {
        ColourRows<SelectBits<std::uint16_t>>(rows, grey, mask, stage, source);
    }
}

void ZelColourTableRows(const ZelGreyRows& rows, const ZelRGBABase<float>* colours, bool premultiplied)
{
    // The four bytes of one value's entry.
    const auto pixel = [colours, premultiplied](short value, unsigned char* out) {
        const ZelRGBABase<float>& e = colours[value];
        if (premultiplied) {
            const float a = static_cast<float>(e.a * 255.0);
            out[0] = ZelTruncateToByte(static_cast<double>(e.r) * a);
            out[1] = ZelTruncateToByte(static_cast<double>(e.g) * a);
            out[2] = ZelTruncateToByte(static_cast<double>(e.b) * a);
            out[3] = ZelTruncateToByte(a);
        } else {
            Opaque(e, out);
            out[3] = ZelTruncateToByte(e.a * 255.0);
        }
    };
    // A slice spans far fewer values than it has pixels, as a rule: convert
    // each value present once and copy four bytes per pixel (the same bytes).
    const long long pixels = static_cast<long long>(rows.width) * rows.height;
    short low = 0;
    short high = 0;
    if (pixels > 0) ZelValueRange(rows.src, pixels, low, high);
    const long long span = static_cast<long long>(high) - low + 1;
    std::unique_ptr<std::uint32_t[]> words;
    if (span < pixels) words.reset(new (std::nothrow) std::uint32_t[static_cast<std::size_t>(span)]);
    if (words) {
        for (long long k = 0; k < span; ++k) {
            pixel(static_cast<short>(low + k), reinterpret_cast<unsigned char*>(&words[k]));
        }
    }
    const int width = rows.width;
    const std::uint32_t* table = words.get();
    for (int y = 0; y < rows.height; ++y) {
        const short* src = rows.src + static_cast<std::ptrdiff_t>(y) * width;
        unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride;
        if (!words) {
            for (int x = 0; x < width; ++x) pixel(src[x], dst + 4 * x);
            continue;
        }
        int x = 0;
        for (; x + 4 <= width; x += 4) {
            // Four pixels gathered in registers and stored at once.
            const std::uint32_t group[4] = {table[src[x] - low], table[src[x + 1] - low], table[src[x + 2] - low],
                                            table[src[x + 3] - low]};
            std::memcpy(dst + 4 * x, group, sizeof(group));
        }
        for (; x < width; ++x) std::memcpy(dst + 4 * x, &table[src[x] - low], 4);
    }
}

void ZelApplyMaskRows(const ZelGreyRows& rows, const ZelMaskRows& mask, const ZelRGBBase<unsigned char>& colour)
{
    const unsigned char paint[4] = {rows.depth == 1 ? colour.g : colour.r, colour.g, colour.b, 0};
    WithMask(mask, [&](auto select) {
        using Select = decltype(select);
        switch (rows.depth) {
        case 1: ApplyMaskRows<1, Select>(rows, mask, paint); break;
        case 3: ApplyMaskRows<3, Select>(rows, mask, paint); break;
        default: ApplyMaskRows<4, Select>(rows, mask, paint); break;
        }
    });
}

void ZelBlendingMaskRows(const ZelGreyRows& rows, const ZelMaskRows& mask, float opacity,
                         const ZelRGBBase<unsigned char>& colour)
{
    // Word arithmetic throughout: a, 256 - a and colour * a are kept to 16 bits.
    const auto a = static_cast<std::uint16_t>(ZelTruncateToInt(opacity * 256.0));
    const auto keep = static_cast<std::uint16_t>(256 - a);
    const std::uint16_t add[3] = {static_cast<std::uint16_t>(colour.r * a), static_cast<std::uint16_t>(colour.g * a),
                                  static_cast<std::uint16_t>(colour.b * a)};
    WithMask(mask, [&](auto select) {
        using Select = decltype(select);
        if (rows.depth == 3) {
            BlendingMaskRows<3, Select>(rows, mask, keep, add);
        } else {
            BlendingMaskRows<4, Select>(rows, mask, keep, add);
        }
    });
}
