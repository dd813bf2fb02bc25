#pragma once

#include "ZelExport.h"

// Receives word from a memory allocator that it has moved a block. The owner of
// the block then re-reads the block's address from its allocation record.
class ZEL_API ZelIRelocationEvent {
public:
    virtual ~ZelIRelocationEvent() = default;
    virtual void OnRelocated() = 0;
};
