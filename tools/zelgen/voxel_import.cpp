#include "voxel_import.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <vector>

#include <unistd.h>

#include "ZelVoxelIndex.h"

namespace {

struct SampleInfo {
    SampleType type;
    const char* name;
    int bytes;
};
const SampleInfo kSamples[] = {
    {SampleType::Int8, "int8", 1},       {SampleType::Uint8, "uint8", 1},   {SampleType::Int16, "int16", 2},
    {SampleType::Uint16, "uint16", 2},   {SampleType::Int32, "int32", 4},   {SampleType::Uint32, "uint32", 4},
    {SampleType::Int64, "int64", 8},     {SampleType::Uint64, "uint64", 8}, {SampleType::Float32, "float32", 4},
    {SampleType::Float64, "float64", 8},
};

const SampleInfo& Info(SampleType type)
{
    for (const SampleInfo& s : kSamples)
        if (s.type == type) return s;
    return kSamples[0];
}

template <class T>
T Load(const unsigned char* p, bool swap)
{
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, p, sizeof(T));
    if (swap) std::reverse(bytes, bytes + sizeof(T));
    T value;
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

// Calls f(Load<T>) with the sample type's C++ type: one switch per chunk.
template <class F>
void WithSampleType(SampleType type, F&& f)
{
    switch (type) {
    case SampleType::Int8: f(std::int8_t()); break;
    case SampleType::Uint8: f(std::uint8_t()); break;
    case SampleType::Int16: f(std::int16_t()); break;
    case SampleType::Uint16: f(std::uint16_t()); break;
    case SampleType::Int32: f(std::int32_t()); break;
    case SampleType::Uint32: f(std::uint32_t()); break;
    case SampleType::Int64: f(std::int64_t()); break;
    case SampleType::Uint64: f(std::uint64_t()); break;
    case SampleType::Float32: f(float()); break;
    case SampleType::Float64: f(double()); break;
    }
}

// Whole rows per read, about a megabyte at a time.
int RowsPerChunk(const SampleLayout& layout)
{
    const std::int64_t rowBytes = static_cast<std::int64_t>(layout.size[0]) * SampleBytes(layout.type);
    return static_cast<int>(std::max<std::int64_t>(1, std::min<std::int64_t>(layout.size[1], (1 << 20) / rowBytes)));
}

// Walks the frame's rows in file order, a chunk of rows of one slice at a time.
template <class F>
bool ForEachChunk(ByteStream& stream, const SampleLayout& layout, F&& chunk, std::string& error)
{
    const int rows = RowsPerChunk(layout);
    const std::size_t rowBytes = static_cast<std::size_t>(layout.size[0]) * SampleBytes(layout.type);
    std::vector<unsigned char> bytes(rowBytes * static_cast<std::size_t>(rows));
    for (int z = 0; z < layout.size[2]; ++z)
        for (int y = 0; y < layout.size[1]; y += rows) {
            const int n = std::min(rows, layout.size[1] - y);
            if (!stream.ReadExactly(bytes.data(), rowBytes * static_cast<std::size_t>(n), "the voxel data", error))
                return false;
            chunk(bytes.data(), y, z, n);
        }
    return true;
}

}  // namespace

int SampleBytes(SampleType type)
{
    return Info(type).bytes;
}

const char* SampleTypeName(SampleType type)
{
    return Info(type).name;
}

bool NeedsSurvey(SampleType type)
{
    return type != SampleType::Int8 && type != SampleType::Uint8 && type != SampleType::Int16;
}

SampleMapping ChooseMapping(SampleType type, const SampleSurvey& survey)
{
    SampleMapping m;
    m.noValue = survey.nonFinite;
    if (!NeedsSurvey(type) || !survey.anyFinite) return m;
    // The lowest stored value is kept for "no value" when some samples have none.
    const double lowest = survey.nonFinite ? -32767.0 : -32768.0;
    const double span = 32767.0 - lowest;
    if (survey.integral && survey.hi - survey.lo <= span) {
        // Whole numbers that fit: held exactly, shifted only when they must be.
        if (survey.lo < lowest || survey.hi > 32767.0) m.offset = survey.lo - lowest;
        return m;
    }
    m.exact = false;
    m.step = survey.hi > survey.lo ? (survey.hi - survey.lo) / span : 1.0;
    m.offset = survey.lo - lowest * m.step;
    return m;
}

