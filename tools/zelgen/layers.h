// The layers laid over the picture: a label volume shown in a colour per
// label (overlay.cpp), and a second scan of the patient coloured and blended
// with the picture or shown with it in a checkerboard (layers.cpp). Each is a
// PictureStep of the recipe; its volume comes through the same readers as
// the main one and is cut on the same patient plane (FollowPlanes), so the
// two grids may differ in every way.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "options.h"
#include "picture.h"
#include "planes.h"
#include "volume.h"

// Reads the volumes the options name and appends their steps to `recipe`,
// which then makes colour pictures. `volume` (its voxels read) and `planes`
// are the main ones; both must outlive the recipe. `mainInput` lends the
// phantom's grid to its labels and PET. Notes about the files read go to
// `notes`. False with a message for a file that cannot serve (unreadable,
// not labels, nowhere near the volume).
bool AddLayers(const Volume& volume, const PlaneChoice& planes, const InputOptions& mainInput,
               const LayerOptions& options, bool nearest, PictureRecipe& recipe, std::vector<std::string>& notes,
               std::string& error);

// A second volume cut on the main planes, ready to generate from.
struct Layer {
    std::unique_ptr<Volume> volume;
    std::unique_ptr<PlaneChoice> planes;
};

// The overlay of a label volume (voxels read, planes without background
// yet). False with a message for values that are not whole numbers.
bool MakeLabelOverlay(Layer layer, const OverlayOptions& options, std::unique_ptr<PictureStep>& step,
                      std::string& caption, std::string& error);
