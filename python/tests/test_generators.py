import concurrent.futures

import numpy as np
import pytest
from scipy import ndimage

import zelimage as z

from conftest import smooth_volume


def numpy_plane(a, plane, index):
    # Pictures are [row, column] = [down, right]: yz has right y, down z;
    # xz right x, down z; xy right x, down y.
    return {"yz": a[:, :, index], "xz": a[:, index, :], "xy": a[index]}[plane]


@pytest.mark.parametrize("plane", ["yz", "xz", "xy"])
@pytest.mark.parametrize("dtype", [np.int16, np.uint16, np.uint8])
@pytest.mark.parametrize("tiled", [False, True])
def test_nearest_slice_equals_numpy_slicing(noise, plane, dtype, tiled):
    a = (noise.astype(np.int64) & 0xFF).astype(dtype) if dtype == np.uint8 else noise.astype(dtype)
    volume = z.Volume(a)
    if tiled:
        volume = volume.to_tiled()
    index = {"yz": 17, "xz": 9, "xy": 5}[plane]
    expected = numpy_plane(a, plane, index)
    h, w = expected.shape
    param = z.MPRParam(plane=plane, slice=index, center=volume.centre, interpolation=0)
    got = z.MPRGenerator(volume).generate(w, h, param)
    assert got.dtype == a.dtype
    np.testing.assert_array_equal(got, expected)


@pytest.mark.parametrize(
    "fields, view",
    [
        ({"flip_horizontal": True}, lambda s: s[:, ::-1]),
        ({"flip_vertical": True}, lambda s: s[::-1, :]),
        ({"rotation": z.Rotation.R180}, lambda s: s[::-1, ::-1]),
        ({"rotation": 2, "flip_horizontal": True, "flip_vertical": True}, lambda s: s),
    ],
)
def test_flips_and_half_turn_match_numpy(noise, fields, view):
    volume = z.Volume(noise)
    param = z.MPRParam(plane="xy", slice=3, center=volume.centre, interpolation=0, **fields)
    got = z.MPRGenerator(volume).generate(40, 32, param)
    np.testing.assert_array_equal(got, view(noise[3]))


def test_slice_outside_the_volume_shows_the_background(noise):
    param = z.MPRParam(plane="xy", slice=noise.shape[0], background=-77)
    got = z.MPRGenerator(z.Volume(noise)).generate(10, 6, param)
    assert (got == -77).all()


def test_mpr_mappings_round_trip(noise):
    volume = z.Volume(noise, spacing=(0.5, 0.5, 2.0))
    g = z.MPRGenerator(volume)
    param = z.MPRParam(plane="xz", slice=11, center=volume.centre, zoom=1.7, rotation=z.Rotation.FREE,
                       rotation_angle=0.4)
    display = np.random.default_rng(3).uniform(0, 63, size=(5, 7, 2)).astype(np.float32)
    voxels, inside = g.display_to_voxel(64, 48, display, param, return_inside=True)
    assert voxels.shape == (5, 7, 3) and inside.shape == (5, 7)
    assert (voxels[..., 1] == 11).all()
    back = g.voxel_to_display(64, 48, voxels, param)
    np.testing.assert_allclose(back, display, atol=1e-3)


def oblique_orientation(seed):
    rng = np.random.default_rng(seed)
    q, _ = np.linalg.qr(rng.normal(size=(3, 3)))
    return z.orientation(q[:, 0], q[:, 1], q[:, 2])


def fixed_point_samples(param, spacing, w, h):
    """Voxel positions (h, w, 3) the oblique walk samples: start and steps in
    17.15 fixed point, truncated, then added up exactly."""
    s = np.asarray(spacing, np.float64) / min(spacing)
    m = param.orientation.astype(np.float64)
    right, down = m[:, 0] / param.zoom, m[:, 1] / param.zoom
    start = np.asarray(param.center, np.float64) * s - right * (w - 1) / 2 - down * (h - 1) / 2
    fixed = [np.trunc(v / s * 32768).astype(np.int64) for v in (start, right, down)]
    cols, rows = np.arange(w)[None, :, None], np.arange(h)[:, None, None]
    return (fixed[0] + cols * fixed[1] + rows * fixed[2]) / 32768.0


