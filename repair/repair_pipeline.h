// The repair pipeline: snap to a 1/5000 grid, compact, build shells, drop
// duplicate faces (below 300000 faces), report flaws, unify the winding and
// outward orientation of each shell, and fill holes.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

enum class HoleFilling {
  kAlways,          // the plain-array repair
  kWhenUntextured,  // only when no live face carries a material
};

// Repairs `mesh` in place; the caller rebuilds the topology afterwards.
void repairMesh(SubMesh& mesh, HoleFilling hole_filling);

}  // namespace vekmesh
