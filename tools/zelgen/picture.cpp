#include "picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ZelIGConverter.h"
#include "ZelImageGeneratorGammaTable.h"

namespace {

// Windows beyond these (in stored units) show the same picture as at them:
// the 16-bit values then span less than one grey level, or lie wholly on
// one side of the window.
const double kWidestWindow = 1 << 24;
const double kFarthestCentre = 1 << 30;

bool LooksLikeHounsfield(const ValueStats& stats)
{
    // CT: plenty of air near -1000 (or a padding value below it) and most of
    // the rest within soft-tissue values.
    return stats.airFraction > 0.02 && stats.min >= -3100 && stats.tissueFraction > 0.3;
}

// The window in real units, and its name.
void RealWindow(const ValueStats& stats, const PictureOptions& options, double& width, double& centre,
                std::string& name)
{
    double lo = stats.low, hi = stats.high;
    name = options.windowName;
    switch (options.window) {
    case WindowKind::Values:
        width = options.windowWidth;
        centre = options.windowCentre;
        return;
    case WindowKind::Automatic:
        if (LooksLikeHounsfield(stats)) {
            const WindowPreset* preset = FindWindowPreset(stats.brainFraction > 0.4 ? "brain" : "soft-tissue");
            width = preset->width;
            centre = preset->centre;
            name = preset->name;
            return;
        }
        name = "auto";
        break;
    case WindowKind::Percentiles: {
        lo = stats.Percentile(options.percentLow);
        hi = stats.Percentile(options.percentHigh);
        char text[64];
        std::snprintf(text, sizeof(text), "p%g..p%g", options.percentLow, options.percentHigh);
        name = text;
        break;
    }
    case WindowKind::MinMax:
        lo = stats.min;
        hi = stats.max;
        name = "minmax";
        break;
    }
    // DICOM convention: the window [lo, hi] has width hi - lo + one step.
    const double step = std::fabs(stats.scale.slope);
    width = hi - lo + step;
    centre = 0.5 * (lo + hi + step);
}

int ClampToInt(double value, double limit)
{
    return static_cast<int>(std::max(-limit, std::min(limit, std::round(value))));
}

}  // namespace

short StoredBackground(const Volume& volume, const ValueStats& stats, const PlaneOptions& options)
{
    const double real = options.haveBackground ? options.background : stats.min;
    const double stored = std::round(volume.scale.ToStored(real));
    // The lowest stored value means "no value" in volumes that have such voxels.
    const double lowest = volume.hasNoValue ? -32767.0 : -32768.0;
    return static_cast<short>(std::isnan(stored) ? lowest : std::max(lowest, std::min(32767.0, stored)));
}

bool PlanDisplay(const Volume& volume, const ValueStats& stats, const PictureOptions& options, DisplaySettings& display,
                 std::string& error)
{
    display.mode = options.display;
    display.rgb = options.rgb;
    display.invert = options.invert;
    display.gamma = static_cast<float>(options.gamma);
    if (options.window != WindowKind::Values && !stats.any) {
        error = "the volume has no voxel with a value (all NaN): give --window WIDTH,CENTRE";
        return false;
    }
    double width = 0, centre = 0;
    std::string name;
    RealWindow(stats, options, width, centre, name);

    // Real units to stored: stored = (real - intercept) / slope. A falling
    // slope turns every curve (and the threshold) round.
    const ValueScale& scale = volume.scale;
    double storedWidth = width / std::fabs(scale.slope);
    double storedCentre = scale.ToStored(centre);
    if (!std::isfinite(storedWidth) || !std::isfinite(storedCentre)) {
        char text[200];
        std::snprintf(text, sizeof(text),
                      "window %g/%g cannot be shown: with the file's value scale (slope %g) it is not a finite "
                      "number of stored steps",
                      width, centre, scale.slope);
        error = text;
        return false;
    }
    if (storedWidth > kWidestWindow) {
        storedCentre *= kWidestWindow / storedWidth;
        storedWidth = kWidestWindow;
    }
    // A window narrower than one stored step is a threshold at its centre.
    display.width = std::max(1, ClampToInt(storedWidth, kWidestWindow));
    display.centre = ClampToInt(storedCentre, kFarthestCentre);
    if (scale.slope < 0) display.invert = !display.invert;
    const double t = scale.ToStored(options.threshold);
    display.threshold = ClampToInt(scale.slope > 0 ? std::ceil(t) : std::floor(t) + 1, kFarthestCentre);

    char text[200];
    const char* label = name.empty() ? "window" : name.c_str();
    const char* inverted = options.invert ? ", inverted" : "";
    switch (options.display) {
    case DisplayMode::Window:
        std::snprintf(text, sizeof(text), "%s%s %g/%g%s", label, name.empty() ? "" : " window", width, centre,
                      inverted);
        break;
    case DisplayMode::Gamma:
        std::snprintf(text, sizeof(text), "%s %g/%g, gamma %g%s", label, width, centre, options.gamma, inverted);
        break;
    case DisplayMode::Sigmoid: std::snprintf(text, sizeof(text), "sigmoid %g/%g%s", width, centre, inverted); break;
    case DisplayMode::Threshold:
        std::snprintf(text, sizeof(text), "threshold %g%s", options.threshold, inverted);
        break;
    }
    display.caption = text;
    return true;
}

bool ConvertForDisplay(const ZelImageBase& slice, const DisplaySettings& display, ZelImageBuffer& out,
                       std::string& error)
{
    const Zel3DVector<int> size = slice.GetImageSize();
    if (slice.GetVoxelType() != ZEL_VOXEL_SHORT) {
        error = "internal: slices are signed 16-bit";
        return false;
    }
    const auto* values = static_cast<const ZelImage<short>*>(&slice);
    if (!out.CreateImage(size.x, size.y, display.rgb ? 3 : 1)) {
        error = "not enough memory for the picture";
        return false;
    }
    bool ok = false;
    const char* what = "window";
    switch (display.mode) {
    case DisplayMode::Window:
        ok = ZelIGConverter::Window(&out, values, display.width, display.centre, display.invert);
        break;
    case DisplayMode::Sigmoid:
        what = "sigmoid";
        ok = ZelIGConverter::Sigmoid(&out, values, display.width, display.centre, display.invert);
        break;
    case DisplayMode::Threshold:
        what = "threshold";
        ok = ZelIGConverter::Threshold(&out, values, display.threshold, display.invert);
        break;
    case DisplayMode::Gamma: {
        what = "gamma table";
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
    if (!ok) {
        char text[160];
        std::snprintf(text, sizeof(text), "the %s (width %d, centre %d in stored units) was refused by the converter",
                      what, display.width, display.centre);
        error = text;
    }
    return ok;
}

bool MakePicture(const ZelImageBase& slice, int index, const PictureRecipe& recipe, ZelImageBuffer& out,
                 std::string& error)
{
    if (!ConvertForDisplay(slice, recipe.display, out, error)) return false;
    for (const auto& step : recipe.steps)
        if (!step->Apply(index, out, error)) return false;
    return true;
}
