// Compositor: the listed cases, every pair of Alpha, Add, PixelAlpha and
// PixelAdd against a pixel-by-pixel model of its arithmetic on buffers with
// padded rows (and a larger b where the depths differ), the vector byte
// kernels against their twins, and refusals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <vector>

#include "ZelIGCompositor.h"
#include "compose/compose_kernels.h"
#include "generators/dispatch.h"

namespace {

// A buffer of the given size whose pixel bytes are `bytes` (repeated) and
// whose padding holds a marker.
std::unique_ptr<ZelImageBuffer> MakeBuffer(int width, int height, int depth, const std::vector<int>& bytes)
{
    auto buffer = std::make_unique<ZelImageBuffer>();
    EXPECT_TRUE(buffer->CreateImage(width, height, depth));
    std::memset(buffer->GetDataPtr(), 0xEE, static_cast<std::size_t>(buffer->GetSizePerLine()) * height);
    std::size_t i = 0;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width * depth; ++x) {
            buffer->GetDataPtr()[y * buffer->GetSizePerLine() + x] =
                static_cast<unsigned char>(bytes[i++ % bytes.size()]);
        }
    }
    return buffer;
}

// Pixel bytes row after row; the padding of a buffer made here must still hold
// the marker.
std::vector<int> Bytes(const ZelImageBuffer& buffer, bool marked = true)
{
    std::vector<int> bytes;
    for (int y = 0; y < buffer.GetHeight(); ++y) {
        const unsigned char* row = buffer.GetDataPtr() + y * buffer.GetSizePerLine();
        bytes.insert(bytes.end(), row, row + buffer.GetWidth() * buffer.GetDepth());
        for (int p = buffer.GetWidth() * buffer.GetDepth(); marked && p < buffer.GetSizePerLine(); ++p) {
            EXPECT_EQ(row[p], 0xEE) << "padding of row " << y;
        }
    }
    return bytes;
}

using Compose = std::function<ZelImageBuffer*(ZelImageBuffer*, ZelImageBuffer*)>;
#define COMPOSE(call) [&](ZelImageBuffer* a, ZelImageBuffer* b) { return ZelIGCompositor::call; }

