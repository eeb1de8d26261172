// The large-model cap: reduce everything above 100000 faces to 30 % of its
// share with the quality reducer, then rebuild the topology.
#include "mesh/large_model_cap.h"

#include "mesh/mesh_utils.h"
#include "mesh/progress_cell.h"
#include "remesh/mesh_reducer.h"

namespace vekmesh {

constexpr size_t kCapThreshold = 100000;

double largeModelRatio(size_t faces) {
  if (faces <= kCapThreshold) return 1.0;
  const double n = static_cast<double>(faces);
  return ((n - kCapThreshold) * 0.3 + kCapThreshold) / n;
}

void capLargeModel(SubMesh& mesh) {
  setProgress(65);
  const size_t faces = mesh.faces.size();  // all entries, removed or not
  if (faces > kCapThreshold) reduceMesh(mesh, largeModelRatio(faces), 0.05, 0.99);
  setProgress(75);
  rebuildTopology(mesh);
}

}  // namespace vekmesh
