// Decoding one slice of a DICOM series with GDCM: a single-frame file read
// whole, or one frame of a multi-frame file read on its own where GDCM can
// (the whole file decoded once otherwise). Every file is walked by our own
// structure check before GDCM opens it, and GDCM runs under the guard.
#include <gdcmBoxRegion.h>
#include <gdcmImageReader.h>
#include <gdcmImageRegionReader.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include <cstring>
#include <memory>

#include "dicom.h"

namespace {

std::string Quoted(const std::string& path)
{
    return "'" + path + "'";
}

}  // namespace

class SliceDecoder::Impl {
public:
    explicit Impl(const DicomSeries& series) : m_series(series) {}

    // The slice's samples, as GDCM gives them (the file's sample type in the
    // machine's byte order).
    bool Decode(const DicomSlice& slice, std::vector<char>& bytes, std::string& error)
    {
        if (m_checkedPath != slice.path) {
            std::string why;
            m_place = DicomPixelPlace();
            if (!CheckDicomFile(slice.path, false, why, &m_place)) {
                error = Quoted(slice.path) + ": damaged or truncated DICOM file (" + why + ")";
                return false;
            }
            m_checkedPath = slice.path;
        }
        if (m_place.plain) return ReadPlain(slice, bytes, error);
        const gdcm::TransferSyntax::TSType ts = gdcm::TransferSyntax::GetTSType(m_series.transferSyntax.c_str());
        if (ts == gdcm::TransferSyntax::JPEG2000Lossless || ts == gdcm::TransferSyntax::JPEG2000) {
            if (m_wholePath != slice.path &&
                !GuardGdcm(
                    slice.path, [&] { return DecodeWholeApart(slice.path, error); }, error))
                return false;
            return CopyFrame(slice, bytes, error);
        }
        return GuardGdcm(
            slice.path,
            [&] {
                return slice.frame == 0 && !IsMultiFrame(slice) ? DecodeFile(slice, bytes, error)
                                                                : DecodeFrame(slice, bytes, error);
            },
            error);
    }

private:
    // Uncompressed samples are read straight from the file.
    bool ReadPlain(const DicomSlice& slice, std::vector<char>& bytes, std::string& error) const
    {
        const std::size_t frameBytes = FrameBytes();
        const std::uint64_t start = static_cast<std::uint64_t>(slice.frame) * frameBytes;
        if (start + frameBytes > m_place.length) {
            error = Quoted(slice.path) + ": file is truncated: its pixel data holds " + std::to_string(m_place.length) +
                    " bytes, frame " + std::to_string(slice.frame) + " needs " + std::to_string(start + frameBytes);
            return false;
        }
        bytes.resize(frameBytes);
        const int fd = open(slice.path.c_str(), O_RDONLY);
        std::size_t done = 0;
        while (fd >= 0 && done < frameBytes) {
            const ssize_t n =
                pread(fd, bytes.data() + done, frameBytes - done, static_cast<off_t>(m_place.offset + start + done));
            if (n <= 0) break;
            done += static_cast<std::size_t>(n);
        }
        if (fd >= 0) close(fd);
        if (done == frameBytes) return true;
        error = Quoted(slice.path) + ": read error";
        return false;
    }

    std::size_t FrameBytes() const
    {
        return static_cast<std::size_t>(m_series.rows) * static_cast<std::size_t>(m_series.columns) *
               static_cast<std::size_t>(m_series.bitsAllocated / 8);
    }

    bool IsMultiFrame(const DicomSlice& slice) const
    {
        // Frames of one file follow each other in the series' slices.
        for (const DicomSlice& s : m_series.slices)
            if (s.frame > 0 && s.path == slice.path) return true;
        return false;
    }