void ConvertSamples(const unsigned char* bytes, const SampleLayout& layout, std::size_t count,
                    const SampleMapping& mapping, short* out)
{
    if (layout.type == SampleType::Int16 && mapping.offset == 0 && mapping.step == 1) {
        std::memcpy(out, bytes, count * sizeof(short));
        if (layout.swap)
            for (std::size_t n = 0; n < count; ++n)
                out[n] = static_cast<short>(static_cast<std::uint16_t>((static_cast<std::uint16_t>(out[n]) << 8) |
                                                                       (static_cast<std::uint16_t>(out[n]) >> 8)));
        return;
    }
    const double lowest = mapping.noValue ? -32767.0 : -32768.0;
    const double inverse = 1.0 / mapping.step;
    WithSampleType(layout.type, [&](auto sample) {
        using T = decltype(sample);
        for (std::size_t n = 0; n < count; ++n) {
            const double v = static_cast<double>(Load<T>(bytes + n * sizeof(T), layout.swap));
            if (!std::isfinite(v)) {
                out[n] = Volume::kNoValue;
                continue;
            }
            const double s = mapping.exact ? v - mapping.offset : std::round((v - mapping.offset) * inverse);
            out[n] = static_cast<short>(std::min(32767.0, std::max(lowest, s)));
        }
    });
}

bool SurveyFrame(ByteStream& stream, const SampleLayout& layout, SampleSurvey& survey, std::string& error)
{
    double lo = std::numeric_limits<double>::infinity(), hi = -lo;
    bool integral = true, nonFinite = false;
    const bool ok = ForEachChunk(
        stream, layout,
        [&](const unsigned char* bytes, int, int, int rows) {
            const std::size_t count = static_cast<std::size_t>(layout.size[0]) * static_cast<std::size_t>(rows);
            WithSampleType(layout.type, [&](auto sample) {
                using T = decltype(sample);
                for (std::size_t n = 0; n < count; ++n) {
                    const double v = static_cast<double>(Load<T>(bytes + n * sizeof(T), layout.swap));
                    if (!std::isfinite(v)) {
                        nonFinite = true;
                        continue;
                    }
                    lo = std::min(lo, v);
                    hi = std::max(hi, v);
                    if (integral && v != std::floor(v)) integral = false;
                }
            });
        },
        error);
    survey.anyFinite = lo <= hi;
    survey.lo = survey.anyFinite ? lo : 0;
    survey.hi = survey.anyFinite ? hi : 0;
    survey.integral = integral;
    survey.nonFinite = nonFinite;
    return ok;
}

bool ImportFrame(ByteStream& stream, const SampleLayout& layout, const SampleMapping& mapping, ZelImage<short>& image,
                 std::string& error)
{
    const int width = layout.size[0];
    std::vector<short> values(static_cast<std::size_t>(width) * static_cast<std::size_t>(RowsPerChunk(layout)));
    return ForEachChunk(
        stream, layout,
        [&](const unsigned char* bytes, int y0, int z, int rows) {
            ConvertSamples(bytes, layout, static_cast<std::size_t>(width) * static_cast<std::size_t>(rows), mapping,
                           values.data());
            for (int r = 0; r < rows; ++r)
                PutRow(image, y0 + r, z, values.data() + static_cast<std::size_t>(r) * static_cast<std::size_t>(width));
        },
        error);
}

