// DICOM series, read through GDCM: the reading stage's third format.
//
// Reading a DICOM input takes three steps, one file each:
//   dicom_scan.cpp      finds the images under a path (a file, a directory
//                       searched recursively, or a DICOMDIR), reads their
//                       headers only and groups them into series;
//   dicom_geometry.cpp  sorts a series' slices along their normal and lays a
//                       regular grid over them: the slices themselves when
//                       they are evenly spaced and stacked straight, else a
//                       resampling (gantry tilt, uneven or missing slices);
//   dicom_reader.cpp    the VolumeReader: value scale, then every slice
//                       decoded and converted straight into the volume.
// Positions are in DICOM patient coordinates (x to the patient's left, y to
// the back, z to the head) until the volume's transform is set.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZelImage.h"

// One 2-D image of a series: a single-frame file, or one frame of a
// multi-frame file.
struct DicomSlice {
    std::string path;
    int frame = 0;  // within its file
    bool hasPosition = false;
    double position[3] = {0, 0, 0};  // Image Position (Patient): the first pixel's centre
    bool hasOrientation = false;
    double orientation[6] = {1, 0, 0, 0, 1, 0};  // row direction, then column direction
    double slope = 1;                            // Rescale Slope and Intercept
    double intercept = 0;
    bool hasWindow = false;
    double windowCentre = 0;
    double windowWidth = 0;
    long long instance = 0;  // Instance Number, for a stable order
};

// What the slices of one series share, and the slices. A header field that
// differs between slices (size, pixel format, orientation) is recorded in
// `mixed`, which makes the series unreadable.
struct DicomSeries {
    std::string uid;
    std::string modality;
    std::string description;
    long long number = 0;  // Series Number
    int rows = 0;
    int columns = 0;
    double pixelSpacing[2] = {1, 1};  // between rows, between columns (mm)
    bool hasPixelSpacing = false;
    double sliceSpacing = 0;  // Spacing Between Slices, else Slice Thickness; 0 if neither
    int samplesPerPixel = 1;
    int bitsAllocated = 16;
    int bitsStored = 16;
    int highBit = 15;
    bool isSigned = false;  // Pixel Representation 1
    std::string photometric;
    std::string transferSyntax;  // UID
    std::vector<DicomSlice> slices;
    std::vector<std::string> files;  // each file once
    std::string mixed;               // why the slices do not form one volume; empty when they do

    long long Voxels() const { return static_cast<long long>(rows) * columns * static_cast<long long>(slices.size()); }
};

// Whether the bytes of a file's start are a DICOM file (the magic "DICM" at
// byte 128).
bool LooksLikeDicom(const unsigned char* bytes, std::size_t length);

// Every image series under `path`. Files that are not DICOM images are
// skipped when a directory is searched (`skipped` counts the DICOM files
// among them, reports and the like); a damaged DICOM file is refused, and
// a file named directly must be an image.
// The series come sorted by Series Number, then description and UID.
bool ScanDicom(const std::string& path, std::vector<DicomSeries>& series, int& skipped, std::string& error);

// One line per series, for `info` and for choosing: "1  CT  'Head'  512 x 512 x 300  UID".
std::string DescribeSeries(const DicomSeries& series, int number);

// The name of a transfer syntax ("JPEG lossless", ...) and whether its
// pixels can be decoded.
std::string TransferSyntaxName(const std::string& uid, bool& supported);

// How a series' slices become the volume's grid. The grid's axes are the
// row direction (i), the column direction (j) and the normal (k); slice k of
// the grid lies at `origin` + k * step * normal.
struct DicomGrid {
    int size[3] = {0, 0, 0};
    double axes[3][3] = {{0}};  // unit vectors of i, j, k (patient, LPS)
    double spacing[3] = {1, 1, 1};
    double origin[3] = {0, 0, 0};  // centre of voxel (0, 0, 0)
    // The series' slices, sorted along the normal.
    std::vector<int> order;          // index into DicomSeries::slices
    std::vector<double> along;       // each sorted slice's distance along the normal from the first
    std::vector<double> shift[2];    // its offset in the plane from the grid (columns, rows)
    bool resample = false;           // false: grid slice k is sorted slice k, pixel for pixel
    std::vector<std::string> notes;  // what was found and done (tilt, gaps, uneven spacing)
};

// Sorts the slices and lays the grid; false with a message for slices that
// cannot form a volume (two at one place, no common orientation, ...).
bool PlanDicomGrid(const DicomSeries& series, DicomGrid& grid, std::string& error);

// Decodes the pixels of one slice (the file's sample type, in the
// machine's byte order), keeping a multi-frame file open between its
// frames. The file is checked with CheckDicomFile first, and GDCM runs
// under GuardGdcm.
class SliceDecoder {
public:
    explicit SliceDecoder(const DicomSeries& series);
    ~SliceDecoder();
    bool Decode(const DicomSlice& slice, std::vector<char>& bytes, std::string& error);

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

// Fills `image` (of the grid's size) from the sorted slices of a grid that
// resamples: each grid voxel interpolated bilinearly within the two slices
// on either side of it along the normal, at their own in-plane shifts, and
// linearly between them. `slice(k, out)` gives sorted slice k as stored
// values (columns x rows); it is asked for each slice once, in order.
// Grid voxels beyond the slices get `noValue`.
bool ResampleSlices(const DicomGrid& grid, int columns, int rows, const std::function<bool(int, short*)>& slice,
                    short noValue, ZelImage<short>& image, std::string& error);

// Walks the element structure of a DICOM file (up to the pixel data, and
// its length, when `headerOnly`) and checks every stated length against the bytes really
// there, before GDCM reads it: GDCM allocates whatever a length claims.
// Where a file's plain (uncompressed, little-endian) pixel data lies, so
// that it can be read without GDCM.
struct DicomPixelPlace {
    bool plain = false;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};
bool CheckDicomFile(const std::string& path, bool headerOnly, std::string& why, DicomPixelPlace* place = nullptr);

// GDCM gives up on some damaged files with an assertion (an abort). Calls
// into GDCM run through GuardGdcm: on an abort (or a crash) inside `work`,
// zelgen prints one error line naming `path` and exits with status 2; the
// fuzzing harnesses ask instead for `work` to end and false to be returned
// with that message (aborts only: a crash there is a finding).
enum class DicomAbort { Exit, Return };
void SetDicomAbort(DicomAbort mode);
bool GuardGdcm(const std::string& path, const std::function<bool()>& work, std::string& error);
