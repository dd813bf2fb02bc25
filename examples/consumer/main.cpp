#include <ZelImageGenerator.h>

#include <cstdio>

int UsePath();

int main()
{
    ZelImage<short> volume;
    if (volume.Allocate(ZEL_ALIGNMENT_TILED, 64, 64, 32) != 0) return 1;
    ZelImageBuffer buffer;
    if (!buffer.CreateImage(64, 64, 3)) return 1;
    std::printf("volume %d blocks per slice, buffer stride %d bytes\n", volume.GetBlocksPerSlice(),
                buffer.GetSizePerLine());
    return UsePath();
}
