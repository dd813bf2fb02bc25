#include "options.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

// One option of a command: its name, whether it takes a value, and what it
// does with it.
struct OptionRule {
    const char* name;
    bool takesValue;
    std::function<bool(const std::string& value, std::string& error)> apply;
};

bool Fail(std::string& error, const std::string& message)
{
    error = message;
    return false;
}

// Walks the arguments: options from the table (as "--name value" or
// "--name=value"), and at most one positional argument (the input file).
bool ParseArguments(const std::vector<std::string>& args, const std::vector<OptionRule>& rules, std::string& positional,
                    bool& helpAsked, std::string& error)
{
    helpAsked = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg == "--help" || arg == "-h") {
            helpAsked = true;
            return true;
        }
        if (arg.size() < 2 || arg[0] != '-' ||
            (arg.size() > 1 && (std::isdigit(static_cast<unsigned char>(arg[1])) || arg[1] == '.'))) {
            if (!positional.empty()) return Fail(error, "unexpected argument '" + arg + "' (one input file only)");
            positional = arg;
            continue;
        }
        std::string name = arg, value;
        bool inlineValue = false;
        const std::size_t eq = arg.find('=');
        if (eq != std::string::npos) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
            inlineValue = true;
        }
        const OptionRule* rule = nullptr;
        for (const OptionRule& s : rules)
            if (name == s.name) rule = &s;
        if (!rule) return Fail(error, "unknown option '" + name + "' (see --help)");
        if (rule->takesValue && !inlineValue) {
            if (i + 1 >= args.size()) return Fail(error, "option " + name + " needs a value");
            value = args[++i];
        } else if (!rule->takesValue && inlineValue) {
            return Fail(error, "option " + name + " takes no value");
        }
        std::string why;
        if (!rule->apply(value, why)) return Fail(error, why);
    }
    return true;
}

bool ParseTriple(const std::string& text, const char* what, double lo, double hi, double* out, std::string& error)
{
    return ParseDoubleList(text, 3, lo, hi, out, error, what);
}

std::vector<OptionRule> InputRules(InputOptions& in)
{
    return {
        {"--phantom", false,
         [&in](const std::string&, std::string&) {
             in.phantom = true;
             return true;
         }},
        {"--raw-size", true,
         [&in](const std::string& v, std::string& e) {
             double size[3];
             if (!ParseTriple(v, "--raw-size", 1, 65535, size, e)) return false;
             for (int a = 0; a < 3; ++a) {
                 if (size[a] != std::floor(size[a])) return Fail(e, "--raw-size needs whole numbers, got '" + v + "'");
                 in.rawSize[a] = static_cast<int>(size[a]);
             }
             in.raw = true;
             return true;
         }},
        {"--raw-type", true,
         [&in](const std::string& v, std::string& e) {
             if (v == "int16")
                 in.rawType = RawType::Int16;
             else if (v == "uint16")
                 in.rawType = RawType::Uint16;
             else if (v == "uint8")
                 in.rawType = RawType::Uint8;
             else
                 return Fail(e, "--raw-type must be int16, uint16 or uint8, got '" + v + "'");
             in.haveRawType = true;
             return true;
         }},
        {"--raw-offset", true,
         [&in](const std::string& v, std::string& e) {
             return ParseInt(v, 0, (1LL << 40), in.rawOffset, e, "--raw-offset");
         }},
        {"--spacing", true,
         [&in](const std::string& v, std::string& e) {
             if (!ParseTriple(v, "--spacing", 1e-3, 1e3, in.spacing, e)) return false;
             in.haveSpacing = true;
             return true;
         }},
    };
}

// Checks that go across options of the input.
bool CheckInput(InputOptions& in, const std::string& positional, std::string& error)
{
    in.path = positional;
    if (in.phantom && !in.path.empty()) return Fail(error, "give either an input file or --phantom, not both");
    if (!in.phantom && in.path.empty()) return Fail(error, "no input: give a file or --phantom (see --help)");
    if (in.phantom && (in.raw || in.haveRawType))
        return Fail(error, "--raw-size and --raw-type do not go with --phantom");
    if (in.haveRawType && !in.raw) return Fail(error, "--raw-type needs --raw-size X,Y,Z");
    if (in.raw && !in.haveRawType) return Fail(error, "--raw-size needs --raw-type int16|uint16|uint8");
    if (in.haveSpacing && !in.raw && !in.phantom)
        return Fail(error, "--spacing is for raw volumes and the phantom (a NIfTI file has its own)");
    return true;
}

