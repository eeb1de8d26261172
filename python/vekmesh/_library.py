"""Finding and loading libvekmesh, and the ctypes declarations of its C
interface (include/vekmesh/script.h), in one place."""

import ctypes
import ctypes.util
import os
import sys

# Status codes of the C interface.
OK = 0
INVALID_ARGUMENT = 1
CANCELLED = 2
OUT_OF_MEMORY = 3
FILE_ERROR = 4
EMPTY_RESULT = 5
NOT_AVAILABLE = 6
INTERNAL_ERROR = 7
BUFFER_TOO_SMALL = 8

_FILE_NAME = "libvekmesh.so"
_HERE = os.path.dirname(os.path.abspath(__file__))


class LibraryNotFound(ImportError):
    """libvekmesh could not be found or loaded."""


def _candidates():
    """Where the library is looked for, in order, with how each was found."""
    given = os.environ.get("VEKMESH_LIBRARY")
    if given:
        # Given explicitly: the only place tried, so that a wrong value is
        # reported instead of silently passed over.
        return [(given, "VEKMESH_LIBRARY")]
    found = [(os.path.join(_HERE, _FILE_NAME), "beside the package")]
    # An installed tree (cmake --install) writes where its library folder
    # lies, relative to the package.
    relative = os.path.join(_HERE, "library_dir.txt")
    if os.path.isfile(relative):
        with open(relative, encoding="utf-8") as f:
            folder = os.path.normpath(os.path.join(_HERE, f.read().strip()))
        found.append((os.path.join(folder, _FILE_NAME), "in the installed tree"))
    found.append(("libvekmesh.so.0", "on the loader path"))
    system = ctypes.util.find_library("vekmesh")
    if system:
        found.append((system, "on the loader path"))
    return found


def _load():
    if not sys.platform.startswith("linux"):
        raise LibraryNotFound("the vekmesh package needs libvekmesh, which is built for Linux only")
    tried = []
    for path, how in _candidates():
        if os.sep in path and not os.path.exists(path):
            tried.append("%s (%s): no such file" % (path, how))
            continue
        try:
            return ctypes.CDLL(path)
        except OSError as e:
            tried.append("%s (%s): %s" % (path, how, e))
    raise LibraryNotFound(
        "cannot load libvekmesh; set VEKMESH_LIBRARY to the path of libvekmesh.so "
        "(built by CMake in the build folder), or put it on the loader path. Tried:\n  "
        + "\n  ".join(tried))


PROGRESS = ctypes.CFUNCTYPE(ctypes.c_int32, ctypes.c_int32, ctypes.c_void_p)


class Run(ctypes.Structure):
    _fields_ = [("progress", PROGRESS), ("user", ctypes.c_void_p),
                ("message", ctypes.c_char * 512), ("threads", ctypes.c_int32)]


class Arrays(ctypes.Structure):
    _fields_ = [("count", ctypes.c_uint64), ("corners", ctypes.POINTER(ctypes.c_float)),
                ("colors", ctypes.POINTER(ctypes.c_float)),
                ("uvs", ctypes.POINTER(ctypes.c_float)),
                ("materials", ctypes.POINTER(ctypes.c_int32))]


class CensusOptions(ctypes.Structure):
    _fields_ = [("find_intersections", ctypes.c_int32)]


class CensusResult(ctypes.Structure):
    _fields_ = [(name, ctypes.c_uint64) for name in (
        "triangles", "vertices", "open_edges", "non_manifold_edges", "misoriented_edges",
        "repeated_vertex_faces", "duplicate_faces", "shells", "closed_shells", "solids",
        "cavities", "inside_out_shells", "zero_volume_parts")] + [
        ("intersecting_pairs", ctypes.c_int64), ("volume", ctypes.c_double),
        ("area", ctypes.c_double), ("lower", ctypes.c_float * 3), ("upper", ctypes.c_float * 3),
        ("watertight", ctypes.c_int32), ("printable", ctypes.c_int32),
        ("host_flawed", ctypes.c_int32 * 3), ("host_counters", ctypes.c_int32 * 4),
        ("verdict", ctypes.c_char * 256)]


class RepairOptions(ctypes.Structure):
    _fields_ = [("described", ctypes.c_int32), ("never_worse", ctypes.c_int32)]


class ReduceOptions(ctypes.Structure):
    _fields_ = [("ratio", ctypes.c_double), ("max_error", ctypes.c_double),
                ("min_cosine", ctypes.c_double)]


class SubdivideOptions(ctypes.Structure):
    _fields_ = [("level", ctypes.c_int32), ("colour", ctypes.c_int32)]


