"""The operations of the vekmesh package: each copies the mesh into a library
handle, runs one call of libvekmesh (with the GIL released, progress and
cancel through _run.CallRun) and copies the result out into a new Mesh."""

import ctypes
import dataclasses
import os

import numpy as np

from . import _library
from ._run import CallRun
from .mesh import Mesh, _Handle

_lib = _library.lib


def _mesh_argument(mesh):
    if not isinstance(mesh, Mesh):
        raise TypeError("expected a vekmesh.Mesh, got %s" % type(mesh).__name__)
    return mesh


def _path_argument(path):
    try:
        return os.fsencode(path)
    except TypeError:
        raise TypeError("path must be a str or path-like, got %s" % type(path).__name__) from None


def _transform(mesh, call, progress):
    """Runs `call(handle, run_pointer)` on a handle of `mesh`; the new Mesh."""
    with _mesh_argument(mesh)._handle() as handle, CallRun(progress) as run:
        run.finish(call(handle, run.pointer))
        return Mesh._from_handle(handle, like=mesh)


# ---- files -------------------------------------------------------------------

def load(path, *, progress=None):
    """Reads a model: stl, obj, ply, 3mf, wrl, wrz, x3d, x3dz (and STEP/IGES
    when the converter library is installed). Raises FileError or ValueError
    (no triangles)."""
    encoded = _path_argument(path)
    handle = ctypes.c_void_p()
    with CallRun(progress) as run:
        run.finish(_lib.vkm_mesh_load(encoded, run.pointer, ctypes.byref(handle)))
    with _Handle(handle) as h:
        return Mesh._from_handle(h)


def save(mesh, path, *, progress=None):
    """Writes the mesh in the format of the path's extension: stl, obj, ply,
    3mf, gltf or glb. Nothing is left at `path` on failure."""
    encoded = _path_argument(path)
    with _mesh_argument(mesh)._handle() as handle, CallRun(progress) as run:
        run.finish(_lib.vkm_mesh_save(handle, encoded, run.pointer))


def export_gltf(mesh, path, *, progress=None):
    """Writes glTF (.gltf with its .bin beside it, or .glb) with the mesh's
    colours and material groups."""
    if not os.fsdecode(path).lower().endswith((".gltf", ".glb")):
        raise ValueError("export_gltf writes .gltf or .glb files, got %r" % (path,))
    save(mesh, path, progress=progress)


# ---- census and repair ---------------------------------------------------------

@dataclasses.dataclass(frozen=True)
class Census:
    """The exact flaw counts of a mesh and its printable verdict."""
    triangles: int
    vertices: int
    open_edges: int
    non_manifold_edges: int
    misoriented_edges: int
    repeated_vertex_faces: int
    duplicate_faces: int
    shells: int
    closed_shells: int
    solids: int
    cavities: int
    inside_out_shells: int
    zero_volume_parts: int
    intersecting_pairs: int  # -1 when not searched
    volume: float
    area: float
    bounds: tuple  # ((xmin, ymin, zmin), (xmax, ymax, zmax))
    watertight: bool
    printable: bool
    verdict: str  # "printable" or "not printable: 3 open edges, ..."
    host_flawed: tuple  # the exports' test: strict, orientation ignored, lenient
    host_counters: tuple  # repeated-vertex faces, open edges, non-manifold edges, down faces

    @property
    def reasons(self):
        """Why not printable, one phrase per kind of flaw; empty when printable."""
        head = "not printable: "
        return self.verdict[len(head):].split(", ") if self.verdict.startswith(head) else []

    def __str__(self):
        return self.verdict


_COUNTS = ("triangles", "vertices", "open_edges", "non_manifold_edges", "misoriented_edges",
           "repeated_vertex_faces", "duplicate_faces", "shells", "closed_shells", "solids",
           "cavities", "inside_out_shells", "zero_volume_parts", "intersecting_pairs", "volume",
           "area")


