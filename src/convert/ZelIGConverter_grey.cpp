// Grey conversions: threshold, band, linear window, table lookup, sigmoid,
// clearing. Each call checks its arguments and fixes the row geometry once
// (PrepareRows), then picks the depth once and runs a plain row loop.
#include <algorithm>

#include "ZelIGConverter.h"
#include "convert/grey_rows.h"
#include "convert/grey_stage.h"
#include "convert/table_kernels.h"

namespace {

enum class Depths { GreyOnly, GreyOrTriple };

bool PrepareRows(ZelImageBuffer* buffer, const ZelImage<short>* slice, Depths depths, ZelGreyRows& rows)
{
    if (!ZelPrepareRows(buffer, slice, rows)) return false;
    return rows.depth == 1 || (rows.depth == 3 && depths == Depths::GreyOrTriple);
}

}  // namespace

bool ZelIGConverter::Threshold(ZelImageBuffer* buffer, const ZelImage<short>* slice, int threshold, bool invert)
{
    ZelGreyRows rows;
    if (!PrepareRows(buffer, slice, Depths::GreyOrTriple, rows)) return false;
    const unsigned char below = invert ? 255 : 0;
    const unsigned char above = invert ? 0 : 255;
    ZelMapGrey(rows, [=](short value) { return static_cast<int>(value) < threshold ? below : above; });
    return true;
}

bool ZelIGConverter::HighAndLow(ZelImageBuffer* buffer, const ZelImage<short>* slice, short low, short high)
{
    ZelGreyRows rows;
    if (!PrepareRows(buffer, slice, Depths::GreyOnly, rows)) return false;
    // The limits may come in either order.
    const short lo = std::min(low, high);
    const short hi = std::max(low, high);
    ZelMapGreyRows<1>(rows,
                      [=](short value) { return static_cast<unsigned char>(value < lo || value > hi ? 0 : 255); });
    return true;
}

bool ZelIGConverter::Window(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre, bool invert)
{
    if (buffer == nullptr || slice == nullptr || width < 1) return false;
    ZelGreyRows rows;
    if (!PrepareRows(buffer, slice, Depths::GreyOrTriple, rows)) return false;
    if (rows.dst != nullptr) ZelGreyStage::Window(width, centre, invert).Rows(rows);
    return true;
}

bool ZelIGConverter::Table(ZelImageBuffer* buffer, const ZelImage<short>* slice, const unsigned char* table, short min,
                           short max)
{
    ZelGreyRows rows;
    if (!PrepareRows(buffer, slice, Depths::GreyOrTriple, rows) || table == nullptr || min > max) return false;
    ZelTableRows(rows, table, min, max);
    return true;
}

bool ZelIGConverter::Table(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelImageGeneratorTable* table)
{
    if (table == nullptr) return false;
    int min = 0;
    int max = 0;
    table->GetTableRange(min, max);
    return Table(buffer, slice, table->GetTable(), static_cast<short>(min), static_cast<short>(max));
}

bool ZelIGConverter::Sigmoid(ZelImageBuffer* buffer, const ZelImage<short>* slice, int width, int centre, bool invert)
{
    if (width == 0) return false;
    ZelGreyRows rows;
    if (!PrepareRows(buffer, slice, Depths::GreyOrTriple, rows)) return false;
    if (rows.dst == nullptr) return true;
    const long long pixels = static_cast<long long>(rows.width) * rows.height;
    ZelGreyStage::Sigmoid(width, centre, invert, rows.src, pixels).Rows(rows);
    return true;
}

bool ZelIGConverter::FillZero(ZelImageBuffer* buffer)
{
    if (buffer == nullptr) return false;
    buffer->ZeroClear();
    return true;
}
