// The colours of the picture stage: named palettes for pseudo colour,
// distinct colours for labels, and colour-table files.
//
// Display pixels hold blue, green, red, and the library's palettes and
// colour tables give component k of an entry to byte k of a pixel; so every
// colour made here has its components in that order (blue first), whatever
// the member names of ZelRGBBase say.
#pragma once

#include <string>
#include <vector>

#include "ZelRGBABase.h"
#include "ZelRGBBase.h"
#include "volume.h"

// The palettes: grey, hot (black, red, yellow, white), cool (cyan to
// magenta), jet (blue, cyan, yellow, red; also called rainbow) and viridis
// (dark blue, green, yellow; even in lightness, readable in grey and by
// colour-blind eyes). 256 entries each, entry i for display level i.
const ZelRGBBase<unsigned char>* FindPalette(const std::string& name);
// "grey, hot, cool, jet (or rainbow) and viridis", for messages and help.
const char* PaletteNames();

// A display-order entry from red, green and blue.
inline ZelRGBBase<unsigned char> DisplayColour(unsigned char red, unsigned char green, unsigned char blue)
{
    return {blue, green, red};
}

// Red, green and blue (0..1) of the label ranked `rank` among those shown
// (0, 1, 2, ...): saturated colours whose hues follow the golden angle, so
// that any two labels, and most of all neighbouring ranks, look different.
void LabelColour(int rank, float rgb[3]);

// One line of a colour-table file: the values low..high (real units; both
// the same for a single value) take the colour red, green, blue, opacity.
struct ColourTableEntry {
    double low = 0;
    double high = 0;
    float rgba[4] = {0, 0, 0, 1};
};

// Reads a colour-table file. Each line holds a value or a range, then red,
// green, blue and an optional opacity, all from 0 to 1; '#' starts a comment:
//   # value     red green blue opacity
//   1           1   0     0    0.6
//   100..400    1   1     0
// False with a message naming the file and line for anything else.
bool ReadColourTable(const std::string& path, std::vector<ColourTableEntry>& entries, std::string& error);

// Number of entries of a table indexed by any stored value: the entry of
// stored value v is at v + kColourTableZero.
constexpr int kColourTableSize = 65536;
constexpr int kColourTableZero = 32768;

// The entries by stored value for a volume's value scale: a value takes the
// colour of the last line that covers its real value (a single value covers
// the stored value nearest to it); values no line covers are transparent.
std::vector<ZelRGBABase<float>> ColourTableByStoredValue(const std::vector<ColourTableEntry>& entries,
                                                         const ValueScale& scale);
