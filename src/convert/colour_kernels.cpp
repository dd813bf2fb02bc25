#include "colour_kernels.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "foundation/zel_numbers.h"
#include "generators/dispatch.h"

#if ZEL_HAVE_SSE2
#include <emmintrin.h>
#endif
#if ZEL_HAVE_AVX2
#include <immintrin.h>
#endif

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

#if ZEL_HAVE_SSE2
// The four bytes of a colour-table entry with the same double-precision
// products and truncation as the scalar form, two components per register:
// max(x, 0) turns NaN into 0 (the comparison fails) and min(x, 255)
// saturates, as ZelTruncateToByte does.
inline void EntryBytesVector(const ZelRGBABase<float>& e, bool premultiplied, unsigned char* out)
{
    static_assert(sizeof(ZelRGBABase<float>) == 4 * sizeof(float), "four packed components");
    const __m128 entry = _mm_loadu_ps(&e.r);
    const __m128d c255 = _mm_set1_pd(255.0);
    __m128d rg = _mm_cvtps_pd(entry);
    __m128d ba = _mm_cvtps_pd(_mm_movehl_ps(entry, entry));
    if (premultiplied) {
        // a = opacity * 255 rounded to single precision; the colour times a,
        // the opacity byte a itself.
        const __m128d a =
            _mm_cvtss_sd(c255, _mm_cvtsd_ss(_mm_castpd_ps(c255), _mm_mul_sd(_mm_unpackhi_pd(ba, ba), c255)));
        const __m128d aa = _mm_unpacklo_pd(a, a);
        rg = _mm_mul_pd(rg, aa);
        ba = _mm_unpacklo_pd(_mm_mul_sd(ba, aa), aa);
    } else {
        rg = _mm_mul_pd(rg, c255);
        ba = _mm_mul_pd(ba, c255);
    }
    const __m128d zero = _mm_setzero_pd();
    const __m128i lowHalf = _mm_cvttpd_epi32(_mm_min_pd(_mm_max_pd(rg, zero), c255));
    const __m128i highHalf = _mm_cvttpd_epi32(_mm_min_pd(_mm_max_pd(ba, zero), c255));
    const __m128i words = _mm_packs_epi32(_mm_unpacklo_epi64(lowHalf, highHalf), lowHalf);
    const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
    std::memcpy(out, &bytes, 4);
}
#endif

// Pixels per strip of the colour-table rows (32 KB of values): a strip stays
// in cache between its scan and its copy. 8K to 64K measured alike.
constexpr int kStripPixels = 16384;

// The pixel words of the values converted so far, the range [low, high],
// indexed by value + 32768 (the value's bits with the sign bit flipped, as an
// unsigned 16-bit number). Grown on demand; entries outside the range are
// never read.
class WordTable {
public:
    // Makes [low, high] available, converting the values not yet covered
    // with convert(value, bytes). False (nothing converted) when that would
    // take more than `budget` conversions or the table cannot be allocated.
    template <class Convert>
    bool Cover(short low, short high, long long budget, const Convert& convert)
    {
        const bool empty = m_low > m_high;
        const int from = empty ? low : std::min<int>(low, m_low);
        const int to = empty ? high : std::max<int>(high, m_high);
        const long long added = (to - from + 1) - (empty ? 0 : m_high - m_low + 1);
        if (added > budget) return false;
        if (!m_words) m_words.reset(new (std::nothrow) std::uint32_t[65536]);
        if (!m_words) return false;
        const auto fill = [&](int first, int last) {
            for (int v = first; v <= last; ++v)
                convert(static_cast<short>(v), reinterpret_cast<unsigned char*>(&m_words[v + 32768]));
        };
        if (empty) {
            fill(from, to);
        } else {
            fill(from, m_low - 1);
            fill(m_high + 1, to);
        }
        m_low = from;
        m_high = to;
        return true;
    }
    const std::uint32_t* Words() const { return m_words.get(); }

private:
    std::unique_ptr<std::uint32_t[]> m_words;
    int m_low = 1;
    int m_high = 0;
};

// A row of depth-4 pixels from a WordTable's words.
using TableRowKernel = void (*)(const short* src, int width, const std::uint32_t* words, unsigned char* dst);

void TableRowScalar(const short* src, int width, const std::uint32_t* words, unsigned char* dst)
{
    for (int x = 0; x < width; ++x) std::memcpy(dst + 4 * x, &words[src[x] + 32768], 4);
}