TEST(Compositor, ListedCases)
{
    enum Written { A, B, None };
    const ZelRGBBase<unsigned char> key{1, 2, 3};
    struct Row {
        const char* what;
        Compose compose;
        int width, depthA, depthB;
        std::vector<int> a, b;
        Written written;
        std::vector<int> expected;  // the written buffer's bytes
    };
    const std::vector<int> a3 = {10, 100, 200};
    const std::vector<int> b3 = {50, 60, 70};
    const Row rows[] = {
        {"alpha 0 keeps a", COMPOSE(Alpha(a, b, 0.0f)), 1, 3, 3, a3, b3, A, a3},
        {"alpha 1 gives b", COMPOSE(Alpha(a, b, 1.0f)), 1, 3, 3, a3, b3, A, b3},
        {"alpha 1.5 extrapolates", COMPOSE(Alpha(a, b, 1.5f)), 1, 3, 3, a3, b3, A, {70, 40, 5}},
        {"alpha keeps the fourth byte",
         COMPOSE(Alpha(a, b, 0.5f)),
         1,
         4,
         4,
         {0, 0, 0, 9},
         {200, 100, 2, 7},
         A,
         {100, 50, 1, 9}},
        {"alpha grey under colour",
         COMPOSE(Alpha(a, b, 0.25f)),
         1,
         1,
         4,
         {200},
         {0, 100, 40, 5},
         B,
         {150, 175, 160, 5}},
        {"alpha colour over grey", COMPOSE(Alpha(a, b, 0.25f)), 1, 3, 1, {0, 100, 40}, {200}, A, {50, 125, 80}},
        {"alpha 3 under 4", COMPOSE(Alpha(a, b, 0.25f)), 1, 3, 4, {0, 100, 40}, {200, 0, 0, 1}, A, {50, 75, 30}},
        {"alpha 4 over 3, same weights",
         COMPOSE(Alpha(a, b, 0.25f)),
         1,
         4,
         3,
         {200, 0, 0, 1},
         {0, 100, 40},
         B,
         {50, 75, 30}},
        {"alpha 1 and 2", COMPOSE(Alpha(a, b, 0.5f)), 1, 1, 2, {1}, {2, 3}, None, {}},
        {"add saturates", COMPOSE(Add(a, b, 1.0f)), 1, 3, 3, a3, b3, A, {60, 160, 255}},
        {"add negative clamps", COMPOSE(Add(a, b, -2.0f)), 1, 3, 3, a3, b3, A, {0, 0, 60}},
        {"add grey first", COMPOSE(Add(a, b, 0.5f)), 1, 1, 3, {100}, {10, 20, 255}, B, {105, 110, 227}},
        {"add 4 over 3", COMPOSE(Add(a, b, 0.5f)), 1, 4, 3, {100, 20, 0, 0}, {10, 20, 30}, B, {60, 30, 30}},
        {"pixel alpha 0 gives the other", COMPOSE(PixelAlpha(a, b, 1.0f)), 1, 3, 4, a3, {1, 2, 3, 0}, A, a3},
        {"pixel alpha grey", COMPOSE(PixelAlpha(a, b, 0.5f)), 1, 4, 1, {255, 0, 100, 255}, {51}, A, {152, 25, 75, 255}},
        {"pixel alpha 1 and 3", COMPOSE(PixelAlpha(a, b, 0.5f)), 1, 1, 3, {7}, b3, A, {7}},
        {"pixel add", COMPOSE(PixelAdd(a, b, 1.0f)), 1, 3, 4, {200, 10, 0}, {100, 100, 100, 128}, A, {250, 60, 50}},
        {"pixel add 4 over 3",
         COMPOSE(PixelAdd(a, b, 1.0f)),
         1,
         4,
         3,
         {100, 100, 100, 128},
         {200, 10, 0},
         B,
         {250, 60, 50}},
        {"checker", COMPOSE(Checker(a, b, 2)), 5, 1, 1, {0, 0, 0, 0, 0}, {1, 2, 3, 4, 5}, A, {0, 0, 3, 4, 0}},
        {"checker large cells", COMPOSE(Checker(a, b, 9)), 5, 1, 1, {0}, {1}, A, {0, 0, 0, 0, 0}},
        {"multiply 0 keeps a", COMPOSE(Multiply(a, b, 0.0f)), 1, 3, 3, a3, b3, A, a3},
        {"multiply full", COMPOSE(Multiply(a, b, 1.0f)), 1, 3, 1, {255, 100, 0}, {127}, A, {127, 50, 0}},
        {"multiply alpha",
         COMPOSE(MultiplyAlpha(a, b, key, 1.0f)),
         2,
         3,
         3,
         {200, 200, 200},
         {0, 0, 0, 255, 255, 255},
         A,
         {1, 2, 3, 200, 200, 200}},
        {"overwrite keyed",
         COMPOSE(Overwrite(a, b, key)),
         2,
         4,
         4,
         {9, 9, 9, 9},
         {1, 2, 3, 0, 4, 5, 6, 0},
         A,
         {9, 9, 9, 9, 4, 5, 6, 9}},
        {"overwrite alpha", COMPOSE(OverwriteAlpha(a, b, key, 0.5f)), 2, 1, 1, {10}, {2, 30}, A, {10, 20}},
        {"overwrite 1 and 3", COMPOSE(Overwrite(a, b, key)), 1, 1, 3, {10}, b3, None, {}},
    };
    for (const Row& r : rows) {
        auto a = MakeBuffer(r.width, 2, r.depthA, r.a);
        auto b = MakeBuffer(r.width, 2, r.depthB, r.b);
        ZelImageBuffer* expected = r.written == A ? a.get() : (r.written == B ? b.get() : nullptr);
        const std::vector<int> before = Bytes(*a);
        ASSERT_EQ(r.compose(a.get(), b.get()), expected) << r.what;
        if (expected == nullptr) {
            EXPECT_EQ(Bytes(*a), before) << r.what;
            continue;
        }
        std::vector<int> rows2 = r.expected;
        rows2.insert(rows2.end(), r.expected.begin(), r.expected.end());
        EXPECT_EQ(Bytes(*expected), rows2) << r.what;
    }
}

