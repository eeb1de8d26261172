// The fast reduction routine for very large and voxel meshes: quadric error
// metrics with the merged vertex on one of the edge's ends (no solve per
// candidate, and voxel lattices stay exact), collapsed cheapest-first.
#include "remesh/greedy_reduction.h"
#include "remesh/mesh_reducer.h"
#include "remesh/region_phases.h"

namespace vekmesh {

void reduceMeshFast(SubMesh& mesh, double ratio, double maxError, double minCosine) {
  using namespace reducer;
  ReducerState s;
  ReduceSettings settings;
  if (!prepareReduction(mesh, ratio, maxError, minCosine, Placement::kEndpoints, s, settings))
    return;
  reduceToTarget(s, settings);
  finishReduction(s);
}

}  // namespace vekmesh
