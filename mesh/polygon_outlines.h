// Closed outlines handed back by the previews (lampshade, decomposition):
// points of all polygons one after another, a point count per polygon and one
// integer label per polygon whose meaning belongs to the producing operation.
#pragma once

#include <cstdint>
#include <vector>

namespace vekmesh {

struct PolygonOutlines {
  std::vector<float> points;         // x, y, z per point
  std::vector<int32_t> pointCounts;  // one per polygon
  std::vector<int32_t> labels;       // one per polygon
  // False when the operation ended before producing any outline buffers; the
  // caller then leaves its result slots as they are.
  bool produced = false;

  int32_t polygonCount() const { return static_cast<int32_t>(pointCounts.size()); }
};

}  // namespace vekmesh
