// Options of the picture stage: how slice values become display pixels.
#include "options.h"

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
    auto mode = [&o](DisplayMode m) {
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
        }};
}

bool CheckPictureOptions(const PictureOptions& o, std::string& error)
{
    if (o.display == DisplayMode::Threshold && o.window != WindowKind::Automatic)
        return Fail(error, "--threshold shows two levels; it takes no --window");
    return true;
}
