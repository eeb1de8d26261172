// The lampshade has not landed yet: the preview produces nothing and the build
// leaves the mesh unchanged.
#include "design/lampshade.h"

namespace vekmesh {

int32_t previewLampshade(SubMesh&, float, PolygonOutlines& outlines) {
  outlines = PolygonOutlines{};
  return 0;
}

void buildLampshade(SubMesh&, float) {}

}  // namespace vekmesh
