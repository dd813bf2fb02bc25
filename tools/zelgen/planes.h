// The plane-choice stage: which slices of the volume the pictures show.
//
// A PlaneChoice is planned once from the volume's description (size,
// transform; no voxels needed, so the voxels can be read in the layout it
// prefers), then generates any of its slices from the voxels, from several
// threads at once. Standard planes go through the MPR generator
// (planes_mpr.cpp), oblique and world planes through the oblique generator
// (planes_oblique.cpp); another kind of plane (a curved reformation) is one
// more subclass, and every later stage works with it unchanged.
#pragma once

#include <algorithm>
#include <memory>
#include <string>

#include "Zel2DVector.h"
#include "ZelImage.h"
#include "ZelObliqueImageGenerator.h"
#include "options.h"
#include "orientation.h"
#include "volume.h"

// The pixels of a picture in a volume: pixel (x, y) shows the voxel position
// origin + x * right + y * down (index units).
struct PixelPlane {
    Vec3 origin;
    Vec3 right;
    Vec3 down;
};

struct SlabInfo {
    double thicknessMm = 0;
    SlabMode mode = SlabMode::Average;
};

class PlaneChoice {
public:
    virtual ~PlaneChoice() = default;

    int Width() const { return m_width; }
    int Height() const { return m_height; }
    // Slices (pictures) it yields; at least one.
    virtual int Count() const = 0;
    // The number that names slice `index` in file names: its index along
    // the plane's normal.
    virtual int Number(int index) const = 0;
    // What slice `index` shows, for people ("axial slice 40, MIP slab ...").
    virtual std::string Caption(int index) const = 0;
    // The signed 16-bit slice `index` of `volume` (the voxels of the volume
    // it was planned for, in either layout). Safe to call from several
    // threads at once.
    virtual bool Generate(ZelImageBase* volume, int index, std::unique_ptr<ZelImageBase>& slice,
                          std::string& error) const = 0;
    // Whether holding the voxels tiled pays for all its slices.
    virtual bool PrefersTiled(const Volume& volume) const = 0;
    // Where the pixels of slice `index` lie in `volume` (the voxels it was
    // planned for), as the generator that makes the slice reports it: the
    // voxel position (index units) of pixel (0, 0) and the steps from one
    // pixel to the next to the right and down. The middle of a slab.
    virtual bool Locate(ZelImageBase* volume, int index, PixelPlane& plane) const = 0;
    // The slab each slice is made of; thickness 0 for thin planes.
    virtual SlabInfo Slab() const { return {}; }

    // Stored value shown outside the volume; known once the values are.
    void SetBackground(int stored) { m_background = stored; }

protected:
    int m_width = 0;
    int m_height = 0;
    int m_background = 0;
    std::string m_captionTail;  // turned, mirrored, zoomed
};

// Plans the planes the options ask for. `cells` > 0 asks for that many
// slices spread evenly through the volume (a mosaic without --slices). False
// with a message for a slice or centre outside the volume and the like.
std::unique_ptr<PlaneChoice> ChoosePlanes(const Volume& volume, const PlaneOptions& options, int cells,
                                          std::string& error);

// Shared by the plane kinds.
namespace plane_detail {
// Spacing over the finest spacing, per axis, and the finest spacing.
void NormalisedScale(const Volume& volume, double s[3], double& finest);
// The extent of the volume box along a picture axis, in normalised voxels.
double Extent(const Vec3& axis, const Volume& volume, int skipAxis);
// Picture size and zoom that fit extents (normalised voxels) into the
// picture: --size, or one pixel per finest voxel, at least 256 and at most
// 2048 pixels on the longer side.
void FitPicture(const PlaneOptions& options, double extentRight, double extentDown, int& width, int& height,
                float& zoom);
// The centre asked for, checked to lie in the volume, or the volume's centre.
bool CenterOf(const Volume& volume, const PlaneOptions& options, double center[3], std::string& error);
std::string CaptionTail(const PlaneOptions& options);
const char* PlaneName(PlaneKind kind);
const char* SlabModeName(SlabMode mode);
// A width x height oblique slice of `volume`.
bool ObliqueSlice(ZelImageBase* volume, int width, int height, const ZelObliqueImageGeneratorParam& param,
                  std::unique_ptr<ZelImageBase>& slice, std::string& error);
// A PixelPlane from a generator's DisplayToVoxel(display, voxel) over a
// width x height picture, taken at far corners so the steps keep their
// precision (the mapping is linear, off the picture too).
template <class ToVoxel>
PixelPlane LocateWith(int width, int height, ToVoxel&& toVoxel)
{
    const float far[2] = {static_cast<float>(std::max(1, width - 1)), static_cast<float>(std::max(1, height - 1))};
    const Zel2DVector<float> at[3] = {{0.0f, 0.0f}, {far[0], 0.0f}, {0.0f, far[1]}};
    Vec3 p[3];
    for (int k = 0; k < 3; ++k) {
        Zel3DVector<float> voxel{0.0f, 0.0f, 0.0f};
        toVoxel(at[k], voxel);
        p[k] = Vec3{{voxel.x, voxel.y, voxel.z}};
    }
    return {p[0], (1.0 / far[0]) * (p[1] - p[0]), (1.0 / far[1]) * (p[2] - p[0])};
}
}  // namespace plane_detail

std::unique_ptr<PlaneChoice> MakeMprPlanes(const Volume& volume, const PlaneOptions& options, int cells,
                                           std::string& error);
std::unique_ptr<PlaneChoice> MakeObliquePlane(const Volume& volume, const PlaneOptions& options, std::string& error);

// The planes of `main` (planned for `mainVolume`, whose voxels are read) cut
// through another volume of the same patient: each slice shows, pixel for
// pixel, the patient points of main's slice, found through both volumes'
// transforms (any grids, any orientations), sampled nearest or interpolated.
// Thin planes only (the middle of main's slabs). False with a message when
// the two volumes do not overlap anywhere in the patient.
std::unique_ptr<PlaneChoice> FollowPlanes(const PlaneChoice& main, const Volume& mainVolume, const Volume& other,
                                          bool nearest, const std::string& what, std::string& error);
