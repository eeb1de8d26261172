// Repair step 4: removing faces that repeat the three vertices of an earlier
// live face, found through the incidence list of one of their vertices.
#pragma once

#include <cstddef>

#include "mesh/corner_adjacency.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// The repair runs removeDuplicateFaces only on meshes with fewer faces than this.
constexpr size_t kDuplicateRemovalFaceLimit = 300000;

// Marks removed every live face that uses the same three vertices as an
// earlier live face, in either winding; the first face of each set in index
// order survives. Returns the number of faces removed. Needs current
// incidentCorners; the removed faces stay listed there until compaction.
size_t removeDuplicateFaces(SubMesh& mesh);

// The same from the duplicate list of `adjacency` when it was built with one
// and the mesh has not changed since; otherwise (or when some live face
// repeats a vertex, where sets are not a plain equivalence) as above.
size_t removeDuplicateFaces(SubMesh& mesh, const CornerAdjacency& adjacency);

// True when live faces a and b use the same three vertices, in either winding.
bool sameVertexSet(const Face& a, const Face& b);

}  // namespace vekmesh
