#pragma once

#include "ZelExport.h"

// How many worker threads a generating call may start.
//
// The count is, in order of precedence: the value given to
// SetAvailableCPUNum() (when > 0), the environment variable ZEL_THREADS (when
// it holds a positive integer), and the number of processors the system
// reports (at least 1).
class ZEL_API ZelCPUController {
public:
    static int GetAvailableCPUNumInThread();
    // Overrides the count for the whole process; 0 or less returns to the
    // environment / system value.
    static void SetAvailableCPUNum(int count);
};
