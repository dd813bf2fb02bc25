// The help texts. They are the user's manual of the program, so the display
// conventions are spelled out here once; the option lists come from the
// stages' own rules.
#include "options.h"

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
           "axial, coronal and sagittal planes, an oblique plane, a slab MIP and several\n"
           "windows, with index.html showing them with their captions and gallery.png,\n"
           "a contact sheet of all of them. Prints the path of index.html.\n";
}
