// From generated slice values to display pixels: the window choice and the
// call of the library's converters.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ZelIGConverter.h"
#include "ZelImageGeneratorGammaTable.h"
#include "render.h"

namespace {

// A signed 16-bit copy of a slice of another type; the converters read only
// signed 16-bit values.
template <class T>
void CopyToShort(const ZelImage<T>& in, int offset, ZelImage<short>& out)
{
    const Zel3DVector<int> size = in.GetImageSize();
    const long long count = static_cast<long long>(size.x) * size.y;
    const T* src = in.GetDataPtr();
    short* dst = out.GetDataPtr();
    for (long long n = 0; n < count; ++n)
        dst[n] = static_cast<short>(std::min(32767, std::max(-32768, static_cast<int>(src[n]) - offset)));
}

bool LooksLikeHounsfield(const Volume& volume, const ValueStats& stats)
{
    // CT: plenty of air near -1000 (or a padding value below it) and most of
    // the rest within soft-tissue values.
    const bool air = stats.airFraction > 0.02 && stats.min >= -3100;
    return volume.image->GetVoxelType() != ZEL_VOXEL_UCHAR && air && stats.tissueFraction > 0.3;
}

}  // namespace

void PlanDisplay(const Volume& volume, const ValueStats& stats, const RenderOptions& options, DisplaySettings& display)
{
    display.mode = options.display;
    display.rgb = options.rgb;
    display.invert = options.invert;
    display.gamma = static_cast<float>(options.gamma);
    display.offset = 0;
    if (volume.image->GetVoxelType() == ZEL_VOXEL_USHORT && RealToStored(volume, stats.max) > 32767)
        display.offset = 32768;

    double width = options.windowWidth, centre = options.windowCentre;
    std::string name = options.windowName;
    if (!options.haveWindow) {
        if (LooksLikeHounsfield(volume, stats)) {
            const WindowPreset* preset = FindWindowPreset(stats.brainFraction > 0.4 ? "brain" : "soft-tissue");
            width = preset->width;
            centre = preset->centre;
            name = preset->name;
        } else {
            width = std::max(1.0, stats.high - stats.low);
            centre = 0.5 * (stats.high + stats.low);
            name = "auto";
        }
    }
    // Real units to the converters' units: stored = (real - intercept) /
    // slope, then the offset of unsigned 16-bit data.
    const double slope = volume.slope != 0 ? volume.slope : 1.0;
    display.width = static_cast<int>(std::max(1.0, std::round(width / std::fabs(slope))));
    display.centre = static_cast<int>(std::round((centre - volume.intercept) / slope)) - display.offset;
    // A falling slope turns every curve (and the threshold) round.
    if (slope < 0) display.invert = !display.invert;
    const double t = (options.threshold - volume.intercept) / slope;
    display.threshold = static_cast<int>(slope > 0 ? std::ceil(t) : std::floor(t) + 1) - display.offset;

    char text[160];
    const char* label = name.empty() ? "window" : name.c_str();
    switch (options.display) {
    case DisplayMode::Window:
        std::snprintf(text, sizeof(text), "%s%s %g/%g%s", label, name.empty() ? "" : " window", width, centre,
                      options.invert ? ", inverted" : "");
        break;
    case DisplayMode::Gamma:
        std::snprintf(text, sizeof(text), "%s %g/%g, gamma %g%s", label, width, centre, options.gamma,
                      options.invert ? ", inverted" : "");
        break;
    case DisplayMode::Sigmoid:
        std::snprintf(text, sizeof(text), "sigmoid %g/%g%s", width, centre, options.invert ? ", inverted" : "");
        break;
    case DisplayMode::Threshold:
        std::snprintf(text, sizeof(text), "threshold %g%s", options.threshold, options.invert ? ", inverted" : "");
        break;
    }
    display.caption = text;
}

bool ConvertForDisplay(const ZelImageBase& slice, const DisplaySettings& display, ZelImageBuffer& out,
                       std::string& error)
{
    const Zel3DVector<int> size = slice.GetImageSize();
    const ZelImage<short>* values = nullptr;
    ZelImage<short> copy;
    if (slice.GetVoxelType() == ZEL_VOXEL_SHORT && display.offset == 0) {
        values = static_cast<const ZelImage<short>*>(&slice);
    } else {
        if (copy.Allocate(ZEL_ALIGNMENT_LINEAR, size.x, size.y, 1) != 0) {
            error = "not enough memory for the picture";
            return false;
        }
        switch (slice.GetVoxelType()) {
        case ZEL_VOXEL_UCHAR:
            CopyToShort(static_cast<const ZelImage<unsigned char>&>(slice), display.offset, copy);
            break;
        case ZEL_VOXEL_USHORT:
            CopyToShort(static_cast<const ZelImage<unsigned short>&>(slice), display.offset, copy);
            break;
        case ZEL_VOXEL_SHORT: CopyToShort(static_cast<const ZelImage<short>&>(slice), display.offset, copy); break;
        default: error = "unsupported slice type"; return false;
        }
        values = &copy;
    }
    if (!out.CreateImage(size.x, size.y, display.rgb ? 3 : 1)) {
        error = "not enough memory for the picture";
        return false;
    }
    bool ok = false;
    switch (display.mode) {
    case DisplayMode::Window:
        ok = ZelIGConverter::Window(&out, values, display.width, display.centre, display.invert);
        break;
    case DisplayMode::Sigmoid:
        ok = ZelIGConverter::Sigmoid(&out, values, display.width, display.centre, display.invert);
        break;
    case DisplayMode::Threshold: ok = ZelIGConverter::Threshold(&out, values, display.threshold, display.invert); break;
    case DisplayMode::Gamma: {
        // The table spans the values present, so it stays small.
        const short* v = values->GetDataPtr();
        const auto [lo, hi] = std::minmax_element(v, v + static_cast<long long>(size.x) * size.y);
        ZelImageGeneratorGammaTable table;
        ok = table.CreateTable(*lo, std::max<int>(*hi, *lo + 1), display.width, display.centre, display.gamma,
                               display.invert) &&
             ZelIGConverter::Table(&out, values, &table);
        break;
    }
    }
    if (!ok) error = "the display conversion failed";
    return ok;
}
