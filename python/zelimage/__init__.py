"""ZelImageGenerator for numpy.

The pictures a medical image viewer shows, made from numpy arrays:

* ``Volume(array, spacing)`` wraps a 3-D int16, uint16 or uint8 array indexed
  ``[z, y, x]`` without a copy (``to_tiled()`` makes a block-stored copy);
* ``MPRGenerator``, ``ObliqueGenerator`` and ``MultiObliqueGenerator`` cut
  planes and slabs out of volumes, and map display positions to voxels and
  back, many points at once;
* ``window``, ``table``, ``sigmoid``, the pseudo colour and colour table
  functions turn int16 slices into uint8 pictures; ``alpha``, ``color`` and
  the other fusions combine two pictures; ``rotate`` turns images;
* ``DrawEngine`` draws lines, shapes, images and text straight into a uint8
  (H, W, 3|4) array;
* ``Path`` and ``PathPlane`` describe a path through a volume and the planes
  along it.

Conventions
-----------
* Arrays are indexed ``[z, y, x]`` (``[row, column]`` for pictures); every
  vector of the library (spacing, centres, voxel and display positions,
  orientation columns) is ordered (x, y, z) or (x, y).
* Pixel centres lie at whole display coordinates; the centre of a W x H
  picture is ((W - 1) / 2, (H - 1) / 2). Voxel centres lie at whole indices.
* Colour pictures are red, green, blue (alpha) by default. Every function that
  makes or takes one has ``order='rgb'``; ``order='bgr'`` gives (or takes) the
  library's own blue, green, red (alpha) bytes, those of a Windows bitmap or an
  OpenCV image. Colours, palettes and colour tables are always given red
  first and land in the right channels for either order.
* A refused call raises ``ValueError`` with the reason; memory that cannot be
  had raises ``MemoryError``. The GIL is released while pictures are made, so
  Python threads render in parallel.
"""

from ._zelimage import *  # noqa: F401,F403
from ._zelimage import __doc__ as _native_doc  # noqa: F401

import numpy as _np

__version__ = "0.1.0"


def orientation(right, down, normal=None):
    """The 3 x 3 orientation matrix of an oblique plane from its axes.

    ``right`` and ``down`` are the display x and y directions (x, y, z) in
    voxels of the finest spacing; ``normal`` (the slab direction) defaults to
    their cross product. The vectors become the matrix's columns, as
    ``ObliqueParam.orientation`` wants them; they are used as given (not
    normalised), so their lengths scale the picture.
    """
    right = _np.asarray(right, dtype=_np.float32)
    down = _np.asarray(down, dtype=_np.float32)
    if normal is None:
        normal = _np.cross(right, down)
    normal = _np.asarray(normal, dtype=_np.float32)
    if right.shape != (3,) or down.shape != (3,) or normal.shape != (3,):
        raise ValueError("right, down and normal must each have 3 components")
    return _np.stack([right, down, normal], axis=1)


def pixel_spacing(volume, zoom):
    """Size of one output pixel of the generators: the finest spacing / zoom."""
    return min(volume.spacing) / zoom
