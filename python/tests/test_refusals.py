import ast
import gc
import pathlib

import numpy as np
import pytest

import zelimage as z

A = np.zeros((4, 5, 6), np.int16)
S = np.zeros((5, 6), np.int16)
V = z.Volume(A)
MPR = z.MPRGenerator(V)
OBL = z.ObliqueGenerator(V)
P = z.MPRParam(plane="xy")
RGB = z.Volume(np.zeros((2, 3, 4, 3), np.uint8))

REFUSALS = [
    (lambda: z.Volume(A.astype(np.float32)), "int16, uint16 or uint8, not float32"),
    (lambda: z.Volume(A.astype(">i2")), "not >i2"),
    (lambda: z.Volume(A[0]), "must have 3 or 4 dimensions, not 2"),
    (lambda: z.Volume(A[:, :, ::2]), "not C-contiguous"),
    (lambda: z.Volume(np.frombuffer(b"\0" + A.tobytes(), np.int16, offset=1).reshape(4, 5, 6)), "not aligned"),
    (lambda: z.Volume([[[1]]]), "must be a numpy array"),
    (lambda: z.Volume(np.zeros((0, 5, 6), np.int16)), "is empty"),
    (lambda: z.Volume(A, spacing=(1, 0, 1)), "positive and finite"),
    (lambda: z.Volume(A, spacing=(1, 1)), "sequence of 3 numbers"),
    (lambda: z.MPRParam(plane="oblique"), "unknown plane 'oblique'"),
    (lambda: z.MPRParam(plane=3), "unknown plane 3"),
    (lambda: z.MPRParam(rotation=5), "unknown rotation 5"),
    (lambda: z.MPRParam(interpolation=2), "unknown interpolation 2"),
    (lambda: z.MPRGenerator().generate(4, 4, P), "no volume is set"),
    (lambda: z.MPRGenerator(RGB), "holds colour voxels"),
    (lambda: MPR.generate(0, 4, P), "at least 1"),
    (lambda: MPR.generate(4, 4, z.MPRParam(zoom=0)), "zoom must be positive"),
    (lambda: MPR.generate(4, 4, z.MPRParam(center=(np.nan, 0, 0))), "center must be finite"),
    (lambda: MPR.generate(4, 4, P, out=np.zeros((4, 4), np.uint16)), "out must be int16"),
    (lambda: MPR.generate(4, 4, P, out=np.zeros((4, 5), np.int16)), "shape (height, width)"),
    (lambda: MPR.generate(4, 4, P, out=np.zeros((4, 4), np.int16)[::-1]), "not C-contiguous"),
    (lambda: MPR.stack(P, -1), "thickness must not be negative"),
    (lambda: MPR.stack(P, 2, mode=7), "unknown stack mode 7"),
    (lambda: MPR.filter(S, 10, out=S), "share memory"),
    (lambda: MPR.display_to_voxel(8, 8, np.zeros((3, 3)), P), "2 components"),
    (lambda: OBL.generate(4, 4, z.ObliqueParam(interpolation=0, thickness=2)), "needs interpolation=1"),
    (lambda: OBL.generate(4, 4, z.ObliqueParam(zoom=np.inf)), "zoom must be finite"),
    (lambda: OBL.generate(4, 4, z.ObliqueParam(center=(1e9, 0, 0))), "17.15 fixed point"),
    (lambda: z.ObliqueParam(orientation=np.eye(2)), "3 x 3"),
    (lambda: z.ObliqueParam(slab_mode=3), "unknown slab mode 3"),
    (lambda: z.MultiObliqueGenerator([V]).generate(4, 4, z.MultiObliqueParam()), "param.images is empty"),
    (lambda: z.MultiObliqueGenerator([V]).generate(
        4, 4, z.MultiObliqueParam(images=[z.MultiObliqueImageParam(volume_index=1)])), "no volume is set at index 1"),
    (lambda: z.window(S.astype(np.int32), 10, 0), "slice must be int16"),
    (lambda: z.window(S, 0, 0), "width must be at least 1"),
    (lambda: z.window(S, 10, 0, depth=4), "depth must be 1 or 3"),
    (lambda: z.sigmoid(S, 0, 0), "width must not be 0"),
    (lambda: z.table(S, np.zeros(10, np.uint8), min_value=32760), "-32768 .. 32767"),
    (lambda: z.Table(5, 4), "max must not be below min"),
    (lambda: z.window_pseudo_color(S, 10, 0, np.zeros((255, 3), np.uint8)), "(256, 3) uint8"),
    (lambda: z.window_pseudo_color(S, 10, 0, np.zeros((256, 3), np.uint8), order="rbg"), "unknown order 'rbg'"),
    (lambda: z.window_pseudo_color(S, 10, 0, np.zeros((256, 3), np.uint8), mask=np.zeros((5, 5), np.uint8)),
     "shape of the picture"),
    (lambda: z.color_table(S, np.zeros((10, 3))), "(N, 4)"),
    (lambda: z.window_color_table(S, 10, 0, np.zeros((65536, 4)), only=True), "needs a mask"),
    (lambda: z.apply_mask(np.zeros((5, 6, 3), np.uint8), np.zeros((5, 6), np.int16), (1, 2, 3)), "uint8, bool or uint16"),
    (lambda: z.apply_mask(np.zeros((5, 6, 3), np.uint8), np.zeros((5, 6), np.uint8), (1, 2, 300)), "0..255"),
    (lambda: z.alpha(np.zeros((5, 6), np.uint8), np.zeros((5, 7), np.uint8), 0.5), "same height and width"),
    (lambda: z.pixel_alpha(np.zeros((5, 6), np.uint8), np.zeros((5, 6), np.uint8), 0.5), "depths 1 and 1"),
    (lambda: z.checker(np.zeros((5, 6), np.uint8), np.zeros((5, 6), np.uint8), 0), "cell_size"),
    (lambda: z.alpha(np.zeros((5, 6), np.uint8).copy(order="F")[:, ::2], np.zeros((5, 3), np.uint8), 1), "C-contiguous"),
    (lambda: z.color(np.zeros((5, 6), np.uint8), np.zeros((5, 6, 4), np.uint8)), "two grey"),
    (lambda: z.rotate(np.zeros((5, 6), np.float32), 1.0), "int16, uint16 or uint8"),
    (lambda: z.rotate(np.zeros((5, 6), np.uint8), np.nan), "angle must be finite"),
    (lambda: z.convert_rgb(V, 4, 4, P), "must hold RGB voxels"),
    (lambda: z.convert_rgb(RGB, 4, 4, z.MPRParam(zoom=-1)), "zoom must be positive"),
    (lambda: z.DrawEngine(np.zeros((5, 6), np.uint8)), "(H, W, 3) or (H, W, 4)"),
    (lambda: z.DrawEngine(np.zeros((5, 6, 3), np.uint8)[:, ::2]), "packed pixels"),
    (lambda: z.DrawEngine(np.zeros((5, 6, 3), np.uint8), order="xyz"), "unknown order"),
    (lambda: setattr(z.DrawEngine(), "color", (1, 2)), "0xAARRGGBB or (red, green, blue"),
    (lambda: z.Font("DejaVu Sans", 0), "no font"),
    (lambda: z.Path(np.zeros((3, 2))), "3 components"),
    (lambda: z.PathPlane().update(), "no path is set"),
    (lambda: z.CPRParam(construction="bent"), "unknown construction 'bent'"),
    (lambda: z.CPRParam(layout=3), "unknown layout 3"),
    (lambda: z.CPRGenerator(V).generate(8, 8, z.CPRParam()), "nothing to build its rows from"),
    (lambda: z.CPRGenerator(z.Volume(A.astype(np.uint8))).generate(8, 8, z.CPRParam(layout="projection")),
     "signed 16-bit"),
    (lambda: z.CPRGenerator(V).path_to_oblique(8, 8, 0.5, z.CPRParam()), "no valid line"),
]


