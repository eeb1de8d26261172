// Welding relative to the model's size: closing the cracks between faces that
// were meant to meet but whose corners differ in the last bits. Method: the
// vertices on open edges are hashed into a grid of cells one tolerance wide;
// pairs closer than the tolerance (1e-6 of the diagonal of the vertices'
// box) that share no face are joined with a union-find, and each cluster
// takes the position of its lowest-numbered vertex. Nothing else moves, so a
// closed model keeps its coordinates bit for bit; vertices of one face are
// never joined (that would collapse the face), and a cluster whose joining
// would collapse a face through a chain of pairs is left apart.
#pragma once

#include <cstddef>

#include "mesh/corner_adjacency.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// The tolerance as a share of the diagonal of the vertices' bounding box.
constexpr double kRelativeWeldTolerance = 1e-6;

struct ToleranceWeldReport {
  double tolerance = 0.0;          // in model units; 0 for an empty box or a single point
  size_t vertices_moved = 0;       // vertices given their cluster's position
  size_t clusters_left_apart = 0;  // clusters that would have collapsed a face
};

// Moves vertices onto their cluster's first vertex; compaction then welds
// them. `adjacency` (RemovedFaces::kSkip, current) tells which edges are open.
ToleranceWeldReport weldWithinTolerance(SubMesh& mesh, const CornerAdjacency& adjacency);

}  // namespace vekmesh
