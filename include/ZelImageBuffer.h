#pragma once

#include <cstddef>
#include <cstdint>

#include "ZelExport.h"
#include "ZelIMemoryAllocator.h"
#include "ZelIRelocationEvent.h"

// A display buffer: `height` rows of `width` pixels of `depth` bytes each
// (1 grey or index; 3 blue, green, red; 4 blue, green, red, alpha), each row
// padded to a multiple of 4 bytes, rows top to bottom. This is the row layout
// of a device-independent bitmap.
//
// Memory comes from the allocator given at construction, or, without one,
// from zero-filled pages. An allocator may move the block and then calls
// OnRelocated(); GetDataPtr() follows it.
//
// Copies: the pointer constructor makes a deep copy with its own block; the
// copy constructor and assignment from a reference are shallow and share the
// block (intended: it lets a host hand out views of one buffer). Only one of
// the objects that share a block may release it.
class ZEL_API ZelImageBuffer : public ZelIRelocationEvent {
public:
    ZelImageBuffer();
    explicit ZelImageBuffer(ZelIMemoryAllocator* allocator);
    // ZelImageBuffer(nullptr): an empty buffer with no allocator (the literal
    // would otherwise fit both pointer constructors).
    explicit ZelImageBuffer(std::nullptr_t) {}
    explicit ZelImageBuffer(ZelImageBuffer* source);
    ZelImageBuffer(const ZelImageBuffer& source);
    ZelImageBuffer& operator=(const ZelImageBuffer& source);
    ~ZelImageBuffer() override;

    // Releases any held block, then allocates width x height pixels of `depth`
    // bytes. True on success and when width or height is 0 (the buffer is then
    // empty). False when no memory could be had; the buffer is then empty and
    // reports depth 1. Pages from the system come zeroed; blocks from an
    // allocator are not cleared.
    bool CreateImage(int width, int height, int depth);
    // Keeps the pixels when the size is unchanged; otherwise CreateImage with
    // the current depth (the old pixels are discarded, the new ones not cleared).
    bool ResizeImage(int width, int height);
    // Sets every byte of the block, row padding included, to 0.
    void ZeroClear();
    void OnRelocated() override;

    unsigned char* GetDataPtr() { return m_data; }
    const unsigned char* GetDataPtr() const { return m_data; }
    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }
    int GetDepth() const { return m_depth; }
    int GetPadding() const { return m_padding; }
    // Row stride in bytes: depth x width + padding, a multiple of 4.
    int GetSizePerLine() const { return m_depth * m_width + m_padding; }
    ZelIMemoryAllocator* GetMemoryAllocator() const { return m_allocator; }

    // A word the host may attach; carried along on copy, never interpreted.
    std::uint32_t GetUserWord() const { return m_userWord; }
    void SetUserWord(std::uint32_t word) { m_userWord = word; }

protected:
    void FreeImage();

private:
    int m_width = 0;
    int m_height = 0;
    int m_depth = 1;
    int m_padding = 0;
    unsigned char* m_data = nullptr;
    ZelIMemoryAllocator* m_allocator = nullptr;
    ZelAllocationRecord m_record;
    std::uint32_t m_userWord = 0;
};
