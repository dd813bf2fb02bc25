#include "picture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ZelIGConverter.h"
#include "ZelImageGeneratorGammaTable.h"
#include "colour.h"

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

// Four significant digits, without an exponent for large values.
std::string Brief(double value)
{
    char text[48];
    std::snprintf(text, sizeof(text), std::fabs(value) >= 1000 && std::fabs(value) < 1e15 ? "%.0f" : "%.4g", value);
    return text;
}

int ClampToInt(double value, double limit)
{
    return static_cast<int>(std::max(-limit, std::min(limit, std::round(value))));
}

// The palette or colour table of the picture.
bool PlanColour(const Volume& volume, const PictureOptions& options, DisplaySettings& display, std::string& error)
{
    const ZelRGBBase<unsigned char>* palette = FindPalette(options.palette);
    if (!options.palette.empty() && palette != FindPalette("grey")) {
        display.palette = palette;
        display.caption += ", " + options.palette + " palette";
    }
    if (options.colourTable.empty()) return true;
    std::vector<ColourTableEntry> entries;
    if (!ReadColourTable(options.colourTable, entries, error)) return false;
    display.colours =
        std::make_shared<std::vector<ZelRGBABase<float>>>(ColourTableByStoredValue(entries, volume.scale));
    display.caption += ", colour table " + options.colourTable;
    return true;
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
    // MONOCHROME1 files ask for low values to be white.
    display.invert = options.invert != volume.invertDisplay;
    display.gamma = static_cast<float>(options.gamma);
    if (options.window != WindowKind::Values && !stats.any) {
        error = "the volume has no voxel with a value (all NaN): give --window WIDTH,CENTRE";
        return false;
    }
    double width = 0, centre = 0;
    std::string name;
    if (options.window == WindowKind::Automatic && volume.hasFileWindow) {
        // The window the file itself asks for (DICOM Window Center/Width).
        width = volume.fileWindowWidth;
        centre = volume.fileWindowCentre;
        name = "file";
    } else {
        RealWindow(stats, options, width, centre, name);
    }

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
    // The same in the few words a corner of the picture has room for.
    const std::string w = Brief(width), c = Brief(centre);
    if (options.display == DisplayMode::Threshold)
        std::snprintf(text, sizeof(text), "threshold %s%s", Brief(options.threshold).c_str(), inverted);
    else if (options.display == DisplayMode::Gamma)
        std::snprintf(text, sizeof(text), "W %s L %s, gamma %g%s", w.c_str(), c.c_str(), options.gamma, inverted);
    else
        std::snprintf(text, sizeof(text), "W %s L %s%s%s", w.c_str(), c.c_str(),
                      options.display == DisplayMode::Sigmoid ? ", sigmoid" : "", inverted);
    display.levels = text;
    return PlanColour(volume, options, display, error);
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
    if (!out.CreateImage(size.x, size.y, display.Depth())) {
        error = "not enough memory for the picture";
        return false;
    }
    const ZelRGBBase<unsigned char>* palette = display.palette;
    ZelRGBABase<float>* colours = display.colours ? display.colours->data() + kColourTableZero : nullptr;
    // A threshold is a window one value wide, where the colour forms need one.
    auto window = [&](int width, int centre) {
        return palette   ? ZelIGConverter::WindowPseudoColor(&out, values, width, centre, display.invert, palette)
               : colours ? ZelIGConverter::WindowColorTable(&out, values, width, centre, display.invert, colours)
                         : ZelIGConverter::Window(&out, values, width, centre, display.invert);
    };
    bool ok = false;
    const char* what = "window";
    switch (display.mode) {
    case DisplayMode::Window: ok = window(display.width, display.centre); break;
    case DisplayMode::Sigmoid:
        what = "sigmoid";
        ok = palette ? ZelIGConverter::SigmoidPseudoColor(&out, values, display.width, display.centre, display.invert,
                                                          palette)
                     : ZelIGConverter::Sigmoid(&out, values, display.width, display.centre, display.invert);
        break;
    case DisplayMode::Threshold:
        what = "threshold";
        ok = palette || colours ? window(1, display.threshold)
                                : ZelIGConverter::Threshold(&out, values, display.threshold, display.invert);
        break;
    case DisplayMode::Gamma: {
        what = "gamma table";
        // The table spans the values present, so it stays small.
        const short* v = values->GetDataPtr();
        const auto [lo, hi] = std::minmax_element(v, v + static_cast<long long>(size.x) * size.y);
        ZelImageGeneratorGammaTable table;
        ok = table.CreateTable(*lo, std::max<int>(*hi, *lo + 1), display.width, display.centre, display.gamma,
                               display.invert) &&
             (palette   ? ZelIGConverter::PseudoColorTable(&out, values, &table, palette)
              : colours ? ZelIGConverter::WindowColorTable(&out, values, &table, colours)
                        : ZelIGConverter::Table(&out, values, &table));
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

// The options of this stage.
namespace {

bool ParsePercentiles(const std::string& v, PictureOptions& o, std::string& e)
{
    const std::size_t comma = v.find(',');
    if (comma == std::string::npos || comma + 1 >= v.size() || v[comma + 1] != 'p')
        return Fail(e, "--window percentiles are written pLOW,pHIGH (as in p1,p99), got '" + v + "'");
    if (!ParseDouble(v.substr(1, comma - 1), 0, 100, o.percentLow, e, "--window low percentile") ||
        !ParseDouble(v.substr(comma + 2), 0, 100, o.percentHigh, e, "--window high percentile"))
        return false;
    if (o.percentLow >= o.percentHigh)
        return Fail(e, "--window: the low percentile must come below the high one in '" + v + "'");
    o.window = WindowKind::Percentiles;
    return true;
}

bool ParseWindow(const std::string& v, PictureOptions& o, std::string& e)
{
    o.windowName.clear();
    if (const WindowPreset* preset = FindWindowPreset(v)) {
        o.window = WindowKind::Values;
        o.windowWidth = preset->width;
        o.windowCentre = preset->centre;
        o.windowName = preset->name;
        return true;
    }
    if (v == "minmax") {
        o.window = WindowKind::MinMax;
        return true;
    }
    if (!v.empty() && v[0] == 'p') return ParsePercentiles(v, o, e);
    if (v.find(',') != std::string::npos) {
        double wc[2];
        if (!ParseDoubleList(v, 2, -1e30, 1e30, wc, e, "--window")) return false;
        if (!(wc[0] > 0)) return Fail(e, "--window width must be above 0, got '" + v + "'");
        o.window = WindowKind::Values;
        o.windowWidth = wc[0];
        o.windowCentre = wc[1];
        return true;
    }
    std::string names;
    for (const WindowPreset& p : WindowPresets()) names += std::string(names.empty() ? "" : ", ") + p.name;
    return Fail(e, "--window needs WIDTH,CENTRE, pLOW,pHIGH, minmax or one of " + names + "; got '" + v + "'");
}

}  // namespace

bool ParseWindowOption(const std::string& value, PictureOptions& options, std::string& error)
{
    return ParseWindow(value, options, error);
}

const std::vector<WindowPreset>& WindowPresets()
{
    static const std::vector<WindowPreset> presets = {
        {"brain", 80, 40},        {"subdural", 215, 75},    {"stroke", 40, 40},   {"temporal-bone", 2800, 600},
        {"bone", 2000, 500},      {"lung", 1500, -600},     {"abdomen", 400, 50}, {"liver", 150, 30},
        {"mediastinum", 350, 50}, {"soft-tissue", 400, 40}, {"angio", 600, 170},  {"full", 4096, 1024},
    };
    return presets;
}

const WindowPreset* FindWindowPreset(const std::string& name)
{
    std::string key = name;
    for (char& c : key)
        if (c == '_' || c == ' ') c = '-';
    if (key == "soft" || key == "softtissue") key = "soft-tissue";
    for (const WindowPreset& p : WindowPresets())
        if (key == p.name) return &p;
    return nullptr;
}

OptionGroup PictureOptionGroup(PictureOptions& o)
{
    auto mode = [&o](DisplayMode m) -> OptionAction {
        return [&o, m](const std::string&, std::string&) {
            o.display = m;
            return true;
        };
    };
    return {
        "display",
        {
            {"--window", "W,C | pA,pB | minmax | NAME",
             "window width and centre in the data's own units (fractions too), the\nA..B percentiles of the values, "
             "their whole range, or a CT preset:\nbrain 80/40, subdural 215/75, stroke 40/40, temporal-bone 2800/600,\n"
             "bone 2000/500, lung 1500/-600, abdomen 400/50, liver 150/30,\nmediastinum 350/50, soft-tissue 400/40, "
             "angio 600/170, full 4096/1024.\nWindows follow the DICOM convention: width 256, centre 128 shows\n"
             "values 0..255 unchanged",
             [&o](const std::string& v, std::string& e) { return ParseWindow(v, o, e); }},
            {"--invert", nullptr, "white for low values", SetFlag(o.invert)},
            {"--gamma", "G", "gamma curve over the window (G > 1 brightens the mid-tones)",
             [&o](const std::string& v, std::string& e) {
                 o.display = DisplayMode::Gamma;
                 return ParseDouble(v, 0.05, 20, o.gamma, e, "--gamma");
             }},
            {"--sigmoid", nullptr, "logistic curve instead of the linear window", mode(DisplayMode::Sigmoid)},
            {"--threshold", "T", "white at and above T, black below",
             [&o](const std::string& v, std::string& e) {
                 o.display = DisplayMode::Threshold;
                 return ParseDouble(v, -1e30, 1e30, o.threshold, e, "--threshold");
             }},
            {"--rgb", nullptr, "write RGB instead of grey", SetFlag(o.rgb)},
            {"--palette", "NAME",
             "pseudo colour: the grey levels through a palette: grey, hot, cool,\njet (or rainbow) or viridis",
             [&o](const std::string& v, std::string& e) { return SetPalette(v, o.palette, e, "--palette"); }},
            {"--colour-table", "FILE",
             "colours laid over the grey picture by value: lines of VALUE (or\nLOW..HIGH) RED GREEN BLUE [OPACITY], "
             "components 0..1, '#' comments;\nvalues in the data's own units, values not listed stay grey",
             SetText(o.colourTable, "--colour-table")},
        }};
}

bool SetPalette(const std::string& value, std::string& palette, std::string& error, const char* what)
{
    if (!FindPalette(value))
        return Fail(
            error, std::string("unknown palette '") + value + "' for " + what + ": the palettes are " + PaletteNames());
    palette = value;
    return true;
}

bool CheckPictureOptions(const PictureOptions& o, std::string& error)
{
    if (o.display == DisplayMode::Threshold && o.window != WindowKind::Automatic)
        return Fail(error, "--threshold shows two levels; it takes no --window");
    if (!o.palette.empty() && !o.colourTable.empty())
        return Fail(error, "give either --palette or --colour-table, not both");
    if (!o.colourTable.empty() && o.display == DisplayMode::Sigmoid)
        return Fail(error, "--colour-table goes over a linear window or --gamma, not --sigmoid");
    return true;
}
