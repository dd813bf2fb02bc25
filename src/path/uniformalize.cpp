// ZelPathPlane::Uniformalize: smoothing of the frames' twist by gradient
// steps on three angles per plane.
//
// The energy of an inner plane i is
//   E[i] = (1 - c[i]) * 6 + G(i-1, i) + G(i, i+1),
// c[i] the tilt cosine, G the pair term of two neighbouring planes over a
// ring of eight points. A step of plane i's angles changes only c[i], G(i-1, i)
// and G(i, i+1), so every iteration turns each plane once (its ring, tilt and
// sines are kept), computes the pair terms once, and for each of the
// 3 (n - 2) trial steps recomputes only the stepped plane's ring and its two
// pair terms. The sums are formed term for term as a full recomputation of
// E[i-1], E[i] and E[i+1] would form them, so the result is the same to the
// bit as evaluating the energies afresh for every trial.
#include <cmath>
#include <vector>

#include "ZelPathPlane.h"
#include "generators/dispatch.h"
#include "path/frame_math.h"
#include "path/uniformalize_kernels.h"

#if ZEL_HAVE_AVX2
#include <immintrin.h>
#endif

namespace zel_path {

double PairTermScalar(const Ring& p, const Ring& q, double d)
{
    double sum = 0.0;
    for (int k = 0; k < kRingPoints; ++k) {
        const double dx = p.x[k] - q.x[k];
        const double dy = p.y[k] - q.y[k];
        const double dz = p.z[k] - q.z[k];
        const double gap = std::sqrt(dx * dx + dy * dy + dz * dz) - d;
        sum += gap * gap / (d * d);
    }
    return sum;
}

#if ZEL_HAVE_AVX2
namespace {

ZEL_TARGET_AVX2 double PairTermAvx2(const Ring& p, const Ring& q, double d)
{
    alignas(32) double term[kRingPoints];
    const __m256d distance = _mm256_set1_pd(d);
    const __m256d squaredDistance = _mm256_set1_pd(d * d);
    for (int k = 0; k < kRingPoints; k += 4) {
        const __m256d dx = _mm256_sub_pd(_mm256_load_pd(p.x + k), _mm256_load_pd(q.x + k));
        const __m256d dy = _mm256_sub_pd(_mm256_load_pd(p.y + k), _mm256_load_pd(q.y + k));
        const __m256d dz = _mm256_sub_pd(_mm256_load_pd(p.z + k), _mm256_load_pd(q.z + k));
        const __m256d squared =
            _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(dx, dx), _mm256_mul_pd(dy, dy)), _mm256_mul_pd(dz, dz));
        const __m256d gap = _mm256_sub_pd(_mm256_sqrt_pd(squared), distance);
        _mm256_store_pd(term + k, _mm256_div_pd(_mm256_mul_pd(gap, gap), squaredDistance));
    }
    double sum = 0.0;
    for (int k = 0; k < kRingPoints; ++k) sum += term[k];
    return sum;
}

}  // namespace
#endif

PairTermKernel SelectPairTerm()
{
#if ZEL_HAVE_AVX2
    if (ZelSimdAllows(ZelSimd::kAvx2)) return PairTermAvx2;
#endif
    return PairTermScalar;
}

}  // namespace zel_path

