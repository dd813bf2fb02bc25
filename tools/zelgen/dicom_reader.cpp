// The DICOM reader: a series (chosen with --series, else the largest) as
// one volume. Its header step scans the files, lays the grid and checks the
// pixel format; its voxel step decodes one slice at a time with GDCM (every
// transfer syntax GDCM decodes) and converts it straight into the volume,
// so that a series never needs more memory than its volume and a slice.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "dicom.h"
#include "readers.h"
#include "voxel_import.h"

namespace {

const int kLargestSide = 65535;

std::string Quoted(const std::string& path)
{
    return "'" + path + "'";
}

// Keeps the Bits Stored of each sample (from High Bit down) and extends
// the sign of signed ones, whatever the unused bits hold (overlays, noise).
template <class T>
void KeepStoredBits(T* samples, std::size_t count, int bitsStored, int highBit, bool isSigned)
{
    const int bits = static_cast<int>(sizeof(T)) * 8;
    if (bitsStored >= bits && highBit == bits - 1) return;
    const int shift = highBit + 1 - bitsStored;
    const std::uint64_t mask = (std::uint64_t(1) << bitsStored) - 1, sign = std::uint64_t(1) << (bitsStored - 1);
    for (std::size_t n = 0; n < count; ++n) {
        std::uint64_t v = (static_cast<std::uint64_t>(samples[n]) >> shift) & mask;
        if (isSigned && (v & sign)) v |= ~mask;
        samples[n] = static_cast<T>(v);
    }
}

class DicomReader : public VolumeReader {
public:
    explicit DicomReader(const InputOptions& input) : m_input(input) {}

    bool ReadHeader(Volume& volume, std::string& error) override;
    bool ReadVoxels(Volume& volume, int alignment, std::string& error) override;

private:
    bool ChooseSeries(Volume& volume, std::string& error);
    bool CheckPixelFormat(std::string& error);
    void PlanValues(Volume& volume, const std::vector<double>& low, const std::vector<double>& high);
    bool Survey(std::vector<double>& low, std::vector<double>& high, std::string& error);
    bool ConvertSlice(int index, std::vector<char>& bytes, short* out, std::string& error);
    bool ReadResampled(ZelImage<short>& image, std::string& error);

    bool Fail(std::string& error, const std::string& message) const
    {
        error = Quoted(m_input.path) + (m_chosen ? " (series " + std::to_string(m_number) + ")" : std::string()) +
                ": " + message;
        return false;
    }

