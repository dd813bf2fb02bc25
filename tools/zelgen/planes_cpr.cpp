// Curved planar reformations through the CPR generator: the path file, the
// options of `zelgen cpr`, and the plane choice that lays the picture along
// the path.
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "ZelCPRImageGenerator.h"
#include "cpr.h"
#include "phantom.h"
#include "progress.h"

using namespace plane_detail;

namespace {

const double kPi = 3.14159265358979323846;

// The one progress bar of Uniformalize: its callback passes no context.
Progress* g_smoothing = nullptr;
int g_smoothingShown = 0;

int SmoothingProgress(float progress, const wchar_t*, void*)
{
    const int steps = static_cast<int>(std::min(1.0f, std::max(0.0f, progress)) * 100.0f);
    for (; g_smoothingShown < steps; ++g_smoothingShown) g_smoothing->Step();
    return 0;
}

const char* ModeName(CprMode mode)
{
    return mode == CprMode::Straight ? "straightened" : mode == CprMode::Stretch ? "stretched" : "fixed-direction";
}

class CprPlane : public PlaneChoice {
public:
    bool Plan(const Volume& volume, const CprOptions& options, const std::vector<Vec3>& points, std::string& error);

    int Count() const override { return 1; }
    int Number(int) const override { return 0; }
    std::string Caption(int) const override { return m_caption; }
    bool Generate(ZelImageBase* volume, int, std::unique_ptr<ZelImageBase>& slice, std::string& error) const override
    {
        // The rows are built from the path for the picture's size on every
        // call; the path already has the volume's aspect, so nothing of it
        // changes and calls may run side by side.
        ZelCPRImageGeneratorParam param = m_param;
        param.backgroundValue = static_cast<short>(m_background);
        ZelCPRImageGenerator generator;
        generator.SetImage(volume);
        slice.reset(generator.GenerateImage(m_width, m_height, param, true));
        if (slice) return true;
        error = "the reformation could not be generated (out of memory?)";
        return false;
    }
    bool PrefersTiled(const Volume& volume) const override
    {
        // Like oblique planes: the lines cross slices at every step.
        const double voxels = static_cast<double>(volume.VoxelCount());
        const double samples = static_cast<double>(m_width) * m_height * std::max(1, m_param.slabSampleCount);
        return voxels >= 8e6 && samples * 8.0 > voxels;
    }

