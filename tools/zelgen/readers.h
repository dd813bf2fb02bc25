// Volume readers: NIfTI-1/NIfTI-2 (plain or gzip) and raw voxels.
#pragma once

#include <cstdint>
#include <string>

#include "options.h"
#include "volume.h"

// What the NIfTI header says, after our own checks. The library that reads
// the data prints to standard error (and may even end the program) on some
// corrupt input, so every header is checked here first.
struct NiftiHeaderInfo {
    int version = 0;  // 1 or 2
    bool gzip = false;
    bool swapped = false;  // stored in the other byte order
    std::int64_t dims[8] = {0};
    int datatype = 0;
    int bitpix = 0;
    std::int64_t voxOffset = 0;
    std::int64_t dataBytes = 0;  // bytes of the whole data block (all frames)
};

// Reads and checks the header of `path`: the header size field, magic, the
// dimensions, the data type, the data offset, and that the file (or the
// uncompressed stream) holds all the data.
bool CheckNiftiHeader(const std::string& path, NiftiHeaderInfo& info, std::string& error);
// Checks a header already in memory (at least 348 bytes, 540 for NIfTI-2);
// `fileBytes` is the length of the (uncompressed) file, or -1 when unknown.
bool CheckNiftiHeaderBytes(const unsigned char* bytes, std::size_t length, std::int64_t fileBytes,
                           NiftiHeaderInfo& info, std::string& error);

// Name of a NIfTI data type code ("int16", "float32", ...); empty if unknown.
std::string NiftiTypeName(int datatype);

bool ReadNiftiVolume(const std::string& path, Volume& volume, std::string& error, bool quiet);
bool ReadRawVolume(const InputOptions& input, Volume& volume, std::string& error);