    InputOptions m_input;
    std::vector<DicomSeries> m_all;
    const DicomSeries* m_chosen = nullptr;
    int m_number = 0;
    DicomGrid m_grid;
    SampleType m_type = SampleType::Int16;
    std::vector<SampleMapping> m_mappings;  // per sorted slice
    std::unique_ptr<SliceDecoder> m_decoder;
};

bool DicomReader::ChooseSeries(Volume& volume, std::string& error)
{
    int skipped = 0;
    if (!ScanDicom(m_input.path, m_all, skipped, error)) return false;
    std::size_t pick = 0;
    for (std::size_t s = 1; s < m_all.size(); ++s)
        if (m_all[s].Voxels() > m_all[pick].Voxels()) pick = s;
    if (!m_input.series.empty()) {
        long long n = 0;
        std::string ignored;
        bool found = false;
        if (ParseInt(m_input.series, 1, static_cast<long long>(m_all.size()), n, ignored, "--series")) {
            pick = static_cast<std::size_t>(n - 1);
            found = true;
        }
        for (std::size_t s = 0; s < m_all.size() && !found; ++s)
            if (m_all[s].uid == m_input.series) pick = s, found = true;
        if (!found) {
            error = "--series " + m_input.series + ": " + Quoted(m_input.path) + " holds " +
                    std::to_string(m_all.size()) + " series (1 to " + std::to_string(m_all.size()) +
                    ", or a series UID; zelgen info lists them)";
            return false;
        }
    } else if (m_all.size() > 1) {
        volume.notes.push_back("holds " + std::to_string(m_all.size()) + " series; showing the largest, series " +
                               std::to_string(pick + 1) + " (--series picks another; zelgen info lists them)");
    }
    if (m_all.size() > 1)
        for (std::size_t s = 0; s < m_all.size(); ++s)
            volume.contents.push_back(DescribeSeries(m_all[s], static_cast<int>(s + 1)) + (s == pick ? "  <-" : ""));
    m_chosen = &m_all[pick];
    m_number = static_cast<int>(pick + 1);
    return true;
}

bool DicomReader::CheckPixelFormat(std::string& error)
{
    const DicomSeries& s = *m_chosen;
    if (!s.mixed.empty()) return Fail(error, "the series " + s.mixed);
    bool supported = false;
    const std::string syntax = TransferSyntaxName(s.transferSyntax, supported);
    if (!supported && s.transferSyntax != "mixed")
        return Fail(error, "unsupported transfer syntax: " + syntax + " (GDCM cannot decode its pixels)");
    if (s.samplesPerPixel != 1 || (s.photometric != "MONOCHROME1" && s.photometric != "MONOCHROME2"))
        return Fail(error, "colour images (" +
                               (s.photometric.empty() ? "no photometric interpretation" : s.photometric) +
                               ") are not supported: grey-scale (MONOCHROME1 or MONOCHROME2) only");
    if (s.bitsAllocated != 8 && s.bitsAllocated != 16 && s.bitsAllocated != 32)
        return Fail(error, std::to_string(s.bitsAllocated) + " bits per pixel are not supported (8, 16 or 32)");
    if (s.bitsStored < 1 || s.bitsStored > s.bitsAllocated || s.highBit < s.bitsStored - 1 ||
        s.highBit >= s.bitsAllocated)
        return Fail(error, "its header is damaged: " + std::to_string(s.bitsStored) + " bits stored, high bit " +
                               std::to_string(s.highBit) + ", in " + std::to_string(s.bitsAllocated) + " bits");
    const SampleType types[2][3] = {{SampleType::Uint8, SampleType::Uint16, SampleType::Uint32},
                                    {SampleType::Int8, SampleType::Int16, SampleType::Int32}};
    m_type = types[s.isSigned][s.bitsAllocated == 8 ? 0 : s.bitsAllocated == 16 ? 1 : 2];
    return true;
}

bool DicomReader::ReadHeader(Volume& volume, std::string& error)
{
    if (m_input.volumeIndex != 0) {
        error = "--volume is for 4-D NIfTI files; a DICOM input picks its series with --series";
        return false;
    }
    if (!ChooseSeries(volume, error) || !CheckPixelFormat(error)) return false;
    std::string why;
    if (!PlanDicomGrid(*m_chosen, m_grid, why)) return Fail(error, why);
    for (int a = 0; a < 3; ++a)
        if (m_grid.size[a] > kLargestSide)
            return Fail(error, "volume too large: " + std::to_string(m_grid.size[a]) + " voxels along axis " +
                                   std::to_string(a) + " (at most 65535)");
    if (!CheckVolumeMemory(m_grid.size, why)) return Fail(error, why);

    const DicomSeries& s = *m_chosen;
    for (int a = 0; a < 3; ++a) volume.size[a] = m_grid.size[a];
    volume.source = m_input.path;
    bool supported = false;
    volume.format = "DICOM" + (s.modality.empty() ? std::string() : " " + s.modality) + " series (" +
                    TransferSyntaxName(s.transferSyntax, supported) + ", " + std::to_string(s.files.size()) +
                    (s.files.size() == 1 ? " file" : " files") + ")";
    volume.fileType = std::string(SampleTypeName(m_type)) +
                      (s.bitsStored < s.bitsAllocated ? ", " + std::to_string(s.bitsStored) + " bits stored" : "");
    volume.invertDisplay = s.photometric == "MONOCHROME1";
    if (volume.invertDisplay) volume.notes.push_back("MONOCHROME1: low values are shown white, as the file asks");
    for (const std::string& note : m_grid.notes) volume.notes.push_back(note);
    const DicomSlice& middle = s.slices[static_cast<std::size_t>(m_grid.order[m_grid.order.size() / 2])];
    volume.hasFileWindow = middle.hasWindow;
    volume.fileWindowWidth = middle.windowWidth;
    volume.fileWindowCentre = middle.windowCentre;

    // Patient axes of DICOM (x left, y back) to the volume's (x right, y front).
    TransformCandidate t;
    t.name = "Image Position and Orientation (Patient)";
    t.present = true;
    const double flip[3] = {-1, -1, 1};
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) t.m[r][c] = flip[r] * m_grid.axes[c][r] * m_grid.spacing[c];
        t.m[r][3] = flip[r] * m_grid.origin[r];
    }
    return SetTransform(volume, {t}, nullptr, why) || Fail(error, why);
}

