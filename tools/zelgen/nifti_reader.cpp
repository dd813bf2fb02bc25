// NIfTI-1 and NIfTI-2 volumes (single files and .hdr/.img pairs) and Analyze
// 7.5 pairs, plain or gzip-compressed. The header is decoded by us
// (nifti_header.cpp); the voxels are streamed through the shared import.
#include <sys/stat.h>

#include <cmath>
#include <cstdio>

#include "byte_stream.h"
#include "nifti2_io.h"
#include "readers.h"
#include "voxel_import.h"

namespace {

bool Exists(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool EndsWith(const std::string& text, const std::string& tail)
{
    return text.size() >= tail.size() && text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
}

// The other file of a .hdr/.img pair: `from` is ".hdr" or ".img".
std::string PairName(const std::string& path, const std::string& from, const std::string& to)
{
    for (const char* gz : {"", ".gz"}) {
        const std::string tail = from + gz;
        if (!EndsWith(path, tail)) continue;
        const std::string stem = path.substr(0, path.size() - tail.size());
        for (const std::string& candidate : {stem + to + gz, stem + to, stem + to + ".gz"})
            if (Exists(candidate)) return candidate;
        return stem + to;
    }
    return std::string();
}

SampleType SampleTypeOf(int datatype)
{
    switch (datatype) {
    case DT_INT8: return SampleType::Int8;
    case DT_UINT8: return SampleType::Uint8;
    case DT_INT16: return SampleType::Int16;
    case DT_UINT16: return SampleType::Uint16;
    case DT_INT32: return SampleType::Int32;
    case DT_UINT32: return SampleType::Uint32;
    case DT_INT64: return SampleType::Int64;
    case DT_UINT64: return SampleType::Uint64;
    case DT_FLOAT32: return SampleType::Float32;
    default: return SampleType::Float64;
    }
}

class NiftiReader : public VolumeReader {
public:
    NiftiReader(const std::string& path, std::int64_t frame) : m_path(path), m_frame(frame) {}

    bool ReadHeader(Volume& volume, std::string& error) override;
    bool ReadVoxels(Volume& volume, int alignment, std::string& error) override
    {
        const std::int64_t start = m_info.voxOffset + m_frame * m_layout.FrameBytes();
        return ImportVolume(m_dataPath, start, m_layout, m_slope, m_intercept, alignment, volume, error);
    }

private:
    bool Fail(std::string& error, const std::string& file, const std::string& message)
    {
        error = "'" + file + "': " + message;
        return false;
    }
    std::vector<TransformCandidate> Transforms() const;

    std::string m_path;
    std::string m_dataPath;
    std::int64_t m_frame;
    NiftiHeaderInfo m_info;
    SampleLayout m_layout;
    double m_slope = 1;
    double m_intercept = 0;
};

std::vector<TransformCandidate> NiftiReader::Transforms() const
{
    const double* p = m_info.pixdim;
    std::string badSpacing;
    for (int a = 1; a <= 3; ++a)
        if (!(std::isfinite(p[a]) && p[a] > 0)) {
            char text[160];
            std::snprintf(text, sizeof(text), "its voxel spacing (pixdim %g x %g x %g mm) is not a positive number",
                          p[1], p[2], p[3]);
            badSpacing = text;
        }
    std::vector<TransformCandidate> list;
    TransformCandidate sform;
    sform.name = "sform";
    sform.present = m_info.sformCode > 0;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) sform.m[r][c] = m_info.srow[r][c];
    list.push_back(sform);

    TransformCandidate qform;
    qform.name = "qform";
    qform.present = m_info.qformCode > 0;
    qform.unusable = badSpacing;
    if (qform.present && badSpacing.empty()) {
        const double qfac = p[0] < 0 ? -1.0 : 1.0;
        const nifti_dmat44 q =
            nifti_quatern_to_dmat44(m_info.quatern[0], m_info.quatern[1], m_info.quatern[2], m_info.qoffset[0],
                                    m_info.qoffset[1], m_info.qoffset[2], p[1], p[2], p[3], qfac);
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 4; ++c) qform.m[r][c] = q.m[r][c];
    }
    list.push_back(qform);