@pytest.mark.parametrize("call, reason", REFUSALS)
def test_refused_calls_raise_value_error_with_the_reason(call, reason):
    with pytest.raises(ValueError) as error:
        call()
    assert reason in str(error.value)


def test_read_only_arrays_are_read_but_never_written():
    a = A.copy()
    a.flags.writeable = False
    assert z.MPRGenerator(z.Volume(a)).generate(6, 5, P).shape == (5, 6)
    target = np.zeros((5, 6, 3), np.uint8)
    target.flags.writeable = False
    with pytest.raises(ValueError, match="read-only"):
        z.DrawEngine(target)


def test_memory_errors_are_memory_errors():
    with pytest.raises(MemoryError):
        z.rotate(np.zeros((2, 2), np.uint8), 0.0, size=(2**30, 2**30))


def rss_kib():
    with open("/proc/self/statm") as f:
        return int(f.read().split()[1]) * 4


def test_no_leak_over_ten_thousand_calls():
    volume = z.Volume(np.random.default_rng(0).integers(0, 1000, (32, 64, 64)).astype(np.int16))
    mpr, oblique = z.MPRGenerator(volume), z.ObliqueGenerator(volume)
    p, o = z.MPRParam(plane="xy", slice=9, center=volume.centre), z.ObliqueParam(center=volume.centre, thickness=2)
    canvas = np.zeros((64, 64, 3), np.uint8)
    engine = z.DrawEngine(canvas)
    font = z.Font("DejaVu Sans", 8)
    palette = np.zeros((256, 3), np.uint8)

    def calls(n):
        for _ in range(n):
            s = mpr.generate(64, 64, p)  # 8 KiB each: 80 MiB if they leaked
            z.window_pseudo_color(s, 400, 40, palette)
            oblique.generate(32, 32, o)
            mpr.stack(p, 1)
            z.Volume(s[None]).to_tiled()
            engine.draw_string("1", 3, 3, font)
            try:
                z.window(s.astype(np.int32), 1, 1)
            except ValueError:
                pass

    calls(500)
    gc.collect()
    before = rss_kib()
    calls(10_000)
    gc.collect()
    assert rss_kib() - before < 8 * 1024


def test_the_type_stub_names_exactly_the_public_api():
    stub = pathlib.Path(__file__).parents[1] / "zelimage" / "__init__.pyi"
    tree = ast.parse(stub.read_text())
    declared = {node.name for node in tree.body if isinstance(node, (ast.ClassDef, ast.FunctionDef))}
    declared |= {t.id for node in tree.body if isinstance(node, (ast.Assign, ast.AnnAssign))
                 for t in (node.targets if isinstance(node, ast.Assign) else [node.target]) if isinstance(t, ast.Name)}
    public = {name for name in dir(z) if not name.startswith("_")} - {"annotations"}
    assert public - declared == set(), "missing from the stub"
    assert {n for n in declared if not n.startswith("_")} - public == set(), "stub names things the module lacks"
    classes = {c.name: c for c in tree.body if isinstance(c, ast.ClassDef)}

    def members(cls):
        names = {n.name for n in cls.body if isinstance(n, ast.FunctionDef)}
        names |= {n.target.id for n in cls.body if isinstance(n, ast.AnnAssign)}
        for base in cls.bases:
            names |= members(classes[base.id])
        return names

    for name, cls in classes.items():
        if name.startswith("_"):
            continue
        real = {m for m in dir(getattr(z, name)) if not m.startswith("_")}
        assert real - members(cls) == set(), name
