// Wavefront OBJ: the writer that keeps per-corner colours, texture
// coordinates and material groups, and the reader of the import dispatch.
#pragma once

#include <cstddef>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Writes the live faces to `path` (text mode). Nothing is reported to the
// user; the result tells whether the file was opened and every byte written.
bool writeObj(const char* path, const SubMesh& mesh);

// Fills `mesh` from the file; leaves it empty when nothing can be read.
// Returns how many triangles the polygons gave the mesh constructor, which
// drops those that collapse when welded.
size_t readObj(const char* path, SubMesh& mesh);

}  // namespace vekmesh
