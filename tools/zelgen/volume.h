// A loaded volume with what zelgen knows about it beyond the voxels: the
// value scaling, the patient orientation and where it came from.
#pragma once

#include <memory>
#include <string>

#include "ZelImage.h"
#include "options.h"

struct Volume {
    std::unique_ptr<ZelImageBase> image;  // type 1, 3 or 4, linear or tiled
    std::string source;                   // file name, or "built-in phantom"
    std::string format;                   // "NIfTI-1", "NIfTI-2 (gzip)", "raw", ...
    std::string fileType;                 // voxel type in the file: "int16", "float32", ...
    // Real value of a stored voxel v: v * slope + intercept.
    double slope = 1.0;
    double intercept = 0.0;
    // Voxel index (i, j, k) to patient millimetres on the NIfTI axes (x right,
    // y anterior, z superior): p = M * (i, j, k, 1).
    double ijkToPatient[3][4] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}};
    std::string orientationSource;  // "sform", "qform", "spacing only", "assumed (DICOM order)"
    long long frames = 1;           // volumes in the file; the first is used

    Zel3DVector<int> Size() const { return image->GetImageSize(); }
    Zel3DVector<float> Spacing() const { return image->GetImageScale(); }
};

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

// Sets the transform of a volume stored the DICOM way (x towards the
// patient's left, y towards the back, z towards the head), with the given
// spacing and the first voxel at the origin.
void SetDicomOrder(Volume& volume, const double spacing[3]);

// Statistics of the real values, from a sample of at most a few million
// voxels (every voxel of small volumes).
struct ValueStats {
    double min = 0;
    double max = 0;
    double low = 0;             // 0.5 % quantile, background at the minimum excluded
    double high = 0;            // 99.5 % quantile
    double airFraction = 0;     // share of voxels at or below -900 (real units)
    double brainFraction = 0;   // share of the non-air voxels in 0..80
    double tissueFraction = 0;  // share of the non-air voxels in -200..200
};
ValueStats ComputeValueStats(const Volume& volume);

// Loads the volume the options ask for. False with a message on failure.
bool LoadVolume(const InputOptions& input, Volume& volume, std::string& error, bool quiet);

// A signed 16-bit copy of an unsigned volume with the same real values
// (unsigned 16-bit values move down by 32768, the intercept up).
bool PromoteToShort(const Volume& volume, Volume& promoted);

// Stored value nearest to a real value, clamped to the voxel type.
int RealToStored(const Volume& volume, double real);
