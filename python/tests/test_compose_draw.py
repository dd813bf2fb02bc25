import numpy as np
import pytest

import zelimage as z


def pictures(width, depth, seed=0):
    rng = np.random.default_rng(seed)
    shape = (9, width) if depth == 1 else (9, width, depth)
    return rng.integers(0, 256, shape).astype(np.uint8), rng.integers(0, 256, shape).astype(np.uint8)


@pytest.mark.parametrize("width", [8, 5])  # rows of a multiple of 4 bytes, and padded ones
@pytest.mark.parametrize("depth", [1, 3, 4])
def test_alpha_writes_a_in_place(width, depth):
    a, b = pictures(width, depth)
    k = int(0.3 * 256)
    expected = ((b.astype(np.int64) - a) * k + a.astype(np.int64) * 256) >> 8
    if depth == 4:
        expected[..., 3] = a[..., 3]  # the fourth byte is kept
    assert z.alpha(a, b, 0.3) is a
    np.testing.assert_array_equal(a, expected.astype(np.uint8))


@pytest.mark.parametrize("depth", [1, 3])
def test_checker_alternates_cells(depth):
    a, b = pictures(7, depth)
    cells = (np.arange(9)[:, None] // 2 + np.arange(7)[None, :] // 2) % 2 == 1
    if depth == 3:
        cells = cells[..., None]
    expected = np.where(cells, b, a)
    np.testing.assert_array_equal(z.checker(a, b, 2), expected)


def test_colour_fusion_of_grey_and_of_colour_pictures():
    a, b = pictures(6, 1)
    fused = z.color(a, b)
    np.testing.assert_array_equal(fused, np.stack([b, a, b], axis=2))
    ca, cb = pictures(6, 3, seed=1)
    bgr_a, bgr_b = ca[..., ::-1].copy(), cb[..., ::-1].copy()
    rgb = z.color(ca, cb)
    np.testing.assert_array_equal(z.color(bgr_a, bgr_b, order="bgr"), rgb[..., ::-1])
    r, g, b = cb.astype(int).transpose(2, 0, 1)
    luminance = (29 * b + 150 * g + 77 * r) >> 8
    np.testing.assert_array_equal(rgb[..., 0], luminance)


def test_overwrite_keys_on_the_colour_in_either_order():
    a, b = pictures(5, 3)
    b[::2] = (1, 2, 3)
    expected = np.where((b == (1, 2, 3)).all(axis=2, keepdims=True), a, b)
    np.testing.assert_array_equal(z.overwrite(a.copy(), b, (1, 2, 3)), expected)
    np.testing.assert_array_equal(z.overwrite(a.copy(), b, (3, 2, 1), order="bgr"), expected)


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16])
def test_quarter_turn_equals_rot90(dtype):
    image = np.random.default_rng(2).integers(0, 200, (13, 13)).astype(dtype)
    np.testing.assert_array_equal(z.rotate(image, np.pi / 2, size=(13, 13)), np.rot90(image))
    assert z.rotated_size(20, 10, 0.0) == (19, 9)
    rgba = np.random.default_rng(3).integers(0, 256, (4, 6, 4)).astype(np.uint8)
    np.testing.assert_array_equal(z.rotate(rgba, 0.0), rgba)
    turned = z.rotate(rgba, 0.5, fill=(1, 2, 3, 4), size=(12, 12))
    assert turned.shape == (12, 12, 4) and (turned[0, 0] == (1, 2, 3, 4)).all()


def scene(target, order, font):
    e = z.DrawEngine(target, order=order)
    e.clear((10, 20, 30))
    e.color = (250, 120, 0)
    e.pen_width = 3
    e.draw_line(2, 3, 60, 40)
    e.pen_dash = True
    e.pen_width = 1
    e.draw_polyline([[5, 50], [40, 60], [70, 20]], closed=True)
    e.color = (0, 90, 200, 128)
    e.fill_circle(40, 30, 21)
    e.fill_polygon([[60, 5], [75, 15], [62, 28]])
    e.draw_gradation_line(0, 70, (255, 0, 0), 79, 70, (0, 0, 255))
    e.set_palette(np.array([[255, 0, 0, 255], [0, 255, 0, 128]], np.uint8))
    e.draw_scaled_image(50, 45, 20, 12, np.array([[0, 1], [1, 0]], np.uint8))
    e.color = (255, 255, 0)
    e.border_color = (0, 0, 0)
    e.draw_string("mm^2 H_{2}O", 3, 62, font, z.TextStyle.MARKUP | z.TextStyle.OUTLINE_SQUARE)
    e.monochrome(0.5) if order == "skip" else None
    return target


@pytest.mark.parametrize("depth", [3, 4])
def test_rgb_and_bgr_targets_hold_the_same_picture(depth):
    font = z.Font("DejaVu Sans", 9)
    rgb = scene(np.zeros((80, 80, depth), np.uint8), "rgb", font)
    bgr = scene(np.zeros((80, 80, depth), np.uint8), "bgr", font)
    swap = [2, 1, 0] + ([3] if depth == 4 else [])
    np.testing.assert_array_equal(rgb, bgr[..., swap])
    assert (rgb[0, 79, :3] == (10, 20, 30)).all()  # the clear colour, in red-first order
    assert len(np.unique(rgb.reshape(-1, depth), axis=0)) > 20
    z.DrawEngine(rgb).monochrome()
    z.DrawEngine(bgr, order="bgr").monochrome()
    np.testing.assert_array_equal(rgb, bgr[..., swap])
    assert (rgb[..., 0] == rgb[..., 2]).all()


def test_engine_draws_only_into_its_view_of_an_array():
    canvas = np.zeros((40, 30, 4), np.uint8)
    e = z.DrawEngine(canvas[10:20])
    e.color = 0xFF336699
    e.fill_rectangle(-100, -100, 100, 100)
    assert (canvas[10:20] == (0x33, 0x66, 0x99, 0xFF)).all()
    assert not canvas[:10].any() and not canvas[20:].any()
    assert e.color == 0xFF336699 and (e.width, e.height) == (30, 10)


def test_text_lies_in_its_measured_box():
    font = z.Font("DejaVu Sans", 12, bold=True)
    w, h = font.measure("Zel 123")
    canvas = np.zeros((60, 120, 3), np.uint8)
    z.DrawEngine(canvas).draw_string("Zel 123", 10, 20, font)
    rows, cols = np.nonzero(canvas.any(axis=2))
    assert rows.min() >= 20 and rows.max() < 20 + h and cols.min() >= 10 and cols.max() < 10 + w
    assert font.metrics[0] > 0
