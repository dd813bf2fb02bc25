#include "ZelImage.h"

#include <cstring>
#include <new>

#include "ZelVoxelIndex.h"

template <class T>
ZelImage<T>::ZelImage(ZelIMemoryAllocator* allocator) : ZelImageBase(allocator), m_buffer(allocator)
{
}

template <class T>
ZelImage<T>::~ZelImage()
{
    Release();
}

template <class T>
void ZelImage<T>::Release()
{
    if (!m_buffer.GetDataPtr()) return;
    m_buffer.Free();
    ResetGeometry();
    UpdateImageCounter();
}

template <class T>
int ZelImage<T>::Allocate(int alignment, int sizeX, int sizeY, int sizeZ, bool padToBlocks)
{
    Release();
    m_blockPadded = alignment == ZEL_ALIGNMENT_TILED || padToBlocks;
    m_size = {sizeX, sizeY, sizeZ};
    const int bx = (sizeX + 15) >> 4;
    const int by = (sizeY + 15) >> 4;
    const int bz = (sizeZ + 15) >> 4;
    m_alignment = alignment;
    m_stateFlag = false;
    if (alignment != ZEL_ALIGNMENT_LINEAR) {
        m_tilingBlockNum = {bx, by, bz};
        m_blocksPerSlice = bx * by;
    } else {
        m_tilingBlockNum = {1, 1, 1};
        m_blocksPerSlice = 1;
    }

    // Negative sizes and counts that do not fit in memory are refused like a
    // failed allocation.
    bool fits = sizeX >= 0 && sizeY >= 0 && sizeZ >= 0;
    long long count = 0;
    if (fits) {
        count =
            m_blockPadded ? static_cast<long long>(bx) * by * bz * 4096 : static_cast<long long>(sizeX) * sizeY * sizeZ;
        fits = count > 0 && m_buffer.Allocate(static_cast<std::size_t>(count));
    }
    UpdateImageCounter();
    if (fits && m_buffer.GetDataPtr()) return 0;

    m_buffer.Free();
    m_size = {0, 0, 0};
    m_tilingBlockNum = {0, 0, 0};
    m_blocksPerSlice = 0;
    return 7;
}

template <class T>
ZelImage<T>* ZelImage<T>::Clone(int alignment) const
{
    const bool convert = alignment != -1 && alignment != m_alignment;
    const int target = convert ? alignment : m_alignment;

    auto* copy = new (std::nothrow) ZelImage<T>(m_allocator);
    if (!copy) return nullptr;
    if (copy->Allocate(target, m_size.x, m_size.y, m_size.z, m_blockPadded) != 0) {
        delete copy;
        return nullptr;
    }
    copy->SetImageScale(m_scale);

    const T* src = GetDataPtr();
    T* dst = copy->GetDataPtr();
    if (!src) return copy;

    if (!convert) {
        const long long count =
            IsTiled() ? static_cast<long long>(m_tilingBlockNum.x) * m_tilingBlockNum.y * m_tilingBlockNum.z * 4096
                      : static_cast<long long>(m_size.x) * m_size.y * m_size.z;
        std::memcpy(static_cast<void*>(dst), src, static_cast<std::size_t>(count) * sizeof(T));
        return copy;
    }

    // One side is linear and read or written sequentially; the other is
    // addressed by its layout. Inside a 16-voxel block row the tiled layout is
    // contiguous too, so whole runs of up to 16 voxels move at once.
    const ZelVoxelAddressing srcIndex(*this);
    const ZelVoxelAddressing dstIndex(*copy);
    const bool toTiled = copy->IsTiled();
    std::ptrdiff_t sequential = 0;
    for (int z = 0; z < m_size.z; ++z) {
        for (int y = 0; y < m_size.y; ++y) {
            for (int x = 0; x < m_size.x; x += 16) {
                const int run = m_size.x - x < 16 ? m_size.x - x : 16;
                const std::size_t bytes = static_cast<std::size_t>(run) * sizeof(T);
                if (toTiled) {
                    std::memcpy(static_cast<void*>(dst + dstIndex(x, y, z)), src + sequential, bytes);
                } else {
                    std::memcpy(static_cast<void*>(dst + sequential), src + srcIndex(x, y, z), bytes);
                }
                sequential += run;
            }
        }
    }
    return copy;
}

template class ZelImage<unsigned char>;
template class ZelImage<short>;
template class ZelImage<unsigned short>;
template class ZelImage<ZelRGBBase<unsigned char>>;
template class ZelImage<ZelRGBABase<unsigned char>>;

ZelImageBase* ZelCreateImage(int voxelType, ZelIMemoryAllocator* allocator)
{
    switch (voxelType) {
    case ZEL_VOXEL_UCHAR: return new (std::nothrow) ZelImage<unsigned char>(allocator);
    case ZEL_VOXEL_USHORT: return new (std::nothrow) ZelImage<unsigned short>(allocator);
    case ZEL_VOXEL_SHORT: return new (std::nothrow) ZelImage<short>(allocator);
    case ZEL_VOXEL_RGB: return new (std::nothrow) ZelImage<ZelRGBBase<unsigned char>>(allocator);
    case ZEL_VOXEL_RGBA: return new (std::nothrow) ZelImage<ZelRGBABase<unsigned char>>(allocator);
    default: return nullptr;
    }
}
