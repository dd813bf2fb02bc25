#include "grey_rows.h"

#include <algorithm>

bool ZelCoversRows(const ZelImageBase& image, const ZelGreyRows& rows)
{
    return image.GetVoidDataPtr() != nullptr &&
           image.GetElementCount() >= static_cast<long long>(rows.width) * rows.height;
}

bool ZelPrepareRows(ZelImageBuffer* buffer, const ZelImage<short>* slice, ZelGreyRows& rows)
{
    if (buffer == nullptr || slice == nullptr) return false;
    rows.depth = buffer->GetDepth();
    rows.dst = buffer->GetDataPtr();
    if (rows.dst == nullptr) return true;  // an empty buffer: nothing to write
    rows.width = buffer->GetWidth();
    rows.height = buffer->GetHeight();
    rows.stride = buffer->GetSizePerLine();
    rows.src = slice->GetDataPtr();
    return ZelCoversRows(*slice, rows);
}

void ZelValueRange(const short* values, long long count, short& low, short& high)
{
    short lo = 32767;
    short hi = -32768;
    for (long long i = 0; i < count; ++i) {
        lo = std::min(lo, values[i]);
        hi = std::max(hi, values[i]);
    }
    low = lo;
    high = hi;
}
