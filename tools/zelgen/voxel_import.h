// From the samples of a file to the volume's voxels. Every reader hands its
// samples (any scalar type, either byte order) to the same import, which
// holds them as signed 16-bit values with a linear value scale: exactly when
// the values are whole numbers that fit, spread over the 16-bit range
// otherwise. The voxels are written straight into the layout the pictures
// want, so no second copy of the volume is ever made.
#pragma once

#include <cstdint>
#include <string>

#include "ZelImage.h"
#include "byte_stream.h"
#include "volume.h"

enum class SampleType { Int8, Uint8, Int16, Uint16, Int32, Uint32, Int64, Uint64, Float32, Float64 };

int SampleBytes(SampleType type);
const char* SampleTypeName(SampleType type);
// Whether the stored form depends on the values (a first pass is needed).
bool NeedsSurvey(SampleType type);

// The samples of one 3-D frame as they lie in a file, x fastest.
struct SampleLayout {
    SampleType type = SampleType::Int16;
    bool swap = false;  // stored in the other byte order
    int size[3] = {0, 0, 0};
    std::int64_t FrameBytes() const
    {
        return static_cast<std::int64_t>(size[0]) * size[1] * size[2] * SampleBytes(type);
    }
};

// What a first pass learns about the values; non-finite values (NaN,
// infinities) have no value and stay out of the range.
struct SampleSurvey {
    double lo = 0;
    double hi = 0;
    bool anyFinite = false;
    bool integral = true;
    bool nonFinite = false;
};

// stored = round((sample - offset) / step), clamped to the 16-bit range;
// samples without a value are stored as Volume::kNoValue.
struct SampleMapping {
    double offset = 0;
    double step = 1;
    bool exact = true;  // every sample is held without rounding
    bool noValue = false;
};
SampleMapping ChooseMapping(SampleType type, const SampleSurvey& survey);

// Converts `count` samples (file bytes) to stored values.
void ConvertSamples(const unsigned char* bytes, const SampleLayout& layout, std::size_t count,
                    const SampleMapping& mapping, short* out);

// Reads one frame from `stream` (positioned at its first byte): the survey,
// or the voxels into `image` (already allocated with the frame's size, in
// either layout).
bool SurveyFrame(ByteStream& stream, const SampleLayout& layout, SampleSurvey& survey, std::string& error);
bool ImportFrame(ByteStream& stream, const SampleLayout& layout, const SampleMapping& mapping, ZelImage<short>& image,
                 std::string& error);
// Copies one row of stored values into row (y, z) of `image`, in either layout.
void PutRow(ZelImage<short>& image, int y, int z, const short* row);

// Whether the voxels of a volume of `size` may be allocated: a header that
// claims more than the memory limit is refused before anything is
// allocated. The limit is the machine's memory unless set (the fuzzing
// harnesses set a small one).
bool CheckVolumeMemory(const int size[3], std::string& error);
void SetVolumeMemoryLimit(std::int64_t bytes);

// Sets the volume's value scale (the mapping, then the file's own slope and
// intercept), whether it is exact, and the note on how the values of type
// `typeName` are held.
void SetValueScale(Volume& volume, const char* typeName, const SampleMapping& mapping, double fileSlope,
                   double fileIntercept);

// The whole import of one frame at byte `frameStart` of `path`: a survey
// first when the type needs one (reading the file to its end, so damage is
// found before anything is shown), then the voxels. Sets the volume's image
// (allocated in `alignment`), value scale (after the file's own slope and
// intercept) and note.
// `dataBytes`, when given, receives the length of the file's data.
bool ImportVolume(const std::string& path, std::int64_t frameStart, const SampleLayout& layout, double fileSlope,
                  double fileIntercept, int alignment, Volume& volume, std::string& error,
                  std::int64_t* dataBytes = nullptr);
