// Allocators for tests: one that counts and can refuse, one that moves its
// block on demand and tells the owner.
#pragma once

#include <cstdlib>
#include <cstring>

#include "ZelIMemoryAllocator.h"
#include "ZelIRelocationEvent.h"

struct CountingAllocator : ZelIMemoryAllocator {
    bool refuse = false;
    int live = 0;
    bool Allocate(ZelAllocationRecord& record, ZelIRelocationEvent*, std::size_t bytes) override
    {
        if (refuse) return false;
        record.address = std::malloc(bytes);
        std::memset(record.address, 0xCD, bytes);  // not zeroed, unlike the default
        record.tag = bytes;
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
    void QueryRelocation(ZelAllocationRecord&) override {}
};

// Holds at most one block; Move() copies it elsewhere, frees the old place and
// calls the owner's OnRelocated.
struct MovingAllocator : ZelIMemoryAllocator {
    void* current = nullptr;
    std::size_t bytes = 0;
    ZelIRelocationEvent* owner = nullptr;
    bool Allocate(ZelAllocationRecord& record, ZelIRelocationEvent* event, std::size_t size) override
    {
        current = std::calloc(size, 1);
        bytes = size;
        owner = event;
        record.address = current;
        return current != nullptr;
    }
    void Free(ZelAllocationRecord& record) override
    {
        std::free(current);
        current = nullptr;
        record.address = nullptr;
    }
    std::size_t GetSize(const ZelAllocationRecord&) const override { return bytes; }
    void QueryRelocation(ZelAllocationRecord& record) override { record.address = current; }
    void Move()
    {
        void* moved = std::malloc(bytes);
        std::memcpy(moved, current, bytes);
        std::free(current);
        current = moved;
        owner->OnRelocated();
    }
};
