"""Type stub of zelimage: ZelImageGenerator for numpy."""

from typing import Any, Callable, Iterable, Literal, Sequence, overload

import numpy as np
import numpy.typing as npt

_Vec3 = tuple[float, float, float]
_Vec3Like = Sequence[float]
_IntVec3 = tuple[int, int, int]
_Colour = int | Sequence[int]
_Order = Literal["rgb", "bgr"]
_PlaneLike = int | Plane | Literal["yz", "sagittal", "xz", "coronal", "xy", "axial"]
_UInt8Array = npt.NDArray[np.uint8]
_Int16Array = npt.NDArray[np.int16]
_FloatArray = npt.NDArray[np.float32]

__version__: str

def orientation(right: _Vec3Like, down: _Vec3Like, normal: _Vec3Like | None = None) -> _FloatArray:
    """The 3 x 3 orientation of an oblique plane: columns right, down, normal (default right x down)."""

def pixel_spacing(volume: Volume, zoom: float) -> float:
    """Size of one output pixel of the generators: the finest spacing / zoom."""

def thread_count() -> int:
    """Worker threads a threaded call may start (slabs, multi-oblique)."""

def set_thread_count(count: int) -> None:
    """Overrides the worker count for the process; 0 returns to ZEL_THREADS or the processor count."""

# ---- volumes ----

class Volume:
    """A volume: a C-contiguous [z, y, x] int16/uint16/uint8 array (or [z, y, x, 3|4] uint8 colour)
    read without a copy; spacing is (x, y, z)."""

    def __init__(self, array: npt.NDArray[Any], spacing: _Vec3Like = (1.0, 1.0, 1.0)) -> None: ...
    @property
    def shape(self) -> tuple[int, ...]:
        """(z, y, x), with the colour components last."""
    @property
    def size(self) -> _IntVec3:
        """Voxels along x, y and z."""
    spacing: _Vec3
    """Voxel spacing (x, y, z); positive and finite."""
    @property
    def dtype(self) -> np.dtype[Any]: ...
    @property
    def voxel_type(self) -> Literal["int16", "uint16", "uint8", "rgb", "rgba"]: ...
    @property
    def tiled(self) -> bool: ...
    @property
    def centre(self) -> _Vec3:
        """Voxel position (x, y, z) of the middle of the volume."""
    @property
    def array(self) -> npt.NDArray[Any] | None:
        """The voxels [z, y, x] without a copy; None for a tiled volume."""
    def to_tiled(self) -> Volume:
        """A copy stored in 16 x 16 x 16 blocks."""
    def to_linear(self) -> Volume:
        """A copy stored linearly."""
    def to_numpy(self) -> npt.NDArray[Any]:
        """The voxels [z, y, x]: the volume's own array when linear, a new one when tiled."""

# ---- generators ----

class _Enum:
    """Values of the library's enumerations: usable wherever an int is."""

    name: str
    value: int
    def __int__(self) -> int: ...
    def __index__(self) -> int: ...


class Plane(_Enum):
    """Planes of an MPR view."""

    YZ: Plane
    XZ: Plane
    XY: Plane

class Rotation(_Enum):
    """In-plane rotation of an MPR view."""

    R0: Rotation
    R90: Rotation
    R180: Rotation
    R270: Rotation
    FREE: Rotation

class StackMode(_Enum):
    """How MPRGenerator.stack combines the slices of a slab."""

    AVERAGE: StackMode
    MAXIMUM: StackMode
    MINIMUM: StackMode
    TRIANGLE: StackMode
    GAUSSIAN: StackMode

class SlabMode(_Enum):
    """How an oblique slab combines its samples."""

    AVERAGE: SlabMode
    MAXIMUM: SlabMode
    MINIMUM: SlabMode