    // A curved cut is no plane: no second volume can follow it.
    bool Locate(ZelImageBase*, int, PixelPlane&) const override { return false; }

private:
    std::unique_ptr<ZelPath> m_path;
    ZelCPRImageGeneratorParam m_param;
    std::string m_caption;
};

// Length of the curve square to a direction (normalised space): the extent
// of a stretched reformation along the path.
double LengthSquareTo(const ZelSplineCurve<Zel3DVector<float>>& curve, const Vec3& d)
{
    const std::vector<Zel3DVector<float>>& points = curve.GetResampledPoints();
    double length = 0;
    for (std::size_t k = 1; k < points.size(); ++k) {
        const Vec3 step{{double(points[k].x) - points[k - 1].x, double(points[k].y) - points[k - 1].y,
                         double(points[k].z) - points[k - 1].z}};
        const Vec3 square = step - Dot(step, d) * d;
        length += std::sqrt(Dot(square, square));
    }
    return length;
}

Zel3DVector<float> ToFloat(const Vec3& v)
{
    return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

bool CprPlane::Plan(const Volume& volume, const CprOptions& options, const std::vector<Vec3>& points,
                    std::string& error)
{
    double s[3], finest;
    NormalisedScale(volume, s, finest);
    m_path = std::make_unique<ZelPath>();
    std::vector<Zel3DVector<float>> voxels;
    for (const Vec3& p : points) voxels.push_back(ToFloat(p));
    m_path->SetPoints(voxels);
    m_path->SetAspect({static_cast<float>(s[0]), static_cast<float>(s[1]), static_cast<float>(s[2])});
    const ZelSplineCurve<Zel3DVector<float>>& curve = m_path->GetSplineCurveObject();
    const double length = curve.GetLength();  // normalised voxels
    if (curve.GetControlSpline().GetKnots().size() < 2 || !(length > 0))
        return Fail(error, "the path needs at least two distinct points");

    // The row direction in normalised space, turned about the path's chord
    // by --rotate.
    // By default the picture is seen the radiological way: the patient's
    // left on the right of a vertical path, the head up over a horizontal
    // one.
    const Vec3 patient = options.haveDirection
                             ? Vec3{{options.direction[0], options.direction[1], options.direction[2]}}
                         : options.horizontal ? Vec3{{0, 0, -1}}
                                              : Vec3{{-1, 0, 0}};
    Vec3 direction = PatientToNormalised(volume, patient);
    const Zel3DVector<float> a = curve.Evaluate(0.0), b = curve.Evaluate(1.0);
    const Vec3 chord = Normalised(Vec3{{double(b.x) - a.x, double(b.y) - a.y, double(b.z) - a.z}});
    if (options.mode != CprMode::Straight && options.rotateDegrees != 0) {
        const double t = options.rotateDegrees * kPi / 180.0;
        // Rodrigues: the part square to the chord turns.
        direction = Normalised(std::cos(t) * direction + std::sin(t) * Cross(chord, direction) +
                               (1 - std::cos(t)) * Dot(chord, direction) * chord);
    }
    const double along = options.mode == CprMode::Stretch ? LengthSquareTo(curve, direction) : length;
    if (!(along > 2.0))
        return Fail(error, "the path runs along --direction: a stretched reformation of it has no length");

    // Picture: one pixel per finest voxel spacing, at least 256 and at most
    // 2048 pixels on the longer side, or fitted into --size; then zoomed.
    // Across the path: --width, at most the volume's diagonal.
    double diagonal = 0;
    for (int k = 0; k < 3; ++k) diagonal += std::pow(volume.size[k] * volume.spacing[k], 2);
    const double across = std::min(options.widthMm, std::sqrt(diagonal)) / finest;
    double scale;
    int pixelsAcross = 0, pixelsAlong = 0;
    if (options.width > 0) {
        pixelsAcross = options.horizontal ? options.height : options.width;
        pixelsAlong = options.horizontal ? options.width : options.height;
        if (pixelsAcross == 0) pixelsAcross = std::max(1, static_cast<int>(std::lround(pixelsAlong * across / along)));
        if (pixelsAlong == 0) pixelsAlong = std::max(1, static_cast<int>(std::lround(pixelsAcross * along / across)));
        scale = std::min(pixelsAcross / across, pixelsAlong / along) * options.zoom;
    } else {
        const double longer = std::max(along, across);
        scale = std::min(2048.0, std::max(256.0, longer)) / longer * options.zoom;
        pixelsAcross = static_cast<int>(std::lround(std::min(8192.0, across * scale)));
        pixelsAlong = static_cast<int>(std::lround(std::min(8192.0, along * scale))) + 2;
    }
    pixelsAcross = std::max(1, pixelsAcross);
    pixelsAlong = std::max(1, pixelsAlong);
    m_width = options.horizontal ? pixelsAlong : pixelsAcross;
    m_height = options.horizontal ? pixelsAcross : pixelsAlong;

    ZelCPRImageGeneratorParam& p = m_param;
    p.pathPlane.SetPath(m_path.get());
    p.construction = options.mode == CprMode::Straight ? ZEL_CPR_STRAIGHT
                     : options.mode == CprMode::Fixed  ? ZEL_CPR_FIXED
                                                       : ZEL_CPR_STRETCH;
    p.scale = static_cast<float>(scale);
    p.direction = ToFloat(direction);
    p.up = ToFloat(direction);
    p.rotationAngle = static_cast<float>(options.rotateDegrees * kPi / 180.0);
    // Planes a third of the smoothing radius apart when they are smoothed
    // (closer ones wander), else two voxels apart; tangents over 3 voxels.
    p.pitch = options.uniform ? 5.0 : 2.0;
    p.tangentSpan = std::min(0.25, 3.0 / length);
    p.layout = options.horizontal ? ZEL_CPR_LAYOUT_COLUMNS : ZEL_CPR_LAYOUT_ROWS;
    p.interpolation = options.nearest ? 0 : 1;
    p.slabOffset = 0;
    const int samples = static_cast<int>(std::floor(options.slabMm / finest)) + 1;
    if (samples >= 2) {
        p.interpolation = 1;  // slabs are gathered with interpolation only
        p.slabSampleCount = std::min(samples, 16385);
        p.slabMode = options.slabMode == SlabMode::Maximum   ? ZEL_CPR_SLAB_MAXIMUM
                     : options.slabMode == SlabMode::Minimum ? ZEL_CPR_SLAB_MINIMUM
                                                             : ZEL_CPR_SLAB_AVERAGE;
    }

    if (options.uniform) {
        if (options.mode != CprMode::Straight)
            return Fail(error, "--uniform smooths the frames of a straightened reformation; it needs --mode straight");
        p.pathPlane.UpdatePlaneData(p.rotationAngle, p.pitch, p.tangentSpan, p.up);
        Progress bar(100, "zelgen: smoothing the cut", !options.run.quiet && Progress::StderrIsTerminal());
        g_smoothing = &bar;
        g_smoothingShown = 0;
        p.pathPlane.Uniformalize(SmoothingProgress, 0.0f, 1.0f);
        g_smoothing = nullptr;
        // The smoothed frames take effect in the interpolation.
        p.pathPlane.SetPlaneObject(p.pathPlane.GetPlaneObject(), true, true, p.pitch);
    }

    char text[256];
    std::snprintf(text, sizeof(text), "%s CPR along %zu points (%.0f mm)", ModeName(options.mode), points.size(),
                  length * finest);
    m_caption = text;
    if (samples >= 2) {
        std::snprintf(text, sizeof(text), ", %s slab %.1f mm", SlabModeName(options.slabMode),
                      (p.slabSampleCount - 1) * finest);
        m_caption += text;
    }
    if (options.rotateDegrees != 0) {
        std::snprintf(text, sizeof(text), ", turned %g deg", options.rotateDegrees);
        m_caption += text;
    }
    if (options.uniform) m_caption += ", smoothed frames";
    return true;
}

// The option groups of `zelgen cpr`.
std::vector<OptionGroup> CprGroups(CprOptions& o)
{
    auto slab = [&o](SlabMode m) -> OptionAction {
        return [&o, m](const std::string&, std::string&) {
            o.slabMode = m;
            return true;
        };
    };
    return {
        InputOptionGroup(o.input),
        {"path",
         {
             {"--path", "FILE",
              "the path: one point 'x y z' per line ('#' starts a comment), in voxel\nindices (default) or in mm; "
              "optional with --phantom, which has a vessel\nof its own",
              [&o](const std::string& v, std::string& e) {
                  if (v.empty()) return Fail(e, "--path needs a file name");
                  o.pathFile = v;
                  return true;
              }},
             {"--path-units", "U",
              "voxels (default) or mm: world coordinates, the NIfTI axes of 'zelgen\ninfo' (x right, y anterior, z "
              "superior)",
              SetChoice(o.pathInMm, {{"voxels", false}, {"mm", true}}, "--path-units")},
             {"--mode", "M",
              "straight (default): the path straightened, rows square to it;\nstretch: rows along --direction, the "
              "depth along it kept;\nfixed: rows along --direction through each point of the path",
              SetChoice(o.mode,
                        {{"straight", CprMode::Straight}, {"stretch", CprMode::Stretch}, {"fixed", CprMode::Fixed}},
                        "--mode")},
             {"--direction", "X,Y,Z",
              "the way the picture's rows run (left to right; top to bottom with\n--horizontal) in patient axes (x "
              "right, y anterior, z superior);\ndefault -1,0,0, the patient's left on the right (0,0,-1 with\n"
              "--horizontal, the head up); straight mode: where the first row points",
              [&o](const std::string& v, std::string& e) {
                  if (!ParseDoubleList(v, 3, -1e6, 1e6, o.direction, e, "--direction")) return false;
                  if (std::sqrt(o.direction[0] * o.direction[0] + o.direction[1] * o.direction[1] +
                                o.direction[2] * o.direction[2]) < 1e-6)
                      return Fail(e, "--direction must not be the zero vector");
                  o.haveDirection = true;
                  return true;
              }},
             {"--rotate", "DEG", "turns the cut about the path", SetNumber(o.rotateDegrees, -3600, 3600, "--rotate")},
             {"--uniform", nullptr,
              "smooths the twist of the straightened cut's frames first (slow on long\npaths; shows its progress)",
              SetFlag(o.uniform)},
             {"--width", "MM", "extent of the picture across the path (default 80 mm)",
              SetNumber(o.widthMm, 0.1, 1e5, "--width")},
             {"--horizontal", nullptr, "lay the path from left to right instead of from top to bottom",
              SetFlag(o.horizontal)},
         }},
        {"picture size and sampling",
         {
             {"--zoom", "Z",
              "magnification (default 1: one pixel per finest voxel spacing,\nat least 256 pixels on the "
              "longer side)",
              SetNumber(o.zoom, 0.01, 100, "--zoom")},
             {"--size", "W[xH]", "fit the reformation into this many pixels",
              SetPictureSize(o.width, o.height, "--size")},
             {"--nearest", nullptr, "nearest voxel instead of interpolation", SetFlag(o.nearest)},
             {"--background", "V", "value shown outside the volume (default: the volume's minimum)",
              SetNumber(o.background, -1e30, 1e30, "--background", &o.haveBackground)},
         }},
        {"thick slabs",
         {
             {"--slab", "MM", "slab thickness in mm across the cut, centred on it",
              SetNumber(o.slabMm, 0, 1000, "--slab")},
             {"--mip", nullptr, "maximum intensity of the slab", slab(SlabMode::Maximum)},
             {"--minip", nullptr, "minimum intensity of the slab", slab(SlabMode::Minimum)},
             {"--mean", nullptr, "mean of the slab (the default)", slab(SlabMode::Average)},
         }},
        PictureOptionGroup(o.picture),
        {"output", {OutputFileRule(o.output)}},
        RunOptionGroup(o.run),
    };
}

// One number of a path line; false unless the whole field is a finite
// number.
bool Number(const std::string& field, double& value)
{
    if (field.empty()) return false;
    errno = 0;
    char* end = nullptr;
    value = std::strtod(field.c_str(), &end);
    return errno == 0 && end == field.c_str() + field.size() && std::isfinite(value);
}

}  // namespace

bool ReadPathFile(const std::string& file, std::vector<Vec3>& points, std::vector<int>& lines, std::string& error)
{
    std::ifstream in(file);
    if (!in) return Fail(error, "cannot read the path file '" + file + "'");
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        const std::size_t hash = line.find('#');
        if (hash != std::string::npos) line.erase(hash);
        for (char& c : line)
            if (c == ',' || c == '\t' || c == '\r') c = ' ';
        std::istringstream words(line);
        std::vector<std::string> fields;
        for (std::string w; words >> w;) fields.push_back(w);
        if (fields.empty()) continue;
        Vec3 p;
        if (fields.size() != 3 || !Number(fields[0], p[0]) || !Number(fields[1], p[1]) || !Number(fields[2], p[2]))
            return Fail(error, file + ":" + std::to_string(number) + ": expected a point 'x y z', got '" + line + "'");
        points.push_back(p);
        lines.push_back(number);
        if (points.size() > 100000) return Fail(error, file + ": more than 100000 points");
    }
    if (in.bad()) return Fail(error, "cannot read the path file '" + file + "'");
    return true;
}

