#include "volume.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "ZelVoxelIndex.h"
#include "phantom.h"
#include "readers.h"

AxisMap MapAxes(const double m[3][4])
{
    // Greedy: the largest remaining direction cosine decides one pairing at a
    // time, so an oblique acquisition still gets three distinct axes.
    AxisMap map{{-1, -1, -1}, {1, 1, 1}};
    bool voxelUsed[3] = {false, false, false}, patientUsed[3] = {false, false, false};
    double norm[3];
    for (int a = 0; a < 3; ++a) {
        norm[a] = std::sqrt(m[0][a] * m[0][a] + m[1][a] * m[1][a] + m[2][a] * m[2][a]);
        if (norm[a] <= 0) norm[a] = 1;
    }
    for (int round = 0; round < 3; ++round) {
        int bestA = -1, bestP = -1;
        double best = -1;
        for (int a = 0; a < 3; ++a)
            for (int p = 0; p < 3; ++p)
                if (!voxelUsed[a] && !patientUsed[p] && std::fabs(m[p][a]) / norm[a] > best) {
                    best = std::fabs(m[p][a]) / norm[a];
                    bestA = a;
                    bestP = p;
                }
        voxelUsed[bestA] = patientUsed[bestP] = true;
        map.patientAxis[bestA] = bestP;
        map.sign[bestA] = m[bestP][bestA] < 0 ? -1 : 1;
    }
    return map;
}

std::string OrientationCode(const AxisMap& map)
{
    static const char positive[] = "RAS", negative[] = "LPI";
    std::string code;
    for (int a = 0; a < 3; ++a) code += map.sign[a] > 0 ? positive[map.patientAxis[a]] : negative[map.patientAxis[a]];
    return code;
}

void SetDicomOrder(Volume& volume, const double spacing[3])
{
    const double m[3][4] = {{-spacing[0], 0, 0, 0}, {0, -spacing[1], 0, 0}, {0, 0, spacing[2], 0}};
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) volume.ijkToPatient[r][c] = m[r][c];
}

namespace {

// Histogram of the stored values, one bin per 16-bit value (signed values
// shifted by 32768). Large volumes are sampled with an odd stride, so that
// the same column of every row is not picked each time.
template <class T>
void Histogram(const ZelImage<T>& image, std::vector<std::uint32_t>& bins, int shift)
{
    const Zel3DVector<int> size = image.GetImageSize();
    const ZelVoxelAddressing at(image);
    const T* data = image.GetDataPtr();
    const long long count = static_cast<long long>(size.x) * size.y * size.z;
    long long stride = std::max(1LL, count / 16000000);
    if (stride > 1 && stride % 2 == 0) ++stride;
    long long x = 0;
    for (int z = 0; z < size.z; ++z)
        for (int y = 0; y < size.y; ++y) {
            for (; x < size.x; x += stride)
                ++bins[static_cast<std::size_t>(static_cast<int>(data[at(static_cast<int>(x), y, z)]) + shift)];
            x -= size.x;
        }
}

}  // namespace

ValueStats ComputeValueStats(const Volume& volume)
{
    // Bins cover 0..65535 for unsigned data and -32768..32767 for signed.
    std::vector<std::uint32_t> bins(65536, 0);
    int shift = 0;
    switch (volume.image->GetVoxelType()) {
    case ZEL_VOXEL_UCHAR: Histogram(static_cast<const ZelImage<unsigned char>&>(*volume.image), bins, 0); break;
    case ZEL_VOXEL_USHORT: Histogram(static_cast<const ZelImage<unsigned short>&>(*volume.image), bins, 0); break;
    case ZEL_VOXEL_SHORT:
        shift = 32768;
        Histogram(static_cast<const ZelImage<short>&>(*volume.image), bins, shift);
        break;
    default: return ValueStats();
    }
    ValueStats stats;
    std::uint64_t total = 0;
    int first = -1, last = -1;
    for (int b = 0; b < 65536; ++b) {
        if (!bins[static_cast<std::size_t>(b)]) continue;
        total += bins[static_cast<std::size_t>(b)];
        if (first < 0) first = b;
        last = b;
    }
    if (total == 0) return stats;
    auto real = [&volume, shift](int bin) { return (bin - shift) * volume.slope + volume.intercept; };
    stats.min = std::min(real(first), real(last));
    stats.max = std::max(real(first), real(last));

    // Quantiles without the background: a large share of voxels at the
    // minimum (air around a head, zero around an MR brain) would otherwise
    // pull the low end of the window down to it.
    std::uint64_t skip = bins[static_cast<std::size_t>(first)] * 10 > total ? bins[static_cast<std::size_t>(first)] : 0;
    const std::uint64_t n = total - skip;
    auto quantile = [&](std::uint64_t rank) {
        std::uint64_t seen = 0;
        for (int b = skip ? first + 1 : first; b <= last; ++b) {
            seen += bins[static_cast<std::size_t>(b)];
            if (seen > rank) return real(b);
        }
        return real(last);
    };
    if (n == 0) {
        stats.low = stats.high = stats.min;
    } else {
        const double a = quantile(n * 5 / 1000), b = quantile(std::min(n - 1, n * 995 / 1000));
        stats.low = std::min(a, b);
        stats.high = std::max(a, b);
    }

    std::uint64_t air = 0, brain = 0, tissue = 0;
    for (int b = first; b <= last; ++b) {
        const std::uint64_t c = bins[static_cast<std::size_t>(b)];
        const double r = real(b);
        if (r <= -900)
            air += c;
        else if (r >= 0 && r <= 80)
            brain += c;
        if (r > -900 && r >= -200 && r <= 200) tissue += c;
    }
    stats.airFraction = static_cast<double>(air) / static_cast<double>(total);
    if (total > air) {
        stats.brainFraction = static_cast<double>(brain) / static_cast<double>(total - air);
        stats.tissueFraction = static_cast<double>(tissue) / static_cast<double>(total - air);
    }
    return stats;
}