// The four weighted blends over every pair they take, on random pictures,
// against the formulas applied pixel by pixel with 64-bit integers.
TEST(Compositor, BlendsFollowTheirArithmetic)
{
    std::mt19937 random(8);
    const auto randomBytes = [&](int n) {
        std::vector<int> bytes(n);
        for (int& v : bytes) v = static_cast<int>(random() % 256);
        return bytes;
    };
    enum Op { Alpha, Add, PixelAlpha, PixelAdd };
    const auto shift = [](long long v) { return v >= 0 ? v >> 8 : -((-v + 255) >> 8); };  // floor
    const auto clamp = [](long long v) { return static_cast<int>(std::clamp<long long>(v, 0, 255)); };
    for (int trial = 0; trial < 40; ++trial) {
        const float factor = trial < 30 ? std::uniform_real_distribution<float>(0.0f, 1.0f)(random)
                                        : std::uniform_real_distribution<float>(-3.0f, 3.0f)(random);
        const long long k = static_cast<long long>(factor * 256.0);
        for (Op op : {Alpha, Add, PixelAlpha, PixelAdd}) {
            for (int depthA : {1, 3, 4}) {
                for (int depthB : {1, 3, 4}) {
                    const bool same = depthA == depthB;
                    const int width = 7 + trial % 20;
                    auto a = MakeBuffer(width, 3, depthA, randomBytes(width * 3 * depthA));
                    auto b = MakeBuffer(same ? width : width + 2, same ? 3 : 4, depthB,
                                        randomBytes((width + 2) * 4 * depthB));
                    const std::vector<int> before = Bytes(*a);
                    const std::vector<int> other = Bytes(*b);
                    const int strideB = b->GetWidth() * depthB;
                    // The model: which pairs each takes, which buffer it writes, and its bytes.
                    const int pair = depthA * 10 + depthB;
                    const auto among = [pair](std::initializer_list<int> pairs) {
                        return std::find(pairs.begin(), pairs.end(), pair) != pairs.end();
                    };
                    const bool constant = op == Alpha || op == Add;
                    const bool supported = constant ? among({11, 33, 44, 13, 31, 14, 41, 34, 43})
                                                    : among({14, 41, 34, 44}) || (op == PixelAdd && pair == 43);
                    const bool writesB = constant ? among({13, 14, 43}) : among({14, 43});
                    std::vector<int> expected = writesB ? other : before;
                    const int widthW = writesB ? b->GetWidth() : width;
                    for (int y = 0; y < 3 && supported; ++y) {
                        for (int x = 0; x < width; ++x) {
                            const int* pa = &before[(y * width + x) * depthA];
                            const int* pb = &other[same ? (y * width + x) * depthB : y * strideB + x * depthB];
                            int* out = &expected[(y * widthW + x) * (writesB ? depthB : depthA)];
                            for (int c = 0; c < (depthA == 1 && depthB == 1 ? 1 : 3); ++c) {
                                const int ca = pa[depthA == 1 ? 0 : c];
                                const int cb = pb[depthB == 1 ? 0 : c];
                                // The 3-byte picture is "first" against a 4-byte one.
                                const bool swap = depthA == 4 && depthB == 3;
                                const int first = swap ? cb : ca;
                                const int second = swap ? ca : cb;
                                long long v = 0;
                                if (op == Alpha) {
                                    v = shift((second - first) * k + first * 256LL) & 255;
                                } else if (op == Add) {
                                    v = clamp(shift(first * 256LL + second * k));
                                } else {
                                    // f: the 4-byte image's byte, o: the other's.
                                    const bool aIsOverlay = depthA == 4 && depthB != 4;
                                    const int alpha = aIsOverlay ? pa[3] : pb[3];
                                    const long long w = static_cast<long long>(alpha * static_cast<double>(factor));
                                    const int f = aIsOverlay ? ca : cb;
                                    const int o = aIsOverlay ? cb : ca;
                                    v = op == PixelAlpha ? ((f - o) * w + o * 255LL) / 255 & 255
                                                         : clamp((f * w + o * 255LL) / 255);
                                }
                                out[c] = static_cast<int>(v);
                            }
                        }
                    }
                    ZelImageBuffer* returned = nullptr;
                    switch (op) {
                    case Alpha: returned = ZelIGCompositor::Alpha(a.get(), b.get(), factor); break;
                    case Add: returned = ZelIGCompositor::Add(a.get(), b.get(), factor); break;
                    case PixelAlpha: returned = ZelIGCompositor::PixelAlpha(a.get(), b.get(), factor); break;
                    case PixelAdd: returned = ZelIGCompositor::PixelAdd(a.get(), b.get(), factor); break;
                    }
                    const ZelImageBuffer* want =
                        supported ? (writesB ? b.get() : a.get()) : (constant ? nullptr : a.get());
                    ASSERT_EQ(returned, want) << op << " pair " << depthA << depthB;
                    EXPECT_EQ(Bytes(writesB ? *b : *a), supported ? expected : (writesB ? other : before))
                        << op << " pair " << depthA << depthB << " factor " << factor;
                }
            }
        }
    }
}

