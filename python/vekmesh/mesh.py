"""The Mesh value type: a triangle soup held in numpy arrays, with welded
vertex/face views, measures computed in numpy, and the handle conversion to
and from libvekmesh."""

import ctypes

import numpy as np

from . import _library
from .errors import check


def _array(value, name, shape, kind, dtype):
    """`value` as a read-only C-contiguous array of `dtype` and `shape` (None
    for any length); TypeError for a wrong kind of number, ValueError for a
    wrong shape."""
    try:
        a = np.asarray(value)
    except Exception as e:  # a ragged list, an object numpy cannot hold
        raise TypeError("%s: cannot be read as an array (%s)" % (name, e)) from None
    if a.dtype.kind not in kind:
        raise TypeError("%s: needs %s numbers, got dtype %s"
                        % (name, "floating-point" if kind == "f" else "integer", a.dtype))
    if a.ndim != len(shape) or any(s is not None and s != d for s, d in zip(shape, a.shape)):
        wanted = "(" + ", ".join("n" if s is None else str(s) for s in shape) + ")"
        raise ValueError("%s: needs shape %s, got %s" % (name, wanted, a.shape))
    a = np.ascontiguousarray(a, dtype=dtype)
    if a is value:
        a = a.copy()
    a.flags.writeable = False
    return a


def _pointer(a):
    return None if a is None else a.ctypes.data_as(ctypes.c_void_p)


class Mesh:
    """A triangle soup: `triangles` (n, 3, 3) float32 corners in winding order,
    optional corner `colors` (n, 3, 3) float32 in 0..1, texture coordinates
    `uvs` (n, 3, 2) float32 and `materials` (n,) int32 (negative = none).
    The arrays are copied and read-only: operations return new meshes."""

    def __init__(self, triangles, colors=None, uvs=None, materials=None):
        self.triangles = _array(triangles, "triangles", (None, 3, 3), "f", np.float32)
        n = len(self.triangles)
        self.colors = None if colors is None else _array(colors, "colors", (n, 3, 3), "f",
                                                         np.float32)
        self.uvs = None if uvs is None else _array(uvs, "uvs", (n, 3, 2), "f", np.float32)
        self.materials = None if materials is None else _array(materials, "materials", (n,),
                                                               "iu", np.int32)
        if self.materials is not None and (self.materials > 32767).any():
            raise ValueError("materials: values above 32767")
        if self.materials is not None and self.uvs is None and (self.materials >= 0).any():
            raise ValueError("materials of 0 or more need uvs")
        self._welded = None

    def __len__(self):
        return len(self.triangles)

    def __repr__(self):
        return "Mesh(%d triangles)" % len(self)

    # ---- plain (vertices, faces) arrays -------------------------------------

    @classmethod
    def from_vertices_faces(cls, vertices, faces):
        """From (m, 3) vertex positions and (n, 3) vertex indices per face, as
        trimesh and Open3D hold meshes."""
        v = _array(vertices, "vertices", (None, 3), "f", np.float32)
        f = _array(faces, "faces", (None, 3), "iu", np.int64)
        if len(f) and (f.min() < 0 or f.max() >= len(v)):
            raise ValueError("faces: an index is outside 0..%d" % (len(v) - 1))
        return cls(v[f])

    def _weld(self):
        # Corners weld when their coordinates are equal, as the library welds.
        if self._welded is None:
            corners = self.triangles.reshape(-1, 3)
            vertices, inverse = np.unique(corners, axis=0, return_inverse=True)
            self._welded = (vertices, inverse.reshape(-1, 3).astype(np.int32))
            for a in self._welded:
                a.flags.writeable = False
        return self._welded

    @property
    def vertices(self):
        """(m, 3) float32: the distinct corner positions."""
        return self._weld()[0]

    @property
    def faces(self):
        """(n, 3) int32: each triangle's indices into `vertices`."""
        return self._weld()[1]

    def to_vertices_faces(self):
        return self.vertices, self.faces

    # ---- measures -----------------------------------------------------------

    @property
    def volume(self):
        """Signed volume enclosed (positive for an outward-wound closed mesh)."""
        t = self.triangles.astype(np.float64)
        return float(np.einsum("ij,ij->i", t[:, 0], np.cross(t[:, 1], t[:, 2])).sum() / 6.0)

    @property
    def area(self):
        t = self.triangles.astype(np.float64)
        return float(np.linalg.norm(np.cross(t[:, 1] - t[:, 0], t[:, 2] - t[:, 0]),
                                    axis=1).sum() / 2.0)

    @property
    def bounds(self):
        """(2, 3) float32: least and greatest corner coordinates; zeros when empty."""
        if len(self) == 0:
            return np.zeros((2, 3), np.float32)
        corners = self.triangles.reshape(-1, 3)
        return np.stack([corners.min(axis=0), corners.max(axis=0)])

    @property
    def is_watertight(self):
        """Closed, every edge of exactly two faces running it oppositely."""
        from .operations import census
        return census(self, find_intersections=False).watertight

    # ---- the library's handle -----------------------------------------------

    def _handle(self):
        handle = ctypes.c_void_p()
        check(_library.lib.vkm_mesh_from_arrays(
            _pointer(self.triangles), _pointer(self.colors), _pointer(self.uvs),
            _pointer(self.materials), len(self), ctypes.byref(handle)))
        return _Handle(handle)

    @classmethod
    def _from_handle(cls, handle, like=None):
        """The handle's triangles, with the attributes `like` (the mesh the
        handle was made from) has; without `like`, every attribute that
        carries something."""
        n = _library.lib.vkm_mesh_triangle_count(handle)
        wanted = [like is None or like.colors is not None,
                  like is None or like.uvs is not None or like.materials is not None]
        triangles = np.empty((n, 3, 3), np.float32)
        c = np.empty((n, 3, 3), np.float32) if wanted[0] else None
        uvs = np.empty((n, 3, 2), np.float32) if wanted[1] else None
        materials = np.empty(n, np.int32) if wanted[1] else None
        check(_library.lib.vkm_mesh_copy_out(handle, _pointer(triangles), _pointer(c),
                                            _pointer(uvs), _pointer(materials), n))
        mesh = cls.__new__(cls)
        # Attributes that carry nothing (every corner white, no material) are
        # left out, as they were when the mesh was made without them.
        if c is not None and (c == 1.0).all():
            c = None
        if materials is not None and (materials < 0).all():
            materials = uvs = None
        mesh.triangles, mesh.colors, mesh.uvs, mesh.materials = triangles, c, uvs, materials
        mesh._welded = None
        for a in (triangles, c, uvs, materials):
            if a is not None:
                a.flags.writeable = False
        return mesh

class _Handle:
    """Owns one vkm_mesh; freed on leaving a `with` block."""

    def __init__(self, pointer):
        self.pointer = pointer

    def __enter__(self):
        return self.pointer

    def __exit__(self, *exc):
        _library.lib.vkm_mesh_free(self.pointer)
        self.pointer = None
        return False
