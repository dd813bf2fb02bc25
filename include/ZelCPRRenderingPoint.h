#pragma once

#include "Zel3DVector.h"
#include "ZelExport.h"

// One line of a curved planar reformation: where the line lies in the volume,
// which way and how far it steps per pixel, the local frame there, and where
// the line lies along the path. ZelCPRImageGenerator's Construct functions
// make one per image line; the generator samples the volume along them.
//
// Positions and directions are in the space of the curve the record was built
// from (the path's aspect-scaled space). The generator reads them as voxel
// index units: GenerateImage(..., rebuild = true) builds the records and
// converts them to voxel units itself (see ZelCPRImageGenerator.h).
//
// A plain record, copied member for member; the default constructor leaves it
// uninitialised, as a plain aggregate would be.
struct ZEL_API ZelCPRRenderingPoint {
    Zel3DVector<float> start;      // position of pixel 0 of the row (the generator: the line's centre)
    Zel3DVector<float> normal;     // the curve's direction at the row: the cutting surface's normal there
    Zel3DVector<float> step;       // position change from one pixel of the row to the next: rowAxis / scale
    Zel3DVector<float> rowAxis;    // unit direction along which the row runs
    Zel3DVector<float> crossAxis;  // unit direction square to the row: the slab direction
    float shift;                   // stretched rows: distance moved along the row to align it; else 0
    bool valid;                    // the row meets the path; rows off its ends are false
    bool constructed;              // true in every record the Construct functions make
    float position;                // the row's position along the path, 0..1 (also on invalid rows)
    float diameter;                // straightened rows: the path plane's diameter there; else 0
};