class MPRParam:
    """Parameters of one MPR (axis-aligned) view."""

    def __init__(
        self,
        *,
        plane: _PlaneLike = 0,
        slice: int | None = None,
        slice_position: Sequence[int] | None = None,
        center: _Vec3Like | None = None,
        zoom: float = 1.0,
        background: int = 0,
        rotation: int | Rotation = 0,
        rotation_angle: float = 0.0,
        flip_horizontal: bool = False,
        flip_vertical: bool = False,
        interpolation: int = 1,
    ) -> None: ...
    plane: int
    """0 (yz), 1 (xz) or 2 (xy); set from a number, a Plane or a name."""
    slice: int
    """Cut index along the plane's normal axis."""
    slice_position: _IntVec3
    center: _Vec3
    zoom: float
    background: int
    rotation: int
    rotation_angle: float
    flip_horizontal: bool
    flip_vertical: bool
    interpolation: int
    def copy(self) -> MPRParam: ...

class MPRGenerator:
    """Axis-aligned slices of a volume; pictures are (height, width) arrays of its dtype."""

    def __init__(self, volume: Volume | None = None) -> None: ...
    volume: Volume | None
    def generate(
        self, width: int, height: int, param: MPRParam, out: npt.NDArray[Any] | None = None
    ) -> npt.NDArray[Any]:
        """The slice of param as a (height, width) array (or written into out)."""
    @overload
    def display_to_voxel(
        self, width: int, height: int, points: npt.ArrayLike, param: MPRParam, return_inside: Literal[False] = False
    ) -> _FloatArray: ...
    @overload
    def display_to_voxel(
        self, width: int, height: int, points: npt.ArrayLike, param: MPRParam, return_inside: Literal[True]
    ) -> tuple[_FloatArray, npt.NDArray[np.bool_]]: ...
    @overload
    def voxel_to_display(
        self, width: int, height: int, points: npt.ArrayLike, param: MPRParam, return_inside: Literal[False] = False
    ) -> _FloatArray: ...
    @overload
    def voxel_to_display(
        self, width: int, height: int, points: npt.ArrayLike, param: MPRParam, return_inside: Literal[True]
    ) -> tuple[_FloatArray, npt.NDArray[np.bool_]]: ...
    def stack(
        self,
        param: MPRParam,
        thickness: int,
        centred: bool = False,
        mode: int | StackMode = 0,
        filter_strength: int = 0,
    ) -> tuple[npt.NDArray[Any], MPRParam]:
        """A thick slab of the unrotated plane at native size, and the param describing it."""
    @staticmethod
    def filter(source: _Int16Array, strength: int, out: _Int16Array | None = None) -> _Int16Array:
        """Smoothing (strength > 0) or sharpening (< 0) of an int16 slice."""

class ObliqueParam:
    """Parameters of one oblique plane; orientation columns are right, down, normal."""

    def __init__(
        self,
        *,
        center: _Vec3Like | None = None,
        orientation: npt.ArrayLike | None = None,
        zoom: float = 1.0,
        background: int = 0,
        interpolation: int = 1,
        slab_mode: int | SlabMode = 0,
        thickness: float = 0.0,
    ) -> None: ...
    center: _Vec3
    orientation: _FloatArray
    """3 x 3 (a copy); columns right, down, normal."""
    zoom: float
    background: int
    interpolation: int
    slab_mode: int
    thickness: float
    def copy(self) -> ObliqueParam: ...

class ObliqueGenerator:
    """Planes of any orientation, optionally as slabs."""

    def __init__(self, volume: Volume | None = None) -> None: ...
    volume: Volume | None
    def generate(
        self, width: int, height: int, param: ObliqueParam, out: npt.NDArray[Any] | None = None
    ) -> npt.NDArray[Any]: ...
    @overload
    def display_to_voxel(
        self, width: int, height: int, points: npt.ArrayLike, param: ObliqueParam, return_inside: Literal[False] = False
    ) -> _FloatArray: ...
    @overload
    def display_to_voxel(
        self, width: int, height: int, points: npt.ArrayLike, param: ObliqueParam, return_inside: Literal[True]
    ) -> tuple[_FloatArray, npt.NDArray[np.bool_]]: ...
    @overload
    def voxel_to_display(
        self, width: int, height: int, points: npt.ArrayLike, param: ObliqueParam, return_inside: Literal[False] = False
    ) -> _FloatArray: ...
    @overload
    def voxel_to_display(
        self, width: int, height: int, points: npt.ArrayLike, param: ObliqueParam, return_inside: Literal[True]
    ) -> tuple[_FloatArray, npt.NDArray[np.bool_]]: ...

