// The lampshade: a thin-walled shade made by voxelising the model, keeping a
// wall of the requested thickness and finishing the base; and its preview of
// the base outline and the inner outline the wall leaves there.
#pragma once

#include <cstdint>

#include "mesh/polygon_outlines.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

// Label of a preview polygon.
constexpr int32_t kBaseOutline = 0;
constexpr int32_t kInnerOutline = 1;

// Returns 1 when outlines were produced, 0 otherwise. `outlines.produced`
// tells whether the result buffers are to be filled at all.
int32_t previewLampshade(SubMesh& mesh, float wall_thickness, PolygonOutlines& outlines);

// Replaces `mesh` by the shade; on failure the mesh keeps its shape.
void buildLampshade(SubMesh& mesh, float wall_thickness);

}  // namespace vekmesh
