#!/usr/bin/python3
"""The Python package against what a Python user would write instead.

    make bench-python        (or: PYTHONPATH=build/release/python /usr/bin/python3 bench/bench_python.py)

One run, the best of several repetitions per case (the machine may be shared),
each case ours and the peer on the same input, with the ratio:

* an oblique 512 x 512 trilinear plane of a 512^3 int16 volume against
  scipy.ndimage.map_coordinates(order=1) at the very sample points (the
  peer gets its coordinates precomputed);
* a 512 x 512 window to uint8 against the plain numpy expression;
* the cost of a call: a 64 x 64 MPR slice, and a 1 x 1 one (the binding's
  own cost: argument checks, the output array, the GIL released and taken back).
"""

import timeit

import numpy as np
from scipy import ndimage

import zelimage as z


def best(call, number, repeat=7):
    return min(timeit.repeat(call, number=number, repeat=repeat)) / number


def oblique_case():
    rng = np.random.default_rng(0)
    volume = rng.integers(-1000, 2000, size=(512, 512, 512), dtype=np.int16)
    generator = z.ObliqueGenerator(z.Volume(volume))
    q, _ = np.linalg.qr(np.array([[0.9, 0.3, 0.2], [-0.2, 0.8, 0.4], [0.1, -0.4, 0.9]]))
    param = z.ObliqueParam(center=(255.5, 255.5, 255.5), orientation=z.orientation(q[:, 0], q[:, 1], q[:, 2]))
    grid = np.stack(np.meshgrid(np.arange(512), np.arange(512)), axis=-1)
    coords = generator.display_to_voxel(512, 512, grid, param)[..., ::-1].transpose(2, 0, 1).copy()
    out = np.empty((512, 512), np.int16)
    ours = best(lambda: generator.generate(512, 512, param, out=out), 20)
    peer = best(lambda: ndimage.map_coordinates(volume, coords, order=1), 1, repeat=5)
    return "oblique 512x512 trilinear, 512^3 int16", "scipy map_coordinates(order=1)", ours, peer


def window_case():
    s = np.random.default_rng(1).integers(-1024, 3072, size=(512, 512), dtype=np.int16)
    width, centre = 400, 40

    def numpy_window():
        return (np.clip((s - (centre - 0.5)) / (width - 1) + 0.5, 0.0, 1.0) * 255).astype(np.uint8)

    ours = best(lambda: z.window(s, width, centre), 200)
    peer = best(numpy_window, 50)
    return "window 512x512 int16 -> uint8", "numpy expression", ours, peer


def call_cost():
    volume = z.Volume(np.zeros((64, 64, 64), np.int16))
    generator = z.MPRGenerator(volume)
    param = z.MPRParam(plane="xy", slice=32, center=volume.centre)
    slice64 = best(lambda: generator.generate(64, 64, param), 20000)
    slice1 = best(lambda: generator.generate(1, 1, param), 20000)
    return slice64, slice1


def main():
    print(f"zelimage {z.__version__}, numpy {np.__version__}, worker threads {z.thread_count()}")
    print(f"{'case':42s} {'ours':>10s} {'peer':>10s} {'ratio':>8s}  peer")
    for name, peer_name, ours, peer in (oblique_case(), window_case()):
        print(f"{name:42s} {ours * 1e3:8.3f}ms {peer * 1e3:8.3f}ms {peer / ours:7.1f}x  {peer_name}")
    slice64, slice1 = call_cost()
    print(f"{'MPR 64x64 slice, whole call':42s} {slice64 * 1e6:8.2f}us")
    print(f"{'MPR 1x1 slice: the binding cost':42s} {slice1 * 1e6:8.2f}us")


if __name__ == "__main__":
    main()
