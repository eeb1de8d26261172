// Wavefront OBJ: the writer that keeps per-corner colours, texture
// coordinates and material groups, and the reader of the import dispatch.
#pragma once

#include <cstddef>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Writes the live faces to `path` (text mode). Nothing is reported to the
// user; the result tells whether the file was opened and every byte written.
bool writeObj(const char* path, const SubMesh& mesh);

// Which face numbers name a vertex: the exports' reader takes the absolute
// numbers 1..n only and drops faces with others; the tool's also takes the
// relative ones (-1 the last vertex or texture coordinate read so far).
enum class ObjIndices { kAbsolute, kRelativeToo };

// Fills `mesh` from the file; leaves it empty when nothing can be read.
// Returns how many triangles the polygons gave the mesh constructor, which
// drops those that collapse when welded.
size_t readObj(const char* path, SubMesh& mesh, ObjIndices indices = ObjIndices::kAbsolute);

}  // namespace vekmesh