class MultiObliqueImageParam:
    """One output of a MultiObliqueGenerator call."""

    def __init__(
        self,
        *,
        volume_index: int = 0,
        origin: _Vec3Like | None = None,
        background: int = 0,
        interpolation: int = 1,
        slab_mode: int | SlabMode = 0,
        thickness: float = 0.0,
    ) -> None: ...
    volume_index: int
    origin: _Vec3
    background: int
    interpolation: int
    slab_mode: int
    thickness: float

class MultiObliqueParam:
    """The plane shared by every output, in physical units."""

    def __init__(
        self,
        *,
        center: _Vec3Like | None = None,
        orientation: npt.ArrayLike | None = None,
        pixel_spacing: float = 1.0,
        images: Sequence[MultiObliqueImageParam] = ...,
    ) -> None: ...
    center: _Vec3
    orientation: _FloatArray
    pixel_spacing: float
    images: list[MultiObliqueImageParam]
    """A copy: assign a new list to change it."""

class MultiObliqueGenerator:
    """Several oblique pictures of the same physical plane in one call."""

    def __init__(self, volumes: Iterable[Volume] | None = None) -> None: ...
    def set_volume(self, index: int, volume: Volume | None) -> None: ...
    def get_volume(self, index: int) -> Volume | None: ...
    @property
    def volume_count(self) -> int: ...
    def generate(
        self,
        width: int,
        height: int,
        param: MultiObliqueParam,
        out: Sequence[npt.NDArray[Any]] | None = None,
    ) -> list[npt.NDArray[Any]]: ...
    def oblique_param(self, index: int, param: MultiObliqueParam) -> ObliqueParam: ...
    def display_to_voxel(
        self,
        width: int,
        height: int,
        index: int,
        points: npt.ArrayLike,
        param: MultiObliqueParam,
        return_inside: bool = False,
    ) -> _FloatArray | tuple[_FloatArray, npt.NDArray[np.bool_]]: ...

# ---- display conversion ----

class Table:
    """A byte lookup table over [min, max]; values is a writable view of its entries."""

    def __init__(self, min: int, max: int) -> None: ...
    @property
    def values(self) -> _UInt8Array: ...
    @property
    def min(self) -> int: ...
    @property
    def max(self) -> int: ...

class GammaTable(Table):
    """A lookup table from a window (width, centre), a gamma and an inversion flag."""

    def __init__(self, min: int, max: int, width: int, centre: int, gamma: float = 1.0, invert: bool = False) -> None: ...
    def set_window(self, width: int, centre: int, gamma: float = 1.0, invert: bool = False) -> None: ...
    @property
    def width(self) -> int: ...
    @property
    def centre(self) -> int: ...
    @property
    def gamma(self) -> float: ...
    @property
    def invert(self) -> bool: ...

_TableLike = Table | _UInt8Array
_Mask = npt.NDArray[np.uint8] | npt.NDArray[np.bool_] | npt.NDArray[np.uint16] | npt.NDArray[np.int16]

def window(slice: _Int16Array, width: int, centre: int, invert: bool = False, depth: int = 1) -> _UInt8Array:
    """Linear display window: (H, W), or (H, W, 3) grey with depth=3."""

