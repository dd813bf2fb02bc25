// Options of the reading stage: which volume, and how to read raw voxels.
#include <cmath>

#include "options.h"

namespace {

bool ParseRawType(const std::string& v, InputOptions& in, std::string& e)
{
    const SampleType types[] = {SampleType::Int8,  SampleType::Uint8,  SampleType::Int16,   SampleType::Uint16,
                                SampleType::Int32, SampleType::Uint32, SampleType::Float32, SampleType::Float64};
    for (SampleType t : types)
        if (v == SampleTypeName(t)) {
            in.rawType = t;
            in.haveRawType = true;
            return true;
        }
    return Fail(e, "--raw-type must be int8, uint8, int16, uint16, int32, uint32, float32 or float64, got '" + v + "'");
}

}  // namespace

OptionGroup InputOptionGroup(InputOptions& in)
{
    return {"input",
            {
                {"--phantom", nullptr, "the built-in head phantom instead of a file (256x256x112, 0.7x0.7x1.5 mm, HU)",
                 SetFlag(in.phantom)},
                {"--volume", "N", "which volume of a 4-D file (0 = the first, the default; info lists the count)",
                 [&in](const std::string& v, std::string& e) {
                     in.haveVolumeIndex = true;
                     return ParseInt(v, 0, 1LL << 40, in.volumeIndex, e, "--volume");
                 }},
                {"--raw-size", "X,Y,Z", "FILE holds raw voxels of this size, x fastest, little-endian",
                 [&in](const std::string& v, std::string& e) {
                     double size[3];
                     if (!ParseDoubleList(v, 3, 1, 65535, size, e, "--raw-size")) return false;
                     for (int a = 0; a < 3; ++a) {
                         if (size[a] != std::floor(size[a]))
                             return Fail(e, "--raw-size needs whole numbers, got '" + v + "'");
                         in.rawSize[a] = static_cast<int>(size[a]);
                     }
                     in.raw = true;
                     return true;
                 }},
                {"--raw-type", "T", "type of raw voxels: int8, uint8, int16, uint16, int32, uint32, float32, float64",
                 [&in](const std::string& v, std::string& e) { return ParseRawType(v, in, e); }},
                {"--raw-offset", "N", "bytes to skip at the start of a raw file (default 0)",
                 [&in](const std::string& v, std::string& e) {
                     return ParseInt(v, 0, (1LL << 40), in.rawOffset, e, "--raw-offset");
                 }},
                {"--spacing", "A,B,C", "voxel spacing in mm of a raw volume or the phantom (default 1,1,1)",
                 [&in](const std::string& v, std::string& e) {
                     if (!ParseDoubleList(v, 3, 1e-3, 1e3, in.spacing, e, "--spacing")) return false;
                     in.haveSpacing = true;
                     return true;
                 }},
            }};
}

bool CheckInputOptions(InputOptions& in, const std::string& positional, std::string& error)
{
    in.path = positional;
    if (in.phantom && !in.path.empty()) return Fail(error, "give either an input file or --phantom, not both");
    if (!in.phantom && in.path.empty()) return Fail(error, "no input: give a file or --phantom (see --help)");
    if (in.phantom && (in.raw || in.haveRawType))
        return Fail(error, "--raw-size and --raw-type do not go with --phantom");
    if (in.haveRawType && !in.raw) return Fail(error, "--raw-type needs --raw-size X,Y,Z");
    if (in.raw && !in.haveRawType) return Fail(error, "--raw-size needs --raw-type (int16, uint8, float32, ...)");
    if (in.rawOffset && !in.raw) return Fail(error, "--raw-offset is for raw volumes (with --raw-size)");
    if (in.haveSpacing && !in.raw && !in.phantom)
        return Fail(error, "--spacing is for raw volumes and the phantom (a NIfTI file has its own)");
    return true;
}
