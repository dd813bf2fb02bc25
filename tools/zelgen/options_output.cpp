// Options of the output stage and of the run, and the assembly of each
// command's options from the groups of its stages.
#include <cctype>

#include "options.h"

namespace {

bool EndsWithPng(const std::string& path)
{
    if (path.size() < 4) return false;
    std::string tail = path.substr(path.size() - 4);
    for (char& c : tail) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return tail == ".png";
}

std::vector<OptionGroup> RenderGroups(RenderOptions& o)
{
    std::vector<OptionGroup> groups = {InputOptionGroup(o.input)};
    for (OptionGroup& g : PlaneOptionGroups(o.plane)) groups.push_back(std::move(g));
    groups.push_back(PictureOptionGroup(o.picture));
    groups.push_back(OutputOptionGroup(o.output));
    groups.push_back(RunOptionGroup(o.run));
    return groups;
}

}  // namespace

OptionGroup OutputOptionGroup(OutputOptions& o)
{
    return {"output",
            {
                {"-o", "OUT.png",
                 "the picture (written whole or not at all); with --slices a series\nOUT_0042.png, ... (or a printf "
                 "pattern such as out/%03d.png)",
                 [&o](const std::string& v, std::string& e) {
                     if (v.empty()) return Fail(e, "-o needs a file name");
                     o.path = v;
                     return true;
                 }},
                {"--mosaic", "COLSxROWS",
                 "one picture of many slices of the plane in a grid (a lightbox):\nevenly spaced through the volume, "
                 "or those of --slices",
                 [&o](const std::string& v, std::string& e) {
                     long long c, r;
                     if (!ParsePair(v, 'x', 1, 64, false, c, r, e, "--mosaic")) return false;
                     o.mosaic = true;
                     o.mosaicColumns = static_cast<int>(c);
                     o.mosaicRows = static_cast<int>(r);
                     return true;
                 }},
            }};
}

OptionGroup RunOptionGroup(RunOptions& o)
{
    return {"running",
            {
                {"--threads", "N", "worker threads (default: every core)",
                 [&o](const std::string& v, std::string& e) {
                     long long n;
                     if (!ParseInt(v, 1, 256, n, e, "--threads")) return false;
                     o.threads = static_cast<int>(n);
                     return true;
                 }},
                {"--layout", "L",
                 "auto (default), linear or tiled: how the volume is held in memory;\nauto holds large volumes tiled "
                 "for sagittal series and oblique planes",
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
                {"--quiet", nullptr, "no notes on standard error", SetFlag(o.quiet)},
            }};
}

bool ParseInfoOptions(const std::vector<std::string>& args, InputOptions& input, bool& helpAsked, std::string& error)
{
    std::string positional;
    if (!ParseArguments(args, {InputOptionGroup(input)}, positional, helpAsked, error)) return false;
    return helpAsked || CheckInputOptions(input, positional, error);
}

bool ParseRenderOptions(const std::vector<std::string>& args, RenderOptions& o, bool& helpAsked, std::string& error)
{
    std::string positional;
    if (!ParseArguments(args, RenderGroups(o), positional, helpAsked, error)) return false;
    if (helpAsked) return true;
    if (!CheckInputOptions(o.input, positional, error) || !CheckPlaneOptions(o.plane, error) ||
        !CheckPictureOptions(o.picture, error))
        return false;
    if (o.output.path.empty()) return Fail(error, "no output: give -o OUT.png");
    if (!EndsWithPng(o.output.path))
        return Fail(error, "-o " + o.output.path + ": pictures are written as PNG; give a name ending in .png");
    if (o.output.mosaic && o.plane.IsOblique())
        return Fail(error, "--mosaic needs an axial, coronal or sagittal plane");
    if (o.output.mosaic && (o.plane.haveSlice || o.plane.havePosition))
        return Fail(error, "--mosaic shows many slices; it takes --slices, not --slice or --position");
    if (o.output.mosaic && o.plane.series) {
        const long long count = (o.plane.seriesLast - o.plane.seriesFirst) / o.plane.seriesStep + 1;
        if (count > static_cast<long long>(o.output.mosaicColumns) * o.output.mosaicRows)
            return Fail(error, "--slices gives " + std::to_string(count) + " slices, more than the " +
                                   std::to_string(o.output.mosaicColumns) + "x" + std::to_string(o.output.mosaicRows) +
                                   " cells of --mosaic");
    }
    return true;
}

std::string RenderUsage()
{
    RenderOptions unused;
    return std::string(
               "usage: zelgen render FILE | --phantom [options] -o OUT.png\n"
               "\n"
               "Without options: the middle axial slice, in a window that suits the data (a CT\n"
               "brain or soft-tissue window when the values look like Hounsfield units, else\n"
               "the 0.5%..99.5% range of the values).\n"
               "\n") +
           DescribeOptions(RenderGroups(unused)) + RenderNotes();
}
