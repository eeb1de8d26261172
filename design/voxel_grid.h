// The sparse voxel grid: surface voxels of a mesh keyed by a signed 64-bit
// lattice key, and the closed mesh of their exposed faces.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Voxelises `mesh` with cubes of edge `voxel_size` and replaces it by the
// exposed voxel faces, each coloured like the face that produced its voxel.
// Returns 0, or 1 when no face is exposed (the mesh is then left unchanged).
int voxelizeToSurface(SubMesh& mesh, float voxel_size);

}  // namespace vekmesh
