// Sectional analysis: cut the model by parallel planes in 13 directions, score
// each section by how close its outline lies to bending axes through its
// centroid, and keep the weak ones as analysis records on the mesh.
#pragma once

#include <cstdint>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// Appends the weak sections to `mesh.analysisRecords`; always returns 0.
// Needs current shells.
int sectionalAnalysis(SubMesh& mesh, float change_ratio, uint8_t axes_only);

}  // namespace vekmesh
