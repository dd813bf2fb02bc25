// NIfTI-1 and NIfTI-2 volumes, plain or gzip-compressed, read through the
// NIfTI library after our own header checks.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <vector>

#include "nifti2_io.h"
#include "readers.h"

namespace {

bool Fail(std::string& error, const std::string& message)
{
    error = message;
    return false;
}

template <class T>
T Swapped(T value)
{
    unsigned char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    std::reverse(bytes, bytes + sizeof(T));
    std::memcpy(&value, bytes, sizeof(T));
    return value;
}

template <class T>
T Field(const unsigned char* bytes, std::size_t offset, bool swap)
{
    T value;
    std::memcpy(&value, bytes + offset, sizeof(T));
    return swap ? Swapped(value) : value;
}

// The uncompressed length of a gzip file. The trailer holds it modulo 2^32
// for a single-member stream; when it does not agree with what the header
// promises, the stream is decompressed to count (and to find truncation).
std::int64_t GzipLength(const std::string& path, std::int64_t expected)
{
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        unsigned char trailer[4];
        const bool ok = std::fseek(f, -4, SEEK_END) == 0 && std::fread(trailer, 1, 4, f) == 4;
        std::fclose(f);
        const std::uint32_t isize =
            static_cast<std::uint32_t>(trailer[0]) | (static_cast<std::uint32_t>(trailer[1]) << 8) |
            (static_cast<std::uint32_t>(trailer[2]) << 16) | (static_cast<std::uint32_t>(trailer[3]) << 24);
        if (ok && expected >= 0 && expected < (std::int64_t(1) << 32) && isize == static_cast<std::uint32_t>(expected))
            return expected;
    }
    gzFile gz = gzopen(path.c_str(), "rb");
    if (!gz) return -1;
    std::vector<char> chunk(1 << 20);
    std::int64_t total = 0;
    for (;;) {
        const int n = gzread(gz, chunk.data(), static_cast<unsigned>(chunk.size()));
        if (n < 0) {
            total = -1;
            break;
        }
        if (n == 0) break;
        total += n;
    }
    int status = Z_OK;
    gzerror(gz, &status);
    gzclose(gz);
    return status == Z_OK || status == Z_STREAM_END ? total : -1;
}

// Keeps the NIfTI library's own complaints off standard error while it runs:
// a file that passed our checks may still make it talk, and the user should
// get one message from us.
class QuietStderr {
public:
    QuietStderr()
    {
        std::fflush(stderr);
        m_saved = dup(2);
        const int devnull = open("/dev/null", O_WRONLY);
        if (devnull >= 0) {
            dup2(devnull, 2);
            close(devnull);
        }
    }
    ~QuietStderr()
    {
        std::fflush(stderr);
        if (m_saved >= 0) {
            dup2(m_saved, 2);
            close(m_saved);
        }
    }
    QuietStderr(const QuietStderr&) = delete;
    QuietStderr& operator=(const QuietStderr&) = delete;

private:
    int m_saved = -1;
};

struct TypeInfo {
    int code;
    const char* name;
    int bits;
};
const TypeInfo kTypes[] = {
    {DT_UINT8, "uint8", 8},
    {DT_INT16, "int16", 16},
    {DT_INT32, "int32", 32},
    {DT_FLOAT32, "float32", 32},
    {DT_COMPLEX64, "complex64", 64},
    {DT_FLOAT64, "float64", 64},
    {DT_RGB24, "rgb24", 24},
    {DT_INT8, "int8", 8},
    {DT_UINT16, "uint16", 16},
    {DT_UINT32, "uint32", 32},
    {DT_INT64, "int64", 64},
    {DT_UINT64, "uint64", 64},
    {DT_FLOAT128, "float128", 128},
    {DT_COMPLEX128, "complex128", 128},
    {DT_COMPLEX256, "complex256", 256},
    {DT_RGBA32, "rgba32", 32},
    {DT_BINARY, "binary", 1},
};