int RealToStored(const Volume& volume, double real)
{
    double stored = volume.slope != 0 ? (real - volume.intercept) / volume.slope : real;
    int lo = -32768, hi = 32767;
    if (volume.image->GetVoxelType() == ZEL_VOXEL_UCHAR) lo = 0, hi = 255;
    if (volume.image->GetVoxelType() == ZEL_VOXEL_USHORT) lo = 0, hi = 65535;
    stored = std::round(stored);
    if (!(stored >= lo)) stored = lo;
    if (stored > hi) stored = hi;
    return static_cast<int>(stored);
}

bool PromoteToShort(const Volume& volume, Volume& promoted)
{
    const Zel3DVector<int> size = volume.Size();
    auto* image = new ZelImage<short>();
    promoted.image.reset(image);
    if (image->Allocate(ZEL_ALIGNMENT_LINEAR, size.x, size.y, size.z) != 0) return false;
    image->SetImageScale(volume.Spacing());
    const int offset = volume.image->GetVoxelType() == ZEL_VOXEL_USHORT ? 32768 : 0;
    const ZelVoxelAddressing at(*volume.image);
    short* out = image->GetDataPtr();
    auto copy = [&](auto* in) {
        std::size_t n = 0;
        for (int z = 0; z < size.z; ++z)
            for (int y = 0; y < size.y; ++y)
                for (int x = 0; x < size.x; ++x)
                    out[n++] = static_cast<short>(static_cast<int>(in[at(x, y, z)]) - offset);
    };
    if (volume.image->GetVoxelType() == ZEL_VOXEL_UCHAR)
        copy(static_cast<const ZelImage<unsigned char>&>(*volume.image).GetDataPtr());
    else if (volume.image->GetVoxelType() == ZEL_VOXEL_USHORT)
        copy(static_cast<const ZelImage<unsigned short>&>(*volume.image).GetDataPtr());
    else
        copy(static_cast<const ZelImage<short>&>(*volume.image).GetDataPtr());
    promoted.source = volume.source;
    promoted.format = volume.format;
    promoted.fileType = volume.fileType;
    promoted.slope = volume.slope;
    promoted.intercept = volume.intercept + offset * volume.slope;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) promoted.ijkToPatient[r][c] = volume.ijkToPatient[r][c];
    promoted.orientationSource = volume.orientationSource;
    promoted.frames = volume.frames;
    return true;
}

bool LoadVolume(const InputOptions& input, Volume& volume, std::string& error, bool quiet)
{
    if (input.phantom) {
        ZelPhantomOptions options;
        if (input.haveSpacing) {
            options.spacingX = static_cast<float>(input.spacing[0]);
            options.spacingY = static_cast<float>(input.spacing[1]);
            options.spacingZ = static_cast<float>(input.spacing[2]);
        }
        volume.image.reset(ZelMakeHeadPhantom(options));
        if (!volume.image) {
            error = "not enough memory for the phantom";
            return false;
        }
        volume.source = "built-in phantom";
        volume.format = "built-in head phantom";
        volume.fileType = "int16";
        const double spacing[3] = {options.spacingX, options.spacingY, options.spacingZ};
        SetDicomOrder(volume, spacing);
        volume.orientationSource = "built in (DICOM order)";
        return true;
    }
    if (input.raw) return ReadRawVolume(input, volume, error);
    return ReadNiftiVolume(input.path, volume, error, quiet);
}