bool ParseCprOptions(const std::vector<std::string>& args, CprOptions& o, bool& helpAsked, std::string& error)
{
    std::string positional;
    if (!ParseArguments(args, CprGroups(o), positional, helpAsked, error)) return false;
    if (helpAsked) return true;
    if (!CheckInputOptions(o.input, positional, error) || !CheckPictureOptions(o.picture, error)) return false;
    if (o.pathFile.empty() && !o.input.phantom) return Fail(error, "no path: give --path FILE");
    if (o.output.path.empty()) return Fail(error, "no output: give -o OUT.png");
    if (!EndsWithPng(o.output.path))
        return Fail(error, "-o " + o.output.path + ": pictures are written as PNG; give a name ending in .png");
    if (o.uniform && o.mode != CprMode::Straight)
        return Fail(error, "--uniform smooths the frames of a straightened reformation; it needs --mode straight");
    return true;
}

std::string CprUsage()
{
    CprOptions unused;
    return std::string(
               "usage: zelgen cpr FILE | --phantom --path POINTS.txt [options] -o OUT.png\n"
               "\n"
               "A curved planar reformation: the volume cut along a path through it (a vessel,\n"
               "a colon, a jaw) and laid flat, the path's first point at the top. Without\n"
               "options the path is straightened, with 80 mm of the volume across it.\n"
               "\n") +
           DescribeOptions(CprGroups(unused)) +
           "\n"
           "Every point must lie inside the volume, and the path needs at least two\n"
           "distinct points. Exit status: 0 done, 2 bad input or options (one message on\n"
           "standard error, no picture written).\n";
}

