#include "grey_stage.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "table_kernels.h"

unsigned char ZelSigmoidLevel(short value, double w, double centre)
{
    const double y = 255.0 / (std::exp((static_cast<double>(value) - centre) * -4.0 / w) + 1.0) + 0.5;
    return static_cast<unsigned char>(static_cast<int>(y));
}

ZelGreyStage ZelGreyStage::Window(int width, int centre, bool invert)
{
    ZelGreyStage stage;
    if (width == 1) {
        // A one-value window has no slope: it is a threshold at the centre.
        stage.m_kind = Kind::Threshold;
        stage.m_threshold = centre;
        stage.m_below = invert ? 255 : 0;
        stage.m_above = invert ? 0 : 255;
        return stage;
    }
    stage.m_ramp = ZelMakeWindowRamp(width, centre, invert);
    stage.m_kind = Kind::Window;
    if (ZelWindowRampIsFlat(stage.m_ramp)) {
        // A centre so far away that every value clamps to one end.
        stage.m_kind = Kind::Level;
        stage.m_level = stage.m_ramp.offset > 0.0f ? 255 : 0;
    }
    return stage;
}

ZelGreyStage ZelGreyStage::Table(const unsigned char* table, short min, short max)
{
    ZelGreyStage stage;
    stage.m_kind = Kind::Table;
    stage.m_table = table;
    stage.m_min = min;
    stage.m_max = max;
    return stage;
}

ZelGreyStage ZelGreyStage::Sigmoid(int width, int centre, bool invert, const short* values, long long count)
{
    ZelGreyStage stage;
    stage.m_kind = Kind::Sigmoid;
    stage.m_w = invert ? -static_cast<double>(width) : static_cast<double>(width);
    stage.m_centre = static_cast<double>(centre);
    if (count <= 0) return stage;

    // exp per pixel is the cost here. A slice usually spans far fewer values
    // than it has pixels, so evaluate the curve once per value present.
    short low = 0;
    short high = 0;
    ZelValueRange(values, count, low, high);
    const long long span = static_cast<long long>(high) - low + 1;
    if (span >= count) return stage;
    stage.m_ownedTable.reset(new (std::nothrow) unsigned char[static_cast<std::size_t>(span)]);
    if (!stage.m_ownedTable) return stage;  // per pixel then: slower, same bytes
    for (long long k = 0; k < span; ++k) {
        stage.m_ownedTable[k] = ZelSigmoidLevel(static_cast<short>(low + k), stage.m_w, stage.m_centre);
    }
    stage.m_kind = Kind::Table;
    stage.m_table = stage.m_ownedTable.get();
    stage.m_min = low;
    stage.m_max = high;
    return stage;
}

void ZelGreyStage::Levels(const short* row, int width, int x0, int count, unsigned char* levels) const
{
    const short* src = row + x0;
    switch (m_kind) {
    case Kind::Window: {
        // The vector stretch covers the first 16 * floor(width / 16) columns
        // of the row; the rest take the double-precision rule.
        const int stretch = std::clamp(width / 16 * 16 - x0, 0, count);
        ZelWindowStretch(src, levels, stretch / 16, 1, m_ramp);
        for (int x = stretch; x < count; ++x) levels[x] = ZelWindowByteDouble(src[x], m_ramp);
        break;
    }
    case Kind::Level: std::memset(levels, m_level, static_cast<std::size_t>(count)); break;
    case Kind::Threshold:
        for (int x = 0; x < count; ++x) levels[x] = static_cast<int>(src[x]) < m_threshold ? m_below : m_above;
        break;
    case Kind::Table: {
        ZelGreyRows one;
        one.src = src;
        one.dst = levels;
        one.width = count;
        one.height = 1;
        one.stride = count;
        ZelTableRows(one, m_table, m_min, m_max);
        break;
    }
    case Kind::Sigmoid:
        for (int x = 0; x < count; ++x) levels[x] = ZelSigmoidLevel(src[x], m_w, m_centre);
        break;
    }
}

void ZelGreyStage::Rows(const ZelGreyRows& rows) const
{
    switch (m_kind) {
    case Kind::Window: ZelWindowRows(rows, m_ramp); return;
    case Kind::Level: {
        const unsigned char level = m_level;
        ZelMapGrey(rows, [level](short) { return level; });
        return;
    }
    case Kind::Table: ZelTableRows(rows, m_table, m_min, m_max); return;
    default: break;
    }
    alignas(16) unsigned char levels[kZelLevelRun];
    for (int y = 0; y < rows.height; ++y) {
        const short* src = rows.src + static_cast<std::ptrdiff_t>(y) * rows.width;
        unsigned char* dst = rows.dst + static_cast<std::ptrdiff_t>(y) * rows.stride;
        for (int x0 = 0; x0 < rows.width; x0 += kZelLevelRun) {
            const int count = std::min(kZelLevelRun, rows.width - x0);
            Levels(src, rows.width, x0, count, levels);
            for (int x = 0; x < count; ++x) {
                for (int c = 0; c < rows.depth; ++c) dst[(x0 + x) * rows.depth + c] = levels[x];
            }
        }
    }
}
