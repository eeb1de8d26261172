// Repair step 5, winding: making each shell consistently wound and turned outwards, by
// the inside-out test at the shell's top followed by a breadth-first walk from
// an upward-facing seed that turns over every neighbour running a shared edge
// the same way.
#pragma once

#include <cstddef>

#include "mesh/corner_adjacency.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// For each shell of `mesh.shells` (removed faces in it are skipped):
//  1. if the upward normal sum at its topmost vertex is below -0.0001, all its
//     faces are turned over;
//  2. the seed is the face around that vertex, in this shell, whose centroid
//     lies highest among those whose normal z is not below -0.0001 (first
//     found on ties); without one the shell's winding is left as it is;
//  3. from the seed, breadth-first, every neighbour sharing an edge in the same
//     direction as the current face is turned over.
// Faces are turned with their colours and texture references. Returns the
// number of faces turned in step 3. Needs current shells and incidentCorners,
// and keeps incidentCorners current.
size_t unifyOrientation(SubMesh& mesh);

// The same with an adjacency built (RemovedFaces::kSkip) after the last
// change of windings or incidence; faces removed since are skipped. The
// adjacency is kept current: slots and directions follow the turned faces.
size_t unifyOrientation(SubMesh& mesh, CornerAdjacency& adjacency);

}  // namespace vekmesh