bool ImportVolume(const std::string& path, std::int64_t frameStart, const SampleLayout& layout, double fileSlope,
                  double fileIntercept, int alignment, Volume& volume, std::string& error, std::int64_t* dataBytes)
{
    SampleSurvey survey;
    {
        // Plain data is known to be short before anything is read.
        ByteStream probe;
        std::int64_t length = 0;
        if (!probe.Open(path, error)) return false;
        if (!probe.IsGzip() && probe.Finish(error, &length) && length < frameStart + layout.FrameBytes()) {
            error = "'" + path + "': file is truncated: the voxels need " +
                    std::to_string(frameStart + layout.FrameBytes()) + " bytes, the file holds " +
                    std::to_string(length);
            return false;
        }
    }
    if (NeedsSurvey(layout.type)) {
        // The first pass reads the whole file, so damage is found here.
        ByteStream stream;
        if (!stream.Open(path, error) || !stream.Skip(frameStart, "the data offset", error) ||
            !SurveyFrame(stream, layout, survey, error) || !stream.Finish(error, dataBytes))
            return false;
    }
    const SampleMapping mapping = ChooseMapping(layout.type, survey);
    if (!CheckVolumeMemory(layout.size, error)) return false;
    auto image = std::make_unique<ZelImage<short>>();
    if (image->Allocate(alignment, layout.size[0], layout.size[1], layout.size[2]) != 0) {
        error = "not enough memory for the volume (" + std::to_string(volume.VoxelCount() * 2 / 1048576) + " MB)";
        return false;
    }
    ByteStream stream;
    if (!stream.Open(path, error) || !stream.Skip(frameStart, "the data offset", error) ||
        !ImportFrame(stream, layout, mapping, *image, error))
        return false;
    if (!NeedsSurvey(layout.type) && !stream.Finish(error, dataBytes)) return false;
    image->SetImageScale({static_cast<float>(volume.spacing[0]), static_cast<float>(volume.spacing[1]),
                          static_cast<float>(volume.spacing[2])});
    volume.image = std::move(image);
    SetValueScale(volume, SampleTypeName(layout.type), mapping, fileSlope, fileIntercept);
    return true;
}

void PutRow(ZelImage<short>& image, int y, int z, const short* row)
{
    const ZelVoxelAddressing at(image);
    const int width = image.GetImageSize().x;
    // A tiled row is contiguous for 16 voxels at a time.
    const int run = image.IsTiled() ? 16 : width;
    short* data = image.GetDataPtr();
    for (int x = 0; x < width; x += run)
        std::memcpy(data + at(x, y, z), row + x, static_cast<std::size_t>(std::min(run, width - x)) * sizeof(short));
}

namespace {

std::int64_t g_memoryLimit = 0;  // 0: the machine's memory

}  // namespace

void SetVolumeMemoryLimit(std::int64_t bytes)
{
    g_memoryLimit = bytes;
}

bool CheckVolumeMemory(const int size[3], std::string& error)
{
    std::int64_t limit = g_memoryLimit;
    if (limit <= 0) {
        const long pages = sysconf(_SC_PHYS_PAGES), page = sysconf(_SC_PAGESIZE);
        limit = pages > 0 && page > 0 ? static_cast<std::int64_t>(pages) * page : std::int64_t(1) << 40;
    }
    // Tiled volumes round every axis up to 16.
    double bytes = 2;
    for (int a = 0; a < 3; ++a) bytes *= (std::max(size[a], 0) + 15) / 16 * 16.0;
    if (bytes <= static_cast<double>(limit)) return true;
    char text[200];
    std::snprintf(text, sizeof(text),
                  "the volume (%d x %d x %d voxels) needs %.3g GB, more than the %.3g GB of memory this machine has",
                  size[0], size[1], size[2], bytes / 1e9, static_cast<double>(limit) / 1e9);
    error = text;
    return false;
}

void SetValueScale(Volume& volume, const char* typeName, const SampleMapping& mapping, double fileSlope,
                   double fileIntercept)
{
    volume.hasNoValue = mapping.noValue;
    volume.exact = mapping.exact;
    volume.scale.slope = mapping.step * fileSlope;
    volume.scale.intercept = mapping.offset * fileSlope + fileIntercept;

    char text[200];
    if (mapping.exact && mapping.offset == 0)
        std::snprintf(text, sizeof(text), "%s values held exactly", typeName);
    else if (mapping.exact)
        std::snprintf(text, sizeof(text), "%s values held exactly, shifted by %.17g", typeName, mapping.offset);
    else
        std::snprintf(text, sizeof(text), "%s values %g..%g held in 65535 steps of %g", typeName,
                      volume.scale.ToReal(mapping.noValue ? -32767 : -32768), volume.scale.ToReal(32767),
                      std::fabs(volume.scale.slope));
    volume.storage = text;
    if (mapping.noValue)
        volume.storage += "; voxels without a value (NaN, infinite, outside the slices) are shown as background";
}
