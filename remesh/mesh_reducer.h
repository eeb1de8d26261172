// The mesh reducer's interface: lower the face count of a mesh in place
// towards `ratio` of its faces, never making a collapse whose geometric error
// exceeds `maxError` (model units) or that turns a face's normal below
// `minCosine`. A ratio of 0 or below keeps only those two bounds.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// The quality routine.
void reduceMesh(SubMesh& mesh, double ratio, double maxError, double minCosine);

// The routine for very large and voxel meshes.
void reduceMeshFast(SubMesh& mesh, double ratio, double maxError, double minCosine);

}  // namespace vekmesh
