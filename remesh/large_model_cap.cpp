// The large-model cap: reduce everything above 100000 faces to 30 % of its
// share with the quality reducer, then rebuild the topology.
#include "remesh/large_model_cap.h"

#include "mesh/mesh_utils.h"
#include "mesh/operation_log.h"
#include "remesh/mesh_reducer.h"

namespace vekmesh {

constexpr size_t kCapThreshold = 100000;

double largeModelRatio(size_t faces) {
  if (faces <= kCapThreshold) return 1.0;
  const double n = static_cast<double>(faces);
  return ((n - kCapThreshold) * 0.3 + kCapThreshold) / n;
}

void capLargeModel(SubMesh& mesh, const RunContext& run) {
  OperationLog log(run, "large model cap");
  run.report(0.0);
  const size_t faces = mesh.faces.size();  // all entries, removed or not
  log.parameter("faces", faces);
  if (faces > kCapThreshold) {
    log.parameter("ratio", largeModelRatio(faces));
    reduceMesh(mesh, largeModelRatio(faces), 0.05, 0.99, run);
  }
  run.report(1.0);
  rebuildTopology(mesh);
  log.succeed();
}

}  // namespace vekmesh