bool IsReadableType(int code)
{
    switch (code) {
    case DT_UINT8:
    case DT_INT16:
    case DT_UINT16:
    case DT_INT8:
    case DT_INT32:
    case DT_UINT32:
    case DT_INT64:
    case DT_UINT64:
    case DT_FLOAT32:
    case DT_FLOAT64: return true;
    default: return false;
    }
}

// Raw value number n of the first frame as a double.
double RawValue(const void* data, int datatype, std::int64_t n)
{
    switch (datatype) {
    case DT_INT8: return static_cast<const std::int8_t*>(data)[n];
    case DT_UINT8: return static_cast<const std::uint8_t*>(data)[n];
    case DT_INT16: return static_cast<const std::int16_t*>(data)[n];
    case DT_UINT16: return static_cast<const std::uint16_t*>(data)[n];
    case DT_INT32: return static_cast<const std::int32_t*>(data)[n];
    case DT_UINT32: return static_cast<const std::uint32_t*>(data)[n];
    case DT_INT64: return static_cast<double>(static_cast<const std::int64_t*>(data)[n]);
    case DT_UINT64: return static_cast<double>(static_cast<const std::uint64_t*>(data)[n]);
    case DT_FLOAT32: return static_cast<const float*>(data)[n];
    case DT_FLOAT64: return static_cast<const double*>(data)[n];
    default: return 0;
    }
}

template <class T>
bool CopyNative(const void* data, std::int64_t count, const int size[3], Volume& volume)
{
    auto* image = new ZelImage<T>();
    volume.image.reset(image);
    if (image->Allocate(ZEL_ALIGNMENT_LINEAR, size[0], size[1], size[2]) != 0) return false;
    std::memcpy(image->GetDataPtr(), data, static_cast<std::size_t>(count) * sizeof(T));
    return true;
}

// Any readable type into signed 16-bit. Integer data that fits is copied
// exactly; anything else is spread over the 16-bit range and the volume's
// slope and intercept take the scale, so real values stay right.
bool ConvertToShort(const void* data, int datatype, std::int64_t count, const int size[3], double slope,
                    double intercept, Volume& volume, std::string& note)
{
    double lo = std::numeric_limits<double>::infinity(), hi = -lo;
    bool integral = true;
    for (std::int64_t n = 0; n < count; ++n) {
        const double v = RawValue(data, datatype, n);
        if (!std::isfinite(v)) continue;
        lo = std::min(lo, v);
        hi = std::max(hi, v);
        if (integral && v != std::floor(v)) integral = false;
    }
    if (!(lo <= hi)) lo = hi = 0;  // nothing finite
    auto* image = new ZelImage<short>();
    volume.image.reset(image);
    if (image->Allocate(ZEL_ALIGNMENT_LINEAR, size[0], size[1], size[2]) != 0) return false;
    short* out = image->GetDataPtr();
    double a = 1.0, b = 0.0;  // raw = stored * a + b
    if (!(integral && lo >= -32768 && hi <= 32767)) {
        a = hi > lo ? (hi - lo) / 65535.0 : 1.0;
        b = lo + 32768.0 * a;
    }
    for (std::int64_t n = 0; n < count; ++n) {
        const double v = RawValue(data, datatype, n);
        double s = std::isfinite(v) ? std::round((v - b) / a) : -32768.0;
        s = std::min(32767.0, std::max(-32768.0, s));
        out[n] = static_cast<short>(s);
    }
    volume.slope = a * slope;
    volume.intercept = b * slope + intercept;
    char text[160];
    if (a == 1.0 && b == 0.0)
        std::snprintf(text, sizeof(text), "%s values converted to signed 16-bit (exactly)",
                      NiftiTypeName(datatype).c_str());
    else
        std::snprintf(text, sizeof(text), "%s values %g..%g rescaled to signed 16-bit (one step = %g)",
                      NiftiTypeName(datatype).c_str(), lo * slope + intercept, hi * slope + intercept,
                      std::fabs(volume.slope));
    note = text;
    return true;
}

