// The NIfTI reader, header and data from memory: plain or gzip-compressed,
// NIfTI-1, NIfTI-2 or Analyze, read as zelgen reads a file.
#include "fuzz_input.h"
#include "readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static MemoryFile file;
    const std::string& path = file.Hold(data, size);
    Volume volume;
    std::string error;
    std::unique_ptr<VolumeReader> reader = MakeNiftiReader(path, 0);
    if (reader->ReadHeader(volume, error))
        reader->ReadVoxels(volume, size % 2 ? ZEL_ALIGNMENT_TILED : ZEL_ALIGNMENT_LINEAR, error);
    return 0;
}
