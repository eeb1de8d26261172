// Edge-connected components of the live faces by breadth-first search, with a
// packed visited bit set and one queue: no per-face allocation. Neighbours come
// from the corner adjacency; only edges with several other faces walk
// incidentCorners, in list order, so the order is that of a walk of the lists.
#include <cassert>
#include <utility>

#include "mesh/corner_adjacency.h"
#include "mesh/face_bits.h"
#include "mesh/mesh_utils.h"
#include "mesh/prefetch.h"

namespace vekmesh {
namespace {
constexpr size_t kPrefetchAhead = 8;
}  // namespace

void buildShells(SubMesh& mesh) {
  buildShells(mesh, buildCornerAdjacency(mesh, RemovedFaces::kSkip));
}

CornerAdjacency buildShellsWithAdjacency(SubMesh& mesh, bool list_duplicates) {
  CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip, list_duplicates);
  buildShells(mesh, adjacency);
  return adjacency;
}

CornerAdjacency rebuildTopologyWithAdjacency(SubMesh& mesh) {
  // The shells are rebuilt below; their old face numbers mean nothing after
  // compaction, and releasing them first lowers the peak.
  std::vector<std::vector<int32_t>>().swap(mesh.shells);
  compactMesh(mesh);
  return buildShellsWithAdjacency(mesh);
}

void buildShells(SubMesh& mesh, const CornerAdjacency& adjacency) {
  mesh.shells.clear();
  const size_t face_count = mesh.faces.size();
  assert(adjacency.across.size() == 3 * face_count);
  // Removed faces are marked beforehand so that they join no shell.
  FaceBits visited = removedFaceBits(mesh);

  // The queue is the shell's list: faces are appended once and never leave.
  // It has room for every live face from the start (growing it would copy
  // it and touch fresh pages each time), and the last shell takes it whole.
  size_t left = face_count - visited.count();
  std::vector<int32_t> queue;
  queue.reserve(left);
  for (size_t seed = 0; seed < face_count; ++seed) {
    if (visited.test(seed)) continue;
    queue.clear();
    visited.set(seed);
    queue.push_back(static_cast<int32_t>(seed));
    for (size_t head = 0; head < queue.size(); ++head) {
      // The queue is known some way ahead; start loading those faces' slots.
      if (head + kPrefetchAhead < queue.size())
        prefetchRead(&adjacency.across[size_t(queue[head + kPrefetchAhead]) * 3]);
      const int32_t f = queue[head];
      for (uint32_t c = 0; c < 3; ++c) {
        const int32_t across = adjacency.across[size_t(f) * 3 + c];
        if (across >= 0) {
          if (across != f && !visited.test(across)) {
            visited.set(across);
            queue.push_back(across);
          }
          continue;
        }
        if (across == CornerAdjacency::kOpen) continue;
        const Face& face = mesh.faces[f];
        const int32_t x = face.v[c];
        const int32_t y = face.v[nextCorner(c)];
        for (const CornerRef& r : mesh.incidentCorners[x]) {
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
    left -= queue.size();
    if (left == 0) {
      mesh.shells.push_back(std::move(queue));
      break;
    }
    // A copy, of the exact size; the queue keeps its room for the next.
    mesh.shells.push_back(queue);
  }
}

}  // namespace vekmesh
