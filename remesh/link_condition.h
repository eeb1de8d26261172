// Whether an edge collapse keeps the mesh sound (link condition, manifold and
// oriented edge, valence limits, normal bound on every face that moves), and
// carrying it out by merging the two corner rings.
#pragma once

#include <cstdint>
#include <vector>

#include "remesh/reducer_state.h"

namespace vekmesh::reducer {

// One planned collapse: `drop` merges into `keep`, which moves to `p`.
struct Collapse {
  uint32_t keep = kNone, drop = kNone;
  double p[3] = {0, 0, 0};
  double t = 0;                // where p lies from keep (0) to drop (1); drives the attribute blend
  double cost = 0;             // quadric value at p
  double priority = 0;         // cost plus the tie-breaking length term (collapse_candidate.cpp)
  bool along_feature = false;  // slides along a boundary or seam edge
};

// Per-worker scratch of the collapse tests, reused from one collapse to the next.
struct CollapseScratch {
  std::vector<uint32_t> keep_corners, drop_corners;
  std::vector<uint32_t> neighbours;
  uint32_t edge_keep[2] = {kNone, kNone};  // corner at keep in each face of the edge
  uint32_t edge_drop[2] = {kNone, kNone};  // corner at drop in the same faces
  int edge_faces = 0;
  uint32_t stamp = 0;
  // Work done by this worker; the driver folds it into the state.
  size_t removed_faces = 0;
  size_t collapses = 0;
  // Restricts the collapses to one region of a partition (see fast_reducer.cpp):
  // every vertex touched must carry this region's number. Null = no restriction.
  const uint8_t* region = nullptr;
  uint8_t region_id = 0;

  CollapseScratch() {
    keep_corners.reserve(kMaxValence + 4);
    drop_corners.reserve(kMaxValence + 4);
    neighbours.reserve(2 * kMaxValence + 8);
  }
  bool isEdgeFace(uint32_t f) const {
    for (int i = 0; i < edge_faces; ++i)
      if (edge_keep[i] / 3 == f) return true;
    return false;
  }
};

// The limits every collapse must respect.
struct CollapseBounds {
  double max_error_sq = 0;  // squared mean distance, model units
  double min_cosine = 1;
};

// The faces on edge (a, b): their number, and up to two corners at `a`.
int edgeCorners(const ReducerState& s, uint32_t a, uint32_t b, uint32_t corners_at_a[2]);

// True when edge (a, b) is an open boundary or an attribute seam.
bool isFeatureEdge(const ReducerState& s, uint32_t a, uint32_t b);

enum class Verdict {
  kAllowed,
  kRefused,
  kOutsideRegion,  // would touch a vertex of another region: retry in the serial pass
};

// Runs every topological and normal test on `c`; when allowed, `scratch`
// holds what applyCollapse needs. Stamps marks in s.mark.
Verdict collapseAllowed(ReducerState& s, const Collapse& c, const CollapseBounds& bounds,
                        CollapseScratch& scratch);

// Carries out a collapse that collapseAllowed accepted just before; counts it
// in the scratch (s.live_faces and s.collapses are the driver's to update).
// `new_version` bumps the kept vertex's version, making its entries stale; it
// may be false only when the kept vertex stays where it is.
void applyCollapse(ReducerState& s, const Collapse& c, CollapseScratch& scratch,
                   bool new_version = true);

}  // namespace vekmesh::reducer
