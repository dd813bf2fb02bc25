// Resampling a DICOM series onto a regular grid: for stacks sheared by
// gantry tilt, unevenly spaced, or with slices missing. Two sorted slices
// are held at a time, so the resampling needs no more memory than the
// direct reading does.
#include <algorithm>
#include <cmath>
#include <vector>

#include "dicom.h"
#include "voxel_import.h"

namespace {

// Where grid pixel (x, y) falls in one slice: x + whole[0] + part[0], with
// the same shift for every pixel.
struct SliceTaps {
    int whole[2];
    double part[2];
};

SliceTaps TapsOf(const DicomGrid& grid, std::size_t k)
{
    SliceTaps t;
    for (int a = 0; a < 2; ++a) {
        const double d = -grid.shift[a][k];
        t.whole[a] = static_cast<int>(std::floor(d));
        t.part[a] = d - t.whole[a];
        // Shifts within rounding of a whole pixel are whole: an unsheared
        // stack is copied, not blurred.
        if (t.part[a] < 1e-6) t.part[a] = 0;
        if (t.part[a] > 1 - 1e-6) t.part[a] = 0, ++t.whole[a];
    }
    return t;
}

// Value of one slice at grid pixel (x, y), or NaN beyond its edges.
double Sample(const short* slice, int columns, int rows, const SliceTaps& t, int x, int y)
{
    const int x0 = x + t.whole[0], y0 = y + t.whole[1];
    const int x1 = t.part[0] > 0 ? x0 + 1 : x0, y1 = t.part[1] > 0 ? y0 + 1 : y0;
    if (x0 < 0 || y0 < 0 || x1 >= columns || y1 >= rows) return NAN;
    const std::size_t r0 = static_cast<std::size_t>(y0) * columns, r1 = static_cast<std::size_t>(y1) * columns;
    const double top = slice[r0 + x0] + t.part[0] * (slice[r0 + x1] - slice[r0 + x0]);
    const double bottom = slice[r1 + x0] + t.part[0] * (slice[r1 + x1] - slice[r1 + x0]);
    return top + t.part[1] * (bottom - top);
}

}  // namespace

bool ResampleSlices(const DicomGrid& grid, int columns, int rows, const std::function<bool(int, short*)>& slice,
                    short noValue, ZelImage<short>& image, std::string& error)
{
    const std::size_t count = grid.order.size();
    const std::size_t plane = static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows);
    // Sorted slice k is held in buffer k % 2: the two slices around a grid
    // slice are always one even and one odd.
    std::vector<short> held[2] = {std::vector<short>(plane), std::vector<short>(plane)};
    long long heldIndex[2] = {-1, -1};
    auto get = [&](std::size_t k) -> const short* {
        std::vector<short>& buffer = held[k % 2];
        if (heldIndex[k % 2] != static_cast<long long>(k)) {
            if (!slice(static_cast<int>(k), buffer.data())) return nullptr;
            heldIndex[k % 2] = static_cast<long long>(k);
        }
        return buffer.data();
    };
    const int width = grid.size[0], height = grid.size[1];
    std::vector<short> row(static_cast<std::size_t>(width));
    const double lowest = noValue == -32768 ? -32767.0 : -32768.0;
    std::size_t a = 0;
    for (int z = 0; z < grid.size[2]; ++z) {
        const double t = z * grid.spacing[2];
        const double near = 1e-6 * grid.spacing[2];
        while (a + 1 < count && grid.along[a + 1] <= t + near) ++a;
        const bool between = a + 1 < count && t > grid.along[a] + near;
        const double w = between ? (t - grid.along[a]) / (grid.along[a + 1] - grid.along[a]) : 0;
        const short* first = get(a);
        const short* second = between ? get(a + 1) : nullptr;
        if (!first || (between && !second)) {
            if (error.empty()) error = "a slice could not be read";
            return false;
        }
        const SliceTaps ta = TapsOf(grid, a), tb = TapsOf(grid, between ? a + 1 : a);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                double v = Sample(first, columns, rows, ta, x, y);
                if (between) v += w * (Sample(second, columns, rows, tb, x, y) - v);
                row[static_cast<std::size_t>(x)] =
                    std::isnan(v) ? noValue : static_cast<short>(std::min(32767.0, std::max(lowest, std::round(v))));
            }
            PutRow(image, y, z, row.data());
        }
    }
    return true;
}
