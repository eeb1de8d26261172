// Edge-connected components of the live faces by breadth-first search, with a
// packed visited bit set and one queue: no per-face allocation. Neighbours come
// from the corner adjacency; only edges with several other faces walk
// incidentCorners, in list order, so the order is that of a walk of the lists.
// Whether a neighbour is new is tested with a branch or without one, whichever
// the model's first faces show to be faster; the shells are the same.
#include <cassert>
#include <utility>

#include "mesh/corner_adjacency.h"
#include "mesh/face_bits.h"
#include "mesh/mesh_utils.h"
#include "mesh/prefetch.h"

namespace vekmesh {
namespace {
constexpr size_t kPrefetchAhead = 8;

// How the walk tests whether a neighbour across a single-partner edge is new.
// With a branch, a walk whose faces list their new neighbours in the same
// places face after face (a model made ring by ring, each triangle starting
// at the same corner) runs at full speed; where triangles start at any
// corner or come in no order, the branch is a coin toss and a walk without
// it (every neighbour stored, the queue's end moved only for new ones) is
// faster. The first faces are walked with the branch and show which.
enum class NeighbourTest { kProbing, kWithBranch, kWithoutBranches };

class WalkProbe {
 public:
  // `found`: which of a face's corners led to a new face.
  NeighbourTest take(unsigned found) {
    changes_ += found != last_;
    last_ = found;
    if (++faces_ < kFaces) return NeighbourTest::kProbing;
    return changes_ > kFaces / 2 ? NeighbourTest::kWithoutBranches : NeighbourTest::kWithBranch;
  }

 private:
  static constexpr unsigned kFaces = 4096;
  unsigned faces_ = 0, changes_ = 0, last_ = 0;
};

// Queues the unvisited faces of f's neighbours; when probing, returns which
// corners led to one across a single-partner edge (else 0). Edges with
// several other faces walk incidentCorners, in list order.
template <bool kWithoutBranches, bool kProbe = false>
unsigned visitNeighbours(const SubMesh& mesh, const CornerAdjacency& adjacency, int32_t f,
                         FaceBits& visited, int32_t* q, size_t& tail) {
  unsigned found = 0;
  for (uint32_t c = 0; c < 3; ++c) {
    const int32_t across = adjacency.across[size_t(f) * 3 + c];
    if (across >= 0) {
      if constexpr (kWithoutBranches) {
        // f itself is visited, so an edge back to it adds nothing.
        const bool fresh = !visited.test(size_t(across));
        visited.set(size_t(across));
        q[tail] = across;
        tail += fresh;
      } else if (across != f && !visited.test(size_t(across))) {
        visited.set(size_t(across));
        q[tail++] = across;
        if constexpr (kProbe) found |= 1u << c;
      }
      continue;
    }
    if (across == CornerAdjacency::kOpen) continue;
    const Face& face = mesh.faces[size_t(f)];
    const int32_t x = face.v[c];
    const int32_t y = face.v[nextCorner(c)];
    for (const CornerRef& r : mesh.incidentCorners[size_t(x)]) {
      assert(r.face < mesh.faces.size());
      if (static_cast<int32_t>(r.face) == f || visited.test(r.face)) continue;
      const Face& g = mesh.faces[r.face];
      // Opposite winding (g runs y -> x) or same winding (x -> y): either way
      // the two faces share the edge; orientation plays no part here.
      if (g.v[prevCorner(r.corner)] == y || g.v[nextCorner(r.corner)] == y) {
        visited.set(r.face);
        q[tail++] = static_cast<int32_t>(r.face);
      }
    }
  }
  return found;
}
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
  // it and touch fresh pages each time), and one more for the store past the
  // end that the walk without branches makes; the last shell takes it whole.
  size_t left = face_count - visited.count();
  if (left == 0) return;
  std::vector<int32_t> queue(left + 1);
  int32_t* q = queue.data();
  NeighbourTest test = NeighbourTest::kProbing;
  WalkProbe probe;
  for (size_t seed = 0; seed < face_count; ++seed) {
    if (visited.test(seed)) continue;
    size_t tail = 0;
    visited.set(seed);
    q[tail++] = static_cast<int32_t>(seed);
    for (size_t head = 0; head < tail; ++head) {
      // The queue is known some way ahead; start loading those faces' slots.
      if (head + kPrefetchAhead < tail)
        prefetchRead(&adjacency.across[size_t(q[head + kPrefetchAhead]) * 3]);
      const int32_t f = q[head];
      if (test == NeighbourTest::kWithoutBranches) {
        visitNeighbours<true>(mesh, adjacency, f, visited, q, tail);
      } else if (test == NeighbourTest::kWithBranch) {
        visitNeighbours<false>(mesh, adjacency, f, visited, q, tail);
      } else {
        test = probe.take(visitNeighbours<false, true>(mesh, adjacency, f, visited, q, tail));
      }
    }
    left -= tail;
    if (left == 0) {
      queue.resize(tail);
      mesh.shells.push_back(std::move(queue));
      break;
    }
    // A copy, of the exact size; the queue keeps its room for the next.
    mesh.shells.emplace_back(q, q + tail);
  }
}

}  // namespace vekmesh
