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

// The structures of the phantom, as its label volume numbers them.
enum ZelPhantomStructure : unsigned char {
    ZEL_PHANTOM_AIR = 0,
    ZEL_PHANTOM_SCALP = 1,
    ZEL_PHANTOM_SKULL = 2,
    ZEL_PHANTOM_GREY_MATTER = 3,
    ZEL_PHANTOM_WHITE_MATTER = 4,
    ZEL_PHANTOM_VENTRICLE = 5,
    ZEL_PHANTOM_LESION = 6,
    ZEL_PHANTOM_VESSEL = 7,
    ZEL_PHANTOM_EYE = 8,
    ZEL_PHANTOM_LENS = 9,
    ZEL_PHANTOM_ORBITAL_FAT = 10,
    ZEL_PHANTOM_NOSE = 11,
    ZEL_PHANTOM_STRUCTURES = 12,
};

// The label volume of the phantom on the same grid: each voxel holds the
// structure that gave its value in ZelMakeHeadPhantom (noise apart, the two
// agree voxel for voxel). Null when memory cannot be had.
ZelImage<unsigned char>* ZelMakeHeadPhantomLabels(const ZelPhantomOptions& options = ZelPhantomOptions());

// A simulated PET of the phantom on the options' grid (usually coarser, as a
// PET is): relative tracer uptake per structure (grey matter 100, white
// matter 30, lesions 400, ...), each voxel the mean over 64 points inside it.
// The same millimetre field of view as the phantom when the larger extent
// is the same. Null when memory cannot be had.
ZelImage<short>* ZelMakeHeadPhantomUptake(const ZelPhantomOptions& options);

// Centre line of the phantom's vessel at height z (voxel units), in voxel
// units, for tests and demos that follow it.
void ZelPhantomVesselCentre(const ZelPhantomOptions& options, float z, float& x, float& y);

// Points along the vessel's centre line inside the skull, head end first,
// in voxel units: a path to follow the vessel with a curved reformation.
std::vector<Zel3DVector<float>> ZelPhantomVesselPath(const ZelPhantomOptions& options, int points = 12);
