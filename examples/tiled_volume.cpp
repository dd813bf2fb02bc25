// Allocates a tiled volume, writes a gradient through the voxel index, clones
// it to the linear layout and reads a few voxels back.
#include <cstdio>

#include <ZelImageGenerator.h>

int main()
{
    ZelImage<short> volume;
    if (volume.Allocate(ZEL_ALIGNMENT_TILED, 100, 80, 40) != 0) {
        std::fprintf(stderr, "out of memory\n");
        return 1;
    }
    volume.SetImageScale({0.7f, 0.7f, 1.5f});
    const ZelVoxelAddressing at(volume);
    for (int z = 0; z < 40; ++z)
        for (int y = 0; y < 80; ++y)
            for (int x = 0; x < 100; ++x) volume.GetDataPtr()[at(x, y, z)] = static_cast<short>(x + 100 * y + z);

    const auto blocks = volume.GetTilingBlockNum();
    std::printf("tiled volume 100x80x40, spacing 0.7x0.7x1.5 mm: %dx%dx%d blocks, %lld elements stored\n", blocks.x,
                blocks.y, blocks.z, volume.GetElementCount());

    ZelImage<short>* linear = volume.Clone(ZEL_ALIGNMENT_LINEAR);
    if (!linear) {
        std::fprintf(stderr, "out of memory\n");
        return 1;
    }
    const int probes[][3] = {{0, 0, 0}, {17, 33, 5}, {99, 79, 39}};
    for (const auto& p : probes) {
        const short tiledValue = volume.GetDataPtr()[at(p[0], p[1], p[2])];
        const short linearValue = linear->GetDataPtr()[ZelLinearIndex(p[0], p[1], p[2], 100, 80)];
        std::printf("voxel (%d, %d, %d): tiled %d, linear clone %d\n", p[0], p[1], p[2], tiledValue, linearValue);
    }
    delete linear;
    return 0;
}
