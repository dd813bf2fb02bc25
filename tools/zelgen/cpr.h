// `zelgen cpr`: curved planar reformations along a path the user gives as a
// text file. A plane choice of its own (planes_cpr.cpp) between the usual
// reading, picture and output stages.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "options.h"
#include "orientation.h"
#include "planes.h"
#include "volume.h"

enum class CprMode { Straight, Stretch, Fixed };

struct CprOptions {
    InputOptions input;
    std::string pathFile;  // empty: the phantom's vessel (with --phantom)
    bool pathInMm = false;
    CprMode mode = CprMode::Straight;
    bool haveDirection = false;
    double direction[3] = {-1, 0, 0};  // patient axes; default: left (down, inferior, with --horizontal)
    double rotateDegrees = 0;
    bool uniform = false;
    double widthMm = 80;
    bool horizontal = false;
    double zoom = 1;
    int width = 0;  // --size; 0 = from the path's length
    int height = 0;
    bool nearest = false;
    bool haveBackground = false;
    double background = 0;
    double slabMm = 0;
    SlabMode slabMode = SlabMode::Average;
    PictureOptions picture;
    OutputOptions output;
    RunOptions run;
};

bool ParseCprOptions(const std::vector<std::string>& args, CprOptions& options, bool& helpAsked, std::string& error);
std::string CprUsage();

// The points of a path file: one point per line as three numbers separated by
// spaces, tabs or commas; '#' starts a comment, blank lines are skipped.
bool ReadPathFile(const std::string& file, std::vector<Vec3>& points, std::vector<int>& lines, std::string& error);

// Plans the reformation: the path in voxel indices (read from the file, or
// the phantom's vessel), checked to lie in the volume, and the picture's
// geometry. Uniformalize runs here when asked, with a progress bar.
std::unique_ptr<PlaneChoice> MakeCprPlane(const Volume& volume, const CprOptions& options, std::string& error);
