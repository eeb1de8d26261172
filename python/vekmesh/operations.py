"""The operations of the vekmesh package: each copies the mesh into a library
handle, runs one call of libvekmesh (with the GIL released, progress and
cancel through _run.CallRun) and copies the result out into a new Mesh."""

import ctypes
import dataclasses
import os

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
        return Mesh._from_handle(handle)


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
        return [Mesh._from_handle(pieces[i]) for i in range(count.value)]
    finally:
        _lib.vkm_pieces_free(pieces, count)


def _not_landed(name):
    def operation(mesh, **options):
        raise NotImplementedError("vekmesh.%s is not available yet in this version" % name)
    operation.__name__ = name
    operation.__doc__ = "Not available yet: raises NotImplementedError."
    return operation


weak_sections = _not_landed("weak_sections")
voxelize = _not_landed("voxelize")
hollow = _not_landed("hollow")
lampshade = _not_landed("lampshade")
lampshade_preview = _not_landed("lampshade_preview")
remesh = _not_landed("remesh")
