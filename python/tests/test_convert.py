import numpy as np
import pytest

import zelimage as z


def numpy_window(v, width, centre, invert):
    """The window's bytes: single precision for the first 16 * (W // 16)
    columns of a row, double precision for the rest."""
    if width == 1:
        above = v >= centre
        return np.where(above != invert, 255, 0).astype(np.uint8)
    top, bottom = (0.0, 255.0) if invert else (255.0, 0.0)
    rng, span = np.float32(top - bottom), np.float32(width - 1)
    slope = np.float32(rng / span)
    offset = np.float32(float(rng) * 0.5 + (0.5 - centre) * float(rng) / float(span) + bottom)
    single = v.astype(np.float32) * slope + offset
    double = v.astype(np.float64) * np.float64(slope) + np.float64(offset)
    split = 16 * (v.shape[1] // 16)
    y = np.concatenate([single[:, :split].astype(np.float64), double[:, split:]], axis=1)
    return np.clip(np.trunc(y), 0, 255).astype(np.uint8)


def every_value(shape):
    """All 65536 int16 values (and some twice) laid out row by row."""
    return (np.arange(shape[0] * shape[1]) - 32768).astype(np.int16).reshape(shape)


@pytest.mark.parametrize("shape", [(263, 250), (256, 256), (1100, 61)])
@pytest.mark.parametrize("width, centre, invert", [(400, 40, False), (2000, -300, True), (1, 100, False),
                                                   (3, 0, True), (65536, 0, False), (257, 32767, False)])
def test_window_equals_numpy_formula(shape, width, centre, invert):
    s = every_value(shape)
    expected = numpy_window(s, width, centre, invert)
    np.testing.assert_array_equal(z.window(s, width, centre, invert), expected)
    grey3 = z.window(s, width, centre, invert, depth=3)
    assert grey3.shape == shape + (3,) and grey3.flags.c_contiguous
    np.testing.assert_array_equal(grey3, np.repeat(expected[..., None], 3, axis=2))


def test_table_equals_numpy_lookup():
    s = every_value((263, 250))
    lut = np.random.default_rng(2).integers(0, 256, 1000).astype(np.uint8)
    expected = lut[np.clip(s.astype(int), -200, 799) + 200]
    np.testing.assert_array_equal(z.table(s, lut, min_value=-200), expected)
    table = z.Table(-200, 799)
    table.values[:] = lut
    np.testing.assert_array_equal(z.table(s, table, depth=3)[..., 1], expected)
    gamma = z.GammaTable(-1024, 3071, 400, 40, gamma=2.2)
    np.testing.assert_array_equal(z.table(s, gamma), gamma.values[np.clip(s.astype(int), -1024, 3071) + 1024])


def palette():
    p = np.random.default_rng(5).integers(0, 256, (256, 3)).astype(np.uint8)
    p[:, 0] = np.arange(256)  # red tells the level apart
    return p


def test_pseudo_colour_looks_up_the_grey_level_in_both_orders():
    s = every_value((200, 75))
    p = palette()
    grey = z.window(s, 3000, 500)
    rgb = z.window_pseudo_color(s, 3000, 500, p)
    np.testing.assert_array_equal(rgb, p[grey])
    np.testing.assert_array_equal(z.window_pseudo_color(s, 3000, 500, p, order="bgr"), rgb[..., ::-1])
    np.testing.assert_array_equal(z.sigmoid_pseudo_color(s, 900, 0, p), p[z.sigmoid(s, 900, 0)])
    lut = np.arange(256, dtype=np.uint8)[::-1].copy()
    np.testing.assert_array_equal(z.table_pseudo_color(s, lut, p, min_value=-128), p[z.table(s, lut, -128)])


def test_masked_pseudo_colour_keeps_unselected_pixels_grey():
    s = every_value((40, 33))
    mask = np.zeros(s.shape, np.uint16)
    mask[::3] = 0x0100
    mask[1::3] = 0x0001
    picture = z.window_pseudo_color(s, 60000, 0, palette(), mask=mask, bits=0x0100)
    grey = z.window(s, 60000, 0)
    np.testing.assert_array_equal(picture[::3], palette()[grey[::3]])
    np.testing.assert_array_equal(picture[1::3], np.repeat(grey[1::3, :, None], 3, axis=2))
    picture = z.window_pseudo_color(s, 60000, 0, palette(), mask=mask.astype(bool))
    np.testing.assert_array_equal(picture[2::3], np.repeat(grey[2::3, :, None], 3, axis=2))


def quarter_colours(n, seed=3):
    return np.random.default_rng(seed).integers(0, 5, (n, 4)) / 4.0


def test_colour_table_bytes_and_orders():
    s = (np.arange(30 * 31).reshape(30, 31) % 500 - 100).astype(np.int16)
    colours = quarter_colours(500)
    got = z.color_table(s, colours, first=-100)
    expected = np.trunc(colours[s + 100] * 255).astype(np.uint8)
    np.testing.assert_array_equal(got, expected)
    bgr = z.color_table(s, colours, first=-100, order="bgr")
    np.testing.assert_array_equal(bgr[..., [2, 1, 0, 3]], got)
    with pytest.raises(ValueError, match="outside the colour table"):
        z.color_table(s, colours[:400], first=-100)


def test_window_colour_table_blends_by_opacity():
    s = (np.arange(24 * 21).reshape(24, 21) % 64).astype(np.int16)
    colours = np.zeros((64, 4))
    colours[::2] = (1.0, 0.5, 0.0, 1.0)  # even values: the colour, opaque
    got = z.window_color_table(s, 64, 32, colours, first=0)
    grey = z.window(s, 64, 32)
    even = s % 2 == 0
    np.testing.assert_array_equal(got[even], np.array([255, 127, 0], np.uint8) + 0 * got[even])
    np.testing.assert_array_equal(got[~even], np.repeat(grey[~even][:, None], 3, axis=1))
    mask = np.ones(s.shape, bool)
    mask[:, 5:] = False
    only = z.window_color_table(s, 64, 32, colours, first=0, mask=mask, only=True)
    np.testing.assert_array_equal(only[:, 5:], np.repeat(grey[:, 5:, None], 3, axis=2))


@pytest.mark.parametrize("width", [8, 7])  # rows of a multiple of 4 bytes, and padded ones
def test_masks_over_a_picture_work_in_place(width):
    picture = np.random.default_rng(1).integers(0, 256, (6, width, 3)).astype(np.uint8)
    mask = np.zeros((6, width), np.uint8)
    mask[2:4] = 1
    before = picture.copy()
    assert z.apply_mask(picture, mask, (10, 20, 30)) is picture
    np.testing.assert_array_equal(picture[2:4], before[2:4])
    assert (picture[:2] == (10, 20, 30)).all() and (picture[4:] == (10, 20, 30)).all()
    z.blending_mask(picture, mask, (200, 100, 50), 1.0, order="bgr")
    assert (picture[2:4] == (50, 100, 200)).all()


def test_colour_volume_views_and_join():
    rng = np.random.default_rng(4)
    rgb = rng.integers(0, 256, (6, 9, 11, 3)).astype(np.uint8)
    volume = z.Volume(rgb)
    param = z.MPRParam(plane="xy", slice=2, center=volume.centre, interpolation=0)
    np.testing.assert_array_equal(z.convert_rgb(volume, 11, 9, param), rgb[2])
    np.testing.assert_array_equal(z.convert_rgb(volume.to_tiled(), 11, 9, param, order="bgr"), rgb[2, ..., ::-1])
    oblique = z.ObliqueParam(center=(5, 4, 2), interpolation=0)
    np.testing.assert_array_equal(z.convert_rgb(volume, 11, 9, oblique), rgb[2])
    alpha = rng.integers(0, 256, (6, 9, 11)).astype(np.uint8)
    joined = z.convert_color_image(volume, z.Volume(alpha))
    assert joined.voxel_type == "rgba"
    np.testing.assert_array_equal(joined.to_numpy(), np.concatenate([rgb, alpha[..., None]], axis=3))
    np.testing.assert_array_equal(z.convert_rgba(joined, 11, 9, param), joined.to_numpy()[2])
