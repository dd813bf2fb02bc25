// The picture stage: from generated 16-bit slices to display pixels.
//
// PlanDisplay turns the window the user asked for (in the data's real units,
// or as percentiles) into the stored units the converters work in, once per
// run; MakePicture converts one slice and then runs the picture's further
// steps. Colour, overlays and annotations are PictureSteps appended to the
// recipe: each works on the display picture of slice `index`.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ZelImageBuffer.h"
#include "ZelRGBABase.h"
#include "ZelRGBBase.h"
#include "options.h"
#include "volume.h"

struct DisplaySettings {
    DisplayMode mode = DisplayMode::Window;
    // In the stored units of the slices.
    int width = 1;
    int centre = 0;
    int threshold = 0;
    float gamma = 1.0f;
    bool invert = false;
    bool rgb = false;
    // Colour: a palette for the grey levels (pseudo colour), or a colour
    // table by stored value laid over the grey picture; both make the
    // picture colour.
    const ZelRGBBase<unsigned char>* palette = nullptr;        // 256 entries
    std::shared_ptr<std::vector<ZelRGBABase<float>>> colours;  // by stored value + kColourTableZero
    std::string caption;                                       // "brain window 80/40", ...
    std::string levels;                                        // "W 80 L 40", short, for annotations

    int Depth() const { return rgb || palette || colours ? 3 : 1; }
};

class PictureStep {
public:
    virtual ~PictureStep() = default;
    // Works on the display picture of slice `index`. Safe to call from
    // several threads at once (for different pictures).
    virtual bool Apply(int index, ZelImageBuffer& picture, std::string& error) const = 0;
};

struct PictureRecipe {
    DisplaySettings display;
    std::vector<std::unique_ptr<PictureStep>> steps;
};

// The display settings the options ask for, from the value statistics.
bool PlanDisplay(const Volume& volume, const ValueStats& stats, const PictureOptions& options, DisplaySettings& display,
                 std::string& error);
// --window's value, as the options of a second picture take it too.
bool ParseWindowOption(const std::string& value, PictureOptions& options, std::string& error);
// A palette name into `palette`; `what` names the option in the message.
bool SetPalette(const std::string& value, std::string& palette, std::string& error, const char* what);
// Stored value shown outside the volume: --background (real units) or the
// volume's minimum.
short StoredBackground(const Volume& volume, const ValueStats& stats, const PlaneOptions& options);

// Converts a generated slice (signed 16-bit) to display pixels.
bool ConvertForDisplay(const ZelImageBase& slice, const DisplaySettings& display, ZelImageBuffer& out,
                       std::string& error);
// The conversion and every step of the recipe.
bool MakePicture(const ZelImageBase& slice, int index, const PictureRecipe& recipe, ZelImageBuffer& out,
                 std::string& error);
