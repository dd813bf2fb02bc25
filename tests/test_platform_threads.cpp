// Platform stand-ins: the processor count, the two threading schemes, strings,
// locks and user data.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "ZelCPUController.h"
#include "ZelCriticalSection.h"
#include "ZelParallel.h"
#include "ZelString.h"
#include "ZelUserDataManager.h"

namespace {

TEST(CPUController, OverrideThenEnvironmentThenSystem)
{
    ZelCPUController::SetAvailableCPUNum(3);
    EXPECT_EQ(ZelCPUController::GetAvailableCPUNumInThread(), 3);
    ZelCPUController::SetAvailableCPUNum(0);
    setenv("ZEL_THREADS", "5", 1);
    EXPECT_EQ(ZelCPUController::GetAvailableCPUNumInThread(), 5);
    for (const char* bad : {"0", "-2", "x", "3x", ""}) {
        setenv("ZEL_THREADS", bad, 1);
        EXPECT_GE(ZelCPUController::GetAvailableCPUNumInThread(), 1) << bad;
    }
    unsetenv("ZEL_THREADS");
    EXPECT_GE(ZelCPUController::GetAvailableCPUNumInThread(), 1);
}

// Every row is done exactly once, whatever the number of workers.
// Every row is done exactly once, whatever the number of workers; the static
// split hands out the contiguous shares k * lines / t .. (k + 1) * lines / t.
TEST(Parallel, EveryRowOnceAndSplitInOrder)
{
    for (int workers : {1, 2, 3, 7, 16}) {
        for (int rows : {0, 1, 2, 5, 64, 100}) {
            std::vector<std::atomic<int>> done(static_cast<std::size_t>(rows));
            ZelParallelRows(rows, workers, [&](int row) { done[static_cast<std::size_t>(row)]++; });
            for (auto& d : done) ASSERT_EQ(d.load(), 1) << workers << " workers, " << rows << " rows";

            std::vector<int> owner(static_cast<std::size_t>(rows), -1);
            ZelParallelSplit(rows, workers, [&](int begin, int end) {
                for (int i = begin; i < end; ++i) owner[static_cast<std::size_t>(i)] = begin;
            });
            const int t = std::min(workers, rows);
            for (int k = 0; k < t; ++k) {
                for (int i = k * rows / t; i < (k + 1) * rows / t; ++i) ASSERT_EQ(owner[i], k * rows / t) << i;
            }
        }
    }
    const auto caller = std::this_thread::get_id();  // one worker runs on the caller
    ZelParallelRows(4, 1, [&](int) { EXPECT_EQ(std::this_thread::get_id(), caller); });
    ZelParallelSplit(4, 1, [&](int, int) { EXPECT_EQ(std::this_thread::get_id(), caller); });
}

TEST(String, SubstringClipsToTheText)
{
    const ZelString s(L"Hounsfield");
    struct Row {
        int start, count;
        const wchar_t* expected;
    };
    const Row rows[] = {{0, 5, L"Houns"}, {5, -1, L"field"}, {8, 10, L"ld"}, {20, 2, L""}, {-3, 2, L"Ho"}};
    for (const Row& r : rows) EXPECT_EQ(s.Substring(r.start, r.count), ZelString(r.expected));
    EXPECT_EQ(s.Length(), 10);
    EXPECT_EQ(s[1], L'o');
    EXPECT_EQ(ZelString(static_cast<const wchar_t*>(nullptr)).Length(), 0);
}

TEST(CriticalSection, ReentrantAndExclusive)
{
    ZelCriticalSection section;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 1000; ++i) {
                ZelCriticalSectionLocker outer(section);
                ZelCriticalSectionLocker inner(section);
                ++counter;
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(counter, 4000);
}

TEST(UserData, AttachReadRemove)
{
    ZelUserDataManager manager;
    int value = 3;
    EXPECT_EQ(manager.GetUserData("k"), nullptr);
    manager.SetUserData("k", &value);
    EXPECT_EQ(manager.GetUserData("k"), &value);
    EXPECT_TRUE(manager.HasUserData("k"));
    manager.RemoveUserData("k");
    EXPECT_FALSE(manager.HasUserData("k"));
}

}  // namespace
