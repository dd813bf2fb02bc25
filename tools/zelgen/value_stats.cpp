#include "value_stats.h"

#include <algorithm>
#include <cmath>

#include "ZelVoxelIndex.h"

namespace {

// Large volumes are sampled with an odd stride, so that the same column of
// every row is not picked each time.
void Histogram(const ZelImage<short>& image, std::vector<std::uint32_t>& bins)
{
    const Zel3DVector<int> size = image.GetImageSize();
    const ZelVoxelAddressing at(image);
    const short* data = image.GetDataPtr();
    const long long count = static_cast<long long>(size.x) * size.y * size.z;
    long long stride = std::max(1LL, count / 16000000);
    if (stride > 1 && stride % 2 == 0) ++stride;
    long long x = 0;
    for (int z = 0; z < size.z; ++z)
        for (int y = 0; y < size.y; ++y) {
            for (; x < size.x; x += stride)
                ++bins[static_cast<std::size_t>(data[at(static_cast<int>(x), y, z)] + 32768)];
            x -= size.x;
        }
}

}  // namespace

double ValueStats::Percentile(double percent) const
{
    if (!any) return 0;
    // A falling scale puts the highest real values in the lowest bins.
    if (scale.slope < 0) percent = 100.0 - percent;
    const double rank = std::min(1.0, std::max(0.0, percent / 100.0)) * static_cast<double>(counted - 1);
    std::uint64_t seen = 0;
    for (std::size_t b = 0; b < bins.size(); ++b) {
        seen += bins[b];
        if (static_cast<double>(seen) > rank) return scale.ToReal(static_cast<double>(b) - 32768.0);
    }
    return max;
}

ValueStats ComputeValueStats(const Volume& volume)
{
    ValueStats stats;
    stats.scale = volume.scale;
    stats.bins.assign(65536, 0);
    if (!volume.image) return stats;
    Histogram(*volume.image, stats.bins);
    if (volume.hasNoValue) {
        stats.noValue = stats.bins[0];
        stats.bins[0] = 0;
    }
    int first = -1, last = -1;
    for (int b = 0; b < 65536; ++b) {
        if (!stats.bins[static_cast<std::size_t>(b)]) continue;
        stats.counted += stats.bins[static_cast<std::size_t>(b)];
        if (first < 0) first = b;
        last = b;
    }
    if (stats.counted == 0) return stats;
    stats.any = true;
    const std::uint64_t total = stats.counted;
    auto real = [&volume](int bin) { return volume.scale.ToReal(bin - 32768); };
    stats.min = std::min(real(first), real(last));
    stats.max = std::max(real(first), real(last));

    // Quantiles without the background: a large share of voxels at the
    // minimum (air around a head, zero around an MR brain) would otherwise
    // pull the low end of the window down to it.
    const std::uint64_t atFirst = stats.bins[static_cast<std::size_t>(first)];
    const std::uint64_t skip = atFirst * 10 > total ? atFirst : 0;
    const std::uint64_t n = total - skip;
    auto quantile = [&](std::uint64_t rank) {
        std::uint64_t seen = 0;
        for (int b = skip ? first + 1 : first; b <= last; ++b) {
            seen += stats.bins[static_cast<std::size_t>(b)];
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
        const std::uint64_t c = stats.bins[static_cast<std::size_t>(b)];
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
