// The grid of a DICOM series. Slices are sorted by their distance along the
// normal of their common plane (from Image Position and Orientation), and
// the slice spacing is taken from those positions, never from Slice
// Thickness. A series whose slices are evenly spaced and stacked straight is
// its own grid; gantry tilt (each slice shifted in its plane), uneven
// spacing and missing slices are resampled onto a regular grid instead, with
// a note saying so, because a picture drawn as if the stack were regular
// would be silently distorted.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

#include "dicom.h"

namespace {

const double kPi = 3.14159265358979323846;
// Positions are decimal strings of at most 16 characters; differences
// below these are rounding.
const double kSamePlace = 1e-3;             // mm: two slices at one place
const double kPositionRounding = 0.01;      // mm: positions written with two decimals
const double kShiftWorthResampling = 0.01;  // pixels of in-plane shift
// A resampled grid holds at most this many times the series' slices: uneven
// spacing with one tiny gap must not ask for an enormous volume.
const int kMostSlicesPerSlice = 4;

double Dot(const double* a, const double* b)
{
    return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

double Length(const double* a)
{
    return std::sqrt(Dot(a, a));
}

std::string Mm(double value)
{
    char text[32];
    std::snprintf(text, sizeof(text), "%.3g", value);
    return text;
}

// The common row and column directions, unit length and perpendicular.
bool CommonOrientation(const DicomSeries& series, double row[3], double column[3], std::vector<std::string>& notes,
                       std::string& error)
{
    const DicomSlice* first = nullptr;
    for (const DicomSlice& s : series.slices)
        if (s.hasOrientation) {
            first = &s;
            break;
        }
    if (!first) {
        notes.push_back("the files give no Image Orientation (Patient): the slices are taken as axial");
        row[0] = 1, row[1] = 0, row[2] = 0;
        column[0] = 0, column[1] = 1, column[2] = 0;
        return true;
    }
    for (int a = 0; a < 3; ++a) {
        row[a] = first->orientation[a];
        column[a] = first->orientation[a + 3];
    }
    const double lr = Length(row), lc = Length(column);
    if (!(std::fabs(lr - 1) < 0.01 && std::fabs(lc - 1) < 0.01 && std::fabs(Dot(row, column)) < 0.01)) {
        error = "its Image Orientation (Patient) is not two perpendicular unit directions";
        return false;
    }
    for (int a = 0; a < 3; ++a) row[a] /= lr, column[a] /= lc;
    for (const DicomSlice& s : series.slices) {
        if (!s.hasOrientation) continue;
        // About a hundredth of a degree.
        if (Dot(row, s.orientation) < 1 - 1e-6 * 2 || Dot(column, s.orientation + 3) < 1 - 1e-6 * 2) {
            error = "its slices lie in different orientations (a localiser, or several stacks in one series)";
            return false;
        }
    }
    return true;
}

}  // namespace

bool PlanDicomGrid(const DicomSeries& series, DicomGrid& grid, std::string& error)
{
    const std::size_t count = series.slices.size();
    if (count == 0 || series.rows < 1 || series.columns < 1) {
        error = "it holds no image";
        return false;
    }
    double row[3], column[3];
    if (!CommonOrientation(series, row, column, grid.notes, error)) return false;
    const double normal[3] = {row[1] * column[2] - row[2] * column[1], row[2] * column[0] - row[0] * column[2],
                              row[0] * column[1] - row[1] * column[0]};
    for (int a = 0; a < 3; ++a) {
        grid.axes[0][a] = row[a];
        grid.axes[1][a] = column[a];
        grid.axes[2][a] = normal[a];
    }
    grid.spacing[0] = series.pixelSpacing[1];  // between columns
    grid.spacing[1] = series.pixelSpacing[0];  // between rows
    if (!series.hasPixelSpacing) grid.notes.push_back("the files give no Pixel Spacing: 1 mm is assumed");

    // Sorted along the normal; without positions, by instance number at the
    // stated spacing.
    const bool positioned =
        std::all_of(series.slices.begin(), series.slices.end(), [](const DicomSlice& s) { return s.hasPosition; });
    std::vector<double> t(count);
    const double given = series.sliceSpacing > 0 ? series.sliceSpacing : 1.0;
    for (std::size_t s = 0; s < count; ++s) t[s] = positioned ? Dot(series.slices[s].position, normal) : 0;
    grid.order.resize(count);
    std::iota(grid.order.begin(), grid.order.end(), 0);
    std::stable_sort(grid.order.begin(), grid.order.end(), [&](int a, int b) {
        if (t[a] != t[b]) return t[a] < t[b];
        return series.slices[a].instance < series.slices[b].instance;
    });
    if (!positioned && count > 1)
        grid.notes.push_back("the files give no Image Position (Patient): slices are stacked by instance number, " +
                             Mm(given) + " mm apart");
    const DicomSlice& first = series.slices[grid.order[0]];
    grid.along.resize(count);
    grid.shift[0].assign(count, 0);
    grid.shift[1].assign(count, 0);
    double most = 0;  // largest in-plane shift, in pixels
    for (std::size_t k = 0; k < count; ++k) {
        const DicomSlice& s = series.slices[grid.order[k]];
        if (!positioned) {
            grid.along[k] = static_cast<double>(k) * given;
            continue;
        }
        double d[3];
        for (int a = 0; a < 3; ++a) d[a] = s.position[a] - first.position[a];
        grid.along[k] = Dot(d, normal);
        grid.shift[0][k] = Dot(d, row) / grid.spacing[0];
        grid.shift[1][k] = Dot(d, column) / grid.spacing[1];
        most = std::max({most, std::fabs(grid.shift[0][k]), std::fabs(grid.shift[1][k])});
        if (k > 0 && grid.along[k] - grid.along[k - 1] < kSamePlace) {
            error = "two of its slices lie at the same place (" + Mm(grid.along[k]) +
                    " mm along the normal): several phases, echoes or copies in one series are not one volume";
            return false;
        }
    }

    // The slice spacing.
    const double extent = grid.along.back();
    double smallest = extent, largest = 0;
    for (std::size_t k = 1; k < count; ++k) {
        smallest = std::min(smallest, grid.along[k] - grid.along[k - 1]);
        largest = std::max(largest, grid.along[k] - grid.along[k - 1]);
    }
    const double mean = count > 1 ? extent / static_cast<double>(count - 1) : given;
    const bool even = count < 2 || largest - smallest <= 0.01 * mean + kPositionRounding;
    const bool sheared = most > kShiftWorthResampling;
    grid.resample = !even || sheared;
    if (count < 2 && series.sliceSpacing <= 0)
        grid.notes.push_back("a single slice without Slice Thickness: 1 mm thick is assumed");
    grid.spacing[2] = even ? mean : std::max(smallest, extent / (kMostSlicesPerSlice * static_cast<double>(count)));

    // The grid covers every slice; shifts become offsets from its corner.
    double low[2] = {0, 0}, high[2] = {0, 0};
    for (int a = 0; a < 2; ++a) {
        low[a] = *std::min_element(grid.shift[a].begin(), grid.shift[a].end());
        high[a] = *std::max_element(grid.shift[a].begin(), grid.shift[a].end());
        if (!sheared) low[a] = high[a] = 0;
        for (double& v : grid.shift[a]) v = sheared ? v - low[a] : 0;
    }
    grid.size[0] = series.columns + static_cast<int>(std::ceil(high[0] - low[0] - kShiftWorthResampling));
    grid.size[1] = series.rows + static_cast<int>(std::ceil(high[1] - low[1] - kShiftWorthResampling));
    const double slices = even ? static_cast<double>(count) : std::floor(extent / grid.spacing[2] + 0.01) + 1;
    grid.size[2] = static_cast<int>(std::min(slices, 1e9));
    for (int a = 0; a < 3; ++a)
        grid.origin[a] = first.position[a] + low[0] * grid.spacing[0] * row[a] + low[1] * grid.spacing[1] * column[a];

    if (sheared) {
        const double mm = std::hypot((high[0] - low[0]) * grid.spacing[0], (high[1] - low[1]) * grid.spacing[1]);
        char text[240];
        std::snprintf(text, sizeof(text),
                      "the slices are sheared (gantry tilt of %.1f deg: the last slice is shifted %.3g mm in its "
                      "plane): resampled onto a regular grid",
                      extent > 0 ? std::atan(mm / extent) * 180 / kPi : 90.0, mm);
        grid.notes.push_back(text);
    }
    if (!even) {
        int missing = 0;
        for (std::size_t k = 1; k < count; ++k) {
            const double gap = grid.along[k] - grid.along[k - 1];
            if (gap > 1.5 * smallest) missing += static_cast<int>(std::lround(gap / smallest)) - 1;
        }
        if (missing > 0 && largest < smallest * (std::lround(largest / smallest) + 0.05) &&
            largest > smallest * (std::lround(largest / smallest) - 0.05))
            grid.notes.push_back(std::to_string(missing) + " slice" + (missing > 1 ? "s are" : " is") +
                                 " missing (gaps of up to " + Mm(largest) + " mm where slices are " + Mm(smallest) +
                                 " mm apart): filled by interpolating between their neighbours");
        else
            grid.notes.push_back("the slices are unevenly spaced (" + Mm(smallest) + " to " + Mm(largest) +
                                 " mm apart): resampled onto a regular grid of " + Mm(grid.spacing[2]) + " mm");
    }
    return true;
}