def threshold(slice: _Int16Array, threshold: int, invert: bool = False, depth: int = 1) -> _UInt8Array: ...
def high_and_low(slice: _Int16Array, low: int, high: int) -> _UInt8Array: ...
def table(slice: _Int16Array, table: _TableLike, min_value: int = 0, depth: int = 1) -> _UInt8Array: ...
def sigmoid(slice: _Int16Array, width: int, centre: int, invert: bool = False, depth: int = 1) -> _UInt8Array: ...
def fill_zero(image: _UInt8Array) -> _UInt8Array: ...
def window_pseudo_color(
    slice: _Int16Array,
    width: int,
    centre: int,
    palette: _UInt8Array,
    invert: bool = False,
    mask: _Mask | None = None,
    bits: int | None = None,
    order: _Order = "rgb",
) -> _UInt8Array: ...
def table_pseudo_color(
    slice: _Int16Array,
    table: _TableLike,
    palette: _UInt8Array,
    min_value: int = 0,
    mask: _Mask | None = None,
    bits: int | None = None,
    depth: int = 3,
    order: _Order = "rgb",
) -> _UInt8Array: ...
def sigmoid_pseudo_color(
    slice: _Int16Array,
    width: int,
    centre: int,
    palette: _UInt8Array,
    invert: bool = False,
    mask: _Mask | None = None,
    bits: int | None = None,
    order: _Order = "rgb",
) -> _UInt8Array: ...
def color_table(
    slice: _Int16Array, colours: npt.ArrayLike, first: int = -32768, premultiplied: bool = False, order: _Order = "rgb"
) -> _UInt8Array: ...
def window_color_table(
    slice: _Int16Array,
    width: int,
    centre: int,
    colours: npt.ArrayLike,
    invert: bool = False,
    first: int = -32768,
    mask: _Mask | None = None,
    bits: int | None = None,
    only: bool = False,
    order: _Order = "rgb",
) -> _UInt8Array: ...
def table_color_table(
    slice: _Int16Array,
    table: _TableLike,
    colours: npt.ArrayLike,
    min_value: int = 0,
    first: int = -32768,
    mask: _Mask | None = None,
    bits: int | None = None,
    order: _Order = "rgb",
) -> _UInt8Array: ...
def apply_mask(
    image: _UInt8Array, mask: _Mask, colour: Sequence[int], bits: int | None = None, order: _Order = "rgb"
) -> _UInt8Array: ...
def blending_mask(
    image: _UInt8Array, mask: _Mask, colour: Sequence[int], opacity: float, bits: int | None = None, order: _Order = "rgb"
) -> _UInt8Array: ...
def convert_rgb(
    volume: Volume, width: int, height: int, param: MPRParam | ObliqueParam, order: _Order = "rgb"
) -> _UInt8Array: ...
def convert_rgb_bicubic(
    volume: Volume,
    width: int,
    height: int,
    center: _Vec3Like,
    spacing: _Vec3Like | None = None,
    zoom: float = 1.0,
    order: _Order = "rgb",
) -> _UInt8Array: ...
def convert_rgba(volume: Volume, width: int, height: int, param: MPRParam, order: _Order = "rgb") -> _UInt8Array: ...
def convert_color_image(volume: Volume, alpha: Volume) -> Volume: ...

# ---- fusion and rotation ----

def alpha(a: _UInt8Array, b: _UInt8Array, factor: float) -> _UInt8Array: ...
def add(a: _UInt8Array, b: _UInt8Array, factor: float) -> _UInt8Array: ...
def pixel_alpha(a: _UInt8Array, b: _UInt8Array, factor: float) -> _UInt8Array: ...
def pixel_add(a: _UInt8Array, b: _UInt8Array, factor: float) -> _UInt8Array: ...
def checker(a: _UInt8Array, b: _UInt8Array, cell_size: int) -> _UInt8Array: ...
def multiply(a: _UInt8Array, b: _UInt8Array, factor: float) -> _UInt8Array: ...
def multiply_alpha(
    a: _UInt8Array, b: _UInt8Array, colour: Sequence[int], factor: float, order: _Order = "rgb"
) -> _UInt8Array: ...
def color(a: _UInt8Array, b: _UInt8Array, order: _Order = "rgb") -> _UInt8Array: ...
def overwrite(a: _UInt8Array, b: _UInt8Array, key: Sequence[int], order: _Order = "rgb") -> _UInt8Array: ...
def overwrite_alpha(
    a: _UInt8Array, b: _UInt8Array, key: Sequence[int], factor: float, order: _Order = "rgb"
) -> _UInt8Array: ...
def rotated_size(width: int, height: int, angle: float) -> tuple[int, int]: ...
def rotate(
    image: npt.NDArray[Any],
    angle: float,
    fill: int | Sequence[int] = 0,
    size: tuple[int, int] | None = None,
    out: npt.NDArray[Any] | None = None,
    order: _Order = "rgb",
) -> npt.NDArray[Any]: ...

# ---- drawing ----

