// Repair step 1: quantising every vertex coordinate to multiples of 1/5000 so
// that corners which were meant to coincide weld in the following compaction.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// One coordinate: the double x * 5000 + 0.5 truncated toward zero to a 32-bit
// integer, divided by 5000 and stored as a float. Truncation rounds negative
// values differently from positive ones (-0.3 gives -0.2998, 0.3 stays 0.3);
// the rule is kept exactly so that models weld the same way every time. NaN
// gives 0 and values beyond the 32-bit range saturate.
float snapCoordinate(float x);

// Snaps every vertex in a statically scheduled parallel loop; each iteration
// writes only its own vertex. Coinciding vertices are merged by compactMesh.
void snapToGrid(SubMesh& mesh);

}  // namespace vekmesh
