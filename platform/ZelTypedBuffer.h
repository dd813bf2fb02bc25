#pragma once

#include <cstddef>
#include <limits>

#include "ZelBaseBuffer.h"

// A ZelBaseBuffer seen as an array of T.
template <class T>
class ZelTypedBuffer : public ZelBaseBuffer {
public:
    explicit ZelTypedBuffer(ZelIMemoryAllocator* allocator = nullptr) : ZelBaseBuffer(allocator) {}
    ~ZelTypedBuffer() override = default;

    // Allocates `count` elements; false (and empty) when the size overflows or
    // the allocator refuses.
    bool Allocate(std::size_t count)
    {
        if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            Free();
            return false;
        }
        return Base_Allocate(count * sizeof(T));
    }

    T* GetDataPtr() const { return static_cast<T*>(GetBasePtr()); }
    std::size_t GetCount() const { return GetByteSize() / sizeof(T); }
};
