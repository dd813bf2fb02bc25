// The plane of a reslice: where an output image lies in the volume. Every
// generator describes its plane with one of these (the MPR generator from its
// plane, rotation and flips, the oblique generator from its matrix), and both
// the sampling walks and the coordinate mappings read it, so that a mapped
// point and the pixel that shows it always agree. Conventions: see
// ZelImageGeneratorBase.h.
#pragma once

#include <cstdint>

#include "Zel2DVector.h"
#include "Zel3DVector.h"
#include "ZelImageBase.h"
#include "generators/voxel_space.h"

// Real is the precision a generator computes its geometry in (double for the
// MPR generator, float for the oblique one); its roundings are part of the
// generator's output, so the frame keeps them.
template <class Real>
struct ZelPlaneFrame {
    // Directions in normalised voxel space.
    Real right[3];   // display x
    Real down[3];    // display y
    Real normal[3];  // slab direction
    Real s[3];       // normalised spacing: spacing / finest spacing
    Real zoom;       // output pixels per normalised voxel
    Real centre[3];  // voxel position at the output's centre

    // The walk of one output, in voxels: the position of display pixel
    // (0, 0) (of a slab's first plane) and the steps per display pixel along
    // x and y and per slab step. The generator's set-up fills these; the MPR
    // and the oblique generator each keep the order of their own arithmetic.
    Real start[3];
    Real stepX[3];
    Real stepY[3];
    Real stepNormal[3];

    // Voxel position under a display position of a width x height output
    // (no range test).
    Zel3DVector<float> DisplayToVoxel(int width, int height, const Zel2DVector<float>& display) const;
    // Display position of a voxel position; its component along the normal
    // drops out.
    Zel2DVector<float> VoxelToDisplay(int width, int height, const Zel3DVector<float>& voxel) const;
};

// The walk of a frame in 17.15 fixed point, each value truncated toward zero:
// what the walking kernels read. Fixed is int for the kernels that keep their
// positions in 32 bits.
template <class Fixed>
struct ZelFixedFrame {
    Fixed start[3];
    Fixed stepX[3];
    Fixed stepY[3];
    Fixed stepNormal[3];

    // False when a value does not fit Fixed (see ZelToFixed): the plane then
    // lies far outside any volume.
    template <class Real>
    bool Set(const ZelPlaneFrame<Real>& frame)
    {
        for (int a = 0; a < 3; ++a) {
            if (!ZelToFixed(frame.start[a], start[a]) || !ZelToFixed(frame.stepX[a], stepX[a]) ||
                !ZelToFixed(frame.stepY[a], stepY[a]) || !ZelToFixed(frame.stepNormal[a], stepNormal[a]))
                return false;
        }
        return true;
    }

    // Position of column 0 of a row.
    void RowStart(int row, std::int64_t p[3]) const
    {
        for (int a = 0; a < 3; ++a)
            p[a] = static_cast<std::int64_t>(start[a]) + static_cast<std::int64_t>(row) * stepY[a];
    }
};

// Smallest spacing of a volume and the normalised spacing s = spacing /
// finest on each axis; false (with both still written) when a spacing is
// not a positive finite number.
bool ZelNormalisedSpacing(const ZelImageBase& volume, float s[3], float& finest);

// 0 <= voxel <= size - 1 on every axis (NaN is outside).
bool ZelInsideVolume(const Zel3DVector<float>& voxel, const ZelImageBase& volume);
// 0 <= display <= (width - 1, height - 1).
bool ZelInsideDisplay(const Zel2DVector<float>& display, int width, int height);

extern template struct ZelPlaneFrame<float>;
extern template struct ZelPlaneFrame<double>;
