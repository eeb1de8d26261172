// Choice of the pre-analysis reduction. The thresholds and the middle rule are
// kept exactly: hosts compare weak sections across versions, and the sections
// depend on how far the mesh was thinned.
#include "analysis/weakness_reduction.h"

#include "remesh/mesh_reducer.h"

namespace vekmesh {

WeaknessReduction weaknessReductionFor(size_t faces) {
  if (faces >= 1000000) return {false, 0.2, 0.05, 0.5};
  double ratio;
  if (faces > 300000) {
    ratio = 0.2;
  } else if (faces < 20000) {
    ratio = 1.0;
  } else {
    const double n = static_cast<double>(faces);
    ratio = ((n - 20000.0) * 0.2 + (n - 300000.0)) / 280000.0;
  }
  return {true, ratio, 0.05, 0.985};
}

void reduceForWeakness(SubMesh& mesh, const RunContext& run) {
  const WeaknessReduction r = weaknessReductionFor(mesh.faces.size());
  if (r.qualityRoutine)
    reduceMesh(mesh, r.ratio, r.maxError, r.minCosine, run);
  else
    reduceMeshFast(mesh, r.ratio, r.maxError, r.minCosine, run);
}

}  // namespace vekmesh