class OrientOptions(ctypes.Structure):
    _fields_ = [("mode", ctypes.c_int32)]


class RemeshOptions(ctypes.Structure):
    _fields_ = [("faces", ctypes.c_void_p), ("face_count", ctypes.c_uint64)]


class FloatOption(ctypes.Structure):
    """vkm_voxelize_options, vkm_hollow_options, vkm_lampshade_options."""
    _fields_ = [("value", ctypes.c_float)]


class HollowReport(ctypes.Structure):
    _fields_ = [("voxel_size", ctypes.c_float), ("wall_layers", ctypes.c_int32),
                ("model_volume", ctypes.c_double), ("hollow_volume", ctypes.c_double)]


class Outlines(ctypes.Structure):
    _fields_ = [("polygon_count", ctypes.c_uint64),
                ("point_counts", ctypes.POINTER(ctypes.c_int32)),
                ("labels", ctypes.POINTER(ctypes.c_int32)),
                ("groups", ctypes.POINTER(ctypes.c_int32)),
                ("points", ctypes.POINTER(ctypes.c_float))]


class WeakSectionsOptions(ctypes.Structure):
    _fields_ = [("change_ratio", ctypes.c_float), ("axes_only", ctypes.c_int32)]


class Sections(ctypes.Structure):
    _fields_ = [("count", ctypes.c_uint64), ("scores", ctypes.POINTER(ctypes.c_float)),
                ("directions", ctypes.POINTER(ctypes.c_double)), ("outlines", Outlines)]


_P = ctypes.c_void_p  # a vkm_mesh*, a float*, ...
_RUN = ctypes.POINTER(Run)
_I32 = ctypes.c_int32
_U64 = ctypes.c_uint64

# name: (result type, argument types)
_SIGNATURES = {
    "vkm_status_message": (ctypes.c_char_p, [_I32]),
    "vkm_version": (ctypes.c_char_p, []),
    "vkm_mesh_from_arrays": (_I32, [_P, _P, _P, _P, _U64, ctypes.POINTER(_P)]),
    "vkm_mesh_load": (_I32, [ctypes.c_char_p, _RUN, ctypes.POINTER(_P)]),
    "vkm_mesh_save": (_I32, [_P, ctypes.c_char_p, _RUN]),
    "vkm_mesh_free": (None, [_P]),
    "vkm_mesh_triangle_count": (_U64, [_P]),
    "vkm_mesh_copy_out": (_I32, [_P, _P, _P, _P, _P, _U64]),
    "vkm_census_take": (_I32, [_P, ctypes.POINTER(CensusOptions), _RUN,
                               ctypes.POINTER(CensusResult)]),
    "vkm_repair": (_I32, [_P, ctypes.POINTER(RepairOptions), _RUN, ctypes.POINTER(_I32)]),
    "vkm_reduce": (_I32, [_P, ctypes.POINTER(ReduceOptions), _RUN]),
    "vkm_subdivide": (_I32, [_P, ctypes.POINTER(SubdivideOptions), _RUN]),
    "vkm_orient": (_I32, [_P, ctypes.POINTER(OrientOptions), _RUN,
                          ctypes.POINTER(ctypes.c_double * 3)]),
    "vkm_separate": (_I32, [_P, _RUN, ctypes.POINTER(ctypes.POINTER(_P)),
                            ctypes.POINTER(_U64)]),
    "vkm_pieces_free": (None, [ctypes.POINTER(_P), _U64]),
    "vkm_remesh": (_I32, [_P, ctypes.POINTER(RemeshOptions), _RUN]),
    "vkm_voxelize": (_I32, [_P, ctypes.POINTER(FloatOption), _RUN]),
    "vkm_hollow": (_I32, [_P, ctypes.POINTER(FloatOption), _RUN, ctypes.POINTER(HollowReport)]),
    "vkm_lampshade": (_I32, [_P, ctypes.POINTER(FloatOption), _RUN]),
    "vkm_lampshade_preview": (_I32, [_P, ctypes.POINTER(FloatOption), _RUN,
                                     ctypes.POINTER(Outlines), ctypes.POINTER(_I32)]),
    "vkm_outlines_free": (None, [ctypes.POINTER(Outlines)]),
    "vkm_weak_sections": (_I32, [_P, ctypes.POINTER(WeakSectionsOptions), _RUN,
                                 ctypes.POINTER(Sections)]),
    "vkm_sections_free": (None, [ctypes.POINTER(Sections)]),
}

lib = _load()
for _name, (_result, _arguments) in _SIGNATURES.items():
    _function = getattr(lib, _name)
    _function.restype = _result
    _function.argtypes = _arguments
