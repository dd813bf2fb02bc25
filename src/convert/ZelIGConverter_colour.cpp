// Colour conversions: pseudo colour through a palette, colour tables over the
// windowed grey picture, and the mask paints. Each call checks everything it
// will read before it writes; then a grey stage (the same code as the grey
// conversion it names) and a colour stage run in one row loop.
#include "ZelIGConverter.h"
#include "convert/colour_kernels.h"

namespace {

// The common checks with the depths the conversion accepts (a bit per depth).
bool PrepareColour(ZelImageBuffer* buffer, const ZelImage<short>* slice, unsigned depths, ZelGreyRows& rows)
{
    if (!ZelPrepareRows(buffer, slice, rows)) return false;
    return rows.dst == nullptr || (depths >> rows.depth & 1u) != 0;
}

constexpr unsigned kDepth1 = 1u << 1;
constexpr unsigned kDepth3 = 1u << 3;
constexpr unsigned kDepth4 = 1u << 4;

// The grey stage and colour stage of one call, after its checks: the mask
// (null for none) is checked here too, before anything is written.
bool RunColour(const ZelGreyRows& rows, const ZelGreyStage& grey, const ZelImageBase* mask, unsigned int bits,
               bool masked, ZelColourStage stage, const ZelColourSource& source)
{
    ZelMaskRows maskRows;
    if (masked && !ZelPrepareMask(mask, bits, rows, maskRows)) return false;
    if (rows.dst == nullptr) return true;
    if (rows.depth == 1) {
        grey.Rows(rows);  // the table forms at depth 1: the grey level alone
    } else {
        ZelColourRows(rows, grey, maskRows, stage, source);
    }
    return true;
}

enum class Curve { Window, Sigmoid };

// Pseudo colour over the window or the sigmoid. A window needs width >= 1, a
// sigmoid width != 0.
bool CurvePalette(Curve curve, ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre, bool invert,
                  const ZelImageBase* mask, unsigned int bits, bool masked, const ZelRGBBase<unsigned char>* palette)
{
    ZelGreyRows rows;
    const bool widthOk = curve == Curve::Window ? width >= 1 : width != 0;
    if (palette == nullptr || !widthOk || !PrepareColour(buffer, slice, kDepth3, rows)) return false;
    ZelMaskRows maskRows;
    if (masked && !ZelPrepareMask(mask, bits, rows, maskRows)) return false;
    if (rows.dst == nullptr) return true;
    const long long pixels = static_cast<long long>(rows.width) * rows.height;
    const ZelGreyStage grey = curve == Curve::Window ? ZelGreyStage::Window(width, centre, invert)
                                                     : ZelGreyStage::Sigmoid(width, centre, invert, rows.src, pixels);
    ZelColourRows(rows, grey, maskRows, ZelColourStage::Palette, {palette, nullptr});
    return true;
}

bool TablePalette(ZelImageBuffer* buffer, const ZelImage<short>* slice, const unsigned char* table, short min,
                  short max, const ZelImageBase* mask, unsigned int bits, bool masked,
                  const ZelRGBBase<unsigned char>* palette)
{
    ZelGreyRows rows;
    if (table == nullptr || min > max || !PrepareColour(buffer, slice, kDepth1 | kDepth3, rows)) return false;
    if (rows.depth == 3 && palette == nullptr) return false;
    return RunColour(rows, ZelGreyStage::Table(table, min, max), mask, bits, masked, ZelColourStage::Palette,
                     {palette, nullptr});
}

// The table object's array and its range narrowed to 16 bits.
template <class Call>
bool WithTableObject(ZelImageGeneratorTable* table, Call call)
{
    if (table == nullptr) return false;
    int min = 0;
    int max = 0;
    table->GetTableRange(min, max);
    return call(table->GetTable(), static_cast<short>(min), static_cast<short>(max));
}

bool WindowColours(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre, bool invert,
                   const ZelImageBase* mask, unsigned int bits, bool masked, ZelColourStage stage,
                   const ZelRGBABase<float>* colours)
{
    ZelGreyRows rows;
    if (colours == nullptr || width < 1 || !PrepareColour(buffer, slice, kDepth3, rows)) return false;
    return RunColour(rows, ZelGreyStage::Window(width, centre, invert), mask, bits, masked, stage, {nullptr, colours});
}

bool TableColours(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelImageGeneratorTable* table,
                  const ZelImageBase* mask, unsigned int bits, bool masked, const ZelRGBABase<float>* colours)
{
    return WithTableObject(table, [&](const unsigned char* entries, short min, short max) {
        ZelGreyRows rows;
        if (colours == nullptr || entries == nullptr || min > max || !PrepareColour(buffer, slice, kDepth3, rows)) {
            return false;
        }
        return RunColour(rows, ZelGreyStage::Table(entries, min, max), mask, bits, masked, ZelColourStage::TableBlend,
                         {nullptr, colours});
    });
}

bool DirectColours(ZelImageBuffer* buffer, const ZelImage<short>* slice, const ZelRGBABase<float>* colours,
                   bool premultiplied)
{
    ZelGreyRows rows;
    if (colours == nullptr || !PrepareColour(buffer, slice, kDepth4, rows)) return false;
    if (rows.dst != nullptr) ZelColourTableRows(rows, colours, premultiplied);
    return true;
}

// The mask paints read no slice: the rows come from the buffer alone.
template <class Element>
bool PrepareMaskPaint(ZelImageBuffer* buffer, const ZelImage<Element>* mask, unsigned int bits, unsigned depths,
                      ZelGreyRows& rows, ZelMaskRows& maskRows)
{
    if (buffer == nullptr || mask == nullptr) return false;
    rows.depth = buffer->GetDepth();
    rows.dst = buffer->GetDataPtr();
    if (rows.dst == nullptr) return true;
    if ((depths >> rows.depth & 1u) == 0) return false;
    rows.width = buffer->GetWidth();
    rows.height = buffer->GetHeight();
    rows.stride = buffer->GetSizePerLine();
    maskRows.data = mask->GetDataPtr();
    maskRows.elementBytes = static_cast<int>(sizeof(Element));
    maskRows.bits = bits;
    return ZelCoversRows(*mask, rows);
}

template <class Element>
bool ApplyMaskOf(ZelImageBuffer* buffer, const ZelImage<Element>* mask, Element bits,
                 const ZelRGBBase<unsigned char>& colour)
{
    ZelGreyRows rows;
    ZelMaskRows maskRows;
    if (!PrepareMaskPaint(buffer, mask, bits, kDepth1 | kDepth3 | kDepth4, rows, maskRows)) return false;
    if (rows.dst != nullptr) ZelApplyMaskRows(rows, maskRows, colour);
    return true;
}

template <class Element>
bool BlendingMaskOf(ZelImageBuffer* buffer, const ZelImage<Element>* mask, Element bits, float opacity,
                    const ZelRGBBase<unsigned char>& colour)
{
    ZelGreyRows rows;
    ZelMaskRows maskRows;
    if (!PrepareMaskPaint(buffer, mask, bits, kDepth3 | kDepth4, rows, maskRows)) return false;
    if (rows.dst != nullptr) ZelBlendingMaskRows(rows, maskRows, opacity, colour);
    return true;
}

}  // namespace

