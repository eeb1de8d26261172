// The large-model cap run before conversion by the file-based and
// preprocessing entry points: thins meshes above 100000 faces with the quality
// reducer. Log name: "large model cap".
#pragma once

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Target face share for a mesh of `faces` faces: everything above 100000 keeps
// 30 % of its share; 1 (no reduction) up to 100000.
double largeModelRatio(size_t faces);

// Reports 0, reduces when above 100000 faces, reports 1, then rebuilds the
// topology. The exports give it the span [65, 75] of their own.
void capLargeModel(SubMesh& mesh, const RunContext& run = {});

}  // namespace vekmesh