bool ParseSeries(const std::string& v, RenderOptions& o, std::string& e)
{
    const std::size_t c1 = v.find(':');
    if (c1 == std::string::npos) return Fail(e, "--slices needs FIRST:LAST[:STEP], got '" + v + "'");
    const std::size_t c2 = v.find(':', c1 + 1);
    long long first, last, step = 1;
    if (!ParseInt(v.substr(0, c1), 0, 1 << 20, first, e, "--slices first slice") ||
        !ParseInt(v.substr(c1 + 1, c2 == std::string::npos ? std::string::npos : c2 - c1 - 1), 0, 1 << 20, last, e,
                  "--slices last slice"))
        return false;
    if (c2 != std::string::npos && !ParseInt(v.substr(c2 + 1), 1, 1 << 20, step, e, "--slices step")) return false;
    if (last < first) return Fail(e, "--slices: the last slice comes before the first in '" + v + "'");
    o.series = true;
    o.seriesFirst = static_cast<int>(first);
    o.seriesLast = static_cast<int>(last);
    o.seriesStep = static_cast<int>(step);
    return true;
}

bool ParseSize(const std::string& v, RenderOptions& o, std::string& e)
{
    const std::size_t x = v.find('x');
    long long w, h = 0;
    if (!ParseInt(v.substr(0, x), 1, 8192, w, e, "--size width")) return false;
    if (x != std::string::npos && !ParseInt(v.substr(x + 1), 1, 8192, h, e, "--size height")) return false;
    o.width = static_cast<int>(w);
    o.height = static_cast<int>(h);
    return true;
}

bool ParseWindow(const std::string& v, RenderOptions& o, std::string& e)
{
    if (const WindowPreset* preset = FindWindowPreset(v)) {
        o.windowWidth = preset->width;
        o.windowCentre = preset->centre;
        o.windowName = preset->name;
    } else if (v.find(',') != std::string::npos) {
        double wc[2];
        if (!ParseDoubleList(v, 2, -1e9, 1e9, wc, e, "--window")) return false;
        if (wc[0] < 1) return Fail(e, "--window width must be at least 1, got '" + v + "'");
        o.windowWidth = wc[0];
        o.windowCentre = wc[1];
        o.windowName.clear();
    } else {
        std::string names;
        for (const WindowPreset& p : WindowPresets()) names += std::string(names.empty() ? "" : ", ") + p.name;
        return Fail(e, "--window needs WIDTH,CENTRE or one of " + names + "; got '" + v + "'");
    }
    o.haveWindow = true;
    return true;
}