bool ZelIGConverter::WindowPseudoColor(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre,
                                       bool invert, const ZelRGBBase<unsigned char>* palette)
{
    return CurvePalette(Curve::Window, buffer, slice, width, centre, invert, nullptr, 0, false, palette);
}

bool ZelIGConverter::WindowPseudoColorWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width,
                                               int centre, bool invert, const ZelImageBase* mask, unsigned int bits,
                                               const ZelRGBBase<unsigned char>* palette)
{
    return CurvePalette(Curve::Window, buffer, slice, width, centre, invert, mask, bits, true, palette);
}

bool ZelIGConverter::PseudoColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice, const unsigned char* table,
                                      short min, short max, const ZelRGBBase<unsigned char>* palette)
{
    return TablePalette(buffer, slice, table, min, max, nullptr, 0, false, palette);
}

bool ZelIGConverter::PseudoColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice,
                                      ZelImageGeneratorTable* table, const ZelRGBBase<unsigned char>* palette)
{
    return WithTableObject(table, [&](const unsigned char* entries, short min, short max) {
        return TablePalette(buffer, slice, entries, min, max, nullptr, 0, false, palette);
    });
}

bool ZelIGConverter::PseudoColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice,
                                              const unsigned char* table, short min, short max,
                                              const ZelImageBase* mask, unsigned int bits,
                                              const ZelRGBBase<unsigned char>* palette)
{
    return TablePalette(buffer, slice, table, min, max, mask, bits, true, palette);
}

