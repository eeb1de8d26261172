// Welding within a tolerance relative to the model: candidates are the
// vertices of open edges (elsewhere the exact weld has already joined what
// meets), found near one another through a sorted grid of cells one
// tolerance wide, so each lookup is a few binary searches in one array.
#include "repair/tolerance_weld.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>
#include <vector>

#include "geometry/vectors.h"
#include "mesh/parallel_loops.h"

namespace vekmesh {
namespace {

struct Cell {
  int64_t x, y, z;
  int32_t vertex;
  bool operator<(const Cell& o) const {
    return std::tie(x, y, z, vertex) < std::tie(o.x, o.y, o.z, o.vertex);
  }
};

Vec3d positionOf(const SubMesh& mesh, int32_t v) {
  const auto& p = mesh.vertices[size_t(v)].position;
  return {p[0], p[1], p[2]};
}

// Union-find whose root is always the lowest vertex of its set.
int32_t rootOf(std::vector<int32_t>& parent, int32_t v) {
  while (parent[size_t(v)] != v) {
    parent[size_t(v)] = parent[size_t(parent[size_t(v)])];
    v = parent[size_t(v)];
  }
  return v;
}

void join(std::vector<int32_t>& parent, int32_t a, int32_t b) {
  a = rootOf(parent, a);
  b = rootOf(parent, b);
  if (a == b) return;
  if (a < b)
    parent[size_t(b)] = a;
  else
    parent[size_t(a)] = b;
}

bool shareLiveFace(const SubMesh& mesh, int32_t a, int32_t b) {
  for (const CornerRef& r : mesh.incidentCorners[size_t(a)]) {
    const Face& f = mesh.faces[r.face];
    if (!f.removed && (f.v[0] == b || f.v[1] == b || f.v[2] == b)) return true;
  }
  return false;
}

}  // namespace

ToleranceWeldReport weldWithinTolerance(SubMesh& mesh, const CornerAdjacency& adjacency) {
  ToleranceWeldReport report;
  const size_t vertex_count = mesh.vertices.size();
  // The box of the vertices, read in order (a compacted mesh has no vertex
  // that no face uses).
  Vec3d lo = {INFINITY, INFINITY, INFINITY}, hi = {-INFINITY, -INFINITY, -INFINITY};
  for (size_t v = 0; v < vertex_count; ++v) {
    const Vec3d p = positionOf(mesh, int32_t(v));
    for (int a = 0; a < 3; ++a) {
      lo[a] = std::min(lo[a], p[a]);
      hi[a] = std::max(hi[a], p[a]);
    }
  }
  // The ends of open edges of live faces; the team finds the edges.
  const size_t slots = std::min(adjacency.across.size(), 3 * mesh.faces.size());
  const std::vector<size_t> open = elementsWhere(slots, [&](size_t slot) {
    return adjacency.across[slot] == CornerAdjacency::kOpen && !mesh.faces[slot / 3].removed;
  });
  std::vector<uint8_t> candidate(vertex_count, 0);
  const bool any = !open.empty();
  for (const size_t slot : open) {
    const Face& face = mesh.faces[slot / 3];
    const uint32_t c = uint32_t(slot % 3);
    candidate[size_t(face.v[c])] = 1;
    candidate[size_t(face.v[nextCorner(c)])] = 1;
  }
  const double diagonal = length(sub(hi, lo));
  if (!std::isfinite(diagonal) || !(diagonal > 0.0)) return report;
  const double tolerance = kRelativeWeldTolerance * diagonal;
  report.tolerance = tolerance;
  if (!any) return report;

  std::vector<Cell> cells;
  for (size_t v = 0; v < vertex_count; ++v) {
    if (!candidate[v]) continue;
    const Vec3d p = positionOf(mesh, int32_t(v));
    if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) continue;
    // Within the box the quotients stay below about 1e6: no overflow.
    cells.push_back({int64_t(std::floor((p[0] - lo[0]) / tolerance)),
                     int64_t(std::floor((p[1] - lo[1]) / tolerance)),
                     int64_t(std::floor((p[2] - lo[2]) / tolerance)), int32_t(v)});
  }
  std::sort(cells.begin(), cells.end());

  std::vector<int32_t> parent(vertex_count);
  std::iota(parent.begin(), parent.end(), 0);
  const double tolerance2 = tolerance * tolerance;
  for (const Cell& cell : cells) {
    const Vec3d p = positionOf(mesh, cell.vertex);
    // Points closer than one cell width lie in neighbouring cells; each column
    // (x, y) is one run of the sorted array.
    for (int64_t dx = -1; dx <= 1; ++dx)
      for (int64_t dy = -1; dy <= 1; ++dy) {
        const Cell from{cell.x + dx, cell.y + dy, cell.z - 1, INT32_MIN};
        const Cell to{cell.x + dx, cell.y + dy, cell.z + 1, INT32_MAX};
        auto it = std::lower_bound(cells.begin(), cells.end(), from);
        for (; it != cells.end() && !(to < *it); ++it) {
          if (it->vertex <= cell.vertex) continue;
          const Vec3d d = sub(positionOf(mesh, it->vertex), p);
          if (dot(d, d) > tolerance2) continue;
          if (shareLiveFace(mesh, cell.vertex, it->vertex)) continue;
          join(parent, cell.vertex, it->vertex);
        }
      }
  }

  // Nothing joined (open edges that are holes, not cracks): nothing moves.
  if (std::all_of(cells.begin(), cells.end(),
                  [&](const Cell& cell) { return parent[size_t(cell.vertex)] == cell.vertex; }))
    return report;

  // A chain of pairs can join two vertices of one face: such clusters stay apart.
  std::vector<uint8_t> collapses(vertex_count, 0);
  for (const Face& face : mesh.faces) {
    if (face.removed) continue;
    int32_t r[3];
    for (int c = 0; c < 3; ++c) r[c] = rootOf(parent, face.v[c]);
    for (int c = 0; c < 3; ++c)
      if (r[c] == r[nextCorner(c)] && face.v[c] != face.v[nextCorner(c)])
        collapses[size_t(r[c])] = 1;
  }
  for (const Cell& cell : cells) {
    const int32_t root = rootOf(parent, cell.vertex);
    if (root == cell.vertex) {
      report.clusters_left_apart += collapses[size_t(root)];
      continue;
    }
    if (collapses[size_t(root)]) continue;
    mesh.vertices[size_t(cell.vertex)].position = mesh.vertices[size_t(root)].position;
    ++report.vertices_moved;
  }
  return report;
}

}  // namespace vekmesh
