// The help texts. They are the user's manual of the program, so the display
// conventions are spelled out here once.
#include "options.h"

const char* MainUsage()
{
    return "usage: zelgen COMMAND [options]\n"
           "\n"
           "Renders pictures of 3-D medical volumes with the ZelImageGenerator library.\n"
           "\n"
           "commands:\n"
           "  info FILE             size, voxel type, spacing, value range and orientation of a volume\n"
           "  render FILE -o OUT    one plane (or a series of planes) as a PNG picture\n"
           "  demo OUTDIR           a gallery of the built-in head phantom, with index.html\n"
           "\n"
           "Volumes: NIfTI-1 and NIfTI-2 (.nii, .nii.gz), raw files (--raw-size, --raw-type),\n"
           "or the built-in head phantom (--phantom instead of FILE).\n"
           "\n"
           "Run 'zelgen COMMAND --help' for the options of a command.\n";
}

const char* InfoUsage()
{
    return "usage: zelgen info FILE | --phantom [input options]\n"
           "\n"
           "Prints the size, voxel type, spacing, value range and orientation of a volume.\n"
           "\n"
           "input options:\n"
           "  --phantom                 the built-in head phantom (256x256x112, 0.7x0.7x1.5 mm, HU)\n"
           "  --raw-size X,Y,Z          FILE is raw voxels, x fastest (little-endian)\n"
           "  --raw-type T              int16, uint16 or uint8 (needed with --raw-size)\n"
           "  --raw-offset N            bytes to skip at the start of a raw file (default 0)\n"
           "  --spacing A,B,C           voxel spacing in mm of a raw volume or the phantom (default 1,1,1)\n"
           "\n"
           "NIfTI data of types other than signed/unsigned 8- and 16-bit is converted to\n"
           "signed 16-bit, with a note on standard error; scaling slope and intercept are\n"
           "applied to every value shown. The size of a raw file must match exactly.\n";
}

const char* RenderUsage()
{
    return "usage: zelgen render FILE | --phantom [options] -o OUT.png\n"
           "\n"
           "Without options: the middle axial slice, in a window that suits the data (a CT\n"
           "brain or soft-tissue window when the values look like Hounsfield units, else\n"
           "the 0.5%..99.5% range of the values).\n"
           "\n"
           "plane:\n"
           "  --plane P             axial (default), coronal or sagittal\n"
           "  --slice N             slice index along the plane's normal (default: the middle)\n"
           "  --position MM         the slice nearest to this patient coordinate in mm\n"
           "                        (z for axial, y for coronal, x for sagittal; NIfTI axes)\n"
           "  --center I,J,K        voxel shown at the picture's centre (default: the volume's)\n"
           "  --zoom Z              magnification; 1 (default) fits the whole plane\n"
           "  --rotate DEG          clockwise rotation of the picture; multiples of 90 are exact\n"
           "  --flip-h, --flip-v    mirror left-right, top-bottom (after the rotation)\n"
           "  --nearest             nearest voxel instead of interpolation\n"
           "  --background V        value shown outside the volume (default: the volume's minimum)\n"
           "oblique planes (through --center):\n"
           "  --tilt A[,B]          the plane of --plane tilted by A degrees about the picture's\n"
           "                        horizontal axis (top towards the viewer) and B degrees about\n"
           "                        its vertical axis (right side towards the viewer)\n"
           "  --normal X,Y,Z        the plane with this normal (x right, y anterior, z superior);\n"
           "                        the picture keeps the 'up' of the nearest standard plane\n"
           "thick slabs:\n"
           "  --slab MM             slab thickness in mm, centred on the plane\n"
           "  --mode M              avg (default), max or min; --mip and --minip are short for max, min\n"
           "display:\n"
           "  --window W,C | NAME   window width and centre in the data's (scaled) units, or a CT preset:\n"
           "                        brain 80/40, subdural 215/75, stroke 40/40, temporal-bone 2800/600,\n"
           "                        bone 2000/500, lung 1500/-600, abdomen 400/50, liver 150/30,\n"
           "                        mediastinum 350/50, soft-tissue 400/40, angio 600/170, full 4096/1024\n"
           "  --invert              white for low values\n"
           "  --gamma G             gamma curve over the window (G > 1 brightens the mid-tones)\n"
           "  --sigmoid             logistic curve instead of the linear window\n"
           "  --threshold T         white at and above T, black below\n"
           "output:\n"
           "  -o OUT.png            the picture (written whole or not at all)\n"
           "  --size W[xH]          picture size in pixels (default: one pixel per finest voxel\n"
           "                        spacing; with W alone the height keeps the plane's aspect)\n"
           "  --rgb                 write RGB instead of grey\n"
           "  --slices A:B[:STEP]   a numbered series of slices A..B; OUT.png becomes OUT_0042.png\n"
           "                        (or give a printf pattern such as out/%03d.png); all cores work,\n"
           "                        with a progress bar when standard error is a terminal\n"
           "  --threads N           worker threads (default: every core)\n"
           "  --layout L            auto (default), linear or tiled: how the volume is held in memory;\n"
           "                        auto holds large volumes tiled for sagittal series and oblique planes\n"
           "  --quiet               no notes on standard error\n"
           "\n"
           "Orientation: pictures are shown the radiological way. Axial: the patient's left\n"
           "on the picture's right, anterior at the top (seen from the feet). Coronal: the\n"
           "patient's left on the right, head at the top (seen from the front). Sagittal:\n"
           "anterior on the left, head at the top. The patient axes come from the NIfTI\n"
           "sform (or qform); raw volumes and the phantom are taken as stored like DICOM\n"
           "slices: x towards the patient's left, y towards the back, z towards the head.\n"
           "The voxel spacing is honoured: anisotropic volumes are shown undistorted.\n"
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
           "windows, with index.html showing them with their captions and gallery.png, a\n"
           "contact sheet of all of them. Prints the path of index.html.\n";
}
