// Remeshing towards even, well-shaped triangles, guided by an index array
// from the caller.
#pragma once

#include <cstdint>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// `indices` holds `index_count` entries, or is null (no guidance).
void remeshMesh(SubMesh& mesh, const int32_t* indices, uint32_t index_count);

}  // namespace vekmesh