std::unique_ptr<PlaneChoice> MakeCprPlane(const Volume& volume, const CprOptions& options, std::string& error)
{
    std::vector<Vec3> points;
    std::vector<int> lines;
    const std::string name = options.pathFile.empty() ? "the phantom's vessel" : options.pathFile;
    if (options.pathFile.empty()) {
        ZelPhantomOptions phantom;
        phantom.sizeX = volume.size[0];
        phantom.sizeY = volume.size[1];
        phantom.sizeZ = volume.size[2];
        for (const Zel3DVector<float>& p : ZelPhantomVesselPath(phantom)) {
            points.push_back(Vec3{{p.x, p.y, p.z}});
            lines.push_back(static_cast<int>(points.size()));
        }
    } else if (!ReadPathFile(options.pathFile, points, lines, error)) {
        return nullptr;
    }
    for (std::size_t k = 0; k < points.size(); ++k) {
        Vec3& p = points[k];
        if (options.pathInMm) {
            const auto& m = volume.ijkToPatient;
            p = PatientToIndex(volume, p - Vec3{{m[0][3], m[1][3], m[2][3]}});
        }
        // Points converted from mm may miss a corner voxel by rounding.
        const double slack = options.pathInMm ? 1e-6 : 0.0;
        for (int a = 0; a < 3; ++a)
            if (!(p[a] >= -slack && p[a] <= volume.size[a] - 1 + slack)) {
                char text[300];
                std::snprintf(text, sizeof(text),
                              "%s:%d: point lies outside the volume (voxel %.6g, %.6g, %.6g; the volume runs from "
                              "0 to %d, %d, %d)",
                              name.c_str(), lines[k], p[0], p[1], p[2], volume.size[0] - 1, volume.size[1] - 1,
                              volume.size[2] - 1);
                error = text;
                return nullptr;
            }
    }
    if (points.size() < 2) {
        error = name + ": the path needs at least two distinct points, got " + std::to_string(points.size());
        return nullptr;
    }
    auto plane = std::make_unique<CprPlane>();
    if (!plane->Plan(volume, options, points, error)) {
        if (error.rfind("the path needs", 0) == 0) error = name + ": " + error;
        return nullptr;
    }
    return plane;
}
