// The label overlay: a label volume (an atlas, a segmentation) cut on the
// picture's plane, its labels coloured through a colour table by stored
// value (ColorTable) and laid over the picture with their opacity
// (PixelAlpha).
//
// Labels are names, not quantities: the volume is always sampled nearest, so
// a pixel shows a label that is in the file and never a blend of two, and
// the volume must hold whole numbers (the import then holds them exactly).
#include <cmath>
#include <cstdio>

#include "ZelIGCompositor.h"
#include "ZelIGConverter.h"
#include "colour.h"
#include "layers.h"

namespace {

class LabelOverlay : public PictureStep {
public:
    bool Apply(int index, ZelImageBuffer& picture, std::string& error) const override;

    Layer layer;
    std::unique_ptr<ZelRGBABase<float>[]> colours;  // by stored value + kColourTableZero
    float opacity = 0.5f;
    bool outline = false;
};

// Clears the opacity of every pixel that is not on the border of its label:
// a border pixel has a neighbour (left, right, above or below, within the
// picture) with another label. The edge of the picture is not a border.
void KeepBorders(const ZelImage<short>& labels, ZelImageBuffer& layer)
{
    const int w = layer.GetWidth(), h = layer.GetHeight(), stride = layer.GetSizePerLine();
    const short* v = labels.GetDataPtr();
    for (int y = 0; y < h; ++y) {
        const short* row = v + static_cast<std::ptrdiff_t>(y) * w;
        unsigned char* alpha = layer.GetDataPtr() + static_cast<std::ptrdiff_t>(y) * stride + 3;
        for (int x = 0; x < w; ++x) {
            const short c = row[x];
            const bool border = (x > 0 && row[x - 1] != c) || (x + 1 < w && row[x + 1] != c) ||
                                (y > 0 && row[x - w] != c) || (y + 1 < h && row[x + w] != c);
            if (!border) alpha[4 * x] = 0;
        }
    }
}

bool LabelOverlay::Apply(int index, ZelImageBuffer& picture, std::string& error) const
{
    std::unique_ptr<ZelImageBase> slice;
    if (!layer.planes->Generate(layer.volume->image.get(), index, slice, error)) return false;
    const auto* labels = static_cast<const ZelImage<short>*>(slice.get());
    ZelImageBuffer colour;
    if (!colour.CreateImage(picture.GetWidth(), picture.GetHeight(), 4)) {
        error = "not enough memory for the overlay";
        return false;
    }
    const bool coloured = ZelIGConverter::ColorTable(&colour, labels, colours.get() + kColourTableZero);
    if (coloured && outline) KeepBorders(*labels, colour);
    if (coloured && ZelIGCompositor::PixelAlpha(&picture, &colour, opacity) == &picture) return true;
    error = "internal: the overlay was refused by the converter or the compositor";
    return false;
}

// The stored values that occur, from every voxel: a label of a few voxels
// must not be missed, as a sampled histogram could.
std::vector<bool> StoredValuesPresent(const Volume& volume)
{
    std::vector<bool> present(kColourTableSize, false);
    const short* v = volume.image->GetDataPtr();
    const long long count = volume.image->GetElementCount();
    for (long long n = 0; n < count; ++n) present[static_cast<std::size_t>(v[n] + kColourTableZero)] = true;
    return present;
}

}  // namespace

bool MakeLabelOverlay(Layer layer, const OverlayOptions& options, std::unique_ptr<PictureStep>& step,
                      std::string& caption, std::string& error)
{
    const Volume& labels = *layer.volume;
    if (!labels.exact) {
        error =
            labels.source + " cannot be a label overlay: its values are not all whole numbers (" + labels.storage + ")";
        return false;
    }
    // Label 0 is no label, as are voxels without a value; outside the label
    // volume is none either, shown as a stored value that means none.
    std::vector<bool> present = StoredValuesPresent(labels);
    if (labels.hasNoValue) present[static_cast<std::size_t>(Volume::kNoValue + kColourTableZero)] = false;
    const double zero = labels.scale.ToStored(0);
    int none = 0;
    bool haveNone = zero == std::floor(zero) && zero >= -32768 && zero <= 32767;
    if (haveNone) {
        none = static_cast<int>(zero);
        present[static_cast<std::size_t>(none + kColourTableZero)] = false;
    }
    for (int v = -32768; v <= 32767 && !haveNone; ++v)
        if (!present[static_cast<std::size_t>(v + kColourTableZero)]) none = v, haveNone = true;
    if (!haveNone) {
        error = labels.source + " cannot be a label overlay: it uses every one of the 65536 values";
        return false;
    }
    layer.planes->SetBackground(none);

    auto overlay = std::make_unique<LabelOverlay>();
    overlay->colours.reset(new ZelRGBABase<float>[kColourTableSize]());
    int count = 0;
    for (int v = 0; v < kColourTableSize; ++v) {
        if (!present[static_cast<std::size_t>(v)]) continue;
        float rgb[3];
        LabelColour(count++, rgb);
        overlay->colours[static_cast<std::size_t>(v)] = {rgb[2], rgb[1], rgb[0], 1.0f};  // display order
    }
    overlay->outline = options.outline;
    overlay->opacity = static_cast<float>(options.haveOpacity ? options.opacity : options.outline ? 1.0 : 0.5);
    overlay->layer = std::move(layer);

    char text[80];
    std::snprintf(text, sizeof(text), " (%d label%s%s, opacity %g)", count, count == 1 ? "" : "s",
                  options.outline ? ", outlines" : "", overlay->opacity);
    caption = "overlay " + overlay->layer.volume->source + text;
    step = std::move(overlay);
    return true;
}