class TextStyle(_Enum):
    """Text style flags, combined with |."""

    OUTLINE_SQUARE: TextStyle
    OUTLINE_CROSS: TextStyle
    SHADOW: TextStyle
    NO_ANTIALIAS: TextStyle
    RIGHT: TextStyle
    HCENTER: TextStyle
    LEFT_SHOW_END: TextStyle
    BOTTOM: TextStyle
    VCENTER: TextStyle
    TOP_SHOW_END: TextStyle
    MARKUP: TextStyle
    ROTATE_90: TextStyle
    ROTATE_180: TextStyle
    ROTATE_270: TextStyle
    CELL_HEIGHT: TextStyle
    NO_ALIGN_WHEN_WIDER: TextStyle
    def __or__(self, other: int | TextStyle) -> int: ...
    def __ror__(self, other: int | TextStyle) -> int: ...

class Font:
    """A font found by family name, at (dpi * point_size + 36) // 72 pixels."""

    def __init__(
        self, face: str = "DejaVu Sans", point_size: int = 10, bold: bool = False, dpi: int = 96, min_height: int = 0
    ) -> None: ...
    @property
    def metrics(self) -> tuple[int, int, int]:
        """(ascent, descent, line height) in pixels."""
    def measure(self, text: str, style: int = 0) -> tuple[int, int]: ...

class DrawEngine:
    """Draws straight into a uint8 (H, W, 3|4) array; colours are 0xAARRGGBB or (r, g, b[, a])."""

    def __init__(self, target: _UInt8Array | None = None, order: _Order = "rgb") -> None: ...
    target: _UInt8Array | None
    @property
    def order(self) -> _Order: ...
    @property
    def width(self) -> int: ...
    @property
    def height(self) -> int: ...
    color: _Colour
    border_color: _Colour
    pen_width: int
    pen_dash: bool
    pen_dash_offset: int
    bilinear_filter: bool
    font_dpi: int
    font_min_height: int
    @property
    def clip(self) -> tuple[int, int, int, int] | None: ...
    def clear(self, colour: _Colour = 0) -> None: ...
    def set_pen_dash_pattern(self, pattern: Sequence[bool]) -> None: ...
    def set_palette(self, palette: _UInt8Array | None) -> None: ...
    def set_texture(self, texture: _UInt8Array | None) -> None: ...
    def set_clip(self, left: int, top: int, right: int, bottom: int) -> None: ...
    def clear_clip(self) -> None: ...
    def draw_line(self, x0: int, y0: int, x1: int, y1: int, draw_last_point: bool = True) -> None: ...
    def draw_polyline(self, points: npt.ArrayLike, closed: bool = False) -> None: ...
    def draw_gradation_line(self, x0: int, y0: int, colour0: _Colour, x1: int, y1: int, colour1: _Colour) -> None: ...
    def draw_rectangle(self, x0: int, y0: int, x1: int, y1: int) -> None: ...
    def fill_rectangle(self, x0: int, y0: int, x1: int, y1: int) -> None: ...
    def draw_circle(self, cx: int, cy: int, diameter: int) -> None: ...
    def fill_circle(self, cx: int, cy: int, diameter: int) -> None: ...
    def draw_arc(self, cx: int, cy: int, diameter: int, start_angle: float, end_angle: float) -> None: ...
    def fill_arc(self, cx: int, cy: int, diameter: int, start_angle: float, end_angle: float) -> None: ...
    def fill_polygon(self, points: npt.ArrayLike) -> None: ...
    def draw_image(self, x: int, y: int, image: _UInt8Array) -> None: ...
    def draw_partial_image(
        self, x: int, y: int, image: _UInt8Array, src_x: int, src_y: int, width: int, height: int
    ) -> None: ...
    def draw_scaled_image(self, x: int, y: int, width: int, height: int, image: _UInt8Array) -> None: ...
    def draw_partial_scaled_image(
        self,
        x: int,
        y: int,
        width: int,
        height: int,
        image: _UInt8Array,
        src_x: int,
        src_y: int,
        src_width: int,
        src_height: int,
    ) -> None: ...
    def monochrome(self, factor: float = 1.0) -> None: ...
    def make_transparent(self, factor: float) -> None: ...
    def create_font(self, face: str = "DejaVu Sans", point_size: int = 10, bold: bool = False) -> Font: ...
    def draw_string(self, text: str, x: int, y: int, font: Font, style: int = 0) -> None: ...
    def draw_string_rect(
        self, text: str, x: int, y: int, width: int, height: int, font: Font, style: int = 0
    ) -> None: ...