def census(mesh, *, find_intersections=True, progress=None):
    """Counts the mesh's flaws (open, non-manifold, mis-oriented edges, shells
    by kind, ...) and gives the printable verdict with its reasons."""
    options = _library.CensusOptions(int(bool(find_intersections)))
    result = _library.CensusResult()
    with _mesh_argument(mesh)._handle() as handle, CallRun(progress) as run:
        run.finish(_lib.vkm_census_take(handle, ctypes.byref(options), run.pointer,
                                        ctypes.byref(result)))
    counts = {name: getattr(result, name) for name in _COUNTS}
    return Census(bounds=(tuple(result.lower), tuple(result.upper)),
                  watertight=bool(result.watertight), printable=bool(result.printable),
                  verdict=result.verdict.decode(), host_flawed=tuple(map(bool, result.host_flawed)),
                  host_counters=tuple(result.host_counters), **counts)


def repair(mesh, *, described=False, never_worse=True, progress=None):
    """The thorough repair (closing cracks, removing needles and coincident
    faces, orienting shells, filling holes); with `described=True` the
    pipeline of the VEKmesh_64 repair exports instead. With `never_worse`, a
    thorough repair that would add a flaw returns the mesh unchanged."""
    options = _library.RepairOptions(int(bool(described)), int(bool(never_worse)))
    kept = ctypes.c_int32()
    return _transform(mesh, lambda h, r: _lib.vkm_repair(h, ctypes.byref(options), r,
                                                         ctypes.byref(kept)), progress)


# ---- other operations ------------------------------------------------------------

def reduce(mesh, *, ratio=0.5, max_error=0.05, min_cosine=0.99, progress=None):
    """Fewer triangles: keeps about `ratio` of them, moving the surface by at
    most `max_error` and turning no face normal past `min_cosine`."""
    options = _library.ReduceOptions(float(ratio), float(max_error), float(min_cosine))
    return _transform(mesh, lambda h, r: _lib.vkm_reduce(h, ctypes.byref(options), r), progress)


def subdivide(mesh, *, level=1, colour=False, progress=None):
    """Smooth subdivision keeping creases, `level` rounds (1..4); with
    `colour`, then colour boundaries and texture seams refined."""
    options = _library.SubdivideOptions(int(level), int(bool(colour)))
    return _transform(mesh, lambda h, r: _lib.vkm_subdivide(h, ctypes.byref(options), r),
                      progress)


@dataclasses.dataclass(frozen=True)
class Orientation:
    angles: tuple  # Rx, Ry, Rz in degrees, applied x, then y, then z
    mesh: Mesh  # turned and moved onto the plate


def orient(mesh, *, mode=1, progress=None):
    """The print orientation: mode 0 by overhang only, 1 with a contact-area
    term, 2 with weak sections. Returns the angles and the turned mesh."""
    options = _library.OrientOptions(int(mode))
    angles = (ctypes.c_double * 3)()
    turned = _transform(mesh, lambda h, r: _lib.vkm_orient(h, ctypes.byref(options), r,
                                                           ctypes.byref(angles)), progress)
    return Orientation(tuple(angles), turned)


def separate(mesh, *, progress=None):
    """The mesh's parts: one per shell, shells passing through one another
    kept together. A list of meshes."""
    pieces = ctypes.POINTER(ctypes.c_void_p)()
    count = ctypes.c_uint64()
    with _mesh_argument(mesh)._handle() as handle, CallRun(progress) as run:
        run.finish(_lib.vkm_separate(handle, run.pointer, ctypes.byref(pieces),
                                     ctypes.byref(count)))
    try:
        return [Mesh._from_handle(pieces[i], like=mesh) for i in range(count.value)]
    finally:
        _lib.vkm_pieces_free(pieces, count)


def remesh(mesh, *, faces=None, progress=None):
    """Isotropic remeshing of the listed faces (indices into the mesh's
    triangles; all when None): even edges of the selection's mean length, the
    points kept on the surface, the rest of the mesh as it was."""
    selection = None
    if faces is not None:
        selection = np.asarray(faces)
        if selection.dtype.kind not in "iu":
            raise TypeError("faces: needs integer indices, got dtype %s" % selection.dtype)
        if selection.ndim != 1:
            raise ValueError("faces: needs shape (k,), got %s" % (selection.shape,))
        selection = np.ascontiguousarray(np.clip(selection, -1, 2**31 - 1), np.int32)
    options = _library.RemeshOptions(
        None if selection is None else selection.ctypes.data, 0 if selection is None else
        len(selection))
    return _transform(mesh, lambda h, r: _lib.vkm_remesh(h, ctypes.byref(options), r), progress)


