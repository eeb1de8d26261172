// The large-model cap run before conversion by the file-based and
// preprocessing entry points: thins meshes above 100000 faces.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Target face share for a mesh of `faces` faces: everything above 100000 keeps
// 30 % of its share; 1 (no reduction) up to 100000.
double largeModelRatio(size_t faces);

// Progress 65, reduction when above 100000 faces, progress 75, rebuilt topology.
void capLargeModel(SubMesh& mesh);

}  // namespace vekmesh
