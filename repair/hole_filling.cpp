// Hole filling: find open edges and trace them into
// loops, build one patch per loop and append its vertices and faces.
#include "repair/hole_filling.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>

#include "repair/boundary_loops.h"
#include "repair/hole_patch.h"

namespace vekmesh {
namespace {

Vec3d positionOf(const SubMesh& mesh, int32_t v) {
  const auto& p = mesh.vertices[v].position;
  return {p[0], p[1], p[2]};
}

// Whether a live face of the mesh already uses the edge between a and b.
bool edgeExists(const SubMesh& mesh, int32_t a, int32_t b) {
  for (const CornerRef& r : mesh.incidentCorners[size_t(a)]) {
    const Face& f = mesh.faces[r.face];
    if (!f.removed && (f.v[nextCorner(r.corner)] == b || f.v[prevCorner(r.corner)] == b))
      return true;
  }
  return false;
}

// Whether the patch would give an edge a third face: a chord between two rim
// vertices that faces (or an earlier patch's chords, in `chords`) already use.
// Records the patch's chords when it passes.
bool keepsEdgesManifold(const SubMesh& mesh, const std::vector<int32_t>& rim_vertices,
                        const HolePatch& patch, std::unordered_set<uint64_t>& chords) {
  const int32_t n = static_cast<int32_t>(rim_vertices.size());
  std::vector<uint64_t> own;
  for (const auto& t : patch.triangles)
    for (int c = 0; c < 3; ++c) {
      const int32_t i = t[c], j = t[(c + 1) % 3];
      if (i >= n || j >= n) continue;                      // a new point's edge
      if ((i + 1) % n == j || (j + 1) % n == i) continue;  // a rim edge
      const int32_t a = std::min(rim_vertices[i], rim_vertices[j]);
      const int32_t b = std::max(rim_vertices[i], rim_vertices[j]);
      const uint64_t key = (uint64_t(uint32_t(a)) << 32) | uint32_t(b);
      if (chords.count(key) || edgeExists(mesh, a, b)) return false;
      own.push_back(key);
    }
  chords.insert(own.begin(), own.end());
  return true;
}

void appendPatch(SubMesh& mesh, const std::vector<int32_t>& rim_vertices, const HolePatch& patch,
                 HoleFillingReport& report) {
  const int32_t rim_size = static_cast<int32_t>(rim_vertices.size());
  const int32_t first_new = static_cast<int32_t>(mesh.vertices.size());
  for (const auto& p : patch.points) {
    const int32_t index = static_cast<int32_t>(mesh.vertices.size());
    mesh.vertices.push_back(Vertex{p, index});
  }
  for (const auto& t : patch.triangles) {
    Face f;
    std::memset(f.colors, 255, sizeof f.colors);
    f.removed = 0;
    f.material = kNoMaterial;
    for (uint32_t c = 0; c < 3; ++c) {
      const int32_t k = t[c];
      f.v[c] = k < rim_size ? rim_vertices[k] : first_new + (k - rim_size);
      f.uv[c] = kNoTexCoord;
    }
    mesh.faces.push_back(f);
  }
  report.faces_added += patch.triangles.size();
  report.vertices_added += patch.points.size();
}

}  // namespace

HoleFillingReport fillHoles(SubMesh& mesh) {
  CornerAdjacency adjacency = buildCornerAdjacency(mesh, RemovedFaces::kSkip);
  return fillHoles(mesh, adjacency);
}

HoleFillingReport fillHoles(SubMesh& mesh, CornerAdjacency& adjacency, const PatchLimits& limits) {
  HoleFillingReport report;
  const std::vector<OpenEdge> open_edges = findOpenEdges(mesh, adjacency);
  const BoundaryLoops traced = traceBoundaryLoops(mesh, open_edges);
  report.open_edges_left = traced.abandoned_edges;

  const size_t first_patch_face = mesh.faces.size();
  std::vector<int32_t> rim_vertices;
  std::vector<std::pair<HolePatch, std::vector<int32_t>>> patches;
  std::vector<Vec3d> rim, apex;
  std::unordered_set<uint64_t> chords;
  for (const BoundaryLoop& loop : traced.loops) {
    // The faces along the hole run vertices[i] -> vertices[i + 1]; the patch
    // takes the loop backwards so that its faces run each rim edge the other way.
    const size_t n = loop.vertices.size();
    rim_vertices.resize(n);
    rim.resize(n);
    apex.resize(n);
    for (size_t i = 0; i < n; ++i) {
      rim_vertices[i] = loop.vertices[n - 1 - i];
      rim[i] = positionOf(mesh, rim_vertices[i]);
    }
    // Patch edge (i, i + 1) is loop edge n - 2 - i (wrapping to n - 1 for the last).
    for (size_t i = 0; i < n; ++i) {
      const size_t loop_edge = i + 1 < n ? n - 2 - i : n - 1;
      apex[i] = positionOf(mesh, loop.apexes[loop_edge]);
    }
    HolePatch patch = buildHolePatch(rim, apex, limits);
    if (patch.triangles.empty()) continue;
    if (limits.keep_edges_manifold && !keepsEdgesManifold(mesh, rim_vertices, patch, chords)) {
      report.open_edges_left += n;
      continue;
    }
    patches.push_back({std::move(patch), rim_vertices});
  }
  // Growing the face array one patch at a time would double it (and hold
  // both copies for a moment) on a large mesh with a few small holes.
  size_t new_faces = 0, new_vertices = 0;
  for (const auto& [patch, rim_of_patch] : patches) {
    new_faces += patch.triangles.size();
    new_vertices += patch.points.size();
  }
  mesh.faces.reserve(mesh.faces.size() + new_faces);
  mesh.vertices.reserve(mesh.vertices.size() + new_vertices);
  for (const auto& [patch, rim_of_patch] : patches) {
    appendPatch(mesh, rim_of_patch, patch, report);
    ++report.loops_closed;
  }
  // The patches read only positions, so their corners join the lists in one
  // pass at the end; they come after every older face, as the lists' order
  // wants.
  mesh.incidentCorners.appendFaces(mesh.faces, first_patch_face, mesh.vertices.size());
  return report;
}

}  // namespace vekmesh