std::vector<OptionRule> RenderSpecs(RenderOptions& o)
{
    auto flag = [](bool& target) {
        return [&target](const std::string&, std::string&) {
            target = true;
            return true;
        };
    };
    std::vector<OptionRule> rules = {
        {"-o", true,
         [&o](const std::string& v, std::string& e) {
             if (v.empty()) return Fail(e, "-o needs a file name");
             o.output = v;
             return true;
         }},
        {"--plane", true,
         [&o](const std::string& v, std::string& e) {
             if (v == "axial")
                 o.plane = PlaneKind::Axial;
             else if (v == "coronal")
                 o.plane = PlaneKind::Coronal;
             else if (v == "sagittal")
                 o.plane = PlaneKind::Sagittal;
             else
                 return Fail(e, "--plane must be axial, coronal or sagittal, got '" + v + "'");
             return true;
         }},
        {"--slice", true,
         [&o](const std::string& v, std::string& e) {
             long long s;
             if (!ParseInt(v, -(1 << 30), 1 << 30, s, e, "--slice")) return false;
             o.slice = static_cast<double>(s);
             o.haveSlice = true;
             return true;
         }},
        {"--position", true,
         [&o](const std::string& v, std::string& e) {
             o.havePosition = true;
             return ParseDouble(v, -1e6, 1e6, o.positionMm, e, "--position");
         }},
        {"--center", true,
         [&o](const std::string& v, std::string& e) {
             o.haveCenter = true;
             return ParseTriple(v, "--center", -1e6, 1e6, o.center, e);
         }},
        {"--zoom", true,
         [&o](const std::string& v, std::string& e) { return ParseDouble(v, 0.01, 100, o.zoom, e, "--zoom"); }},
        {"--rotate", true,
         [&o](const std::string& v, std::string& e) {
             return ParseDouble(v, -3600, 3600, o.rotateDegrees, e, "--rotate");
         }},
        {"--flip-h", false, flag(o.flipH)},
        {"--flip-v", false, flag(o.flipV)},
        {"--nearest", false, flag(o.nearest)},
        {"--interpolate", false,
         [&o](const std::string&, std::string&) {
             o.nearest = false;
             return true;
         }},
        {"--background", true,
         [&o](const std::string& v, std::string& e) {
             o.haveBackground = true;
             return ParseDouble(v, -1e9, 1e9, o.background, e, "--background");
         }},
        {"--tilt", true,
         [&o](const std::string& v, std::string& e) {
             o.haveTilt = true;
             if (v.find(',') == std::string::npos) {
                 o.tilt[1] = 0;
                 return ParseDouble(v, -360, 360, o.tilt[0], e, "--tilt");
             }
             return ParseDoubleList(v, 2, -360, 360, o.tilt, e, "--tilt");
         }},
        {"--normal", true,
         [&o](const std::string& v, std::string& e) {
             if (!ParseTriple(v, "--normal", -1e6, 1e6, o.normal, e)) return false;
             if (std::sqrt(o.normal[0] * o.normal[0] + o.normal[1] * o.normal[1] + o.normal[2] * o.normal[2]) < 1e-6)
                 return Fail(e, "--normal must not be the zero vector");
             o.haveNormal = true;
             return true;
         }},
        {"--slab", true,
         [&o](const std::string& v, std::string& e) { return ParseDouble(v, 0, 1000, o.slabMm, e, "--slab"); }},
        {"--mode", true,
         [&o](const std::string& v, std::string& e) {
             if (v == "avg" || v == "average")
                 o.slabMode = SlabMode::Average;
             else if (v == "max" || v == "mip")
                 o.slabMode = SlabMode::Maximum;
             else if (v == "min" || v == "minip")
                 o.slabMode = SlabMode::Minimum;
             else
                 return Fail(e, "--mode must be avg, max or min, got '" + v + "'");
             return true;
         }},
        {"--mip", false,
         [&o](const std::string&, std::string&) {
             o.slabMode = SlabMode::Maximum;
             return true;
         }},
        {"--minip", false,
         [&o](const std::string&, std::string&) {
             o.slabMode = SlabMode::Minimum;
             return true;
         }},
        {"--window", true, [&o](const std::string& v, std::string& e) { return ParseWindow(v, o, e); }},
        {"--invert", false, flag(o.invert)},
        {"--gamma", true,
         [&o](const std::string& v, std::string& e) {
             o.display = DisplayMode::Gamma;
             return ParseDouble(v, 0.05, 20, o.gamma, e, "--gamma");
         }},
        {"--sigmoid", false,
         [&o](const std::string&, std::string&) {
             o.display = DisplayMode::Sigmoid;
             return true;
         }},
        {"--threshold", true,
         [&o](const std::string& v, std::string& e) {
             o.display = DisplayMode::Threshold;
             return ParseDouble(v, -1e9, 1e9, o.threshold, e, "--threshold");
         }},
        {"--size", true, [&o](const std::string& v, std::string& e) { return ParseSize(v, o, e); }},
        {"--rgb", false, flag(o.rgb)},
        {"--slices", true, [&o](const std::string& v, std::string& e) { return ParseSeries(v, o, e); }},
        {"--layout", true,
         [&o](const std::string& v, std::string& e) {
             if (v == "auto")
                 o.layout = LayoutChoice::Auto;
             else if (v == "linear")
                 o.layout = LayoutChoice::Linear;
             else if (v == "tiled")
                 o.layout = LayoutChoice::Tiled;
             else
                 return Fail(e, "--layout must be auto, linear or tiled, got '" + v + "'");
             return true;
         }},
        {"--threads", true,
         [&o](const std::string& v, std::string& e) {
             long long n;
             if (!ParseInt(v, 1, 256, n, e, "--threads")) return false;
             o.threads = static_cast<int>(n);
             return true;
         }},
        {"--quiet", false, flag(o.quiet)},
    };
    for (OptionRule& s : InputRules(o.input)) rules.push_back(std::move(s));
    return rules;
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

bool ParseDouble(const std::string& text, double lo, double hi, double& value, std::string& error, const char* what)
{
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const double v = std::strtod(begin, &end);
    if (text.empty() || end == begin || *end != '\0' || std::isspace(static_cast<unsigned char>(text[0])) ||
        errno == ERANGE || !std::isfinite(v))
        return Fail(error, std::string(what) + " needs a number, got '" + text + "'");
    if (v < lo || v > hi) {
        char range[96];
        std::snprintf(range, sizeof(range), " is out of range (%g to %g)", lo, hi);
        return Fail(error, std::string(what) + " " + text + range);
    }
    value = v;
    return true;
}

bool ParseInt(const std::string& text, long long lo, long long hi, long long& value, std::string& error,
              const char* what)
{
    const char* begin = text.c_str();
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(begin, &end, 10);
    if (text.empty() || end == begin || *end != '\0' || std::isspace(static_cast<unsigned char>(text[0])) ||
        errno == ERANGE)
        return Fail(error, std::string(what) + " needs a whole number, got '" + text + "'");
    if (v < lo || v > hi)
        return Fail(error, std::string(what) + " " + text + " is out of range (" + std::to_string(lo) + " to " +
                               std::to_string(hi) + ")");
    value = v;
    return true;
}

bool ParseDoubleList(const std::string& text, int count, double lo, double hi, double* values, std::string& error,
                     const char* what)
{
    std::size_t start = 0;
    for (int i = 0; i < count; ++i) {
        const std::size_t comma = text.find(',', start);
        const bool last = i == count - 1;
        if (last != (comma == std::string::npos))
            return Fail(error, std::string(what) + " needs " + std::to_string(count) +
                                   " comma-separated numbers, got '" + text + "'");
        const std::string part = text.substr(start, last ? std::string::npos : comma - start);
        if (!ParseDouble(part, lo, hi, values[i], error, what)) return false;
        start = comma + 1;
    }
    return true;
}

bool ParseInfoOptions(const std::vector<std::string>& args, InputOptions& input, bool& helpAsked, std::string& error)
{
    std::string positional;
    if (!ParseArguments(args, InputRules(input), positional, helpAsked, error)) return false;
    return helpAsked || CheckInput(input, positional, error);
}

bool ParseRenderOptions(const std::vector<std::string>& args, RenderOptions& o, bool& helpAsked, std::string& error)
{
    std::string positional;
    if (!ParseArguments(args, RenderSpecs(o), positional, helpAsked, error)) return false;
    if (helpAsked) return true;
    if (!CheckInput(o.input, positional, error)) return false;
    if (o.output.empty()) return Fail(error, "no output: give -o OUT.png");
    if (o.haveSlice && o.havePosition) return Fail(error, "give either --slice or --position, not both");
    if (o.haveTilt && o.haveNormal) return Fail(error, "give either --tilt or --normal, not both");
    if (o.IsOblique() && (o.haveSlice || o.havePosition))
        return Fail(error, "an oblique plane goes through --center; --slice and --position are for planes");
    if (o.series && (o.haveSlice || o.havePosition)) return Fail(error, "--slices replaces --slice and --position");
    if (o.series && o.IsOblique()) return Fail(error, "--slices needs an axial, coronal or sagittal plane");
    if (o.display == DisplayMode::Threshold && o.haveWindow)
        return Fail(error, "--threshold shows two levels; it takes no --window");
    return true;
}
