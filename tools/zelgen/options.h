// The options of zelgen, one structure per stage of the pipeline:
//   reading (InputOptions) -> plane choice (PlaneOptions) -> picture
//   (PictureOptions) -> output (OutputOptions), with RunOptions for how the
//   work is done. Each stage declares its rules in its own options_*.cpp;
//   commands assemble the groups of the stages they run.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli.h"
#include "voxel_import.h"

enum class PlaneKind { Axial, Coronal, Sagittal };
enum class SlabMode { Average, Maximum, Minimum };
enum class DisplayMode { Window, Gamma, Sigmoid, Threshold };
enum class WindowKind { Automatic, Values, Percentiles, MinMax };
enum class LayoutChoice { Auto, Linear, Tiled };
// What the built-in phantom gives: the scan, its structures as labels, or a
// simulated PET of it.
enum class PhantomPart { Scan, Labels, Uptake };

// Where the volume comes from.
struct InputOptions {
    std::string path;  // empty with --phantom
    bool phantom = false;
    PhantomPart phantomPart = PhantomPart::Scan;
    // Raw volumes: size and type are both needed; spacing defaults to 1 mm.
    bool raw = false;
    int rawSize[3] = {0, 0, 0};
    SampleType rawType = SampleType::Int16;
    bool haveRawType = false;
    double spacing[3] = {1.0, 1.0, 1.0};
    bool haveSpacing = false;
    long long rawOffset = 0;    // bytes to skip before the voxels
    long long volumeIndex = 0;  // --volume: which 3-D volume of a 4-D file
    bool haveVolumeIndex = false;
};

// Which planes of the volume the pictures show, and at what size.
struct PlaneOptions {
    PlaneKind plane = PlaneKind::Axial;
    bool haveSlice = false;
    long long slice = 0;  // voxel index along the plane's normal
    bool havePosition = false;
    double positionMm = 0;  // patient coordinate along the plane's normal axis
    bool haveCenter = false;
    double center[3] = {0, 0, 0};  // voxel index units
    double zoom = 1.0;             // 1 = the whole plane fits the picture
    double rotateDegrees = 0;      // clockwise on screen
    bool flipH = false;
    bool flipV = false;
    bool nearest = false;
    bool haveBackground = false;
    double background = 0;  // real (scaled) value

    // Oblique planes: tilt about the picture's horizontal and vertical axes,
    // a normal, or the patient's own axes for a tilted acquisition.
    bool haveTilt = false;
    double tilt[2] = {0, 0};  // degrees
    bool haveNormal = false;
    double normal[3] = {0, 0, 0};  // patient axes: x right, y anterior, z superior
    bool world = false;

    double slabMm = 0;
    SlabMode slabMode = SlabMode::Average;

    int width = 0;  // 0 = from the plane's extent
    int height = 0;

    bool series = false;  // --slices
    int seriesFirst = 0;
    int seriesLast = 0;
    int seriesStep = 1;

    bool IsOblique() const { return haveTilt || haveNormal || world; }
};

// How slice values become display pixels.
struct PictureOptions {
    DisplayMode display = DisplayMode::Window;
    WindowKind window = WindowKind::Automatic;
    double windowWidth = 0;  // WindowKind::Values, in the data's real units
    double windowCentre = 0;
    double percentLow = 0;  // WindowKind::Percentiles
    double percentHigh = 0;
    std::string windowName;  // preset picked
    bool invert = false;
    double gamma = 1.0;
    double threshold = 0;
    bool rgb = false;
    std::string palette;      // pseudo colour: a palette name; empty for grey
    std::string colourTable;  // a colour-table file laid over the grey picture
};

// Pictures laid over the main one: a label volume, and a second scan of the
// same patient, each cut on the same patient plane.
struct OverlayOptions {
    std::string path;  // a label volume
    bool phantomLabels = false;
    double opacity = 0.5;
    bool haveOpacity = false;
    bool outline = false;  // the labels' borders only
    bool Wanted() const { return phantomLabels || !path.empty(); }
};

struct FusionOptions {
    std::string path;  // the second scan
    bool phantomPet = false;
    PictureOptions picture;  // its window and palette
    bool havePalette = false;
    double alpha = 0.5;  // its opacity
    bool haveAlpha = false;
    int checker = 0;  // > 0: a checkerboard of cells this many pixels wide instead of a blend
    FusionOptions() { picture.palette = "hot"; }
    bool Wanted() const { return phantomPet || !path.empty(); }
};

struct LayerOptions {
    OverlayOptions overlay;
    FusionOptions fusion;
};

// Where the pictures go.
struct OutputOptions {
    std::string path;
    bool mosaic = false;  // all pictures in one, as a grid
    int mosaicColumns = 0;
    int mosaicRows = 0;
};

// How the work is done.
struct RunOptions {
    LayoutChoice layout = LayoutChoice::Auto;
    int threads = 0;  // 0 = every core
    bool quiet = false;
};

struct RenderOptions {
    InputOptions input;
    PlaneOptions plane;
    PictureOptions picture;
    LayerOptions layers;
    OutputOptions output;
    RunOptions run;
};

// The option groups of each stage; the rules write into the given structure.
OptionGroup InputOptionGroup(InputOptions& input);
std::vector<OptionGroup> PlaneOptionGroups(PlaneOptions& plane);
OptionGroup PictureOptionGroup(PictureOptions& picture);
OptionGroup LayerOptionGroup(LayerOptions& layers);
OptionGroup OutputOptionGroup(OutputOptions& output);
// The output stage's -o alone (for commands that write one picture).
OptionRule OutputFileRule(OutputOptions& output, const char* help = "the picture (written whole or not at all)");
OptionGroup RunOptionGroup(RunOptions& run);

// Checks within one stage, after parsing. `positional` is the input file.
bool CheckInputOptions(InputOptions& input, const std::string& positional, std::string& error);
bool CheckPlaneOptions(const PlaneOptions& plane, std::string& error);
bool CheckPictureOptions(const PictureOptions& picture, std::string& error);
bool CheckLayerOptions(const LayerOptions& layers, std::string& error);

struct WindowPreset {
    const char* name;
    int width;
    int centre;
};
// Named CT windows (Hounsfield units).
const std::vector<WindowPreset>& WindowPresets();
const WindowPreset* FindWindowPreset(const std::string& name);

// `args` are the arguments after the command word. helpAsked is set (and
// true returned) for --help.
bool ParseRenderOptions(const std::vector<std::string>& args, RenderOptions& options, bool& helpAsked,
                        std::string& error);
bool ParseInfoOptions(const std::vector<std::string>& args, InputOptions& input, bool& helpAsked, std::string& error);

// Whether an output name ends in .png (any case).
bool EndsWithPng(const std::string& path);

// Help texts.
const char* MainUsage();
std::string RenderUsage();
const char* RenderNotes();  // the conventions, after the options
std::string InfoUsage();
const char* DemoUsage();
const char* VersionText();
