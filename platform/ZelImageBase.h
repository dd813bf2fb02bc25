#pragma once

#include "Zel3DVector.h"
#include "ZelExport.h"
#include "ZelIMemoryAllocator.h"

// Storage layout of an image's voxels.
enum ZEL_ALIGNMENT_TYPE {
    ZEL_ALIGNMENT_LINEAR = 0,  // x fastest, then y, then z
    ZEL_ALIGNMENT_TILED = 1,   // 16x16x16 blocks, each stored contiguously
};

// Voxel type codes returned by GetVoxelType().
enum ZEL_VOXEL_TYPE {
    ZEL_VOXEL_UCHAR = 1,
    ZEL_VOXEL_USHORT = 3,
    ZEL_VOXEL_SHORT = 4,
    ZEL_VOXEL_RGB = 9,
    ZEL_VOXEL_RGBA = 10,
};

// A volume or a 2-D image (size z = 1) of some voxel type.
//
// Geometry: size in voxels, scale = voxel spacing (any unit, usually mm),
// and the storage layout. A tiled image (layout 1) is cut into 16x16x16
// blocks; block-padded storage always covers whole blocks. The element index of
// a voxel in either layout is computed by ZelVoxelIndex.h.
//
// An empty image has a null data pointer, size (0, 0, 0), scale (1, 1, 1),
// tiling block num (0, 0, 0) and blocks per slice 0.
class ZEL_API ZelImageBase {
public:
    explicit ZelImageBase(ZelIMemoryAllocator* allocator = nullptr);
    virtual ~ZelImageBase();

    ZelImageBase(const ZelImageBase&) = delete;
    ZelImageBase& operator=(const ZelImageBase&) = delete;

    // Type code of the voxels (ZEL_VOXEL_TYPE).
    virtual int GetVoxelType() const = 0;
    // New image of the same type, allocator, size, scale and block padding with
    // the given layout (-1 keeps this image's) and the same voxel values. Null
    // when memory cannot be had. The caller owns the result.
    virtual ZelImageBase* Clone(int alignment = -1) const = 0;
    // Releases any held block and allocates a new one; 0 on success, 7 when no
    // memory could be had (the image is then empty). The new voxels come from
    // the allocator and are zero with the default one.
    virtual int Allocate(int alignment, int sizeX, int sizeY, int sizeZ, bool padToBlocks = false) = 0;
    // Releases the voxel block and resets the geometry to the empty state.
    virtual void Release() = 0;
    // First byte of the voxel block; null when empty.
    virtual void* GetVoidDataPtr() const = 0;
    // Bytes per voxel.
    virtual int GetVoxelBytes() const = 0;

    Zel3DVector<int> GetImageSize() const { return m_size; }
    Zel3DVector<float> GetImageScale() const { return m_scale; }
    void SetImageScale(const Zel3DVector<float>& scale) { m_scale = scale; }
    ZEL_ALIGNMENT_TYPE GetAlignmentType() const { return static_cast<ZEL_ALIGNMENT_TYPE>(m_alignment); }
    bool IsTiled() const { return m_alignment != ZEL_ALIGNMENT_LINEAR; }
    bool IsBlockPadded() const { return m_blockPadded; }
    Zel3DVector<int> GetTilingBlockNum() const { return m_tilingBlockNum; }
    int GetBlocksPerSlice() const { return m_blocksPerSlice; }
    ZelIMemoryAllocator* GetMemoryAllocator() const { return m_allocator; }

    // Change counter: moves on every allocation and release of the voxel block
    // (and whenever a user calls UpdateImageCounter after editing voxels).
    void UpdateImageCounter() { ++m_imageCounter; }
    int GetImageCounter() const { return m_imageCounter; }

    // Number of elements the voxel block holds for the current geometry.
    long long GetElementCount() const;

protected:
    // Step 1 of allocation and release: geometry back to the empty state.
    void ResetGeometry();

    ZelIMemoryAllocator* m_allocator;
    Zel3DVector<int> m_size{0, 0, 0};
    Zel3DVector<float> m_scale{1.0f, 1.0f, 1.0f};
    float m_secondFactor = 1.0f;
    int m_alignment = ZEL_ALIGNMENT_LINEAR;
    bool m_blockPadded = false;
    Zel3DVector<int> m_tilingBlockNum{0, 0, 0};
    int m_blocksPerSlice = 0;
    bool m_stateFlag = false;
    int m_stateWord = 0;
    int m_imageCounter = 0;
};
