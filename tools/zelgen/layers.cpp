// The layers over the picture: reading their volumes, the second scan's
// fusion step, and the options of both.
#include "layers.h"

#include <cstdio>

#include "ZelIGCompositor.h"
#include "readers.h"

namespace {

// The second scan, windowed and coloured in its own right, blended over the
// picture with a constant opacity (Alpha) or shown in every other cell of a
// checkerboard (Checker).
class FusedScan : public PictureStep {
public:
    bool Apply(int index, ZelImageBuffer& picture, std::string& error) const override
    {
        std::unique_ptr<ZelImageBase> slice;
        ZelImageBuffer fused;
        if (!layer.planes->Generate(layer.volume->image.get(), index, slice, error) ||
            !ConvertForDisplay(*slice, display, fused, error))
            return false;
        const ZelImageBuffer* result = checker > 0 ? ZelIGCompositor::Checker(&picture, &fused, checker)
                                                   : ZelIGCompositor::Alpha(&picture, &fused, alpha);
        if (result == &picture) return true;
        error = "internal: the fusion was refused by the compositor";
        return false;
    }

    Layer layer;
    DisplaySettings display;
    float alpha = 0.5f;
    int checker = 0;
};

// Reads a second volume: the header, then whether it meets the main volume,
// then the voxels.
bool ReadLayer(const InputOptions& input, const Volume& volume, const PlaneChoice& planes, bool nearest,
               const char* role, Layer& layer, std::vector<std::string>& notes, std::string& error)
{
    layer.volume = std::make_unique<Volume>();
    Volume& other = *layer.volume;
    std::unique_ptr<VolumeReader> reader = OpenVolumeReader(input, error);
    if (!reader || !reader->ReadHeader(other, error)) return false;
    layer.planes = FollowPlanes(planes, volume, other, nearest, std::string(role) + " " + other.source, error);
    if (!layer.planes || !reader->ReadVoxels(other, ZEL_ALIGNMENT_LINEAR, error)) return false;
    for (const std::string& note : other.notes) notes.push_back(other.source + ": " + note);
    if (other.frames > 1)
        notes.push_back(other.source + " holds " + std::to_string(other.frames) + " volumes; the first is used");
    return true;
}

InputOptions LayerInput(const std::string& path, bool phantom, PhantomPart part, const InputOptions& mainInput)
{
    InputOptions input;
    input.path = path;
    input.phantom = phantom;
    input.phantomPart = part;
    if (phantom && mainInput.phantom && mainInput.haveSpacing) {
        input.haveSpacing = true;
        for (int a = 0; a < 3; ++a) input.spacing[a] = mainInput.spacing[a];
    }
    return input;
}

bool AddFusion(const Volume& volume, const PlaneChoice& planes, const InputOptions& mainInput,
               const FusionOptions& options, bool nearest, PictureRecipe& recipe, std::vector<std::string>& notes,
               std::string& error)
{
    auto step = std::make_unique<FusedScan>();
    const InputOptions input = LayerInput(options.path, options.phantomPet, PhantomPart::Uptake, mainInput);
    if (!ReadLayer(input, volume, planes, nearest, "the second scan", step->layer, notes, error)) return false;
    Volume& scan = *step->layer.volume;
    const ValueStats stats = ComputeValueStats(scan);
    const short background = StoredBackground(scan, stats, PlaneOptions());
    FillNoValue(scan, background);
    step->layer.planes->SetBackground(background);
    if (!PlanDisplay(scan, stats, options.picture, step->display, error)) {
        error = scan.source + ": " + error;
        return false;
    }
    step->display.rgb = true;
    step->alpha = static_cast<float>(options.alpha);
    step->checker = options.checker;
    char text[64];
    if (options.checker > 0)
        std::snprintf(text, sizeof(text), ", checkerboard of %d px", options.checker);
    else
        std::snprintf(text, sizeof(text), ", alpha %g", options.alpha);
    recipe.display.caption += "; fused with " + scan.source + " (" + step->display.caption + text + ")";
    recipe.steps.push_back(std::move(step));
    return true;
}

}  // namespace