TEST(Compositor, VectorBytesEqualTwins)
{
    std::mt19937 random(21);
    std::vector<unsigned char> a(301), b(301), fast(301), twin(301);
    for (int trial = 0; trial < 3000; ++trial) {
        for (std::size_t i = 0; i < a.size(); ++i) {
            a[i] = static_cast<unsigned char>(random());
            b[i] = static_cast<unsigned char>(random());
        }
        // Mostly 0..256, some far outside (extrapolation, saturation).
        const int k = trial % 4 ? static_cast<int>(random() % 257) : static_cast<int>(random() % 4000) - 2000;
        const bool keepFourth = trial % 3 == 0;
        const int count = keepFourth ? 300 : 301 - trial % 17;
        for (int kernel = 0; kernel < 2; ++kernel) {
            fast = a;
            twin = a;
            const auto run = kernel == 0 ? ZelAlphaBytes : ZelAddBytes;
            run(ZelComposeRow{fast.data(), b.data(), count, keepFourth}, k);
            const ZelSimdCapScope scalar(ZelSimd::kScalar);
            run(ZelComposeRow{twin.data(), b.data(), count, keepFourth}, k);
            ASSERT_EQ(fast, twin) << "kernel " << kernel << " k " << k << " count " << count;
        }
    }
}

TEST(Compositor, ColorFusesInComplementaryColours)
{
    auto a = MakeBuffer(3, 2, 1, {10, 20, 30});
    auto b = MakeBuffer(3, 2, 1, {200, 20, 0});
    ZelImageBuffer* result = nullptr;
    ASSERT_NE(ZelIGCompositor::Color(a.get(), b.get(), result), nullptr);
    std::unique_ptr<ZelImageBuffer> owned(result);
    const std::vector<int> row = {200, 10, 200, 20, 20, 20, 0, 30, 0};
    std::vector<int> rows = row;
    rows.insert(rows.end(), row.begin(), row.end());
    ASSERT_EQ(result->GetDepth(), 3);
    EXPECT_EQ(Bytes(*result, false), rows);
    ZelImageBuffer* again = result;  // the right size: reused as it is
    EXPECT_EQ(ZelIGCompositor::Color(a.get(), b.get(), again), result);
    ZelImageBuffer* self = a.get();
    EXPECT_EQ(ZelIGCompositor::Color(a.get(), b.get(), self), nullptr);

    auto c = MakeBuffer(1, 1, 3, {255, 0, 0});  // blue: luminance 28
    auto d = MakeBuffer(1, 1, 3, {0, 0, 255});  // red: 76
    EXPECT_EQ(ZelIGCompositor::Color(c.get(), d.get(), result), c.get());
    EXPECT_EQ(Bytes(*c), (std::vector<int>{76, 28, 76}));
}

TEST(Compositor, Refusals)
{
    auto a = MakeBuffer(8, 4, 3, {1});
    auto small = MakeBuffer(8, 3, 3, {2});
    auto narrow = MakeBuffer(7, 4, 1, {2});
    const ZelRGBBase<unsigned char> key{0, 0, 0};
    const Compose calls[] = {
        COMPOSE(Alpha(a, b, 0.5f)),
        COMPOSE(Add(a, b, 0.5f)),
        COMPOSE(PixelAlpha(a, b, 0.5f)),
        COMPOSE(PixelAdd(a, b, 0.5f)),
        COMPOSE(Checker(a, b, 2)),
        COMPOSE(Multiply(a, b, 0.5f)),
        COMPOSE(Overwrite(a, b, key)),
        COMPOSE(OverwriteAlpha(a, b, key, 0.5f)),
        COMPOSE(MultiplyAlpha(a, b, key, 1.0f)),
    };
    const std::vector<int> before = Bytes(*a);
    for (const Compose& call : calls) {
        EXPECT_EQ(call(nullptr, a.get()), nullptr);
        EXPECT_EQ(call(a.get(), nullptr), nullptr);
        ZelImageBuffer* result = call(a.get(), small.get());
        EXPECT_TRUE(result == nullptr || result == a.get());
        EXPECT_EQ(Bytes(*a), before) << "too small a b was read";
    }
    EXPECT_EQ(ZelIGCompositor::Alpha(a.get(), narrow.get(), 0.5f), nullptr);
    EXPECT_EQ(ZelIGCompositor::Checker(a.get(), a.get(), 0), a.get());
}

}  // namespace