#if ZEL_HAVE_AVX2
// Eight pixels a step. The eight table indices are made on the vector and
// spread over 32-bit lanes (even pixels masked, odd ones shifted down), so
// that each 64-bit half taken out holds two of them ready to use; each word
// is loaded straight into its lane and the eight go out in one store. Taking
// the indices out of 16-bit lanes with integer shifts, pairing the words in
// general registers, and the processor's gather instruction all measured
// slower.
ZEL_TARGET_AVX2 void TableRowVector(const short* src, int width, const std::uint32_t* words, unsigned char* dst)
{
    const __m128i signBit = _mm_set1_epi16(static_cast<short>(0x8000));
    const __m128i lowWord = _mm_set1_epi32(0xFFFF);
    const int* w = reinterpret_cast<const int*>(words);
    int x = 0;
    for (; x + 8 <= width; x += 8) {
        const __m128i index = _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(src + x)), signBit);
        const __m128i even = _mm_and_si128(index, lowWord);  // pixels 0, 2, 4, 6
        const __m128i odd = _mm_srli_epi32(index, 16);       // pixels 1, 3, 5, 7
        const auto e02 = static_cast<std::uint64_t>(_mm_cvtsi128_si64(even));
        const auto e46 = static_cast<std::uint64_t>(_mm_extract_epi64(even, 1));
        const auto o13 = static_cast<std::uint64_t>(_mm_cvtsi128_si64(odd));
        const auto o57 = static_cast<std::uint64_t>(_mm_extract_epi64(odd, 1));
        __m128i first = _mm_cvtsi32_si128(w[static_cast<std::uint32_t>(e02)]);
        first = _mm_insert_epi32(first, w[static_cast<std::uint32_t>(o13)], 1);
        first = _mm_insert_epi32(first, w[e02 >> 32], 2);
        first = _mm_insert_epi32(first, w[o13 >> 32], 3);
        __m128i second = _mm_cvtsi32_si128(w[static_cast<std::uint32_t>(e46)]);
        second = _mm_insert_epi32(second, w[static_cast<std::uint32_t>(o57)], 1);
        second = _mm_insert_epi32(second, w[e46 >> 32], 2);
        second = _mm_insert_epi32(second, w[o57 >> 32], 3);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst + 4 * x), _mm256_set_m128i(second, first));
    }
    TableRowScalar(src + x, width - x, words, dst + 4 * x);
}
#else
constexpr TableRowKernel TableRowVector = TableRowScalar;
#endif

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
    const auto scalarPixel = [colours, premultiplied](short value, unsigned char* out) {
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
#if ZEL_HAVE_SSE2
    const bool vectorEntries = ZelSimdAllows(ZelSimd::kSse2);
    const auto pixel = [=](short value, unsigned char* out) {
        if (vectorEntries) {
            EntryBytesVector(colours[value], premultiplied, out);
        } else {
            scalarPixel(value, out);
        }
    };
#else
    const auto& pixel = scalarPixel;
#endif
    // A slice spans far fewer values than it has pixels, as a rule: each value
    // is converted once into a table of words and every pixel copies its four
    // bytes (the same bytes). The rows go in strips of a few thousand pixels:
    // a strip's range is scanned, the table grown to cover it, and the strip
    // copied while its values are still in the first-level cache. A strip
    // whose range would add more entries than it has pixels is converted
    // pixel by pixel instead, so no slice costs more conversions than pixels.
    const int width = rows.width;
    const int stripRows = std::max(1, kStripPixels / std::max(width, 1));
    const TableRowKernel row = ZelSimdAllows(ZelSimd::kAvx2) ? TableRowVector : TableRowScalar;
    WordTable table;
    for (int y0 = 0; y0 < rows.height; y0 += stripRows) {
        const int count = std::min(stripRows, rows.height - y0);
        const long long pixels = static_cast<long long>(width) * count;
        short low = 0;
        short high = 0;
        if (pixels > 0) ZelValueRange(rows.src + static_cast<std::ptrdiff_t>(y0) * width, pixels, low, high);
        const bool lookUp = pixels > 0 && table.Cover(low, high, pixels, pixel);
        for (int y = y0; y < y0 + count; ++y) {
            const short* src = rows.src + static_cast<std::ptrdiff_t>(y) * width;
            unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride;
            if (lookUp) {
                row(src, width, table.Words(), dst);
            } else {
                for (int x = 0; x < width; ++x) pixel(src[x], dst + 4 * x);
            }
        }
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
