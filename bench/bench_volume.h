// The benchmark volume shared by the reslicing benchmarks: a 512^3 signed
// 16-bit head phantom, built once per process in both layouts.
#pragma once

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "ZelImage.h"
#include "phantom.h"

// Spacing of the benchmark volume (mm): typical of a thin-slice head CT.
constexpr float kBenchSpacingXY = 0.45f;
constexpr float kBenchSpacingZ = 0.5f;
constexpr int kBenchVolumeSize = 512;

// The phantom in linear layout (tiled = false) or in 16^3 blocks (tiled =
// true). Both are built on first use and live until the process ends; a
// benchmark that cannot have its volume has nothing to measure, so running
// out of memory ends the program.
inline const ZelImage<short>& BenchVolume(bool tiled)
{
    struct Volumes {
        std::unique_ptr<ZelImage<short>> linear;
        std::unique_ptr<ZelImage<short>> tiled;
        Volumes()
        {
            ZelPhantomOptions options;
            options.sizeX = options.sizeY = options.sizeZ = kBenchVolumeSize;
            options.spacingX = options.spacingY = kBenchSpacingXY;
            options.spacingZ = kBenchSpacingZ;
            options.alignment = ZEL_ALIGNMENT_LINEAR;
            linear.reset(ZelMakeHeadPhantom(options));
            if (linear) {
                ZelImage<short>* copy = linear->Clone(ZEL_ALIGNMENT_TILED);
                tiled.reset(copy);
            }
            if (!linear || !tiled) {
                std::fprintf(stderr, "bench: no memory for the %d^3 benchmark volume\n", kBenchVolumeSize);
                std::exit(1);
            }
        }
    };
    static const Volumes volumes;
    return tiled ? *volumes.tiled : *volumes.linear;
}

// World directions of an MPR view for a peer's reslice: the plane's right and
// down turned by `angle` about its normal (radians; world directions equal
// normalised-voxel directions), and normal = right x down.
inline void BenchMPRAxes(int plane, double angle, double right[3], double down[3], double normal[3])
{
    const int rightAxis = plane == 0 ? 1 : 0, downAxis = plane == 2 ? 1 : 2;
    for (int i = 0; i < 3; ++i) right[i] = down[i] = 0;
    right[rightAxis] = std::cos(angle);
    right[downAxis] = std::sin(angle);
    down[rightAxis] = -std::sin(angle);
    down[downAxis] = std::cos(angle);
    normal[0] = right[1] * down[2] - right[2] * down[1];
    normal[1] = right[2] * down[0] - right[0] * down[2];
    normal[2] = right[0] * down[1] - right[1] * down[0];
}

// The oblique benchmarks' plane: turned by 30 degrees about x, then by 20
// degrees about y (R = Ry * Rx); its columns are the plane's right, down and
// normal.
inline void BenchPlaneAxes(double r[3][3])
{
    const double pi = 3.14159265358979323846;
    const double a = 30.0 * pi / 180.0;
    const double b = 20.0 * pi / 180.0;
    const double rx[3][3] = {{1, 0, 0}, {0, std::cos(a), -std::sin(a)}, {0, std::sin(a), std::cos(a)}};
    const double ry[3][3] = {{std::cos(b), 0, std::sin(b)}, {0, 1, 0}, {-std::sin(b), 0, std::cos(b)}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            r[i][j] = 0.0;
            for (int k = 0; k < 3; ++k) r[i][j] += ry[i][k] * rx[k][j];
        }
}
