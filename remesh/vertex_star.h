// The star of a vertex as the subdivision rounds read it (its corners and the
// distinct edges leaving it, with how many faces use each edge in which
// direction), and the numbering of the mesh's edges by their lower vertex in
// parallel parts of the vertex range, so that every face corner learns the
// number of its edge without a hash table.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "mesh/parallel_loops.h"
#include "mesh/tri_mesh.h"

namespace vekmesh {

constexpr uint32_t kNoStarIndex = 0xFFFFFFFFu;

// Corner `corner` of `face` at the centre; `next` and `prev` are the face's
// other two vertices in winding order, `out_edge` and `in_edge` the star
// edges to them.
struct StarCorner {
  uint32_t face;
  uint32_t corner;
  int32_t next;
  int32_t prev;
  uint32_t out_edge;
  uint32_t in_edge;
};

// One distinct edge from the centre to `far`: `out_uses` faces run it
// centre -> far, `in_uses` far -> centre; `out_corner` and `in_corner` are the
// first star corners of each kind (kNoStarIndex when none).
struct StarEdge {
  int32_t far;
  uint32_t out_corner;
  uint32_t in_corner;
  uint32_t out_uses;
  uint32_t in_uses;
  // Exactly two faces, wound consistently: the only edge a smooth rule reads.
  bool manifold() const { return out_uses == 1 && in_uses == 1; }
};

class VertexStar {
 public:
  // Reads the corners of vertex x from incidentCorners (every listed face is
  // taken as live, with three distinct vertices) and finds its edges. Short
  // lists are searched pairwise; long ones (a pole of thousands of faces)
  // are sorted, so no list costs more than n log n.
  void gather(const SubMesh& mesh, int32_t x);

  // Numbers the edges this vertex owns (those to a higher vertex) from
  // `first`, in the order of `edges`, and writes each number into the slot
  // 3 f + c of every face corner c whose edge it is. Returns the next number.
  uint32_t numberOwnedEdges(uint32_t first, uint32_t* face_edges) const;

  // True when the corners form one closed fan: every edge manifold and a walk
  // from face to face around the centre meets every corner once.
  bool singleClosedFan() const;

  int32_t centre = -1;
  std::vector<StarCorner> corners;
  std::vector<StarEdge> edges;  // in order of first appearance (short lists) or by far vertex

 private:
  std::vector<std::pair<int32_t, uint32_t>> keyed_;
};

// Edge numbers of one round: edges are numbered part by part (a part is a
// range of vertices, one per thread), each part from where the parts before
// end, so the numbers do not depend on the thread count.
struct EdgeNumbering {
  int parts = 1;
  std::vector<uint32_t> first_edge;  // parts + 1 entries: where each part's numbers start
  uint32_t edgeCount() const { return first_edge.empty() ? 0 : first_edge.back(); }
};

// Gathers every vertex's star and hands it to `visit(star, part)` after its
// owned edges are numbered; a visitor appends what it keeps of an owned edge
// to storage of its part, in the order of `star.edges`, so that part storage
// joined in part order is indexed by edge number. Fills `face_edges` (3 per
// face: the number of the edge of corner c, from v[c] to v[c + 1]).
template <class Visit>
EdgeNumbering numberEdges(const SubMesh& mesh, std::vector<uint32_t>& face_edges, Visit&& visit) {
  const size_t vertex_count = mesh.vertices.size();
  EdgeNumbering numbering;
  numbering.parts = loopParts(static_cast<int64_t>(vertex_count));
  const int parts = numbering.parts;
  numbering.first_edge.assign(size_t(parts) + 1, 0);
  face_edges.assign(3 * mesh.faces.size(), kNoStarIndex);
#pragma omp parallel for schedule(static) if (parts > 1)
  for (int t = 0; t < parts; ++t) {
    VertexStar star;
    uint32_t next = 0;
    const size_t last = partStart(vertex_count, t + 1, parts);
    for (size_t x = partStart(vertex_count, t, parts); x < last; ++x) {
      star.gather(mesh, static_cast<int32_t>(x));
      next = star.numberOwnedEdges(next, face_edges.data());
      visit(static_cast<const VertexStar&>(star), t);
    }
    numbering.first_edge[size_t(t) + 1] = next;
  }
  for (int t = 0; t < parts; ++t) numbering.first_edge[t + 1] += numbering.first_edge[t];
  if (parts == 1) return numbering;
  // Each part numbered from 0: the slots of its edges (found by their lower
  // vertex) move up by the part's start.
  const int64_t face_count = static_cast<int64_t>(mesh.faces.size());
  std::vector<size_t> vertex_start(size_t(parts) + 1);
  for (int t = 0; t <= parts; ++t) vertex_start[t] = partStart(vertex_count, t, parts);
#pragma omp parallel for schedule(static)
  for (int64_t f = 0; f < face_count; ++f) {
    const Face& face = mesh.faces[size_t(f)];
    for (uint32_t c = 0; c < 3; ++c) {
      uint32_t& slot = face_edges[3 * size_t(f) + c];
      if (slot == kNoStarIndex) continue;
      const size_t owner = size_t(std::min(face.v[c], face.v[nextCorner(c)]));
      int t = 0;
      while (owner >= vertex_start[size_t(t) + 1]) ++t;
      slot += numbering.first_edge[size_t(t)];
    }
  }
  return numbering;
}

}  // namespace vekmesh