// Applies an integral slope and intercept to 8/16-bit data when the result
// fits signed 16-bit: CT stored unsigned with an intercept of -1024 becomes
// plain Hounsfield units.
template <class T>
bool ApplyIntegralScaling(Volume& volume)
{
    if (volume.slope != std::floor(volume.slope) || volume.intercept != std::floor(volume.intercept)) return false;
    const auto& source = static_cast<const ZelImage<T>&>(*volume.image);
    const Zel3DVector<int> size = source.GetImageSize();
    const std::int64_t count = static_cast<std::int64_t>(size.x) * size.y * size.z;
    const T* in = source.GetDataPtr();
    const auto [lo, hi] = std::minmax_element(in, in + count);
    const double a = volume.slope * *lo + volume.intercept, b = volume.slope * *hi + volume.intercept;
    if (std::min(a, b) < -32768 || std::max(a, b) > 32767) return false;
    auto* image = new ZelImage<short>();
    std::unique_ptr<ZelImageBase> keep(image);
    if (image->Allocate(ZEL_ALIGNMENT_LINEAR, size.x, size.y, size.z) != 0) return false;
    const int slope = static_cast<int>(volume.slope), intercept = static_cast<int>(volume.intercept);
    short* out = image->GetDataPtr();
    for (std::int64_t n = 0; n < count; ++n) out[n] = static_cast<short>(slope * static_cast<int>(in[n]) + intercept);
    volume.image = std::move(keep);
    volume.slope = 1.0;
    volume.intercept = 0.0;
    return true;
}

}  // namespace

std::string NiftiTypeName(int datatype)
{
    for (const TypeInfo& t : kTypes)
        if (t.code == datatype) return t.name;
    return std::string();
}

bool CheckNiftiHeaderBytes(const unsigned char* bytes, std::size_t length, std::int64_t fileBytes,
                           NiftiHeaderInfo& info, std::string& error)
{
    if (length < 4) return Fail(error, "file too short for a NIfTI header");
    std::int32_t sizeofHdr = Field<std::int32_t>(bytes, 0, false);
    bool swap = false;
    if (sizeofHdr != 348 && sizeofHdr != 540) {
        swap = true;
        sizeofHdr = Swapped(sizeofHdr);
    }
    if (sizeofHdr != 348 && sizeofHdr != 540) return Fail(error, "not a NIfTI file (no header size 348 or 540)");
    if (length < static_cast<std::size_t>(sizeofHdr)) return Fail(error, "truncated NIfTI header");
    info.swapped = swap;
    std::int64_t headerEnd;
    if (sizeofHdr == 348) {
        info.version = 1;
        const char* magic = reinterpret_cast<const char*>(bytes + 344);
        if (std::memcmp(magic, "ni1\0", 4) == 0)
            return Fail(error, "two-file NIfTI (.hdr/.img) is not supported; give a single .nii or .nii.gz file");
        if (std::memcmp(magic, "n+1\0", 4) != 0) return Fail(error, "not a NIfTI-1 file (bad magic)");
        for (int i = 0; i < 8; ++i) info.dims[i] = Field<std::int16_t>(bytes, 40 + 2 * i, swap);
        info.datatype = Field<std::int16_t>(bytes, 70, swap);
        info.bitpix = Field<std::int16_t>(bytes, 72, swap);
        const float offset = Field<float>(bytes, 108, swap);
        if (!std::isfinite(offset) || offset < 0 || offset > 1e12f || offset != std::floor(offset))
            return Fail(error, "corrupt NIfTI header: bad data offset");
        info.voxOffset = static_cast<std::int64_t>(offset);
        headerEnd = 352;  // the header and the extension flag
    } else {
        info.version = 2;
        if (std::memcmp(bytes + 4, "n+2\0\r\n\032\n", 8) != 0) {
            if (std::memcmp(bytes + 4, "ni2\0", 4) == 0)
                return Fail(error, "two-file NIfTI (.hdr/.img) is not supported; give a single .nii or .nii.gz file");
            return Fail(error, "not a NIfTI-2 file (bad magic)");
        }
        info.datatype = Field<std::int16_t>(bytes, 12, swap);
        info.bitpix = Field<std::int16_t>(bytes, 14, swap);
        for (int i = 0; i < 8; ++i) info.dims[i] = Field<std::int64_t>(bytes, 16 + 8 * i, swap);
        info.voxOffset = Field<std::int64_t>(bytes, 168, swap);
        headerEnd = 544;
    }
    const std::int64_t ndim = info.dims[0];
    if (ndim < 1 || ndim > 7) return Fail(error, "corrupt NIfTI header: " + std::to_string(ndim) + " dimensions");
    std::int64_t voxels = 1;
    for (int i = 1; i <= ndim; ++i) {
        const std::int64_t d = info.dims[i];
        if (d < 1)
            return Fail(error, "corrupt NIfTI header: dimension " + std::to_string(i) + " is " + std::to_string(d));
        if (i <= 3 && d > 65535)
            return Fail(error, "volume too large: dimension " + std::to_string(i) + " is " + std::to_string(d) +
                                   " (at most 65535)");
        if (voxels > (std::int64_t(1) << 40) / d) return Fail(error, "corrupt NIfTI header: too many voxels");
        voxels *= d;
    }
    for (int i = static_cast<int>(ndim) + 1; i <= 7; ++i) info.dims[i] = 1;
    if (ndim < 3) info.dims[3] = 1;
    if (ndim < 2) info.dims[2] = 1;
    const std::string type = NiftiTypeName(info.datatype);
    if (type.empty())
        return Fail(error, "corrupt NIfTI header: unknown data type code " + std::to_string(info.datatype));
    if (!IsReadableType(info.datatype))
        return Fail(error, "unsupported voxel type " + type + " (grey-scale integer or float data only)");
    int bits = 0;
    for (const TypeInfo& t : kTypes)
        if (t.code == info.datatype) bits = t.bits;
    if (info.bitpix != bits)
        return Fail(error, "corrupt NIfTI header: " + std::to_string(info.bitpix) + " bits per voxel for type " + type);
    if (info.voxOffset < headerEnd)
        return Fail(error,
                    "corrupt NIfTI header: data offset " + std::to_string(info.voxOffset) + " lies inside the header");
    info.dataBytes = voxels * (bits / 8);
    if (fileBytes >= 0 && fileBytes < info.voxOffset + info.dataBytes)
        return Fail(error, "file is truncated: the header promises " + std::to_string(info.voxOffset + info.dataBytes) +
                               " bytes, the file holds " + std::to_string(fileBytes));
    return true;
}

