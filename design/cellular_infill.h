// Cellular (Voronoi) infill: a light inner lattice of cells inside a skin.
#pragma once

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Replaces `mesh` by the infilled model.
void cellularInfill(SubMesh& mesh, double infill_density, float surface_thickness);

}  // namespace vekmesh
