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

// True when edge (a, b) is what planPair handles: two distinct live free
// ends and placement at the minimiser (the common case).
inline bool pairable(const ReducerState& s, uint32_t a, uint32_t b, Placement placement) {
  return placement == Placement::kOptimal && a != b && !s.dead(a) && !s.dead(b) &&
         s.vertex[a].vertex_class == kFree && s.vertex[b].vertex_class == kFree;
}

// planCollapse for two pairable edges (a0, b0) and (a1, b1) at once, one in each lane
// of two-wide vector arithmetic: every lane does planCollapse's operations in
// its order, so `out[i]` and the result bit for bit match planCollapse's.
// Returns bit i set when edge i is within the bounds.
unsigned planPair(const ReducerState& s, uint32_t a0, uint32_t b0, uint32_t a1, uint32_t b1,
                  const CollapseBounds& bounds, double zero_tolerance_sq, Collapse& out0,
                  Collapse& out1);

}  // namespace vekmesh::reducer
