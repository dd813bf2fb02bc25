// Each command's options, assembled from the groups of the stages it runs,
// and the help texts. The help is the user's manual of the program, so the
// display conventions are spelled out here once; the option lists come from
// the stages' own rules.
#include <cctype>

#include "options.h"

bool EndsWithPng(const std::string& path)
{
    if (path.size() < 4) return false;
    std::string tail = path.substr(path.size() - 4);
    for (char& c : tail) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return tail == ".png";
}

namespace {

std::vector<OptionGroup> RenderGroups(RenderOptions& o)
{
    std::vector<OptionGroup> groups = {InputOptionGroup(o.input)};
    for (OptionGroup& g : PlaneOptionGroups(o.plane)) groups.push_back(std::move(g));
    groups.push_back(PictureOptionGroup(o.picture));
    groups.push_back(LayerOptionGroup(o.layers));
    groups.push_back(OutputOptionGroup(o.output));
    groups.push_back(RunOptionGroup(o.run));
    return groups;
}

}  // namespace

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
        !CheckPictureOptions(o.picture, error) || !CheckLayerOptions(o.layers, error))
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

#ifndef ZELGEN_VERSION
#define ZELGEN_VERSION "unknown"
#endif

const char* VersionText()
{
    return "zelgen " ZELGEN_VERSION " (ZelImageGenerator)\n";
}

const char* MainUsage()
{
    return "usage: zelgen COMMAND [options]\n"
           "\n"
           "Renders pictures of 3-D medical volumes with the ZelImageGenerator library.\n"
           "\n"
           "commands:\n"
           "  info FILE             size, voxel type, spacing, value range and orientation of a volume\n"
           "  render FILE -o OUT    one plane, a series of planes or a mosaic as PNG pictures\n"
           "  cpr FILE --path P     a curved reformation along the path in file P\n"
           "  demo OUTDIR           a gallery of the built-in head phantom, with index.html\n"
           "\n"
           "Volumes: NIfTI-1 and NIfTI-2 (.nii, plain or gzip-compressed whatever the name),\n"
           "Analyze 7.5 and NIfTI pairs (.hdr with .img), raw files (--raw-size, --raw-type),\n"
           "or the built-in head phantom (--phantom instead of FILE).\n"
           "\n"
           "Run 'zelgen COMMAND --help' for the options of a command, 'zelgen --version'\n"
           "for the version.\n";
}

std::string InfoUsage()
{
    InputOptions unused;
    return "usage: zelgen info FILE | --phantom [options]\n"
           "\n"
           "Prints the size, voxel type, spacing, value range and orientation of a volume,\n"
           "and what a careful reader should know about its header.\n"
           "\n" +
           DescribeOptions({InputOptionGroup(unused)}) +
           "\n"
           "Every voxel type is held as signed 16-bit: whole numbers that fit exactly, other\n"
           "values spread over the 16-bit range with a recorded scale; values shown are\n"
           "real (after the file's scaling slope and intercept). NaN voxels have no value:\n"
           "they are left out of the value range and shown as background.\n";
}

const char* RenderNotes()
{
    return "\n"
           "Orientation: pictures are shown the radiological way. Axial: the patient's left\n"
           "on the picture's right, anterior at the top (seen from the feet). Coronal: the\n"
           "patient's left on the right, head at the top (seen from the front). Sagittal:\n"
           "anterior on the left, head at the top. The patient axes come from the NIfTI\n"
           "sform (or qform); raw volumes and the phantom are taken as stored like DICOM\n"
           "slices: x towards the patient's left, y towards the back, z towards the head.\n"
           "Standard planes follow the voxel axes nearest to the patient's; for a tilted\n"
           "acquisition --world follows the patient's own axes. The voxel spacing is\n"
           "honoured: anisotropic volumes are shown undistorted.\n"
           "\n"
           "Exit status: 0 done, 2 bad input or options (one message on standard error, no\n"
           "picture written).\n";
}

const char* DemoUsage()
{
    return "usage: zelgen demo OUTDIR\n"
           "\n"
           "Renders a gallery of the built-in head phantom into OUTDIR (made if missing):\n"
           "axial, coronal and sagittal planes, an oblique plane, slab MIPs, several\n"
           "windows, a palette, its structures as a label overlay, a simulated PET fused\n"
           "with it and curved reformations along its vessel, with index.html showing\n"
           "them with their captions and gallery.png, a contact sheet of all of them.\n"
           "Prints the path of index.html.\n";
}
