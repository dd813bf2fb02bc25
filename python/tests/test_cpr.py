import numpy as np
import pytest
from scipy import ndimage

import zelimage as z

POINTS = np.array([[10, 10, 5], [20, 14, 8], [30, 25, 9], [36, 40, 14], [30, 42, 20]], np.float32)


def reformation(smooth, **fields):
    volume = z.Volume(smooth, spacing=(0.8, 0.8, 1.0))
    param = z.CPRParam(path=z.Path(POINTS), scale=1.5, up=(1, 0, 0), **fields)
    return z.CPRGenerator(volume), param


@pytest.mark.parametrize("construction", ["straight", "fixed", "stretch"])
@pytest.mark.parametrize("layout", ["columns", "rows"])
def test_cpr_pixels_are_trilinear_samples_at_their_mapped_voxels(smooth, construction, layout):
    g, param = reformation(smooth, construction=construction, layout=layout, direction=(0.6, 0.8, 0.0))
    w, h = 90, 70
    image = g.generate(w, h, param)
    grid = np.stack(np.meshgrid(np.arange(w), np.arange(h)), axis=-1)
    voxels, inside = g.display_to_voxel(w, h, grid, param, return_inside=True)
    assert inside.mean() > 0.3
    expected = ndimage.map_coordinates(smooth.astype(np.float64), voxels[..., ::-1].transpose(2, 0, 1), order=1)
    assert np.abs(image[inside] - expected[inside]).max() <= 1.0


def test_rows_kept_from_a_rebuild_give_the_same_picture(smooth):
    g, param = reformation(smooth, layout="rows")
    first = g.generate(64, 80, param)
    rows = param.rendering_points
    assert rows.dtype == z.CPR_ROW_DTYPE and len(rows) == 80 and rows["valid"].any()
    other = z.CPRParam(layout="rows", scale=1.5)
    other.rendering_points = rows
    np.testing.assert_array_equal(g.generate(64, 80, other, rebuild=False), first)


@pytest.mark.parametrize("mode", ["maximum", "minimum", "average"])
def test_threaded_cpr_slab_equals_single_threaded(smooth, restore_threads, mode):
    g, param = reformation(smooth, slab_mode=mode, slab_samples=7)
    z.set_thread_count(1)
    single = g.generate(50, 60, param)
    z.set_thread_count(2)
    np.testing.assert_array_equal(g.generate(50, 60, param), single)


def test_path_positions_map_to_the_display_and_back(smooth):
    g, param = reformation(smooth, layout="rows")
    g.generate(64, 80, param)
    positions = np.linspace(0.2, 0.8, 7)
    display = g.path_to_display(64, 80, positions, param)
    np.testing.assert_allclose(g.display_to_path(64, 80, display, param), positions, atol=0.01)
    oblique = g.path_to_oblique(64, 80, 0.5, param)
    assert isinstance(oblique, z.ObliqueParam)


def test_constructions_are_available_without_a_generator():
    path = z.Path(POINTS)
    planes = z.PathPlane(path)
    planes.update(pitch=1.0, up=(1, 0, 0))
    straight = z.CPRGenerator.construct_straight_path(30, 1.0, 0, 0, planes)
    fixed = z.CPRGenerator.construct_fixed_path(30, 1.0, 0, 0, (1, 0, 0), path.curve)
    assert len(straight) == len(fixed) == 30 and straight["constructed"].all()
    dense = z.CPRGenerator.construct_projection(2.0, np.eye(3), path.curve, path.aspect_points)
    assert dense.shape[1] == 3 and len(dense) > 10
