// One font shared by engines on several threads: the glyph cache fills under
// its lock, and every thread draws the bytes a single thread draws.
#include <gtest/gtest.h>

#include <vector>

#include "ZelParallel.h"
#include "draw_test_helpers.h"

TEST(DrawTextThreads, SharedFontDrawsAsOneThread)
{
    const wchar_t* labels[] = {L"W 400 L 40", L"12.3 mm^2", L"\u00C5ngstr\u00F6m", L"R", L"H_{2}O", L"xyz 789"};
    const auto draw = [&](HFONT font, int i, std::vector<std::uint32_t>& out) {
        DrawCanvas c(90, 20);
        c.engine.DrawString(labels[i % 6], 2, 2, font, ZelImageDrawEngine::TEXT_MARKUP | (i % 4));
        for (int y = 0; y < 20; ++y) {
            for (int x = 0; x < 90; ++x) out.push_back(c.Get(x, y));
        }
    };
    HFONT single = ZelImageDrawEngine::CreateFont(L"DejaVu Sans", 9, false, 96, 0);
    HFONT shared = ZelImageDrawEngine::CreateFont(L"DejaVu Sans", 9, false, 96, 0);
    std::vector<std::vector<std::uint32_t>> expected(24), threaded(24);
    for (int i = 0; i < 24; ++i) draw(single, i, expected[i]);
    ZelParallelRows(24, 4, [&](int i) { draw(shared, i, threaded[i]); });
    EXPECT_EQ(threaded, expected);
    ZelImageDrawEngine::DeleteFont(single);
    ZelImageDrawEngine::DeleteFont(shared);
}
