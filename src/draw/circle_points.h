// The raster points of a circle quadrant and the closed chain of the whole
// outline, with random access so that huge circles cost only their visible
// part.
#pragma once

#include <cstdint>

namespace zel_draw {

using I64 = std::int64_t;

// First-quadrant offsets (dx, dy) from the quadrant's centre, from (r, 0) to
// (0, r), 8-connected: dx never grows and dy never shrinks along the list.
class CircleQuadrant {
public:
    explicit CircleQuadrant(int diameter);
    I64 Radius() const { return m_r; }
    I64 Count() const { return m_count; }
    void Point(I64 i, I64& dx, I64& dy) const;
    // The largest dx of the points with this dy (0 <= dy <= r).
    I64 MaxDx(I64 dy) const;

private:
    I64 MidpointY(I64 x) const;
    I64 m_r = 0;
    I64 m_count = 0;
    const signed char* m_table = nullptr;  // pairs, for diameters up to 16
    I64 m_octantLast = 0;                  // midpoint: last x of the octant
    bool m_diagonal = false;               // the octant ends on x == y
    I64 m_limit = 0;                       // midpoint: y(x) = max{y : y^2 - y < limit - x^2}
};

// The whole outline as one closed chain, clockwise on screen from the
// rightmost point: arm 0 right-lower, 1 left-lower, 2 left-upper, 3
// right-upper, each around its half's centre.
class CircleChain {
public:
    CircleChain(I64 cx, I64 cy, int diameter);
    const CircleQuadrant& Quadrant() const { return m_quadrant; }
    I64 Count() const { return m_perArm * 4; }
    I64 PerArm() const { return m_perArm; }
    // Chain point j (0 <= j < Count()).
    void Point(I64 j, I64& x, I64& y) const;
    // Clockwise angle of point j from +x in degrees, around its half's
    // centre: 0 at the first point, growing along the chain to 360.
    double Angle(I64 j) const;
    // The arm's centre and the signs of its offsets.
    void Arm(int arm, I64& cx, I64& cy, int& sx, int& sy) const;
    // Quadrant index of arm point i (arms 1 and 3 run backwards).
    I64 QuadrantIndex(int arm, I64 i) const { return arm & 1 ? m_quadrant.Count() - 1 - i : i; }

private:
    CircleQuadrant m_quadrant;
    I64 m_cxL, m_cxR, m_cyT, m_cyB;
    I64 m_perArm;
};

// For a sequence whose value f(i) is monotonic over [0, count): the indices
// whose value lies in [lo, hi], as [begin, end).
template <class F>
void MonotoneRange(I64 count, F f, I64 lo, I64 hi, I64& begin, I64& end)
{
    begin = 0;
    end = 0;
    if (count <= 0) return;
    const bool rising = f(count - 1) >= f(0);
    // First index whose value passes `v` in the sequence's direction.
    const auto first = [&](I64 v, bool inclusive) {
        I64 a = 0, b = count;
        while (a < b) {
            const I64 m = a + (b - a) / 2;
            const I64 fm = f(m);
            const bool past = rising ? (inclusive ? fm >= v : fm > v) : (inclusive ? fm <= v : fm < v);
            if (past) {
                b = m;
            } else {
                a = m + 1;
            }
        }
        return a;
    };
    if (rising) {
        begin = first(lo, true);
        end = first(hi, false);
    } else {
        begin = first(hi, true);
        end = first(lo, false);
    }
    if (end < begin) end = begin;
}

}  // namespace zel_draw
