// Grey conversions: threshold, band, linear window, table lookup, sigmoid,
// clearing. Each call checks its arguments and fixes the row geometry once
// (PrepareRows), then picks the depth once and runs a plain row loop.
#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "ZelIGConverter.h"
#include "convert/grey_rows.h"
#include "convert/table_kernels.h"
#include "convert/window_kernels.h"

namespace {

enum class Depths { GreyOnly, GreyOrTriple };

// The common checks of a conversion, made before anything is written.
bool PrepareRows(ZelImageBuffer* buffer, const ZelImage<short>* slice, Depths depths, ZelGreyRows& rows)
{
    if (buffer == nullptr || slice == nullptr) return false;
    const int depth = buffer->GetDepth();
    if (depth != 1 && !(depth == 3 && depths == Depths::GreyOrTriple)) return false;
    rows.depth = depth;
    rows.dst = buffer->GetDataPtr();
    if (rows.dst == nullptr) return true;  // an empty buffer: nothing to write
    rows.width = buffer->GetWidth();
    rows.height = buffer->GetHeight();
    rows.stride = buffer->GetSizePerLine();
    rows.src = slice->GetDataPtr();
    // The slice's shape is not looked at, but one with too few values would be
    // read past its end: refuse it instead.
    const long long needed = static_cast<long long>(rows.width) * rows.height;
    return rows.src != nullptr && slice->GetElementCount() >= needed;
}

// The smallest and largest value that the conversion reads.
void ValueRange(const ZelGreyRows& rows, short& low, short& high)
{
    short lo = 32767;
    short hi = -32768;
    const long long count = static_cast<long long>(rows.width) * rows.height;
    for (long long i = 0; i < count; ++i) {
        lo = std::min(lo, rows.src[i]);
        hi = std::max(hi, rows.src[i]);
    }
    low = lo;
    high = hi;
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
    // A one-value window has no slope: it is a threshold at the centre.
    if (width == 1) return Threshold(buffer, slice, centre, invert);
    ZelGreyRows rows;
    if (!PrepareRows(buffer, slice, Depths::GreyOrTriple, rows)) return false;
    const ZelWindowRamp ramp = ZelMakeWindowRamp(width, centre, invert);
    if (ZelWindowRampIsFlat(ramp)) {
        // A centre so far away that every value clamps to one end.
        const unsigned char level = ramp.offset > 0.0f ? 255 : 0;
        ZelMapGrey(rows, [level](short) { return level; });
        return true;
    }
    ZelWindowRows(rows, ramp);
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
    const double w = invert ? -static_cast<double>(width) : static_cast<double>(width);
    const double c = static_cast<double>(centre);
    auto level = [w, c](short value) {
        const double y = 255.0 / (std::exp((static_cast<double>(value) - c) * -4.0 / w) + 1.0) + 0.5;
        return static_cast<unsigned char>(static_cast<int>(y));
    };
    if (rows.dst == nullptr) return true;

    // exp per pixel is the cost here. A slice usually spans far fewer values
    // than it has pixels, so evaluate the curve once per value present and
    // look the pixels up: the bytes are the same.
    short low = 0;
    short high = 0;
    ValueRange(rows, low, high);
    const long long values = static_cast<long long>(high) - low + 1;
    const long long pixels = static_cast<long long>(rows.width) * rows.height;
    std::unique_ptr<unsigned char[]> table;
    if (values < pixels) table.reset(new (std::nothrow) unsigned char[static_cast<std::size_t>(values)]);
    if (!table) {
        ZelMapGrey(rows, level);
        return true;
    }
    for (long long k = 0; k < values; ++k) table[k] = level(static_cast<short>(low + k));
    ZelTableRows(rows, table.get(), low, high);
    return true;
}

bool ZelIGConverter::FillZero(ZelImageBuffer* buffer)
{
    if (buffer == nullptr) return false;
    buffer->ZeroClear();
    return true;
}
