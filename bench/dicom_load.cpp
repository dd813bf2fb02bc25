// One load of a DICOM series, in a process of its own so that its peak
// memory is its own: `zel_dicom_load ours|itk DIR` prints the seconds the
// load took and the process's peak resident memory (KB). `zel_dicom_load
// write DIR SLICES [SYNTAX]` writes a CT series of the phantom, 512 x 512.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "phantom.h"
#include "phantom_dicom.h"
#include "readers.h"

#if defined(ZEL_HAVE_ITK)
#include <itkGDCMImageIO.h>
#include <itkGDCMSeriesFileNames.h>
#include <itkImage.h>
#include <itkImageSeriesReader.h>
#endif

namespace {

bool LoadOurs(const std::string& dir)
{
    InputOptions input;
    input.path = dir;
    Volume volume;
    std::string error;
    if (LoadVolume(input, volume, error)) return true;
    std::fprintf(stderr, "%s\n", error.c_str());
    return false;
}

#if defined(ZEL_HAVE_ITK)
// What most tools do: the series' files sorted by GDCM, then read slice by
// slice into one signed 16-bit image.
bool LoadItk(const std::string& dir)
{
    using Image = itk::Image<short, 3>;
    auto names = itk::GDCMSeriesFileNames::New();
    names->SetUseSeriesDetails(true);
    names->SetRecursive(true);
    names->SetDirectory(dir);
    const auto& series = names->GetSeriesUIDs();
    if (series.empty()) return false;
    auto reader = itk::ImageSeriesReader<Image>::New();
    reader->SetImageIO(itk::GDCMImageIO::New());
    reader->SetFileNames(names->GetFileNames(series.front()));
    try {
        reader->Update();
    } catch (const itk::ExceptionObject& e) {
        std::fprintf(stderr, "%s\n", e.what());
        return false;
    }
    return reader->GetOutput()->GetBufferPointer() != nullptr;
}
#endif

bool Write(const std::string& dir, int slices, const char* syntax)
{
    ZelPhantomOptions p;
    p.sizeX = p.sizeY = 512;
    p.sizeZ = 1;
    p.spacingX = p.spacingY = 0.45f;
    p.spacingZ = 1.0f;
    ZelDicomSeriesOptions o;
    o.directory = dir;
    o.pixelSpacing[0] = o.pixelSpacing[1] = 0.45;
    o.bitsStored = 12;
    o.isSigned = false;
    o.intercept = -1024;
    o.transferSyntax = syntax ? syntax : "";
    o.seriesUid = "1.2.826.0.1.3680043.2.1143.99.1";
    // Chunks of 50 slices of the phantom's head, each written as the next
    // slices of one series.
    const int chunk = 50;
    for (int first = 0; first < slices; first += chunk) {
        p.sizeZ = std::min(chunk, slices - first);
        std::unique_ptr<ZelImage<short>> v(ZelMakeHeadPhantom(p));
        o.origin[2] = first;
        ZelDicomSeriesOptions part = o;
        part.directory = dir;
        std::string error;
        // File names by slice: IM<first + k>.
        part.directory = dir + "/" + std::to_string(first / chunk);
        if (!v || !ZelWriteDicomSeries(*v, part, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            return false;
        }
    }
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc >= 4 && std::strcmp(argv[1], "write") == 0)
        return Write(argv[2], std::atoi(argv[3]), argc > 4 ? argv[4] : nullptr) ? 0 : 1;
    if (argc != 3) {
        std::fprintf(stderr, "usage: zel_dicom_load ours|itk DIR | write DIR SLICES [SYNTAX]\n");
        return 2;
    }
    const auto begin = std::chrono::steady_clock::now();
    bool ok = false;
    if (std::strcmp(argv[1], "ours") == 0) ok = LoadOurs(argv[2]);
#if defined(ZEL_HAVE_ITK)
    if (std::strcmp(argv[1], "itk") == 0) ok = LoadItk(argv[2]);
#endif
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    if (!ok) return 1;
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%.6f %ld\n", seconds.count(), usage.ru_maxrss);
    return 0;
}
