// Which way a picture looks at the patient.
//
// A view is described by its frame: the directions of the picture's right
// and down in the generators' normalised voxel space (index units times
// spacing / finest spacing, so a rotation there is a true rotation in mm).
// The radiological frames are built from the volume's patient axes; the
// MPR generator is then asked for the plane, rotation and flips that give
// the frame wanted.
#pragma once

#include "options.h"
#include "volume.h"

struct Vec3 {
    double v[3];
    double operator[](int i) const { return v[i]; }
    double& operator[](int i) { return v[i]; }
};
Vec3 operator+(const Vec3& a, const Vec3& b);
Vec3 operator-(const Vec3& a, const Vec3& b);
Vec3 operator*(double s, const Vec3& a);
double Dot(const Vec3& a, const Vec3& b);
Vec3 Cross(const Vec3& a, const Vec3& b);
Vec3 Normalised(const Vec3& a);

struct Frame {
    Vec3 right;
    Vec3 down;
    Vec3 Normal() const { return Cross(right, down); }
};

// MPR plane (0 normal x, 1 normal y, 2 normal z) that shows a standard plane
// of this volume.
int MprPlaneOf(PlaneKind kind, const AxisMap& map);

// Right and down of a standard plane, in patient axes (x right, y anterior,
// z superior): axial shows the patient's left on the right and anterior at
// the top; coronal the left on the right and the head at the top; sagittal
// anterior on the left and the head at the top.
Frame PatientFrame(PlaneKind kind);

// The radiological frame of a standard plane snapped to the volume's axes
// (what an axis-aligned MPR picture can show).
Frame SnappedFrame(PlaneKind kind, const AxisMap& map);

// A patient-space direction in voxel index units (the inverse of the
// transform's 3x3 part; zero for a singular transform).
Vec3 PatientToIndex(const Volume& volume, const Vec3& patient);
// A patient-space direction in normalised voxel space (unit length).
Vec3 PatientToNormalised(const Volume& volume, const Vec3& patient);
// A voxel position (index units) in patient millimetres, and a step
// between voxel positions as a patient-space step.
Vec3 IndexToPatient(const Volume& volume, const Vec3& index);
Vec3 IndexStepToPatient(const Volume& volume, const Vec3& step);

// The picture turned clockwise by `degrees` on screen, then mirrored.
Frame TurnAndFlip(const Frame& frame, double degrees, bool flipH, bool flipV);

// Frame of the MPR generator for the given parameter values, as the
// generator itself reports it (DisplayToVoxel).
Frame MprFrame(int plane, int rotation, double angle, bool flipH, bool flipV);

struct MprOrientation {
    int rotation = 0;  // 0..3 right angles, 4 free
    double angle = 0;  // radians, with rotation 4
    bool flipH = false;
    bool flipV = false;
    double residual = 0;  // how far the frame found is from the one asked for
};
// Rotation and flips of the MPR generator that give `target` in `plane`;
// exact right angles whenever possible.
MprOrientation SolveMprOrientation(int plane, const Frame& target);

// Frame of an oblique view: the standard plane tilted by `tilt` degrees
// (about the picture's horizontal, then vertical axis), or the plane with
// the given patient normal keeping the nearest standard plane's up; in
// normalised voxel space and orthonormal.
Frame ObliqueFrame(const Volume& volume, PlaneKind kind, const double tilt[2]);
Frame NormalFrame(const Volume& volume, const double normal[3]);
