"""vekmesh: mesh repair and processing for 3-D printing, from Python.

A pure-Python layer (ctypes and numpy) over libvekmesh's re-entrant C
interface: calls keep no shared state and release the GIL, so meshes can be
worked on in parallel threads.

    import vekmesh
    mesh = vekmesh.load("model.stl")
    print(vekmesh.census(mesh))
    vekmesh.save(vekmesh.repair(mesh), "fixed.3mf")
"""

from ._library import LibraryNotFound
from ._run import get_threads, set_threads
from .errors import Cancelled, FileError, VekmeshError
from .mesh import Mesh
from .operations import (Census, LampshadePreview, Orientation, WeakSection, census,
                         export_gltf, hollow, lampshade, lampshade_preview, load, orient, reduce,
                         remesh, repair, save, separate, subdivide, voxelize, weak_sections)

__all__ = ["Mesh", "Census", "Orientation", "LampshadePreview", "WeakSection", "load", "save", "export_gltf", "census", "repair",
           "reduce", "separate", "orient", "weak_sections", "voxelize", "hollow", "lampshade",
           "lampshade_preview", "subdivide", "remesh", "VekmeshError", "Cancelled", "FileError",
           "LibraryNotFound", "library_version", "set_threads", "get_threads"]


def library_version():
    """The version of the loaded libvekmesh."""
    from ._library import lib
    return lib.vkm_version().decode()
