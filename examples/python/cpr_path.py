#!/usr/bin/python3
"""A curved planar reformation along a path: the corpus callosum of the MNI template.

    /usr/bin/python3 examples/python/cpr_path.py [-o cpr.png]

The path runs along the corpus callosum in the mid-sagittal plane of the
brain template of Debian's mricron-data: its points are found in the picture
itself (the brightest band of white matter above each position), smoothed,
and handed to zelimage.Path in voxel coordinates. Three pictures:

* the mid-sagittal plane with the path drawn on it (drawing engine);
* the path straightened ('straight' rows, turned so that each row runs
  upward across the path): the callosum as a straight band;
* the callosum unrolled from left to right ('fixed' rows along the patient's
  left-right axis): a view from above that follows its arch.

Needs python3-nibabel, python3-matplotlib and mricron-data.
"""

import argparse

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

import zelimage as z  # noqa: E402
from nifti_volume import load, percentile_window, world_plane  # noqa: E402

TEMPLATE = "/usr/share/mricron/templates/ch2better.nii.gz"


def callosum_path(study):
    """Voxel points along the corpus callosum at x = 0 mm (MNI)."""
    data = study.volume.to_numpy()
    points = []
    for y in np.linspace(-36, 30, 12):  # posterior (splenium) to anterior (genu), in mm
        column = [study.voxel((0.0, y, zmm)) for zmm in np.arange(-10, 30, 0.5)]
        values = np.array([data[int(round(v[2])), int(round(v[1])), int(round(v[0]))] for v in column], float)
        # The callosum is the highest band of white matter below the cingulate
        # grey matter (the fornix lies lower): the middle of the last run of
        # bright samples at least 2 mm long.
        bright = np.flatnonzero(values >= 0.85 * values.max())
        runs = [r for r in np.split(bright, np.flatnonzero(np.diff(bright) > 1) + 1) if len(r) >= 4]
        points.append(column[int(runs[-1].mean().round())])
    points = np.array(points, np.float32)
    # A little smoothing along the path (the ends stay).
    points[1:-1] = (points[:-2] + 2 * points[1:-1] + points[2:]) / 4
    return points


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("-o", "--output", default="cpr_path.png")
    args = parser.parse_args()

    study = load(TEMPLATE)
    points = callosum_path(study)
    path = z.Path(points)
    cpr = z.CPRGenerator(study.volume)

    # The mid-sagittal plane with the path.
    size, pixel_mm = 360, 0.5
    sagittal = world_plane(study, (0.0, -5.0, 10.0), "sagittal", pixel_mm)
    oblique = z.ObliqueGenerator(study.volume)
    slice_ = oblique.generate(size, size, sagittal)
    window = percentile_window(slice_)
    picture = z.window(slice_, *window, depth=3)
    curve = path.curve.evaluate(np.linspace(0, 1, 200))
    engine = z.DrawEngine(picture)
    engine.color = (255, 60, 40)
    engine.pen_width = 2
    engine.draw_polyline(np.round(oblique.voxel_to_display(size, size, curve, sagittal)).astype(int))
    engine.color = (255, 220, 0)
    for x, y in np.round(oblique.voxel_to_display(size, size, points, sagittal)).astype(int):
        engine.fill_circle(x, y, 7)

    # Straightened: rows across the path, turned to run upward (up = superior).
    straight = z.CPRParam(path=path, construction="straight", scale=2.0, layout="columns", up=(0, 0, 1),
                          pitch=2.0, tangent_span=0.05)
    length_px = int(path.curve.length * straight.scale)
    straightened = cpr.generate(length_px, 160, straight)
    # Unrolled from left to right: rows along the voxel x axis (the patient's left-right).
    fixed = z.CPRParam(path=path, construction="fixed", direction=(1, 0, 0), scale=2.0, layout="columns",
                       slab_mode="maximum", slab_samples=5)
    unrolled = cpr.generate(length_px, 280, fixed)

    figure, axes = plt.subplots(1, 3, figsize=(15, 5.2), gridspec_kw={"width_ratios": [1, 1.2, 1.2]})
    axes[0].imshow(picture)
    axes[0].set_title("mid-sagittal plane and the path (anterior left)", fontsize=9)
    for ax, image, title in [(axes[1], straightened, "straightened along the path (superior up)"),
                             (axes[2], unrolled, "unrolled left to right (maximum of 5 samples)")]:
        rgb = z.window(image, *window, depth=3)
        marks = z.DrawEngine(rgb)
        marks.color = (255, 60, 40, 160)
        marks.pen_dash = True
        marks.draw_line(0, (image.shape[0] - 1) // 2, image.shape[1] - 1, (image.shape[0] - 1) // 2)
        ax.imshow(rgb)
        ax.set_title(title + ": splenium left, genu right", fontsize=9)
    for ax in axes:
        ax.axis("off")
    figure.tight_layout()
    figure.savefig(args.output, dpi=80)
    print(f"wrote {args.output}: a path of {len(points)} points, {path.curve.length:.0f} voxels "
          f"({path.curve.length * min(study.volume.spacing):.0f} mm) long")


if __name__ == "__main__":
    main()
