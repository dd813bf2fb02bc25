import numpy as np
import pytest

import zelimage as z


def smooth_volume(shape=(40, 48, 56), seed=1):
    """An int16 volume of waves, steep enough (neighbours up to several hundred
    apart) to show interpolation errors."""
    zz, yy, xx = np.meshgrid(*[np.arange(n, dtype=np.float64) for n in shape], indexing="ij")
    rng = np.random.default_rng(seed)
    v = np.zeros(shape)
    for _ in range(4):
        k = rng.uniform(0.05, 0.25, 3)
        v += 400 * np.sin(k[0] * zz + k[1] * yy + k[2] * xx + rng.uniform(0, 6))
    return np.round(v).astype(np.int16)


@pytest.fixture(scope="session")
def smooth():
    return smooth_volume()


@pytest.fixture(scope="session")
def noise():
    rng = np.random.default_rng(7)
    return rng.integers(-1000, 3000, size=(24, 32, 40), dtype=np.int16)


@pytest.fixture
def restore_threads():
    yield
    z.set_thread_count(0)
