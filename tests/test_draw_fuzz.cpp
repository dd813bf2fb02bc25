// Random command streams through the flat interface, with arguments from the
// whole int range, into targets fenced by guard bytes: no call may write
// outside its target (under AddressSanitizer no call may read outside its
// sources either, which are allocated to the byte).
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include "ZelImageDrawEngine.h"
#include "ZelImageDrawEngineFlat.h"

namespace {

constexpr unsigned char kGuard = 0xA5;
constexpr int kFence = 64;

struct Fuzzer {
    std::mt19937 rng;
    explicit Fuzzer(unsigned seed) : rng(seed) {}

    int Small(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng); }
    // Mostly near the image, sometimes at the ends of the int range.
    int Coord()
    {
        switch (Small(0, 9)) {
        case 0: return std::uniform_int_distribution<int>(INT_MIN, INT_MAX)(rng);
        case 1: {
            const int ends[] = {INT_MIN, INT_MIN + 1, INT_MAX, INT_MAX - 1, -1, 0};
            return ends[Small(0, 5)];
        }
        case 2: return Small(-100000, 100000);
        default: return Small(-40, 110);
        }
    }
    int Size() { return Small(0, 9) == 0 ? Coord() : Small(-2, 60); }
    float Angle()
    {
        const float special[] = {NAN, INFINITY, -INFINITY, 1e30f, -720.f, 359.99f};
        return Small(0, 9) == 0 ? special[Small(0, 5)] : static_cast<float>(Small(-800, 800)) / 2;
    }
};

// A source image allocated exactly: (height - 1) * stride + width * depth.
struct Source {
    int width, height, depth, stride;
    std::unique_ptr<unsigned char[]> pixels;
    explicit Source(Fuzzer& f)
        : width(f.Small(1, 9)),
          height(f.Small(1, 9)),
          depth(f.Small(0, 2) == 0 ? 1
                : f.Small(0, 1)    ? 3
                                   : 4)
    {
        stride = width * depth;
        const int bytes = (height - 1) * stride + width * depth;
        pixels.reset(new unsigned char[bytes]);
        for (int i = 0; i < bytes; ++i) pixels[i] = static_cast<unsigned char>(f.Small(0, 255));
    }
};