bool CheckNiftiHeader(const std::string& path, NiftiHeaderInfo& info, std::string& error)
{
    struct stat st;
    if (stat(path.c_str(), &st) != 0) return Fail(error, "cannot open '" + path + "': " + std::strerror(errno));
    if (S_ISDIR(st.st_mode)) return Fail(error, "'" + path + "' is a directory");
    gzFile gz = gzopen(path.c_str(), "rb");
    if (!gz) return Fail(error, "cannot open '" + path + "': " + std::strerror(errno));
    unsigned char header[540];
    const int got = gzread(gz, header, sizeof(header));
    info.gzip = gzdirect(gz) == 0;
    gzclose(gz);
    if (got < 0) return Fail(error, "'" + path + "': corrupt compressed data");
    std::string why;
    // The full length is known only after the header says how much to expect.
    if (!CheckNiftiHeaderBytes(header, static_cast<std::size_t>(got), -1, info, why))
        return Fail(error, "'" + path + "': " + why);
    std::int64_t length = static_cast<std::int64_t>(st.st_size);
    if (info.gzip) {
        length = GzipLength(path, info.voxOffset + info.dataBytes);
        if (length < 0) return Fail(error, "'" + path + "': corrupt or truncated compressed data");
    }
    if (!CheckNiftiHeaderBytes(header, static_cast<std::size_t>(got), length, info, why))
        return Fail(error, "'" + path + "': " + why);
    return true;
}

