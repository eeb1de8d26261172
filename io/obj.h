// Wavefront OBJ: the writer that keeps per-corner colours, texture
// coordinates and material groups, and the reader of the import dispatch.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Writes the live faces to `path` (text mode). Nothing is reported to the
// user; the result tells whether the file was opened and every byte written.
bool writeObj(const char* path, const SubMesh& mesh);

// Fills `mesh` from the file; leaves it empty when nothing can be read.
void readObj(const char* path, SubMesh& mesh);

}  // namespace vekmesh