    // Checks what GDCM made of a file's header against the series.
    bool Matches(const gdcm::Image& image, const std::string& path, std::size_t frames, std::string& error) const
    {
        const gdcm::PixelFormat& pf = image.GetPixelFormat();
        if (image.GetDimension(0) != static_cast<unsigned>(m_series.columns) ||
            image.GetDimension(1) != static_cast<unsigned>(m_series.rows) ||
            pf.GetBitsAllocated() != m_series.bitsAllocated || pf.GetSamplesPerPixel() != 1 ||
            image.GetBufferLength() != FrameBytes() * frames) {
            error = Quoted(path) + ": its pixel data does not match its header (damaged file)";
            return false;
        }
        return true;
    }

    bool Damaged(const std::string& path, std::string& error) const
    {
        error = Quoted(path) + ": cannot be read as DICOM (damaged or truncated file)";
        return false;
    }

    bool DecodeFile(const DicomSlice& slice, std::vector<char>& bytes, std::string& error)
    {
        gdcm::ImageReader reader;
        reader.SetFileName(slice.path.c_str());
        if (!reader.Read()) return Damaged(slice.path, error);
        const gdcm::Image& image = reader.GetImage();
        if (!Matches(image, slice.path, 1, error) || !Whole(image, slice.path, error)) return false;
        bytes.resize(FrameBytes());
        if (!image.GetBuffer(bytes.data())) {
            error = Quoted(slice.path) + ": its pixel data cannot be decoded (damaged file)";
            return false;
        }
        return true;
    }

    // Uncompressed pixel data must be all there: a truncated file is
    // refused, not shown with its end made up.
    bool Whole(const gdcm::Image& image, const std::string& path, std::string& error) const
    {
        const gdcm::ByteValue* bv = image.GetDataElement().GetByteValue();
        if (bv && bv->GetLength() < image.GetBufferLength()) {
            error = Quoted(path) + ": file is truncated: its pixel data holds " + std::to_string(bv->GetLength()) +
                    " bytes of the " + std::to_string(image.GetBufferLength()) + " its header describes";
            return false;
        }
        return image.GetDataElement().GetByteValue() || image.GetDataElement().GetSequenceOfFragments() ||
               Damaged(path, error);
    }

    // One frame of a multi-frame file: read on its own where GDCM can,
    // else from the whole file decoded once.
    bool DecodeFrame(const DicomSlice& slice, std::vector<char>& bytes, std::string& error)
    {
        const std::size_t frameBytes = FrameBytes();
        bytes.resize(frameBytes);
        if (m_regionPath != slice.path) {
            m_region = std::make_unique<gdcm::ImageRegionReader>();
            m_region->SetFileName(slice.path.c_str());
            m_regionPath = slice.path;
            // Region reading seeks in the file: not for a data set that is
            // compressed as a whole, nor for big-endian samples.
            const gdcm::TransferSyntax::TSType ts = gdcm::TransferSyntax::GetTSType(m_series.transferSyntax.c_str());
            // GDCM's JPEG 2000 region reading trusts the codestream more
            // than its whole-image decoding does.
            m_regionWorks = ts != gdcm::TransferSyntax::DeflatedExplicitVRLittleEndian &&
                            ts != gdcm::TransferSyntax::JPEG2000Lossless && ts != gdcm::TransferSyntax::JPEG2000 &&
                            ts != gdcm::TransferSyntax::ExplicitVRBigEndian && ts != gdcm::TransferSyntax::TS_END &&
                            m_region->ReadInformation();
        }
        if (m_regionWorks) {
            gdcm::BoxRegion box;
            box.SetDomain(0, static_cast<unsigned>(m_series.columns - 1), 0, static_cast<unsigned>(m_series.rows - 1),
                          static_cast<unsigned>(slice.frame), static_cast<unsigned>(slice.frame));
            m_region->SetRegion(box);
            if (m_region->ComputeBufferLength() == frameBytes && m_region->ReadIntoBuffer(bytes.data(), frameBytes))
                return true;
            m_regionWorks = false;
        }
        if (m_wholePath != slice.path && !DecodeWhole(slice.path, error)) return false;
        return CopyFrame(slice, bytes, error);
    }

