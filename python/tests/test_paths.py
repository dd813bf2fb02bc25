import numpy as np
import pytest

import zelimage as z

POINTS = np.array([[10, 10, 5], [20, 14, 8], [30, 25, 9], [36, 40, 14], [30, 52, 20]], np.float32)


def test_curve_passes_through_its_control_points():
    path = z.Path(POINTS, aspect=(0.5, 0.5, 2.0))
    curve = path.curve
    scaled = POINTS * np.float32([0.5, 0.5, 2.0])
    np.testing.assert_allclose(path.aspect_points, scaled)
    np.testing.assert_allclose(curve.evaluate(curve.control_parameters), scaled, atol=0.02)
    assert curve.length > np.linalg.norm(np.diff(scaled, axis=0), axis=1).sum() - 1e-3
    assert len(path) == 5 and path.get_point(2) == tuple(POINTS[2])


def test_path_planes_carry_right_handed_frames_along_the_curve():
    path = z.Path(POINTS)
    planes = z.PathPlane(path)
    planes.update(pitch=2.0, up=(0, 0, 1))
    assert planes.plane_count >= 2 and planes.update_counter == path.update_counter
    frames = planes.get_plane_data(np.linspace(0, 1, 25))
    u, v, t = frames["axis_u"], frames["axis_v"], frames["tangent"]
    for a, b in [(u, v), (u, t), (v, t)]:
        np.testing.assert_allclose((a * b).sum(axis=1), 0, atol=1e-3)
    np.testing.assert_allclose(np.cross(u, v), t, atol=1e-3)
    ends = planes.get_plane_data(np.array([0.0, 1.0]))["position"]
    np.testing.assert_allclose(ends, POINTS[[0, -1]], atol=0.05)
    assert isinstance(planes.get_plane_data(0.5), z.PlaneData)


def test_uniformalize_reports_progress_and_passes_errors_on():
    planes = z.PathPlane(z.Path(POINTS))
    planes.update(pitch=4.0)
    seen = []
    planes.uniformalize(seen.append, 0.0, 1.0)
    assert seen[0] == 0.0 and seen[-1] == 1.0

    def fail(value):
        raise RuntimeError("stop")

    with pytest.raises(RuntimeError, match="stop"):
        planes.uniformalize(fail)


@pytest.mark.parametrize("points", [np.zeros((0, 3)), np.array([[1.0, 2.0, 3.0]]), np.array([[1, 1, 1], [1, 1, 1]])])
def test_degenerate_paths_do_not_crash(points):
    path = z.Path(points)
    planes = z.PathPlane(path)
    planes.update(pitch=1.0)
    planes.get_plane_data(np.linspace(0, 1, 4))
    path.curve.evaluate(0.5)
