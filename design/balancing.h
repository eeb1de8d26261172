// Balancing: make a model stand on its base by hollowing it with voxels so
// that its centre of mass moves over the support; and its preview.
#pragma once

#include <cstdint>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// `parameters` is the caller's float block; `first_flags` and `second_flags`
// are the caller's byte arrays, handed through (either may be null). Writes
// the preview geometry (9 floats per triangle) to `preview` and returns the
// preview's result.
int32_t previewBalancing(SubMesh& mesh, const float* parameters, uint8_t* first_flags,
                         uint8_t* second_flags, std::vector<float>& preview);

// Replaces `mesh` by the balanced model.
void balanceMesh(SubMesh& mesh, double parameter);

}  // namespace vekmesh
