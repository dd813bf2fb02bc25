#include "colour.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

// Viridis as published (matplotlib's table of 256 colours), each component
// rounded to a byte: red, green, blue in hex, entry by entry.
const char kViridis[] =
    "44015444025645045745055946075a46085c460a5d460b5e470d60470e61471063471164471365481467481668481769"
    "48186a481a6c481b6d481c6e481d6f481f70482071482173482374482475482576482677482878482979472a7a472c7a"
    "472d7b472e7c472f7d46307e46327e46337f463480453581453781453882443983443a83443b84433d84433e85423f85"
    "4240864241864142874144874045884046883f47883f48893e49893e4a893e4c8a3d4d8a3d4e8a3c4f8a3c508b3b518b"
    "3b528b3a538b3a548c39558c39568c38588c38598c375a8c375b8d365c8d365d8d355e8d355f8d34608d34618d33628d"
    "33638d32648e32658e31668e31678e31688e30698e306a8e2f6b8e2f6c8e2e6d8e2e6e8e2e6f8e2d708e2d718e2c718e"
    "2c728e2c738e2b748e2b758e2a768e2a778e2a788e29798e297a8e297b8e287c8e287d8e277e8e277f8e27808e26818e"
    "26828e26828e25838e25848e25858e24868e24878e23888e23898e238a8d228b8d228c8d228d8d218e8d218f8d21908d"
    "21918c20928c20928c20938c1f948c1f958b1f968b1f978b1f988b1f998a1f9a8a1e9b8a1e9c891e9d891f9e891f9f88"
    "1fa0881fa1881fa1871fa28720a38620a48621a58521a68522a78522a88423a98324aa8325ab8225ac8226ad8127ad81"
    "28ae8029af7f2ab07f2cb17e2db27d2eb37c2fb47c31b57b32b67a34b67935b77937b87838b9773aba763bbb753dbc74"
    "3fbc7340bd7242be7144bf7046c06f48c16e4ac16d4cc26c4ec36b50c46a52c56954c56856c66758c7655ac8645cc863"
    "5ec96260ca6063cb5f65cb5e67cc5c69cd5b6ccd5a6ece5870cf5773d05675d05477d1537ad1517cd2507fd34e81d34d"
    "84d44b86d54989d5488bd6468ed64590d74393d74195d84098d83e9bd93c9dd93ba0da39a2da37a5db36a8db34aadc32"
    "addc30b0dd2fb2dd2db5de2bb8de29bade28bddf26c0df25c2df23c5e021c8e020cae11fcde11dd0e11cd2e21bd5e21a"
    "d8e219dae319dde318dfe318e2e418e5e419e7e419eae51aece51befe51cf1e51df4e61ef6e620f8e621fbe723fde725";

using Palette = ZelRGBBase<unsigned char>[256];

unsigned char Byte(double fraction)
{
    return static_cast<unsigned char>(std::lround(255.0 * std::min(1.0, std::max(0.0, fraction))));
}

// A palette from a curve of red, green and blue over t = 0..1.
template <class Curve>
void Build(Palette& palette, Curve&& curve)
{
    for (int i = 0; i < 256; ++i) {
        double rgb[3];
        curve(i / 255.0, rgb);
        palette[i] = DisplayColour(Byte(rgb[0]), Byte(rgb[1]), Byte(rgb[2]));
    }
}

int HexDigit(char c)
{
    return c <= '9' ? c - '0' : c - 'a' + 10;
}

struct NamedPalette {
    const char* name;
    Palette colours;
};

const std::vector<NamedPalette>& Palettes()
{
    static const std::vector<NamedPalette> palettes = [] {
        std::vector<NamedPalette> list(5);
        list[0].name = "grey";
        Build(list[0].colours, [](double t, double* c) { c[0] = c[1] = c[2] = t; });
        list[1].name = "hot";
        Build(list[1].colours, [](double t, double* c) {
            c[0] = 3 * t;
            c[1] = 3 * t - 1;
            c[2] = 3 * t - 2;
        });
        list[2].name = "cool";
        Build(list[2].colours, [](double t, double* c) {
            c[0] = t;
            c[1] = 1 - t;
            c[2] = 1;
        });
        list[3].name = "jet";
        Build(list[3].colours, [](double t, double* c) {
            for (int k = 0; k < 3; ++k) c[k] = 1.5 - std::fabs(4 * t - 3 + k);
        });
        list[4].name = "viridis";
        for (int i = 0; i < 256; ++i) {
            unsigned char rgb[3];
            for (int k = 0; k < 3; ++k) {
                const char* hex = kViridis + 6 * i + 2 * k;
                rgb[k] = static_cast<unsigned char>(16 * HexDigit(hex[0]) + HexDigit(hex[1]));
            }
            list[4].colours[i] = DisplayColour(rgb[0], rgb[1], rgb[2]);
        }
        return list;
    }();
    return palettes;
}

