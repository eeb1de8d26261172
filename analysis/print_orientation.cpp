// Orientation optimisation has not landed yet: the model keeps its attitude
// and all three angles are 0.
#include "analysis/print_orientation.h"

namespace vekmesh {

void optimizeOrientation(SubMesh&, std::array<double, 3>& angles, int32_t, double) {
  angles = {0.0, 0.0, 0.0};
}

}  // namespace vekmesh
