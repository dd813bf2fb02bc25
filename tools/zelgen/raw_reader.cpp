// Raw voxel files: no header, the size and type come from the options.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "readers.h"

namespace {

template <class T>
bool ReadInto(FILE* file, const int size[3], Volume& volume)
{
    auto* image = new ZelImage<T>();
    volume.image.reset(image);
    if (image->Allocate(ZEL_ALIGNMENT_LINEAR, size[0], size[1], size[2]) != 0) return false;
    const std::size_t count = static_cast<std::size_t>(size[0]) * size[1] * size[2];
    return std::fread(image->GetDataPtr(), sizeof(T), count, file) == count;
}

}  // namespace

bool ReadRawVolume(const InputOptions& input, Volume& volume, std::string& error)
{
    const std::string& path = input.path;
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        error = "cannot open '" + path + "': " + std::strerror(errno);
        return false;
    }
    if (S_ISDIR(st.st_mode)) {
        error = "'" + path + "' is a directory";
        return false;
    }
    const int bytes = input.rawType == RawType::Uint8 ? 1 : 2;
    const long long expected =
        input.rawOffset + static_cast<long long>(input.rawSize[0]) * input.rawSize[1] * input.rawSize[2] * bytes;
    if (static_cast<long long>(st.st_size) != expected) {
        error = "'" + path + "' holds " + std::to_string(static_cast<long long>(st.st_size)) + " bytes, but " +
                std::to_string(input.rawSize[0]) + "x" + std::to_string(input.rawSize[1]) + "x" +
                std::to_string(input.rawSize[2]) + " voxels of " + std::to_string(bytes) + " byte" +
                (bytes > 1 ? "s" : "") + (input.rawOffset ? " after the offset" : "") + " need " +
                std::to_string(expected);
        return false;
    }
    FILE* file = std::fopen(path.c_str(), "rb");
    if (!file) {
        error = "cannot open '" + path + "': " + std::strerror(errno);
        return false;
    }
    bool ok = std::fseek(file, static_cast<long>(input.rawOffset), SEEK_SET) == 0;
    if (ok) {
        switch (input.rawType) {
        case RawType::Int16: ok = ReadInto<short>(file, input.rawSize, volume); break;
        case RawType::Uint16: ok = ReadInto<unsigned short>(file, input.rawSize, volume); break;
        case RawType::Uint8: ok = ReadInto<unsigned char>(file, input.rawSize, volume); break;
        }
    }
    std::fclose(file);
    if (!ok) {
        error = "cannot read '" + path + "'";
        return false;
    }
    volume.image->SetImageScale({static_cast<float>(input.spacing[0]), static_cast<float>(input.spacing[1]),
                                 static_cast<float>(input.spacing[2])});
    volume.source = path;
    volume.format = "raw";
    volume.fileType = input.rawType == RawType::Int16 ? "int16" : input.rawType == RawType::Uint16 ? "uint16" : "uint8";
    SetDicomOrder(volume, input.spacing);
    volume.orientationSource = "assumed (DICOM order)";
    return true;
}