bool AddLayers(const Volume& volume, const PlaneChoice& planes, const InputOptions& mainInput,
               const LayerOptions& options, bool nearest, PictureRecipe& recipe, std::vector<std::string>& notes,
               std::string& error)
{
    const bool fuse = options.fusion.Wanted(), overlay = options.overlay.Wanted();
    if (!fuse && !overlay) return true;
    recipe.display.rgb = true;
    // The second scan goes under the labels.
    if (fuse && !AddFusion(volume, planes, mainInput, options.fusion, nearest, recipe, notes, error)) return false;
    if (!overlay) return true;
    Layer layer;
    const OverlayOptions& o = options.overlay;
    std::unique_ptr<PictureStep> step;
    std::string caption;
    if (!ReadLayer(LayerInput(o.path, o.phantomLabels, PhantomPart::Labels, mainInput), volume, planes, true,
                   "the overlay", layer, notes, error) ||
        !MakeLabelOverlay(std::move(layer), o, step, caption, error))
        return false;
    recipe.display.caption += "; " + caption;
    recipe.steps.push_back(std::move(step));
    return true;
}

// The options of the layers.
OptionGroup LayerOptionGroup(LayerOptions& layers)
{
    OverlayOptions& o = layers.overlay;
    FusionOptions& f = layers.fusion;
    return {
        "overlays and fusion (on the same patient plane, whatever the grids)",
        {
            {"--overlay", "LABELS",
             "a label volume (whole numbers; 0 is no label) over the picture, a\ncolour per label; always "
             "sampled nearest",
             SetText(o.path, "--overlay")},
            {"--overlay-opacity", "A", "opacity of the labels, 0..1 (default 0.5; 1 with --outline)",
             SetNumber(o.opacity, 0, 1, "--overlay-opacity", &o.haveOpacity)},
            {"--outline", nullptr, "only the borders of the labels", SetFlag(o.outline)},
            {"--phantom-labels", nullptr, "the phantom's structures as the overlay", SetFlag(o.phantomLabels)},
            {"--fuse", "SCAN", "a second scan (PET, perfusion, ...) windowed, coloured and blended\nover the picture",
             SetText(f.path, "--fuse")},
            {"--fuse-window", "W,C | pA,pB | minmax | NAME",
             "its window, as --window (default: chosen from its values)",
             [&f](const std::string& v, std::string& e) { return ParseWindowOption(v, f.picture, e); }},
            {"--fuse-palette", "NAME", "its palette (default hot)",
             [&f](const std::string& v, std::string& e) {
                 f.havePalette = true;
                 return SetPalette(v, f.picture.palette, e, "--fuse-palette");
             }},
            {"--alpha", "A", "its opacity, 0..1 (default 0.5)", SetNumber(f.alpha, 0, 1, "--alpha", &f.haveAlpha)},
            {"--checker", "N", "a checkerboard of the two pictures in cells of N pixels, not a blend",
             SetInt(f.checker, 1, 8192, "--checker")},
            {"--phantom-pet", nullptr, "a simulated PET of the phantom (2.8 mm voxels) as the second scan",
             SetFlag(f.phantomPet)},
        }};
}

bool CheckLayerOptions(const LayerOptions& layers, std::string& error)
{
    const OverlayOptions& o = layers.overlay;
    const FusionOptions& f = layers.fusion;
    if (o.phantomLabels && !o.path.empty()) return Fail(error, "give either --overlay or --phantom-labels, not both");
    if ((o.haveOpacity || o.outline) && !o.Wanted())
        return Fail(error, "--overlay-opacity and --outline need --overlay LABELS");
    if (f.phantomPet && !f.path.empty()) return Fail(error, "give either --fuse or --phantom-pet, not both");
    if ((f.haveAlpha || f.havePalette || f.checker > 0 || f.picture.window != WindowKind::Automatic) && !f.Wanted())
        return Fail(error, "--fuse-window, --fuse-palette, --alpha and --checker need --fuse SCAN");
    if (f.haveAlpha && f.checker > 0) return Fail(error, "--checker shows the two pictures side by side; no --alpha");
    return true;
}
