// Import by file extension: the part of the path after its last ".", compared
// exactly and case-sensitively, picks the reader.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// "" when the path has no ".".
std::string_view fileExtension(std::string_view path);

// stl, obj, wrl (VRML), x3d, igs/iges, stp/step; any other extension leaves
// the mesh empty. Names collected by the VRML/X3D reader go to `names` when
// given. Sets the mesh's tag to the mesh itself on every branch.
void importByExtension(SubMesh& mesh, const char* path, std::vector<std::string>* names = nullptr);

}  // namespace vekmesh
