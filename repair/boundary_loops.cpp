// Open edges from the corner adjacency (a corner whose edge partner is gone,
// or a list walk where the edge had several); loops are traced by following
// open edges from tail to head, with a per-vertex position table to split
// pinches.
#include "repair/boundary_loops.h"

#include <algorithm>

#include "mesh/face_bits.h"
#include "mesh/mesh_utils.h"
#include "mesh/parallel_loops.h"

namespace vekmesh {
namespace {

// Live faces other than f that share the edge of corner c, from the list.
bool edgeHasLivePartner(const SubMesh& mesh, uint32_t f, uint32_t c) {
  const Face& face = mesh.faces[f];
  const int32_t x = face.v[c], y = face.v[nextCorner(c)];
  for (const CornerRef& r : mesh.incidentCorners[x]) {
    if (r.face == f) continue;
    const Face& g = mesh.faces[r.face];
    if (g.removed) continue;
    if (g.v[prevCorner(r.corner)] == y || g.v[nextCorner(r.corner)] == y) return true;
  }
  return false;
}

}  // namespace

std::vector<OpenEdge> findOpenEdges(const SubMesh& mesh, const CornerAdjacency& adjacency) {
  const size_t face_count = mesh.faces.size();
  // Partners are checked against a bit set, not their faces: one sequential
  // pass instead of a cache miss per edge.
  const FaceBits removed = removedFaceBits(mesh);
  // Parts on the team, joined in face order.
  const int parts = loopParts(int64_t(face_count));
  std::vector<std::vector<OpenEdge>> found(static_cast<size_t>(parts));
#pragma omp parallel for schedule(static, 1) num_threads(parts)
  for (int t = 0; t < parts; ++t) {
    std::vector<OpenEdge>& open = found[size_t(t)];
    const size_t end = partStart(face_count, t + 1, parts);
    for (size_t f = partStart(face_count, t, parts); f < end; ++f) {
      if (removed.test(f)) continue;
      const Face& face = mesh.faces[f];
      for (uint32_t c = 0; c < 3; ++c) {
        const int32_t across = adjacency.across[3 * f + c];
        bool is_open;
        if (across == CornerAdjacency::kOpen)
          is_open = true;
        else if (across >= 0)
          is_open = removed.test(static_cast<size_t>(across));
        else
          is_open = !edgeHasLivePartner(mesh, static_cast<uint32_t>(f), c);
        if (is_open) open.push_back({face.v[c], face.v[nextCorner(c)], face.v[prevCorner(c)]});
      }
    }
  }
  std::vector<OpenEdge> open = std::move(found[0]);
  for (int t = 1; t < parts; ++t)
    open.insert(open.end(), found[size_t(t)].begin(), found[size_t(t)].end());
  std::sort(open.begin(), open.end(), [](const OpenEdge& a, const OpenEdge& b) {
    return a.from != b.from ? a.from < b.from : a.to < b.to;
  });
  return open;
}

BoundaryLoops traceBoundaryLoops(const SubMesh& mesh, const std::vector<OpenEdge>& open_edges) {
  BoundaryLoops result;
  if (open_edges.empty()) return result;
  const size_t edge_count = open_edges.size();
  std::vector<uint8_t> used(edge_count, 0);
  // Position of each vertex on the current trace, -1 when not on it.
  std::vector<int32_t> position(mesh.vertices.size(), -1);
  std::vector<int32_t> path_vertices;
  std::vector<size_t> path_edges;  // path_edges[i] leaves path_vertices[i]

  auto unusedEdgeFrom = [&](int32_t v) -> int64_t {
    auto it = std::lower_bound(open_edges.begin(), open_edges.end(), v,
                               [](const OpenEdge& e, int32_t key) { return e.from < key; });
    for (; it != open_edges.end() && it->from == v; ++it) {
      const size_t k = static_cast<size_t>(it - open_edges.begin());
      if (!used[k]) return static_cast<int64_t>(k);
    }
    return -1;
  };

  for (size_t start = 0; start < edge_count; ++start) {
    if (used[start]) continue;
    path_vertices.clear();
    path_edges.clear();
    size_t edge = start;
    size_t steps = 0;
    bool finished = false;
    for (;;) {
      used[edge] = 1;
      ++steps;
      const int32_t from = open_edges[edge].from;
      position[from] = static_cast<int32_t>(path_vertices.size());
      path_vertices.push_back(from);
      path_edges.push_back(edge);
      const int32_t to = open_edges[edge].to;
      const int32_t at = position[to];
      if (at >= 0) {
        // Back at a vertex of the trace: the stretch from it is a loop.
        BoundaryLoop loop;
        for (size_t i = static_cast<size_t>(at); i < path_vertices.size(); ++i) {
          loop.vertices.push_back(path_vertices[i]);
          loop.apexes.push_back(open_edges[path_edges[i]].apex);
          position[path_vertices[i]] = -1;
        }
        if (loop.vertices.size() >= 3) result.loops.push_back(std::move(loop));
        path_vertices.resize(static_cast<size_t>(at));
        path_edges.resize(static_cast<size_t>(at));
        if (path_vertices.empty()) {
          finished = true;
          break;
        }
        // The trace goes on from the vertex where the loop closed.
        position[to] = -1;
      }
      if (steps >= kMaxLoopSteps) break;
      const int64_t next = unusedEdgeFrom(to);
      if (next < 0) break;
      edge = static_cast<size_t>(next);
    }
    if (!finished) result.abandoned_edges += path_edges.size();
    for (const int32_t v : path_vertices) position[v] = -1;
  }
  return result;
}

}  // namespace vekmesh