def voxelize(mesh, *, voxel_size=1.0, progress=None):
    """The surface of the mesh's voxel model: closed, two-manifold, each voxel
    face two triangles coloured like its voxel."""
    options = _library.FloatOption(float(voxel_size))
    return _transform(mesh, lambda h, r: _lib.vkm_voxelize(h, ctypes.byref(options), r),
                      progress)


def hollow(mesh, *, wall=2.0, progress=None):
    """The closed mesh with a wall of `wall` units: its own surface and the
    core's surface turned inwards. ValueError when nothing can be hollowed."""
    options = _library.FloatOption(float(wall))
    return _transform(mesh, lambda h, r: _lib.vkm_hollow(h, ctypes.byref(options), r, None),
                      progress)


def lampshade(mesh, *, wall=2.0, progress=None):
    """A lampshade of the closed mesh: its surface with an inner wall, cut flat
    at the base. ValueError when no shade fits."""
    options = _library.FloatOption(float(wall))
    return _transform(mesh, lambda h, r: _lib.vkm_lampshade(h, ctypes.byref(options), r),
                      progress)


def _polygons(outlines):
    """(points (k, 3) arrays, labels, groups) of a vkm_outlines."""
    counts = np.ctypeslib.as_array(outlines.point_counts, (max(outlines.polygon_count, 1),))
    counts = counts[:outlines.polygon_count].astype(np.int64)
    total = int(counts.sum())
    points = np.ctypeslib.as_array(outlines.points, (max(3 * total, 1),))[:3 * total]
    points = points.reshape(-1, 3).copy()
    labels = [outlines.labels[i] for i in range(outlines.polygon_count)]
    groups = [outlines.groups[i] for i in range(outlines.polygon_count)]
    return np.split(points, np.cumsum(counts)[:-1]) if total else [], labels, groups


@dataclasses.dataclass(frozen=True)
class LampshadePreview:
    fits: bool  # a shade fits: high enough, with a base wide enough for the wall
    base: list  # base outlines, (k, 3) float32 each, at the base height
    inner: list  # the inner outlines the wall leaves there


def lampshade_preview(mesh, *, wall=2.0, progress=None):
    """Whether a lampshade fits and the outlines of its base, without making it."""
    options = _library.FloatOption(float(wall))
    outlines = _library.Outlines()
    fits = ctypes.c_int32()
    with _mesh_argument(mesh)._handle() as handle, CallRun(progress) as run:
        run.finish(_lib.vkm_lampshade_preview(handle, ctypes.byref(options), run.pointer,
                                              ctypes.byref(outlines), ctypes.byref(fits)))
    try:
        polygons, labels, _ = _polygons(outlines)
    finally:
        _lib.vkm_outlines_free(ctypes.byref(outlines))
    return LampshadePreview(bool(fits.value), [p for p, k in zip(polygons, labels) if k == 0],
                            [p for p, k in zip(polygons, labels) if k == 1])


@dataclasses.dataclass(frozen=True, repr=False)
class WeakSection:
    score: float  # higher is weaker
    direction: tuple  # the cutting planes' normal, not normalised
    groups: list  # outline groups: [outer (k, 3) array, hole arrays...]

    def __repr__(self):
        return "WeakSection(score=%g, direction=%s, %d outline groups)" % (
            self.score, self.direction, len(self.groups))


def weak_sections(mesh, *, change_ratio=0.5, axes_only=False, progress=None):
    """The mesh's weak cross-sections, weakest first (by score)."""
    options = _library.WeakSectionsOptions(float(change_ratio), int(bool(axes_only)))
    sections = _library.Sections()
    with _mesh_argument(mesh)._handle() as handle, CallRun(progress) as run:
        run.finish(_lib.vkm_weak_sections(handle, ctypes.byref(options), run.pointer,
                                          ctypes.byref(sections)))
    try:
        polygons, labels, groups = _polygons(sections.outlines)
        found = []
        for s in range(sections.count):
            mine = [(g, p) for p, k, g in zip(polygons, labels, groups) if k == s]
            grouped = {}
            for g, p in mine:
                grouped.setdefault(g, []).append(p)
            found.append(WeakSection(float(sections.scores[s]),
                                     tuple(sections.directions[3 * s + a] for a in range(3)),
                                     list(grouped.values())))
    finally:
        _lib.vkm_sections_free(ctypes.byref(sections))
    return sorted(found, key=lambda section: -section.score)