bool ZelIGConverter::PseudoColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice,
                                              ZelImageGeneratorTable* table, const ZelImageBase* mask,
                                              unsigned int bits, const ZelRGBBase<unsigned char>* palette)
{
    return WithTableObject(table, [&](const unsigned char* entries, short min, short max) {
        return TablePalette(buffer, slice, entries, min, max, mask, bits, true, palette);
    });
}

bool ZelIGConverter::SigmoidPseudoColor(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre,
                                        bool invert, const ZelRGBBase<unsigned char>* palette)
{
    return CurvePalette(Curve::Sigmoid, buffer, slice, width, centre, invert, nullptr, 0, false, palette);
}

bool ZelIGConverter::SigmoidPseudoColorWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width,
                                                int centre, bool invert, const ZelImageBase* mask, unsigned int bits,
                                                const ZelRGBBase<unsigned char>* palette)
{
    return CurvePalette(Curve::Sigmoid, buffer, slice, width, centre, invert, mask, bits, true, palette);
}

bool ZelIGConverter::ColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelRGBABase<float>* table)
{
    return DirectColours(buffer, slice, table, false);
}

bool ZelIGConverter::ColorTableWithOpacity(ZelImageBuffer* buffer, const ZelImage<short>* slice,
                                           ZelRGBABase<float>* table)
{
    return DirectColours(buffer, slice, table, true);
}

bool ZelIGConverter::WindowColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre,
                                      bool invert, ZelRGBABase<float>* colours)
{
    return WindowColours(buffer, slice, width, centre, invert, nullptr, 0, false, ZelColourStage::TableBlend, colours);
}

bool ZelIGConverter::WindowColorTable(ZelImageBuffer* buffer, const ZelImage<short>* slice,
                                      ZelImageGeneratorTable* table, ZelRGBABase<float>* colours)
{
    return TableColours(buffer, slice, table, nullptr, 0, false, colours);
}

bool ZelIGConverter::WindowColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width,
                                              int centre, bool invert, const ZelImageBase* mask, unsigned int bits,
                                              ZelRGBABase<float>* colours)
{
    return WindowColours(buffer, slice, width, centre, invert, mask, bits, true, ZelColourStage::TableBlend, colours);
}

bool ZelIGConverter::WindowColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice,
                                              ZelImageGeneratorTable* table, const ZelImageBase* mask,
                                              unsigned int bits, ZelRGBABase<float>* colours)
{
    return TableColours(buffer, slice, table, mask, bits, true, colours);
}

bool ZelIGConverter::WindowOnlyColorTableWithMask(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width,
                                                  int centre, bool invert, const ZelImageBase* mask, unsigned int bits,
                                                  ZelRGBABase<float>* colours)
{
    return WindowColours(buffer, slice, width, centre, invert, mask, bits, true, ZelColourStage::TableOpaque, colours);
}

bool ZelIGConverter::ApplyMask(ZelImageBuffer* buffer, const ZelImage<unsigned char>* mask, unsigned char bits,
                               const ZelRGBBase<unsigned char>& colour)
{
    return ApplyMaskOf(buffer, mask, bits, colour);
}

bool ZelIGConverter::ApplyMask(ZelImageBuffer* buffer, const ZelImage<unsigned short>* mask, unsigned short bits,
                               const ZelRGBBase<unsigned char>& colour)
{
    return ApplyMaskOf(buffer, mask, bits, colour);
}

bool ZelIGConverter::BlendingMask(ZelImageBuffer* buffer, const ZelImage<unsigned char>* mask, unsigned char bits,
                                  float opacity, const ZelRGBBase<unsigned char>& colour)
{
    return BlendingMaskOf(buffer, mask, bits, opacity, colour);
}

bool ZelIGConverter::BlendingMask(ZelImageBuffer* buffer, const ZelImage<unsigned short>* mask, unsigned short bits,
                                  float opacity, const ZelRGBBase<unsigned char>& colour)
{
    return BlendingMaskOf(buffer, mask, bits, opacity, colour);
}