// A number that must be the whole token and finite.
bool ParseNumber(const std::string& token, double& value)
{
    if (token.empty()) return false;
    char* end = nullptr;
    value = std::strtod(token.c_str(), &end);
    return end == token.c_str() + token.size() && std::isfinite(value);
}

bool ParseLine(const std::string& line, ColourTableEntry& entry, std::string& why)
{
    std::istringstream words(line);
    std::vector<std::string> tokens;
    for (std::string word; words >> word;) tokens.push_back(word);
    if (tokens.size() != 4 && tokens.size() != 5) {
        why = "expected a value (or LOW..HIGH), then red, green, blue and an optional opacity";
        return false;
    }
    const std::string& first = tokens[0];
    const std::size_t dots = first.find("..");
    if (dots == std::string::npos) {
        if (!ParseNumber(first, entry.low)) {
            why = "'" + first + "' is not a value";
            return false;
        }
        entry.high = entry.low;
    } else if (!ParseNumber(first.substr(0, dots), entry.low) || !ParseNumber(first.substr(dots + 2), entry.high) ||
               entry.low > entry.high) {
        why = "'" + first + "' is not a range LOW..HIGH with LOW at most HIGH";
        return false;
    }
    for (std::size_t k = 1; k < tokens.size(); ++k) {
        double c;
        if (!ParseNumber(tokens[k], c) || c < 0 || c > 1) {
            why = "colour components and opacity go from 0 to 1, got '" + tokens[k] + "'";
            return false;
        }
        entry.rgba[k - 1] = static_cast<float>(c);
    }
    return true;
}

}  // namespace

const ZelRGBBase<unsigned char>* FindPalette(const std::string& name)
{
    const std::string key = name == "gray" ? "grey" : name == "rainbow" ? "jet" : name;
    for (const NamedPalette& p : Palettes())
        if (key == p.name) return p.colours;
    return nullptr;
}

const char* PaletteNames()
{
    return "grey, hot, cool, jet (or rainbow) and viridis";
}

void LabelColour(int rank, float rgb[3])
{
    // Golden-angle hues, and every other round of hues a little darker and
    // paler, so that atlases of a hundred labels stay told apart.
    const double hue = std::fmod(rank * 0.6180339887498949, 1.0) * 6.0;
    const int round = (rank / 3) % 3;
    const double saturation = round == 1 ? 0.6 : 0.85, value = round == 2 ? 0.8 : 1.0;
    const int sector = static_cast<int>(hue);
    const double f = hue - sector;
    const double p = value * (1 - saturation), q = value * (1 - saturation * f), t = value * (1 - saturation * (1 - f));
    const double table[6][3] = {{value, t, p}, {q, value, p}, {p, value, t},
                                {p, q, value}, {t, p, value}, {value, p, q}};
    for (int k = 0; k < 3; ++k) rgb[k] = static_cast<float>(table[sector % 6][k]);
}

bool ReadColourTable(const std::string& path, std::vector<ColourTableEntry>& entries, std::string& error)
{
    std::ifstream in(path);
    if (!in) {
        error = "cannot read the colour table '" + path + "': " + std::strerror(errno);
        return false;
    }
    entries.clear();
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        const std::size_t hash = line.find('#');
        if (hash != std::string::npos) line.erase(hash);
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        ColourTableEntry entry;
        std::string why;
        if (!ParseLine(line, entry, why)) {
            error = "colour table '" + path + "' line " + std::to_string(number) + ": " + why;
            return false;
        }
        entries.push_back(entry);
    }
    if (in.bad()) {
        error = "cannot read the colour table '" + path + "'";
        return false;
    }
    if (entries.empty()) {
        error = "colour table '" + path + "' holds no colours (lines of VALUE RED GREEN BLUE [OPACITY])";
        return false;
    }
    return true;
}

std::vector<ZelRGBABase<float>> ColourTableByStoredValue(const std::vector<ColourTableEntry>& entries,
                                                         const ValueScale& scale)
{
    std::vector<ZelRGBABase<float>> table(kColourTableSize, ZelRGBABase<float>{0, 0, 0, 0});
    for (const ColourTableEntry& e : entries) {
        // The stored values whose real values lie in low..high (a falling
        // scale turns the range round).
        double a = scale.ToStored(e.low), b = scale.ToStored(e.high);
        if (a > b) std::swap(a, b);
        double first = std::ceil(a - 1e-9), last = std::floor(b + 1e-9);
        if (first > last && e.low == e.high) first = last = std::round(a);
        first = std::max(first, -32768.0);
        last = std::min(last, 32767.0);
        const ZelRGBABase<float> colour{e.rgba[2], e.rgba[1], e.rgba[0], e.rgba[3]};  // display order
        for (double v = first; v <= last; ++v) table[static_cast<std::size_t>(v + kColourTableZero)] = colour;
    }
    return table;
}