void DicomReader::PlanValues(Volume& volume, const std::vector<double>& low, const std::vector<double>& high)
{
    const DicomSeries& s = *m_chosen;
    const std::size_t count = m_grid.order.size();
    bool outside = false;
    for (int a = 0; a < 2; ++a)
        for (double v : m_grid.shift[a]) outside = outside || v != 0;
    bool shared = true;
    for (const DicomSlice& slice : s.slices)
        shared = shared && slice.slope == s.slices[0].slope && slice.intercept == s.slices[0].intercept;
    SampleSurvey survey;
    survey.anyFinite = true;
    survey.nonFinite = outside;  // the grid's corners beyond a sheared stack have no value
    if (shared) {
        survey.lo = *std::min_element(low.begin(), low.end());
        survey.hi = *std::max_element(high.begin(), high.end());
        const SampleMapping mapping = ChooseMapping(m_type, survey);
        m_mappings.assign(count, mapping);
        SetValueScale(volume, SampleTypeName(m_type), mapping, s.slices[0].slope, s.slices[0].intercept);
        return;
    }
    // Slices scaled each their own way share one scale of real values.
    survey.lo = HUGE_VAL;
    survey.hi = -HUGE_VAL;
    for (std::size_t k = 0; k < count; ++k) {
        const DicomSlice& slice = s.slices[static_cast<std::size_t>(m_grid.order[k])];
        const double a = slice.slope * low[k] + slice.intercept, b = slice.slope * high[k] + slice.intercept;
        survey.lo = std::min({survey.lo, a, b});
        survey.hi = std::max({survey.hi, a, b});
        survey.integral =
            survey.integral && slice.slope == std::floor(slice.slope) && slice.intercept == std::floor(slice.intercept);
    }
    const SampleMapping real = ChooseMapping(SampleType::Float64, survey);
    m_mappings.resize(count);
    for (std::size_t k = 0; k < count; ++k) {
        const DicomSlice& slice = s.slices[static_cast<std::size_t>(m_grid.order[k])];
        m_mappings[k] = real;
        m_mappings[k].exact = false;  // rounded after the slice's own scale
        m_mappings[k].offset = (real.offset - slice.intercept) / slice.slope;
        m_mappings[k].step = real.step / slice.slope;
    }
    SetValueScale(volume, SampleTypeName(m_type), real, 1.0, 0.0);
    volume.notes.push_back("the slices have rescale slopes and intercepts of their own; they share one value scale");
}

bool DicomReader::Survey(std::vector<double>& low, std::vector<double>& high, std::string& error)
{
    // The range Bits Stored allows, unless it is too wide for 16 bits: then
    // the samples themselves are looked at (a first pass over the series).
    const DicomSeries& s = *m_chosen;
    const std::size_t count = m_grid.order.size();
    const double levels = std::ldexp(1.0, s.bitsStored);
    low.assign(count, s.isSigned ? -levels / 2 : 0);
    high.assign(count, s.isSigned ? levels / 2 - 1 : levels - 1);
    if (s.bitsStored <= 16) return true;
    std::vector<char> bytes;
    for (std::size_t k = 0; k < count; ++k) {
        const DicomSlice& slice = s.slices[static_cast<std::size_t>(m_grid.order[k])];
        if (!m_decoder->Decode(slice, bytes, error)) return false;
        auto* samples = reinterpret_cast<std::uint32_t*>(bytes.data());
        const std::size_t n = bytes.size() / 4;
        KeepStoredBits(samples, n, s.bitsStored, s.highBit, s.isSigned);
        double lo = HUGE_VAL, hi = -HUGE_VAL;
        for (std::size_t i = 0; i < n; ++i) {
            const double v = s.isSigned ? static_cast<double>(static_cast<std::int32_t>(samples[i])) : samples[i];
            lo = std::min(lo, v);
            hi = std::max(hi, v);
        }
        low[k] = lo;
        high[k] = hi;
    }
    return true;
}

