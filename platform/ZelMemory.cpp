#include <cstdlib>

#include "ZelBaseBuffer.h"
#include "ZelIMemoryAllocator.h"

ZelDefaultMemoryAllocator& ZelDefaultMemoryAllocator::Instance()
{
    static ZelDefaultMemoryAllocator instance;
    return instance;
}

bool ZelDefaultMemoryAllocator::Allocate(ZelAllocationRecord& record, ZelIRelocationEvent*, std::size_t bytes)
{
    record.address = bytes == 0 ? nullptr : std::calloc(bytes, 1);
    record.tag = record.address ? bytes : 0;
    return record.address != nullptr;
}

void ZelDefaultMemoryAllocator::Free(ZelAllocationRecord& record)
{
    std::free(record.address);
    record.address = nullptr;
    record.tag = 0;
}

std::size_t ZelDefaultMemoryAllocator::GetSize(const ZelAllocationRecord& record) const
{
    return record.address ? record.tag : 0;
}

void ZelDefaultMemoryAllocator::QueryRelocation(ZelAllocationRecord&) {}

void* ZelAllocatePages(std::size_t bytes)
{
    return bytes == 0 ? nullptr : std::calloc(bytes, 1);
}

void ZelFreePages(void* block)
{
    std::free(block);
}

ZelBaseBuffer::ZelBaseBuffer(ZelIMemoryAllocator* allocator)
    : m_allocator(allocator ? allocator : &ZelDefaultMemoryAllocator::Instance())
{
}

ZelBaseBuffer::~ZelBaseBuffer()
{
    Free();
}

bool ZelBaseBuffer::Base_Allocate(std::size_t bytes)
{
    Free();
    if (!m_allocator->Allocate(m_record, this, bytes) || m_record.address == nullptr) {
        m_record.address = nullptr;
        return false;
    }
    m_bytes = bytes;
    return true;
}

void ZelBaseBuffer::Free()
{
    if (m_record.address) m_allocator->Free(m_record);
    m_record.address = nullptr;
    m_bytes = 0;
}

void ZelBaseBuffer::OnRelocated()
{
    m_allocator->QueryRelocation(m_record);
}
