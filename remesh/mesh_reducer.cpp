// The quality reduction routine: quadric error metrics (Garland and Heckbert
// 1997) with the merged vertex at the quadric minimiser, collapsed
// cheapest-first.
#include "remesh/mesh_reducer.h"

#include "remesh/greedy_reduction.h"
#include "remesh/region_phases.h"

namespace vekmesh {

void reduceMesh(SubMesh& mesh, double ratio, double maxError, double minCosine) {
  using namespace reducer;
  ReducerState s;
  ReduceSettings settings;
  if (!prepareReduction(mesh, ratio, maxError, minCosine, Placement::kOptimal, s, settings)) return;
  reduceToTarget(s, settings);
  finishReduction(s);
}

}  // namespace vekmesh
