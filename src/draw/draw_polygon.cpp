// Even-odd polygon fill with an active edge list. Each edge keeps its exact x
// at the current row as a quotient and remainder, so vertices anywhere in the
// int range cost only the rows that are visible.
#include <algorithm>
#include <new>
#include <vector>

#include "draw/draw_pixels.h"

using namespace zel_draw;

namespace {

struct Edge {
    I64 firstRow, lastRow;  // rows the edge crosses: (top, bottom]
    I64 x0;                 // x at the top end
    I64 q, r;               // x - x0 = q + r / den at the current row, rounded half up
    I64 stepQ, stepR, den;  // per row
};

}  // namespace

void ZelImageDrawEngine::FillPolygon(const int* xs, const int* ys, int count)
{
    Target t;
    if (!ZelDrawAccess::GetTarget(*this, t) || !xs || !ys || count < 2) return;
    const auto [minY, maxY] = std::minmax_element(ys, ys + count);
    const auto [minX, maxX] = std::minmax_element(xs, xs + count);
    if (*maxX < t.left || *minX > t.right || *maxY < t.top || *minY > t.bottom) return;
    const I64 rowBegin = std::max<I64>(*minY, t.top), rowEnd = std::min<I64>(*maxY, t.bottom);

    // Kept between calls on this thread; a huge polygon's memory is given
    // back afterwards.
    thread_local std::vector<Edge> edges;
    thread_local std::vector<I64> crossings;
    thread_local std::vector<Edge*> active;
    struct Release {
        ~Release()
        {
            if (edges.capacity() > 4096) std::vector<Edge>().swap(edges);
            if (crossings.capacity() > 4096) std::vector<I64>().swap(crossings);
            if (active.capacity() > 4096) std::vector<Edge*>().swap(active);
        }
    } release;
    edges.clear();
    active.clear();
    try {
        edges.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            I64 xa = xs[i], ya = ys[i], xb = xs[(i + 1) % count], yb = ys[(i + 1) % count];
            if (ya == yb) continue;  // a horizontal edge crosses no row
            if (ya > yb) {
                std::swap(xa, xb);
                std::swap(ya, yb);
            }
            Edge e;
            e.firstRow = std::max(ya + 1, rowBegin);
            e.lastRow = std::min(yb, rowEnd);
            if (e.firstRow > e.lastRow) continue;
            // x(y) = xa + (y - ya) * dx / dy, rounded half up:
            // xa + floor((2 (y - ya) dx + dy) / 2dy).
            const I64 dx = xb - xa, dy = yb - ya;
            e.x0 = xa;
            e.den = 2 * dy;
            const Wide num = Wide(2) * (e.firstRow - ya) * dx + dy;
            e.q = static_cast<I64>(FloorDiv(num, e.den));
            e.r = static_cast<I64>(num - Wide(e.q) * e.den);
            e.stepQ = static_cast<I64>(FloorDiv(Wide(2) * dx, e.den));
            e.stepR = 2 * dx - e.stepQ * e.den;
            edges.push_back(e);
        }
        std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.firstRow < b.firstRow; });
    } catch (const std::bad_alloc&) {
        return;
    }

    const Brush brush = ZelDrawAccess::GetBrush(*this);
    const SpanFiller fill = SelectSpanFiller(brush, t.depth);
    // Every edge can be active at once: size the lists once, then work on
    // plain pointers.
    try {
        active.resize(edges.size());
        crossings.resize(edges.size());
    } catch (const std::bad_alloc&) {
        return;
    }
    Edge* nextEdge = edges.data();
    Edge* const endEdge = edges.data() + edges.size();
    Edge** const act = active.data();
    I64* const cross = crossings.data();
    std::size_t live = 0;
    for (I64 y = rowBegin; y <= rowEnd; ++y) {
        while (nextEdge != endEdge && nextEdge->firstRow <= y) act[live++] = nextEdge++;
        // Few crossings a row (the rule) are sorted by insertion, many by
        // std::sort.
        const bool few = live <= 32;
        std::size_t kept = 0;
        for (std::size_t i = 0; i < live; ++i) {
            Edge* e = act[i];
            if (e->lastRow < y) continue;
            act[kept] = e;
            const I64 x = e->x0 + e->q;
            std::size_t j = kept++;
            if (few) {
                for (; j > 0 && cross[j - 1] > x; --j) cross[j] = cross[j - 1];
            }
            cross[j] = x;
            e->q += e->stepQ;
            e->r += e->stepR;
            if (e->r >= e->den) {
                e->r -= e->den;
                ++e->q;
            }
        }
        live = kept;
        if (!few) std::sort(cross, cross + kept);
        for (std::size_t i = 0; i + 1 < kept; i += 2) {
            const I64 x0 = std::max<I64>(cross[i], t.left), x1 = std::min<I64>(cross[i + 1], t.right);
            if (x0 <= x1) fill(t, brush, static_cast<int>(y), static_cast<int>(x0), static_cast<int>(x1));
        }
        if (live == 0 && nextEdge == endEdge) break;
    }
}
