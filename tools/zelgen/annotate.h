// Annotations over the pictures, drawn by the library's drawing engine in
// outlined text: orientation letters at the four edges, a scale bar in mm,
// and the window, the position along the plane's normal and the slab in the
// top left corner. A PictureStep any command can append to its recipe: it
// asks the plane choice where each picture's pixels lie (Locate, through
// the generator's own DisplayToVoxel) and the volume's transform where that
// is in the patient, so every plane kind, rotation, flip and file
// orientation is named right. A plane choice whose pictures are not flat
// (Locate false) gets the window and slab only.
#pragma once

#include <string>

#include "options.h"
#include "orientation.h"
#include "picture.h"
#include "planes.h"
#include "volume.h"

// Appends the annotations to `recipe` when the options ask for them.
// `cellsOnly`: the pictures are cells of a mosaic, which carry their
// position only. `volume` (its voxels read) and `planes` must outlive the
// recipe. False with a message when no font can be had.
bool AddAnnotations(const Volume& volume, const PlaneChoice& planes, const AnnotationOptions& options, bool cellsOnly,
                    PictureRecipe& recipe, std::string& error);

// Where a picture lies in the patient (mm, x right, y anterior, z superior).
struct PictureGeometry {
    Vec3 right;   // from one pixel to the next one to the right
    Vec3 down;    // from one pixel to the next one down
    Vec3 centre;  // the picture's centre, ((W - 1) / 2, (H - 1) / 2)
};
PictureGeometry GeometryOf(const Volume& volume, const PixelPlane& plane, int width, int height);

// The letters of a patient direction: its nearest axis (R, L, A, P, S, I),
// then the next one when that matters too ("RA"); empty for no direction.
std::string DirectionLetters(const Vec3& patient);

struct EdgeLetters {
    std::string left, right, top, bottom;
};
EdgeLetters EdgeLettersOf(const PictureGeometry& geometry);

// The position of the picture's plane: its centre's distance along the
// normal (turned towards R, A or S), named by the patient axis when the
// normal runs along one ("z -12.5 mm").
std::string PositionText(const PictureGeometry& geometry);

// A round length (1, 2 or 5 times a power of ten mm) of at most a quarter of
// the width, and its length in whole pixels.
struct ScaleBar {
    double mm = 0;
    int pixels = 0;
};
ScaleBar ChooseScaleBar(double mmPerPixel, int width);
