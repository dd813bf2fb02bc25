#include "draw/circle_points.h"

#include <cmath>

namespace zel_draw {
namespace {

// Quadrant points of the small circles, as (dx, dy) pairs; 0-terminated by
// count in kTableCounts.
const signed char kD1[] = {0, 0};
const signed char kD3[] = {1, 0, 0, 1};
const signed char kD5[] = {2, 0, 2, 1, 1, 2, 0, 2};
const signed char kD6[] = {2, 0, 1, 1, 0, 2};
const signed char kD7[] = {3, 0, 3, 1, 2, 2, 1, 3, 0, 3};
const signed char kD9[] = {4, 0, 4, 1, 3, 2, 2, 3, 1, 4, 0, 4};
const signed char kD11[] = {5, 0, 5, 1, 5, 2, 4, 3, 3, 4, 2, 5, 1, 5, 0, 5};
const signed char kD12[] = {5, 0, 5, 1, 4, 2, 4, 3, 3, 4, 2, 4, 1, 5, 0, 5};
const signed char kD13[] = {6, 0, 6, 1, 5, 2, 5, 3, 4, 4, 3, 5, 2, 5, 1, 6, 0, 6};
const signed char kD15[] = {7, 0, 7, 1, 7, 2, 6, 3, 6, 4, 5, 5, 4, 6, 3, 6, 2, 7, 1, 7, 0, 7};
const signed char kD16[] = {7, 0, 7, 1, 6, 2, 6, 3, 5, 4, 4, 5, 3, 6, 2, 6, 1, 7, 0, 7};

struct TableEntry {
    const signed char* points;
    int count;
};
const TableEntry kTable[17] = {{nullptr, 0}, {kD1, 1},  {kD1, 1},  {kD3, 2},   {kD3, 2},  {kD5, 4},
                               {kD6, 3},     {kD7, 5},  {kD7, 5},  {kD9, 6},   {kD9, 6},  {kD11, 8},
                               {kD12, 8},    {kD13, 9}, {kD13, 9}, {kD15, 11}, {kD16, 10}};

// floor(sqrt(v)) for 0 <= v < 2^62.
I64 ISqrt(I64 v)
{
    I64 s = static_cast<I64>(std::sqrt(static_cast<double>(v)));
    while (s > 0 && s * s > v) --s;
    while ((s + 1) * (s + 1) <= v) ++s;
    return s;
}

}  // namespace

CircleQuadrant::CircleQuadrant(int diameter)
{
    m_r = (static_cast<I64>(diameter) - 1) / 2;
    if (diameter <= 16) {
        m_table = kTable[diameter].points;
        m_count = kTable[diameter].count;
        return;
    }
    // The midpoint walk x = 0, 1, ... with the decision value starting at
    // (5 - 4r) / 4 in integer arithmetic (2 - r here) keeps y while
    // x^2 + y^2 - y < r^2 - 1, so y(x) has a closed form.
    const I64 start = (5 - 4 * m_r) / 4;
    m_limit = m_r * m_r - (start - (1 - m_r));
    // The octant runs while x <= y(x), i.e. 2x^2 - x < limit.
    I64 a = 0, b = m_r;
    while (a < b) {
        const I64 m = a + (b - a + 1) / 2;
        if (2 * m * m - m < m_limit) {
            a = m;
        } else {
            b = m - 1;
        }
    }
    m_octantLast = a;
    m_diagonal = MidpointY(a) == a;
    m_count = 2 * (a + 1) - (m_diagonal ? 1 : 0);
}

I64 CircleQuadrant::MidpointY(I64 x) const
{
    // Largest y with y^2 - y < s, i.e. (2y - 1)^2 < 4s + 1.
    const I64 s = m_limit - x * x;
    if (s <= 0) return 0;
    I64 y = (ISqrt(4 * s + 1) + 1) / 2;
    while (y > 0 && y * y - y >= s) --y;
    while ((y + 1) * (y + 1) - (y + 1) < s) ++y;
    return y;
}

void CircleQuadrant::Point(I64 i, I64& dx, I64& dy) const
{
    if (m_table) {
        dx = m_table[2 * i];
        dy = m_table[2 * i + 1];
        return;
    }
    if (i <= m_octantLast) {  // the half near (r, 0), mirrored from the octant
        dx = MidpointY(i);
        dy = i;
    } else {
        const I64 x = (m_diagonal ? m_octantLast - 1 : m_octantLast) - (i - m_octantLast - 1);
        dx = x;
        dy = MidpointY(x);
    }
}

I64 CircleQuadrant::MaxDx(I64 dy) const
{
    // dy never shrinks along the list and dx never grows: the first point
    // with this dy has the largest dx.
    I64 a = 0, b = m_count - 1;
    while (a < b) {
        const I64 m = a + (b - a) / 2;
        I64 px, py;
        Point(m, px, py);
        if (py >= dy) {
            b = m;
        } else {
            a = m + 1;
        }
    }
    I64 px, py;
    Point(a, px, py);
    return px;
}

CircleChain::CircleChain(I64 cx, I64 cy, int diameter) : m_quadrant(diameter)
{
    const I64 even = diameter % 2 == 0 ? 1 : 0;
    m_cxL = cx;
    m_cyT = cy;
    m_cxR = cx + even;
    m_cyB = cy + even;
    // Odd circles: each arm ends where the next begins, so it gives up its
    // last point. Even circles join the arms with unit steps.
    m_perArm = m_quadrant.Count() - (even ? 0 : 1);
}

void CircleChain::Arm(int arm, I64& cx, I64& cy, int& sx, int& sy) const
{
    sx = (arm == 0 || arm == 3) ? 1 : -1;
    sy = arm < 2 ? 1 : -1;
    cx = sx > 0 ? m_cxR : m_cxL;
    cy = sy > 0 ? m_cyB : m_cyT;
}

void CircleChain::Point(I64 j, I64& x, I64& y) const
{
    const int arm = static_cast<int>(j / m_perArm);
    I64 cx, cy, dx, dy;
    int sx, sy;
    Arm(arm, cx, cy, sx, sy);
    m_quadrant.Point(QuadrantIndex(arm, j % m_perArm), dx, dy);
    x = cx + sx * dx;
    y = cy + sy * dy;
}

double CircleChain::Angle(I64 j) const
{
    const int arm = static_cast<int>(j / m_perArm);
    I64 dx, dy;
    m_quadrant.Point(QuadrantIndex(arm, j % m_perArm), dx, dy);
    const double a = (arm & 1) ? std::atan2(static_cast<double>(dx), static_cast<double>(dy))
                               : std::atan2(static_cast<double>(dy), static_cast<double>(dx));
    return 90.0 * arm + a * (180.0 / 3.14159265358979323846);
}

}  // namespace zel_draw