@pytest.mark.parametrize("seed, zoom", [(1, 1.0), (2, 1.6), (3, 0.7)])
def test_oblique_plane_within_one_of_scipy(smooth, seed, zoom):
    spacing = (0.9, 0.9, 1.2)
    g = z.ObliqueGenerator(z.Volume(smooth, spacing=spacing))
    param = z.ObliqueParam(center=(27.3, 23.9, 19.2), orientation=oblique_orientation(seed), zoom=zoom)
    w, h = 70, 60
    got = g.generate(w, h, param)
    voxels = fixed_point_samples(param, spacing, w, h)
    inside = np.all((voxels >= 0) & (voxels <= np.array(smooth.shape[::-1]) - 1), axis=-1)
    expected = ndimage.map_coordinates(smooth.astype(np.float64), voxels[..., ::-1].transpose(2, 0, 1), order=1)
    assert inside.mean() > 0.25
    assert np.abs(got[inside] - expected[inside]).max() <= 1.0
    assert (got[~inside] == param.background).all()
    # The points the generator reports are those it samples, to the fixed point's precision.
    grid = np.stack(np.meshgrid(np.arange(w), np.arange(h)), axis=-1)
    np.testing.assert_allclose(g.display_to_voxel(w, h, grid, param), voxels, atol=0.01)


def test_oblique_mappings_round_trip(smooth):
    g = z.ObliqueGenerator(z.Volume(smooth, spacing=(0.8, 0.8, 1.5)))
    param = z.ObliqueParam(center=(20, 20, 10), orientation=oblique_orientation(5), zoom=1.3)
    display = np.array([[0, 0], [31.5, 12.25], [63, 63]], np.float32)
    voxels = g.display_to_voxel(64, 64, display, param)
    np.testing.assert_allclose(g.voxel_to_display(64, 64, voxels, param), display, atol=1e-3)


@pytest.mark.parametrize("mode", [z.SlabMode.AVERAGE, z.SlabMode.MAXIMUM, z.SlabMode.MINIMUM])
def test_threaded_slab_equals_single_threaded(smooth, restore_threads, mode):
    g = z.ObliqueGenerator(z.Volume(smooth).to_tiled())
    param = z.ObliqueParam(center=(28, 24, 20), orientation=oblique_orientation(9), thickness=6.0, slab_mode=mode)
    z.set_thread_count(1)
    single = g.generate(61, 47, param)
    z.set_thread_count(3)
    assert np.array_equal(g.generate(61, 47, param), single)


def test_python_threads_give_the_same_bytes(smooth):
    volume = z.Volume(smooth)
    mpr, oblique = z.MPRGenerator(volume), z.ObliqueGenerator(volume)

    def render(k):
        p = z.MPRParam(plane=k % 3, slice=k % 20, center=volume.centre, zoom=1.0 + k / 10)
        o = z.ObliqueParam(center=volume.centre, orientation=oblique_orientation(k), thickness=k % 4)
        picture = z.window(mpr.generate(64, 64, p), 800, 0, depth=3)
        return picture.tobytes() + oblique.generate(64, 64, o).tobytes()

    serial = [render(k) for k in range(24)]
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        assert list(pool.map(render, range(24))) == serial


def test_multi_oblique_outputs_equal_single_oblique_images(smooth, noise):
    ct, pet = z.Volume(smooth, spacing=(0.7, 0.7, 1.0)), z.Volume(noise.astype(np.uint16), spacing=(2.0, 2.0, 2.0))
    multi = z.MultiObliqueGenerator([ct, pet])
    param = z.MultiObliqueParam(
        center=(18.0, 16.0, 20.0), orientation=oblique_orientation(4), pixel_spacing=0.9,
        images=[z.MultiObliqueImageParam(volume_index=0, thickness=3.0),
                z.MultiObliqueImageParam(volume_index=1, origin=(-4.0, 2.0, 0.0), interpolation=0)])
    pictures = multi.generate(50, 40, param)
    assert [p.dtype for p in pictures] == [np.int16, np.uint16]
    for index, (volume, picture) in enumerate(zip([ct, pet], pictures)):
        single = z.ObliqueGenerator(volume).generate(50, 40, multi.oblique_param(index, param))
        np.testing.assert_array_equal(picture, single)