# ---- paths ----

class CurveInterpolation:
    """An interpolating cubic spline through 3-D points, by normalised chord length."""

    def __init__(self, closed: bool = False) -> None: ...
    def build(self, points: npt.ArrayLike) -> int: ...
    @overload
    def evaluate(self, t: float) -> _Vec3: ...
    @overload
    def evaluate(self, t: npt.ArrayLike) -> _FloatArray: ...
    def parameter(self, i: int) -> float: ...
    def clear(self) -> None: ...
    closed: bool
    @property
    def total_length(self) -> float: ...
    @property
    def knots(self) -> _FloatArray: ...
    @property
    def parameters(self) -> npt.NDArray[np.float64]: ...

class SplineInterpolation:
    """A natural cubic spline y(x) through (x, y) points."""

    def __init__(self) -> None: ...
    def build(self, points: npt.ArrayLike) -> None: ...
    @overload
    def evaluate(self, x: float) -> float: ...
    @overload
    def evaluate(self, x: npt.ArrayLike) -> _FloatArray: ...
    def clear(self) -> None: ...

class SplineCurve:
    """A path's curve, parameterised almost by arc length."""

    def __init__(self) -> None: ...
    def build(self, points: npt.ArrayLike) -> int: ...
    @overload
    def evaluate(self, t: float) -> _Vec3: ...
    @overload
    def evaluate(self, t: npt.ArrayLike) -> _FloatArray: ...
    def clear(self) -> None: ...
    @property
    def length(self) -> float: ...
    @property
    def resolution(self) -> int: ...
    @property
    def control_parameters(self) -> npt.NDArray[np.float64]: ...
    @property
    def resampled_points(self) -> _FloatArray: ...
    @property
    def cumulative_lengths(self) -> npt.NDArray[np.float64]: ...

class Path:
    """A user's path: control points (x, y, z) in voxels, scaled by aspect for the curve."""

    def __init__(self, points: npt.ArrayLike | None = None, aspect: _Vec3Like | None = None) -> None: ...
    points: _FloatArray
    aspect: _Vec3
    def __len__(self) -> int: ...
    def get_point(self, i: int) -> _Vec3: ...
    def add_point(self, point: _Vec3Like) -> None: ...
    def delete_last_point(self) -> None: ...
    def update_point(self, i: int, point: _Vec3Like) -> None: ...
    def clear_points(self) -> None: ...
    @property
    def curve(self) -> SplineCurve: ...
    @property
    def aspect_points(self) -> _FloatArray: ...
    @property
    def update_counter(self) -> int: ...
    def update_points_counter(self) -> None: ...
    def copy_from(self, source: Path) -> None: ...
    def clone(self) -> Path: ...

class PlaneData:
    """One cross-section plane along a path."""

    def __init__(
        self,
        *,
        position: _Vec3Like = (0, 0, 0),
        tangent: _Vec3Like = (0, 0, 1),
        axis_u: _Vec3Like = (1, 0, 0),
        axis_v: _Vec3Like = (0, 1, 0),
        diameter: float = 0.0,
    ) -> None: ...
    position: _Vec3
    tangent: _Vec3
    axis_u: _Vec3
    axis_v: _Vec3
    diameter: float

class PathPlane:
    """Planes laid along a path, with frames that do not twist."""

    def __init__(self, path: Path | None = None) -> None: ...
    path: Path | None
    def update(
        self, angle: float = 0.0, pitch: float = 1.0, tangent_span: float = 0.01, up: _Vec3Like = (0.0, 0.0, 1.0)
    ) -> None: ...
    @property
    def planes(self) -> list[PlaneData]: ...
    def set_planes(
        self, planes: Sequence[PlaneData], take_path_counter: bool = False, set_pitch: bool = False, pitch: float = 0.0
    ) -> None: ...
    reference_external_data: bool
    @property
    def plane_count(self) -> int: ...
    @property
    def length(self) -> float: ...
    @property
    def max_diameter(self) -> float: ...
    @property
    def update_counter(self) -> int: ...
    @overload
    def get_plane_data(self, position: float) -> PlaneData: ...
    @overload
    def get_plane_data(self, position: npt.ArrayLike) -> dict[str, _FloatArray]: ...
    def get_diameter(self, position: float) -> float: ...
    radius_for_uniformalize: float
    def uniformalize(
        self, progress: Callable[[float], None] | None = None, start: float = 0.0, end: float = 1.0
    ) -> None: ...

