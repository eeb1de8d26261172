// Wavefront OBJ: the writer that keeps per-corner colours, texture
// coordinates and material groups, and the reader of the import dispatch.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Writes the live faces to `path` (text mode); fails silently.
void writeObj(const SubMesh& mesh, const char* path);

// Fills `mesh` from the file; leaves it empty when nothing can be read.
void readObj(const char* path, SubMesh& mesh);

}  // namespace vekmesh
