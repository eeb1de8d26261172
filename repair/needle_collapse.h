// Needles: faces with an edge shorter than the weld tolerance, which CAD
// exports and scanners leave where two vertices nearly meet. Method: each
// such edge is collapsed (its higher-numbered end moves onto its lower one,
// which keeps its position bit for bit) when the collapse keeps the surface
// as it was elsewhere: the two ends share no neighbour but the third vertices
// of the faces on the edge (the link condition, so no edge gets a third face
// and no fin appears), and no face around the moved end turns over. One pass
// in face order; a vertex takes part in at most one collapse per pass. The
// faces on the edge then repeat a vertex, and compaction drops them.
// Slivers without a short edge (three nearly collinear corners) are left as
// they are: collapsing one would move a vertex by more than the tolerance.
#pragma once

#include <cstddef>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Moves vertices; needs current incidence lists. Returns the edges collapsed.
size_t collapseNeedles(SubMesh& mesh, double tolerance);

}  // namespace vekmesh