namespace {

using zel_path::kRingPoints;
using zel_path::Ring;
using zel_path::Vec3;

constexpr int kMaxIterations = 100000;
constexpr double kAngleStep = 0.008726646259971648;  // half a degree
constexpr double kStepFactor = 0.01;
constexpr double kTiltWeight = 6.0;
constexpr double kSettled = 1e-6;
constexpr int kProgressInterval = 128;

// The ring's offsets in the plane: (sx[k], sy[k], 0).
struct RingOffsets {
    double sx[kRingPoints];
    double sy[kRingPoints];
};

// A plane as the smoothing sees it, in double.
struct WorkPlane {
    Vec3 centre;
    double base[3][3];  // columns axisU, axisV, tangent
    double distance;    // to the previous plane's centre
};

// Sines and cosines of a plane's three angles (alpha, beta, gamma).
struct AngleTrig {
    double s[3];
    double c[3];
};

AngleTrig TrigOf(const double angle[3])
{
    AngleTrig t;
    for (int a = 0; a < 3; ++a) {
        t.s[a] = std::sin(angle[a]);
        t.c[a] = std::cos(angle[a]);
    }
    return t;
}

// Frame F = B * R, R = Rz(gamma) * Ry(beta) * Rx(alpha), row-major.
void TurnedFrame(const WorkPlane& plane, const AngleTrig& t, double f[3][3])
{
    const double sa = t.s[0], ca = t.c[0], sb = t.s[1], cb = t.c[1], sg = t.s[2], cg = t.c[2];
    const double r[3][3] = {{cb * cg, sa * sb * cg - ca * sg, ca * sb * cg + sa * sg},
                            {cb * sg, ca * cg + sa * sb * sg, ca * sb * sg - sa * cg},
                            {-sb, sa * cb, ca * cb}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            f[i][j] = plane.base[i][0] * r[0][j] + plane.base[i][1] * r[1][j] + plane.base[i][2] * r[2][j];
}

// The plane's ring points centre + F * s[k] (the offsets have no third
// component, so F's third column does not enter) and its tilt cosine: the
// cosine between the turned normal F e3 and the original tangent B e3, which
// is R[2][2] = cos(alpha) cos(beta).
double TurnedRing(const WorkPlane& plane, const AngleTrig& t, const RingOffsets& offsets, Ring& ring)
{
    double f[3][3];
    TurnedFrame(plane, t, f);
    const double centre[3] = {plane.centre.x, plane.centre.y, plane.centre.z};
    double* out[3] = {ring.x, ring.y, ring.z};
    for (int a = 0; a < 3; ++a)
        for (int k = 0; k < kRingPoints; ++k)
            out[a][k] = centre[a] + (f[a][0] * offsets.sx[k] + f[a][1] * offsets.sy[k]);
    return t.c[0] * t.c[1];
}

double PlaneEnergy(double tilt, double left, double right)
{
    return (1.0 - tilt) * kTiltWeight + left + right;
}

}  // namespace

bool ZelPathPlane::Uniformalize(ZelPathPlaneProgress progress, float progressStart, float progressEnd)
{
    const int n = static_cast<int>(m_planes.size());
    if (n <= 3) return true;
    const auto count = static_cast<std::size_t>(n);

    std::vector<WorkPlane> planes(count);
    for (std::size_t i = 0; i < count; ++i) {
        const ZelPlaneData& source = m_planes[i];
        WorkPlane& plane = planes[i];
        plane.centre = zel_path::Widen(source.position);
        const Vec3 axes[3] = {zel_path::Widen(source.axisU), zel_path::Widen(source.axisV),
                              zel_path::Widen(source.tangent)};
        for (int j = 0; j < 3; ++j) {
            plane.base[0][j] = axes[j].x;
            plane.base[1][j] = axes[j].y;
            plane.base[2][j] = axes[j].z;
        }
        plane.distance = i == 0 ? 0.0 : zel_path::Length(plane.centre - planes[i - 1].centre);
    }
    // Two sets of angles (alpha, beta, gamma) per plane, used alternately as
    // old and new.
    std::vector<double> angleSets[2] = {std::vector<double>(3 * count, 0.0), std::vector<double>(3 * count, 0.0)};

    RingOffsets offsets;
    const double radius = m_radiusForUniformalize;
    for (int k = 0; k < kRingPoints; ++k) {
        const double a = k * 2.0 * 3.14159265358979323846 * 0.125;
        offsets.sx[k] = -radius * std::sin(a);
        offsets.sy[k] = radius * std::cos(a);
    }

    if (progress != nullptr) progress(progressStart, nullptr, nullptr);
    float reported = progressStart;

    const zel_path::PairTermKernel pairTerm = zel_path::SelectPairTerm();
    std::vector<Ring> rings(count);
    std::vector<AngleTrig> trig(count);
    std::vector<double> tilt(count);
    std::vector<double> pair(count + 1, 0.0);  // pair[i] = G(i-1, i)
    std::vector<double> energy(count, 0.0);
    auto inner = [n](int i) { return i > 0 && i < n - 1; };

    int current = 0;  // the old set
    int result = 0;   // the set written back: the last one computed
    bool finite = true;
    double previousMean = 0.0;
    for (int iteration = 0; iteration < kMaxIterations; ++iteration) {
        const std::vector<double>& old = angleSets[current];
        std::vector<double>& next = angleSets[1 - current];
        for (int i = 0; i < n; ++i) {
            trig[i] = TrigOf(&old[3 * i]);
            tilt[i] = TurnedRing(planes[i], trig[i], offsets, rings[i]);
        }
        for (int i = 1; i < n; ++i) pair[i] = pairTerm(rings[i - 1], rings[i], planes[i].distance);
        double sum = 0.0;
        for (int i = 1; i < n - 1; ++i) {
            energy[i] = PlaneEnergy(tilt[i], pair[i], pair[i + 1]);
            sum += energy[i];
        }
        const double mean = sum / (n - 2);
        if (!std::isfinite(mean)) {
            finite = false;
            break;
        }

        next = old;
        for (int i = 1; i < n - 1; ++i) {
            const double before =
                (inner(i - 1) ? energy[i - 1] : 0.0) + energy[i] + (inner(i + 1) ? energy[i + 1] : 0.0);
            for (int a = 0; a < 3; ++a) {
                AngleTrig trial = trig[i];
                trial.s[a] = std::sin(old[3 * i + a] + kAngleStep);
                trial.c[a] = std::cos(old[3 * i + a] + kAngleStep);
                Ring ring;
                const double c = TurnedRing(planes[i], trial, offsets, ring);
                const double left = pairTerm(rings[i - 1], ring, planes[i].distance);
                const double right = pairTerm(ring, rings[i + 1], planes[i + 1].distance);
                double after = PlaneEnergy(c, left, right);
                if (inner(i - 1)) after = PlaneEnergy(tilt[i - 1], pair[i - 1], left) + after;
                if (inner(i + 1)) after = after + PlaneEnergy(tilt[i + 1], right, pair[i + 2]);
                // The difference is deliberately not divided by the step.
                next[3 * i + a] = old[3 * i + a] - kStepFactor * (after - before);
            }
        }
        result = 1 - current;

        const double change = std::fabs((previousMean - mean) / mean);
        if (mean == 0.0 || change < kSettled) break;
        if (progress != nullptr && (iteration & (kProgressInterval - 1)) == 0) {
            const double x = std::log(change / kSettled);
            if (x > 1.0) {
                const auto p =
                    static_cast<float>(progressStart + (progressEnd - progressStart) * (1.0 - std::fmin(1.0, 0.1 * x)));
                if (p > reported) {
                    progress(p, nullptr, nullptr);
                    reported = p;
                }
            }
        }
        previousMean = mean;
        current = 1 - current;
    }

    if (progress != nullptr) progress(progressEnd, nullptr, nullptr);
    if (!finite) return true;  // two planes at one centre: nothing sensible to do
    const std::vector<double>& angles = angleSets[result];
    for (std::size_t i = 0; i < count; ++i) {
        double f[3][3];
        TurnedFrame(planes[i], TrigOf(&angles[3 * i]), f);
        ZelPlaneData& plane = m_planes[i];
        plane.axisU = zel_path::Narrow({f[0][0], f[1][0], f[2][0]});
        plane.axisV = zel_path::Narrow({f[0][1], f[1][1], f[2][1]});
        plane.tangent = zel_path::Narrow({f[0][2], f[1][2], f[2][2]});
    }
    m_interpolationCounter = -2;
    return true;
}
