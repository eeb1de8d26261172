// Splitting the contacts of an exported voxel mesh. Method: the directed
// edges are sorted by their vertex pair; an edge of two faces pairs them, an
// edge of four pairs each face with the one whose normal points against it
// (both bound the same voxel's quarter around the edge). The pairs define
// the next corner around each vertex; the corners of a vertex fall into
// fans (orbits of that step, found by union-find), and every fan after the
// first gets a copy of the vertex.
#include "design/voxel_mesh_cleanup.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include "geometry/vectors.h"
#include "mesh/mesh_utils.h"

namespace vekmesh {
namespace {

constexpr uint32_t kUnpaired = ~0u;

struct HalfEdge {
  uint64_t pair;    // lower vertex << 32 | higher vertex
  uint32_t corner;  // 3 face + corner: the edge from v[corner] to v[next]
};

Vec3d position(const SubMesh& mesh, int32_t v) {
  const auto& p = mesh.vertices[static_cast<size_t>(v)].position;
  return {p[0], p[1], p[2]};
}

// The face's normal and the direction from the edge of `corner` into the face.
void edgeFrame(const SubMesh& mesh, uint32_t corner, Vec3d& normal, Vec3d& inward) {
  const Face& f = mesh.faces[corner / 3];
  const uint32_t c = corner % 3;
  const Vec3d a = position(mesh, f.v[c]);
  const Vec3d b = position(mesh, f.v[nextCorner(c)]);
  const Vec3d o = position(mesh, f.v[prevCorner(c)]);
  normal = normalized(cross(sub(b, a), sub(o, a)));
  const Vec3d along = normalized(sub(b, a));
  const Vec3d off = sub(o, a);
  inward = normalized(sub(off, scaled(along, dot(off, along))));
}

uint32_t findRoot(std::vector<uint32_t>& parent, uint32_t x) {
  while (parent[x] != x) {
    parent[x] = parent[parent[x]];
    x = parent[x];
  }
  return x;
}

bool opposite(const SubMesh& mesh, uint32_t a, uint32_t b) {
  const Face& fa = mesh.faces[a / 3];
  const Face& fb = mesh.faces[b / 3];
  return fa.v[a % 3] == fb.v[nextCorner(b % 3)] && fb.v[b % 3] == fa.v[nextCorner(a % 3)];
}

void pairFour(const SubMesh& mesh, const HalfEdge* group, std::vector<uint32_t>& partner) {
  Vec3d normal[4], inward[4];
  for (int i = 0; i < 4; ++i) edgeFrame(mesh, group[i].corner, normal[i], inward[i]);
  uint32_t chosen[4] = {kUnpaired, kUnpaired, kUnpaired, kUnpaired};
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j)
      if (i != j && dot(inward[i], normal[j]) < -0.5 &&
          opposite(mesh, group[i].corner, group[j].corner))
        chosen[i] = static_cast<uint32_t>(j);
  // Only a consistent pairing (each the other's choice) is used.
  for (int i = 0; i < 4; ++i)
    if (chosen[i] == kUnpaired || chosen[chosen[i]] != static_cast<uint32_t>(i)) return;
  for (int i = 0; i < 4; ++i) partner[group[i].corner] = group[chosen[i]].corner;
}

}  // namespace

void separateVoxelContacts(SubMesh& mesh) {
  const size_t faces = mesh.faces.size();
  const size_t nv = mesh.vertices.size();
  std::vector<HalfEdge> edges;
  edges.reserve(3 * faces);
  for (size_t f = 0; f < faces; ++f) {
    const Face& face = mesh.faces[f];
    if (face.removed) continue;
    bool valid = true;
    for (int c = 0; c < 3; ++c)
      valid = valid && face.v[c] >= 0 && static_cast<size_t>(face.v[c]) < nv;
    if (!valid) continue;
    for (uint32_t c = 0; c < 3; ++c) {
      const uint64_t a = static_cast<uint32_t>(face.v[c]);
      const uint64_t b = static_cast<uint32_t>(face.v[nextCorner(c)]);
      edges.push_back({std::min(a, b) << 32 | std::max(a, b), static_cast<uint32_t>(3 * f + c)});
    }
  }
  std::sort(edges.begin(), edges.end(), [](const HalfEdge& x, const HalfEdge& y) {
    return x.pair != y.pair ? x.pair < y.pair : x.corner < y.corner;
  });
  std::vector<uint32_t> partner(3 * faces, kUnpaired);
  for (size_t i = 0; i < edges.size();) {
    size_t j = i;
    while (j < edges.size() && edges[j].pair == edges[i].pair) ++j;
    if (j - i == 2 && opposite(mesh, edges[i].corner, edges[i + 1].corner)) {
      partner[edges[i].corner] = edges[i + 1].corner;
      partner[edges[i + 1].corner] = edges[i].corner;
    } else if (j - i == 4) {
      pairFour(mesh, &edges[i], partner);
    }
    i = j;
  }
  std::vector<HalfEdge>().swap(edges);

  // Around vertex v = f.v[c], the next corner is the one that starts the
  // partner of the edge arriving at v in f.
  std::vector<uint32_t> parent(3 * faces);
  std::iota(parent.begin(), parent.end(), 0u);
  for (uint32_t corner = 0; corner < 3 * faces; ++corner) {
    const uint32_t arriving = corner / 3 * 3 + prevCorner(corner % 3);
    const uint32_t p = partner[arriving];
    if (p == kUnpaired) continue;
    const uint32_t a = findRoot(parent, corner), b = findRoot(parent, p);
    if (a != b) parent[std::max(a, b)] = std::min(a, b);
  }

  // The first fan of a vertex keeps it; each further fan gets a copy.
  std::vector<int32_t> vertex_of_fan(3 * faces, -1);
  std::vector<uint8_t> taken(nv, 0);
  for (uint32_t corner = 0; corner < 3 * faces; ++corner) {
    Face& face = mesh.faces[corner / 3];
    const int32_t v = face.v[corner % 3];
    if (face.removed || v < 0 || static_cast<size_t>(v) >= nv) continue;
    const uint32_t fan = findRoot(parent, corner);
    if (vertex_of_fan[fan] < 0) {
      if (!taken[static_cast<size_t>(v)]) {
        taken[static_cast<size_t>(v)] = 1;
        vertex_of_fan[fan] = v;
      } else {
        Vertex copy = mesh.vertices[static_cast<size_t>(v)];
        copy.index = static_cast<int32_t>(mesh.vertices.size());
        vertex_of_fan[fan] = copy.index;
        mesh.vertices.push_back(copy);
      }
    }
    face.v[corner % 3] = vertex_of_fan[fan];
  }
  mesh.incidentCorners.rebuild(mesh.faces, mesh.vertices.size());
  mesh.shells.clear();
}

}  // namespace vekmesh
