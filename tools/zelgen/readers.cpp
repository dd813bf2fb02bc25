// The reading stage's options, picking the reader for an input, raw voxel
// files (size, type and spacing from the options, stored the DICOM way) and
// the built-in phantom.
#include "readers.h"

#include <sys/stat.h>

#include <algorithm>
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
    explicit PhantomReader(const InputOptions& input) : m_part(input.phantomPart), m_frame(input.volumeIndex)
    {
        if (input.haveSpacing) {
            m_scan.spacingX = static_cast<float>(input.spacing[0]);
            m_scan.spacingY = static_cast<float>(input.spacing[1]);
            m_scan.spacingZ = static_cast<float>(input.spacing[2]);
        }
        m_options = m_scan;
        if (m_part == PhantomPart::Uptake) {
            // The scan's field of view in voxels of 2.8 mm, as a PET has them.
            const float pet = 2.8f;
            m_options.sizeX = std::max(1, static_cast<int>(std::lround(m_scan.sizeX * m_scan.spacingX / pet)));
            m_options.sizeY = std::max(1, static_cast<int>(std::lround(m_scan.sizeY * m_scan.spacingY / pet)));
            m_options.sizeZ = std::max(1, static_cast<int>(std::lround(m_scan.sizeZ * m_scan.spacingZ / pet)));
            m_options.spacingX = m_options.spacingY = m_options.spacingZ = pet;
        }
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
        const bool labels = m_part == PhantomPart::Labels, pet = m_part == PhantomPart::Uptake;
        volume.source = labels ? "built-in phantom labels" : pet ? "built-in phantom PET" : "built-in phantom";
        volume.format = labels ? "built-in head phantom, its structures"
                        : pet  ? "built-in head phantom, simulated PET"
                               : "built-in head phantom";
        volume.fileType = labels ? "uint8" : "int16";
        volume.storage = volume.fileType + " values held exactly";
        TransformCandidate t = GridTransform(m_options);
        // Every part is centred where the scan is.
        const TransformCandidate scan = GridTransform(m_scan);
        const int scanSize[3] = {m_scan.sizeX, m_scan.sizeY, m_scan.sizeZ};
        for (int a = 0; a < 3; ++a)
            t.m[a][3] = 0.5 * (scan.m[a][a] * (scanSize[a] - 1) - t.m[a][a] * (volume.size[a] - 1));
        return SetTransform(volume, {t}, nullptr, error);
    }

    bool ReadVoxels(Volume& volume, int alignment, std::string& error) override
    {
        ZelPhantomOptions options = m_options;
        options.alignment = alignment;
        if (m_part == PhantomPart::Labels) {
            // The volume model holds 16-bit values; labels are copied in as
            // they are.
            const std::unique_ptr<ZelImage<unsigned char>> labels(ZelMakeHeadPhantomLabels(options));
            auto image = std::make_unique<ZelImage<short>>();
            if (labels && image->Allocate(alignment, options.sizeX, options.sizeY, options.sizeZ) == 0) {
                std::copy(labels->GetDataPtr(), labels->GetDataPtr() + labels->GetElementCount(), image->GetDataPtr());
                image->SetImageScale(labels->GetImageScale());
                volume.image = std::move(image);
            }
        } else {
            volume.image.reset(m_part == PhantomPart::Uptake ? ZelMakeHeadPhantomUptake(options)
                                                             : ZelMakeHeadPhantom(options));
        }
        if (volume.image) return true;
        error = "not enough memory for the phantom";
        return false;
    }

private:
    static TransformCandidate GridTransform(const ZelPhantomOptions& o)
    {
        const double spacing[3] = {o.spacingX, o.spacingY, o.spacingZ};
        return DicomOrderTransform("built in (DICOM order)", spacing);
    }

    PhantomPart m_part;
    ZelPhantomOptions m_scan;     // the scan's grid
    ZelPhantomOptions m_options;  // this part's grid
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
