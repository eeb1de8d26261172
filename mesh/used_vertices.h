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

// Marks the vertices of `face` in `used`. Threads may mark one vertex at
// once: the stores are relaxed atomics of the same value.
inline void markVerticesOf(const Face& face, uint8_t* used) {
  for (int c = 0; c < 3; ++c) __atomic_store_n(used + face.v[c], uint8_t(1), __ATOMIC_RELAXED);
}

}  // namespace vekmesh
