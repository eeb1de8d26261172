// Faces on the same three vertices. Method: the sets are taken from the
// adjacency sweep's duplicate list (or a walk of the incidence lists), and in
// each set faces of opposite winding cancel in pairs: two cubes that share a
// face become one box, and a double-sided sheet disappears, since neither
// encloses anything on its own. Of the faces left, all wound one way, the
// lowest-numbered stays and the others go as plain duplicates.
#pragma once

#include <cstddef>

#include "mesh/corner_adjacency.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

struct CoincidentFacesReport {
  size_t opposite_pairs_removed = 0;  // pairs of faces wound against each other
  size_t duplicates_removed = 0;      // extra faces wound like the one kept
};

// Marks the faces removed. `adjacency` was built (RemovedFaces::kSkip, with
// the duplicate list) on the mesh as it is.
CoincidentFacesReport removeCoincidentFaces(SubMesh& mesh, const CornerAdjacency& adjacency);

}  // namespace vekmesh