    bool CopyFrame(const DicomSlice& slice, std::vector<char>& bytes, std::string& error) const
    {
        const std::size_t frameBytes = FrameBytes();
        if ((static_cast<std::size_t>(slice.frame) + 1) * frameBytes > m_whole.size())
            return Damaged(slice.path, error);
        bytes.resize(frameBytes);
        std::memcpy(bytes.data(), m_whole.data() + static_cast<std::size_t>(slice.frame) * frameBytes, frameBytes);
        return true;
    }

    std::size_t FramesOf(const std::string& path) const
    {
        std::size_t frames = 0;
        for (const DicomSlice& s : m_series.slices) frames += s.path == path;
        return frames;
    }

    // Every frame of a file, decoded at once into m_whole.
    bool DecodeWhole(const std::string& path, std::string& error)
    {
        m_whole.clear();
        m_wholePath.clear();
        const std::size_t frames = FramesOf(path);
        std::vector<char> whole(FrameBytes() * frames);
        if (!DecodeWholeInto(path, frames, whole.data(), error)) return false;
        m_whole = std::move(whole);
        m_wholePath = path;
        return true;
    }

    bool DecodeWholeInto(const std::string& path, std::size_t frames, char* out, std::string& error) const
    {
        gdcm::ImageReader reader;
        reader.SetFileName(path.c_str());
        if (!reader.Read()) return Damaged(path, error);
        const gdcm::Image& image = reader.GetImage();
        const std::size_t has = image.GetNumberOfDimensions() > 2 ? image.GetDimension(2) : 1;
        if (has != frames) return Damaged(path, error);
        if (!Matches(image, path, frames, error) || !Whole(image, path, error)) return false;
        return image.GetBuffer(out) || Damaged(path, error);
    }

    // GDCM's JPEG 2000 decoding reads beyond damaged codestreams: it runs
    // in a child process of its own, which writes the frames into memory
    // shared with us, so that whatever happens to it leaves zelgen standing.
    bool DecodeWholeApart(const std::string& path, std::string& error)
    {
        m_whole.clear();
        m_wholePath.clear();
        const std::size_t frames = FramesOf(path), size = FrameBytes() * frames;
        void* shared = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (shared == MAP_FAILED) {
            error = "not enough memory to decode " + Quoted(path);
            return false;
        }
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            // The child only decodes and ends: no handler of ours may jump
            // back into the caller's work, and no exception may leave here.
            for (int s : {SIGABRT, SIGSEGV, SIGBUS, SIGFPE}) signal(s, SIG_DFL);
            bool decoded = false;
            try {
                std::string ignored;
                decoded = DecodeWholeInto(path, frames, static_cast<char*>(shared), ignored);
            } catch (...) {
                decoded = false;
            }
            _exit(decoded ? 0 : 1);
        }
        int status = 0;
        const bool ok =
            child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
        if (ok) {
            m_whole.assign(static_cast<char*>(shared), static_cast<char*>(shared) + size);
            m_wholePath = path;
        }
        munmap(shared, size);
        if (!ok) error = Quoted(path) + ": damaged DICOM data (the JPEG 2000 decoder gave up on it)";
        return ok;
    }

    const DicomSeries& m_series;
    std::string m_checkedPath;
    DicomPixelPlace m_place;
    std::unique_ptr<gdcm::ImageRegionReader> m_region;
    std::string m_regionPath;
    bool m_regionWorks = false;
    std::vector<char> m_whole;
    std::string m_wholePath;
};

SliceDecoder::SliceDecoder(const DicomSeries& series) : m_impl(std::make_unique<Impl>(series)) {}

SliceDecoder::~SliceDecoder() = default;

bool SliceDecoder::Decode(const DicomSlice& slice, std::vector<char>& bytes, std::string& error)
{
    return m_impl->Decode(slice, bytes, error);
}
