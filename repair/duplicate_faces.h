// Repair step 4: removing faces that repeat the three vertices of an earlier
// live face, found through the incidence list of one of their vertices; and
// the same clean-up with the survivor's winding settled, run before holes are
// traced.
#pragma once

#include <cstdint>

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

// Removes every later copy of a face (the same three vertices in either
// winding; the first in index order survives) and turns each survivor over
// when more of the faces along its edges run them in its own direction than
// against it. Hole filling needs this on meshes too large for
// removeDuplicateFaces: a repeated face puts three faces on each of its edges,
// which no loop can be traced through, and the orientation walk may have left
// the surviving copy facing the wrong way. Returns the number removed. Needs
// current incidentCorners and keeps them current. Only faces that the
// adjacency (RemovedFaces::kSkip) shows with an edge of several partners, or
// with one face across all three edges, can have copies; only they are
// looked at. A turned survivor's adjacency slots move with its corners; the
// direction bits are not kept.
size_t resolveRepeatedFaces(SubMesh& mesh, CornerAdjacency& adjacency);

// True when live faces a and b use the same three vertices, in either winding.
bool sameVertexSet(const Face& a, const Face& b);

}  // namespace vekmesh
