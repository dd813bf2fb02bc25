// The volume model every reader fills and every later stage reads: signed
// 16-bit voxels, the linear scale from stored to real values, and one
// transform from voxel indices to patient millimetres from which all
// geometry (spacing, axes, tilt) is derived.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ZelImage.h"

// Real value of a stored voxel v: v * slope + intercept.
struct ValueScale {
    double slope = 1.0;
    double intercept = 0.0;
    double ToReal(double stored) const { return stored * slope + intercept; }
    double ToStored(double real) const { return (real - intercept) / slope; }
    bool IsIdentity() const { return slope == 1.0 && intercept == 0.0; }
};

struct Volume {
    // Stored value of voxels that have no value (NaN in a float file).
    static constexpr short kNoValue = -32768;

    std::unique_ptr<ZelImage<short>> image;  // linear or tiled; null until the voxels are read
    int size[3] = {0, 0, 0};
    double spacing[3] = {1, 1, 1};  // mm: the lengths of the transform's columns
    ValueScale scale;
    bool hasNoValue = false;  // some voxels are kNoValue and mean "no value"

    // Voxel index (i, j, k) to patient millimetres on the NIfTI axes (x
    // right, y anterior, z superior): p = M * (i, j, k, 1).
    double ijkToPatient[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
    std::string geometrySource;  // "sform", "qform", "pixdim only", ...

    std::string source;    // file name, or "built-in phantom"
    std::string format;    // "NIfTI-1 (gzip)", "Analyze 7.5", "raw", ...
    std::string fileType;  // sample type in the file: "int16", "float32", ...
    std::string storage;   // how the file's values are held, for people
    bool exact = true;     // every value is held without rounding
    std::int64_t frames = 1;
    std::int64_t frame = 0;          // the frame read
    std::vector<std::string> notes;  // what a careful reader should know (pixdim disagrees, ...)

    // What the file says about showing its values (DICOM): low values white
    // (MONOCHROME1), and its own window in real units.
    bool invertDisplay = false;
    bool hasFileWindow = false;
    double fileWindowWidth = 0;
    double fileWindowCentre = 0;
    // The other volumes the input holds (the series of a DICOM directory),
    // one line each, for `info`.
    std::vector<std::string> contents;

    std::int64_t VoxelCount() const { return static_cast<std::int64_t>(size[0]) * size[1] * size[2]; }
    Zel3DVector<int> Size() const { return {size[0], size[1], size[2]}; }
};

// Sets the transform and everything derived from it. `candidates` are tried
// in order (sform, qform, pixdim): the first that is finite and
// non-degenerate is used. Its column lengths become the spacing, which must
// be positive, at least 1e-4 mm, and within a factor of 100 across axes.
// `pixdim` (or null) is what the header says about spacing, for the note when
// it disagrees.
struct TransformCandidate {
    std::string name;
    bool present = false;
    double m[3][4] = {{0}};
    std::string unusable;  // why it cannot serve, when the reader knows already
};
bool SetTransform(Volume& volume, const std::vector<TransformCandidate>& candidates, const double* pixdim,
                  std::string& error);
// A diagonal candidate from a spacing (voxel axes along x, y, z).
TransformCandidate SpacingTransform(const std::string& name, const double spacing[3]);
// The transform of a volume stored the DICOM way (x towards the patient's
// left, y towards the back, z towards the head) with the given spacing.
TransformCandidate DicomOrderTransform(const std::string& name, const double spacing[3]);

// The patient axis (0 x/right, 1 y/anterior, 2 z/superior) each voxel axis
// runs nearest to, and whether the index grows towards that axis's positive
// side. Each patient axis is taken by exactly one voxel axis.
struct AxisMap {
    int patientAxis[3];
    int sign[3];
    // Voxel axis that runs along a patient axis.
    int VoxelAxisOf(int patient) const
    {
        for (int a = 0; a < 3; ++a)
            if (patientAxis[a] == patient) return a;
        return 0;
    }
};
AxisMap MapAxes(const double ijkToPatient[3][4]);
// Three letters naming where each index axis points, e.g. "LPS" or "RAS".
std::string OrientationCode(const AxisMap& map);
// Largest angle (degrees) between a voxel axis and the patient axis it is
// shown along: how far standard planes of the voxels are from true ones.
double TiltDegrees(const double ijkToPatient[3][4]);
// Tilts below this are rounding, not an acquisition.
const double kTiltWorthMentioning = 0.5;

// Replaces the stored no-value voxels with `value` (the background of the
// pictures), so that they show as the outside of the volume does.
void FillNoValue(Volume& volume, short value);

// What the values of a volume look like, for the automatic window, the
// percentile windows and `info`: a histogram of the stored values (every
// voxel of small volumes, an even sample of large ones). Voxels without a
// value are counted apart and take no part in anything else.
struct ValueStats {
    bool any = false;  // some voxel has a value
    // Real values.
    double min = 0;
    double max = 0;
    double low = 0;             // 0.5 % quantile, background at the minimum excluded
    double high = 0;            // 99.5 % quantile
    double airFraction = 0;     // share of voxels at or below -900 (real units)
    double brainFraction = 0;   // share of the non-air voxels in 0..80
    double tissueFraction = 0;  // share of the non-air voxels in -200..200
    std::uint64_t counted = 0;  // voxels looked at that have a value
    std::uint64_t noValue = 0;  // voxels looked at that have none

    // Real value below which `percent` % of the valued voxels lie.
    double Percentile(double percent) const;

    std::vector<std::uint32_t> bins;  // per stored value + 32768
    ValueScale scale;
};

ValueStats ComputeValueStats(const Volume& volume);
