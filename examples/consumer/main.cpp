#include <ZelImageGenerator.h>

#include <cstdio>

int main()
{
    ZelImage<short> volume;
    if (volume.Allocate(ZEL_ALIGNMENT_TILED, 64, 64, 32) != 0) return 1;
    ZelImageBuffer buffer;
    if (!buffer.CreateImage(64, 64, 3)) return 1;
    // The threading helper is public: fill the volume's slices in parallel.
    const ZelVoxelAddressing at(volume);
    ZelParallelSplit(32, ZelCPUController::GetAvailableCPUNumInThread(), [&](int begin, int end) {
        for (int z = begin; z < end; ++z) volume.GetDataPtr()[at(0, 0, z)] = static_cast<short>(z);
    });
    int rows = 0;
    ZelParallelRows(4, 1, [&](int) { ++rows; });
    if (volume.GetDataPtr()[at(0, 0, 31)] != 31 || rows != 4) return 1;
    std::printf("volume %d blocks per slice, buffer stride %d bytes\n", volume.GetBlocksPerSlice(),
                buffer.GetSizePerLine());
    return 0;
}
