// The quality reduction routine: quadric error metrics (Garland and Heckbert
// 1997) with the merged vertex at the quadric minimiser, collapsed
// cheapest-first.
#include "remesh/mesh_reducer.h"

#include "remesh/greedy_reduction.h"
#include "remesh/region_phases.h"

namespace vekmesh {

namespace {

using namespace reducer;

void reduceQuality(SubMesh& mesh, double ratio, double maxError, double minCosine,
                   CancelWatch* watch) {
  ReducerState s;
  ReduceSettings settings;
  settings.watch = watch;
  // 4 x 4 x 4 blocks: the serial pass over their borders runs the global
  // queue, so fewer borders serve quality better than smaller blocks.
  if (!prepareReduction(mesh, ratio, maxError, minCosine, Placement::kOptimal, 4, s, settings))
    return;
  reduceToTarget(s, settings);
  finishReduction(s, settings);
}

}  // namespace

void reduceMesh(SubMesh& mesh, double ratio, double maxError, double minCosine,
                const RunContext& run) {
  runLoggedReduction("mesh reduction", reduceQuality, mesh, ratio, maxError, minCosine, run);
}

}  // namespace vekmesh
