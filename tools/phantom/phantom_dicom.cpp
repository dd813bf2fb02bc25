#include "phantom_dicom.h"

#include <gdcmAttribute.h>
#include <gdcmImageChangeTransferSyntax.h>
#include <gdcmImageWriter.h>
#include <gdcmTrace.h>
#include <gdcmUIDGenerator.h>
#include <gdcmWriter.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <sstream>

namespace {

void PutText(gdcm::DataSet& ds, gdcm::Tag tag, gdcm::VR vr, std::string value)
{
    if (value.size() % 2) value += vr == gdcm::VR::UI ? '\0' : ' ';
    gdcm::DataElement de(tag);
    de.SetVR(vr);
    de.SetByteValue(value.data(), static_cast<std::uint32_t>(value.size()));
    ds.Replace(de);
}

std::string Numbers(const double* v, int n)
{
    std::string text;
    for (int i = 0; i < n; ++i) {
        char part[32];
        std::snprintf(part, sizeof(part), "%.10g", v[i]);
        text += (i ? "\\" : "") + std::string(part);
    }
    return text;
}

// The stored sample of a value, with the unused high bits as asked.
std::uint32_t Stored(double value, double slope, double intercept, const ZelDicomSeriesOptions& o)
{
    const long long s = std::llround((value - intercept) / slope);
    const std::uint32_t mask = o.bitsStored >= 32 ? 0xffffffffu : (1u << o.bitsStored) - 1;
    std::uint32_t bits = static_cast<std::uint32_t>(s) & mask;
    if (o.dirtyHighBits) bits |= ~mask;
    return bits;
}

void AppendSample(std::string& out, std::uint32_t bits, int bytes)
{
    for (int b = 0; b < bytes; ++b) out += static_cast<char>((bits >> (8 * b)) & 0xff);
}

}  // namespace