void RunCommand(ZelImageDrawEngine* e, Fuzzer& f, HFONT font)
{
    switch (f.Small(0, 27)) {
    case 0: ZelImageDrawEngine_SetColor(e, static_cast<uint32_t>(f.rng())); break;
    case 1: ZelImageDrawEngine_SetBorderColor(e, static_cast<uint32_t>(f.rng())); break;
    case 2: ZelImageDrawEngine_SetPenWidth(e, f.Small(0, 5) == 0 ? f.Coord() : f.Small(-1, 6)); break;
    case 3: ZelImageDrawEngine_SetPenDash(e, f.Small(0, 1)); break;
    case 4: ZelImageDrawEngine_SetPenDashOffset(e, static_cast<unsigned>(f.rng())); break;
    case 5: {
        int pattern[5];
        for (int& p : pattern) p = f.Small(0, 1);
        ZelImageDrawEngine_SetPenDashPattern(e, pattern, f.Small(0, 5));
        break;
    }
    case 6:
        ZelImageDrawEngine_SetClipRectangle(e, f.Coord(), f.Coord(), f.Coord(), f.Coord());
        if (f.Small(0, 1)) ZelImageDrawEngine_ClearClipRectangle(e);
        break;
    case 7: ZelImageDrawEngine_DrawLine(e, f.Coord(), f.Coord(), f.Coord(), f.Coord(), f.Small(0, 1)); break;
    case 8:
        ZelImageDrawEngine_DrawGradationLine(e, f.Coord(), f.Coord(), static_cast<uint32_t>(f.rng()), f.Coord(),
                                             f.Coord(), static_cast<uint32_t>(f.rng()));
        break;
    case 9: ZelImageDrawEngine_DrawRectangle(e, f.Coord(), f.Coord(), f.Coord(), f.Coord()); break;
    case 10: ZelImageDrawEngine_FillRectangle(e, f.Coord(), f.Coord(), f.Coord(), f.Coord()); break;
    case 11: ZelImageDrawEngine_DrawCircle(e, f.Coord(), f.Coord(), f.Size()); break;
    case 12: ZelImageDrawEngine_FillCircle(e, f.Coord(), f.Coord(), f.Size()); break;
    case 13: ZelImageDrawEngine_DrawArc(e, f.Coord(), f.Coord(), f.Size(), f.Angle(), f.Angle()); break;
    case 14: ZelImageDrawEngine_FillArc(e, f.Coord(), f.Coord(), f.Size(), f.Angle(), f.Angle()); break;
    case 15: {
        std::vector<int> xs(static_cast<std::size_t>(f.Small(0, 12))), ys(xs.size());
        for (std::size_t i = 0; i < xs.size(); ++i) xs[i] = f.Coord(), ys[i] = f.Coord();
        ZelImageDrawEngine_FillPolygon(e, xs.data(), ys.data(), static_cast<int>(xs.size()));
        break;
    }
    case 16: {
        Source s(f);
        if (s.depth == 1 || f.Small(0, 1)) {
            ZelImageDrawEngine_SetTextureBrush(e, s.pixels.get(), s.width, s.height, s.depth);
        } else {
            ZelImageDrawEngine_SetTextureBrush(e, nullptr, 0, 0, 0);
        }
        break;
    }
    case 17: {
        std::vector<ZelPaletteEntry> palette(static_cast<std::size_t>(f.Small(1, 300)));
        for (auto& p : palette) p = {static_cast<unsigned char>(f.rng()), 0, 255, static_cast<unsigned char>(f.rng())};
        ZelImageDrawEngine_SetImageColorPalette(e, palette.data(), static_cast<int>(palette.size()));
        if (f.Small(0, 3) == 0) ZelImageDrawEngine_ClearImageColorPalette(e);
        break;
    }
    case 18: {
        Source s(f);
        ZelImageDrawEngine_DrawImage(e, f.Coord(), f.Coord(), s.pixels.get(), s.width, s.height, s.depth, 0);
        break;
    }
    case 19: {
        Source s(f);
        ZelImageDrawEngine_DrawPartialImage(e, f.Coord(), f.Coord(), f.Small(-1, 9), f.Small(-1, 9), f.Size(), f.Size(),
                                            s.pixels.get(), s.width, s.height, s.depth);
        break;
    }
    case 20: {
        Source s(f);
        ZelImageDrawEngine_SetBilinearFilter(e, f.Small(0, 1));
        ZelImageDrawEngine_DrawScaledImage(e, f.Coord(), f.Coord(), f.Size(), f.Size(), s.pixels.get(), s.width,
                                           s.height, s.depth);
        break;
    }
    case 21: {
        Source s(f);
        ZelImageDrawEngine_DrawPartialScaledImage(e, f.Coord(), f.Coord(), f.Size(), f.Size(), f.Small(-1, 9),
                                                  f.Small(-1, 9), f.Small(-1, 9), f.Small(-1, 9), s.pixels.get(),
                                                  s.width, s.height, s.depth);
        break;
    }
    case 22: {
        static const std::wstring longText(5000, L'W');
        const wchar_t* texts[] = {L"W 400 L 40", L"mm^2", L"H_{2}O \\^", L"x^{", longText.c_str(), L"\u00C5 \u03bc"};
        const int style = static_cast<int>(f.rng() & 0x1FFFF);
        if (f.Small(0, 1)) {
            ZelImageDrawEngine_DrawString(e, texts[f.Small(0, 5)], f.Coord(), f.Coord(), font, style);
        } else {
            const int w = f.Small(0, 3) == 0 ? INT_MIN : f.Size(), h = f.Small(0, 3) == 0 ? INT_MIN : f.Size();
            ZelImageDrawEngine_DrawStringRect(e, texts[f.Small(0, 5)], f.Coord(), f.Coord(), w, h, font, style);
        }
        break;
    }
    case 23: {
        int w, h;
        ZelImageDrawEngine_MeasureString(e, L"Ab^c", font, static_cast<int>(f.rng() & 0x1FFFF), &w, &h);
        break;
    }
    case 24: ZelImageDrawEngine_Monochrome(e, f.Angle() / 100); break;
    case 25: ZelImageDrawEngine_MakeTransparent(e, f.Angle() / 100); break;
    default: ZelImageDrawEngine_DrawLine(e, f.Small(-5, 70), f.Small(-5, 70), f.Coord(), f.Coord(), 1); break;
    }
}

}  // namespace

TEST(DrawFuzz, CommandStreamsStayInsideTheirTargets)
{
    ZelImageDrawEngine* engine = ZelImageDrawEngine_New();
    ASSERT_NE(engine, nullptr);
    HFONT font = ZelImageDrawEngine_CreateFont(engine, L"DejaVu Sans", 8, 0);
    ASSERT_NE(font, nullptr);
    for (unsigned stream = 0; stream < 2000; ++stream) {
        Fuzzer f(stream);
        const int width = f.Small(1, 70), height = f.Small(1, 50), depth = f.Small(3, 4);
        const int stride = width * depth + f.Small(0, 5);
        const std::size_t bytes = static_cast<std::size_t>(height - 1) * stride + width * depth;
        std::vector<unsigned char> block(bytes + 2 * kFence, kGuard);
        ZelImageDrawEngine_SetExternalImagePtr(engine, block.data() + kFence, width, height, depth, stride);
        for (int command = 0; command < 80; ++command) {
            RunCommand(engine, f, font);
            for (int i = 0; i < kFence; ++i) {
                ASSERT_EQ(block[i], kGuard) << "stream " << stream << " command " << command;
                ASSERT_EQ(block[kFence + bytes + i], kGuard) << "stream " << stream << " command " << command;
            }
            // Row padding stays untouched too.
            for (int y = 0; y + 1 < height; ++y) {
                for (int p = width * depth; p < stride; ++p) {
                    ASSERT_EQ(block[kFence + y * stride + p], kGuard) << "padding, stream " << stream;
                }
            }
        }
    }
    ZelImageDrawEngine_DeleteFont(engine, font);
    ZelImageDrawEngine_Delete(engine);
}
