// glTF export of a mesh with per-corner colours, texture coordinates and the
// images of its materials.
#pragma once

#include <string>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Writes the live faces to `path`; `image_paths[m]` is the image of material
// m. Fails silently.
void writeGltf(const SubMesh& mesh, const char* path, const std::vector<std::string>& image_paths);

}  // namespace vekmesh
