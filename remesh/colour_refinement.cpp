// Colour refinement by conforming longest-edge bisection (Rivara 1984): edges
// numbered from the vertex stars, faces marked in parallel, the closure that
// makes the split edges conforming worked sequentially from a queue (the
// order is fixed, so is the result), then each touched face replaced by its
// 4T-LE partition in place.
#include "remesh/colour_refinement.h"

#include <cmath>

#include "mesh/parallel_loops.h"
#include "remesh/corner_blend.h"
#include "remesh/vertex_star.h"

namespace vekmesh {
namespace {

// An edge from `a` to `b` (a < b), the faces using it (the second only when
// exactly two faces use it, wound oppositely) and how many faces use it.
struct EdgeRecord {
  int32_t a, b;
  uint32_t face[2];
  uint32_t uses;
};

struct Edges {
  std::vector<uint32_t> of_face;  // 3 f + c: edge of corner c
  std::vector<EdgeRecord> records;
};

Edges numberAll(const SubMesh& mesh) {
  Edges edges;
  const int parts = loopParts(static_cast<int64_t>(mesh.vertices.size()));
  std::vector<std::vector<EdgeRecord>> part_records(static_cast<size_t>(parts));
  const EdgeNumbering numbering =
      numberEdges(mesh, edges.of_face, [&](const VertexStar& star, int part) {
        for (const StarEdge& e : star.edges) {
          if (e.far <= star.centre) continue;
          const uint32_t first = e.out_corner != kNoStarIndex ? e.out_corner : e.in_corner;
          EdgeRecord r{
              star.centre, e.far, {star.corners[first].face, kNoStarIndex}, e.out_uses + e.in_uses};
          if (e.manifold()) r.face[1] = star.corners[e.in_corner].face;
          part_records[size_t(part)].push_back(r);
        }
      });
  edges.records.reserve(numbering.edgeCount());
  for (const auto& records : part_records)
    edges.records.insert(edges.records.end(), records.begin(), records.end());
  return edges;
}

// Calls visit(g) for every face using edge e: from the record, or for an
// edge of three or more faces from the incidence list of its lower end.
template <class Visit>
void facesOfEdge(const SubMesh& mesh, const EdgeRecord& e, Visit&& visit) {
  if (e.uses <= 2 && e.face[1] != kNoStarIndex) {
    visit(e.face[0]);
    visit(e.face[1]);
    return;
  }
  if (e.uses <= 1) {
    visit(e.face[0]);
    return;
  }
  for (const CornerRef& r : mesh.incidentCorners[size_t(e.a)]) {
    const Face& g = mesh.faces[r.face];
    if (g.v[nextCorner(r.corner)] == e.b || g.v[prevCorner(r.corner)] == e.b) visit(r.face);
  }
}

uint32_t cornerOf(const Face& f, int32_t v) {
  for (uint32_t c = 0; c < 3; ++c)
    if (f.v[c] == v) return c;
  return 0;
}

bool textureSeam(const SubMesh& mesh, const EdgeRecord& e) {
  if (e.uses != 2 || e.face[1] == kNoStarIndex) return false;
  const Face& f = mesh.faces[e.face[0]];
  const Face& g = mesh.faces[e.face[1]];
  if (f.material < 0 && g.material < 0) return false;
  if (f.material != g.material) return true;
  for (const int32_t v : {e.a, e.b})
    if (uvsDiffer(cornerUv(mesh, f, cornerOf(f, v)), cornerUv(mesh, g, cornerOf(g, v))))
      return true;
  return false;
}

bool cornerColoursDiffer(const Face& f) {
  return colorsDiffer(f.colors[0], f.colors[1]) || colorsDiffer(f.colors[1], f.colors[2]) ||
         colorsDiffer(f.colors[2], f.colors[0]);
}

// The corner whose edge is the face's longest.
uint8_t longestEdge(const SubMesh& mesh, const Face& f, const uint32_t* edges) {
  double best = -2.0;
  uint8_t longest = 0;
  for (uint32_t c = 0; c < 3; ++c) {
    const auto& p = mesh.vertices[size_t(f.v[c])].position;
    const auto& q = mesh.vertices[size_t(f.v[nextCorner(c)])].position;
    double squared = 0.0;
    for (int k = 0; k < 3; ++k) squared += (double(q[k]) - p[k]) * (double(q[k]) - p[k]);
    if (!(squared == squared)) squared = -1.0;
    if (squared > best || (squared == best && edges[c] < edges[longest])) {
      best = squared;
      longest = static_cast<uint8_t>(c);
    }
  }
  return longest;
}

// Attribute slots of a parent face: its corners 0..2, then the midpoints of
// its edges 0..2 (edge c runs from corner c to corner c + 1).
struct Partition {
  int count = 0;
  int slots[4][3];
  void add(int a, int b, int c) {
    slots[count][0] = a, slots[count][1] = b, slots[count][2] = c;
    ++count;
  }
};

// Rivara's 4T-LE partition of a face whose longest edge is that of corner L:
// with A, B, C the corners from L on and M the middle of AB, the halves are
// A M C and M B C; M B C splits again at N (middle of BC), A M C at P
// (middle of CA). Every child keeps the parent's winding.
Partition partition(int L, const bool (&split)[3]) {
  const int A = L, B = (L + 1) % 3, C = (L + 2) % 3;
  const int M = 3 + A, N = 3 + B, P = 3 + C;
  Partition p;
  if (split[C]) {
    p.add(A, M, P);
    p.add(M, C, P);
  } else {
    p.add(A, M, C);
  }
  if (split[B]) {
    p.add(M, B, N);
    p.add(M, N, C);
  } else {
    p.add(M, B, C);
  }
  return p;
}

}  // namespace

RefinementRound colourRefinementRound(SubMesh& mesh, size_t face_cap) {
  const size_t vertex_count = mesh.vertices.size();
  const size_t face_count = mesh.faces.size();
  const Edges edges = numberAll(mesh);
  const size_t edge_count = edges.records.size();

  // Marks and longest edges, independent per face.
  std::vector<uint8_t> marked(face_count), longest(face_count);
  std::vector<uint8_t> seam(edge_count);
  {
    const int64_t n_edges = static_cast<int64_t>(edge_count);
#pragma omp parallel for schedule(static) if (n_edges >= kParallelMinimum)
    for (int64_t e = 0; e < n_edges; ++e) seam[size_t(e)] = textureSeam(mesh, edges.records[e]);
    const int64_t n = static_cast<int64_t>(face_count);
#pragma omp parallel for schedule(static) if (n >= kParallelMinimum)
    for (int64_t f = 0; f < n; ++f) {
      const Face& face = mesh.faces[size_t(f)];
      const uint32_t* own = edges.of_face.data() + 3 * f;
      longest[size_t(f)] = longestEdge(mesh, face, own);
      marked[size_t(f)] = cornerColoursDiffer(face) || seam[own[0]] || seam[own[1]] || seam[own[2]];
    }
  }

  // The closure: a split edge makes every face on it split its longest edge.
  std::vector<uint8_t> split(edge_count, 0);
  std::vector<uint32_t> queue;
  auto split_longest = [&](uint32_t f) {
    const uint32_t e = edges.of_face[3 * size_t(f) + longest[f]];
    if (split[e]) return;
    split[e] = 1;
    queue.push_back(e);
  };
  for (uint32_t f = 0; f < face_count; ++f)
    if (marked[f]) split_longest(f);
  for (size_t next = 0; next < queue.size(); ++next)
    facesOfEdge(mesh, edges.records[queue[next]], split_longest);
  if (queue.empty()) return RefinementRound::kNothingToSplit;

  // Each split edge adds one face to every face on it.
  size_t total = face_count;
  for (uint32_t f = 0; f < face_count; ++f)
    for (int c = 0; c < 3; ++c) total += split[edges.of_face[3 * size_t(f) + c]];
  if (total > face_cap) return RefinementRound::kOverCap;

  // Middle vertices, numbered in edge order after the old ones.
  std::vector<uint32_t> middle(edge_count, kNoStarIndex);
  mesh.vertices.reserve(vertex_count + queue.size());
  for (size_t e = 0; e < edge_count; ++e) {
    if (!split[e]) continue;
    const auto& p = mesh.vertices[size_t(edges.records[e].a)].position;
    const auto& q = mesh.vertices[size_t(edges.records[e].b)].position;
    middle[e] = static_cast<uint32_t>(mesh.vertices.size());
    std::array<float, 3> m;
    for (int k = 0; k < 3; ++k) m[k] = static_cast<float>((double(p[k]) + double(q[k])) * 0.5);
    mesh.vertices.push_back(Vertex{m, static_cast<int32_t>(middle[e])});
  }

  mesh.faces.reserve(total);
  for (uint32_t f = 0; f < face_count; ++f) {
    const uint32_t* own = edges.of_face.data() + 3 * size_t(f);
    const bool split_here[3] = {split[own[0]] != 0, split[own[1]] != 0, split[own[2]] != 0};
    if (!split_here[0] && !split_here[1] && !split_here[2]) continue;
    const Face parent = mesh.faces[f];
    const Partition p = partition(longest[f], split_here);
    int32_t vertex[6];
    uint8_t color[6][3];
    Uv uv[6];
    for (uint32_t c = 0; c < 3; ++c) {
      vertex[c] = parent.v[c];
      vertex[3 + c] = static_cast<int32_t>(middle[own[c]]);
      for (int k = 0; k < 3; ++k) color[c][k] = parent.colors[c][k];
      blendColor(parent.colors[c], parent.colors[nextCorner(c)], color[3 + c]);
      uv[c] = cornerUv(mesh, parent, c);
    }
    for (uint32_t c = 0; c < 3; ++c) uv[3 + c] = blendUv(uv[c], uv[nextCorner(c)]);
    for (int child = 0; child < p.count; ++child) {
      // The first child takes the parent's place and, when they are valid,
      // its texture coordinates.
      Face& g = child == 0 ? mesh.faces[f] : mesh.faces.emplace_back(parent);
      for (int c = 0; c < 3; ++c) {
        const int slot = p.slots[child][c];
        g.v[c] = vertex[slot];
        for (int k = 0; k < 3; ++k) g.colors[c][k] = color[slot][k];
        if (parent.material < 0) continue;
        uint32_t index = parent.uv[c];
        if (child > 0 || index >= mesh.texCoords.size()) {
          index = static_cast<uint32_t>(mesh.texCoords.size());
          mesh.texCoords.push_back(TexCoord{0.0, 0.0, index});
        }
        mesh.texCoords[index] = TexCoord{uv[slot][0], uv[slot][1], index};
        g.uv[c] = index;
      }
    }
  }
  mesh.incidentCorners.rebuild(mesh.faces, mesh.vertices.size());
  return RefinementRound::kRefined;
}

}  // namespace vekmesh
