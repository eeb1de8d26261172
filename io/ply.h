// PLY, the polygon file format: ASCII and binary (either byte order) read,
// binary little-endian written, with per-vertex colours.
//
// Reading: the "vertex" element's x, y, z (any scalar type) and red, green,
// blue (bytes as they are; float or double channels in 0..1 scaled to bytes);
// the "face" element's vertex_indices (or vertex_index) list, each polygon
// fanned into triangles from its first corner; every other element and
// property is skipped by its declared types. A vertex colour becomes the
// colour of each corner at that vertex. The whole file is checked against its
// header before anything is kept: a header that cannot be parsed, counts the
// file cannot hold, a corner index past the vertices or data cut short give
// an empty mesh (a model that is partly there is worse than none for a repair
// tool), and no array is sized from a count before the bytes are there.
//
// Writing: the live faces as triangles; vertices split only where a welded
// vertex carries different corner colours; red, green, blue written only when
// some corner is not white.
#pragma once

#include <cstddef>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Reads `path` into `mesh` (the mesh is rebuilt; its tag is left alone).
// Returns the triangles handed to the constructor; 0 on any fault.
size_t readPly(const char* path, SubMesh& mesh);

// Writes the live faces; false when the file could not be written fully.
bool writePly(const char* path, const SubMesh& mesh);

}  // namespace vekmesh
