// Raw voxel files: no header, the size, type and spacing come from the
// options, and the voxels are taken as stored the DICOM way.
#include <sys/stat.h>

#include "readers.h"
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

}  // namespace

std::unique_ptr<VolumeReader> MakeRawReader(const InputOptions& input)
{
    return std::make_unique<RawReader>(input);
}
