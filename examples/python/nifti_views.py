#!/usr/bin/python3
"""Axial, coronal and sagittal views of NIfTI files in their true orientation.

    /usr/bin/python3 examples/python/nifti_views.py [FILE ...] [-o views.png]

Each file is read with nibabel, wrapped as a zelimage.Volume without a copy,
and cut by the oblique generator on planes given in patient space through the
file's affine, so that a scan whose voxel axes run the other way, or whose
slices were acquired tilted, still shows patient left on the screen's right
and the head up. The pictures are windowed, labelled with the drawing engine
(orientation letters, the plane's position) and laid out with matplotlib,
with millimetre axes.

Without arguments it shows the MNI template of Debian's mricron-data (1/2 mm
voxels) and a functional run from nibabel's test data (2 x 2 x 2.2 mm voxels,
acquired tilted by 9 degrees). Needs python3-nibabel, python3-matplotlib and
mricron-data (apt-get install), and the zelimage package (see README.md).
"""

import argparse
import pathlib

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import zelimage as z  # noqa: E402
from nifti_volume import EDGES, VIEWS, load, percentile_window, world_plane  # noqa: E402

DEFAULT_FILES = ["/usr/share/mricron/templates/ch2better.nii.gz",
                 "/usr/lib/python3/dist-packages/nibabel/tests/data/example4d.nii.gz"]
SIZE = 320


def labelled_view(study, centre, view, font):
    """The view as an RGB array with orientation letters drawn on it."""
    span_mm = 1.1 * max(np.asarray(study.volume.size) * np.asarray(study.volume.spacing))
    pixel_mm = span_mm / SIZE
    param = world_plane(study, centre, view, pixel_mm)
    slice_ = z.ObliqueGenerator(study.volume).generate(SIZE, SIZE, param)
    width, level = percentile_window(slice_)
    picture = z.window(slice_, width, level, depth=3)
    engine = z.DrawEngine(picture)
    engine.color = (255, 220, 0)
    engine.border_color = (0, 0, 0)
    outline = z.TextStyle.OUTLINE_SQUARE
    left, right, top, bottom = EDGES[view]
    engine.draw_string(left, 4, SIZE // 2, font, outline | z.TextStyle.VCENTER)
    engine.draw_string(right, SIZE - 4, SIZE // 2, font, outline | z.TextStyle.VCENTER | z.TextStyle.RIGHT)
    engine.draw_string(top, SIZE // 2, 4, font, outline | z.TextStyle.HCENTER)
    engine.draw_string(bottom, SIZE // 2, SIZE - 4, font, outline | z.TextStyle.HCENTER | z.TextStyle.BOTTOM)
    return picture, pixel_mm


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("files", nargs="*", default=DEFAULT_FILES)
    parser.add_argument("-o", "--output", default="nifti_views.png")
    args = parser.parse_args()

    font = z.Font("DejaVu Sans", 11, bold=True)
    figure, axes = plt.subplots(len(args.files), 3, figsize=(12, 4.2 * len(args.files)), squeeze=False)
    for row, path in zip(axes, args.files):
        study = load(pathlib.Path(path))
        centre = study.world_centre()
        for ax, view in zip(row, VIEWS):
            picture, pixel_mm = labelled_view(study, centre, view, font)
            half = SIZE * pixel_mm / 2
            ax.imshow(picture, extent=(-half, half, half, -half))
            ax.set_title(f"{study.name}: {view}, {pixel_mm:.2f} mm pixels", fontsize=9)
            ax.set_xlabel("mm")
    figure.tight_layout()
    figure.savefig(args.output, dpi=80)
    print(f"wrote {args.output}")


if __name__ == "__main__":
    main()
