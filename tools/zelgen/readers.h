// The reading stage: volume files (and the phantom) into the volume model.
//
// A reader works in two steps, so that the voxels can be read straight into
// the layout the pictures want: ReadHeader describes the volume (size,
// transform, value type, frames) without touching the voxels; ReadVoxels then
// reads the chosen frame into a signed 16-bit image of the given layout.
// Readers are picked by the file's content (OpenVolumeReader); a new format
// is one more entry in the list there and one more reader file.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "options.h"
#include "volume.h"

class VolumeReader {
public:
    virtual ~VolumeReader() = default;
    // Fills everything but the voxels. Checks the frame asked for exists.
    virtual bool ReadHeader(Volume& volume, std::string& error) = 0;
    // Reads frame volume.frame into volume.image with `alignment`
    // (ZEL_ALIGNMENT_LINEAR or ZEL_ALIGNMENT_TILED).
    virtual bool ReadVoxels(Volume& volume, int alignment, std::string& error) = 0;
};

// The reader for the input: the phantom, raw voxels (with --raw-size), a
// directory (of DICOM files), or a file recognised by its first bytes. Null with a message when nothing can
// read it.
std::unique_ptr<VolumeReader> OpenVolumeReader(const InputOptions& input, std::string& error);

// Header and voxels in one go, in the linear layout.
bool LoadVolume(const InputOptions& input, Volume& volume, std::string& error);

// The readers (one file each).
std::unique_ptr<VolumeReader> MakeNiftiReader(const std::string& path, std::int64_t frame);
std::unique_ptr<VolumeReader> MakeRawReader(const InputOptions& input);
std::unique_ptr<VolumeReader> MakePhantomReader(const InputOptions& input);
// A DICOM file, a directory of them (searched recursively) or a DICOMDIR.
std::unique_ptr<VolumeReader> MakeDicomReader(const InputOptions& input);

// What a NIfTI-1, NIfTI-2 or Analyze 7.5 header says, after our own checks.
struct NiftiHeaderInfo {
    int version = 0;       // 1 or 2; 0 for Analyze 7.5
    bool pair = false;     // the voxels are in a separate .img file
    bool swapped = false;  // stored in the other byte order
    std::int64_t dims[8] = {0};
    int datatype = 0;
    int bitpix = 0;
    int intent = 0;
    std::int64_t voxOffset = 0;
    std::int64_t dataBytes = 0;  // bytes of the whole data block (all frames)
    double pixdim[8] = {0};
    double slope = 0;
    double intercept = 0;
    int qformCode = 0;
    int sformCode = 0;
    double quatern[3] = {0, 0, 0};  // b, c, d
    double qoffset[3] = {0, 0, 0};
    double srow[3][4] = {{0}};
};

// Checks a header in memory (348 bytes, 540 for NIfTI-2): the header size,
// magic, dimensions, data type, intent (volumes only), data offset and
// quaternion. `fileBytes` is the length of the (uncompressed) file when the
// voxels are in it, or -1 when unknown.
bool CheckNiftiHeaderBytes(const unsigned char* bytes, std::size_t length, std::int64_t fileBytes,
                           NiftiHeaderInfo& info, std::string& error);
// Name of a NIfTI data type code ("int16", "float32", ...); empty if unknown.
std::string NiftiTypeName(int datatype);
// Whether the first bytes of a file (uncompressed) look like such a header.
bool LooksLikeNiftiHeader(const unsigned char* bytes, std::size_t length);
