// Cellular infill has not landed yet: the mesh is left unchanged.
#include "design/cellular_infill.h"

namespace vekmesh {

void cellularInfill(SubMesh&, double, float) {}

}  // namespace vekmesh
