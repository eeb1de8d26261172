// VRML and X3D scenes: the triangle geometry of a scene and the names the
// reader collects on the way.
#pragma once

#include <string>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

enum class SceneFormat { kVrml = 2, kX3d = 3 };

// Fills `mesh` from the file and appends the collected names to `names`;
// leaves both empty when nothing can be read.
void readVrml(const char* path, SubMesh& mesh, SceneFormat format, std::vector<std::string>& names);

}  // namespace vekmesh
