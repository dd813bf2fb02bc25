// The output stage: the pictures of a plane choice, through the picture
// stage, to PNG files: one picture, a numbered series, or one mosaic of all
// of them. Whatever fails, no picture is left behind.
#pragma once

#include <string>

#include "ZelImageBuffer.h"
#include "options.h"
#include "picture.h"
#include "planes.h"

// What every picture of a run needs: the voxels, the planes, the recipe.
struct RenderJob {
    ZelImageBase* voxels;
    const PlaneChoice& planes;
    const PictureRecipe& recipe;
};

// Picture `index` of the job.
bool RenderPicture(const RenderJob& job, int index, ZelImageBuffer& out, std::string& error);

// Writes the pictures: a mosaic when the options ask for one, a numbered
// series when `numbered`, else the one picture. `summary` says what was
// written, for the closing note.
bool WritePictures(const RenderJob& job, const OutputOptions& output, const RunOptions& run, bool numbered,
                   std::string& summary, std::string& error);

// File name of picture number `index` of a series: a printf pattern ("%03d")
// in `output` is filled in, otherwise "_NNNN" goes before the extension.
bool SeriesFileName(const std::string& output, int index, std::string& name, std::string& error);
