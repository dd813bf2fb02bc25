#include "grey_rows.h"

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
