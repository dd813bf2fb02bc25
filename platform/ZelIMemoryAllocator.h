#pragma once

#include <cstddef>

#include "ZelExport.h"

class ZelIRelocationEvent;

// An allocator's handle on one block. `address` is always the block's current
// address; the handle words and `tag` belong to the allocator.
struct ZelAllocationRecord {
    void* address = nullptr;
    int handle[2] = {-1, -1};
    std::size_t tag = 0;
};

// Source of voxel and pixel blocks. A host can plug in its own allocator (for
// example one that compacts its heap and moves blocks); it must then call
// OnRelocated() on the event object it was given at allocation time, after it
// has updated where the block lives, and answer QueryRelocation() with the
// new address. Blocks handed out by an allocator are not required to be zeroed.
class ZEL_API ZelIMemoryAllocator {
public:
    virtual ~ZelIMemoryAllocator() = default;
    // Allocates `bytes` bytes; on true record.address is the block.
    virtual bool Allocate(ZelAllocationRecord& record, ZelIRelocationEvent* event, std::size_t bytes) = 0;
    // Releases the block of the record (a record without a block is ignored).
    virtual void Free(ZelAllocationRecord& record) = 0;
    // Size in bytes of the block of the record (0 without a block).
    virtual std::size_t GetSize(const ZelAllocationRecord& record) const = 0;
    // Brings record.address up to date after the allocator moved the block.
    virtual void QueryRelocation(ZelAllocationRecord& record) = 0;
};

// The allocator used when none is given: zero-filled blocks from the C heap,
// never moved. One process-wide instance.
class ZEL_API ZelDefaultMemoryAllocator final : public ZelIMemoryAllocator {
public:
    static ZelDefaultMemoryAllocator& Instance();

    bool Allocate(ZelAllocationRecord& record, ZelIRelocationEvent* event, std::size_t bytes) override;
    void Free(ZelAllocationRecord& record) override;
    std::size_t GetSize(const ZelAllocationRecord& record) const override;
    void QueryRelocation(ZelAllocationRecord& record) override;
};

// Zero-filled memory for display buffers that have no allocator (the portable
// replacement for committing fresh pages). Returns null on failure.
ZEL_API void* ZelAllocatePages(std::size_t bytes);
ZEL_API void ZelFreePages(void* block);
