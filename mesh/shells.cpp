// Edge-connected components of the live faces by breadth-first search over
// incidentCorners, with a packed visited bit set and one queue: no per-face
// allocation.
#include <cassert>
#include <deque>

#include "mesh/face_bits.h"
#include "mesh/mesh_utils.h"

namespace vekmesh {

void buildShells(SubMesh& mesh) {
  mesh.shells.clear();
  const size_t face_count = mesh.faces.size();
  FaceBits visited(face_count);
  // Removed faces are marked beforehand so that they join no shell.
  for (size_t i = 0; i < face_count; ++i)
    if (mesh.faces[i].removed) visited.set(i);

  std::deque<int32_t> queue;
  for (size_t seed = 0; seed < face_count; ++seed) {
    if (visited.test(seed)) continue;
    std::vector<int32_t> shell;
    visited.set(seed);
    queue.push_back(static_cast<int32_t>(seed));
    while (!queue.empty()) {
      const int32_t f = queue.front();
      queue.pop_front();
      shell.push_back(f);
      const Face& face = mesh.faces[f];
      for (uint32_t c = 0; c < 3; ++c) {
        const int32_t x = face.v[c];
        const int32_t y = face.v[nextCorner(c)];
        for (const CornerRef& r : mesh.vertices[x].incidentCorners) {
          assert(r.face < face_count);
          if (static_cast<int32_t>(r.face) == f || visited.test(r.face)) continue;
          const Face& g = mesh.faces[r.face];
          // Opposite winding (g runs y -> x) or same winding (x -> y): either way
          // the two faces share the edge; orientation plays no part here.
          if (g.v[prevCorner(r.corner)] == y || g.v[nextCorner(r.corner)] == y) {
            visited.set(r.face);
            queue.push_back(static_cast<int32_t>(r.face));
          }
        }
      }
    }
    mesh.shells.push_back(std::move(shell));
  }
}

}  // namespace vekmesh
