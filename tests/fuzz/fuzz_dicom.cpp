// The DICOM reader on one file from memory: the header scan, the grid, the
// value scale and the decoding of every frame, as zelgen reads a file.
#include "dicom.h"
#include "fuzz_input.h"
#include "readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static MemoryFile file;
    // GDCM's assertions on damaged files end the read, as in zelgen,
    // without ending the fuzzing.
    SetDicomAbort(DicomAbort::Return);
    InputOptions input;
    input.path = file.Hold(data, size);
    Volume volume;
    std::string error;
    std::unique_ptr<VolumeReader> reader = MakeDicomReader(input);
    if (reader->ReadHeader(volume, error))
        reader->ReadVoxels(volume, size % 2 ? ZEL_ALIGNMENT_TILED : ZEL_ALIGNMENT_LINEAR, error);
    return 0;
}
