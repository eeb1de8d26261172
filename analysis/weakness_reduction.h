// The reduction weaknessDetect runs before sectional analysis, chosen from the
// face count after welding.
#pragma once

#include <cstddef>

#include "mesh/run_context.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

struct WeaknessReduction {
  bool qualityRoutine;  // reduceMesh when true, reduceMeshFast otherwise
  double ratio;
  double maxError;
  double minCosine;
};

// Below 1000000 faces: the quality routine with (r, 0.05, 0.985), r = 1.0
// under 20000 faces, 0.2 above 300000, and in between
// ((n - 20000) x 0.2 + (n - 300000)) / 280000. At 1000000 faces or more: the
// fast routine with (0.2, 0.05, 0.5).
// That middle rule runs from -1.0 to 0.2 and is negative below about 253333
// faces; the reducer takes a negative ratio as "bounds only".
WeaknessReduction weaknessReductionFor(size_t faces);

// Runs the reduction chosen for the mesh's face count; it logs through `run`.
void reduceForWeakness(SubMesh& mesh, const RunContext& run = {});

}  // namespace vekmesh
