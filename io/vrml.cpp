// The VRML/X3D reader has not landed yet: it yields an empty mesh and no names.
#include "io/vrml.h"

namespace vekmesh {

void readVrml(const char*, SubMesh&, SceneFormat, std::vector<std::string>&) {}

}  // namespace vekmesh
