// Boundary loops for hole filling: open edges (used by exactly one live face)
// read from the corner adjacency, then chained into closed loops, split where
// a loop passes a vertex twice.
#pragma once

#include <cstdint>
#include <vector>

#include "mesh/corner_adjacency.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// A trace that has not closed after this many edges gives up: loops of more
// vertices than this stay open.
constexpr size_t kMaxLoopSteps = 1000;

// One open edge as its face runs it: from -> to, with the face's third vertex.
struct OpenEdge {
  int32_t from;
  int32_t to;
  int32_t apex;
};

// The open edges of the live faces, ordered by `from`, then `to`. An edge
// used twice in the same direction, or by three or more faces, is not open.
// `adjacency` was built with RemovedFaces::kSkip and kept current through any
// turns since; faces removed after it was built no longer count.
std::vector<OpenEdge> findOpenEdges(const SubMesh& mesh, const CornerAdjacency& adjacency);

struct BoundaryLoop {
  // Vertices in the direction the faces along the hole run their edges; edge
  // i runs from vertices[i] to vertices[i + 1], the last back to vertices[0].
  std::vector<int32_t> vertices;
  std::vector<int32_t> apexes;  // third vertex of the face along edge i
};

struct BoundaryLoops {
  std::vector<BoundaryLoop> loops;  // each of 3 to kMaxLoopSteps vertices, no vertex twice
  size_t abandoned_edges = 0;       // open edges on traces that did not close
};

// Chains open edges head to tail. A trace that comes back to a vertex it has
// already passed splits off the loop in between; one that reaches a vertex
// with no unused open edge out of it, or runs kMaxLoopSteps edges without
// closing, gives up, and its edges are not tried again.
BoundaryLoops traceBoundaryLoops(const SubMesh& mesh, const std::vector<OpenEdge>& open_edges);

}  // namespace vekmesh
