#include "ZelImageBase.h"

ZelImageBase::ZelImageBase(ZelIMemoryAllocator* allocator) : m_allocator(allocator) {}

ZelImageBase::~ZelImageBase() = default;

void ZelImageBase::ResetGeometry()
{
    m_size = {0, 0, 0};
    m_scale = {1.0f, 1.0f, 1.0f};
    m_secondFactor = 1.0f;
    m_tilingBlockNum = {0, 0, 0};
    m_blocksPerSlice = 0;
    m_stateFlag = false;
    m_stateWord = 0;
}

long long ZelImageBase::GetElementCount() const
{
    if (m_blockPadded) {
        // Whole blocks, also for a linear image padded to blocks (whose tiling
        // block num reads (1, 1, 1)).
        return static_cast<long long>((m_size.x + 15) >> 4) * ((m_size.y + 15) >> 4) * ((m_size.z + 15) >> 4) * 4096;
    }
    return static_cast<long long>(m_size.x) * m_size.y * m_size.z;
}
