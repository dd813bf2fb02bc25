#include "volume.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

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
