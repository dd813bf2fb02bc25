// Picking the reader for an input, and the built-in phantom as a reader.
#include "readers.h"

#include <cstring>

#include "byte_stream.h"
#include "phantom.h"

namespace {

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

std::unique_ptr<VolumeReader> MakePhantomReader(const InputOptions& input)
{
    return std::make_unique<PhantomReader>(input);
}

std::unique_ptr<VolumeReader> OpenVolumeReader(const InputOptions& input, std::string& error)
{
    if (input.phantom) return MakePhantomReader(input);
    if (input.raw) return MakeRawReader(input);
    // By content: the first bytes after decompression.
    ByteStream stream;
    if (!stream.Open(input.path, error)) return nullptr;
    unsigned char head[540] = {0};
    const long long got = stream.Read(head, sizeof(head), error);
    if (got < 0) return nullptr;
    const bool img = EndsWith(input.path, ".img") || EndsWith(input.path, ".img.gz");
    if (LooksLikeNiftiHeader(head, static_cast<std::size_t>(got)) || img)
        return MakeNiftiReader(input.path, input.volumeIndex);
    if (EndsWith(input.path, ".raw") || EndsWith(input.path, ".raw.gz"))
        error = "'" + input.path +
                "' is raw voxels, which need their size and type: give --raw-size X,Y,Z and --raw-type T (and "
                "--spacing, --raw-offset as needed; see --help)";
    else
        error = "'" + input.path +
                "' is not a NIfTI file nor any other volume zelgen reads (Analyze or NIfTI .hdr/.img pairs, or raw "
                "voxels with --raw-size and --raw-type)";
    return nullptr;
}

bool LoadVolume(const InputOptions& input, Volume& volume, std::string& error)
{
    std::unique_ptr<VolumeReader> reader = OpenVolumeReader(input, error);
    return reader && reader->ReadHeader(volume, error) && reader->ReadVoxels(volume, ZEL_ALIGNMENT_LINEAR, error);
}