@pytest.mark.parametrize("mode, reduce", [(z.StackMode.AVERAGE, "mean"), (z.StackMode.MAXIMUM, "max"),
                                          (z.StackMode.MINIMUM, "min")])
@pytest.mark.parametrize("centred, first", [(False, 5), (True, 4)])
def test_stack_combines_the_slices_numpy_picks(noise, mode, reduce, centred, first):
    a = noise[:7]
    picture, param = z.MPRGenerator(z.Volume(a)).stack(z.MPRParam(plane="xy", slice=5), 2, centred, mode)
    block = a[first:7].astype(np.int64)
    expected = np.trunc(block.sum(0) / len(block)) if reduce == "mean" else getattr(block, reduce)(0)
    np.testing.assert_array_equal(picture, expected)
    assert (param.plane, param.slice_position[2]) == (2, 0)


def test_images_outlive_generators_and_volumes(noise):
    volume = z.Volume(noise.copy())
    picture, _ = z.MPRGenerator(volume).stack(z.MPRParam(plane="yz", slice=3), 0)
    expected = noise[:, :, 3].copy()
    del volume
    np.testing.assert_array_equal(picture, expected)


def test_volume_keeps_its_array_alive_and_reads_edits():
    a = smooth_volume((4, 5, 6))
    volume = z.Volume(a)
    count = __import__("sys").getrefcount(a)
    assert volume.array is a
    a[2, 1, 3] = 1234
    p = z.MPRParam(plane="xy", slice=2, center=volume.centre, interpolation=0)
    assert z.MPRGenerator(volume).generate(6, 5, p)[1, 3] == 1234
    del volume
    assert __import__("sys").getrefcount(a) == count - 1


def test_filter_smooths_and_copies(noise):
    s = noise[4]
    np.testing.assert_array_equal(z.MPRGenerator.filter(s, 0), s)
    smoothed = z.MPRGenerator.filter(s, 100)
    np.testing.assert_array_equal(smoothed[0], s[0])
    assert np.abs(np.diff(smoothed[1:-1, 1:-1].astype(int), axis=1)).mean() < np.abs(np.diff(s.astype(int), axis=1)).mean()


def test_a_real_scan_matches_numpy_and_scipy():
    nib = pytest.importorskip("nibabel")
    path = "/usr/share/mricron/templates/ch2.nii.gz"
    if not __import__("os").path.exists(path):
        pytest.skip("mricron-data is not installed")
    image = nib.load(path)
    voxels = np.ascontiguousarray(np.asanyarray(image.dataobj).T.astype(np.int16))  # [z, y, x]
    volume = z.Volume(voxels, spacing=image.header.get_zooms()[:3])
    mpr = z.MPRGenerator(volume)
    axial = mpr.generate(voxels.shape[2], voxels.shape[1], z.MPRParam(plane="xy", slice=80, center=volume.centre,
                                                                      interpolation=0))
    np.testing.assert_array_equal(axial, voxels[80])
    g = z.ObliqueGenerator(volume.to_tiled())
    param = z.ObliqueParam(center=(90.2, 108.7, 75.1), orientation=oblique_orientation(11), zoom=1.3)
    got = g.generate(160, 150, param)
    samples = fixed_point_samples(param, volume.spacing, 160, 150)
    inside = np.all((samples >= 0) & (samples <= np.array(voxels.shape[::-1]) - 1), axis=-1)
    expected = ndimage.map_coordinates(voxels.astype(np.float64), samples[..., ::-1].transpose(2, 0, 1), order=1)
    assert np.abs(got[inside] - expected[inside]).max() <= 1.0
