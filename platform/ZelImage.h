#pragma once

#include "ZelImageBase.h"
#include "ZelRGBABase.h"
#include "ZelRGBBase.h"
#include "ZelTypedBuffer.h"

template <class T>
struct ZelVoxelTypeCode;
template <>
struct ZelVoxelTypeCode<unsigned char> {
    static constexpr int value = ZEL_VOXEL_UCHAR;
};
template <>
struct ZelVoxelTypeCode<unsigned short> {
    static constexpr int value = ZEL_VOXEL_USHORT;
};
template <>
struct ZelVoxelTypeCode<short> {
    static constexpr int value = ZEL_VOXEL_SHORT;
};
template <>
struct ZelVoxelTypeCode<ZelRGBBase<unsigned char>> {
    static constexpr int value = ZEL_VOXEL_RGB;
};
template <>
struct ZelVoxelTypeCode<ZelRGBABase<unsigned char>> {
    static constexpr int value = ZEL_VOXEL_RGBA;
};

// An image whose voxels are of type T: unsigned char, short, unsigned short,
// ZelRGBBase<unsigned char> or ZelRGBABase<unsigned char>.
template <class T>
class ZEL_API ZelImage : public ZelImageBase {
public:
    using VoxelType = T;

    explicit ZelImage(ZelIMemoryAllocator* allocator = nullptr);
    ~ZelImage() override;

    int GetVoxelType() const override { return ZelVoxelTypeCode<T>::value; }
    ZelImage<T>* Clone(int alignment = -1) const override;
    int Allocate(int alignment, int sizeX, int sizeY, int sizeZ, bool padToBlocks = false) override;
    void Release() override;
    void* GetVoidDataPtr() const override { return m_buffer.GetDataPtr(); }
    int GetVoxelBytes() const override { return static_cast<int>(sizeof(T)); }

    // First voxel; null when empty.
    T* GetDataPtr() const { return m_buffer.GetDataPtr(); }

private:
    ZelTypedBuffer<T> m_buffer;
};

extern template class ZelImage<unsigned char>;
extern template class ZelImage<short>;
extern template class ZelImage<unsigned short>;
extern template class ZelImage<ZelRGBBase<unsigned char>>;
extern template class ZelImage<ZelRGBABase<unsigned char>>;

// Creates an empty image of the given type code on the allocator; null for an
// unknown code. The caller owns the result.
ZEL_API ZelImageBase* ZelCreateImage(int voxelType, ZelIMemoryAllocator* allocator = nullptr);
