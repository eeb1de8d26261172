// Decomposition into printable parts: uniform (a given number of cuts) or
// automatic (at weak sections), the output step that turns the cut mesh into
// pieces, and the previews of the cuts.
#pragma once

#include <cstdint>

#include "mesh/polygon_outlines.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

void decomposeUniform(TriMesh& mesh, int32_t cut_count, int32_t output_setting,
                      int32_t decomposition_setting);
void decomposeAuto(TriMesh& mesh, int32_t output_setting, int32_t decomposition_setting);

// Fills `mesh.pieces` with the parts, one complete mesh each. The exports pass
// 5.0 as `output_constant`.
void decompositionOutput(TriMesh& mesh, double output_constant, float output_setting);

// Outlines of the planned cuts; the label of a polygon is the index of its cut.
void previewUniformDecomposition(SubMesh& mesh, int32_t cut_count, PolygonOutlines& outlines);
void previewAutoDecomposition(SubMesh& mesh, PolygonOutlines& outlines);

}  // namespace vekmesh
