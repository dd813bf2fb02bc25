// NIfTI-1, NIfTI-2 and Analyze 7.5 headers: decoded and checked here, so
// that a damaged or unusual header gets a message that says what is wrong.
#include <cmath>
#include <cstring>

#include "nifti2_io.h"
#include "readers.h"

namespace {

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

bool IsScalarType(int code)
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

// What a non-volume intent holds; empty for intents whose voxels are values
// on a grid (statistics, estimates, labels, time series).
std::string NonVolumeIntent(int intent)
{
    if (intent >= 3000 && intent < 3100) return "CIFTI data (a matrix over brain locations)";
    switch (intent) {
    case NIFTI_INTENT_GENMATRIX: return "a matrix per voxel";
    case NIFTI_INTENT_SYMMATRIX: return "a symmetric matrix per voxel";
    case NIFTI_INTENT_DISPVECT: return "displacement vectors";
    case NIFTI_INTENT_VECTOR: return "vectors";
    case NIFTI_INTENT_POINTSET: return "a point set";
    case NIFTI_INTENT_TRIANGLE: return "triangles";
    case NIFTI_INTENT_QUATERNION: return "quaternions";
    case NIFTI_INTENT_NODE_INDEX: return "surface node indices";
    case NIFTI_INTENT_RGB_VECTOR: return "RGB vectors";
    case NIFTI_INTENT_RGBA_VECTOR: return "RGBA vectors";
    case NIFTI_INTENT_SHAPE: return "surface shape values";
    default: return std::string();
    }
}

// The fields both versions share, from either header structure.
template <class Header>
void CopyFields(const Header& h, NiftiHeaderInfo& info)
{
    for (int i = 0; i < 8; ++i) {
        info.dims[i] = h.dim[i];
        info.pixdim[i] = h.pixdim[i];
    }
    info.datatype = h.datatype;
    info.bitpix = h.bitpix;
    info.intent = h.intent_code;
    info.slope = h.scl_slope;
    info.intercept = h.scl_inter;
    info.qformCode = h.qform_code;
    info.sformCode = h.sform_code;
    const double q[6] = {h.quatern_b, h.quatern_c, h.quatern_d, h.qoffset_x, h.qoffset_y, h.qoffset_z};
    for (int i = 0; i < 3; ++i) {
        info.quatern[i] = q[i];
        info.qoffset[i] = q[i + 3];
    }
    for (int c = 0; c < 4; ++c) {
        info.srow[0][c] = h.srow_x[c];
        info.srow[1][c] = h.srow_y[c];
        info.srow[2][c] = h.srow_z[c];
    }
}

}  // namespace

std::string NiftiTypeName(int datatype)
{
    for (const TypeInfo& t : kTypes)
        if (t.code == datatype) return t.name;
    return std::string();
}

bool LooksLikeNiftiHeader(const unsigned char* bytes, std::size_t length)
{
    if (length < 4) return false;
    std::int32_t size;
    std::memcpy(&size, bytes, 4);
    const std::int32_t swapped = static_cast<std::int32_t>(__builtin_bswap32(static_cast<std::uint32_t>(size)));
    return size == 348 || size == 540 || swapped == 348 || swapped == 540;
}

bool CheckNiftiHeaderBytes(const unsigned char* bytes, std::size_t length, std::int64_t fileBytes,
                           NiftiHeaderInfo& info, std::string& error)
{
    if (!LooksLikeNiftiHeader(bytes, length)) return Fail(error, "not a NIfTI file (no header size 348 or 540)");
    std::int32_t sizeofHdr;
    std::memcpy(&sizeofHdr, bytes, 4);
    info.swapped = sizeofHdr != 348 && sizeofHdr != 540;
    const bool two = sizeofHdr == 540 || (info.swapped && sizeofHdr != 348 &&
                                          __builtin_bswap32(static_cast<std::uint32_t>(sizeofHdr)) == 540);
    if (length < (two ? 540u : 348u)) return Fail(error, "truncated NIfTI header");
    std::int64_t headerEnd;
    if (!two) {
        nifti_1_header h;
        std::memcpy(&h, bytes, sizeof(h));
        if (info.swapped) nifti_swap_as_nifti1(&h);
        if (std::memcmp(h.magic, "n+1\0", 4) == 0) {
            info.version = 1;
        } else if (std::memcmp(h.magic, "ni1\0", 4) == 0) {
            info.version = 1;
            info.pair = true;
        } else if (h.magic[0] == 'n') {
            return Fail(error, "not a NIfTI-1 file (bad magic)");
        } else {
            info.version = 0;  // Analyze 7.5: the same layout without the NIfTI fields
            info.pair = true;
        }
        CopyFields(h, info);
        const double offset = h.vox_offset;
        if (!std::isfinite(offset) || offset < 0 || offset > 1e12 || offset != std::floor(offset))
            return Fail(error, "corrupt NIfTI header: bad data offset");
        info.voxOffset = static_cast<std::int64_t>(offset);
        headerEnd = 352;  // the header and the extension flag
    } else {
        nifti_2_header h;
        std::memcpy(&h, bytes, sizeof(h));
        if (info.swapped) nifti_swap_as_nifti2(&h);
        info.version = 2;
        if (std::memcmp(h.magic, "n+2\0\r\n\032\n", 8) == 0) {
        } else if (std::memcmp(h.magic, "ni2\0\r\n\032\n", 8) == 0) {
            info.pair = true;
        } else {
            return Fail(error, "not a NIfTI-2 file (bad magic)");
        }
        CopyFields(h, info);
        info.voxOffset = h.vox_offset;
        headerEnd = 544;
    }
    if (info.version == 0) {
        // Analyze has no intent, scaling codes or transforms in these places.
        info.intent = 0;
        info.qformCode = info.sformCode = 0;
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
    const std::string intent = NonVolumeIntent(info.intent);
    if (!intent.empty())
        return Fail(error,
                    "not a volume: the file holds " + intent + " (intent code " + std::to_string(info.intent) + ")");
    const std::string type = NiftiTypeName(info.datatype);
    if (type.empty())
        return Fail(error, "corrupt NIfTI header: unknown data type code " + std::to_string(info.datatype));
    if (!IsScalarType(info.datatype))
        return Fail(error, "unsupported voxel type " + type + " (grey-scale integer or float data only)");
    int bits = 0;
    for (const TypeInfo& t : kTypes)
        if (t.code == info.datatype) bits = t.bits;
    if (info.bitpix != bits)
        return Fail(error, "corrupt NIfTI header: " + std::to_string(info.bitpix) + " bits per voxel for type " + type);
    if (!info.pair && info.voxOffset < headerEnd)
        return Fail(error,
                    "corrupt NIfTI header: data offset " + std::to_string(info.voxOffset) + " lies inside the header");
    if (info.qformCode > 0) {
        // The quaternion's vector part must have length at most 1 (its
        // fourth component is derived from it); float rounding aside.
        const double b = info.quatern[0], c = info.quatern[1], d = info.quatern[2];
        const double sum = b * b + c * c + d * d;
        if (!std::isfinite(sum) || sum > 1.0 + 1e-6)
            return Fail(error, "corrupt NIfTI header: the qform quaternion (" + std::to_string(b) + ", " +
                                   std::to_string(c) + ", " + std::to_string(d) + ") is not a rotation");
    }
    info.dataBytes = voxels * (bits / 8);
    if (fileBytes >= 0 && fileBytes < info.voxOffset + info.dataBytes)
        return Fail(error, "file is truncated: the header promises " + std::to_string(info.voxOffset + info.dataBytes) +
                               " bytes, the file holds " + std::to_string(fileBytes));
    return true;
}
