// Command-line options of zelgen: the parsed form of `render`, `info` and
// `demo` arguments, and the strict number parsers they use.
//
// Every parser returns false with a message in `error` (without the
// "zelgen: error: " prefix) and never throws; nothing is half-applied that a
// caller would act on, since a failed parse ends the program.
#pragma once

#include <string>
#include <vector>

enum class PlaneKind { Axial, Coronal, Sagittal };
enum class SlabMode { Average, Maximum, Minimum };
enum class DisplayMode { Window, Gamma, Sigmoid, Threshold };
enum class LayoutChoice { Auto, Linear, Tiled };
enum class RawType { Int16, Uint16, Uint8 };

// Where the volume comes from.
struct InputOptions {
    std::string path;  // empty with --phantom
    bool phantom = false;
    // Raw volumes: all three of size and type are needed; spacing defaults to 1 mm.
    bool raw = false;
    int rawSize[3] = {0, 0, 0};
    RawType rawType = RawType::Int16;
    bool haveRawType = false;
    double spacing[3] = {1.0, 1.0, 1.0};
    bool haveSpacing = false;
    long long rawOffset = 0;  // bytes to skip before the voxels
};

struct RenderOptions {
    InputOptions input;
    std::string output;

    PlaneKind plane = PlaneKind::Axial;
    bool haveSlice = false;
    double slice = 0;  // voxel index along the plane's normal
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

    // Oblique planes: tilt about the picture's horizontal and vertical axes, or a normal.
    bool haveTilt = false;
    double tilt[2] = {0, 0};  // degrees
    bool haveNormal = false;
    double normal[3] = {0, 0, 0};  // patient axes: x right, y anterior, z superior

    double slabMm = 0;
    SlabMode slabMode = SlabMode::Average;

    DisplayMode display = DisplayMode::Window;
    bool haveWindow = false;
    double windowWidth = 0;
    double windowCentre = 0;
    std::string windowName;  // preset picked, or the automatic choice
    bool invert = false;
    double gamma = 1.0;
    double threshold = 0;

    int width = 0;  // 0 = from the plane's extent
    int height = 0;
    bool rgb = false;

    bool series = false;
    int seriesFirst = 0;
    int seriesLast = 0;
    int seriesStep = 1;

    LayoutChoice layout = LayoutChoice::Auto;
    int threads = 0;  // 0 = every core
    bool quiet = false;

    bool IsOblique() const { return haveTilt || haveNormal; }
};

struct WindowPreset {
    const char* name;
    int width;
    int centre;
};
// Named CT windows (Hounsfield units).
const std::vector<WindowPreset>& WindowPresets();
const WindowPreset* FindWindowPreset(const std::string& name);

// Strict number parsing: the whole text must be the number, finite, and
// inside [lo, hi].
bool ParseDouble(const std::string& text, double lo, double hi, double& value, std::string& error, const char* what);
bool ParseInt(const std::string& text, long long lo, long long hi, long long& value, std::string& error,
              const char* what);
// "a,b,c" with exactly `count` numbers.
bool ParseDoubleList(const std::string& text, int count, double lo, double hi, double* values, std::string& error,
                     const char* what);

// `args` are the arguments after the command word. Input options are shared
// by `render` and `info`. helpAsked is set (and true returned) for --help.
bool ParseRenderOptions(const std::vector<std::string>& args, RenderOptions& options, bool& helpAsked,
                        std::string& error);
bool ParseInfoOptions(const std::vector<std::string>& args, InputOptions& input, bool& helpAsked, std::string& error);

// Help texts.
const char* MainUsage();
const char* RenderUsage();
const char* InfoUsage();
const char* DemoUsage();
