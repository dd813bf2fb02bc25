#include "ZelImageBuffer.h"

#include <cstring>

ZelImageBuffer::ZelImageBuffer() = default;

ZelImageBuffer::ZelImageBuffer(ZelIMemoryAllocator* allocator) : m_allocator(allocator) {}

ZelImageBuffer::ZelImageBuffer(ZelImageBuffer* source) : m_allocator(source ? source->m_allocator : nullptr)
{
    if (!source) return;
    CreateImage(source->m_width, source->m_height, source->m_depth);
    if (m_data && source->m_data) {
        std::memcpy(m_data, source->m_data,
                    static_cast<std::size_t>(source->GetSizePerLine()) * static_cast<std::size_t>(source->m_height));
    }
}

ZelImageBuffer::ZelImageBuffer(const ZelImageBuffer& source) = default;

ZelImageBuffer& ZelImageBuffer::operator=(const ZelImageBuffer& source) = default;

ZelImageBuffer::~ZelImageBuffer()
{
    FreeImage();
}

void ZelImageBuffer::FreeImage()
{
    if (m_data) {
        if (m_allocator) {
            m_allocator->Free(m_record);
        } else {
            ZelFreePages(m_data);
        }
    }
    m_record.address = nullptr;
    m_data = nullptr;
    m_width = 0;
    m_height = 0;
    m_depth = 1;
    m_padding = 0;
}

bool ZelImageBuffer::CreateImage(int width, int height, int depth)
{
    FreeImage();
    if (width == 0 || height == 0) return true;
    if (width < 0 || height < 0 || depth <= 0) return false;

    const unsigned long long stride =
        (static_cast<unsigned long long>(width) * static_cast<unsigned long long>(depth) + 3) & ~3ULL;
    const unsigned long long size = stride * static_cast<unsigned long long>(height);
    if (stride > 0x7fffffffULL || size > static_cast<unsigned long long>(static_cast<std::size_t>(-1))) return false;

    if (m_allocator) {
        if (m_allocator->Allocate(m_record, this, static_cast<std::size_t>(size))) {
            m_data = static_cast<unsigned char*>(m_record.address);
        }
    } else {
        m_data = static_cast<unsigned char*>(ZelAllocatePages(static_cast<std::size_t>(size)));
    }
    if (!m_data) {
        m_record.address = nullptr;
        return false;
    }
    m_width = width;
    m_height = height;
    m_depth = depth;
    m_padding = static_cast<int>(stride) - width * depth;
    return true;
}

bool ZelImageBuffer::ResizeImage(int width, int height)
{
    if (width == m_width && height == m_height) return true;
    return CreateImage(width, height, m_depth);
}

void ZelImageBuffer::ZeroClear()
{
    const std::size_t bytes = static_cast<std::size_t>(GetSizePerLine()) * static_cast<std::size_t>(m_height);
    if (bytes) std::memset(m_data, 0, bytes);
}

void ZelImageBuffer::OnRelocated()
{
    if (!m_allocator) return;
    m_allocator->QueryRelocation(m_record);
    m_data = static_cast<unsigned char*>(m_record.address);
}