// Sorted slice `index` as stored values in `out` (columns x rows).
bool DicomReader::ConvertSlice(int index, std::vector<char>& bytes, short* out, std::string& error)
{
    const DicomSeries& s = *m_chosen;
    const DicomSlice& slice = s.slices[static_cast<std::size_t>(m_grid.order[static_cast<std::size_t>(index)])];
    if (!m_decoder->Decode(slice, bytes, error)) return false;
    const std::size_t count = static_cast<std::size_t>(s.rows) * static_cast<std::size_t>(s.columns);
    switch (s.bitsAllocated) {
    case 8:
        KeepStoredBits(reinterpret_cast<std::uint8_t*>(bytes.data()), count, s.bitsStored, s.highBit, s.isSigned);
        break;
    case 16:
        KeepStoredBits(reinterpret_cast<std::uint16_t*>(bytes.data()), count, s.bitsStored, s.highBit, s.isSigned);
        break;
    default: KeepStoredBits(reinterpret_cast<std::uint32_t*>(bytes.data()), count, s.bitsStored, s.highBit, s.isSigned);
    }
    SampleLayout layout;
    layout.type = m_type;
    ConvertSamples(reinterpret_cast<const unsigned char*>(bytes.data()), layout, count,
                   m_mappings[static_cast<std::size_t>(index)], out);
    return true;
}

bool DicomReader::ReadVoxels(Volume& volume, int alignment, std::string& error)
{
    m_decoder = std::make_unique<SliceDecoder>(*m_chosen);
    std::vector<double> low, high;
    if (!Survey(low, high, error)) return false;
    PlanValues(volume, low, high);
    auto image = std::make_unique<ZelImage<short>>();
    if (image->Allocate(alignment, m_grid.size[0], m_grid.size[1], m_grid.size[2]) != 0)
        return Fail(error,
                    "not enough memory for the volume (" + std::to_string(volume.VoxelCount() * 2 / 1048576) + " MB)");
    if (m_grid.resample) {
        if (!ReadResampled(*image, error)) return false;
    } else {
        // Slice k of the grid is sorted slice k: converted straight into
        // the volume when it is linear, through one slice of rows if tiled.
        const int width = m_grid.size[0], height = m_grid.size[1];
        const std::size_t plane = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
        std::vector<char> bytes;
        std::vector<short> staging(image->IsTiled() ? plane : 0);
        for (int k = 0; k < m_grid.size[2]; ++k) {
            short* out = image->IsTiled() ? staging.data() : image->GetDataPtr() + plane * static_cast<std::size_t>(k);
            if (!ConvertSlice(k, bytes, out, error)) return false;
            if (image->IsTiled())
                for (int y = 0; y < height; ++y) PutRow(*image, y, k, out + static_cast<std::size_t>(y) * width);
        }
    }
    image->SetImageScale({static_cast<float>(volume.spacing[0]), static_cast<float>(volume.spacing[1]),
                          static_cast<float>(volume.spacing[2])});
    volume.image = std::move(image);
    return true;
}

bool DicomReader::ReadResampled(ZelImage<short>& image, std::string& error)
{
    std::vector<char> bytes;
    return ResampleSlices(
        m_grid, m_chosen->columns, m_chosen->rows,
        [&](int k, short* out) { return ConvertSlice(k, bytes, out, error); }, Volume::kNoValue, image, error);
}

}  // namespace

std::unique_ptr<VolumeReader> MakeDicomReader(const InputOptions& input)
{
    return std::make_unique<DicomReader>(input);
}
