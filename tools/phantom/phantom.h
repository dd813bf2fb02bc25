// A deterministic head phantom in Hounsfield units, for the demo, the tests
// and the benchmarks: no data files needed.
#pragma once

#include <vector>

#include "Zel3DVector.h"
#include "ZelImage.h"

struct ZelPhantomOptions {
    int sizeX = 256;
    int sizeY = 256;
    int sizeZ = 112;
    float spacingX = 0.7f;  // mm
    float spacingY = 0.7f;
    float spacingZ = 1.5f;
    bool noise = true;  // +-6 HU of deterministic texture
    int alignment = ZEL_ALIGNMENT_LINEAR;
};

// Head phantom filling the field of view: air (-1000), scalp (40), skull
// (cortical bone 1400 around a diploe of 700), brain (grey matter 38 around
// white matter 28), two lateral ventricles (6), four small hyperdense lesions
// (68 to 80), a contrast-filled vessel (330) that winds through the brain
// from bottom to top, and a face: eyes (12) with lenses (95) in orbital fat
// (-90), and a nose. Stored in DICOM order: x runs to the patient's left, y
// to the back, z to the head. Null when memory cannot be had; the caller owns
// the result. The same options always give the same voxels.
ZelImage<short>* ZelMakeHeadPhantom(const ZelPhantomOptions& options = ZelPhantomOptions());

// Centre line of the phantom's vessel at height z (voxel units), in voxel
// units, for tests and demos that follow it.
void ZelPhantomVesselCentre(const ZelPhantomOptions& options, float z, float& x, float& y);

// Points along the vessel's centre line inside the skull, head end first,
// in voxel units: a path to follow the vessel with a curved reformation.
std::vector<Zel3DVector<float>> ZelPhantomVesselPath(const ZelPhantomOptions& options, int points = 12);
