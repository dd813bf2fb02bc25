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

#include <memory>
#include <string>

#include "ZelImage.h"
#include "options.h"
#include "orientation.h"
#include "volume.h"

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
}  // namespace plane_detail

std::unique_ptr<PlaneChoice> MakeMprPlanes(const Volume& volume, const PlaneOptions& options, int cells,
                                           std::string& error);
std::unique_ptr<PlaneChoice> MakeObliquePlane(const Volume& volume, const PlaneOptions& options, std::string& error);
