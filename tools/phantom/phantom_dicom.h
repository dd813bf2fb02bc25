// Writes a volume as a DICOM series with GDCM's writer, the way a scanner
// would: for the tests and the benchmark, which need series of known
// content in many forms (orientations, compressions, pixel formats, gaps,
// gantry tilt).
#pragma once

#include <string>
#include <vector>

#include "ZelImage.h"

struct ZelDicomSeriesOptions {
    std::string directory;  // made if missing
    std::string seriesUid;  // empty: a new one
    std::string modality = "CT";
    std::string description = "head phantom";
    int seriesNumber = 1;
    // Geometry, in DICOM patient axes (x to the patient's left, y to the
    // back, z to the head): pixel (i, j) of slice k lies at origin +
    // i * pixelSpacing[1] * row + j * pixelSpacing[0] * column + k * step.
    // A step off the normal is a gantry tilt.
    double row[3] = {1, 0, 0};
    double column[3] = {0, 1, 0};
    double origin[3] = {0, 0, 0};
    double pixelSpacing[2] = {1, 1};  // between rows, between columns
    double step[3] = {0, 0, 1};
    std::vector<int> skip;       // slices left out of the series
    std::string transferSyntax;  // UID; empty: explicit VR little endian
    // Pixels: stored = (value - intercept) / slope, rounded, in bitsStored
    // bits; unused high bits are filled with ones when `dirtyHighBits`.
    int bitsAllocated = 16;
    int bitsStored = 16;
    bool isSigned = true;
    double slope = 1;
    double intercept = 0;
    std::vector<double> sliceIntercepts;  // per slice, instead of `intercept`
    bool dirtyHighBits = false;
    bool monochrome1 = false;
    double windowWidth = 0;  // 0: none written
    double windowCentre = 0;
    bool multiFrame = false;    // one enhanced multi-frame file instead of a file per slice
    bool shuffleNames = false;  // file names that do not follow the slice order
};

// Writes slice k = volume slice z = k (x along the rows, y down the
// columns) of a linear volume. False with a message on failure.
bool ZelWriteDicomSeries(const ZelImage<short>& volume, const ZelDicomSeriesOptions& options, std::string& error);