bool ZelWriteDicomSeries(const ZelImage<short>& volume, const ZelDicomSeriesOptions& o, std::string& error)
{
    gdcm::Trace::SetWarning(false);
    std::error_code ec;
    std::filesystem::create_directories(o.directory, ec);
    const Zel3DVector<int> size = volume.GetImageSize();
    const short* voxels = volume.GetDataPtr();
    gdcm::UIDGenerator uids;
    const std::string series = o.seriesUid.empty() ? uids.Generate() : o.seriesUid;
    const std::string study = uids.Generate();
    const int bytes = o.bitsAllocated / 8;
    const std::size_t plane = static_cast<std::size_t>(size.x) * static_cast<std::size_t>(size.y);
    // An enhanced file's frame positions are written by GDCM along the
    // normal of the slices.
    const double normal[3] = {o.row[1] * o.column[2] - o.row[2] * o.column[1],
                              o.row[2] * o.column[0] - o.row[0] * o.column[2],
                              o.row[0] * o.column[1] - o.row[1] * o.column[0]};
    const double along = normal[0] * o.step[0] + normal[1] * o.step[1] + normal[2] * o.step[2];
    if (o.multiFrame && (!o.skip.empty() || !(along > 0) ||
                         std::fabs(along * along - (o.step[0] * o.step[0] + o.step[1] * o.step[1] +
                                                    o.step[2] * o.step[2])) > 1e-9 * along * along)) {
        error = "a multi-frame series is written with its slices along the normal, none left out";
        return false;
    }
    const int frames = o.multiFrame ? size.z : 1;
    const int files = o.multiFrame ? 1 : size.z;
    for (int f = 0; f < files; ++f) {
        if (std::find(o.skip.begin(), o.skip.end(), f) != o.skip.end()) continue;
        gdcm::SmartPointer<gdcm::Image> image = new gdcm::Image;
        image->SetNumberOfDimensions(frames > 1 ? 3 : 2);
        image->SetDimension(0, static_cast<unsigned>(size.x));
        image->SetDimension(1, static_cast<unsigned>(size.y));
        if (frames > 1) image->SetDimension(2, static_cast<unsigned>(frames));
        image->SetPixelFormat(gdcm::PixelFormat(1, static_cast<unsigned short>(o.bitsAllocated),
                                                static_cast<unsigned short>(o.bitsStored),
                                                static_cast<unsigned short>(o.bitsStored - 1), o.isSigned ? 1 : 0));
        image->SetPhotometricInterpretation(o.monochrome1 ? gdcm::PhotometricInterpretation::MONOCHROME1
                                                          : gdcm::PhotometricInterpretation::MONOCHROME2);
        const double intercept =
            o.sliceIntercepts.empty() ? o.intercept : o.sliceIntercepts[static_cast<std::size_t>(f)];
        double origin[3], direction[6];
        for (int a = 0; a < 3; ++a) {
            origin[a] = o.origin[a] + f * o.step[a];
            direction[a] = o.row[a];
            direction[a + 3] = o.column[a];
        }
        image->SetOrigin(origin);
        image->SetDirectionCosines(direction);
        const double step = std::sqrt(o.step[0] * o.step[0] + o.step[1] * o.step[1] + o.step[2] * o.step[2]);
        const double spacing[3] = {o.pixelSpacing[1], o.pixelSpacing[0], step};
        image->SetSpacing(spacing);
        image->SetSlope(o.slope);
        image->SetIntercept(intercept);
        std::string pixels;
        pixels.reserve(plane * static_cast<std::size_t>(frames * bytes));
        const short* first = voxels + plane * static_cast<std::size_t>(f);
        for (std::size_t n = 0; n < plane * static_cast<std::size_t>(frames); ++n)
            AppendSample(pixels, Stored(first[n], o.slope, intercept, o), bytes);
        gdcm::DataElement data(gdcm::Tag(0x7fe0, 0x0010));
        data.SetByteValue(pixels.data(), static_cast<std::uint32_t>(pixels.size()));
        image->SetDataElement(data);

        gdcm::ImageWriter writer;
        const gdcm::TransferSyntax::TSType ts = gdcm::TransferSyntax::GetTSType(
            o.transferSyntax.empty() ? "1.2.840.10008.1.2.1" : o.transferSyntax.c_str());
        gdcm::ImageChangeTransferSyntax change;
        if (ts != gdcm::TransferSyntax::ExplicitVRLittleEndian &&
            ts != gdcm::TransferSyntax::DeflatedExplicitVRLittleEndian) {
            change.SetTransferSyntax(ts);
            change.SetInput(*image);
            if (!change.Change()) {
                error = "GDCM cannot compress to " + o.transferSyntax;
                return false;
            }
            writer.SetImage(change.GetOutput());
        } else {
            image->SetTransferSyntax(ts);
            writer.SetImage(*image);
        }
        gdcm::DataSet& ds = writer.GetFile().GetDataSet();
        const gdcm::MediaStorage ms =
            o.multiFrame ? gdcm::MediaStorage::EnhancedCTImageStorage : gdcm::MediaStorage::CTImageStorage;
        PutText(ds, gdcm::Tag(0x0008, 0x0016), gdcm::VR::UI, gdcm::MediaStorage::GetMSString(ms));
        PutText(ds, gdcm::Tag(0x0020, 0x000e), gdcm::VR::UI, series);
        PutText(ds, gdcm::Tag(0x0020, 0x000d), gdcm::VR::UI, study);
        PutText(ds, gdcm::Tag(0x0008, 0x0060), gdcm::VR::CS, o.modality);
        PutText(ds, gdcm::Tag(0x0008, 0x103e), gdcm::VR::LO, o.description);
        PutText(ds, gdcm::Tag(0x0020, 0x0011), gdcm::VR::IS, std::to_string(o.seriesNumber));
        PutText(ds, gdcm::Tag(0x0020, 0x0013), gdcm::VR::IS, std::to_string(f + 1));
        if (o.windowWidth > 0) {
            PutText(ds, gdcm::Tag(0x0028, 0x1050), gdcm::VR::DS, Numbers(&o.windowCentre, 1));
            PutText(ds, gdcm::Tag(0x0028, 0x1051), gdcm::VR::DS, Numbers(&o.windowWidth, 1));
        }
        char name[64];
        const unsigned scrambled = o.shuffleNames ? (static_cast<unsigned>(f) * 2654435761u) % 1000003u : 0;
        std::snprintf(name, sizeof(name), o.shuffleNames ? "/x%07u.dcm" : "/IM%05u",
                      o.shuffleNames ? scrambled : static_cast<unsigned>(f));
        const std::string path = o.directory + name;
        writer.SetFileName(path.c_str());
        if (!writer.Write()) {
            error = "GDCM cannot write " + path;
            return false;
        }
        if (o.multiFrame) continue;
        // The image writer keeps only two coordinates of a 2-D image's
        // origin; the whole position is written again.
        PutText(ds, gdcm::Tag(0x0020, 0x0032), gdcm::VR::DS, Numbers(origin, 3));
        if (ts == gdcm::TransferSyntax::DeflatedExplicitVRLittleEndian)
            writer.GetFile().GetHeader().SetDataSetTransferSyntax(ts);
        gdcm::Writer again;
        again.SetFile(writer.GetFile());
        again.SetFileName(path.c_str());
        if (!again.Write()) {
            error = "GDCM cannot write " + path;
            return false;
        }
    }
    return true;
}