    const double spacing[3] = {p[1], p[2], p[3]};
    TransformCandidate plain = SpacingTransform(
        m_info.version == 0 ? "pixdim (Analyze: no orientation)" : "pixdim (no sform or qform)", spacing);
    plain.unusable = badSpacing;
    list.push_back(plain);
    return list;
}

bool NiftiReader::ReadHeader(Volume& volume, std::string& error)
{
    // An .img named on the command line stands for its pair.
    std::string headerPath = m_path;
    if (EndsWith(m_path, ".img") || EndsWith(m_path, ".img.gz")) {
        headerPath = PairName(m_path, ".img", ".hdr");
        if (!Exists(headerPath))
            return Fail(error, m_path,
                        "an .img file needs its header '" + headerPath + "' (or give raw options, see --help)");
    }
    ByteStream stream;
    if (!stream.Open(headerPath, error)) return false;
    unsigned char header[540] = {0};
    const long long got = stream.Read(header, sizeof(header), error);
    if (got < 0) return false;
    std::string why;
    if (!CheckNiftiHeaderBytes(header, static_cast<std::size_t>(got), -1, m_info, why))
        return Fail(error, headerPath, why);
    m_dataPath = headerPath;
    if (m_info.pair) {
        m_dataPath = PairName(headerPath, ".hdr", ".img");
        if (m_dataPath.empty() || !Exists(m_dataPath))
            return Fail(error, headerPath,
                        "its voxels belong in a separate .img file" +
                            (m_dataPath.empty() ? std::string(" (name the header .hdr)")
                                                : " '" + m_dataPath + "', which is missing"));
    }

    std::int64_t frames = 1;
    for (int i = 4; i <= 7; ++i) frames *= m_info.dims[i];
    if (m_frame >= frames)
        return Fail(error, headerPath,
                    "--volume " + std::to_string(m_frame) + " asks for a volume the file does not have (it holds " +
                        std::to_string(frames) + ": 0 to " + std::to_string(frames - 1) + ")");
    volume.frames = frames;
    volume.frame = m_frame;
    for (int a = 0; a < 3; ++a) volume.size[a] = static_cast<int>(m_info.dims[a + 1]);
    m_layout.type = SampleTypeOf(m_info.datatype);
    m_layout.swap = m_info.swapped;
    for (int a = 0; a < 3; ++a) m_layout.size[a] = volume.size[a];

    // A slope of 0 (or none) means the values are not scaled.
    m_slope = m_info.slope;
    m_intercept = m_info.intercept;
    if (m_slope == 0 || std::isnan(m_slope)) m_slope = 1, m_intercept = 0;
    if (!std::isfinite(m_slope) || !std::isfinite(m_intercept))
        return Fail(error, headerPath,
                    "its value scaling (slope " + std::to_string(m_info.slope) + ", intercept " +
                        std::to_string(m_info.intercept) + ") is not a finite number");

    volume.source = m_path;
    const char* kind = m_info.version == 0 ? "Analyze 7.5" : m_info.version == 1 ? "NIfTI-1" : "NIfTI-2";
    volume.format = std::string(kind) + (m_info.pair ? " pair (.hdr/.img)" : "") + (stream.IsGzip() ? " (gzip)" : "");
    volume.fileType = NiftiTypeName(m_info.datatype);
    const double pixdim[3] = {m_info.pixdim[1], m_info.pixdim[2], m_info.pixdim[3]};
    if (!SetTransform(volume, Transforms(), pixdim, why)) return Fail(error, headerPath, why);
    return true;
}

}  // namespace

std::unique_ptr<VolumeReader> MakeNiftiReader(const std::string& path, std::int64_t frame)
{
    return std::make_unique<NiftiReader>(path, frame);
}
