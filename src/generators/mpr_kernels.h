// Kernels of the MPR generator. The generator checks the arguments and fills
// in a ZelMPRSliceSetup once per call; the kernels then assume valid input.
#pragma once

#include <cstddef>
#include <cstdint>

#include "generators/mpr_geometry.h"
#include "generators/voxel_space.h"

// Geometry of one call, in the units the kernels walk in.
struct ZelMPRSliceSetup {
    int width;
    int height;
    int background;
    ZelVolumeLayout layout;
    std::ptrdiff_t sliceOffset;  // element offset of the cut along the normal axis

    // Rotation 0 to 3: display x follows exactly one volume axis (colAxis)
    // and display y another (rowAxis). Positions of display pixel (0, 0) and
    // steps per display pixel are 17.15 fixed point (one voxel = 32768).
    int colAxis;
    int rowAxis;
    std::int64_t colStart;
    std::int64_t rowStart;
    std::int64_t colStep;
    std::int64_t rowStep;

    // Rotation 4: the two in-plane axes in volume order (u, then v), the
    // position of display pixel (0, 0) and the steps along display x and y.
    int uAxis;
    int vAxis;
    double u0;
    double v0;
    double uStepX;
    double vStepX;
    double uStepY;
    double vStepY;

    explicit ZelMPRSliceSetup(const ZelImageBase& volume) : layout(volume) {}
};

// Whole output set to the background value (converted to T).
template <class T>
void ZelMPRFillBackground(T* out, std::size_t count, int background);

// Nearest voxel, rotation 0 to 3: the 17.15 walk with block jumps. Pixels
// whose nearest voxel lies outside the volume show the background. False
// only when the column table cannot be allocated (nothing written then).
template <class T>
bool ZelMPRNearest(const ZelMPRSliceSetup& setup, const T* volume, T* out);

// Rotation 4 without interpolation: the voxel at (floor(u), floor(v)).
template <class T>
bool ZelMPRFreeFloor(const ZelMPRSliceSetup& setup, const T* volume, T* out);

// Rotation 4 of signed 16-bit volumes with interpolation: bilinear in
// floating point, truncated toward zero.
bool ZelMPRFreeBilinear(const ZelMPRSliceSetup& setup, const short* volume, short* out);

// Rotation 0 to 3 of signed 16-bit volumes with interpolation. Pixels whose
// position lies in [0, size - 1] on both in-plane axes are the bilinear
// blend of their four voxels with the weights (32768 - f, f) of the 15-bit
// fractions f of the walk; the exact blend is truncated toward zero. The
// SSE2 path and the scalar twin give the same bytes.
bool ZelMPRInterpolated(const ZelMPRSliceSetup& setup, const short* volume, short* out);

// Stacking weights of modes 3 (triangle) and 4 (Gaussian) for a slab of
// `count` slices, written to weights[0 .. count - 1]; other modes give 1.
void ZelMPRStackWeights(int mode, int count, int* weights);
