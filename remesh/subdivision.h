// Subdivision of every face, `level` times; mode 1 and mode 0 are the two
// passes the refinement exports chain.
#pragma once

#include <cstdint>

#include "mesh/tri_mesh.h"

namespace vekmesh {

void subdivideMesh(SubMesh& mesh, int32_t level, int32_t mode);

}  // namespace vekmesh
