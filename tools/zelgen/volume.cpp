#include "volume.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "ZelVoxelIndex.h"

namespace {

const double kPi = 3.14159265358979323846;
const double kSmallestSpacing = 1e-4;  // mm
const double kMostUnequal = 100;       // largest / smallest spacing

double ColumnLength(const double m[3][4], int c)
{
    return std::sqrt(m[0][c] * m[0][c] + m[1][c] * m[1][c] + m[2][c] * m[2][c]);
}

double Determinant(const double m[3][4])
{
    return m[0][0] * (m[1][1] * m[2][2] - m[1][2] * m[2][1]) - m[0][1] * (m[1][0] * m[2][2] - m[1][2] * m[2][0]) +
           m[0][2] * (m[1][0] * m[2][1] - m[1][1] * m[2][0]);
}

// Why a transform cannot serve, or empty when it can.
std::string Unusable(const double m[3][4])
{
    bool zero = true;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) {
            if (!std::isfinite(m[r][c])) return "it holds a value that is not a finite number";
            if (c < 3 && m[r][c] != 0) zero = false;
        }
    if (zero) return "it is all zero";
    const double lengths = ColumnLength(m, 0) * ColumnLength(m, 1) * ColumnLength(m, 2);
    // Parallel or zero columns: no volume, only a plane or a line.
    if (!(std::fabs(Determinant(m)) > 1e-6 * lengths)) return "its axes do not span a volume";
    return std::string();
}

std::string SpacingText(const double s[3])
{
    char text[96];
    std::snprintf(text, sizeof(text), "%g x %g x %g mm", s[0], s[1], s[2]);
    return text;
}

}  // namespace

TransformCandidate SpacingTransform(const std::string& name, const double spacing[3])
{
    TransformCandidate t;
    t.name = name;
    t.present = true;
    for (int a = 0; a < 3; ++a) t.m[a][a] = spacing[a];
    return t;
}

TransformCandidate DicomOrderTransform(const std::string& name, const double spacing[3])
{
    TransformCandidate t = SpacingTransform(name, spacing);
    t.m[0][0] = -spacing[0];
    t.m[1][1] = -spacing[1];
    return t;
}

bool SetTransform(Volume& volume, const std::vector<TransformCandidate>& candidates, const double* pixdim,
                  std::string& error)
{
    const TransformCandidate* chosen = nullptr;
    std::string skipped;
    for (const TransformCandidate& c : candidates) {
        if (!c.present) continue;
        const std::string why = c.unusable.empty() ? Unusable(c.m) : c.unusable;
        if (why.empty()) {
            chosen = &c;
            break;
        }
        skipped += (skipped.empty() ? "" : "; ") + c.name + " not used: " + why;
    }
    if (!chosen) {
        error = "no usable voxel geometry (" + (skipped.empty() ? std::string("none in the file") : skipped) + ")";
        return false;
    }
    double spacing[3];
    for (int a = 0; a < 3; ++a) spacing[a] = ColumnLength(chosen->m, a);
    const double finest = std::min({spacing[0], spacing[1], spacing[2]});
    const double coarsest = std::max({spacing[0], spacing[1], spacing[2]});
    if (finest < kSmallestSpacing) {
        error = "voxel spacing " + SpacingText(spacing) + " (from the " + chosen->name + ") is too small to show";
        return false;
    }
    if (coarsest > kMostUnequal * finest) {
        error = "voxel spacing " + SpacingText(spacing) + " (from the " + chosen->name +
                ") is too unequal to show (more than 100 times finer along one axis)";
        return false;
    }
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) volume.ijkToPatient[r][c] = chosen->m[r][c];
    for (int a = 0; a < 3; ++a) volume.spacing[a] = spacing[a];
    volume.geometrySource = chosen->name;
    if (!skipped.empty()) volume.notes.push_back(skipped);
    if (pixdim && chosen->name.find("pixdim") == std::string::npos) {
        bool differs = false;
        for (int a = 0; a < 3; ++a)
            differs = differs || !(std::fabs(std::fabs(pixdim[a]) - spacing[a]) <= 1e-4 * std::max(1.0, spacing[a]));
        if (differs)
            volume.notes.push_back("the header's pixdim (" + SpacingText(pixdim) + ") disagrees with the " +
                                   chosen->name + " (" + SpacingText(spacing) + "); the " + chosen->name + " is used");
    }
    return true;
}

AxisMap MapAxes(const double m[3][4])
{
    // Greedy: the largest remaining direction cosine decides one pairing at a
    // time, so an oblique acquisition still gets three distinct axes.
    AxisMap map{{-1, -1, -1}, {1, 1, 1}};
    bool voxelUsed[3] = {false, false, false}, patientUsed[3] = {false, false, false};
    double norm[3];
    for (int a = 0; a < 3; ++a) {
        norm[a] = ColumnLength(m, a);
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

double TiltDegrees(const double m[3][4])
{
    const AxisMap map = MapAxes(m);
    double worst = 0;
    for (int a = 0; a < 3; ++a) {
        const double cosine = std::fabs(m[map.patientAxis[a]][a]) / std::max(ColumnLength(m, a), 1e-300);
        worst = std::max(worst, std::acos(std::min(1.0, cosine)) * 180.0 / kPi);
    }
    return worst;
}

void FillNoValue(Volume& volume, short value)
{
    if (!volume.hasNoValue || !volume.image || value == Volume::kNoValue) return;
    const Zel3DVector<int> blocks = volume.image->GetTilingBlockNum();
    // Tiled storage covers whole blocks; the padding is never read, so it
    // may be replaced too.
    const std::int64_t count = volume.image->IsTiled()
                                   ? static_cast<std::int64_t>(blocks.x) * blocks.y * blocks.z * 4096
                                   : volume.VoxelCount();
    short* data = volume.image->GetDataPtr();
    std::replace(data, data + count, Volume::kNoValue, value);
}

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
