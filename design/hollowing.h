// Hollowing ("light weight"): voxelise, fill, peel inward by the wall
// thickness and hand back the surface of the remaining core.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Replaces `mesh` by the core's surface. Returns 0 when a core was produced,
// 1 when nothing could be hollowed.
int hollowMesh(SubMesh& mesh, float wall_thickness);

}  // namespace vekmesh