bool ReadNiftiVolume(const std::string& path, Volume& volume, std::string& error, bool quiet)
{
    NiftiHeaderInfo info;
    if (!CheckNiftiHeader(path, info, error)) return false;

    nifti_image* nim = nullptr;
    {
        QuietStderr silence;
        nifti_set_debug_level(0);
        nim = nifti_image_read(path.c_str(), 1);
    }
    if (!nim || !nim->data) {
        if (nim) nifti_image_free(nim);
        return Fail(error, "'" + path + "': the NIfTI data could not be read");
    }
    std::unique_ptr<nifti_image, void (*)(nifti_image*)> owner(nim, nifti_image_free);

    const int size[3] = {static_cast<int>(nim->nx), static_cast<int>(std::max<std::int64_t>(1, nim->ny)),
                         static_cast<int>(std::max<std::int64_t>(1, nim->nz))};
    const std::int64_t count = static_cast<std::int64_t>(size[0]) * size[1] * size[2];
    volume.frames = std::max<std::int64_t>(1, nim->nvox / std::max<std::int64_t>(1, count));
    volume.source = path;
    volume.format = std::string(info.version == 1 ? "NIfTI-1" : "NIfTI-2") + (info.gzip ? " (gzip)" : "");
    volume.fileType = NiftiTypeName(nim->datatype);

    double slope = nim->scl_slope, intercept = nim->scl_inter;
    if (!std::isfinite(slope) || slope == 0) slope = 1, intercept = 0;
    if (!std::isfinite(intercept)) intercept = 0;
    volume.slope = slope;
    volume.intercept = intercept;

    std::string note;
    bool ok = true;
    switch (nim->datatype) {
    case DT_UINT8: ok = CopyNative<unsigned char>(nim->data, count, size, volume); break;
    case DT_INT16: ok = CopyNative<short>(nim->data, count, size, volume); break;
    case DT_UINT16: ok = CopyNative<unsigned short>(nim->data, count, size, volume); break;
    default: ok = ConvertToShort(nim->data, nim->datatype, count, size, slope, intercept, volume, note); break;
    }
    if (!ok) return Fail(error, "not enough memory for '" + path + "'");
    if (volume.slope != 1.0 || volume.intercept != 0.0) {
        switch (volume.image->GetVoxelType()) {
        case ZEL_VOXEL_UCHAR: ApplyIntegralScaling<unsigned char>(volume); break;
        case ZEL_VOXEL_USHORT: ApplyIntegralScaling<unsigned short>(volume); break;
        case ZEL_VOXEL_SHORT: ApplyIntegralScaling<short>(volume); break;
        default: break;
        }
    }

    double spacing[3] = {std::fabs(nim->dx), std::fabs(nim->dy), std::fabs(nim->dz)};
    for (double& s : spacing)
        if (!std::isfinite(s) || s <= 0) s = 1.0;
    volume.image->SetImageScale(
        {static_cast<float>(spacing[0]), static_cast<float>(spacing[1]), static_cast<float>(spacing[2])});

    const nifti_dmat44* m = nullptr;
    if (nim->sform_code > 0) {
        m = &nim->sto_xyz;
        volume.orientationSource = "sform";
    } else if (nim->qform_code > 0) {
        m = &nim->qto_xyz;
        volume.orientationSource = "qform";
    }
    bool finite = m != nullptr;
    for (int r = 0; r < 3 && m; ++r)
        for (int c = 0; c < 4; ++c) finite = finite && std::isfinite(m->m[r][c]);
    if (finite) {
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 4; ++c) volume.ijkToPatient[r][c] = m->m[r][c];
    } else {
        // No usable orientation: the old convention of index axes along x, y, z.
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 4; ++c) volume.ijkToPatient[r][c] = r == c ? spacing[r] : 0.0;
        volume.orientationSource = "spacing only (no orientation in the file)";
    }
    if (!quiet) {
        if (!note.empty()) std::fprintf(stderr, "zelgen: note: %s: %s\n", path.c_str(), note.c_str());
        if (volume.frames > 1)
            std::fprintf(stderr, "zelgen: note: %s holds %lld volumes; using the first\n", path.c_str(),
                         static_cast<long long>(volume.frames));
    }
    return true;
}
