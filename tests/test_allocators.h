// An allocator for tests: counts live blocks, can refuse, hands out blocks
// that are not zeroed (unlike the default), and can move its latest block and
// tell the owner, as a compacting host heap would.
#pragma once

#include <cstdlib>
#include <cstring>

#include "ZelIMemoryAllocator.h"
#include "ZelIRelocationEvent.h"

struct CountingAllocator : ZelIMemoryAllocator {
    bool refuse = false;
    int live = 0;
    void* latest = nullptr;
    void* movedFrom = nullptr;
    ZelIRelocationEvent* owner = nullptr;
    bool Allocate(ZelAllocationRecord& record, ZelIRelocationEvent* event, std::size_t bytes) override
    {
        if (refuse) return false;
        record.address = latest = std::malloc(bytes);
        std::memset(record.address, 0xCD, bytes);
        record.tag = bytes;
        owner = event;
        ++live;
        return true;
    }
    void Free(ZelAllocationRecord& record) override
    {
        std::free(record.address);
        record.address = nullptr;
        --live;
    }
    std::size_t GetSize(const ZelAllocationRecord& record) const override { return record.tag; }
    void QueryRelocation(ZelAllocationRecord& record) override
    {
        if (record.address == movedFrom) record.address = latest;
    }
    // Copies the latest block of `bytes` elsewhere; the owner hears of it
    // before the old place is freed.
    void Move(std::size_t bytes)
    {
        movedFrom = latest;
        latest = std::malloc(bytes);
        std::memcpy(latest, movedFrom, bytes);
        owner->OnRelocated();
        std::free(movedFrom);
    }
};
