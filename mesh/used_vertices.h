// The vertices that live faces use, marked a byte each. Passes whose answer
// depends only on which vertices are used (bounds, the topmost vertex) read
// the marked positions in vertex order instead of three corners per face:
// on a mesh whose faces come in no spatial order, the corners are met at
// random, while the marks (a byte per vertex) stay in the cache.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "mesh/tri_mesh.h"

namespace vekmesh {

// 1 for every vertex a live face names, else 0 (one entry per vertex); the
// faces must name vertices in range. `live_faces`, when given, gets the number
// of live faces.
std::vector<uint8_t> usedVertexMarks(const SubMesh& mesh, size_t* live_faces = nullptr);

}  // namespace vekmesh
