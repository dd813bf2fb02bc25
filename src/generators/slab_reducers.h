// How the samples of a thick slab combine into one pixel: the one vocabulary
// of slab reductions for every generator that gathers slabs (the MPR stacked
// slice, the oblique slab and the curved reformation's slab). A reducer folds
// samples into an accumulator and finishes it into the pixel; vector kernels
// combine lanes with the same operation, keyed by kMode.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>

// Reductions, numbered as the MPR stack modes and oblique slab modes are.
enum ZelSlabReduction {
    kZelSlabAverage = 0,  // sum divided by the sample count (or weight), truncated toward zero
    kZelSlabMaximum = 1,
    kZelSlabMinimum = 2,
};

template <int kMode, class Acc>
struct ZelSlabReducer;

// Average: a (weighted) sum, divided once at the end by a divisor that the
// caller chooses (the count of samples, or the sum of weights).
template <class Acc>
struct ZelSlabReducer<kZelSlabAverage, Acc> {
    using AccType = Acc;
    static constexpr int kMode = kZelSlabAverage;
    static Acc Init() { return 0; }
    static Acc Fold(Acc acc, Acc value) { return acc + value; }
    static Acc FoldWeighted(Acc acc, Acc value, Acc weight) { return acc + weight * value; }
    template <class Divide>
    static Acc Finish(Acc acc, const Divide& divide)
    {
        return static_cast<Acc>(divide(acc));
    }
};

// Maximum and minimum: the extreme sample, whatever the weights.
template <class Acc, bool kMaximum>
struct ZelSlabExtreme {
    using AccType = Acc;
    static constexpr int kMode = kMaximum ? kZelSlabMaximum : kZelSlabMinimum;
    static Acc Init() { return kMaximum ? std::numeric_limits<Acc>::lowest() : std::numeric_limits<Acc>::max(); }
    static Acc Fold(Acc acc, Acc value) { return kMaximum ? std::max(acc, value) : std::min(acc, value); }
    static Acc FoldWeighted(Acc acc, Acc value, Acc) { return Fold(acc, value); }
    template <class Divide>
    static Acc Finish(Acc acc, const Divide&)
    {
        return acc;
    }
};

template <class Acc>
struct ZelSlabReducer<kZelSlabMaximum, Acc> : ZelSlabExtreme<Acc, true> {
};

template <class Acc>
struct ZelSlabReducer<kZelSlabMinimum, Acc> : ZelSlabExtreme<Acc, false> {
};

// Centre weight of sample k of a slab of `count` samples, for the
// centre-weighted means: its distance from the slab's middle counted in half
// samples, D = |2k - (count - 1)| (so that even slabs stay symmetric), gives
// the triangle weight count + 1 - D: 1:2:1 for three samples, never zero.
inline int ZelSlabTriangleWeight(int k, int count)
{
    return count + 1 - std::abs(2 * k - (count - 1));
}

// Truncating division of |n| < 2^31 by a fixed divisor d >= 1 with one
// multiply: m = ceil(2^(31 + l) / d) with 2^l >= d makes (|n| m) >> (31 + l)
// exact. The same quotient as n / d.
class ZelFixedDivisor {
public:
    explicit ZelFixedDivisor(std::int64_t d)
    {
        int l = 0;
        while ((std::int64_t{1} << l) < d) ++l;
        m_shift = 31 + l;
        m_multiplier =
            ((std::uint64_t{1} << m_shift) + static_cast<std::uint64_t>(d) - 1) / static_cast<std::uint64_t>(d);
    }
    std::int32_t operator()(std::int32_t n) const
    {
        const std::uint64_t magnitude = n < 0 ? 0u - static_cast<std::uint64_t>(static_cast<std::int64_t>(n)) : n;
        const auto q = static_cast<std::int32_t>((magnitude * m_multiplier) >> m_shift);
        return n < 0 ? -q : q;
    }

private:
    std::uint64_t m_multiplier;
    int m_shift;
};

// Sums too large for 32 bits (very thick slabs) divide plainly.
struct ZelPlainDivisor {
    std::int64_t d;
    explicit ZelPlainDivisor(std::int64_t divisor) : d(divisor) {}
    std::int64_t operator()(std::int64_t n) const { return n / d; }
};
