#include "ZelParallel.h"

#include <atomic>
#include <system_error>
#include <thread>
#include <vector>

void ZelParallelRows(int rows, int workers, const std::function<void(int row)>& work)
{
    if (rows <= 0) return;
    if (workers <= 1) {
        for (int row = 0; row < rows; ++row) work(row);
        return;
    }
    // The counter sits on a cache line of its own so that the workers' writes
    // to their rows do not bounce it.
    alignas(64) std::atomic<int> next{-1};
    auto loop = [&] {
        for (;;) {
            const int row = next.fetch_add(1, std::memory_order_relaxed) + 1;
            if (row >= rows) return;
            work(row);
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(workers));
    try {
        for (int k = 0; k < workers; ++k) threads.emplace_back(loop);
    } catch (const std::system_error&) {
        // No more threads to be had: the caller takes a share of the rows.
        loop();
    }
    for (auto& t : threads) t.join();
}

void ZelParallelSplit(int lines, int workers, const std::function<void(int begin, int end)>& work)
{
    if (lines <= 0) return;
    const int count = workers < lines ? (workers < 1 ? 1 : workers) : lines;
    if (count == 1) {
        work(0, lines);
        return;
    }
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k) {
        const int begin = static_cast<int>(static_cast<long long>(k) * lines / count);
        const int end = static_cast<int>(static_cast<long long>(k + 1) * lines / count);
        try {
            threads.emplace_back([&work, begin, end] { work(begin, end); });
        } catch (const std::system_error&) {
            work(begin, end);  // no thread to be had: run this share inline
        }
    }
    for (auto& t : threads) t.join();
}
