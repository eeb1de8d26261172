// Where an edge collapse puts the merged vertex and what it costs: the quadric
// minimiser when the surface pins a point down, else the better of the two ends
// and the midpoint; boundary and seam vertices stay on their lines.
#pragma once

#include <cstdint>

#include "remesh/link_condition.h"
#include "remesh/reducer_state.h"

namespace vekmesh::reducer {

enum class Placement {
  kOptimal,    // quadric minimiser, falling back to ends and midpoint
  kEndpoints,  // one of the two ends (cheaper, keeps voxel lattices exact)
};

// Fills `out` for edge (a, b) and returns true when the classes of the ends
// allow a collapse and its error stays within bounds.max_error_sq (plus
// `zero_tolerance_sq`, the square of what rounding to single precision can
// hide). When the merged vertex lands on an end, that end is out.keep.
bool planCollapse(const ReducerState& s, uint32_t a, uint32_t b, const CollapseBounds& bounds,
                  double zero_tolerance_sq, Placement placement, Collapse& out);

}  // namespace vekmesh::reducer
