// Finding the DICOM images under a path and grouping them into series. Only
// headers are read here (everything before the pixel data), so a directory
// of thousands of files is described quickly; the pixels are decoded later,
// one slice at a time, by the reader.
#include <gdcmMediaStorage.h>
#include <gdcmReader.h>
#include <gdcmSequenceOfItems.h>
#include <gdcmTrace.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>

#include "dicom.h"

namespace fs = std::filesystem;

namespace {

// Tags read from the headers.
const gdcm::Tag kModality(0x0008, 0x0060), kSeriesDescription(0x0008, 0x103e), kSliceThickness(0x0018, 0x0050),
    kSpacingBetweenSlices(0x0018, 0x0088), kSeriesUid(0x0020, 0x000e), kSeriesNumber(0x0020, 0x0011),
    kInstanceNumber(0x0020, 0x0013), kPosition(0x0020, 0x0032), kOrientation(0x0020, 0x0037),
    kSamplesPerPixel(0x0028, 0x0002), kPhotometric(0x0028, 0x0004), kNumberOfFrames(0x0028, 0x0008),
    kRows(0x0028, 0x0010), kColumns(0x0028, 0x0011), kPixelSpacing(0x0028, 0x0030), kBitsAllocated(0x0028, 0x0100),
    kBitsStored(0x0028, 0x0101), kHighBit(0x0028, 0x0102), kPixelRepresentation(0x0028, 0x0103),
    kWindowCentre(0x0028, 0x1050), kWindowWidth(0x0028, 0x1051), kRescaleIntercept(0x0028, 0x1052),
    kRescaleSlope(0x0028, 0x1053), kGridFrameOffsets(0x3004, 0x000c), kPixelData(0x7fe0, 0x0010);
// Functional groups of multi-frame (enhanced) images.
const gdcm::Tag kSharedGroups(0x5200, 0x9229), kPerFrameGroups(0x5200, 0x9230), kPlanePosition(0x0020, 0x9113),
    kPlaneOrientation(0x0020, 0x9116), kPixelMeasures(0x0028, 0x9110), kValueTransformation(0x0028, 0x9145),
    kFrameVoiLut(0x0028, 0x9132);

// Frames a file may claim: far beyond any scanner, well short of numbers
// whose sizes would overflow.
const long long kMostFrames = 1 << 20;

std::string Text(const gdcm::DataSet& ds, const gdcm::Tag& tag)
{
    if (!ds.FindDataElement(tag)) return std::string();
    const gdcm::ByteValue* bv = ds.GetDataElement(tag).GetByteValue();
    if (!bv || !bv->GetPointer()) return std::string();
    std::string s(bv->GetPointer(), bv->GetLength());
    // Values are padded with spaces (text) or a NUL (UIDs).
    const std::size_t end = s.find_last_not_of(std::string(" \0", 2));
    const std::size_t begin = s.find_first_not_of(' ');
    return end == std::string::npos ? std::string() : s.substr(begin, end + 1 - begin);
}

// The numbers of a decimal or integer string value ("1.5\-2\3"); empty when
// any of them is not a finite number.
std::vector<double> Numbers(const gdcm::DataSet& ds, const gdcm::Tag& tag)
{
    std::vector<double> values;
    const std::string text = Text(ds, tag);
    std::size_t start = 0;
    while (start <= text.size() && !text.empty()) {
        std::size_t end = text.find('\\', start);
        if (end == std::string::npos) end = text.size();
        const std::string part = text.substr(start, end - start);
        char* stop = nullptr;
        errno = 0;
        const double v = std::strtod(part.c_str(), &stop);
        while (stop && *stop == ' ') ++stop;
        if (part.empty() || !stop || *stop != '\0' || errno == ERANGE || !std::isfinite(v)) return {};
        values.push_back(v);
        start = end + 1;
    }
    return values;
}

// An unsigned short value, in the byte order of the data set.
bool UShort(const gdcm::DataSet& ds, const gdcm::Tag& tag, bool bigEndian, int& value)
{
    if (!ds.FindDataElement(tag)) return false;
    const gdcm::ByteValue* bv = ds.GetDataElement(tag).GetByteValue();
    if (!bv || bv->GetLength() < 2 || !bv->GetPointer()) return false;
    const auto* b = reinterpret_cast<const unsigned char*>(bv->GetPointer());
    value = bigEndian ? (b[0] << 8 | b[1]) : (b[1] << 8 | b[0]);
    return true;
}

gdcm::SmartPointer<gdcm::SequenceOfItems> Sequence(const gdcm::DataSet& ds, const gdcm::Tag& tag)
{
    if (!ds.FindDataElement(tag)) return nullptr;
    // Only values that the structure check walked as sequences.
    const gdcm::DataElement& de = ds.GetDataElement(tag);
    const gdcm::VR vr = de.GetVR();
    if (vr != gdcm::VR::SQ && vr != gdcm::VR::UN && vr != gdcm::VR::INVALID) return nullptr;
    return de.GetValueAsSQ();
}

// The data set of the first item of sequence `tag` inside item `index`
// (1-based) of `groups`: where a functional group keeps its values.
template <class F>
void WithGroup(gdcm::SequenceOfItems* groups, std::size_t index, const gdcm::Tag& tag, F&& use)
{
    if (!groups || index < 1 || index > groups->GetNumberOfItems()) return;
    gdcm::SmartPointer<gdcm::SequenceOfItems> group = Sequence(groups->GetItem(index).GetNestedDataSet(), tag);
    if (group && group->GetNumberOfItems() >= 1) use(group->GetItem(1).GetNestedDataSet());
}

// Reads the fields of one slice that a data set (the file's own, or a
// functional group) holds; fields it lacks are left as they are.
void ReadSliceFields(const gdcm::DataSet& ds, DicomSlice& s)
{
    const std::vector<double> p = Numbers(ds, kPosition), o = Numbers(ds, kOrientation);
    if (p.size() == 3) {
        std::copy(p.begin(), p.end(), s.position);
        s.hasPosition = true;
    }
    if (o.size() == 6) {
        std::copy(o.begin(), o.end(), s.orientation);
        s.hasOrientation = true;
    }
    const std::vector<double> slope = Numbers(ds, kRescaleSlope), intercept = Numbers(ds, kRescaleIntercept);
    if (slope.size() == 1 && slope[0] != 0) s.slope = slope[0];
    if (intercept.size() == 1) s.intercept = intercept[0];
    const std::vector<double> centre = Numbers(ds, kWindowCentre), width = Numbers(ds, kWindowWidth);
    if (!centre.empty() && !width.empty() && width[0] > 0) {
        s.hasWindow = true;
        s.windowCentre = centre[0];
        s.windowWidth = width[0];
    }
}

void ReadSeriesSpacing(const gdcm::DataSet& ds, DicomSeries& series)
{
    const std::vector<double> spacing = Numbers(ds, kPixelSpacing);
    if (spacing.size() == 2 && spacing[0] > 0 && spacing[1] > 0) {
        series.pixelSpacing[0] = spacing[0];
        series.pixelSpacing[1] = spacing[1];
        series.hasPixelSpacing = true;
    }
    for (const gdcm::Tag& tag : {kSliceThickness, kSpacingBetweenSlices}) {
        const std::vector<double> v = Numbers(ds, tag);
        if (v.size() == 1 && v[0] > 0) series.sliceSpacing = v[0];
    }
}

// The header of one file as a series of its own (one slice per frame).
// False when the file is not a DICOM image.
bool ReadHeader(const std::string& path, DicomSeries& out, bool& isDirectory, bool& damaged)
{
    gdcm::Reader reader;
    reader.SetFileName(path.c_str());
    damaged = true;
    if (!reader.ReadUpToTag(kPixelData)) return false;
    damaged = false;
    const gdcm::File& file = reader.GetFile();
    const gdcm::DataSet& ds = file.GetDataSet();
    gdcm::MediaStorage ms;
    ms.SetFromFile(file);
    isDirectory = ms == gdcm::MediaStorage::MediaStorageDirectoryStorage;
    const gdcm::TransferSyntax& ts = file.GetHeader().GetDataSetTransferSyntax();
    const bool big = ts.GetSwapCode() == gdcm::SwapCode::BigEndian;
    if (!UShort(ds, kRows, big, out.rows) || !UShort(ds, kColumns, big, out.columns)) return false;
    UShort(ds, kSamplesPerPixel, big, out.samplesPerPixel);
    UShort(ds, kBitsAllocated, big, out.bitsAllocated);
    out.bitsStored = out.bitsAllocated;
    UShort(ds, kBitsStored, big, out.bitsStored);
    out.highBit = out.bitsStored - 1;
    UShort(ds, kHighBit, big, out.highBit);
    int representation = 0;
    UShort(ds, kPixelRepresentation, big, representation);
    out.isSigned = representation == 1;
    out.photometric = Text(ds, kPhotometric);
    out.transferSyntax = Text(file.GetHeader(), gdcm::Tag(0x0002, 0x0010));
    if (out.transferSyntax.empty()) out.transferSyntax = gdcm::TransferSyntax::GetTSString(ts);
    out.uid = Text(ds, kSeriesUid);
    out.modality = Text(ds, kModality);
    out.description = Text(ds, kSeriesDescription);
    const std::vector<double> number = Numbers(ds, kSeriesNumber);
    if (number.size() == 1 && std::fabs(number[0]) < 1e15) out.number = static_cast<long long>(number[0]);
    ReadSeriesSpacing(ds, out);

    DicomSlice base;
    base.path = path;
    ReadSliceFields(ds, base);
    const std::vector<double> instance = Numbers(ds, kInstanceNumber);
    if (instance.size() == 1 && std::fabs(instance[0]) < 1e15) base.instance = static_cast<long long>(instance[0]);
    const std::vector<double> frameCount = Numbers(ds, kNumberOfFrames);
    long long frames = 1;
    if (frameCount.size() == 1 && frameCount[0] >= 1 && frameCount[0] <= kMostFrames)
        frames = static_cast<long long>(frameCount[0]);
    // Every frame takes room in the file (its pixels, or at least an item
    // of compressed data): a damaged count is refused before any frame is
    // described.
    struct stat st;
    const double frameBytes =
        ts.IsEncapsulated() ? 8.0 : static_cast<double>(out.rows) * out.columns * out.bitsAllocated / 8;
    if (frames > 1 &&
        (stat(path.c_str(), &st) != 0 || static_cast<double>(frames) * frameBytes > static_cast<double>(st.st_size)))
        return false;
    if (frames == 1) {
        out.slices.push_back(base);
        return true;
    }

    // Multi-frame: each frame's position, orientation, values and window
    // from its own functional groups, else the shared ones.
    gdcm::SmartPointer<gdcm::SequenceOfItems> shared = Sequence(ds, kSharedGroups);
    gdcm::SmartPointer<gdcm::SequenceOfItems> perFrame = Sequence(ds, kPerFrameGroups);
    WithGroup(shared, 1, kPixelMeasures, [&](const gdcm::DataSet& g) { ReadSeriesSpacing(g, out); });
    const std::vector<double> offsets = Numbers(ds, kGridFrameOffsets);
    for (long long f = 0; f < frames; ++f) {
        DicomSlice s = base;
        s.frame = static_cast<int>(f);
        s.instance = base.instance * kMostFrames + f;
        const std::size_t item = static_cast<std::size_t>(f) + 1;
        for (gdcm::SequenceOfItems* groups : {shared.GetPointer(), perFrame.GetPointer()}) {
            const std::size_t at = groups == shared.GetPointer() ? 1 : item;
            for (const gdcm::Tag& tag : {kPlanePosition, kPlaneOrientation, kValueTransformation, kFrameVoiLut})
                WithGroup(groups, at, tag, [&s](const gdcm::DataSet& g) { ReadSliceFields(g, s); });
        }
        if (f == 0) WithGroup(perFrame, 1, kPixelMeasures, [&](const gdcm::DataSet& g) { ReadSeriesSpacing(g, out); });
        // Older multi-frame objects give offsets along the normal instead.
        if (!perFrame && s.hasPosition && s.hasOrientation &&
            (offsets.size() == static_cast<std::size_t>(frames) || out.sliceSpacing > 0)) {
            const double* o = s.orientation;
            const double n[3] = {o[1] * o[5] - o[2] * o[4], o[2] * o[3] - o[0] * o[5], o[0] * o[4] - o[1] * o[3]};
            const double d = offsets.size() == static_cast<std::size_t>(frames) ? offsets[static_cast<std::size_t>(f)]
                                                                                : f * out.sliceSpacing;
            for (int a = 0; a < 3; ++a) s.position[a] = base.position[a] + d * n[a];
        } else if (!perFrame && f > 0) {
            s.hasPosition = false;
        }
        out.slices.push_back(s);
    }
    return true;
}

// The first header field in which `b` differs from `a`, or empty.
std::string Difference(const DicomSeries& a, const DicomSeries& b)
{
    char text[200];
    if (a.rows != b.rows || a.columns != b.columns) {
        std::snprintf(text, sizeof(text), "mixes slice sizes %d x %d and %d x %d", a.columns, a.rows, b.columns,
                      b.rows);
        return text;
    }
    if (a.bitsAllocated != b.bitsAllocated || a.bitsStored != b.bitsStored || a.highBit != b.highBit ||
        a.isSigned != b.isSigned || a.samplesPerPixel != b.samplesPerPixel || a.photometric != b.photometric)
        return "mixes pixel formats (bits, sign or colour differ between files)";
    if (a.hasPixelSpacing != b.hasPixelSpacing ||
        std::fabs(a.pixelSpacing[0] - b.pixelSpacing[0]) > 1e-3 * a.pixelSpacing[0] ||
        std::fabs(a.pixelSpacing[1] - b.pixelSpacing[1]) > 1e-3 * a.pixelSpacing[1]) {
        std::snprintf(text, sizeof(text), "mixes pixel spacings %g x %g and %g x %g mm", a.pixelSpacing[1],
                      a.pixelSpacing[0], b.pixelSpacing[1], b.pixelSpacing[0]);
        return text;
    }
    return std::string();
}

void AddToSeries(DicomSeries&& file, std::vector<DicomSeries>& series, std::map<std::string, std::size_t>& index)
{
    const auto found = index.find(file.uid);
    if (found == index.end()) {
        index[file.uid] = series.size();
        file.files.push_back(file.slices.front().path);
        series.push_back(std::move(file));
        return;
    }
    DicomSeries& s = series[found->second];
    if (s.mixed.empty()) s.mixed = Difference(s, file);
    if (s.transferSyntax != file.transferSyntax) s.transferSyntax = "mixed";
    s.files.push_back(file.slices.front().path);
    for (DicomSlice& slice : file.slices) s.slices.push_back(std::move(slice));
}

bool IsRegularFile(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace

bool LooksLikeDicom(const unsigned char* bytes, std::size_t length)
{
    return length >= 132 && std::memcmp(bytes + 128, "DICM", 4) == 0;
}

bool ScanDicom(const std::string& path, std::vector<DicomSeries>& series, int& skipped, std::string& error)
{
    // GDCM's own warnings would break the one-line error promise.
    gdcm::Trace::SetWarning(false);
    gdcm::Trace::SetError(false);
    gdcm::Trace::SetDebug(false);
    series.clear();
    skipped = 0;
    std::map<std::string, std::size_t> index;
    std::error_code ec;
    std::string root = path;
    if (IsRegularFile(path)) {
        DicomSeries file;
        bool isDirectory = false;
        bool read = false;
        std::string why;
        bool damaged = false;
        read = CheckDicomFile(path, true, why) &&
               GuardGdcm(
                   path, [&] { return ReadHeader(path, file, isDirectory, damaged); }, why);
        if (!isDirectory) {
            if (!read) {
                error = "'" + path + "' is not a DICOM image that can be read (" +
                        (why.empty() ? std::string("damaged, or no image in it") : "damaged: " + why) + ")";
                return false;
            }
            AddToSeries(std::move(file), series, index);
            return true;
        }
        // A DICOMDIR indexes the files beside it and below.
        root = fs::path(path).parent_path().string();
        if (root.empty()) root = ".";
    }
    if (!fs::is_directory(root, ec)) {
        error = "'" + path + "': cannot open: " + (ec ? ec.message() : "not a file or directory");
        return false;
    }
    std::vector<std::string> paths;
    for (fs::recursive_directory_iterator it(root, fs::directory_options::skip_permission_denied, ec), end;
         !ec && it != end; it.increment(ec))
        if (it->is_regular_file(ec)) paths.push_back(it->path().string());
    if (ec) {
        error = "'" + root + "': cannot search the directory: " + ec.message();
        return false;
    }
    std::sort(paths.begin(), paths.end());
    for (const std::string& p : paths) {
        unsigned char head[132] = {0};
        FILE* f = std::fopen(p.c_str(), "rb");
        if (!f) continue;
        const std::size_t got = std::fread(head, 1, sizeof(head), f);
        std::fclose(f);
        if (!LooksLikeDicom(head, got)) continue;
        DicomSeries file;
        bool isDirectory = false, damaged = false;
        std::string why;
        // A damaged file is refused, not left out: the series it belongs
        // to would be shown with a slice made up in its place.
        if (!CheckDicomFile(p, true, why) || (!GuardGdcm(
                                                  p, [&] { return ReadHeader(p, file, isDirectory, damaged); }, why) &&
                                              damaged)) {
            error = "'" + p + "': damaged or truncated DICOM file (" + (why.empty() ? "it cannot be read" : why) +
                    "); move it away to read the rest of '" + path + "'";
            return false;
        }
        if (!file.slices.empty())
            AddToSeries(std::move(file), series, index);
        else if (!isDirectory)
            ++skipped;
    }
    if (series.empty()) {
        error = "'" + path + "' is a directory with no DICOM image in it" +
                (skipped ? " (" + std::to_string(skipped) + " DICOM files hold no image)" : std::string());
        return false;
    }
    std::sort(series.begin(), series.end(), [](const DicomSeries& a, const DicomSeries& b) {
        if (a.number != b.number) return a.number < b.number;
        if (a.description != b.description) return a.description < b.description;
        return a.uid < b.uid;
    });
    return true;
}

std::string DescribeSeries(const DicomSeries& s, int number)
{
    char text[400];
    std::snprintf(text, sizeof(text), "%3d  %-3s %-28s %5d x %d x %-5zu %s", number,
                  s.modality.empty() ? "?" : s.modality.c_str(),
                  ("'" + s.description.substr(0, 24) + "'" + (s.number ? " #" + std::to_string(s.number) : "")).c_str(),
                  s.columns, s.rows, s.slices.size(), s.uid.empty() ? "(no series UID)" : s.uid.c_str());
    return text;
}

std::string TransferSyntaxName(const std::string& uid, bool& supported)
{
    struct Name {
        gdcm::TransferSyntax::TSType type;
        const char* name;
    };
    static const Name names[] = {
        {gdcm::TransferSyntax::ImplicitVRLittleEndian, "uncompressed"},
        {gdcm::TransferSyntax::ExplicitVRLittleEndian, "uncompressed"},
        {gdcm::TransferSyntax::ExplicitVRBigEndian, "uncompressed, big-endian"},
        {gdcm::TransferSyntax::DeflatedExplicitVRLittleEndian, "deflate"},
        {gdcm::TransferSyntax::JPEGBaselineProcess1, "JPEG baseline (lossy)"},
        {gdcm::TransferSyntax::JPEGExtendedProcess2_4, "JPEG extended (lossy)"},
        {gdcm::TransferSyntax::JPEGLosslessProcess14, "JPEG lossless"},
        {gdcm::TransferSyntax::JPEGLosslessProcess14_1, "JPEG lossless"},
        {gdcm::TransferSyntax::JPEGLSLossless, "JPEG-LS lossless"},
        {gdcm::TransferSyntax::JPEGLSNearLossless, "JPEG-LS near-lossless"},
        {gdcm::TransferSyntax::JPEG2000Lossless, "JPEG 2000 lossless"},
        {gdcm::TransferSyntax::JPEG2000, "JPEG 2000"},
        {gdcm::TransferSyntax::RLELossless, "RLE"},
    };
    const gdcm::TransferSyntax::TSType type = gdcm::TransferSyntax::GetTSType(uid.c_str());
    for (const Name& n : names)
        if (n.type == type) {
            supported = true;
            return n.name;
        }
    supported = false;
    return type == gdcm::TransferSyntax::TS_END
               ? "unknown transfer syntax " + uid
               : std::string(gdcm::TransferSyntax::GetTSString(type)) + " (" + uid + ")";
}
