// The repair pipeline: snap to a 1/5000 grid, compact, build shells, drop
// duplicate faces (below 300000 faces), unify the winding and outward
// orientation of each shell, and fill holes; the caller compacts once more.
#pragma once

#include "mesh/tri_mesh.h"
#include "repair/hole_filling.h"

namespace vekmesh {

enum class HoleFilling {
  kAlways,          // the plain-array repair
  kWhenUntextured,  // only when no live face carries a material
};

struct RepairReport {
  size_t duplicates_removed = 0;  // by step 4
  size_t faces_turned = 0;        // by the orientation walk of step 5
  bool holes_filled = false;      // whether step 6 ran
  HoleFillingReport holes;
};

// Steps 1 to 6 in place, in this order:
//   1 snapToGrid, 2 compactMesh, 3 buildShells,
//   4 removeDuplicateFaces, only when the mesh has fewer than 300000 faces,
//   5 unifyOrientation,
//   6 fillHoles: always with kAlways; with kWhenUntextured only when every
//     live face has material -1 (a textured model is never hole-filled).
// The caller finishes with compactMesh (rebuildTopology), which drops the
// faces removed here and welds the patches in.
RepairReport repairMesh(SubMesh& mesh, HoleFilling hole_filling);

// True when some live face carries a material (0 or more).
bool anyLiveFaceHasMaterial(const SubMesh& mesh);

}  // namespace vekmesh
