#pragma once

#include <functional>

#include "ZelExport.h"

// The library's one place that starts and joins threads, public so that a
// host (or a tool such as zelgen) can spread its own per-image work the way
// the generators do: the work is a function of a row (or a range of lines);
// these helpers own the workers. Every worker is joined before the call
// returns, a worker count of 1 (or less) runs everything on the calling
// thread, and where the system refuses a thread its share runs on the calling
// thread instead. Pass ZelCPUController::GetAvailableCPUNumInThread() to use
// the library's processor count. Exceptions must not leave `work`.

// Dynamic scheme: rows 0..rows-1 are handed out one at a time from a shared
// atomic counter to `workers` threads. `work(row)` must only write its own
// row's output.
ZEL_API void ZelParallelRows(int rows, int workers, const std::function<void(int row)>& work);

// Static scheme: `lines` lines split over T = min(lines, workers) threads,
// worker k taking lines [k*lines/T, (k+1)*lines/T). With T = 1 it runs inline.
ZEL_API void ZelParallelSplit(int lines, int workers, const std::function<void(int begin, int end)>& work);
