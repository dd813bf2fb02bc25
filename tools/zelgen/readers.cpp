// The reading stage's options, picking the reader for an input, raw voxel
// files (size, type and spacing from the options, stored the DICOM way) and
// the built-in phantom.
#include "readers.h"

#include <sys/stat.h>

#include <cmath>
#include <cstring>

#include "byte_stream.h"
#include "dicom.h"
#include "phantom.h"
#include "voxel_import.h"

namespace {

class RawReader : public VolumeReader {
public:
    explicit RawReader(const InputOptions& input) : m_input(input) {}

    bool ReadHeader(Volume& volume, std::string& error) override
    {
        if (m_input.volumeIndex != 0) {
            error = "--volume: a raw file holds one volume";
            return false;
        }
        for (int a = 0; a < 3; ++a) {
            volume.size[a] = m_input.rawSize[a];
            m_layout.size[a] = m_input.rawSize[a];
        }
        m_layout.type = m_input.rawType;
        volume.source = m_input.path;
        volume.format = "raw";
        volume.fileType = SampleTypeName(m_input.rawType);
        return SetTransform(volume, {DicomOrderTransform("assumed (DICOM order)", m_input.spacing)}, nullptr, error);
    }

    bool ReadVoxels(Volume& volume, int alignment, std::string& error) override
    {
        const std::int64_t expected = m_input.rawOffset + m_layout.FrameBytes();
        // A plain file's length is known at once; compressed data is counted.
        ByteStream probe;
        if (!probe.Open(m_input.path, error)) return false;
        struct stat st;
        if (!probe.IsGzip() && stat(m_input.path.c_str(), &st) == 0 &&
            !SizeMatches(static_cast<std::int64_t>(st.st_size), expected, error))
            return false;
        std::int64_t total = 0;
        if (!ImportVolume(m_input.path, m_input.rawOffset, m_layout, 1.0, 0.0, alignment, volume, error, &total))
            return false;
        return SizeMatches(total, expected, error);
    }

private:
    bool SizeMatches(std::int64_t bytes, std::int64_t expected, std::string& error) const
    {
        if (bytes == expected) return true;
        const int sample = SampleBytes(m_input.rawType);
        error = "'" + m_input.path + "' holds " + std::to_string(bytes) + " bytes, but " +
                std::to_string(m_input.rawSize[0]) + "x" + std::to_string(m_input.rawSize[1]) + "x" +
                std::to_string(m_input.rawSize[2]) + " voxels of " + std::to_string(sample) + " byte" +
                (sample > 1 ? "s" : "") + (m_input.rawOffset ? " after the offset" : "") + " need " +
                std::to_string(expected);
        return false;
    }

    InputOptions m_input;
    SampleLayout m_layout;
};

class PhantomReader : public VolumeReader {
public:
    explicit PhantomReader(const InputOptions& input)
    {
        if (input.haveSpacing) {
            m_options.spacingX = static_cast<float>(input.spacing[0]);
            m_options.spacingY = static_cast<float>(input.spacing[1]);
            m_options.spacingZ = static_cast<float>(input.spacing[2]);
        }
        m_frame = input.volumeIndex;
    }

    bool ReadHeader(Volume& volume, std::string& error) override
    {
        if (m_frame != 0) {
            error = "--volume: the phantom is one volume";
            return false;
        }
        volume.size[0] = m_options.sizeX;
        volume.size[1] = m_options.sizeY;
        volume.size[2] = m_options.sizeZ;
        volume.source = "built-in phantom";
        volume.format = "built-in head phantom";
        volume.fileType = "int16";
        const double spacing[3] = {m_options.spacingX, m_options.spacingY, m_options.spacingZ};
        return SetTransform(volume, {DicomOrderTransform("built in (DICOM order)", spacing)}, nullptr, error);
    }

    bool ReadVoxels(Volume& volume, int alignment, std::string& error) override
    {
        ZelPhantomOptions options = m_options;
        options.alignment = alignment;
        volume.image.reset(ZelMakeHeadPhantom(options));
        if (volume.image) return true;
        error = "not enough memory for the phantom";
        return false;
    }

private:
    ZelPhantomOptions m_options;
    long long m_frame = 0;
};

bool EndsWith(const std::string& text, const char* tail)
{
    const std::size_t n = std::strlen(tail);
    return text.size() >= n && text.compare(text.size() - n, n, tail) == 0;
}

}  // namespace

std::unique_ptr<VolumeReader> MakeRawReader(const InputOptions& input)
{
    return std::make_unique<RawReader>(input);
}

std::unique_ptr<VolumeReader> MakePhantomReader(const InputOptions& input)
{
    return std::make_unique<PhantomReader>(input);
}

std::unique_ptr<VolumeReader> OpenVolumeReader(const InputOptions& input, std::string& error)
{
    if (input.phantom) return MakePhantomReader(input);
    if (input.raw) return MakeRawReader(input);
    struct stat st;
    if (stat(input.path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return MakeDicomReader(input);
    // By content: the first bytes after decompression.
    ByteStream stream;
    if (!stream.Open(input.path, error)) return nullptr;
    unsigned char head[540] = {0};
    const long long got = stream.Read(head, sizeof(head), error);
    if (got < 0) return nullptr;
    if (!stream.IsGzip() && LooksLikeDicom(head, static_cast<std::size_t>(got))) return MakeDicomReader(input);
    const bool img = EndsWith(input.path, ".img") || EndsWith(input.path, ".img.gz");
    if (LooksLikeNiftiHeader(head, static_cast<std::size_t>(got)) || img)
        return MakeNiftiReader(input.path, input.volumeIndex);
    if (EndsWith(input.path, ".raw") || EndsWith(input.path, ".raw.gz"))
        error = "'" + input.path +
                "' is raw voxels, which need their size and type: give --raw-size X,Y,Z and --raw-type T (and "
                "--spacing, --raw-offset as needed; see --help)";
    else
        error = "'" + input.path +
                "' is not a NIfTI file nor any other volume zelgen reads (DICOM files or directories, Analyze or NIfTI "
                ".hdr/.img pairs, or raw voxels with --raw-size and --raw-type)";
    return nullptr;
}

bool LoadVolume(const InputOptions& input, Volume& volume, std::string& error)
{
    std::unique_ptr<VolumeReader> reader = OpenVolumeReader(input, error);
    return reader && reader->ReadHeader(volume, error) && reader->ReadVoxels(volume, ZEL_ALIGNMENT_LINEAR, error);
}

// The options of this stage.
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
                {"--series", "N|UID", "which series of a DICOM directory (info lists them; default: the\nlargest)",
                 [&in](const std::string& v, std::string& e) {
                     if (v.empty()) return Fail(e, "--series needs a number or a series UID");
                     in.series = v;
                     return true;
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
    if (!in.series.empty() && (in.raw || in.phantom))
        return Fail(error, "--series picks a series of a DICOM input, not of a raw volume or the phantom");
    if (in.haveSpacing && !in.raw && !in.phantom)
        return Fail(error, "--spacing is for raw volumes and the phantom (a NIfTI file has its own)");
    return true;
}
