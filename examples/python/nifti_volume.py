"""NIfTI files as zelimage volumes, and planes given in patient (world) space.

Shared by the examples: ``load`` reads a file with nibabel into a
``zelimage.Volume`` (voxels [z, y, x] = the file's [k, j, i]); ``world_plane``
makes the ObliqueParam of a plane given in millimetres of the file's world
space (RAS: x towards the patient's right, y anterior, z superior), through
the file's affine, so pictures come out in their true orientation whatever the
voxel axes or the tilt of the acquisition.
"""

import nibabel as nib
import numpy as np

import zelimage as z

# Screen axes of the usual radiological views, in RAS directions: (right, down).
VIEWS = {
    "axial": ((-1, 0, 0), (0, -1, 0)),     # patient left on screen right, anterior up
    "coronal": ((-1, 0, 0), (0, 0, -1)),   # patient left on screen right, superior up
    "sagittal": ((0, -1, 0), (0, 0, -1)),  # anterior on screen left, superior up
}
# Letters at the screen's left, right, top and bottom edges of each view.
EDGES = {"axial": "RLAP", "coronal": "RLSI", "sagittal": "APSI"}


class Study:
    """A volume with the affine from its voxel (x, y, z) to world millimetres."""

    def __init__(self, volume, affine, name):
        self.volume, self.affine, self.name = volume, affine, name

    @property
    def finest(self):
        return min(self.volume.spacing)

    def voxel(self, world):
        """Voxel position (x, y, z) of a world point (mm)."""
        return tuple((np.linalg.inv(self.affine) @ np.append(np.asarray(world, float), 1.0))[:3])

    def world_centre(self):
        """World position of the middle of the volume."""
        return (self.affine @ np.append(self.volume.centre, 1.0))[:3]


def to_int16(data):
    """The voxels as int16: whole numbers that fit as they are, anything else
    scaled to -32000..32000 (the generators interpolate signed 16-bit volumes)."""
    if np.issubdtype(data.dtype, np.integer) and data.min() >= -32768 and data.max() <= 32767:
        return data.astype(np.int16)
    data = np.nan_to_num(data.astype(np.float64))
    low, high = data.min(), data.max()
    return np.round((data - low) / max(high - low, 1e-12) * 64000 - 32000).astype(np.int16)


def load(path, volume_index=0, tiled=True):
    image = nib.load(str(path))
    data = np.asanyarray(image.dataobj)
    if data.ndim == 4:
        data = data[..., volume_index]
    voxels = np.ascontiguousarray(to_int16(data).T)  # [i, j, k] -> [k, j, i] = [z, y, x]
    spacing = np.linalg.norm(image.affine[:3, :3], axis=0)
    volume = z.Volume(voxels, spacing=tuple(spacing))
    if tiled:
        volume = volume.to_tiled()
    return Study(volume, image.affine, getattr(path, "name", str(path)).split("/")[-1])


def world_plane(study, centre_mm, view, pixel_mm=None, **fields):
    """The ObliqueParam showing the world plane through centre_mm with the
    screen axes of `view` ('axial', 'coronal', 'sagittal'), pixel_mm wide pixels."""
    right, down = (np.asarray(v, float) for v in VIEWS[view])
    m = study.affine[:3, :3]
    s = np.asarray(study.volume.spacing)
    finest = s.min()
    pixel_mm = pixel_mm or finest
    # A step of `finest` mm along a world direction d, in normalised voxels:
    # voxel step M^-1 (finest d), times spacing / finest.
    to_normalised = lambda d: np.linalg.solve(m, d) * s  # noqa: E731
    param = z.ObliqueParam(center=study.voxel(centre_mm),
                           orientation=z.orientation(to_normalised(right), to_normalised(down)),
                           zoom=finest / pixel_mm, **fields)
    return param


def percentile_window(picture, low=1, high=99.5):
    """A window (width, centre) from percentiles of the non-background pixels."""
    values = picture[picture != picture.min()]
    if values.size == 0:
        values = picture
    lo, hi = np.percentile(values, [low, high])
    return max(int(hi - lo), 2), int((hi + lo) / 2)
