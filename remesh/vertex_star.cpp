// Vertex stars: a vertex's corners from its incidence list, its distinct edges
// found pairwise in short lists and by sorting in long ones, the fan walk and
// the numbering of owned edges.
#include "remesh/vertex_star.h"

#include <algorithm>

namespace vekmesh {
namespace {

// Lists of up to this many corners find their edges by linear search: a
// vertex of a closed mesh has about six.
constexpr size_t kLinearLimit = 16;

}  // namespace

void VertexStar::gather(const SubMesh& mesh, int32_t x) {
  centre = x;
  corners.clear();
  edges.clear();
  for (const CornerRef& r : mesh.incidentCorners[size_t(x)]) {
    const Face& f = mesh.faces[r.face];
    corners.push_back({r.face, r.corner, f.v[nextCorner(r.corner)], f.v[prevCorner(r.corner)],
                       kNoStarIndex, kNoStarIndex});
  }
  const uint32_t n = static_cast<uint32_t>(corners.size());
  if (n <= kLinearLimit) {
    // Far vertices in a plain array first: the search is most of the work
    // for a vertex, and a tight loop over integers is what keeps it cheap.
    int32_t far[2 * kLinearLimit];
    uint32_t count = 0;
    auto find = [&](int32_t v) {
      uint32_t e = 0;
      while (e < count && far[e] != v) ++e;
      if (e == count) far[count++] = v;
      return e;
    };
    for (StarCorner& c : corners) {
      c.out_edge = find(c.next);
      c.in_edge = find(c.prev);
    }
    edges.resize(count);
    for (uint32_t e = 0; e < count; ++e) edges[e] = {far[e], kNoStarIndex, kNoStarIndex, 0, 0};
    for (uint32_t i = 0; i < n; ++i) {
      StarEdge& out = edges[corners[i].out_edge];
      if (out.out_uses++ == 0) out.out_corner = i;
      StarEdge& in = edges[corners[i].in_edge];
      if (in.in_uses++ == 0) in.in_corner = i;
    }
    return;
  }
  // (far vertex, 2 i + direction): sorted, each far vertex's uses come
  // together in corner order.
  keyed_.clear();
  for (uint32_t i = 0; i < n; ++i) {
    keyed_.push_back({corners[i].next, 2 * i});
    keyed_.push_back({corners[i].prev, 2 * i + 1});
  }
  std::sort(keyed_.begin(), keyed_.end());
  for (size_t k = 0; k < keyed_.size(); ++k) {
    if (k == 0 || keyed_[k].first != keyed_[k - 1].first)
      edges.push_back({keyed_[k].first, kNoStarIndex, kNoStarIndex, 0, 0});
    StarEdge& e = edges.back();
    const uint32_t i = keyed_[k].second / 2;
    const uint32_t e_index = static_cast<uint32_t>(edges.size() - 1);
    if (keyed_[k].second % 2 == 0) {
      corners[i].out_edge = e_index;
      if (e.out_uses++ == 0) e.out_corner = i;
    } else {
      corners[i].in_edge = e_index;
      if (e.in_uses++ == 0) e.in_corner = i;
    }
  }
}

uint32_t VertexStar::numberOwnedEdges(uint32_t first, uint32_t* face_edges) const {
  // Numbers by star edge, then written to every corner that uses the edge.
  uint32_t number = first;
  for (const StarEdge& e : edges)
    if (e.far > centre) ++number;
  if (number == first) return first;
  uint32_t small[2 * kLinearLimit + 2];
  std::vector<uint32_t> large;
  uint32_t* ids = small;
  if (edges.size() > sizeof small / sizeof small[0]) {
    large.resize(edges.size());
    ids = large.data();
  }
  uint32_t next = first;
  for (size_t e = 0; e < edges.size(); ++e) ids[e] = edges[e].far > centre ? next++ : kNoStarIndex;
  for (const StarCorner& c : corners) {
    if (c.next > centre) face_edges[3 * size_t(c.face) + c.corner] = ids[c.out_edge];
    if (c.prev > centre) face_edges[3 * size_t(c.face) + prevCorner(c.corner)] = ids[c.in_edge];
  }
  return next;
}

bool VertexStar::singleClosedFan() const {
  const size_t n = corners.size();
  if (n < 3) return false;
  uint32_t at = 0;
  for (size_t step = 1; step <= n; ++step) {
    const StarEdge& e = edges[corners[at].out_edge];
    if (!e.manifold()) return false;
    // The face across the edge leaving `at` runs it back towards the centre.
    at = e.in_corner;
    if (at == 0) return step == n;
  }
  return false;
}

}  // namespace vekmesh
