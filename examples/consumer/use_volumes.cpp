// Volumes of every voxel type, layouts, buffers, allocators and the platform
// stand-ins.
#include <ZelImageGenerator.h>

#include <atomic>
#include <memory>

#include "consumer.h"

namespace {

template <class T>
bool UseImage(int typeCode)
{
    ZelImage<T> volume;
    CONSUMER_EXPECT(volume.Allocate(ZEL_ALIGNMENT_TILED, 20, 18, 17) == 0);
    CONSUMER_EXPECT(volume.GetVoxelType() == typeCode && volume.GetVoxelBytes() == static_cast<int>(sizeof(T)));
    CONSUMER_EXPECT(volume.GetElementCount() == 2 * 2 * 2 * 4096 && volume.GetBlocksPerSlice() == 4);
    volume.GetDataPtr()[1] = volume.GetDataPtr()[0];
    std::unique_ptr<ZelImage<T>> linear(volume.Clone(ZEL_ALIGNMENT_LINEAR));
    CONSUMER_EXPECT(linear && !linear->IsTiled() && linear->GetVoidDataPtr() != nullptr);
    // Through the base class, as a host that only knows the type code would.
    std::unique_ptr<ZelImageBase> made(ZelCreateImage(typeCode));
    CONSUMER_EXPECT(made && made->GetVoxelType() == typeCode);
    const ZelImageBase& base = *linear;
    std::unique_ptr<ZelImageBase> copy(base.Clone(-1));
    CONSUMER_EXPECT(copy && copy->GetImageSize().z == 17);
    volume.Release();
    return volume.GetDataPtr() == nullptr;
}

}  // namespace

bool UseVolumes()
{
    CONSUMER_EXPECT(UseImage<unsigned char>(ZEL_VOXEL_UCHAR));
    CONSUMER_EXPECT(UseImage<unsigned short>(ZEL_VOXEL_USHORT));
    CONSUMER_EXPECT(UseImage<short>(ZEL_VOXEL_SHORT));
    CONSUMER_EXPECT(UseImage<ZelRGBBase<unsigned char>>(ZEL_VOXEL_RGB));
    CONSUMER_EXPECT(UseImage<ZelRGBABase<unsigned char>>(ZEL_VOXEL_RGBA));

    ZelDefaultMemoryAllocator& allocator = ZelDefaultMemoryAllocator::Instance();
    ZelImageBuffer buffer(&allocator);
    CONSUMER_EXPECT(buffer.CreateImage(5, 2, 3) && buffer.GetSizePerLine() == 16);
    CONSUMER_EXPECT(buffer.ResizeImage(5, 2) && allocator.GetSize(ZelAllocationRecord{}) == 0);
    buffer.OnRelocated();
    buffer.ZeroClear();
    ZelImageBuffer deep(&buffer);
    CONSUMER_EXPECT(deep.GetDataPtr() != buffer.GetDataPtr() && deep.GetWidth() == 5);
    ZelImageBuffer empty;
    ZelImageBuffer shallow(empty);  // shares the (empty) block
    shallow = empty;
    ZelImageBuffer pages(nullptr);
    CONSUMER_EXPECT(pages.CreateImage(4, 2, 1) && shallow.GetDataPtr() == nullptr);

    ZelTypedBuffer<short> typed;
    CONSUMER_EXPECT(typed.Allocate(10) && typed.GetCount() == 10);
    typed.OnRelocated();
    typed.Free();
    void* block = ZelAllocatePages(64);
    CONSUMER_EXPECT(block != nullptr);
    ZelFreePages(block);

    ZelCPUController::SetAvailableCPUNum(2);
    CONSUMER_EXPECT(ZelCPUController::GetAvailableCPUNumInThread() == 2);
    ZelCPUController::SetAvailableCPUNum(0);
    std::atomic<int> rows{0};
    ZelParallelRows(8, 2, [&](int) { ++rows; });
    ZelParallelSplit(8, 2, [&](int begin, int end) { rows += end - begin; });
    CONSUMER_EXPECT(rows == 16);

    ZelCriticalSection section;
    {
        ZelCriticalSectionLocker lock(section);
    }
    ZelUserDataManager data;
    data.SetUserData("key", &rows);
    ZelString text(L"volume");
    return data.GetUserData("key") == &rows && text.Substring(1, 2) == ZelString(L"ol");
}
