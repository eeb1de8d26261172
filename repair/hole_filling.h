// Repair step 6: closing holes. The open edges are chained into boundary
// loops and every loop of 3 to 1000 vertices is closed by a patch (see
// hole_patch.h) whose faces are wound against the rim's faces, white and
// without material. Hole filling only adds faces: repeated faces that the
// duplicate step left (on large meshes) stay as they are.
#pragma once

#include <cstddef>

#include "mesh/corner_adjacency.h"
#include "mesh/tri_mesh.h"
#include "repair/hole_patch.h"

namespace vekmesh {

struct HoleFillingReport {
  size_t loops_closed = 0;
  size_t open_edges_left = 0;  // on traces that did not close (too long, or dead ends)
  size_t faces_added = 0;
  size_t vertices_added = 0;
};

// Appends the patch faces and their new vertices to the mesh and lists them in
// incidentCorners, so the topology stays current. Shells are not updated.
HoleFillingReport fillHoles(SubMesh& mesh);

// The same with an adjacency built (RemovedFaces::kSkip) on this face set and
// kept current through turns since (as unifyOrientation does); faces removed
// since no longer count. The adjacency does not cover the patch faces.
HoleFillingReport fillHoles(SubMesh& mesh, CornerAdjacency& adjacency,
                            const PatchLimits& limits = {});

}  // namespace vekmesh
