// Grid snapping of vertex positions (1/5000 units, truncation toward zero of
// x * 5000 + 0.5) as an OpenMP loop over vertices.
#include "repair/snap_to_grid.h"

#include <cstdint>

namespace vekmesh {

namespace {
constexpr double kGridSteps = 5000.0;
}

float snapCoordinate(float x) {
  const double scaled = static_cast<double>(x) * kGridSteps + 0.5;
  int32_t steps;
  if (!(scaled == scaled))
    steps = 0;
  else if (scaled >= 2147483647.0)
    steps = INT32_MAX;
  else if (scaled <= -2147483648.0)
    steps = INT32_MIN;
  else
    steps = static_cast<int32_t>(scaled);  // toward zero
  return static_cast<float>(static_cast<double>(steps) / kGridSteps);
}

void snapToGrid(SubMesh& mesh) {
  const int64_t count = static_cast<int64_t>(mesh.vertices.size());
  Vertex* vertices = mesh.vertices.data();
#pragma omp parallel for schedule(static)
  for (int64_t i = 0; i < count; ++i) {
    auto& p = vertices[i].position;
    p[0] = snapCoordinate(p[0]);
    p[1] = snapCoordinate(p[1]);
    p[2] = snapCoordinate(p[2]);
  }
}

}  // namespace vekmesh