# ---- curved planar reformations ----

CPR_ROW_DTYPE: np.dtype[Any]
"""The structured dtype of CPR rows (rendering points): start, normal, step, row_axis, cross_axis (3 x float32),
shift (float32), valid, constructed (bool), position, diameter (float32)."""

class CPRParam:
    """Parameters of a curved planar reformation (rows, layout, slab, band)."""

    def __init__(
        self,
        *,
        path: Path | None = None,
        construction: int | Literal["straight", "fixed", "stretch"] = "straight",
        scale: float = 1.0,
        offset: int = 0,
        center_column: int = 0,
        direction: _Vec3Like | None = None,
        rotation_angle: float = 0.0,
        pitch: float = 1.0,
        tangent_span: float = 0.01,
        up: _Vec3Like | None = None,
        view: npt.ArrayLike | None = None,
        layout: int | Literal["columns", "rows", "projection"] = "columns",
        interpolation: int | Literal["nearest", "linear"] = 1,
        background: int = 0,
        slab_mode: int | Literal["none", "maximum", "minimum", "average"] = "none",
        slab_samples: int = 0,
        band_width: int | None = None,
        band_center: int = 0,
        slab_offset: int = 0,
    ) -> None: ...
    path: Path | None
    construction: int
    scale: float
    offset: int
    center_column: int
    direction: _Vec3
    rotation_angle: float
    pitch: float
    tangent_span: float
    up: _Vec3
    view: _FloatArray
    layout: int
    interpolation: int
    background: int
    slab_mode: int
    slab_samples: int
    band_width: int | None
    band_center: int
    slab_offset: int
    rendering_points: npt.NDArray[Any]
    """One record per line, of CPR_ROW_DTYPE (a copy), in voxel units."""
    curve: SplineCurve
    control_points: _FloatArray
    def copy(self) -> CPRParam: ...

class CPRGenerator:
    """Curved planar reformations along a path."""

    def __init__(self, volume: Volume | None = None) -> None: ...
    volume: Volume | None
    def generate(
        self, width: int, height: int, param: CPRParam, rebuild: bool = True, out: npt.NDArray[Any] | None = None
    ) -> npt.NDArray[Any]: ...
    def display_to_voxel(
        self, width: int, height: int, points: npt.ArrayLike, param: CPRParam, return_inside: bool = False
    ) -> _FloatArray | tuple[_FloatArray, npt.NDArray[np.bool_]]: ...
    def display_to_path(
        self, width: int, height: int, points: npt.ArrayLike, param: CPRParam, return_inside: bool = False
    ) -> _FloatArray | tuple[_FloatArray, npt.NDArray[np.bool_]]: ...
    def path_to_display(
        self, width: int, height: int, positions: npt.ArrayLike, param: CPRParam, return_inside: bool = False
    ) -> _FloatArray | tuple[_FloatArray, npt.NDArray[np.bool_]]: ...
    def path_to_oblique(self, width: int, height: int, position: float, param: CPRParam) -> ObliqueParam: ...
    @staticmethod
    def construct_straight_path(
        rows: int, scale: float, offset: int, center_column: int, path_plane: PathPlane
    ) -> npt.NDArray[Any]: ...
    @staticmethod
    def construct_fixed_path(
        rows: int, scale: float, offset: int, center_column: int, direction: _Vec3Like, curve: SplineCurve
    ) -> npt.NDArray[Any]: ...
    @staticmethod
    def construct_stretch_path(
        rows: int,
        scale: float,
        offset: int,
        center_column: int,
        direction: _Vec3Like,
        curve: SplineCurve,
        control_points: npt.ArrayLike,
    ) -> npt.NDArray[Any]: ...
    @staticmethod
    def construct_projection(
        scale: float, view: npt.ArrayLike, curve: SplineCurve, control_points: npt.ArrayLike
    ) -> _FloatArray: ...
