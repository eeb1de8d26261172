// One round of colour refinement: faces along colour boundaries and texture
// seams are split by conforming longest-edge bisection (Rivara 1984); no
// vertex moves.
#pragma once

#include <cstddef>

#include "mesh/tri_mesh.h"

namespace vekmesh {

enum class RefinementRound {
  kRefined,
  kNothingToSplit,
  kOverCap,  // splitting would have passed the face cap; nothing changed
};

// Marks the faces whose corner colours differ (colorsDiffer) and the faces
// with a texture seam on one of their edges: an edge shared by exactly two
// faces, at least one textured, whose materials or texture coordinates (by
// value, at either shared vertex) differ. Each marked face's longest edge is
// split, and the split spreads as Rivara's algorithm spreads it: a face with a
// split edge has its longest edge split too, until every face agrees. A face
// then becomes 1 to 4 faces (Rivara's 4T-LE partition: bisected at its longest
// edge, each half bisected again where its other edge is split), so every new
// vertex lies in the middle of an edge both of whose faces split it: no
// T-junction, no crack. Ties in length go to the lower edge number; a length
// that is not a number counts as the shortest.
//
// Needs faces with three distinct vertices in range, none removed, and
// current incidentCorners. A split face keeps its index for its first child
// and appends the others; unmarked faces keep their index and content; new
// vertices are appended. New corners take the midpoint of their face's two
// corners' colours and texture coordinates; children inherit the material.
// Afterwards texCoords and incidentCorners are current; shells are not
// touched. When the round would leave more than `face_cap` faces it changes
// nothing and says so.
RefinementRound colourRefinementRound(SubMesh& mesh, size_t face_cap);

}  // namespace vekmesh
