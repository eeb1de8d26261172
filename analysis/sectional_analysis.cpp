// Sectional analysis has not landed yet: no weak section is found.
#include "analysis/sectional_analysis.h"

namespace vekmesh {

int sectionalAnalysis(SubMesh&, float, uint8_t) {
  return 0;
}

}  // namespace vekmesh
