#pragma once

#include <cstddef>

#include "ZelIMemoryAllocator.h"
#include "ZelIRelocationEvent.h"

// A block of memory from an allocator (the default one when none is given).
// It follows the block when the allocator moves it.
class ZEL_API ZelBaseBuffer : public ZelIRelocationEvent {
public:
    explicit ZelBaseBuffer(ZelIMemoryAllocator* allocator = nullptr);
    ~ZelBaseBuffer() override;

    ZelBaseBuffer(const ZelBaseBuffer&) = delete;
    ZelBaseBuffer& operator=(const ZelBaseBuffer&) = delete;

    // Releases any held block, then allocates `bytes` bytes. False when the
    // allocator refuses; the buffer is then empty.
    bool Base_Allocate(std::size_t bytes);
    void Free();
    void OnRelocated() override;

    void* GetBasePtr() const { return m_record.address; }
    std::size_t GetByteSize() const { return m_bytes; }
    ZelIMemoryAllocator* GetAllocator() const { return m_allocator; }

private:
    ZelIMemoryAllocator* m_allocator;
    ZelAllocationRecord m_record;
    std::size_t m_bytes = 0;
};
