#include "ZelCPUController.h"

#include <atomic>
#include <cstdlib>
#include <thread>

namespace {
std::atomic<int> g_override{0};

int FromEnvironment()
{
    const char* text = std::getenv("ZEL_THREADS");
    if (!text || !*text) return 0;
    char* end = nullptr;
    long value = std::strtol(text, &end, 10);
    if (*end != '\0' || value <= 0 || value > 4096) return 0;
    return static_cast<int>(value);
}
}  // namespace

int ZelCPUController::GetAvailableCPUNumInThread()
{
    if (int n = g_override.load(std::memory_order_relaxed); n > 0) return n;
    if (int n = FromEnvironment(); n > 0) return n;
    unsigned hw = std::thread::hardware_concurrency();
    return hw == 0 ? 1 : static_cast<int>(hw);
}

void ZelCPUController::SetAvailableCPUNum(int count)
{
    g_override.store(count > 0 ? count : 0, std::memory_order_relaxed);
}
